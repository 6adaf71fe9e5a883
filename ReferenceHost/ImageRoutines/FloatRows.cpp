#include "ReferenceHost/ImageRoutines/FloatRows.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "ReferenceHost/ImageRoutines/Colour.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ReferenceHost/ImageRoutines/FloatRows.cpp"
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

// Bytes and words that widen to one vector of floats.
using NarrowBytes = hn::Rebind<std::uint8_t, Floats>;
using NarrowWords = hn::Rebind<std::uint16_t, Floats>;

// --- samples to floats

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

// --- arithmetic on rows

HWY_INLINE FloatVector Log2(FloatVector inX)
{
    const Floats d;
    const Ints di;
    // Mantissa in [sqrt(1/2), sqrt(2)) and the exponent that goes with it.
    const IntVector bits = hn::BitCast(di, inX);
    const IntVector exponent = hn::ShiftRight<23>(hn::Sub(bits, hn::Set(di, 0x3F3504F3)));
    const FloatVector mantissa = hn::BitCast(d, hn::Sub(bits, hn::ShiftLeft<23>(exponent)));
    const FloatVector one = hn::Set(d, 1.0F);
    const FloatVector s = hn::Div(hn::Sub(mantissa, one), hn::Add(mantissa, one));
    const FloatVector s2 = hn::Mul(s, s);
    // 2 / ln 2 times the series of the inverse hyperbolic tangent.
    FloatVector sum = hn::Set(d, 0.3205989F);
    sum = hn::Add(hn::Mul(sum, s2), hn::Set(d, 0.4121986F));
    sum = hn::Add(hn::Mul(sum, s2), hn::Set(d, 0.5770780F));
    sum = hn::Add(hn::Mul(sum, s2), hn::Set(d, 0.9617967F));
    sum = hn::Add(hn::Mul(sum, s2), hn::Set(d, 2.8853901F));
    return hn::Add(hn::ConvertTo(d, exponent), hn::Mul(sum, s));
}

HWY_INLINE FloatVector Exp2(FloatVector inX)
{
    const Floats d;
    const Ints di;
    const FloatVector x = hn::Min(hn::Max(inX, hn::Set(d, -126.0F)), hn::Set(d, 127.0F));
    const FloatVector floor = hn::Floor(hn::Add(x, hn::Set(d, 0.5F)));
    const IntVector whole = hn::ConvertTo(di, floor);
    const FloatVector f = hn::Sub(x, floor);
    FloatVector sum = hn::Set(d, 1.525273e-5F);
    sum = hn::Add(hn::Mul(sum, f), hn::Set(d, 1.540353e-4F));
    sum = hn::Add(hn::Mul(sum, f), hn::Set(d, 1.3333558e-3F));
    sum = hn::Add(hn::Mul(sum, f), hn::Set(d, 9.6181291e-3F));
    sum = hn::Add(hn::Mul(sum, f), hn::Set(d, 5.5504109e-2F));
    sum = hn::Add(hn::Mul(sum, f), hn::Set(d, 2.4022651e-1F));
    sum = hn::Add(hn::Mul(sum, f), hn::Set(d, 6.9314718e-1F));
    sum = hn::Add(hn::Mul(sum, f), hn::Set(d, 1.0F));
    const FloatVector power = hn::BitCast(d, hn::ShiftLeft<23>(hn::Add(whole, hn::Set(di, 127))));
    return hn::Mul(sum, power);
}

HWY_INLINE FloatVector Power(FloatVector inBase, float inExponent)
{
    return Exp2(hn::Mul(Log2(inBase), hn::Set(Floats(), inExponent)));
}

HWY_INLINE FloatVector Encoded(FloatVector inLinear)
{
    const Floats d;
    const FloatVector size = hn::Abs(inLinear);
    const FloatVector lifted =
        hn::Sub(hn::Mul(hn::Set(d, static_cast<float>(kCurveAlpha)), Power(size, 0.45F)),
                hn::Set(d, static_cast<float>(kCurveAlpha - 1.0)));
    const FloatVector foot = hn::Mul(size, hn::Set(d, 4.5F));
    const auto isFoot = hn::Lt(size, hn::Set(d, static_cast<float>(kCurveBeta)));
    return hn::CopySign(hn::IfThenElse(isFoot, foot, lifted), inLinear);
}

HWY_INLINE FloatVector Decoded(FloatVector inCoded)
{
    const Floats d;
    const FloatVector size = hn::Abs(inCoded);
    const FloatVector base = hn::Div(hn::Add(size, hn::Set(d, static_cast<float>(kCurveAlpha - 1.0))),
                                     hn::Set(d, static_cast<float>(kCurveAlpha)));
    const FloatVector foot = hn::Div(size, hn::Set(d, 4.5F));
    const auto isFoot = hn::Lt(size, hn::Set(d, static_cast<float>(4.5 * kCurveBeta)));
    return hn::CopySign(hn::IfThenElse(isFoot, foot, Power(base, static_cast<float>(1.0 / 0.45))), inCoded);
}

