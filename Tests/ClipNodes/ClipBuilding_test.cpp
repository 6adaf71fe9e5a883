// From the item of a track to its node.

#include "MatchNames.h"
#include "RenderableCutlistImpl.h"
#include "RenderableNodeEffectImpl.h"
#include "Tests/ClipNodes/ClipTests.h"
#include "Tests/Support/ContractText.h"
#include "Tests/Support/Fakes/FakeClip.h"
#include "Tests/Support/Fakes/FakeEffect.h"
#include "Tests/Support/Fakes/FakeKeyframedParameter.h"
#include "Tests/Support/Fakes/FakeMediaInfo.h"
#include "Tests/Support/Fakes/FakeSequence.h"
#include "Tests/Support/Fakes/FakeTrack.h"
#include "Tests/Support/Fakes/FakeTrackItem.h"
#include "Tests/Support/Fakes/FakeVideoFilter.h"
#include "Tests/Support/Fakes/FakeVideoSource.h"
#include "Tests/Support/FrameTools.h"
#include "Tests/Support/HashedProperties.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <random>
#include <string>
#include <vector>

using namespace ClipTests;
using namespace TestSupport;

namespace
{

using norvik::utility::ImmutableString;

class FakeTimeRemap final : public TVK::Implements<FakeTimeRemap, BE::ITimeRemapParameter>
{
public:
    bool mIsEnabled = true;
    MF::ITimeTransformRef mTransform;
    norvik::UTF8String mHashText = "remapped";
    MF::KeyframeStore mKeyframes;

    bool IsEnabled() const override { return mIsEnabled; }
    MF::ITimeTransformRef GetTransform() const override { return mTransform; }
    norvik::UTF8String GetHashText() const override { return mHashText; }
    const MF::KeyframeStore& GetKeyframes() const override { return mKeyframes; }
};

// Of a sequence in which nothing plays, or one node at a time.
class Cutlists final
    : public TVK::Implements<Cutlists, MF::IRenderableCutlistProvider, MF::ISequenceVideoProperties>
{
public:
    Cutlists() { mCutlist->Finalize(); }
    Cutlists(const MF::IRenderableNodeRef& inNode, const TickTime& inStart, const TickTime& inEnd)
    {
        mCutlist->AddSegment(inStart, inEnd, TickTime(), inNode);
        mCutlist->Finalize();
    }

    std::int32_t GetPrimaryCutlist(MF::IRenderableCutlistRef& outCutlist, const ImmutableString&,
                                   bool) override
    {
        outCutlist = mCutlist;
        return 0;
    }
    std::int32_t GetAlternateCutlist(MF::IRenderableCutlistRef& outCutlist, const ImmutableString&,
                                     bool) override
    {
        outCutlist = mCutlist;
        return 0;
    }
    std::int32_t GetThirdCutlist(MF::IRenderableCutlistRef& outCutlist, const ImmutableString&, bool,
                                 bool) override
    {
        outCutlist = mCutlist;
        return 0;
    }

    TVK::Rect GetBounds() const override { return {0, 0, 64, 36}; }
    norviktypes::PixelAspectRatio GetPixelAspectRatio() const override { return {}; }
    norviktypes::FieldType GetFieldType() const override { return norviktypes::kFieldType_Progressive; }
    norviktypes::FrameRate GetFrameRate() const override { return norviktypes::FrameRate(kFrame.GetTicks()); }

private:
    const ML::IMutableCutlistRef mCutlist = ML::CreateMutableCutlist();
};

FakeSequenceRef MakeNestedSequence()
{
    FakeSequenceRef sequence(new FakeSequence());
    sequence->mCutlistProvider = new Cutlists();
    return sequence;
}

// An item of ten seconds of a file, at second 20 of a track of a sequence.
struct Scene
{
    TVK::InterfaceRef<FakeVideoSource> mStream{new FakeVideoSource()};
    FakeMediaInfoRef mMedia{new FakeMediaInfo()};
    FakeClipRef mClip{new FakeClip()};
    FakeTrackItemRef mItem{new FakeTrackItem()};
    FakeSequenceRef mSequence{new FakeSequence()};
    ImmutableString mLabel;
    bool mTrackFlag = false;
    std::uint64_t mTrack = 3;
    bool mIsExtended = false;

    Scene()
    {
        mMedia->mStream = MF::ISourceRef(mStream);
        mMedia->mDuration = Frames(1000);
        mClip->mMedia = mMedia;
        mClip->mVideoSource = mStream;
        mClip->mMasterClip = FakeMasterClipRef(new FakeMasterClip());
        mClip->mInPoint = Frames(100);
        mClip->mOutPoint = Frames(350);
        mClip->mDuration = Frames(250);
        mItem->mClip = mClip;
        mItem->mStart = Frames(500);
        mItem->mEnd = Frames(750);
    }

