#include "ReferenceHost/ImageRoutines/YuvToBgra.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "ReferenceHost/ImageRoutines/Colour.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ReferenceHost/ImageRoutines/YuvToBgra.cpp"
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

using Words = hn::ScalableTag<std::uint16_t>;
using Shorts = hn::RebindToSigned<Words>;
#if HWY_TARGET != HWY_SCALAR
using Bytes = hn::Repartition<std::uint8_t, Words>;
#endif
using HalfBytes = hn::Rebind<std::uint8_t, Words>;
using WordVector = hn::Vec<Words>;
using ShortVector = hn::Vec<Shorts>;

// Two vectors of words: of the even pixels of a stretch and of the odd ones, in order.
struct Pair
{
    WordVector even;
    WordVector odd;
};

// Two bytes to a word. The one-lane target has no vectors of bytes twice as long as its words.
HWY_INLINE WordVector LoadTwoBytes(const std::uint8_t* inRow)
{
    const Words d;
#if HWY_TARGET == HWY_SCALAR
    return hn::Set(d, static_cast<std::uint16_t>(inRow[0] | (inRow[1] << 8)));
#else
    return hn::BitCast(d, hn::LoadU(Bytes(), inRow));
#endif
}

HWY_INLINE Pair LoadBytePair(const std::uint8_t* inRow)
{
    const Words d;
    const WordVector both = LoadTwoBytes(inRow);
    return {hn::And(both, hn::Set(d, 0xFF)), hn::ShiftRight<8>(both)};
}

HWY_INLINE Pair LoadWordPair(const std::uint16_t* inRow)
{
    Pair pair;
    hn::LoadInterleaved2(Words(), inRow, pair.even, pair.odd);
    return pair;
}

// Samples at 15 bits.
template <bool kIsWord>
HWY_INLINE Pair LoadLuma(const void* inRow, std::size_t inX, int inLeftShift)
{
    if constexpr (kIsWord)
    {
        const Pair raw = LoadWordPair(static_cast<const std::uint16_t*>(inRow) + inX);
        if (inLeftShift < 0)
        {
            return {hn::ShiftRight<1>(raw.even), hn::ShiftRight<1>(raw.odd)};
        }
        return {hn::ShiftLeftSame(raw.even, inLeftShift), hn::ShiftLeftSame(raw.odd, inLeftShift)};
    }
    else
    {
        const Words d;
        const WordVector both = LoadTwoBytes(static_cast<const std::uint8_t*>(inRow) + inX);
        const WordVector mask = hn::Set(d, 0x7F80);
        return {hn::And(hn::ShiftLeft<7>(both), mask), hn::And(hn::ShiftRight<1>(both), mask)};
    }
}

// Chroma of the pixels from inX on, at 15 bits and about 0.
template <ChromaPhase kPhase>
HWY_INLINE Pair LoadChroma(const std::uint16_t* inRow, std::size_t inX)
{
    const Words d;
    const WordVector middle = hn::Set(d, 16384);
    if constexpr (kPhase == ChromaPhase::kFull)
    {
        const Pair raw = LoadWordPair(inRow + inX);
        return {hn::Sub(hn::ShiftLeft<2>(raw.even), middle), hn::Sub(hn::ShiftLeft<2>(raw.odd), middle)};
    }
    const std::uint16_t* here = inRow + inX / 2;
    const WordVector own = hn::LoadU(d, here);
    const WordVector next = hn::LoadU(d, here + 1);
    if constexpr (kPhase == ChromaPhase::kLeft)
    {
        const WordVector mean = hn::ShiftLeft<1>(hn::Add(own, next));
        return {hn::Sub(hn::ShiftLeft<2>(own), middle), hn::Sub(mean, middle)};
    }
    else
    {
        const WordVector previous = hn::LoadU(d, here - 1);
        const WordVector most = hn::Sub(hn::Add(hn::ShiftLeft<1>(own), own), middle);
        return {hn::Add(most, previous), hn::Add(most, next)};
    }
}

