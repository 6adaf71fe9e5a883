#pragma once

#include <cstdint>

#include "ReferenceHost/ImageRoutines/Picture.h"
#include "ReferenceHost/ImageRoutines/ScaleGeometry.h"

// Decoded video at exactly half its width and height, as playback at half resolution and most previews want
// it, in one pass: a few rows of the source become a row of the target while they are in the nearest cache,
// and no picture stands between. The filters and the results are those of any other size, within a code.
//
// Thread-safety: pure functions on the caller's pictures; safe.
namespace ir
{

// Whether HalveYuv takes these two: progressive 4:2:0 of 8 to 10 bits, with chroma rows half-way between those
// of luma, or 4:2:2 and 4:4:4 of up to 12, to 8-bit B G R A without the source's alpha.
bool CanHalveYuv(const Picture& inSource, const Picture& inTarget) noexcept;

// Throws std::bad_alloc.
void HalveYuv(const Picture& inSource, const Picture& inTarget, ScaleFilter inFilter);

}
