// A curve through points, written as text: "0,0 0.25,0.15 1,1".
//
// Between points it is a cubic that never leaves the range of its two ends and so makes no bumps of its own
// (Fritsch and Carlson's monotone interpolation); before the first and behind the last it goes on level.
//
// Thread-safety: immutable.
#pragma once

#include <string>
#include <vector>

namespace Effects
{

class CurvePoints
{
public:
    // Points of equal x count once, the last of them. Text that is no list of points gives the straight line from
    // 0 to 1.
    explicit CurvePoints(const std::string& inText);

    double At(double inX) const;

private:
    struct Point
    {
        double x;
        double y;
        double slope;
    };

    void SetSlopes();

    std::vector<Point> mPoints; // rising in x, at least one
};

} // namespace Effects
