// Sequences in the making, for tests of cutlists. Clips are of media that are on their way: nothing is read, and
// each piece of media has a name of its own in the hash.
//
// Times are frames of 25 a second.
//
// Thread-safety: one thread.
#pragma once

#include "MF/IRenderableCutlist.h"
#include "RenderableNodeParameters.h"
#include "Tests/Support/Fakes/FakeClip.h"
#include "Tests/Support/Fakes/FakeEffect.h"
#include "Tests/Support/Fakes/FakeKeyframedParameter.h"
#include "Tests/Support/Fakes/FakeMediaInfo.h"
#include "Tests/Support/Fakes/FakeSequence.h"
#include "Tests/Support/Fakes/FakeTrack.h"
#include "Tests/Support/Fakes/FakeTrackItem.h"
#include "Tests/Support/Fakes/FakeVideoFilter.h"
#include "Tests/Support/Fakes/FakeVideoTransition.h"

#include <cstdint>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace Timelines
{

inline constexpr norviktypes::FrameRate kRate{norviktypes::kTicksPerSecond / 25};

inline norviktypes::TickTime Frames(std::int64_t inFrames)
{
    return norviktypes::TickTime::FromFrame(inFrames, kRate);
}
inline norviktypes::TickTime Frames(double inFrames)
{
    return norviktypes::TickTime(static_cast<std::int64_t>(inFrames * static_cast<double>(kRate.GetTicks())));
}
inline norviktypes::TickTime Frames(int inFrames)
{
    return Frames(std::int64_t{inFrames});
}

struct Clip
{
    TestSupport::FakeTrackItemRef mItem;
    TestSupport::FakeClipRef mClip;
    TestSupport::FakeMediaInfoRef mMedia;
};

// A clip of the media inMedia from inStart to inEnd, which fills the sequence and is opaque.
inline Clip MakeClip(const norviktypes::TickTime& inStart, const norviktypes::TickTime& inEnd,
                     std::uint32_t inMedia, const norviktypes::TickTime& inInPoint = {})
{
    Clip clip{TestSupport::FakeTrackItemRef(new TestSupport::FakeTrackItem),
              TestSupport::FakeClipRef(new TestSupport::FakeClip),
              TestSupport::FakeMediaInfoRef(new TestSupport::FakeMediaInfo)};
    const TestSupport::FakeMasterClipRef master(new TestSupport::FakeMasterClip);
    const std::string digits = std::to_string(inMedia);
    master->mMediaInstance.assign(digits.begin(), digits.end());
    clip.mMedia->mAvailability = BE::MediaAvailability::kPending;
    clip.mMedia->mHasModificationState = true;
    clip.mMedia->mModificationState = TVK::Guid(1, inMedia);
    clip.mClip->mContentID = TVK::Guid(2, inMedia);
    clip.mClip->mMasterClip = master;
    clip.mClip->mMedia = clip.mMedia;
    clip.mClip->mInPoint = inInPoint;
    clip.mClip->mDuration = inEnd - inStart;
    clip.mClip->mOutPoint = inInPoint + (inEnd - inStart);
    clip.mClip->mStart = inStart;
    clip.mClip->mEnd = inEnd;
    clip.mItem->mStart = inStart;
    clip.mItem->mEnd = inEnd;
    clip.mItem->mClip = clip.mClip;
    return clip;
}

// Small: what lies beneath is seen around it.
inline Clip MakeInset(const norviktypes::TickTime& inStart, const norviktypes::TickTime& inEnd,
                      std::uint32_t inMedia, const norviktypes::TickTime& inInPoint = {})
{
    Clip clip = MakeClip(inStart, inEnd, inMedia, inInPoint);
    clip.mClip->mFrameRect = {0, 0, 16, 9};
    return clip;
}

inline Clip MakeStill(const norviktypes::TickTime& inStart, const norviktypes::TickTime& inEnd,
                      std::uint32_t inMedia)
{
    Clip clip = MakeInset(inStart, inEnd, inMedia);
    clip.mMedia->mIsStill = true;
    return clip;
}

inline TestSupport::FakeTransitionItemRef MakeTransitionItem(const norviktypes::TickTime& inStart,
                                                             const norviktypes::TickTime& inEnd,
                                                             bool inKeepsOpaque = true)
{
    TestSupport::FakeTransitionItemRef item(new TestSupport::FakeTransitionItem(inStart, inEnd));
    const TestSupport::FakeVideoTransitionRef transition(new TestSupport::FakeVideoTransition);
    transition->mKeepsOpaque = inKeepsOpaque;
    transition->mInfo.mDuration = inEnd - inStart;
    item->mTransition = transition;
    return item;
}

inline void Join(const Clip& inLeft, const Clip& inRight, const TestSupport::FakeTransitionItemRef& inItem)
{
    inLeft.mItem->mTransitionAtEnd = inItem;
    inRight.mItem->mTransitionAtStart = inItem;
}

// An effect that looks at another track, so that the clip's segments may change with what is edited elsewhere.
inline void AddMatte(const Clip& inClip, std::uint32_t inTrack)
{
    const TVK::InterfaceRef<TestSupport::FakeKeyframedParameter> layer(
        new TestSupport::FakeKeyframedParameter);
    layer->mValueType = MF::kKeyframeValueType<std::uint32_t>;
    layer->mControlType = MF::kParameterType_Layer;
    layer->mNumber = inTrack;
    const TestSupport::FakeEffectRef effect(new TestSupport::FakeEffect);
    effect->mFilter = ML::IVideoFilterRef(new TestSupport::FakeVideoFilter);
    effect->mParameters.push_back(MF::IKeyframedParameterRef(layer));
    effect->mLayerIndex = 1;
    inClip.mItem->mEffects = TestSupport::MakeEffectChain({BE::IEffectRef(effect)});
}

inline TestSupport::FakeTrackRef MakeTrack(const std::vector<Clip>& inClips, std::uint64_t inIndex = 0)
{
    TestSupport::FakeTrackRef track(new TestSupport::FakeTrack);
    track->mFrameRate = kRate;
    track->mIndex = inIndex;
    for (const Clip& clip : inClips)
    {
        track->mItems.emplace_back(clip.mItem.get());
    }
    return track;
}

inline TestSupport::FakeSequenceRef MakeSequence(const std::vector<TestSupport::FakeTrackRef>& inTracks)
{
    TestSupport::FakeSequenceRef sequence(new TestSupport::FakeSequence);
    sequence->mFrameRate = kRate;
    for (const TestSupport::FakeTrackRef& track : inTracks)
    {
        sequence->mTracks.emplace_back(track);
    }
    return sequence;
}

// A segment in frames, and who it shows.
struct Shown
{
    double mStart = 0;
    double mEnd = 0;
    double mNodeTime = 0; // of its start
    std::uint32_t mInputs = 0;

    friend bool operator==(const Shown&, const Shown&) = default;
    friend std::ostream& operator<<(std::ostream& ioStream, const Shown& inShown)
    {
        return ioStream << inShown.mStart << ".." << inShown.mEnd << " at " << inShown.mNodeTime << " of "
                        << inShown.mInputs << " inputs";
    }
};

struct Segment
{
    norviktypes::TickTime mStart;
    norviktypes::TickTime mEnd;
    norviktypes::TickTime mNodeOffset;
    TVK::Guid mHash;

    friend bool operator==(const Segment&, const Segment&) = default;
};

inline std::vector<Segment> SegmentsOf(const MF::IRenderableCutlistRef& inCutlist)
{
    std::vector<Segment> segments(inCutlist->GetSegmentCount());
    for (std::uint32_t i = 0; i < segments.size(); ++i)
    {
        inCutlist->GetNthSegmentDescription(i, segments[i].mStart, segments[i].mEnd, segments[i].mNodeOffset,
                                            segments[i].mHash);
    }
    return segments;
}

inline MF::IRenderableNodeRef NodeOf(const MF::IRenderableCutlistRef& inCutlist, const Segment& inSegment)
{
    MF::IRenderableNodeRef node;
    inCutlist->GetRenderableNodeFromHashValue(inSegment.mHash, node);
    return node;
}

inline double InFrames(const norviktypes::TickTime& inTime)
{
    return static_cast<double>(inTime.GetTicks()) / static_cast<double>(kRate.GetTicks());
}

inline std::vector<Shown> ShownBy(const MF::IRenderableCutlistRef& inCutlist)
{
    std::vector<Shown> shown;
    for (const Segment& segment : SegmentsOf(inCutlist))
    {
        shown.push_back({InFrames(segment.mStart), InFrames(segment.mEnd), InFrames(segment.mNodeOffset),
                         NodeOf(inCutlist, segment)->GetInputCount()});
    }
    return shown;
}

inline std::pair<MF::IRenderableNodeRef, norviktypes::TickTime> NthInput(const MF::IRenderableNodeRef& inNode,
                                                                         std::uint32_t inIndex)
{
    std::pair<MF::IRenderableNodeRef, norviktypes::TickTime> input;
    inNode->GetNthInput(inIndex, input.second, input.first);
    return input;
}

// The media time that a clip node shows at inNodeTime.
inline norviktypes::TickTime MediaTimeOf(const MF::IRenderableNodeRef& inClipNode,
                                         const norviktypes::TickTime& inNodeTime)
{
    MF::ITimeTransformRef transform;
    ML::IRenderableTimeTransformOwnerRef(inClipNode)->GetTimeTransform(transform);
    return transform->MapTime(inNodeTime - NthInput(inClipNode, 0).second, 0);
}

// The stack that is seen at inTime, and its time.
inline std::pair<MF::IRenderableNodeRef, norviktypes::TickTime>
StackAt(const MF::IRenderableCutlistRef& inCutlist, const norviktypes::TickTime& inTime)
{
    std::pair<MF::IRenderableNodeRef, norviktypes::TickTime> stack;
    MF::FrameTime nodeTime;
    inCutlist->FindNodeForTime(MF::FrameTime(inTime), stack.first, nodeTime);
    stack.second = nodeTime.mFirstTime;
    return stack;
}

// The media time of the stack's lowest clip at inTime.
inline norviktypes::TickTime MediaTimeAt(const MF::IRenderableCutlistRef& inCutlist,
                                         const norviktypes::TickTime& inTime)
{
    const auto [stack, stackTime] = StackAt(inCutlist, inTime);
    const auto [clip, offset] = NthInput(stack, 0);
    return MediaTimeOf(clip, stackTime - offset);
}

} // namespace Timelines
