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
    const WordVector more = Word(inCount / 2 + 128);
    const WordVector even = hn::ShiftRight<8>(hn::SaturatedAdd(inSum.even, more));
    const WordVector odd = hn::And(hn::SaturatedAdd(inSum.odd, more), Word(0xFF00));
    return hn::BitCast(Pixels(), hn::Or(even, odd));
}

HWY_INLINE FloatVector WeighedAlpha(PixelVector inPixels, FloatVector inShare)
{
    const PixelVector alpha = hn::ShiftRight<24>(inPixels);
    return hn::Mul(hn::ConvertTo(Floats(), hn::BitCast(Ints(), alpha)), inShare);
}

HWY_INLINE PixelVector ToNumber(FloatVector inValue)
{
    return hn::BitCast(Pixels(), hn::ConvertTo(Ints(), hn::Add(inValue, Float(0.5F))));
}

HWY_INLINE WordVector SpreadWord(PixelVector inWords)
{
    return hn::BitCast(Words(), hn::Or(inWords, hn::ShiftLeft<16>(inWords)));
}

HWY_INLINE FloatVector InverseOf(FloatVector inWhole)
{
    const auto isNothing = hn::Eq(inWhole, hn::Zero(Floats()));
    return hn::IfThenElse(isNothing, hn::Zero(Floats()), hn::Div(Float(65535.0F), inWhole));
}

HWY_INLINE PixelVector WithAlpha(PixelVector inBlack, PixelVector inColour, FloatVector inWhole)
{
    const Pixels d;
    const PixelVector alpha = ToNumber(hn::Min(hn::Mul(inWhole, Float(1.0F / 65535.0F)), Float(255.0F)));
    const PixelVector seen = hn::Or(hn::And(inColour, hn::Set(d, ~kAlphaMask)), hn::ShiftLeft<24>(alpha));
    return hn::IfThenElse(hn::Eq(alpha, hn::Zero(d)), inBlack, seen);
}

// The ways of rows: made for each row, asked for each vector.
class PlainOfMany
{
public:
    HWY_INLINE PlainOfMany(const ByteMix& inMix, const std::uint8_t* const* inRows)
        : mMix(inMix)
        , mRows(inRows)
    {
    }

    HWY_INLINE PixelVector At(std::size_t inAt) const
    {
        Halves sum = {hn::Zero(Words()), hn::Zero(Words())};
        for (std::size_t row = 0; row < mMix.count; ++row)
        {
            AddShare(sum, LoadSet(mMix, row, mRows, inAt), Word(mMix.shares[row]));
        }
        return Rounded(sum, mMix.count);
    }

private:
    const ByteMix& mMix;
    const std::uint8_t* const* mRows;
};

class StraightOfMany
{
public:
    HWY_INLINE StraightOfMany(const ByteMix& inMix, const std::uint8_t* const* inRows)
        : mMix(inMix)
        , mRows(inRows)
    {
    }

    HWY_INLINE PixelVector At(std::size_t inAt) const
    {
        FloatVector whole = hn::Zero(Floats());
        for (std::size_t row = 0; row < mMix.count; ++row)
        {
            whole = hn::Add(whole, WeighedAlpha(LoadSet(mMix, row, mRows, inAt), Float(mMix.shares[row])));
        }
        const FloatVector inverse = InverseOf(whole);
        Halves sum = {hn::Zero(Words()), hn::Zero(Words())};
        for (std::size_t row = 0; row < mMix.count; ++row)
        {
            const PixelVector pixels = LoadSet(mMix, row, mRows, inAt);
            const FloatVector part = WeighedAlpha(pixels, Float(mMix.shares[row]));
            AddShare(sum, pixels, SpreadWord(ToNumber(hn::Mul(part, inverse))));
        }
        return WithAlpha(hn::Set(Pixels(), mMix.black), Rounded(sum, mMix.count), whole);
    }

private:
    const ByteMix& mMix;
    const std::uint8_t* const* mRows;
};