    MF::IRenderableNodeRef Node() const
    {
        return ML::CreateClipNode(mSequence, mItem, mLabel, mTrackFlag, mTrack, mIsExtended);
    }
};

std::string PropertyOf(const MF::IRenderableNodeRef& inNode, const char* inKey)
{
    norvik::UTF8String value = "absent";
    inNode->GetProperty(ImmutableString::CreateStatic(inKey), value);
    return std::string(value.data(), value.size());
}

std::string TicksOf(const TickTime& inTime)
{
    return std::to_string(inTime.GetTicks());
}

MF::IRenderableNodeRef MediaOf(const MF::IRenderableNodeRef& inNode, TickTime* outOffset = nullptr)
{
    TickTime offset;
    MF::IRenderableNodeRef media;
    EXPECT_EQ(inNode->GetNthInput(0, offset, media), 0);
    if (outOffset)
    {
        *outOffset = offset;
    }
    return media;
}

TickTime OffsetOf(const MF::IRenderableNodeRef& inNode)
{
    TickTime offset;
    MediaOf(inNode, &offset);
    return offset;
}

// The media time that is shown inItemTime behind the item's start.
TickTime MediaTime(const MF::IRenderableNodeRef& inNode, const TickTime& inItemTime)
{
    MF::ITimeTransformRef transform;
    ML::IRenderableTimeTransformOwnerRef(inNode)->GetTimeTransform(transform);
    return transform->MapTime(inItemTime, 0);
}

FakeVideoFilterRef MakeFilter(const char* inMatchName, bool inKeepsOpaque = true)
{
    FakeVideoFilterRef filter(new FakeVideoFilter());
    filter->mMatchName = ImmutableString::CreateStatic(inMatchName);
    filter->mKeepsOpaque = inKeepsOpaque;
    return filter;
}

FakeEffectRef MakeItemEffect(const char* inMatchName, MF::KeyframeStore inParameters = {})
{
    FakeEffectRef effect(new FakeEffect());
    effect->mMatchName = ImmutableString::CreateStatic(inMatchName);
    effect->mFilter = MakeFilter(inMatchName);
    effect->mParameters = std::move(inParameters);
    return effect;
}

FakeEffectRef MakeMotion(MF::KeyframeStore inParameters)
{
    return MakeItemEffect(ML::kMatchnameMotion.CStr(), std::move(inParameters));
}

// One degree in a second.
FakeEffectRef MakeRotation()
{
    return MakeMotion({MakePointParameter(0.5, 0.5), MakeNumberParameter(100.0), MakeNumberParameter(100.0),
                       MakeTruthParameter(false), MakeNumberParameter(0.0, 1.0)});
}

FakeEffectRef MakeOpacity(MF::KeyframeStore inParameters)
{
    return MakeItemEffect(ML::kMatchnameOpacity.CStr(), std::move(inParameters));
}

MF::IRenderableNodeRef NodeWithEffects(const std::vector<BE::IEffectRef>& inEffects)
{
    Scene scene;
    scene.mItem->mEffects = MakeEffectChain(inEffects);
    return scene.Node();
}

// The match names of the operators in order; a stack of effects as theirs in brackets.
std::string OperatorsOf(const MF::IRenderableNodeRef& inNode)
{
    std::string names;
    for (std::uint32_t index = 0; index < inNode->GetOperatorCount(); ++index)
    {
        MF::IRenderableNodeRef node;
        inNode->GetNthOperator(index, node);
        const std::string inner = OperatorsOf(node);
        names += names.empty() ? "" : ",";
        names += inner.empty() ? PropertyOf(node, "EffectNode::FilterMatchName") : "[" + inner + "]";
    }
    return names;
}

TEST(ClipBuilding, SaysWhatTheNodeIsByProperties)
{
    Scene scene;
    const MF::IRenderableNodeRef node = scene.Node();
    EXPECT_EQ(node->GetNodeType().View(), "RenderableNodeClipImpl");
    EXPECT_EQ(PropertyOf(node, "ClipNode::ClipSpeed"), "1");
    EXPECT_EQ(PropertyOf(node, "ClipNode::ClipBackwards"), "0");
    EXPECT_EQ(PropertyOf(node, "ClipNode::TrackID"), "3");
    EXPECT_EQ(PropertyOf(node, "ClipNode::TrackItemStartAsTicks"), TicksOf(Frames(500)));
    EXPECT_EQ(PropertyOf(node, "ClipNode::TrackItemEndAsTicks"), TicksOf(Frames(750)));
    EXPECT_EQ(PropertyOf(node, "ClipNode::EffectiveTrackItemStartAsTicks"), TicksOf(Frames(500)));
    EXPECT_EQ(PropertyOf(node, "ClipNode::EffectiveTrackItemEndAsTicks"), TicksOf(Frames(750)));
    EXPECT_EQ(PropertyOf(node, "EffectNode::ClipName"), "clip");
    EXPECT_EQ(PropertyOf(node, "EffectNode::MasterClipName"), "master");
    EXPECT_EQ(PropertyOf(node, "EffectNode::FileName"), "clip.mov");
    for (const char* key :
         {"ClipNode::FrameHoldFilters", "ClipNode::FrameHoldAtTime", "ClipNode::TimeRemapping",
          "ClipNode::GrowingDuration", "ClipNode::AllowLinearCompositing", "ClipNode::HasCaptions"})
    {
        EXPECT_EQ(PropertyOf(node, key), "absent") << key;
    }
}

TEST(ClipBuilding, SaysWhatIsUnusualByFurtherProperties)
{
    Scene scene;
    scene.mClip->mSpeed = 1.0 / 3.0;
    scene.mClip->mIsBackwards = true;
    scene.mClip->mFrameHold = Frames(120);
    scene.mClip->mHoldsEffects = true;
    const TVK::InterfaceRef<FakeTimeRemap> remap(new FakeTimeRemap());
    scene.mClip->mTimeRemap = remap;
    scene.mMedia->mIsGrowing = true;
    scene.mSequence->mAllowsLinearCompositing = false;
    const MF::IRenderableNodeRef node = scene.Node();
    EXPECT_EQ(PropertyOf(node, "ClipNode::ClipSpeed"), "0.33333333333333331");
    EXPECT_EQ(PropertyOf(node, "ClipNode::ClipBackwards"), "1");
    EXPECT_EQ(PropertyOf(node, "ClipNode::FrameHoldFilters"), "1");
    EXPECT_EQ(PropertyOf(node, "ClipNode::FrameHoldAtTime"), TicksOf(Frames(120)));
    EXPECT_EQ(PropertyOf(node, "ClipNode::TimeRemapping"), "remapped");
    EXPECT_EQ(PropertyOf(node, "ClipNode::GrowingDuration"), TicksOf(Frames(1000)));
    EXPECT_EQ(PropertyOf(node, "ClipNode::AllowLinearCompositing"), "0");
}

class Captioned final : public FakeMediaInfo
{
public:
    bool HasMediaType(const TVK::Guid&) const override { return true; }
};

TEST(ClipBuilding, HashIsOfThesePropertiesAndNoOthers)
{
    Scene scene;
    const TVK::InterfaceRef<Captioned> media(new Captioned());
    media->mStream = scene.mMedia->mStream;
    media->mDuration = Frames(1000);
    media->mIsGrowing = true;
    scene.mClip->mMedia = media;
    scene.mClip->mFrameHold = Frames(120);
    scene.mClip->mTimeRemap = new FakeTimeRemap();
    scene.mSequence->mAllowsLinearCompositing = false;
    const auto build = [&]
    {
        const TVK::InterfaceRef<ML::RenderableNodeClipImpl> node(new ML::RenderableNodeClipImpl());
        node->SetClipTrackItem(scene.mSequence, scene.mItem, scene.mLabel, false, 3, false);
        return node;
    };
    const std::set<std::string> expected = {"ClipNode::AllowLinearCompositing",
                                            "ClipNode::ClipBackwards",
                                            "ClipNode::ClipSpeed",
                                            "ClipNode::FrameHoldAtTime",
                                            "ClipNode::FrameHoldFilters",
                                            "ClipNode::GrowingDuration",
                                            "ClipNode::HasCaptions",
                                            "ClipNode::MediaStartAsTicks",
                                            "ClipNode::TimeRemapping"};
    EXPECT_EQ(TestSupport::HashedKeys(build), expected);
}

TEST(ClipBuilding, TellsOfCaptions)
{
    Scene scene;
    EXPECT_FALSE(ML::IRenderableNodeProducerProviderRef(scene.Node())->HasCaptions());
    const TVK::InterfaceRef<Captioned> media(new Captioned());
    media->mStream = scene.mMedia->mStream;
    scene.mClip->mMedia = media;
    const MF::IRenderableNodeRef node = scene.Node();
    EXPECT_TRUE(ML::IRenderableNodeProducerProviderRef(node)->HasCaptions());
    EXPECT_EQ(PropertyOf(node, "ClipNode::HasCaptions"), "1");
}

TEST(ClipBuilding, NamesOfMediaWithoutANameAreABlank)
{
    Scene scene;
    const FakeMasterClipRef master(new FakeMasterClip());
    master->mMediaInstance.clear();
    scene.mClip->mMasterClip = master;
    EXPECT_EQ(PropertyOf(scene.Node(), "EffectNode::FileName"), " ");
    scene.mClip->mMasterClip.reset();
    EXPECT_EQ(PropertyOf(scene.Node(), "EffectNode::FileName"), "absent");
    EXPECT_EQ(PropertyOf(scene.Node(), "EffectNode::MasterClipName"), "absent");
}

TEST(ClipBuilding, TheSameItemAtTwoPlacesIsOneNode)
{
    Scene scene;
    const TVK::Guid hash = scene.Node()->GetHashValue();
    scene.mItem->mStart += Frames(37);
    scene.mItem->mEnd += Frames(37);
    scene.mTrack = 5;
    scene.mClip->mName = u"another name";
    EXPECT_EQ(scene.Node()->GetHashValue(), hash);
    // Also with the transition that it came with.
    scene.mItem->mTransitionAtStart = FakeTransitionItemRef(
        new FakeTransitionItem(scene.mItem->mStart - Frames(5), scene.mItem->mStart + Frames(5)));
    const TVK::Guid withTransition = scene.Node()->GetHashValue();
    scene.mItem->mStart += Frames(10);
    scene.mItem->mEnd += Frames(10);
    scene.mItem->mTransitionAtStart = FakeTransitionItemRef(
        new FakeTransitionItem(scene.mItem->mStart - Frames(5), scene.mItem->mStart + Frames(5)));
    EXPECT_EQ(scene.Node()->GetHashValue(), withTransition);
}

TEST(ClipBuilding, WhatShowsSomethingElseIsAnotherNode)
{
    const TVK::Guid usual = Scene().Node()->GetHashValue();
    EXPECT_EQ(Scene().Node()->GetHashValue(), usual);
    const std::vector<std::pair<const char*, std::function<void(Scene&)>>> changes = {
        {"in point", [](Scene& it) { it.mClip->mInPoint = Frames(101); }},
        {"speed", [](Scene& it) { it.mClip->mSpeed = 2.0; }},
        {"direction", [](Scene& it) { it.mClip->mIsBackwards = true; }},
        {"hold", [](Scene& it) { it.mClip->mFrameHold = Frames(120); }},
        {"remap", [](Scene& it) { it.mClip->mTimeRemap = new FakeTimeRemap(); }},
        {"growing", [](Scene& it) { it.mMedia->mIsGrowing = true; }},
        {"linear", [](Scene& it) { it.mSequence->mAllowsLinearCompositing = false; }},
        {"muted", [](Scene& it) { it.mItem->mIsMuted = true; }},
        {"effect", [](Scene& it) { it.mItem->mEffects = MakeEffectChain({MakeItemEffect("A")}); }},
        {"opacity",
         [](Scene& it) { it.mItem->mEffects = MakeEffectChain({MakeOpacity({MakeNumberParameter(50.0)})}); }},
    };
    for (const auto& [name, change] : changes)
    {
        Scene scene;
        change(scene);
        EXPECT_NE(scene.Node()->GetHashValue(), usual) << name;
    }
}

TEST(ClipBuilding, TwoHoldsOrTwoRemapsAreTwoNodes)
{
    Scene scene;
    scene.mClip->mFrameHold = Frames(120);
    const TVK::Guid hold = scene.Node()->GetHashValue();
    scene.mClip->mHoldsEffects = true;
    EXPECT_NE(scene.Node()->GetHashValue(), hold);
    Scene remapped;
    const TVK::InterfaceRef<FakeTimeRemap> remap(new FakeTimeRemap());
    remapped.mClip->mTimeRemap = remap;
    const TVK::Guid first = remapped.Node()->GetHashValue();
    remap->mHashText = "remapped otherwise";
    EXPECT_NE(remapped.Node()->GetHashValue(), first);
}

TEST(ClipBuilding, AMutedTrackAndAMutedItemAreTheSame)
{
    Scene track;
    track.mTrackFlag = true;
    Scene item;
    item.mItem->mIsMuted = true;
    EXPECT_EQ(track.Node()->GetHashValue(), item.Node()->GetHashValue());
    EXPECT_EQ(PropertyOf(MediaOf(item.Node()), "MediaNode::TrackItemIsMuted"), "1");
    EXPECT_EQ(PropertyOf(MediaOf(Scene().Node()), "MediaNode::TrackItemIsMuted"), "0");
}

TEST(ClipBuilding, TheMediaIsConformedToTheSequence)
{
    Scene scene;
    scene.mSequence->mFieldType = norviktypes::kFieldType_LowerFirst;
    scene.mLabel = ImmutableString::CreateStatic("label");
    const MF::IRenderableNodeRef media = MediaOf(scene.Node());
    EXPECT_EQ(PropertyOf(media, "MediaNode::SequenceFieldType"), "2");
    EXPECT_EQ(PropertyOf(media, "MediaNode::MediaStreamLabel"), "label");
    const MF::IRenderableNodeRef same = ML::CreateMediaNode(
        scene.mClip, scene.mLabel, false, norviktypes::kFieldType_LowerFirst, scene.mSequence->mFrameRect,
        scene.mSequence->mPixelAspectRatio, scene.mSequence->mFrameRate);
    EXPECT_EQ(media->GetHashValue(), same->GetHashValue());
}

TEST(ClipBuilding, AnItemWithoutASequenceIsConformedToNothing)
{
    Scene scene;
    scene.mSequence.reset();
    const MF::IRenderableNodeRef media = MediaOf(scene.Node());
    const MF::IRenderableNodeRef same =
        ML::CreateMediaNode(scene.mClip, {}, false, norviktypes::kFieldType_Invalid, {}, {}, {});
    EXPECT_EQ(media->GetHashValue(), same->GetHashValue());
    EXPECT_EQ(PropertyOf(scene.Node(), "ClipNode::AllowLinearCompositing"), "absent");
}

TEST(ClipBuilding, AtPlainSpeedMediaTimeBeginsAtTheInPoint)
{
    const MF::IRenderableNodeRef node = Scene().Node();
    EXPECT_EQ(MediaTime(node, Frames(0)), Frames(100));
    EXPECT_EQ(MediaTime(node, Frames(249)), Frames(349));
    EXPECT_EQ(MediaTime(node, Frames(-10)), Frames(90));
    EXPECT_EQ(OffsetOf(node), Frames(0));
}

TEST(ClipBuilding, SpeedStretchesTheTimeOfTheMedia)
{
    Scene scene;
    scene.mClip->mSpeed = 0.5;
    EXPECT_EQ(MediaTime(scene.Node(), Frames(10)), Frames(105));
    EXPECT_EQ(MediaTime(scene.Node(), Frames(-10)), Frames(95));
}

TEST(ClipBuilding, BackwardsPlayBeginsWithTheLastFrame)
{
    Scene scene;
    scene.mClip->mIsBackwards = true;
    EXPECT_EQ(MediaTime(scene.Node(), Frames(0)), Frames(349));
    EXPECT_EQ(MediaTime(scene.Node(), Frames(249)), Frames(100));
    // Whatever the speed.
    scene.mClip->mSpeed = 2.0;
    EXPECT_EQ(MediaTime(scene.Node(), Frames(0)), Frames(349));
    EXPECT_EQ(MediaTime(scene.Node(), Frames(10)), Frames(329));
    // A frame of the media, not of the sequence.
    scene.mStream->mRate = norviktypes::FrameRate(kFrame.GetTicks() / 2);
    EXPECT_EQ(MediaTime(scene.Node(), Frames(0)), Frames(350) - TickTime(kFrame.GetTicks() / 2));
}

TEST(ClipBuilding, BackwardsPlayOfFieldsBeginsWithTheLastField)
{
    for (const norviktypes::FieldType type :
         {norviktypes::kFieldType_UpperFirst, norviktypes::kFieldType_LowerFirst})
    {
        Scene scene;
        scene.mClip->mIsBackwards = true;
        scene.mClip->mFieldType = type;
        EXPECT_EQ(MediaTime(scene.Node(), Frames(0)), Frames(350) - TickTime(kFrame.GetTicks() / 2));
    }
}

TEST(ClipBuilding, BackwardsPlayOfASequenceStepsByItsFrames)
{
    Scene scene;
    scene.mClip->mIsBackwards = true;
    scene.mClip->mMedia.reset();
    scene.mClip->mVideoSource.reset();
    const FakeSequenceRef nested = MakeNestedSequence();
    nested->mFrameRate = norviktypes::FrameRate(kFrame.GetTicks() * 2);
    scene.mClip->mSequence = nested;
    EXPECT_EQ(MediaTime(scene.Node(), Frames(0)), Frames(348));
}

TEST(ClipBuilding, BackwardsPlayOfWhatHasNoRateBeginsAtTheOutPoint)
{
    Scene scene;
    scene.mClip->mIsBackwards = true;
    scene.mClip->mVideoSource.reset();
    EXPECT_EQ(MediaTime(scene.Node(), Frames(0)), Frames(350));
    scene.mClip->mVideoSource = scene.mStream;
    scene.mStream->mRate = norviktypes::kFrameRate_Zero;
    EXPECT_EQ(MediaTime(scene.Node(), Frames(0)), Frames(350));
}

TEST(ClipBuilding, RemappingComesBehindSpeedAndInPoint)
{
    Scene scene;
    scene.mClip->mSpeed = 2.0;
    const TVK::InterfaceRef<FakeTimeRemap> remap(new FakeTimeRemap());
    remap->mTransform = MF::CreateTimeTransform(Frames(7), 1.0, Frames(1), Frames(100));
    remap->mKeyframes = {MakeNumberParameter(1.0)};
    scene.mClip->mTimeRemap = remap;
    const MF::IRenderableNodeRef node = scene.Node();
    EXPECT_EQ(MediaTime(node, Frames(10)), Frames(27));
    EXPECT_EQ(ML::IRenderableKeyframeOwnerRef(node)->GetKeyframes(), remap->mKeyframes);
    remap->mIsEnabled = false;
    const MF::IRenderableNodeRef plain = scene.Node();
    EXPECT_EQ(MediaTime(plain, Frames(10)), Frames(120));
    EXPECT_TRUE(ML::IRenderableKeyframeOwnerRef(plain)->GetKeyframes().empty());
    EXPECT_EQ(PropertyOf(plain, "ClipNode::TimeRemapping"), "absent");
}

TEST(ClipBuilding, TransitionsWidenTheTimeInWhichTheItemIsSeen)
{
    Scene scene;
    scene.mItem->mTransitionAtStart = FakeTransitionItemRef(new FakeTransitionItem(Frames(490), Frames(510)));
    scene.mItem->mTransitionAtEnd = FakeTransitionItemRef(new FakeTransitionItem(Frames(740), Frames(760)));
    const MF::IRenderableNodeRef node = scene.Node();
    EXPECT_EQ(OffsetOf(node), Frames(10));
    EXPECT_EQ(PropertyOf(node, "ClipNode::EffectiveTrackItemStartAsTicks"), TicksOf(Frames(490)));
    EXPECT_EQ(PropertyOf(node, "ClipNode::EffectiveTrackItemEndAsTicks"), TicksOf(Frames(760)));
    EXPECT_EQ(MediaTime(node, Frames(-10)), Frames(90));
    // Those that lie inside the item alone widen nothing.
    scene.mItem->mTransitionAtStart = FakeTransitionItemRef(new FakeTransitionItem(Frames(500), Frames(510)));
    scene.mItem->mTransitionAtEnd = FakeTransitionItemRef(new FakeTransitionItem(Frames(740), Frames(750)));
    EXPECT_EQ(OffsetOf(scene.Node()), Frames(0));
    EXPECT_EQ(PropertyOf(scene.Node(), "ClipNode::EffectiveTrackItemEndAsTicks"), TicksOf(Frames(750)));
}

TEST(ClipBuilding, WhereTheMediaHasNotBegunOrHasEndedTheItemIsNotSeen)
{
    Scene scene;
    scene.mClip->mInPoint = Frames(4);
    scene.mMedia->mDuration = Frames(257);
    scene.mItem->mTransitionAtStart = FakeTransitionItemRef(new FakeTransitionItem(Frames(490), Frames(510)));
    scene.mItem->mTransitionAtEnd = FakeTransitionItemRef(new FakeTransitionItem(Frames(740), Frames(760)));
    const MF::IRenderableNodeRef node = scene.Node();
    EXPECT_EQ(OffsetOf(node), Frames(4));
    EXPECT_EQ(PropertyOf(node, "ClipNode::EffectiveTrackItemStartAsTicks"), TicksOf(Frames(496)));
    EXPECT_EQ(PropertyOf(node, "ClipNode::EffectiveTrackItemEndAsTicks"), TicksOf(Frames(753)));

    scene.mIsExtended = true;
    EXPECT_EQ(OffsetOf(scene.Node()), Frames(10)) << "a transition shows it all the same";
    scene.mIsExtended = false;
    scene.mClip->mSpeed = 2.0;
    EXPECT_EQ(OffsetOf(scene.Node()), Frames(10)) << "a retimed clip is not cut";
    scene.mClip->mSpeed = 1.0;
    scene.mMedia->mIsStill = true;
    EXPECT_EQ(OffsetOf(scene.Node()), Frames(10)) << "a still has no beginning";
}

TEST(ClipBuilding, AnItemThatBeginsBeforeItsMediaIsSeenFromThere)
{
    Scene scene;
    scene.mClip->mInPoint = Frames(-6);
    const MF::IRenderableNodeRef node = scene.Node();
    EXPECT_EQ(OffsetOf(node), Frames(-6));
    EXPECT_EQ(PropertyOf(node, "ClipNode::EffectiveTrackItemStartAsTicks"), TicksOf(Frames(506)));
    EXPECT_EQ(MediaTime(node, Frames(6)), Frames(0));
}

TEST(ClipBuilding, AnItemBehindTheEndOfItsMediaIsSeenNowhere)
{
    Scene scene;
    scene.mMedia->mDuration = Frames(50);
    const MF::IRenderableNodeRef node = scene.Node();
    const std::string start = PropertyOf(node, "ClipNode::EffectiveTrackItemStartAsTicks");
    EXPECT_EQ(PropertyOf(node, "ClipNode::EffectiveTrackItemEndAsTicks"), start);
}

TEST(ClipBuilding, AnItemInFrontOfItsMediaIsSeenNowhere)
{
    Scene scene;
    scene.mClip->mInPoint = Frames(-300);
    const MF::IRenderableNodeRef node = scene.Node();
    EXPECT_EQ(PropertyOf(node, "ClipNode::EffectiveTrackItemStartAsTicks"), TicksOf(Frames(750)));
    EXPECT_EQ(PropertyOf(node, "ClipNode::EffectiveTrackItemEndAsTicks"), TicksOf(Frames(750)));
}

TEST(ClipBuilding, OfMediaWithAContentRangeThatCounts)
{
    Scene scene;
    scene.mMedia->mHasContentRange = true;
    scene.mMedia->mContentRange = {Frames(30), Frames(230)};
    EXPECT_EQ(PropertyOf(scene.Node(), "ClipNode::EffectiveTrackItemEndAsTicks"), TicksOf(Frames(600)));
}

TEST(ClipBuilding, OfANestedSequenceItsDurationCounts)
{
    Scene scene;
    scene.mClip->mMedia.reset();
    scene.mClip->mVideoSource.reset();
    const FakeSequenceRef nested = MakeNestedSequence();
    nested->mDuration = Frames(300);
    scene.mClip->mSequence = nested;
    EXPECT_EQ(PropertyOf(scene.Node(), "ClipNode::EffectiveTrackItemEndAsTicks"), TicksOf(Frames(700)));
}

TEST(ClipBuilding, TheOffsetIsAWholeNumberOfFrames)
{
    Scene scene;
    scene.mItem->mTransitionAtStart =
        FakeTransitionItemRef(new FakeTransitionItem(Frames(490) + TickTime(1), Frames(510)));
    EXPECT_EQ(OffsetOf(scene.Node()), Frames(9));
    scene.mSequence.reset();
    EXPECT_EQ(OffsetOf(scene.Node()), Frames(10) - TickTime(1));
}

TEST(ClipBuilding, MediaTimeIsTheSameWithAndWithoutTransitionsExtendedOrNot)
{
    constexpr unsigned kSeed = 20250;
    std::printf("seed %u\n", kSeed);
    std::mt19937 random(kSeed);
    const auto number = [&](int low, int high)
    { return std::uniform_int_distribution<int>(low, high)(random); };
    for (int round = 0; round < 300; ++round)
    {
        Scene scene;
        const TickTime start = Frames(number(0, 1000));
        scene.mItem->mStart = start;
        scene.mItem->mEnd = start + Frames(number(1, 500));
        scene.mClip->mInPoint = Frames(number(-20, 400));
        scene.mClip->mSpeed = number(0, 2) == 0 ? 1.0 : number(1, 400) / 100.0;
        scene.mMedia->mDuration = Frames(number(1, 2000));
        scene.mIsExtended = number(0, 1) == 1;
        if (number(0, 1) == 1)
        {
            scene.mItem->mTransitionAtStart = FakeTransitionItemRef(
                new FakeTransitionItem(start - Frames(number(0, 30)), start + Frames(number(0, 30))));
        }
        const MF::IRenderableNodeRef node = scene.Node();
        TickTime offset;
        MediaOf(node, &offset);
        const TickTime onTrack = start + Frames(number(-30, 500));
        const TickTime nodeTime = onTrack - start + offset;
        const double expected = static_cast<double>(scene.mClip->mInPoint.GetTicks()) +
                                scene.mClip->mSpeed * static_cast<double>((onTrack - start).GetTicks());
        EXPECT_NEAR(static_cast<double>(MediaTime(node, nodeTime - offset).GetTicks()), expected, 1.0)
            << round;
    }
}

TEST(ClipBuilding, IsBoundToItsTimeForThreeReasons)
{
    const auto isExtendable = [](const Scene& scene)
    { return (scene.Node()->GetInformativeFlags() & MF::kNodeFlag_Extendable) != 0; };
    EXPECT_TRUE(isExtendable(Scene()));
    Scene backwards;
    backwards.mClip->mIsBackwards = true;
    EXPECT_FALSE(isExtendable(backwards));
    Scene bound;
    const FakeEffectRef effect = MakeItemEffect("A");
    effect->mDependsOnClipRange = true;
    bound.mItem->mEffects = MakeEffectChain({effect});
    EXPECT_FALSE(isExtendable(bound));
    effect->mIsActive = false;
    EXPECT_TRUE(isExtendable(bound)) << "what is off changes nothing";
    const FakeEffectRef group(new FakeEffect());
    group->mDependsOnClipRange = true;
    group->mSubEffects = MakeEffectChain({});
    bound.mItem->mEffects = MakeEffectChain({group});
    EXPECT_FALSE(isExtendable(bound));
}

TEST(ClipBuilding, TakesWhatTheClipSaysOfLowerTracksAndHolds)
{
    Scene scene;
    scene.mClip->mNeedsLowerTracks = true;
    EXPECT_NE(scene.Node()->GetInformativeFlags() & MF::kNodeFlag_NeedsLowerTracks, 0u);
    EXPECT_EQ(Scene().Node()->GetInformativeFlags() & MF::kNodeFlag_NeedsLowerTracks, 0u);
}

// What the node made of speed, direction and remapping shows in what it passes on.
TEST(ClipBuilding, IsRetimedBySpeedDirectionOrRemapping)
{
    const auto isRetimed = [](const Scene& scene)
    {
        const TVK::InterfaceRef<Clip> clip(new Clip());
        clip->SetClipTrackItem(scene.mSequence, scene.mItem, {}, false, 0, false);
        return clip->mIsRetimed;
    };
    EXPECT_FALSE(isRetimed(Scene()));
    Scene fast;
    fast.mClip->mSpeed = 1.01;
    EXPECT_TRUE(isRetimed(fast));
    Scene backwards;
    backwards.mClip->mIsBackwards = true;
    EXPECT_TRUE(isRetimed(backwards));
    Scene remapped;
    remapped.mClip->mTimeRemap = new FakeTimeRemap();
    EXPECT_TRUE(isRetimed(remapped));
}

TEST(ClipBuilding, EffectsAreAppliedFromTheBottomOfThePanel)
{
    EXPECT_EQ(OperatorsOf(NodeWithEffects({MakeItemEffect("A"), MakeItemEffect("B"), MakeItemEffect("C")})),
              "C,B,A");
}

TEST(ClipBuilding, EffectsThatDoNothingAreLeftOut)
{
    const FakeEffectRef inactive = MakeItemEffect("inactive");
    inactive->mIsActive = false;
    const FakeEffectRef hidden = MakeItemEffect("hidden");
    hidden->mIsHidden = true;
    const FakeEffectRef inert = MakeItemEffect("inert");
    inert->mIsInert = true;
    const FakeEffectRef disabled = MakeItemEffect("disabled");
    disabled->mIsChainDisabled = true;
    EXPECT_EQ(OperatorsOf(NodeWithEffects({inactive, hidden, MakeItemEffect("A"), inert, {}, disabled})),
              "A");
    EXPECT_EQ(OperatorsOf(NodeWithEffects({})), "");
}

TEST(ClipBuilding, GroupsOfEffectsAreTakenApartInTheirPlace)
{
    const FakeEffectRef inner(new FakeEffect());
    inner->mSubEffects = MakeEffectChain({MakeItemEffect("C"), MakeOpacity({MakeNumberParameter(50.0)})});
    const FakeEffectRef group(new FakeEffect());
    group->mSubEffects = MakeEffectChain({MakeItemEffect("B"), inner});
    EXPECT_EQ(OperatorsOf(NodeWithEffects({MakeItemEffect("A"), group, MakeItemEffect("D")})),
              "D,C,B,A,VX.ZNTR Opacity");
    group->mIsActive = false;
    EXPECT_EQ(OperatorsOf(NodeWithEffects({MakeItemEffect("A"), group, MakeItemEffect("D")})), "D,A");
}

TEST(ClipBuilding, GroupsAreTakenApartToADepthOf256)
{
    const auto nested = [](int depth)
    {
        BE::IEffectRef effect = MakeItemEffect("A");
        for (int level = 0; level < depth; ++level)
        {
            const FakeEffectRef group(new FakeEffect());
            group->mSubEffects = MakeEffectChain({effect});
            effect = group;
        }
        return OperatorsOf(NodeWithEffects({effect}));
    };
    EXPECT_EQ(nested(256), "A");
    EXPECT_EQ(nested(257), "");
    // A group that holds itself ends there as well.
    const FakeEffectRef group(new FakeEffect());
    const FakeEffectChainRef chain = MakeEffectChain({group});
    group->mSubEffects = chain;
    EXPECT_EQ(OperatorsOf(NodeWithEffects({group})), "");
    chain->mEffects.clear();
}

TEST(ClipBuilding, AnEffectWithoutAFilterThrows)
{
    EXPECT_THROW(NodeWithEffects({FakeEffectRef(new FakeEffect())}), TVK::NullInterfaceException);
}

TEST(ClipBuilding, EffectsAreToldTheMediaTimesOfTheClip)
{
    const FakeEffectRef effect = MakeItemEffect("A");
    const auto filter = FakeVideoFilterRef(new FakeVideoFilter());
    filter->mVariesByItself = true;
    effect->mFilter = filter;
    Scene scene;
    scene.mClip->mSpeed = 2.0;
    scene.mClip->mOutPoint = Frames(600);
    scene.mItem->mEffects = MakeEffectChain({effect});
    MF::IRenderableNodeRef node;
    scene.Node()->GetNthOperator(0, node);
    EXPECT_EQ(PropertyOf(node, "EffectNode::EffectDuration"), TicksOf(Frames(500)));
}

TEST(ClipBuilding, EffectsAreMadeForTheStreamThatIsAskedFor)
{
    const FakeEffectRef effect = MakeItemEffect("A");
    const auto filter = FakeVideoFilterRef(new FakeVideoFilter());
    filter->mStreamLabels = {ImmutableString::CreateStatic("label")};
    effect->mFilter = filter;
    Scene scene;
    scene.mLabel = ImmutableString::CreateStatic("label");
    scene.mItem->mEffects = MakeEffectChain({effect});
    MF::IRenderableNodeRef node;
    scene.Node()->GetNthOperator(0, node);
    EXPECT_EQ(PropertyOf(node, "EffectNode::StreamLabel"), "label");
}

TEST(ClipBuilding, MotionAndOpacityAsUsualLeaveNoTrace)
{
    const BE::IEffectRef motion =
        MakeMotion({MakePointParameter(0.5, 0.5), MakeNumberParameter(100.0), MakeNumberParameter(100.0),
                    MakeTruthParameter(true), MakeNumberParameter(0.0), MakePointParameter(0.5, 0.5),
                    MakeNumberParameter(0.0)});
    const BE::IEffectRef opacity = MakeOpacity({MakeNumberParameter(100.0), MakeChoiceParameter(18)});
    const MF::IRenderableNodeRef node = NodeWithEffects({motion, opacity});
    EXPECT_EQ(OperatorsOf(node), "");
    EXPECT_EQ(node->GetHashValue(), Scene().Node()->GetHashValue());
}

TEST(ClipBuilding, MotionOrOpacityThatChangesThePictureIsAnOperatorBehindTheOthers)
{
    const BE::IEffectRef still = MakeMotion({});
    EXPECT_EQ(
        OperatorsOf(NodeWithEffects({still, MakeOpacity({MakeNumberParameter(50.0)}), MakeItemEffect("A")})),
        "A,VX.ZNTR Motion,VX.ZNTR Opacity");
    EXPECT_EQ(
        OperatorsOf(NodeWithEffects({MakeOpacity({MakeNumberParameter(100.0), MakeChoiceParameter(3)})})),
        "VX.ZNTR Opacity");
    EXPECT_EQ(OperatorsOf(NodeWithEffects({MakeMotion({MakePointParameter(0.5, 0.4)})})), "VX.ZNTR Motion");
    Scene coarse;
    coarse.mSequence->mAllowsLinearCompositing = false;
    coarse.mItem->mEffects = MakeEffectChain({still});
    EXPECT_EQ(OperatorsOf(coarse.Node()), "VX.ZNTR Motion");
}

TEST(ClipBuilding, MotionThatMovesIsShownAsAStackOfEffectsToo)
{
    const BE::IEffectRef moving = MakeRotation();
    const BE::IEffectRef opacity = MakeOpacity({});
    EXPECT_EQ(OperatorsOf(NodeWithEffects({opacity, moving})),
              "[VX.ZNTR Motion],VX.ZNTR Opacity,VX.ZNTR Motion");
    const MF::IRenderableNodeRef node = NodeWithEffects({opacity, moving});
    EXPECT_EQ(node->GetInformativeFlags() & MF::kNodeFlag_Still, 0u);
    MF::IRenderableNodeRef stack;
    node->GetNthOperator(0, stack);
    EXPECT_EQ(stack->GetNodeType().View(), "RenderableNodeCompositorImpl");
    EXPECT_EQ(stack->GetInputCount(), 0u);
}

TEST(ClipBuilding, MotionAndOpacityAreTheIntrinsicsOfTheNode)
{
    const auto record = [](const std::vector<BE::IEffectRef>& effects, const TickTime& time)
    {
        ML::NodeIntrinsicParameters parameters;
        const MF::IRenderableNodeRef node = NodeWithEffects(effects);
        const ML::IRenderableNodeIntrinsicParameterProviderRef provider(node);
        EXPECT_EQ(provider->GetIntrinsicParameters(time, Params(), parameters), 0);
        return parameters;
    };
    const BE::IEffectRef opacity = MakeOpacity({MakeNumberParameter(25.0), MakeChoiceParameter(4)});
    const BE::IEffectRef rotating = MakeRotation();
    const ML::NodeIntrinsicParameters found = record({opacity, rotating}, Frames(25));
    EXPECT_EQ(found.opacity, 0.25f);
    EXPECT_EQ(found.blendMode, 4u);
    EXPECT_DOUBLE_EQ(found.rotation, 5.0) << "one second behind the in point of four";
    // Of two of a kind the one that is applied last counts.
    EXPECT_EQ(record({opacity, MakeOpacity({MakeNumberParameter(75.0)})}, Frames(0)).opacity, 0.25f);
}

TEST(ClipBuilding, RendersTheMediaThroughItsEffects)
{
    Scene scene;
    const FakeEffectRef effect = MakeItemEffect("A");
    const auto filter = FakeVideoFilterRef(new FakeVideoFilter());
    effect->mFilter = filter;
    scene.mItem->mEffects = MakeEffectChain({effect});
    const MF::IRenderableNodeRef node = scene.Node();
    ML::CutlistRenderParams params = Params();
    params.mWidth = params.mSourceWidth = 64;
    params.mHeight = params.mSourceHeight = 36;
    const ML::IRenderableNodeProducerRef producer =
        ML::IRenderableNodeProducerProviderRef(node)->GetProducerForFrame(At(12), params);
    MF::IVideoFrameRef frame;
    ASSERT_EQ(producer->GetFrame(At(12), params, frame), 0);
    ASSERT_TRUE(frame);
    ASSERT_EQ(filter->mCalls.size(), 1u);
    EXPECT_EQ(filter->mCalls[0].mRender.mClipTime, Frames(112));
    EXPECT_EQ(filter->mCalls[0].mRender.mEffectStart, Frames(100));
    const std::vector<FakeVideoSource::Request> requests = scene.mStream->TakeRequests();
    ASSERT_FALSE(requests.empty());
    EXPECT_EQ(requests.back().mTime, Frames(112));
}

// An effect that looks at the track below, at the same time of the sequence.
struct SceneWithLayer : Scene
{
    MediaRef mBelow = MakeMedia();

