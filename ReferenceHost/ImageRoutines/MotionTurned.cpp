#include "ReferenceHost/ImageRoutines/MotionTurned.h"

#include <cstring>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ReferenceHost/ImageRoutines/MotionTurned.cpp"
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

void WidenRow(const ByteSource& inSource, const std::uint8_t* inPixels, std::int16_t* outPixels,
              std::size_t inCount)
{
    reference::WidenBytes(inSource, inPixels, outPixels, inCount);
}

void HalveRow(const ByteSource& inSource, const std::uint8_t* inUpper, const std::uint8_t* inLower,
              std::int16_t* outPixels, std::size_t inCount)
{
    reference::HalveWidely(inSource, inUpper, inLower, outPixels, inCount);
}

bool SampleRow(const TurnedGrid& inGrid, const TurnedAxis& inU, const TurnedAxis& inV, std::int32_t inFirst,
               std::uint8_t* outPixels, std::size_t inCount)
{
    return reference::SampleTurned(inGrid, inU, inV, inFirst, outPixels, inCount);
}

#else

// Two pixels of the grid, or four of the source: a turned picture jumps from row to row, so that longer
// vectors would be put together from such pieces.
using Shorts = hn::FixedTag<std::int16_t, 8>;
using Words = hn::FixedTag<std::uint16_t, 8>;
using Ints = hn::FixedTag<std::int32_t, 4>;
using Pixels = hn::FixedTag<std::uint32_t, 4>;
using Codes = hn::FixedTag<std::uint8_t, 16>;
using ShortVector = hn::Vec<Shorts>;
using WordVector = hn::Vec<Words>;
using IntVector = hn::Vec<Ints>;
using PixelVector = hn::Vec<Pixels>;

struct FourPixels
{
    WordVector first, second; // two of them each
};

HWY_INLINE PixelVector LoadPixels(const std::uint8_t* inPixels)
{
    return hn::BitCast(Pixels(), hn::LoadU(Codes(), inPixels));
}

HWY_INLINE FourPixels Widened(PixelVector inPixels)
{
    const auto codes = hn::BitCast(Codes(), inPixels);
    const auto none = hn::Zero(Codes());
    return {hn::BitCast(Words(), hn::InterleaveLower(Codes(), codes, none)),
            hn::BitCast(Words(), hn::InterleaveUpper(Codes(), codes, none))};
}

HWY_INLINE FourPixels Premultiplied(PixelVector inPixels)
{
    const Pixels d;
    const PixelVector alpha = hn::ShiftRight<24>(inPixels);
    const PixelVector both = hn::Or(alpha, hn::ShiftLeft<8>(alpha));
    const FourPixels alphas = Widened(hn::Or(both, hn::ShiftLeft<16>(both)));
    const FourPixels codes = Widened(hn::Or(inPixels, hn::Set(d, 0xFF000000U)));
    const WordVector share = hn::Set(Words(), 32897); // 128 / 255
    return {hn::MulHigh(hn::Mul(codes.first, alphas.first), share),
            hn::MulHigh(hn::Mul(codes.second, alphas.second), share)};
}

HWY_INLINE bool AreOpaque(PixelVector inPixels)
{
    const Pixels d;
    const PixelVector full = hn::Set(d, 0xFF000000U);
    return hn::AllTrue(d, hn::Eq(hn::And(inPixels, full), full));
}

HWY_INLINE void StoreWords(WordVector inWords, std::int16_t* outComponents)
{
    hn::StoreU(hn::BitCast(Shorts(), inWords), Shorts(), outComponents);
}

void WidenRow(const ByteSource& inSource, const std::uint8_t* inPixels, std::int16_t* outPixels,
              std::size_t inCount)
{
    const PixelVector alwaysSet = hn::Set(Pixels(), inSource.isOpaque ? 0xFF000000U : 0U);
    std::size_t i = 0;
    for (; i + 4 <= inCount; i += 4)
    {
        const PixelVector pixels = hn::Or(LoadPixels(inPixels + i * 4), alwaysSet);
        FourPixels wide;
        if (inSource.isStraight && !AreOpaque(pixels))
        {
            wide = Premultiplied(pixels);
        }
        else // opaque pixels come out the same either way
        {
            wide = Widened(pixels);
            wide = {hn::ShiftLeft<7>(wide.first), hn::ShiftLeft<7>(wide.second)};
        }
        StoreWords(wide.first, outPixels + i * 4);
        StoreWords(wide.second, outPixels + i * 4 + 8);
    }
    reference::WidenBytes(inSource, inPixels + i * 4, outPixels + i * 4, inCount - i);
}

