#include <algorithm>
#include <cmath>
#include <cstring>

#include "ReferenceHost/ImageRoutines/Colour.h"
#include "ReferenceHost/ImageRoutines/ReferenceSamples.h"
#include "ReferenceHost/ImageRoutines/ScaleGeometry.h"

namespace ir::reference
{
namespace
{

void StoreSample(const Picture& inPicture, int inComponent, unsigned char* inRow, std::ptrdiff_t inIndex,
                 double inValue)
{
    const ComponentRange range = RangeOf(inPicture, inComponent);
    const double code = inValue * range.scale + range.offset;
    if (inPicture.sample == Sample::kFloat)
    {
        const float stored = static_cast<float>(code);
        std::memcpy(inRow + inIndex * 4, &stored, 4);
        return;
    }
    const double most = static_cast<double>((1 << inPicture.bits) - 1);
    const double whole = std::floor(std::clamp(std::isnan(code) ? 0.0 : code, 0.0, most) + 0.5);
    if (inPicture.sample == Sample::kByte)
    {
        inRow[inIndex] = static_cast<unsigned char>(whole);
        return;
    }
    const auto word = static_cast<std::uint16_t>(static_cast<unsigned>(whole) << inPicture.lowZeroBits);
    std::memcpy(inRow + inIndex * 2, &word, 2);
}

void StoreV210(const Picture& inPicture, int inComponent, std::int32_t inX, std::int32_t inY, double inValue)
{
    static constexpr int kLumaSlots[6] = {1, 3, 5, 7, 9, 11};
    static constexpr int kChromaSlots[2][3] = {{0, 4, 8}, {2, 6, 10}};
    const int slot = inComponent == 0 ? kLumaSlots[inX % 6] : kChromaSlots[inComponent - 1][inX % 3];
    const std::int32_t group = inComponent == 0 ? inX / 6 : inX / 3;
    const ComponentRange range = RangeOf(inPicture, inComponent);
    const double code = std::clamp(inValue * range.scale + range.offset, 0.0, 1023.0);
    unsigned char* place = inPicture.Row(0, inY) + group * 16 + slot / 3 * 4;
    std::uint32_t word = 0;
    std::memcpy(&word, place, 4);
    const int shift = slot % 3 * 10;
    word = (word & ~(0x3FFu << shift) & 0x3FFFFFFFu) |
           (static_cast<std::uint32_t>(std::floor(code + 0.5)) << shift);
    std::memcpy(place, &word, 4);
}

// A component at a chroma place: the triangle of the width of a chroma sample over the full-resolution
// pixels.
double FilteredRow(const Grid& inGrid, const Picture& inTarget, int inComponent, std::int32_t inChromaX,
                   std::int32_t inY)
{
    const std::int32_t step = 1 << inTarget.shiftX;
    const double centre = inChromaX * step + ChromaOffsetX(inTarget);
    double sum = 0.0;
    double weights = 0.0;
    for (auto x = static_cast<std::int32_t>(std::floor(centre)) - step; x <= centre + step; ++x)
    {
        const double weight = std::max(0.0, 1.0 - std::fabs(x - centre) / step);
        sum += weight * inGrid.At(Mirrored(x, inGrid.width), inY).c[inComponent];
        weights += weight;
    }
    return sum / weights;
}

double FilteredChroma(const Grid& inGrid, const Picture& inTarget, int inComponent, std::int32_t inX,
                      std::int32_t inRow)
{
    const std::int32_t lines = inTarget.isFieldChroma ? 2 : 1;
    const std::int32_t parity = inTarget.isFieldChroma ? inRow % 2 : 0;
    const std::int32_t field = FieldOfRow(inTarget, inRow);
    const std::int32_t rows = (inGrid.height + lines - 1 - parity) / lines;
    const std::int32_t step = 1 << inTarget.shiftY;
    const double centre = inRow / lines * step + ChromaOffsetY(inTarget, field);
    double sum = 0.0;
    double weights = 0.0;
    for (auto y = static_cast<std::int32_t>(std::floor(centre)) - step; y <= centre + step; ++y)
    {
        const double weight = std::max(0.0, 1.0 - std::fabs(y - centre) / step);
        if (weight > 0.0)
        {
            sum +=
                weight * FilteredRow(inGrid, inTarget, inComponent, inX, Mirrored(y, rows) * lines + parity);
            weights += weight;
        }
    }
    return sum / weights;
}

double Gray(const Pixel& inPixel)
{
    return kGrayWeights[0] * inPixel.c[0] + kGrayWeights[1] * inPixel.c[1] + kGrayWeights[2] * inPixel.c[2];
}

void WriteLuma(const Grid& inGrid, const Picture& inTarget, std::int32_t inY)
{
    for (std::int32_t x = 0; x < inTarget.width; ++x)
    {
        const Pixel& pixel = inGrid.At(x, inY);
        WritePlane(inTarget, 0, x, inY, inTarget.isGray ? Gray(pixel) : pixel.c[0]);
        if (inTarget.alpha != PictureAlpha::kNone)
        {
            WritePlane(inTarget, 3, x, inY, inTarget.HasAlpha() ? pixel.c[3] : 1.0);
        }
    }
    const std::int32_t group = inTarget.storage == Storage::kV210     ? 6
                               : inTarget.storage == Storage::kPlanar ? 1
                                                                      : 2;
    const bool isGrouped = inTarget.storage == Storage::kV210 || inTarget.storage == Storage::kYUYV ||
                           inTarget.storage == Storage::kUYVY;
    for (std::int32_t x = inTarget.width; isGrouped && x % group != 0; ++x)
    {
        WritePlane(inTarget, 0, x, inY, inGrid.At(inTarget.width - 1, inY).c[0]);
    }
}

void WriteChroma(const Grid& inGrid, const Picture& inTarget, std::int32_t inRow)
{
    for (std::int32_t x = 0; x < inTarget.ChromaWidth(); ++x)
    {
        for (int component = 1; component < 3; ++component)
        {
            const double value = inTarget.IsSubsampled()
                                     ? FilteredChroma(inGrid, inTarget, component, x, inRow)
                                     : inGrid.At(x, inRow).c[component];
            WritePlane(inTarget, component, x, inRow, value);
        }
    }
    CompleteChromaGroup(inTarget, inRow);
}

}

void WritePlane(const Picture& inPicture, int inComponent, std::int32_t inX, std::int32_t inY, double inValue)
{
    const std::ptrdiff_t x = inX;
    switch (inPicture.storage)
    {
    case Storage::kPacked4:
        StoreSample(inPicture, inComponent, inPicture.Row(0, inY), x * 4 + kPackedPlace[inComponent],
                    inValue);
        break;
    case Storage::kV210: StoreV210(inPicture, inComponent, inX, inY, inValue); break;
    case Storage::kYUYV:
    case Storage::kUYVY:
    {
        const int luma = inPicture.storage == Storage::kYUYV ? 0 : 1;
        const std::ptrdiff_t index =
            inComponent == 0 ? x * 2 + luma : x * 4 + (1 - luma) + (inComponent == 2 ? 2 : 0);
        StoreSample(inPicture, inComponent, inPicture.Row(0, inY), index, inValue);
        break;
    }
    case Storage::kSemiPlanar:
        if (inComponent == 1 || inComponent == 2)
        {
            StoreSample(inPicture, inComponent, inPicture.Row(1, inY), x * 2 + inComponent - 1, inValue);
            break;
        }
        [[fallthrough]];
    default: StoreSample(inPicture, inComponent, inPicture.Row(inComponent, inY), x, inValue); break;
    }
}

void CompleteChromaGroup(const Picture& inPicture, std::int32_t inY)
{
    const std::int32_t last = inPicture.ChromaWidth() - 1;
    for (std::int32_t x = last + 1; inPicture.storage == Storage::kV210 && x % 3 != 0; ++x)
    {
        WritePlane(inPicture, 1, x, inY, ReadPlane(inPicture, 1, last, inY));
        WritePlane(inPicture, 2, x, inY, ReadPlane(inPicture, 2, last, inY));
    }
}

void WriteGrid(const Grid& inGrid, const Picture& inTarget)
{
    for (std::int32_t y = 0; y < inTarget.height; ++y)
    {
        WriteLuma(inGrid, inTarget, y);
    }
    for (std::int32_t row = 0; !inTarget.isGray && row < inTarget.chromaRows; ++row)
    {
        WriteChroma(inGrid, inTarget, row);
    }
}

}
