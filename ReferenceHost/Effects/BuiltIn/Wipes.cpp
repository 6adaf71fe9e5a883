#include "ReferenceHost/Effects/BuiltIn/BuiltInTable.h"
#include "ReferenceHost/Effects/EdgeMix.h"
#include "ReferenceHost/Effects/EffectTransition.h"

#include <algorithm>
#include <cmath>
#include <numbers>

// Wipes: an edge goes over the picture, behind it lies the incoming one.
//
// A shape tells for each place how far inside of the edge it is, in units of a line's height; the distance changes
// by no more than one unit from place to place. Half a unit of it and more on either side of the soft edge and its
// border is one picture alone, and whole blocks of such pixels are copied without asking for each.
namespace Effects
{
namespace
{

// Parameters that every wipe has, at the head of its list.
constexpr std::size_t kSoftness = 0;
constexpr std::size_t kBorderWidth = 1;
constexpr std::size_t kBorderColor = 2;
constexpr std::size_t kFirstOwn = 3;

std::vector<ParameterDescription> WithEdge(std::vector<ParameterDescription> inOwn)
{
    std::vector<ParameterDescription> all = {NumberParameter("Softness", "px", 0.0, 4000.0, 0.0),
                                             NumberParameter("Border Width", "px", 0.0, 4000.0, 0.0),
                                             ColorParameter("Border Color", 255, 255, 255)};
    all.insert(all.end(), inOwn.begin(), inOwn.end());
    return all;
}

// The picture in units of a line's height: a pixel is mAspect wide.
struct Canvas
{
    double aspect;
    double width;
    double height;
};

// How wide the edge is: at least a pixel soft, or it would show steps.
struct Edge
{
    double softness;
    double border;

    double Reach() const { return (softness + border) / 2.0; }
};

class IWipeShape
{
public:
    virtual ~IWipeShape() = default;
    // How far the points (inX + i inStep, inY) are inside; negative: outside.
    virtual void Measure(double inX, double inStep, double inY, std::int32_t inCount,
                         double* outInside) const = 0;
};

class LinearShape final : public IWipeShape
{
public:
    LinearShape(const Canvas& inCanvas, double inAngle, double inProgress, double inReach)
        : mX(std::cos(inAngle))
        , mY(std::sin(inAngle))
    {
        const double half = (std::abs(mX) * inCanvas.width + std::abs(mY) * inCanvas.height) / 2.0 + inReach;
        const double middle = (mX * inCanvas.width + mY * inCanvas.height) / 2.0;
        mEdge = middle - half + 2.0 * half * inProgress;
    }

    void Measure(double inX, double inStep, double inY, std::int32_t inCount,
                 double* outInside) const override
    {
        for (std::int32_t i = 0; i < inCount; ++i)
        {
            outInside[i] = mEdge - mX * (inX + i * inStep) - mY * inY;
        }
    }

private:
    double mX;
    double mY;
    double mEdge;
};

struct Place
{
    double x;
    double y;
};

// A sector that opens clockwise. Its soft edge lies on both of its sides.
class ClockShape final : public IWipeShape
{
public:
    ClockShape(const Place& inCenter, double inStart, double inProgress)
        : mCenter(inCenter)
        , mStart(Ray(inStart))
        , mEnd(Ray(inStart + 2.0 * std::numbers::pi * inProgress))
        , mIsWide(inProgress >= 0.5)
    {
    }

    void Measure(double inX, double inStep, double inY, std::int32_t inCount,
                 double* outInside) const override
    {
        for (std::int32_t i = 0; i < inCount; ++i)
        {
            const Place place = {inX + i * inStep - mCenter.x, inY - mCenter.y};
            const double distance = std::min(DistanceTo(mStart, place), DistanceTo(mEnd, place));
            const bool isAfterStart = Cross(mStart, place) >= 0.0;
            const bool isBeforeEnd = Cross(mEnd, place) <= 0.0;
            const bool isInside = mIsWide ? isAfterStart || isBeforeEnd : isAfterStart && isBeforeEnd;
            outInside[i] = isInside ? distance : -distance;
        }
    }

private:
    // Upwards at angle 0, clockwise from there.
    static Place Ray(double inAngle) { return {std::sin(inAngle), -std::cos(inAngle)}; }
    static double Cross(const Place& inRay, const Place& inPlace)
    {
        return inRay.x * inPlace.y - inRay.y * inPlace.x;
    }
    static double DistanceTo(const Place& inRay, const Place& inPlace)
    {
        const bool isBeside = inRay.x * inPlace.x + inRay.y * inPlace.y > 0.0;
        return isBeside ? std::abs(Cross(inRay, inPlace)) : std::hypot(inPlace.x, inPlace.y);
    }

