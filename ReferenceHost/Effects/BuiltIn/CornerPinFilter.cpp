#include "ReferenceHost/Effects/BuiltIn/BuiltInTable.h"
#include "ReferenceHost/Effects/EffectFilter.h"
#include "ReferenceHost/Effects/QuadMapping.h"
#include "ReferenceHost/ImageRoutines/RowBuffers.h"

#include <algorithm>
#include <cmath>
#include <optional>

// Corner pin: the picture stretched so that its corners come to lie on four points, as if it were a board in space.
//
// A pixel of the target shows the mean of n by n places of the source that are spread evenly over it, n being how many
// source pixels it covers along its longer side (at most 8); each is interpolated bilinearly, on premultiplied
// colour. At the edges of the source the picture is faded out over one pixel of the target.
namespace Effects
{
namespace
{

// The source as premultiplied floats, four to a pixel.
class FloatPicture
{
public:
    explicit FloatPicture(const ir::Picture& inPicture)
        : mWidth(inPicture.width)
        , mHeight(inPicture.height)
        , mPixels(static_cast<std::size_t>(mHeight), static_cast<std::size_t>(mWidth) * 4)
    {
        const auto width = static_cast<std::size_t>(mWidth);
        const ir::RowBuffers<float> buffers(6, width + 64);
        const ir::FloatRow row = {{buffers.Row(0), buffers.Row(1), buffers.Row(2), buffers.Row(3)}};
        for (std::int32_t y = 0; y < mHeight; ++y)
        {
            ir::ReadFloatRow(inPicture, y, row, buffers.Row(4));
            float* pixel = mPixels.Row(static_cast<std::size_t>(y));
            for (std::size_t x = 0; x < width; ++x, pixel += 4)
            {
                pixel[3] = row.c[3][x];
                pixel[0] = row.c[0][x] * pixel[3];
                pixel[1] = row.c[1][x] * pixel[3];
                pixel[2] = row.c[2][x] * pixel[3];
            }
        }
    }

    // Adds what lies at a place, in pixels of which the first has its middle at 0.5. Beyond the edges these are
    // repeated.
    void AddAt(double inX, double inY, float inWeight, float (&ioSum)[4]) const
    {
        const double x = std::clamp(inX - 0.5, 0.0, mWidth - 1.0);
        const double y = std::clamp(inY - 0.5, 0.0, mHeight - 1.0);
        const auto left = static_cast<std::int32_t>(x);
        const auto top = static_cast<std::int32_t>(y);
        const auto right = static_cast<float>(x - left) * inWeight;
        const auto down = static_cast<float>(y - top);
        const float* upper = At(left, top);
        const float* upperNext = At(std::min(left + 1, mWidth - 1), top);
        const float* lower = At(left, std::min(top + 1, mHeight - 1));
        const float* lowerNext = At(std::min(left + 1, mWidth - 1), std::min(top + 1, mHeight - 1));
        for (int c = 0; c < 4; ++c)
        {
            const float above = upper[c] * (inWeight - right) + upperNext[c] * right;
            const float below = lower[c] * (inWeight - right) + lowerNext[c] * right;
            ioSum[c] += above + (below - above) * down;
        }
    }

private:
    const float* At(std::int32_t inX, std::int32_t inY) const
    {
        return mPixels.Row(static_cast<std::size_t>(inY)) + std::ptrdiff_t{4} * inX;
    }

    std::int32_t mWidth;
    std::int32_t mHeight;
    ir::RowBuffers<float> mPixels;
};

class PinnedPicture
{
public:
    PinnedPicture(const ir::Picture& inPicture, const QuadMapping& inMapping)
        : mSource(inPicture)
        , mMapping(inMapping)
        , mWidth(inPicture.width)
        , mHeight(inPicture.height)
    {
    }

    // Straight pixels of a row of the target.
    void Read(std::int32_t inY, const ir::FloatRow& outRow) const
    {
        for (std::int32_t x = 0; x < mWidth; ++x)
        {
            float pixel[4] = {0.0F, 0.0F, 0.0F, 0.0F};
            AddPixel(x, inY, pixel);
            const float inverse = pixel[3] > 1e-9F ? 1.0F / pixel[3] : 0.0F;
            for (int c = 0; c < 3; ++c)
            {
                outRow.c[c][x] = pixel[c] * inverse;
            }
            outRow.c[3][x] = pixel[3];
        }
    }

private:
    void AddPixel(std::int32_t inX, std::int32_t inY, float (&ioPixel)[4]) const
    {
        const std::optional<QuadPlace> middle = mMapping.At(inX + 0.5, inY + 0.5);
        const double coverage = middle ? middle->CoverageOf(mWidth, mHeight) : 0.0;
        if (coverage <= 0.0)
        {
            return;
        }
        const int count = std::clamp(static_cast<int>(std::ceil(middle->WidestStep() - 1e-6)), 1, 8);
        const auto weight = static_cast<float>(coverage / (count * count));
        if (count == 1)
        {
            mSource.AddAt(middle->x, middle->y, weight, ioPixel);
            return;
        }
        for (int i = 0; i < count * count; ++i)
        {
            const auto place = mMapping.At(inX + (i % count + 0.5) / count, inY + (i / count + 0.5) / count);
            mSource.AddAt(place ? place->x : middle->x, place ? place->y : middle->y, weight, ioPixel);
        }
    }

    FloatPicture mSource;
    const QuadMapping& mMapping;
    std::int32_t mWidth;
    std::int32_t mHeight;
};

class CornerPinFilter final : public EffectFilter
{
public:
    using EffectFilter::EffectFilter;

    bool KeepsOpaque(const MF::KeyframeStore&) const override { return false; }

protected:
    std::int32_t Draw(const FilterCall& inCall, const ir::Picture& inSource,
                      const ir::Picture& outTarget) const override
    {
        TVK::ParamPoint<double> corners[4];
        for (std::size_t corner = 0; corner < 4; ++corner)
        {
            const TVK::ParamPoint<double> point = inCall.parameters.Point(corner);
            corners[corner] = {point.x * inSource.width, point.y * inSource.height};
        }
        const QuadMapping mapping(corners, inSource.width, inSource.height);
        const PinnedPicture picture(inSource, mapping);
        const ir::RowBuffers<float> buffers(4, static_cast<std::size_t>(inSource.width) + 64);
        const ir::FloatRow row = {{buffers.Row(0), buffers.Row(1), buffers.Row(2), buffers.Row(3)}};
        for (std::int32_t y = 0; y < outTarget.height; ++y)
        {
            picture.Read(y, row);
            ir::WriteFloatRow(outTarget, y, row);
        }
        return 0;
    }
};

} // namespace

void AddCornerPinFilter(BuiltInTable& ioTable)
{
    ioTable.push_back(FilterRow<CornerPinFilter>(
        "corner-pin", "VX.ZNTR Corner Pin", "Corner Pin",
        {PointParameter("Upper Left", 0, 0), PointParameter("Upper Right", 1, 0),
         PointParameter("Lower Left", 0, 1), PointParameter("Lower Right", 1, 1)}));
}

} // namespace Effects
