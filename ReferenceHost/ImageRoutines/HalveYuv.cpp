#include "ReferenceHost/ImageRoutines/HalveYuv.h"

#include <algorithm>
#include <cmath>

#include "ReferenceHost/ImageRoutines/HalvingKernels.h"
#include "ReferenceHost/ImageRoutines/RowBuffers.h"
#include "ReferenceHost/ImageRoutines/YuvToBgra.h"
#include "hwy/cache_control.h"

namespace ir
{
namespace
{

constexpr double kPi = 3.14159265358979323846;
constexpr double kUnity = 32768.0; // of weights

double Sinc(double inX)
{
    return inX == 0.0 ? 1.0 : std::sin(kPi * inX) / (kPi * inX);
}

double WeightAt(ScaleFilter inFilter, double inDistance)
{
    const double x = std::fabs(inDistance);
    switch (inFilter)
    {
    case ScaleFilter::kBilinear: return 1.0 - x;
    case ScaleFilter::kBicubic:
        return x < 1.0 ? (1.5 * x - 2.5) * x * x + 1.0 : ((2.5 - 0.5 * x) * x - 4.0) * x + 2.0;
    default: return Sinc(x) * Sinc(x / 3.0);
    }
}

// Rounds inWeights so that they add up to inSum exactly: an even grey stays what it is. What is left over goes
// to the largest.
void RoundWeights(const double* inWeights, int inCount, double inSum, std::int16_t* outWeights)
{
    double sum = 0.0;
    for (int i = 0; i < inCount; ++i)
    {
        sum += inWeights[i];
    }
    auto rest = static_cast<int>(inSum);
    for (int i = 0; i < inCount; ++i)
    {
        outWeights[i] = static_cast<std::int16_t>(std::lround(inWeights[i] / sum * inSum));
        rest -= outWeights[i];
    }
    std::int16_t& largest = *std::max_element(outWeights, outWeights + inCount);
    largest = static_cast<std::int16_t>(largest + rest);
}

PairWeights PairsOf(ScaleFilter inFilter)
{
    PairWeights pairs = {static_cast<int>(2 * SupportOf(inFilter)), {}};
    double weights[kMostPairs];
    for (int pair = 0; pair < pairs.pairs; ++pair)
    {
        weights[pair] = WeightAt(inFilter, (pair + 0.5) / 2.0);
    }
    RoundWeights(weights, pairs.pairs, kUnity / 2.0, pairs.weights);
    return pairs;
}

QuarterWeights QuarterOf(ScaleFilter inFilter)
{
    QuarterWeights quarter = {static_cast<int>(2 * SupportOf(inFilter)), {}};
    double weights[kMostPairs];
    for (int tap = 0; tap < quarter.taps; ++tap)
    {
        weights[tap] = WeightAt(inFilter, tap - (quarter.taps / 2 - 1) - 0.25);
    }
    RoundWeights(weights, quarter.taps, kUnity, quarter.weights);
    return quarter;
}

// Asks for a row that is wanted soon. The processor foresees the way through one row, but not that the rows
// of three planes are read by turns, and would find the start of each in memory only.
void FetchRow(const Picture& inSource, int inPlane, std::int32_t inRow)
{
    constexpr std::ptrdiff_t kCacheLine = 64;
    const unsigned char* row = inSource.Row(inPlane, inRow);
    const std::ptrdiff_t bytes = RowBytesOf(inSource, inPlane);
    for (std::ptrdiff_t at = 0; at < bytes; at += kCacheLine)
    {
        hwy::Prefetch(row + at);
    }
}

// Rows of the halved picture, one at a time.
class HalvedRows
{
public:
    HalvedRows(const Picture& inSource, std::size_t inWidth, ScaleFilter inFilter)
        : mSource(inSource)
        , mWidth(inWidth)
        , mPairs(PairsOf(inFilter))
        , mQuarter(QuarterOf(inFilter))
        , mIsShifted(inSource.shiftX == 1 && ChromaOffsetX(inSource) == 0.0)
        , mWords(5, inWidth + 2 * kSumPad)
        , mSums(2, inWidth + 2 * kSumPad)
    {
    }

    void Prepare(std::int32_t inY)
    {
        FetchNext(inY + 1);
        Halve(0, inY, Words(0));
        if (mSource.shiftY == 1)
        {
            TakeChroma(inY);
        }
        else
        {
            for (int plane = 1; plane < 3; ++plane)
            {
                mSource.shiftX == 0 ? Halve(plane, inY, Words(plane)) : HalveHeight(plane, inY);
            }
        }
        for (int plane = 1; mIsShifted && plane < 3; ++plane)
        {
            ShiftByQuarter(Words(plane), mQuarter, Words(plane + 2), mWidth);
        }
    }

    SampleRow Luma() const { return {Words(0), true, 15 - kSumBits}; }
    const std::uint16_t* U() const { return Words(mIsShifted ? 3 : 1); }
    const std::uint16_t* V() const { return Words(mIsShifted ? 4 : 2); }

private:
    // What row inY needs beyond the rows that the one before it needed.
    void FetchNext(std::int32_t inY) const
    {
        for (int plane = 0; plane < (mSource.storage == Storage::kSemiPlanar ? 2 : 3); ++plane)
        {
            const bool isHalved = plane == 0 || mSource.shiftY == 0;
            const std::int32_t first = isHalved ? 2 * inY + mPairs.pairs - 1 : inY;
            const std::int32_t end = std::min(first + (isHalved ? 2 : 1), RowsOf(plane));
            for (std::int32_t row = first; row < end; ++row)
            {
                FetchRow(mSource, plane, row);
            }
        }
    }

