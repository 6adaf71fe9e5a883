#include "ReferenceHost/ImageRoutines/HalvingKernels.h"

#include <algorithm>

#include "ReferenceHost/ImageRoutines/ScaleGeometry.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ReferenceHost/ImageRoutines/HalvingKernels.cpp"
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
using WordVector = hn::Vec<Words>;
using ShortVector = hn::Vec<Shorts>;

constexpr std::int16_t kLeastSum = -4096; // twice the sharpest filter's overshoot
constexpr std::int16_t kMostSum = 8191;

struct Columns
{
    WordVector even;
    WordVector odd;
};

template <bool kIsWord>
HWY_INLINE Columns LoadColumns(const void* inRow, std::size_t inPair)
{
    const Words d;
    Columns columns;
    if constexpr (kIsWord)
    {
        hn::LoadInterleaved2(d, static_cast<const std::uint16_t*>(inRow) + inPair * 2, columns.even,
                             columns.odd);
    }
    else
    {
        const std::uint8_t* bytes = static_cast<const std::uint8_t*>(inRow) + inPair * 2;
#if HWY_TARGET == HWY_SCALAR // it has no vectors of bytes twice as long as its words
        const WordVector both = hn::Set(d, static_cast<std::uint16_t>(bytes[0] | (bytes[1] << 8)));
#else
        const WordVector both = hn::BitCast(d, hn::LoadU(hn::Repartition<std::uint8_t, Words>(), bytes));
#endif
        columns.even = hn::And(both, hn::Set(d, 0xFF));
        columns.odd = hn::ShiftRight<8>(both);
    }
    return columns;
}

HWY_INLINE ShortVector Product(WordVector inSum, int inLeftShift, ShortVector inWeight)
{
    return hn::MulFixedPoint15(hn::BitCast(Shorts(), hn::ShiftLeftSame(inSum, inLeftShift)), inWeight);
}

HWY_INLINE void Spread(const std::int16_t* inWeights, ShortVector* outVectors, int inCount)
{
    for (int i = 0; i < inCount; ++i)
    {
        outVectors[i] = hn::Set(Shorts(), inWeights[i]);
    }
}

std::int16_t OneProduct(int inSum, std::int16_t inWeight)
{
    return static_cast<std::int16_t>((inSum * inWeight + (1 << 14)) >> 15);
}

template <bool kIsWord>
std::int16_t SumOfColumn(const RowPairs& inRows, const PairWeights& inWeights, std::size_t inColumn)
{
    const auto sample = [&](int inRow) -> int
    {
        const void* row = inRows.rows[inRow];
        return kIsWord ? static_cast<const std::uint16_t*>(row)[inColumn]
                       : static_cast<const std::uint8_t*>(row)[inColumn];
    };
    int sum = 0;
    for (int pair = 0; pair < inWeights.pairs; ++pair)
    {
        const int both = (sample(2 * pair) + sample(2 * pair + 1)) << (kSumBits - inRows.bits);
        sum += OneProduct(both, inWeights.weights[pair]);
    }
    return static_cast<std::int16_t>(sum);
}

void MirrorColumns(std::int16_t* ioEven, std::int16_t* ioOdd, std::size_t inCount)
{
    const auto count = static_cast<std::int32_t>(inCount);
    const auto at = [&](std::int32_t inColumn)
    {
        const std::int32_t column = Mirrored(inColumn, 2 * count);
        return (column % 2 == 0 ? ioEven : ioOdd)[column / 2];
    };
    for (std::int32_t beyond = 1; beyond <= kMostPairs; ++beyond)
    {
        ioEven[-beyond] = at(-2 * beyond);
        ioOdd[-beyond] = at(-2 * beyond + 1);
        ioEven[count + beyond - 1] = at(2 * (count + beyond - 1));
        ioOdd[count + beyond - 1] = at(2 * (count + beyond - 1) + 1);
    }
}

