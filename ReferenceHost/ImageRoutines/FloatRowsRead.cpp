#include "ReferenceHost/ImageRoutines/FloatRows.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "ReferenceHost/ImageRoutines/V210Rows.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ReferenceHost/ImageRoutines/FloatRowsRead.cpp"
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
using Ints = hn::RebindToSigned<Floats>;
using FloatVector = hn::Vec<Floats>;
using IntVector = hn::Vec<Ints>;

HWY_INLINE FloatVector Valued(IntVector inCode, FloatVector inOffset, FloatVector inFactor)
{
    return hn::Mul(hn::Sub(hn::ConvertTo(Floats(), inCode), inOffset), inFactor);
}

template <typename T>
float ValueOf(const T* inRow, std::size_t inAt, int inLowBits, const FloatRange& inRange)
{
    return (static_cast<float>(inRow[inAt] >> inLowBits) - inRange.offset) * inRange.factor;
}

template <typename T>
void WidenPlane(const T* inRow, int inLowBits, const FloatRange& inRange, float* outRow, std::size_t inCount)
{
    const Floats d;
    const Ints di;
    const hn::Rebind<T, Floats> narrow;
    const FloatVector offset = hn::Set(d, inRange.offset);
    const FloatVector factor = hn::Set(d, inRange.factor);
    std::size_t i = 0;
    for (; i + hn::Lanes(d) <= inCount; i += hn::Lanes(d))
    {
        const IntVector code = hn::ShiftRightSame(hn::PromoteTo(di, hn::LoadU(narrow, inRow + i)), inLowBits);
        hn::StoreU(Valued(code, offset, factor), d, outRow + i);
    }
    for (; i < inCount; ++i)
    {
        outRow[i] = ValueOf(inRow, i, inLowBits, inRange);
    }
}

// Every inStep-th sample.
template <typename T>
void WidenStrided(const T* inRow, std::size_t inStep, int inLowBits, const FloatRange& inRange, float* outRow,
                  std::size_t inCount)
{
    for (std::size_t i = 0; i < inCount; ++i)
    {
        outRow[i] = ValueOf(inRow, i * inStep, inLowBits, inRange);
    }
}

template <typename T>
void WidenPacked4(const T* inRow, const FloatRange* inRanges, const FloatRow& outRow, std::size_t inCount)
{
    const Floats d;
    const Ints di;
    const hn::Rebind<T, Floats> narrow;
    FloatVector offset[4];
    FloatVector factor[4];
    for (int i = 0; i < 4; ++i)
    {
        offset[i] = hn::Set(d, inRanges[i].offset);
        factor[i] = hn::Set(d, inRanges[i].factor);
    }
    std::size_t x = 0;
    for (; x + hn::Lanes(d) <= inCount; x += hn::Lanes(d))
    {
        hn::Vec<decltype(narrow)> part[4];
        hn::LoadInterleaved4(narrow, inRow + x * 4, part[0], part[1], part[2], part[3]);
        for (int i = 0; i < 4; ++i)
        {
            hn::StoreU(Valued(hn::PromoteTo(di, part[kPackedPlace[i]]), offset[i], factor[i]), d,
                       outRow.c[i] + x);
        }
    }
    for (; x < inCount; ++x)
    {
        for (int i = 0; i < 4; ++i)
        {
            outRow.c[i][x] =
                ValueOf(inRow, x * 4 + static_cast<std::size_t>(kPackedPlace[i]), 0, inRanges[i]);
        }
    }
}

void SplitPacked4(const float* inRow, const FloatRow& outRow, std::size_t inCount)
{
    const Floats d;
    std::size_t x = 0;
    for (; x + hn::Lanes(d) <= inCount; x += hn::Lanes(d))
    {
        FloatVector part[4];
        hn::LoadInterleaved4(d, inRow + x * 4, part[0], part[1], part[2], part[3]);
        for (int i = 0; i < 4; ++i)
        {
            hn::StoreU(part[kPackedPlace[i]], d, outRow.c[i] + x);
        }
    }
    for (; x < inCount; ++x)
    {
        for (int i = 0; i < 4; ++i)
        {
            outRow.c[i][x] = inRow[x * 4 + static_cast<std::size_t>(kPackedPlace[i])];
        }
    }
}

void ReadPlaneRow(const Picture& inPicture, const unsigned char* inRow, const FloatRange& inRange,
                  float* outRow, std::size_t inCount)
{
    switch (inPicture.sample)
    {
    case Sample::kByte: WidenPlane(inRow, 0, inRange, outRow, inCount); break;
    case Sample::kWord:
        WidenPlane(reinterpret_cast<const std::uint16_t*>(inRow), inPicture.lowZeroBits, inRange, outRow,
                   inCount);
        break;
    default: std::memcpy(outRow, inRow, inCount * sizeof(float)); break;
    }
}

