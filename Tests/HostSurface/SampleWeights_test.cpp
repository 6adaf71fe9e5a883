#include "MF/SampleWeights.h"

#include "Tests/Support/Scale.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

using namespace norviktypes;
using MF::FrameTime;
using MF::WeightedSamples;

namespace
{

constexpr FrameRate kRate25 = FrameRate::FromRational(25, 1);
constexpr std::int64_t kFrame = kRate25.GetTicks();

struct Durations
{
    TickTime mFrame;
    TickTime mFirst;
    TickTime mSecond;
};

Durations DurationsOf(const FrameRate& inSource, const FrameRate& inSequence, const FrameTime& inTime,
                      double inSpeed)
{
    Durations durations;
    MF::CalculateDurationsInMediaTime(inSource, inSequence, inTime, inSpeed, durations.mFrame,
                                      durations.mFirst, durations.mSecond);
    return durations;
}

WeightedSamples SamplesOf(std::int64_t inStart, std::int64_t inEnd, const FrameRate& inRate = kRate25)
{
    WeightedSamples samples;
    MF::GetWeightedSamplesForRange(TickTime(inStart), TickTime(inEnd), inRate, kFieldType_UpperFirst,
                                   samples);
    return samples;
}

double SumOf(const WeightedSamples& inSamples)
{
    double sum = 0.0;
    for (const auto& sample : inSamples)
    {
        sum += sample.second;
    }
    return sum;
}

std::vector<double> WeightsOf(const WeightedSamples& inSamples)
{
    std::vector<double> weights;
    for (const auto& sample : inSamples)
    {
        weights.push_back(sample.second);
    }
    return weights;
}

// The whole number of ticks of frame inFrame that lie in the range, counted from both sides.
std::int64_t CoveredTicks(std::int64_t inFrame, std::int64_t inTicks, std::int64_t inStart,
                          std::int64_t inEnd)
{
    __extension__ typedef __int128 Wide;
    const Wide from = static_cast<Wide>(inFrame) * inTicks;
    const Wide before = from < inStart ? inStart - from : 0;
    const Wide after = from + inTicks > inEnd ? from + inTicks - inEnd : 0;
    const Wide left = inTicks - before - after;
    return left > 0 ? static_cast<std::int64_t>(left) : 0;
}

} // namespace

TEST(SampleWeights, SpanIsWhatAFieldOfTheSequencePlays)
{
    const Durations whole = DurationsOf(kRate25 * 2, kRate25, FrameTime(TickTime(0)), 2.0);
    EXPECT_EQ(kFrame / 2, whole.mFrame.GetTicks());
    EXPECT_EQ(kFrame * 2, whole.mFirst.GetTicks());
    EXPECT_EQ(kFrame * 2, whole.mSecond.GetTicks());
    // The moments of a request are moments of the media: apart by the speed, which must not count twice.
    const FrameTime fields(TickTime(0), TickTime(kFrame));
    EXPECT_EQ(kFrame, DurationsOf(kRate25, kRate25, fields, 2.0).mFirst.GetTicks());
    EXPECT_EQ(kFrame, DurationsOf(kRate25, kRate25, fields, 2.0).mSecond.GetTicks());
}

TEST(SampleWeights, SpanHasNoDirection)
{
    for (const double speed : {0.25, 1.5, 3.7})
    {
        const FrameTime time(TickTime(0));
        EXPECT_EQ(DurationsOf(kRate25, kRate25, time, speed).mFirst,
                  DurationsOf(kRate25, kRate25, time, -speed).mFirst);
    }
}

TEST(SampleWeights, SpanIsRoundedToTheNearestTick)
{
    // 59.94 frames a second shown one for one in 25: every source frame is one of the sequence, to the tick.
    const FrameRate fast = FrameRate::FromRational(60000, 1001);
    const double speed = static_cast<double>(fast.GetTicks()) / static_cast<double>(kRate25.GetTicks());
    const Durations durations = DurationsOf(fast, kRate25, FrameTime(TickTime(0)), speed);
    EXPECT_EQ(durations.mFrame, durations.mFirst);
    EXPECT_EQ(37594368000, DurationsOf(kRate25, kRate25, FrameTime(TickTime(0)), 3.7).mFirst.GetTicks());
}