void ApplyCurve(bool inEncodes, float* ioRow, std::size_t inWidth)
{
    const Floats d;
    for (std::size_t x = 0; x < inWidth; x += hn::Lanes(d)) // rows are as long as a whole vector more
    {
        const FloatVector value = hn::LoadU(d, ioRow + x);
        hn::StoreU(inEncodes ? Encoded(value) : Decoded(value), d, ioRow + x);
    }
}

void ApplyMatrix(const float (&inMatrix)[3][3], const FloatRow& ioRow, std::size_t inWidth)
{
    const Floats d;
    FloatVector m[3][3];
    for (int i = 0; i < 9; ++i)
    {
        m[i / 3][i % 3] = hn::Set(d, inMatrix[i / 3][i % 3]);
    }
    for (std::size_t x = 0; x < inWidth; x += hn::Lanes(d))
    {
        const FloatVector a = hn::LoadU(d, ioRow.c[0] + x);
        const FloatVector b = hn::LoadU(d, ioRow.c[1] + x);
        const FloatVector c = hn::LoadU(d, ioRow.c[2] + x);
        for (int i = 0; i < 3; ++i)
        {
            const FloatVector sum =
                hn::Add(hn::Add(hn::Mul(m[i][0], a), hn::Mul(m[i][1], b)), hn::Mul(m[i][2], c));
            hn::StoreU(sum, d, ioRow.c[i] + x);
        }
    }
}

void MultiplyByAlpha(const FloatRow& ioRow, std::size_t inWidth)
{
    const Floats d;
    for (std::size_t x = 0; x < inWidth; x += hn::Lanes(d))
    {
        const FloatVector alpha = hn::LoadU(d, ioRow.c[3] + x);
        for (int i = 0; i < 3; ++i)
        {
            hn::StoreU(hn::Mul(hn::LoadU(d, ioRow.c[i] + x), alpha), d, ioRow.c[i] + x);
        }
    }
}

void DivideByAlpha(const FloatRow& ioRow, std::size_t inWidth)
{
    const Floats d;
    for (std::size_t x = 0; x < inWidth; x += hn::Lanes(d))
    {
        const FloatVector alpha = hn::LoadU(d, ioRow.c[3] + x);
        const auto isClear = hn::Eq(alpha, hn::Zero(d));
        for (int i = 0; i < 3; ++i)
        {
            const FloatVector quotient = hn::Div(hn::LoadU(d, ioRow.c[i] + x), alpha);
            hn::StoreU(hn::IfThenElse(isClear, hn::Zero(d), quotient), d, ioRow.c[i] + x);
        }
    }
}

void Scale(float inGain, float* ioRow, std::size_t inWidth)
{
    const Floats d;
    for (std::size_t x = 0; x < inWidth; x += hn::Lanes(d))
    {
        hn::StoreU(hn::Mul(hn::LoadU(d, ioRow + x), hn::Set(d, inGain)), d, ioRow + x);
    }
}

void ApplyRowPlan(const RowPlan& inPlan, const FloatRow& ioRow, std::size_t inWidth)
{
    if (inPlan.multipliesFirst)
    {
        MultiplyByAlpha(ioRow, inWidth);
    }
    for (int i = 0; i < 3 && inPlan.gain != 1.0F; ++i)
    {
        Scale(inPlan.gain, ioRow.c[i], inWidth);
    }
    if (inPlan.dropsAlpha)
    {
        std::fill(ioRow.c[3], ioRow.c[3] + inWidth, 1.0F);
    }
    if (inPlan.divides)
    {
        DivideByAlpha(ioRow, inWidth);
    }
    if (inPlan.hasMatrix)
    {
        ApplyMatrix(inPlan.matrix, ioRow, inWidth);
    }
    for (int i = 0; i < 3 && (inPlan.decodes || inPlan.encodes); ++i)
    {
        ApplyCurve(inPlan.encodes, ioRow.c[i], inWidth);
    }
    if (inPlan.hasSecondMatrix)
    {
        ApplyMatrix(inPlan.secondMatrix, ioRow, inWidth);
    }
    if (inPlan.multipliesLast)
    {
        MultiplyByAlpha(ioRow, inWidth);
    }
}

void SubtractMatte(const FloatRow& ioRow, const float* inMatte, std::size_t inWidth)
{
    const Floats d;
    for (std::size_t x = 0; x < inWidth; x += hn::Lanes(d))
    {
        const FloatVector rest = hn::Sub(hn::Set(d, 1.0F), hn::LoadU(d, ioRow.c[3] + x));
        for (int i = 0; i < 3; ++i)
        {
            const FloatVector colour = hn::LoadU(d, ioRow.c[i] + x);
            hn::StoreU(hn::Sub(colour, hn::Mul(hn::Set(d, inMatte[i]), rest)), d, ioRow.c[i] + x);
        }
    }
    DivideByAlpha(ioRow, inWidth);
}

