#include "Applications/vrender/TimeExpression.h"

#include "Applications/vrender/ExitCodes.h"

#include <gtest/gtest.h>

#include <initializer_list>

namespace
{

using namespace vrender;
using norviktypes::FrameRate;
using norviktypes::TickTime;

Timeline Grid(std::int64_t inNumerator, std::int64_t inDenominator, std::int64_t inFrames)
{
    const FrameRate rate = FrameRate::FromRational(inNumerator, inDenominator);
    Timeline timeline;
    timeline.mName = "clip.mov";
    timeline.mRate = {inNumerator, inDenominator};
    timeline.mFrameCount = inFrames;
    timeline.mDuration = TickTime::FromFrame(inFrames, rate);
    timeline.mFrameStart = [rate](std::int64_t inFrame) { return TickTime::FromFrame(inFrame, rate); };
    timeline.mFrameAt = [rate, inFrames](TickTime inTime)
    {
        const std::int64_t frame = inTime.ToFrame64(rate);
        return frame < inFrames ? frame : -1;
    };
    return timeline;
}

// Three frames that last 1, 3 and 2 seconds.
Timeline OffGrid()
{
    Timeline timeline = Grid(1, 2, 3);
    timeline.mHasGrid = false;
    timeline.mDuration = TickTime::FromSeconds(6);
    const auto seconds = [](std::int64_t inFrame) {
        return inFrame <= 0 ? 0.0 : inFrame == 1 ? 1.0 : inFrame == 2 ? 4.0 : 6.0;
    };
    timeline.mFrameStart = [seconds](std::int64_t inFrame)
    { return TickTime::FromSeconds(seconds(inFrame)); };
    timeline.mFrameAt = [](TickTime inTime)
    {
        const double at = inTime.AsSeconds();
        return std::int64_t{at < 1 ? 0 : at < 4 ? 1 : at < 6 ? 2 : -1};
    };
    return timeline;
}

std::int64_t Frame(const std::string& inText, const Timeline& inTimeline)
{
    return ResolveFrame("--time", ParseTime("--time", inText), inTimeline);
}

FrameRange Range(const std::string& inText, const Timeline& inTimeline)
{
    return ResolveRange("--range", ParseRange("--range", inText), inTimeline);
}

// The message of the refusal; empty if there is none.
template <typename Function>
std::string Refusal(const Function& inFunction)
{
    try
    {
        inFunction();
    }
    catch (const ToolError& error)
    {
        EXPECT_EQ(error.Code(), ExitCode::kUsage);
        return error.what();
    }
    return std::string();
}

struct RangeCase
{
    const char* mText;
    std::int64_t mFirst;
    std::int64_t mEnd;
};

void ExpectRanges(const Timeline& inTimeline, std::initializer_list<RangeCase> inCases)
{
    for (const RangeCase& each : inCases)
    {
        const FrameRange range = Range(each.mText, inTimeline);
        EXPECT_EQ(range.mFirst, each.mFirst) << each.mText;
        EXPECT_EQ(range.mEnd, each.mEnd) << each.mText;
    }
}

} // namespace

TEST(TimeExpression, ReadsEachWayOfNamingAFrame)
{
    const Timeline timeline = Grid(25, 1, 100);
    EXPECT_EQ(Frame("84", timeline), 84);
    EXPECT_EQ(Frame("#84", timeline), 84);
    EXPECT_EQ(Frame("00:00:03:12", timeline), 87);
    EXPECT_EQ(Frame("3.5s", timeline), 87);
    EXPECT_EQ(Frame("0s", timeline), 0);
    EXPECT_EQ(Frame("start", timeline), 0);
    EXPECT_EQ(Frame("end", timeline), 99);
}

TEST(TimeExpression, SecondsAreExactAtFrameBoundaries)
{
    const Timeline timeline = Grid(25, 1, 1000);
    for (std::int64_t frame = 0; frame < 1000; ++frame)
    {
        const std::string text = std::to_string(frame / 25) + "." + (frame % 25 * 4 < 10 ? "0" : "") +
                                 std::to_string(frame % 25 * 4) + "s";
        EXPECT_EQ(Frame(text, timeline), frame) << text;
    }
}

