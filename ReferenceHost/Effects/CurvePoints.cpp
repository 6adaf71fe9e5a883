#include "ReferenceHost/Effects/CurvePoints.h"

#include <algorithm>
#include <cmath>
#include <locale>
#include <map>
#include <sstream>

namespace Effects
{
namespace
{

// Empty for text that is no list of points.
std::map<double, double> Parse(const std::string& inText)
{
    std::istringstream text(inText);
    text.imbue(std::locale::classic());
    std::map<double, double> points;
    double x = 0.0;
    double y = 0.0;
    char comma = ' ';
    while (text >> x)
    {
        if (!(text >> comma >> y) || comma != ',')
        {
            return {};
        }
        points[x] = y;
    }
    return text.eof() ? points : std::map<double, double>();
}

} // namespace

CurvePoints::CurvePoints(const std::string& inText)
{
    for (const auto& [x, y] : Parse(inText))
    {
        mPoints.push_back({x, y, 0.0});
    }
    if (mPoints.empty())
    {
        mPoints = {{0.0, 0.0, 0.0}, {1.0, 1.0, 0.0}};
    }
    SetSlopes();
}

void CurvePoints::SetSlopes()
{
    const std::size_t count = mPoints.size();
    std::vector<double> chords;
    for (std::size_t i = 0; i + 1 < count; ++i)
    {
        chords.push_back((mPoints[i + 1].y - mPoints[i].y) / (mPoints[i + 1].x - mPoints[i].x));
    }
    for (std::size_t i = 0; i < count && count > 1; ++i)
    {
        const double before = chords[i == 0 ? 0 : i - 1];
        const double after = chords[std::min(i, count - 2)];
        mPoints[i].slope = before * after <= 0.0 ? 0.0 : (before + after) / 2.0;
    }
    for (std::size_t i = 0; i + 1 < count; ++i)
    {
        const double a = chords[i] == 0.0 ? 0.0 : mPoints[i].slope / chords[i];
        const double b = chords[i] == 0.0 ? 0.0 : mPoints[i + 1].slope / chords[i];
        const double length = std::hypot(a, b);
        if (length > 3.0)
        {
            mPoints[i].slope = 3.0 * a / length * chords[i];
            mPoints[i + 1].slope = 3.0 * b / length * chords[i];
        }
    }
}

double CurvePoints::At(double inX) const
{
    const auto next =
        std::upper_bound(mPoints.begin(), mPoints.end(), inX,
                         [](double inPlace, const Point& inPoint) { return inPlace < inPoint.x; });
    if (next == mPoints.begin())
    {
        return mPoints.front().y;
    }
    if (next == mPoints.end())
    {
        return mPoints.back().y;
    }
    const Point& left = *(next - 1);
    const double width = next->x - left.x;
    const double t = (inX - left.x) / width;
    const double rest = 1.0 - t;
    return rest * rest * ((1.0 + 2.0 * t) * left.y + t * width * left.slope) +
           t * t * ((3.0 - 2.0 * t) * next->y - rest * width * next->slope);
}

} // namespace Effects
