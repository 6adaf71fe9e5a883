#include <algorithm>
#include <vector>

#include "ReferenceHost/ImageRoutines/ComposePictures.h"
#include "ReferenceHost/ImageRoutines/FloatRows.h"
#include "ReferenceHost/ImageRoutines/RowBuffers.h"

namespace ir
{
namespace
{

struct Mix
{
    const Picture* sources;
    const double* weights;
    std::size_t count;

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

bool IsSamePlanes(const Picture& inSource, const Picture& inTarget)
{
    return inSource.IsSubsampled() && inSource.storage == inTarget.storage &&
           inSource.sample == inTarget.sample && inSource.bits == inTarget.bits &&
           inSource.isFullRange == inTarget.isFullRange && inSource.matrix == inTarget.matrix &&
           HasSameChromaColumns(inSource, inTarget) && HasSameChromaRows(inSource, inTarget) &&
           inSource.isFieldChroma == inTarget.isFieldChroma && inSource.shiftX == inTarget.shiftX &&
           inSource.shiftY == inTarget.shiftY;
}

}

void MixPictures(const Picture* inSources, const double* inWeights, std::size_t inCount,
                 const Picture& inTarget)
{
    const Mix mix = {inSources, inWeights, inCount};
    const bool isByPlanes =
        inTarget.IsSubsampled() &&
        std::all_of(inSources, inSources + inCount,
                    [&](const Picture& inSource) { return IsSamePlanes(inSource, inTarget); });
    isByPlanes ? SummedPlanes(mix, inTarget).Write() : WriteRows(inTarget, SummedRows(mix, inTarget));
}

}
