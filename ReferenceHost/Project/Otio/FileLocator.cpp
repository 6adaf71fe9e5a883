#include "ReferenceHost/Project/Otio/FileLocator.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <utility>

namespace Otio
{

namespace
{

const Parameter* FindParameter(const MediaReference& inReference, const char* inName)
{
    const auto found =
        std::find_if(inReference.mParameters.begin(), inReference.mParameters.end(),
                     [&](const Parameter& inParameter) { return inParameter.mName == inName; });
    return found == inReference.mParameters.end() ? nullptr : &*found;
}

// "#rrggbb", or three or four numbers from 0 to 1; black for anything else.
std::string ColorText(const MediaReference& inReference)
{
    const Parameter* const color = FindParameter(inReference, "color");
    if (color == nullptr)
    {
        return "#000000";
    }
    if (const auto* const text = std::get_if<std::string>(&color->mValue))
    {
        return *text;
    }
    const auto* const numbers = std::get_if<std::vector<Scalar>>(&color->mValue);
    std::string text = "#";
    for (const Scalar& number : numbers == nullptr ? std::vector<Scalar>() : *numbers)
    {
        text += fmt::format("{:02x}", std::lround(std::clamp(number.mValue, 0.0, 1.0) * 255.0));
    }
    return text.size() == 7 || text.size() == 9 ? text : "#000000";
}

std::string Wanted(const MediaReference& inReference)
{
    switch (inReference.mKind)
    {
    case MediaKind::kFile: return inReference.mUrl;
    case MediaKind::kImageSequence:
        return fmt::format("{}{}{}#{}", inReference.mUrl,
                           inReference.mUrl.empty() || inReference.mUrl.back() == '/' ? "" : "/",
                           inReference.mImages.mPrefix, inReference.mImages.mSuffix);
    case MediaKind::kGenerator: return inReference.mGenerator;
    case MediaKind::kMissing: break;
    }
    return inReference.mName;
}

}

std::string GeneratorText(const MediaReference& inReference)
{
    const std::string& kind = inReference.mGenerator;
    if (kind == "SMPTEBars")
    {
        return "bars:";
    }
    if (kind == "black")
    {
        return "color:#000000";
    }
    if (kind == "Solid Color")
    {
        return "color:" + ColorText(inReference);
    }
    if (kind != "vrender:bars" && kind != "vrender:color" && kind != "vrender:counter")
    {
        return {};
    }
    std::string text = kind.substr(8) + ":" + (kind == "vrender:color" ? ColorText(inReference) : "");
    for (const char* name : {"size", "rate", "fields", "par", "duration"})
    {
        const Parameter* const setting = FindParameter(inReference, name);
        const auto* const value = setting == nullptr ? nullptr : std::get_if<std::string>(&setting->mValue);
        text += value == nullptr ? "" : fmt::format("{}{}={}", text.back() == ':' ? "" : ":", name, *value);
    }
    return text;
}

FileLocator::FileLocator(const DocumentOptions& inOptions, const Bundle& inBundle, FactsFunction inFacts)
    : mBundle(inBundle)
    , mPaths(inOptions, inBundle.Folder(), inBundle.Kind() != BundleKind::kPlainFile)
    , mFacts(std::move(inFacts))
{
}

LocatedMedia FileLocator::Locate(const MediaReference& inReference, const std::string& inPointer,
                                 ProblemList& ioProblems)
{
    LocatedMedia media;
    media.mName = inReference.mName;
    media.mWanted = Wanted(inReference);
    media.mImages = inReference.mImages;
    if (inReference.mKind == MediaKind::kGenerator)
    {
        media.mFile = GeneratorText(inReference);
        media.mKind = media.mFile.empty() ? MediaKind::kMissing : MediaKind::kGenerator;
        if (media.mFile.empty())
        {
            ioProblems.Warn("unknown-generator", inPointer,
                            fmt::format("the generator \"{}\" is unknown; counts as missing media",
                                        inReference.mGenerator));
        }
        return media;
    }
    if (inReference.mKind == MediaKind::kMissing)
    {
        ioProblems.Warn("missing-media", inPointer, "the media is missing");
        return media;
    }
    FindFile(inReference, inPointer, media, ioProblems);
    return media;
}

void FileLocator::FindFile(const MediaReference& inReference, const std::string& inPointer,
                           LocatedMedia& ioMedia, ProblemList& ioProblems)
{
    const bool isSequence = inReference.mKind == MediaKind::kImageSequence;
    if (mBundle.Kind() == BundleKind::kArchive && FindInArchive(inReference, ioMedia))
    {
        return;
    }
    const std::string_view url = inReference.mUrl.empty() ? std::string_view(".") : inReference.mUrl;
    const FoundFile found = mPaths.Find(url, isSequence);
    const bool isIn = !found.mPath.empty() && mBundle.IsInside(found.mPath);
    if (!isIn)
    {
        ioProblems.Warn("missing-media", inPointer,
                        fmt::format("\"{}\" {}", ioMedia.mWanted,
                                    found.mPath.empty() ? found.mNote : "leads out of the bundle"));
        return;
    }
    if (!found.mNote.empty())
    {
        ioProblems.Warn("doubtful-media", inPointer, fmt::format("\"{}\" {}", ioMedia.mWanted, found.mNote));
    }
    ioMedia.mKind = inReference.mKind;
    ioMedia.mFile = found.mPath;
}

bool FileLocator::FindInArchive(const MediaReference& inReference, LocatedMedia& ioMedia) const
{
    const bool isSequence = inReference.mKind == MediaKind::kImageSequence;
    const std::string raw = ParseMediaUrl(inReference.mUrl).mPath;
    for (const std::string& name : {DecodePercents(raw), raw})
    {
        FilePart part;
        const bool isStored = !isSequence && mBundle.FindEntry(name, part);
        if (isStored || (!isSequence && mBundle.HasPackedEntry(name)))
        {
            ioMedia.mKind = MediaKind::kFile;
            ioMedia.mFile = mBundle.Path();
            ioMedia.mEntry = name;
            ioMedia.mOffset = part.mOffset;
            ioMedia.mSize = part.mSize;
            return true;
        }
        ioMedia.mParts =
            isSequence ? mBundle.FindEntries(name, inReference.mImages.mPrefix, inReference.mImages.mSuffix)
                       : std::vector<NamedPart>();
        if (!ioMedia.mParts.empty())
        {
            ioMedia.mKind = MediaKind::kImageSequence;
            ioMedia.mArchive = mBundle.Path();
            ioMedia.mFile = mBundle.Path() + "/" + name;
            return true;
        }
    }
    return false;
}

bool FileLocator::GetFacts(const LocatedMedia& inMedia, MediaFacts& outFacts)
{
    return mFacts && mFacts(inMedia, outFacts);
}

}
