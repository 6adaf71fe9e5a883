// Reads frames of telecined streams ahead: one frame, or the two that a film frame lies across, merged.
//
// Unlike an item that reads one frame, an item of two hands its frame out itself, as the merged frame is in
// nobody's cache.
//
// Thread-safety: safe. Items are driven by one thread at a time each.
#pragma once

#include "BE/IVideoSource.h"
#include "RenderableNodePrefetch.h"
#include "norvik/utility/StringTypes.h"

namespace ML
{

// An item for the frame at inTime of a stream that may say that its pulldown is to be removed.
//
// inMediaRate  the rate that inTime is counted in: its frames are those of the stream, one for one.
// inTime       without pulldown of the stream; with it, of the film.
// The others are as for VideoSourcePrefetcher::CreateMediaPrefetcher. Empty where that gives no item.
IRenderableNodePrefetchRef
CreatePulldownPrefetch(const BE::IVideoSourceRef& inSource, const norviktypes::FrameRate& inMediaRate,
                       const BE::FrameDescription& inFormat, const norviktypes::TickTime& inTime,
                       const MF::BinaryData& inSettings, const norviktypes::ColorProfile& inColorProfile,
                       const norvik::WString& inMediaName);

// An item for what inFirst and inSecond read, merged: its lower lines are those of the first frame, its
// upper ones those of the second; and the reverse for a first frame that is planar and higher than 576
// lines, or that says that its upper field comes first. So inFirst is the later frame of the two.
//
// The merged frame is frozen. The result is 0xa00f0001, as of one that isn't ready yet, if either frame is
// missing or they cannot be merged. The key is zero if either has none. Cancelling cancels both, and forgets
// the frame.
IRenderableNodePrefetchRef CreateMergingPrefetch(const IRenderableNodePrefetchRef& inFirst,
                                                 const IRenderableNodePrefetchRef& inSecond);

} // namespace ML
