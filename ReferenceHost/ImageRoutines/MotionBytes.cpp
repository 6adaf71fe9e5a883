#include "ReferenceHost/ImageRoutines/MotionBytes.h"

#include <cmath>
#include <cstring>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ReferenceHost/ImageRoutines/MotionBytes.cpp"
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

#if HWY_TARGET == HWY_SCALAR

// One lane holds half a pixel at most; the twin does the same work as well as any kernel could.
bool SampleRow(const ByteSource& inSource, const BytePlace& inU, const BytePlace& inV, std::int32_t inFirst,
               std::uint8_t* outPixels, std::size_t inCount)
{
    return reference::SampleBytes(inSource, inU, inV, inFirst, outPixels, inCount);
}

bool HalveRow(const ByteSource& inSource, const std::uint8_t* inUpper, const std::uint8_t* inLower,
              std::uint8_t* outPixels, std::size_t inCount)
{
    return reference::HalveBytes(inSource, inUpper, inLower, outPixels, inCount);
}

#else

using Pixels = hn::ScalableTag<std::uint32_t>;
using Ints = hn::RebindToSigned<Pixels>;
using Words = hn::Repartition<std::uint16_t, Pixels>;
using Shorts = hn::RebindToSigned<Words>;
using Longs = hn::Repartition<std::int64_t, Pixels>;
using PixelVector = hn::Vec<Pixels>;
using IntVector = hn::Vec<Ints>;
using WordVector = hn::Vec<Words>;
using ShortVector = hn::Vec<Shorts>;

// The components of whole pixels with seven bits behind the point: places 0 and 2, 1 and 3.
struct Halves
{
    ShortVector even;
    ShortVector odd;
};

// Codes of one half of the pixels, each in a word of its own.
HWY_INLINE WordVector EvenCodes(PixelVector inPixels)
{
    return hn::And(hn::BitCast(Words(), inPixels), hn::Set(Words(), 0x00FF));
}

HWY_INLINE WordVector OddCodes(PixelVector inPixels)
{
    return hn::ShiftRight<8>(hn::BitCast(Words(), inPixels));
}

HWY_INLINE ShortVector Raised(WordVector inCodes)
{
    return hn::BitCast(Shorts(), hn::ShiftLeft<7>(inCodes));
}

template <bool kIsStraight>
HWY_INLINE Halves Split(PixelVector inPixels, PixelVector inAlwaysSet)
{
    const Pixels d;
    if constexpr (kIsStraight)
    {
        const PixelVector alpha = hn::ShiftRight<24>(inPixels);
        const WordVector both = hn::BitCast(Words(), hn::Or(alpha, hn::ShiftLeft<16>(alpha)));
        const PixelVector full = hn::Or(inPixels, hn::Set(d, 0xFF000000U));
        const WordVector share = hn::Set(Words(), 32897); // 128 / 255
        return {hn::BitCast(Shorts(), hn::MulHigh(hn::Mul(EvenCodes(full), both), share)),
                hn::BitCast(Shorts(), hn::MulHigh(hn::Mul(OddCodes(full), both), share))};
    }
    else
    {
        const PixelVector pixels = hn::Or(inPixels, inAlwaysSet);
        return {Raised(EvenCodes(pixels)), Raised(OddCodes(pixels))};
    }
}

HWY_INLINE ShortVector Between(ShortVector inFrom, ShortVector inTo, ShortVector inWeight)
{
    return hn::Add(inFrom, hn::MulFixedPoint15(hn::Sub(inTo, inFrom), inWeight));
}

HWY_INLINE Halves Between(const Halves& inFrom, const Halves& inTo, ShortVector inWeight)
{
    return {Between(inFrom.even, inTo.even, inWeight), Between(inFrom.odd, inTo.odd, inWeight)};
}

