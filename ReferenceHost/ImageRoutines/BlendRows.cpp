#include "ReferenceHost/ImageRoutines/BlendRows.h"

#include <cstring>

#include "IR/BlendModes.h"
#include "ReferenceHost/ImageRoutines/Dissolve.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ReferenceHost/ImageRoutines/BlendRows.cpp"
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
using Words = hn::RebindToUnsigned<Floats>;
using FloatVector = hn::Vec<Floats>;
using WordVector = hn::Vec<Words>;

// Smaller differences are taken for the work of rounding.
constexpr float kNoDifference = 1.0F / 262144.0F;

struct Colour
{
    FloatVector c[3];
};

struct Pixels
{
    Colour colour;
    FloatVector alpha;
};

HWY_INLINE FloatVector Number(float inValue)
{
    return hn::Set(Floats(), inValue);
}

HWY_INLINE FloatVector Unit(FloatVector inValue)
{
    return hn::Min(hn::Max(inValue, hn::Zero(Floats())), Number(1.0F));
}

HWY_INLINE FloatVector Twice(FloatVector inValue)
{
    return hn::Add(inValue, inValue);
}

HWY_INLINE FloatVector Positive(FloatVector inValue)
{
    return hn::Max(inValue, hn::Zero(Floats()));
}

// 0 where it would be divided by 0.
HWY_INLINE FloatVector Ratio(FloatVector inOver, FloatVector inUnder)
{
    const auto isNothing = hn::Eq(inUnder, hn::Zero(Floats()));
    return hn::IfThenElse(isNothing, hn::Zero(Floats()), hn::Div(inOver, inUnder));
}

HWY_INLINE FloatVector Screen(FloatVector inCb, FloatVector inCs)
{
    return hn::Sub(hn::Add(inCb, inCs), hn::Mul(inCb, inCs));
}

HWY_INLINE FloatVector HardLight(FloatVector inCb, FloatVector inCs)
{
    const FloatVector dark = Twice(hn::Mul(inCb, inCs));
    const FloatVector light = Screen(inCb, hn::Sub(Twice(inCs), Number(1.0F)));
    return hn::IfThenElse(hn::Le(inCs, Number(0.5F)), dark, light);
}

HWY_INLINE FloatVector Burn(FloatVector inCb, FloatVector inCs)
{
    const FloatVector one = Number(1.0F);
    const FloatVector burnt = hn::Sub(one, hn::Min(one, hn::Div(hn::Sub(one, inCb), inCs)));
    const FloatVector known = hn::IfThenElse(hn::Le(inCs, hn::Zero(Floats())), hn::Zero(Floats()), burnt);
    return hn::IfThenElse(hn::Ge(inCb, Number(1.0F - kNoDifference)), one, known);
}

HWY_INLINE FloatVector Dodge(FloatVector inCb, FloatVector inCs)
{
    const FloatVector one = Number(1.0F);
    const FloatVector dodged = hn::Min(one, hn::Div(inCb, hn::Sub(one, inCs)));
    const FloatVector known = hn::IfThenElse(hn::Ge(inCs, one), one, dodged);
    return hn::IfThenElse(hn::Le(inCb, Number(kNoDifference)), hn::Zero(Floats()), known);
}

HWY_INLINE FloatVector SoftLight(FloatVector inCb, FloatVector inCs)
{
    const FloatVector one = Number(1.0F);
    const FloatVector slope = hn::Sub(Twice(inCs), one);
    const FloatVector dark = hn::Add(inCb, hn::Mul(slope, hn::Mul(inCb, hn::Sub(one, inCb))));
    FloatVector cubic = hn::Sub(hn::Mul(Number(16.0F), inCb), Number(12.0F));
    cubic = hn::Mul(hn::Add(hn::Mul(cubic, inCb), Number(4.0F)), inCb);
    const FloatVector d = hn::IfThenElse(hn::Le(inCb, Number(0.25F)), cubic, hn::Sqrt(inCb));
    const FloatVector light = hn::Add(inCb, hn::Mul(slope, hn::Sub(d, inCb)));
    return hn::IfThenElse(hn::Le(inCs, Number(0.5F)), dark, light);
}

