#include "ReferenceHost/Session/TimelineFile.h"

#include "ReferenceHost/Project/Otio/Bundle.h"
#include "ReferenceHost/Session/EffectCatalog.h"
#include "ReferenceHost/Session/TimelineMedia.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <set>
#include <string_view>

#include <unistd.h>

namespace Session
{

namespace
{

Otio::DocumentOptions ReadingOptions(const TimelineOptions& inOptions)
{
    Otio::DocumentOptions options;
    options.mIsStrict = inOptions.mIsStrict;
    options.mTimeline = inOptions.mTimeline;
    options.mMediaKey = inOptions.mMediaKey;
    options.mMediaFolders = inOptions.mMediaFolders;
    for (const auto& [from, to] : inOptions.mPathMappings)
    {
        options.mPathMappings.push_back({from, to});
    }
    options.mOutOfRange = inOptions.mBeyond == BeyondMedia::kBlack   ? Otio::OutOfRange::kBlack
                          : inOptions.mBeyond == BeyondMedia::kError ? Otio::OutOfRange::kError
                                                                     : Otio::OutOfRange::kHold;
    return options;
}

std::uint32_t PolicyOf(MediaFit inFit)
{
    switch (inFit)
    {
    case MediaFit::kFill: return BE::kScaleToFrame_Fill;
    case MediaFit::kStretch: return BE::kScaleToFrame_Stretch;
    case MediaFit::kNone: return BE::kScaleToFrame_None;
    default: return BE::kScaleToFrame_Fit;
    }
}

Import::ImportOptions ImportOptionsOf(const TimelineOptions& inOptions)
{
    Import::ImportOptions options;
    options.mDocument = ReadingOptions(inOptions);
    options.mScaleToFrame = PolicyOf(inOptions.mFit);
    options.mWidth = inOptions.mWidth;
    options.mHeight = inOptions.mHeight;
    return options;
}

// A label of 30 frames a second is 30 frames of 30000/1001, so that it counts frames, not seconds.
std::int64_t TimecodeOf(const Otio::Timeline& inTimeline)
{
    if (!inTimeline.mGlobalStart || inTimeline.mGlobalStart->mTime < norviktypes::kTime_Zero)
    {
        return -1;
    }
    const norviktypes::FrameRate rate =
        inTimeline.mGlobalStart->mRate.IsCountable() ? inTimeline.mGlobalStart->mRate : inTimeline.mRate;
    const std::int64_t frames = inTimeline.mGlobalStart->mTime.ToFrame64(rate);
    const double ratio =
        std::round(inTimeline.mRate.AsFramesPerSecond()) / std::round(rate.AsFramesPerSecond());
    return rate == inTimeline.mRate ? frames : std::llround(static_cast<double>(frames) * ratio);
}

// How many files a document names at most; what it says twice counts once. Media share the memory for decoded
// pictures before they are opened, when nobody has read the document yet.
std::uint64_t CountFilesNamed(const std::string& inPath)
{
    constexpr std::string_view kName = "\"target_url";
    Otio::ProblemList problems;
    Otio::Bundle bundle;
    std::set<std::string_view> names;
    if (bundle.Open(inPath, problems))
    {
        const std::string_view text = bundle.Text();
        for (std::size_t at = text.find(kName); at != std::string_view::npos; at = text.find(kName, at + 1))
        {
            const std::size_t begin = text.find('"', text.find(':', at) + 1);
            const std::size_t end = begin == std::string_view::npos ? begin : text.find('"', begin + 1);
            if (end != std::string_view::npos)
            {
                names.insert(text.substr(begin, end - begin));
            }
        }
        return std::max<std::uint64_t>(1, names.size());
    }
    return 1;
}

TimelineOptions WithSharedMemory(const TimelineOptions& inOptions, const std::string& inPath)
{
    TimelineOptions options = inOptions;
    options.mPicturesBytes =
        inOptions.mPicturesBytes == 0
            ? 0
            : std::max<std::uint64_t>(1, inOptions.mPicturesBytes / CountFilesNamed(inPath));
    return options;
}

// What lives as long as a timeline does; the project holds media that the opener has copied.
struct Held
{
    explicit Held(const TimelineOptions& inOptions) : mOpener(inOptions) {}

