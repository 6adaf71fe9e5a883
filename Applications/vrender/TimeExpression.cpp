#include "Applications/vrender/TimeExpression.h"

#include "Applications/vrender/ExitCodes.h"
#include "ReferenceHost/Foundation/Timecode.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <optional>
#include <string_view>

namespace vrender
{

namespace
{

using norviktypes::TickTime;

constexpr const char* kForms = "a frame (84 or #84), a timecode (01:00:03:12), seconds (3.5s), start or end";
// Keeps products with a rate within 128 bits; what the time axis holds depends on the rate.
constexpr std::int64_t kMostFrames = std::int64_t{1} << 40;
// Seconds beyond these have no time on the axis.
constexpr std::int64_t kMostSeconds = 9000000;
constexpr std::size_t kMostDecimals = 9;

[[noreturn]] void Refuse(const std::string& inOption, const std::string& inText, const std::string& inCause)
{
    throw ToolError(ExitCode::kUsage, inOption + ": '" + inText + "' " + inCause);
}

bool IsDigit(char inCharacter)
{
    return inCharacter >= '0' && inCharacter <= '9';
}

std::optional<std::int64_t> ReadWhole(std::string_view inText, std::int64_t inMost)
{
    std::int64_t value = 0;
    const auto result = std::from_chars(inText.data(), inText.data() + inText.size(), value);
    const bool isWhole = !inText.empty() && IsDigit(inText.front()) && result.ec == std::errc() &&
                         result.ptr == inText.data() + inText.size();
    return isWhole && value <= inMost ? std::optional<std::int64_t>(value) : std::nullopt;
}

// Four groups of one or two digits (three for the frames of high rates), the last one behind ':' or ';'.
bool LooksLikeTimecode(std::string_view inText)
{
    int groups = 1;
    std::size_t digits = 0;
    for (const char c : inText)
    {
        const bool isLastSeparator = groups == 3 && c == ';';
        if (c == ':' || isLastSeparator)
        {
            if (digits == 0 || digits > 2)
            {
                return false;
            }
            ++groups;
            digits = 0;
        }
        else if (IsDigit(c))
        {
            ++digits;
        }
        else
        {
            return false;
        }
    }
    return groups == 4 && digits >= 1 && digits <= 3;
}

// "3.5s" exactly: decimals become ticks without a detour through floating point.
std::optional<TickTime> ReadSeconds(std::string_view inText)
{
    if (inText.size() < 2 || inText.back() != 's')
    {
        return std::nullopt;
    }
    inText.remove_suffix(1);
    const std::size_t point = inText.find('.');
    const std::string_view whole = inText.substr(0, point);
    const std::string_view decimals = point == std::string_view::npos ? "" : inText.substr(point + 1);
    const std::optional<std::int64_t> seconds = ReadWhole(whole, kMostSeconds);
    const std::optional<std::int64_t> fraction = decimals.empty() ? 0 : ReadWhole(decimals, 999999999);
    if (!seconds || !fraction || decimals.size() > kMostDecimals ||
        (point != std::string_view::npos && decimals.empty()))
    {
        return std::nullopt;
    }
    std::int64_t divisor = 1;
    for (std::size_t i = 0; i < decimals.size(); ++i)
    {
        divisor *= 10;
    }
    const __int128 ticks = static_cast<__int128>(*fraction) * norviktypes::kTicksPerSecond / divisor;
    return TickTime(*seconds * norviktypes::kTicksPerSecond + static_cast<std::int64_t>(ticks));
}

std::optional<TimeExpression> ReadTime(std::string_view inText)
{
    TimeExpression time;
    time.mText = inText;
    if (inText == "start" || inText == "end")
    {
        time.mKind = inText == "end" ? TimeExpression::Kind::kEnd : TimeExpression::Kind::kStart;
        return time;
    }
    if (LooksLikeTimecode(inText))
    {
        time.mKind = TimeExpression::Kind::kTimecode;
        return time;
    }
    if (const std::optional<TickTime> seconds = ReadSeconds(inText))
    {
        time.mKind = TimeExpression::Kind::kSeconds;
        time.mTime = *seconds;
        return time;
    }
    const std::string_view digits = !inText.empty() && inText.front() == '#' ? inText.substr(1) : inText;
    if (const std::optional<std::int64_t> frame = ReadWhole(digits, kMostFrames))
    {
        time.mKind = TimeExpression::Kind::kFrame;
        time.mFrame = *frame;
        return time;
    }
    return std::nullopt;
}

// A side of a range, which may be left out.
std::optional<TimeExpression> ReadSide(std::string_view inText, TimeExpression::Kind inIfEmpty)
{
    if (!inText.empty())
    {
        return ReadTime(inText);
    }
    TimeExpression time;
    time.mKind = inIfEmpty;
    return time;
}

Foundation::TimecodeRate TimecodeRateOf(const Timeline& inTimeline)
{
    return {static_cast<int>(inTimeline.mRate.mNumerator), static_cast<int>(inTimeline.mRate.mDenominator)};
}

std::string EndText(const Timeline& inTimeline)
{
    return fmt::format("{} has {} frames and ends at {:g}s", inTimeline.mName, inTimeline.mFrameCount,
                       inTimeline.mDuration.AsSeconds());
}

// Labels of a day.
std::int64_t FramesOfDay(const Foundation::TimecodeRate& inRate, bool inIsDropFrame)
{
    std::int64_t lastSecond = 0;
    bool isDropFrame = false;
    Foundation::ParseTimecode(inIsDropFrame ? "23:59:59;00" : "23:59:59:00", inRate, lastSecond, isDropFrame);
    return lastSecond + Foundation::NominalFramesPerSecond(inRate);
}

// Frames since frame 0 of a timecode. A file that crosses midnight has its small labels at its end.
std::int64_t FrameOfTimecode(const std::string& inOption, const std::string& inText,
                             const Timeline& inTimeline)
{
    const Foundation::TimecodeRate rate = TimecodeRateOf(inTimeline);
    std::string text = inText;
    // In a file that drops numbers a label means the same however it is written.
    const std::size_t last = text.find_last_of(":;");
    if (inTimeline.mHasTimecode && inTimeline.mIsDropFrame)
    {
        text[last] = ';';
    }
    if (inTimeline.mHasTimecode && !inTimeline.mIsDropFrame && text[last] == ';')
    {
        Refuse(inOption, inText, "drops numbers, but " + inTimeline.mName + " counts without dropping");
    }
    std::int64_t label = 0;
    bool isDropFrame = false;
    if (!Foundation::ParseTimecode(text, rate, label, isDropFrame))
    {
        Refuse(inOption, inText,
               fmt::format("is no timecode at {:g} frames a second",
                           static_cast<double>(rate.mNumerator) / rate.mDenominator));
    }
    std::int64_t frame = label - inTimeline.mTimecodeStart;
    if (frame < 0)
    {
        const std::int64_t day = FramesOfDay(rate, isDropFrame);
        const bool crosses =
            inTimeline.mFrameCount >= 0 && inTimeline.mTimecodeStart + inTimeline.mFrameCount > day;
        if (!crosses)
        {
            Refuse(inOption, inText,
                   "lies before the start of " + inTimeline.mName + ", which is " +
                       TimecodeOfFrame(0, inTimeline));
        }
        frame += day;
    }
    return frame;
}

// Frame n of a timecode lies at n / rate, which off a grid isn't the start of frame n.
TickTime TimeOfCount(std::int64_t inCount, const Timeline& inTimeline)
{
    const __int128 ticks = static_cast<__int128>(inCount) * norviktypes::kTicksPerSecond *
                           inTimeline.mRate.mDenominator / inTimeline.mRate.mNumerator;
    return ticks > norviktypes::kTime_Max.GetTicks() ? norviktypes::kTime_Max
                                                     : TickTime(static_cast<std::int64_t>(ticks));
}

// Where nothing ends, the axis does.
void CheckIsOnAxis(const std::string& inOption, const std::string& inText, std::int64_t inFrame,
                   const Timeline& inTimeline)
{
    if (inTimeline.mFrameCount < 0 && TimeOfCount(inFrame, inTimeline) == norviktypes::kTime_Max)
    {
        Refuse(inOption, inText, "is later than any time that " + inTimeline.mName + " can be asked for");
    }
}

struct Position
{
    std::int64_t mFrame = 0;    // -1: past the end
    bool mBeginsInside = false; // the time lies behind the frame's start
};

Position PositionOfTime(const TickTime& inTime, const Timeline& inTimeline)
{
    const std::int64_t frame = inTimeline.mFrameAt(inTime);
    return {frame, frame >= 0 && inTimeline.mFrameStart(frame) < inTime};
}

Position Locate(const std::string& inOption, const TimeExpression& inTime, const Timeline& inTimeline)
{
    const std::int64_t count = inTimeline.mFrameCount;
    switch (inTime.mKind)
    {
    case TimeExpression::Kind::kStart: return {0, false};
    case TimeExpression::Kind::kEnd:
        if (count < 0)
        {
            Refuse(inOption, "end", "is not known: " + inTimeline.mName + " has no end");
        }
        return {count, false};
    case TimeExpression::Kind::kFrame:
        CheckIsOnAxis(inOption, inTime.mText, inTime.mFrame, inTimeline);
        return {count >= 0 && inTime.mFrame > count ? -1 : inTime.mFrame, false};
    case TimeExpression::Kind::kTimecode:
    {
        const std::int64_t frame = FrameOfTimecode(inOption, inTime.mText, inTimeline);
        CheckIsOnAxis(inOption, inTime.mText, frame, inTimeline);
        if (inTimeline.mHasGrid)
        {
            return {count >= 0 && frame > count ? -1 : frame, false};
        }
        const TickTime time = TimeOfCount(frame, inTimeline);
        return time == inTimeline.mDuration ? Position{count, false} : PositionOfTime(time, inTimeline);
    }
    default:
        return inTime.mTime == inTimeline.mDuration ? Position{count, false}
                                                    : PositionOfTime(inTime.mTime, inTimeline);
    }
}

} // namespace

TimeExpression ParseTime(const std::string& inOption, const std::string& inText)
{
    const std::optional<TimeExpression> time = ReadTime(inText);
    if (!time)
    {
        Refuse(inOption, inText, std::string("is not a time: ") + kForms);
    }
    return *time;
}

RangeExpression ParseRange(const std::string& inOption, const std::string& inText)
{
    std::optional<RangeExpression> found;
    int cuts = 0;
    const std::string_view text = inText;
    for (std::size_t at = text.find(':'); at != std::string_view::npos; at = text.find(':', at + 1))
    {
        const std::optional<TimeExpression> first =
            ReadSide(text.substr(0, at), TimeExpression::Kind::kStart);
        const std::optional<TimeExpression> last = ReadSide(text.substr(at + 1), TimeExpression::Kind::kEnd);
        if (first && last)
        {
            found = RangeExpression{*first, *last};
            ++cuts;
        }
    }
    if (cuts == 0)
    {
        Refuse(inOption, inText, std::string("is not a range A:B of two times: ") + kForms);
    }
    if (cuts > 1)
    {
        Refuse(inOption, inText, "can be read in two ways; write the frame with #, as in #10:01:00:03:12");
    }
    return *found;
}

std::int64_t ResolveFrame(const std::string& inOption, const TimeExpression& inTime,
                          const Timeline& inTimeline)
{
    if (inTime.mKind == TimeExpression::Kind::kEnd && inTimeline.mFrameCount > 0)
    {
        return inTimeline.mFrameCount - 1;
    }
    const Position position = Locate(inOption, inTime, inTimeline);
    if (position.mFrame < 0 || position.mFrame == inTimeline.mFrameCount)
    {
        Refuse(inOption, inTime.mText, "is past the end: " + EndText(inTimeline));
    }
    return position.mFrame;
}

FrameRange ResolveRange(const std::string& inOption, const RangeExpression& inRange,
                        const Timeline& inTimeline)
{
    const Position first = Locate(inOption, inRange.mFirst, inTimeline);
    const Position last = Locate(inOption, inRange.mLast, inTimeline);
    const std::string text = inRange.mFirst.mText + ":" + inRange.mLast.mText;
    const bool endsInside = last.mFrame >= 0;
    if (first.mFrame < 0 || first.mFrame == inTimeline.mFrameCount || !endsInside)
    {
        Refuse(inOption, text, "goes past the end: " + EndText(inTimeline));
    }
    FrameRange range;
    range.mFirst = first.mFrame;
    // Half open in time: a frame that is shown before B belongs to the range.
    range.mEnd = last.mFrame + (last.mBeginsInside ? 1 : 0);
    if (range.mEnd <= range.mFirst)
    {
        Refuse(inOption, text, "holds no frame");
    }
    range.mStart = inTimeline.mFrameStart(range.mFirst);
    range.mStop = inTimeline.mFrameStart(range.mEnd);
    return range;
}

FrameRange RangeOrWhole(const std::string& inOption, const std::string& inText, const Timeline& inTimeline)
{
    if (!inText.empty())
    {
        return ResolveRange(inOption, ParseRange(inOption, inText), inTimeline);
    }
    if (inTimeline.mFrameCount < 0)
    {
        throw ToolError(ExitCode::kUsage,
                        inTimeline.mName + " has no end; " + inOption + " tells which part is wanted");
    }
    return {0, inTimeline.mFrameCount, norviktypes::kTime_Zero, inTimeline.mDuration};
}

std::string TimecodeOfFrame(std::int64_t inFrame, const Timeline& inTimeline)
{
    const Foundation::TimecodeRate rate = TimecodeRateOf(inTimeline);
    const bool isDropFrame =
        inTimeline.mHasTimecode && inTimeline.mIsDropFrame && Foundation::SupportsDropFrame(rate);
    return Foundation::FormatTimecode((inTimeline.mTimecodeStart + inFrame) % FramesOfDay(rate, isDropFrame),
                                      rate, isDropFrame);
}

} // namespace vrender
