#include "ReferenceHost/ImageRoutines/ComposeFloats.h"

#include <algorithm>
#include <cstdint>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ReferenceHost/ImageRoutines/ComposeFloats.cpp"
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

// One or more whole pixels. Where a vector is one number long, a pixel is an array of four.
#if HWY_TARGET == HWY_SCALAR

struct Values
{
    float c[4];
};

constexpr std::size_t kPixelsAtOnce = 1;

template <typename Operation>
HWY_INLINE Values Each(const Values& inOne, const Values& inOther, Operation inOperation)
{
    return {{inOperation(inOne.c[0], inOther.c[0]), inOperation(inOne.c[1], inOther.c[1]),
             inOperation(inOne.c[2], inOther.c[2]), inOperation(inOne.c[3], inOther.c[3])}};
}

HWY_INLINE Values All(float inValue)
{
    return {{inValue, inValue, inValue, inValue}};
}

HWY_INLINE Values Load(const float* inPixels)
{
    return {{inPixels[0], inPixels[1], inPixels[2], inPixels[3]}};
}

HWY_INLINE void Store(const Values& inValues, float* outPixels)
{
    std::copy_n(inValues.c, 4, outPixels);
}

HWY_INLINE void Stream(const Values& inValues, float* outPixels)
{
    Store(inValues, outPixels);
}

HWY_INLINE Values Plus(const Values& inOne, const Values& inOther)
{
    return Each(inOne, inOther, [](float inA, float inB) { return inA + inB; });
}

HWY_INLINE Values Minus(const Values& inOne, const Values& inOther)
{
    return Each(inOne, inOther, [](float inA, float inB) { return inA - inB; });
}

HWY_INLINE Values Times(const Values& inOne, const Values& inOther)
{
    return Each(inOne, inOther, [](float inA, float inB) { return inA * inB; });
}

HWY_INLINE Values Ratio(const Values& inOver, const Values& inUnder)
{
    return Each(inOver, inUnder, [](float inA, float inB) { return inB == 0.0F ? 0.0F : inA / inB; });
}

HWY_INLINE Values NothingWhereZero(const Values& inTested, const Values& inValues)
{
    return Each(inTested, inValues, [](float inA, float inB) { return inA == 0.0F ? 0.0F : inB; });
}

HWY_INLINE Values AlphaOf(const Values& inValues)
{
    return All(inValues.c[3]);
}

HWY_INLINE Values WithAlpha(Values inColour, const Values& inAlpha)
{
    inColour.c[3] = inAlpha.c[3];
    return inColour;
}

#else

using Floats = hn::ScalableTag<float>;
using Values = hn::Vec<Floats>;

HWY_INLINE Values All(float inValue)
{
    return hn::Set(Floats(), inValue);
}

HWY_INLINE Values Load(const float* inPixels)
{
    return hn::LoadU(Floats(), inPixels);
}

HWY_INLINE void Store(Values inValues, float* outPixels)
{
    hn::StoreU(inValues, Floats(), outPixels);
}

HWY_INLINE void Stream(Values inValues, float* outPixels)
{
    hn::Stream(inValues, Floats(), outPixels);
}

HWY_INLINE Values Plus(Values inOne, Values inOther)
{
    return hn::Add(inOne, inOther);
}

HWY_INLINE Values Minus(Values inOne, Values inOther)
{
    return hn::Sub(inOne, inOther);
}

HWY_INLINE Values Times(Values inOne, Values inOther)
{
    return hn::Mul(inOne, inOther);
}

HWY_INLINE Values NothingWhereZero(Values inTested, Values inValues)
{
    return hn::IfThenElse(hn::Eq(inTested, hn::Zero(Floats())), hn::Zero(Floats()), inValues);
}

HWY_INLINE Values Ratio(Values inOver, Values inUnder)
{
    return NothingWhereZero(inUnder, hn::Div(inOver, inUnder));
}

HWY_INLINE Values AlphaOf(Values inValues)
{
    return hn::Broadcast<3>(inValues);
}

HWY_INLINE Values WithAlpha(Values inColour, Values inAlpha)
{
    const hn::RebindToUnsigned<Floats> d;
    const auto isAlpha = hn::Eq(hn::And(hn::Iota(d, 0), hn::Set(d, 3)), hn::Set(d, 3));
    return hn::IfThenElse(hn::RebindMask(Floats(), isAlpha), inAlpha, inColour);
}

