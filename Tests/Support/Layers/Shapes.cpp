#include "Tests/Support/Layers/Shapes.h"

#include "VF/VideoFrame.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace TestSupport
{

namespace
{

// inColorAt(x, y): the colour of a pixel.
template <class ColorFunction>
MF::IVideoFrameRef Paint(std::uint32_t inWidth, std::uint32_t inHeight, const ColorFunction& inColorAt)
{
    MF::IVideoFrameRef frame;
    if (VF::CreateVideoFrame(frame, norviktypes::kPixelFormat_BGRA_4444_8u, inWidth, inHeight, {}, false,
                             false) < 0)
    {
        return {};
    }
    auto* const pixels = static_cast<std::uint8_t*>(VF::IVideoFramePixelsRef(frame)->GetPixels());
    const auto rowBytes = static_cast<std::uint32_t>(VF::IVideoFrameRasterRef(frame)->GetRowBytes());
    for (std::uint32_t y = 0; y < inHeight; ++y)
    {
        for (std::uint32_t x = 0; x < inWidth; ++x)
        {
            const Bgra color = inColorAt(x, y);
            std::memcpy(pixels + y * rowBytes + x * sizeof color, &color, sizeof color);
        }
    }
    return frame;
}

Bgra WithAlpha(Bgra inColor, double inAlpha)
{
    const double alpha = std::clamp(inAlpha, 0.0, 1.0) * (inColor >> 24);
    return (inColor & 0xFFFFFF) | static_cast<Bgra>(std::lround(alpha)) << 24;
}

// Distance from the middle, the shorter side being 2 long.
double RadiusAt(std::uint32_t inX, std::uint32_t inY, std::uint32_t inWidth, std::uint32_t inHeight)
{
    const double unit = 0.5 * std::min(inWidth, inHeight);
    return std::hypot((inX + 0.5 - 0.5 * inWidth) / unit, (inY + 0.5 - 0.5 * inHeight) / unit);
}

} // namespace

MF::IVideoFrameRef PaintChecks(std::uint32_t inWidth, std::uint32_t inHeight, Bgra inEven, Bgra inOdd)
{
    const std::uint32_t side = std::max(1u, inHeight / 8);
    return Paint(inWidth, inHeight,
                 [=](std::uint32_t x, std::uint32_t y)
                 {
                     const bool isEdge = x == 0 || y == 0 || x + 1 == inWidth || y + 1 == inHeight;
                     return isEdge || (x / side + y / side) % 2 != 0 ? inOdd : inEven;
                 });
}

MF::IVideoFrameRef PaintSoftDisc(std::uint32_t inWidth, std::uint32_t inHeight, Bgra inColor)
{
    return Paint(inWidth, inHeight,
                 [=](std::uint32_t x, std::uint32_t y)
                 { return WithAlpha(inColor, (1.0 - RadiusAt(x, y, inWidth, inHeight)) / 0.3); });
}

MF::IVideoFrameRef PaintRing(std::uint32_t inWidth, std::uint32_t inHeight, Bgra inColor)
{
    const double pixelsPerRadius = 0.5 * std::min(inWidth, inHeight);
    return Paint(inWidth, inHeight,
                 [=](std::uint32_t x, std::uint32_t y)
                 {
                     const double radius = RadiusAt(x, y, inWidth, inHeight);
                     const double inside = std::min(0.95 - radius, radius - 0.55);
                     return WithAlpha(inColor, inside * pixelsPerRadius + 0.5);
                 });
}

} // namespace TestSupport
