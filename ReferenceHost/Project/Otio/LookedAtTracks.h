// Which tracks of a stack have to be there though they aren't seen: those that effects look at.
//
// Tracks have the numbers by which effects know them: from the bottom, counting all that a stack shows and its
// disabled tracks of video. What isn't seen and isn't looked at either is as good as gone, but keeps its number.
//
// Thread-safety: pure functions.
#pragma once

#include "ReferenceHost/Project/Otio/Options.h"
#include "ReferenceHost/Project/Otio/Schema.h"

#include <vector>

namespace Otio
{

struct NumberedLayer
{
    const Composable* mObject = nullptr;
    bool mIsThere = true; // false: only its number counts
};

// The layers of inStack, bottom first. Effects of layers that are seen count, and those of layers that these look
// at. Where no effect looks at any track, what is disabled has no number either.
std::vector<NumberedLayer> LayersOfStack(const Composable& inStack, const LookFunction& inLooks);

}