    TimelineMediaOpener mOpener;
    Import::ImportedTimeline mImported;
};

void Count(const Otio::Timeline& inTimeline, OpenedTimeline& ioOpened)
{
    ioOpened.mAudioTracks = inTimeline.mAudioTracks;
    if (inTimeline.mMain >= inTimeline.mSequences.size())
    {
        return;
    }
    ioOpened.mVideoTracks = inTimeline.mSequences[inTimeline.mMain].mTracks.size();
    ioOpened.mNestedSequences = inTimeline.mSequences.size() - 1;
    for (const Otio::SequenceOfTracks& sequence : inTimeline.mSequences)
    {
        for (const Otio::TrackOfItems& track : sequence.mTracks)
        {
            ioOpened.mClips += track.mItems.size();
            ioOpened.mTransitions += track.mTransitions.size();
        }
    }
}

void Describe(const Import::ImportedTimeline& inImported, const Otio::ProblemList& inProblems,
              OpenedTimeline& ioOpened)
{
    for (const Otio::Problem& problem : inProblems.Problems())
    {
        ioOpened.mProblems.push_back(
            {problem.mSeverity == Otio::Severity::kError, problem.mKind, problem.mPointer, problem.mText});
    }
    ioOpened.mErrors = inProblems.ErrorCount();
    ioOpened.mWarnings = inProblems.WarningCount();
    ioOpened.mName = inImported.mTimeline.mName;
    ioOpened.mNames = inImported.mNames;
    for (const Otio::TimelineMarker& marker : inImported.mTimeline.mMarkers)
    {
        ioOpened.mMarkers.push_back(
            {marker.mName, marker.mColor, marker.mComment, marker.mTime, marker.mDuration});
    }
    for (std::size_t i = 0; i < inImported.mMedia.size(); ++i)
    {
        const Otio::LocatedMedia& media = inImported.mTimeline.mMedia[i];
        ioOpened.mMedia.push_back(
            {media.mName, media.mFile.empty() ? media.mWanted : media.mFile, !inImported.mMedia[i]});
    }
    Count(inImported.mTimeline, ioOpened);
}

TimelineContent ContentOf(const std::string& inPath, const std::shared_ptr<Held>& inHeld)
{
    const Otio::Timeline& timeline = inHeld->mImported.mTimeline;
    TimelineContent content;
    content.mName = inPath;
    content.mSequence = inHeld->mImported.mMain;
    content.mStart = timeline.mStart;
    content.mFrameCount = timeline.mFrameCount;
    content.mTimecodeStart = TimecodeOf(timeline);
    content.mHasAudio = timeline.mAudioTracks > 0;
    content.mHeld = inHeld;
    return content;
}

} // namespace

std::string TimelineProblem::Line() const
{
    return fmt::format("{}: {}{}{}", mIsError ? "error" : "warning", mPointer, mPointer.empty() ? "" : ": ",
                       mText);
}

bool OpenedTimeline::HasMissingMedia() const
{
    return std::any_of(mMedia.begin(), mMedia.end(),
                       [](const TimelineMedia& inMedia) { return inMedia.mIsMissing; });
}

bool IsTimelineFile(const std::string& inPath)
{
    std::string_view path = inPath;
    while (path.size() > 1 && path.back() == '/')
    {
        path.remove_suffix(1);
    }
    for (const std::string_view suffix : {".otio", ".otioz", ".otiod"})
    {
        if (path.size() > suffix.size() &&
            std::equal(suffix.begin(), suffix.end(), path.end() - static_cast<std::ptrdiff_t>(suffix.size()),
                       [](char inA, char inB)
                       { return inA == std::tolower(static_cast<unsigned char>(inB)); }))
        {
            return true;
        }
    }
    return false;
}

OpenedTimeline OpenTimeline(const std::string& inPath, const TimelineOptions& inOptions)
{
    OpenedTimeline opened;
    if (::access(inPath.c_str(), R_OK) != 0)
    {
        opened.mError = {Media::OpenErrorKind::kNoInput, inPath + ": " + std::strerror(errno)};
        return opened;
    }
    const auto held = std::make_shared<Held>(WithSharedMemory(inOptions, inPath));
    Otio::ProblemList problems(inOptions.mIsStrict);
    const bool isImported = Import::ImportDocument(inPath, ImportOptionsOf(inOptions), &held->mOpener,
                                                   EffectCatalog(), problems, held->mImported);
    Describe(held->mImported, problems, opened);
    if (isImported)
    {
        ReplaceMissingMedia(held->mImported.mProject, inOptions.mMissing);
        opened.mTimeline = std::make_unique<Timeline>(ContentOf(inPath, held), inOptions.mKeeping);
        return opened;
    }
    const bool isUnknown = !inOptions.mTimeline.empty() && problems.Has("no-such-timeline");
    opened.mError = {isUnknown ? Media::OpenErrorKind::kBadUsage : Media::OpenErrorKind::kBadData,
                     inPath + ": holds no timeline that can be shown"};
    return opened;
}

} // namespace Session