    Place mCenter;
    Place mStart;
    Place mEnd;
    bool mIsWide;
};

enum class Iris : std::uint32_t
{
    kRectangle = 0,
    kCircle = 1,
    kDiamond = 2,
};

class IrisShape final : public IWipeShape
{
public:
    IrisShape(const Canvas& inCanvas, Iris inKind, const Place& inCenter, double inProgress, double inReach)
        : mKind(inKind)
        , mCenter(inCenter)
    {
        const double farX = std::max(inCenter.x, inCanvas.width - inCenter.x);
        const double farY = std::max(inCenter.y, inCanvas.height - inCenter.y);
        const auto grown = [&](double inFar) { return inProgress * (inFar + 2.0 * inReach) - inReach; };
        mHalfWidth = grown(farX);
        mHalfHeight = grown(farY);
        mRadius = grown(inKind == Iris::kCircle ? std::hypot(farX, farY) : (farX + farY) * kHalfRoot);
    }

    void Measure(double inX, double inStep, double inY, std::int32_t inCount,
                 double* outInside) const override
    {
        const double y = std::abs(inY - mCenter.y);
        for (std::int32_t i = 0; i < inCount; ++i)
        {
            outInside[i] = Inside(std::abs(inX + i * inStep - mCenter.x), y);
        }
    }

private:
    static constexpr double kHalfRoot = 0.70710678118654752;

    double Inside(double inX, double inY) const
    {
        switch (mKind)
        {
        case Iris::kRectangle: return std::min(mHalfWidth - inX, mHalfHeight - inY);
        case Iris::kCircle: return mRadius - std::hypot(inX, inY);
        case Iris::kDiamond: break;
        }
        return mRadius - (inX + inY) * kHalfRoot;
    }

    Iris mKind;
    Place mCenter;
    double mHalfWidth;
    double mHalfHeight;
    double mRadius;
};

// Draws one row after the other, in blocks.
class WipePainter
{
public:
    WipePainter(const TransitionCall& inCall, const Edge& inEdge, const IWipeShape& inShape)
        : mMix(inCall.from, inCall.to, inCall.target, inCall.parameters.ColorOf(kBorderColor))
        , mShape(inShape)
        , mEdge(inEdge)
        , mAspect(inCall.aspect)
        , mWidth(inCall.target.width)
        , mHeight(inCall.target.height)
    {
    }

    void Draw() const
    {
        for (std::int32_t y = 0; y < mHeight; ++y)
        {
            DrawRow(y);
        }
    }

private:
    static constexpr std::int32_t kBlock = 32;

    enum class Content
    {
        kFrom,
        kTo,
        kEdge,
    };

    // By the middle of the block alone: no pixel of it is further away than half its width.
    Content ContentOf(std::int32_t inX, std::int32_t inY) const
    {
        double inside = 0.0;
        mShape.Measure((inX + kBlock / 2.0) * mAspect, 0.0, inY + 0.5, 1, &inside);
        const double clear = mEdge.Reach() + kBlock / 2.0 * mAspect;
        if (inside > clear)
        {
            return Content::kTo;
        }
        return inside < -clear ? Content::kFrom : Content::kEdge;
    }

    void DrawRow(std::int32_t inY) const
    {
        for (std::int32_t x = 0; x < mWidth;)
        {
            const Content content = ContentOf(x, inY);
            std::int32_t end = x + kBlock;
            while (end < mWidth && ContentOf(end, inY) == content)
            {
                end += kBlock;
            }
            const std::int32_t width = std::min(end, mWidth) - x;
            switch (content)
            {
            case Content::kFrom: mMix.CopyFrom(x, inY, width); break;
            case Content::kTo: mMix.CopyTo(x, inY, width); break;
            case Content::kEdge: DrawEdge(x, inY, width); break;
            }
            x += width;
        }
    }

    void DrawEdge(std::int32_t inX, std::int32_t inY, std::int32_t inWidth) const
    {
        for (std::int32_t x = inX; x < inX + inWidth; x += kBlock)
        {
            double inside[kBlock];
            const std::int32_t count = std::min(kBlock, inX + inWidth - x);
            mShape.Measure((x + 0.5) * mAspect, mAspect, inY + 0.5, count, inside);
            for (std::int32_t i = 0; i < count; ++i)
            {
                mMix.FromWeights()[x + i] = 1.0F - Ramp(inside[i] + mEdge.border / 2.0);
                mMix.ToWeights()[x + i] = Ramp(inside[i] - mEdge.border / 2.0);
            }
        }
        mMix.Draw(inX, inY, inWidth);
    }