HWY_INLINE FloatVector VividLight(FloatVector inCb, FloatVector inCs)
{
    const FloatVector twice = Twice(inCs);
    return hn::IfThenElse(hn::Le(inCs, Number(0.5F)), Burn(inCb, twice),
                          Dodge(inCb, hn::Sub(twice, Number(1.0F))));
}

HWY_INLINE FloatVector PinLight(FloatVector inCb, FloatVector inCs)
{
    const FloatVector twice = Twice(inCs);
    return hn::IfThenElse(hn::Le(inCs, Number(0.5F)), hn::Min(inCb, twice),
                          hn::Max(inCb, hn::Sub(twice, Number(1.0F))));
}

HWY_INLINE FloatVector HardMix(FloatVector inCb, FloatVector inCs)
{
    const auto isBelow = hn::Lt(hn::Add(inCb, inCs), Number(1.0F - kNoDifference));
    return hn::IfThenElse(isBelow, hn::Zero(Floats()), Number(1.0F));
}

HWY_INLINE FloatVector Divided(FloatVector inCb, FloatVector inCs)
{
    const FloatVector one = Number(1.0F);
    return hn::IfThenElse(hn::Le(inCs, Number(kNoDifference)), one, hn::Min(one, hn::Div(inCb, inCs)));
}

HWY_INLINE FloatVector Separable(std::uint32_t inMode, FloatVector inCb, FloatVector inCs)
{
    const FloatVector one = Number(1.0F);
    const FloatVector sum = hn::Add(inCb, inCs);
    switch (inMode)
    {
    case kIR_Blend_ColorBurn: return Burn(Unit(inCb), Unit(inCs));
    case kIR_Blend_ColorDodge: return Dodge(Unit(inCb), Unit(inCs));
    case kIR_Blend_Darken: return hn::Min(inCb, inCs);
    case kIR_Blend_Difference: return hn::Abs(hn::Sub(inCb, inCs));
    case kIR_Blend_Divide: return Divided(Unit(inCb), Unit(inCs));
    case kIR_Blend_Exclusion: return hn::Sub(sum, Twice(hn::Mul(inCb, inCs)));
    case kIR_Blend_HardLight: return HardLight(inCb, inCs);
    case kIR_Blend_HardMix: return HardMix(Unit(inCb), Unit(inCs));
    case kIR_Blend_Lighten: return hn::Max(inCb, inCs);
    case kIR_Blend_LinearBurn: return Positive(hn::Sub(sum, one));
    case kIR_Blend_LinearDodge: return sum;
    case kIR_Blend_LinearLight: return Positive(hn::Sub(hn::Add(sum, inCs), one));
    case kIR_Blend_Multiply: return hn::Mul(inCb, inCs);
    case kIR_Blend_Overlay: return HardLight(inCs, inCb);
    case kIR_Blend_PinLight: return PinLight(inCb, inCs);
    case kIR_Blend_Screen: return Screen(inCb, inCs);
    case kIR_Blend_SoftLight: return SoftLight(Unit(inCb), Unit(inCs));
    case kIR_Blend_Subtract: return Positive(hn::Sub(inCb, inCs));
    case kIR_Blend_VividLight: return VividLight(Unit(inCb), Unit(inCs));
    default: return inCs;
    }
}

HWY_INLINE FloatVector Lum(const Colour& inColour)
{
    const FloatVector red = hn::Mul(Number(0.3F), inColour.c[0]);
    const FloatVector green = hn::Mul(Number(0.59F), inColour.c[1]);
    return hn::Add(hn::Add(red, green), hn::Mul(Number(0.11F), inColour.c[2]));
}

HWY_INLINE FloatVector Least(const Colour& inColour)
{
    return hn::Min(hn::Min(inColour.c[0], inColour.c[1]), inColour.c[2]);
}

HWY_INLINE FloatVector Greatest(const Colour& inColour)
{
    return hn::Max(hn::Max(inColour.c[0], inColour.c[1]), inColour.c[2]);
}

HWY_INLINE FloatVector Sat(const Colour& inColour)
{
    return hn::Sub(Greatest(inColour), Least(inColour));
}

