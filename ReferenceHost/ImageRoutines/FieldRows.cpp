#include "ReferenceHost/ImageRoutines/FieldRows.h"

#include <algorithm>
#include <cstring>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ReferenceHost/ImageRoutines/FieldRows.cpp"
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

using Words = hn::ScalableTag<std::uint32_t>;
using WordVector = hn::Vec<Words>;
using Floats = hn::ScalableTag<float>;
using FloatVector = hn::Vec<Floats>;
using Doubles = hn::ScalableTag<double>;
using Longs = hn::ScalableTag<std::uint64_t>;

// No kind takes more at a time than four vectors.
constexpr std::size_t kMostStretch = 4 * sizeof(float) * hn::MaxLanes(Floats());

HWY_INLINE WordVector LoadWords(const std::uint8_t* inBytes)
{
    return hn::LoadU(Words(), reinterpret_cast<const std::uint32_t*>(inBytes));
}

HWY_INLINE void StoreWords(WordVector inWords, std::uint8_t* outBytes)
{
    hn::StoreU(inWords, Words(), reinterpret_cast<std::uint32_t*>(outBytes));
}

HWY_INLINE FloatVector LoadFloats(const std::uint8_t* inBytes)
{
    return hn::LoadU(Floats(), reinterpret_cast<const float*>(inBytes));
}

HWY_INLINE void StoreFloats(FloatVector inFloats, std::uint8_t* outBytes)
{
    hn::StoreU(inFloats, Floats(), reinterpret_cast<float*>(outBytes));
}

// Rows that a row is made from: above and below, or above, here and below.
template <int kTaps>
struct Taps
{
    const std::uint8_t* row[kTaps];
};

// a | b is the mean plus half of what differs; so nothing is carried from sample to sample.
HWY_INLINE WordVector PackedMean(const PackedFields& inFields, WordVector inA, WordVector inB)
{
    const WordVector half =
        hn::And(hn::ShiftRight<1>(hn::Xor(inA, inB)), hn::Set(Words(), inFields.belowTop));
    return hn::Sub(hn::Or(inA, inB), half);
}

HWY_INLINE WordVector SmoothPart(WordVector inA, WordVector inB, WordVector inC, std::uint32_t inMask,
                                 std::uint32_t inTwo)
{
    const WordVector mask = hn::Set(Words(), inMask);
    const WordVector ends = hn::Add(hn::And(inA, mask), hn::And(inC, mask));
    const WordVector sum = hn::Add(ends, hn::ShiftLeft<1>(hn::And(inB, mask)));
    return hn::And(hn::ShiftRight<2>(hn::Add(sum, hn::Set(Words(), inTwo))), mask);
}

HWY_INLINE WordVector PackedSmooth(const PackedFields& inFields, WordVector inA, WordVector inB,
                                   WordVector inC)
{
    const int bits = inFields.bits;
    const WordVector first = SmoothPart(inA, inB, inC, inFields.first, inFields.two);
    const WordVector second =
        SmoothPart(hn::ShiftRightSame(inA, bits), hn::ShiftRightSame(inB, bits),
                   hn::ShiftRightSame(inC, bits), inFields.second, inFields.two & inFields.second);
    return hn::Or(first, hn::ShiftLeftSame(second, bits));
}

// Samples whose arithmetic knows no pixels.
struct PackedKind
{
    static std::size_t StretchBytes() { return 4 * hn::Lanes(Words()); }

    HWY_INLINE void Make(const Taps<2>& inTaps, std::size_t inAt, std::uint8_t* outRow) const
    {
        StoreWords(PackedMean(fields, LoadWords(inTaps.row[0] + inAt), LoadWords(inTaps.row[1] + inAt)),
                   outRow);
    }
    HWY_INLINE void Make(const Taps<3>& inTaps, std::size_t inAt, std::uint8_t* outRow) const
    {
        StoreWords(PackedSmooth(fields, LoadWords(inTaps.row[0] + inAt), LoadWords(inTaps.row[1] + inAt),
                                LoadWords(inTaps.row[2] + inAt)),
                   outRow);
    }

    PackedFields fields;
};

struct FloatKind
{
    static std::size_t StretchBytes() { return 4 * hn::Lanes(Floats()); }

