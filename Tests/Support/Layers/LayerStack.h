// Layers over each other, from the bottom up: a compositor as small as one can be, for tests.
//
// For each layer its frame is rendered through hash and cache, and drawn over what lies beneath with the two
// records of its intrinsics, one for each of the two field times. A layer without a frame is left out; a stack
// without layers is black. Where a single field was asked for, it is taken out of the finished frame.
//
// Thread-safety: safe.
#pragma once

#include "MF/IRenderableCutlist.h"
#include "MF/IRenderableNode.h"

#include <vector>

namespace TestSupport
{

// A finished node over finished layers, the lowest first. Each layer's time is the stack's.
MF::IRenderableNodeRef CreateLayerStack(const std::vector<MF::IRenderableNodeRef>& inLayers);

// A finished cutlist that plays inNode from its own time zero to inDuration.
MF::IRenderableCutlistRef CutlistOfNode(const MF::IRenderableNodeRef& inNode,
                                        const norviktypes::TickTime& inDuration);

} // namespace TestSupport
