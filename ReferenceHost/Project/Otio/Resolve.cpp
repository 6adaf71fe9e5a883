#include "ReferenceHost/Project/Otio/Resolve.h"

#include "ReferenceHost/Project/Otio/ItemMaker.h"
#include "ReferenceHost/Project/Otio/LookedAtTracks.h"
#include "ReferenceHost/Project/Otio/Ranges.h"
#include "ReferenceHost/Project/Otio/TimeValues.h"
#include "ReferenceHost/Project/Otio/TrackLayout.h"

#include <algorithm>
#include <fmt/format.h>
#include <unordered_map>
#include <unordered_set>
#include <utility>

namespace Otio
{

using norviktypes::FrameRate;
using norviktypes::kTime_Zero;
using norviktypes::TickTime;

namespace
{

// The rate of the first object with a duration, going down the tree in order; none without one.
FrameRate FirstRate(const Composable& inObject, std::unordered_set<const Composable*>& ioSeen)
{
    const bool isSound = inObject.mKind == ObjectKind::kTrack && inObject.mTrackKind != TrackKind::kVideo;
    if (isSound || !ioSeen.insert(&inObject).second)
    {
        return FrameRate();
    }
    if (inObject.mSourceRange && inObject.mSourceRange->mDuration.mRate.IsCountable())
    {
        return inObject.mSourceRange->mDuration.mRate;
    }
    for (const auto& child : inObject.mChildren)
    {
        const FrameRate rate = FirstRate(*child, ioSeen);
        if (rate.IsCountable())
        {
            return rate;
        }
    }
    for (const KeyedReference& reference : inObject.mReferences)
    {
        if (reference.mReference->mAvailable &&
            reference.mReference->mAvailable->mDuration.mRate.IsCountable())
        {
            return reference.mReference->mAvailable->mDuration.mRate;
        }
    }
    return FrameRate();
}

bool HasWorkingEffects(const Composable& inObject)
{
    return std::any_of(inObject.mEffects.begin(), inObject.mEffects.end(),
                       [](const auto& inEffect)
                       { return inEffect->mIsEnabled && inEffect->mKind != EffectKind::kSettings; });
}

class Resolver
{
public:
    Resolver(const Document& inDocument, const TimelineObject& inTimeline, const DocumentOptions& inOptions,
             IMediaLocator& inLocator, ProblemList& inProblems)
        : mPaths(inDocument.mPaths)
        , mTimeline(inTimeline)
        , mRoot(*inTimeline.mRoot)
        , mLooks(inOptions.mLooks)
        , mProblems(inProblems)
        , mMedia(mPaths, inOptions.mMediaKey, inLocator, inProblems)
        , mRanges(mPaths, mMedia, inProblems)
        , mRate(FindRate())
        , mMaker(mPaths, inOptions, mRate, mMedia, inProblems)
    {
    }

    Timeline Run()
    {
        mResult.mName = mTimeline.mName;
        mResult.mRate = mRate;
        mResult.mGlobalStart = mTimeline.mGlobalStart;
        mResult.mCanvas = FindCanvas();
        mResult.mAudioTracks = static_cast<std::size_t>(std::count_if(
            mRoot.mChildren.begin(), mRoot.mChildren.end(),
            [](const auto& inChild)
            { return inChild->mKind == ObjectKind::kTrack && inChild->mTrackKind == TrackKind::kAudio; }));
        MakeMain();
        mResult.mFrameCount = CountFrames(mResult.mDuration, mRate);
        if (mResult.mFrameCount == 0)
        {
            mProblems.Fail("empty", mPaths.Text(mRoot.mPath), "the timeline has no duration");
        }
        CollectMarkers(mRoot, -mRanges.Start(mRoot));
        std::stable_sort(mResult.mMarkers.begin(), mResult.mMarkers.end(),
                         [](const TimelineMarker& inA, const TimelineMarker& inB)
                         { return inA.mTime < inB.mTime; });
        FindFirstVideo();
        mResult.mMedia = mMedia.Take();
        return std::move(mResult);
    }

private:
    FrameRate FindRate()
    {
        if (const std::optional<Canvas> canvas = FindCanvas(); canvas && canvas->mRate.IsCountable())
        {
            return canvas->mRate;
        }
        if (mRoot.IsComposition() && mRoot.mSourceRange && mRoot.mSourceRange->mDuration.mRate.IsCountable())
        {
            return mRoot.mSourceRange->mDuration.mRate;
        }
        if (mTimeline.mGlobalStart && mTimeline.mGlobalStart->mRate.IsCountable())
        {
            return mTimeline.mGlobalStart->mRate;
        }
        std::unordered_set<const Composable*> seen;
        const FrameRate rate = FirstRate(mRoot, seen);
        if (rate.IsCountable())
        {
            return rate;
        }
        mProblems.Warn("no-rate", mPaths.Text(mTimeline.mPath), "nothing tells the frame rate; 24 is used");
        return FrameRate::FromRational(24, 1);
    }

