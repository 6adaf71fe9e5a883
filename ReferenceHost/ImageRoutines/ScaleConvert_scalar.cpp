#include <algorithm>
#include <cmath>

#include "ReferenceHost/ImageRoutines/ReferenceSamples.h"
#include "ReferenceHost/ImageRoutines/ScaleGeometry.h"

namespace ir::reference
{
namespace
{

constexpr double kPi = 3.14159265358979323846;

double Sinc(double inX)
{
    return inX == 0.0 ? 1.0 : std::sin(kPi * inX) / (kPi * inX);
}

double Weight(ScaleFilter inFilter, double inDistance)
{
    const double x = std::fabs(inDistance);
    if (x >= SupportOf(inFilter))
    {
        return 0.0;
    }
    if (inFilter == ScaleFilter::kBilinear)
    {
        return 1.0 - x;
    }
    if (inFilter == ScaleFilter::kLanczos)
    {
        return Sinc(x) * Sinc(x / 3.0);
    }
    return x < 1.0 ? (1.5 * x - 2.5) * x * x + 1.0 : ((-0.5 * x + 2.5) * x - 4.0) * x + 2.0;
}

// One component of the source's field as an array of samples that the filter runs over.
struct SampledPlane
{
    std::int32_t width, height;
    double shrinkX, shrinkY; // luma samples a sample
    double offsetX, offsetY; // place of sample 0 from luma sample 0, in luma samples
    std::vector<double> values;
};

bool KeepsChromaRows(const Picture& inSource, std::int32_t inField)
{
    return inField == kIR_WholePicture && !inSource.isFieldChroma;
}

double SampleOf(const Picture& inSource, int inComponent, std::int32_t inX, std::int32_t inY,
                bool inKeepsRows)
{
    const bool isChroma = inComponent == 1 || inComponent == 2;
    if (!isChroma || inKeepsRows || inSource.shiftY == 0)
    {
        return ReadPlane(inSource, inComponent, inX, inY);
    }
    const ChromaRowPair rows = ChromaRowsFor(inSource, inY);
    const double weight = rows.eighthsOfFar / 8.0;
    return ReadPlane(inSource, inComponent, inX, rows.near) * (1.0 - weight) +
           ReadPlane(inSource, inComponent, inX, rows.far) * weight;
}

SampledPlane SamplesOf(const Picture& inSource, std::int32_t inField, int inComponent, bool inMultiply)
{
    const bool isChroma = inComponent == 1 || inComponent == 2;
    const bool keepsRows = isChroma && KeepsChromaRows(inSource, inField);
    SampledPlane plane = {};
    plane.width = isChroma ? inSource.ChromaWidth() : inSource.width;
    plane.height = keepsRows ? inSource.chromaRows : RowsOfField(inSource.height, inField);
    plane.shrinkX = isChroma ? 1 << inSource.shiftX : 1;
    plane.shrinkY = keepsRows ? 1 << inSource.shiftY : 1;
    plane.offsetX = isChroma ? ChromaOffsetX(inSource) : 0.0;
    plane.offsetY = keepsRows ? ChromaOffsetY(inSource, kIR_WholePicture) : 0.0;
    for (std::int32_t row = 0; row < plane.height; ++row)
    {
        const std::int32_t y =
            inField == kIR_WholePicture ? row : row * 2 + (inField == kIR_LowerField ? 1 : 0);
        for (std::int32_t x = 0; x < plane.width; ++x)
        {
            const double alpha = inMultiply ? ReadPlane(inSource, 3, x, y) : 1.0;
            plane.values.push_back(SampleOf(inSource, inComponent, x, y, keepsRows) * alpha);
        }
    }
    return plane;
}

struct Taps
{
    std::vector<std::int32_t> places;
    std::vector<double> weights;
};

Taps TapsAt(ScaleFilter inFilter, double inPlace, double inStep, std::int32_t inCount)
{
    const double widening = std::max(1.0, inStep);
    const double reach = SupportOf(inFilter) * widening;
    Taps taps;
    double sum = 0.0;
    for (auto i = static_cast<std::int32_t>(std::floor(inPlace - reach)); i <= inPlace + reach; ++i)
    {
        const double weight = Weight(inFilter, (i + 0.5 - inPlace) / widening);
        if (weight != 0.0)
        {
            taps.places.push_back(Mirrored(i, inCount));
            taps.weights.push_back(weight);
            sum += weight;
        }
    }
    for (double& weight : taps.weights)
    {
        weight /= sum;
    }
    return taps;
}

// A place in luma samples as one in samples of the plane.
double PlaceInPlane(double inPlace, double inOffset, double inShrink)
{
    return (inPlace - 0.5 - inOffset) / inShrink + 0.5;
}

void ScalePlane(const SampledPlane& inPlane, ScaleFilter inFilter, const AxisMap& inColumns,
                const AxisMap& inRows, Grid& ioGrid, int inComponent)
{
    for (std::int32_t y = 0; y < ioGrid.height; ++y)
    {
        const Taps rows = TapsAt(inFilter, PlaceInPlane(inRows.At(y + 0.5), inPlane.offsetY, inPlane.shrinkY),
                                 inRows.step / inPlane.shrinkY, inPlane.height);
        for (std::int32_t x = 0; x < ioGrid.width; ++x)
        {
            const Taps columns =
                TapsAt(inFilter, PlaceInPlane(inColumns.At(x + 0.5), inPlane.offsetX, inPlane.shrinkX),
                       inColumns.step / inPlane.shrinkX, inPlane.width);
            double sum = 0.0;
            for (std::size_t j = 0; j < rows.places.size(); ++j)
            {
                for (std::size_t i = 0; i < columns.places.size(); ++i)
                {
                    const std::size_t at =
                        static_cast<std::size_t>(rows.places[j]) * static_cast<std::size_t>(inPlane.width) +
                        static_cast<std::size_t>(columns.places[i]);
                    sum += rows.weights[j] * columns.weights[i] * inPlane.values[at];
                }
            }
            ioGrid.At(x, y).c[inComponent] = sum;
        }
    }
}

Grid FieldRows(const Grid& inGrid, std::int32_t inField)
{
    Grid field(inGrid.width, RowsOfField(inGrid.height, inField));
    for (std::int32_t y = 0; y < field.height; ++y)
    {
        for (std::int32_t x = 0; x < field.width; ++x)
        {
            field.At(x, y) = inGrid.At(x, y * 2 + (inField == kIR_LowerField ? 1 : 0));
        }
    }
    return field;
}

}

void ScalePicture(const Picture& inSource, std::int32_t inSourceField, const Picture& inTarget,
                  std::int32_t inTargetField, std::int32_t inQuality)
{
    const bool isFieldToField = inSourceField != kIR_WholePicture && inTargetField != kIR_WholePicture;
    const std::int32_t rows = isFieldToField ? RowsOfField(inTarget.height, inTargetField) : inTarget.height;
    const AxisMap columnMap = {0.0, static_cast<double>(inSource.width) / inTarget.width};
    const AxisMap rowMap = MapRows(inSource.height, inSourceField, inTarget.height, inTargetField);
    const bool copies = CopiesRows(inSource.width, inSource.height, inSourceField, inTarget.width,
                                   inTarget.height, inTargetField);
    const bool multiplies = inSource.alpha == PictureAlpha::kStraight && inTarget.HasAlpha() && !copies;

    Picture kind = inSource;
    kind.alpha = multiplies ? PictureAlpha::kPremultiplied : inSource.alpha;
    Grid grid(inTarget.width, rows);
    for (int component = 0; component < (inSource.HasAlpha() ? 4 : 3); ++component)
    {
        const SampledPlane plane = SamplesOf(inSource, inSourceField, component, multiplies && component < 3);
        ScalePlane(plane, copies ? ScaleFilter::kBilinear : FilterOf(inQuality), columnMap, rowMap, grid,
                   component);
    }
    for (Pixel& pixel : grid.pixels)
    {
        pixel.c[3] = inSource.HasAlpha() ? pixel.c[3] : 1.0;
        pixel = ConvertPixel(pixel, kind, inTarget);
    }
    if (inTargetField == kIR_WholePicture)
    {
        WriteGrid(grid, inTarget);
        return;
    }
    WriteGrid(isFieldToField ? grid : FieldRows(grid, inTargetField), FieldOf(inTarget, inTargetField));
}

}