void ReadStridedRow(const Picture& inPicture, const unsigned char* inRow, std::size_t inFirst,
                    std::size_t inStep, const FloatRange& inRange, float* outRow, std::size_t inCount)
{
    if (inPicture.sample == Sample::kByte)
    {
        WidenStrided(inRow + inFirst, inStep, 0, inRange, outRow, inCount);
        return;
    }
    WidenStrided(reinterpret_cast<const std::uint16_t*>(inRow) + inFirst, inStep, inPicture.lowZeroBits,
                 inRange, outRow, inCount);
}

void ReadPacked4Row(const Picture& inPicture, const unsigned char* inRow, const FloatRange* inRanges,
                    const FloatRow& outRow, std::size_t inCount)
{
    switch (inPicture.sample)
    {
    case Sample::kByte: WidenPacked4(inRow, inRanges, outRow, inCount); break;
    case Sample::kWord:
        WidenPacked4(reinterpret_cast<const std::uint16_t*>(inRow), inRanges, outRow, inCount);
        break;
    default: SplitPacked4(reinterpret_cast<const float*>(inRow), outRow, inCount); break;
    }
}

float Between(const float* inRow, std::ptrdiff_t inLeft, std::ptrdiff_t inLast, float inWeight)
{
    const float left = inRow[std::clamp<std::ptrdiff_t>(inLeft, 0, inLast)];
    const float right = inRow[std::clamp<std::ptrdiff_t>(inLeft + 1, 0, inLast)];
    return left * (1.0F - inWeight) + right * inWeight;
}

// The even and the odd pixels of a stretch lie between two samples each, from sample i + inShifts on, at
// inWeights.
void DoubleRow(const float* inRow, const std::ptrdiff_t* inShifts, const float* inWeights, float* outFull,
               std::size_t inFullWidth)
{
    const Floats d;
    const std::size_t step = hn::Lanes(d);
    const std::size_t count = (inFullWidth + 1) / 2;
    const auto last = static_cast<std::ptrdiff_t>(count) - 1;
    const auto one = [&](std::size_t inX)
    {
        const std::size_t parity = inX % 2;
        outFull[inX] =
            Between(inRow, static_cast<std::ptrdiff_t>(inX / 2) + inShifts[parity], last, inWeights[parity]);
    };
    for (std::size_t x = 0; x < std::min<std::size_t>(2, inFullWidth); ++x)
    {
        one(x);
    }
    std::size_t i = 1;
    for (; i + step < count && (i + step) * 2 <= inFullWidth; i += step)
    {
        FloatVector pixels[2];
        for (std::size_t parity = 0; parity < 2; ++parity)
        {
            const float* left = inRow + static_cast<std::ptrdiff_t>(i) + inShifts[parity];
            pixels[parity] = hn::Add(hn::Mul(hn::LoadU(d, left), hn::Set(d, 1.0F - inWeights[parity])),
                                     hn::Mul(hn::LoadU(d, left + 1), hn::Set(d, inWeights[parity])));
        }
        hn::StoreInterleaved2(pixels[0], pixels[1], d, outFull + i * 2);
    }
    for (std::size_t x = i * 2; x < inFullWidth; ++x)
    {
        one(x);
    }
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

HWY_EXPORT(ReadPlaneRow);
HWY_EXPORT(ReadStridedRow);
HWY_EXPORT(ReadPacked4Row);
HWY_EXPORT(DoubleRow);
HWY_EXPORT(NameOfTarget);

// Room behind a row for the kernels' last whole vector.
constexpr std::ptrdiff_t kSpare = 32;

// One component of one row in memory, at its own resolution.
void ReadComponentRow(const Picture& inPicture, int inComponent, std::int32_t inRow, float* outRow,
                      std::size_t inCount)
{
    const FloatRange range = FloatRangeOf(RangeOf(inPicture, inComponent));
    const bool isChroma = inComponent == 1 || inComponent == 2;
    switch (inPicture.storage)
    {
    case Storage::kV210: ReadV210Row(inPicture, inComponent, inRow, outRow, inCount); return;
    case Storage::kYUYV:
    case Storage::kUYVY:
    {
        const std::size_t luma = inPicture.storage == Storage::kYUYV ? 0 : 1;
        const std::size_t first = isChroma ? 1 - luma + (inComponent == 2 ? 2 : 0) : luma;
        HWY_DYNAMIC_DISPATCH(ReadStridedRow)
        (inPicture, inPicture.Row(0, inRow), first, isChroma ? 4 : 2, range, outRow, inCount);
        return;
    }
    default: break;
    }
    if (inPicture.storage == Storage::kSemiPlanar && isChroma)
    {
        const auto first = static_cast<std::size_t>(inComponent - 1);
        HWY_DYNAMIC_DISPATCH(ReadStridedRow)
        (inPicture, inPicture.Row(1, inRow), first, 2, range, outRow, inCount);
        return;
    }
    HWY_DYNAMIC_DISPATCH(ReadPlaneRow)(inPicture, inPicture.Row(inComponent, inRow), range, outRow, inCount);
}

void ReadChroma(const Picture& inPicture, int inComponent, std::int32_t inY, float* outRow, float* ioScratch)
{
    if (inPicture.shiftX == 0)
    {
        ReadChromaRow(inPicture, inComponent, inY, outRow, ioScratch);
        return;
    }
    float* narrow = ioScratch + inPicture.width + kSpare;
    ReadChromaRow(inPicture, inComponent, inY, narrow, ioScratch);
    WidenChromaRow(inPicture, narrow, outRow);
}

}

