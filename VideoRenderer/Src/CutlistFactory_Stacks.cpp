#include "CutlistFactory_Stacks.h"

#include "RenderableCutlistImpl.h"
#include "RenderableNodeCompositorImpl.h"
#include "RenderableNodeTransitionImpl.h"

#include <algorithm>
#include <cstddef>

namespace ML
{

namespace
{

using MF::TimeRange;
using norviktypes::FrameRate;
using norviktypes::TickTime;
using Items = std::vector<const TrackItemRecord*>;

bool AreInOneFrame(const TickTime& inA, const TickTime& inB, const FrameRate& inFrameRate)
{
    return inA.ToFrame64(inFrameRate) == inB.ToFrame64(inFrameRate);
}

bool LetsLowerTracksThrough(const MF::IRenderableNodeRef& inNode)
{
    return inNode && (inNode->GetInformativeFlags() & MF::kNodeFlag_NeedsLowerTracks) != 0;
}

// The flags of a transition are what both sides have, so that the one wish that either has alone is asked of
// the sides themselves.
bool HidesLowerTracks(const MF::IRenderableNodeRef& inNode)
{
    if ((inNode->GetInformativeFlags() & MF::kNodeFlag_Opaque) == 0 || LetsLowerTracksThrough(inNode))
    {
        return false;
    }
    const bool isTransition = static_cast<bool>(IRenderableNodeTransitionRef(inNode));
    const std::uint32_t sides = isTransition ? std::min(inNode->GetInputCount(), 2u) : 0;
    for (std::uint32_t i = 0; i < sides; ++i)
    {
        TickTime offset;
        MF::IRenderableNodeRef side;
        inNode->GetNthInput(i, offset, side);
        if (LetsLowerTracksThrough(side))
        {
            return false;
        }
    }
    return true;
}

// An item is a member of a group only beside another one of it.
bool IsGroupMember(const Items& inItems, std::size_t inIndex)
{
    const std::uint32_t group = inItems[inIndex]->mGroupID;
    return group != 0 &&
           std::count_if(inItems.begin(), inItems.end(),
                         [group](const TrackItemRecord* inItem) { return inItem->mGroupID == group; }) > 1;
}

// The topmost item that hides all beneath it. Members of a group are no such items, as the group is seen
// as a whole.
std::size_t FirstKeptOf(const Items& inItems)
{
    std::size_t first = inItems.size();
    while (first > 1)
    {
        --first;
        if (HidesLowerTracks(inItems[first]->mNode) && !IsGroupMember(inItems, first))
        {
            return first;
        }
    }
    return 0;
}

// What is seen, bottom first. A group of which one is seen stays whole.
Items KeptOf(const Items& inItems)
{
    const std::size_t first = FirstKeptOf(inItems);
    Items kept;
    kept.reserve(inItems.size());
    for (std::size_t i = 0; i < inItems.size(); ++i)
    {
        const std::uint32_t group = inItems[i]->mGroupID;
        const auto isOfGroup = [group](const TrackItemRecord* inItem) { return inItem->mGroupID == group; };
        if (i >= first || (group != 0 && std::any_of(inItems.begin() + static_cast<std::ptrdiff_t>(first),
                                                     inItems.end(), isOfGroup)))
        {
            kept.push_back(inItems[i]);
        }
    }
    return kept;
}

TickTime OriginOf(const Items& inItems, const FrameRate& inFrameRate)
{
    TickTime origin = norviktypes::kTime_Max;
    for (const TrackItemRecord* item : inItems)
    {
        if (!AreInOneFrame(item->mStart, norviktypes::kTime_Min, inFrameRate))
        {
            origin = std::min(origin, item->mStart);
        }
    }
    return AreInOneFrame(origin, norviktypes::kTime_Max, inFrameRate) ? norviktypes::kTime_Zero : origin;
}

// A walk over the items of all tracks in step.
class Sweep
{
public:
    Sweep(const std::vector<TrackItemList>& inTracks, const TickTime& inStart) : mTime(inStart)
    {
        for (const TrackItemList& track : inTracks)
        {
            mTracks.push_back({track.data(), track.data() + track.size()});
        }
    }

    const TickTime& Time() const noexcept { return mTime; }

    // Goes on to inTime.
    void MoveTo(const TickTime& inTime)
    {
        mTime = inTime;
        for (Track& track : mTracks)
        {
            while (track.mItem != track.mEnd && track.mItem->mEffectiveEnd <= mTime)
            {
                ++track.mItem;
            }
        }
    }

    // When an item comes into sight or goes next; kTime_Max if that is never.
    TickTime NextChange() const
    {
        TickTime next = norviktypes::kTime_Max;
        for (const Track& track : mTracks)
        {
            if (track.mItem != track.mEnd)
            {
                next = std::min(next, track.IsSeenAt(mTime) ? track.mItem->mEffectiveEnd
                                                            : track.mItem->mEffectiveStart);
            }
        }
        return next;
    }

    // Bottom first.
    void GetItemsInSight(Items& outItems) const
    {
        outItems.clear();
        for (const Track& track : mTracks)
        {
            if (track.IsSeenAt(mTime))
            {
                outItems.push_back(track.mItem);
            }
        }
    }

private:
    struct Track
    {
        const TrackItemRecord* mItem; // the first that does not lie behind
        const TrackItemRecord* mEnd;

        bool IsSeenAt(const TickTime& inTime) const noexcept
        {
            return mItem != mEnd && mItem->mEffectiveStart <= inTime;
        }
    };

    TickTime mTime;
    std::vector<Track> mTracks;
};

} // namespace

MF::IRenderableNodeRef BuildStackNode(const FrameRate& inFrameRate, const Items& inItems, TickTime& outOrigin)
{
    const Items kept = KeptOf(inItems);
    if (kept.empty())
    {
        return {};
    }
    outOrigin = OriginOf(kept, inFrameRate);
    const RenderableNodeCompositorRef stack(new RenderableNodeCompositorImpl);
    for (const TrackItemRecord* item : kept)
    {
        const bool hasStart = !AreInOneFrame(item->mStart, norviktypes::kTime_Min, inFrameRate);
        stack->AppendInputWithTrack(
            item->mNode, hasStart ? item->mStart - outOrigin - item->mInputOffset : norviktypes::kTime_Zero,
            item->mTrackIndex);
    }
    stack->Finalize();
    return stack->AsNode();
}

MF::IRenderableCutlistRef BuildSequenceCutlist(const FrameRate& inFrameRate,
                                               const std::vector<TrackItemList>& inTracks,
                                               const norvik::utility::ImmutableString& inStreamLabel,
                                               const TimeRange& inRange)
{
    const IMutableCutlistRef cutlist = CreateMutableCutlist(inStreamLabel);
    Items items;
    Sweep sweep(inTracks, inRange.mStart);
    sweep.MoveTo(inRange.mStart);
    while (sweep.Time() < inRange.mEnd)
    {
        const TickTime end = std::min(sweep.NextChange(), inRange.mEnd);
        sweep.GetItemsInSight(items);
        TickTime origin;
        if (const MF::IRenderableNodeRef node = BuildStackNode(inFrameRate, items, origin))
        {
            cutlist->AddSegment(sweep.Time(), end, sweep.Time() - origin, node);
        }
        sweep.MoveTo(end);
    }
    cutlist->Finalize();
    return cutlist;
}

} // namespace ML
