#include "MF/Geometry.h"

#include <algorithm>
#include <cstdint>
#include <limits>

namespace MF
{

namespace
{

__extension__ typedef unsigned __int128 Wide;

constexpr Wide kLargestTerm = std::numeric_limits<std::uint32_t>::max();

Wide GreatestCommonDivisor(Wide inA, Wide inB) noexcept
{
    while (inB != 0)
    {
        const Wide rest = inA % inB;
        inA = inB;
        inB = rest;
    }
    return inA;
}

// A fraction, not below 0.
struct Ratio
{
    Wide mNumerator;
    Wide mDenominator;
};

Wide AbsoluteDifference(Wide inA, Wide inB) noexcept
{
    return inA > inB ? inA - inB : inB - inA;
}

// Whether inA is nearer to inTarget than inB. The candidates come from inTarget's continued fraction, so
// the products of differences stay within 128 bits.
bool IsNearer(const Ratio& inA, const Ratio& inB, const Ratio& inTarget) noexcept
{
    const Wide distanceA =
        AbsoluteDifference(inTarget.mNumerator * inA.mDenominator, inA.mNumerator * inTarget.mDenominator);
    const Wide distanceB =
        AbsoluteDifference(inTarget.mNumerator * inB.mDenominator, inB.mNumerator * inTarget.mDenominator);
    return distanceA * inB.mDenominator < distanceB * inA.mDenominator;
}

// The best fraction with a numerator that fits, for a ratio of at least 1: the convergents of its continued
// fraction up to the one that grows too large, of which only so much is taken as fits.
Ratio NearestThatFits(const Ratio& inRatio) noexcept
{
    Ratio rest = inRatio;
    Ratio before{0, 1};
    Ratio last{1, 0};
    while (rest.mDenominator != 0)
    {
        const Wide whole = rest.mNumerator / rest.mDenominator;
        const Wide room = (kLargestTerm - before.mNumerator) / last.mNumerator;
        const Wide taken = std::min(whole, room);
        const Ratio next{before.mNumerator + taken * last.mNumerator,
                         before.mDenominator + taken * last.mDenominator};
        if (whole > room)
        {
            return last.mDenominator == 0 || IsNearer(next, last, inRatio) ? next : last;
        }
        before = last;
        last = next;
        rest = {rest.mDenominator, rest.mNumerator % rest.mDenominator};
    }
    return last;
}

norviktypes::PixelAspectRatio ReducedRatio(Wide inNumerator, Wide inDenominator) noexcept
{
    const Wide divisor = GreatestCommonDivisor(inNumerator, inDenominator);
    Ratio ratio{inNumerator / divisor, inDenominator / divisor};
    if (std::max(ratio.mNumerator, ratio.mDenominator) > kLargestTerm)
    {
        const bool isBelowOne = ratio.mNumerator < ratio.mDenominator;
        const Ratio nearest =
            NearestThatFits(isBelowOne ? Ratio{ratio.mDenominator, ratio.mNumerator} : ratio);
        ratio = isBelowOne ? Ratio{nearest.mDenominator, nearest.mNumerator} : nearest;
    }
    return {static_cast<std::uint32_t>(ratio.mNumerator), static_cast<std::uint32_t>(ratio.mDenominator)};
}

bool IsUsable(const norviktypes::PixelAspectRatio& inRatio) noexcept
{
    return inRatio.GetNumerator() != 0 && inRatio.GetDenominator() != 0;
}

} // namespace

TVK::Rect AdjustPixelAspectRectToSquarePixelRect(const TVK::Rect& inRect,
                                                 const norviktypes::PixelAspectRatio& inRatio) noexcept
{
    const std::int64_t width = std::int64_t{inRect.right} - inRect.left;
    if (!IsUsable(inRatio) || width <= 0)
    {
        return inRect;
    }
    const Wide denominator = inRatio.GetDenominator();
    const Wide squareWidth =
        (static_cast<Wide>(width) * inRatio.GetNumerator() * 2 + denominator) / (denominator * 2);
    const auto room = static_cast<Wide>(std::int64_t{std::numeric_limits<std::int32_t>::max()} - inRect.left);
    TVK::Rect result = inRect;
    result.right =
        static_cast<std::int32_t>(inRect.left + static_cast<std::int64_t>(std::min(squareWidth, room)));
    return result;
}

norviktypes::PixelAspectRatio
AdjustPixelAspectRatioForNonUniformDownsample(const norviktypes::PixelAspectRatio& inRatio,
                                              const TVK::Rect& inRequested, const TVK::Rect& inFrame) noexcept
{
    if (inRequested.IsEmpty() || inFrame.IsEmpty() || !IsUsable(inRatio))
    {
        return inRatio;
    }
    const auto length = [](std::int32_t from, std::int32_t to)
    { return static_cast<Wide>(std::int64_t{to} - from); };
    const Wide across = length(inRequested.left, inRequested.right) * length(inFrame.top, inFrame.bottom);
    const Wide down = length(inRequested.top, inRequested.bottom) * length(inFrame.left, inFrame.right);
    if (across == down)
    {
        return inRatio;
    }
    return ReducedRatio(across * inRatio.GetNumerator(), down * inRatio.GetDenominator());
}

} // namespace MF