TEST(SampleWeights, SpanOfNoNumberIsNone)
{
    const FrameTime time(TickTime(0));
    EXPECT_EQ(kTime_Zero, DurationsOf(kRate25, kRate25, time, std::nan("")).mFirst);
    EXPECT_EQ(kTime_Max, DurationsOf(kRate25, kRate25, time, HUGE_VAL).mFirst);
    EXPECT_EQ(kTime_Max, DurationsOf(kRate25, kRate25, time, -1e300).mSecond);
    for (const FrameRate& rate : {kFrameRate_Zero, kFrameRate_Unset, FrameRate(-1)})
    {
        const Durations none = DurationsOf(rate, rate, FrameTime(TickTime(0), TickTime(1)), 2.0);
        EXPECT_EQ(kTime_Zero, none.mFrame);
        EXPECT_EQ(kTime_Zero, none.mFirst);
    }
}

TEST(SampleWeights, WeightIsTheCoveredShareOfTheRange)
{
    const WeightedSamples samples = SamplesOf(kFrame / 2, kFrame * 5 / 2);
    ASSERT_EQ(3U, samples.size());
    for (std::size_t i = 0; i < 3; ++i)
    {
        EXPECT_EQ(TickTime::FromFrame(static_cast<std::int64_t>(i), kRate25), samples[i].first.first);
        EXPECT_EQ(kFieldType_UpperFirst, samples[i].first.second);
    }
    EXPECT_EQ((std::vector<double>{0.25, 0.5, 0.25}), WeightsOf(samples));
}

TEST(SampleWeights, RangeEndsBeforeTheFrameThatBeginsThere)
{
    EXPECT_EQ((std::vector<double>{0.5, 0.5}), WeightsOf(SamplesOf(0, 2 * kFrame)));
    EXPECT_EQ(3U, SamplesOf(0, 2 * kFrame + 1).size());
    EXPECT_EQ((std::vector<double>{1.0}), WeightsOf(SamplesOf(-kFrame / 2, -kFrame / 4)));
    EXPECT_EQ(TickTime(-kFrame), SamplesOf(-kFrame / 2, -kFrame / 4).front().first.first);
}

TEST(SampleWeights, SharesAreThoseOfAnExactCount)
{
    constexpr std::uint32_t kSeed = 20240917;
    std::mt19937_64 random(kSeed);
    RecordProperty("seed", static_cast<int>(kSeed));
    const std::size_t count = TestSupport::ScaledCount(3000);
    for (std::size_t i = 0; i < count; ++i)
    {
        const std::int64_t ticks = std::uniform_int_distribution<std::int64_t>(1, 40000000000)(random);
        const std::int64_t start =
            std::uniform_int_distribution<std::int64_t>(-(INT64_C(1) << 55), INT64_C(1) << 55)(random);
        const std::int64_t length = std::uniform_int_distribution<std::int64_t>(1, ticks * 100)(random);
        const WeightedSamples samples = SamplesOf(start, start + length, FrameRate(ticks));
        std::int64_t covered = 0;
        for (const auto& sample : samples)
        {
            const std::int64_t frame = sample.first.first.GetTicks() / ticks;
            ASSERT_EQ(frame * ticks, sample.first.first.GetTicks()) << "seed " << kSeed << ", case " << i;
            const std::int64_t part = CoveredTicks(frame, ticks, start, start + length);
            covered += part;
            ASSERT_GT(part, 0);
            ASSERT_NEAR(static_cast<double>(static_cast<long double>(part) / length), sample.second, 1e-15)
                << "seed " << kSeed << ", case " << i;
        }
        ASSERT_EQ(length, covered) << "a frame is missing or doubled; seed " << kSeed << ", case " << i;
    }
}

TEST(SampleWeights, EmptyRangeIsOneMoment)
{
    for (const std::int64_t end : {kFrame * 3 / 2, kFrame, -kFrame})
    {
        const WeightedSamples samples = SamplesOf(kFrame * 3 / 2, end);
        ASSERT_EQ(1U, samples.size());
        EXPECT_EQ(TickTime(kFrame), samples.front().first.first);
        EXPECT_EQ(1.0, samples.front().second);
    }
}

TEST(SampleWeights, WithoutARateTheStartIsTheOneSample)
{
    for (const FrameRate& rate : {kFrameRate_Zero, kFrameRate_Unset})
    {
        const WeightedSamples samples = SamplesOf(12345, 99999999, rate);
        ASSERT_EQ(1U, samples.size());
        EXPECT_EQ(TickTime(12345), samples.front().first.first);
        EXPECT_EQ(1.0, samples.front().second);
    }
}

