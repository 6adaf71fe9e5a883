#include "ReferenceHost/ImageRoutines/MotionDraw.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "ReferenceHost/ImageRoutines/ComposePictures.h"
#include "ReferenceHost/ImageRoutines/FloatRows.h"
#include "ReferenceHost/ImageRoutines/MotionBytes.h"
#include "ReferenceHost/ImageRoutines/MotionLayer.h"
#include "ReferenceHost/ImageRoutines/MotionTiles.h"
#include "ReferenceHost/ImageRoutines/Operations.h"
#include "ReferenceHost/ImageRoutines/RowBuffers.h"

namespace ir
{
namespace
{

// Pixels that are sampled before they are laid: few enough to stay in the first-level cache.
constexpr std::int32_t kStretch = 512;

// A filter that is wider than a pixel by less than this is bilinear; rounding makes the turned ones so.
constexpr double kWidthMargin = 1e-6;

// The source's pixel at a place from the middle of one of the target.
std::int32_t Middle(const MotionAxis& inAxis, std::int32_t inColumn, std::int32_t inRow,
                    double inOffset = 0.0)
{
    return static_cast<std::int32_t>(
        std::floor(inAxis.At(inColumn + 0.5 + inOffset, inRow + 0.5 + inOffset)));
}

// Pixels that go one to one, without a filter.
class LatticeDrawing
{
public:
    explicit LatticeDrawing(const MotionPlan& inPlan)
        : mPlan(inPlan)
        , mColumns(inPlan.box.right - inPlan.box.left)
    {
    }

    static bool Takes(const MotionPlan& inPlan)
    {
        return inPlan.IsLattice() && IsNormal(inPlan.compose) &&
               (inPlan.compose.targetHasPicture || inPlan.compose.opacity == 1.0F);
    }

    // Rows that are read as they lie, but for the side that they're read from.
    static bool IsOfWholeRows(const MotionPlan& inPlan)
    {
        return inPlan.u.alongX == 1.0 && inPlan.IsUpright();
    }

    void Draw() const
    {
        if (IsOfWholeRows(mPlan))
        {
            DrawRows();
            return;
        }
        const std::ptrdiff_t pixel = PatternBytes(mPlan.source, 0);
        const RowBuffers<unsigned char> turned(1, static_cast<std::size_t>(mColumns * pixel));
        Picture row = Part(mPlan.source, 0, 0, 1, 1);
        row.width = mColumns;
        row.planes[0] = turned.Row(0);
        for (std::int32_t y = mPlan.box.top; y < mPlan.box.bottom; ++y)
        {
            Collect(y, pixel, turned.Row(0));
            Lay(row, TargetRows(y, y + 1));
        }
    }

private:
    void DrawRows() const
    {
        const MotionBox& box = mPlan.box;
        const std::int32_t left = Middle(mPlan.u, box.left, box.top);
        const std::int32_t top = Middle(mPlan.v, box.left, box.top);
        Picture rows = Part(mPlan.source, left, top, left + mColumns, top + 1);
        rows.strides[0] *= static_cast<std::ptrdiff_t>(mPlan.v.alongY);
        rows.height = rows.chromaRows = box.bottom - box.top;
        Lay(rows, TargetRows(box.top, box.bottom));
    }

    // The source's pixels of a row that isn't one of its own.
    void Collect(std::int32_t inRow, std::ptrdiff_t inPixelBytes, unsigned char* outPixels) const
    {
        const std::int32_t u = Middle(mPlan.u, mPlan.box.left, inRow);
        const std::int32_t v = Middle(mPlan.v, mPlan.box.left, inRow);
        const unsigned char* from = mPlan.source.Row(0, v) + u * inPixelBytes;
        const std::ptrdiff_t step = static_cast<std::ptrdiff_t>(mPlan.u.alongX) * inPixelBytes +
                                    static_cast<std::ptrdiff_t>(mPlan.v.alongX) * mPlan.source.strides[0];
        switch (inPixelBytes)
        {
        case 4: Gather<4>(from, step, outPixels); break;
        case 8: Gather<8>(from, step, outPixels); break;
        default: Gather<16>(from, step, outPixels); break;
        }
    }

    template <std::size_t kBytes>
    void Gather(const unsigned char* inPixels, std::ptrdiff_t inStep, unsigned char* outPixels) const
    {
        for (std::int32_t x = 0; x < mColumns; ++x, inPixels += inStep, outPixels += kBytes)
        {
            std::memcpy(outPixels, inPixels, kBytes);
        }
    }

