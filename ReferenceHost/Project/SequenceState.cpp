#include "ReferenceHost/Project/SequenceState.h"

#include "ReferenceHost/Project/ClipTimes.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <utility>

namespace Project
{

namespace
{

using norviktypes::TickTime;

bool HasGoodTimes(const ClipItem& inItem)
{
    return IsOnAxis(inItem.mStart) && IsOnAxis(inItem.mDuration) &&
           inItem.mDuration > norviktypes::kTime_Zero && IsOnAxis(inItem.GetEnd()) &&
           IsOnAxis(inItem.mInPoint) && IsOnAxis(inItem.mHoldTime.value_or(TickTime())) &&
           std::isfinite(inItem.mSpeed) && std::abs(inItem.mSpeed) <= kHighestSpeed;
}

bool HasGoodRemap(const ClipItem& inItem)
{
    if (inItem.mTimeRemap.empty())
    {
        return true;
    }
    ParameterContent curve;
    curve.mKeys = inItem.mTimeRemap;
    return inItem.mSpeed == 1.0 && IsWellFormed(curve) &&
           std::holds_alternative<double>(inItem.mTimeRemap.front().mValue);
}

// Gives the item other ends, and what it shows in between stays where it was on the track.
void Cut(ClipItem& ioItem, const TickTime& inStart, const TickTime& inEnd,
         const norviktypes::FrameRate& inRate)
{
    const TickTime shift = inStart - ioItem.mStart;
    const norviktypes::FrameRate mediaRate = MediaRateOf(ioItem, inRate);
    const TickTime first = ToMediaTime(ioItem, shift, inRate);
    if (!ioItem.mTimeRemap.empty())
    {
        ParameterContent curve;
        curve.mKeys = std::move(ioItem.mTimeRemap);
        ioItem.mTimeRemap = MapKeyTimes(curve, 1.0, -shift).mKeys;
        ioItem.mStart = inStart;
        ioItem.mDuration = inEnd - inStart;
        return;
    }
    if (ioItem.mSpeed == 0.0 && shift != norviktypes::kTime_Zero)
    {
        // What is frozen stays so, and effects go on from where they are cut.
        ioItem.mHoldTime = ioItem.mHoldTime.value_or(ioItem.mInPoint);
        ioItem.mSpeed = 1.0;
    }
    ioItem.mStart = inStart;
    ioItem.mDuration = inEnd - inStart;
    ioItem.mInPoint += first - FirstMediaTime(ioItem, inRate, mediaRate);
}

} // namespace

SequenceState::~SequenceState()
{
    for (const std::shared_ptr<SequenceState>& nested : Nested())
    {
        nested->ForgetParent(this);
    }
}

void SequenceState::SetSequence(const SequenceRef& inSequence)
{
    const TVK::IWeakReferenceRef weak = inSequence->GetWeakReference();
    const std::lock_guard<std::mutex> lock(mLock);
    mSequence = weak;
}

SequenceRef SequenceState::GetSequence() const
{
    TVK::IWeakReferenceRef weak;
    {
        const std::lock_guard<std::mutex> lock(mLock);
        weak = mSequence;
    }
    const BE::ISequenceRef alive = weak ? BE::ISequenceRef(weak->Resolve()) : BE::ISequenceRef();
    return alive ? SequenceRef(static_cast<Sequence*>(alive.get())) : SequenceRef();
}

SequenceDataRef SequenceState::GetData()
{
    const std::lock_guard<std::mutex> lock(mLock);
    return DataLocked();
}

SequenceDataRef SequenceState::DataLocked()
{
    if (mData)
    {
        return mData;
    }
    auto data = std::make_shared<SequenceData>();
    data->mSettings = mSettings;
    for (std::size_t index = 0; index < mTracks.size(); ++index)
    {
        EditedTrack& track = mTracks[index];
        if (!track.mSnapshot)
        {
            track.mSnapshot = TrackSnapshotRef(
                new TrackSnapshot(track.mItems, index, track.mIsEnabled, mSettings.mFrameRate));
            track.mItems.Share();
        }
        data->mTracks.push_back(track.mSnapshot);
        data->mDuration = std::max(data->mDuration, track.mSnapshot->GetEnd());
    }
    mData = std::move(data);
    return mData;
}

SequenceSettings SequenceState::GetSettings() const
{
    const std::lock_guard<std::mutex> lock(mLock);
    return mSettings;
}

EditStatus SequenceState::Perform(const std::function<EditStatus()>& inEdit)
{
    Aftermath aftermath;
    EditStatus status = EditStatus::kOK;
    {
        const std::lock_guard<std::mutex> lock(mLock);
        status = inEdit();
        std::swap(aftermath, mAftermath);
    }
    Tie(aftermath.mTied);
    if (aftermath.mChange.mRange.mStart < aftermath.mChange.mRange.mEnd)
    {
        Announce(aftermath.mChange);
    }
    return status;
}

void SequenceState::SetSettings(const SequenceSettings& inSettings)
{
    Perform(
        [&]
        {
            if (inSettings == mSettings)
            {
                return EditStatus::kOK;
            }
            mSettings = inSettings;
            RemakeItemsLocked();
            mAftermath.mChange.mIsOfSettings = true;
            MarkLocked(kAllTime, kAllTracks);
            return EditStatus::kOK;
        });
}

EditStatus SequenceState::InsertTrack(std::size_t inIndex)
{
    return Perform(
        [&]
        {
            if (inIndex > mTracks.size())
            {
                return EditStatus::kNoSuchTrack;
            }
            mTracks.insert(mTracks.begin() + static_cast<std::ptrdiff_t>(inIndex), EditedTrack());
            for (auto* spots : {&mItems, &mTransitions})
            {
                for (auto& [id, spot] : *spots)
                {
                    spot.mTrack += spot.mTrack >= inIndex ? 1 : 0;
                }
            }
            TracksMovedLocked(inIndex);
            return EditStatus::kOK;
        });
}

EditStatus SequenceState::RemoveTrack(std::size_t inIndex)
{
    return Perform(
        [&]
        {
            if (inIndex >= mTracks.size())
            {
                return EditStatus::kNoSuchTrack;
            }
            const ItemList items = mTracks[inIndex].mItems;
            for (auto place = items.Begin(); !items.IsEnd(place); place = items.Next(place))
            {
                NestLocked(items.At(place), false);
                mAftermath.mItems.push_back(items.At(place));
            }
            TrackChangedLocked(inIndex);
            mTracks.erase(mTracks.begin() + static_cast<std::ptrdiff_t>(inIndex));
            for (auto* spots : {&mItems, &mTransitions})
            {
                std::erase_if(*spots, [&](const auto& inEntry) { return inEntry.second.mTrack == inIndex; });
                for (auto& [id, spot] : *spots)
                {
                    spot.mTrack -= spot.mTrack > inIndex ? 1 : 0;
                }
            }
            TracksMovedLocked(inIndex);
            return EditStatus::kOK;
        });
}

// Tracks from inIndex on have another index now, by which others know them.
void SequenceState::TracksMovedLocked(std::size_t inIndex)
{
    for (std::size_t index = inIndex; index < mTracks.size(); ++index)
    {
        TrackChangedLocked(index);
    }
    if (mData)
    {
        mAftermath.mData.push_back(std::move(mData));
        mData.reset();
    }
    mAftermath.mChange.mIsOfSettings = true;
    MarkLocked(kAllTime, kAllTracks);
}

EditStatus SequenceState::SetTrackEnabled(std::size_t inIndex, bool inIsEnabled)
{
    return Perform(
        [&]
        {
            if (inIndex >= mTracks.size())
            {
                return EditStatus::kNoSuchTrack;
            }
            EditedTrack& track = mTracks[inIndex];
            if (track.mIsEnabled != inIsEnabled)
            {
                track.mIsEnabled = inIsEnabled;
                TrackChangedLocked(inIndex);
                MarkLocked(kAllTime, inIndex);
            }
            return EditStatus::kOK;
        });
}

std::size_t SequenceState::GetTrackCount() const
{
    const std::lock_guard<std::mutex> lock(mLock);
    return mTracks.size();
}

EditStatus SequenceState::PrepareItem(ClipItem& ioItem) const
{
    if (!HasGoodTimes(ioItem) || !HasGoodRemap(ioItem))
    {
        return EditStatus::kBadTime;
    }
    if (!ioItem.mSequence)
    {
        return EditStatus::kOK;
    }
    const ISequenceOfHostRef host(ioItem.mSequence);
    const std::shared_ptr<SequenceState> nested = host ? host->GetState() : nullptr;
    const SequenceRef live = nested ? nested->GetSequence() : SequenceRef();
    if (!live)
    {
        return EditStatus::kForeign;
    }
    ioItem.mSequence = BE::ISequenceRef(live.get());
    if (nested.get() == this || nested->Shows(*this))
    {
        return EditStatus::kCycle;
    }
    return nested->GetDepth() + GetHeight() > kMostNestedSequences ? EditStatus::kTooDeep : EditStatus::kOK;
}

EditStatus SequenceState::AddItem(std::size_t inTrack, ClipItem inItem, ItemID* outID)
{
    const EditStatus prepared = PrepareItem(inItem);
    if (prepared != EditStatus::kOK)
    {
        return prepared;
    }
    return Perform(
        [&]
        {
            if (inTrack >= mTracks.size())
            {
                return EditStatus::kNoSuchTrack;
            }
            const MF::TimeRange range{inItem.mStart, inItem.GetEnd()};
            if (!IsFreeLocked(inTrack, range, 0))
            {
                return EditStatus::kOverlap;
            }
            const ItemID id = ++mLastID;
            TransitionObjectRef met[2];
            MeetNeighboursLocked(inTrack, range, met);
            const TrackItemRef item =
                MakeItemLocked(id, std::make_shared<const ClipItem>(std::move(inItem)), met[0], met[1]);
            PutLocked(inTrack, item);
            MarkLocked(item->GetReach(), inTrack);
            if (outID != nullptr)
            {
                *outID = id;
            }
            return EditStatus::kOK;
        });
}

EditStatus SequenceState::RemoveItem(ItemID inID)
{
    return Perform(
        [&]
        {
            ItemList::Place place;
            std::size_t track = 0;
            TrackItemRef item = FindLocked(inID, place, track);
            if (!item)
            {
                return EditStatus::kNoSuchItem;
            }
            MarkLocked(item->GetReach(), track);
            DropTransitionLocked(track, item->GetTransitionObject(false));
            DropTransitionLocked(track, item->GetTransitionObject(true));
            FindLocked(inID, place, track);
            TakeLocked(track, place);
            return EditStatus::kOK;
        });
}

// The transitions at ends that stay where they are stay too, as long as the item is long enough for them.
EditStatus SequenceState::SetItem(ItemID inID, std::size_t inTrack, ClipItem inItem)
{
    const EditStatus prepared = PrepareItem(inItem);
    if (prepared != EditStatus::kOK)
    {
        return prepared;
    }
    return Perform(
        [&]
        {
            ItemList::Place place;
            std::size_t track = 0;
            const TrackItemRef before = FindLocked(inID, place, track);
            if (!before)
            {
                return EditStatus::kNoSuchItem;
            }
            if (inTrack >= mTracks.size())
            {
                return EditStatus::kNoSuchTrack;
            }
            const MF::TimeRange range{inItem.mStart, inItem.GetEnd()};
            if (!IsFreeLocked(inTrack, range, inID))
            {
                return EditStatus::kOverlap;
            }
            MarkLocked(before->GetReach(), track);
            TransitionObjectRef kept[2];
            TickTime needed;
            for (const bool atEnd : {false, true})
            {
                const TransitionObjectRef& transition = before->GetTransitionObject(atEnd);
                const bool stays = track == inTrack && (atEnd ? before->GetEnd() == range.mEnd
                                                              : before->GetStart() == range.mStart);
                if (!transition)
                {
                    continue;
                }
                const TransitionItem& content = transition->GetContent();
                const TickTime inside = atEnd ? content.mInOffset : content.mOutOffset;
                if (stays && needed + inside <= inItem.mDuration)
                {
                    needed += inside;
                    kept[atEnd ? 1 : 0] = transition;
                }
                else
                {
                    DropTransitionLocked(track, transition);
                }
            }
            FindLocked(inID, place, track);
            TakeLocked(track, place);
            MeetNeighboursLocked(inTrack, range, kept);
            const TrackItemRef item =
                MakeItemLocked(inID, std::make_shared<const ClipItem>(std::move(inItem)), kept[0], kept[1]);
            PutLocked(inTrack, item);
            MarkLocked(item->GetReach(), inTrack);
            return EditStatus::kOK;
        });
}

EditStatus SequenceState::SplitItem(ItemID inID, const TickTime& inTime, ItemID* outSecond)
{
    const TrackItemRef before = GetItem(inID);
    if (!before)
    {
        return EditStatus::kNoSuchItem;
    }
    const TransitionObjectRef atStart = before->GetTransitionObject(false);
    const TransitionObjectRef atEnd = before->GetTransitionObject(true);
    const TickTime earliest = atStart ? std::max(before->GetStart(), atStart->GetEnd()) : before->GetStart();
    const TickTime latest = atEnd ? std::min(before->GetEnd(), atEnd->GetStart()) : before->GetEnd();
    if (inTime <= before->GetStart() || inTime >= before->GetEnd() || inTime < earliest || inTime > latest)
    {
        return EditStatus::kBadTime;
    }
    const norviktypes::FrameRate rate = GetSettings().mFrameRate;
    auto first = std::make_shared<ClipItem>(*before->GetContent());
    auto second = std::make_shared<ClipItem>(*before->GetContent());
    Cut(*first, before->GetStart(), inTime, rate);
    Cut(*second, inTime, before->GetEnd(), rate);
    // Keyframes of a remap that was set up to the ends of the axis would leave it.
    if (!HasGoodRemap(*first) || !HasGoodRemap(*second))
    {
        return EditStatus::kBadTime;
    }
    return Perform(
        [&]
        {
            ItemList::Place place;
            std::size_t track = 0;
            FindLocked(inID, place, track);
            const ItemID id = ++mLastID;
            TakeLocked(track, place);
            PutLocked(track, MakeItemLocked(inID, std::move(first), atStart, {}));
            PutLocked(track, MakeItemLocked(id, std::move(second), {}, atEnd));
            MarkLocked(before->GetReach(), track);
            if (outSecond != nullptr)
            {
                *outSecond = id;
            }
            return EditStatus::kOK;
        });
}

EditStatus SequenceState::TrimItem(ItemID inID, const TickTime& inStart, const TickTime& inEnd)
{
    const TrackItemRef item = GetItem(inID);
    if (!item)
    {
        return EditStatus::kNoSuchItem;
    }
    if (!IsOnAxis(inStart) || !IsOnAxis(inEnd) || inStart >= inEnd)
    {
        return EditStatus::kBadTime;
    }
    ClipItem content = *item->GetContent();
    Cut(content, inStart, inEnd, GetSettings().mFrameRate);
    return SetItem(inID, GetItemTrack(inID), std::move(content));
}

EditStatus SequenceState::ShiftItems(std::size_t inTrack, const TickTime& inFrom, const TickTime& inDistance)
{
    return Perform(
        [&]
        {
            if (inTrack >= mTracks.size())
            {
                return EditStatus::kNoSuchTrack;
            }
            const ItemList& items = mTracks[inTrack].mItems;
            auto place = items.FirstEndingBehind(inFrom);
            if (!items.IsEnd(place) && items.At(place)->GetStart() < inFrom)
            {
                place = items.Next(place);
            }
            if (items.IsEnd(place) || inDistance == norviktypes::kTime_Zero)
            {
                return EditStatus::kOK;
            }
            const TickTime first = items.At(place)->GetStart();
            const TickTime last = items.At(items.Previous(items.End()))->GetEnd();
            if (!IsOnAxis(inDistance) || !IsOnAxis(first + inDistance) || !IsOnAxis(last + inDistance))
            {
                return EditStatus::kBadTime;
            }
            const bool isFirst = place == items.Begin();
            if (!isFirst && items.At(items.Previous(place))->GetEnd() > first + inDistance)
            {
                return EditStatus::kOverlap;
            }
            const bool isTied = !isFirst && items.At(items.Previous(place))->GetEnd() == first;
            if (isTied)
            {
                DropTransitionLocked(inTrack,
                                     TransitionObjectRef(items.At(place)->GetTransitionObject(false)));
            }
            ShiftFromLocked(inTrack, first, inDistance);
            PartAtLocked(inTrack, first + inDistance);
            return EditStatus::kOK;
        });
}

void SequenceState::ShiftFromLocked(std::size_t inTrack, const TickTime& inFirst, const TickTime& inDistance)
{
    ItemList& items = mTracks[inTrack].mItems;
    std::map<ItemID, TransitionObjectRef> shifted;
    const auto shiftedTransition = [&](const TransitionObjectRef& inTransition)
    {
        if (!inTransition)
        {
            return TransitionObjectRef();
        }
        TransitionObjectRef& moved = shifted[inTransition->GetID()];
        if (!moved)
        {
            TransitionItem content = inTransition->GetContent();
            content.mCut += inDistance;
            mTransitions[inTransition->GetID()].mTime = content.mCut;
            moved = TransitionObjectRef(new TransitionObject(inTransition->GetID(), std::move(content)));
        }
        return moved;
    };
    MF::TimeRange range{norviktypes::kTime_Max, norviktypes::kTime_Min};
    for (auto place = items.FirstEndingBehind(inFirst); !items.IsEnd(place); place = items.Next(place))
    {
        const TrackItemRef before = items.At(place);
        auto content = std::make_shared<ClipItem>(*before->GetContent());
        content->mStart += inDistance;
        const TrackItemRef item = MakeItemLocked(before->GetID(), std::move(content),
                                                 shiftedTransition(before->GetTransitionObject(false)),
                                                 shiftedTransition(before->GetTransitionObject(true)));
        for (const MF::TimeRange& reach : {before->GetReach(), item->GetReach()})
        {
            range = {std::min(range.mStart, reach.mStart), std::max(range.mEnd, reach.mEnd)};
        }
        mItems[item->GetID()].mTime = item->GetStart();
        mAftermath.mItems.push_back(before);
        items.Replace(place, item);
    }
    TrackChangedLocked(inTrack);
    MarkLocked(range, inTrack);
}

TrackItemRef SequenceState::GetItem(ItemID inID) const
{
    const std::lock_guard<std::mutex> lock(mLock);
    ItemList::Place place;
    std::size_t track = 0;
    return FindLocked(inID, place, track);
}

TrackItemRef SequenceState::FindItem(std::size_t inTrack, const TickTime& inTime) const
{
    const std::lock_guard<std::mutex> lock(mLock);
    if (inTrack >= mTracks.size())
    {
        return {};
    }
    const ItemList& items = mTracks[inTrack].mItems;
    const auto place = items.FirstEndingBehind(inTime);
    return !items.IsEnd(place) && items.At(place)->GetStart() <= inTime ? items.At(place) : TrackItemRef();
}

std::vector<ItemID> SequenceState::GetItems(std::size_t inTrack) const
{
    const std::lock_guard<std::mutex> lock(mLock);
    std::vector<ItemID> ids;
    if (inTrack < mTracks.size())
    {
        const ItemList& items = mTracks[inTrack].mItems;
        ids.reserve(items.Size());
        for (auto place = items.Begin(); !items.IsEnd(place); place = items.Next(place))
        {
            ids.push_back(items.At(place)->GetID());
        }
    }
    return ids;
}

std::size_t SequenceState::GetItemTrack(ItemID inID) const
{
    const std::lock_guard<std::mutex> lock(mLock);
    const auto found = mItems.find(inID);
    return found == mItems.end() ? mTracks.size() : found->second.mTrack;
}

} // namespace Project
