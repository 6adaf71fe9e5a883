#include "ReferenceHost/ImageRoutines/MotionTiles.h"

#include <algorithm>
#include <cmath>

#include "ReferenceHost/ImageRoutines/FloatRows.h"
#include "ReferenceHost/ImageRoutines/MotionLayer.h"
#include "ReferenceHost/ImageRoutines/MotionStrips.h"
#include "ReferenceHost/ImageRoutines/MotionTurned.h"
#include "ReferenceHost/ImageRoutines/RowBuffers.h"

namespace ir
{
namespace
{

// A tile's grid stays near the first-level cache, and little of it is not looked at.
constexpr std::int32_t kTileColumns = 128;
constexpr std::int32_t kTileRows = 64;

// A tile's rows of halves lie too far apart, and are too short, for the processor to foresee them.
constexpr std::int32_t kRowsAhead = 10;
constexpr std::ptrdiff_t kSamplesOfLine = 64 / sizeof(std::int16_t);

// More of the grid, in its pixels, than exact places would ask for.
constexpr double kRounding = 0.01;

std::size_t Size(std::int32_t inNumber)
{
    return static_cast<std::size_t>(std::max(inNumber, 0));
}

// One axis of the grid: pixels of the source, or pairs of them.
struct GridAxis
{
    GridAxis(const MotionPlan& inPlan, const MotionAxis& inAxis)
        : axis(inAxis)
        , size(BlockSize(inPlan, inAxis))
        , count((inAxis.count + size - 1) / size)
        , width(count == 1 ? 1.0 : std::max(1.0, inAxis.filterWidth / size))
        , filter(FilterFor(inPlan, inAxis))
    {
        axis.start = count == 1 ? 0.5 : axis.start / size; // every place of a single pixel is its middle
        axis.alongX = count == 1 ? 0.0 : axis.alongX / size;
        axis.alongY = count == 1 ? 0.0 : axis.alongY / size;
    }

    bool IsTaken() const { return size <= 2 && TurnedTaps::TapsFor(filter, width) <= TurnedTaps::kMostTaps; }

    bool HasWeightsOf(const GridAxis& inOther) const
    {
        return filter == inOther.filter && width == inOther.width;
    }

    // Pixels of the grid that a tile looks at, and a little more.
    std::int32_t MostPixels(std::int32_t inTaps) const
    {
        return static_cast<std::int32_t>(std::fabs(axis.alongX) * kTileColumns +
                                         std::fabs(axis.alongY) * kTileRows) +
               inTaps + 8;
    }

    MotionAxis axis; // in pixels of the grid, but for its count
    std::int32_t size;
    std::int32_t count;
    double width;
    MotionFilter filter;
};

// Columns or rows of the grid from first on, behind the last one.
struct GridSpan
{
    std::int32_t first = 0;
    std::int32_t last = 0;
};

void Repeat(const std::int16_t* inPixel, std::int16_t* outPixels, std::int32_t inCount)
{
    for (std::int32_t i = 0; i < inCount; ++i)
    {
        std::copy_n(inPixel, 4, outPixels + i * std::ptrdiff_t{4});
    }
}

// Pairs from number inFirst on. The last pixel of an odd number of them is a pair by itself.
void ReadHalved(const ByteSource& inSource, const std::uint8_t* inUpper, const std::uint8_t* inLower,
                std::int32_t inFirst, std::int32_t inCount, std::int16_t* outPixels)
{
    const std::int32_t pairs = std::min(inCount, inSource.width / 2 - inFirst);
    HalveWidely(inSource, inUpper, inLower, outPixels, Size(pairs));
    if (pairs < inCount)
    {
        const std::ptrdiff_t at = std::ptrdiff_t{8} * pairs;
        std::uint8_t last[2][8];
        for (int i = 0; i < 8; ++i)
        {
            last[0][i] = inUpper[at + i % 4];
            last[1][i] = inLower[at + i % 4];
        }
        HalveWidely(inSource, last[0], last[1], outPixels + std::ptrdiff_t{4} * pairs, 1);
    }
}

// The whole grid of a picture that is halved both ways.
class HalvedPicture
{
public:
    explicit HalvedPicture(const MotionPlan& inPlan)
        : mSource(ByteSourceOf(inPlan.source))
        , mColumns((mSource.width + 1) / 2)
        , mRows((mSource.height + 1) / 2)
        , mGrid(Size(mRows), Size(mColumns) * 4)
    {
    }

