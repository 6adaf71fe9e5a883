#include "ReferenceHost/Project/Otio/Ranges.h"

#include "ReferenceHost/Project/Otio/TimeValues.h"

#include <algorithm>

namespace Otio
{

using norviktypes::kTime_Zero;
using norviktypes::TickTime;

TickTime LeadingOffset(const Composable& inTrack)
{
    const bool leads =
        !inTrack.mChildren.empty() && inTrack.mChildren.front()->mKind == ObjectKind::kTransition;
    return leads ? std::max(inTrack.mChildren.front()->mTransition.mInOffset, kTime_Zero) : kTime_Zero;
}

TickTime Ranges::Start(const Composable& inObject)
{
    if (inObject.mSourceRange)
    {
        return inObject.mSourceRange->Start();
    }
    const MediaReference* const reference =
        inObject.mKind == ObjectKind::kClip ? mMedia.Reference(inObject) : nullptr;
    return reference != nullptr && reference->mAvailable ? reference->mAvailable->Start() : kTime_Zero;
}

TickTime Ranges::DurationOf(const Composable& inObject, bool inMayLook)
{
    if (inObject.mKind == ObjectKind::kTransition)
    {
        return kTime_Zero;
    }
    if (inObject.mSourceRange)
    {
        return inObject.mSourceRange->Duration();
    }
    if (inObject.mKind == ObjectKind::kClip)
    {
        return ClipDuration(inObject, inMayLook);
    }
    return inObject.IsComposition() ? AvailableOf(inObject, inMayLook) : kTime_Zero;
}

TickTime Ranges::ClipDuration(const Composable& inClip, bool inMayLook)
{
    const MediaReference* const reference = mMedia.Reference(inClip);
    if (reference != nullptr && reference->mAvailable)
    {
        return reference->mAvailable->Duration();
    }
    if (!inMayLook)
    {
        return kTime_Zero;
    }
    const auto known = mClips.find(&inClip);
    if (known != mClips.end())
    {
        return known->second;
    }
    const MediaFacts* const facts = mMedia.Facts(mMedia.Find(inClip, reference));
    const TickTime duration =
        facts == nullptr ? kTime_Zero : std::clamp(facts->mDuration, kTime_Zero, kLongestTime);
    if (duration == kTime_Zero)
    {
        mProblems.Warn("no-duration", mPaths.Text(inClip.mPath),
                       "neither the clip nor its media has a duration; it takes no time");
    }
    mClips.emplace(&inClip, duration);
    return duration;
}

TickTime Ranges::AvailableOf(const Composable& inComposition, bool inMayLook)
{
    const auto known = mAvailable.find(&inComposition);
    if (known != mAvailable.end())
    {
        return known->second;
    }
    const bool mayLook = inMayLook && !(inComposition.mKind == ObjectKind::kTrack &&
                                        inComposition.mTrackKind != TrackKind::kVideo);
    TickTime duration;
    for (const auto& child : inComposition.mChildren)
    {
        const TickTime own = DurationOf(*child, mayLook);
        duration = inComposition.mKind == ObjectKind::kStack ? std::max(duration, own)
                                                             : Sum(duration, own, inComposition);
    }
    if (inComposition.mKind == ObjectKind::kTrack && !inComposition.mChildren.empty())
    {
        duration = Sum(duration, LeadingOffset(inComposition), inComposition);
        const Composable& last = *inComposition.mChildren.back();
        if (last.mKind == ObjectKind::kTransition)
        {
            duration = Sum(duration, std::max(last.mTransition.mOutOffset, kTime_Zero), inComposition);
        }
    }
    mAvailable.emplace(&inComposition, duration);
    return duration;
}

TickTime Ranges::Sum(const TickTime& inA, const TickTime& inB, const Composable& inObject)
{
    const TickTime sum = inA + inB;
    if (sum <= kLongestTime)
    {
        return sum;
    }
    if (inA < kLongestTime)
    {
        mProblems.Fail("too-long", mPaths.Text(inObject.mPath), "lasts longer than 52 days; cut there");
    }
    return kLongestTime;
}

}
