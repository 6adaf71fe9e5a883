#include "ReferenceHost/ImageRoutines/FloatRows.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "ReferenceHost/ImageRoutines/Colour.h"
#include "ReferenceHost/ImageRoutines/V210Rows.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ReferenceHost/ImageRoutines/FloatRowsWrite.cpp"
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

struct Codes
{
    FloatVector scale, offset, most;
};

HWY_INLINE Codes CodesFor(const ComponentRange& inRange, int inBits)
{
    const Floats d;
    return {hn::Set(d, static_cast<float>(inRange.scale)),
            hn::Set(d, static_cast<float>(inRange.offset + 0.5)),
            hn::Set(d, static_cast<float>((1 << inBits) - 1) + 0.5F)};
}

// The half that rounds is in the offset; what is no number becomes 0, because a comparison with it is false.
HWY_INLINE IntVector CodeOf(const Codes& inCodes, FloatVector inValue)
{
    const Floats d;
    const FloatVector code = hn::Add(hn::Mul(inValue, inCodes.scale), inCodes.offset);
    const FloatVector positive = hn::IfThenElse(hn::Gt(code, hn::Zero(d)), code, hn::Zero(d));
    return hn::ConvertTo(Ints(), hn::IfThenElse(hn::Lt(positive, inCodes.most), positive, inCodes.most));
}

int OneCode(const ComponentRange& inRange, int inBits, float inValue)
{
    const float code = inValue * static_cast<float>(inRange.scale) + static_cast<float>(inRange.offset + 0.5);
    const float most = static_cast<float>((1 << inBits) - 1) + 0.5F;
    const float positive = code > 0.0F ? code : 0.0F;
    return static_cast<int>(positive < most ? positive : most);
}

template <typename T>
void NarrowPlane(const float* inRow, const ComponentRange& inRange, int inBits, int inLowBits, T* outRow,
                 std::size_t inStep, std::size_t inCount)
{
    const Floats d;
    const hn::Rebind<T, Floats> narrow;
    const Codes codes = CodesFor(inRange, inBits);
    std::size_t i = 0;
    for (; inStep == 1 && i + hn::Lanes(d) <= inCount; i += hn::Lanes(d))
    {
        const IntVector code = hn::ShiftLeftSame(CodeOf(codes, hn::LoadU(d, inRow + i)), inLowBits);
        hn::StoreU(hn::DemoteTo(narrow, code), narrow, outRow + i);
    }
    for (; i < inCount; ++i)
    {
        outRow[i * inStep] = static_cast<T>(OneCode(inRange, inBits, inRow[i]) << inLowBits);
    }
}

template <typename T>
void NarrowPacked4(const FloatRow& inRow, const ComponentRange* inRanges, int inBits, T* outRow,
                   std::size_t inCount)
{
    const Floats d;
    const hn::Rebind<T, Floats> narrow;
    const Codes codes[4] = {CodesFor(inRanges[0], inBits), CodesFor(inRanges[1], inBits),
                            CodesFor(inRanges[2], inBits), CodesFor(inRanges[3], inBits)};
    std::size_t x = 0;
    for (; x + hn::Lanes(d) <= inCount; x += hn::Lanes(d))
    {
        hn::Vec<decltype(narrow)> part[4];
        for (int i = 0; i < 4; ++i)
        {
            part[kPackedPlace[i]] = hn::DemoteTo(narrow, CodeOf(codes[i], hn::LoadU(d, inRow.c[i] + x)));
        }
        hn::StoreInterleaved4(part[0], part[1], part[2], part[3], narrow, outRow + x * 4);
    }
    for (; x < inCount; ++x)
    {
        for (int i = 0; i < 4; ++i)
        {
            outRow[x * 4 + static_cast<std::size_t>(kPackedPlace[i])] =
                static_cast<T>(OneCode(inRanges[i], inBits, inRow.c[i][x]));
        }
    }
}

void JoinPacked4(const FloatRow& inRow, float* outRow, std::size_t inCount)
{
    const Floats d;
    std::size_t x = 0;
    for (; x + hn::Lanes(d) <= inCount; x += hn::Lanes(d))
    {
        hn::StoreInterleaved4(hn::LoadU(d, inRow.c[2] + x), hn::LoadU(d, inRow.c[1] + x),
                              hn::LoadU(d, inRow.c[0] + x), hn::LoadU(d, inRow.c[3] + x), d, outRow + x * 4);
    }
    for (; x < inCount; ++x)
    {
        for (int i = 0; i < 4; ++i)
        {
            outRow[x * 4 + static_cast<std::size_t>(kPackedPlace[i])] = inRow.c[i][x];
        }
    }
}

