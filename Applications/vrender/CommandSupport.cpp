#include "Applications/vrender/CommandSupport.h"

#include "Applications/vrender/ConformingOptions.h"
#include "Applications/vrender/Console.h"
#include "Applications/vrender/Signals.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <limits>
#include <numeric>
#include <stdexcept>

namespace vrender
{

namespace
{

constexpr std::int64_t kMostThreads = 256;
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

std::unique_ptr<Session::HostSession> OpenHost(const Options& inOptions, Session::AccessPattern inPattern)
{
    Session::HostSettings settings;
    settings.mPattern = inPattern;
    if (!inOptions.mThreads.empty())
    {
        settings.mThreads =
            static_cast<std::uint32_t>(ParseInteger("--threads", inOptions.mThreads, 1, kMostThreads));
    }
    if (!inOptions.mMemory.empty())
    {
        settings.mMemoryBytes = ParseMemory("--memory", inOptions.mMemory);
    }
    settings.mCpuTarget = inOptions.mCpu == "auto" ? "" : inOptions.mCpu;
    settings.mDiskCache = DiskCacheOf(inOptions);
    try
    {
        return std::make_unique<Session::HostSession>(settings);
    }
    catch (const std::invalid_argument& error)
    {
        throw ToolError(ExitCode::kUsage, std::string("--cpu: ") + error.what());
    }
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

Timeline TimelineOf(const Session::Clip& inClip, const std::string& inName, const Rational& inStillRate)
{
    const Media::MediaFacts& facts = inClip.Facts();
    Timeline timeline;
    timeline.mName = inName;
    timeline.mFrameCount = inClip.HasEnd() && !facts.mIsStill ? inClip.FrameCount() : -1;
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
    timeline.mDuration = inClip.Duration();
    timeline.mFrameStart = [&inClip](std::int64_t inFrame) { return inClip.FrameStart(inFrame); };
    timeline.mFrameAt = [&inClip](norviktypes::TickTime inTime) { return inClip.FrameAt(inTime); };
    return timeline;
}

std::int32_t FollowingSide(double inValue, bool inEven)
{
    const double step = inEven ? 2 : 1;
    return static_cast<std::int32_t>(
        std::clamp(std::round(inValue / step) * step, step, double{kLargestSide}));
}

std::uint64_t FramesHeldForOne(const Session::Clip& inClip)
{
    constexpr double kMostSamples = 128; // of a blend, whatever the speed
    return 2 + static_cast<std::uint64_t>(std::min(kMostSamples, std::ceil(inClip.FramesForOne())));
}

} // namespace

OpenInput OpenInputOf(const Options& inOptions, Session::AccessPattern inPattern, const Rational& inStillRate)
{
    OpenInput input;
    Session::ClipOptions clipOptions;
    if (!inOptions.mStream.empty())
    {
        clipOptions.mStreamIndex =
            static_cast<std::int32_t>(ParseInteger("--stream", inOptions.mStream, 0, kMostStreams));
    }
    clipOptions.mConforming = ConformingOf(inOptions);
    input.mHost = OpenHost(inOptions, inPattern);
    clipOptions.mDecoderThreads = input.mHost->Threads();
    clipOptions.mPicturesBytes = input.mHost->Shares().mPicturesBytes;
    clipOptions.mKeepsLeadIn = inPattern == Session::AccessPattern::kForward;
    Media::OpenError error;
    input.mClip = Session::Clip::Open(inOptions.mInput, clipOptions, error);
    if (!input.mClip)
    {
        // A stream that isn't there is the command line's mistake, not the file's.
        const bool isWrongStream =
            clipOptions.mStreamIndex >= 0 && error.mKind == Media::OpenErrorKind::kNotVideo;
        throw ToolError(isWrongStream ? ExitCode::kUsage : CodeOf(error.mKind), error.mText);
    }
    input.mTimeline = TimelineOf(*input.mClip, inOptions.mInput, inStillRate);
    if ((inOptions.mCommand & kCommand_Renders) != 0)
    {
        input.mService = std::make_unique<Session::RenderService>();
    }
    return input;
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
    const Media::MediaFacts& facts = inInput.mClip->Facts();
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
    const Media::MediaFacts& facts = inInput.mClip->StreamFacts();
    Session::RenderRequest whole = inRequest;
    whole.mWidth = static_cast<std::uint32_t>(facts.mWidth);
    whole.mHeight = static_cast<std::uint32_t>(facts.mHeight);
    // Turned pictures, fields that are scaled and pictures that are enlarged are made as a whole frame first.
    const bool isScaled = whole.mWidth != inRequest.mWidth || whole.mHeight != inRequest.mHeight;
    const bool isEnlarged = whole.mWidth < inRequest.mWidth || whole.mHeight < inRequest.mHeight;
    const bool isByWhole = facts.mRotation != 0 || isEnlarged ||
                           (isScaled && facts.mFieldType != norviktypes::kFieldType_Progressive);
    // A conformed frame is made of two or more of the stream, and goes through a whole one.
    const std::uint64_t wholes = inInput.mClip->ChainLinks().size() > 1 ? FramesHeldForOne(*inInput.mClip)
                                 : isByWhole                            ? 1
                                                                        : 0;
    const FrameWeight weight{BytesOfFrame(inRequest), inLaidOutBytes, wholes * BytesOfFrame(whole)};
    return WindowFrames(inInput.mHost->Threads(), inInput.mHost->Shares().mWindowBytes, weight);
}

FrameFeed::Settings FramesOf(const OpenInput& inInput, const Options& inOptions,
                             const Session::RenderRequest& inRequest, std::uint64_t inLaidOutBytes)
{
    FrameFeed::Settings frames;
    frames.mService = inInput.mService.get();
    frames.mClip = inInput.mClip.get();
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
