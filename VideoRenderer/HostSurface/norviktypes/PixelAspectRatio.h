// Width of a pixel over its height, as an exact ratio.
//
// Ratios compare as pairs: 2/2 differs from 1/1. Both numbers go into frame hashes as they
// stand, so nothing here reduces them.
//
// Thread-safety: value type.
#pragma once

#include <cstdint>

namespace norviktypes
{

class PixelAspectRatio
{
public:
    constexpr PixelAspectRatio() noexcept = default;
    constexpr PixelAspectRatio(std::uint32_t inNumerator, std::uint32_t inDenominator) noexcept
        : mNumerator(inNumerator)
        , mDenominator(inDenominator)
    {
    }

    constexpr std::uint32_t GetNumerator() const noexcept { return mNumerator; }
    constexpr std::uint32_t GetDenominator() const noexcept { return mDenominator; }

    // 1.0 where either number is zero.
    constexpr double AsDouble() const noexcept
    {
        return mNumerator == 0 || mDenominator == 0
                   ? 1.0
                   : static_cast<double>(mNumerator) / static_cast<double>(mDenominator);
    }

    friend constexpr bool operator==(const PixelAspectRatio&, const PixelAspectRatio&) noexcept = default;

private:
    std::uint32_t mNumerator = 1;
    std::uint32_t mDenominator = 1;
};

inline constexpr PixelAspectRatio kPixelAspectRatio_Square{1, 1};
inline constexpr PixelAspectRatio kPixelAspectRatio_Any{0, 0};

} // namespace norviktypes