    HWY_INLINE void Make(const Taps<2>& inTaps, std::size_t inAt, std::uint8_t* outRow) const
    {
        const FloatVector sum = hn::Add(LoadFloats(inTaps.row[0] + inAt), LoadFloats(inTaps.row[1] + inAt));
        StoreFloats(hn::Mul(sum, hn::Set(Floats(), 0.5F)), outRow);
    }
    HWY_INLINE void Make(const Taps<3>& inTaps, std::size_t inAt, std::uint8_t* outRow) const
    {
        const FloatVector here = LoadFloats(inTaps.row[1] + inAt);
        const FloatVector ends = hn::Add(LoadFloats(inTaps.row[0] + inAt), LoadFloats(inTaps.row[2] + inAt));
        StoreFloats(hn::Mul(hn::Add(ends, hn::Add(here, here)), hn::Set(Floats(), 0.25F)), outRow);
    }
};

// Straight pixels as vectors of one component each, in a type that holds all sums exactly, and back. Integers
// go back cut off, a half having been added.
struct StraightBytes
{
    using D = Floats;
    using Vector = FloatVector;
    static constexpr bool kIsInteger = true;
    static constexpr std::size_t kPixelBytes = 4;

    static HWY_INLINE void Load(const std::uint8_t* inPixels, Vector (&outComponents)[4])
    {
        const hn::RebindToSigned<Words> signedWords;
        const WordVector pixels = LoadWords(inPixels);
        for (int i = 0; i < 4; ++i)
        {
            const WordVector code = hn::And(hn::ShiftRightSame(pixels, i * 8), hn::Set(Words(), 0xFF));
            outComponents[i] = hn::ConvertTo(D(), hn::BitCast(signedWords, code));
        }
    }
    static HWY_INLINE void Store(const Vector (&inComponents)[4], std::uint8_t* outPixels)
    {
        const hn::RebindToSigned<Words> signedWords;
        WordVector pixels = hn::Zero(Words());
        for (int i = 0; i < 4; ++i)
        {
            const WordVector code = hn::BitCast(Words(), hn::ConvertTo(signedWords, inComponents[i]));
            pixels = hn::Or(pixels, hn::ShiftLeftSame(code, i * 8));
        }
        StoreWords(pixels, outPixels);
    }
};

struct StraightWords
{
    using D = Doubles;
    using Vector = hn::Vec<Doubles>;
    static constexpr bool kIsInteger = true;
    static constexpr std::size_t kPixelBytes = 8;
    static constexpr double kTwoTo52 = 4503599627370496.0; // its last bit counts ones

    static HWY_INLINE void Load(const std::uint8_t* inPixels, Vector (&outComponents)[4])
    {
        const auto pixels = hn::LoadU(Longs(), reinterpret_cast<const std::uint64_t*>(inPixels));
        const Vector base = hn::Set(D(), kTwoTo52);
        for (int i = 0; i < 4; ++i)
        {
            const auto code = hn::And(hn::ShiftRightSame(pixels, i * 16), hn::Set(Longs(), 0xFFFF));
            outComponents[i] = hn::Sub(hn::BitCast(D(), hn::Or(code, hn::BitCast(Longs(), base))), base);
        }
    }
    static HWY_INLINE void Store(const Vector (&inComponents)[4], std::uint8_t* outPixels)
    {
        auto pixels = hn::Zero(Longs());
        const Vector base = hn::Set(D(), kTwoTo52);
        for (int i = 0; i < 4; ++i)
        {
            const auto code = hn::And(hn::BitCast(Longs(), hn::Add(hn::Floor(inComponents[i]), base)),
                                      hn::Set(Longs(), 0xFFFF));
            pixels = hn::Or(pixels, hn::ShiftLeftSame(code, i * 16));
        }
        hn::StoreU(pixels, Longs(), reinterpret_cast<std::uint64_t*>(outPixels));
    }
};

struct StraightFloats
{
    using D = Floats;
    using Vector = FloatVector;
    static constexpr bool kIsInteger = false;
    static constexpr std::size_t kPixelBytes = 16;

    static HWY_INLINE void Load(const std::uint8_t* inPixels, Vector (&outComponents)[4])
    {
        hn::LoadInterleaved4(D(), reinterpret_cast<const float*>(inPixels), outComponents[0],
                             outComponents[1], outComponents[2], outComponents[3]);
    }
    static HWY_INLINE void Store(const Vector (&inComponents)[4], std::uint8_t* outPixels)
    {
        hn::StoreInterleaved4(inComponents[0], inComponents[1], inComponents[2], inComponents[3], D(),
                              reinterpret_cast<float*>(outPixels));
    }
};

