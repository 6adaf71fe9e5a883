#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "ReferenceHost/ImageRoutines/FloatRows.h"
#include "ReferenceHost/ImageRoutines/MotionDraw.h"
#include "ReferenceHost/ImageRoutines/MotionRows.h"
#include "ReferenceHost/ImageRoutines/RowBuffers.h"

namespace ir
{
namespace
{

// A tile and what it is made of stay in the second-level cache.
constexpr std::int32_t kTileColumns = 64;
constexpr std::int32_t kTileRows = 16;

// Rows that are kept for the next row of the target; a filter that looks at more is wide, and reads most rows
// for one row of the target only.
constexpr std::int32_t kMostKeptRows = 12;

std::size_t Size(std::int32_t inNumber)
{
    return static_cast<std::size_t>(std::max(inNumber, 0));
}

// Stretches of source rows as premultiplied floats in the target's model and coding.
class SourceRows
{
public:
    SourceRows(const MotionPlan& inPlan, std::int32_t inMostColumns)
        : mSource(inPlan.source)
        , mIsCopied(mSource.sample == Sample::kFloat && mSource.alpha == PictureAlpha::kPremultiplied &&
                    HasSameCoding(mSource, inPlan.target))
        , mPlanes(4, Size(inMostColumns))
    {
        Picture premultiplied = inPlan.target;
        premultiplied.alpha = PictureAlpha::kPremultiplied;
        mPlan = PlanFor(mSource, premultiplied);
    }

    void Read(std::int32_t inRow, std::int32_t inFirst, std::int32_t inCount, float* outPixels) const
    {
        const Picture part = Part(mSource, inFirst, inRow, inFirst + inCount, inRow + 1);
        if (mIsCopied)
        {
            std::memcpy(outPixels, part.Row(0, 0), Size(inCount) * 4 * sizeof(float));
            return;
        }
        const FloatRow row = {{mPlanes.Row(0), mPlanes.Row(1), mPlanes.Row(2), mPlanes.Row(3)}};
        ReadFloatRow(part, 0, row, nullptr); // scratch is for planes of chroma only
        ApplyPlan(mPlan, row, Size(inCount));
        PackFloatRow(row, outPixels, Size(inCount));
    }

private:
    Picture mSource;
    RowPlan mPlan;
    bool mIsCopied;
    RowBuffers<float> mPlanes;
};

// False, and nothing written, if all of the stretch is covered.
bool FindCoverage(const MotionPlan& inPlan, std::int32_t inRow, std::int32_t inFirst, std::int32_t inCount,
                  float* outCoverage)
{
    const MotionSpan full = FullColumns(inPlan, inRow);
    if (full.first <= inFirst && inFirst + inCount <= full.last)
    {
        return false;
    }
    for (std::int32_t i = 0; i < inCount; ++i)
    {
        const std::int32_t column = inFirst + i;
        const bool isFull = column >= full.first && column < full.last;
        outCoverage[i] = isFull ? 1.0F : static_cast<float>(CoverageAt(inPlan, column, inRow));
    }
    return true;
}

void Compose(const MotionPlan& inPlan, const float* inPixels, std::int32_t inRow, std::int32_t inFirst,
             std::int32_t inCount, float* ioCoverage)
{
    const bool isPartial = FindCoverage(inPlan, inRow, inFirst, inCount, ioCoverage);
    ComposeFloatRow(inPixels, isPartial ? ioCoverage : nullptr, inPlan.compose, inPlan.target, inFirst,
                    inPlan.TargetRow(inRow), inCount);
}

// The taps of every column or row of the box.
struct AxisTaps
{
    std::vector<MotionTaps> taps;
    std::vector<float> weights;
    std::int32_t first = 0;
    std::int32_t last = 0; // behind the last pixel that counts

    const float* WeightsOf(const MotionTaps& inTaps) const { return weights.data() + inTaps.offset; }
};

template <typename PlaceOf>
AxisTaps TapsOf(const MotionPlan& inPlan, const MotionAxis& inAxis, std::int32_t inFrom, std::int32_t inTo,
                PlaceOf inPlaceOf)
{
    AxisTaps all;
    all.first = inAxis.count;
    for (std::int32_t i = inFrom; i < inTo; ++i)
    {
        const MotionTaps taps = AppendTaps(inAxis, inPlan.filter, inPlaceOf(i + 0.5), all.weights);
        all.first = std::min(all.first, taps.first);
        all.last = std::max(all.last, taps.first + taps.count);
        all.taps.push_back(taps);
    }
    return all;
}

class UprightDrawing
{
public:
    explicit UprightDrawing(const MotionPlan& inPlan)
        : mPlan(inPlan)
        , mColumns(TapsOf(inPlan, inPlan.u, inPlan.box.left, inPlan.box.right,
                          [&](double inX) { return inPlan.u.At(inX, 0.0); }))
        , mRows(TapsOf(inPlan, inPlan.v, inPlan.box.top, inPlan.box.bottom,
                       [&](double inY) { return inPlan.v.At(0.0, inY); }))
        , mSource(inPlan, mColumns.last - mColumns.first)
        , mKeptRows(KeptRows(mRows))
        , mKept(Size(mKeptRows), Size(mColumns.last - mColumns.first) * 4)
        , mNames(Size(mKeptRows), -1)
        , mSum(1, Size(mColumns.last - mColumns.first) * 4)
        , mPixels(1, Size(inPlan.box.right - inPlan.box.left) * 4)
        , mCoverage(1, Size(inPlan.box.right - inPlan.box.left))
    {
    }