HWY_INLINE WordVector ClampedCode(ShortVector inSum)
{
    const Shorts d;
    const ShortVector code = hn::ShiftRight<5>(inSum);
    return hn::BitCast(Words(), hn::Min(hn::Max(code, hn::Zero(d)), hn::Set(d, 255)));
}

struct FactorVectors
{
    ShortVector luma, redFromV, greenFromU, greenFromV, blueFromU, bias;
};

HWY_INLINE FactorVectors Spread(const YuvToBgraFactors& inFactors)
{
    const Shorts d;
    return {hn::Set(d, inFactors.luma),       hn::Set(d, inFactors.redFromV),
            hn::Set(d, inFactors.greenFromU), hn::Set(d, inFactors.greenFromV),
            hn::Set(d, inFactors.blueFromU),  hn::Set(d, inFactors.redBias)};
}

// Pixels of one parity as two words each: blue and green, red and alpha.
struct PackedPixels
{
    WordVector blueGreen;
    WordVector redAlpha;
};

HWY_INLINE PackedPixels ConvertPixels(const FactorVectors& inFactors, WordVector inLuma, WordVector inU,
                                      WordVector inV, WordVector inAlphaAbove)
{
    const Shorts d;
    const ShortVector u = hn::BitCast(d, inU);
    const ShortVector v = hn::BitCast(d, inV);
    const ShortVector luma =
        hn::Add(hn::MulFixedPoint15(hn::BitCast(d, inLuma), inFactors.luma), inFactors.bias);
    const WordVector red = ClampedCode(hn::Add(luma, hn::MulFixedPoint15(v, inFactors.redFromV)));
    const ShortVector greenPart =
        hn::Add(hn::MulFixedPoint15(u, inFactors.greenFromU), hn::MulFixedPoint15(v, inFactors.greenFromV));
    const WordVector green = ClampedCode(hn::Add(luma, greenPart));
    const WordVector blue = ClampedCode(hn::Add(luma, hn::MulFixedPoint15(u, inFactors.blueFromU)));
    return {hn::Or(blue, hn::ShiftLeft<8>(green)), hn::Or(red, inAlphaAbove)};
}

// B G R A by the factors of a matrix.
struct ToBgra
{
    explicit ToBgra(const YuvToBgraFactors& inFactors) : factors(Spread(inFactors)) {}

    HWY_INLINE PackedPixels Pixels(WordVector inLuma, WordVector inU, WordVector inV,
                                   WordVector inAlphaAbove) const
    {
        return ConvertPixels(factors, inLuma, inU, inV, inAlphaAbove);
    }

    FactorVectors factors;
};

// V U Y A: the samples themselves, rounded to bytes.
struct ToVuya
{
    HWY_INLINE PackedPixels Pixels(WordVector inLuma, WordVector inU, WordVector inV,
                                   WordVector inAlphaAbove) const
    {
        constexpr std::uint16_t kHalf = 64;
        constexpr std::uint16_t kMiddle = 16384;
        return {hn::Or(Code(inV, kMiddle + kHalf), hn::ShiftLeft<8>(Code(inU, kMiddle + kHalf))),
                hn::Or(Code(inLuma, kHalf), inAlphaAbove)};
    }

    static HWY_INLINE WordVector Code(WordVector inSample, std::uint16_t inOffset)
    {
        const Words d;
        return hn::Min(hn::ShiftRight<7>(hn::Add(inSample, hn::Set(d, inOffset))), hn::Set(d, 255));
    }
};

HWY_INLINE void StorePixels(const PackedPixels& inEven, const PackedPixels& inOdd, std::uint8_t* outRow)
{
    hn::StoreInterleaved4(inEven.blueGreen, inEven.redAlpha, inOdd.blueGreen, inOdd.redAlpha, Words(),
                          reinterpret_cast<std::uint16_t*>(outRow));
}

// Alpha in the upper byte of each word, of the even and the odd pixels.
HWY_INLINE Pair LoadAlpha(const std::uint8_t* inAlpha, std::size_t inX)
{
    const Words d;
    const WordVector upper = hn::Set(d, 0xFF00);
    if (inAlpha == nullptr)
    {
        return {upper, upper};
    }
    const WordVector both = LoadTwoBytes(inAlpha + inX);
    return {hn::ShiftLeft<8>(both), hn::And(both, upper)};
}

