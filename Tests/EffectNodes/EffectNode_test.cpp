#include "RenderableNodeEffectImpl.h"

#include "MatchNames.h"
#include "PropertyText.h"
#include "Tests/EffectNodes/EffectNodeTests.h"
#include "Tests/Support/ContractText.h"
#include "Tests/Support/Fakes/FakeClip.h"
#include "Tests/Support/Fakes/FakeKeyframedParameter.h"
#include "Tests/Support/Fakes/FakeSequence.h"
#include "Tests/Support/Fakes/FakeTrack.h"
#include "Tests/Support/Fakes/FakeTrackItem.h"
#include "Tests/Support/Fakes/FakeVideoFilter.h"
#include "Tests/Support/HashedProperties.h"

#include <gtest/gtest.h>

namespace
{

using namespace EffectNodeTests;
using TestSupport::FakeClip;
using TestSupport::FakeClipRef;
using TestSupport::FakeKeyframedParameterRef;
using TestSupport::FakeMasterClip;
using TestSupport::FakeMasterClipRef;
using TestSupport::FakeSequence;
using TestSupport::FakeTrack;
using TestSupport::FakeTrackItem;
using TestSupport::FakeVideoFilter;
using TestSupport::FakeVideoFilterRef;
using TestSupport::MakeLayerParameter;
using TestSupport::MakeNumberParameter;

class EffectNode : public testing::Test
{
protected:
    MF::IRenderableNodeRef Node() const
    {
        ML::EffectNodeSettings settings = mSettings;
        settings.mFilter = ML::IVideoFilterRef(mFilter);
        settings.mParameters = std::make_shared<const MF::KeyframeStore>(mParameters);
        return ML::CreateEffectNode(settings);
    }
    norvik::UTF8String Property(const char* inKey) const { return PropertyOf(Node(), inKey); }
    std::uint32_t Flags() const { return Node()->GetInformativeFlags(); }

