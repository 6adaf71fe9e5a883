#include "ReferenceHost/ImageRoutines/MotionTurned.h"

#include <algorithm>
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

using Wide = hn::ScalableTag<std::uint32_t>;
using WideWords = hn::Repartition<std::uint16_t, Wide>;
using WideVector = hn::Vec<Wide>;
using WideWordVector = hn::Vec<WideWords>;

// The components of whole pixels, each in a word of its own: places 0 and 2, 1 and 3.
struct Halves
{
    WideWordVector even, odd;
};

HWY_INLINE WideVector LoadPixels(const std::uint8_t* inPixels)
{
    return hn::LoadU(Wide(), reinterpret_cast<const std::uint32_t*>(inPixels));
}

HWY_INLINE Halves Split(WideVector inPixels)
{
    const WideWords d;
    const WideWordVector both = hn::BitCast(d, inPixels);
    return {hn::And(both, hn::Set(d, 0x00FF)), hn::ShiftRight<8>(both)};
}

HWY_INLINE Halves Premultiplied(WideVector inPixels)
{
    const WideVector alpha = hn::ShiftRight<24>(inPixels);
    const WideWordVector alphas = hn::BitCast(WideWords(), hn::Or(alpha, hn::ShiftLeft<16>(alpha)));
    const Halves codes = Split(hn::Or(inPixels, hn::Set(Wide(), 0xFF000000U)));
    const WideWordVector share = hn::Set(WideWords(), 32897); // 128 / 255
    return {hn::MulHigh(hn::Mul(codes.even, alphas), share), hn::MulHigh(hn::Mul(codes.odd, alphas), share)};
}

HWY_INLINE bool AreOpaque(WideVector inPixels)
{
    const Wide d;
    const WideVector full = hn::Set(d, 0xFF000000U);
    return hn::AllTrue(d, hn::Eq(hn::And(inPixels, full), full));
}

HWY_INLINE void StoreHalves(const Halves& inHalves, std::int16_t* outComponents)
{
    hn::StoreInterleaved2(inHalves.even, inHalves.odd, WideWords(),
                          reinterpret_cast<std::uint16_t*>(outComponents));
}

// The last vector of a row lies over the one before it where the row isn't made of whole ones: tiles are narrow.
void WidenRow(const ByteSource& inSource, const std::uint8_t* inPixels, std::int16_t* outPixels,
              std::size_t inCount)
{
    const std::size_t step = hn::Lanes(Wide());
    const WideVector alwaysSet = hn::Set(Wide(), inSource.isOpaque ? 0xFF000000U : 0U);
    const std::size_t whole = inCount < step ? 0 : inCount;
    for (std::size_t next = 0; next < whole; next += step)
    {
        const std::size_t i = std::min(next, inCount - step);
        const WideVector pixels = hn::Or(LoadPixels(inPixels + i * 4), alwaysSet);
        Halves halves;
        if (inSource.isStraight && !AreOpaque(pixels))
        {
            halves = Premultiplied(pixels);
        }
        else // opaque pixels come out the same either way
        {
            halves = Split(pixels);
            halves = {hn::ShiftLeft<7>(halves.even), hn::ShiftLeft<7>(halves.odd)};
        }
        StoreHalves(halves, outPixels + i * 4);
    }
    reference::WidenBytes(inSource, inPixels, outPixels, inCount - whole);
}

// The first and the second pixels of pairs.
HWY_INLINE WideWordVector Firsts(WideWordVector inLower, WideWordVector inUpper)
{
    const Wide d;
    return hn::BitCast(WideWords(), hn::ConcatEven(d, hn::BitCast(d, inUpper), hn::BitCast(d, inLower)));
}

HWY_INLINE WideWordVector Seconds(WideWordVector inLower, WideWordVector inUpper)
{
    const Wide d;
    return hn::BitCast(WideWords(), hn::ConcatOdd(d, hn::BitCast(d, inUpper), hn::BitCast(d, inLower)));
}

// Two vectors of pixels of the upper row and two of the lower.
struct Pairs
{
    WideVector upper[2];
    WideVector lower[2];
};