template <bool kIsWord, ChromaPhase kPhase, class Target>
HWY_INLINE void ConvertStretch(const Target& inTarget, const SampleRow& inLuma, const std::uint16_t* inU,
                               const std::uint16_t* inV, const std::uint8_t* inAlpha, std::uint8_t* outPixels,
                               std::size_t inX)
{
    const Pair luma = LoadLuma<kIsWord>(inLuma.samples, inX, inLuma.leftShift);
    const Pair u = LoadChroma<kPhase>(inU, inX);
    const Pair v = LoadChroma<kPhase>(inV, inX);
    const Pair alpha = LoadAlpha(inAlpha, inX);
    StorePixels(inTarget.Pixels(luma.even, u.even, v.even, alpha.even),
                inTarget.Pixels(luma.odd, u.odd, v.odd, alpha.odd), outPixels);
}

// What is left of a row after the whole stretches goes through copies, so that nothing beyond a row is
// touched.
template <bool kIsWord, ChromaPhase kPhase, class Target>
HWY_NOINLINE void ConvertRest(const SampleRow& inLuma, const std::uint16_t* inU, const std::uint16_t* inV,
                              const std::uint8_t* inAlpha, const Target& inTarget, std::uint8_t* outRow,
                              std::size_t inX, std::size_t inWidth)
{
    constexpr std::size_t kMost = 2 * hn::MaxLanes(Words());
    const std::size_t bytes = (inWidth - inX) * (kIsWord ? 2 : 1);
    alignas(64) std::uint16_t luma[kMost] = {};
    alignas(64) std::uint8_t alpha[kMost] = {};
    alignas(64) std::uint8_t pixels[kMost * 4];
    std::memcpy(luma, static_cast<const std::uint8_t*>(inLuma.samples) + inX * (kIsWord ? 2 : 1), bytes);
    if (inAlpha != nullptr)
    {
        std::memcpy(alpha, inAlpha + inX, inWidth - inX);
    }
    const SampleRow copied = {luma, kIsWord, inLuma.leftShift};
    const std::size_t chroma = kPhase == ChromaPhase::kFull ? inX : inX / 2;
    ConvertStretch<kIsWord, kPhase>(inTarget, copied, inU + chroma, inV + chroma,
                                    inAlpha == nullptr ? nullptr : alpha, pixels, 0);
    std::memcpy(outRow + inX * 4, pixels, (inWidth - inX) * 4);
}

template <bool kIsWord, ChromaPhase kPhase, class Target>
void ConvertRow(const SampleRow& inLuma, const std::uint16_t* inU, const std::uint16_t* inV,
                const std::uint8_t* inAlpha, const Target& inTarget, std::uint8_t* outRow,
                std::size_t inWidth)
{
    const std::size_t step = 2 * hn::Lanes(Words());
    std::size_t x = 0;
    for (; x + step <= inWidth; x += step)
    {
        ConvertStretch<kIsWord, kPhase>(inTarget, inLuma, inU, inV, inAlpha, outRow + x * 4, x);
    }
    if (x < inWidth)
    {
        ConvertRest<kIsWord, kPhase>(inLuma, inU, inV, inAlpha, inTarget, outRow, x, inWidth);
    }
}

template <bool kIsWord>
HWY_INLINE WordVector LoadChromaSamples(const void* inRow, std::size_t inAt, int inLowBits)
{
    if constexpr (kIsWord)
    {
        const Words d;
        const WordVector raw = hn::LoadU(d, static_cast<const std::uint16_t*>(inRow) + inAt);
        if (inLowBits == 0)
        {
            return raw;
        }
        // Halving first keeps the rounding's carry inside 16 bits.
        const WordVector half = hn::ShiftRightSame(raw, inLowBits - 1);
        return hn::Min(hn::ShiftRight<1>(hn::Add(half, hn::Set(d, 1))), hn::Set(d, 1023));
    }
    else
    {
        return hn::PromoteTo(Words(), hn::LoadU(HalfBytes(), static_cast<const std::uint8_t*>(inRow) + inAt));
    }
}

