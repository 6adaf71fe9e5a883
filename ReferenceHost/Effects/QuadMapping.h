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

    // The longer of the two steps, in pixels of the source.
    double WidestStep() const;
    // How much of the target's pixel a source of that size covers, taken along both of its axes: 0 to 1, half at
    // its edges.
    double CoverageOf(double inWidth, double inHeight) const;
};

class QuadMapping
{
public:
    // Corners, in pixels of the target: upper left, upper right, lower left, lower right.
    QuadMapping(const TVK::ParamPoint<double> (&inCorners)[4], double inWidth, double inHeight);

    // Nothing where the plane of the source is seen from its edge or lies behind the eye, and everywhere if three
    // corners lie in a line.
    std::optional<QuadPlace> At(double inX, double inY) const;

private:
    double mInverse[3][3]; // target to source; all 0 if there is none
    double mSide = 1.0;    // the sign of what is in front
};

} // namespace Effects