    bool Take(const IPictureRows& inRows)
    {
        const RowBuffers<std::uint8_t> space(2 * kRowsAtOnce, Size(mSource.width) * 4);
        for (std::int32_t first = 0; first < mRows; first += kRowsAtOnce)
        {
            const std::int32_t count = std::min(kRowsAtOnce, mRows - first);
            const std::int32_t rows = std::min(2 * count, mSource.height - 2 * first);
            std::ptrdiff_t rowBytes = space.Row(1) - space.Row(0);
            const std::uint8_t* upper = inRows.Rows(2 * first, rows, space.Row(0), rowBytes);
            if (upper == nullptr)
            {
                return false;
            }
            for (std::int32_t row = first; row < first + count; ++row, upper += 2 * rowBytes)
            {
                const std::uint8_t* lower = 2 * row + 1 < mSource.height ? upper + rowBytes : upper;
                ReadHalved(mSource, upper, lower, 0, mColumns, mGrid.Row(Size(row)));
            }
        }
        return true;
    }

    const std::int16_t* Row(std::int32_t inRow) const { return mGrid.Row(Size(inRow)); }

private:
    static constexpr std::int32_t kRowsAtOnce = 8;

    ByteSource mSource;
    std::int32_t mColumns;
    std::int32_t mRows;
    RowBuffers<std::int16_t> mGrid;
};

class TileDrawing
{
public:
    // inHalves: null where the source is looked at.
    explicit TileDrawing(const MotionPlan& inPlan, const HalvedPicture* inHalves = nullptr)
        : mPlan(inPlan)
        , mHalves(inHalves)
        , mU(inPlan, inPlan.u)
        , mV(inPlan, inPlan.v)
        , mTaps(std::max(TurnedTaps::TapsFor(mU.filter, mU.width), TurnedTaps::TapsFor(mV.filter, mV.width)))
        , mTapsU(TurnedTapsFor(mU.filter, mU.width, mTaps))
        , mTapsV(mU.HasWeightsOf(mV) ? mTapsU : TurnedTapsFor(mV.filter, mV.width, mTaps))
        , mSource(ByteSourceOf(inPlan.source))
        , mIsCutToAlpha(mSource.isStraight && inPlan.filter != MotionFilter::kArea)
        , mLayer(inPlan)
        , mGrid(Size(mV.MostPixels(mTaps)), Size(mU.MostPixels(mTaps)) * 4)
        , mLower(1, Size(mU.MostPixels(mTaps)) * 4)
    {
        for (int i = 0; i < 4; ++i)
        {
            mRanges[kPackedPlace[i]] = FloatRangeOf(RangeOf(inPlan.source, i));
        }
    }

    void Draw()
    {
        const MotionBox& box = mPlan.box;
        for (std::int32_t top = box.top; top < box.bottom; top += kTileRows)
        {
            for (std::int32_t row = top; row < std::min(top + kTileRows, box.bottom); ++row)
            {
                mCovered[row - top] = CoveredColumns(mPlan, row);
                mFull[row - top] = FullColumns(mPlan, row);
            }
            for (std::int32_t left = box.left; left < box.right; left += kTileColumns)
            {
                DrawTile({left, top, std::min(left + kTileColumns, box.right),
                          std::min(top + kTileRows, box.bottom)});
            }
        }
    }

private:
    static MotionSpan Within(const MotionSpan& inSpan, std::int32_t inFirst, std::int32_t inLast)
    {
        return {std::max(inSpan.first, inFirst), std::min(inSpan.last, inLast)};
    }

