// The cutlist that timelines are built into.
//
// Segments are added in any order and may overlap. Finalize sorts them; of two that overlap, the one that
// starts earlier keeps the time (of two that start together, the one that was added first), and the front of
// the other is cut; a node that plays on without a seam becomes one segment. Then hash and still ranges are
// computed, and nothing changes any more.
//
// The object answers MF::IRenderableExtendedStillInfo and MF::ISmartRenderSegmentInfo as well. Times lie
// between kTime_Min and kTime_Max.
//
// Ownership: the cutlist keeps one node for each hash alive. Errors: what belongs to the other phase is a
// contract violation.
//
// Thread-safety: frozen, safe without a lock; mutable, for the builder alone.
#pragma once

#include "MF/IRenderableCutlist.h"

#include <cstdint>
#include <vector>

namespace ML
{

class IMutableCutlist : public MF::IRenderableCutlist
{
public:
    using InterfaceBase = MF::IRenderableCutlist;
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kMutableCutlist;

    // inNodeOffset: the node's time at inStart. Nothing happens if inStart is not below inEnd. An empty or
    // unfrozen node throws.
    virtual void AddSegment(const norviktypes::TickTime& inStart, const norviktypes::TickTime& inEnd,
                            const norviktypes::TickTime& inNodeOffset,
                            const MF::IRenderableNodeRef& inNode) = 0;
    virtual void Finalize() = 0;
};
using IMutableCutlistRef = TVK::InterfaceRef<IMutableCutlist>;

// An empty cutlist with the label of the stream for which it is made.
IMutableCutlistRef CreateMutableCutlist(const norvik::utility::ImmutableString& inStreamLabel = {});

// Replaces the label while the cutlist is mutable. The label takes no part in the hash.
void SetCutlistStreamLabel(const IMutableCutlistRef& inCutlist,
                           const norvik::utility::ImmutableString& inStreamLabel);

// A finished cutlist that takes the place of others in a range of time.
struct CutlistPiece
{
    MF::TimeRange mRange;
    MF::IRenderableCutlistRef mCutlist;
};

// inBase with the pieces in place of what it has in their ranges, segments clipped at the limits. The ranges
// are in order and do not overlap. All cutlists are finished ones that were made here. What is not touched is
// neither asked nor hashed again, so that a splice costs little more than a copy of the list.
MF::IRenderableCutlistRef SpliceCutlists(const MF::IRenderableCutlistRef& inBase,
                                         const std::vector<CutlistPiece>& inPieces);

// Appends the ranges of the segments whose nodes lack one of inFlags and that do not lie within inOutside.
void AppendSegmentsLacking(const MF::IRenderableCutlistRef& inCutlist, std::uint32_t inFlags,
                           const MF::TimeRange& inOutside, std::vector<MF::TimeRange>& ioRanges);

} // namespace ML
