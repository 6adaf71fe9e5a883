// The items and transitions of a track as renders read them. They never change.
//
// Thread-safety: safe.
#pragma once

#include "BE/ITrackItem.h"
#include "ReferenceHost/Project/ClipObject.h"
#include "ReferenceHost/Project/Sequence.h"
#include "TVK/Allocated.h"

#include <memory>
#include <utility>

namespace Project
{

class TransitionObject final : public TVK::Implements<TransitionObject, BE::ITransitionItem>
{
public:
    TransitionObject(ItemID inID, TransitionItem inContent) : mID(inID), mContent(std::move(inContent)) {}

    ItemID GetID() const { return mID; }
    const TransitionItem& GetContent() const { return mContent; }

    norviktypes::TickTime GetStart() const override { return mContent.mCut - mContent.mInOffset; }
    norviktypes::TickTime GetEnd() const override { return mContent.mCut + mContent.mOutOffset; }
    ML::IVideoTransitionRef GetTransition() const override { return mContent.mTransition; }

private:
    const ItemID mID;
    const TransitionItem mContent;
};
using TransitionObjectRef = TVK::InterfaceRef<TransitionObject>;

class TrackItemObject final : public TVK::Implements<TrackItemObject, BE::ITrackItem>
{
public:
    // inAtStart, inAtEnd: its transitions; may be empty. inSurroundings: handles are filled in here.
    TrackItemObject(ItemID inID, std::shared_ptr<const ClipItem> inContent, TransitionObjectRef inAtStart,
                    TransitionObjectRef inAtEnd, ClipSurroundings inSurroundings);

    ItemID GetID() const { return mID; }
    const std::shared_ptr<const ClipItem>& GetContent() const { return mContent; }
    // Those that are off as well.
    const TransitionObjectRef& GetTransitionObject(bool inAtEnd) const
    {
        return mTransitions[inAtEnd ? 1 : 0];
    }
    // The item and its transitions.
    MF::TimeRange GetReach() const;

    norviktypes::TickTime GetStart() const override { return mContent->mStart; }
    norviktypes::TickTime GetEnd() const override { return mContent->GetEnd(); }
    std::uint32_t GetKind() const override { return BE::kTrackItemKind_Clip; }
    BE::IClipRef GetClip() const override { return mClip; }
    BE::ITransitionItemRef GetTransition(bool inAtEnd) const override;
    BE::IEffectChainRef GetEffects() const override { return mEffects; }
    std::uint32_t GetGroupID() const override { return mContent->mGroup; }
    bool IsAdjustment() const override { return mContent->mIsAdjustment; }
    bool IsMuted() const override { return mContent->mIsMuted; }

private:
    const ItemID mID;
    const std::shared_ptr<const ClipItem> mContent;
    const TransitionObjectRef mTransitions[2]; // at the start, at the end
    BE::IClipRef mClip;
    BE::IEffectChainRef mEffects; // empty without effects
};
using TrackItemRef = TVK::InterfaceRef<TrackItemObject>;

} // namespace Project