    void Draw()
    {
        const MotionBox& box = mPlan.box;
        const std::int32_t columns = box.right - box.left;
        for (std::int32_t row = box.top; row < box.bottom; ++row)
        {
            const float* mixed = MixRows(mRows.taps[Size(row - box.top)]);
            FilterColumns(mixed, mColumns.first, mColumns.taps.data(), mColumns.weights.data(),
                          mPixels.Row(0), Size(columns));
            Compose(mPlan, mPixels.Row(0), row, box.left, columns, mCoverage.Row(0));
        }
    }

private:
    static std::int32_t KeptRows(const AxisTaps& inRows)
    {
        std::int32_t most = 1;
        for (const MotionTaps& taps : inRows.taps)
        {
            most = std::max(most, taps.count);
        }
        return std::min(most, kMostKeptRows);
    }

    const float* SourceRow(std::int32_t inRow)
    {
        const std::size_t place = Size(inRow % mKeptRows);
        if (mNames[place] != inRow)
        {
            mSource.Read(inRow, mColumns.first, mColumns.last - mColumns.first, mKept.Row(place));
            mNames[place] = inRow;
        }
        return mKept.Row(place);
    }

    const float* MixRows(const MotionTaps& inTaps)
    {
        if (inTaps.count == 1)
        {
            return SourceRow(inTaps.first);
        }
        for (std::int32_t tap = 0; tap < inTaps.count; ++tap)
        {
            AccumulateRow(SourceRow(inTaps.first + tap), mRows.WeightsOf(inTaps)[tap], tap == 0, mSum.Row(0),
                          Size(mColumns.last - mColumns.first) * 4);
        }
        return mSum.Row(0);
    }

    const MotionPlan& mPlan;
    AxisTaps mColumns;
    AxisTaps mRows;
    SourceRows mSource;
    std::int32_t mKeptRows;
    RowBuffers<float> mKept;
    std::vector<std::int32_t> mNames; // of the row that each kept one holds
    RowBuffers<float> mSum;
    RowBuffers<float> mPixels;
    RowBuffers<float> mCoverage;
};

// One axis of the blocks that a turned picture is sampled from.
struct BlockAxis
{
    explicit BlockAxis(const MotionPlan& inPlan, const MotionAxis& inAxis)
        : axis(inAxis)
        , size(BlockSize(inPlan, inAxis))
        , count((inAxis.count + size - 1) / size)
        , width(count == 1 ? 1.0 : std::max(1.0, inAxis.filterWidth / size))
        , filter(FilterFor(inPlan, inAxis))
        , length(FilterLength(filter, width))
    {
    }

    // Every place of a single block is as good as its middle, which is never far away.
    double At(double inX, double inY) const { return count == 1 ? 0.5 : axis.At(inX, inY) / size; }
    double AlongX() const { return count == 1 ? 0.0 : axis.alongX / size; }
    std::int32_t Nearest(std::int32_t inBlock) const { return std::clamp(inBlock, 0, count - 1); }

    // The blocks that places from or up to inPlace look at, one of the picture's own among them.
    std::int32_t FirstLooked(double inPlace) const
    {
        return std::min(count - 1, static_cast<std::int32_t>(std::floor(inPlace - length / 2.0 - 0.5)));
    }
    std::int32_t LastLooked(double inPlace) const
    {
        return std::max(0, static_cast<std::int32_t>(std::floor(inPlace + length / 2.0 + 0.5)));
    }

    std::int32_t PixelsOf(std::int32_t inBlock) const
    {
        return std::min(axis.count, (inBlock + 1) * size) - inBlock * size;
    }