HWY_INLINE PixelVector Joined(const Halves& inHalves)
{
    const Shorts d;
    const ShortVector half = hn::Set(d, 64);
    const ShortVector even = hn::ShiftRight<7>(hn::Add(inHalves.even, half));
    const ShortVector odd = hn::ShiftRight<7>(hn::Add(inHalves.odd, half));
    return hn::BitCast(Pixels(), hn::Or(even, hn::ShiftLeft<8>(odd)));
}

// The places of a vector of pixels, as two vectors of wide numbers.
struct Places
{
    HWY_INLINE Places(const BytePlace& inPlace, std::int64_t inColumn)
    {
        const Longs d;
        alignas(64) std::int64_t places[hn::MaxLanes(d) * 2];
        for (std::size_t i = 0; i < hn::Lanes(d) * 2; ++i)
        {
            places[i] = inPlace.start + inPlace.step * (inColumn + static_cast<std::int64_t>(i));
        }
        low = hn::Load(d, places);
        high = hn::Load(d, places + hn::Lanes(d));
        step = hn::Set(d, inPlace.step * static_cast<std::int64_t>(hn::Lanes(d) * 2));
    }

    HWY_INLINE IntVector Whole() const
    {
        const Ints d;
        return hn::ConcatOdd(d, hn::BitCast(d, high), hn::BitCast(d, low));
    }

    // Fifteen bits behind the point, in both words of a pixel.
    HWY_INLINE ShortVector Weights() const
    {
        const Pixels d;
        const PixelVector rest =
            hn::ShiftRight<17>(hn::ConcatEven(d, hn::BitCast(d, high), hn::BitCast(d, low)));
        return hn::BitCast(Shorts(), hn::Or(rest, hn::ShiftLeft<16>(rest)));
    }

    HWY_INLINE void Advance()
    {
        low = hn::Add(low, step);
        high = hn::Add(high, step);
    }

    hn::Vec<Longs> low, high, step;
};

// The address of a pixel along one axis, in bytes; beyond an edge that of the edge's.
HWY_INLINE IntVector Offsets(IntVector inPlaces, std::int32_t inLast, IntVector inPitch)
{
    const Ints d;
    return hn::Mul(hn::Min(hn::Max(inPlaces, hn::Zero(d)), hn::Set(d, inLast)), inPitch);
}

HWY_INLINE IntVector ColumnOffsets(IntVector inPlaces, std::int32_t inLast)
{
    const Ints d;
    return hn::ShiftLeft<2>(hn::Min(hn::Max(inPlaces, hn::Zero(d)), hn::Set(d, inLast)));
}

// The four pixels round each place.
struct Corners
{
    PixelVector upperLeft, upperRight, lowerLeft, lowerRight;
};

HWY_INLINE Corners GatherClamped(const ByteSource& inSource, const Places& inU, const Places& inV)
{
    const Pixels d;
    const Ints di;
    const auto* base = reinterpret_cast<const std::uint32_t*>(inSource.pixels);
    const IntVector one = hn::Set(di, 1);
    const IntVector pitch = hn::Set(di, static_cast<std::int32_t>(inSource.stride));
    const IntVector x = inU.Whole();
    const IntVector y = inV.Whole();
    const IntVector left = ColumnOffsets(x, inSource.width - 1);
    const IntVector right = ColumnOffsets(hn::Add(x, one), inSource.width - 1);
    const IntVector upper = Offsets(y, inSource.height - 1, pitch);
    const IntVector lower = Offsets(hn::Add(y, one), inSource.height - 1, pitch);
    const auto at = [&](IntVector inRow, IntVector inColumn)
    { return hn::GatherOffset(d, base, hn::Add(inRow, inColumn)); };
    return {at(upper, left), at(upper, right), at(lower, left), at(lower, right)};
}

