#include <algorithm>
#include <cmath>
#include <vector>

#include "ReferenceHost/ImageRoutines/MotionReference.h"
#include "ReferenceHost/ImageRoutines/ReferenceSamples.h"

namespace ir::reference
{
namespace
{

constexpr double kPi = 3.14159265358979323846;

struct Point
{
    double x, y;
};

// The source's frame place that a place of the target's frame shows.
class Geometry
{
public:
    Geometry(const IR_MotionPicture& inSource, const IR_MotionPicture& inTarget,
             const IR_MotionSettings& inSettings)
        : mScaleX(inSettings.scaleX)
        , mScaleY(inSettings.scaleY)
        , mSourceAspect(static_cast<double>(inSource.aspectNumerator) / inSource.aspectDenominator)
        , mTargetAspect(static_cast<double>(inTarget.aspectNumerator) / inTarget.aspectDenominator)
        , mCosine(std::cos(inSettings.rotation * kPi / 180.0))
        , mSine(std::sin(inSettings.rotation * kPi / 180.0))
    {
        const Point anchor = {static_cast<double>(inSettings.anchorX) * inSource.width,
                              (1.0 - static_cast<double>(inSettings.anchorY)) * inSource.height};
        const Point position = {static_cast<double>(inSettings.positionX) * inTarget.width,
                                (1.0 - static_cast<double>(inSettings.positionY)) * inTarget.height};
        const Point corner = Turned({-anchor.x, -anchor.y});
        mCorner = {std::round((position.x + corner.x) * 512.0) / 512.0,
                   std::round((position.y + corner.y) * 512.0) / 512.0};
    }

    Point SourceOf(const Point& inPlace) const
    {
        const double x = (inPlace.x - mCorner.x) * mTargetAspect;
        const double y = inPlace.y - mCorner.y;
        return {(x * mCosine + y * mSine) / (mScaleX * mSourceAspect), (y * mCosine - x * mSine) / mScaleY};
    }

private:
    Point Turned(const Point& inOffset) const
    {
        const double x = inOffset.x * mScaleX * mSourceAspect;
        const double y = inOffset.y * mScaleY;
        return {(x * mCosine - y * mSine) / mTargetAspect, x * mSine + y * mCosine};
    }