    const MotionAxis& axis;
    std::int32_t size; // pixels of a block
    std::int32_t count;
    double width;
    MotionFilter filter;
    double length;
};

// The blocks that a tile looks at.
struct BlockBox
{
    double left, top, right, bottom;
};

class TurnedDrawing
{
public:
    explicit TurnedDrawing(const MotionPlan& inPlan)
        : mPlan(inPlan)
        , mU(inPlan, inPlan.u)
        , mV(inPlan, inPlan.v)
        , mPhasesU(mU.filter, mU.width)
        , mPhasesV(mV.filter, mV.width)
        , mIsCutOff(inPlan.filter != MotionFilter::kArea && inPlan.source.sample == Sample::kByte &&
                    inPlan.target.sample == Sample::kByte && HasSameCoding(inPlan.source, inPlan.target))
        , mMostColumns(MostBlocks(mU))
        , mSource(inPlan, MostPixels())
        , mGrid(Size(MostBlocks(mV)), Size(mMostColumns) * 4)
        , mRow(2, Size(MostPixels()) * 4)
        , mPixels(1, Size(kTileColumns) * 4)
        , mCoverage(1, Size(kTileColumns))
    {
    }

    void Draw()
    {
        const MotionBox& box = mPlan.box;
        for (std::int32_t top = box.top; top < box.bottom; top += kTileRows)
        {
            for (std::int32_t left = box.left; left < box.right; left += kTileColumns)
            {
                DrawTile({left, top, std::min(left + kTileColumns, box.right),
                          std::min(top + kTileRows, box.bottom)});
            }
        }
    }

private:
    // A bound of what the sides of a tile come to, and what the filter looks at beyond.
    static std::int32_t MostBlocks(const BlockAxis& inAxis)
    {
        const double side =
            (std::fabs(inAxis.axis.alongX) * kTileColumns + std::fabs(inAxis.axis.alongY) * kTileRows) /
            inAxis.size;
        return static_cast<std::int32_t>(std::min(side, inAxis.count + 2.0) + inAxis.length * 2.0 + 8.0);
    }

    std::int32_t MostPixels() const { return std::min(mU.axis.count, mMostColumns * mU.size); }

    MotionSpan SpanOf(const MotionBox& inTile, std::int32_t inRow) const
    {
        const MotionSpan span = CoveredColumns(mPlan, inRow);
        return {std::max(span.first, inTile.left), std::min(span.last, inTile.right)};
    }

    void Include(BlockBox& ioBox, std::int32_t inColumn, std::int32_t inRow) const
    {
        const double u = mU.At(inColumn + 0.5, inRow + 0.5);
        const double v = mV.At(inColumn + 0.5, inRow + 0.5);
        ioBox = {std::min(ioBox.left, u), std::min(ioBox.top, v), std::max(ioBox.right, u),
                 std::max(ioBox.bottom, v)};
    }

    void DrawTile(const MotionBox& inTile)
    {
        BlockBox looked = {1e300, 1e300, -1e300, -1e300};
        for (std::int32_t row = inTile.top; row < inTile.bottom; ++row)
        {
            const MotionSpan span = SpanOf(inTile, row);
            if (!span.IsEmpty())
            {
                Include(looked, span.first, row);
                Include(looked, span.last - 1, row);
            }
        }
        if (looked.left > looked.right)
        {
            return;
        }
        Fetch(looked);
        for (std::int32_t row = inTile.top; row < inTile.bottom; ++row)
        {
            DrawSpan(SpanOf(inTile, row), row);
        }
    }

    static SampleAxis AxisAt(const BlockAxis& inAxis, const MotionPhases& inPhases, std::int32_t inRow)
    {
        return {inAxis.At(0.5, inRow + 0.5), inAxis.AlongX(), inAxis.width,
                inAxis.filter == MotionFilter::kArea ? nullptr : &inPhases};
    }

    void DrawSpan(const MotionSpan& inSpan, std::int32_t inRow)
    {
        if (inSpan.IsEmpty())
        {
            return;
        }
        const SampleAxis u = AxisAt(mU, mPhasesU, inRow);
        const SampleAxis v = AxisAt(mV, mPhasesV, inRow);
        const std::int32_t count = inSpan.last - inSpan.first;
        SampleRow({mGrid.Row(0), static_cast<std::ptrdiff_t>(mGrid.Row(1) - mGrid.Row(0)), mLeft, mTop}, u, v,
                  inSpan.first, mPixels.Row(0), Size(count));
        CutOff(count);
        Compose(mPlan, mPixels.Row(0), inRow, inSpan.first, count, mCoverage.Row(0));
    }

    // Bytes are drawn as the kernels of bytes do it, which hold no more than codes.
    void CutOff(std::int32_t inCount)
    {
        if (!mIsCutOff)
        {
            return;
        }
        float* pixels = mPixels.Row(0);
        for (int i = 0; i < 4; ++i)
        {
            const FloatRange range = FloatRangeOf(RangeOf(mPlan.target, i));
            const float low = -range.offset * range.factor;
            const float high = (255.0F - range.offset) * range.factor;
            for (std::size_t at = static_cast<std::size_t>(kPackedPlace[i]); at < Size(inCount) * 4; at += 4)
            {
                pixels[at] = std::clamp(pixels[at], low, high);
            }
        }
        if (mPlan.source.alpha == PictureAlpha::kStraight && mPlan.source.IsRGB())
        {
            for (std::size_t at = 0; at < Size(inCount) * 4; ++at)
            {
                pixels[at] = std::min(pixels[at], pixels[at | 3]);
            }
        }
    }