void Accumulate(const float* inRow, float inWeight, bool inIsFirst, float* ioSum, std::size_t inCount)
{
    const Floats d;
    const FloatVector weight = hn::Set(d, inWeight);
    for (std::size_t x = 0; x < inCount; x += hn::Lanes(d))
    {
        const FloatVector part = hn::Mul(hn::LoadU(d, inRow + x), weight);
        hn::StoreU(inIsFirst ? part : hn::Add(hn::LoadU(d, ioSum + x), part), d, ioSum + x);
    }
}

// --- chroma between full and half width

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

float Between(const float* inRow, std::ptrdiff_t inLeft, std::ptrdiff_t inLast, float inWeight)
{
    const float left = inRow[std::clamp<std::ptrdiff_t>(inLeft, 0, inLast)];
    const float right = inRow[std::clamp<std::ptrdiff_t>(inLeft + 1, 0, inLast)];
    return left * (1.0F - inWeight) + right * inWeight;
}

// The even and the odd pixels of a stretch lie between two samples each, from sample i + inShifts on, at inWeights.
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

// --- floats to samples

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
HWY_EXPORT(ApplyRowPlan);
HWY_EXPORT(SubtractMatte);
HWY_EXPORT(Accumulate);
HWY_EXPORT(HalveRow);
HWY_EXPORT(DoubleRow);
HWY_EXPORT(WritePlaneRow);
HWY_EXPORT(WritePacked4Row);
HWY_EXPORT(NameOfTarget);

// Room behind a row for the kernels' last whole vector.
constexpr std::ptrdiff_t kSpare = 32;

FloatRange FloatRangeOf(const ComponentRange& inRange)
{
    return {static_cast<float>(inRange.offset), static_cast<float>(1.0 / inRange.scale)};
}

ComponentRange ComponentRangeOf(const Picture& inPicture, int inComponent)
{
    return inComponent == 0   ? LumaRange(inPicture)
           : inComponent == 3 ? AlphaRange(inPicture)
                              : ChromaRange(inPicture);
}

// The places of U, Y, V, Y ... in the twelve ten-bit fields of a v210 group.
constexpr int kV210Luma[6] = {1, 3, 5, 7, 9, 11};
constexpr int kV210Chroma[2][3] = {{0, 4, 8}, {2, 6, 10}};

void UnpackV210Group(const unsigned char* inGroup, std::uint32_t (&outFields)[12])
{
    for (int i = 0; i < 4; ++i)
    {
        std::uint32_t word = 0;
        std::memcpy(&word, inGroup + i * 4, 4);
        for (int field = 0; field < 3; ++field)
        {
            outFields[i * 3 + field] = (word >> (field * 10)) & 1023U;
        }
    }
}

void ReadV210Row(const Picture& inPicture, int inComponent, const unsigned char* inRow, float* outRow,
                 std::size_t inCount)
{
    const FloatRange range = FloatRangeOf(ComponentRangeOf(inPicture, inComponent));
    const std::size_t perGroup = inComponent == 0 ? 6 : 3;
    const int* places = inComponent == 0 ? kV210Luma : kV210Chroma[inComponent - 1];
    for (std::size_t x = 0; x < inCount; x += perGroup)
    {
        std::uint32_t fields[12];
        UnpackV210Group(inRow + x / perGroup * 16, fields);
        for (std::size_t i = 0; i < std::min(perGroup, inCount - x); ++i)
        {
            outRow[x + i] = (static_cast<float>(fields[places[i]]) - range.offset) * range.factor;
        }
    }
}

