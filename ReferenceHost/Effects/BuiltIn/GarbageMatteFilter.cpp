#include "ReferenceHost/Effects/BuiltIn/BuiltInTable.h"
#include "ReferenceHost/Effects/EffectFilter.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace Effects
{
namespace
{

constexpr std::size_t kMostCorners = 16;
constexpr std::size_t kCorners = 16; // the parameter behind the points
constexpr std::size_t kFeather = 17;
constexpr std::size_t kInvert = 18;

using Points = std::vector<TVK::ParamPoint<double>>;

// How far places are inside of a polygon, counted where its sides cross an odd number of times.
class Polygon
{
public:
    explicit Polygon(Points inPoints) : mPoints(std::move(inPoints)) {}

    // In the units of the points; negative: outside.
    double InsideAt(double inX, double inY) const
    {
        double nearest = 1e18;
        bool isInside = false;
        for (std::size_t i = 0; i < mPoints.size(); ++i)
        {
            const TVK::ParamPoint<double>& a = mPoints[i];
            const TVK::ParamPoint<double>& b = mPoints[(i + 1) % mPoints.size()];
            nearest = std::min(nearest, DistanceTo(a, b, inX, inY));
            const bool crosses = (a.y > inY) != (b.y > inY);
            if (crosses && inX < a.x + (b.x - a.x) * (inY - a.y) / (b.y - a.y))
            {
                isInside = !isInside;
            }
        }
        return isInside ? nearest : -nearest;
    }

private:
    static double DistanceTo(const TVK::ParamPoint<double>& inA, const TVK::ParamPoint<double>& inB,
                             double inX, double inY)
    {
        const double sideX = inB.x - inA.x;
        const double sideY = inB.y - inA.y;
        const double length = sideX * sideX + sideY * sideY;
        const double along = length > 0.0 ? ((inX - inA.x) * sideX + (inY - inA.y) * sideY) / length : 0.0;
        const double held = std::clamp(along, 0.0, 1.0);
        return std::hypot(inX - inA.x - held * sideX, inY - inA.y - held * sideY);
    }

    Points mPoints;
};

class Operation final : public IRowOperation
{
public:
    Operation(Polygon inPolygon, double inFeather, double inAspect, bool inIsInverted)
        : mPolygon(std::move(inPolygon))
        , mFeather(inFeather)
        , mAspect(inAspect)
        , mIsInverted(inIsInverted)
    {
    }

    // In blocks: the distance changes by no more than a pixel's width from pixel to pixel, so that most blocks are
    // told by their middle.
    void Apply(const ir::FloatRow& ioRow, std::int32_t inY, std::size_t inWidth) override
    {
        constexpr std::size_t kBlock = 32;
        for (std::size_t x = 0; x < inWidth; x += kBlock)
        {
            const std::size_t end = std::min(x + kBlock, inWidth);
            const double middle = InsideAt(static_cast<double>(x) + kBlock / 2.0, inY);
            const bool isClear = std::abs(middle) > mFeather / 2.0 + kBlock / 2.0 * mAspect;
            for (std::size_t at = x; at < end; ++at)
            {
                const double inside = isClear ? middle : InsideAt(static_cast<double>(at) + 0.5, inY);
                const double coverage = std::clamp(inside / mFeather + 0.5, 0.0, 1.0);
                ioRow.c[3][at] *= static_cast<float>(mIsInverted ? 1.0 - coverage : coverage);
            }
        }
    }

private:
    double InsideAt(double inX, std::int32_t inY) const
    {
        return mPolygon.InsideAt(inX * mAspect, inY + 0.5);
    }

    Polygon mPolygon;
    double mFeather;
    double mAspect;
    bool mIsInverted;
};

class GarbageMatteFilter final : public PixelFilter
{
public:
    using PixelFilter::PixelFilter;

    bool KeepsOpaque(const MF::KeyframeStore&) const override { return false; }

protected:
    std::unique_ptr<IRowOperation> Prepare(const FilterCall& inCall,
                                           const ir::Picture& inPicture) const override
    {
        // Four, eight or sixteen corners: every fourth point, every second, or all.
        const std::size_t step = std::size_t{4} >> inCall.parameters.Choice(kCorners);
        Points points;
        for (std::size_t corner = 0; corner < kMostCorners; corner += step)
        {
            const TVK::ParamPoint<double> point = inCall.parameters.Point(corner);
            points.push_back({point.x * inPicture.width * inCall.aspect, point.y * inPicture.height});
        }
        const double feather = std::max(1.0, inCall.parameters.Number(kFeather) * inCall.scale);
        return std::make_unique<Operation>(Polygon(std::move(points)), feather, inCall.aspect,
                                           inCall.parameters.Switch(kInvert));
    }
};

// Sixteen points round the edge of the picture, clockwise from the upper left corner.
std::vector<ParameterDescription> Parameters()
{
    std::vector<ParameterDescription> all;
    for (std::size_t corner = 0; corner < kMostCorners; ++corner)
    {
        const double along = static_cast<double>(corner % 4) / 4.0;
        const double xs[4] = {along, 1.0, 1.0 - along, 0.0};
        const double ys[4] = {0.0, along, 1.0, 1.0 - along};
        all.push_back(PointParameter("Point " + std::to_string(corner + 1), xs[corner / 4], ys[corner / 4]));
    }
    all.push_back(ChoiceParameter("Corners", {"4", "8", "16"}, 0));
    all.push_back(NumberParameter("Feather", "px", 0.0, 1000.0, 0.0));
    all.push_back(BoolParameter("Invert", false));
    return all;
}

} // namespace

void AddGarbageMatteFilter(BuiltInTable& ioTable)
{
    ioTable.push_back(FilterRow<GarbageMatteFilter>("garbage-matte", "VX.ZNTR Garbage Matte", "Garbage Matte",
                                                    Parameters()));
}

} // namespace Effects
