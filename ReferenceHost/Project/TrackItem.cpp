#include "ReferenceHost/Project/TrackItem.h"

#include "ReferenceHost/Project/EffectItem.h"

#include <algorithm>

namespace Project
{

namespace
{

bool IsOn(const TransitionObjectRef& inTransition)
{
    return inTransition && inTransition->GetContent().mIsEnabled;
}

} // namespace

TrackItemObject::TrackItemObject(ItemID inID, std::shared_ptr<const ClipItem> inContent,
                                 TransitionObjectRef inAtStart, TransitionObjectRef inAtEnd,
                                 ClipSurroundings inSurroundings)
    : mID(inID)
    , mContent(std::move(inContent))
    , mTransitions{std::move(inAtStart), std::move(inAtEnd)}
{
    if (IsOn(mTransitions[0]))
    {
        inSurroundings.mHandleBefore = mTransitions[0]->GetContent().mInOffset;
    }
    if (IsOn(mTransitions[1]))
    {
        inSurroundings.mHandleAfter = mTransitions[1]->GetContent().mOutOffset;
    }
    mClip = CreateClip(mContent, inSurroundings);
    if (!mContent->mEffects.empty())
    {
        mEffects = CreateEffectChain(mContent->mEffects);
    }
}

MF::TimeRange TrackItemObject::GetReach() const
{
    MF::TimeRange reach{GetStart(), GetEnd()};
    for (const TransitionObjectRef& transition : mTransitions)
    {
        if (transition)
        {
            reach.mStart = std::min(reach.mStart, transition->GetStart());
            reach.mEnd = std::max(reach.mEnd, transition->GetEnd());
        }
    }
    return reach;
}

BE::ITransitionItemRef TrackItemObject::GetTransition(bool inAtEnd) const
{
    const TransitionObjectRef& transition = GetTransitionObject(inAtEnd);
    return IsOn(transition) ? BE::ITransitionItemRef(transition) : BE::ITransitionItemRef();
}

} // namespace Project
