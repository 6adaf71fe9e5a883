// A picture stretched over four corners.
//
// A pixel of the target shows the mean of n by m places of the source that are spread evenly over it, n being how
// many source pixels it covers along its width and m along its height; each is interpolated bilinearly, on
// premultiplied colour. At the edges of the source the picture is faded out over one pixel of the target. Of
// a picture of two fields each is drawn from its own rows, so that their moments are never mixed.
//
// Thread-safety: pure functions on the caller's memory; safe.
#pragma once

#include "ReferenceHost/Effects/QuadMapping.h"
#include "ReferenceHost/ImageRoutines/Picture.h"

namespace Effects
{

// Draws a picture over nothing. Both are of one size and of one of the working formats; inMapping is from the
// target to the source, in pixels of both. inOpacity: 0 to 1. May throw std::bad_alloc.
void DrawPinned(const ir::Picture& inSource, const QuadMapping& inMapping, float inOpacity, bool inHasFields,
                const ir::Picture& outTarget);

} // namespace Effects