    FakeVideoFilterRef mFilter{new FakeVideoFilter()};
    MF::KeyframeStore mParameters;
    ML::EffectNodeSettings mSettings;
};

TEST_F(EffectNode, NeedsAFilterAndParameters)
{
    ML::EffectNodeSettings settings;
    settings.mParameters = std::make_shared<const MF::KeyframeStore>();
    EXPECT_THROW(ML::CreateEffectNode(settings), TVK::NullInterfaceException);
    settings.mFilter = ML::IVideoFilterRef(mFilter);
    settings.mParameters.reset();
    EXPECT_THROW(ML::CreateEffectNode(settings), TVK::NullInterfaceException);
}

TEST_F(EffectNode, SaysFilterAndParameters)
{
    mFilter->mRuntimeInstanceID = 12;
    mParameters = {MakeNumberParameter(1.5), MakeNumberParameter(2.5)};
    const MF::IRenderableNodeRef node = Node();
    EXPECT_EQ(node->GetNodeType(), ImmutableString::CreateStatic("RenderableNodeEffectImpl"));
    EXPECT_EQ(PropertyOf(node, "EffectNode::FilterMatchName"), "Fake Filter");
    EXPECT_EQ(PropertyOf(node, "EffectNode::RuntimeInstanceID"), "12");
    EXPECT_EQ(PropertyOf(node, "EffectNode::FilterParams"),
              "2\n" + mParameters[0]->GetText() + "\n" + mParameters[1]->GetText() + "\n");
    EXPECT_EQ(PropertiesOf(node).size(), 3u) << "nothing else of a plain effect";
}

TEST_F(EffectNode, HashIsOfThesePropertiesAndNoOthers)
{
    const auto lower = TVK::InterfaceRef<FakeTrack>(new FakeTrack());
    const auto below = TVK::InterfaceRef<FakeTrackItem>(new FakeTrackItem());
    const auto item = TVK::InterfaceRef<FakeTrackItem>(new FakeTrackItem());
    for (const auto& placed : {below, item})
    {
        const FakeClipRef clip(new FakeClip());
        clip->mMasterClip = FakeMasterClipRef(new FakeMasterClip());
        placed->mClip = clip;
        placed->mEnd = Frames(50);
    }
    lower->mItems = {BE::ITrackItemRef(below)};
    const auto sequence = TVK::InterfaceRef<FakeSequence>(new FakeSequence());
    sequence->mTracks = {lower};
    mFilter->mVariesByItself = true;
    mFilter->mHasOpaqueData = true;
    mFilter->mOpaqueData = MF::BinaryData("abc", 3);
    mFilter->mWantsClipNames = true;
    mFilter->mStreamLabels = {ImmutableString::CreateStatic("Depth")};
    mParameters = {MakeLayerParameter(0)};
    mSettings.mStreamLabel = mFilter->mStreamLabels.front();
    mSettings.mCutlistContext = sequence;
    mSettings.mTrackItem = item;
    mSettings.mLayerIndex = 1;
    mSettings.mTrackIndex = 1;
    const auto build = [this]
    {
        ML::EffectNodeSettings settings = mSettings;
        settings.mFilter = ML::IVideoFilterRef(mFilter);
        settings.mParameters = std::make_shared<const MF::KeyframeStore>(mParameters);
        const TVK::InterfaceRef<ML::RenderableNodeEffectImpl> node(new ML::RenderableNodeEffectImpl());
        node->Initialize(settings);
        return node;
    };
    std::set<std::string> keys = TestSupport::HashedKeys(build);
    keys.erase("EffectNode::LayerPictureHashes"); // only of tracks that can be rendered
    const std::set<std::string> expected = {
        "EffectNode::ClipName",        "EffectNode::EffectDuration",
        "EffectNode::EffectStart",     "EffectNode::FileName",
        "EffectNode::FilterMatchName", "EffectNode::FilterOpaqueData",
        "EffectNode::FilterParams",    "EffectNode::LayerInputHashes",
        "EffectNode::MasterClipName",  "EffectNode::SourceTrackClipNameHashes",
        "EffectNode::StreamLabel"};
    EXPECT_EQ(keys, expected);
}

TEST_F(EffectNode, SaysThatThereAreNoParameters)
{
    EXPECT_EQ(Property("EffectNode::FilterParams"), "0\n");
}

TEST_F(EffectNode, HasTheHashOfItsEqual)
{
    mParameters = {MakeNumberParameter(1.5)};
    const TVK::Guid plain = Node()->GetHashValue();
    mParameters = {MakeNumberParameter(1.5)};
    mFilter->mRuntimeInstanceID = 12;
    mSettings.mEffectStart = Frames(77);
    EXPECT_EQ(Node()->GetHashValue(), plain);
    mParameters = {MakeNumberParameter(1.5, 1.0)};
    EXPECT_NE(Node()->GetHashValue(), plain) << "a changed keyframe";
    mParameters = {MakeNumberParameter(1.5)};
    mFilter->mMatchName = ImmutableString::CreateStatic("Other Filter");
    EXPECT_NE(Node()->GetHashValue(), plain);
}

TEST_F(EffectNode, KeepsAStreamLabelThatTheFilterKnows)
{
    mFilter->mStreamLabels = {ImmutableString::CreateStatic("Depth"), ImmutableString::CreateStatic("Matte")};
    const TVK::Guid plain = Node()->GetHashValue();
    mSettings.mStreamLabel = ImmutableString::CreateStatic("Matte");
    EXPECT_EQ(Property("EffectNode::StreamLabel"), "Matte");
    EXPECT_NE(Node()->GetHashValue(), plain);
}

TEST_F(EffectNode, DropsAStreamLabelThatTheFilterDoesNotKnow)
{
    mFilter->mStreamLabels = {ImmutableString::CreateStatic("Depth")};
    const TVK::Guid plain = Node()->GetHashValue();
    mSettings.mStreamLabel = ImmutableString::CreateStatic("Matte");
    EXPECT_EQ(Property("EffectNode::StreamLabel"), "(none)");
    EXPECT_EQ(Node()->GetHashValue(), plain);
}

TEST_F(EffectNode, SaysItsTimeOnlyIfTheFilterVariesByItself)
{
    mSettings.mEffectStart = Frames(3);
    mSettings.mEffectDuration = Frames(10);
    EXPECT_EQ(Property("EffectNode::EffectDuration"), "(none)");
    EXPECT_EQ(Property("EffectNode::EffectStart"), "(none)");
    mFilter->mVariesByItself = true;
    EXPECT_EQ(Property("EffectNode::EffectDuration"), ML::PropertyText::OfTime(Frames(10)));
    EXPECT_EQ(Property("EffectNode::EffectStart"), ML::PropertyText::OfTime(Frames(3)));
}

TEST_F(EffectNode, SaysOpaqueDataThatTheFilterGives)
{
    mFilter->mOpaqueData = MF::BinaryData("abc", 3);
    EXPECT_EQ(Property("EffectNode::FilterOpaqueData"), "(none)") << "the filter says that it has none";
    mFilter->mHasOpaqueData = true;
    EXPECT_EQ(Property("EffectNode::FilterOpaqueData"), ML::PropertyText::OfBinary("abc", 3));
    mFilter->mOpaqueDataStatus = -1;
    EXPECT_EQ(Property("EffectNode::FilterOpaqueData"), "(none)") << "a read that fails changes nothing else";
    EXPECT_EQ(Property("EffectNode::FilterMatchName"), "Fake Filter");
}

TEST_F(EffectNode, IsMadeOnce)
{
    const TVK::InterfaceRef<ML::RenderableNodeEffectImpl> node(new ML::RenderableNodeEffectImpl());
    ML::EffectNodeSettings settings;
    settings.mFilter = ML::IVideoFilterRef(mFilter);
    settings.mParameters = std::make_shared<const MF::KeyframeStore>();
    node->Initialize(settings);
    node->Finalize();
    EXPECT_EQ(TestSupport::ContractText([&] { node->Initialize(settings); }),
              "mMutable|Inc/RenderableNodeCommonImpl|ML::RenderableNodeCommonImpl::SetCommonProperty");
}

// Flags.

TEST_F(EffectNode, StandsStillUnlessSomethingVaries)
{
    mParameters = {MakeNumberParameter(1.0)};
    EXPECT_EQ(Flags(), 12u | 64u);
    mFilter->mVariesByItself = true;
    EXPECT_EQ(Flags(), 4u | 64u);
    mFilter->mVariesByItself = false;
    mParameters = {MakeNumberParameter(1.0), MakeNumberParameter(1.0, 2.0)};
    EXPECT_EQ(Flags(), 4u | 64u);
}

// Keyframes of one value everywhere.
class ConstantKeyframes final : public TestSupport::FakeKeyframedParameter
{
public:
    bool IsKeyframed() const override { return true; }
};

TEST_F(EffectNode, StandsStillWithKeyframesOfOneValue)
{
    mParameters = {MF::IKeyframedParameterRef(new ConstantKeyframes())};
    EXPECT_EQ(Flags(), 12u | 64u);
}

TEST_F(EffectNode, VariesWithALayerThatIsSet)
{
    mParameters = {MakeLayerParameter(MF::kLayer_NotSet)};
    EXPECT_EQ(Flags(), 12u | 64u);
    mParameters = {MakeLayerParameter(0)};
    EXPECT_EQ(Flags(), 4u | 64u) << "no sequence, so nothing is looked at";
}

TEST_F(EffectNode, IsOpaqueIfTheFilterKeepsItSo)
{
    mFilter->mKeepsOpaque = true;
    EXPECT_EQ(Flags(), 13u | 64u);
    mFilter->mVariesByItself = true;
    EXPECT_EQ(Flags(), 5u | 64u);
}

TEST_F(EffectNode, ReachesBeyondItsTimeWithLayers)
{
    const TVK::InterfaceRef<FakeSequence> sequence(new FakeSequence());
    mSettings.mCutlistContext = TVK::TVKUnknownRef(BE::ISequenceRef(sequence));
    EXPECT_EQ(Flags(), 12u | 64u) << "a sequence alone changes nothing";
    mParameters = {MakeLayerParameter(MF::kLayer_NotSet)};
    EXPECT_EQ(Flags(), 12u);
}

// Names.

class NamedEffect : public EffectNode
{
protected:
    NamedEffect()
    {
        mFilter->mWantsClipNames = true;
        mMaster->mName = u"Master";
        mMaster->mMediaInstance = u"/media/deep/clip.mov";
        mClip->mName = u"Clip";
        mClip->mMasterClip = BE::IMasterClipRef(mMaster);
        mItem->mStart = Frames(10);
        mItem->mEnd = Frames(20);
        mItem->mClip = BE::IClipRef(mClip);
        mSettings.mTrackItem = BE::ITrackItemRef(mItem);
    }

