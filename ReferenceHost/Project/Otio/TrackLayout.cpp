#include "ReferenceHost/Project/Otio/TrackLayout.h"

#include "ReferenceHost/Project/Otio/TimeValues.h"

#include <algorithm>

namespace Otio
{

using norviktypes::kTime_Zero;
using norviktypes::TickTime;

namespace
{

// A gap is a picture of nothing, of which effects may make something.
bool HasPicture(const Composable& inObject)
{
    return inObject.mKind != ObjectKind::kGap ||
           std::any_of(inObject.mEffects.begin(), inObject.mEffects.end(),
                       [](const auto& inEffect)
                       { return inEffect->mIsEnabled && inEffect->mKind == EffectKind::kPicture; });
}

Slot MakeSlot(const Composable& inObject, const TickTime& inStart, const TickTime& inDuration)
{
    Slot slot;
    slot.mObject = &inObject;
    slot.mStart = inStart;
    slot.mDuration = inDuration;
    slot.mIsShown = inObject.mIsEnabled && HasPicture(inObject) && inDuration > kTime_Zero;
    return slot;
}

class TransitionRules
{
public:
    TransitionRules(const PathTable& inPaths, ProblemList& inProblems, TrackLayout& inLayout)
        : mPaths(inPaths)
        , mProblems(inProblems)
        , mLayout(inLayout)
    {
    }

    void Apply()
    {
        std::vector<Cut> kept;
        for (Cut& cut : mLayout.mCuts)
        {
            if (cut.mTransition->mIsEnabled && Limit(cut))
            {
                kept.push_back(cut);
            }
        }
        mLayout.mCuts = std::move(kept);
    }

private:
    // False for a transition that nobody would see.
    bool Limit(Cut& ioCut)
    {
        ioCut.mInOffset = NotNegative(ioCut, ioCut.mTransition->mTransition.mInOffset, "in_offset");
        ioCut.mOutOffset = NotNegative(ioCut, ioCut.mTransition->mTransition.mOutOffset, "out_offset");
        Slot* const earlier = ioCut.mEarlier == kNone ? nullptr : &mLayout.mSlots[ioCut.mEarlier];
        Slot* const later = ioCut.mLater == kNone ? nullptr : &mLayout.mSlots[ioCut.mLater];
        if (earlier != nullptr)
        {
            Shorten(ioCut, ioCut.mInOffset, earlier->mDuration, earlier->mTaken, "in_offset");
        }
        if (later != nullptr)
        {
            Shorten(ioCut, ioCut.mOutOffset, later->mDuration, kTime_Zero, "out_offset");
        }
        const bool isSeen =
            (earlier != nullptr && earlier->mIsShown) || (later != nullptr && later->mIsShown);
        if (!isSeen || ioCut.mInOffset + ioCut.mOutOffset == kTime_Zero)
        {
            mProblems.Warn("empty-transition", mPaths.Text(ioCut.mTransition->mPath),
                           isSeen ? "a transition without duration; a cut"
                                  : "a transition between nothing and nothing; left out");
            return false;
        }
        if (earlier != nullptr)
        {
            earlier->mTail = ioCut.mOutOffset;
            earlier->mGiven = ioCut.mInOffset;
        }
        if (later != nullptr)
        {
            later->mLead = ioCut.mInOffset;
            later->mTaken = ioCut.mOutOffset;
        }
        return true;
    }

    TickTime NotNegative(const Cut& inCut, const TickTime& inOffset, const char* inName)
    {
        if (inOffset < kTime_Zero)
        {
            mProblems.Mended("negative-offset", mPaths.Text(inCut.mTransition->mPath) + "/" + inName,
                             "a negative offset; taken as zero");
        }
        return std::max(inOffset, kTime_Zero);
    }

    void Shorten(const Cut& inCut, TickTime& ioOffset, const TickTime& inDuration, const TickTime& inTaken,
                 const char* inName)
    {
        if (ioOffset <= inDuration - inTaken)
        {
            return;
        }
        const bool isLong = ioOffset > inDuration;
        mProblems.Mended(isLong ? "long-transition" : "overlapping-transitions",
                         mPaths.Text(inCut.mTransition->mPath) + "/" + inName,
                         isLong ? "reaches over more than its neighbour; shortened"
                                : "overlaps the transition before; shortened");
        ioOffset = inDuration - inTaken;
    }

    const PathTable& mPaths;
    ProblemList& mProblems;
    TrackLayout& mLayout;
};

}

TrackLayout LayOutTrack(const Composable& inTrack, Ranges& inRanges, const PathTable& inPaths,
                        ProblemList& ioProblems)
{
    TrackLayout layout;
    TickTime position = LeadingOffset(inTrack);
    bool followsTransition = false;
    for (const auto& child : inTrack.mChildren)
    {
        if (child->mKind != ObjectKind::kTransition)
        {
            const TickTime duration = std::min(inRanges.Duration(*child), kLongestTime - position);
            if (followsTransition)
            {
                layout.mCuts.back().mLater = layout.mSlots.size();
            }
            layout.mSlots.push_back(MakeSlot(*child, position, duration));
            position += duration;
            followsTransition = false;
            continue;
        }
        if (followsTransition)
        {
            ioProblems.Mended("adjacent-transitions", inPaths.Text(child->mPath),
                              "stands next to another transition; left out");
            continue;
        }
        Cut cut;
        cut.mTransition = child.get();
        cut.mTime = position;
        cut.mEarlier = layout.mSlots.empty() ? kNone : layout.mSlots.size() - 1;
        layout.mCuts.push_back(cut);
        followsTransition = true;
    }
    TransitionRules(inPaths, ioProblems, layout).Apply();
    return layout;
}

TrackLayout LayOutObject(const Composable& inObject, Ranges& inRanges)
{
    TrackLayout layout;
    layout.mSlots.push_back(MakeSlot(inObject, kTime_Zero, inRanges.Duration(inObject)));
    return layout;
}

}
