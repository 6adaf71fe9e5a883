#pragma once

#include <cstdint>
#include <vector>

#include "ReferenceHost/ImageRoutines/MotionGeometry.h"

// What each source pixel counts for round a place: the filters of IR/Motion.h along one axis.
//
// Thread-safety: pure functions; safe.
namespace ir
{

// Beyond this width of a target pixel every filter is the area's: a sharper one would tell it from the mean
// by less than can be seen.
inline constexpr double kWidestKernel = 8.0;

// The filter along an axis on which a target pixel is inWidth wide.
MotionFilter FilterFor(MotionFilter inFilter, double inWidth) noexcept;

// The filter along an axis of a plan.
MotionFilter FilterFor(const MotionPlan& inPlan, const MotionAxis& inAxis) noexcept;

// Source pixels that are averaged, along an axis, before a picture that is turned and reduced to half its size
// or less is filtered; 1 for every other.
std::int32_t BlockSize(const MotionPlan& inPlan, const MotionAxis& inAxis) noexcept;

// The width of the stretch of middles of pixels that count. inWidth: of the target pixel, at least 1.
double FilterLength(MotionFilter inFilter, double inWidth) noexcept;

// The weight of a pixel whose middle lies inDistance from the place; the sum over all pixels is 1 but for a
// little of the Lanczos filter's.
double FilterWeight(MotionFilter inFilter, double inWidth, double inDistance) noexcept;

// Pixels first to first + count - 1 and their weights from inWeights + offset on; sum 1.
struct MotionTaps
{
    std::int32_t first;
    std::int32_t count;
    std::size_t offset;
};

// Appends the weights of the pixels of an axis round inPlace; those beyond an edge count for the edge.
MotionTaps AppendTaps(const MotionAxis& inAxis, MotionFilter inFilter, double inPlace,
                      std::vector<float>& ioWeights);

// Weights by the place between pixels: kPhases + 1 rows of Taps() weights each, which may be read four at a
// time. Row p is for places where the first pixel's middle lies p / kPhases - Length() / 2 from the place.
class MotionPhases
{
public:
    static constexpr std::int32_t kPhases = 1024;

    MotionPhases(MotionFilter inFilter, double inWidth);

    std::int32_t Taps() const noexcept { return mTaps; }
    double Length() const noexcept { return mLength; }
    const float* Row(std::int32_t inPhase) const noexcept
    {
        return mWeights.data() + static_cast<std::ptrdiff_t>(inPhase) * mTaps; // zeros follow the last
    }

private:
    double mLength;
    std::int32_t mTaps;
    std::vector<float> mWeights;
};

}