    std::int32_t RowsOf(int inPlane) const { return inPlane == 0 ? mSource.height : mSource.chromaRows; }

    static_assert(kSumPad == kChromaPad);

    std::uint16_t* Words(int inRow) const { return mWords.Row(static_cast<std::size_t>(inRow)) + kSumPad; }

    void SumRowsOf(int inPlane, std::int32_t inY, std::size_t inPairsOfColumns)
    {
        RowPairs pairs = {{}, mSource.sample == Sample::kWord, mSource.bits};
        for (int pair = 0; pair < mPairs.pairs; ++pair)
        {
            pairs.rows[2 * pair] = mSource.Row(inPlane, Mirrored(2 * inY - pair, mSource.height));
            pairs.rows[2 * pair + 1] = mSource.Row(inPlane, Mirrored(2 * inY + 1 + pair, mSource.height));
        }
        SumRows(pairs, mPairs, mSums.Row(0) + kSumPad, mSums.Row(1) + kSumPad, inPairsOfColumns);
    }

    void Halve(int inPlane, std::int32_t inY, std::uint16_t* outWords)
    {
        SumRowsOf(inPlane, inY, mWidth);
        SumColumns(mSums.Row(0) + kSumPad, mSums.Row(1) + kSumPad, mPairs, outWords, mWidth);
    }

    void HalveHeight(int inPlane, std::int32_t inY)
    {
        SumRowsOf(inPlane, inY, mWidth / 2);
        JoinColumns(mSums.Row(0) + kSumPad, mSums.Row(1) + kSumPad, Words(inPlane), mWidth / 2);
    }

    // Chroma of 4:2:0 has as many rows as the target, at the same places.
    void TakeChroma(std::int32_t inY)
    {
        ChromaBlend blend = {nullptr,
                             nullptr,
                             0,
                             mSource.sample == Sample::kWord,
                             mSource.storage == Storage::kSemiPlanar,
                             0,
                             1 << (kSumBits - mSource.bits)};
        for (int plane = 1; plane < (blend.isInterleaved ? 2 : 3); ++plane)
        {
            blend.near = mSource.Row(plane, inY);
            blend.far = blend.near;
            BlendChroma(blend, Words(plane), Words(2), mWidth);
        }
    }

    const Picture& mSource;
    const std::size_t mWidth; // of the target
    const PairWeights mPairs;
    const QuarterWeights mQuarter;
    const bool mIsShifted;
    const RowBuffers<std::uint16_t> mWords; // luma, U, V, and U and V at luma's places
    const RowBuffers<std::int16_t> mSums;
};

bool IsLaidOutForHalving(const Picture& inSource)
{
    const bool isQuartered = inSource.shiftX == 1 && inSource.shiftY == 1;
    const bool isStored =
        inSource.storage == Storage::kPlanar || (inSource.storage == Storage::kSemiPlanar && isQuartered);
    const bool isCentred = !isQuartered || ChromaOffsetY(inSource, kIR_WholePicture) == 0.5;
    const std::int32_t mostBits = isQuartered ? 10 : 12; // BlendChroma cuts what is longer
    return isStored && isCentred && inSource.shiftX <= 1 && inSource.shiftY <= inSource.shiftX &&
           !inSource.isFieldChroma && !inSource.isGray && inSource.lowZeroBits == 0 &&
           inSource.bits <= mostBits;
}

}

bool CanHalveYuv(const Picture& inSource, const Picture& inTarget) noexcept
{
    const bool isBgra = inTarget.storage == Storage::kPacked4 && inTarget.sample == Sample::kByte &&
                        inTarget.IsRGB() && inTarget.transfer == Transfer::kDisplay;
    const bool keepsAlpha = inSource.HasAlpha() && inTarget.HasAlpha();
    const bool isHalf = inSource.width == 2 * inTarget.width && inSource.height == 2 * inTarget.height;
    // Columns of 4:2:2 chroma are summed by twos.
    const bool hasWholePairs = inSource.shiftX == inSource.shiftY || inTarget.width % 2 == 0;
    return isBgra && !keepsAlpha && isHalf && hasWholePairs && HasYuvToBgra(inSource) &&
           IsLaidOutForHalving(inSource);
}

void HalveYuv(const Picture& inSource, const Picture& inTarget, ScaleFilter inFilter)
{
    const auto width = static_cast<std::size_t>(inTarget.width);
    const YuvToBgraFactors factors = FactorsFor(inSource);
    HalvedRows rows(inSource, width, inFilter);
    for (std::int32_t y = 0; y < inTarget.height; ++y)
    {
        rows.Prepare(y);
        YuvRowToBgra(rows.Luma(), rows.U(), rows.V(), ChromaPhase::kFull, nullptr, factors,
                     inTarget.Row(0, y), width);
    }
}

}
