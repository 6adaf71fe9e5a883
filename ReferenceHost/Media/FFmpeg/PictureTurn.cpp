#include "ReferenceHost/Media/FFmpeg/PictureTurn.h"

#include <algorithm>
#include <cstring>

namespace Media
{

namespace
{

// Small enough that source and target of a block stay in the first cache while rows become columns.
constexpr int kBlock = 16;

template <int kBytes>
void TurnBlocks(const std::uint8_t* inSource, std::ptrdiff_t inSourceRowBytes, int inWidth, int inHeight,
                std::uint8_t* outFirst, std::ptrdiff_t inStepX, std::ptrdiff_t inStepY)
{
    for (int blockY = 0; blockY < inHeight; blockY += kBlock)
    {
        for (int blockX = 0; blockX < inWidth; blockX += kBlock)
        {
            const int endX = std::min(inWidth, blockX + kBlock);
            const int endY = std::min(inHeight, blockY + kBlock);
            for (int y = blockY; y < endY; ++y)
            {
                const std::uint8_t* from = inSource + y * inSourceRowBytes + std::ptrdiff_t{blockX} * kBytes;
                std::uint8_t* to = outFirst + y * inStepY + blockX * inStepX;
                for (int x = blockX; x < endX; ++x, from += kBytes, to += inStepX)
                {
                    std::memcpy(to, from, kBytes);
                }
            }
        }
    }
}

}

void TurnPicture(const void* inSource, std::ptrdiff_t inSourceRowBytes, int inWidth, int inHeight,
                 int inPixelBytes, const Orientation& inTurn, void* outTarget,
                 std::ptrdiff_t inTargetRowBytes)
{
    // Where the source's first pixel goes, and the steps in the target for one pixel to the right and one
    // down.
    const std::ptrdiff_t pixel = inPixelBytes;
    const std::ptrdiff_t row = inTargetRowBytes;
    std::ptrdiff_t first = 0;
    std::ptrdiff_t stepX = pixel;
    std::ptrdiff_t stepY = row;
    switch (inTurn.clockwiseDegrees)
    {
    case 90: first = (inHeight - 1) * pixel, stepX = row, stepY = -pixel; break;
    case 180: first = (inHeight - 1) * row + (inWidth - 1) * pixel, stepX = -pixel, stepY = -row; break;
    case 270: first = (inWidth - 1) * row, stepX = -row, stepY = pixel; break;
    default: break;
    }
    if (inTurn.flipHorizontally)
    {
        first += (inWidth - 1) * stepX;
        stepX = -stepX;
    }
    const auto* source = static_cast<const std::uint8_t*>(inSource);
    std::uint8_t* target = static_cast<std::uint8_t*>(outTarget) + first;
    switch (inPixelBytes)
    {
    case 4: TurnBlocks<4>(source, inSourceRowBytes, inWidth, inHeight, target, stepX, stepY); break;
    case 8: TurnBlocks<8>(source, inSourceRowBytes, inWidth, inHeight, target, stepX, stepY); break;
    default: TurnBlocks<16>(source, inSourceRowBytes, inWidth, inHeight, target, stepX, stepY); break;
    }
}

}