template <class Format>
struct StraightKind
{
    using D = typename Format::D;
    using Vector = typename Format::Vector;

    static std::size_t StretchBytes() { return Format::kPixelBytes * hn::Lanes(D()); }

    static HWY_INLINE Vector Sum(const Vector (&inTerms)[2]) { return hn::Add(inTerms[0], inTerms[1]); }
    static HWY_INLINE Vector Sum(const Vector (&inTerms)[3])
    {
        return hn::Add(hn::Add(inTerms[0], inTerms[2]), hn::Add(inTerms[1], inTerms[1]));
    }

    template <int kTaps>
    HWY_INLINE void Make(const Taps<kTaps>& inTaps, std::size_t inAt, std::uint8_t* outRow) const
    {
        const D d;
        const Vector half = hn::Set(d, 0.5);
        Vector pixels[kTaps][4];
        Vector alpha[kTaps];
        auto isPlain = hn::Eq(half, half);
        for (int tap = 0; tap < kTaps; ++tap)
        {
            Format::Load(inTaps.row[tap] + inAt, pixels[tap]);
            alpha[tap] = pixels[tap][3];
            isPlain = hn::And(isPlain, hn::Eq(alpha[tap], alpha[0]));
        }
        const Vector sumOfAlpha = Sum(alpha);
        isPlain = hn::Or(isPlain, hn::Not(hn::Lt(hn::Zero(d), sumOfAlpha)));
        Vector result[4];
        for (int i = 0; i < 4; ++i)
        {
            Vector plain[kTaps];
            Vector weighted[kTaps];
            for (int tap = 0; tap < kTaps; ++tap)
            {
                plain[tap] = pixels[tap][i];
                weighted[tap] = hn::Mul(pixels[tap][i], alpha[tap]);
            }
            const Vector mean = hn::Mul(Sum(plain), hn::Set(d, kTaps == 2 ? 0.5 : 0.25));
            result[i] = Format::kIsInteger ? hn::Add(mean, half) : mean;
            if (i < 3)
            {
                const Vector sum =
                    Format::kIsInteger ? hn::Add(Sum(weighted), hn::Mul(sumOfAlpha, half)) : Sum(weighted);
                result[i] = hn::IfThenElse(isPlain, result[i], hn::Div(sum, sumOfAlpha));
            }
        }
        Format::Store(result, outRow);
    }
};

// Bytes whose alphas agree, as they do nearly everywhere, need no division.
struct StraightByteKind
{
    static std::size_t StretchBytes() { return StraightKind<StraightBytes>::StretchBytes(); }

    template <int kTaps>
    HWY_INLINE void Make(const Taps<kTaps>& inTaps, std::size_t inAt, std::uint8_t* outRow) const
    {
        WordVector difference = hn::Zero(Words());
        const WordVector first = LoadWords(inTaps.row[0] + inAt);
        for (int tap = 1; tap < kTaps; ++tap)
        {
            difference = hn::Or(difference, hn::Xor(first, LoadWords(inTaps.row[tap] + inAt)));
        }
        const auto isEqual = hn::Eq(hn::ShiftRight<24>(difference), hn::Zero(Words()));
        if (HWY_LIKELY(hn::AllTrue(Words(), isEqual)))
        {
            PackedKind{kByteFields}.Make(inTaps, inAt, outRow);
            return;
        }
        StraightKind<StraightBytes>().Make(inTaps, inAt, outRow);
    }
};

// What is left of a row after the whole stretches goes through copies, so that nothing beyond it is touched.
template <class Kind, int kTaps>
HWY_NOINLINE void MakeRest(const Kind& inKind, const Taps<kTaps>& inTaps, std::size_t inAt,
                           std::uint8_t* outRow, std::size_t inBytes)
{
    alignas(64) std::uint8_t rows[kTaps][kMostStretch] = {};
    alignas(64) std::uint8_t made[kMostStretch];
    Taps<kTaps> copies;
    for (int tap = 0; tap < kTaps; ++tap)
    {
        std::memcpy(rows[tap], inTaps.row[tap] + inAt, inBytes);
        copies.row[tap] = rows[tap];
    }
    inKind.Make(copies, 0, made);
    std::memcpy(outRow + inAt, made, inBytes);
}