    FakeMasterClipRef mMaster{new FakeMasterClip()};
    FakeClipRef mClip{new FakeClip()};
    TestSupport::FakeTrackItemRef mItem{new FakeTrackItem()};
};

TEST_F(NamedEffect, SaysTheNamesOfItsClip)
{
    EXPECT_EQ(Property("EffectNode::ClipName"), "Clip");
    EXPECT_EQ(Property("EffectNode::MasterClipName"), "Master");
    EXPECT_EQ(Property("EffectNode::FileName"), "clip.mov");
    EXPECT_EQ(Property("EffectNode::SourceTrackClipNameHashes"), "(none)");
    const TVK::Guid plain = Node()->GetHashValue();
    mClip->mName = u"Renamed";
    EXPECT_NE(Node()->GetHashValue(), plain) << "its picture may show the name";
}

TEST_F(NamedEffect, SaysNoNamesThatTheFilterDoesNotWant)
{
    mFilter->mWantsClipNames = false;
    EXPECT_EQ(Property("EffectNode::ClipName"), "(none)");
    EXPECT_EQ(Property("EffectNode::FileName"), "(none)");
}

TEST_F(NamedEffect, SaysABlankForMediaWithoutAName)
{
    mMaster->mMediaInstance.clear();
    EXPECT_EQ(Property("EffectNode::FileName"), " ");
}

TEST_F(NamedEffect, SaysTheClipAloneWithoutAMasterClip)
{
    mClip->mMasterClip.reset();
    EXPECT_EQ(Property("EffectNode::ClipName"), "Clip");
    EXPECT_EQ(Property("EffectNode::MasterClipName"), "(none)");
    EXPECT_EQ(Property("EffectNode::FileName"), "(none)");
}

TEST_F(NamedEffect, SaysNothingOfAnEffectOnNoClip)
{
    mSettings.mTrackItem.reset();
    EXPECT_EQ(Property("EffectNode::ClipName"), "(none)");
    mSettings.mTrackItem = BE::ITrackItemRef(mItem);
    mItem->mClip.reset();
    EXPECT_EQ(Property("EffectNode::ClipName"), "(none)");
}

// The effect looks for names on the track with index 7, on which two clips and a gap lie.
class EffectWithSourceTrack : public NamedEffect
{
protected:
    EffectWithSourceTrack()
    {
        const TVK::InterfaceRef<FakeTrack> track(new FakeTrack());
        track->mIndex = 7;
        track->mItems = {ItemOf(0, 12, u"First"), ItemOf(15, 18, u"Second"), ItemOf(20, 30, u"Beyond")};
        const TVK::InterfaceRef<FakeSequence> sequence(new FakeSequence());
        sequence->mTracks = {TVK::TVKUnknownRef(BE::ITrackRef(new FakeTrack())),
                             TVK::TVKUnknownRef(BE::ITrackRef(track))};
        mSettings.mCutlistContext = TVK::TVKUnknownRef(BE::ISequenceRef(sequence));
        mParameters = {MakeNumberParameter(1.0), TestSupport::MakeChoiceParameter(7)};
        mSettings.mLayerIndex = 2;
    }