void WritePlaneRow(const Picture& inPicture, const ComponentRange& inRange, const float* inRow,
                   std::size_t inFirst, std::size_t inStep, unsigned char* outRow, std::size_t inCount)
{
    switch (inPicture.sample)
    {
    case Sample::kByte:
        NarrowPlane(inRow, inRange, inPicture.bits, 0, outRow + inFirst, inStep, inCount);
        break;
    case Sample::kWord:
        NarrowPlane(inRow, inRange, inPicture.bits, inPicture.lowZeroBits,
                    reinterpret_cast<std::uint16_t*>(outRow) + inFirst, inStep, inCount);
        break;
    default: std::memcpy(outRow, inRow, inCount * sizeof(float)); break;
    }
}

void WritePacked4Row(const Picture& inPicture, const ComponentRange* inRanges, const FloatRow& inRow,
                     unsigned char* outRow, std::size_t inCount)
{
    switch (inPicture.sample)
    {
    case Sample::kByte: NarrowPacked4(inRow, inRanges, 8, outRow, inCount); break;
    case Sample::kWord:
        NarrowPacked4(inRow, inRanges, 16, reinterpret_cast<std::uint16_t*>(outRow), inCount);
        break;
    default: JoinPacked4(inRow, reinterpret_cast<float*>(outRow), inCount); break;
    }
}

float FourTaps(const float* inRow, std::ptrdiff_t inFirst, std::ptrdiff_t inLast, const float* inWeights)
{
    float sum = 0.0F;
    for (std::ptrdiff_t tap = 0; tap < 4; ++tap)
    {
        const std::ptrdiff_t at = inFirst + tap;
        const std::ptrdiff_t mirrored = at < 0 ? -1 - at : at > inLast ? 2 * inLast + 1 - at : at;
        sum += inWeights[tap] * inRow[std::clamp<std::ptrdiff_t>(mirrored, 0, inLast)];
    }
    return sum;
}