    void Fetch(const BlockBox& inLooked)
    {
        mLeft = mU.FirstLooked(inLooked.left);
        mTop = mV.FirstLooked(inLooked.top);
        const std::int32_t right = mU.LastLooked(inLooked.right) + 1;
        const std::int32_t bottom = mV.LastLooked(inLooked.bottom) + 1;
        std::int32_t named = -1;
        for (std::int32_t row = mTop; row < bottom; ++row)
        {
            float* to = mGrid.Row(Size(row - mTop));
            if (mV.Nearest(row) == named)
            {
                std::memcpy(to, mGrid.Row(Size(row - 1 - mTop)), Size(right - mLeft) * 4 * sizeof(float));
                continue;
            }
            named = mV.Nearest(row);
            FetchRow(named, right, to);
        }
    }

    // A row of blocks, from mLeft on; beyond an edge the edge's.
    void FetchRow(std::int32_t inBlockRow, std::int32_t inRight, float* outBlocks)
    {
        const std::int32_t first = mU.Nearest(mLeft);
        const std::int32_t last = mU.Nearest(inRight - 1);
        float* inner = outBlocks + static_cast<std::ptrdiff_t>(first - mLeft) * 4;
        if (mU.size == 1 && mV.size == 1)
        {
            mSource.Read(inBlockRow, first, last - first + 1, inner);
        }
        else
        {
            AverageBlocks(inBlockRow, first, last, inner);
        }
        Repeat(inner, outBlocks, first - mLeft);
        float* end = inner + static_cast<std::ptrdiff_t>(last - first + 1) * 4;
        Repeat(end - 4, end, inRight - 1 - last);
    }

    static void Repeat(const float* inPixel, float* outPixels, std::int32_t inCount)
    {
        for (std::int32_t i = 0; i < inCount; ++i)
        {
            std::copy_n(inPixel, 4, outPixels + static_cast<std::ptrdiff_t>(i) * 4);
        }
    }

    void AverageBlocks(std::int32_t inBlockRow, std::int32_t inFirst, std::int32_t inLast, float* outBlocks)
    {
        const std::int32_t begin = inFirst * mU.size;
        const std::int32_t pixels = std::min(mU.axis.count, (inLast + 1) * mU.size) - begin;
        const std::int32_t rows = mV.PixelsOf(inBlockRow);
        for (std::int32_t row = 0; row < rows; ++row)
        {
            mSource.Read(inBlockRow * mV.size + row, begin, pixels, mRow.Row(1));
            AccumulateRow(mRow.Row(1), 1.0F / static_cast<float>(rows), row == 0, mRow.Row(0),
                          Size(pixels) * 4);
        }
        const float* from = mRow.Row(0);
        for (std::int32_t block = inFirst; block <= inLast; ++block)
        {
            float* to = outBlocks + static_cast<std::ptrdiff_t>(block - inFirst) * 4;
            const std::int32_t count = mU.PixelsOf(block);
            std::fill_n(to, 4, 0.0F);
            for (std::int32_t i = 0; i < count * 4; ++i, ++from)
            {
                to[i % 4] += *from;
            }
            for (int c = 0; c < 4; ++c)
            {
                to[c] /= static_cast<float>(count);
            }
        }
    }

    const MotionPlan& mPlan;
    BlockAxis mU;
    BlockAxis mV;
    MotionPhases mPhasesU;
    MotionPhases mPhasesV;
    bool mIsCutOff;
    std::int32_t mMostColumns;
    SourceRows mSource;
    RowBuffers<float> mGrid;
    RowBuffers<float> mRow;
    RowBuffers<float> mPixels;
    RowBuffers<float> mCoverage;
    std::int32_t mLeft = 0; // of the blocks in mGrid
    std::int32_t mTop = 0;
};

}

bool HasSameCoding(const Picture& inOne, const Picture& inOther) noexcept
{
    return inOne.matrix == inOther.matrix && inOne.transfer == inOther.transfer &&
           (inOne.sample == Sample::kFloat || inOne.isFullRange == inOther.isFullRange);
}

void DrawMotionInFloat(const MotionPlan& inPlan)
{
    if (inPlan.box.IsEmpty())
    {
        return;
    }
    if (inPlan.IsUpright())
    {
        UprightDrawing(inPlan).Draw();
        return;
    }
    TurnedDrawing(inPlan).Draw();
}

}
