#include "CutlistFactory_Overlays.h"

#include "BE/IPreviewStream.h"
#include "RenderableNodeCompositorImpl.h"
#include "RenderableNodePreviewImpl.h"

#include <algorithm>
#include <cstdint>

namespace ML
{

namespace
{

using MF::CutlistOverlay;
using norviktypes::TickTime;

constexpr int kNoTrack = -1;
// A shorter overlay is not repeated.
constexpr TickTime kShortestRepeated(norviktypes::kTicksPerSecond);
// A still may last to the end of the time axis.
constexpr std::uint32_t kMostRepeats = 100000;

struct SegmentOfCutlist
{
    TickTime mStart;
    TickTime mEnd;
    TickTime mNodeOffset;
    MF::IRenderableNodeRef mNode;
};

SegmentOfCutlist NthSegment(const MF::IRenderableCutlistRef& inCutlist, std::uint32_t inIndex)
{
    SegmentOfCutlist segment;
    TVK::Guid hash;
    inCutlist->GetNthSegmentDescription(inIndex, segment.mStart, segment.mEnd, segment.mNodeOffset, hash);
    inCutlist->GetRenderableNodeFromHashValue(hash, segment.mNode);
    return segment;
}

void AddRepeated(const IMutableCutlistRef& ioTarget, const std::vector<CutlistOverlay>& inEntries,
                 const MF::TimeRange& inRange, const norvik::utility::ImmutableString& inStreamLabel)
{
    const auto longest = std::max_element(inEntries.begin(), inEntries.end(),
                                          [](const CutlistOverlay& inA, const CutlistOverlay& inB)
                                          { return inA.mEnd - inA.mStart < inB.mEnd - inB.mStart; });
    const MF::IRenderableNodeRef node =
        longest == inEntries.end() ? nullptr : CreateOverlayNode(longest->mSubject, inStreamLabel);
    if (!node)
    {
        return;
    }
    const TickTime duration = longest->mEnd - longest->mStart;
    const std::uint32_t repeats = duration >= kShortestRepeated ? kMostRepeats : 1;
    TickTime start = inRange.mStart;
    for (std::uint32_t i = 0; i < repeats && start < inRange.mEnd; ++i)
    {
        const TickTime end = std::min(start + duration, inRange.mEnd);
        ioTarget->AddSegment(start, end, norviktypes::kTime_Zero, node);
        start = end;
    }
}

void AddOnce(const IMutableCutlistRef& ioTarget, const CutlistOverlay& inEntry, const MF::TimeRange& inRange,
             const TickTime& inNodeOffset, const norvik::utility::ImmutableString& inStreamLabel)
{
    const MF::IRenderableNodeRef node = CreateOverlayNode(inEntry.mSubject, inStreamLabel);
    if (!node)
    {
        return;
    }
    const TickTime shift = inRange.mStart - inNodeOffset;
    const TickTime start = std::max(inEntry.mStart + shift, inRange.mStart);
    const TickTime end = std::min(inEntry.mEnd + shift, inRange.mEnd);
    ioTarget->AddSegment(start, end, start - (inEntry.mStart + shift), node);
}

// What lies over the whole: times of the entries are those of the cutlist.
MF::IRenderableCutlistRef OverlaysOfCutlist(const MF::IRenderableCutlistRef& inCutlist,
                                            const MF::CutlistOverlays& inOverlays)
{
    const auto entries = inOverlays.find(inCutlist->GetHashValue());
    if (entries == inOverlays.end())
    {
        return {};
    }
    const IMutableCutlistRef target = CreateMutableCutlist(inCutlist->GetStreamLabel());
    AddOverlaySegments(target, entries->second, {norviktypes::kTime_Zero, norviktypes::kTime_Max},
                       norviktypes::kTime_Zero, 0);
    target->Finalize();
    return target;
}

MF::IRenderableCutlistRef OverlaysOfNodes(const MF::IRenderableCutlistRef& inCutlist,
                                          const MF::CutlistOverlays& inOverlays)
{
    const IMutableCutlistRef target = CreateMutableCutlist(inCutlist->GetStreamLabel());
    for (std::uint32_t i = 0; i < inCutlist->GetSegmentCount(); ++i)
    {
        const SegmentOfCutlist segment = NthSegment(inCutlist, i);
        const auto entries = inOverlays.find(segment.mNode->GetHashValue());
        if (entries != inOverlays.end())
        {
            AddOverlaySegments(target, entries->second, {segment.mStart, segment.mEnd}, segment.mNodeOffset,
                               segment.mNode->GetInformativeFlags());
        }
    }
    target->Finalize();
    return target;
}

// The parts of a segment that lie in a gap.
void AddClipped(const IMutableCutlistRef& ioTarget, const SegmentOfCutlist& inSegment,
                const MF::TimeRange& inGap)
{
    const TickTime start = std::max(inSegment.mStart, inGap.mStart);
    ioTarget->AddSegment(start, std::min(inSegment.mEnd, inGap.mEnd),
                         inSegment.mNodeOffset + (start - inSegment.mStart), inSegment.mNode);
}

} // namespace

MF::IRenderableNodeRef CreateOverlayNode(const TVK::TVKUnknownRef& inSubject,
                                         const norvik::utility::ImmutableString& inStreamLabel)
{
    if (const MF::IRenderableNodeRef node{inSubject})
    {
        return node;
    }
    const BE::IPreviewStreamRef stream(inSubject);
    return stream ? CreateCompositorOf(CreatePreviewNode(stream, inStreamLabel, kNoTrack, true))
                  : MF::IRenderableNodeRef();
}

void AddOverlaySegments(const IMutableCutlistRef& ioTarget, const std::vector<CutlistOverlay>& inEntries,
                        const MF::TimeRange& inRange, const TickTime& inNodeOffset, std::uint32_t inNodeFlags)
{
    const norvik::utility::ImmutableString label = ioTarget->GetStreamLabel();
    if ((inNodeFlags & MF::kNodeFlag_Still) != 0)
    {
        AddRepeated(ioTarget, inEntries, inRange, label);
        return;
    }
    for (const CutlistOverlay& entry : inEntries)
    {
        AddOnce(ioTarget, entry, inRange, inNodeOffset, label);
    }
}

// Both lists are walked once: the second one's segments are cut to the gaps of the first.
MF::IRenderableCutlistRef PreferCutlist(const MF::IRenderableCutlistRef& inFirst,
                                        const MF::IRenderableCutlistRef& inSecond)
{
    if (!inFirst || inFirst->GetSegmentCount() == 0)
    {
        return inSecond;
    }
    if (!inSecond)
    {
        return inFirst;
    }
    const IMutableCutlistRef merged = CreateMutableCutlist(inSecond->GetStreamLabel());
    const std::uint32_t secondCount = inSecond->GetSegmentCount();
    std::uint32_t second = 0;
    TickTime gapStart = norviktypes::kTime_Min;
    for (std::uint32_t first = 0; first <= inFirst->GetSegmentCount(); ++first)
    {
        const bool isBehind = first == inFirst->GetSegmentCount();
        const SegmentOfCutlist preferred = isBehind ? SegmentOfCutlist() : NthSegment(inFirst, first);
        const MF::TimeRange gap{gapStart, isBehind ? norviktypes::kTime_Max : preferred.mStart};
        for (; second < secondCount; ++second)
        {
            const SegmentOfCutlist segment = NthSegment(inSecond, second);
            AddClipped(merged, segment, gap);
            if (segment.mEnd > gap.mEnd)
            {
                break; // its rest may lie in a later gap
            }
        }
        if (!isBehind)
        {
            merged->AddSegment(preferred.mStart, preferred.mEnd, preferred.mNodeOffset, preferred.mNode);
            gapStart = preferred.mEnd;
        }
    }
    merged->Finalize();
    return merged;
}

MF::IRenderableCutlistRef OverlaidCutlist(const MF::IRenderableCutlistRef& inCutlist,
                                          const MF::CutlistOverlays& inOverlays)
{
    if (inOverlays.empty())
    {
        return inCutlist;
    }
    const MF::IRenderableCutlistRef whole = OverlaysOfCutlist(inCutlist, inOverlays);
    const MF::IRenderableCutlistRef overlays = PreferCutlist(OverlaysOfNodes(inCutlist, inOverlays), whole);
    return PreferCutlist(overlays, inCutlist);
}

} // namespace ML
