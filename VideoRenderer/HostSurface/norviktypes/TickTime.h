// A point in time, or a span, in ticks of 1/254016000000 second.
//
// The axis ends at kTime_Min and kTime_Max, which are +-2^61 rather than the ends of the integer:
// a frame, a span or an offset can be added to either without overflow. kTime_Invalid is no time
// and takes no part in arithmetic.
//
// Thread-safety: value type.
#pragma once

#include "norviktypes/FrameRate.h"

#include <cmath>
#include <compare>
#include <cstdint>
#include <limits>

namespace norviktypes
{

class TickTime
{
public:
    constexpr TickTime() noexcept = default;
    explicit constexpr TickTime(std::int64_t inTicks) noexcept : mTicks(inTicks) {}

    // Start of frame inFrame on the grid of inRate.
    static constexpr TickTime FromFrame(std::int64_t inFrame, const FrameRate& inRate) noexcept
    {
        return TickTime(inFrame * inRate.GetTicks());
    }

    // Ticks nearest to inSeconds.
    static TickTime FromSeconds(double inSeconds) noexcept
    {
        return FromDouble(std::round(inSeconds * static_cast<double>(kTicksPerSecond)));
    }

    constexpr std::int64_t GetTicks() const noexcept { return mTicks; }
    constexpr double AsSeconds() const noexcept
    {
        return static_cast<double>(mTicks) / static_cast<double>(kTicksPerSecond);
    }

    constexpr TickTime operator-() const noexcept { return TickTime(-mTicks); }
    constexpr TickTime& operator+=(const TickTime& inOther) noexcept
    {
        mTicks += inOther.mTicks;
        return *this;
    }
    constexpr TickTime& operator-=(const TickTime& inOther) noexcept
    {
        mTicks -= inOther.mTicks;
        return *this;
    }
    friend constexpr TickTime operator+(TickTime inA, const TickTime& inB) noexcept { return inA += inB; }
    friend constexpr TickTime operator-(TickTime inA, const TickTime& inB) noexcept { return inA -= inB; }
    friend constexpr TickTime operator*(const TickTime& inTime, std::int64_t inFactor) noexcept
    {
        return TickTime(inTime.mTicks * inFactor);
    }
    friend constexpr TickTime operator*(const TickTime& inTime, int inFactor) noexcept
    {
        return TickTime(inTime.mTicks * inFactor);
    }
    // By a double: truncated towards zero, held at the ends of the integer; a NaN gives zero.
    friend constexpr TickTime operator*(const TickTime& inTime, double inFactor) noexcept
    {
        return FromDouble(static_cast<double>(inTime.mTicks) * inFactor);
    }
    friend constexpr TickTime operator/(const TickTime& inTime, std::uint32_t inDivisor) noexcept
    {
        return TickTime(inTime.mTicks / static_cast<std::int64_t>(inDivisor));
    }
    friend constexpr TickTime operator/(const TickTime& inTime, double inDivisor) noexcept
    {
        return FromDouble(static_cast<double>(inTime.mTicks) / inDivisor);
    }
    // The ratio of two times.
    friend constexpr double operator/(const TickTime& inA, const TickTime& inB) noexcept
    {
        return static_cast<double>(inA.mTicks) / static_cast<double>(inB.mTicks);
    }

    friend constexpr auto operator<=>(const TickTime&, const TickTime&) noexcept = default;

    // Start of the frame that holds this time (down, for negative times too), of the frame at or
    // after it, and of the nearest one (halves go up). A rate on which no frames can be counted,
    // and the ends of the axis, leave the time as it is.
    constexpr TickTime AlignToFrame(const FrameRate& inRate) const noexcept
    {
        return CanAlign(inRate) ? TickTime(FloorDivide(mTicks, inRate.GetTicks()) * inRate.GetTicks())
                                : *this;
    }
    constexpr TickTime AlignToFrameCeil(const FrameRate& inRate) const noexcept
    {
        return CanAlign(inRate) ? TickTime(-FloorDivide(-mTicks, inRate.GetTicks()) * inRate.GetTicks())
                                : *this;
    }
    constexpr TickTime AlignToNearestFrame(const FrameRate& inRate) const noexcept
    {
        return CanAlign(inRate) ? TickTime(mTicks + inRate.GetTicks() / 2).AlignToFrame(inRate) : *this;
    }

    // Number of the frame that holds this time; 0 where there is no rate. An unset rate is one
    // endless frame: 0 from time zero on, -1 before.
    constexpr std::int64_t ToFrame64(const FrameRate& inRate) const noexcept
    {
        return inRate.GetTicks() > 0 ? FloorDivide(mTicks, inRate.GetTicks()) : 0;
    }
    constexpr std::int32_t ToFrame32(const FrameRate& inRate) const noexcept
    {
        return static_cast<std::int32_t>(ToFrame64(inRate));
    }

private:
    static constexpr std::int64_t kEndOfAxis = std::int64_t{1} << 61;

    static constexpr std::int64_t FloorDivide(std::int64_t inA, std::int64_t inB) noexcept
    {
        const std::int64_t quotient = inA / inB;
        return quotient - ((inA % inB != 0 && (inA < 0) != (inB < 0)) ? 1 : 0);
    }

    constexpr bool CanAlign(const FrameRate& inRate) const noexcept
    {
        return inRate.IsCountable() && mTicks > -kEndOfAxis && mTicks < kEndOfAxis;
    }

    static constexpr TickTime FromDouble(double inTicks) noexcept
    {
        constexpr double kLimit = 9223372036854774784.0; // the largest double below 2^63
        if (!(inTicks == inTicks))
        {
            return TickTime();
        }
        return TickTime(
            static_cast<std::int64_t>(inTicks > kLimit ? kLimit : (inTicks < -kLimit ? -kLimit : inTicks)));
    }

    std::int64_t mTicks = 0;
};

inline constexpr TickTime kTime_Zero{0};
inline constexpr TickTime kTime_Max{std::int64_t{1} << 61};
inline constexpr TickTime kTime_Min{-(std::int64_t{1} << 61)};
inline constexpr TickTime kTime_Invalid{std::numeric_limits<std::int64_t>::min()};

} // namespace norviktypes