std::uint16_t OneChromaSample(const ChromaBlend& inBlend, const void* inRow, std::size_t inAt)
{
    if (!inBlend.isWord)
    {
        return static_cast<const std::uint8_t*>(inRow)[inAt];
    }
    const std::uint32_t raw = static_cast<const std::uint16_t*>(inRow)[inAt];
    const std::uint32_t round = inBlend.lowBits == 0 ? 0 : 1U << (inBlend.lowBits - 1);
    return static_cast<std::uint16_t>(std::min((raw + round) >> inBlend.lowBits, 1023U));
}

void Pad(std::uint16_t* ioRow, std::size_t inSamples)
{
    for (std::size_t i = 1; i <= kChromaPad; ++i)
    {
        *(ioRow - i) = ioRow[0];
        ioRow[inSamples + i - 1] = ioRow[inSamples - 1];
    }
}

// What the near and the far row of chroma count for in the one between them.
struct Shares
{
    explicit Shares(const ChromaBlend& inBlend)
        : near(static_cast<std::uint16_t>((8 - inBlend.eighthsOfFar) * inBlend.unit / 8))
        , far(static_cast<std::uint16_t>(inBlend.eighthsOfFar * inBlend.unit / 8))
    {
    }

    HWY_INLINE void Store(WordVector inNear, WordVector inFar, std::uint16_t* outSamples) const
    {
        const Words d;
        const WordVector sum = hn::Add(hn::Mul(inNear, hn::Set(d, near)), hn::Mul(inFar, hn::Set(d, far)));
        hn::StoreU(sum, d, outSamples);
    }

    std::uint16_t One(const ChromaBlend& inBlend, std::size_t inAt) const
    {
        return static_cast<std::uint16_t>(OneChromaSample(inBlend, inBlend.near, inAt) * near +
                                          OneChromaSample(inBlend, inBlend.far, inAt) * far);
    }

    const std::uint16_t near;
    const std::uint16_t far;
};

template <bool kIsWord>
void BlendOne(const ChromaBlend& inBlend, std::uint16_t* outRow, std::size_t inSamples)
{
    const Shares shares(inBlend);
    const std::size_t step = hn::Lanes(Words());
    std::size_t i = 0;
    for (; i + step <= inSamples; i += step)
    {
        const WordVector near = LoadChromaSamples<kIsWord>(inBlend.near, i, inBlend.lowBits);
        const WordVector far = LoadChromaSamples<kIsWord>(inBlend.far, i, inBlend.lowBits);
        shares.Store(near, far, outRow + i);
    }
    for (; i < inSamples; ++i)
    {
        outRow[i] = shares.One(inBlend, i);
    }
    Pad(outRow, inSamples);
}

template <bool kIsWord>
HWY_INLINE Pair LoadInterleavedChroma(const void* inRow, std::size_t inAt, int inLowBits)
{
    if constexpr (kIsWord)
    {
        const Words d;
        Pair pair = LoadWordPair(static_cast<const std::uint16_t*>(inRow) + inAt * 2);
        if (inLowBits != 0)
        {
            const WordVector one = hn::Set(d, 1);
            const WordVector most = hn::Set(d, 1023);
            pair.even = hn::ShiftRight<1>(hn::Add(hn::ShiftRightSame(pair.even, inLowBits - 1), one));
            pair.odd = hn::ShiftRight<1>(hn::Add(hn::ShiftRightSame(pair.odd, inLowBits - 1), one));
            pair = {hn::Min(pair.even, most), hn::Min(pair.odd, most)};
        }
        return pair;
    }
    else
    {
        return LoadBytePair(static_cast<const std::uint8_t*>(inRow) + inAt * 2);
    }
}

