// Rectangles, points and colours as parameters carry them.
//
// Thread-safety: value types.
#pragma once

#include <algorithm>
#include <cstdint>

namespace TVK
{

// Half open: right and bottom lie one past the last column and row.
template <class T>
struct ParamRect
{
    T left{};
    T top{};
    T right{};
    T bottom{};

    constexpr T Width() const noexcept { return right - left; }
    constexpr T Height() const noexcept { return bottom - top; }
    constexpr bool IsEmpty() const noexcept { return right <= left || bottom <= top; }
    friend constexpr bool operator==(const ParamRect&, const ParamRect&) noexcept = default;
};

// The smallest rectangle that holds both; an empty one adds nothing.
template <class T>
constexpr ParamRect<T> Union(const ParamRect<T>& inA, const ParamRect<T>& inB) noexcept
{
    if (inA.IsEmpty() || inB.IsEmpty())
    {
        return inA.IsEmpty() ? inB : inA;
    }
    return {std::min(inA.left, inB.left), std::min(inA.top, inB.top), std::max(inA.right, inB.right),
            std::max(inA.bottom, inB.bottom)};
}

template <class T>
struct ParamPoint
{
    T x{};
    T y{};
    friend constexpr bool operator==(const ParamPoint&, const ParamPoint&) noexcept = default;
};

// Red in the lowest byte, then green, blue and alpha. T may be wider than 32 bits; only the low 32
// bits count.
template <class T>
struct ParamColor
{
    T mValue{};

    static constexpr ParamColor FromComponents(std::uint8_t inRed, std::uint8_t inGreen, std::uint8_t inBlue,
                                               std::uint8_t inAlpha) noexcept
    {
        return {static_cast<T>(static_cast<std::uint32_t>(inRed) | static_cast<std::uint32_t>(inGreen) << 8 |
                               static_cast<std::uint32_t>(inBlue) << 16 |
                               static_cast<std::uint32_t>(inAlpha) << 24)};
    }
    constexpr std::uint8_t Red() const noexcept { return static_cast<std::uint8_t>(mValue & 0xFF); }
    constexpr std::uint8_t Green() const noexcept { return static_cast<std::uint8_t>(mValue >> 8 & 0xFF); }
    constexpr std::uint8_t Blue() const noexcept { return static_cast<std::uint8_t>(mValue >> 16 & 0xFF); }
    constexpr std::uint8_t Alpha() const noexcept { return static_cast<std::uint8_t>(mValue >> 24 & 0xFF); }
    // The colour without its alpha, red in the lowest byte.
    constexpr std::uint32_t RGB() const noexcept { return static_cast<std::uint32_t>(mValue & 0xFFFFFF); }
    friend constexpr bool operator==(const ParamColor&, const ParamColor&) noexcept = default;
};

using Rect = ParamRect<std::int32_t>;
using Point = ParamPoint<std::int32_t>;

} // namespace TVK
