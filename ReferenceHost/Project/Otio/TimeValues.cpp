#include "ReferenceHost/Project/Otio/TimeValues.h"

#include <algorithm>
#include <cmath>

namespace Otio
{

using norviktypes::FrameRate;
using norviktypes::kTicksPerSecond;
using norviktypes::TickTime;

namespace
{

constexpr double kSlowestRate = 1e-6;
constexpr double kFastestRate = 1e9;
constexpr std::int64_t kLargestDenominator = 1000000;

bool IsNear(double inRate, double inUsual)
{
    return std::fabs(inRate - inUsual) <= kRateTolerance;
}

// Rates of film, video and sound that are written as decimal numbers.
bool FindUsualRate(double inRate, ExactRate& outRate)
{
    const double whole = std::round(inRate);
    if (whole >= 1.0 && IsNear(inRate, whole))
    {
        outRate = {static_cast<std::int64_t>(whole), 1};
        return true;
    }
    const double slowed = std::round(inRate * 1.001);
    if (slowed >= 1.0 && slowed <= 1000.0 && IsNear(inRate, slowed / 1.001))
    {
        outRate = {static_cast<std::int64_t>(slowed) * 1000, 1001};
        return true;
    }
    const double doubled = std::round(inRate * 2.0);
    if (doubled >= 1.0 && doubled <= 1000.0 && IsNear(inRate, doubled / 2.0))
    {
        outRate = {static_cast<std::int64_t>(doubled), 2};
        return true;
    }
    return false;
}

// The last convergent of the continued fraction whose denominator is small enough.
ExactRate NearestFraction(double inRate)
{
    std::int64_t previousNumerator = 0;
    std::int64_t numerator = 1;
    std::int64_t previousDenominator = 1;
    std::int64_t denominator = 0;
    double rest = inRate;
    for (int step = 0; step < 40; ++step)
    {
        const double whole = std::floor(rest);
        const double nextDenominator =
            whole * static_cast<double>(denominator) + static_cast<double>(previousDenominator);
        if (step > 0 && nextDenominator > static_cast<double>(kLargestDenominator))
        {
            break;
        }
        const auto digit = static_cast<std::int64_t>(whole);
        previousNumerator += digit * numerator;
        std::swap(previousNumerator, numerator);
        previousDenominator += digit * denominator;
        std::swap(previousDenominator, denominator);
        if (rest - whole < 1e-12)
        {
            break;
        }
        rest = 1.0 / (rest - whole);
    }
    return {std::max<std::int64_t>(numerator, 1), denominator};
}

// The whole frames of inValue, and what is left of a frame.
std::int64_t SplitFrames(double inValue, double& outRest)
{
    const double nearest = std::round(inValue);
    const bool isWhole = std::fabs(inValue - nearest) <= kFrameTolerance;
    const double whole = isWhole ? nearest : std::floor(inValue);
    outRest = isWhole ? 0.0 : inValue - whole;
    return static_cast<std::int64_t>(whole);
}

__int128 DivideToNearest(__int128 inNumerator, __int128 inDivisor)
{
    const __int128 half = inDivisor / 2;
    return inNumerator >= 0 ? (inNumerator + half) / inDivisor : -((-inNumerator + half) / inDivisor);
}

}

bool FindExactRate(double inRate, ExactRate& outRate)
{
    if (!(inRate >= kSlowestRate && inRate <= kFastestRate))
    {
        return false;
    }
    if (!FindUsualRate(inRate, outRate))
    {
        outRate = NearestFraction(inRate);
    }
    return true;
}

bool IsUsualRate(double inRate)
{
    ExactRate rate;
    return inRate >= kSlowestRate && inRate <= kFastestRate && FindUsualRate(inRate, rate);
}

TimeFault ToTicks(double inValue, double inRate, TickTime& outTime, FrameRate& outRate)
{
    outTime = TickTime();
    if (!std::isfinite(inValue) || !std::isfinite(inRate))
    {
        return TimeFault::kNotFinite;
    }
    ExactRate rate;
    const bool hasRate = FindExactRate(inRate, rate);
    if (hasRate)
    {
        outRate = rate.AsFrameRate();
    }
    if (inValue == 0.0)
    {
        return TimeFault::kFine;
    }
    if (!hasRate)
    {
        return TimeFault::kNoRate;
    }
    const double ticksPerFrame = static_cast<double>(kTicksPerSecond) * static_cast<double>(rate.mSeconds) /
                                 static_cast<double>(rate.mFrames);
    if (std::fabs(inValue) * ticksPerFrame > static_cast<double>(kLongestTime.GetTicks()))
    {
        return TimeFault::kTooLong;
    }
    double rest = 0.0;
    const std::int64_t frames = SplitFrames(inValue, rest);
    const __int128 ticks =
        DivideToNearest(static_cast<__int128>(frames) * kTicksPerSecond * rate.mSeconds, rate.mFrames);
    outTime = TickTime(static_cast<std::int64_t>(ticks) + std::llround(rest * ticksPerFrame));
    return TimeFault::kFine;
}

const char* TimeFaultText(TimeFault inFault)
{
    switch (inFault)
    {
    case TimeFault::kFine: return "a time";
    case TimeFault::kNotFinite: return "a time that is not a finite number";
    case TimeFault::kNoRate: return "a time whose rate is not above zero, or out of range";
    case TimeFault::kTooLong: return "a time beyond 52 days";
    }
    return "";
}

TickTime Scaled(const TickTime& inTime, double inFactor)
{
    const double ticks = static_cast<double>(inTime.GetTicks()) * inFactor;
    const double limit = static_cast<double>(kLongestTime.GetTicks());
    return ticks == ticks ? TickTime(std::llround(std::clamp(ticks, -limit, limit))) : TickTime();
}

std::int64_t CountFrames(const TickTime& inDuration, const FrameRate& inRate)
{
    if (!inRate.IsCountable() || inDuration.GetTicks() <= 0)
    {
        return 0;
    }
    const std::int64_t whole = inDuration.GetTicks() / inRate.GetTicks();
    const std::int64_t rest = inDuration.GetTicks() % inRate.GetTicks();
    return whole + (static_cast<double>(rest) > 1e-4 * static_cast<double>(inRate.GetTicks()) ? 1 : 0);
}

}
