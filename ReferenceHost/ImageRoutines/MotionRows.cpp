#include "ReferenceHost/ImageRoutines/MotionRows.h"

#include <algorithm>
#include <cmath>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ReferenceHost/ImageRoutines/MotionRows.cpp"
#include "hwy/foreach_target.h"
#include "hwy/highway.h"

HWY_BEFORE_NAMESPACE();
namespace ir
{
namespace HWY_NAMESPACE
{
namespace
{

namespace hn = hwy::HWY_NAMESPACE;

using Floats = hn::ScalableTag<float>;
using OnePixel = hn::CappedTag<float, 4>; // the four components of a pixel; one of them on the scalar target
using PixelVector = hn::Vec<OnePixel>;

// The widest filter: the six lobes of Lanczos and a box of less than kWidestKernel.
constexpr std::int32_t kMostTaps = 14;

void PackPlanes(const FloatRow& inRow, float* outPixels, std::size_t inPixels)
{
    const Floats d;
    std::size_t x = 0;
    for (; x + hn::Lanes(d) <= inPixels; x += hn::Lanes(d))
    {
        hn::StoreInterleaved4(hn::LoadU(d, inRow.c[2] + x), hn::LoadU(d, inRow.c[1] + x),
                              hn::LoadU(d, inRow.c[0] + x), hn::LoadU(d, inRow.c[3] + x), d,
                              outPixels + x * 4);
    }
    for (; x < inPixels; ++x)
    {
        for (std::size_t component = 0; component < 4; ++component)
        {
            outPixels[x * 4 + static_cast<std::size_t>(kPackedPlace[component])] = inRow.c[component][x];
        }
    }
}

HWY_INLINE PixelVector WeightedSum(const float* inPixels, const float* inWeights, std::int32_t inCount)
{
    const OnePixel d;
    PixelVector sum = hn::Mul(hn::LoadU(d, inPixels), hn::Set(d, inWeights[0]));
    for (std::int32_t tap = 1; tap < inCount; ++tap)
    {
        const PixelVector pixel = hn::LoadU(d, inPixels + static_cast<std::ptrdiff_t>(tap) * 4);
        sum = hn::Add(sum, hn::Mul(pixel, hn::Set(d, inWeights[tap])));
    }
    return sum;
}

void FilterRow(const float* inPixels, std::int32_t inFirst, const MotionTaps* inTaps, const float* inWeights,
               float* outPixels, std::size_t inCount)
{
    const OnePixel d;
    for (std::size_t x = 0; x < inCount; ++x)
    {
        const MotionTaps& taps = inTaps[x];
        const float* from = inPixels + static_cast<std::ptrdiff_t>(taps.first - inFirst) * 4;
        for (std::size_t c = 0; c < 4; c += hn::Lanes(d))
        {
            hn::StoreU(WeightedSum(from + c, inWeights + taps.offset, taps.count), d, outPixels + x * 4 + c);
        }
    }
}

// The first pixel and the weights at a place, and room for a whole vector of them.
struct Weights
{
    std::int32_t first;
    alignas(16) float of[kMostTaps + 3];
};

// The weights of a box: what of each pixel lies in it.
HWY_INLINE void FindOverlaps(const SampleAxis& inAxis, double inLength, std::int32_t inTaps, float inDistance,
                             Weights& outWeights)
{
    const OnePixel d;
    const PixelVector half = hn::Set(d, static_cast<float>(inLength / 2.0));
    const PixelVector scale = hn::Set(d, static_cast<float>(1.0 / inAxis.width));
    for (std::int32_t tap = 0; tap < inTaps; tap += static_cast<std::int32_t>(hn::Lanes(d)))
    {
        const PixelVector distance = hn::Add(hn::Set(d, inDistance), hn::Iota(d, static_cast<float>(tap)));
        const PixelVector part = hn::Sub(half, hn::Abs(distance));
        hn::StoreU(hn::Mul(hn::Min(hn::Max(part, hn::Zero(d)), hn::Set(d, 1.0F)), scale), d,
                   outWeights.of + tap);
    }
}

HWY_INLINE void FindWeights(const SampleAxis& inAxis, double inLength, std::int32_t inTaps, double inPlace,
                            Weights& outWeights)
{
    const OnePixel d;
    const double begin = inPlace - inLength / 2.0 - 0.5;
    const double first = std::ceil(begin);
    outWeights.first = static_cast<std::int32_t>(first);
    if (inAxis.phases == nullptr)
    {
        FindOverlaps(inAxis, inLength, inTaps, static_cast<float>(first + 0.5 - inPlace), outWeights);
        return;
    }
    const double phase = (first - begin) * MotionPhases::kPhases;
    const auto row = std::min(static_cast<std::int32_t>(phase), MotionPhases::kPhases - 1);
    const PixelVector share = hn::Set(d, static_cast<float>(phase - row));
    const float* below = inAxis.phases->Row(row);
    const float* above = inAxis.phases->Row(row + 1);
    for (std::int32_t tap = 0; tap < inTaps; tap += static_cast<std::int32_t>(hn::Lanes(d)))
    {
        const PixelVector from = hn::LoadU(d, below + tap);
        const PixelVector to = hn::LoadU(d, above + tap);
        hn::StoreU(hn::Add(from, hn::Mul(hn::Sub(to, from), share)), d, outWeights.of + tap);
    }
}

double LengthOf(const SampleAxis& inAxis)
{
    return inAxis.phases == nullptr ? inAxis.width + 1.0 : inAxis.phases->Length();
}

template <std::int32_t kTaps>
HWY_INLINE void SamplePixels(const SampleGrid& inGrid, const SampleAxis& inU, const SampleAxis& inV,
                             std::int32_t inTapsU, std::int32_t inTapsV, std::int32_t inFirst,
                             float* outPixels, std::size_t inCount)
{
    const OnePixel d;
    const double lengthU = LengthOf(inU);
    const double lengthV = LengthOf(inV);
    const std::int32_t tapsU = kTaps == 0 ? inTapsU : kTaps;
    const std::int32_t tapsV = kTaps == 0 ? inTapsV : kTaps;
    Weights u;
    Weights v;
    for (std::size_t x = 0; x < inCount; ++x)
    {
        const double column = inFirst + static_cast<double>(x);
        FindWeights(inU, lengthU, tapsU, inU.start + inU.step * column, u);
        FindWeights(inV, lengthV, tapsV, inV.start + inV.step * column, v);
        const float* from = inGrid.pixels + static_cast<std::ptrdiff_t>(v.first - inGrid.top) * inGrid.pitch +
                            static_cast<std::ptrdiff_t>(u.first - inGrid.left) * 4;
        for (std::size_t c = 0; c < 4; c += hn::Lanes(d))
        {
            PixelVector sum = hn::Mul(WeightedSum(from + c, u.of, tapsU), hn::Set(d, v.of[0]));
            for (std::int32_t tap = 1; tap < tapsV; ++tap)
            {
                const PixelVector row = WeightedSum(from + tap * inGrid.pitch + c, u.of, tapsU);
                sum = hn::Add(sum, hn::Mul(row, hn::Set(d, v.of[tap])));
            }
            hn::StoreU(sum, d, outPixels + x * 4 + c);
        }
    }
}

void SampleTurned(const SampleGrid& inGrid, const SampleAxis& inU, const SampleAxis& inV,
                  std::int32_t inFirst, float* outPixels, std::size_t inCount)
{
    const auto tapsU = static_cast<std::int32_t>(std::ceil(LengthOf(inU)));
    const auto tapsV = static_cast<std::int32_t>(std::ceil(LengthOf(inV)));
    if (tapsU == tapsV && (tapsU <= 4 || tapsU == 6))
    {
        (tapsU == 2   ? SamplePixels<2>
         : tapsU == 3 ? SamplePixels<3>
         : tapsU == 4 ? SamplePixels<4>
                      : SamplePixels<6>)(inGrid, inU, inV, tapsU, tapsV, inFirst, outPixels, inCount);
        return;
    }
    SamplePixels<0>(inGrid, inU, inV, tapsU, tapsV, inFirst, outPixels, inCount);
}

const char* NameOfTarget()
{
    return hwy::TargetName(HWY_TARGET);
}

}
}
}
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace ir
{
namespace
{

HWY_EXPORT(PackPlanes);
HWY_EXPORT(FilterRow);
HWY_EXPORT(SampleTurned);
HWY_EXPORT(NameOfTarget);

}

void PackFloatRow(const FloatRow& inRow, float* outPixels, std::size_t inPixels)
{
    HWY_DYNAMIC_DISPATCH(PackPlanes)(inRow, outPixels, inPixels);
}

void FilterColumns(const float* inPixels, std::int32_t inFirst, const MotionTaps* inTaps,
                   const float* inWeights, float* outPixels, std::size_t inCount)
{
    HWY_DYNAMIC_DISPATCH(FilterRow)(inPixels, inFirst, inTaps, inWeights, outPixels, inCount);
}

void SampleRow(const SampleGrid& inGrid, const SampleAxis& inU, const SampleAxis& inV, std::int32_t inFirst,
               float* outPixels, std::size_t inCount)
{
    HWY_DYNAMIC_DISPATCH(SampleTurned)(inGrid, inU, inV, inFirst, outPixels, inCount);
}

const char* MotionRowsTarget()
{
    return HWY_DYNAMIC_DISPATCH(NameOfTarget)();
}

}

#endif