    double mScaleX, mScaleY, mSourceAspect, mTargetAspect, mCosine, mSine;
    Point mCorner = {0.0, 0.0};
};

double Sinc(double inX)
{
    return inX == 0.0 ? 1.0 : std::sin(kPi * inX) / (kPi * inX);
}

double Kernel(bool inIsLanczos, double inDistance)
{
    const double x = std::fabs(inDistance);
    if (inIsLanczos)
    {
        return x < 3.0 ? Sinc(x) * Sinc(x / 3.0) : 0.0;
    }
    return x < 1.0   ? 1.0 - 2.5 * x * x + 1.5 * x * x * x
           : x < 2.0 ? 2.0 - 4.0 * x + 2.5 * x * x - 0.5 * x * x * x
                     : 0.0;
}

// The kernel's mean over a box, by a sum so fine that what it leaves out doesn't count.
double KernelMean(bool inIsLanczos, double inDistance, double inWidth)
{
    const int parts = inWidth <= 0.0 ? 0 : 64 * static_cast<int>(std::ceil(inWidth));
    if (parts == 0)
    {
        return Kernel(inIsLanczos, inDistance);
    }
    double sum = 0.0;
    for (int i = 0; i <= parts; ++i)
    {
        const double share = i == 0 || i == parts ? 1.0 : i % 2 == 1 ? 4.0 : 2.0; // Simpson's rule
        sum += share * Kernel(inIsLanczos, inDistance + (static_cast<double>(i) / parts - 0.5) * inWidth);
    }
    return sum / (3.0 * parts);
}

enum class Filter
{
    kBox,
    kBicubic,
    kLanczos
};

Filter FilterFor(const IR_MotionSettings& inSettings)
{
    return inSettings.quality <= 3 || inSettings.highQualitySampling == 0 ? Filter::kBox
           : inSettings.quality == 4                                      ? Filter::kBicubic
                                                                          : Filter::kLanczos;
}

struct Tap
{
    std::int32_t at;
    double weight;
};

std::vector<Tap> TapsRound(Filter inFilter, double inPlace, double inWidth, std::int32_t inCount)
{
    std::vector<Tap> taps;
    double sum = 0.0;
    const double reach = inWidth / 2.0 + 3.0;
    for (auto i = static_cast<std::int32_t>(std::floor(inPlace - reach)); i <= inPlace + reach; ++i)
    {
        const double overlap = std::min(inPlace + inWidth / 2.0, i + 1.0) -
                               std::max(inPlace - inWidth / 2.0, static_cast<double>(i));
        const double weight =
            inFilter == Filter::kBox
                ? std::max(0.0, overlap)
                : KernelMean(inFilter == Filter::kLanczos, i + 0.5 - inPlace, inWidth - 1.0 / inWidth);
        taps.push_back({std::clamp(i, 0, inCount - 1), weight});
        sum += weight;
    }
    for (Tap& tap : taps)
    {
        tap.weight /= sum;
    }
    return taps;
}

// Premultiplied pixels of the target's kind.
Grid PremultipliedGrid(const Picture& inSource, const Picture& inTarget)
{
    Picture kind = inTarget;
    kind.alpha = PictureAlpha::kPremultiplied;
    Grid grid(inSource.width, inSource.height);
    for (std::int32_t y = 0; y < inSource.height; ++y)
    {
        for (std::int32_t x = 0; x < inSource.width; ++x)
        {
            grid.At(x, y) = ConvertPixel(ReadPixel(inSource, x, y), inSource, kind);
        }
    }
    return grid;
}

Grid Averaged(const Grid& inGrid, std::int32_t inBlockWidth, std::int32_t inBlockHeight)
{
    Grid blocks((inGrid.width + inBlockWidth - 1) / inBlockWidth,
                (inGrid.height + inBlockHeight - 1) / inBlockHeight);
    std::vector<double> counts(blocks.pixels.size(), 0.0);
    for (std::int32_t y = 0; y < inGrid.height; ++y)
    {
        for (std::int32_t x = 0; x < inGrid.width; ++x)
        {
            Pixel& block = blocks.At(x / inBlockWidth, y / inBlockHeight);
            for (int c = 0; c < 4; ++c)
            {
                block.c[c] += inGrid.At(x, y).c[c];
            }
            counts[static_cast<std::size_t>(&block - blocks.pixels.data())] += 1.0;
        }
    }
    for (std::size_t i = 0; i < counts.size(); ++i)
    {
        for (double& component : blocks.pixels[i].c)
        {
            component /= counts[i];
        }
    }
    return blocks;
}

struct Sampling
{
    Point place;
    Point cover;  // widths of the target pixel along the source's axes
    Point filter; // the same for the filter, at least 1
    bool isTurned;
};

double CoverageOf(double inPlace, double inWidth, std::int32_t inCount)
{
    const double inside = std::min(inPlace + inWidth / 2.0, static_cast<double>(inCount)) -
                          std::max(inPlace - inWidth / 2.0, 0.0);
    return std::clamp(inside / inWidth, 0.0, 1.0);
}

// Whether, along an axis, the mean of every two pixels is taken first.
bool IsHalvedFirst(const Sampling& inSampling, Filter inFilter, double inCover)
{
    return inSampling.isTurned && inFilter != Filter::kLanczos && inCover >= 2.0 - 1e-6;
}

std::int32_t BlockOf(const Sampling& inSampling, Filter inFilter, double inCover, double inWidth,
                     std::int32_t inCount)
{
    if (inSampling.isTurned && inWidth >= 4.0 * inCount)
    {
        return inCount;
    }
    const double wide = inSampling.isTurned ? std::ceil(inWidth / 8.0 - 1e-6) : 1.0;
    const double block = IsHalvedFirst(inSampling, inFilter, inCover) ? std::max(wide, 2.0) : wide;
    return static_cast<std::int32_t>(std::clamp(block, 1.0, static_cast<double>(inCount)));
}

Filter FilterAlong(const Sampling& inSampling, Filter inFilter, double inCover, double inWidth)
{
    return inWidth > 8.0 || IsHalvedFirst(inSampling, inFilter, inCover) ? Filter::kBox : inFilter;
}

double WidthInBlocks(double inWidth, std::int32_t inBlock, std::int32_t inBlocks)
{
    return inBlocks == 1 ? 1.0 : std::max(1.0, inWidth / inBlock);
}

Pixel Sample(const Grid& inGrid, Filter inFilter, const Sampling& inSampling, std::int32_t inWidth,
             std::int32_t inHeight)
{
    const std::int32_t blockX =
        BlockOf(inSampling, inFilter, inSampling.cover.x, inSampling.filter.x, inWidth);
    const std::int32_t blockY =
        BlockOf(inSampling, inFilter, inSampling.cover.y, inSampling.filter.y, inHeight);
    const double widthX =
        inSampling.isTurned ? WidthInBlocks(inSampling.filter.x, blockX, inGrid.width) : inSampling.filter.x;
    const double widthY =
        inSampling.isTurned ? WidthInBlocks(inSampling.filter.y, blockY, inGrid.height) : inSampling.filter.y;
    const Filter filterX = FilterAlong(inSampling, inFilter, inSampling.cover.x, inSampling.filter.x);
    const Filter filterY = FilterAlong(inSampling, inFilter, inSampling.cover.y, inSampling.filter.y);
    const std::vector<Tap> columns = TapsRound(filterX, inSampling.place.x / blockX, widthX, inGrid.width);
    Pixel sum = {{0.0, 0.0, 0.0, 0.0}};
    for (const Tap& row : TapsRound(filterY, inSampling.place.y / blockY, widthY, inGrid.height))
    {
        for (const Tap& column : columns)
        {
            for (int c = 0; c < 4; ++c)
            {
                sum.c[c] += row.weight * column.weight * inGrid.At(column.at, row.at).c[c];
            }
        }
    }
    return sum;
}

bool AreBytesOfOneCoding(const Picture& inOne, const Picture& inOther)
{
    return inOne.sample == Sample::kByte && inOther.sample == Sample::kByte &&
           inOne.matrix == inOther.matrix && inOne.transfer == inOther.transfer &&
           inOne.isFullRange == inOther.isFullRange;
}

// What a byte of the target can't hold, and what the alpha of a straight source can't show.
Pixel CutOff(Pixel inPixel, const Picture& inSource, const Picture& inTarget)
{
    for (int c = 0; c < 4; ++c)
    {
        const ComponentRange range = RangeOf(inTarget, c);
        const double code = std::clamp(inPixel.c[c] * range.scale + range.offset, 0.0, 255.0);
        inPixel.c[c] = (code - range.offset) / range.scale;
    }
    for (int c = 0; c < 3 && inSource.alpha == PictureAlpha::kStraight && inSource.IsRGB(); ++c)
    {
        inPixel.c[c] = std::min(inPixel.c[c], inPixel.c[3]);
    }
    return inPixel;
}

Pixel Over(const Pixel& inSource, const Pixel& inBackdrop)
{
    Pixel result = inSource;
    for (int c = 0; c < 4; ++c)
    {
        result.c[c] += inBackdrop.c[c] * (1.0 - inSource.c[3]);
    }
    return result;
}

class Drawing
{
public:
    Drawing(const IR_MotionPicture& inSource, const IR_MotionPicture& inTarget,
            const IR_MotionSettings& inSettings)
        : mGeometry(inSource, inTarget, inSettings)
        , mSettings(inSettings)
    {
    }