HWY_INLINE Colour SetSat(const Colour& inColour, FloatVector inSat)
{
    const FloatVector least = Least(inColour);
    const FloatVector range = hn::Sub(Greatest(inColour), least);
    const auto isGrey = hn::Lt(range, Number(kNoDifference));
    const FloatVector stretch = hn::IfThenElse(isGrey, hn::Zero(Floats()), hn::Div(inSat, range));
    Colour result;
    for (int i = 0; i < 3; ++i)
    {
        result.c[i] = hn::Mul(hn::Sub(inColour.c[i], least), stretch);
    }
    return result;
}

// Draws every component towards inLum by the factor, where told.
template <typename Mask>
HWY_INLINE void DrawIn(Colour& ioColour, FloatVector inLum, FloatVector inFactor, Mask inWhere)
{
    for (auto& component : ioColour.c)
    {
        const FloatVector drawn = hn::Add(inLum, hn::Mul(hn::Sub(component, inLum), inFactor));
        component = hn::IfThenElse(inWhere, drawn, component);
    }
}

HWY_INLINE Colour SetLum(Colour inColour, FloatVector inLum)
{
    const FloatVector one = Number(1.0F);
    const FloatVector step = hn::Sub(inLum, Lum(inColour));
    for (auto& component : inColour.c)
    {
        component = hn::Add(component, step);
    }
    const FloatVector least = Least(inColour);
    const FloatVector greatest = Greatest(inColour);
    DrawIn(inColour, inLum, hn::Div(inLum, hn::Sub(inLum, least)), hn::Lt(least, hn::Zero(Floats())));
    DrawIn(inColour, inLum, hn::Div(hn::Sub(one, inLum), hn::Sub(greatest, inLum)), hn::Gt(greatest, one));
    return inColour;
}

template <typename Mask>
HWY_INLINE Colour Choose(Mask inMask, const Colour& inYes, const Colour& inNo)
{
    return {{hn::IfThenElse(inMask, inYes.c[0], inNo.c[0]), hn::IfThenElse(inMask, inYes.c[1], inNo.c[1]),
             hn::IfThenElse(inMask, inYes.c[2], inNo.c[2])}};
}

HWY_INLINE Colour UnitColour(const Colour& inColour)
{
    return {{Unit(inColour.c[0]), Unit(inColour.c[1]), Unit(inColour.c[2])}};
}

HWY_INLINE Colour Blended(std::uint32_t inMode, const Colour& inCb, const Colour& inCs)
{
    const FloatVector brighter = hn::Sub(Lum(inCs), Lum(inCb));
    switch (inMode)
    {
    case kIR_Blend_DarkerColor: return Choose(hn::Lt(brighter, Number(-kNoDifference)), inCs, inCb);
    case kIR_Blend_LighterColor: return Choose(hn::Gt(brighter, Number(kNoDifference)), inCs, inCb);
    case kIR_Blend_Color: return SetLum(UnitColour(inCs), Lum(UnitColour(inCb)));
    case kIR_Blend_Luminosity: return SetLum(UnitColour(inCb), Lum(UnitColour(inCs)));
    case kIR_Blend_Hue:
    {
        const Colour cb = UnitColour(inCb);
        return SetLum(SetSat(UnitColour(inCs), Sat(cb)), Lum(cb));
    }
    case kIR_Blend_Saturation:
    {
        const Colour cb = UnitColour(inCb);
        return SetLum(SetSat(cb, Sat(UnitColour(inCs))), Lum(cb));
    }
    default:
        return {{Separable(inMode, inCb.c[0], inCs.c[0]), Separable(inMode, inCb.c[1], inCs.c[1]),
                 Separable(inMode, inCb.c[2], inCs.c[2])}};
    }
}

HWY_INLINE WordVector Thresholds(std::int32_t inX, std::int32_t inY)
{
    const Words d;
    const WordVector x = hn::Iota(d, static_cast<std::uint32_t>(inX));
    const WordVector row = hn::Set(d, static_cast<std::uint32_t>(inY) * 0x85EBCA77U);
    WordVector bits = hn::Xor(hn::Mul(x, hn::Set(d, 0x9E3779B1U)), row);
    bits = hn::Xor(bits, hn::ShiftRight<15>(bits));
    bits = hn::Mul(bits, hn::Set(d, 0x2C1B3C6DU));
    bits = hn::Xor(bits, hn::ShiftRight<12>(bits));
    bits = hn::Mul(bits, hn::Set(d, 0x297A2D39U));
    bits = hn::Xor(bits, hn::ShiftRight<15>(bits));
    return hn::ShiftRight<8>(bits);
}