HWY_INLINE Halves MeansOfPlain(const Pairs& inPairs)
{
    WideWordVector even[2];
    WideWordVector odd[2];
    for (int i = 0; i < 2; ++i)
    {
        const Halves upper = Split(inPairs.upper[i]);
        const Halves lower = Split(inPairs.lower[i]);
        even[i] = hn::Add(upper.even, lower.even);
        odd[i] = hn::Add(upper.odd, lower.odd);
    }
    return {hn::ShiftLeft<5>(hn::Add(Firsts(even[0], even[1]), Seconds(even[0], even[1]))),
            hn::ShiftLeft<5>(hn::Add(Firsts(odd[0], odd[1]), Seconds(odd[0], odd[1])))};
}

HWY_INLINE Halves MeansOfStraight(const Pairs& inPairs)
{
    WideWordVector even[2];
    WideWordVector odd[2];
    for (int i = 0; i < 2; ++i)
    {
        const Halves upper = Premultiplied(inPairs.upper[i]);
        const Halves lower = Premultiplied(inPairs.lower[i]);
        even[i] = hn::AverageRound(upper.even, lower.even);
        odd[i] = hn::AverageRound(upper.odd, lower.odd);
    }
    return {hn::AverageRound(Firsts(even[0], even[1]), Seconds(even[0], even[1])),
            hn::AverageRound(Firsts(odd[0], odd[1]), Seconds(odd[0], odd[1]))};
}

void HalveRow(const ByteSource& inSource, const std::uint8_t* inUpper, const std::uint8_t* inLower,
              std::int16_t* outPixels, std::size_t inCount)
{
    const std::size_t step = hn::Lanes(Wide());
    const WideVector alwaysSet = hn::Set(Wide(), inSource.isOpaque ? 0xFF000000U : 0U);
    const std::size_t whole = inCount < step ? 0 : inCount;
    for (std::size_t next = 0; next < whole; next += step)
    {
        const std::size_t i = std::min(next, inCount - step);
        Pairs pairs;
        WideVector all = hn::Set(Wide(), 0xFFFFFFFFU);
        for (std::size_t part = 0; part < 2; ++part)
        {
            const std::size_t at = i * 8 + part * step * 4;
            pairs.upper[part] = hn::Or(LoadPixels(inUpper + at), alwaysSet);
            pairs.lower[part] = hn::Or(LoadPixels(inLower + at), alwaysSet);
            all = hn::And(all, hn::And(pairs.upper[part], pairs.lower[part]));
        }
        const bool isStraight = inSource.isStraight && !AreOpaque(all);
        StoreHalves(isStraight ? MeansOfStraight(pairs) : MeansOfPlain(pairs), outPixels + i * 4);
    }
    reference::HalveWidely(inSource, inUpper, inLower, outPixels, inCount - whole);
}

// Pixels of the target that are made at once. A turned picture jumps from row to row, so that their vectors are put
// together from blocks of two pixels of the grid each.
constexpr std::size_t kAtOnce = hn::MaxLanes(hn::ScalableTag<std::int16_t>()) >= 32   ? 4
                                : hn::MaxLanes(hn::ScalableTag<std::int16_t>()) >= 16 ? 2
                                                                                      : 1;

template <std::size_t kPixels>
using ShortsOf = hn::FixedTag<std::int16_t, 8 * kPixels>;
template <std::size_t kPixels>
using IntsOf = hn::FixedTag<std::int32_t, 4 * kPixels>;
template <std::size_t kPixels>
using ShortVector = hn::Vec<ShortsOf<kPixels>>;
template <std::size_t kPixels>
using IntVector = hn::Vec<IntsOf<kPixels>>;

