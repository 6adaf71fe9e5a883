#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "ReferenceHost/ImageRoutines/Reference.h"

// Reading and writing samples for the scalar references; nobody else includes it.
//
// Thread-safety: as Reference.h.
namespace ir::reference
{

// Pixels of one picture at full chroma resolution.
struct Grid
{
    Grid(std::int32_t inWidth, std::int32_t inHeight)
        : width(inWidth)
        , height(inHeight)
        , pixels(static_cast<std::size_t>(inWidth) * static_cast<std::size_t>(inHeight))
    {
    }
    Pixel& At(std::int32_t inX, std::int32_t inY)
    {
        return pixels[static_cast<std::size_t>(inY) * static_cast<std::size_t>(width) +
                      static_cast<std::size_t>(inX)];
    }
    const Pixel& At(std::int32_t inX, std::int32_t inY) const
    {
        return const_cast<Grid*>(this)->At(inX, inY);
    }

    std::int32_t width;
    std::int32_t height;
    std::vector<Pixel> pixels;
};

// The code at an index of a row, and a component of the plane it lives in (chroma in chroma units), range
// taken away.
double LoadSample(const Picture& inPicture, const unsigned char* inRow, std::ptrdiff_t inIndex);
double ReadPlane(const Picture& inPicture, int inComponent, std::int32_t inX, std::int32_t inY);

void WritePlane(const Picture& inPicture, int inComponent, std::int32_t inX, std::int32_t inY,
                double inValue);

// Packed forms hold whole groups: places beyond an odd width repeat the last sample, so that nothing stale is
// left.
void CompleteChromaGroup(const Picture& inPicture, std::int32_t inY);

Grid ReadGrid(const Picture& inPicture);

// Writes pixels that are already of the target's kind; chroma is filtered down.
void WriteGrid(const Grid& inGrid, const Picture& inTarget);

}