HWY_INLINE Pixels Load(const FloatRow& inRow, std::size_t inX)
{
    const Floats d;
    return {
        {{hn::LoadU(d, inRow.c[0] + inX), hn::LoadU(d, inRow.c[1] + inX), hn::LoadU(d, inRow.c[2] + inX)}},
        hn::LoadU(d, inRow.c[3] + inX)};
}

HWY_INLINE void Store(const Pixels& inPixels, const FloatRow& inRow, std::size_t inX)
{
    const Floats d;
    for (int i = 0; i < 3; ++i)
    {
        hn::StoreU(inPixels.colour.c[i], d, inRow.c[i] + inX);
    }
    hn::StoreU(inPixels.alpha, d, inRow.c[3] + inX);
}

HWY_INLINE Pixels Faded(Pixels inPixels, FloatVector inShare)
{
    for (auto& component : inPixels.colour.c)
    {
        component = hn::Mul(component, inShare);
    }
    inPixels.alpha = hn::Mul(inPixels.alpha, inShare);
    return inPixels;
}

// Straight colour times alpha, and back; a pixel whose alpha memory can't tell from 0 is black.
HWY_INLINE Pixels Premultiplied(Pixels inPixels)
{
    for (auto& component : inPixels.colour.c)
    {
        component = hn::Mul(component, inPixels.alpha);
    }
    return inPixels;
}

HWY_INLINE Pixels Straight(Pixels inPixels, float inMostAlpha)
{
    const FloatVector code = hn::Add(hn::Mul(inPixels.alpha, Number(inMostAlpha)), Number(0.5F));
    const auto isClear =
        inMostAlpha > 0.0F ? hn::Lt(code, Number(1.0F)) : hn::Eq(inPixels.alpha, hn::Zero(Floats()));
    for (auto& component : inPixels.colour.c)
    {
        component = hn::IfThenElse(isClear, hn::Zero(Floats()), hn::Div(component, inPixels.alpha));
    }
    return inPixels;
}

// s + (1 - as) b on all four.
HWY_INLINE Pixels Over(const Pixels& inSource, const Pixels& inBackdrop)
{
    const FloatVector rest = hn::Sub(Number(1.0F), inSource.alpha);
    Pixels result;
    for (int i = 0; i < 3; ++i)
    {
        result.colour.c[i] = hn::Add(inSource.colour.c[i], hn::Mul(rest, inBackdrop.colour.c[i]));
    }
    result.alpha = hn::Add(inSource.alpha, hn::Mul(rest, inBackdrop.alpha));
    return result;
}

HWY_INLINE Colour Limited(const BlendPlan& inPlan, const Colour& inColour)
{
    return inPlan.isLimited ? UnitColour(inColour) : inColour;
}

HWY_INLINE Pixels BlendPixels(const BlendPlan& inPlan, const Pixels& inSource, const Pixels& inBackdrop,
                              const Pixels& inPremultiplied)
{
    const bool isWhole = inPlan.isStraight || (inPlan.isOpaque && !inPlan.isEmpty);
    Colour cb = inBackdrop.colour;
    Colour cs;
    for (int i = 0; i < 3; ++i)
    {
        cb.c[i] = isWhole ? cb.c[i] : Ratio(cb.c[i], inBackdrop.alpha);
        cs.c[i] = Ratio(inSource.colour.c[i], inSource.alpha);
    }
    const Colour blended = Limited(inPlan, Blended(inPlan.mode, cb, cs));
    const FloatVector bare = hn::Sub(Number(1.0F), inBackdrop.alpha);
    const FloatVector both = hn::Mul(inSource.alpha, inBackdrop.alpha);
    Pixels mixed = inSource;
    for (int i = 0; i < 3; ++i)
    {
        mixed.colour.c[i] = hn::Add(hn::Mul(bare, inSource.colour.c[i]), hn::Mul(both, blended.c[i]));
    }
    return Over(mixed, inPremultiplied);
}

HWY_INLINE Pixels Composed(const BlendPlan& inPlan, const Pixels& inSource, const Pixels& inBackdrop)
{
    const Pixels premultiplied = inPlan.isStraight ? Premultiplied(inBackdrop) : inBackdrop;
    const Pixels result = inPlan.mode == kIR_Blend_Normal
                              ? Over(inSource, premultiplied)
                              : BlendPixels(inPlan, inSource, inBackdrop, premultiplied);
    return inPlan.isStraight ? Straight(result, inPlan.mostAlpha) : result;
}

