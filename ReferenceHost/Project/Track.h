// A track, and a whole sequence, as they were when somebody asked: what cutlists are made from. They never change.
//
// Thread-safety: safe.
#pragma once

#include "BE/ISequence.h"
#include "ReferenceHost/Project/ItemList.h"
#include "ReferenceHost/Project/Sequence.h"
#include "TVK/Allocated.h"

#include <memory>
#include <vector>

namespace Project
{

class TrackSnapshot final
    : public TVK::Implements<TrackSnapshot, BE::ITrack, BE::ITrackEnabled, BE::ITimeBase>
{
public:
    TrackSnapshot(ItemList inItems, std::uint64_t inIndex, bool inIsEnabled,
                  const norviktypes::FrameRate& inRate);

    // Items that are off are not there.
    void GetItems(std::vector<BE::ITrackItemRef>& outItems) const override;
    void GetItemsInSpan(const norviktypes::TickTime& inStart, const norviktypes::TickTime& inEnd,
                        std::vector<BE::ITrackItemRef>& outItems) const override;
    std::uint64_t GetIndex() const override { return mIndex; }
    bool IsDisabled() const override { return !mIsEnabled; }
    norviktypes::FrameRate GetFrameRate() const override { return mRate; }

    const ItemList& GetList() const { return mItems; }
    norviktypes::TickTime GetEnd() const;

private:
    const ItemList mItems;
    const std::uint64_t mIndex;
    const bool mIsEnabled;
    const norviktypes::FrameRate mRate;
};
using TrackSnapshotRef = TVK::InterfaceRef<TrackSnapshot>;
TVK::TVKUnknownRef UnknownOf(const TrackSnapshotRef& inTrack);

struct SequenceData
{
    SequenceSettings mSettings;
    std::vector<TrackSnapshotRef> mTracks;
    norviktypes::TickTime mDuration;
};
using SequenceDataRef = std::shared_ptr<const SequenceData>;

// The faces of a sequence over one snapshot of it.
BE::ISequenceRef CreateSequenceSnapshot(SequenceDataRef inData, std::weak_ptr<SequenceState> inSequence);

} // namespace Project