TEST(SampleWeights, SamplesAreAppended)
{
    WeightedSamples samples = SamplesOf(0, kFrame);
    MF::GetWeightedSamplesForRange(TickTime(0), TickTime(kFrame), kRate25, kFieldType_LowerFirst, samples);
    ASSERT_EQ(2U, samples.size());
    EXPECT_EQ(kFieldType_LowerFirst, samples[1].first.second);
}

TEST(SampleWeights, LongRangesAreThinnedOut)
{
    constexpr auto kMost = static_cast<std::int64_t>(MF::kMostSamplesOfRange);
    const WeightedSamples most = SamplesOf(0, kMost * kFrame);
    ASSERT_EQ(MF::kMostSamplesOfRange, most.size());
    EXPECT_EQ(TickTime(kFrame), most[1].first.first);

    const WeightedSamples more = SamplesOf(0, (kMost + 1) * kFrame);
    EXPECT_EQ((MF::kMostSamplesOfRange + 2) / 2, more.size());
    EXPECT_EQ(TickTime(2 * kFrame), more[1].first.first);
    EXPECT_NEAR(1.0, SumOf(more), 1e-12);

    // A range that begins amid a frame has one more than its length tells.
    EXPECT_LE(SamplesOf(-1, (kMost * 2 - 1) * kFrame).size(), MF::kMostSamplesOfRange);
    const WeightedSamples endless = SamplesOf(0, kTime_Max.GetTicks());
    EXPECT_LE(endless.size(), MF::kMostSamplesOfRange);
    EXPECT_NEAR(1.0, SumOf(endless), 1e-12);
}

TEST(SampleWeights, NormalizingScalesToASumOfOne)
{
    WeightedSamples samples = {{{}, 1.0}, {{}, 2.0}, {{}, 5.0}};
    MF::NormalizeSampleWeights(samples);
    EXPECT_EQ((std::vector<double>{0.125, 0.25, 0.625}), WeightsOf(samples));
    WeightedSamples one = {{{}, 0.3}};
    MF::NormalizeSampleWeights(one);
    EXPECT_EQ(1.0, one.front().second);
}

TEST(SampleWeights, NormalizingLeavesWhatHasNoSum)
{
    WeightedSamples none;
    MF::NormalizeSampleWeights(none);
    EXPECT_TRUE(none.empty());
    WeightedSamples zero = {{{}, 1.0}, {{}, -1.0}};
    MF::NormalizeSampleWeights(zero);
    EXPECT_EQ((std::vector<double>{1.0, -1.0}), WeightsOf(zero));
    WeightedSamples infinite = {{{}, HUGE_VAL}, {{}, 1.0}};
    MF::NormalizeSampleWeights(infinite);
    EXPECT_EQ(1.0, infinite[1].second);
}

TEST(SampleWeights, TimesLieBetweenTheirSamples)
{
    const FrameTime time(TickTime(kFrame * 3 / 2), TickTime(-1));
    TickTime a;
    TickTime b;
    TickTime c;
    TickTime d;
    MF::GetSamplesAroundTime(time, kRate25, a, b, c, d);
    EXPECT_EQ(TickTime(kFrame), a);
    EXPECT_EQ(TickTime(2 * kFrame), b);
    EXPECT_EQ(TickTime(-kFrame), c);
    EXPECT_EQ(TickTime(0), d);
    MF::GetSamplesAroundTime(FrameTime(TickTime(2 * kFrame)), kRate25, a, b, c, d);
    EXPECT_EQ(TickTime(2 * kFrame), a);
    EXPECT_EQ(TickTime(3 * kFrame), b);
    MF::GetSamplesAroundTime(time, kFrameRate_Zero, a, b, c, d);
    EXPECT_EQ(a, b);
    EXPECT_EQ(TickTime(-1), c);
}

TEST(SampleWeights, WeightIsTheShareOfTheLaterSample)
{
    const TickTime before(-kFrame);
    const TickTime after(0);
    EXPECT_EQ(0.0F, MF::CalculateSampleWeight(before, before, after));
    EXPECT_EQ(0.25F, MF::CalculateSampleWeight(TickTime(-kFrame * 3 / 4), before, after));
    EXPECT_EQ(1.0F, MF::CalculateSampleWeight(after, before, after));
    EXPECT_EQ(0.0F, MF::CalculateSampleWeight(TickTime(-2 * kFrame), before, after));
    EXPECT_EQ(1.0F, MF::CalculateSampleWeight(TickTime(kFrame), before, after));
    EXPECT_EQ(0.0F, MF::CalculateSampleWeight(TickTime(5), TickTime(5), TickTime(5)));
    EXPECT_EQ(0.0F, MF::CalculateSampleWeight(TickTime(5), after, before));
}