// A block from each address.
template <std::size_t kPixels>
HWY_INLINE ShortVector<kPixels> LoadBlocks(const std::int16_t* const* inBlocks, std::ptrdiff_t inOffset)
{
    if constexpr (kPixels == 1)
    {
        return hn::LoadU(ShortsOf<1>(), inBlocks[0] + inOffset);
    }
    else
    {
        constexpr std::size_t kHalf = kPixels / 2;
        return hn::Combine(ShortsOf<kPixels>(), LoadBlocks<kHalf>(inBlocks + kHalf, inOffset),
                           LoadBlocks<kHalf>(inBlocks, inOffset));
    }
}

// Two weights, over and over in their pixel's block.
template <std::size_t kPixels>
HWY_INLINE IntVector<kPixels> SpreadPairs(const std::int16_t* const* inWeights, int inTap)
{
    if constexpr (kPixels == 1)
    {
        std::int32_t both = 0;
        std::memcpy(&both, inWeights[0] + inTap, sizeof both);
        return hn::Set(IntsOf<1>(), both);
    }
    else
    {
        constexpr std::size_t kHalf = kPixels / 2;
        return hn::Combine(IntsOf<kPixels>(), SpreadPairs<kHalf>(inWeights + kHalf, inTap),
                           SpreadPairs<kHalf>(inWeights, inTap));
    }
}

// The first or the second of each two words, twice.
template <std::size_t kPixels>
HWY_INLINE ShortVector<kPixels> Firsts(IntVector<kPixels> inPairs)
{
    const IntVector<kPixels> first = hn::And(inPairs, hn::Set(IntsOf<kPixels>(), 0xFFFF));
    return hn::BitCast(ShortsOf<kPixels>(), hn::Or(first, hn::ShiftLeft<16>(inPairs)));
}

template <std::size_t kPixels>
HWY_INLINE ShortVector<kPixels> Seconds(IntVector<kPixels> inPairs)
{
    const hn::RebindToUnsigned<IntsOf<kPixels>> du;
    const auto second = hn::ShiftRight<16>(hn::BitCast(du, inPairs));
    return hn::BitCast(ShortsOf<kPixels>(), hn::Or(second, hn::ShiftLeft<16>(second)));
}

// Component by component the first pixel of each block times the first weight and the second times the second.
template <std::size_t kPixels>
HWY_INLINE IntVector<kPixels> PairSum(ShortVector<kPixels> inPixels, IntVector<kPixels> inWeights)
{
    const ShortsOf<kPixels> d;
    const IntsOf<kPixels> di;
    const auto upper = hn::BitCast(d, hn::Shuffle1032(hn::BitCast(di, inPixels)));
    const auto pairs = hn::InterleaveLower(d, inPixels, upper);
#if HWY_ARCH_X86 && HWY_TARGET <= HWY_SSE2
    IntVector<kPixels> unused = hn::Zero(di);
    return hn::ReorderWidenMulAccumulate(di, pairs, hn::BitCast(d, inWeights), hn::Zero(di), unused);
#else
    const auto even = [](IntVector<kPixels> inBoth) { return hn::ShiftRight<16>(hn::ShiftLeft<16>(inBoth)); };
    const auto wide = hn::BitCast(di, pairs);
    return hn::Add(hn::Mul(even(wide), even(inWeights)),
                   hn::Mul(hn::ShiftRight<16>(wide), hn::ShiftRight<16>(inWeights)));
#endif
}

// Where pixels of the target look, and with which weights.
struct Looks
{
    const std::int16_t* corners[kAtOnce];
    const std::int16_t* across[kAtOnce];
    const std::int16_t* down[kAtOnce];
};

template <std::size_t kPixels, int kTaps>
HWY_INLINE IntVector<kPixels> Sum(const Looks& inLooks, std::ptrdiff_t inPitch)
{
    const ShortsOf<kPixels> d;
    IntVector<kPixels> sum = hn::Set(IntsOf<kPixels>(), 1 << (kSumBits - 1));
    for (int column = 0; column < kTaps; column += 2)
    {
        ShortVector<kPixels> pixels = hn::Zero(d);
        for (int row = 0; row < kTaps; row += 2)
        {
            const IntVector<kPixels> weights = SpreadPairs<kPixels>(inLooks.down, row);
            const std::ptrdiff_t at = row * inPitch + static_cast<std::ptrdiff_t>(column) * 4;
            const auto upper = LoadBlocks<kPixels>(inLooks.corners, at);
            const auto lower = LoadBlocks<kPixels>(inLooks.corners, at + inPitch);
            pixels = hn::Add(pixels, hn::MulFixedPoint15(upper, Firsts<kPixels>(weights)));
            pixels = hn::Add(pixels, hn::MulFixedPoint15(lower, Seconds<kPixels>(weights)));
        }
        sum = hn::Add(sum, PairSum<kPixels>(pixels, SpreadPairs<kPixels>(inLooks.across, column)));
    }
    return sum;
}