    float Ramp(double inInside) const
    {
        return static_cast<float>(std::clamp(inInside / mEdge.softness + 0.5, 0.0, 1.0));
    }

    EdgeMix mMix;
    const IWipeShape& mShape;
    Edge mEdge;
    double mAspect;
    std::int32_t mWidth;
    std::int32_t mHeight;
};

Canvas CanvasOf(const TransitionCall& inCall)
{
    return {inCall.aspect, inCall.target.width * inCall.aspect, static_cast<double>(inCall.target.height)};
}

Edge EdgeOf(const TransitionCall& inCall)
{
    return {std::max(1.0, inCall.parameters.Number(kSoftness) * inCall.scale),
            inCall.parameters.Number(kBorderWidth) * inCall.scale};
}

Place CenterOf(const TransitionCall& inCall, const Canvas& inCanvas, std::size_t inParameter)
{
    const TVK::ParamPoint<double> center = inCall.parameters.Point(inParameter);
    return {center.x * inCanvas.width, center.y * inCanvas.height};
}

class LinearWipe final : public EffectTransition
{
public:
    using EffectTransition::EffectTransition;

protected:
    std::int32_t Draw(const TransitionCall& inCall) const override
    {
        const Edge edge = EdgeOf(inCall);
        const LinearShape shape(CanvasOf(inCall), inCall.parameters.Radians(kFirstOwn), inCall.progress,
                                edge.Reach());
        WipePainter(inCall, edge, shape).Draw();
        return 0;
    }
};

class ClockWipe final : public EffectTransition
{
public:
    using EffectTransition::EffectTransition;

protected:
    std::int32_t Draw(const TransitionCall& inCall) const override
    {
        // Both sides of a sector lie on each other at its beginning and end, where a wide edge would be seen at
        // once: it grows with the first twentieth, and shrinks with the last.
        constexpr double kGrowth = 20.0;
        const double grown = std::min({1.0, inCall.progress * kGrowth, (1.0 - inCall.progress) * kGrowth});
        const Edge whole = EdgeOf(inCall);
        const Edge edge = {std::max(whole.softness * grown, 1e-6), whole.border * grown};
        const Place center = CenterOf(inCall, CanvasOf(inCall), kFirstOwn + 1);
        const ClockShape shape(center, inCall.parameters.Radians(kFirstOwn), inCall.progress);
        if (grown > 0.0)
        {
            WipePainter(inCall, edge, shape).Draw();
            return 0;
        }
        const ir::Picture& alone = inCall.progress < 0.5 ? inCall.from : inCall.to;
        EdgeMix mix(alone, alone, inCall.target, {});
        for (std::int32_t y = 0; y < inCall.target.height; ++y)
        {
            mix.CopyFrom(0, y, inCall.target.width);
        }
        return 0;
    }
};

class IrisWipe final : public EffectTransition
{
public:
    using EffectTransition::EffectTransition;

protected:
    std::int32_t Draw(const TransitionCall& inCall) const override
    {
        const Edge edge = EdgeOf(inCall);
        const Canvas canvas = CanvasOf(inCall);
        const auto kind = static_cast<Iris>(inCall.parameters.Choice(kFirstOwn));
        const IrisShape shape(canvas, kind, CenterOf(inCall, canvas, kFirstOwn + 1), inCall.progress,
                              edge.Reach());
        WipePainter(inCall, edge, shape).Draw();
        return 0;
    }
};

} // namespace

void AddWipes(BuiltInTable& ioTable)
{
    ioTable.push_back(
        TransitionRow<LinearWipe>("wipe", "", "Linear Wipe", WithEdge({AngleParameter("Angle", 0.0)})));
    ioTable.push_back(TransitionRow<ClockWipe>(
        "clock-wipe", "", "Clock Wipe",
        WithEdge({AngleParameter("Start Angle", 0.0), PointParameter("Center", 0.5, 0.5)})));
    ioTable.push_back(
        TransitionRow<IrisWipe>("iris", "", "Iris Wipe",
                                WithEdge({ChoiceParameter("Shape", {"rectangle", "circle", "diamond"}, 1),
                                          PointParameter("Center", 0.5, 0.5)})));
}

} // namespace Effects
