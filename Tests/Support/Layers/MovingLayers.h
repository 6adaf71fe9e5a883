// A second of three layers that move over a colour: turned squares, a soft disc that multiplies, a ring that
// is added.
//
// Sizes go with the render size; pictures are opaque, half transparent and soft, so that every part of the way
// from nodes to pixels has something to do.
//
// Thread-safety: safe.
#pragma once

#include "MF/IRenderableCutlist.h"

namespace TestSupport
{

MF::IRenderableCutlistRef CreateMovingLayers();

} // namespace TestSupport
