#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

#include "ReferenceHost/ImageRoutines/ComposeBytes.h"
#include "ReferenceHost/ImageRoutines/ComposeFloats.h"
#include "ReferenceHost/ImageRoutines/ComposePictures.h"
#include "ReferenceHost/ImageRoutines/FloatRows.h"
#include "ReferenceHost/ImageRoutines/RowBuffers.h"

#include "hwy/cache_control.h"

namespace ir
{
namespace
{

struct Mix
{
    const Picture* sources;
    const double* weights;
    std::size_t count;
    std::int32_t wholeHeight;

    float Weight(std::size_t inIndex) const { return static_cast<float>(weights[inIndex]); }
};

// Sums of pictures of any kind, by way of rows of floats at full chroma resolution.
class SummedRows : public IRowSource
{
public:
    SummedRows(const Mix& inMix, const Picture& inTarget)
        : mMix(inMix)
        , mWidth(static_cast<std::size_t>(inTarget.width))
        , mRows(10, mWidth + 64)
    {
        Picture summed = inTarget;
        summed.alpha = PictureAlpha::kPremultiplied;
        for (std::size_t i = 0; i < inMix.count; ++i)
        {
            mPlans.push_back(PlanFor(inMix.sources[i], summed));
        }
        mLastPlan = PlanFor(summed, inTarget);
    }

    FloatRow Read(std::int32_t inY) const override
    {
        const FloatRow row = {{mRows.Row(0), mRows.Row(1), mRows.Row(2), mRows.Row(3)}};
        const FloatRow sum = {{mRows.Row(4), mRows.Row(5), mRows.Row(6), mRows.Row(7)}};
        for (float* component : sum.c)
        {
            std::fill_n(component, mWidth, 0.0F);
        }
        for (std::size_t i = 0; i < mMix.count; ++i)
        {
            ReadFloatRow(mMix.sources[i], inY, row, mRows.Row(8));
            ApplyPlan(mPlans[i], row, mWidth);
            for (int c = 0; c < 4; ++c)
            {
                AccumulateRow(row.c[c], mMix.Weight(i), false, sum.c[c], mWidth);
            }
        }
        ApplyPlan(mLastPlan, sum, mWidth);
        return sum;
    }

private:
    const Mix& mMix;
    std::size_t mWidth;
    RowBuffers<float> mRows;
    std::vector<RowPlan> mPlans;
    RowPlan mLastPlan;
};

// Sums of subsampled pictures of one kind: each plane by itself, so that chroma is not filtered.
class SummedPlanes
{
public:
    SummedPlanes(const Mix& inMix, const Picture& inTarget)
        : mMix(inMix)
        , mTarget(inTarget)
        , mRows(5, static_cast<std::size_t>(inTarget.width) + 64)
    {
    }

    void Write() const
    {
        const FloatRow luma = {{mRows.Row(0), mRows.Row(1), mRows.Row(2), mRows.Row(3)}};
        std::fill_n(luma.c[3], mTarget.width, 1.0F);
        for (std::int32_t y = 0; y < mTarget.height; ++y)
        {
            Sum(0, y, mTarget.width, luma.c[0]);
            WriteFloatRow(mTarget, y, luma);
        }
        for (std::int32_t row = 0; row < mTarget.chromaRows; ++row)
        {
            Sum(1, row, mTarget.ChromaWidth(), luma.c[1]);
            Sum(2, row, mTarget.ChromaWidth(), luma.c[2]);
            WriteChromaRow(mTarget, row, luma.c[1], luma.c[2]);
        }
    }

private:
    void Sum(int inComponent, std::int32_t inRow, std::int32_t inCount, float* outSum) const
    {
        const auto count = static_cast<std::size_t>(inCount);
        std::fill_n(outSum, count, 0.0F);
        for (std::size_t i = 0; i < mMix.count; ++i)
        {
            ReadMemoryRow(mMix.sources[i], inComponent, inRow, mRows.Row(4));
            AccumulateRow(mRows.Row(4), mMix.Weight(i), false, outSum, count);
        }
    }