    void DrawTile(const MotionBox& inTile)
    {
        if (!FindGrid(inTile))
        {
            return;
        }
        for (std::int32_t row = mRows.first; row < mRows.last; ++row)
        {
            Fetch(row, ColumnsFor(row, inTile));
        }
        for (std::int32_t row = inTile.top; row < inTile.bottom; ++row)
        {
            const MotionSpan covered = Within(mCovered[row - inTile.top], inTile.left, inTile.right);
            const MotionSpan full = Within(mFull[row - inTile.top], covered.first, covered.last);
            if (full.IsEmpty())
            {
                DrawEdge(covered, row);
                continue;
            }
            DrawEdge({covered.first, full.first}, row);
            DrawFull(full, row);
            DrawEdge({full.last, covered.last}, row);
        }
    }

    // The stretch of the grid that the covered pixels of a tile look at; false if there are none.
    bool FindGrid(const MotionBox& inTile)
    {
        double least[2] = {1e300, 1e300};
        double most[2] = {-1e300, -1e300};
        for (std::int32_t row = inTile.top; row < inTile.bottom; ++row)
        {
            const MotionSpan span = Within(mCovered[row - inTile.top], inTile.left, inTile.right);
            for (const std::int32_t column : {span.first, span.last - 1})
            {
                if (!span.IsEmpty())
                {
                    const double places[2] = {mU.axis.At(column + 0.5, row + 0.5),
                                              mV.axis.At(column + 0.5, row + 0.5)};
                    for (int i = 0; i < 2; ++i)
                    {
                        least[i] = std::min(least[i], places[i]);
                        most[i] = std::max(most[i], places[i]);
                    }
                }
            }
        }
        if (least[0] > most[0])
        {
            return false;
        }
        mColumns = SpanOf(mU, least[0], most[0]);
        mRows = SpanOf(mV, least[1], most[1]);
        return true;
    }

    // One of the source's own pixels is among them.
    GridSpan SpanOf(const GridAxis& inAxis, double inLeast, double inMost) const
    {
        const double half = FilterLength(inAxis.filter, inAxis.width) / 2.0;
        const auto first = static_cast<std::int32_t>(std::floor(inLeast - half - 0.5));
        const auto last = static_cast<std::int32_t>(std::floor(inMost - half - 0.5)) + 2 + mTaps;
        return {std::min(first, inAxis.count - 1), std::max(last, 1)};
    }

    // What the tile's pixels look at of one row of the grid: the places of a tile are a parallelogram, of
    // which this is a slice.
    GridSpan ColumnsFor(std::int32_t inRow, const MotionBox& inTile) const
    {
        // A pixel reads all its taps, also those that weigh nothing: they must hold something, if not what.
        const double half = FilterLength(mV.filter, mV.width) / 2.0;
        const double low = inRow + 0.5 - (mTaps - half) - kRounding;
        const double high = inRow + 0.5 + half + kRounding;
        const double x[] = {inTile.left + 0.5, inTile.right - 0.5, inTile.right - 0.5, inTile.left + 0.5};
        const double y[] = {inTile.top + 0.5, inTile.top + 0.5, inTile.bottom - 0.5, inTile.bottom - 0.5};
        double least = 1e300;
        double most = -1e300;
        for (int corner = 0; corner < 4; ++corner)
        {
            const int next = (corner + 1) % 4;
            const double from = mV.axis.At(x[corner], y[corner]);
            const double to = mV.axis.At(x[next], y[next]);
            if (std::max(from, to) < low || std::min(from, to) > high)
            {
                continue;
            }
            for (const double end : {low, high})
            {
                const double part =
                    from == to ? (end == low ? 0.0 : 1.0) : std::clamp((end - from) / (to - from), 0.0, 1.0);
                const double u = mU.axis.At(x[corner] + part * (x[next] - x[corner]),
                                            y[corner] + part * (y[next] - y[corner]));
                least = std::min(least, u);
                most = std::max(most, u);
            }
        }
        if (least > most)
        {
            return {mColumns.first, mColumns.first};
        }
        const GridSpan span = SpanOf(mU, least - kRounding, most + kRounding);
        return {std::max(span.first, mColumns.first), std::min(span.last, mColumns.last)};
    }