template <bool kIsWord>
void BlendTwo(const ChromaBlend& inBlend, std::uint16_t* outU, std::uint16_t* outV, std::size_t inSamples)
{
    const Shares shares(inBlend);
    const std::size_t step = hn::Lanes(Words());
    std::size_t i = 0;
    for (; i + step <= inSamples; i += step)
    {
        const Pair near = LoadInterleavedChroma<kIsWord>(inBlend.near, i, inBlend.lowBits);
        const Pair far = LoadInterleavedChroma<kIsWord>(inBlend.far, i, inBlend.lowBits);
        shares.Store(near.even, far.even, outU + i);
        shares.Store(near.odd, far.odd, outV + i);
    }
    for (; i < inSamples; ++i)
    {
        outU[i] = shares.One(inBlend, i * 2);
        outV[i] = shares.One(inBlend, i * 2 + 1);
    }
    Pad(outU, inSamples);
    Pad(outV, inSamples);
}

void BlendChromaRows(const ChromaBlend& inBlend, std::uint16_t* outU, std::uint16_t* outV,
                     std::size_t inSamples)
{
    if (inBlend.isInterleaved)
    {
        (inBlend.isWord ? BlendTwo<true> : BlendTwo<false>)(inBlend, outU, outV, inSamples);
        return;
    }
    (inBlend.isWord ? BlendOne<true> : BlendOne<false>)(inBlend, outU, inSamples);
}

void SplitRow(const std::uint8_t* inRow, bool inIsUYVY, std::uint8_t* outLuma, std::uint16_t* outU,
              std::uint16_t* outV, std::size_t inPairs)
{
    const Words d;
    const HalfBytes half;
    const std::size_t step = hn::Lanes(half);
    std::size_t i = 0;
    for (; i + step <= inPairs; i += step)
    {
        hn::Vec<HalfBytes> part[4];
        hn::LoadInterleaved4(half, inRow + i * 4, part[0], part[1], part[2], part[3]);
        const int luma = inIsUYVY ? 1 : 0;
        hn::StoreInterleaved2(part[luma], part[luma + 2], half, outLuma + i * 2);
        hn::StoreU(hn::ShiftLeft<5>(hn::PromoteTo(d, part[1 - luma])), d, outU + i);
        hn::StoreU(hn::ShiftLeft<5>(hn::PromoteTo(d, part[3 - luma])), d, outV + i);
    }
    for (; i < inPairs; ++i)
    {
        const std::uint8_t* group = inRow + i * 4;
        const int luma = inIsUYVY ? 1 : 0;
        outLuma[i * 2] = group[luma];
        outLuma[i * 2 + 1] = group[luma + 2];
        outU[i] = static_cast<std::uint16_t>(group[1 - luma] * 32);
        outV[i] = static_cast<std::uint16_t>(group[3 - luma] * 32);
    }
    Pad(outU, inPairs);
    Pad(outV, inPairs);
}

template <class Target>
void ConvertRowTo(const Target& inTarget, const SampleRow& inLuma, const std::uint16_t* inU,
                  const std::uint16_t* inV, ChromaPhase inPhase, const std::uint8_t* inAlpha,
                  std::uint8_t* outRow, std::size_t inWidth)
{
    using Function = decltype(&ConvertRow<false, ChromaPhase::kLeft, Target>);
    static constexpr Function kRows[2][3] = {
        {ConvertRow<false, ChromaPhase::kLeft, Target>, ConvertRow<false, ChromaPhase::kCenter, Target>,
         ConvertRow<false, ChromaPhase::kFull, Target>},
        {ConvertRow<true, ChromaPhase::kLeft, Target>, ConvertRow<true, ChromaPhase::kCenter, Target>,
         ConvertRow<true, ChromaPhase::kFull, Target>}};
    kRows[inLuma.isWord ? 1 : 0][static_cast<int>(inPhase)](inLuma, inU, inV, inAlpha, inTarget, outRow,
                                                            inWidth);
}

void ConvertYuvRow(const SampleRow& inLuma, const std::uint16_t* inU, const std::uint16_t* inV,
                   ChromaPhase inPhase, const std::uint8_t* inAlpha, const YuvToBgraFactors& inFactors,
                   std::uint8_t* outRow, std::size_t inWidth)
{
    ConvertRowTo(ToBgra(inFactors), inLuma, inU, inV, inPhase, inAlpha, outRow, inWidth);
}

