#include "ReferenceHost/ImageRoutines/ComposeBytes.h"

#include <cmath>
#include <cstring>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ReferenceHost/ImageRoutines/ComposeBytes.cpp"
#include "hwy/foreach_target.h"
#include "hwy/highway.h"

HWY_BEFORE_NAMESPACE();
namespace ir
{
namespace HWY_NAMESPACE
{
namespace
{

#if HWY_TARGET == HWY_SCALAR

// Pixels can't be taken apart where a vector is one number long.
void ComposeRow(const ByteLayers& inLayers, const std::uint8_t* inSource, const std::uint8_t* inCoverage,
                std::uint8_t* ioTarget, std::size_t inCount)
{
    reference::ComposeBytes(inLayers, inSource, inCoverage, ioTarget, inCount);
}

#else

namespace hn = hwy::HWY_NAMESPACE;

using Pixels = hn::ScalableTag<std::uint32_t>;
using Words = hn::Repartition<std::uint16_t, Pixels>;
using Floats = hn::RebindToFloat<Pixels>;
using Ints = hn::RebindToSigned<Pixels>;
using PixelVector = hn::Vec<Pixels>;
using WordVector = hn::Vec<Words>;
using FloatVector = hn::Vec<Floats>;

constexpr std::uint32_t kAlphaMask = 0xFF000000U;

HWY_INLINE PixelVector Same(std::uint32_t inPixel)
{
    return hn::Set(Pixels(), inPixel);
}

HWY_INLINE WordVector Word(std::uint16_t inWord)
{
    return hn::Set(Words(), inWord);
}

HWY_INLINE WordVector AsWords(PixelVector inPixels)
{
    return hn::BitCast(Words(), inPixels);
}

HWY_INLINE PixelVector AsPixels(WordVector inWords)
{
    return hn::BitCast(Pixels(), inWords);
}

// Codes with eight bits behind the point: of places 0 and 2, and of places 1 and 3.
struct Halves
{
    WordVector even;
    WordVector odd;
};

HWY_INLINE Halves Split(PixelVector inPixels)
{
    const WordVector words = AsWords(inPixels);
    return {hn::ShiftLeft<8>(words), hn::And(words, Word(0xFF00))};
}

HWY_INLINE PixelVector Join(const Halves& inHalves)
{
    const WordVector round = Word(128);
    const WordVector even = hn::ShiftRight<8>(hn::SaturatedAdd(inHalves.even, round));
    const WordVector odd = hn::And(hn::SaturatedAdd(inHalves.odd, round), Word(0xFF00));
    return AsPixels(hn::Or(even, odd));
}

// A byte below 256 in each pixel as a share of 65535 in both its words.
HWY_INLINE WordVector SpreadByte(PixelVector inBytes)
{
    const PixelVector twice = hn::Or(inBytes, hn::ShiftLeft<8>(inBytes));
    return AsWords(hn::Or(twice, hn::ShiftLeft<16>(twice)));
}

HWY_INLINE WordVector SpreadWord(PixelVector inWords)
{
    return AsWords(hn::Or(inWords, hn::ShiftLeft<16>(inWords)));
}

HWY_INLINE WordVector ShareOf(WordVector inCodes)
{
    return hn::Add(inCodes, hn::ShiftRight<8>(inCodes));
}

// The codes of alpha as shares in both words of a pixel.
HWY_INLINE WordVector AlphaShare(WordVector inOdd)
{
    return ShareOf(SpreadWord(hn::ShiftRight<16>(AsPixels(inOdd))));
}

HWY_INLINE PixelVector AlphaOf(PixelVector inPixels)
{
    return hn::ShiftRight<24>(inPixels);
}

HWY_INLINE Halves Times(const Halves& inHalves, WordVector inShares)
{
    return {hn::MulHigh(inHalves.even, inShares), hn::MulHigh(inHalves.odd, inShares)};
}

HWY_INLINE Halves Plus(const Halves& inOne, const Halves& inOther)
{
    return {hn::SaturatedAdd(inOne.even, inOther.even), hn::SaturatedAdd(inOne.odd, inOther.odd)};
}

HWY_INLINE FloatVector ToFloat(PixelVector inNumbers)
{
    return hn::ConvertTo(Floats(), hn::BitCast(Ints(), inNumbers));
}

HWY_INLINE PixelVector ToNumber(FloatVector inValues)
{
    return hn::BitCast(Pixels(), hn::ConvertTo(Ints(), inValues));
}

HWY_INLINE FloatVector Float(float inValue)
{
    return hn::Set(Floats(), inValue);
}

HWY_INLINE FloatVector Inverse(float inOver, FloatVector inUnder)
{
    const auto isNothing = hn::Eq(inUnder, hn::Zero(Floats()));
    return hn::IfThenElse(isNothing, hn::Zero(Floats()), hn::Div(Float(inOver), inUnder));
}

template <int kPlace>
HWY_INLINE FloatVector CodeAt(PixelVector inPixels)
{
    return ToFloat(hn::And(hn::ShiftRight<kPlace * 8>(inPixels), Same(255)));
}

// What does not change along a row.
struct Row
{
    explicit HWY_INLINE Row(const ByteLayers& inLayers)
        : black(Same(inLayers.black))
        , sourceSet(Same(inLayers.sourceIsOpaque ? kAlphaMask : 0))
        , targetSet(Same(inLayers.targetIsStraight || inLayers.targetIsPremultiplied ? 0 : kAlphaMask))
        , share(Word(static_cast<std::uint16_t>((inLayers.opacity * 65535U) >> 16)))
        , opacity(Word(inLayers.opacity))
        , opaqueShare(hn::MulHigh(Word(0xFFFF), share))
    {
    }
    PixelVector black, sourceSet, targetSet;
    WordVector share, opacity;
    WordVector opaqueShare; // of a source pixel whose alpha is whole
};

// Onto premultiplied and opaque pixels: of straight codes the black goes out by itself, s as + b (1 - as).
HWY_INLINE PixelVector StraightOnWhole(PixelVector inSource, WordVector inShare, PixelVector inTarget)
{
    const WordVector share = hn::MulHigh(SpreadByte(AlphaOf(inSource)), inShare);
    const Halves source = Times(Split(hn::Or(inSource, Same(kAlphaMask))), share);
    return Join(Plus(source, Times(Split(inTarget), hn::Not(share))));
}

// The same of an opaque source without coverage, every pixel of which has the same share.
HWY_INLINE PixelVector OpaqueOnWhole(const Row& inRow, PixelVector inSource, PixelVector inTarget)
{
    return Join(
        Plus(Times(Split(inSource), inRow.opaqueShare), Times(Split(inTarget), hn::Not(inRow.opaqueShare))));
}

// Titles are mostly clear, and what is clear changes nothing.
HWY_INLINE PixelVector StraightOnSolid(PixelVector inSource, WordVector inShare, PixelVector inTarget)
{
    const Pixels d;
    const bool isClear = hn::AllTrue(d, hn::Eq(hn::And(inSource, Same(kAlphaMask)), hn::Zero(d)));
    return isClear ? inTarget : StraightOnWhole(inSource, inShare, inTarget);
}

// Black counts where neither is: s o + b (1 - as) - black o (1 - Sa). Half of each leaves room for the sum.
HWY_INLINE WordVector LessBlack(WordVector inSource, WordVector inTarget, WordVector inBlack)
{
    const WordVector sum = hn::Add(hn::ShiftRight<1>(inSource), hn::ShiftRight<1>(inTarget));
    const WordVector rest = hn::SaturatedSub(sum, hn::ShiftRight<1>(inBlack));
    return hn::ShiftLeft<1>(hn::Min(rest, Word(32640)));
}

template <bool kHasBlack>
HWY_INLINE PixelVector PremultipliedOnWhole(const Row& inRow, PixelVector inSource, WordVector inShare,
                                            PixelVector inTarget)
{
    const Halves source = Times(Split(inSource), inShare);
    const Halves target = Times(Split(inTarget), hn::Not(AlphaShare(source.odd)));
    if constexpr (!kHasBlack)
    {
        return Join(Plus(source, target));
    }
    else
    {
        const WordVector open = SpreadByte(hn::Sub(Same(255), AlphaOf(inSource)));
        const Halves black = Times(Split(inRow.black), hn::MulHigh(open, inShare));
        return Join(
            {LessBlack(source.even, target.even, black.even), LessBlack(source.odd, target.odd, black.odd)});
    }
}

// The alphas of two straight pixels, and what they come to.
struct Weighed
{
    PixelVector share; // of the source in the result's colour
    PixelVector alpha; // a code
    FloatVector toSource;
    FloatVector toTarget;
};

HWY_INLINE Weighed Weigh(PixelVector inSourceAlpha, PixelVector inShare, PixelVector inTargetAlpha)
{
    const FloatVector opacity = hn::Mul(ToFloat(inShare), Float(1.0F / 65535.0F));
    const FloatVector source = hn::Mul(ToFloat(inSourceAlpha), opacity);
    const FloatVector bare = hn::Sub(Float(1.0F), hn::Mul(source, Float(1.0F / 255.0F)));
    const FloatVector seen = hn::Mul(ToFloat(inTargetAlpha), bare);
    const FloatVector alpha = hn::Add(source, seen);
    const FloatVector inverse = hn::Div(Float(65535.0F), hn::Max(alpha, Float(kLeastAlpha)));
    const FloatVector half = Float(0.5F);
    return {ToNumber(hn::Add(hn::Mul(source, inverse), half)), ToNumber(hn::Add(alpha, half)),
            hn::Mul(hn::Mul(opacity, inverse), Float(255.0F / 65535.0F)),
            hn::Mul(hn::Mul(seen, inverse), Float(1.0F / 65535.0F))};
}

HWY_INLINE PixelVector LowerWord(WordVector inWords)
{
    return hn::And(AsPixels(inWords), Same(0xFFFF));
}

// A clear pixel is black; any other gets its alpha.
HWY_INLINE PixelVector WithAlpha(const Row& inRow, PixelVector inColour, PixelVector inAlpha)
{
    const PixelVector colour = hn::And(inColour, Same(~kAlphaMask));
    const PixelVector seen = hn::Or(colour, hn::ShiftLeft<24>(inAlpha));
    return hn::IfThenElse(hn::Eq(inAlpha, hn::Zero(Pixels())), inRow.black, seen);
}

HWY_INLINE PixelVector StraightOnStraight(const Row& inRow, PixelVector inSource, WordVector inShare,
                                          PixelVector inTarget)
{
    const Weighed weighed = Weigh(AlphaOf(inSource), LowerWord(inShare), AlphaOf(inTarget));
    const WordVector share = SpreadWord(weighed.share);
    const Halves source = Times(Split(inSource), share);
    const Halves target = Times(Split(inTarget), hn::Not(share));
    return WithAlpha(inRow, Join(Plus(source, target)), weighed.alpha);
}

template <int kPlace>
HWY_INLINE PixelVector PremultipliedPlace(const Weighed& inWeighed, PixelVector inSource,
                                          PixelVector inTarget, PixelVector inBlack)
{
    const FloatVector black = CodeAt<kPlace>(inBlack);
    const FloatVector source = hn::Mul(hn::Sub(CodeAt<kPlace>(inSource), black), inWeighed.toSource);
    const FloatVector target = hn::Mul(hn::Sub(CodeAt<kPlace>(inTarget), black), inWeighed.toTarget);
    const FloatVector code = hn::Add(hn::Add(source, target), hn::Add(black, Float(0.5F)));
    const FloatVector held = hn::Min(hn::Max(code, hn::Zero(Floats())), Float(255.5F));
    return hn::ShiftLeft<kPlace * 8>(ToNumber(held));
}

HWY_INLINE PixelVector PremultipliedOnStraight(const Row& inRow, PixelVector inSource, WordVector inShare,
                                               PixelVector inTarget)
{
    const Weighed weighed = Weigh(AlphaOf(inSource), LowerWord(inShare), AlphaOf(inTarget));
    const PixelVector first = PremultipliedPlace<0>(weighed, inSource, inTarget, inRow.black);
    const PixelVector second = PremultipliedPlace<1>(weighed, inSource, inTarget, inRow.black);
    const PixelVector third = PremultipliedPlace<2>(weighed, inSource, inTarget, inRow.black);
    return WithAlpha(inRow, hn::Or(hn::Or(first, second), third), weighed.alpha);
}

HWY_INLINE WordVector Decoded(WordVector inCodes)
{
    const WordVector x = ShareOf(inCodes);
    WordVector sum = hn::Add(Word(curve::kDecode[2]), hn::MulHigh(x, Word(curve::kDecode[3])));
    sum = hn::Add(Word(curve::kDecode[1]), hn::MulHigh(x, sum));
    sum = hn::SaturatedAdd(Word(curve::kDecode[0]), hn::MulHigh(x, sum));
    const WordVector foot = hn::MulHigh(x, Word(curve::kFootSlope));
    return hn::IfThenElse(hn::Lt(x, Word(curve::kCodedFoot)), foot, sum);
}

template <int kShift, typename Mask>
HWY_INLINE WordVector Lifted(WordVector inMantissa, Mask& outIsShifted)
{
    outIsShifted = hn::Lt(inMantissa, Word(static_cast<std::uint16_t>(65536U >> kShift)));
    return hn::IfThenElse(outIsShifted, hn::ShiftLeft<kShift>(inMantissa), inMantissa);
}

template <typename Mask>
HWY_INLINE WordVector Lowered(WordVector inSum, Mask inIsShifted, std::uint16_t inShrink)
{
    return hn::IfThenElse(inIsShifted, hn::MulHigh(inSum, Word(inShrink)), inSum);
}

HWY_INLINE WordVector Encoded(WordVector inLinear)
{
    hn::Mask<Words> isBy4;
    hn::Mask<Words> isBy2;
    hn::Mask<Words> isBy1;
    const WordVector mantissa = Lifted<1>(Lifted<2>(Lifted<4>(inLinear, isBy4), isBy2), isBy1);
    const WordVector t = hn::ShiftLeft<1>(mantissa);
    WordVector sum = hn::Sub(Word(curve::kEncode[2]), hn::MulHigh(t, Word(curve::kEncode[3])));
    sum = hn::Sub(Word(curve::kEncode[1]), hn::MulHigh(t, sum));
    sum = hn::Add(Word(curve::kEncode[0]), hn::MulHigh(t, sum));
    sum = Lowered(sum, isBy4, curve::kShrink4);
    sum = Lowered(sum, isBy2, curve::kShrink2);
    sum = Lowered(sum, isBy1, curve::kShrink1);
    sum = hn::Sub(sum, Word(curve::kEncodeDrop));
    const WordVector foot =
        hn::Add(hn::ShiftLeft<1>(inLinear), hn::MulHigh(inLinear, Word(curve::kFootRise)));
    return hn::IfThenElse(hn::Lt(inLinear, Word(curve::kLinearFoot)), foot, sum);
}

template <int kPlace>
HWY_INLINE PixelVector DividedPlace(PixelVector inPixels, FloatVector inFactor)
{
    const FloatVector code = hn::Add(hn::Mul(CodeAt<kPlace>(inPixels), inFactor), Float(0.5F));
    return ToNumber(hn::Min(code, Float(65280.0F)));
}

// Straight codes; of alpha, what lies there is of no use.
template <bool kIsPremultiplied>
HWY_INLINE Halves StraightHalves(PixelVector inPixels)
{
    if constexpr (!kIsPremultiplied)
    {
        return Split(inPixels);
    }
    else
    {
        const PixelVector alpha = AlphaOf(inPixels);
        if (hn::AllTrue(Pixels(), hn::Eq(alpha, Same(255))))
        {
            return Split(inPixels); // what the quotients come to
        }
        const FloatVector factor = Inverse(65280.0F, ToFloat(alpha));
        const PixelVector third = DividedPlace<2>(inPixels, factor);
        return {AsWords(hn::Or(DividedPlace<0>(inPixels, factor), hn::ShiftLeft<16>(third))),
                AsWords(DividedPlace<1>(inPixels, factor))};
    }
}

template <bool kIsSourcePremultiplied, bool kIsTargetPremultiplied>
HWY_INLINE PixelVector InLinearLight(const Row& inRow, PixelVector inSource, WordVector inShare,
                                     PixelVector inTarget)
{
    const Weighed weighed = Weigh(AlphaOf(inSource), LowerWord(inShare), AlphaOf(inTarget));
    const WordVector share = SpreadWord(weighed.share);
    const Halves source = StraightHalves<kIsSourcePremultiplied>(inSource);
    const Halves target = StraightHalves<kIsTargetPremultiplied>(inTarget);
    const Halves above = Times({Decoded(source.even), Decoded(source.odd)}, share);
    const Halves below = Times({Decoded(target.even), Decoded(target.odd)}, hn::Not(share));
    Halves code = {hn::ShiftLeft<1>(Encoded(hn::Add(above.even, below.even))),
                   hn::ShiftLeft<1>(Encoded(hn::Add(above.odd, below.odd)))};
    if constexpr (kIsTargetPremultiplied)
    {
        code = Times(code, SpreadByte(weighed.alpha));
    }
    return WithAlpha(inRow, Join(code), weighed.alpha);
}

// On pixels whose alpha is whole, and those are nearly all that there are, nothing has to be divided.
template <typename OnSolid, typename OnAny>
HWY_INLINE PixelVector BySolidity(PixelVector inTarget, OnSolid inOnSolid, OnAny inOnAny)
{
    const Pixels d;
    const auto isSolid = hn::Eq(AlphaOf(inTarget), Same(255));
    if (hn::AllTrue(d, isSolid))
    {
        return inOnSolid();
    }
    return hn::IfThenElse(isSolid, inOnSolid(), inOnAny());
}

template <bool kHasBlack>
HWY_INLINE PixelVector PremultipliedOnMaybeSolid(const Row& inRow, PixelVector inSource, WordVector inShare,
                                                 PixelVector inTarget)
{
    return BySolidity(
        inTarget, [&] { return PremultipliedOnWhole<kHasBlack>(inRow, inSource, inShare, inTarget); },
        [&] { return PremultipliedOnStraight(inRow, inSource, inShare, inTarget); });
}

HWY_INLINE PixelVector StraightOnMaybeSolid(const Row& inRow, PixelVector inSource, WordVector inShare,
                                            PixelVector inTarget)
{
    return BySolidity(
        inTarget, [&] { return StraightOnSolid(inSource, inShare, inTarget); },
        [&] { return StraightOnStraight(inRow, inSource, inShare, inTarget); });
}

HWY_INLINE PixelVector OpaqueOnMaybeSolid(const Row& inRow, PixelVector inSource, WordVector inShare,
                                          PixelVector inTarget)
{
    return BySolidity(
        inTarget, [&] { return OpaqueOnWhole(inRow, inSource, inTarget); },
        [&] { return StraightOnStraight(inRow, inSource, inShare, inTarget); });
}

enum class Way
{
    kOpaqueOnWhole,
    kOpaqueOnStraight,
    kStraightOnWhole,
    kPremultipliedOnWhole,
    kPremultipliedOnWholeWithBlack,
    kStraightOnStraight,
    kPremultipliedOnStraight,
    kPremultipliedOnStraightWithBlack,
    kLinear,
    kLinearFromPremultiplied,
    kLinearToPremultiplied,
    kLinearBothPremultiplied
};

template <Way kWay>
HWY_INLINE PixelVector Laid(const Row& inRow, PixelVector inSource, WordVector inShare, PixelVector inTarget)
{
    switch (kWay)
    {
    case Way::kOpaqueOnWhole: return OpaqueOnWhole(inRow, inSource, inTarget);
    case Way::kOpaqueOnStraight: return OpaqueOnMaybeSolid(inRow, inSource, inShare, inTarget);
    case Way::kStraightOnWhole: return StraightOnWhole(inSource, inShare, inTarget);
    case Way::kPremultipliedOnWhole: return PremultipliedOnWhole<false>(inRow, inSource, inShare, inTarget);
    case Way::kPremultipliedOnWholeWithBlack:
        return PremultipliedOnWhole<true>(inRow, inSource, inShare, inTarget);
    case Way::kStraightOnStraight: return StraightOnMaybeSolid(inRow, inSource, inShare, inTarget);
    case Way::kPremultipliedOnStraight:
        return PremultipliedOnMaybeSolid<false>(inRow, inSource, inShare, inTarget);
    case Way::kPremultipliedOnStraightWithBlack:
        return PremultipliedOnMaybeSolid<true>(inRow, inSource, inShare, inTarget);
    case Way::kLinear: return InLinearLight<false, false>(inRow, inSource, inShare, inTarget);
    case Way::kLinearFromPremultiplied: return InLinearLight<true, false>(inRow, inSource, inShare, inTarget);
    case Way::kLinearToPremultiplied: return InLinearLight<false, true>(inRow, inSource, inShare, inTarget);
    default: return InLinearLight<true, true>(inRow, inSource, inShare, inTarget);
    }
}

HWY_INLINE WordVector CoveredShare(const Row& inRow, const std::uint8_t* inCoverage)
{
    const Pixels d;
    const PixelVector coverage = hn::PromoteTo(d, hn::LoadU(hn::Rebind<std::uint8_t, Pixels>(), inCoverage));
    return hn::MulHigh(inRow.opacity, SpreadByte(coverage));
}

template <Way kWay>
HWY_INLINE void LayPixels(const Row& inRow, const std::uint32_t* inSource, const std::uint8_t* inCoverage,
                          const std::uint32_t* inTarget, std::uint32_t* outTarget)
{
    const Pixels d;
    constexpr bool kIsStraight = kWay == Way::kOpaqueOnStraight || kWay == Way::kStraightOnStraight ||
                                 kWay == Way::kPremultipliedOnStraight ||
                                 kWay == Way::kPremultipliedOnStraightWithBlack;
    const PixelVector set = kIsStraight ? hn::Zero(d) : inRow.targetSet;
    const PixelVector source = hn::Or(hn::LoadU(d, inSource), inRow.sourceSet);
    const PixelVector target = hn::Or(hn::LoadU(d, inTarget), set);
    const WordVector share = inCoverage == nullptr ? inRow.share : CoveredShare(inRow, inCoverage);
    hn::StoreU(hn::Or(Laid<kWay>(inRow, source, share, target), set), d, outTarget);
}

// What is left of a row after the whole vectors goes through copies, so that nothing beyond it is touched.
template <Way kWay>
HWY_NOINLINE void LayRest(const ByteLayers& inLayers, const std::uint8_t* inSource,
                          const std::uint8_t* inCoverage, const std::uint8_t* inTarget,
                          std::uint8_t* outTarget, std::size_t inCount)
{
    constexpr std::size_t kMost = hn::MaxLanes(Pixels());
    alignas(64) std::uint32_t source[kMost] = {};
    alignas(64) std::uint32_t target[kMost] = {};
    alignas(64) std::uint8_t coverage[kMost] = {};
    std::memcpy(source, inSource, inCount * 4);
    std::memcpy(target, inTarget, inCount * 4);
    if (inCoverage != nullptr)
    {
        std::memcpy(coverage, inCoverage, inCount);
    }
    LayPixels<kWay>(Row(inLayers), source, inCoverage == nullptr ? nullptr : coverage, target, target);
    std::memcpy(outTarget, target, inCount * 4);
}

template <Way kWay>
void LayRow(const ByteLayers& inLayers, const std::uint8_t* inSource, const std::uint8_t* inCoverage,
            std::uint8_t* ioTarget, std::size_t inCount)
{
    const Pixels d;
    const Row row(inLayers);
    alignas(64) std::uint32_t nothing[hn::MaxLanes(Pixels())];
    hn::Store(row.black, d, nothing);
    const std::size_t step = hn::Lanes(d);
    std::size_t x = 0;
    for (; x + step <= inCount; x += step)
    {
        auto* target = reinterpret_cast<std::uint32_t*>(ioTarget + x * 4);
        LayPixels<kWay>(row, reinterpret_cast<const std::uint32_t*>(inSource + x * 4),
                        inCoverage == nullptr ? nullptr : inCoverage + x,
                        inLayers.targetIsEmpty ? nothing : target, target);
    }
    if (x < inCount)
    {
        const auto* empty = reinterpret_cast<const std::uint8_t*>(nothing);
        LayRest<kWay>(inLayers, inSource + x * 4, inCoverage == nullptr ? nullptr : inCoverage + x,
                      inLayers.targetIsEmpty ? empty : ioTarget + x * 4, ioTarget + x * 4, inCount - x);
    }
}

void ComposeRow(const ByteLayers& inLayers, const std::uint8_t* inSource, const std::uint8_t* inCoverage,
                std::uint8_t* ioTarget, std::size_t inCount)
{
    static constexpr decltype(&LayRow<Way::kLinear>) kLinear[2][2] = {
        {LayRow<Way::kLinear>, LayRow<Way::kLinearToPremultiplied>},
        {LayRow<Way::kLinearFromPremultiplied>, LayRow<Way::kLinearBothPremultiplied>}};
    static constexpr decltype(&LayRow<Way::kLinear>) kOnWhole[2][2] = {
        {LayRow<Way::kStraightOnWhole>, LayRow<Way::kStraightOnWhole>},
        {LayRow<Way::kPremultipliedOnWhole>, LayRow<Way::kPremultipliedOnWholeWithBlack>}};
    static constexpr decltype(&LayRow<Way::kLinear>) kOnStraight[2][2] = {
        {LayRow<Way::kStraightOnStraight>, LayRow<Way::kStraightOnStraight>},
        {LayRow<Way::kPremultipliedOnStraight>, LayRow<Way::kPremultipliedOnStraightWithBlack>}};
    if (inLayers.sourceIsOpaque && !inLayers.sourceIsPremultiplied && inCoverage == nullptr &&
        !inLayers.isLinear)
    {
        const auto lay =
            inLayers.targetIsStraight ? LayRow<Way::kOpaqueOnStraight> : LayRow<Way::kOpaqueOnWhole>;
        lay(inLayers, inSource, inCoverage, ioTarget, inCount);
        return;
    }
    const bool isFrom = inLayers.sourceIsPremultiplied;
    const bool hasBlack = inLayers.black != 0;
    const auto lay = inLayers.isLinear           ? kLinear[isFrom][inLayers.targetIsPremultiplied]
                     : inLayers.targetIsStraight ? kOnStraight[isFrom][hasBlack]
                                                 : kOnWhole[isFrom][hasBlack];
    lay(inLayers, inSource, inCoverage, ioTarget, inCount);
}

#endif

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
HWY_EXPORT(NameOfTarget);

}

ByteLayers ByteLayersFor(const Picture& inSource, const Picture& inTarget, float inOpacity)
{
    ByteLayers layers;
    layers.sourceIsPremultiplied = inSource.alpha == PictureAlpha::kPremultiplied;
    layers.sourceIsOpaque = !inSource.HasAlpha();
    layers.targetIsStraight = inTarget.alpha == PictureAlpha::kStraight;
    layers.targetIsPremultiplied = inTarget.alpha == PictureAlpha::kPremultiplied;
    layers.opacity = static_cast<std::uint16_t>(std::lround(inOpacity * 65535.0F));
    for (int component = 0; component < 3; ++component)
    {
        const auto offset = static_cast<std::uint32_t>(RangeOf(inTarget, component).offset);
        layers.black |= offset << (kPackedPlace[component] * 8);
    }
    return layers;
}

void ComposeBytes(const ByteLayers& inLayers, const std::uint8_t* inSource, const std::uint8_t* inCoverage,
                  std::uint8_t* ioTarget, std::size_t inCount)
{
    HWY_DYNAMIC_DISPATCH(ComposeRow)(inLayers, inSource, inCoverage, ioTarget, inCount);
}

const char* ComposeBytesTarget()
{
    return HWY_DYNAMIC_DISPATCH(NameOfTarget)();
}

}

#endif