TEST(TimeExpression, TimecodeCountsFromTheFilesStart)
{
    Timeline timeline = Grid(25, 1, 100);
    timeline.mHasTimecode = true;
    timeline.mTimecodeStart = 90000; // 01:00:00:00
    EXPECT_EQ(Frame("01:00:03:12", timeline), 87);
    EXPECT_EQ(TimecodeOfFrame(87, timeline), "01:00:03:12");
    EXPECT_NE(Refusal([&] { Frame("00:00:03:12", timeline); }).find("before the start"), std::string::npos);
    EXPECT_NE(Refusal([&] { Frame("01:00:03;12", timeline); }), "");
    EXPECT_NE(Refusal([&] { Frame("01:00:03:25", timeline); }), "");
}

TEST(TimeExpression, DroppedNumbersAreLeftOutOfTheCount)
{
    Timeline timeline = Grid(30000, 1001, 20000);
    EXPECT_EQ(Frame("00:01:00;02", timeline), 1800);
    EXPECT_EQ(Frame("00:10:00;00", timeline), 17982);
    EXPECT_EQ(Frame("00:01:00:02", timeline), 1802);
    EXPECT_NE(Refusal([&] { Frame("00:01:00;00", timeline); }), "");

    timeline.mHasTimecode = true;
    timeline.mIsDropFrame = true;
    timeline.mTimecodeStart = 107892; // 01:00:00;00
    EXPECT_EQ(Frame("01:01:00;02", timeline), 1800);
    // In such a file a label has one meaning, however it is written.
    EXPECT_EQ(Frame("01:01:00:02", timeline), 1800);
}

TEST(TimeExpression, TimecodeGoesOnPastMidnight)
{
    Timeline timeline = Grid(25, 1, 1000);
    timeline.mHasTimecode = true;
    timeline.mTimecodeStart = 24 * 3600 * 25 - 250; // 23:59:50:00
    EXPECT_EQ(Frame("00:00:05:00", timeline), 375);
    EXPECT_EQ(TimecodeOfFrame(249, timeline), "23:59:59:24");
    EXPECT_EQ(TimecodeOfFrame(250, timeline), "00:00:00:00");
    EXPECT_EQ(TimecodeOfFrame(375, timeline), "00:00:05:00");
}

TEST(TimeExpression, TimecodeWithDroppedNumbersGoesOnPastMidnight)
{
    Timeline timeline = Grid(30000, 1001, 1000);
    timeline.mHasTimecode = true;
    timeline.mIsDropFrame = true;
    timeline.mTimecodeStart = 24 * 107892 - 300; // 23:59:50;00
    EXPECT_EQ(TimecodeOfFrame(0, timeline), "23:59:50;00");
    EXPECT_EQ(TimecodeOfFrame(300, timeline), "00:00:00;00");
    EXPECT_EQ(Frame("00:00:01;00", timeline), 330);
}

TEST(TimeExpression, WhatIsNoTimeIsRefusedByName)
{
    for (const char* text : {"", "-1", "x", "84x", "3.5", "3.s", ".5s", "1:2:3", "1:2:3:4:5", "#", "##3",
                             "3.5ss", "00:00:03;12;1", "99999999999999999999", "0x10", " 84", "1e3"})
    {
        const std::string message = Refusal([&] { ParseTime("--time", text); });
        EXPECT_NE(message.find("--time: '" + std::string(text) + "'"), std::string::npos)
            << text << ": " << message;
    }
}

TEST(TimeExpression, TimesPastTheEndAreRefused)
{
    const Timeline timeline = Grid(25, 1, 100);
    for (const char* text : {"100", "4s", "00:00:04:00", "123456", "1000s"})
    {
        EXPECT_NE(Refusal([&] { Frame(text, timeline); }).find("past the end"), std::string::npos) << text;
    }
}