    // inSourceField, inTargetField: kIR_WholePicture both or neither, or the target's alone.
    void Draw(const Picture& inSource, std::int32_t inSourceField, const Picture& inTarget,
              std::int32_t inTargetField)
    {
        const Picture source =
            inSourceField == kIR_WholePicture ? inSource : FieldOf(inSource, inSourceField);
        if (source.height == 0 || mSettings.scaleX == 0.0F || mSettings.scaleY == 0.0F)
        {
            return;
        }
        const Grid pixels = PremultipliedGrid(source, inTarget);
        const Sampling one = SamplingAt({0.5, 0.5}, inSourceField);
        const Sampling limited = Limited(one, source);
        const Filter filter = FilterFor(mSettings);
        const Grid blocks =
            Averaged(pixels, BlockOf(limited, filter, limited.cover.x, limited.filter.x, source.width),
                     BlockOf(limited, filter, limited.cover.y, limited.filter.y, source.height));
        const bool isCutOff = one.isTurned && AreBytesOfOneCoding(source, inTarget);
        for (std::int32_t y = inTargetField == kIR_LowerField ? 1 : 0; y < inTarget.height;
             y += inTargetField == kIR_WholePicture ? 1 : 2)
        {
            for (std::int32_t x = 0; x < inTarget.width; ++x)
            {
                const Sampling sampling = Limited(SamplingAt({x + 0.5, y + 0.5}, inSourceField), source);
                const double coverage = CoverageOf(sampling.place.x, sampling.cover.x, source.width) *
                                        CoverageOf(sampling.place.y, sampling.cover.y, source.height);
                if (coverage > 0.0)
                {
                    const Pixel pixel = Sample(blocks, filter, sampling, source.width, source.height);
                    Lay(isCutOff ? CutOff(pixel, source, inTarget) : pixel, coverage, inTarget, x, y);
                }
            }
        }
    }

private:
    static Sampling Limited(Sampling inSampling, const Picture& inSource)
    {
        inSampling.filter.x = std::clamp(inSampling.filter.x, 1.0, 4.0 * inSource.width);
        inSampling.filter.y = std::clamp(inSampling.filter.y, 1.0, 4.0 * inSource.height);
        return inSampling;
    }

