#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "ReferenceHost/ImageRoutines/Colour.h"
#include "ReferenceHost/ImageRoutines/Reference.h"
#include "ReferenceHost/ImageRoutines/ReferenceSamples.h"
#include "ReferenceHost/ImageRoutines/ScaleGeometry.h"

namespace ir::reference
{
namespace
{

// Component 0 is Y (or R), 1 and 2 U and V (or G and B); the code as it stands in memory.
double RawPacked4(const Picture& inPicture, int inComponent, std::int32_t inX, std::int32_t inY)
{
    const unsigned char* row = inPicture.Row(0, inY);
    const std::ptrdiff_t index = static_cast<std::ptrdiff_t>(inX) * 4 + kPackedPlace[inComponent];
    return LoadSample(inPicture, row, index);
}

double RawV210(const Picture& inPicture, int inComponent, std::int32_t inX, std::int32_t inY)
{
    static constexpr int kOrder[12] = {1, 0, 2, 0, 1, 0, 2, 0, 1, 0, 2, 0}; // U Y V Y, ten bits each
    const int perGroup = inComponent == 0 ? 6 : 3;
    const std::int32_t group = inX / perGroup;
    const int wanted = inX % perGroup;
    int seen = -1;
    int slot = -1;
    while (seen < wanted)
    {
        ++slot;
        seen += kOrder[slot] == inComponent ? 1 : 0;
    }
    std::uint32_t word = 0;
    std::memcpy(&word, inPicture.Row(0, inY) + group * 16 + slot / 3 * 4, 4);
    return static_cast<double>((word >> (slot % 3 * 10)) & 1023u);
}

double RawPacked422(const Picture& inPicture, int inComponent, std::int32_t inX, std::int32_t inY)
{
    const int luma = inPicture.storage == Storage::kYUYV ? 0 : 1;
    const unsigned char* row = inPicture.Row(0, inY);
    if (inComponent == 0)
    {
        return row[inX * 2 + luma];
    }
    return row[inX * 4 + (1 - luma) + (inComponent == 2 ? 2 : 0)];
}

double RawPlanar(const Picture& inPicture, int inComponent, std::int32_t inX, std::int32_t inY)
{
    if (inPicture.isGray && inComponent < 3)
    {
        return LoadSample(inPicture, inPicture.Row(0, inY), inX);
    }
    if (inPicture.storage == Storage::kSemiPlanar && (inComponent == 1 || inComponent == 2))
    {
        return LoadSample(inPicture, inPicture.Row(1, inY),
                          static_cast<std::ptrdiff_t>(inX) * 2 + inComponent - 1);
    }
    return LoadSample(inPicture, inPicture.Row(inComponent, inY), inX);
}

double ChromaRowAt(const Picture& inPicture, int inComponent, double inPosition, std::int32_t inRow)
{
    const double left = std::floor(inPosition);
    const double weight = inPosition - left;
    const std::int32_t last = inPicture.ChromaWidth() - 1;
    const auto at = [&](double inX)
    { return ReadPlane(inPicture, inComponent, std::clamp(static_cast<std::int32_t>(inX), 0, last), inRow); };
    return at(left) * (1.0 - weight) + at(left + 1.0) * weight;
}

// A chroma row of inSource, as it would be at row inY of the picture or, if the two pictures' chroma rows
// agree, as it stands in memory; at chroma sample inX of inTarget.
double ResampledAcross(const Picture& inSource, const Picture& inTarget, int inComponent, std::int32_t inX,
                       std::int32_t inY, bool inIsMemoryRow)
{
    const ChromaRowPair rows = inIsMemoryRow ? ChromaRowPair{inY, inY, 0} : ChromaRowsFor(inSource, inY);
    const double weight = rows.eighthsOfFar / 8.0;
    const auto at = [&](double inPosition)
    {
        return ChromaRowAt(inSource, inComponent, inPosition, rows.near) * (1.0 - weight) +
               ChromaRowAt(inSource, inComponent, inPosition, rows.far) * weight;
    };
    if (HasSameChromaColumns(inSource, inTarget))
    {
        return at(inX);
    }
    const std::int32_t step = 1 << inTarget.shiftX;
    const double centre = inX * step + ChromaOffsetX(inTarget);
    double sum = 0.0;
    double weights = 0.0;
    for (auto x = static_cast<std::int32_t>(std::floor(centre)) - step; x <= centre + step; ++x)
    {
        const double share = std::max(0.0, 1.0 - std::fabs(x - centre) / step);
        const double place = Mirrored(x, inSource.width) - ChromaOffsetX(inSource);
        sum += share * at(place / (1 << inSource.shiftX));
        weights += share;
    }
    return sum / weights;
}

double Resampled(const Picture& inSource, const Picture& inTarget, int inComponent, std::int32_t inX,
                 std::int32_t inRow)
{
    if (HasSameChromaRows(inSource, inTarget) || inTarget.shiftY == 0)
    {
        const bool isMemoryRow = HasSameChromaRows(inSource, inTarget);
        return ResampledAcross(inSource, inTarget, inComponent, inX, inRow, isMemoryRow);
    }
    const std::int32_t lines = inTarget.isFieldChroma ? 2 : 1;
    const std::int32_t parity = inTarget.isFieldChroma ? inRow % 2 : 0;
    const std::int32_t rows = (inSource.height + lines - 1 - parity) / lines;
    const std::int32_t step = 1 << inTarget.shiftY;
    const double centre = inRow / lines * step + ChromaOffsetY(inTarget, FieldOfRow(inTarget, inRow));
    double sum = 0.0;
    double weights = 0.0;
    for (auto y = static_cast<std::int32_t>(std::floor(centre)) - step; y <= centre + step; ++y)
    {
        const double share = std::max(0.0, 1.0 - std::fabs(y - centre) / step);
        const std::int32_t row = Mirrored(y, rows) * lines + parity;
        sum += share * ResampledAcross(inSource, inTarget, inComponent, inX, row, false);
        weights += share;
    }
    return sum / weights;
}

void ResampleChroma(const Picture& inSource, const Picture& inTarget)
{
    for (std::int32_t row = 0; row < inTarget.chromaRows; ++row)
    {
        for (std::int32_t x = 0; x < inTarget.ChromaWidth(); ++x)
        {
            for (int component = 1; component < 3; ++component)
            {
                WritePlane(inTarget, component, x, row, Resampled(inSource, inTarget, component, x, row));
            }
        }
        CompleteChromaGroup(inTarget, row);
    }
}

Pixel UnPremultiplied(Pixel inPixel)
{
    for (int i = 0; i < 3; ++i)
    {
        inPixel.c[i] = inPixel.c[3] == 0.0 ? 0.0 : inPixel.c[i] / inPixel.c[3];
    }
    return inPixel;
}

Pixel Premultiplied(Pixel inPixel)
{
    for (int i = 0; i < 3; ++i)
    {
        inPixel.c[i] *= inPixel.c[3];
    }
    return inPixel;
}

Pixel Through(const Matrix3& inMatrix, const Pixel& inPixel)
{
    Pixel result = inPixel;
    for (int i = 0; i < 3; ++i)
    {
        result.c[i] = inMatrix.m[i][0] * inPixel.c[0] + inMatrix.m[i][1] * inPixel.c[1] +
                      inMatrix.m[i][2] * inPixel.c[2];
    }
    return result;
}

Pixel Recoded(Pixel inPixel, Transfer inTarget)
{
    for (int i = 0; i < 3; ++i)
    {
        inPixel.c[i] = inTarget == Transfer::kLinear ? DecodeCurve(inPixel.c[i]) : EncodeCurve(inPixel.c[i]);
    }
    return inPixel;
}

}

double LoadSample(const Picture& inPicture, const unsigned char* inRow, std::ptrdiff_t inIndex)
{
    if (inPicture.sample == Sample::kByte)
    {
        return inRow[inIndex];
    }
    if (inPicture.sample == Sample::kWord)
    {
        std::uint16_t word = 0;
        std::memcpy(&word, inRow + inIndex * 2, 2);
        return static_cast<double>(word >> inPicture.lowZeroBits);
    }
    float value = 0;
    std::memcpy(&value, inRow + inIndex * 4, 4);
    return value;
}

double ReadPlane(const Picture& inPicture, int inComponent, std::int32_t inX, std::int32_t inY)
{
    const ComponentRange range = RangeOf(inPicture, inComponent);
    double raw = 0.0;
    switch (inPicture.storage)
    {
    case Storage::kPacked4: raw = RawPacked4(inPicture, inComponent, inX, inY); break;
    case Storage::kV210: raw = RawV210(inPicture, inComponent, inX, inY); break;
    case Storage::kYUYV:
    case Storage::kUYVY: raw = RawPacked422(inPicture, inComponent, inX, inY); break;
    default: raw = RawPlanar(inPicture, inComponent, inX, inY); break;
    }
    return (raw - range.offset) / range.scale;
}

Pixel ReadPixel(const Picture& inPicture, std::int32_t inX, std::int32_t inY)
{
    Pixel pixel = {{ReadPlane(inPicture, 0, inX, inY), 0.0, 0.0, 1.0}};
    const ChromaRowPair rows = ChromaRowsFor(inPicture, inY);
    const double x = (inX - ChromaOffsetX(inPicture)) / static_cast<double>(1 << inPicture.shiftX);
    const double weight = rows.eighthsOfFar / 8.0;
    for (int component = 1; component < 3; ++component)
    {
        pixel.c[component] = ChromaRowAt(inPicture, component, x, rows.near) * (1.0 - weight) +
                             ChromaRowAt(inPicture, component, x, rows.far) * weight;
    }
    if (inPicture.HasAlpha())
    {
        pixel.c[3] = ReadPlane(inPicture, 3, inX, inY);
    }
    return pixel;
}

Pixel ConvertPixel(const Pixel& inPixel, const Picture& inSource, const Picture& inTarget)
{
    Pixel pixel = inPixel;
    const bool isRecoded = inSource.transfer != inTarget.transfer;
    const bool keepsAlpha = inTarget.HasAlpha();
    bool isPremultiplied = inSource.alpha == PictureAlpha::kPremultiplied;
    if (!keepsAlpha)
    {
        pixel.c[3] = 1.0;
    }
    else if (isPremultiplied && (isRecoded || inTarget.alpha == PictureAlpha::kStraight))
    {
        pixel = UnPremultiplied(pixel);
        isPremultiplied = false;
    }
    if (isRecoded)
    {
        pixel = Recoded(Through(ToRGB(inSource.matrix), pixel), inTarget.transfer);
        pixel = Through(FromRGB(inTarget.matrix), pixel);
    }
    else
    {
        pixel = Through(BetweenModels(inSource.matrix, inTarget.matrix), pixel);
    }
    if (keepsAlpha && !isPremultiplied && inTarget.alpha == PictureAlpha::kPremultiplied)
    {
        pixel = Premultiplied(pixel);
    }
    return pixel;
}

Grid ReadGrid(const Picture& inPicture)
{
    Grid grid(inPicture.width, inPicture.height);
    for (std::int32_t y = 0; y < inPicture.height; ++y)
    {
        for (std::int32_t x = 0; x < inPicture.width; ++x)
        {
            grid.At(x, y) = ReadPixel(inPicture, x, y);
        }
    }
    return grid;
}

void ConvertPicture(const Picture& inSource, const Picture& inTarget)
{
    Grid grid = ReadGrid(inSource);
    for (Pixel& pixel : grid.pixels)
    {
        pixel = ConvertPixel(pixel, inSource, inTarget);
    }
    WriteGrid(grid, inTarget);
    if (IsChromaIndependent(inSource, inTarget))
    {
        ResampleChroma(inSource, inTarget);
    }
}

void CompositeToBlack(const Picture& inSource, const Picture& inTarget, double inOpacity)
{
    const double opacity = std::clamp(inOpacity, 0.0, 1.0);
    Picture opaque = inSource;
    opaque.alpha = PictureAlpha::kOpaque;
    Grid grid = ReadGrid(inSource);
    for (Pixel& pixel : grid.pixels)
    {
        const double factor = inSource.alpha == PictureAlpha::kStraight ? pixel.c[3] * opacity : opacity;
        for (int i = 0; i < 3; ++i)
        {
            pixel.c[i] *= factor;
        }
        pixel.c[3] = 1.0;
        pixel = ConvertPixel(pixel, opaque, inTarget);
    }
    WriteGrid(grid, inTarget);
}

void UnPremultiplyAgainstMatte(const Picture& ioPicture, const Pixel& inMatte)
{
    if (!ioPicture.HasAlpha())
    {
        return;
    }
    Grid grid = ReadGrid(ioPicture);
    for (Pixel& pixel : grid.pixels)
    {
        for (int i = 0; i < 3; ++i)
        {
            pixel.c[i] -= inMatte.c[i] * (1.0 - pixel.c[3]);
        }
        pixel = UnPremultiplied(pixel);
    }
    WriteGrid(grid, ioPicture);
}

}
