#include "MF/SampleWeights.h"

#include <algorithm>
#include <cmath>

namespace MF
{

using norviktypes::FrameRate;
using norviktypes::TickTime;

namespace
{

TickTime DurationOf(const FrameRate& inRate)
{
    return TickTime(inRate.IsCountable() ? inRate.GetTicks() : 0);
}

TickTime Scaled(const TickTime& inDuration, double inFactor)
{
    const double ticks = std::round(static_cast<double>(inDuration.GetTicks()) * inFactor);
    constexpr auto kMost = static_cast<double>(norviktypes::kTime_Max.GetTicks());
    return ticks > 0.0 ? TickTime(static_cast<std::int64_t>(std::min(ticks, kMost))) : TickTime();
}

std::int64_t FramesOfRange(const TickTime& inStart, const TickTime& inEnd, const FrameRate& inRate)
{
    return (inEnd - TickTime(1)).ToFrame64(inRate) - inStart.ToFrame64(inRate) + 1;
}

// A slower rate where the range would have too many frames of this one.
FrameRate RateOfSamples(const TickTime& inStart, const TickTime& inEnd, const FrameRate& inRate)
{
    constexpr auto kMost = static_cast<std::int64_t>(kMostSamplesOfRange);
    std::int64_t step = (FramesOfRange(inStart, inEnd, inRate) + kMost - 1) / kMost;
    while (FramesOfRange(inStart, inEnd, FrameRate(inRate.GetTicks() * step)) > kMost)
    {
        ++step;
    }
    return FrameRate(inRate.GetTicks() * step);
}

} // namespace

void CalculateDurationsInMediaTime(const FrameRate& inSourceRate, const FrameRate& inSequenceRate,
                                   const FrameTime& inFrameTime, double inSpeed, TickTime& outFrameDuration,
                                   TickTime& outFirstFieldSpan, TickTime& outSecondFieldSpan) noexcept
{
    outFrameDuration = DurationOf(inSourceRate);
    const TickTime frame = DurationOf(inSequenceRate);
    const TickTime played = norviktypes::IsInterlaced(inFrameTime.Order()) ? frame / 2U : frame;
    outFirstFieldSpan = Scaled(played, std::fabs(inSpeed));
    outSecondFieldSpan = outFirstFieldSpan;
}

void GetWeightedSamplesForRange(const TickTime& inStart, const TickTime& inEnd, const FrameRate& inRate,
                                norviktypes::FieldType inFieldType, WeightedSamples& ioSamples)
{
    if (!inRate.IsCountable() || inEnd <= inStart)
    {
        ioSamples.push_back({{inStart.AlignToFrame(inRate), inFieldType}, 1.0});
        return;
    }
    const FrameRate rate = RateOfSamples(inStart, inEnd, inRate);
    const TickTime duration(rate.GetTicks());
    for (TickTime time = inStart.AlignToFrame(rate); time < inEnd; time += duration)
    {
        const TickTime covered = std::min(inEnd, time + duration) - std::max(inStart, time);
        ioSamples.push_back({{time, inFieldType}, covered / (inEnd - inStart)});
    }
}

void NormalizeSampleWeights(WeightedSamples& ioSamples) noexcept
{
    double sum = 0.0;
    for (const WeightedSample& sample : ioSamples)
    {
        sum += sample.second;
    }
    if (sum == 0.0 || !std::isfinite(sum))
    {
        return;
    }
    for (WeightedSample& sample : ioSamples)
    {
        sample.second /= sum;
    }
}

void GetSamplesAroundTime(const FrameTime& inTime, const FrameRate& inRate, TickTime& outFirstBefore,
                          TickTime& outFirstAfter, TickTime& outSecondBefore,
                          TickTime& outSecondAfter) noexcept
{
    outFirstBefore = inTime.mFirstTime.AlignToFrame(inRate);
    outFirstAfter = outFirstBefore + DurationOf(inRate);
    outSecondBefore = inTime.mSecondTime.AlignToFrame(inRate);
    outSecondAfter = outSecondBefore + DurationOf(inRate);
}

float CalculateSampleWeight(const TickTime& inTime, const TickTime& inBefore,
                            const TickTime& inAfter) noexcept
{
    if (inAfter <= inBefore)
    {
        return 0.0F;
    }
    return static_cast<float>(std::clamp((inTime - inBefore) / (inAfter - inBefore), 0.0, 1.0));
}

} // namespace MF