    const Mix& mMix;
    const Picture& mTarget;
    RowBuffers<float> mRows;
};

// One storage, model and coding: a sample means the same in both, but for alpha.
bool AreSamplesAlike(const Picture& inSource, const Picture& inTarget)
{
    return inSource.storage == inTarget.storage && inSource.sample == inTarget.sample &&
           inSource.bits == inTarget.bits && inSource.isFullRange == inTarget.isFullRange &&
           inSource.matrix == inTarget.matrix && inSource.transfer == inTarget.transfer &&
           inSource.primaries == inTarget.primaries && inSource.isFieldChroma == inTarget.isFieldChroma &&
           inSource.shiftX == inTarget.shiftX && inSource.shiftY == inTarget.shiftY &&
           HasSameChromaColumns(inSource, inTarget) && HasSameChromaRows(inSource, inTarget);
}

// Whether pixels are summed as they lie in memory: the target is straight and every source straight or opaque,
// or none of all is straight.
bool AreSummedAsStored(const Picture& inSource, const Picture& inTarget)
{
    const bool isPremultiplied = inSource.alpha == PictureAlpha::kPremultiplied;
    return inTarget.alpha == PictureAlpha::kStraight ? !isPremultiplied
                                                     : inSource.alpha != PictureAlpha::kStraight;
}

template <typename Test>
bool All(const Mix& inMix, Test inTest)
{
    return std::all_of(inMix.sources, inMix.sources + inMix.count, inTest);
}

double TotalWeight(const Mix& inMix)
{
    double total = 0.0;
    for (std::size_t i = 0; i < inMix.count; ++i)
    {
        total += inMix.weights[i];
    }
    return total;
}

bool IsWholeWeight(double inTotal)
{
    return std::fabs(inTotal - 1.0) < 1e-6;
}

// Codes that don't start at 0 can only be summed by shares of a whole.
bool CanMixBytes(const Mix& inMix, const Picture& inTarget)
{
    const bool areShares = std::all_of(inMix.weights, inMix.weights + inMix.count,
                                       [](double inWeight) { return inWeight >= 0.0 && inWeight <= 1.0; });
    const bool startsAtZero = inTarget.IsRGB() || inTarget.alpha == PictureAlpha::kStraight;
    return inTarget.sample == Sample::kByte && inMix.count > 0 && inMix.count <= kMostMixedRows &&
           areShares && (startsAtZero || IsWholeWeight(TotalWeight(inMix)));
}

// Shares of 65535. What rounding leaves of a whole, or adds to it, goes to the greatest: two halves would be more
// than a whole and miss the short way of MixBytes.
std::vector<std::uint16_t> SharesOf(const Mix& inMix)
{
    std::vector<std::uint16_t> shares;
    std::int32_t total = 0;
    for (std::size_t i = 0; i < inMix.count; ++i)
    {
        shares.push_back(static_cast<std::uint16_t>(std::lround(inMix.weights[i] * 65535.0)));
        total += shares.back();
    }
    if (IsWholeWeight(TotalWeight(inMix)))
    {
        auto& greatest = *std::max_element(shares.begin(), shares.end());
        greatest = static_cast<std::uint16_t>(greatest + 65535 - total);
    }
    return shares;
}

std::uint32_t BlackOf(const Picture& inPicture)
{
    std::uint32_t black = 0;
    for (int component = 0; component < 3; ++component)
    {
        const auto offset = static_cast<std::uint32_t>(RangeOf(inPicture, component).offset);
        black |= offset << (kPackedPlace[component] * 8);
    }
    return black;
}

// A large picture would push its own sources out of the caches, and be read into them before it's overwritten:
// what is written past them moves a quarter less. A small one is soon read again.
bool IsStreamed(const Mix& inMix, const Picture& inTarget)
{
    constexpr std::ptrdiff_t kLargeBytes = 4 << 20;
    return RowBytesOf(inTarget, 0) * std::max(inTarget.height, inMix.wholeHeight) >= kLargeBytes &&
           All(inMix, [&](const Picture& inSource) { return inSource.planes[0] != inTarget.planes[0]; });
}

void MixByBytes(const Mix& inMix, const Picture& inTarget)
{
    constexpr std::uint32_t kAlphaBits = 0xFF000000U;
    const bool isPacked = inTarget.storage == Storage::kPacked4;
    const std::vector<std::uint16_t> shares = SharesOf(inMix);
    std::vector<std::uint32_t> alwaysSet(inMix.count, 0);
    for (std::size_t i = 0; i < inMix.count && isPacked; ++i)
    {
        alwaysSet[i] = inMix.sources[i].HasAlpha() ? 0 : kAlphaBits;
    }
    const ByteMix mix = {inMix.count,
                         shares.data(),
                         alwaysSet.data(),
                         inTarget.alpha == PictureAlpha::kStraight,
                         isPacked ? BlackOf(inTarget) : 0,
                         isPacked && !inTarget.HasAlpha() ? kAlphaBits : 0,
                         IsStreamed(inMix, inTarget)};
    std::vector<const std::uint8_t*> rows(inMix.count);
    for (int plane = 0; plane < 4; ++plane)
    {
        const std::int32_t height = plane == 1 || plane == 2 ? inTarget.chromaRows : inTarget.height;
        for (std::int32_t y = 0; inTarget.planes[plane] != nullptr && y < height; ++y)
        {
            std::transform(inMix.sources, inMix.sources + inMix.count, rows.begin(),
                           [&](const Picture& inSource) { return inSource.Row(plane, y); });
            MixBytes(mix, rows.data(), inTarget.Row(plane, y),
                     static_cast<std::size_t>(RowBytesOf(inTarget, plane)));
        }
    }
    hwy::FlushStream();
}

void MixByFloats(const Mix& inMix, const Picture& inTarget)
{
    std::vector<float> weights(inMix.count);
    const auto areOpaque = std::make_unique<bool[]>(inMix.count);
    for (std::size_t i = 0; i < inMix.count; ++i)
    {
        weights[i] = inMix.Weight(i);
        areOpaque[i] = !inMix.sources[i].HasAlpha();
    }
    const FloatMix mix = {inMix.count,          weights.data(),
                          areOpaque.get(),      inTarget.alpha == PictureAlpha::kStraight,
                          !inTarget.HasAlpha(), IsStreamed(inMix, inTarget)};
    std::vector<const float*> rows(inMix.count);
    for (std::int32_t y = 0; y < inTarget.height; ++y)
    {
        std::transform(inMix.sources, inMix.sources + inMix.count, rows.begin(),
                       [&](const Picture& inSource)
                       { return reinterpret_cast<const float*>(inSource.Row(0, y)); });
        MixFloats(mix, rows.data(), reinterpret_cast<float*>(inTarget.Row(0, y)),
                  static_cast<std::size_t>(inTarget.width));
    }
    hwy::FlushStream();
}

}

void MixPictures(const Picture* inSources, const double* inWeights, std::size_t inCount,
                 const Picture& inTarget, std::int32_t inWholeHeight)
{
    const Mix mix = {inSources, inWeights, inCount, inWholeHeight};
    const bool areAlike =
        All(mix, [&](const Picture& inSource) { return AreSamplesAlike(inSource, inTarget); });
    const bool areStored =
        areAlike && All(mix, [&](const Picture& inSource) { return AreSummedAsStored(inSource, inTarget); });
    const bool isPacked = inTarget.storage == Storage::kPacked4;
    if (areStored && CanMixBytes(mix, inTarget))
    {
        MixByBytes(mix, inTarget);
    }
    else if (areStored && isPacked && inTarget.sample == Sample::kFloat)
    {
        MixByFloats(mix, inTarget);
    }
    else if (areAlike && inTarget.IsSubsampled())
    {
        SummedPlanes(mix, inTarget).Write();
    }
    else
    {
        WriteRows(inTarget, SummedRows(mix, inTarget));
    }
}

}