HWY_INLINE WordVector EvenPixels(const FourPixels& inPixels)
{
    return hn::ConcatLowerLower(Words(), inPixels.second, inPixels.first);
}

HWY_INLINE WordVector OddPixels(const FourPixels& inPixels)
{
    return hn::ConcatUpperUpper(Words(), inPixels.second, inPixels.first);
}

HWY_INLINE WordVector MeansOfPlain(PixelVector inUpper, PixelVector inLower)
{
    const FourPixels upper = Widened(inUpper);
    const FourPixels lower = Widened(inLower);
    const FourPixels sums = {hn::Add(upper.first, lower.first), hn::Add(upper.second, lower.second)};
    return hn::ShiftLeft<5>(hn::Add(EvenPixels(sums), OddPixels(sums)));
}

HWY_INLINE WordVector MeansOfStraight(PixelVector inUpper, PixelVector inLower)
{
    const FourPixels upper = Premultiplied(inUpper);
    const FourPixels lower = Premultiplied(inLower);
    const FourPixels means = {hn::AverageRound(upper.first, lower.first),
                              hn::AverageRound(upper.second, lower.second)};
    return hn::AverageRound(EvenPixels(means), OddPixels(means));
}

void HalveRow(const ByteSource& inSource, const std::uint8_t* inUpper, const std::uint8_t* inLower,
              std::int16_t* outPixels, std::size_t inCount)
{
    const PixelVector alwaysSet = hn::Set(Pixels(), inSource.isOpaque ? 0xFF000000U : 0U);
    std::size_t i = 0;
    for (; i + 2 <= inCount; i += 2)
    {
        const PixelVector upper = hn::Or(LoadPixels(inUpper + i * 8), alwaysSet);
        const PixelVector lower = hn::Or(LoadPixels(inLower + i * 8), alwaysSet);
        const bool isStraight = inSource.isStraight && !AreOpaque(hn::And(upper, lower));
        StoreWords(isStraight ? MeansOfStraight(upper, lower) : MeansOfPlain(upper, lower),
                   outPixels + i * 4);
    }
    reference::HalveWidely(inSource, inUpper + i * 8, inLower + i * 8, outPixels + i * 4, inCount - i);
}

// Component by component the first of two pixels times the first weight and the second times the second.
HWY_INLINE IntVector PairSum(ShortVector inPixels, const std::int16_t* inWeights)
{
    const Shorts d;
    const ShortVector upper = hn::BitCast(d, hn::Shuffle1032(hn::BitCast(Ints(), inPixels)));
    const ShortVector pairs = hn::InterleaveLower(d, inPixels, upper);
    std::int32_t both = 0;
    std::memcpy(&both, inWeights, sizeof both);
    const IntVector weights = hn::Set(Ints(), both);
#if HWY_ARCH_X86 && HWY_TARGET <= HWY_SSE2
    IntVector unused = hn::Zero(Ints());
    return hn::ReorderWidenMulAccumulate(Ints(), pairs, hn::BitCast(d, weights), hn::Zero(Ints()), unused);
#else
    const auto even = [](IntVector inBoth) { return hn::ShiftRight<16>(hn::ShiftLeft<16>(inBoth)); };
    const IntVector wide = hn::BitCast(Ints(), pairs);
    return hn::Add(hn::Mul(even(wide), even(weights)),
                   hn::Mul(hn::ShiftRight<16>(wide), hn::ShiftRight<16>(weights)));
#endif
}