// One component of one row in memory, at its own resolution.
void ReadComponentRow(const Picture& inPicture, int inComponent, std::int32_t inRow, float* outRow,
                      std::size_t inCount)
{
    const FloatRange range = FloatRangeOf(ComponentRangeOf(inPicture, inComponent));
    const bool isChroma = inComponent == 1 || inComponent == 2;
    switch (inPicture.storage)
    {
    case Storage::kV210:
        ReadV210Row(inPicture, inComponent, inPicture.Row(0, inRow), outRow, inCount);
        return;
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

void CopyMatrix(const Matrix3& inMatrix, bool& outHas, float (&outMatrix)[3][3])
{
    outHas = !IsIdentity(inMatrix);
    for (int i = 0; i < 9; ++i)
    {
        outMatrix[i / 3][i % 3] = static_cast<float>(inMatrix.m[i / 3][i % 3]);
    }
}

void WriteV210Fields(const Picture& inPicture, int inComponent, const float* inRow, std::size_t inCount,
                     unsigned char* outRow)
{
    const ComponentRange range = ComponentRangeOf(inPicture, inComponent);
    const std::size_t perGroup = inComponent == 0 ? 6 : 3;
    const int* places = inComponent == 0 ? kV210Luma : kV210Chroma[inComponent - 1];
    for (std::size_t x = 0; x < (inCount + perGroup - 1) / perGroup * perGroup; ++x)
    {
        const float code = inRow[std::min(x, inCount - 1)] * static_cast<float>(range.scale) +
                           static_cast<float>(range.offset + 0.5);
        const auto field = static_cast<std::uint32_t>(code > 0.0F ? std::min(code, 1023.5F) : 0.0F);
        const int place = places[x % perGroup];
        unsigned char* target = outRow + x / perGroup * 16 + place / 3 * 4;
        std::uint32_t word = 0;
        std::memcpy(&word, target, 4);
        const int shift = place % 3 * 10;
        word = (word & ~(0x3FFU << shift) & 0x3FFFFFFFU) | (field << shift);
        std::memcpy(target, &word, 4);
    }
}

void WriteComponentRow(const Picture& inPicture, int inComponent, std::int32_t inRow, const float* inValues,
                       std::size_t inCount)
{
    const ComponentRange range = ComponentRangeOf(inPicture, inComponent);
    const bool isChroma = inComponent == 1 || inComponent == 2;
    int plane = inComponent;
    std::size_t first = 0;
    std::size_t step = 1;
    if (inPicture.storage == Storage::kV210)
    {
        WriteV210Fields(inPicture, inComponent, inValues, inCount, inPicture.Row(0, inRow));
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

RowPlan PlanFor(const Picture& inSource, const Picture& inTarget)
{
    RowPlan plan;
    const bool isRecoded = inSource.transfer != inTarget.transfer;
    bool isPremultiplied = inSource.alpha == PictureAlpha::kPremultiplied;
    plan.dropsAlpha = !inTarget.HasAlpha();
    if (inTarget.HasAlpha() && isPremultiplied && (isRecoded || inTarget.alpha == PictureAlpha::kStraight))
    {
        plan.divides = true;
        isPremultiplied = false;
    }
    if (isRecoded)
    {
        CopyMatrix(ToRGB(inSource.matrix), plan.hasMatrix, plan.matrix);
        plan.decodes = inTarget.transfer == Transfer::kLinear;
        plan.encodes = !plan.decodes;
        CopyMatrix(FromRGB(inTarget.matrix), plan.hasSecondMatrix, plan.secondMatrix);
    }
    else
    {
        CopyMatrix(BetweenModels(inSource.matrix, inTarget.matrix), plan.hasMatrix, plan.matrix);
    }
    plan.multipliesLast =
        inTarget.alpha == PictureAlpha::kPremultiplied && !isPremultiplied && inSource.HasAlpha();
    return plan;
}

void ReadFloatRow(const Picture& inPicture, std::int32_t inY, const FloatRow& outRow, float* ioScratch)
{
    const auto width = static_cast<std::size_t>(inPicture.width);
    if (inPicture.storage == Storage::kPacked4)
    {
        FloatRange ranges[4];
        for (int i = 0; i < 4; ++i)
        {
            ranges[i] = FloatRangeOf(ComponentRangeOf(inPicture, i));
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

void ApplyPlan(const RowPlan& inPlan, const FloatRow& ioRow, std::size_t inWidth)
{
    HWY_DYNAMIC_DISPATCH(ApplyRowPlan)(inPlan, ioRow, inWidth);
}

void TakeMatteAway(const FloatRow& ioRow, const float inMatte[3], std::size_t inWidth)
{
    HWY_DYNAMIC_DISPATCH(SubtractMatte)(ioRow, inMatte, inWidth);
}

void AccumulateRow(const float* inRow, float inWeight, bool inIsFirst, float* ioSum, std::size_t inCount)
{
    HWY_DYNAMIC_DISPATCH(Accumulate)(inRow, inWeight, inIsFirst, ioSum, inCount);
}

void WriteFloatRow(const Picture& inPicture, std::int32_t inY, const FloatRow& inRow)
{
    const auto width = static_cast<std::size_t>(inPicture.width);
    if (inPicture.storage == Storage::kPacked4)
    {
        ComponentRange ranges[4];
        for (int i = 0; i < 4; ++i)
        {
            ranges[i] = ComponentRangeOf(inPicture, i);
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
    ReadComponentRow(inSource, 0, inY, ioScratch, width);
    WriteComponentRow(inTarget, 0, inY, ioScratch, width);
    CompletePackedGroup(inTarget, inY);
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

const char* FloatRowsTarget()
{
    return HWY_DYNAMIC_DISPATCH(NameOfTarget)();
}

}

#endif