template <bool kIsWord, int kPairs>
void SumRowsOf(const RowPairs& inRows, const PairWeights& inWeights, std::int16_t* outEven,
               std::int16_t* outOdd, std::size_t inCount)
{
    const Shorts d;
    const int shift = kIsWord ? kSumBits - inRows.bits : kSumBits - 8;
    // Copies, since the compiler can't know that no row of sums lies on top of them.
    const void* rows[2 * kPairs];
    ShortVector weights[kPairs];
    std::copy_n(inRows.rows, 2 * kPairs, rows);
    Spread(inWeights.weights, weights, kPairs);
    std::size_t i = 0;
    for (; i + hn::Lanes(d) <= inCount; i += hn::Lanes(d))
    {
        ShortVector even = hn::Zero(d);
        ShortVector odd = hn::Zero(d);
        for (int pair = 0; pair < kPairs; ++pair)
        {
            const Columns above = LoadColumns<kIsWord>(rows[2 * pair], i);
            const Columns below = LoadColumns<kIsWord>(rows[2 * pair + 1], i);
            even = hn::Add(even, Product(hn::Add(above.even, below.even), shift, weights[pair]));
            odd = hn::Add(odd, Product(hn::Add(above.odd, below.odd), shift, weights[pair]));
        }
        hn::StoreU(even, d, outEven + i);
        hn::StoreU(odd, d, outOdd + i);
    }
    for (; i < inCount; ++i)
    {
        outEven[i] = SumOfColumn<kIsWord>(inRows, inWeights, 2 * i);
        outOdd[i] = SumOfColumn<kIsWord>(inRows, inWeights, 2 * i + 1);
    }
    MirrorColumns(outEven, outOdd, inCount);
}

// Pair k of a place is column 2i - k and column 2i + 1 + k.
template <int kPairs>
void SumColumnsOf(const std::int16_t* inEven, const std::int16_t* inOdd, const PairWeights& inWeights,
                  std::uint16_t* outRow, std::size_t inCount)
{
    const Shorts d;
    ShortVector weights[kPairs];
    Spread(inWeights.weights, weights, kPairs);
    for (std::size_t i = 0; i < inCount; i += hn::Lanes(d))
    {
        ShortVector sum = hn::Zero(d);
        for (int pair = 0; pair < kPairs; ++pair)
        {
            const int far = (pair + 1) / 2;
            const std::int16_t* left = pair % 2 == 0 ? inEven + i - far : inOdd + i - far;
            const std::int16_t* right = pair % 2 == 0 ? inOdd + i + far : inEven + i + far;
            const ShortVector both = hn::Add(hn::LoadU(d, left), hn::LoadU(d, right));
            sum = hn::Add(sum, hn::MulFixedPoint15(both, weights[pair]));
        }
        sum = hn::Min(hn::Max(sum, hn::Set(d, kLeastSum)), hn::Set(d, kMostSum));
        hn::StoreU(hn::BitCast(Words(), sum), Words(), outRow + i);
    }
}

void JoinRows(const std::int16_t* inEven, const std::int16_t* inOdd, std::uint16_t* outRow,
              std::size_t inCount)
{
    const Shorts d;
    const auto clamped = [&](const std::int16_t* inRow)
    {
        const ShortVector sum = hn::Min(hn::Max(hn::LoadU(d, inRow), hn::Zero(d)), hn::Set(d, kMostSum));
        return hn::BitCast(Words(), sum);
    };
    for (std::size_t i = 0; i < inCount; i += hn::Lanes(d))
    {
        hn::StoreInterleaved2(clamped(inEven + i), clamped(inOdd + i), Words(), outRow + 2 * i);
    }
}

void MirrorSamples(std::uint16_t* ioRow, std::size_t inCount)
{
    const auto count = static_cast<std::int32_t>(inCount);
    for (std::int32_t beyond = 1; beyond <= kMostPairs; ++beyond)
    {
        ioRow[-beyond] = ioRow[Mirrored(-beyond, count)];
        ioRow[count + beyond - 1] = ioRow[Mirrored(count + beyond - 1, count)];
    }
}

