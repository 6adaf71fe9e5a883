#include "ReferenceHost/ImageRoutines/FloatRows.h"

#include <algorithm>

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

HWY_EXPORT(ApplyRowPlan);
HWY_EXPORT(SubtractMatte);
HWY_EXPORT(Accumulate);
HWY_EXPORT(NameOfTarget);

void CopyMatrix(const Matrix3& inMatrix, bool& outHas, float (&outMatrix)[3][3])
{
    outHas = !IsIdentity(inMatrix);
    for (int i = 0; i < 9; ++i)
    {
        outMatrix[i / 3][i % 3] = static_cast<float>(inMatrix.m[i / 3][i % 3]);
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

const char* FloatRowsTarget()
{
    return HWY_DYNAMIC_DISPATCH(NameOfTarget)();
}

}

#endif