    std::optional<Canvas> FindCanvas() const
    {
        if (mTimeline.mSettings != nullptr && mTimeline.mSettings->mCanvas)
        {
            return mTimeline.mSettings->mCanvas;
        }
        return mRoot.mSettings == nullptr ? std::nullopt : mRoot.mSettings->mCanvas;
    }

    // The root's own range is a window onto the main sequence, unless the root is changed as a whole.
    void MakeMain()
    {
        const bool isChanged = (mRoot.mSettings != nullptr && mRoot.mSettings->ChangesPicture()) ||
                               HasWorkingEffects(mRoot) || !mRoot.mIsEnabled;
        mResult.mDuration = mRanges.Duration(mRoot);
        if (mRoot.IsComposition() && !isChanged)
        {
            mResult.mMain = SequenceOf(mRoot);
            mResult.mStart = mRanges.Start(mRoot);
            return;
        }
        SequenceOfTracks sequence;
        sequence.mPath = mRoot.mPath;
        sequence.mName = mTimeline.mName;
        sequence.mDuration = mResult.mDuration;
        AddTrack(sequence, mRoot, LayOutObject(mRoot, mRanges));
        mResult.mSequences.push_back(std::move(sequence));
        mResult.mMain = mResult.mSequences.size() - 1;
    }

    // The sequence of a stack or a track; made at its first use.
    std::size_t SequenceOf(const Composable& inComposition)
    {
        const auto known = mSequences.find(&inComposition);
        if (known != mSequences.end())
        {
            return known->second;
        }
        SequenceOfTracks sequence;
        sequence.mPath = inComposition.mPath;
        sequence.mName = inComposition.mName;
        sequence.mDuration = mRanges.Available(inComposition);
        sequence.mCanvas =
            inComposition.mSettings == nullptr ? std::nullopt : inComposition.mSettings->mCanvas;
        if (inComposition.mKind == ObjectKind::kTrack)
        {
            AddLayer(sequence, inComposition, false);
        }
        else
        {
            for (const auto& child : inComposition.mChildren)
            {
                WarnOfMisplaced(*child);
            }
            for (const NumberedLayer& layer : LayersOfStack(inComposition, mLooks))
            {
                AddNumbered(sequence, layer);
            }
        }
        std::uint32_t depth = 0;
        for (const TrackOfItems& track : sequence.mTracks)
        {
            for (const Item& item : track.mItems)
            {
                depth = item.mSequence == kNone ? depth : std::max(depth, mDepths[item.mSequence]);
            }
        }
        mResult.mSequences.push_back(std::move(sequence));
        mDepths.push_back(depth + 1);
        mSequences.emplace(&inComposition, mResult.mSequences.size() - 1);
        return mResult.mSequences.size() - 1;
    }

    void WarnOfMisplaced(const Composable& inObject)
    {
        if (inObject.mKind == ObjectKind::kTransition && inObject.mIsEnabled)
        {
            mProblems.Mended("misplaced-transition", mPaths.Text(inObject.mPath),
                             "a transition lies on a track, not in a stack; left out");
        }
    }

    void AddNumbered(SequenceOfTracks& ioSequence, const NumberedLayer& inLayer)
    {
        if (inLayer.mIsThere)
        {
            AddLayer(ioSequence, *inLayer.mObject, true);
            return;
        }
        TrackOfItems track;
        track.mPath = inLayer.mObject->mPath;
        track.mName = inLayer.mObject->mName;
        track.mIsSeen = false;
        ioSequence.mTracks.push_back(std::move(track));
    }