// Two rows are what dissolves are made of: all that stays the same along them is kept in registers.
class OfTwo
{
public:
    HWY_INLINE OfTwo(const ByteMix& inMix, const std::uint8_t* const* inRows)
        : mFirst(inRows[0])
        , mSecond(inRows[1])
        , mFirstSet(hn::Set(Pixels(), inMix.alwaysSet[0]))
        , mSecondSet(hn::Set(Pixels(), inMix.alwaysSet[1]))
        , mFirstShare(Word(inMix.shares[0]))
        , mSecondShare(Word(inMix.shares[1]))
    {
    }

protected:
    HWY_INLINE PixelVector First(std::size_t inAt) const { return Load(mFirst + inAt, mFirstSet); }
    HWY_INLINE PixelVector Second(std::size_t inAt) const { return Load(mSecond + inAt, mSecondSet); }

    static HWY_INLINE PixelVector Load(const std::uint8_t* inPlace, PixelVector inSet)
    {
        return hn::Or(hn::LoadU(Pixels(), reinterpret_cast<const std::uint32_t*>(inPlace)), inSet);
    }

    static HWY_INLINE PixelVector Sum(PixelVector inFirst, WordVector inFirstShare, PixelVector inSecond,
                                      WordVector inSecondShare)
    {
        Halves sum = {hn::Zero(Words()), hn::Zero(Words())};
        AddShare(sum, inFirst, inFirstShare);
        AddShare(sum, inSecond, inSecondShare);
        return Rounded(sum, 2);
    }

    const std::uint8_t* mFirst;
    const std::uint8_t* mSecond;
    PixelVector mFirstSet;
    PixelVector mSecondSet;
    WordVector mFirstShare;
    WordVector mSecondShare;
};

class PlainOfTwo : public OfTwo
{
public:
    HWY_INLINE PlainOfTwo(const ByteMix& inMix, const std::uint8_t* const* inRows) : OfTwo(inMix, inRows) {}

    HWY_INLINE PixelVector At(std::size_t inAt) const
    {
        return Sum(First(inAt), mFirstShare, Second(inAt), mSecondShare);
    }
};

class StraightOfTwo : public OfTwo
{
public:
    HWY_INLINE StraightOfTwo(const ByteMix& inMix, const std::uint8_t* const* inRows)
        : OfTwo(inMix, inRows)
        , mFirstWeight(Float(inMix.shares[0]))
        , mSecondWeight(Float(inMix.shares[1]))
        , mBlack(hn::Set(Pixels(), inMix.black))
        , mAreWhole(inMix.shares[0] + inMix.shares[1] == 65535)
    {
    }

    // Where both alphas are whole, and those are nearly all that there are, the shares are those that are told.
    HWY_INLINE PixelVector At(std::size_t inAt) const
    {
        const Pixels d;
        const PixelVector first = First(inAt);
        const PixelVector second = Second(inAt);
        const PixelVector alphas = hn::ShiftRight<24>(hn::And(first, second));
        if (mAreWhole && hn::AllTrue(d, hn::Eq(alphas, hn::Set(d, 255))))
        {
            return Sum(first, mFirstShare, second, mSecondShare);
        }
        const FloatVector part = WeighedAlpha(second, mSecondWeight);
        const FloatVector whole = hn::Add(WeighedAlpha(first, mFirstWeight), part);
        const WordVector share = SpreadWord(ToNumber(hn::Mul(part, InverseOf(whole))));
        return WithAlpha(mBlack, Sum(first, hn::Not(share), second, share), whole);
    }

private:
    FloatVector mFirstWeight;
    FloatVector mSecondWeight;
    PixelVector mBlack;
    bool mAreWhole;
};

template <typename Way, bool kIsStreamed>
void MixWholeVectors(const ByteMix& inMix, const std::uint8_t* const* inRows, std::uint8_t* outTarget,
                     std::size_t inBytes)
{
    const Pixels d;
    const Way way(inMix, inRows);
    const PixelVector set = hn::Set(d, inMix.targetSet);
    const std::size_t step = hn::Lanes(d) * 4;
    for (std::size_t at = 0; at + step <= inBytes; at += step)
    {
        const PixelVector mixed = hn::Or(way.At(at), set);
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
                         : (inMix.count == 2 ? MixRowBy<PlainOfTwo> : MixRowBy<PlainOfMany>);
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
