// The time axis of a timeline: which node plays from when to when, and from which of its own times.
//
// A cutlist is frozen when it is handed out. Its segments are sorted and do not overlap; between them lie
// gaps, in which nothing plays. A gap is no error: lookups succeed with an empty node, which is black.
//
// Ownership: a cutlist keeps its nodes alive. Errors: kStatus_NoSuchEntry; asking one that is still being
// built is a contract violation.
//
// Thread-safety: a frozen cutlist is safe and takes no lock.
#pragma once

#include "MF/FrameTime.h"
#include "MF/IRenderableNode.h"
#include "MF/TimeRange.h"
#include "norviktypes/PixelFormat.h"

#include <cstdint>
#include <map>
#include <vector>

namespace MF
{

// The index of no segment.
inline constexpr std::uint32_t kNoSegment = 0xFFFFFFFFu;

class ML_EXPORT IRenderableCutlist : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kRenderableCutlist;

    virtual std::uint32_t GetSegmentCount() const = 0;
    // Covers the segments, not the stream label.
    virtual TVK::Guid GetHashValue() const = 0;
    // outNodeOffset: the node's time at outStart.
    virtual std::int32_t GetNthSegmentDescription(std::uint32_t inIndex, norviktypes::TickTime& outStart,
                                                  norviktypes::TickTime& outEnd,
                                                  norviktypes::TickTime& outNodeOffset,
                                                  TVK::Guid& outNodeHash) const = 0;
    // kStatus_NoSuchEntry leaves outNode untouched.
    virtual std::int32_t GetRenderableNodeFromHashValue(const TVK::Guid& inHash,
                                                        IRenderableNodeRef& outNode) const = 0;
    // The node that plays at the earlier of the two times, and both in the node's own time. In a gap: 0 with
    // outNode empty and outNodeFrameTime untouched.
    virtual std::int32_t FindNodeForTime(const FrameTime& inFrameTime, IRenderableNodeRef& outNode,
                                         FrameTime& outNodeFrameTime) const = 0;
    // The first node that plays at inFrameTime or from there to the end of the range. outNodeFrameTime is
    // inFrameTime in that node's time, even when the node starts later: it may then lie before its span.
    virtual std::int32_t FindNodeForTimeRange(const FrameTime& inFrameTime,
                                              const FrameTime& inRangeEndFrameTime,
                                              IRenderableNodeRef& outNode,
                                              FrameTime& outNodeFrameTime) const = 0;
    // 0 with the segment's fields. In a gap: kStatus_NoSuchEntry, with outIndex kNoSegment, outStart and
    // outEnd the gap (kTime_Zero and kTime_Max where no segment bounds it), offset and hash zero.
    virtual std::int32_t FindSegmentForTime(const norviktypes::TickTime& inTime, std::uint32_t& outIndex,
                                            norviktypes::TickTime& outStart, norviktypes::TickTime& outEnd,
                                            norviktypes::TickTime& outNodeOffset,
                                            TVK::Guid& outNodeHash) const = 0;
    virtual norvik::utility::ImmutableString GetStreamLabel() const = 0;
};
using IRenderableCutlistRef = TVK::InterfaceRef<IRenderableCutlist>;

// Where the picture of a cutlist stands still: gaps, nodes that never change, and what nodes themselves know.
class ML_EXPORT IRenderableExtendedStillInfo : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kRenderableExtendedStillInfo;

    // The still range around inTime; (inTime, inTime) if the picture moves there. Always 0.
    virtual std::int32_t GetStillRangeForTime(const norviktypes::TickTime& inTime,
                                              TimeRange& outRange) const = 0;
    // Appends the still ranges of [inStart, inEnd), clipped to it.
    virtual void GetStillRanges(const norviktypes::TickTime& inStart, const norviktypes::TickTime& inEnd,
                                std::vector<TimeRange>& ioRanges) const = 0;
};
using IRenderableExtendedStillInfoRef = TVK::InterfaceRef<IRenderableExtendedStillInfo>;

// A stretch whose media can be copied without decoding it. mStart and mEnd are on the axis of whoever was
// asked; all others belong to the clip and its media.
struct SmartRenderSegment
{
    std::uint32_t mClipInstanceID = 0;
    norviktypes::TickTime mStart;
    norviktypes::TickTime mEnd;
    norviktypes::TickTime mZero; // always kTime_Zero
    norviktypes::TickTime mMediaStart;
    norviktypes::TickTime mMediaEnd;
    norvik::WString mMediaPath;
    norviktypes::TickTime mMediaFirstTime; // the whole file, from here ..
    norviktypes::TickTime mMediaLastTime;  // .. to here, exclusive

    friend bool operator==(const SmartRenderSegment&, const SmartRenderSegment&) = default;
};

// By mStart.
using SmartRenderSegments = std::map<norviktypes::TickTime, SmartRenderSegment>;

class ML_EXPORT ISmartRenderSegmentInfo : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kSmartRenderSegmentInfo;

    // Adds the stretches of [inStart, inEnd) that can be copied into inPixelFormat. An entry that is there
    // already stays.
    virtual void GetSmartRenderSegments(const norviktypes::TickTime& inStart,
                                        const norviktypes::TickTime& inEnd,
                                        const norviktypes::PixelFormat& inPixelFormat, bool inIsPreview,
                                        SmartRenderSegments& ioSegments) const = 0;
};
using ISmartRenderSegmentInfoRef = TVK::InterfaceRef<ISmartRenderSegmentInfo>;

} // namespace MF