// Where no place needs an edge, two pixels beside each other are one load of 64 bits.
HWY_INLINE hn::Vec<Longs> PairOffsets(const ByteSource& inSource, hn::Vec<Longs> inU, hn::Vec<Longs> inV)
{
    const Longs d;
    const Ints di;
    const hn::RebindToUnsigned<Longs> du;
    const auto whole = [&](hn::Vec<Longs> inPlaces)
    { return hn::BitCast(d, hn::ShiftRight<32>(hn::BitCast(du, inPlaces))); };
    const IntVector pitch = hn::Set(di, static_cast<std::int32_t>(inSource.stride));
    return hn::Add(hn::MulEven(hn::BitCast(di, whole(inV)), pitch), hn::ShiftLeft<2>(whole(inU)));
}

HWY_INLINE Corners GatherPairs(const ByteSource& inSource, const Places& inU, const Places& inV)
{
    const Pixels d;
    const Longs dl;
    const auto* upper = reinterpret_cast<const std::int64_t*>(inSource.pixels);
    const auto* lower = reinterpret_cast<const std::int64_t*>(inSource.pixels + inSource.stride);
    const hn::Vec<Longs> first = PairOffsets(inSource, inU.low, inV.low);
    const hn::Vec<Longs> second = PairOffsets(inSource, inU.high, inV.high);
    const auto upperFirst = hn::BitCast(d, hn::GatherOffset(dl, upper, first));
    const auto upperSecond = hn::BitCast(d, hn::GatherOffset(dl, upper, second));
    const auto lowerFirst = hn::BitCast(d, hn::GatherOffset(dl, lower, first));
    const auto lowerSecond = hn::BitCast(d, hn::GatherOffset(dl, lower, second));
    return {hn::ConcatEven(d, upperSecond, upperFirst), hn::ConcatOdd(d, upperSecond, upperFirst),
            hn::ConcatEven(d, lowerSecond, lowerFirst), hn::ConcatOdd(d, lowerSecond, lowerFirst)};
}

template <bool kIsStraight>
HWY_INLINE PixelVector Mix(const Corners& inCorners, const Places& inU, const Places& inV,
                           PixelVector inAlwaysSet)
{
    const ShortVector along = inU.Weights();
    const Halves first = Between(Split<kIsStraight>(inCorners.upperLeft, inAlwaysSet),
                                 Split<kIsStraight>(inCorners.upperRight, inAlwaysSet), along);
    const Halves second = Between(Split<kIsStraight>(inCorners.lowerLeft, inAlwaysSet),
                                  Split<kIsStraight>(inCorners.lowerRight, inAlwaysSet), along);
    return Joined(Between(first, second, inV.Weights()));
}

HWY_INLINE bool AreOpaque(PixelVector inPixels)
{
    const Pixels d;
    return hn::AllTrue(d, hn::Eq(hn::ShiftRight<24>(inPixels), hn::Set(d, 255)));
}

HWY_INLINE bool AreOpaque(const Corners& inCorners)
{
    return AreOpaque(hn::And(hn::And(inCorners.upperLeft, inCorners.upperRight),
                             hn::And(inCorners.lowerLeft, inCorners.lowerRight)));
}

// Whether a stretch of places from the first to the last, all between two pixels each, needs no edge.
HWY_INLINE bool IsInside(std::int64_t inFirst, std::int64_t inLast, std::int32_t inCount)
{
    const auto most = static_cast<std::uint64_t>(inCount - 1);
    return static_cast<std::uint64_t>(inFirst >> 32) < most &&
           static_cast<std::uint64_t>(inLast >> 32) < most;
}

