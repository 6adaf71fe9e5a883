// Pictures for layers: shapes with edges, holes and soft alpha, computed and not stored.
//
// All are BGRA_4444_8u, square pixels, progressive, with content in straight alpha. Empty if there is no memory.
//
// Thread-safety: safe.
#pragma once

#include "MF/IVideoFrame.h"

#include <cstdint>

namespace TestSupport
{

// Blue in the lowest byte, then green, red and alpha.
using Bgra = std::uint32_t;

// Squares of an eighth of the height, opaque, with a line of inOdd around the edge.
MF::IVideoFrameRef PaintChecks(std::uint32_t inWidth, std::uint32_t inHeight, Bgra inEven, Bgra inOdd);
// Full up to 0.7 of the radius, then fading to nothing at the frame's edge.
MF::IVideoFrameRef PaintSoftDisc(std::uint32_t inWidth, std::uint32_t inHeight, Bgra inColor);
// Between 0.55 and 0.95 of the radius, its edges one pixel soft.
MF::IVideoFrameRef PaintRing(std::uint32_t inWidth, std::uint32_t inHeight, Bgra inColor);

} // namespace TestSupport
