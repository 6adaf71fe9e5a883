#include "ReferenceHost/Project/SequenceState.h"

#include <utility>

namespace Project
{

namespace
{

using norviktypes::TickTime;

bool Overlaps(const MF::TimeRange& inA, const MF::TimeRange& inB)
{
    return inA.mStart < inB.mEnd && inB.mStart < inA.mEnd;
}

} // namespace

EditStatus SequenceState::CheckTransitionLocked(std::size_t inTrack, const TransitionItem& inTransition) const
{
    const bool isLong = inTransition.mInOffset >= norviktypes::kTime_Zero &&
                        inTransition.mOutOffset >= norviktypes::kTime_Zero &&
                        inTransition.mInOffset + inTransition.mOutOffset > norviktypes::kTime_Zero;
    if (!isLong || !IsOnAxis(inTransition.mCut) || !IsOnAxis(inTransition.mInOffset) ||
        !IsOnAxis(inTransition.mOutOffset))
    {
        return EditStatus::kBadTime;
    }
    ItemList::Place place;
    const TrackItemRef left = ItemAtCutLocked(inTrack, inTransition.mCut, true, place);
    const TrackItemRef right = ItemAtCutLocked(inTrack, inTransition.mCut, false, place);
    if (!left && !right)
    {
        return EditStatus::kNoSuchItem;
    }
    if ((left && left->GetTransitionObject(true)) || (right && right->GetTransitionObject(false)))
    {
        return EditStatus::kOverlap;
    }
    const MF::TimeRange range{inTransition.mCut - inTransition.mInOffset,
                              inTransition.mCut + inTransition.mOutOffset};
    if ((left && range.mStart < left->GetStart()) || (right && range.mEnd > right->GetEnd()))
    {
        return EditStatus::kBadTime;
    }
    if ((!left && !IsFreeLocked(inTrack, {range.mStart, inTransition.mCut}, 0)) ||
        (!right && !IsFreeLocked(inTrack, {inTransition.mCut, range.mEnd}, 0)))
    {
        return EditStatus::kOverlap;
    }
    for (const TransitionObjectRef& other :
         {left ? left->GetTransitionObject(false) : TransitionObjectRef(),
          right ? right->GetTransitionObject(true) : TransitionObjectRef()})
    {
        if (other && Overlaps(range, {other->GetStart(), other->GetEnd()}))
        {
            return EditStatus::kOverlap;
        }
    }
    return EditStatus::kOK;
}

EditStatus SequenceState::AddTransition(std::size_t inTrack, const TransitionItem& inTransition,
                                        ItemID* outID)
{
    return Perform(
        [&]
        {
            if (inTrack >= mTracks.size())
            {
                return EditStatus::kNoSuchTrack;
            }
            const EditStatus checked = CheckTransitionLocked(inTrack, inTransition);
            if (checked != EditStatus::kOK)
            {
                return checked;
            }
            const ItemID id = ++mLastID;
            mTransitions[id] = {inTrack, inTransition.mCut};
            SetTransitionLocked(inTrack, inTransition.mCut,
                                TransitionObjectRef(new TransitionObject(id, inTransition)));
            if (outID != nullptr)
            {
                *outID = id;
            }
            return EditStatus::kOK;
        });
}

EditStatus SequenceState::RemoveTransition(ItemID inID)
{
    return Perform(
        [&]
        {
            const auto found = mTransitions.find(inID);
            if (found == mTransitions.end())
            {
                return EditStatus::kNoSuchItem;
            }
            const Spot spot = found->second;
            mTransitions.erase(found);
            SetTransitionLocked(spot.mTrack, spot.mTime, {});
            return EditStatus::kOK;
        });
}

EditStatus SequenceState::SetTransitionEnabled(ItemID inID, bool inIsEnabled)
{
    const TransitionObjectRef transition = GetTransition(inID);
    if (!transition)
    {
        return EditStatus::kNoSuchItem;
    }
    TransitionItem content = transition->GetContent();
    content.mIsEnabled = inIsEnabled;
    return Perform(
        [&]
        {
            SetTransitionLocked(mTransitions[inID].mTrack, content.mCut,
                                TransitionObjectRef(new TransitionObject(inID, content)));
            return EditStatus::kOK;
        });
}

TransitionObjectRef SequenceState::GetTransition(ItemID inID) const
{
    const std::lock_guard<std::mutex> lock(mLock);
    const auto found = mTransitions.find(inID);
    if (found == mTransitions.end())
    {
        return {};
    }
    ItemList::Place place;
    const Spot& spot = found->second;
    if (const TrackItemRef left = ItemAtCutLocked(spot.mTrack, spot.mTime, true, place))
    {
        return left->GetTransitionObject(true);
    }
    const TrackItemRef right = ItemAtCutLocked(spot.mTrack, spot.mTime, false, place);
    return right ? right->GetTransitionObject(false) : TransitionObjectRef();
}

// Both items are marked whole: how far they are shown decides how their times are held.
void SequenceState::SetTransitionLocked(std::size_t inTrack, const TickTime& inCut,
                                        const TransitionObjectRef& inTransition)
{
    for (const bool atEnd : {true, false})
    {
        ItemList::Place place;
        const TrackItemRef before = ItemAtCutLocked(inTrack, inCut, atEnd, place);
        if (!before)
        {
            continue;
        }
        const TrackItemRef item = MakeItemLocked(before->GetID(), before->GetContent(),
                                                 atEnd ? before->GetTransitionObject(false) : inTransition,
                                                 atEnd ? inTransition : before->GetTransitionObject(true));
        ReplaceLocked(inTrack, place, item);
        MarkLocked(before->GetReach(), inTrack);
        MarkLocked(item->GetReach(), inTrack);
    }
}

void SequenceState::DropTransitionLocked(std::size_t inTrack, const TransitionObjectRef& inTransition)
{
    if (inTransition)
    {
        mTransitions.erase(inTransition->GetID());
        SetTransitionLocked(inTrack, inTransition->GetContent().mCut, {});
    }
}

void SequenceState::MeetNeighboursLocked(std::size_t inTrack, const MF::TimeRange& inRange,
                                         TransitionObjectRef (&ioTransitions)[2])
{
    for (const bool atEnd : {false, true})
    {
        const TrackItemRef neighbour = NeighbourLocked(inTrack, inRange, atEnd);
        const TransitionObjectRef transition =
            neighbour ? neighbour->GetTransitionObject(!atEnd) : TransitionObjectRef();
        TransitionObjectRef& own = ioTransitions[atEnd ? 1 : 0];
        if (!transition || own)
        {
            continue;
        }
        const TransitionObjectRef& other = ioTransitions[atEnd ? 0 : 1];
        const bool meets =
            atEnd ? neighbour->GetStart() == inRange.mEnd : neighbour->GetEnd() == inRange.mStart;
        const bool fits = atEnd ? transition->GetStart() >= (other ? other->GetEnd() : inRange.mStart)
                                : transition->GetEnd() <= (other ? other->GetStart() : inRange.mEnd);
        const bool reaches =
            atEnd ? transition->GetStart() < inRange.mEnd : transition->GetEnd() > inRange.mStart;
        if (meets && fits)
        {
            own = transition;
        }
        else if (meets || reaches)
        {
            DropTransitionLocked(inTrack, transition);
        }
    }
}

void SequenceState::PartAtLocked(std::size_t inTrack, const TickTime& inTime)
{
    const TrackItemRef left = NeighbourLocked(inTrack, {inTime, inTime}, false);
    const TrackItemRef right = NeighbourLocked(inTrack, {inTime, inTime}, true);
    if (!left || !right)
    {
        return;
    }
    const TransitionObjectRef leaving = left->GetTransitionObject(true);
    const TransitionObjectRef coming = right->GetTransitionObject(false);
    const bool touch = left->GetEnd() == right->GetStart();
    if (leaving && (touch || leaving->GetEnd() > right->GetStart()))
    {
        DropTransitionLocked(inTrack, leaving);
    }
    if (coming && (touch || coming->GetStart() < left->GetEnd()))
    {
        DropTransitionLocked(inTrack, coming);
    }
}

} // namespace Project
