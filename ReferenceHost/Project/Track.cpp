#include "ReferenceHost/Project/Track.h"

#include "ReferenceHost/Project/SequenceState.h"

#include <utility>

namespace Project
{

namespace
{

class SequenceSnapshot final
    : public TVK::Implements<SequenceSnapshot, BE::ISequence, BE::ITrackList, BE::ITimeBase, ISequenceOfHost>
{
public:
    SequenceSnapshot(SequenceDataRef inData, std::weak_ptr<SequenceState> inSequence)
        : mData(std::move(inData))
        , mSequence(std::move(inSequence))
    {
    }

    TVK::Rect GetFrameRect() const override { return mData->mSettings.mFrameRect; }
    norviktypes::PixelAspectRatio GetPixelAspectRatio() const override
    {
        return mData->mSettings.mPixelAspectRatio;
    }
    norviktypes::FieldType GetFieldType() const override { return mData->mSettings.mFieldType; }
    bool AllowsLinearCompositing() const override { return mData->mSettings.mAllowsLinearCompositing; }
    bool IsMulticamSource() const override { return mData->mSettings.mIsMulticamSource; }
    norviktypes::TickTime GetDuration() const override { return mData->mDuration; }
    norviktypes::FrameRate GetFrameRate() const override { return mData->mSettings.mFrameRate; }

    MF::IRenderableCutlistProviderRef GetCutlistProvider() const override
    {
        return CreateCutlistProvider(mSequence, kAllTracks);
    }
    MF::IRenderableCutlistProviderRef GetTrackCutlistProvider(std::uint64_t inTrack) const override
    {
        return inTrack < mData->mTracks.size() ? CreateCutlistProvider(mSequence, inTrack)
                                               : MF::IRenderableCutlistProviderRef();
    }

    std::uint32_t GetVideoTrackCount() const override
    {
        return static_cast<std::uint32_t>(mData->mTracks.size());
    }
    TVK::TVKUnknownRef GetVideoTrack(std::uint32_t inIndex) const override
    {
        return inIndex < mData->mTracks.size() ? UnknownOf(mData->mTracks[inIndex]) : TVK::TVKUnknownRef();
    }

    std::shared_ptr<SequenceState> GetState() const override { return mSequence.lock(); }

private:
    const SequenceDataRef mData;
    const std::weak_ptr<SequenceState> mSequence;
};

} // namespace

TrackSnapshot::TrackSnapshot(ItemList inItems, std::uint64_t inIndex, bool inIsEnabled,
                             const norviktypes::FrameRate& inRate)
    : mItems(std::move(inItems))
    , mIndex(inIndex)
    , mIsEnabled(inIsEnabled)
    , mRate(inRate)
{
}

void TrackSnapshot::GetItems(std::vector<BE::ITrackItemRef>& outItems) const
{
    outItems.clear();
    outItems.reserve(mItems.Size());
    for (auto place = mItems.Begin(); !mItems.IsEnd(place); place = mItems.Next(place))
    {
        const TrackItemRef& item = mItems.At(place);
        if (item->GetContent()->mIsEnabled)
        {
            outItems.emplace_back(item.get());
        }
    }
}

void TrackSnapshot::GetItemsInSpan(const norviktypes::TickTime& inStart, const norviktypes::TickTime& inEnd,
                                   std::vector<BE::ITrackItemRef>& outItems) const
{
    outItems.clear();
    for (auto place = mItems.FirstEndingBehind(inStart); !mItems.IsEnd(place); place = mItems.Next(place))
    {
        const TrackItemRef& item = mItems.At(place);
        if (item->GetStart() >= inEnd || inStart >= inEnd)
        {
            return;
        }
        if (item->GetContent()->mIsEnabled)
        {
            outItems.emplace_back(item.get());
        }
    }
}

norviktypes::TickTime TrackSnapshot::GetEnd() const
{
    return mItems.Size() == 0 ? norviktypes::TickTime() : mItems.At(mItems.Previous(mItems.End()))->GetEnd();
}

TVK::TVKUnknownRef UnknownOf(const TrackSnapshotRef& inTrack)
{
    return TVK::TVKUnknownRef(static_cast<BE::ITrack*>(inTrack.get()));
}

BE::ISequenceRef CreateSequenceSnapshot(SequenceDataRef inData, std::weak_ptr<SequenceState> inSequence)
{
    return new SequenceSnapshot(std::move(inData), std::move(inSequence));
}

} // namespace Project