    explicit SceneWithLayer(std::uint32_t inLayer)
    {
        const FakeTrackRef upper(new FakeTrack());
        upper->mIndex = 1;
        upper->mItems = {mItem};
        mSequence->mTracks = {FakeTrackRef(new FakeTrack()), upper};
        mSequence->mTrackCutlistProviders = {
            new Cutlists(MF::IRenderableNodeRef(mBelow.get()), Frames(400), Frames(900)), {}};
        mTrack = 1;
        const FakeEffectRef matte = MakeItemEffect("matte", {MakeLayerParameter(inLayer)});
        matte->mLayerIndex = 1;
        mItem->mEffects = MakeEffectChain({matte});
    }

    // Where the track below is read when frame 512 of the sequence is to be shown, frame 12 of the item.
    std::vector<FrameTime> LayerPrefetches() const
    {
        std::vector<ML::IRenderableNodePrefetchRef> prefetches;
        ML::CutlistRenderParams params = Params();
        params.mFrameTime = At(512);
        ML::IRenderableNodePrefetchProviderRef(Node())->GetPrefetchesForFrame(At(12), params, prefetches);
        EXPECT_EQ(prefetches.size(), 1u) << "the clip's own media";
        return mBelow->mPrefetched;
    }
};

TEST(ClipBuilding, WantsReadTheTracksThatItsEffectsLookAt)
{
    EXPECT_EQ(SceneWithLayer(0).LayerPrefetches(), std::vector<FrameTime>{At(112)});
    EXPECT_TRUE(SceneWithLayer(MF::kLayer_NotSet).LayerPrefetches().empty());
    EXPECT_TRUE(SceneWithLayer(1).LayerPrefetches().empty()) << "its own track";
    EXPECT_TRUE(SceneWithLayer(7).LayerPrefetches().empty()) << "no such track";
}

TEST(ClipBuilding, EffectsAreToldOnWhichTrackTheyAre)
{
    MF::IRenderableNodeRef effect;
    SceneWithLayer(1).Node()->GetNthOperator(0, effect);
    EXPECT_EQ(PropertyOf(effect, "EffectNode::LayerInputHashes"), "Self;");
}

TEST(ClipBuilding, EffectsAreToldWhichParameterNamesTheirLayer)
{
    const SceneWithLayer scene(0);
    const Scene below;
    below.mClip->mName = u"the one below";
    const FakeTrackRef lower(new FakeTrack());
    lower->mItems = {below.mItem};
    scene.mSequence->mTracks.front() = lower;
    const FakeEffectRef matte = MakeItemEffect("matte", {MakeNumberParameter(1.0), MakeLayerParameter(0)});
    const FakeVideoFilterRef filter(new FakeVideoFilter());
    filter->mWantsClipNames = true;
    matte->mFilter = filter;
    matte->mLayerIndex = 2;
    scene.mItem->mEffects = MakeEffectChain({matte});
    MF::IRenderableNodeRef effect;
    scene.Node()->GetNthOperator(0, effect);
    EXPECT_NE(PropertyOf(effect, "EffectNode::SourceTrackClipNameHashes").find("the one below"),
              std::string::npos);
}

TEST(ClipBuilding, WithoutASequenceEffectsLookAtNoTrack)
{
    SceneWithLayer scene(0);
    scene.mSequence.reset();
    EXPECT_TRUE(scene.LayerPrefetches().empty());
}

// Nothing is read again because a parameter was changed: the media's frame is in the cache by a name of its own.
TEST(ClipBuilding, AChangedEffectReadsNoMedia)
{
    EmptyFrameCache();
    Scene scene;
    const FakeEffectRef effect = MakeItemEffect("A", {MakeNumberParameter(1.0)});
    scene.mItem->mEffects = MakeEffectChain({effect});
    ML::CutlistRenderParams params = Params();
    params.mRenderFlags = ML::kRenderFlag_CacheParts;
    const auto render = [&](const TickTime& time)
    {
        const MF::FrameTime frameTime(time);
        const ML::IRenderableNodeProducerRef producer =
            ML::IRenderableNodeProducerProviderRef(scene.Node())->GetProducerForFrame(frameTime, params);
        MF::IVideoFrameRef frame;
        EXPECT_EQ(producer->GetFrame(frameTime, params, frame), 0);
        TVK::Guid hash;
        producer->GetFrameHash(hash, frameTime, params, TVK::Guid());
        return hash;
    };
    const TVK::Guid before = render(Frames(12));
    EXPECT_FALSE(scene.mStream->TakeRequests().empty());
    effect->mParameters = {MakeNumberParameter(2.0)};
    EXPECT_NE(render(Frames(12)), before);
    EXPECT_TRUE(scene.mStream->TakeRequests().empty());
    render(Frames(13));
    EXPECT_FALSE(scene.mStream->TakeRequests().empty()) << "another frame is another matter";
    EmptyFrameCache();
}

TEST(ClipBuilding, WantsAnItemWithAClip)
{
    Scene scene;
    scene.mItem->mClip.reset();
    EXPECT_THROW(scene.Node(), TVK::NullInterfaceException);
    scene.mItem.reset();
    EXPECT_THROW(scene.Node(), TVK::NullInterfaceException);
}

TEST(ClipBuilding, FillsANodeThatIsBeingBuiltOnly)
{
    Scene scene;
    const ClipRef clip = MakeClip(MakeMedia());
    EXPECT_EQ(TestSupport::ContractText(
                  [&] { clip->SetClipTrackItem(scene.mSequence, scene.mItem, {}, false, 0, false); }),
              "mMutable|Src/RenderableNodeClipImpl|ML::RenderableNodeClipImpl::SetClipTrackItem");
}

} // namespace