#endif

HWY_INLINE std::size_t PixelsAtOnce()
{
#if HWY_TARGET == HWY_SCALAR
    return kPixelsAtOnce;
#else
    return hn::Lanes(Floats()) / 4;
#endif
}

template <bool kIsPremultiplied>
HWY_INLINE Values OnWhole(Values inSource, Values inOpacity, Values inTarget)
{
    const Values alpha = Times(AlphaOf(inSource), inOpacity);
    const Values rest = Times(inTarget, Minus(All(1.0F), alpha));
    return kIsPremultiplied ? Plus(Times(inSource, inOpacity), rest)
                            : Plus(Times(WithAlpha(inSource, All(1.0F)), alpha), rest);
}

template <bool kIsPremultiplied>
HWY_INLINE Values OnStraight(Values inSource, Values inOpacity, Values inTarget)
{
    const Values alpha = Times(AlphaOf(inSource), inOpacity);
    const Values seen = Times(AlphaOf(inTarget), Minus(All(1.0F), alpha));
    const Values whole = Plus(alpha, seen);
    const Values share = Ratio(kIsPremultiplied ? inOpacity : alpha, whole);
    const Values rest = kIsPremultiplied ? Ratio(seen, whole) : Minus(All(1.0F), share);
    const Values colour = Plus(Times(inSource, share), Times(inTarget, rest));
    return WithAlpha(NothingWhereZero(whole, colour), whole);
}

template <bool kIsPremultiplied, bool kIsStraight>
HWY_INLINE void LayPixels(const FloatLayers& inLayers, const float* inSource, const float* inTarget,
                          float* outTarget)
{
    Values source = Load(inSource);
    Values target = inLayers.targetIsEmpty ? All(0.0F) : Load(inTarget);
    source = inLayers.sourceIsOpaque ? WithAlpha(source, All(1.0F)) : source;
    target = inLayers.targetIsOpaque ? WithAlpha(target, All(1.0F)) : target;
    const Values opacity = All(inLayers.opacity);
    const Values result = kIsStraight ? OnStraight<kIsPremultiplied>(source, opacity, target)
                                      : OnWhole<kIsPremultiplied>(source, opacity, target);
    Store(inLayers.targetIsOpaque ? WithAlpha(result, All(1.0F)) : result, outTarget);
}

template <bool kIsPremultiplied, bool kIsStraight>
void LayRow(const FloatLayers& inLayers, const float* inSource, float* ioTarget, std::size_t inCount)
{
    const std::size_t step = PixelsAtOnce();
    std::size_t x = 0;
    for (; x + step <= inCount; x += step)
    {
        LayPixels<kIsPremultiplied, kIsStraight>(inLayers, inSource + x * 4, ioTarget + x * 4,
                                                 ioTarget + x * 4);
    }
    if (x < inCount)
    {
        float source[64] = {};
        float target[64] = {};
        std::copy_n(inSource + x * 4, (inCount - x) * 4, source);
        std::copy_n(ioTarget + x * 4, inLayers.targetIsEmpty ? 0 : (inCount - x) * 4, target);
        LayPixels<kIsPremultiplied, kIsStraight>(inLayers, source, target, target);
        std::copy_n(target, (inCount - x) * 4, ioTarget + x * 4);
    }
}

void ComposeRow(const FloatLayers& inLayers, const float* inSource, float* ioTarget, std::size_t inCount)
{
    const auto lay = inLayers.sourceIsPremultiplied
                         ? (inLayers.targetIsStraight ? LayRow<true, true> : LayRow<true, false>)
                         : (inLayers.targetIsStraight ? LayRow<false, true> : LayRow<false, false>);
    lay(inLayers, inSource, ioTarget, inCount);
}

HWY_INLINE Values LoadOpaque(const FloatMix& inMix, std::size_t inRow, const float* inPixels)
{
    const Values pixels = Load(inPixels);
    return inMix.areOpaque[inRow] ? WithAlpha(pixels, All(1.0F)) : pixels;
}

