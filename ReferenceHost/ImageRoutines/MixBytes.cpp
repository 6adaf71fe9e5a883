#include <cstring>

#include "ReferenceHost/ImageRoutines/ComposeBytes.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ReferenceHost/ImageRoutines/MixBytes.cpp"
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
void MixRow(const ByteMix& inMix, const std::uint8_t* const* inRows, std::uint8_t* outTarget,
            std::size_t inBytes)
{
    reference::MixBytes(inMix, inRows, outTarget, inBytes);
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

struct Halves
{
    WordVector even;
    WordVector odd;
};

HWY_INLINE WordVector Word(std::size_t inWord)
{
    return hn::Set(Words(), static_cast<std::uint16_t>(inWord));
}

HWY_INLINE FloatVector Float(float inValue)
{
    return hn::Set(Floats(), inValue);
}

HWY_INLINE PixelVector LoadSet(const ByteMix& inMix, std::size_t inRow, const std::uint8_t* const* inRows,
                               std::size_t inAt)
{
    const Pixels d;
    const auto* place = reinterpret_cast<const std::uint32_t*>(inRows[inRow] + inAt);
    return hn::Or(hn::LoadU(d, place), hn::Set(d, inMix.alwaysSet[inRow]));
}

HWY_INLINE void AddShare(Halves& ioSum, PixelVector inPixels, WordVector inShare)
{
    const WordVector words = hn::BitCast(Words(), inPixels);
    ioSum.even = hn::SaturatedAdd(ioSum.even, hn::MulHigh(hn::ShiftLeft<8>(words), inShare));
    ioSum.odd = hn::SaturatedAdd(ioSum.odd, hn::MulHigh(hn::And(words, Word(0xFF00)), inShare));
}

// Each share loses half a unit on average: as much is given back.
HWY_INLINE PixelVector Rounded(const Halves& inSum, std::size_t inCount)
{
    const WordVector lost = Word(inCount / 2);
    const WordVector half = Word(128);
    const WordVector even = hn::SaturatedAdd(hn::SaturatedAdd(inSum.even, lost), half);
    const WordVector odd = hn::SaturatedAdd(hn::SaturatedAdd(inSum.odd, lost), half);
    return hn::BitCast(Pixels(), hn::Or(hn::ShiftRight<8>(even), hn::And(odd, Word(0xFF00))));
}

HWY_INLINE FloatVector WeighedAlpha(PixelVector inPixels, std::uint16_t inShare)
{
    const FloatVector alpha = hn::ConvertTo(Floats(), hn::BitCast(Ints(), hn::ShiftRight<24>(inPixels)));
    return hn::Mul(alpha, Float(static_cast<float>(inShare)));
}

HWY_INLINE PixelVector ToNumber(FloatVector inValue)
{
    return hn::BitCast(Pixels(), hn::ConvertTo(Ints(), hn::Add(inValue, Float(0.5F))));
}

// kCount: of rows, 0: as many as inMix tells.
template <std::size_t kCount>
struct Plain
{
    static HWY_INLINE PixelVector Mixed(const ByteMix& inMix, const std::uint8_t* const* inRows,
                                        std::size_t inAt)
    {
        const std::size_t count = kCount == 0 ? inMix.count : kCount;
        Halves sum = {hn::Zero(Words()), hn::Zero(Words())};
        for (std::size_t row = 0; row < count; ++row)
        {
            AddShare(sum, LoadSet(inMix, row, inRows, inAt), Word(inMix.shares[row]));
        }
        return Rounded(sum, count);
    }
};

HWY_INLINE WordVector SpreadWord(PixelVector inWords)
{
    return hn::BitCast(Words(), hn::Or(inWords, hn::ShiftLeft<16>(inWords)));
}

HWY_INLINE FloatVector InverseOf(FloatVector inWhole)
{
    const auto isNothing = hn::Eq(inWhole, hn::Zero(Floats()));
    return hn::IfThenElse(isNothing, hn::Zero(Floats()), hn::Div(Float(65535.0F), inWhole));
}

HWY_INLINE PixelVector WithAlpha(const ByteMix& inMix, PixelVector inColour, FloatVector inWhole)
{
    const Pixels d;
    const PixelVector alpha = ToNumber(hn::Min(hn::Mul(inWhole, Float(1.0F / 65535.0F)), Float(255.0F)));
    const PixelVector seen = hn::Or(hn::And(inColour, hn::Set(d, ~kAlphaMask)), hn::ShiftLeft<24>(alpha));
    return hn::IfThenElse(hn::Eq(alpha, hn::Zero(d)), hn::Set(d, inMix.black), seen);
}

struct StraightOfMany
{
    static HWY_INLINE PixelVector Mixed(const ByteMix& inMix, const std::uint8_t* const* inRows,
                                        std::size_t inAt)
    {
        FloatVector whole = hn::Zero(Floats());
        for (std::size_t row = 0; row < inMix.count; ++row)
        {
            const PixelVector pixels = LoadSet(inMix, row, inRows, inAt);
            whole = hn::Add(whole, WeighedAlpha(pixels, inMix.shares[row]));
        }
        const FloatVector inverse = InverseOf(whole);
        Halves sum = {hn::Zero(Words()), hn::Zero(Words())};
        for (std::size_t row = 0; row < inMix.count; ++row)
        {
            const PixelVector pixels = LoadSet(inMix, row, inRows, inAt);
            const PixelVector share = ToNumber(hn::Mul(WeighedAlpha(pixels, inMix.shares[row]), inverse));
            AddShare(sum, pixels, SpreadWord(share));
        }
        return WithAlpha(inMix, Rounded(sum, inMix.count), whole);
    }
};

struct StraightOfTwo
{
    // Where both alphas are whole, and those are nearly all that there are, the shares are those that are told.
    static HWY_INLINE PixelVector Mixed(const ByteMix& inMix, const std::uint8_t* const* inRows,
                                        std::size_t inAt)
    {
        const Pixels d;
        const PixelVector first = LoadSet(inMix, 0, inRows, inAt);
        const PixelVector second = LoadSet(inMix, 1, inRows, inAt);
        const bool areShares = inMix.shares[0] + inMix.shares[1] == 65535;
        const PixelVector alphas = hn::And(hn::And(first, second), hn::Set(d, kAlphaMask));
        if (areShares && hn::AllTrue(d, hn::Eq(alphas, hn::Set(d, kAlphaMask))))
        {
            return Sum(first, second, Word(inMix.shares[1]));
        }
        const FloatVector part = WeighedAlpha(second, inMix.shares[1]);
        const FloatVector whole = hn::Add(WeighedAlpha(first, inMix.shares[0]), part);
        const PixelVector share = ToNumber(hn::Mul(part, InverseOf(whole)));
        return WithAlpha(inMix, Sum(first, second, SpreadWord(share)), whole);
    }

    static HWY_INLINE PixelVector Sum(PixelVector inFirst, PixelVector inSecond, WordVector inShareOfSecond)
    {
        Halves sum = {hn::Zero(Words()), hn::Zero(Words())};
        AddShare(sum, inFirst, hn::Not(inShareOfSecond));
        AddShare(sum, inSecond, inShareOfSecond);
        return Rounded(sum, 2);
    }
};

template <typename Way, bool kIsStreamed>
void MixWholeVectors(const ByteMix& inMix, const std::uint8_t* const* inRows, std::uint8_t* outTarget,
                     std::size_t inBytes)
{
    const Pixels d;
    const std::size_t step = hn::Lanes(d) * 4;
    for (std::size_t at = 0; at + step <= inBytes; at += step)
    {
        const PixelVector mixed = hn::Or(Way::Mixed(inMix, inRows, at), hn::Set(d, inMix.targetSet));
        auto* place = reinterpret_cast<std::uint32_t*>(outTarget + at);
        if constexpr (kIsStreamed)
        {
            hn::Stream(mixed, d, place);
        }
        else
        {
            hn::StoreU(mixed, d, place);
        }
    }
}

template <typename Way>
void MixRowBy(const ByteMix& inMix, const std::uint8_t* const* inRows, std::uint8_t* outTarget,
              std::size_t inBytes)
{
    const bool isAligned = reinterpret_cast<std::uintptr_t>(outTarget) % (hn::Lanes(Pixels()) * 4) == 0;
    const auto mix = inMix.isStreamed && isAligned ? MixWholeVectors<Way, true> : MixWholeVectors<Way, false>;
    mix(inMix, inRows, outTarget, inBytes);
}

void MixRow(const ByteMix& inMix, const std::uint8_t* const* inRows, std::uint8_t* outTarget,
            std::size_t inBytes)
{
    const auto mix = inMix.isStraight
                         ? (inMix.count == 2 ? MixRowBy<StraightOfTwo> : MixRowBy<StraightOfMany>)
                         : (inMix.count == 2 ? MixRowBy<Plain<2>> : MixRowBy<Plain<0>>);
    mix(inMix, inRows, outTarget, inBytes);
}

#endif

const char* NameOfTarget()
{
    return hwy::TargetName(HWY_TARGET);
}

std::size_t StepOfTarget()
{
#if HWY_TARGET == HWY_SCALAR
    return 1;
#else
    return hn::Lanes(Pixels()) * 4;
#endif
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

HWY_EXPORT(MixRow);
HWY_EXPORT(NameOfTarget);
HWY_EXPORT(StepOfTarget);

}

void MixBytes(const ByteMix& inMix, const std::uint8_t* const* inRows, std::uint8_t* outTarget,
              std::size_t inBytes)
{
    HWY_DYNAMIC_DISPATCH(MixRow)(inMix, inRows, outTarget, inBytes);
    const std::size_t whole = inBytes - inBytes % HWY_DYNAMIC_DISPATCH(StepOfTarget)();
    if (whole == inBytes)
    {
        return;
    }
    // What is left is less than a vector; the twin gives the same bytes.
    const std::uint8_t* rests[kMostMixedRows];
    for (std::size_t row = 0; row < inMix.count; ++row)
    {
        rests[row] = inRows[row] + whole;
    }
    reference::MixBytes(inMix, rests, outTarget + whole, inBytes - whole);
}

const char* MixBytesTarget()
{
    return HWY_DYNAMIC_DISPATCH(NameOfTarget)();
}

}

#endif
