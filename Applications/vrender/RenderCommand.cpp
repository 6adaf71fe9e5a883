#include "Applications/vrender/CommandSupport.h"
#include "Applications/vrender/Commands.h"
#include "Applications/vrender/Console.h"
#include "ReferenceHost/Foundation/Timecode.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <unistd.h>

namespace vrender
{

namespace
{

constexpr Rational kStillRate{25, 1};
// What a pixel format's properties say of straight alpha.
constexpr std::uint32_t kStraightTone = 1;

// Which frames the output shows, and how fast.
struct Schedule
{
    FrameRange mRange;
    Rational mRate;
    std::int64_t mCount = 0;
    bool mByClock = false; // else frame by frame
};

// Ticks from the start of the range to output frame inIndex, never before it.
norviktypes::TickTime ClockTime(std::int64_t inIndex, const Rational& inRate)
{
    const __int128 numerator =
        static_cast<__int128>(inIndex) * norviktypes::kTicksPerSecond * inRate.mDenominator;
    return norviktypes::TickTime(
        static_cast<std::int64_t>((numerator + inRate.mNumerator - 1) / inRate.mNumerator));
}

std::int64_t CountByClock(const Schedule& inSchedule)
{
    const __int128 span = (inSchedule.mRange.mStop - inSchedule.mRange.mStart).GetTicks();
    const __int128 unit = static_cast<__int128>(norviktypes::kTicksPerSecond) * inSchedule.mRate.mDenominator;
    return static_cast<std::int64_t>((span * inSchedule.mRate.mNumerator + unit - 1) / unit);
}

// inKeepsTimes: whether the output can hold frames that last unequally.
Schedule MakeSchedule(const Options& inOptions, const Timeline& inTimeline, bool inKeepsTimes)
{
    Schedule schedule;
    schedule.mRange = RangeOrWhole("--range", inOptions.mRange, inTimeline);
    // A rate that the clip was conformed to is that of the timeline.
    schedule.mRate = inOptions.mRate.empty() ? inTimeline.mRate : ParseRate("--rate", inOptions.mRate);
    schedule.mByClock =
        inTimeline.mHasGrid ? schedule.mRate != inTimeline.mRate : !inOptions.mRate.empty() || !inKeepsTimes;
    schedule.mCount =
        schedule.mByClock ? CountByClock(schedule) : schedule.mRange.mEnd - schedule.mRange.mFirst;
    return schedule;
}

// The label of the first output frame, counted at the output's own rate.
std::string OutputTimecode(const Schedule& inSchedule, const Timeline& inTimeline)
{
    if (!inTimeline.mHasTimecode)
    {
        return std::string();
    }
    if (!inSchedule.mByClock)
    {
        return TimecodeOfFrame(inSchedule.mRange.mFirst, inTimeline);
    }
    const Foundation::TimecodeRate from{static_cast<int>(inTimeline.mRate.mNumerator),
                                        static_cast<int>(inTimeline.mRate.mDenominator)};
    const Foundation::TimecodeRate to{static_cast<int>(inSchedule.mRate.mNumerator),
                                      static_cast<int>(inSchedule.mRate.mDenominator)};
    const bool isDropFrame = inTimeline.mIsDropFrame && Foundation::SupportsDropFrame(to);
    // Dropped numbers follow the clock, undropped ones the count of frames in a labelled second.
    const double fromRate = inTimeline.mIsDropFrame ? static_cast<double>(from.mNumerator) / from.mDenominator
                                                    : Foundation::NominalFramesPerSecond(from);
    const double toRate = isDropFrame ? static_cast<double>(to.mNumerator) / to.mDenominator
                                      : Foundation::NominalFramesPerSecond(to);
    const auto label = static_cast<double>(inTimeline.mTimecodeStart + inSchedule.mRange.mFirst);
    return Foundation::FormatTimecode(std::llround(label * toRate / fromRate), to, isDropFrame);
}

std::pair<std::string, std::string> SplitOption(const std::string& inText)
{
    const std::size_t equals = inText.find('=');
    if (equals == std::string::npos || equals == 0)
    {
        throw ToolError(ExitCode::kUsage, "--option: '" + inText + "' is not KEY=VALUE");
    }
    return {inText.substr(0, equals), inText.substr(equals + 1)};
}

void CheckOptions(const Options& inOptions)
{
    if (inOptions.mChecksum && (inOptions.mOutput == "-" || inOptions.mOutput == "/dev/stdout"))
    {
        throw ToolError(ExitCode::kUsage,
                        "--checksum prints on standard output, which takes the frames already");
    }
    if (inOptions.mOutput == "-" && ::isatty(STDOUT_FILENO) == 1)
    {
        throw ToolError(ExitCode::kUsage, "standard output is a terminal, which can't show a movie");
    }
    if (!inOptions.mProgressFormat.empty() && inOptions.mProgress.empty())
    {
        throw ToolError(ExitCode::kUsage, "--progress-format: needs --progress");
    }
    if (!inOptions.mCrf.empty() && !inOptions.mBitrate.empty())
    {
        throw ToolError(ExitCode::kUsage, "--crf and --bitrate exclude each other");
    }
}

bool EndsWith(const std::string& inText, const std::string& inEnd)
{
    return inText.size() >= inEnd.size() &&
           inText.compare(inText.size() - inEnd.size(), inEnd.size(), inEnd) == 0;
}

Progress::Settings ProgressSettings(const Options& inOptions, const Schedule& inSchedule)
{
    Progress::Settings settings;
    settings.mTotalFrames = inSchedule.mCount;
    settings.mFramesPerSecond =
        static_cast<double>(inSchedule.mRate.mNumerator) / static_cast<double>(inSchedule.mRate.mDenominator);
    settings.mTarget = inOptions.mProgress;
    settings.mJson = inOptions.mProgressFormat.empty()
                         ? EndsWith(inOptions.mProgress, ".jsonl") || EndsWith(inOptions.mProgress, ".ndjson")
                         : inOptions.mProgressFormat == "json";
    return settings;
}

// What the options say of the output, before it is known which frames it shows.
OutputDescription MakeOutput(const Options& inOptions, const OpenInput& inInput, const PictureSize& inSize)
{
    OutputDescription output = DescribeOutput(inOptions, inInput, inSize);
    output.mBitrate = inOptions.mBitrate.empty() ? 0 : ParseBitrate("--bitrate", inOptions.mBitrate);
    for (const std::string& option : inOptions.mEncoderOptions)
    {
        output.mOptions.push_back(SplitOption(option));
    }
    return output;
}

void AddSchedule(const Schedule& inSchedule, const Timeline& inTimeline, OutputDescription& ioOutput)
{
    ioOutput.mRate = inSchedule.mRate;
    ioOutput.mTimecode = OutputTimecode(inSchedule, inTimeline);
    ioOutput.mFirstNumber = inSchedule.mRange.mFirst;
    ioOutput.mFrameCount = inSchedule.mCount;
    if (!inSchedule.mByClock && !inTimeline.mHasGrid)
    {
        ioOutput.mTimeOf = [&inSchedule, &inTimeline](std::int64_t inIndex)
        { return inTimeline.mFrameStart(inSchedule.mRange.mFirst + inIndex) - inSchedule.mRange.mStart; };
    }
}

void SayWhatIsLeftOut(const OpenInput& inInput, const Schedule& inSchedule, const Options& inOptions,
                      const FrameWriter& inWriter)
{
    if (inInput.mMaterial->Facts().mHasAudio)
    {
        console::Say(inOptions.mInput + ": sound is not carried over");
    }
    const bool keepsAlpha =
        norviktypes::ToneOfProperties(inWriter.RenderFormat().mProperties) == kStraightTone;
    if (inInput.mMaterial->Facts().mAlpha != "none" && !keepsAlpha)
    {
        console::Say(inOptions.mInput + ": " + inWriter.Description() + " holds no alpha, which is left out");
    }
    if (!inInput.mTimeline.mHasGrid && inSchedule.mByClock && inOptions.mRate.empty())
    {
        console::Say(fmt::format("{}: frames last unequally, which the output can't hold; rendered at {:g} "
                                 "frames a second by the clock",
                                 inOptions.mInput,
                                 static_cast<double>(inSchedule.mRate.mNumerator) /
                                     static_cast<double>(inSchedule.mRate.mDenominator)));
    }
}

void SayFieldChange(const OpenInput& inInput)
{
    const std::string change = inInput.mClip != nullptr ? inInput.mClip->FieldChange() : std::string();
    if (!change.empty())
    {
        console::Say(change);
    }
}

} // namespace

ExitCode RunRender(const Options& inOptions)
{
    CheckOptions(inOptions);
    const Rational stillRate = inOptions.mRate.empty() ? kStillRate : ParseRate("--rate", inOptions.mRate);
    RunReport report(inOptions);
    const OpenInput input = OpenInputOf(inOptions, Session::AccessPattern::kForward, stillRate);
    const Media::MediaFacts& facts = input.mMaterial->Facts();
    const double shape = static_cast<double>(facts.mWidth) / facts.mHeight;
    const PictureSize size = ResolveSize(inOptions.mSize, {facts.mWidth, facts.mHeight}, shape, true);

    OutputDescription output = MakeOutput(inOptions, input, size);
    const bool isUnequal = !input.mTimeline.mHasGrid;
    const Schedule schedule = MakeSchedule(inOptions, input.mTimeline, isUnequal && KeepsFrameTimes(output));
    AddSchedule(schedule, input.mTimeline, output);
    const std::unique_ptr<FrameWriter> writer = CreateWriter(output);
    Progress progress(ProgressSettings(inOptions, schedule));
    SayWhatIsLeftOut(input, schedule, inOptions, *writer);

    PipelineJob job = JobFor(input, inOptions, size, *writer, report);
    job.mFrames.mCount = schedule.mCount;
    job.mFrames.mTimeOf = [&](std::int64_t inIndex)
    {
        return schedule.mByClock ? schedule.mRange.mStart + ClockTime(inIndex, schedule.mRate)
                                 : input.mTimeline.mFrameStart(schedule.mRange.mFirst + inIndex);
    };
    job.mNumberOf = [&](std::int64_t inIndex) { return schedule.mRange.mFirst + inIndex; };
    job.mProgress = &progress;
    const ExitCode code = WriteFrames(job);
    SayFieldChange(input);
    return WithWhatIsMissing(code, input);
}

} // namespace vrender