void PackYuvRow(const SampleRow& inLuma, const std::uint16_t* inU, const std::uint16_t* inV,
                ChromaPhase inPhase, const std::uint8_t* inAlpha, std::uint8_t* outRow, std::size_t inWidth)
{
    ConvertRowTo(ToVuya(), inLuma, inU, inV, inPhase, inAlpha, outRow, inWidth);
}

void InterleaveRow(const std::uint8_t* inRed, const std::uint8_t* inGreen, const std::uint8_t* inBlue,
                   const std::uint8_t* inAlpha, std::uint8_t* outRow, std::size_t inWidth)
{
    const std::size_t step = 2 * hn::Lanes(Words());
    std::size_t x = 0;
    for (; x + step <= inWidth; x += step)
    {
        const Pair red = LoadBytePair(inRed + x);
        const Pair green = LoadBytePair(inGreen + x);
        const Pair blue = LoadBytePair(inBlue + x);
        const Pair alpha = LoadAlpha(inAlpha, x);
        StorePixels({hn::Or(blue.even, hn::ShiftLeft<8>(green.even)), hn::Or(red.even, alpha.even)},
                    {hn::Or(blue.odd, hn::ShiftLeft<8>(green.odd)), hn::Or(red.odd, alpha.odd)},
                    outRow + x * 4);
    }
    for (; x < inWidth; ++x)
    {
        outRow[x * 4] = inBlue[x];
        outRow[x * 4 + 1] = inGreen[x];
        outRow[x * 4 + 2] = inRed[x];
        outRow[x * 4 + 3] = inAlpha == nullptr ? 255 : inAlpha[x];
    }
}

void SplitBgraRow(const std::uint8_t* inRow, std::uint8_t* outRed, std::uint8_t* outGreen,
                  std::uint8_t* outBlue, std::uint8_t* outAlpha, std::size_t inWidth)
{
    const hn::ScalableTag<std::uint8_t> d;
    const std::size_t step = hn::Lanes(d);
    std::size_t x = 0;
    for (; x + step <= inWidth; x += step)
    {
        hn::Vec<decltype(d)> part[4];
        hn::LoadInterleaved4(d, inRow + x * 4, part[0], part[1], part[2], part[3]);
        hn::StoreU(part[2], d, outRed + x);
        hn::StoreU(part[1], d, outGreen + x);
        hn::StoreU(part[0], d, outBlue + x);
        if (outAlpha != nullptr)
        {
            hn::StoreU(part[3], d, outAlpha + x);
        }
    }
    for (; x < inWidth; ++x)
    {
        outBlue[x] = inRow[x * 4];
        outGreen[x] = inRow[x * 4 + 1];
        outRed[x] = inRow[x * 4 + 2];
        if (outAlpha != nullptr)
        {
            outAlpha[x] = inRow[x * 4 + 3];
        }
    }
}

