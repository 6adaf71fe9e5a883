#include "norviktypes/TickTime.h"

#include "MF/FrameTime.h"
#include "Tests/Support/Scale.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>

using namespace norviktypes;

namespace
{

constexpr FrameRate kTen{10};
constexpr FrameRate k25 = FrameRate::FromRational(25, 1);
constexpr FrameRate k2997 = FrameRate::FromRational(30000, 1001);

} // namespace

TEST(TickTime, AxisEndsLeaveRoomForArithmetic)
{
    EXPECT_EQ(kTime_Max.GetTicks(), std::int64_t{1} << 61);
    EXPECT_EQ(kTime_Min.GetTicks(), -(std::int64_t{1} << 61));
    EXPECT_EQ(kTime_Invalid.GetTicks(), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ((kTime_Max + kTime_Max + kTime_Max).GetTicks(), 3 * (std::int64_t{1} << 61));
    EXPECT_EQ((kTime_Max - kTime_Min + TickTime(1)).GetTicks(), (std::int64_t{1} << 62) + 1);
}

TEST(TickTime, ComparesByTicks)
{
    EXPECT_LT(TickTime(1), TickTime(2));
    EXPECT_LE(TickTime(2), TickTime(2));
    EXPECT_GT(TickTime(-1), TickTime(-2));
    EXPECT_GE(TickTime(-1), TickTime(-1));
    EXPECT_EQ(TickTime(5), TickTime(5));
    EXPECT_NE(TickTime(5), TickTime(6));
}

TEST(TickTime, Calculates)
{
    TickTime time(10);
    time += TickTime(5);
    time -= TickTime(1);
    EXPECT_EQ(time, TickTime(14));
    EXPECT_EQ(-time, TickTime(-14));
    EXPECT_EQ(time * 3, TickTime(42));
    EXPECT_EQ(time * std::int64_t{3}, TickTime(42));
    EXPECT_EQ(time / 4u, TickTime(3));
    EXPECT_EQ(TickTime(-14) / 4u, TickTime(-3));
    EXPECT_DOUBLE_EQ(TickTime(1) / TickTime(4), 0.25);
}

TEST(TickTime, DoublesTruncateAndAreHeldAtTheEnds)
{
    EXPECT_EQ(TickTime(10) * 0.29, TickTime(2));
    EXPECT_EQ(TickTime(-10) * 0.29, TickTime(-2));
    EXPECT_EQ(TickTime(10) / 4.0, TickTime(2));
    EXPECT_EQ(kTime_Max * 1e30, TickTime(9223372036854774784));
    EXPECT_EQ(kTime_Max * -1e30, TickTime(-9223372036854774784));
    EXPECT_EQ(TickTime(1) * std::numeric_limits<double>::quiet_NaN(), TickTime(0));
    EXPECT_EQ(TickTime(0) / 0.0, TickTime(0));
}

TEST(TickTime, SecondsGoThereAndBack)
{
    EXPECT_EQ(TickTime::FromSeconds(3.5).GetTicks(), kTicksPerSecond / 2 * 7);
    EXPECT_EQ(TickTime::FromSeconds(-1.0).GetTicks(), -kTicksPerSecond);
    EXPECT_DOUBLE_EQ(TickTime(kTicksPerSecond / 4).AsSeconds(), 0.25);
}

TEST(TickTime, AlignsDownUpAndToNearestFrame)
{
    struct Case
    {
        std::int64_t mTime, mDown, mUp, mNearest;
    };
    const Case cases[] = {{0, 0, 0, 0},      {1, 0, 10, 0},        {4, 0, 10, 0},       {5, 0, 10, 10},
                          {9, 0, 10, 10},    {10, 10, 10, 10},     {-1, -10, 0, 0},     {-5, -10, 0, 0},
                          {-6, -10, 0, -10}, {-10, -10, -10, -10}, {-11, -20, -10, -10}};
    for (const Case& one : cases)
    {
        EXPECT_EQ(TickTime(one.mTime).AlignToFrame(kTen), TickTime(one.mDown)) << one.mTime;
        EXPECT_EQ(TickTime(one.mTime).AlignToFrameCeil(kTen), TickTime(one.mUp)) << one.mTime;
        EXPECT_EQ(TickTime(one.mTime).AlignToNearestFrame(kTen), TickTime(one.mNearest)) << one.mTime;
    }
}

TEST(TickTime, AlignmentLeavesEndsAndUncountableRatesAlone)
{
    for (const FrameRate& rate : {kFrameRate_Zero, FrameRate(-5), kFrameRate_Unset})
    {
        EXPECT_EQ(TickTime(7).AlignToFrame(rate), TickTime(7));
        EXPECT_EQ(TickTime(7).AlignToFrameCeil(rate), TickTime(7));
        EXPECT_EQ(TickTime(7).AlignToNearestFrame(rate), TickTime(7));
    }
    for (const TickTime& end : {kTime_Min, kTime_Max})
    {
        EXPECT_EQ(end.AlignToFrame(kTen), end);
        EXPECT_EQ(end.AlignToFrameCeil(kTen), end);
        EXPECT_EQ(end.AlignToNearestFrame(kTen), end);
    }
}

TEST(TickTime, FrameNumbersRoundDown)
{
    EXPECT_EQ(TickTime(29).ToFrame64(kTen), 2);
    EXPECT_EQ(TickTime(30).ToFrame64(kTen), 3);
    EXPECT_EQ(TickTime(-1).ToFrame64(kTen), -1);
    EXPECT_EQ(TickTime(-10).ToFrame32(kTen), -1);
    EXPECT_EQ(TickTime(-11).ToFrame32(kTen), -2);
    EXPECT_EQ(TickTime(99).ToFrame64(kFrameRate_Zero), 0);
    EXPECT_EQ(TickTime(99).ToFrame64(FrameRate(-3)), 0);
    EXPECT_EQ(TickTime(99).ToFrame64(kFrameRate_Unset), 0);
    EXPECT_EQ(TickTime(-99).ToFrame64(kFrameRate_Unset), -1);
    EXPECT_EQ(TickTime::FromFrame(-7, kTen), TickTime(-70));
}

TEST(TickTime, EachFrameHoldsItsFirstAndLastTick)
{
    std::mt19937_64 random(TestSupport::Seed());
    const std::size_t count = TestSupport::ScaledCount(20000);
    for (std::size_t i = 0; i < count; ++i)
    {
        const FrameRate rate = i % 2 == 0 ? k25 : k2997;
        const auto frame = static_cast<std::int64_t>(random() % 2000000) - 1000000;
        const TickTime start = TickTime::FromFrame(frame, rate);
        const TickTime last = start + TickTime(rate.GetTicks() - 1);
        ASSERT_EQ(start.ToFrame64(rate), frame);
        ASSERT_EQ(last.ToFrame64(rate), frame);
        ASSERT_EQ(last.AlignToFrame(rate), start);
        ASSERT_EQ(last.AlignToFrameCeil(rate), start + TickTime(rate.GetTicks()));
    }
}

TEST(FrameTime, TellsItsOrderAndItsEarlierTime)
{
    const MF::FrameTime progressive(TickTime(7));
    EXPECT_EQ(progressive.Order(), kFieldType_Progressive);
    EXPECT_EQ(progressive.Earlier(), TickTime(7));
    const MF::FrameTime upper(TickTime(7), TickTime(9));
    EXPECT_EQ(upper.Order(), kFieldType_UpperFirst);
    EXPECT_EQ(upper.Earlier(), TickTime(7));
    const MF::FrameTime lower(TickTime(9), TickTime(7));
    EXPECT_EQ(lower.Order(), kFieldType_LowerFirst);
    EXPECT_EQ(lower.Earlier(), TickTime(7));
}

TEST(FrameTime, OffsetsBothTimes)
{
    const MF::FrameTime time(TickTime(7), TickTime(9));
    EXPECT_EQ(time + TickTime(3), MF::FrameTime(TickTime(10), TickTime(12)));
    EXPECT_EQ(time - TickTime(3), MF::FrameTime(TickTime(4), TickTime(6)));
}
