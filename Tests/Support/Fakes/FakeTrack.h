// A video track that holds what a test puts on it.
//
// Thread-safety: fields are set before it is shared.
#pragma once

#include "BE/ITrack.h"
#include "TVK/Allocated.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace TestSupport
{

class FakeTrack : public TVK::Implements<FakeTrack, BE::ITrack, BE::ITrackEnabled, BE::ITimeBase>
{
public:
    std::vector<BE::ITrackItemRef> mItems; // in time order
    std::uint64_t mIndex = 0;
    bool mIsDisabled = false;
    norviktypes::FrameRate mFrameRate = norviktypes::FrameRate(norviktypes::kTicksPerSecond / 25);
    // How many items were handed out by either question.
    mutable std::size_t mItemsGiven = 0;

    void GetItems(std::vector<BE::ITrackItemRef>& outItems) const override
    {
        outItems = mItems;
        mItemsGiven += mItems.size();
    }
    void GetItemsInSpan(const norviktypes::TickTime& inStart, const norviktypes::TickTime& inEnd,
                        std::vector<BE::ITrackItemRef>& outItems) const override
    {
        const auto first = std::partition_point(mItems.begin(), mItems.end(),
                                                [&](const BE::ITrackItemRef& inItem)
                                                { return inItem->GetEnd() <= inStart; });
        const auto last = std::partition_point(
            first, mItems.end(), [&](const BE::ITrackItemRef& inItem) { return inItem->GetStart() < inEnd; });
        outItems.assign(first, last);
        mItemsGiven += outItems.size();
    }
    std::uint64_t GetIndex() const override { return mIndex; }
    bool IsDisabled() const override { return mIsDisabled; }
    norviktypes::FrameRate GetFrameRate() const override { return mFrameRate; }
};
using FakeTrackRef = TVK::InterfaceRef<FakeTrack>;

} // namespace TestSupport