    // inIsWhole: the object's own range, settings and effects count, too.
    void AddLayer(SequenceOfTracks& ioSequence, const Composable& inObject, bool inIsWhole)
    {
        if (inObject.mKind == ObjectKind::kTrack && inObject.mTrackKind != TrackKind::kVideo)
        {
            return;
        }
        const bool isPlainTrack =
            inObject.mKind == ObjectKind::kTrack && (!inIsWhole || !NeedsOwnSequence(inObject));
        AddTrack(ioSequence, inObject,
                 isPlainTrack ? LayOutTrack(inObject, mRanges, mPaths, mProblems) : LayOutWhole(inObject));
        ioSequence.mTracks.back().mIsSeen = !inIsWhole || inObject.mIsEnabled;
    }

    // As an item, which is there also where it isn't seen.
    TrackLayout LayOutWhole(const Composable& inObject)
    {
        TrackLayout layout = LayOutObject(inObject, mRanges);
        for (Slot& slot : layout.mSlots)
        {
            slot.mIsShown = slot.mIsShown || (!inObject.mIsEnabled && slot.mDuration > kTime_Zero);
        }
        return layout;
    }

    // A track that is trimmed, changed as a whole, or shown again is shown by an item of its own.
    bool NeedsOwnSequence(const Composable& inTrack)
    {
        if (!mLaidOut.insert(&inTrack).second)
        {
            return true;
        }
        const bool isTrimmed =
            inTrack.mSourceRange && (inTrack.mSourceRange->Start() != kTime_Zero ||
                                     inTrack.mSourceRange->Duration() < mRanges.Available(inTrack));
        return isTrimmed || (inTrack.mSettings != nullptr && inTrack.mSettings->ChangesPicture()) ||
               HasWorkingEffects(inTrack);
    }

    void AddTrack(SequenceOfTracks& ioSequence, const Composable& inObject, const TrackLayout& inLayout)
    {
        TrackOfItems track;
        track.mPath = inObject.mPath;
        track.mName = inObject.mName;
        // The first and the last item of each slot.
        std::vector<std::pair<std::size_t, std::size_t>> items;
        for (const Slot& slot : inLayout.mSlots)
        {
            const std::size_t first = track.mItems.size();
            if (slot.mIsShown)
            {
                AddItems(track, slot);
            }
            const bool isEmpty = track.mItems.size() == first;
            items.emplace_back(isEmpty ? kNone : first, isEmpty ? kNone : track.mItems.size() - 1);
        }
        for (const Cut& cut : inLayout.mCuts)
        {
            Transition transition;
            transition.mPath = cut.mTransition->mPath;
            transition.mType = cut.mTransition->mTransition.mType;
            transition.mParameters = cut.mTransition->mTransition.mParameters;
            transition.mCut = cut.mTime;
            transition.mInOffset = cut.mInOffset;
            transition.mOutOffset = cut.mOutOffset;
            transition.mEarlier = cut.mEarlier == kNone ? kNone : items[cut.mEarlier].second;
            transition.mLater = cut.mLater == kNone ? kNone : items[cut.mLater].first;
            if (transition.mEarlier != kNone || transition.mLater != kNone)
            {
                track.mTransitions.push_back(std::move(transition));
            }
        }
        ioSequence.mTracks.push_back(std::move(track));
    }

    void AddItems(TrackOfItems& ioTrack, const Slot& inSlot)
    {
        const Composable& object = *inSlot.mObject;
        if (object.mKind == ObjectKind::kClip)
        {
            for (Item& item : mMaker.MakeClip(inSlot))
            {
                ioTrack.mItems.push_back(std::move(item));
            }
            return;
        }
        if (object.mKind == ObjectKind::kTrack && object.mTrackKind != TrackKind::kVideo)
        {
            return;
        }
        Item item = mMaker.MakePlain(inSlot);
        if (object.mKind == ObjectKind::kGap)
        {
            item.mIsClear = true;
            item.mRun.mRate = mRate;
            ioTrack.mItems.push_back(std::move(item));
            return;
        }
        item.mSequence = SequenceOf(object);
        if (mDepths[item.mSequence] >= kMostNestedSequences)
        {
            mProblems.Fail(
                "too-deep", mPaths.Text(object.mPath),
                fmt::format("more than {} compositions within each other; left out", kMostNestedSequences));
            return;
        }
        item.mRun.mIn = mRanges.Start(object);
        item.mRun.mRate = mRate;
        ioTrack.mItems.push_back(std::move(item));
    }