    // A stretch of a row of the grid; beyond an edge the edge's pixels.
    void Fetch(std::int32_t inRow, const GridSpan& inColumns)
    {
        if (inColumns.first >= inColumns.last)
        {
            return;
        }
        std::int16_t* to =
            mGrid.Row(Size(inRow - mRows.first)) + (inColumns.first - mColumns.first) * std::ptrdiff_t{4};
        const std::int32_t first = std::clamp(inColumns.first, 0, mU.count - 1);
        const std::int32_t last = std::clamp(inColumns.last - 1, 0, mU.count - 1);
        if (inColumns.first > first || inColumns.last - 1 < last)
        {
            // The picture lies beside the stretch, all of which is an edge.
            Read(std::clamp(inRow, 0, mV.count - 1), first, 1, to);
            Repeat(to, to, inColumns.last - inColumns.first);
            return;
        }
        std::int16_t* inner = to + (first - inColumns.first) * std::ptrdiff_t{4};
        Read(std::clamp(inRow, 0, mV.count - 1), first, last - first + 1, inner);
        Repeat(inner, to, first - inColumns.first);
        std::int16_t* end = inner + (last - first + 1) * std::ptrdiff_t{4};
        Repeat(end - 4, end, inColumns.last - 1 - last);
    }

    // Pixels of the grid, all of them the source's own.
    void Read(std::int32_t inRow, std::int32_t inFirst, std::int32_t inCount, std::int16_t* outPixels)
    {
        if (mHalves != nullptr)
        {
            const std::int16_t* const soon =
                mHalves->Row(std::min(inRow + kRowsAhead, mV.count - 1)) + inFirst * std::ptrdiff_t{4};
            for (std::ptrdiff_t i = 0; i < inCount * std::ptrdiff_t{4}; i += kSamplesOfLine)
            {
                __builtin_prefetch(soon + i);
            }
            std::copy_n(mHalves->Row(inRow) + inFirst * std::ptrdiff_t{4}, inCount * std::ptrdiff_t{4},
                        outPixels);
            return;
        }
        const std::uint8_t* upper = mSource.pixels + inRow * mV.size * mSource.stride;
        const std::uint8_t* lower =
            mSource.pixels + std::min(inRow * mV.size + mV.size - 1, mSource.height - 1) * mSource.stride;
        const std::ptrdiff_t offset = std::ptrdiff_t{4} * inFirst * mU.size;
        if (mU.size == 2)
        {
            ReadHalved(mSource, upper + offset, lower + offset, inFirst, inCount, outPixels);
            return;
        }
        WidenBytes(mSource, upper + offset, outPixels, Size(inCount));
        if (lower != upper)
        {
            std::int16_t* other = mLower.Row(0);
            WidenBytes(mSource, lower + offset, other, Size(inCount));
            std::transform(outPixels, outPixels + std::ptrdiff_t{4} * inCount, other, outPixels,
                           [](int inOne, int inOther)
                           { return static_cast<std::int16_t>((inOne + inOther + 1) >> 1); });
        }
    }

    TurnedGrid Grid() const
    {
        return {mGrid.Row(0), mGrid.Row(1) - mGrid.Row(0), mColumns.first, mRows.first};
    }
    TurnedAxis AxisU(std::int32_t inRow) const { return {PlaceAlong(mU.axis, inRow), mTapsU.get()}; }
    TurnedAxis AxisV(std::int32_t inRow) const { return {PlaceAlong(mV.axis, inRow), mTapsV.get()}; }

