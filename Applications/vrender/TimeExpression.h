#pragma once

#include "Applications/vrender/OptionValues.h"
#include "norviktypes/TickTime.h"

#include <cstdint>
#include <functional>
#include <string>

// Times and ranges as people write them.
//
//   84, #84        a frame, counted from 0
//   01:00:03:12    a timecode, counted from the file's start timecode (from 0 if it has none)
//   01:00:03;12    the same with dropped numbers
//   3.5s           seconds from the first frame
//   start, end     the first frame; the last frame, and in a range one past it
//
// A range is A:B, from A up to but not including B; an empty A is start, an empty B is end. Timecodes
// have colons too, so a range is cut at the one colon that leaves a time, or nothing, on either side.
// Where two colons would do, as in 10:01:00:03:12, it is refused: #10:01:00:03:12 can only be cut at one.
//
// All functions throw ToolError (kUsage) with the option, the text and the cause.
//
// Thread-safety: safe, if the functions of the timeline are.
namespace vrender
{

struct TimeExpression
{
    enum class Kind
    {
        kFrame,
        kTimecode,
        kSeconds,
        kStart,
        kEnd
    };

    Kind mKind = Kind::kStart;
    std::int64_t mFrame = 0;     // kFrame
    norviktypes::TickTime mTime; // kSeconds
    std::string mText;           // as it was written
};

struct RangeExpression
{
    TimeExpression mFirst;
    TimeExpression mLast; // one past the last frame
};

// What times are counted on.
struct Timeline
{
    std::string mName;             // of the media, for messages
    Rational mRate{25, 1};         // frames a second, the mean where there is no grid
    bool mHasGrid = true;          // frame n begins at n / mRate
    std::int64_t mFrameCount = -1; // -1: no end
    norviktypes::TickTime mDuration = norviktypes::kTime_Max;
    // When a frame begins (the duration for one past the last), and the frame shown at a time (-1 at or
    // past the end).
    std::function<norviktypes::TickTime(std::int64_t)> mFrameStart;
    std::function<std::int64_t(norviktypes::TickTime)> mFrameAt;
    bool mHasTimecode = false;
    std::int64_t mTimecodeStart = 0; // label of frame 0, in frames since 00:00:00:00
    bool mIsDropFrame = false;
};

// Frames [mFirst, mEnd), which are shown from mStart up to mStop.
struct FrameRange
{
    std::int64_t mFirst = 0;
    std::int64_t mEnd = 0;
    norviktypes::TickTime mStart;
    norviktypes::TickTime mStop;
};

TimeExpression ParseTime(const std::string& inOption, const std::string& inText);
RangeExpression ParseRange(const std::string& inOption, const std::string& inText);

// The frame that is shown at a time.
std::int64_t ResolveFrame(const std::string& inOption, const TimeExpression& inTime,
                          const Timeline& inTimeline);
FrameRange ResolveRange(const std::string& inOption, const RangeExpression& inRange,
                        const Timeline& inTimeline);
// The range for an option's text; all frames for an empty one.
FrameRange RangeOrWhole(const std::string& inOption, const std::string& inText, const Timeline& inTimeline);

// The label of a frame, in the file's own way of counting; midnight is 00:00:00:00 again.
std::string TimecodeOfFrame(std::int64_t inFrame, const Timeline& inTimeline);

} // namespace vrender