template <std::size_t kPixels>
using CodesOf = hn::FixedTag<std::uint8_t, 4 * kPixels>;

template <std::size_t kPixels, int kTaps>
HWY_INLINE hn::Vec<CodesOf<kPixels>> Make(const Looks& inLooks, std::ptrdiff_t inPitch)
{
    return hn::DemoteTo(CodesOf<kPixels>(), hn::ShiftRight<kSumBits>(Sum<kPixels, kTaps>(inLooks, inPitch)));
}

// Looks of pixels that lie side by side, from a column of the target on.
template <int kTaps>
class Looking
{
public:
    Looking(const TurnedGrid& inGrid, const TurnedAxis& inU, const TurnedAxis& inV, std::int64_t inColumn)
        : mGrid(inGrid)
        , mAcross(inU.taps->Row(0))
        , mDown(inV.taps->Row(0))
        , mU(LowEnd(inU, inColumn) - (std::int64_t{inGrid.left} << 32))
        , mV(LowEnd(inV, inColumn) - (std::int64_t{inGrid.top} << 32))
        , mStepU(inU.place.step)
        , mStepV(inV.place.step)
    {
    }

    HWY_INLINE void Next(std::size_t inCount, Looks& outLooks)
    {
        for (std::size_t i = 0; i < inCount; ++i, mU += mStepU, mV += mStepV)
        {
            outLooks.corners[i] = mGrid.pixels + (mV >> 32) * mGrid.pitch + (mU >> 32) * 4;
            outLooks.across[i] = mAcross + Phase(mU) * kTaps;
            outLooks.down[i] = mDown + Phase(mV) * kTaps;
        }
    }

private:
    static constexpr std::int64_t kLast = 0xFFFFFFFF;
    static constexpr int kShift = 32 - TurnedTaps::kPhaseBits;

    static std::int64_t LowEnd(const TurnedAxis& inAxis, std::int64_t inColumn)
    {
        return inAxis.place.start + inAxis.place.step * inColumn - inAxis.taps->HalfLength() + kLast;
    }
    // As TurnedPlaceAt has it.
    static std::ptrdiff_t Phase(std::int64_t inLowEnd)
    {
        return static_cast<std::ptrdiff_t>((kLast - (inLowEnd & kLast) + (std::int64_t{1} << (kShift - 1))) >>
                                           kShift);
    }

    const TurnedGrid& mGrid;
    const std::int16_t* mAcross;
    const std::int16_t* mDown;
    std::int64_t mU;
    std::int64_t mV;
    std::int64_t mStepU;
    std::int64_t mStepV;
};

// Pixels between two of each row and two of each column, of which many are told apart at once: their places are
// vectors of 32 bits before and 32 behind the point, and the weights need no table.
class LinearLooks
{
public:
    // Four times as many pixels as are made at once.
    static constexpr std::size_t kPixels = 4 * kAtOnce;

    LinearLooks(const TurnedGrid& inGrid, const TurnedAxis& inU, const TurnedAxis& inV, std::int64_t inColumn)
        : mGrid(inGrid)
        , mU(inU, inGrid.left, inColumn)
        , mV(inV, inGrid.top, inColumn)
    {
    }