// inWeights: of the full-width samples 2x - 1 to 2x + 2.
void HalveRow(const float* inFull, const float* inWeights, float* outRow, std::size_t inFullWidth)
{
    const Floats d;
    const auto last = static_cast<std::ptrdiff_t>(inFullWidth) - 1;
    const std::size_t count = (inFullWidth + 1) / 2;
    const std::size_t step = hn::Lanes(d);
    outRow[0] = FourTaps(inFull, -1, last, inWeights);
    std::size_t x = 1;
    for (; x + step <= count && (x + step) * 2 < inFullWidth; x += step)
    {
        FloatVector before;
        FloatVector own;
        FloatVector after;
        FloatVector next;
        hn::LoadInterleaved2(d, inFull + x * 2 - 1, before, own);
        hn::LoadInterleaved2(d, inFull + x * 2 + 1, after, next);
        FloatVector sum = hn::Add(hn::Zero(d), hn::Mul(hn::Set(d, inWeights[0]), before));
        sum = hn::Add(sum, hn::Mul(hn::Set(d, inWeights[1]), own));
        sum = hn::Add(sum, hn::Mul(hn::Set(d, inWeights[2]), after));
        sum = hn::Add(sum, hn::Mul(hn::Set(d, inWeights[3]), next));
        hn::StoreU(sum, d, outRow + x);
    }
    for (; x < count; ++x)
    {
        outRow[x] = FourTaps(inFull, static_cast<std::ptrdiff_t>(x) * 2 - 1, last, inWeights);
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

HWY_EXPORT(WritePlaneRow);
HWY_EXPORT(WritePacked4Row);
HWY_EXPORT(HalveRow);
HWY_EXPORT(NameOfTarget);

void WriteComponentRow(const Picture& inPicture, int inComponent, std::int32_t inRow, const float* inValues,
                       std::size_t inCount)
{
    const ComponentRange range = RangeOf(inPicture, inComponent);
    const bool isChroma = inComponent == 1 || inComponent == 2;
    int plane = inComponent;
    std::size_t first = 0;
    std::size_t step = 1;
    if (inPicture.storage == Storage::kV210)
    {
        WriteV210Row(inPicture, inComponent, inRow, inValues, inCount);
        return;
    }
    if (inPicture.storage == Storage::kYUYV || inPicture.storage == Storage::kUYVY)
    {
        const std::size_t luma = inPicture.storage == Storage::kYUYV ? 0 : 1;
        plane = 0;
        first = isChroma ? 1 - luma + (inComponent == 2 ? 2 : 0) : luma;
        step = isChroma ? 4 : 2;
    }
    else if (inPicture.storage == Storage::kSemiPlanar && isChroma)
    {
        plane = 1;
        first = static_cast<std::size_t>(inComponent - 1);
        step = 2;
    }
    HWY_DYNAMIC_DISPATCH(WritePlaneRow)
    (inPicture, range, inValues, first, step, inPicture.Row(plane, inRow), inCount);
}

// A packed group has places for two pixels; those beyond an odd width repeat the last.
void CompletePackedGroup(const Picture& inPicture, std::int32_t inY)
{
    const bool isPair = inPicture.storage == Storage::kYUYV || inPicture.storage == Storage::kUYVY;
    if (isPair && inPicture.width % 2 != 0)
    {
        unsigned char* last = inPicture.Row(0, inY) + static_cast<std::ptrdiff_t>(inPicture.width - 1) * 2 +
                              (inPicture.storage == Storage::kYUYV ? 0 : 1);
        last[2] = last[0];
    }
}

}

void WriteFloatRow(const Picture& inPicture, std::int32_t inY, const FloatRow& inRow)
{
    const auto width = static_cast<std::size_t>(inPicture.width);
    if (inPicture.storage == Storage::kPacked4)
    {
        ComponentRange ranges[4];
        for (int i = 0; i < 4; ++i)
        {
            ranges[i] = RangeOf(inPicture, i);
        }
        HWY_DYNAMIC_DISPATCH(WritePacked4Row)(inPicture, ranges, inRow, inPicture.Row(0, inY), width);
        return;
    }
    if (inPicture.isGray)
    {
        for (int i = 0; i < 3; ++i)
        {
            AccumulateRow(inRow.c[i], static_cast<float>(kGrayWeights[i]), i == 0, inRow.c[0], width);
        }
    }
    const bool isWhole = !inPicture.IsSubsampled() && !inPicture.isGray;
    for (int component = 0; component < (isWhole ? 3 : 1); ++component)
    {
        WriteComponentRow(inPicture, component, inY, inRow.c[component], width);
    }
    if (inPicture.HasAlpha())
    {
        WriteComponentRow(inPicture, 3, inY, inRow.c[3], width);
    }
    CompletePackedGroup(inPicture, inY);
}

void CopyLumaRow(const Picture& inSource, const Picture& inTarget, std::int32_t inY, float* ioScratch)
{
    const auto width = static_cast<std::size_t>(inSource.width);
    ReadMemoryRow(inSource, 0, inY, ioScratch);
    WriteComponentRow(inTarget, 0, inY, ioScratch, width);
    CompletePackedGroup(inTarget, inY);
}

void WriteChromaRow(const Picture& inPicture, std::int32_t inChromaRow, const float* inU, const float* inV)
{
    const auto count = static_cast<std::size_t>(inPicture.ChromaWidth());
    WriteComponentRow(inPicture, 1, inChromaRow, inU, count);
    WriteComponentRow(inPicture, 2, inChromaRow, inV, count);
}

void ShrinkChromaRow(const Picture& inTarget, const float* inFull, float* outRow)
{
    const std::int32_t step = 1 << inTarget.shiftX;
    const double offset = ChromaOffsetX(inTarget);
    const auto first = static_cast<std::int32_t>(std::floor(offset)) - step + 1;
    const std::int32_t taps = 2 * step;
    float weights[8] = {};
    for (std::int32_t tap = 0; tap < taps; ++tap)
    {
        weights[tap] = static_cast<float>(std::max(0.0, 1.0 - std::fabs(first + tap - offset) / step) / step);
    }
    if (step == 2)
    {
        HWY_DYNAMIC_DISPATCH(HalveRow)(inFull, weights, outRow, static_cast<std::size_t>(inTarget.width));
        return;
    }
    const std::int32_t last = inTarget.width - 1;
    for (std::int32_t x = 0; x < inTarget.ChromaWidth(); ++x)
    {
        float sum = 0.0F;
        for (std::int32_t tap = 0; tap < taps; ++tap)
        {
            const std::int32_t at = x * step + first + tap;
            const std::int32_t mirrored = at < 0 ? -1 - at : at > last ? 2 * last + 1 - at : at;
            sum += weights[tap] * inFull[std::clamp(mirrored, 0, last)];
        }
        outRow[x] = sum;
    }
}

const char* FloatRowsWriteTarget()
{
    return HWY_DYNAMIC_DISPATCH(NameOfTarget)();
}

}

#endif