void CopyOpaqueRow(const std::uint8_t* inRow, std::uint8_t* outRow, std::size_t inWidth)
{
    std::size_t x = 0;
#if HWY_TARGET != HWY_SCALAR
    const hn::ScalableTag<std::uint32_t> d;
    const hn::Repartition<std::uint8_t, decltype(d)> bytes;
    const auto alpha = hn::BitCast(bytes, hn::Set(d, 0xFF000000U));
    for (; x + hn::Lanes(d) <= inWidth; x += hn::Lanes(d))
    {
        hn::StoreU(hn::Or(hn::LoadU(bytes, inRow + x * 4), alpha), bytes, outRow + x * 4);
    }
#endif
    for (; x < inWidth; ++x)
    {
        std::memmove(outRow + x * 4, inRow + x * 4, 3);
        outRow[x * 4 + 3] = 255;
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

HWY_EXPORT(BlendChromaRows);
HWY_EXPORT(SplitRow);
HWY_EXPORT(ConvertYuvRow);
HWY_EXPORT(PackYuvRow);
HWY_EXPORT(InterleaveRow);
HWY_EXPORT(SplitBgraRow);
HWY_EXPORT(CopyOpaqueRow);
HWY_EXPORT(NameOfTarget);

std::int16_t Q15(double inValue)
{
    return static_cast<std::int16_t>(std::lround(inValue * 32768.0));
}

}

bool HasYuvToBgra(const Picture& inSource) noexcept
{
    // The kernels have no place for a share of U in red or of V in blue.
    return inSource.sample != Sample::kFloat && !inSource.IsRGB() && IsLinearModel(inSource.matrix) &&
           inSource.matrix != Matrix::kYCgCo && inSource.transfer == Transfer::kDisplay &&
           inSource.primaries == Primaries::k709;
}

YuvToBgraFactors FactorsFor(const Picture& inSource) noexcept
{
    const Matrix3 rgb = ToRGB(inSource.matrix);
    const ComponentRange luma = LumaRange(inSource);
    const ComponentRange chroma = ChromaRange(inSource);
    const double unit = 32.0 * 255.0 * std::ldexp(1.0, inSource.bits - 15);
    const double black = std::floor(16.5 - 32.0 * 255.0 * luma.offset / luma.scale);
    return {Q15(unit / luma.scale),
            Q15(unit / chroma.scale * rgb.m[0][2]),
            Q15(unit / chroma.scale * rgb.m[1][1]),
            Q15(unit / chroma.scale * rgb.m[1][2]),
            Q15(unit / chroma.scale * rgb.m[2][1]),
            static_cast<std::int16_t>(black)};
}

void BlendChroma(const ChromaBlend& inBlend, std::uint16_t* outU, std::uint16_t* outV, std::size_t inSamples)
{
    HWY_DYNAMIC_DISPATCH(BlendChromaRows)(inBlend, outU, outV, inSamples);
}

void SplitPacked422(const unsigned char* inRow, bool inIsUYVY, unsigned char* outLuma, std::uint16_t* outU,
                    std::uint16_t* outV, std::size_t inPairs)
{
    HWY_DYNAMIC_DISPATCH(SplitRow)(inRow, inIsUYVY, outLuma, outU, outV, inPairs);
}

void YuvRowToBgra(const SampleRow& inLuma, const std::uint16_t* inU, const std::uint16_t* inV,
                  ChromaPhase inPhase, const unsigned char* inAlpha, const YuvToBgraFactors& inFactors,
                  unsigned char* outRow, std::size_t inWidth)
{
    HWY_DYNAMIC_DISPATCH(ConvertYuvRow)(inLuma, inU, inV, inPhase, inAlpha, inFactors, outRow, inWidth);
}

void YuvRowToVuya(const SampleRow& inLuma, const std::uint16_t* inU, const std::uint16_t* inV,
                  ChromaPhase inPhase, const unsigned char* inAlpha, unsigned char* outRow,
                  std::size_t inWidth)
{
    HWY_DYNAMIC_DISPATCH(PackYuvRow)(inLuma, inU, inV, inPhase, inAlpha, outRow, inWidth);
}

void RgbRowToBgra(const unsigned char* inRed, const unsigned char* inGreen, const unsigned char* inBlue,
                  const unsigned char* inAlpha, unsigned char* outRow, std::size_t inWidth)
{
    HWY_DYNAMIC_DISPATCH(InterleaveRow)(inRed, inGreen, inBlue, inAlpha, outRow, inWidth);
}

void BgraRowToPlanes(const unsigned char* inRow, unsigned char* outRed, unsigned char* outGreen,
                     unsigned char* outBlue, unsigned char* outAlpha, std::size_t inWidth)
{
    HWY_DYNAMIC_DISPATCH(SplitBgraRow)(inRow, outRed, outGreen, outBlue, outAlpha, inWidth);
}

void BgraRowToOpaque(const unsigned char* inRow, unsigned char* outRow, std::size_t inWidth)
{
    HWY_DYNAMIC_DISPATCH(CopyOpaqueRow)(inRow, outRow, inWidth);
}

const char* YuvToBgraTarget()
{
    return HWY_DYNAMIC_DISPATCH(NameOfTarget)();
}

}

#endif
