#include <algorithm>

#include "ReferenceHost/ImageRoutines/MotionBytes.h"

namespace ir::reference
{
namespace
{

// A component of a premultiplied pixel with seven bits behind the point.
int Component(const ByteSource& inSource, const std::uint8_t* inPixel, int inPlace)
{
    const int alpha = inSource.isOpaque ? 255 : inPixel[3];
    const int code = inPlace == 3 ? 255 : inPixel[inPlace];
    if (inSource.isStraight)
    {
        return code * alpha * 32897 >> 16; // 128 / 255
    }
    return (inPlace == 3 ? alpha : code) << 7;
}

int Between(int inFrom, int inTo, int inWeight)
{
    return inFrom + ((2 * (inTo - inFrom) * inWeight + 32768) >> 16);
}

const std::uint8_t* PixelAt(const ByteSource& inSource, std::int64_t inX, std::int64_t inY)
{
    const std::int64_t x = std::clamp<std::int64_t>(inX, 0, inSource.width - 1);
    const std::int64_t y = std::clamp<std::int64_t>(inY, 0, inSource.height - 1);
    return inSource.pixels + y * inSource.stride + x * 4;
}

}

bool SampleBytes(const ByteSource& inSource, const BytePlace& inU, const BytePlace& inV, std::int32_t inFirst,
                 std::uint8_t* outPixels, std::size_t inCount)
{
    bool isOpaque = true;
    for (std::size_t i = 0; i < inCount; ++i)
    {
        const std::int64_t column = inFirst + static_cast<std::int64_t>(i);
        const std::int64_t u = inU.start + inU.step * column;
        const std::int64_t v = inV.start + inV.step * column;
        const auto weightU = static_cast<int>((u & 0xFFFFFFFF) >> 17);
        const auto weightV = static_cast<int>((v & 0xFFFFFFFF) >> 17);
        for (int place = 0; place < 4; ++place)
        {
            int rows[2];
            for (int row = 0; row < 2; ++row)
            {
                rows[row] = Between(
                    Component(inSource, PixelAt(inSource, u >> 32, (v >> 32) + row), place),
                    Component(inSource, PixelAt(inSource, (u >> 32) + 1, (v >> 32) + row), place), weightU);
            }
            outPixels[i * 4 + static_cast<std::size_t>(place)] =
                static_cast<std::uint8_t>((Between(rows[0], rows[1], weightV) + 64) >> 7);
        }
        isOpaque = isOpaque && outPixels[i * 4 + 3] == 255;
    }
    return isOpaque;
}

bool HalveBytes(const ByteSource& inSource, const std::uint8_t* inUpper, const std::uint8_t* inLower,
                std::uint8_t* outPixels, std::size_t inCount)
{
    bool isOpaque = true;
    for (std::size_t i = 0; i < inCount * 4; ++i)
    {
        const std::size_t pixel = i / 4 * 8;
        const auto place = static_cast<int>(i % 4);
        const int sum =
            Component(inSource, inUpper + pixel, place) + Component(inSource, inUpper + pixel + 4, place) +
            Component(inSource, inLower + pixel, place) + Component(inSource, inLower + pixel + 4, place);
        outPixels[i] = static_cast<std::uint8_t>((sum + 256) >> 9);
        isOpaque = isOpaque && (place != 3 || outPixels[i] == 255);
    }
    return isOpaque;
}

}
