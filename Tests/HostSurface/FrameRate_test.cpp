#include "norviktypes/FrameRate.h"

#include <gtest/gtest.h>

using namespace norviktypes;

TEST(FrameRate, UsualRatesAreWholeTicks)
{
    EXPECT_EQ(FrameRate::FromRational(24, 1).GetTicks(), 10584000000);
    EXPECT_EQ(FrameRate::FromRational(25, 1).GetTicks(), 10160640000);
    EXPECT_EQ(FrameRate::FromRational(30000, 1001).GetTicks(), 8475667200);
    EXPECT_EQ(FrameRate::FromRational(24000, 1001).GetTicks(), 10594584000);
    EXPECT_EQ(FrameRate::FromRational(60000, 1001).GetTicks(), 4237833600);
}

TEST(FrameRate, OtherRatesRoundToNearest)
{
    EXPECT_EQ(FrameRate::FromRational(kTicksPerSecond * 2, 1).GetTicks(), 1) << "a half rounds up";
    EXPECT_EQ(FrameRate::FromRational(kTicksPerSecond * 3, 1).GetTicks(), 0);
    EXPECT_EQ(FrameRate::FromRational(17, 1).GetTicks(), 14942117647);
}

TEST(FrameRate, ImpossibleRatesAreNone)
{
    EXPECT_EQ(FrameRate::FromRational(0, 1), kFrameRate_Zero);
    EXPECT_EQ(FrameRate::FromRational(25, 0), kFrameRate_Zero);
    EXPECT_EQ(FrameRate::FromRational(-25, 1), kFrameRate_Zero);
    EXPECT_EQ(FrameRate::FromRational(1, std::numeric_limits<std::int64_t>::max()), kFrameRate_Zero);
}

TEST(FrameRate, MultiplyingTheFrequencyDividesTheTicks)
{
    const FrameRate rate = FrameRate::FromRational(30000, 1001);
    EXPECT_EQ((rate * 2).GetTicks(), rate.GetTicks() / 2);
    EXPECT_EQ((rate / 2).GetTicks(), rate.GetTicks() * 2);
    EXPECT_EQ((rate * 0.8).GetTicks(), 10594584000);
    EXPECT_EQ((rate * 0.8 * 1.25).GetTicks(), rate.GetTicks()) << "pulldown there and back";
}

TEST(FrameRate, ComparisonsAreOfTicks)
{
    const FrameRate slow = FrameRate::FromRational(24, 1);
    const FrameRate fast = FrameRate::FromRational(60, 1);
    EXPECT_GT(slow, fast);
    EXPECT_LT(kFrameRate_Video1000, fast);
    EXPECT_GT(kFrameRate_Unset, slow);
    EXPECT_EQ(kFrameRate_Video1000.GetTicks(), 254016000);
}

TEST(FrameRate, CountableMeansThatFramesCanBeCounted)
{
    EXPECT_TRUE(FrameRate::FromRational(25, 1).IsCountable());
    EXPECT_FALSE(kFrameRate_Zero.IsCountable());
    EXPECT_FALSE(FrameRate(-1).IsCountable());
    EXPECT_FALSE(kFrameRate_Unset.IsCountable());
}

TEST(FrameRate, TellsFramesPerSecond)
{
    EXPECT_NEAR(FrameRate::FromRational(30000, 1001).AsFramesPerSecond(), 29.97002997, 1e-8);
    EXPECT_EQ(kFrameRate_Zero.AsFramesPerSecond(), 0.0);
}
