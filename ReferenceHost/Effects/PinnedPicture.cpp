#include "ReferenceHost/Effects/PinnedPicture.h"

#include "ReferenceHost/ImageRoutines/FloatRows.h"
#include "ReferenceHost/ImageRoutines/RowBuffers.h"

#include <algorithm>
#include <cstring>

namespace Effects
{
namespace
{

// A premultiplied pixel, R G B A: the four components are worked on at once.
using Pixel = float __attribute__((vector_size(16)));

Pixel Splat(float inValue)
{
    return Pixel{inValue, inValue, inValue, inValue};
}

// Every row of a picture, or those of one of its fields, as premultiplied floats.
class FloatPicture
{
public:
    // Rows inFirst, inFirst + inStep and so on.
    FloatPicture(const ir::Picture& inPicture, std::int32_t inFirst, std::int32_t inStep)
        : mWidth(inPicture.width)
        , mHeight((inPicture.height - inFirst + inStep - 1) / inStep)
        , mFirst(inFirst)
        , mStep(1.0 / inStep)
        , mPixels(static_cast<std::size_t>(mHeight), static_cast<std::size_t>(mWidth) * 4)
    {
        const auto width = static_cast<std::size_t>(mWidth);
        const ir::RowBuffers<float> buffers(6, width + 64);
        const ir::FloatRow row = {{buffers.Row(0), buffers.Row(1), buffers.Row(2), buffers.Row(3)}};
        for (std::int32_t y = 0; y < mHeight; ++y)
        {
            ir::ReadFloatRow(inPicture, inFirst + y * inStep, row, buffers.Row(4));
            float* pixel = mPixels.Row(static_cast<std::size_t>(y));
            for (std::size_t x = 0; x < width; ++x, pixel += 4)
            {
                const float alpha = row.c[3][x];
                pixel[0] = row.c[0][x] * alpha;
                pixel[1] = row.c[1][x] * alpha;
                pixel[2] = row.c[2][x] * alpha;
                pixel[3] = alpha;
            }
        }
    }

    // What lies at a place, in pixels of the whole picture, of which the first has its middle at 0.5. Beyond the
    // edges these are repeated.
    Pixel At(double inX, double inY) const
    {
        const double x = std::clamp(inX - 0.5, 0.0, mWidth - 1.0);
        const double y = std::clamp((inY - 0.5 - mFirst) * mStep, 0.0, mHeight - 1.0);
        const auto left = static_cast<std::int32_t>(x);
        const auto top = static_cast<std::int32_t>(y);
        const std::ptrdiff_t next = left + 1 < mWidth ? 4 : 0;
        const float* upper = mPixels.Row(static_cast<std::size_t>(top)) + std::ptrdiff_t{4} * left;
        const float* lower =
            mPixels.Row(static_cast<std::size_t>(std::min(top + 1, mHeight - 1))) + std::ptrdiff_t{4} * left;
        const Pixel right = Splat(static_cast<float>(x - left));
        const Pixel down = Splat(static_cast<float>(y - top));
        const Pixel above = Load(upper) + (Load(upper + next) - Load(upper)) * right;
        const Pixel below = Load(lower) + (Load(lower + next) - Load(lower)) * right;
        return above + (below - above) * down;
    }

private:
    static Pixel Load(const float* inPixel)
    {
        Pixel pixel;
        std::memcpy(&pixel, inPixel, sizeof(pixel));
        return pixel;
    }

    std::int32_t mWidth;
    std::int32_t mHeight;
    std::int32_t mFirst;
    double mStep;
    ir::RowBuffers<float> mPixels;
};

class PinnedRows
{
public:
    PinnedRows(const ir::Picture& inPicture, const QuadMapping& inMapping, float inOpacity,
               std::int32_t inFirst, std::int32_t inStep)
        : mSource(inPicture, inFirst, inStep)
        , mMapping(inMapping)
        , mOpacity(static_cast<double>(inOpacity))
        , mWidth(inPicture.width)
        , mHeight(inPicture.height)
    {
    }

    // Straight pixels of a row of the target.
    void Read(std::int32_t inY, const ir::FloatRow& outRow) const
    {
        for (std::int32_t x = 0; x < mWidth; ++x)
        {
            const Pixel pixel = PixelAt(x, inY);
            const float alpha = pixel[3];
            const float inverse = alpha == 1.0F ? 1.0F : alpha > 1e-9F ? 1.0F / alpha : 0.0F;
            outRow.c[0][x] = pixel[0] * inverse;
            outRow.c[1][x] = pixel[1] * inverse;
            outRow.c[2][x] = pixel[2] * inverse;
            outRow.c[3][x] = alpha;
        }
    }

private:
    Pixel PixelAt(std::int32_t inX, std::int32_t inY) const
    {
        const std::optional<QuadPlace> middle = mMapping.At(inX + 0.5, inY + 0.5);
        if (!middle)
        {
            return Pixel{};
        }
        const bool isInside = middle->IsInside(mWidth, mHeight);
        const double weight = mOpacity * (isInside ? 1.0 : middle->CoverageOf(mWidth, mHeight));
        if (weight <= 0.0)
        {
            return Pixel{};
        }
        if (middle->IsFine())
        {
            const Pixel pixel = mSource.At(middle->x, middle->y);
            return weight == 1.0 ? pixel : pixel * Splat(static_cast<float>(weight));
        }
        return MeanAt(inX, inY, *middle) * Splat(static_cast<float>(weight));
    }

    Pixel MeanAt(std::int32_t inX, std::int32_t inY, const QuadPlace& inMiddle) const
    {
        const auto [across, down] = inMiddle.Samples();
        Pixel sum{};
        for (int i = 0; i < across * down; ++i)
        {
            const auto place =
                mMapping.At(inX + (i % across + 0.5) / across, inY + (i / across + 0.5) / down);
            sum += mSource.At(place ? place->x : inMiddle.x, place ? place->y : inMiddle.y);
        }
        return sum * Splat(1.0F / static_cast<float>(across * down));
    }

    FloatPicture mSource;
    const QuadMapping& mMapping;
    double mOpacity;
    std::int32_t mWidth;
    std::int32_t mHeight;
};

} // namespace

void DrawPinned(const ir::Picture& inSource, const QuadMapping& inMapping, float inOpacity, bool inHasFields,
                const ir::Picture& outTarget)
{
    const std::int32_t step = inHasFields && inSource.height > 1 ? 2 : 1;
    const ir::RowBuffers<float> buffers(4, static_cast<std::size_t>(inSource.width) + 64);
    const ir::FloatRow row = {{buffers.Row(0), buffers.Row(1), buffers.Row(2), buffers.Row(3)}};
    for (std::int32_t first = 0; first < step; ++first)
    {
        const PinnedRows rows(inSource, inMapping, inOpacity, first, step);
        for (std::int32_t y = first; y < outTarget.height; y += step)
        {
            rows.Read(y, row);
            ir::WriteFloatRow(outTarget, y, row);
        }
    }
}

} // namespace Effects
