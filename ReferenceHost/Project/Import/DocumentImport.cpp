#include "ReferenceHost/Project/Import/DocumentImport.h"

#include "ReferenceHost/Project/Import/SequenceBuilder.h"
#include "ReferenceHost/Project/Otio/Bundle.h"
#include "ReferenceHost/Project/Otio/FileLocator.h"
#include "ReferenceHost/Project/Otio/Resolve.h"

#include <algorithm>
#include <fmt/format.h>
#include <map>
#include <utility>

namespace Import
{

namespace
{

// Media are the same where all that finds them is.
std::string Identity(const Otio::LocatedMedia& inMedia)
{
    const Otio::ImageNumbers& images = inMedia.mImages;
    return fmt::format("{}\n{}\n{} {} {} {} {}", OpeningText(inMedia), inMedia.mEntry, images.mStart,
                       images.mStep, images.mCount, images.mRate.GetTicks(),
                       static_cast<int>(images.mMissing));
}

// Opens each medium once, whoever asks first.
class OpenedMedia
{
public:
    OpenedMedia(IMediaOpener* inOpener, Otio::ProblemList& inProblems)
        : mOpener(inOpener)
        , mProblems(inProblems)
    {
    }

    BE::IMediaInfoRef Get(const Otio::LocatedMedia& inMedia, const Otio::PathTable& inPaths)
    {
        if (inMedia.mKind == Otio::MediaKind::kMissing || mOpener == nullptr)
        {
            return {};
        }
        const auto [place, isNew] = mMedia.try_emplace(Identity(inMedia));
        if (isNew)
        {
            std::string error;
            place->second = mOpener->Open(inMedia, error);
            if (!place->second)
            {
                mProblems.Warn("missing-media", inPaths.Text(inMedia.mPath), error);
            }
        }
        return place->second;
    }

private:
    IMediaOpener* const mOpener;
    Otio::ProblemList& mProblems;
    std::map<std::string, BE::IMediaInfoRef> mMedia;
};

void OpenAll(OpenedMedia& inMedia, const Otio::PathTable& inPaths, ImportedTimeline& ioTimeline)
{
    for (Otio::LocatedMedia& media : ioTimeline.mTimeline.mMedia)
    {
        ioTimeline.mMedia.push_back(inMedia.Get(media, inPaths));
        media.mKind = ioTimeline.mMedia.back() ? media.mKind : Otio::MediaKind::kMissing;
    }
}

}

bool ImportedTimeline::HasMissingMedia() const
{
    return std::any_of(mMedia.begin(), mMedia.end(),
                       [](const BE::IMediaInfoRef& inMedia) { return !inMedia; });
}

bool ImportDocument(const std::string& inPath, const ImportOptions& inOptions, IMediaOpener* inOpener,
                    const Effects::EffectRegistry& inRegistry, Otio::ProblemList& ioProblems,
                    ImportedTimeline& outTimeline)
{
    Otio::Bundle bundle;
    if (!bundle.Open(inPath, ioProblems))
    {
        return false;
    }
    const Otio::Document document = Otio::ReadDocument(bundle.Text(), ioProblems);
    for (const Otio::TimelineObject& timeline : document.mTimelines)
    {
        outTimeline.mNames.push_back(timeline.mName);
    }
    const Otio::TimelineObject* const chosen =
        Otio::ChooseTimeline(document, inOptions.mDocument.mTimeline, ioProblems);
    if (chosen == nullptr)
    {
        return false;
    }
    Otio::DocumentOptions options = inOptions.mDocument;
    options.mLooks = [&inRegistry](const Otio::Effect& inEffect) { return LayersOf(inRegistry, inEffect); };
    OpenedMedia opened(inOpener, ioProblems);
    Otio::FileLocator locator(inOptions.mDocument, bundle,
                              [&](const Otio::LocatedMedia& inMedia, Otio::MediaFacts& outFacts)
                              {
                                  const BE::IMediaInfoRef media = opened.Get(inMedia, document.mPaths);
                                  outFacts = FactsOf(media);
                                  return bool(media);
                              });
    outTimeline.mTimeline = Otio::ResolveTimeline(document, *chosen, options, locator, ioProblems);
    if (outTimeline.mTimeline.mFrameCount == 0)
    {
        return false;
    }
    OpenAll(opened, document.mPaths, outTimeline);
    Otio::MediaPaths files(inOptions.mDocument, bundle.Folder(),
                           bundle.Kind() != Otio::BundleKind::kPlainFile);
    EffectMaker effects(
        inRegistry, document.mPaths,
        [&](const std::string& inFile) { return files.Find(inFile, false).mPath; }, ioProblems);
    return SequenceBuilder(inOptions, document.mPaths, effects, ioProblems, outTimeline).Build();
}

}