    // The next pixels.
    HWY_INLINE void Sample(std::uint8_t* outPixels, hn::Vec<CodesOf<kAtOnce>>& ioAll)
    {
        const Numbers d;
        alignas(64) std::int32_t corners[kPixels];
        const NumberVector phaseU = mU.Phases();
        const NumberVector phaseV = mV.Phases();
        const NumberVector row = hn::Mul(mV.Pixels(), hn::Set(d, static_cast<std::int32_t>(mGrid.pitch)));
        hn::Store(hn::Add(row, hn::ShiftLeft<2>(mU.Pixels())), d, corners);
        const NumberVector one = hn::Set(d, TurnedTaps::kOne);
        const NumberVector firstU = Weighed(phaseU);
        const NumberVector firstV = Weighed(phaseV);
        const NumberVector secondV = hn::Sub(one, firstV);
        const NumberVector across = hn::Or(firstU, hn::ShiftLeft<16>(hn::Sub(one, firstU)));
        const NumberVector upper = hn::Or(firstV, hn::ShiftLeft<16>(firstV));
        const NumberVector lower = hn::Or(secondV, hn::ShiftLeft<16>(secondV));
        for (std::size_t group = 0; group < 4; ++group)
        {
            const std::int16_t* blocks[kAtOnce];
            for (std::size_t i = 0; i < kAtOnce; ++i)
            {
                blocks[i] = mGrid.pixels + corners[group * kAtOnce + i];
            }
            const auto pixels =
                Make(blocks, Spread(across, group), Spread(upper, group), Spread(lower, group));
            hn::StoreU(pixels, CodesOf<kAtOnce>(), outPixels + group * kAtOnce * 4);
            ioAll = hn::And(ioAll, pixels);
        }
        mU.Step();
        mV.Step();
    }

private:
    using Numbers = hn::FixedTag<std::int32_t, kPixels>;
    using Fractions = hn::FixedTag<std::uint32_t, kPixels>;
    using NumberVector = hn::Vec<Numbers>;
    using FractionVector = hn::Vec<Fractions>;

    // Places along one axis, from the lower end of the filter.
    class Places
    {
    public:
        Places(const TurnedAxis& inAxis, std::int32_t inOrigin, std::int64_t inColumn)
            : mBase(inAxis.place.start + inAxis.place.step * inColumn - inAxis.taps->HalfLength() +
                    std::int64_t{0xFFFFFFFF} - (std::int64_t{inOrigin} << 32))
            , mStep(inAxis.place.step * static_cast<std::int64_t>(kPixels))
        {
            alignas(64) std::int32_t pixels[kPixels];
            alignas(64) std::uint32_t fractions[kPixels];
            for (std::size_t i = 0; i < kPixels; ++i)
            {
                const std::int64_t ahead = inAxis.place.step * static_cast<std::int64_t>(i);
                pixels[i] = static_cast<std::int32_t>(ahead >> 32);
                fractions[i] = static_cast<std::uint32_t>(ahead & 0xFFFFFFFF);
            }
            mAheadPixels = hn::Load(Numbers(), pixels);
            mAheadFractions = hn::Load(Fractions(), fractions);
        }

        HWY_INLINE void Step() { mBase += mStep; }

        HWY_INLINE NumberVector Pixels() const
        {
            const Numbers d;
            const FractionVector own = hn::Set(Fractions(), static_cast<std::uint32_t>(mBase & 0xFFFFFFFF));
            const NumberVector sum =
                hn::Add(hn::Set(d, static_cast<std::int32_t>(mBase >> 32)), mAheadPixels);
            const auto carries = hn::Lt(hn::Add(own, mAheadFractions), own);
            return hn::Sub(sum, hn::VecFromMask(d, hn::RebindMask(d, carries)));
        }

        // As TurnedPlaceAt has them.
        HWY_INLINE NumberVector Phases() const
        {
            constexpr int kShift = 32 - TurnedTaps::kPhaseBits;
            const Fractions d;
            const FractionVector own = hn::Set(d, static_cast<std::uint32_t>(mBase & 0xFFFFFFFF));
            const FractionVector above = hn::Not(hn::Add(own, mAheadFractions));
            const FractionVector half = hn::And(hn::ShiftRight<kShift - 1>(above), hn::Set(d, 1));
            return hn::BitCast(Numbers(), hn::Add(hn::ShiftRight<kShift>(above), half));
        }

