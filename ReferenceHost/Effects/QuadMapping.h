// From a place in a picture to the place in a source that is stretched, in perspective, over four corners.
//
// Thread-safety: immutable.
#pragma once

#include "TVK/ParamTypes.h"

#include <optional>

namespace Effects
{

// A place in the source, in its pixels, and how far it moves with a pixel of the target to the right and down.
struct QuadPlace
{
    double x;
    double y;
    double xRight;
    double xDown;
    double yRight;
    double yDown;

    // How many places of a pixel of the target, across and down, have to be looked at so that they lie no further
    // than a pixel apart in the source. At most 8 each; and at least 2 of one that isn't fine, so that nothing is
    // less smooth one way because it shrinks a little the other.
    struct Count
    {
        int across;
        int down;
    };
    Count Samples() const;
    // No longer than a pixel, but for what comes of rounding.
    bool IsFine() const
    {
        constexpr double kMost = 1.0 + 2e-6;
        return xRight * xRight + yRight * yRight <= kMost && xDown * xDown + yDown * yDown <= kMost;
    }

    // How much of the target's pixel a source of that size covers, taken along both of its axes: 0 to 1, half at
    // its edges.
    double CoverageOf(double inWidth, double inHeight) const;
    // Far enough from the edges that it covers all of it.
    bool IsInside(double inWidth, double inHeight) const
    {
        const double across = x < inWidth - x ? x : inWidth - x;
        const double down = y < inHeight - y ? y : inHeight - y;
        return across > 0.0 && down > 0.0 && 4.0 * across * across >= xRight * xRight + xDown * xDown &&
               4.0 * down * down >= yRight * yRight + yDown * yDown;
    }
};

class QuadMapping
{
public:
    // Corners, in pixels of the target: upper left, upper right, lower left, lower right.
    QuadMapping(const TVK::ParamPoint<double> (&inCorners)[4], double inWidth, double inHeight);

    // Nothing where the plane of the source is seen from its edge or lies behind the eye, and everywhere if three
    // corners lie in a line.
    std::optional<QuadPlace> At(double inX, double inY) const
    {
        const double w = Sum(2, inX, inY);
        if (w * mSide <= 1e-12)
        {
            return std::nullopt;
        }
        const double inverse = 1.0 / w;
        const double x = Sum(0, inX, inY) * inverse;
        const double y = Sum(1, inX, inY) * inverse;
        const auto step = [&](int inRow, int inColumn, double inPlace)
        { return (mInverse[inRow][inColumn] - inPlace * mInverse[2][inColumn]) * inverse; };
        return QuadPlace{x, y, step(0, 0, x), step(0, 1, x), step(1, 0, y), step(1, 1, y)};
    }

private:
    double Sum(int inRow, double inX, double inY) const
    {
        return mInverse[inRow][0] * inX + mInverse[inRow][1] * inY + mInverse[inRow][2];
    }

    double mInverse[3][3]; // target to source; all 0 if there is none, or none that can be counted with
    double mSide = 1.0;    // the sign of what is in front
};

} // namespace Effects