TEST(TimeExpression, RangeIsHalfOpen)
{
    const Timeline timeline = Grid(25, 1, 100);
    ExpectRanges(timeline, {{"10:20", 10, 20},
                            {"start:end", 0, 100},
                            {"99:100", 99, 100},
                            {":20", 0, 20},
                            {"20:", 20, 100},
                            {":", 0, 100},
                            {"1s:2s", 25, 50},
                            {"0.5s:1.01s", 12, 26}, // a frame that is still shown before B belongs to it
                            {"3s:4s", 75, 100}});
}

TEST(TimeExpression, RangeIsCutAtTheOneColonThatFits)
{
    const Timeline timeline = Grid(25, 1, 1000);
    ExpectRanges(timeline, {{"00:00:01:00:00:00:02:00", 25, 50},
                            {"00:00:01:00:end", 25, 1000},
                            {"start:00:00:01:00", 0, 25},
                            {"#10:00:00:01:00", 10, 25},
                            {"00:00:01:00:#100", 25, 100},
                            {"00:00:01:00:2.5s", 25, 63},
                            {":00:00:01:00", 0, 25},
                            {"00:00:01:00:", 25, 1000}});
}

TEST(TimeExpression, RangeThatCanBeReadTwiceIsRefused)
{
    EXPECT_NE(Refusal([] { ParseRange("--range", "10:01:00:03:12"); }).find("two ways"), std::string::npos);
}

TEST(TimeExpression, RangesThatMakeNoSenseAreRefused)
{
    const Timeline timeline = Grid(25, 1, 100);
    for (const char* text : {"20:10", "10:10", "0:101", "100:101", "100:end", "0s:4.01s", "10", "a:b",
                             "1:2:3", "", "00:00:01:00", "00:00:00:00:00:00:04:01"})
    {
        EXPECT_NE(Refusal([&] { Range(text, timeline); }), "") << text;
    }
}

TEST(TimeExpression, OffTheGridFramesAreFoundByTheirTimes)
{
    const Timeline timeline = OffGrid();
    EXPECT_EQ(Frame("0.9s", timeline), 0);
    EXPECT_EQ(Frame("1s", timeline), 1);
    EXPECT_EQ(Frame("3.99s", timeline), 1);
    EXPECT_EQ(Frame("end", timeline), 2);
    ExpectRanges(timeline, {{"1:end", 1, 3}, {"1s:4s", 1, 2}, {"1s:4.5s", 1, 3}});
    EXPECT_EQ(Range("1:2", timeline).mStart, TickTime::FromSeconds(1));
    EXPECT_EQ(Range("1:2", timeline).mStop, TickTime::FromSeconds(4));
}

TEST(TimeExpression, WithoutAnEndOnlyARangeHasOne)
{
    Timeline timeline = Grid(25, 1, 100);
    timeline.mFrameCount = -1;
    timeline.mFrameAt = [](TickTime inTime) { return inTime.ToFrame64(FrameRate::FromRational(25, 1)); };
    ExpectRanges(timeline, {{"0:1000", 0, 1000}, {"1s:00:00:02:00", 25, 50}});
    EXPECT_NE(Refusal([&] { Range("0:end", timeline); }), "");
    EXPECT_NE(Refusal([&] { Frame("end", timeline); }), "");
    EXPECT_NE(Refusal([&] { RangeOrWhole("--range", "", timeline); }).find("has no end"), std::string::npos);
}

TEST(TimeExpression, WithoutAnEndNumbersEndWithTheAxis)
{
    Timeline timeline = Grid(25, 1, 100);
    timeline.mFrameCount = -1;
    timeline.mFrameAt = [](TickTime inTime) { return inTime.ToFrame64(FrameRate::FromRational(25, 1)); };
    const std::int64_t last = (norviktypes::kTime_Max.GetTicks() - 1) / (norviktypes::kTicksPerSecond / 25);
    EXPECT_EQ(Frame(std::to_string(last), timeline), last);
    for (const std::string& text : {std::to_string(last + 1), std::string("1099511627776")})
    {
        EXPECT_NE(Refusal([&] { Frame(text, timeline); }).find("later than any time"), std::string::npos)
            << text;
        EXPECT_NE(Refusal([&] { Range("0:" + text, timeline); }).find("later than any time"),
                  std::string::npos)
            << text;
    }
}
