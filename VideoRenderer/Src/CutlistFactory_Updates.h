// Bringing a cutlist up to date with an edit, at the cost of what the edit touches.
//
// Beside the time of the edit, segments are built anew whose nodes look beyond their own time, as what they
// look at may be what changed.
//
// Thread-safety: called where the project may be read.
#pragma once

#include "MF/IRenderableCutlist.h"
#include "MF/TimeRange.h"
#include "norviktypes/FrameRate.h"

#include <cstdint>
#include <functional>
#include <vector>

namespace ML
{

// The ranges to build anew for a change in inChange: first the change itself, widened to the segments at its
// ends; then each segment beyond it whose node is not contained in its time. They do not overlap. Nothing for
// an empty change.
std::vector<MF::TimeRange> CollectSegmentRanges(const MF::IRenderableCutlistRef& inCutlist,
                                                const MF::TimeRange& inChange);

// Builds the cutlist of one range; negative where it fails.
using BuildRange = std::function<std::int32_t(const MF::TimeRange&, MF::IRenderableCutlistRef&)>;

// inPrevious with the ranges of the change, on the grid of inFrameRate, built anew. A range that fails ends the
// walk with its status, and outCutlist has those that were built before.
std::int32_t UpdateCutlist(const MF::IRenderableCutlistRef& inPrevious,
                           const norviktypes::FrameRate& inFrameRate, const MF::TimeRange& inChange,
                           const BuildRange& inBuild, MF::IRenderableCutlistRef& outCutlist);

} // namespace ML