void ReadFloatRow(const Picture& inPicture, std::int32_t inY, const FloatRow& outRow, float* ioScratch)
{
    const auto width = static_cast<std::size_t>(inPicture.width);
    if (inPicture.storage == Storage::kPacked4)
    {
        FloatRange ranges[4];
        for (int i = 0; i < 4; ++i)
        {
            ranges[i] = FloatRangeOf(RangeOf(inPicture, i));
        }
        HWY_DYNAMIC_DISPATCH(ReadPacked4Row)(inPicture, inPicture.Row(0, inY), ranges, outRow, width);
    }
    else
    {
        ReadComponentRow(inPicture, 0, inY, outRow.c[0], width);
        for (int component = 1; component < 3; ++component)
        {
            if (inPicture.isGray)
            {
                std::copy_n(outRow.c[0], width, outRow.c[component]);
                continue;
            }
            ReadChroma(inPicture, component, inY, outRow.c[component], ioScratch);
        }
        if (inPicture.HasAlpha())
        {
            ReadComponentRow(inPicture, 3, inY, outRow.c[3], width);
        }
    }
    if (!inPicture.HasAlpha())
    {
        std::fill_n(outRow.c[3], width, 1.0F);
    }
}

void ReadChromaRow(const Picture& inPicture, int inComponent, std::int32_t inY, float* outRow,
                   float* ioScratch)
{
    const auto count = static_cast<std::size_t>(inPicture.ChromaWidth());
    const ChromaRowPair rows = ChromaRowsFor(inPicture, inY);
    ReadComponentRow(inPicture, inComponent, rows.near, outRow, count);
    if (rows.eighthsOfFar != 0 && rows.far != rows.near)
    {
        ReadComponentRow(inPicture, inComponent, rows.far, ioScratch, count);
        const auto weight = static_cast<float>(rows.eighthsOfFar) / 8.0F;
        AccumulateRow(outRow, 1.0F - weight, true, outRow, count);
        AccumulateRow(ioScratch, weight, false, outRow, count);
    }
}

void ReadMemoryRow(const Picture& inPicture, int inComponent, std::int32_t inRow, float* outRow)
{
    const bool isChroma = inComponent == 1 || inComponent == 2;
    const std::int32_t count = isChroma ? inPicture.ChromaWidth() : inPicture.width;
    ReadComponentRow(inPicture, inComponent, inRow, outRow, static_cast<std::size_t>(count));
}

void WidenChromaRow(const Picture& inPicture, const float* inRow, float* outRow)
{
    const auto last = static_cast<std::ptrdiff_t>(inPicture.ChromaWidth() - 1);
    const std::int32_t step = 1 << inPicture.shiftX;
    const double offset = ChromaOffsetX(inPicture);
    if (step == 2)
    {
        std::ptrdiff_t shifts[2];
        float weights[2];
        for (int parity = 0; parity < 2; ++parity)
        {
            const double place = (parity - offset) / 2;
            shifts[parity] = static_cast<std::ptrdiff_t>(std::floor(place));
            weights[parity] = static_cast<float>(place - std::floor(place));
        }
        HWY_DYNAMIC_DISPATCH(DoubleRow)
        (inRow, shifts, weights, outRow, static_cast<std::size_t>(inPicture.width));
        return;
    }
    for (std::int32_t phase = 0; phase < step; ++phase)
    {
        const double place = (phase - offset) / step;
        const auto shift = static_cast<std::ptrdiff_t>(std::floor(place));
        const auto weight = static_cast<float>(place - std::floor(place));
        std::ptrdiff_t i = 0;
        for (std::int32_t x = phase; x < inPicture.width; x += step, ++i)
        {
            const float left = inRow[std::clamp<std::ptrdiff_t>(i + shift, 0, last)];
            const float right = inRow[std::clamp<std::ptrdiff_t>(i + shift + 1, 0, last)];
            outRow[x] = left * (1.0F - weight) + right * weight;
        }
    }
}

const char* FloatRowsReadTarget()
{
    return HWY_DYNAMIC_DISPATCH(NameOfTarget)();
}

}

#endif