    void DrawFull(const MotionSpan& inSpan, std::int32_t inRow) const
    {
        alignas(64) std::uint8_t pixels[kTileColumns * 4];
        std::uint8_t* to = mLayer.PlaceFor(inSpan.first, inRow, pixels);
        const std::int32_t count = inSpan.last - inSpan.first;
        const bool isOpaque = SampleTurned(Grid(), AxisU(inRow), AxisV(inRow), inSpan.first, to, Size(count));
        if (mIsCutToAlpha && !isOpaque)
        {
            CutToAlpha(to, count);
        }
        mLayer.Lay(to, isOpaque, inSpan.first, inRow, count, pixels);
    }

    // A colour that overshot what its alpha can show would be told apart from it when the target divides.
    static void CutToAlpha(std::uint8_t* ioPixels, std::int32_t inCount)
    {
        for (std::uint8_t* pixel = ioPixels; pixel != ioPixels + inCount * std::ptrdiff_t{4}; pixel += 4)
        {
            std::transform(pixel, pixel + 3, pixel,
                           [&](std::uint8_t inCode) { return std::min(inCode, pixel[3]); });
        }
    }

    // The few pixels that the picture's edges cross, where colour, coverage and what lies below must meet
    // exactly.
    void DrawEdge(const MotionSpan& inSpan, std::int32_t inRow) const
    {
        if (inSpan.IsEmpty())
        {
            return;
        }
        alignas(64) float pixels[kTileColumns * 4];
        alignas(64) float coverage[kTileColumns];
        const TurnedGrid grid = Grid();
        const TurnedAxis u = AxisU(inRow);
        const TurnedAxis v = AxisV(inRow);
        const std::int32_t count = inSpan.last - inSpan.first;
        for (std::int32_t i = 0; i < count; ++i)
        {
            std::int32_t sums[4];
            SumTurned(grid, u, v, inSpan.first + i, sums);
            for (int place = 3; place >= 0; --place)
            {
                const std::int32_t most = mIsCutToAlpha && place != 3 ? sums[3] : 255 << kSumBits;
                sums[place] = std::clamp(sums[place], 0, most);
                const float code = static_cast<float>(sums[place]) / static_cast<float>(1 << kSumBits);
                pixels[i * 4 + place] = (code - mRanges[place].offset) * mRanges[place].factor;
            }
            coverage[i] = static_cast<float>(CoverageAt(mPlan, inSpan.first + i, inRow));
        }
        ComposeFloatRow(pixels, coverage, mPlan.compose, mPlan.target, inSpan.first, mPlan.TargetRow(inRow),
                        count);
    }

    const MotionPlan& mPlan;
    const HalvedPicture* mHalves;
    GridAxis mU;
    GridAxis mV;
    std::int32_t mTaps;
    TurnedTapsPtr mTapsU;
    TurnedTapsPtr mTapsV;
    ByteSource mSource;
    bool mIsCutToAlpha;
    ByteLayer mLayer;
    FloatRange mRanges[4]; // by place in the pixel
    RowBuffers<std::int16_t> mGrid;
    RowBuffers<std::int16_t> mLower;
    MotionSpan mCovered[kTileRows]; // of the rows of the tiles that are drawn
    MotionSpan mFull[kTileRows];
    GridSpan mColumns; // of the pixels in mGrid
    GridSpan mRows;
};

}

bool TakesTurnedBytes(const MotionPlan& inPlan) noexcept
{
    return AreBytesOfOneCoding(inPlan) && !inPlan.IsUpright() && GridAxis(inPlan, inPlan.u).IsTaken() &&
           GridAxis(inPlan, inPlan.v).IsTaken();
}

void DrawTurnedBytes(const MotionPlan& inPlan)
{
    TileDrawing(inPlan).Draw();
}

bool TakesTurnedHalves(const MotionPlan& inPlan) noexcept
{
    return TakesTurnedBytes(inPlan) && BlockSize(inPlan, inPlan.u) == 2 && BlockSize(inPlan, inPlan.v) == 2;
}

bool DrawTurnedHalves(const MotionPlan& inPlan, const IPictureRows& inRows)
{
    HalvedPicture halves(inPlan);
    if (!halves.Take(inRows))
    {
        return false;
    }
    TileDrawing(inPlan, &halves).Draw();
    return true;
}

}