template <std::size_t kCount>
HWY_INLINE Values PlainSum(const FloatMix& inMix, const float* const* inRows, std::size_t inAt)
{
    const std::size_t count = kCount == 0 ? inMix.count : kCount;
    Values sum = All(0.0F);
    for (std::size_t row = 0; row < count; ++row)
    {
        const Values pixels = LoadOpaque(inMix, row, inRows[row] + inAt);
        sum = Plus(sum, Times(pixels, All(inMix.weights[row])));
    }
    return inMix.isOpaque ? WithAlpha(sum, All(1.0F)) : sum;
}

template <std::size_t kCount>
HWY_INLINE Values StraightSum(const FloatMix& inMix, const float* const* inRows, std::size_t inAt)
{
    const std::size_t count = kCount == 0 ? inMix.count : kCount;
    Values sum = All(0.0F);
    Values whole = All(0.0F);
    for (std::size_t row = 0; row < count; ++row)
    {
        const Values pixels = LoadOpaque(inMix, row, inRows[row] + inAt);
        const Values share = Times(AlphaOf(pixels), All(inMix.weights[row]));
        sum = Plus(sum, Times(pixels, share));
        whole = Plus(whole, share);
    }
    return WithAlpha(Ratio(sum, whole), whole);
}

// What is left of a row, a pixel at a time.
void MixRest(const FloatMix& inMix, const float* const* inRows, std::size_t inAt, float* outPixel)
{
    float sum[3] = {};
    float whole = 0.0F;
    for (std::size_t row = 0; row < inMix.count; ++row)
    {
        const float* pixel = inRows[row] + inAt;
        const float alpha = inMix.areOpaque[row] ? 1.0F : pixel[3];
        const float share = inMix.isStraight ? alpha * inMix.weights[row] : inMix.weights[row];
        for (int i = 0; i < 3; ++i)
        {
            sum[i] += pixel[i] * share;
        }
        whole += alpha * inMix.weights[row];
    }
    for (int i = 0; i < 3; ++i)
    {
        outPixel[i] = !inMix.isStraight ? sum[i] : whole == 0.0F ? 0.0F : sum[i] / whole;
    }
    outPixel[3] = inMix.isOpaque ? 1.0F : whole;
}

// The pixels of whole vectors; how many there were.
template <std::size_t kCount>
std::size_t MixWholeVectors(const FloatMix& inMix, const float* const* inRows, float* outTarget,
                            std::size_t inCount)
{
    const std::size_t step = PixelsAtOnce();
    const bool isStreamed =
        inMix.isStreamed && reinterpret_cast<std::uintptr_t>(outTarget) % (step * 16) == 0;
    std::size_t x = 0;
    for (; x + step <= inCount; x += step)
    {
        const Values sum = inMix.isStraight ? StraightSum<kCount>(inMix, inRows, x * 4)
                                            : PlainSum<kCount>(inMix, inRows, x * 4);
        isStreamed ? Stream(sum, outTarget + x * 4) : Store(sum, outTarget + x * 4);
    }
    return x;
}

void MixRow(const FloatMix& inMix, const float* const* inRows, float* outTarget, std::size_t inCount)
{
    std::size_t x = inMix.count == 2 ? MixWholeVectors<2>(inMix, inRows, outTarget, inCount)
                                     : MixWholeVectors<0>(inMix, inRows, outTarget, inCount);
    for (; x < inCount; ++x)
    {
        MixRest(inMix, inRows, x * 4, outTarget + x * 4);
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

HWY_EXPORT(ComposeRow);
HWY_EXPORT(MixRow);
HWY_EXPORT(NameOfTarget);

}

void ComposeFloats(const FloatLayers& inLayers, const float* inSource, float* ioTarget, std::size_t inCount)
{
    HWY_DYNAMIC_DISPATCH(ComposeRow)(inLayers, inSource, ioTarget, inCount);
}

void MixFloats(const FloatMix& inMix, const float* const* inRows, float* outTarget, std::size_t inCount)
{
    HWY_DYNAMIC_DISPATCH(MixRow)(inMix, inRows, outTarget, inCount);
}

const char* ComposeFloatsTarget()
{
    return HWY_DYNAMIC_DISPATCH(NameOfTarget)();
}

}

#endif
