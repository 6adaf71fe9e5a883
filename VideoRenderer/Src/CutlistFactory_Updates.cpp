#include "CutlistFactory_Updates.h"

#include "RenderableCutlistImpl.h"

#include <algorithm>

namespace ML
{

namespace
{

using MF::TimeRange;
using norviktypes::TickTime;

struct FoundSegment
{
    bool mIsThere = false;
    TimeRange mRange;
};

FoundSegment SegmentAt(const MF::IRenderableCutlistRef& inCutlist, const TickTime& inTime)
{
    FoundSegment found;
    std::uint32_t index = 0;
    TickTime offset;
    TVK::Guid hash;
    found.mIsThere = inCutlist->FindSegmentForTime(inTime, index, found.mRange.mStart, found.mRange.mEnd,
                                                   offset, hash) >= 0;
    return found;
}

// Segments of one clip often follow each other: they are built in one go, and the clip's node once.
std::vector<TimeRange> JoinedWhereTheyTouch(const std::vector<TimeRange>& inRanges)
{
    std::vector<TimeRange> joined;
    for (const TimeRange& range : inRanges)
    {
        if (!joined.empty() && joined.back().mEnd == range.mStart)
        {
            joined.back().mEnd = range.mEnd;
        }
        else
        {
            joined.push_back(range);
        }
    }
    return joined;
}

MF::IRenderableCutlistRef WithPieces(const MF::IRenderableCutlistRef& inPrevious,
                                     std::vector<CutlistPiece>& ioPieces)
{
    std::sort(ioPieces.begin(), ioPieces.end(),
              [](const CutlistPiece& inA, const CutlistPiece& inB) { return inA.mRange < inB.mRange; });
    return ioPieces.empty() ? inPrevious : SpliceCutlists(inPrevious, ioPieces);
}

} // namespace

std::vector<TimeRange> CollectSegmentRanges(const MF::IRenderableCutlistRef& inCutlist,
                                            const TimeRange& inChange)
{
    std::vector<TimeRange> ranges;
    if (inChange.mStart >= inChange.mEnd)
    {
        return ranges;
    }
    TimeRange change = inChange;
    if (const FoundSegment first = SegmentAt(inCutlist, inChange.mStart); first.mIsThere)
    {
        change.mStart = std::min(change.mStart, first.mRange.mStart);
    }
    if (const FoundSegment last = SegmentAt(inCutlist, inChange.mEnd - TickTime(1)); last.mIsThere)
    {
        change.mEnd = std::max(change.mEnd, last.mRange.mEnd);
    }
    ranges.push_back(change);
    AppendSegmentsLacking(inCutlist, MF::kNodeFlag_TimeContained, change, ranges);
    return ranges;
}

// All pieces go in at once, as each splice copies the list.
std::int32_t UpdateCutlist(const MF::IRenderableCutlistRef& inPrevious,
                           const norviktypes::FrameRate& inFrameRate, const TimeRange& inChange,
                           const BuildRange& inBuild, MF::IRenderableCutlistRef& outCutlist)
{
    const MF::IRenderableCutlistRef previous = inPrevious;
    if (inChange.mStart >= inChange.mEnd) // on the grid it would be a frame
    {
        outCutlist = previous;
        return TVK::kStatus_OK;
    }
    const TimeRange change{inChange.mStart.AlignToFrame(inFrameRate),
                           inChange.mEnd.AlignToFrameCeil(inFrameRate)};
    std::vector<CutlistPiece> pieces;
    std::int32_t status = TVK::kStatus_OK;
    for (const TimeRange& range : JoinedWhereTheyTouch(CollectSegmentRanges(previous, change)))
    {
        MF::IRenderableCutlistRef piece;
        status = inBuild(range, piece);
        if (status < 0)
        {
            break;
        }
        pieces.push_back({range, piece});
    }
    outCutlist = WithPieces(previous, pieces);
    return status;
}

} // namespace ML
