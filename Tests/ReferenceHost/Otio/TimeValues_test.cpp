#include "ReferenceHost/Project/Otio/TimeValues.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>

namespace
{

using norviktypes::FrameRate;
using norviktypes::TickTime;
using Otio::ExactRate;
using Otio::FindExactRate;
using Otio::TimeFault;

struct RateRow
{
    double mDecimal;
    std::int64_t mFrames;
    std::int64_t mSeconds;
};

TEST(DocumentRates, DecimalsBecomeTheFractionsThatAreMeant)
{
    const RateRow rows[] = {{24, 24, 1},
                            {23.976, 24000, 1001},
                            {23.97602, 24000, 1001},
                            {23.9762, 24000, 1001},
                            {29.97, 30000, 1001},
                            {29.97003, 30000, 1001},
                            {59.94, 60000, 1001},
                            {47.952, 48000, 1001},
                            {119.88, 120000, 1001},
                            {14.985, 15000, 1001},
                            {11.988, 12000, 1001},
                            {12.5, 25, 2},
                            {25.0001, 25, 1},
                            {1, 1, 1},
                            {48000, 48000, 1},
                            {44100, 44100, 1},
                            {1000, 1000, 1}};
    for (const RateRow& row : rows)
    {
        ExactRate rate;
        ASSERT_TRUE(FindExactRate(row.mDecimal, rate)) << row.mDecimal;
        EXPECT_EQ(rate.mFrames, row.mFrames) << row.mDecimal;
        EXPECT_EQ(rate.mSeconds, row.mSeconds) << row.mDecimal;
        EXPECT_TRUE(Otio::IsUsualRate(row.mDecimal)) << row.mDecimal;
    }
}

TEST(DocumentRates, OthersAreTakenAsTheyAreWritten)
{
    ExactRate rate;
    ASSERT_TRUE(FindExactRate(23.98, rate));
    EXPECT_EQ(rate.mFrames, 1199);
    EXPECT_EQ(rate.mSeconds, 50);
    EXPECT_FALSE(Otio::IsUsualRate(23.98));
    for (const double usual : {24.0, 24000.0 / 1001.0, 12.5})
    {
        EXPECT_TRUE(Otio::IsUsualRate(usual + 1.9e-4)) << usual;
        EXPECT_FALSE(Otio::IsUsualRate(usual + 2.1e-4)) << usual;
        EXPECT_FALSE(Otio::IsUsualRate(usual - 2.1e-4)) << usual;
    }
    ASSERT_TRUE(FindExactRate(0.1, rate));
    EXPECT_EQ(rate.mFrames, 1);
    EXPECT_EQ(rate.mSeconds, 10);
    ASSERT_TRUE(FindExactRate(18.18181818, rate));
    EXPECT_EQ(rate.mFrames, 200);
    EXPECT_EQ(rate.mSeconds, 11);
    for (const double decimal :
         {0.0, -24.0, 1e-7, 1e10, std::nan(""), std::numeric_limits<double>::infinity()})
    {
        EXPECT_FALSE(FindExactRate(decimal, rate)) << decimal;
    }
}

TEST(DocumentTimes, AreWholeTicksOfTheExactRate)
{
    TickTime time;
    FrameRate rate;
    ASSERT_EQ(Otio::ToTicks(86400.0, 23.976, time, rate), TimeFault::kFine);
    EXPECT_EQ(time.GetTicks(), std::int64_t{86400} * 254016000000 / 24000 * 1001);
    EXPECT_EQ(rate, FrameRate::FromRational(24000, 1001));
    ASSERT_EQ(Otio::ToTicks(48000.0, 48000.0, time, rate), TimeFault::kFine);
    EXPECT_EQ(time.GetTicks(), 254016000000);
    ASSERT_EQ(Otio::ToTicks(-12.0, 24.0, time, rate), TimeFault::kFine);
    EXPECT_EQ(time.GetTicks(), -254016000000 / 2);
    ASSERT_EQ(Otio::ToTicks(0.5, 24.0, time, rate), TimeFault::kFine);
    EXPECT_EQ(time.GetTicks(), 254016000000 / 48);
    ASSERT_EQ(Otio::ToTicks(-0.25, 24.0, time, rate), TimeFault::kFine);
    EXPECT_EQ(time.GetTicks(), -254016000000 / 96);
}

TEST(DocumentTimes, SumsOfAWriterThatMissAFrameByTheirLastBitsAreThatFrame)
{
    TickTime time;
    FrameRate rate;
    for (const double value : {119.9999999, 120.0000001})
    {
        ASSERT_EQ(Otio::ToTicks(value, 24.0, time, rate), TimeFault::kFine);
        EXPECT_EQ(time.GetTicks(), std::int64_t{5} * 254016000000) << value;
    }
    ASSERT_EQ(Otio::ToTicks(119.999, 24.0, time, rate), TimeFault::kFine);
    EXPECT_LT(time.GetTicks(), std::int64_t{5} * 254016000000);
}

TEST(DocumentTimes, AZeroNeedsNoRate)
{
    TickTime time(1);
    FrameRate rate;
    EXPECT_EQ(Otio::ToTicks(0.0, 0.0, time, rate), TimeFault::kFine);
    EXPECT_EQ(time, TickTime());
    EXPECT_FALSE(rate.IsCountable());
    EXPECT_EQ(Otio::ToTicks(1.0, 0.0, time, rate), TimeFault::kNoRate);
    EXPECT_EQ(Otio::ToTicks(1.0, -24.0, time, rate), TimeFault::kNoRate);
}

TEST(DocumentTimes, FaultsGiveZero)
{
    TickTime time(1);
    FrameRate rate;
    const double infinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ(Otio::ToTicks(std::nan(""), 24.0, time, rate), TimeFault::kNotFinite);
    EXPECT_EQ(Otio::ToTicks(0.0, std::nan(""), time, rate), TimeFault::kNotFinite);
    EXPECT_EQ(Otio::ToTicks(infinity, 24.0, time, rate), TimeFault::kNotFinite);
    EXPECT_EQ(Otio::ToTicks(1.0, -infinity, time, rate), TimeFault::kNotFinite);
    EXPECT_EQ(Otio::ToTicks(1e300, 24.0, time, rate), TimeFault::kTooLong);
    EXPECT_EQ(time, TickTime());
}

TEST(DocumentTimes, EndAtTheLongestTime)
{
    TickTime time;
    FrameRate rate;
    const double limit = std::floor(static_cast<double>(Otio::kLongestTime.GetTicks()) / 254016000000.0);
    EXPECT_EQ(Otio::ToTicks(limit, 1.0, time, rate), TimeFault::kFine);
    EXPECT_EQ(Otio::ToTicks(limit + 1.0, 1.0, time, rate), TimeFault::kTooLong);
    EXPECT_EQ(Otio::ToTicks(-limit - 1.0, 1.0, time, rate), TimeFault::kTooLong);
}

TEST(DocumentTimes, ProductsAreRoundedAndHeld)
{
    EXPECT_EQ(Otio::Scaled(TickTime(3), 0.5), TickTime(2));
    EXPECT_EQ(Otio::Scaled(TickTime(-3), 0.5), TickTime(-2));
    EXPECT_EQ(Otio::Scaled(Otio::kLongestTime, 1e6), Otio::kLongestTime);
    EXPECT_EQ(Otio::Scaled(Otio::kLongestTime, -1e6), -Otio::kLongestTime);
    EXPECT_EQ(Otio::Scaled(TickTime(1), std::nan("")), TickTime());
}

TEST(DocumentTimes, APartOfAFrameIsAFrameOfTheOutput)
{
    const FrameRate rate(10000);
    EXPECT_EQ(Otio::CountFrames(TickTime(0), rate), 0);
    EXPECT_EQ(Otio::CountFrames(TickTime(-1), rate), 0);
    EXPECT_EQ(Otio::CountFrames(TickTime(10000), rate), 1);
    EXPECT_EQ(Otio::CountFrames(TickTime(10001), rate), 1); // a ten-thousandth is none
    EXPECT_EQ(Otio::CountFrames(TickTime(10002), rate), 2);
    EXPECT_EQ(Otio::CountFrames(TickTime(19999), rate), 2);
    EXPECT_EQ(Otio::CountFrames(TickTime(1), FrameRate()), 0);
}

}
