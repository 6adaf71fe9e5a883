// The duration of one frame of a regular stream.
//
// A rate is held as ticks per frame, not as a frequency: "rate times two" means twice the
// frequency and therefore half the ticks. Comparisons compare ticks, so the *greater* rate
// is the *slower* one; kFrameRate_Video1000 < rate means fewer than 1000 frames a second.
//
// Thread-safety: value type.
#pragma once

#include <compare>
#include <cstdint>
#include <limits>

namespace norviktypes
{

// Ticks of one second: divisible by every frame and sample rate in common use, so that
// frame boundaries are whole numbers of ticks.
inline constexpr std::int64_t kTicksPerSecond = 254016000000;

class FrameRate
{
public:
    constexpr FrameRate() noexcept = default;
    explicit constexpr FrameRate(std::int64_t inTicksPerFrame) noexcept : mTicksPerFrame(inTicksPerFrame) {}

    // inFrames frames in inSeconds seconds, as in 30000/1001. Ticks are rounded to nearest; zero
    // or negative arguments give no rate.
    static constexpr FrameRate FromRational(std::int64_t inFrames, std::int64_t inSeconds) noexcept
    {
        if (inFrames <= 0 || inSeconds <= 0)
        {
            return FrameRate();
        }
        const __int128 numerator = static_cast<__int128>(kTicksPerSecond) * inSeconds * 2 + inFrames;
        const __int128 ticks = numerator / (static_cast<__int128>(inFrames) * 2);
        return ticks > std::numeric_limits<std::int64_t>::max() ? FrameRate()
                                                                : FrameRate(static_cast<std::int64_t>(ticks));
    }

    constexpr std::int64_t GetTicks() const noexcept { return mTicksPerFrame; }

    // Frames per second; 0 for no rate.
    constexpr double AsFramesPerSecond() const noexcept
    {
        return mTicksPerFrame > 0 ? static_cast<double>(kTicksPerSecond) / static_cast<double>(mTicksPerFrame)
                                  : 0.0;
    }

    // True for a rate on which frames can be counted: neither zero, negative nor unset.
    constexpr bool IsCountable() const noexcept
    {
        return mTicksPerFrame > 0 && mTicksPerFrame != std::numeric_limits<std::int64_t>::max();
    }

    // Multiplying the frequency divides the ticks (rounding towards zero), and the reverse.
    constexpr FrameRate operator*(int inFactor) const noexcept
    {
        return FrameRate(mTicksPerFrame / inFactor);
    }
    constexpr FrameRate operator*(double inFactor) const noexcept
    {
        return FrameRate(static_cast<std::int64_t>(static_cast<double>(mTicksPerFrame) / inFactor));
    }
    constexpr FrameRate operator/(int inDivisor) const noexcept
    {
        return FrameRate(mTicksPerFrame * inDivisor);
    }

    friend constexpr auto operator<=>(const FrameRate&, const FrameRate&) noexcept = default;

private:
    std::int64_t mTicksPerFrame = 0;
};

inline constexpr FrameRate kFrameRate_Zero{0};
// What a stream without a frame grid reports: a millisecond for a frame.
inline constexpr FrameRate kFrameRate_Video1000{kTicksPerSecond / 1000};
inline constexpr FrameRate kFrameRate_Unset{std::numeric_limits<std::int64_t>::max()};

} // namespace norviktypes
