// From the items of tracks to stacks over time.
//
// The items of all tracks are walked together over time. Each stretch in which the same items are seen becomes
// one compositor node and one segment. What an opaque item hides never enters a node. Times inside a stack
// count from the earliest start among its items, so that the same stack at two places of a timeline is one
// node, and caches see two uses as one.
//
// Thread-safety: functions work on what they are given.
#pragma once

#include "BE/ITrackItem.h"
#include "MF/IRenderableCutlist.h"
#include "MF/TimeRange.h"
#include "norviktypes/FrameRate.h"

#include <cstdint>
#include <vector>

namespace ML
{

// The whole of the time axis.
inline constexpr MF::TimeRange kAllTimes{norviktypes::kTime_Min, norviktypes::kTime_Max};

// One item of a track, on the grid of the sequence.
struct TrackItemRecord
{
    norviktypes::TickTime mStart; // kTime_Min where the picture is the same at all times
    norviktypes::TickTime mEnd;
    norviktypes::TickTime mEffectiveStart; // where it is seen
    norviktypes::TickTime mEffectiveEnd;
    norviktypes::TickTime mInputOffset; // the node's time at mStart
    MF::IRenderableNodeRef mNode;
    BE::ITrackItemRef mItem; // empty for a transition
    std::uint64_t mTrackIndex = 0;
    std::uint32_t mGroupID = 0; // items of one group other than 0 stay together in a node
};

// In the order in which they are seen. Where two overlap, the one in front is seen.
using TrackItemList = std::vector<TrackItemRecord>;

// The cutlist of inTracks, bottom first, for the times in inRange.
MF::IRenderableCutlistRef BuildSequenceCutlist(const norviktypes::FrameRate& inFrameRate,
                                               const std::vector<TrackItemList>& inTracks,
                                               const norvik::utility::ImmutableString& inStreamLabel,
                                               const MF::TimeRange& inRange);

// The stack of the items, bottom first; empty without any. outOrigin: the time that is zero in the node.
MF::IRenderableNodeRef BuildStackNode(const norviktypes::FrameRate& inFrameRate,
                                      const std::vector<const TrackItemRecord*>& inItems,
                                      norviktypes::TickTime& outOrigin);

} // namespace ML
