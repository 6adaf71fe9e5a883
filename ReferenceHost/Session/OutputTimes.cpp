#include "ReferenceHost/Session/OutputTimes.h"

#include <algorithm>
#include <cmath>

namespace Session
{

namespace
{

using norviktypes::TickTime;

constexpr std::int64_t kGridShare = 1000; // of a frame that is nothing
// Of a frame that is left at the end and makes none of its own.
constexpr double kLeastFrame = 1e-6;

TickTime Scaled(const TickTime& inTime, double inFactor) noexcept
{
    const long double ticks =
        std::round(static_cast<long double>(inTime.GetTicks()) * static_cast<long double>(inFactor));
    const auto most = static_cast<long double>(norviktypes::kTime_Max.GetTicks());
    return TickTime(static_cast<std::int64_t>(std::clamp(ticks, -most, most)));
}

} // namespace

OutputTimes::OutputTimes(const TickTime& inChainLength, const norviktypes::FrameRate& inChainRate,
                         const norviktypes::FrameRate& inMomentRate,
                         const norviktypes::FrameRate& inOutputRate, double inSpeed, bool inBlends)
    : mIsIdentity(false)
    , mChainLength(inChainLength)
    , mChainRate(inChainRate)
    , mMomentRate(inMomentRate)
    , mOutputRate(inOutputRate)
    , mSpeed(inSpeed)
    , mBlends(inBlends)
{
}

std::int64_t OutputTimes::FrameCount() const noexcept
{
    if (mIsIdentity || mChainLength == norviktypes::kTime_Max)
    {
        return -1;
    }
    const double frames = static_cast<double>(mChainLength.GetTicks()) /
                          (std::abs(mSpeed) * static_cast<double>(mOutputRate.GetTicks()));
    return std::max<std::int64_t>(1, static_cast<std::int64_t>(std::ceil(frames - kLeastFrame)));
}

double OutputTimes::FramesForOne() const noexcept
{
    if (mIsIdentity || !mBlends || !mChainRate.IsCountable())
    {
        return 1;
    }
    return std::abs(mSpeed) * static_cast<double>(mOutputRate.GetTicks()) /
           static_cast<double>(mChainRate.GetTicks());
}

TickTime OutputTimes::OnGrid(const TickTime& inTime) const noexcept
{
    const std::int64_t step = mMomentRate.GetTicks();
    if (!mMomentRate.IsCountable() || step <= norviktypes::kFrameRate_Video1000.GetTicks())
    {
        return inTime;
    }
    const std::int64_t nearest = (inTime.GetTicks() + step / 2) / step * step;
    const std::int64_t distance = std::abs(nearest - inTime.GetTicks());
    return distance <= step / kGridShare ? TickTime(nearest) : inTime;
}

TickTime OutputTimes::ToChain(const TickTime& inTime, const TickTime& inLength) const noexcept
{
    if (mIsIdentity)
    {
        return inTime;
    }
    TickTime time = mSpeed < 0 ? mChainLength - Scaled(inTime + inLength, -mSpeed) : Scaled(inTime, mSpeed);
    time = OnGrid(time);
    if (mBlends && mChainLength != norviktypes::kTime_Max)
    {
        const TickTime frame(mChainRate.IsCountable() ? mChainRate.GetTicks() : 0);
        time = std::min(time, mChainLength - std::max(Scaled(inLength, std::abs(mSpeed)), frame));
    }
    return std::max(time, norviktypes::kTime_Zero);
}

} // namespace Session
