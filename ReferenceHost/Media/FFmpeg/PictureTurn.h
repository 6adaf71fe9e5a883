#pragma once

#include <cstddef>
#include <cstdint>

#include "ReferenceHost/Media/FFmpeg/MediaFacts.h"

namespace Media
{

// Writes the picture of inSource as it looks after inTurn. inWidth and inHeight are those of the source, in
// pixels of inPixelBytes (4, 8 or 16); the target has them exchanged where the turn exchanges sides.
//
// Thread-safety: safe.
void TurnPicture(const void* inSource, std::ptrdiff_t inSourceRowBytes, int inWidth, int inHeight,
                 int inPixelBytes, const Orientation& inTurn, void* outTarget,
                 std::ptrdiff_t inTargetRowBytes);

}