    BE::ITrackItemRef ItemOf(std::int64_t inStart, std::int64_t inEnd, const norvik::WString& inName)
    {
        const FakeClipRef clip(new FakeClip());
        clip->mName = inName;
        const FakeMasterClipRef master(new FakeMasterClip());
        master->mName = u"M" + inName;
        master->mMediaInstance = inName == u"Second" ? norvik::WString() : u"/media/" + inName;
        clip->mMasterClip = BE::IMasterClipRef(master);
        const TVK::InterfaceRef<FakeTrackItem> item(new FakeTrackItem());
        item->mStart = Frames(inStart);
        item->mEnd = Frames(inEnd);
        item->mClip = BE::IClipRef(clip);
        return BE::ITrackItemRef(item);
    }
};

TEST_F(EffectWithSourceTrack, SaysTheNamesOfTheClipsThereDuringTheEffect)
{
    EXPECT_EQ(Property("EffectNode::SourceTrackClipNameHashes"),
              "First\nMFirst\n/media/First\nSecond\nMSecond\n \n");
}

TEST_F(EffectWithSourceTrack, SaysNoneWithoutASourceParameter)
{
    mSettings.mLayerIndex = 0;
    EXPECT_EQ(Property("EffectNode::SourceTrackClipNameHashes"), "(none)");
    mSettings.mLayerIndex = 3;
    EXPECT_EQ(Property("EffectNode::SourceTrackClipNameHashes"), "(none)") << "beyond the list";
    mSettings.mLayerIndex = 2;
    mParameters[1] = TestSupport::MakeChoiceParameter(3);
    EXPECT_EQ(Property("EffectNode::SourceTrackClipNameHashes"), "(none)") << "no such track";
    mParameters[1] = TestSupport::MakeChoiceParameter(MF::kLayer_NotSet);
    EXPECT_EQ(Property("EffectNode::SourceTrackClipNameHashes"), "(none)");
}

TEST_F(EffectWithSourceTrack, LeavesOutWhatIsNoClip)
{
    const auto track = BE::ITrackRef(BE::ITrackListRef(mSettings.mCutlistContext)->GetVideoTrack(1));
    std::vector<BE::ITrackItemRef> items;
    track->GetItems(items);
    static_cast<FakeTrackItem*>(items[0].get())->mKind = 2;
    EXPECT_EQ(Property("EffectNode::SourceTrackClipNameHashes"), "Second\nMSecond\n \n");
}

// Operators.

TEST_F(EffectNode, HandsOutNoOperatorForMotionAndOpacity)
{
    const auto filtering = [this]
    { return ML::IRenderableNodeOperatorProviderRef(Node())->GetOperatorForFrame(At(1), ParamsAt()); };
    EXPECT_TRUE(filtering());
    mFilter->mMatchName = ML::kMatchnameOpacity;
    EXPECT_FALSE(filtering());
    mFilter->mMatchName = ML::kMatchnameMotion;
    EXPECT_FALSE(filtering());
    mFilter->mMatchName = ML::kMatchnameTransform;
    EXPECT_TRUE(filtering());
}

TEST_F(EffectNode, WantsNothingReadWithoutLayers)
{
    std::vector<ML::IRenderableNodePrefetchRef> prefetches;
    ML::IRenderableNodePrefetchProviderRef(Node())->GetPrefetchesForFrame(At(1), ParamsAt(), prefetches);
    EXPECT_TRUE(prefetches.empty());
}

} // namespace