template <bool kIsStraight>
bool SampleAll(const ByteSource& inSource, const BytePlace& inU, const BytePlace& inV, std::int32_t inFirst,
               std::uint8_t* outPixels, std::size_t inCount)
{
    const Pixels d;
    const std::size_t step = hn::Lanes(d);
    const PixelVector alwaysSet = hn::Set(d, inSource.isOpaque ? 0xFF000000U : 0U);
    Places u(inU, inFirst);
    Places v(inV, inFirst);
    PixelVector all = hn::Set(d, 0xFFFFFFFFU);
    std::size_t i = 0;
    for (; i + step <= inCount; i += step)
    {
        const std::int64_t first = inFirst + static_cast<std::int64_t>(i);
        const std::int64_t last = first + static_cast<std::int64_t>(step) - 1;
        const bool isInside =
            IsInside(inU.start + inU.step * first, inU.start + inU.step * last, inSource.width) &&
            IsInside(inV.start + inV.step * first, inV.start + inV.step * last, inSource.height);
        const Corners corners = isInside ? GatherPairs(inSource, u, v) : GatherClamped(inSource, u, v);
        // Opaque pixels come out the same either way.
        const PixelVector pixels = kIsStraight && !AreOpaque(corners) ? Mix<true>(corners, u, v, alwaysSet)
                                                                      : Mix<false>(corners, u, v, alwaysSet);
        all = hn::And(all, pixels);
        hn::StoreU(pixels, d, reinterpret_cast<std::uint32_t*>(outPixels + i * 4));
        u.Advance();
        v.Advance();
    }
    const bool isRestOpaque = reference::SampleBytes(
        inSource, inU, inV, inFirst + static_cast<std::int32_t>(i), outPixels + i * 4, inCount - i);
    return AreOpaque(all) && isRestOpaque;
}

bool SampleRow(const ByteSource& inSource, const BytePlace& inU, const BytePlace& inV, std::int32_t inFirst,
               std::uint8_t* outPixels, std::size_t inCount)
{
    return (inSource.isStraight ? SampleAll<true> : SampleAll<false>)(inSource, inU, inV, inFirst, outPixels,
                                                                      inCount);
}

HWY_INLINE WordVector Sum(ShortVector inOne, ShortVector inOther)
{
    return hn::Add(hn::BitCast(Words(), inOne), hn::BitCast(Words(), inOther));
}

// A quarter of the sum as bytes. The sum may have 17 bits, so that it is halved before it is made.
HWY_INLINE WordVector Quarter(WordVector inUpper, WordVector inLower)
{
    const Words d;
    const WordVector low = hn::Add(hn::And(inUpper, hn::Set(d, 1)), hn::And(inLower, hn::Set(d, 1)));
    const WordVector high = hn::Add(hn::ShiftRight<1>(inUpper), hn::ShiftRight<1>(inLower));
    return hn::ShiftRight<8>(hn::Add(hn::Add(high, hn::ShiftRight<1>(low)), hn::Set(d, 128)));
}

template <bool kIsStraight>
HWY_INLINE PixelVector Mean(const Corners& inCorners, PixelVector inAlwaysSet)
{
    const Halves upperLeft = Split<kIsStraight>(inCorners.upperLeft, inAlwaysSet);
    const Halves upperRight = Split<kIsStraight>(inCorners.upperRight, inAlwaysSet);
    const Halves lowerLeft = Split<kIsStraight>(inCorners.lowerLeft, inAlwaysSet);
    const Halves lowerRight = Split<kIsStraight>(inCorners.lowerRight, inAlwaysSet);
    const WordVector even =
        Quarter(Sum(upperLeft.even, upperRight.even), Sum(lowerLeft.even, lowerRight.even));
    const WordVector odd = Quarter(Sum(upperLeft.odd, upperRight.odd), Sum(lowerLeft.odd, lowerRight.odd));
    return hn::BitCast(Pixels(), hn::Or(even, hn::ShiftLeft<8>(odd)));
}