    Sampling SamplingAt(const Point& inPlace, std::int32_t inSourceField) const
    {
        const double line = inSourceField == kIR_WholePicture ? 1.0 : 2.0;
        const Point here = mGeometry.SourceOf(inPlace);
        const Point right = mGeometry.SourceOf({inPlace.x + 1.0, inPlace.y});
        const Point down = mGeometry.SourceOf({inPlace.x, inPlace.y + line});
        const double high = 1.0 + std::clamp(mSettings.antiFlicker, 0.0, 1.0);
        const auto width = [&](double inAcross, double inDown, double inHigh)
        { return std::hypot(inAcross, inDown * inHigh); };
        Sampling sampling = {};
        sampling.cover = {width(right.x - here.x, down.x - here.x, 1.0),
                          width(right.y - here.y, down.y - here.y, 1.0)};
        sampling.filter = {width(right.x - here.x, down.x - here.x, high),
                           width(right.y - here.y, down.y - here.y, high)};
        sampling.isTurned = std::fmod(mSettings.rotation, 180.0) != 0.0;
        sampling.place = here;
        if (inSourceField != kIR_WholePicture)
        {
            // Row k of the field has its middle at 2k + 0.5 or 2k + 1.5 of the frame.
            sampling.place.y = (here.y - (inSourceField == kIR_LowerField ? 1.5 : 0.5)) / 2.0 + 0.5;
            sampling.cover.y /= 2.0;
            sampling.filter.y /= 2.0;
        }
        return sampling;
    }

    void Lay(Pixel inPixel, double inCoverage, const Picture& inTarget, std::int32_t inX,
             std::int32_t inY) const
    {
        Picture kind = inTarget;
        kind.alpha = PictureAlpha::kPremultiplied;
        const double opacity = std::clamp(static_cast<double>(mSettings.opacity), 0.0, 1.0);
        for (double& component : inPixel.c)
        {
            component *= inCoverage * opacity;
        }
        const bool isOpaque = !inTarget.HasAlpha();
        const Pixel clear = {{0.0, 0.0, 0.0, isOpaque ? 1.0 : 0.0}};
        const Pixel backdrop = mSettings.targetHasPicture != 0
                                   ? ConvertPixel(ReadPixel(inTarget, inX, inY), inTarget, kind)
                                   : clear;
        const Pixel result = ConvertPixel(Over(inPixel, backdrop), kind, inTarget);
        for (int c = 0; c < 4; ++c)
        {
            WritePlane(inTarget, c, inX, inY, result.c[c]);
        }
    }

    Geometry mGeometry;
    const IR_MotionSettings& mSettings;
};

}

void DrawMotion(const IR_MotionPicture& inSource, const IR_MotionPicture& inTarget,
                const IR_MotionSettings& inSettings)
{
    Picture source;
    Picture target;
    if (PictureFromCode(inSource.pixels, inSource.rowBytes, inSource.width, inSource.height, inSource.format,
                        source) != kIR_Success ||
        PictureFromCode(inTarget.pixels, inTarget.rowBytes, inTarget.width, inTarget.height, inTarget.format,
                        target) != kIR_Success)
    {
        return;
    }
    Drawing drawing(inSource, inTarget, inSettings);
    if (inSource.fieldType == 0 || inTarget.fieldType == 0)
    {
        drawing.Draw(source, kIR_WholePicture, target, inSettings.field);
        return;
    }
    const bool isSameOrder = inSource.fieldType == inTarget.fieldType;
    if (inSettings.field != kIR_LowerField)
    {
        drawing.Draw(source, isSameOrder ? kIR_UpperField : kIR_LowerField, target, kIR_UpperField);
    }
    if (inSettings.field != kIR_UpperField)
    {
        drawing.Draw(source, isSameOrder ? kIR_LowerField : kIR_UpperField, target, kIR_LowerField);
    }
}

}