template <typename Mask>
HWY_INLINE Pixels Either(Mask inMask, const Pixels& inYes, const Pixels& inNo)
{
    return {Choose(inMask, inYes.colour, inNo.colour), hn::IfThenElse(inMask, inYes.alpha, inNo.alpha)};
}

HWY_INLINE Pixels BlackIfClear(Pixels inPixels)
{
    const auto isClear = hn::Eq(inPixels.alpha, hn::Zero(Floats()));
    for (auto& component : inPixels.colour.c)
    {
        component = hn::IfThenElse(isClear, hn::Zero(Floats()), component);
    }
    return inPixels;
}

HWY_INLINE Pixels Dissolved(const BlendPlan& inPlan, Pixels inSource, Pixels inBackdrop, std::size_t inX)
{
    const Floats d;
    const WordVector thresholds = Thresholds(inPlan.x + static_cast<std::int32_t>(inX), inPlan.y);
    const FloatVector threshold = hn::ConvertTo(d, hn::BitCast(hn::RebindToSigned<Floats>(), thresholds));
    const auto isShown = hn::Lt(threshold, hn::Mul(inSource.alpha, Number(16777216.0F)));
    for (auto& component : inSource.colour.c)
    {
        component = Ratio(component, inSource.alpha);
    }
    inSource.alpha = Number(1.0F);
    return Either(isShown, inSource, inPlan.isStraight ? BlackIfClear(inBackdrop) : inBackdrop);
}

// Where nothing is laid on, the backdrop keeps its very bits (but clear pixels of straight pictures are black).
HWY_INLINE Pixels Laid(const BlendPlan& inPlan, const Pixels& inSource, const Pixels& inBackdrop,
                       std::size_t inX)
{
    const FloatVector zero = hn::Zero(Floats());
    const bool keepsBits = inPlan.isStraight || inPlan.mode != kIR_Blend_Normal;
    Pixels result = inBackdrop;
    if (inPlan.mode == kIR_Blend_Dissolve)
    {
        result = Dissolved(inPlan, inSource, inBackdrop, inX);
    }
    else
    {
        const auto isLaid = hn::Or(hn::Ne(inSource.alpha, zero), hn::Eq(inBackdrop.alpha, zero));
        const Pixels composed = Composed(inPlan, inSource, inBackdrop);
        result = keepsBits ? Either(isLaid, composed, inBackdrop) : composed;
    }
    result.alpha = inPlan.isOpaque ? Number(1.0F) : result.alpha;
    return result;
}

void BlendOneRow(const BlendPlan& inPlan, const FloatRow& inSource, const FloatRow& ioBackdrop,
                 std::size_t inWidth)
{
    const Floats d;
    for (std::size_t x = 0; x < inWidth; x += hn::Lanes(d))
    {
        FloatVector share = Number(inPlan.opacity);
        if (inPlan.coverage != nullptr)
        {
            share = hn::Mul(share, hn::LoadU(d, inPlan.coverage + x));
        }
        Store(Laid(inPlan, Faded(Load(inSource, x), share), Load(ioBackdrop, x), x), ioBackdrop, x);
    }
}

template <int kPlace>
HWY_INLINE FloatVector ValueAt(WordVector inPixels)
{
    const WordVector code = hn::And(hn::ShiftRight<kPlace * 8>(inPixels), hn::Set(Words(), 255));
    const FloatVector number = hn::ConvertTo(Floats(), hn::BitCast(hn::RebindToSigned<Floats>(), code));
    return hn::Mul(number, Number(1.0F / 255.0F));
}

HWY_INLINE Pixels LoadBytes(const std::uint32_t* inPixels)
{
    const WordVector pixels = hn::LoadU(Words(), inPixels);
    return {{{ValueAt<2>(pixels), ValueAt<1>(pixels), ValueAt<0>(pixels)}}, ValueAt<3>(pixels)};
}