    // inShift: from the object's own axis to the timeline's. Of an object that is shown several times, the
    // markers count where it is shown first.
    void CollectMarkers(const Composable& inObject, const TickTime& inShift)
    {
        const bool hasAny = !inObject.mMarkers.empty() || inObject.IsComposition();
        const bool isSound = inObject.mKind == ObjectKind::kTrack && inObject.mTrackKind != TrackKind::kVideo;
        if (!hasAny || isSound || !mMarked.insert(&inObject).second)
        {
            return;
        }
        const TickTime start = mRanges.Start(inObject);
        const TickTime end = start + mRanges.Duration(inObject);
        for (const Marker& marker : inObject.mMarkers)
        {
            TimelineMarker found{marker.mPath,
                                 marker.mName,
                                 marker.mColor,
                                 marker.mComment,
                                 marker.mRange.Start() + inShift,
                                 marker.mRange.Duration()};
            const bool isOnIt = marker.mRange.Start() >= start && marker.mRange.Start() < end;
            if (isOnIt && found.mTime >= kTime_Zero && found.mTime < mResult.mDuration)
            {
                mResult.mMarkers.push_back(std::move(found));
            }
        }
        const bool isRoot = &inObject == &mRoot;
        const bool goesDown = inObject.mKind == ObjectKind::kTrack || (isRoot && inObject.IsComposition());
        TickTime position =
            inObject.mKind == ObjectKind::kTrack ? inShift + LeadingOffset(inObject) : inShift;
        for (std::size_t index = 0; goesDown && index < inObject.mChildren.size(); ++index)
        {
            const Composable& child = *inObject.mChildren[index];
            // Tracks deeper down may be shown many times; their markers are theirs.
            if (isRoot || child.mKind != ObjectKind::kTrack)
            {
                CollectMarkers(child, position - mRanges.Start(child));
            }
            if (inObject.mKind == ObjectKind::kTrack)
            {
                position = std::min(position + mRanges.Duration(child), kLongestTime);
            }
        }
    }

    void FindFirstVideo()
    {
        if (mResult.mMain == kNone)
        {
            return;
        }
        std::unordered_set<std::size_t> seen;
        mResult.mFirstVideo = FirstVideoOf(mResult.mMain, seen);
    }

    std::size_t FirstVideoOf(std::size_t inSequence, std::unordered_set<std::size_t>& ioSeen)
    {
        if (!ioSeen.insert(inSequence).second)
        {
            return kNone;
        }
        for (const TrackOfItems& track : mResult.mSequences[inSequence].mTracks)
        {
            if (!track.mIsSeen)
            {
                continue;
            }
            for (const Item& item : track.mItems)
            {
                const bool isVideo =
                    item.mMedia != kNone && (mMedia.At(item.mMedia).mKind == MediaKind::kFile ||
                                             mMedia.At(item.mMedia).mKind == MediaKind::kImageSequence);
                const std::size_t found =
                    isVideo ? item.mMedia
                            : (item.mSequence == kNone ? kNone : FirstVideoOf(item.mSequence, ioSeen));
                if (found != kNone)
                {
                    return found;
                }
            }
        }
        return kNone;
    }

    const PathTable& mPaths;
    const TimelineObject& mTimeline;
    const Composable& mRoot;
    const LookFunction mLooks;
    ProblemList& mProblems;
    MediaTable mMedia;
    Ranges mRanges;
    const FrameRate mRate;
    ItemMaker mMaker;
    Timeline mResult;
    std::unordered_map<const Composable*, std::size_t> mSequences;
    std::unordered_set<const Composable*> mLaidOut; // tracks
    std::unordered_set<const Composable*> mMarked;
    std::vector<std::uint32_t> mDepths; // by sequence; 1 for one that shows no other
};

}

Timeline ResolveTimeline(const Document& inDocument, const TimelineObject& inTimeline,
                         const DocumentOptions& inOptions, IMediaLocator& inLocator, ProblemList& ioProblems)
{
    return Resolver(inDocument, inTimeline, inOptions, inLocator, ioProblems).Run();
}

}
