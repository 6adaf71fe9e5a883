#include "ReferenceHost/Project/KeyframeCurve.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace Project
{

namespace
{

// What the side of a keyframe that is no bezier reaches.
constexpr double kStraightInfluence = 1.0 / 3.0;

// Halvings of the curve's parameter: as many as a double can tell apart.
constexpr int kHalvings = 54;

// Steps in which the length of a path is measured. A full turn of a curve is then off by less than a
// thousandth of its length.
constexpr std::size_t kPathSteps = 128;

bool IsBezier(std::uint32_t inCode)
{
    return inCode == kInterpolation_Bezier;
}

double Cubic(double inP0, double inP1, double inP2, double inP3, double inPlace)
{
    const double rest = 1.0 - inPlace;
    return rest * rest * rest * inP0 + 3.0 * rest * rest * inPlace * inP1 +
           3.0 * rest * inPlace * inPlace * inP2 + inPlace * inPlace * inPlace * inP3;
}

// The place at which the curve from 0 to 1 with the inner corners inX1 and inX2, which never goes back, is at
// inX.
double PlaceOf(double inX, double inX1, double inX2)
{
    double low = 0.0;
    double high = 1.0;
    for (int step = 0; step < kHalvings; ++step)
    {
        const double middle = 0.5 * (low + high);
        (Cubic(0.0, inX1, inX2, 1.0, middle) < inX ? low : high) = middle;
    }
    return 0.5 * (low + high);
}

// One side of a stretch: how far it reaches, as a part of the stretch, and how much the value moves there.
struct Side
{
    double mReach;
    double mRise;
};

Side SideOf(bool inIsBezier, const MF::TemporalEase& inEase, double inSeconds, double inRise)
{
    if (!inIsBezier)
    {
        return {kStraightInfluence, inRise * kStraightInfluence};
    }
    return {inEase.mInfluence, inEase.mSpeed * inEase.mInfluence * inSeconds};
}

double Distance(const PointValue& inA, const PointValue& inB)
{
    return std::hypot(inB.mX - inA.mX, inB.mY - inA.mY);
}

PointValue Between(const PointValue& inA, const PointValue& inB, double inPart)
{
    return {inA.mX + (inB.mX - inA.mX) * inPart, inA.mY + (inB.mY - inA.mY) * inPart};
}

PointValue Sum(const PointValue& inA, const PointValue& inB)
{
    return {inA.mX + inB.mX, inA.mY + inB.mY};
}

} // namespace

bool IsHeld(const ParameterKey& inA)
{
    return inA.mOutgoing == kInterpolation_Hold;
}

double InterpolateNumber(const ParameterKey& inA, const ParameterKey& inB, double inFrom, double inTo,
                         const norviktypes::TickTime& inTime)
{
    const double part = (inTime - inA.mTime) / (inB.mTime - inA.mTime);
    const bool bezierOut = IsBezier(inA.mOutgoing);
    const bool bezierIn = IsBezier(inB.mIncoming);
    if (!bezierOut && !bezierIn)
    {
        return inFrom + (inTo - inFrom) * part;
    }
    const double seconds = (inB.mTime - inA.mTime).AsSeconds();
    const Side out = SideOf(bezierOut, inA.mEaseOut, seconds, inTo - inFrom);
    const Side in = SideOf(bezierIn, inB.mEaseIn, seconds, inTo - inFrom);
    const double place = PlaceOf(part, out.mReach, 1.0 - in.mReach);
    return Cubic(inFrom, inFrom + out.mRise, inTo - in.mRise, inTo, place);
}

PointPath::PointPath(const ParameterKey& inA, const ParameterKey& inB)
{
    const PointValue& from = std::get<PointValue>(inA.mValue);
    const PointValue& to = std::get<PointValue>(inB.mValue);
    mCorners[0] = from;
    mCorners[1] = Sum(from, inA.mTangentOut);
    mCorners[2] = Sum(to, inB.mTangentIn);
    mCorners[3] = to;
    mIsStraight = inA.mTangentOut == PointValue() && inB.mTangentIn == PointValue();
    mLength = Distance(from, to);
    if (mIsStraight)
    {
        return;
    }
    mLengths.assign(kPathSteps + 1, 0.0);
    PointValue last = from;
    for (std::size_t step = 1; step <= kPathSteps; ++step)
    {
        const PointValue next = OnCurve(static_cast<double>(step) / kPathSteps);
        mLengths[step] = mLengths[step - 1] + Distance(last, next);
        last = next;
    }
    mLength = mLengths.back();
}

PointValue PointPath::At(double inDistance) const
{
    if (mLength <= 0.0)
    {
        return mCorners[0];
    }
    const double part = inDistance / mLength;
    if (mIsStraight)
    {
        return Between(mCorners[0], mCorners[3], part);
    }
    if (part <= 0.0 || part >= 1.0)
    {
        // An ease that overshoots leaves the curve at its end.
        const PointValue& end = part <= 0.0 ? mCorners[0] : mCorners[3];
        const PointValue near = OnCurve(part <= 0.0 ? 1.0 / kPathSteps : 1.0 - 1.0 / kPathSteps);
        const double step = Distance(end, near);
        const double beyond = part <= 0.0 ? inDistance : mLength - inDistance;
        return step > 0.0 ? Between(end, near, beyond / step) : end;
    }
    const auto above = std::upper_bound(mLengths.begin(), mLengths.end(), inDistance);
    const std::size_t step = static_cast<std::size_t>(above - mLengths.begin()) - 1;
    const double within = (inDistance - mLengths[step]) / (mLengths[step + 1] - mLengths[step]);
    return OnCurve((static_cast<double>(step) + within) / kPathSteps);
}

PointValue PointPath::OnCurve(double inPlace) const
{
    return {Cubic(mCorners[0].mX, mCorners[1].mX, mCorners[2].mX, mCorners[3].mX, inPlace),
            Cubic(mCorners[0].mY, mCorners[1].mY, mCorners[2].mY, mCorners[3].mY, inPlace)};
}

} // namespace Project
