// The times of a clip: what its node's time means to its media and to its effects.
//
// Everybody who asks the media goes through one of these, so that the frame that is hashed, the one that is
// read ahead and the one that is rendered are the same.
//
// Thread-safety: a value.
#pragma once

#include "MF/FrameTime.h"
#include "MF/ITimeTransform.h"

namespace ML
{

struct ClipTime
{
    MF::ITimeTransformRef mTransform; // empty: the time of the item is media time
    norviktypes::TickTime mInputOffset;
    norviktypes::TickTime mHold = norviktypes::kTime_Max; // kTime_Max: not held
    bool mHoldsEffects = false;
    bool mInputIsStill = false;

    bool IsHeld() const { return mHold != norviktypes::kTime_Max; }

    norviktypes::TickTime Mapped(const norviktypes::TickTime& inItemTime) const
    {
        return mTransform ? mTransform->MapTime(inItemTime, 0) : inItemTime;
    }
    MF::FrameTime Mapped(const MF::FrameTime& inItemTime) const
    {
        return {Mapped(inItemTime.mFirstTime), Mapped(inItemTime.mSecondTime)};
    }

    // What the media is asked for. Never before its start; a still has but one time.
    MF::FrameTime OfMedia(const MF::FrameTime& inNodeTime) const
    {
        if (mInputIsStill)
        {
            return {};
        }
        const MF::FrameTime time = IsHeld() ? MF::FrameTime(mHold) : Mapped(inNodeTime - mInputOffset);
        return time.Earlier() < norviktypes::kTime_Zero ? MF::FrameTime() : time;
    }

    // The moment at which effects and keyframes are evaluated: media time, as keyframes stay with the picture
    // that they were set on.
    norviktypes::TickTime OfEffects(const norviktypes::TickTime& inNodeTime) const
    {
        return IsHeld() && mHoldsEffects ? mHold : Mapped(inNodeTime - mInputOffset);
    }
    MF::FrameTime OfEffects(const MF::FrameTime& inNodeTime) const
    {
        return {OfEffects(inNodeTime.mFirstTime), OfEffects(inNodeTime.mSecondTime)};
    }

    // The same as the time of the sequence that effects are told. Where a transition shows the item before its
    // start it stands still at the start; an item that begins before its media keeps counting from where it is
    // first seen.
    MF::FrameTime OfSequence(const MF::FrameTime& inNodeTime) const
    {
        if (IsHeld() && mHoldsEffects)
        {
            return MF::FrameTime(mHold);
        }
        if (mInputOffset < norviktypes::kTime_Zero)
        {
            return mTransform ? Mapped(inNodeTime - mInputOffset) + mInputOffset : inNodeTime;
        }
        const MF::FrameTime time = inNodeTime - mInputOffset;
        const bool isInFront =
            mInputOffset > norviktypes::kTime_Zero && time.Earlier() < norviktypes::kTime_Zero;
        return Mapped(isInFront ? MF::FrameTime() : time);
    }
};

} // namespace ML
