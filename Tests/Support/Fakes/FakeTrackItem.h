// An item of a track that says what a test lets it say. By default one second from time zero, without a clip.
//
// Thread-safety: fields are set before it is shared.
#pragma once

#include "BE/ITrackItem.h"
#include "ML/VideoTransition.h"
#include "TVK/Allocated.h"

#include <cstdint>

namespace TestSupport
{

class FakeTransitionItem : public TVK::Implements<FakeTransitionItem, BE::ITransitionItem>
{
public:
    norviktypes::TickTime mStart;
    norviktypes::TickTime mEnd;
    TVK::InterfaceRef<ML::IVideoTransition> mTransition;

    FakeTransitionItem() = default;
    FakeTransitionItem(const norviktypes::TickTime& inStart, const norviktypes::TickTime& inEnd)
        : mStart(inStart)
        , mEnd(inEnd)
    {
    }

    norviktypes::TickTime GetStart() const override { return mStart; }
    norviktypes::TickTime GetEnd() const override { return mEnd; }
    TVK::InterfaceRef<ML::IVideoTransition> GetTransition() const override { return mTransition; }
};
using FakeTransitionItemRef = TVK::InterfaceRef<FakeTransitionItem>;

class FakeTrackItem : public TVK::Implements<FakeTrackItem, BE::ITrackItem>
{
public:
    norviktypes::TickTime mStart;
    norviktypes::TickTime mEnd = norviktypes::TickTime(norviktypes::kTicksPerSecond);
    std::uint32_t mKind = BE::kTrackItemKind_Clip;
    BE::IClipRef mClip;
    BE::ITransitionItemRef mTransitionAtStart;
    BE::ITransitionItemRef mTransitionAtEnd;
    BE::IEffectChainRef mEffects;
    std::uint32_t mGroupID = 0;
    bool mIsAdjustment = false;
    bool mIsMuted = false;

    norviktypes::TickTime GetStart() const override { return mStart; }
    norviktypes::TickTime GetEnd() const override { return mEnd; }
    std::uint32_t GetKind() const override { return mKind; }
    BE::IClipRef GetClip() const override { return mClip; }
    BE::ITransitionItemRef GetTransition(bool inAtEnd) const override
    {
        return inAtEnd ? mTransitionAtEnd : mTransitionAtStart;
    }
    BE::IEffectChainRef GetEffects() const override { return mEffects; }
    std::uint32_t GetGroupID() const override { return mGroupID; }
    bool IsAdjustment() const override { return mIsAdjustment; }
    bool IsMuted() const override { return mIsMuted; }
};
using FakeTrackItemRef = TVK::InterfaceRef<FakeTrackItem>;

} // namespace TestSupport
