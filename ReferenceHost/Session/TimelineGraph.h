#pragma once

#include "ReferenceHost/Session/Timeline.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

// What the library made of a timeline: the segments of its cutlist, and the nodes that play in them, as plain
// values to look at.
//
// Nodes of one hash stand in the list once, however often they are shown: the graph has as many nodes as
// there are different pictures to be made. A node comes before its inputs and operators.
//
// Thread-safety: plain values; reading as the timeline.
namespace Session
{

inline constexpr std::size_t kNoGraphNode = static_cast<std::size_t>(-1);

struct GraphInput
{
    norviktypes::TickTime mOffset;    // time of the node at which the input's time is zero
    std::size_t mNode = kNoGraphNode; // kNoGraphNode: an input of nothing
};

struct GraphNode
{
    std::string mHash;
    std::string mType;
    std::uint32_t mFlags = 0;
    std::vector<std::string> mFlagNames;
    std::vector<std::pair<std::string, std::string>> mProperties; // in the order of their keys
    std::vector<GraphInput> mInputs;
    std::vector<std::size_t> mOperators;
};

struct GraphSegment
{
    std::size_t mIndex = 0;       // in the cutlist
    norviktypes::TickTime mStart; // since frame 0, as mEnd
    norviktypes::TickTime mEnd;
    norviktypes::TickTime mNodeOffset; // time of the node at mStart
    std::size_t mNode = kNoGraphNode;
};

struct TimelineGraph
{
    std::string mHash;             // of the cutlist
    std::size_t mSegmentCount = 0; // of the cutlist
    std::vector<GraphSegment> mSegments;
    std::vector<GraphNode> mNodes;
};

// Of the whole timeline, or of the segment that plays at inTime, counted from frame 0; none plays in a gap.
// Empty where the library gives no cutlist. The service is up.
std::optional<TimelineGraph> ReadTimelineGraph(const Timeline& inTimeline,
                                               const std::optional<norviktypes::TickTime>& inTime);

} // namespace Session