    Picture TargetRows(std::int32_t inTop, std::int32_t inBottom) const
    {
        const std::int32_t first = mPlan.TargetRow(inTop);
        Picture rows = Part(mPlan.target, mPlan.box.left, first, mPlan.box.right, first + 1);
        rows.strides[0] *= mPlan.rowStep;
        rows.height = rows.chromaRows = inBottom - inTop;
        return rows;
    }

    void Lay(const Picture& inSource, const Picture& inTarget) const
    {
        const bool isOpaque = !mPlan.source.HasAlpha();
        if (isOpaque && Hides(mPlan, true) && AreBytesOfOneCoding(mPlan))
        {
            CopyOpaque(inSource, inTarget);
            return;
        }
        if (Hides(mPlan, isOpaque))
        {
            OverBlack overBlack; // what an opaque target without a picture holds
            overBlack.isWanted = !isOpaque && !inTarget.HasAlpha();
            ConvertPictures(inSource, inTarget, overBlack);
            return;
        }
        CompositePictures(inSource, inTarget, mPlan.compose.opacity, false);
    }

    static void CopyOpaque(const Picture& inSource, const Picture& inTarget)
    {
        for (std::int32_t y = 0; y < inTarget.height; ++y)
        {
            const unsigned char* from = inSource.Row(0, y);
            unsigned char* to = inTarget.Row(0, y);
            for (std::ptrdiff_t i = 0; i < std::ptrdiff_t{4} * inTarget.width; i += 4)
            {
                std::uint32_t pixel = 0;
                std::memcpy(&pixel, from + i, 4);
                pixel |= 0xFF000000U;
                std::memcpy(to + i, &pixel, 4);
            }
        }
    }

    const MotionPlan& mPlan;
    std::int32_t mColumns;
};

// Whole pictures at half their size on whole pixels: each pixel the mean of four.
class HalvingDrawing
{
public:
    explicit HalvingDrawing(const MotionPlan& inPlan) : mPlan(inPlan), mLayer(inPlan) {}

    static bool Takes(const MotionPlan& inPlan)
    {
        return AreBytesOfOneCoding(inPlan) && inPlan.IsUpright() && inPlan.filter == MotionFilter::kArea &&
               Halves(inPlan.u) && Halves(inPlan.v);
    }

    void Draw() const
    {
        alignas(64) std::uint8_t pixels[kStretch * 4];
        const ByteSource source = ByteSourceOf(mPlan.source);
        for (std::int32_t row = mPlan.box.top; row < mPlan.box.bottom; ++row)
        {
            const std::uint8_t* upper = source.pixels + Middle(mPlan.v, 0, row, -0.5) * source.stride;
            for (std::int32_t first = mPlan.box.left; first < mPlan.box.right; first += kStretch)
            {
                const std::int32_t count = std::min(kStretch, mPlan.box.right - first);
                std::uint8_t* to = mLayer.PlaceFor(first, row, pixels);
                const std::uint8_t* from = upper + Middle(mPlan.u, first, 0, -0.5) * std::ptrdiff_t{4};
                const bool isOpaque =
                    HalveBytes(source, from, from + source.stride, to, static_cast<std::size_t>(count));
                mLayer.Lay(to, isOpaque, first, row, count, pixels);
            }
        }
    }

private:
    // Two pixels of the source, both of them there, for one of the target.
    static bool Halves(const MotionAxis& inAxis)
    {
        const double along = inAxis.alongX + inAxis.alongY; // one of them is 0
        return along == 2.0 && inAxis.coverWidth == 2.0 && inAxis.filterWidth == 2.0 &&
               inAxis.count % 2 == 0 && std::fmod(inAxis.start, 2.0) == 0.0;
    }

    const MotionPlan& mPlan;
    ByteLayer mLayer;
};

// 8-bit pictures of one coding, bilinear.
class ByteDrawing
{
public:
    explicit ByteDrawing(const MotionPlan& inPlan)
        : mPlan(inPlan)
        , mSource(ByteSourceOf(inPlan.source))
        , mLayer(inPlan)
    {
        for (int i = 0; i < 4; ++i)
        {
            mRanges[i] = FloatRangeOf(RangeOf(inPlan.source, i));
        }
    }

    static bool Takes(const MotionPlan& inPlan)
    {
        return AreBytesOfOneCoding(inPlan) && inPlan.filter == MotionFilter::kArea &&
               inPlan.u.filterWidth < 1.0 + kWidthMargin && inPlan.v.filterWidth < 1.0 + kWidthMargin &&
               IsWithinReach(inPlan.source);
    }

