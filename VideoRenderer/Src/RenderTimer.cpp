#include "RenderTimer.h"

#include "Platform.h"

#include <algorithm>
#include <cmath>

namespace ML
{

namespace
{

constexpr double kMostDisagreementSeconds = 0.5;

}

void RenderTimer::Start()
{
    std::int64_t frequency = 0;
    mCounterWorks = os::PerformanceFrequency(frequency);
    mFrequency = static_cast<double>(frequency);
    mStartCount = os::PerformanceCounter();
    mStartTicks = os::TickCount();
    mRuns = true;
}

void RenderTimer::Stop()
{
    mStopCount = os::PerformanceCounter();
    mStopTicks = os::TickCount();
    mRuns = false;
}

double RenderTimer::ElapsedSeconds() const
{
    const std::int64_t count = (mRuns ? os::PerformanceCounter() : mStopCount) - mStartCount;
    // Unsigned, so that a tick count that wraps in between makes no difference.
    const std::uint32_t ticks = (mRuns ? os::TickCount() : mStopTicks) - mStartTicks;
    const double byCounter = static_cast<double>(count) / (mFrequency > 0.0 ? mFrequency : 1.0);
    const double byTicks = static_cast<double>(ticks) / 1000.0;
    const bool believeTicks = !mCounterWorks || std::fabs(byCounter - byTicks) > kMostDisagreementSeconds;
    return std::max(believeTicks ? byTicks : byCounter, 0.0);
}

} // namespace ML
