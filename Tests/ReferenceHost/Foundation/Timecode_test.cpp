#include "ReferenceHost/Foundation/Timecode.h"

#include <gtest/gtest.h>

#include <string>

namespace
{

using Foundation::FormatTimecode;
using Foundation::ParseTimecode;
using Foundation::TimecodeRate;

constexpr TimecodeRate k25{25, 1};
constexpr TimecodeRate k23976{24000, 1001};
constexpr TimecodeRate k2997{30000, 1001};
constexpr TimecodeRate k5994{60000, 1001};

// The frame of a label, or -1000000 if the label is refused.
int64_t Parsed(const char* inText, const TimecodeRate& inRate)
{
    int64_t frame = 0;
    bool drop = false;
    return ParseTimecode(inText, inRate, frame, drop) ? frame : -1000000;
}

TEST(Timecode, CountsLabelsThrough)
{
    EXPECT_EQ(FormatTimecode(0, k25, false), "00:00:00:00");
    EXPECT_EQ(FormatTimecode(24, k25, false), "00:00:00:24");
    EXPECT_EQ(FormatTimecode(25, k25, false), "00:00:01:00");
    EXPECT_EQ(FormatTimecode(25 * 3600 * 100 - 1, k25, false), "99:59:59:24");
    EXPECT_EQ(FormatTimecode(25 * 3600 * 100, k25, false), "100:00:00:00");
    EXPECT_EQ(FormatTimecode(-26, k25, false), "-00:00:01:01");
    EXPECT_EQ(FormatTimecode(24, k23976, false), "00:00:01:00");
}

TEST(Timecode, DropFrameLeavesOutTwoLabelsAMinuteButTheTenth)
{
    EXPECT_EQ(FormatTimecode(1799, k2997, true), "00:00:59;29");
    EXPECT_EQ(FormatTimecode(1800, k2997, true), "00:01:00;02");
    EXPECT_EQ(FormatTimecode(17981, k2997, true), "00:09:59;29");
    EXPECT_EQ(FormatTimecode(17982, k2997, true), "00:10:00;00");
    EXPECT_EQ(FormatTimecode(107892, k2997, true), "01:00:00;00");
    EXPECT_EQ(FormatTimecode(3600, k5994, true), "00:01:00;04");
    EXPECT_EQ(FormatTimecode(1800, k2997, false), "00:01:00:00");
}

TEST(Timecode, DropFrameStaysWithinTwoFramesOfTheClock)
{
    for (int64_t hour = 1; hour <= 24; ++hour)
    {
        const double clockFrames = static_cast<double>(hour) * 3600.0 * 30000.0 / 1001.0;
        EXPECT_NEAR(static_cast<double>(Parsed((std::to_string(hour) + ":00:00;00").c_str(), k2997)),
                    clockFrames, 2.7);
    }
}

TEST(Timecode, FramesOfMoreThanAnHourComeBack)
{
    for (const TimecodeRate& rate : {k2997, k5994, k25})
    {
        for (int64_t frame = 0; frame < 200000; ++frame)
        {
            int64_t back = -1;
            bool drop = false;
            ASSERT_TRUE(ParseTimecode(FormatTimecode(frame, rate, true), rate, back, drop)) << frame;
            ASSERT_EQ(back, frame);
            ASSERT_EQ(drop, Foundation::SupportsDropFrame(rate));
        }
    }
}

TEST(Timecode, OnlyRatesOver1001ByThirtyDrop)
{
    EXPECT_TRUE(Foundation::SupportsDropFrame(k2997));
    EXPECT_TRUE(Foundation::SupportsDropFrame(k5994));
    EXPECT_FALSE(Foundation::SupportsDropFrame({30, 1}));
    EXPECT_FALSE(Foundation::SupportsDropFrame(k23976));
    EXPECT_FALSE(Foundation::SupportsDropFrame(k25));
    EXPECT_EQ(FormatTimecode(1800, {30, 1}, true), "00:01:00:00");
}

TEST(Timecode, SemicolonAndPointMeanDropFrame)
{
    int64_t frame = 0;
    bool drop = false;
    ASSERT_TRUE(ParseTimecode("01:00:03;12", k2997, frame, drop));
    EXPECT_TRUE(drop);
    EXPECT_EQ(frame, 107892 + 3 * 30 + 12);
    ASSERT_TRUE(ParseTimecode("01:00:03:12", k2997, frame, drop));
    EXPECT_FALSE(drop);
    EXPECT_EQ(frame, 108000 + 3 * 30 + 12);
    EXPECT_EQ(Parsed("01:00:03.12", k2997), 107892 + 3 * 30 + 12);
    EXPECT_EQ(Parsed("-00:00:01:01", k25), -26);
    EXPECT_EQ(Parsed("1:2:3:4", k25), (3600 + 2 * 60 + 3) * 25 + 4);
}

TEST(Timecode, RefusesWhatIsNoLabel)
{
    for (const char* text :
         {"", "12", "00:00:00", "00:00:00:25", "00:00:60:00", "00:60:00:00", "00:00:00:00:00", "a0:00:00:00",
          "00:00:00:", ":00:00:00", "00;00:00:00", "00:00:00:0x", " 00:00:00:00", "00:00:00;00",
          "000000:00:00:00", "00:000:00:00", "--00:00:00:01", "+00:00:00:00"})
    {
        EXPECT_EQ(Parsed(text, k25), -1000000) << text;
    }
    EXPECT_EQ(Parsed("00:01:00;00", k2997), -1000000) << "left out by drop-frame";
    EXPECT_EQ(Parsed("00:01:00;01", k2997), -1000000);
    EXPECT_EQ(Parsed("00:01:00;02", k2997), 1800);
    EXPECT_EQ(Parsed("00:10:00;00", k2997), 17982);
    EXPECT_EQ(Parsed("00:01:00;03", k5994), -1000000);
}

TEST(Timecode, OddRatesDoNotDivideByZero)
{
    EXPECT_EQ(Foundation::NominalFramesPerSecond({0, 0}), 1);
    EXPECT_EQ(Foundation::NominalFramesPerSecond({1, 3}), 1);
    EXPECT_EQ(Foundation::NominalFramesPerSecond(k23976), 24);
    EXPECT_EQ(FormatTimecode(61, {1, 3}, true), "00:01:01:00");
}

} // namespace