    void Draw() const
    {
        for (std::int32_t row = mPlan.box.top; row < mPlan.box.bottom; ++row)
        {
            const MotionSpan covered = CoveredColumns(mPlan, row);
            const MotionSpan full = FullColumns(mPlan, row);
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

private:
    void DrawFull(const MotionSpan& inSpan, std::int32_t inRow) const
    {
        alignas(64) std::uint8_t pixels[kStretch * 4];
        const BytePlace u = PlaceAlong(mPlan.u, inRow);
        const BytePlace v = PlaceAlong(mPlan.v, inRow);
        for (std::int32_t first = inSpan.first; first < inSpan.last; first += kStretch)
        {
            const std::int32_t count = std::min(kStretch, inSpan.last - first);
            std::uint8_t* to = mLayer.PlaceFor(first, inRow, pixels);
            const bool isOpaque = SampleBytes(mSource, u, v, first, to, static_cast<std::size_t>(count));
            mLayer.Lay(to, isOpaque, first, inRow, count, pixels);
        }
    }

    // The few pixels that the picture's edges cross, where colour, coverage and what lies below must meet
    // exactly.
    void DrawEdge(const MotionSpan& inSpan, std::int32_t inRow) const
    {
        alignas(64) float pixels[kStretch * 4];
        alignas(64) float coverage[kStretch];
        for (std::int32_t first = inSpan.first; first < inSpan.last; first += kStretch)
        {
            const std::int32_t count = std::min(kStretch, inSpan.last - first);
            for (std::int32_t i = 0; i < count; ++i)
            {
                Sample(first + i, inRow, pixels + i * 4);
                coverage[i] = static_cast<float>(CoverageAt(mPlan, first + i, inRow));
            }
            ComposeFloatRow(pixels, coverage, mPlan.compose, mPlan.target, first, mPlan.TargetRow(inRow),
                            count);
        }
    }

    void Sample(std::int32_t inColumn, std::int32_t inRow, float* outPixel) const
    {
        const double u = mPlan.u.At(inColumn + 0.5, inRow + 0.5) - 0.5;
        const double v = mPlan.v.At(inColumn + 0.5, inRow + 0.5) - 0.5;
        const double across = u - std::floor(u);
        const double down = v - std::floor(v);
        std::fill_n(outPixel, 4, 0.0F);
        for (int corner = 0; corner < 4; ++corner)
        {
            const double share = (corner & 1 ? across : 1.0 - across) * (corner & 2 ? down : 1.0 - down);
            AddPixel(std::floor(u) + (corner & 1), std::floor(v) + (corner >> 1), static_cast<float>(share),
                     outPixel);
        }
    }

    void AddPixel(double inU, double inV, float inShare, float* ioPixel) const
    {
        const auto x = static_cast<std::int32_t>(std::clamp(inU, 0.0, mSource.width - 1.0));
        const auto y = static_cast<std::int32_t>(std::clamp(inV, 0.0, mSource.height - 1.0));
        const std::uint8_t* pixel = mSource.pixels + y * mSource.stride + static_cast<std::ptrdiff_t>(x) * 4;
        const float alpha = mSource.isOpaque ? 1.0F : static_cast<float>(pixel[3]) * mRanges[3].factor;
        const float share = mSource.isStraight ? inShare * alpha : inShare;
        for (int i = 0; i < 3; ++i)
        {
            const int place = kPackedPlace[i];
            ioPixel[place] +=
                (static_cast<float>(pixel[place]) - mRanges[i].offset) * mRanges[i].factor * share;
        }
        ioPixel[3] += alpha * inShare;
    }

    const MotionPlan& mPlan;
    ByteSource mSource;
    ByteLayer mLayer;
    FloatRange mRanges[4];
};

}

bool IsDrawnRowByRow(const MotionPlan& inPlan)
{
    return LatticeDrawing::Takes(inPlan) ? LatticeDrawing::IsOfWholeRows(inPlan) && inPlan.v.alongY == 1.0
                                         : HalvingDrawing::Takes(inPlan);
}

void DrawMotion(const MotionPlan& inPlan)
{
    if (inPlan.box.IsEmpty())
    {
        return;
    }
    if (LatticeDrawing::Takes(inPlan))
    {
        LatticeDrawing(inPlan).Draw();
    }
    else if (HalvingDrawing::Takes(inPlan))
    {
        HalvingDrawing(inPlan).Draw();
    }
    else if (ByteDrawing::Takes(inPlan))
    {
        ByteDrawing(inPlan).Draw();
    }
    else if (TakesTurnedBytes(inPlan))
    {
        DrawTurnedBytes(inPlan);
    }
    else
    {
        DrawMotionInFloat(inPlan);
    }
}

}
