#include "ReferenceHost/Effects/QuadMapping.h"

#include <algorithm>
#include <cmath>

namespace Effects
{
namespace
{

using Matrix = double[3][3];

// Sums and products of two of these, and of places in a picture, are numbers still.
constexpr double kLargest = 1e100;

// From the unit square to the four corners.
void FromSquare(const TVK::ParamPoint<double> (&inCorners)[4], Matrix& outMatrix)
{
    const auto& [a, b, c, d] = inCorners;
    const double dx1 = b.x - d.x;
    const double dx2 = c.x - d.x;
    const double dy1 = b.y - d.y;
    const double dy2 = c.y - d.y;
    const double sumX = a.x - b.x - c.x + d.x;
    const double sumY = a.y - b.y - c.y + d.y;
    const double area = dx1 * dy2 - dx2 * dy1;
    const double g = area != 0.0 ? (sumX * dy2 - dx2 * sumY) / area : 0.0;
    const double h = area != 0.0 ? (dx1 * sumY - sumX * dy1) / area : 0.0;
    const Matrix matrix = {{b.x - a.x + g * b.x, c.x - a.x + h * c.x, a.x},
                           {b.y - a.y + g * b.y, c.y - a.y + h * c.y, a.y},
                           {g, h, 1.0}};
    std::copy_n(&matrix[0][0], 9, &outMatrix[0][0]);
}

// Of three in a line a picture would be infinitely thin somewhere.
bool HasArea(const TVK::ParamPoint<double> (&inCorners)[4])
{
    for (int left = 0; left < 4; ++left)
    {
        const auto& a = inCorners[left];
        const auto& b = inCorners[(left + 1) % 4];
        const auto& c = inCorners[(left + 2) % 4];
        if (std::abs((b.x - a.x) * (c.y - a.y) - (c.x - a.x) * (b.y - a.y)) < 1e-6)
        {
            return false;
        }
    }
    return true;
}

} // namespace

QuadPlace::Count QuadPlace::Samples() const
{
    if (IsFine())
    {
        return {1, 1};
    }
    // Near the horizon a step is longer than any integer.
    const auto along = [](double inStep)
    { return static_cast<int>(std::max(2.0, std::min(8.0, std::ceil(inStep - 1e-6)))); };
    return {along(std::hypot(xRight, yRight)), along(std::hypot(xDown, yDown))};
}

double QuadPlace::CoverageOf(double inWidth, double inHeight) const
{
    const auto along = [](double inPlace, double inSize, double inStep)
    { return std::clamp(std::min(inPlace, inSize - inPlace) / std::max(inStep, 1e-9) + 0.5, 0.0, 1.0); };
    return along(x, inWidth, std::hypot(xRight, xDown)) * along(y, inHeight, std::hypot(yRight, yDown));
}

QuadMapping::QuadMapping(const TVK::ParamPoint<double> (&inCorners)[4], double inWidth, double inHeight)
{
    Matrix m;
    FromSquare(inCorners, m);
    const double scale[3] = {inWidth, inHeight, 1.0};
    for (int row = 0; row < 3; ++row)
    {
        for (int column = 0; column < 3; ++column)
        {
            // The adjoint: a factor of all of it cancels where places are divided.
            const int r1 = (column + 1) % 3;
            const int r2 = (column + 2) % 3;
            const int c1 = (row + 1) % 3;
            const int c2 = (row + 2) % 3;
            const double minor = m[r1][c1] * m[r2][c2] - m[r1][c2] * m[r2][c1];
            mInverse[row][column] = HasArea(inCorners) ? scale[row] * minor : 0.0;
        }
    }
    // Corners that far away are seen as nothing; a place that is no number would be looked for in memory.
    const double* const numbers = &mInverse[0][0];
    if (!std::all_of(numbers, numbers + 9, [](double inNumber) { return std::abs(inNumber) <= kLargest; }))
    {
        std::fill_n(&mInverse[0][0], 9, 0.0);
        return;
    }
    double middle = 0.0;
    for (int column = 0; column < 3; ++column)
    {
        const double place = m[column][0] * 0.5 + m[column][1] * 0.5 + m[column][2];
        middle += mInverse[2][column] * place;
    }
    mSide = middle < 0.0 ? -1.0 : 1.0;
}

} // namespace Effects
