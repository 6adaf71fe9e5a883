// Putting what was rendered before over what it was rendered from.
//
// Thread-safety: called where the project may be read.
#pragma once

#include "MF/RenderableCutlistFactory.h"
#include "MF/TimeRange.h"
#include "RenderableCutlistImpl.h"

namespace ML
{

// The frozen node of an overlay's subject: a node as it is, a stream as a node that shows it. Empty for a
// subject that is neither.
MF::IRenderableNodeRef CreateOverlayNode(const TVK::TVKUnknownRef& inSubject,
                                         const norvik::utility::ImmutableString& inStreamLabel);

// Adds inEntries, whose times are those of a node that lies in inRange and has the time inNodeOffset at its
// start, clipped to the range. Over a node that stands still (inNodeFlags) the longest entry is repeated up to
// the end; one of less than a second is added once, since a still may last for hours.
void AddOverlaySegments(const IMutableCutlistRef& ioTarget, const std::vector<MF::CutlistOverlay>& inEntries,
                        const MF::TimeRange& inRange, const norviktypes::TickTime& inNodeOffset,
                        std::uint32_t inNodeFlags);

// inFirst, and inSecond wherever inFirst has nothing. An empty reference stands for a cutlist of nothing.
MF::IRenderableCutlistRef PreferCutlist(const MF::IRenderableCutlistRef& inFirst,
                                        const MF::IRenderableCutlistRef& inSecond);

MF::IRenderableCutlistRef OverlaidCutlist(const MF::IRenderableCutlistRef& inCutlist,
                                          const MF::CutlistOverlays& inOverlays);

} // namespace ML
