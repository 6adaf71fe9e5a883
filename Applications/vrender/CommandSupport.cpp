#include "Applications/vrender/CommandSupport.h"

#include "Applications/vrender/ConformingOptions.h"
#include "Applications/vrender/Console.h"
#include "Applications/vrender/Signals.h"
#include "Applications/vrender/StillsSelection.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <limits>
#include <numeric>
#include <stdexcept>
#include <utility>

namespace vrender
{

namespace
{

constexpr std::int64_t kMostThreads = 256;
constexpr std::uint64_t kProblemsToTell = 20;
constexpr std::int64_t kMostStreams = 100000;
constexpr std::int32_t kLargestSide = 16384;
constexpr std::uint64_t kLargestRatio = std::uint64_t{1} << 46;

// Pictures of an overview are small and asked for again and again; whoever renders asks for a frame once.
std::optional<std::string> DiskCacheOf(const Options& inOptions)
{
    if (!inOptions.mDiskCache.empty())
    {
        return ParseDiskCache("--disk-cache", inOptions.mDiskCache);
    }
    const bool isOverview = (inOptions.mCommand & (kCommand_Thumbnails | kCommand_ContactSheet)) != 0;
    return isOverview ? std::optional<std::string>(std::string()) : std::nullopt;
}

std::shared_ptr<Session::HostSession> MakeSession(const Options& inOptions, Session::AccessPattern inPattern)
{
    Session::HostSettings settings;
    settings.mPattern = inPattern;
    if (!inOptions.mThreads.empty())
    {
        settings.mThreads =
            static_cast<std::uint32_t>(ParseInteger("--threads", inOptions.mThreads, 1, kMostThreads));
    }
    else if (inOptions.mAllowStateful)
    {
        settings.mThreads = 1;
    }
    if (!inOptions.mMemory.empty())
    {
        settings.mMemoryBytes = ParseMemory("--memory", inOptions.mMemory);
    }
    settings.mCpuTarget = inOptions.mCpu == "auto" ? "" : inOptions.mCpu;
    settings.mDiskCache = DiskCacheOf(inOptions);
    try
    {
        return std::make_shared<Session::HostSession>(settings);
    }
    catch (const std::invalid_argument& error)
    {
        throw ToolError(ExitCode::kUsage, std::string("--cpu: ") + error.what());
    }
}

Timeline TimelineOf(const Session::Material& inMaterial, const std::string& inName,
                    const Rational& inStillRate)
{
    const Media::MediaFacts& facts = inMaterial.Facts();
    Timeline timeline;
    timeline.mName = inName;
    timeline.mFrameCount = inMaterial.HasEnd() && !facts.mIsStill ? inMaterial.FrameCount() : -1;
    timeline.mHasTimecode = facts.mStartTimecode.mIsPresent;
    timeline.mTimecodeStart = facts.mStartTimecode.mFrames;
    timeline.mIsDropFrame = facts.mStartTimecode.mIsDropFrame;
    if (facts.mFrameRate.mNumerator <= 0 || facts.mFrameRate.mDenominator <= 0)
    {
        const auto rate =
            norviktypes::FrameRate::FromRational(inStillRate.mNumerator, inStillRate.mDenominator);
        timeline.mRate = inStillRate;
        timeline.mFrameStart = [rate](std::int64_t inFrame)
        { return norviktypes::TickTime::FromFrame(inFrame, rate); };
        timeline.mFrameAt = [rate](norviktypes::TickTime inTime) { return inTime.ToFrame64(rate); };
        return timeline;
    }
    timeline.mRate = {facts.mFrameRate.mNumerator, facts.mFrameRate.mDenominator};
    timeline.mHasGrid = facts.mHasFrameGrid;
    timeline.mDuration = inMaterial.Duration();
    timeline.mFrameStart = [&inMaterial](std::int64_t inFrame) { return inMaterial.FrameStart(inFrame); };
    timeline.mFrameAt = [&inMaterial](norviktypes::TickTime inTime) { return inMaterial.FrameAt(inTime); };
    return timeline;
}

std::int32_t FollowingSide(double inValue, bool inEven)
{
    const double step = inEven ? 2 : 1;
    return static_cast<std::int32_t>(
        std::clamp(std::round(inValue / step) * step, step, double{kLargestSide}));
}

std::unique_ptr<Session::Clip> OpenClip(const ToolHost& inHost, const Options& inOptions,
                                        Session::AccessPattern inPattern)
{
    Session::ClipOptions clipOptions;
    if (!inOptions.mStream.empty())
    {
        clipOptions.mStreamIndex =
            static_cast<std::int32_t>(ParseInteger("--stream", inOptions.mStream, 0, kMostStreams));
    }
    clipOptions.mConforming = ConformingOf(inOptions);
    clipOptions.mDecoderThreads = inHost.mSession->Threads();
    clipOptions.mPicturesBytes = inHost.mSession->Shares().mPicturesBytes / inHost.mInputs;
    clipOptions.mKeepsLeadIn = inPattern == Session::AccessPattern::kForward;
    Media::OpenError error;
    std::unique_ptr<Session::Clip> clip = Session::Clip::Open(inOptions.mInput, clipOptions, error);
    if (!clip)
    {
        // A stream that isn't there is the command line's mistake, not the file's.
        const bool isWrongStream =
            clipOptions.mStreamIndex >= 0 && error.mKind == Media::OpenErrorKind::kNotVideo;
        throw ToolError(isWrongStream ? ExitCode::kUsage : CodeOf(error.mKind), error.mText);
    }
    return clip;
}

// A timeline has its own picture and times. Its size is that of the output, and its media are fitted into it.
void CheckOptionsOfInput(const Options& inOptions)
{
    if (!Session::IsTimelineFile(inOptions.mInput))
    {
        ConformingOf(inOptions);
        if (!inOptions.mAt.empty())
        {
            throw ToolError(ExitCode::kUsage, "--at: " + inOptions.mInput + " is no timeline");
        }
        return;
    }
    Options others = inOptions;
    others.mFit.clear();
    if (!ConformingOf(others).IsEmpty() || !inOptions.mStream.empty())
    {
        throw ToolError(ExitCode::kUsage, inOptions.mInput +
                                              ": is a timeline; options for fields, speed, blending, "
                                              "pixel aspect and streams are for media");
    }
}

// Each once, and not thousands of them.
void SayProblems(const std::string& inPath, const Session::OpenedTimeline& inDocument)
{
    std::uint64_t told = 0;
    for (const Session::TimelineProblem& problem : inDocument.mProblems)
    {
        if (told == kProblemsToTell)
        {
            break;
        }
        console::Say(inPath + ": " + problem.Line());
        ++told;
    }
    const std::uint64_t all = inDocument.mErrors + inDocument.mWarnings;
    if (all > told)
    {
        console::Say(fmt::format("{}: {} more; vrender validate lists them", inPath, all - told));
    }
}

void RefuseMissing(const Options& inOptions, const Session::OpenedTimeline& inDocument)
{
    if (inOptions.mCommand != kCommand_Render || !inOptions.mOnMissing.empty() ||
        !inDocument.HasMissingMedia())
    {
        return;
    }
    std::size_t missing = 0;
    std::string first;
    for (const Session::TimelineMedia& media : inDocument.mMedia)
    {
        if (media.mIsMissing)
        {
            const std::string& name = media.mFile.empty() ? media.mName : media.mFile;
            first = first.empty() ? name : first;
            ++missing;
        }
    }
    throw ToolError(ExitCode::kNoInput,
                    fmt::format("{}: {} media {} missing{}; --on-missing renders without", inOptions.mInput,
                                missing, missing == 1 ? "is" : "are",
                                first.empty() ? std::string() : ", the first is '" + first + "'"));
}

// Without them the picture is another one, though all is there to make it.
void RefuseStateful(const Options& inOptions, const Session::OpenedTimeline& inDocument)
{
    const bool isRefused = (inOptions.mCommand & kCommand_UseService) != 0 &&
                           std::any_of(inDocument.mProblems.begin(), inDocument.mProblems.end(),
                                       [](const Session::TimelineProblem& inProblem) {
                                           return inProblem.mIsError && inProblem.mKind == "stateful-effect";
                                       });
    if (isRefused)
    {
        throw ToolError(ExitCode::kBadData,
                        inOptions.mInput +
                            ": uses plug-ins whose picture depends on earlier frames or on chance; "
                            "--allow-stateful renders them in order");
    }
}

void OpenDocument(const ToolHost& inHost, const Options& inOptions, Session::AccessPattern inPattern,
                  OpenInput& ioInput)
{
    const auto document = std::make_shared<Session::OpenedTimeline>(
        Session::OpenTimeline(inOptions.mInput, TimelineOptionsOf(inOptions, inHost, inPattern)));
    SayProblems(inOptions.mInput, *document);
    if (!document->mTimeline)
    {
        throw ToolError(CodeOf(document->mError.mKind), document->mError.mText);
    }
    if (inOptions.mStrict && document->mErrors > 0)
    {
        throw ToolError(ExitCode::kBadData, fmt::format("{}: {} error{}", inOptions.mInput, document->mErrors,
                                                        document->mErrors == 1 ? "" : "s"));
    }
    RefuseStateful(inOptions, *document);
    RefuseMissing(inOptions, *document);
    ioInput.mSequence = document->mTimeline.get();
    ioInput.mMaterial = std::move(document->mTimeline);
    ioInput.mDocument = document;
}

} // namespace

Session::TimelineOptions TimelineOptionsOf(const Options& inOptions, const ToolHost& inHost,
                                           Session::AccessPattern inPattern)
{
    Session::TimelineOptions options;
    options.mIsStrict = inOptions.mStrict;
    options.mTimeline = inOptions.mTimeline;
    options.mMediaKey = inOptions.mMediaKey;
    options.mMediaFolders = inOptions.mMediaFolders;
    for (const std::string& mapping : inOptions.mPathMappings)
    {
        const std::size_t equals = mapping.find('=');
        if (equals == std::string::npos || equals == 0)
        {
            throw ToolError(ExitCode::kUsage, "--map-path: '" + mapping + "' is not FROM=TO");
        }
        options.mPathMappings.emplace_back(mapping.substr(0, equals), mapping.substr(equals + 1));
    }
    options.mBeyond = inOptions.mOutOfRange == "black"   ? Session::BeyondMedia::kBlack
                      : inOptions.mOutOfRange == "error" ? Session::BeyondMedia::kError
                                                         : Session::BeyondMedia::kHold;
    options.mMissing = inOptions.mOnMissing == "black"         ? Session::MissingMedia::kBlack
                       : inOptions.mOnMissing == "transparent" ? Session::MissingMedia::kTransparent
                                                               : Session::MissingMedia::kCard;
    options.mFit = inOptions.mFit == "fill"      ? Session::MediaFit::kFill
                   : inOptions.mFit == "stretch" ? Session::MediaFit::kStretch
                   : inOptions.mFit == "none"    ? Session::MediaFit::kNone
                                                 : Session::MediaFit::kInside;
    // The size of an output is that of the timeline's picture; small pictures are of the picture as it is.
    const bool isOverview = (inOptions.mCommand & (kCommand_Thumbnails | kCommand_ContactSheet)) != 0;
    const PictureSize size =
        inOptions.mSize.empty() || isOverview ? PictureSize() : ParseSize("--size", inOptions.mSize);
    if (size.mWidth > 0 && size.mHeight > 0)
    {
        options.mWidth = static_cast<std::uint32_t>(size.mWidth);
        options.mHeight = static_cast<std::uint32_t>(size.mHeight);
    }
    const bool isForward = inPattern == Session::AccessPattern::kForward;
    options.mKeeping = isForward ? Session::Timeline::Keeping::kStills : Session::Timeline::Keeping::kAll;
    options.mDecoderThreads = inHost.mSession->Threads();
    options.mPicturesBytes = inHost.mSession->Shares().mPicturesBytes / inHost.mInputs;
    options.mKeepsLeadIn = isForward;
    return options;
}

bool SayWhatIsMissing(const OpenInput& inInput, const std::string& inName)
{
    if (inInput.mSequence == nullptr)
    {
        return false;
    }
    const std::int64_t missing = inInput.mSequence->FramesWithMissingMedia();
    if (missing > 0)
    {
        console::Say(fmt::format("{}{}{} frame{} what stands for missing media", inName,
                                 inName.empty() ? "" : ": ", missing, missing == 1 ? " shows" : "s show"));
    }
    return missing > 0 || inInput.mDocument->mErrors > 0;
}

ExitCode WithWhatIsMissing(ExitCode inCode, const OpenInput& inInput)
{
    return inCode == ExitCode::kDone && SayWhatIsMissing(inInput) ? ExitCode::kDoneWithSubstitutes : inCode;
}

ExitCode CodeOf(Media::OpenErrorKind inKind)
{
    switch (inKind)
    {
    case Media::OpenErrorKind::kNoInput: return ExitCode::kNoInput;
    case Media::OpenErrorKind::kCodecMissing: return ExitCode::kCodecMissing;
    case Media::OpenErrorKind::kIOError: return ExitCode::kIOError;
    case Media::OpenErrorKind::kBadUsage: return ExitCode::kUsage;
    default: return ExitCode::kBadData;
    }
}

std::string LabelOfFrame(std::int64_t inFrame, const Timeline& inTimeline)
{
    if (inTimeline.mHasTimecode)
    {
        return TimecodeOfFrame(inFrame, inTimeline);
    }
    const std::int64_t milliseconds =
        inTimeline.mFrameStart(inFrame).GetTicks() / (norviktypes::kTicksPerSecond / 1000);
    return fmt::format("{:02}:{:02}:{:02}.{:03}", milliseconds / 3600000, milliseconds / 60000 % 60,
                       milliseconds / 1000 % 60, milliseconds % 1000);
}

ToolHost OpenHost(const Options& inOptions, Session::AccessPattern inPattern, std::uint64_t inInputs)
{
    return {MakeSession(inOptions, inPattern), nullptr, inInputs};
}

OpenInput OpenInputIn(ToolHost& ioHost, const Options& inOptions, Session::AccessPattern inPattern,
                      const Rational& inStillRate)
{
    OpenInput input;
    input.mHost = ioHost.mSession;
    input.mWindowBytes = input.mHost->Shares().mWindowBytes / ioHost.mInputs;
    if (Session::IsTimelineFile(inOptions.mInput))
    {
        OpenDocument(ioHost, inOptions, inPattern, input);
    }
    else
    {
        std::unique_ptr<Session::Clip> clip = OpenClip(ioHost, inOptions, inPattern);
        input.mClip = clip.get();
        input.mMaterial = std::move(clip);
    }
    input.mTimeline = TimelineOf(*input.mMaterial, inOptions.mInput, inStillRate);
    if ((inOptions.mCommand & kCommand_UseService) != 0 && !ioHost.mService)
    {
        ioHost.mService = std::make_shared<Session::RenderService>();
    }
    input.mService = ioHost.mService;
    return input;
}

OpenInput OpenInputOf(const Options& inOptions, Session::AccessPattern inPattern, const Rational& inStillRate)
{
    // Options that can't be meant are told of before the host comes up.
    CheckOptionsOfInput(inOptions);
    ToolHost host = OpenHost(inOptions, inPattern);
    return OpenInputIn(host, inOptions, inPattern, inStillRate);
}

double DisplayShape(const Media::MediaFacts& inFacts)
{
    return inFacts.mPixelAspectRatio.AsDouble() * inFacts.mWidth / inFacts.mHeight;
}

PictureSize ResolveSize(const std::string& inText, const PictureSize& inDefault, double inShape, bool inEven)
{
    PictureSize size = inText.empty() ? inDefault : ParseSize("--size", inText);
    if (size.mWidth == -1)
    {
        size.mWidth = FollowingSide(size.mHeight * inShape, inEven);
    }
    if (size.mHeight == -1)
    {
        size.mHeight = FollowingSide(size.mWidth / inShape, inEven);
    }
    return size;
}

norviktypes::PixelAspectRatio AspectAtSize(const Media::MediaFacts& inFacts, const PictureSize& inSize)
{
    const norviktypes::PixelAspectRatio& own = inFacts.mPixelAspectRatio;
    if (own.GetNumerator() == 0 || own.GetDenominator() == 0)
    {
        return norviktypes::kPixelAspectRatio_Square;
    }
    std::uint64_t numerator = std::uint64_t{own.GetNumerator()} * static_cast<std::uint64_t>(inFacts.mWidth);
    std::uint64_t denominator =
        std::uint64_t{own.GetDenominator()} * static_cast<std::uint64_t>(inFacts.mHeight);
    // Both ratios are made small before they are multiplied: a hostile aspect would overflow.
    const std::uint64_t first = std::gcd(numerator, denominator);
    numerator = std::min(numerator / first, kLargestRatio) * static_cast<std::uint64_t>(inSize.mHeight);
    denominator = std::min(denominator / first, kLargestRatio) * static_cast<std::uint64_t>(inSize.mWidth);
    const std::uint64_t divisor = std::gcd(numerator, denominator);
    numerator /= divisor;
    denominator /= divisor;
    while (std::max(numerator, denominator) >
           static_cast<std::uint64_t>(std::numeric_limits<std::int32_t>::max()))
    {
        numerator = std::max<std::uint64_t>(1, numerator / 2);
        denominator = std::max<std::uint64_t>(1, denominator / 2);
    }
    return {static_cast<std::uint32_t>(numerator), static_cast<std::uint32_t>(denominator)};
}

OutputDescription DescribeOutput(const Options& inOptions, const OpenInput& inInput,
                                 const PictureSize& inSize)
{
    const Media::MediaFacts& facts = inInput.mMaterial->Facts();
    OutputDescription output;
    output.mPath = inOptions.mOutput;
    output.mFormat = inOptions.mFormat;
    output.mCodec = inOptions.mCodec;
    output.mCrf = inOptions.mCrf;
    output.mPixelFormat = inOptions.mPixelFormat;
    output.mWidth = inSize.mWidth;
    output.mHeight = inSize.mHeight;
    output.mPixelAspectRatio = AspectAtSize(facts, inSize);
    output.mFieldType = facts.mFieldType;
    output.mRate = inInput.mTimeline.mRate;
    output.mSourcePixelFormat = facts.mCodedFormat;
    output.mSourceColour = {facts.mColor.mMatrix, facts.mColor.mPrimaries, facts.mColor.mTransfer,
                            facts.mColor.mRange};
    output.mHasAlpha = facts.mAlpha != "none";
    output.mThreads = inInput.mHost->Threads();
    output.mOverwrite = inOptions.mOverwrite;
    return output;
}

Session::RenderRequest RequestFor(const FrameWriter& inWriter, const Options& inOptions,
                                  const PictureSize& inSize)
{
    return {static_cast<std::uint32_t>(inSize.mWidth), static_cast<std::uint32_t>(inSize.mHeight),
            inWriter.RenderFormat(), ParseQuality(inOptions.mQuality)};
}

std::int64_t WindowOf(const OpenInput& inInput, const Session::RenderRequest& inRequest,
                      std::uint64_t inLaidOutBytes)
{
    const Session::Workings workings = inInput.mMaterial->WorkingsOf(inRequest);
    Session::RenderRequest whole = inRequest;
    whole.mWidth = static_cast<std::uint32_t>(workings.mWidth);
    whole.mHeight = static_cast<std::uint32_t>(workings.mHeight);
    const FrameWeight weight{BytesOfFrame(inRequest), inLaidOutBytes,
                             workings.mFrames == 0 ? 0 : workings.mFrames * BytesOfFrame(whole)};
    const std::uint32_t threads = inInput.mHost->Threads();
    const std::int64_t window = WindowFrames(threads, inInput.mWindowBytes, weight);
    return workings.mAreReadAhead ? WindowFramesReadAhead(window, threads, weight) : window;
}

FrameFeed::Settings FramesOf(const OpenInput& inInput, const Options& inOptions,
                             const Session::RenderRequest& inRequest, std::uint64_t inLaidOutBytes)
{
    FrameFeed::Settings frames;
    frames.mService = inInput.mService.get();
    frames.mMaterial = inInput.mMaterial.get();
    frames.mRequest = inRequest;
    // What is worth keeping on disk is not urgent.
    frames.mUrgency = DiskCacheOf(inOptions) ? Session::Urgency::kLow : Session::Urgency::kNormal;
    frames.mWindow = WindowOf(inInput, inRequest, inLaidOutBytes);
    return frames;
}

PipelineJob JobFor(const OpenInput& inInput, const Options& inOptions, const PictureSize& inSize,
                   FrameWriter& inWriter, RunReport& ioReport)
{
    PipelineJob job;
    job.mFrames =
        FramesOf(inInput, inOptions, RequestFor(inWriter, inOptions, inSize), inWriter.LaidOutBytes());
    job.mFrames.mReport = &ioReport;
    job.mWriter = &inWriter;
    job.mThreads = inInput.mHost->Threads();
    job.mPrintChecksums = inOptions.mChecksum;
    if (DiskCacheOf(inOptions))
    {
        job.mFrames.mUrgency = Session::Urgency::kLow;
    }
    return job;
}

std::vector<std::int64_t> FramesOfStills(const Options& inOptions, const OpenInput& inInput,
                                         const FrameRange& inRange, std::int64_t inCount)
{
    if (inOptions.mAt.empty())
    {
        return SelectFrames(inRange, inInput.mTimeline, inOptions.mEvery, inCount);
    }
    if (!inOptions.mEvery.empty() || !inOptions.mCount.empty())
    {
        throw ToolError(ExitCode::kUsage,
                        "--at says which frames are shown, so that --every and --count say nothing");
    }
    std::vector<norviktypes::TickTime> times;
    if (inOptions.mAt == "cuts")
    {
        times = inInput.mSequence->Cuts();
    }
    else
    {
        for (const Session::TimelineMark& mark : inInput.mDocument->mMarkers)
        {
            times.push_back(mark.mTime);
        }
    }
    const std::vector<std::int64_t> frames = FramesAt(inRange, inInput.mTimeline, times);
    if (frames.empty())
    {
        throw ToolError(ExitCode::kUsage,
                        "--at: " + inOptions.mInput + ": has no " + inOptions.mAt + " there");
    }
    return frames;
}

ExitCode WriteFrames(PipelineJob& ioJob)
{
    signals::BeginOutput();
    const PipelineResult result = RunPipeline(ioJob);
    if (result.mSubstitutes > 0 && result.mSubstitutes == result.mWritten && result.mSignal == 0)
    {
        throw ToolError(ExitCode::kBadData,
                        "no frame could be made; the first cause: " + result.mFirstFailure);
    }
    ioJob.mWriter->Finish();
    if (ioJob.mProgress != nullptr)
    {
        ioJob.mProgress->Update(result.mWritten, ioJob.mWriter->BytesWritten(), result.mSubstitutes);
        ioJob.mProgress->Finish(result.mSignal == 0);
    }
    if (result.mSignal != 0)
    {
        ioJob.mWriter->Keep();
        const std::string part = ioJob.mWriter->PartName();
        console::Say(fmt::format("ended by {} after {} of {} frames{}",
                                 result.mSignal == SIGINT ? "SIGINT" : "SIGTERM", result.mWritten,
                                 ioJob.mFrames.mCount, part.empty() ? "" : "; they are in " + part));
        return result.mSignal == SIGINT ? ExitCode::kInterrupted : ExitCode::kTerminated;
    }
    ioJob.mWriter->Commit();
    signals::EndOutput();
    if (result.mSubstitutes > 0)
    {
        console::Say(fmt::format("{} of {} frames could not be made and show their neighbour",
                                 result.mSubstitutes, result.mWritten));
        return ExitCode::kDoneWithSubstitutes;
    }
    return ExitCode::kDone;
}

} // namespace vrender
