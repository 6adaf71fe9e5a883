#include "ReferenceHost/Project/SequenceState.h"

#include <utility>

namespace Project
{

using norviktypes::TickTime;

TrackItemRef SequenceState::MakeItemLocked(ItemID inID, std::shared_ptr<const ClipItem> inContent,
                                           const TransitionObjectRef& inAtStart,
                                           const TransitionObjectRef& inAtEnd) const
{
    ClipSurroundings around;
    around.mRate = mSettings.mFrameRate;
    around.mFrameRect = mSettings.mFrameRect;
    around.mPixelAspectRatio = mSettings.mPixelAspectRatio;
    around.mFieldType = mSettings.mFieldType;
    return TrackItemRef(new TrackItemObject(inID, std::move(inContent), inAtStart, inAtEnd, around));
}

TrackItemRef SequenceState::FindLocked(ItemID inID, ItemList::Place& outPlace, std::size_t& outTrack) const
{
    const auto found = mItems.find(inID);
    if (found == mItems.end())
    {
        return {};
    }
    outTrack = found->second.mTrack;
    const ItemList& items = mTracks[outTrack].mItems;
    outPlace = items.FirstEndingBehind(found->second.mTime);
    return items.At(outPlace);
}

TrackItemRef SequenceState::ItemAtCutLocked(std::size_t inTrack, const TickTime& inCut, bool inEnding,
                                            ItemList::Place& outPlace) const
{
    const ItemList& items = mTracks[inTrack].mItems;
    outPlace = items.FirstEndingBehind(inCut);
    if (!inEnding)
    {
        const bool begins = !items.IsEnd(outPlace) && items.At(outPlace)->GetStart() == inCut;
        return begins ? items.At(outPlace) : TrackItemRef();
    }
    if (outPlace == items.Begin())
    {
        return {};
    }
    outPlace = items.Previous(outPlace);
    return items.At(outPlace)->GetEnd() == inCut ? items.At(outPlace) : TrackItemRef();
}

bool SequenceState::IsFreeLocked(std::size_t inTrack, const MF::TimeRange& inRange, ItemID inExcept) const
{
    const ItemList& items = mTracks[inTrack].mItems;
    for (auto place = items.FirstEndingBehind(inRange.mStart);
         !items.IsEnd(place) && items.At(place)->GetStart() < inRange.mEnd; place = items.Next(place))
    {
        if (items.At(place)->GetID() != inExcept)
        {
            return false;
        }
    }
    return true;
}

void SequenceState::PutLocked(std::size_t inTrack, const TrackItemRef& inItem)
{
    ItemList& items = mTracks[inTrack].mItems;
    items.Insert(items.FirstEndingBehind(inItem->GetStart()), inItem);
    mItems[inItem->GetID()] = {inTrack, inItem->GetStart()};
    NestLocked(inItem, true);
    TrackChangedLocked(inTrack);
}

void SequenceState::TakeLocked(std::size_t inTrack, const ItemList::Place& inPlace)
{
    ItemList& items = mTracks[inTrack].mItems;
    const TrackItemRef item = items.At(inPlace);
    NestLocked(item, false);
    mAftermath.mItems.push_back(item);
    mItems.erase(item->GetID());
    items.Remove(inPlace);
    TrackChangedLocked(inTrack);
}

void SequenceState::ReplaceLocked(std::size_t inTrack, const ItemList::Place& inPlace,
                                  const TrackItemRef& inItem)
{
    ItemList& items = mTracks[inTrack].mItems;
    mAftermath.mItems.push_back(items.At(inPlace));
    items.Replace(inPlace, inItem);
    TrackChangedLocked(inTrack);
}

// The last item in front of inRange, or the first one behind it. None lies inside.
TrackItemRef SequenceState::NeighbourLocked(std::size_t inTrack, const MF::TimeRange& inRange,
                                            bool inBehind) const
{
    const ItemList& items = mTracks[inTrack].mItems;
    const auto place = items.FirstEndingBehind(inRange.mStart);
    if (inBehind)
    {
        return items.IsEnd(place) ? TrackItemRef() : items.At(place);
    }
    return place == items.Begin() ? TrackItemRef() : items.At(items.Previous(place));
}

void SequenceState::RemakeItemsLocked()
{
    for (std::size_t track = 0; track < mTracks.size(); ++track)
    {
        ItemList& items = mTracks[track].mItems;
        for (auto place = items.Begin(); !items.IsEnd(place); place = items.Next(place))
        {
            const TrackItemRef before = items.At(place);
            ReplaceLocked(track, place,
                          MakeItemLocked(before->GetID(), before->GetContent(),
                                         before->GetTransitionObject(false),
                                         before->GetTransitionObject(true)));
        }
        TrackChangedLocked(track);
    }
    if (mData)
    {
        mAftermath.mData.push_back(std::move(mData));
        mData.reset();
    }
}

void SequenceState::TrackChangedLocked(std::size_t inTrack)
{
    if (mTracks[inTrack].mSnapshot)
    {
        mAftermath.mTracks.push_back(std::move(mTracks[inTrack].mSnapshot));
    }
    if (mData)
    {
        mAftermath.mData.push_back(std::move(mData));
        mData.reset();
    }
}

void SequenceState::NestLocked(const TrackItemRef& inItem, bool inIsThere)
{
    const BE::ISequenceRef& sequence = inItem->GetContent()->mSequence;
    if (!sequence)
    {
        return;
    }
    const std::shared_ptr<SequenceState> state = ISequenceOfHostRef(sequence)->GetState();
    NestedUse& use = mNested[state.get()];
    use.mState = state;
    if (inIsThere)
    {
        use.mItems.insert(inItem->GetID());
    }
    else
    {
        use.mItems.erase(inItem->GetID());
    }
    if (use.mItems.empty())
    {
        mNested.erase(state.get());
    }
    mAftermath.mTied.push_back(sequence);
}

} // namespace Project