template <int kTaps>
HWY_INLINE IntVector Sum(const std::int16_t* inCorner, std::ptrdiff_t inPitch, const std::int16_t* inAcross,
                         const std::int16_t* inDown)
{
    const Shorts d;
    IntVector sum = hn::Set(Ints(), 1 << (kSumBits - 1));
    for (int column = 0; column < kTaps; column += 2)
    {
        const std::int16_t* at = inCorner + static_cast<std::ptrdiff_t>(column) * 4;
        ShortVector pixels = hn::MulFixedPoint15(hn::LoadU(d, at), hn::Set(d, inDown[0]));
        for (int row = 1; row < kTaps; ++row)
        {
            pixels = hn::Add(pixels,
                             hn::MulFixedPoint15(hn::LoadU(d, at + row * inPitch), hn::Set(d, inDown[row])));
        }
        sum = hn::Add(sum, PairSum(pixels, inAcross + column));
    }
    return sum;
}

template <int kTaps>
bool SampleAll(const TurnedGrid& inGrid, const TurnedAxis& inU, const TurnedAxis& inV, std::int32_t inFirst,
               std::uint8_t* outPixels, std::size_t inCount)
{
    const hn::FixedTag<std::uint8_t, 4> d;
    const std::int16_t* across = inU.taps->Row(0);
    const std::int16_t* down = inV.taps->Row(0);
    auto all = hn::Set(d, 255);
    for (std::size_t i = 0; i < inCount; ++i)
    {
        const std::int64_t column = inFirst + static_cast<std::int64_t>(i);
        const TurnedPlace u = TurnedPlaceAt(inU, column);
        const TurnedPlace v = TurnedPlaceAt(inV, column);
        const std::int16_t* corner = inGrid.pixels + (v.first - inGrid.top) * inGrid.pitch +
                                     (u.first - inGrid.left) * std::ptrdiff_t{4};
        const IntVector sum = Sum<kTaps>(corner, inGrid.pitch, across + u.phase * std::ptrdiff_t{kTaps},
                                         down + v.phase * std::ptrdiff_t{kTaps});
        const auto pixel = hn::DemoteTo(d, hn::ShiftRight<kSumBits>(sum));
        hn::StoreU(pixel, d, outPixels + i * 4);
        all = hn::And(all, pixel);
    }
    std::uint8_t codes[4];
    hn::StoreU(all, d, codes);
    return codes[3] == 255;
}

bool SampleRow(const TurnedGrid& inGrid, const TurnedAxis& inU, const TurnedAxis& inV, std::int32_t inFirst,
               std::uint8_t* outPixels, std::size_t inCount)
{
    switch (inU.taps->Taps())
    {
    case 2: return SampleAll<2>(inGrid, inU, inV, inFirst, outPixels, inCount);
    case 4: return SampleAll<4>(inGrid, inU, inV, inFirst, outPixels, inCount);
    case 6: return SampleAll<6>(inGrid, inU, inV, inFirst, outPixels, inCount);
    default: return SampleAll<8>(inGrid, inU, inV, inFirst, outPixels, inCount);
    }
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

HWY_EXPORT(WidenRow);
HWY_EXPORT(HalveRow);
HWY_EXPORT(SampleRow);
HWY_EXPORT(NameOfTarget);

}

void WidenBytes(const ByteSource& inSource, const std::uint8_t* inPixels, std::int16_t* outPixels,
                std::size_t inCount)
{
    HWY_DYNAMIC_DISPATCH(WidenRow)(inSource, inPixels, outPixels, inCount);
}

void HalveWidely(const ByteSource& inSource, const std::uint8_t* inUpper, const std::uint8_t* inLower,
                 std::int16_t* outPixels, std::size_t inCount)
{
    HWY_DYNAMIC_DISPATCH(HalveRow)(inSource, inUpper, inLower, outPixels, inCount);
}

bool SampleTurned(const TurnedGrid& inGrid, const TurnedAxis& inU, const TurnedAxis& inV,
                  std::int32_t inFirst, std::uint8_t* outPixels, std::size_t inCount)
{
    return HWY_DYNAMIC_DISPATCH(SampleRow)(inGrid, inU, inV, inFirst, outPixels, inCount);
}

const char* MotionTurnedTarget()
{
    return HWY_DYNAMIC_DISPATCH(NameOfTarget)();
}

}

#endif
