// The curves between two keyframes. What they mean stands in Parameter.h.
//
// Thread-safety: values and pure functions.
#pragma once

#include "ReferenceHost/Project/Parameter.h"

#include <vector>

namespace Project
{

// Whether the stretch behind inA keeps its value.
bool IsHeld(const ParameterKey& inA);

// The number at inTime between two keyframes whose numbers are inFrom and inTo.
double InterpolateNumber(const ParameterKey& inA, const ParameterKey& inB, double inFrom, double inTo,
                         const norviktypes::TickTime& inTime);

// The path from one point to the next, measured once.
class PointPath
{
public:
    PointPath(const ParameterKey& inA, const ParameterKey& inB);

    double GetLength() const { return mLength; }
    // The point inDistance along the path from its start. Beyond its ends it goes on as straight.
    PointValue At(double inDistance) const;

private:
    PointValue OnCurve(double inPlace) const;

    PointValue mCorners[4];
    bool mIsStraight;
    double mLength;
    std::vector<double> mLengths; // up to each of equal steps of the curve's own parameter
};

} // namespace Project