template <class Kind, int kTaps>
void MakeRow(const Kind& inKind, const Taps<kTaps>& inTaps, std::uint8_t* outRow, std::size_t inBytes)
{
    const std::size_t step = inKind.StretchBytes();
    std::size_t at = 0;
    for (; at + step <= inBytes; at += step)
    {
        inKind.Make(inTaps, at, outRow + at);
    }
    if (at < inBytes)
    {
        MakeRest(inKind, inTaps, at, outRow, inBytes - at);
    }
}

template <int kTaps>
void MakeAnyRow(FieldRowKind inKind, const Taps<kTaps>& inTaps, std::uint8_t* outRow, std::size_t inBytes)
{
    switch (inKind)
    {
    case FieldRowKind::kBytes: return MakeRow(PackedKind{kByteFields}, inTaps, outRow, inBytes);
    case FieldRowKind::kWords: return MakeRow(PackedKind{kWordFields}, inTaps, outRow, inBytes);
    case FieldRowKind::kTenBits: return MakeRow(PackedKind{kTenBitFields}, inTaps, outRow, inBytes);
    case FieldRowKind::kFloats: return MakeRow(FloatKind(), inTaps, outRow, inBytes);
    case FieldRowKind::kStraightBytes: return MakeRow(StraightByteKind(), inTaps, outRow, inBytes);
    case FieldRowKind::kStraightWords: return MakeRow(StraightKind<StraightWords>(), inTaps, outRow, inBytes);
    case FieldRowKind::kStraightFloats:
        return MakeRow(StraightKind<StraightFloats>(), inTaps, outRow, inBytes);
    }
}

void MakeMeanRow(FieldRowKind inKind, const std::uint8_t* inAbove, const std::uint8_t* inBelow,
                 std::uint8_t* outRow, std::size_t inBytes)
{
    MakeAnyRow(inKind, Taps<2>{{inAbove, inBelow}}, outRow, inBytes);
}

void MakeSmoothRow(FieldRowKind inKind, const std::uint8_t* inAbove, const std::uint8_t* inHere,
                   const std::uint8_t* inBelow, std::uint8_t* outRow, std::size_t inBytes)
{
    MakeAnyRow(inKind, Taps<3>{{inAbove, inHere, inBelow}}, outRow, inBytes);
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

HWY_EXPORT(MakeMeanRow);
HWY_EXPORT(MakeSmoothRow);
HWY_EXPORT(NameOfTarget);

const std::uint8_t* Bytes(const void* inRow)
{
    return static_cast<const std::uint8_t*>(inRow);
}

}

FieldRowKind FieldRowKindOf(const Picture& inPicture) noexcept
{
    if (inPicture.storage == Storage::kV210)
    {
        return FieldRowKind::kTenBits;
    }
    const bool isStraight =
        inPicture.storage == Storage::kPacked4 && inPicture.alpha == PictureAlpha::kStraight;
    switch (inPicture.sample)
    {
    case Sample::kByte: return isStraight ? FieldRowKind::kStraightBytes : FieldRowKind::kBytes;
    case Sample::kWord: return isStraight ? FieldRowKind::kStraightWords : FieldRowKind::kWords;
    default: return isStraight ? FieldRowKind::kStraightFloats : FieldRowKind::kFloats;
    }
}

void MeanRow(FieldRowKind inKind, const void* inAbove, const void* inBelow, void* outRow, std::size_t inBytes)
{
    HWY_DYNAMIC_DISPATCH(MakeMeanRow)
    (inKind, Bytes(inAbove), Bytes(inBelow), static_cast<std::uint8_t*>(outRow), inBytes);
}

void SmoothRow(FieldRowKind inKind, const void* inAbove, const void* inHere, const void* inBelow,
               void* outRow, std::size_t inBytes)
{
    HWY_DYNAMIC_DISPATCH(MakeSmoothRow)
    (inKind, Bytes(inAbove), Bytes(inHere), Bytes(inBelow), static_cast<std::uint8_t*>(outRow), inBytes);
}

const char* FieldRowsTarget()
{
    return HWY_DYNAMIC_DISPATCH(NameOfTarget)();
}

}

#endif