template <int kPlace>
HWY_INLINE WordVector CodeOf(FloatVector inValue)
{
    const FloatVector code = hn::Add(hn::Mul(inValue, Number(255.0F)), Number(0.5F));
    const FloatVector held = hn::Min(hn::Max(code, hn::Zero(Floats())), Number(255.5F));
    const auto number = hn::ConvertTo(hn::RebindToSigned<Floats>(), held);
    return hn::ShiftLeft<kPlace * 8>(hn::BitCast(Words(), number));
}

HWY_INLINE void StoreBytes(const Pixels& inPixels, std::uint32_t* outPixels)
{
    const Colour& colour = inPixels.colour;
    const WordVector blueGreen = hn::Or(CodeOf<0>(colour.c[2]), CodeOf<1>(colour.c[1]));
    const WordVector redAlpha = hn::Or(CodeOf<2>(colour.c[0]), CodeOf<3>(inPixels.alpha));
    hn::StoreU(hn::Or(blueGreen, redAlpha), Words(), outPixels);
}

HWY_INLINE void BlendBytePixels(const BlendPlan& inPlan, const std::uint32_t* inSource,
                                const std::uint8_t* inCoverage, std::uint32_t* ioTarget, std::size_t inX)
{
    const Floats d;
    FloatVector share = Number(inPlan.opacity);
    if (inCoverage != nullptr)
    {
        const hn::RebindToSigned<Floats> ints;
        const auto coverage = hn::LoadU(hn::Rebind<std::uint8_t, Floats>(), inCoverage);
        const FloatVector covered = hn::ConvertTo(d, hn::PromoteTo(ints, coverage));
        share = hn::Mul(share, hn::Mul(covered, Number(1.0F / 255.0F)));
    }
    Pixels backdrop = LoadBytes(ioTarget);
    backdrop.alpha = inPlan.isOpaque ? Number(1.0F) : backdrop.alpha;
    if (inPlan.isEmpty)
    {
        backdrop = Faded(backdrop, hn::Zero(d));
    }
    StoreBytes(Laid(inPlan, Faded(LoadBytes(inSource), share), backdrop, inX), ioTarget);
}

void BlendOneByteRow(const BlendPlan& inPlan, const std::uint8_t* inSource, const std::uint8_t* inCoverage,
                     std::uint8_t* ioTarget, std::size_t inWidth)
{
    constexpr std::size_t kMost = hn::MaxLanes(Floats());
    const std::size_t step = hn::Lanes(Floats());
    std::size_t x = 0;
    for (; x + step <= inWidth; x += step)
    {
        BlendBytePixels(inPlan, reinterpret_cast<const std::uint32_t*>(inSource + x * 4),
                        inCoverage == nullptr ? nullptr : inCoverage + x,
                        reinterpret_cast<std::uint32_t*>(ioTarget + x * 4), x);
    }
    if (x < inWidth) // through copies, so that nothing beyond the row is touched
    {
        std::uint32_t source[kMost] = {};
        std::uint32_t target[kMost] = {};
        std::uint8_t coverage[kMost] = {};
        std::memcpy(source, inSource + x * 4, (inWidth - x) * 4);
        std::memcpy(target, ioTarget + x * 4, (inWidth - x) * 4);
        if (inCoverage != nullptr)
        {
            std::memcpy(coverage, inCoverage + x, inWidth - x);
        }
        BlendBytePixels(inPlan, source, inCoverage == nullptr ? nullptr : coverage, target, x);
        std::memcpy(ioTarget + x * 4, target, (inWidth - x) * 4);
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

HWY_EXPORT(BlendOneRow);
HWY_EXPORT(BlendOneByteRow);
HWY_EXPORT(NameOfTarget);

}

void BlendRow(const BlendPlan& inPlan, const FloatRow& inSource, const FloatRow& ioBackdrop,
              std::size_t inWidth)
{
    HWY_DYNAMIC_DISPATCH(BlendOneRow)(inPlan, inSource, ioBackdrop, inWidth);
}

void BlendByteRow(const BlendPlan& inPlan, const std::uint8_t* inSource, const std::uint8_t* inCoverage,
                  std::uint8_t* ioTarget, std::size_t inWidth)
{
    HWY_DYNAMIC_DISPATCH(BlendOneByteRow)(inPlan, inSource, inCoverage, ioTarget, inWidth);
}

const char* BlendRowsTarget()
{
    return HWY_DYNAMIC_DISPATCH(NameOfTarget)();
}

}

#endif
