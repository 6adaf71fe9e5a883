#include "ReferenceHost/Project/Import/MediaOpener.h"

#include "BE/IVideoSource.h"
#include "MF/ISource.h"
#include "ReferenceHost/Media/FilePart.h"

#include <fmt/format.h>

#include <memory>

namespace Import
{

using norviktypes::TickTime;

namespace
{

std::string WithEscapedPercents(const std::string& inText)
{
    std::string text;
    for (const char letter : inText)
    {
        text += letter == '%' ? "%%" : std::string(1, letter);
    }
    return text;
}

Media::FilePart PartOf(const std::string& inFile, std::uint64_t inOffset, std::uint64_t inSize)
{
    return {inFile, static_cast<std::int64_t>(inOffset), static_cast<std::int64_t>(inSize)};
}

// Null for images that are files.
std::shared_ptr<const Media::NamedFiles> FilesOf(const Otio::LocatedMedia& inMedia)
{
    if (inMedia.mParts.empty())
    {
        return nullptr;
    }
    auto files = std::make_shared<Media::NamedFiles>();
    for (const Otio::NamedPart& part : inMedia.mParts)
    {
        files->emplace(part.mName,
                       Media::TextOfPart(PartOf(inMedia.mArchive, part.mOffset, part.mSize), part.mName));
    }
    return files;
}

Media::MissingFiles PolicyOf(Otio::MissingFramePolicy inPolicy)
{
    switch (inPolicy)
    {
    case Otio::MissingFramePolicy::kHold: return Media::MissingFiles::kHold;
    case Otio::MissingFramePolicy::kBlack: return Media::MissingFiles::kBlack;
    case Otio::MissingFramePolicy::kError: break;
    }
    return Media::MissingFiles::kFail;
}

}

std::string OpeningText(const Otio::LocatedMedia& inMedia)
{
    if (inMedia.mKind != Otio::MediaKind::kImageSequence)
    {
        return inMedia.mSize == 0
                   ? inMedia.mFile
                   : Media::TextOfPart(PartOf(inMedia.mFile, inMedia.mOffset, inMedia.mSize), inMedia.mEntry);
    }
    const Otio::ImageNumbers& images = inMedia.mImages;
    const std::string separator = inMedia.mFile.empty() || inMedia.mFile.back() == '/' ? "" : "/";
    const std::string number = images.mPadding > 1 ? fmt::format("%0{}d", images.mPadding) : "%d";
    return inMedia.mFile + separator + WithEscapedPercents(images.mPrefix) + number +
           WithEscapedPercents(images.mSuffix);
}

BE::IMediaInfoRef OpenLocatedMedia(const Otio::LocatedMedia& inMedia, const Media::OpenOptions& inOptions,
                                   std::string& outError)
{
    if (!inMedia.mEntry.empty() && inMedia.mSize == 0)
    {
        outError = fmt::format("\"{}\": is packed in the archive, and can't be read there", inMedia.mWanted);
        return {};
    }
    Media::OpenOptions options = inOptions;
    if (inMedia.mKind == Otio::MediaKind::kImageSequence)
    {
        const Otio::ImageNumbers& images = inMedia.mImages;
        options.mSequenceRate = images.ImageRate();
        options.mSequenceFrames = {images.mStart, images.mStep, images.mCount, PolicyOf(images.mMissing),
                                   FilesOf(inMedia)};
    }
    Media::OpenError error;
    BE::IMediaInfoRef media = Media::OpenMedia(OpeningText(inMedia), options, error);
    outError = error.mText;
    return media;
}

Otio::MediaFacts FactsOf(const BE::IMediaInfoRef& inMedia)
{
    Otio::MediaFacts facts;
    const MF::ISourceRef stream = inMedia && inMedia->HasMediaType(BE::kMediaType_Video)
                                      ? inMedia->GetStream(BE::kMediaType_Video, 0)
                                      : MF::ISourceRef();
    const BE::IVideoSourceRef source(stream);
    if (!source)
    {
        return facts;
    }
    TickTime duration;
    stream->GetDuration(duration);
    facts.mDuration = duration >= norviktypes::kTime_Max ? TickTime() : duration;
    facts.mStartTimecode = inMedia->GetStartTimecode();
    source->GetFrameRate(facts.mRate);
    TVK::Rect bounds;
    source->GetBounds(bounds);
    facts.mWidth = static_cast<std::uint32_t>(bounds.right - bounds.left);
    facts.mHeight = static_cast<std::uint32_t>(bounds.bottom - bounds.top);
    return facts;
}

}