template <int kTaps>
void ShiftRow(const std::uint16_t* inRow, const QuarterWeights& inWeights, std::uint16_t* outRow,
              std::size_t inCount)
{
    const Shorts d;
    ShortVector weights[kTaps];
    Spread(inWeights.weights, weights, kTaps);
    for (std::size_t i = 0; i < inCount; i += hn::Lanes(d))
    {
        ShortVector sum = hn::Zero(d);
        for (int tap = 0; tap < kTaps; ++tap)
        {
            const WordVector sample = hn::LoadU(Words(), inRow + i + tap - (kTaps / 2 - 1));
            sum = hn::Add(sum, hn::MulFixedPoint15(hn::BitCast(d, sample), weights[tap]));
        }
        sum = hn::Min(hn::Max(sum, hn::Zero(d)), hn::Set(d, kMostSum));
        hn::StoreU(hn::BitCast(Words(), sum), Words(), outRow + i);
    }
}

void SumSourceRows(const RowPairs& inRows, const PairWeights& inWeights, std::int16_t* outEven,
                   std::int16_t* outOdd, std::size_t inCount)
{
    using Function = decltype(&SumRowsOf<false, 2>);
    static constexpr Function kSums[2][3] = {{SumRowsOf<false, 2>, SumRowsOf<false, 4>, SumRowsOf<false, 6>},
                                             {SumRowsOf<true, 2>, SumRowsOf<true, 4>, SumRowsOf<true, 6>}};
    kSums[inRows.isWord ? 1 : 0][inWeights.pairs / 2 - 1](inRows, inWeights, outEven, outOdd, inCount);
}

void SumRowColumns(const std::int16_t* inEven, const std::int16_t* inOdd, const PairWeights& inWeights,
                   std::uint16_t* outRow, std::size_t inCount)
{
    static constexpr decltype(&SumColumnsOf<2>) kSums[3] = {SumColumnsOf<2>, SumColumnsOf<4>,
                                                            SumColumnsOf<6>};
    kSums[inWeights.pairs / 2 - 1](inEven, inOdd, inWeights, outRow, inCount);
}

void ShiftPaddedRow(std::uint16_t* ioRow, const QuarterWeights& inWeights, std::uint16_t* outRow,
                    std::size_t inCount)
{
    static constexpr decltype(&ShiftRow<2>) kShifts[3] = {ShiftRow<2>, ShiftRow<4>, ShiftRow<6>};
    MirrorSamples(ioRow, inCount);
    kShifts[inWeights.taps / 2 - 1](ioRow, inWeights, outRow, inCount);
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

HWY_EXPORT(SumSourceRows);
HWY_EXPORT(SumRowColumns);
HWY_EXPORT(JoinRows);
HWY_EXPORT(ShiftPaddedRow);
HWY_EXPORT(NameOfTarget);

}

void SumRows(const RowPairs& inRows, const PairWeights& inWeights, std::int16_t* outEven,
             std::int16_t* outOdd, std::size_t inCount)
{
    HWY_DYNAMIC_DISPATCH(SumSourceRows)(inRows, inWeights, outEven, outOdd, inCount);
}

void SumColumns(const std::int16_t* inEven, const std::int16_t* inOdd, const PairWeights& inWeights,
                std::uint16_t* outRow, std::size_t inCount)
{
    HWY_DYNAMIC_DISPATCH(SumRowColumns)(inEven, inOdd, inWeights, outRow, inCount);
}

void JoinColumns(const std::int16_t* inEven, const std::int16_t* inOdd, std::uint16_t* outRow,
                 std::size_t inCount)
{
    HWY_DYNAMIC_DISPATCH(JoinRows)(inEven, inOdd, outRow, inCount);
}

void ShiftByQuarter(std::uint16_t* ioRow, const QuarterWeights& inWeights, std::uint16_t* outRow,
                    std::size_t inCount)
{
    HWY_DYNAMIC_DISPATCH(ShiftPaddedRow)(ioRow, inWeights, outRow, inCount);
}

const char* HalvingTarget()
{
    return HWY_DYNAMIC_DISPATCH(NameOfTarget)();
}

}

#endif