    private:
        std::int64_t mBase; // of the first of the pixels
        std::int64_t mStep;
        NumberVector mAheadPixels;
        FractionVector mAheadFractions;
    };

    HWY_INLINE static NumberVector Weighed(NumberVector inPhases)
    {
        static_assert(TurnedTaps::kStep == 8);
        return hn::ShiftLeft<3>(inPhases);
    }

    // The numbers of the pixels of a group, over and over in their pixel's block.
    HWY_INLINE static IntVector<kAtOnce> Spread(NumberVector inNumbers, std::size_t inGroup)
    {
        const Numbers d;
        alignas(64) std::int32_t lanes[kPixels];
        for (std::size_t i = 0; i < kPixels; ++i)
        {
            lanes[i] = static_cast<std::int32_t>(inGroup * kAtOnce + i / 4);
        }
        return hn::TableLookupLanes(inNumbers, hn::SetTableIndices(d, lanes));
    }

    HWY_INLINE hn::Vec<CodesOf<kAtOnce>> Make(const std::int16_t* const* inBlocks,
                                              IntVector<kAtOnce> inAcross, IntVector<kAtOnce> inUpper,
                                              IntVector<kAtOnce> inLower) const
    {
        const ShortsOf<kAtOnce> d;
        const auto above = hn::MulFixedPoint15(LoadBlocks<kAtOnce>(inBlocks, 0), hn::BitCast(d, inUpper));
        const auto below =
            hn::MulFixedPoint15(LoadBlocks<kAtOnce>(inBlocks, mGrid.pitch), hn::BitCast(d, inLower));
        const IntVector<kAtOnce> half = hn::Set(IntsOf<kAtOnce>(), 1 << (kSumBits - 1));
        const IntVector<kAtOnce> sum = hn::Add(half, PairSum<kAtOnce>(hn::Add(above, below), inAcross));
        return hn::DemoteTo(CodesOf<kAtOnce>(), hn::ShiftRight<kSumBits>(sum));
    }

    const TurnedGrid& mGrid;
    Places mU;
    Places mV;
};

template <int kTaps>
bool SampleAll(const TurnedGrid& inGrid, const TurnedAxis& inU, const TurnedAxis& inV, std::int32_t inFirst,
               std::uint8_t* outPixels, std::size_t inCount)
{
    const CodesOf<kAtOnce> d;
    auto all = hn::Set(d, 255);
    std::size_t i = 0;
    if (kTaps == 2 && inU.taps->IsLinear() && inV.taps->IsLinear())
    {
        LinearLooks looks(inGrid, inU, inV, inFirst);
        for (; i + LinearLooks::kPixels <= inCount; i += LinearLooks::kPixels)
        {
            looks.Sample(outPixels + i * 4, all);
        }
    }
    Looking<kTaps> looking(inGrid, inU, inV, inFirst + static_cast<std::int64_t>(i));
    Looks looks = {};
    for (; i + kAtOnce <= inCount; i += kAtOnce)
    {
        looking.Next(kAtOnce, looks);
        const auto pixels = Make<kAtOnce, kTaps>(looks, inGrid.pitch);
        hn::StoreU(pixels, d, outPixels + i * 4);
        all = hn::And(all, pixels);
    }
    std::uint8_t codes[4 * kAtOnce];
    hn::StoreU(all, d, codes);
    bool isOpaque = true;
    for (std::size_t pixel = 0; pixel < kAtOnce; ++pixel)
    {
        isOpaque = isOpaque && codes[pixel * 4 + 3] == 255;
    }
    for (; i < inCount; ++i)
    {
        looking.Next(1, looks);
        hn::StoreU(Make<1, kTaps>(looks, inGrid.pitch), CodesOf<1>(), outPixels + i * 4);
        isOpaque = isOpaque && outPixels[i * 4 + 3] == 255;
    }
    return isOpaque;
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