template <bool kIsStraight>
HWY_INLINE PixelVector HalveSome(const std::uint8_t* inUpper, const std::uint8_t* inLower,
                                 PixelVector inAlwaysSet)
{
    const Pixels d;
    const std::size_t step = hn::Lanes(d);
    const auto load = [&](const std::uint8_t* inRow, PixelVector& outEven, PixelVector& outOdd)
    {
        const auto* row = reinterpret_cast<const std::uint32_t*>(inRow);
        const PixelVector first = hn::LoadU(d, row);
        const PixelVector second = hn::LoadU(d, row + step);
        outEven = hn::ConcatEven(d, second, first);
        outOdd = hn::ConcatOdd(d, second, first);
    };
    PixelVector pixels[4];
    load(inUpper, pixels[0], pixels[1]);
    load(inLower, pixels[2], pixels[3]);
    const Corners corners = {pixels[0], pixels[1], pixels[2], pixels[3]};
    return kIsStraight && !AreOpaque(corners) ? Mean<true>(corners, inAlwaysSet)
                                              : Mean<false>(corners, inAlwaysSet);
}

template <bool kIsStraight>
bool HalveAll(const ByteSource& inSource, const std::uint8_t* inUpper, const std::uint8_t* inLower,
              std::uint8_t* outPixels, std::size_t inCount)
{
    const Pixels d;
    const std::size_t step = hn::Lanes(d);
    const PixelVector alwaysSet = hn::Set(d, inSource.isOpaque ? 0xFF000000U : 0U);
    PixelVector all = hn::Set(d, 0xFFFFFFFFU);
    std::size_t i = 0;
    for (; i + step <= inCount; i += step)
    {
        const PixelVector pixels = HalveSome<kIsStraight>(inUpper + i * 8, inLower + i * 8, alwaysSet);
        all = hn::And(all, pixels);
        hn::StoreU(pixels, d, reinterpret_cast<std::uint32_t*>(outPixels + i * 4));
    }
    const bool isRestOpaque =
        reference::HalveBytes(inSource, inUpper + i * 8, inLower + i * 8, outPixels + i * 4, inCount - i);
    return AreOpaque(all) && isRestOpaque;
}

bool HalveRow(const ByteSource& inSource, const std::uint8_t* inUpper, const std::uint8_t* inLower,
              std::uint8_t* outPixels, std::size_t inCount)
{
    return (inSource.isStraight ? HalveAll<true> : HalveAll<false>)(inSource, inUpper, inLower, outPixels,
                                                                    inCount);
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

HWY_EXPORT(SampleRow);
HWY_EXPORT(HalveRow);
HWY_EXPORT(NameOfTarget);

constexpr double kUnit = 4294967296.0;

}

ByteSource ByteSourceOf(const Picture& inPicture) noexcept
{
    return {inPicture.Row(0, 0), inPicture.strides[0],  inPicture.width,
            inPicture.height,    !inPicture.HasAlpha(), inPicture.alpha == PictureAlpha::kStraight};
}

bool IsWithinReach(const Picture& inPicture) noexcept
{
    const std::int64_t stride = inPicture.strides[0] < 0 ? -inPicture.strides[0] : inPicture.strides[0];
    return stride * inPicture.height < (std::int64_t{1} << 31);
}

BytePlace PlaceAlong(const MotionAxis& inAxis, std::int32_t inRow) noexcept
{
    return {std::llround((inAxis.At(0.5, inRow + 0.5) - 0.5) * kUnit), std::llround(inAxis.alongX * kUnit)};
}

bool SampleBytes(const ByteSource& inSource, const BytePlace& inU, const BytePlace& inV, std::int32_t inFirst,
                 std::uint8_t* outPixels, std::size_t inCount)
{
    return HWY_DYNAMIC_DISPATCH(SampleRow)(inSource, inU, inV, inFirst, outPixels, inCount);
}

bool HalveBytes(const ByteSource& inSource, const std::uint8_t* inUpper, const std::uint8_t* inLower,
                std::uint8_t* outPixels, std::size_t inCount)
{
    return HWY_DYNAMIC_DISPATCH(HalveRow)(inSource, inUpper, inLower, outPixels, inCount);
}

const char* MotionBytesTarget()
{
    return HWY_DYNAMIC_DISPATCH(NameOfTarget)();
}

}

#endif
