#include <algorithm>
#include <cstring>

#include "ReferenceHost/ImageRoutines/Operations.h"
#include "ReferenceHost/ImageRoutines/ReferenceSamples.h"

namespace ir
{
namespace
{

void Repeat(unsigned char* outRow, const unsigned char* inPattern, std::ptrdiff_t inPatternBytes,
            std::ptrdiff_t inRowBytes)
{
    std::memcpy(outRow, inPattern, static_cast<std::size_t>(inPatternBytes));
    for (std::ptrdiff_t done = inPatternBytes; done < inRowBytes; done *= 2)
    {
        std::memcpy(outRow + done, outRow, static_cast<std::size_t>(std::min(done, inRowBytes - done)));
    }
}

void FillPlane(const Picture& inTarget, int inPlane, const unsigned char* inPattern)
{
    const std::ptrdiff_t patternBytes = PatternBytes(inTarget, inPlane);
    const std::ptrdiff_t rowBytes = RowBytesOf(inTarget, inPlane);
    const std::int32_t rows = inPlane == 1 || inPlane == 2 ? inTarget.chromaRows : inTarget.height;
    Repeat(inTarget.Row(inPlane, 0), inPattern, patternBytes, rowBytes);
    for (std::int32_t y = 1; y < rows; ++y)
    {
        std::memcpy(inTarget.Row(inPlane, y), inTarget.Row(inPlane, 0), static_cast<std::size_t>(rowBytes));
    }
}

}

std::int32_t FillPicture(const Picture& inTarget, const Picture& inColor)
{
    // One group of pixels of the target's kind, written by the scalar code, is then repeated.
    alignas(16) unsigned char planes[4][256] = {};
    Picture group = inTarget;
    group.width = 6;
    group.height = 2;
    group.chromaRows = group.shiftY == 0 ? 2 : 1;
    group.isFieldChroma = false;
    for (int plane = 0; plane < 4; ++plane)
    {
        group.planes[plane] = planes[plane];
        group.strides[plane] = 128;
    }
    reference::Grid grid(group.width, group.height);
    const reference::Pixel color =
        reference::ConvertPixel(reference::ReadPixel(inColor, 0, 0), inColor, inTarget);
    std::fill(grid.pixels.begin(), grid.pixels.end(), color);
    reference::WriteGrid(grid, group);
    for (int plane = 0; plane < 4; ++plane)
    {
        if (inTarget.planes[plane] != nullptr)
        {
            FillPlane(inTarget, plane, planes[plane]);
        }
    }
    return kIR_Success;
}

}
