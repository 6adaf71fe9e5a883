#include "RenderableNodeEffectImpl.h"

#include "CutlistRenderer.h"
#include "PropertyText.h"
#include "RenderableNodeCompositorImpl.h"
#include "RenderableNodeSubtreeImpl.h"
#include "RenderableSources.h"
#include "Tests/EffectNodes/EffectNodeTests.h"
#include "Tests/Support/Fakes/FakeClip.h"
#include "Tests/Support/Fakes/FakeKeyframedParameter.h"
#include "Tests/Support/Fakes/FakeNode.h"
#include "Tests/Support/Fakes/FakeSequence.h"
#include "Tests/Support/Fakes/FakeTrack.h"
#include "Tests/Support/Fakes/FakeTrackItem.h"
#include "Tests/Support/Fakes/FakeVideoFilter.h"
#include "Tests/Support/PixelMatchers.h"

#include <gtest/gtest.h>

namespace
{

using namespace EffectNodeTests;
using TestSupport::FakeClip;
using TestSupport::FakeClipRef;
using TestSupport::FakeSequence;
using TestSupport::FakeSequenceRef;
using TestSupport::FakeTrack;
using TestSupport::FakeTrackItem;
using TestSupport::FakeTrackItemRef;
using TestSupport::FakeTrackRef;
using TestSupport::FakeTransitionItem;
using TestSupport::FakeVideoFilter;
using TestSupport::FakeVideoFilterRef;
using TestSupport::IsFilledWith;
using TestSupport::MakeLayerParameter;
using TestSupport::NewFilledFrame;
using TestSupport::PixelAt;

constexpr norviktypes::PixelFormat kBGRA16 = norviktypes::kPixelFormat_BGRA_4444_16u;
constexpr std::uint32_t kOwnTrack = 0;
constexpr std::uint32_t kMatteTrack = 1;

const std::vector<std::uint8_t> kMatte{50, 20, 30, 255};
const std::vector<std::uint8_t> kOther{60, 20, 30, 255};

// A sequence with an item from 10 to 20 on the lowest track, and a layer from 0 to 100 on the one above, at
// which the item's effect looks by its one parameter.
class EffectLayersTest : public testing::Test
{
protected:
    EffectLayersTest()
    {
        TestSupport::EmptyFrameCache();
        for (std::uint64_t index = 0; index < 3; ++index)
        {
            const FakeTrackRef track(new FakeTrack());
            track->mIndex = index;
            mTracks.push_back(track);
            mProviders.push_back(FakeCutlistProviderRef(new FakeCutlistProvider()));
            mSequence->mTracks.push_back(TVK::TVKUnknownRef(BE::ITrackRef(track)));
            mSequence->mTrackCutlistProviders.push_back(MF::IRenderableCutlistProviderRef(mProviders.back()));
        }
        mItem->mStart = Frames(10);
        mItem->mEnd = Frames(20);
        mTracks[kOwnTrack]->mItems = {BE::ITrackItemRef(mItem)};
        PlayOnMatteTrack(CutlistFromTo(0, 100, MakeLayer(50, mMatteCalls)));
        mSettings.mFilter = ML::IVideoFilterRef(mFilter);
        mSettings.mCutlistContext = TVK::TVKUnknownRef(BE::ISequenceRef(mSequence));
        mSettings.mTrackItem = BE::ITrackItemRef(mItem);
        LookAt({kMatteTrack});
        mFilter->mRender = [this](const ML::VideoFilterRender& inRender, const MF::IVideoFrameRef& inFrame,
                                  MF::IVideoFrameRef& outFrame)
        {
            outFrame = inFrame;
            mLayer.reset();
            mHasLayers = static_cast<bool>(inRender.mLayers);
            return inRender.mLayers ? inRender.mLayers->RenderLayer(mParameter, mLayer) : 0;
        };
    }

    void PlayOnMatteTrack(const MF::IRenderableCutlistRef& inCutlist)
    {
        mProviders[kMatteTrack]->mCutlist = inCutlist;
    }
    void LookAt(const std::vector<std::uint32_t>& inTracks)
    {
        MF::KeyframeStore parameters;
        for (const std::uint32_t track : inTracks)
        {
            parameters.push_back(MF::IKeyframedParameterRef(MakeLayerParameter(track)));
        }
        mSettings.mParameters = std::make_shared<const MF::KeyframeStore>(parameters);
    }
    MF::IRenderableNodeRef Node() const { return ML::CreateEffectNode(mSettings); }
    norvik::UTF8String Property(const char* inKey) const { return PropertyOf(Node(), inKey); }

    static ML::IRenderableNodeOperatorRef OperatorOf(const MF::IRenderableNodeRef& inNode,
                                                     const ML::CutlistRenderParams& inParams)
    {
        return ML::IRenderableNodeOperatorProviderRef(inNode)->GetOperatorForFrame(At(1), inParams);
    }
    // The layer that the filter sees at a moment of the sequence.
    std::int32_t Render(const MF::IRenderableNodeRef& inNode, std::int64_t inMoment)
    {
        return RenderWith(inNode, ParamsAt(inMoment));
    }
    std::int32_t RenderWith(const MF::IRenderableNodeRef& inNode, const ML::CutlistRenderParams& inParams)
    {
        MF::IVideoFrameRef output;
        return OperatorOf(inNode, inParams)
            ->ApplyToFrame(At(1), At(1), inParams,
                           NewFilledFrame(kPixelFormat_BGRA_4444_8u, 16, 8, {1, 2, 3, 4}), nullptr, output);
    }
    static TVK::Guid HashOf(const MF::IRenderableNodeRef& inNode, std::int64_t inMoment)
    {
        const ML::CutlistRenderParams params = ParamsAt(inMoment);
        TVK::Guid hash;
        OperatorOf(inNode, params)->GetFrameHash(hash, At(1), params, TVK::Guid());
        return hash;
    }
    static BE::ITrackItemRef ItemWithClip(std::int64_t inStart, std::int64_t inEnd, const TVK::Guid& inID)
    {
        const FakeClipRef clip(new FakeClip());
        clip->mContentID = inID;
        const FakeTrackItemRef item(new FakeTrackItem());
        item->mStart = Frames(inStart);
        item->mEnd = Frames(inEnd);
        item->mClip = BE::IClipRef(clip);
        return BE::ITrackItemRef(item);
    }

    FakeSequenceRef mSequence{new FakeSequence()};
    std::vector<FakeTrackRef> mTracks;
    std::vector<FakeCutlistProviderRef> mProviders;
    FakeTrackItemRef mItem{new FakeTrackItem()};
    FakeVideoFilterRef mFilter{new FakeVideoFilter()};
    LayerCallsRef mMatteCalls = std::make_shared<LayerCalls>();
    ML::EffectNodeSettings mSettings;
    std::uint32_t mParameter = 0;
    MF::IVideoFrameRef mLayer;
    bool mHasLayers = false;
};

// What the node says.

TEST_F(EffectLayersTest, NodeNamesTheClipThatALayerPointsTo)
{
    const TVK::Guid first{11, 12};
    mTracks[kMatteTrack]->mItems = {ItemWithClip(0, 9, {1, 2}), ItemWithClip(12, 15, first),
                                    ItemWithClip(15, 30, {21, 22})};
    EXPECT_EQ(Property("EffectNode::LayerInputHashes"), ML::PropertyText::OfGuid(first) + ";")
        << "the first one during the effect";
}

TEST_F(EffectLayersTest, NodeSaysWhyALayerPointsToNoClip)
{
    mTracks[2]->mItems = {ItemWithClip(0, 100, {7, 7})};
    LookAt({MF::kLayer_NotSet, kOwnTrack, 2, 77});
    EXPECT_EQ(Property("EffectNode::LayerInputHashes"),
              "Not Set;Self;" + ML::PropertyText::OfGuid({7, 7}) + ";" + ML::PropertyText::OfGuid({}) + ";");
}

TEST_F(EffectLayersTest, NodeSaysNothingOfOtherParameters)
{
    MF::KeyframeStore parameters = *mSettings.mParameters;
    parameters.insert(parameters.begin(), MF::IKeyframedParameterRef(TestSupport::MakeChoiceParameter(1)));
    parameters.push_back(MF::IKeyframedParameterRef(MakeLayerParameter(MF::kLayer_NotSet)));
    mSettings.mParameters = std::make_shared<const MF::KeyframeStore>(parameters);
    EXPECT_EQ(Property("EffectNode::LayerInputHashes"), ML::PropertyText::OfGuid({}) + ";Not Set;");
}

TEST_F(EffectLayersTest, NodeSaysNothingWithoutASequence)
{
    mSettings.mCutlistContext.reset();
    const MF::IRenderableNodeRef node = Node();
    EXPECT_EQ(PropertyOf(node, "EffectNode::LayerInputHashes"), "(none)");
    EXPECT_EQ(PropertyOf(node, "EffectNode::LayerPictureHashes"), "(none)");
    EXPECT_EQ(Render(node, 15), 0);
    EXPECT_FALSE(mHasLayers);
}

TEST_F(EffectLayersTest, NodeTakesAParameterWithoutAValueForNotSet)
{
    const TestSupport::FakeKeyframedParameterRef parameter = MakeLayerParameter(kMatteTrack);
    parameter->mStatus = -1;
    mSettings.mParameters =
        std::make_shared<const MF::KeyframeStore>(MF::KeyframeStore{MF::IKeyframedParameterRef(parameter)});
    EXPECT_EQ(Property("EffectNode::LayerInputHashes"), "Not Set;");
}

TEST_F(EffectLayersTest, OwnTrackIsWhereTheItemLies)
{
    mSettings.mTrackIndex = kMatteTrack;
    EXPECT_NE(Property("EffectNode::LayerInputHashes"), "Self;") << "whatever the builder counts";
    mTracks[kOwnTrack]->mItems.clear();
    EXPECT_EQ(Property("EffectNode::LayerInputHashes"), "Self;") << "an item that is on none of the tracks";
    mSettings.mTrackItem.reset();
    EXPECT_EQ(Property("EffectNode::LayerInputHashes"), "Self;");
    mSettings.mTrackIndex = ML::kNoTrackIndex;
    EXPECT_NE(Property("EffectNode::LayerInputHashes"), "Self;");
}

// What the node depends on.

TEST_F(EffectLayersTest, NotSetAndSelfDependOnNoOtherClip)
{
    LookAt({MF::kLayer_NotSet, kOwnTrack});
    const MF::IRenderableNodeRef before = Node();
    mTracks[kMatteTrack]->mItems = {ItemWithClip(0, 100, {3, 4})};
    mTracks[kOwnTrack]->mItems.push_back(ItemWithClip(20, 30, {5, 6}));
    for (const FakeCutlistProviderRef& provider : mProviders)
    {
        provider->mCutlist = CutlistFromTo(0, 100, MakeLayer(60));
    }
    const MF::IRenderableNodeRef after = Node();
    EXPECT_EQ(before->GetHashValue(), after->GetHashValue());
    EXPECT_EQ(HashOf(before, 15), HashOf(after, 15));
    for (const FakeCutlistProviderRef& provider : mProviders)
    {
        EXPECT_EQ(provider->mQuestions, 0) << "their tracks are not even asked for";
    }
    EXPECT_EQ(PropertyOf(after, "EffectNode::LayerPictureHashes"), "(none)");
}

TEST_F(EffectLayersTest, EditOnTheOtherTrackChangesHashesAndPicture)
{
    const MF::IRenderableNodeRef before = Node();
    EXPECT_EQ(Render(before, 15), 0);
    EXPECT_TRUE(IsFilledWith(mLayer, kMatte));
    PlayOnMatteTrack(CutlistFromTo(0, 100, MakeLayer(60)));
    const MF::IRenderableNodeRef after = Node();
    EXPECT_NE(after->GetHashValue(), before->GetHashValue());
    EXPECT_NE(HashOf(after, 15), HashOf(before, 15));
    EXPECT_EQ(Render(after, 15), 0);
    EXPECT_TRUE(IsFilledWith(mLayer, kOther));
}

TEST_F(EffectLayersTest, NodeThatWasBuiltBeforeAnEditShowsWhatWasThere)
{
    const MF::IRenderableNodeRef node = Node();
    const TVK::Guid hash = HashOf(node, 15);
    PlayOnMatteTrack(CutlistFromTo(0, 100, MakeLayer(60)));
    EXPECT_EQ(HashOf(node, 15), hash);
    EXPECT_EQ(Render(node, 15), 0);
    EXPECT_TRUE(IsFilledWith(mLayer, kMatte));
    EXPECT_EQ(mProviders[kMatteTrack]->mQuestions, 1) << "renders never ask the project";
}

// One node from 0 to inCut and another behind it.
MF::IRenderableCutlistRef CutAt(const TickTime& inCut, const MF::IRenderableNodeRef& inBefore,
                                const MF::IRenderableNodeRef& inAfter)
{
    const ML::IMutableCutlistRef cutlist = ML::CreateMutableCutlist();
    cutlist->AddSegment(Frames(0), inCut, Frames(0), inBefore);
    cutlist->AddSegment(inCut, Frames(100), Frames(0), inAfter);
    cutlist->Finalize();
    return MF::IRenderableCutlistRef(cutlist);
}

TEST_F(EffectLayersTest, EditBesideTheEffectChangesNothing)
{
    PlayOnMatteTrack(CutAt(Frames(20), MakeLayer(50), MakeLayer(60)));
    const TVK::Guid plain = Node()->GetHashValue();
    PlayOnMatteTrack(CutAt(Frames(20), MakeLayer(50), MakeLayer(70)));
    EXPECT_EQ(Node()->GetHashValue(), plain) << "behind its end";
    PlayOnMatteTrack(CutAt(Frames(19), MakeLayer(50), MakeLayer(60)));
    EXPECT_NE(Node()->GetHashValue(), plain) << "its last frame";
}

TEST_F(EffectLayersTest, MovedContentChangesTheHash)
{
    PlayOnMatteTrack(CutlistFromTo(0, 100, MakeLayer(50)));
    const TVK::Guid plain = Node()->GetHashValue();
    PlayOnMatteTrack(CutlistFromTo(1, 100, MakeLayer(50)));
    EXPECT_NE(Node()->GetHashValue(), plain) << "another moment of the same node";
}

TEST_F(EffectLayersTest, NodesAtTwoPlacesThatLookElsewhereAreTwoNodes)
{
    // A cutlist holds one node for each hash, and each of the two must find its own moments.
    PlayOnMatteTrack(CutlistFromTo(0, 100, MakeLayer(50)));
    const TVK::Guid plain = Node()->GetHashValue();
    mItem->mStart = Frames(40);
    mItem->mEnd = Frames(50);
    EXPECT_NE(Node()->GetHashValue(), plain);
}

TEST_F(EffectLayersTest, SpanCoversTransitionsAtBothEnds)
{
    PlayOnMatteTrack(CutAt(Frames(22), MakeLayer(50), MakeLayer(60)));
    const TVK::Guid plain = Node()->GetHashValue();
    mItem->mTransitionAtEnd = BE::ITransitionItemRef(new FakeTransitionItem(Frames(17), Frames(23)));
    const MF::IRenderableNodeRef longer = Node();
    EXPECT_NE(longer->GetHashValue(), plain);
    EXPECT_EQ(Render(longer, 22), 0);
    EXPECT_TRUE(IsFilledWith(mLayer, kOther));
    mItem->mTransitionAtStart = BE::ITransitionItemRef(new FakeTransitionItem(Frames(8), Frames(12)));
    EXPECT_EQ(Render(Node(), 8), 0);
    EXPECT_TRUE(mLayer);
    EXPECT_EQ(Render(Node(), 7), 0);
    EXPECT_FALSE(mLayer) << "the effect is not seen then";
}

TEST_F(EffectLayersTest, SpanIsInWholeFrames)
{
    mItem->mStart = Frames(10) + TickTime(5);
    mItem->mEnd = Frames(19) + TickTime(5);
    const MF::IRenderableNodeRef node = Node();
    EXPECT_EQ(Render(node, 10), 0);
    EXPECT_TRUE(mLayer) << "the frame in which the item starts";
    ML::CutlistRenderParams params = ParamsAt(19);
    params.mFrameTime = FrameTime(Frames(20) - TickTime(1));
    EXPECT_EQ(RenderWith(node, params), 0);
    EXPECT_TRUE(mLayer) << "the frame in which it ends";
    EXPECT_EQ(Render(node, 20), 0);
    EXPECT_FALSE(mLayer);
}

TEST_F(EffectLayersTest, SpanOfAnEffectOnNoItemIsAllTime)
{
    mSettings.mTrackItem.reset();
    const MF::IRenderableNodeRef node = Node();
    EXPECT_EQ(Render(node, 0), 0);
    EXPECT_TRUE(mLayer);
    EXPECT_EQ(Render(node, 99), 0);
    EXPECT_TRUE(mLayer);
}

TEST_F(EffectLayersTest, SegmentsBeforeTheSpanAreSkipped)
{
    const ML::IMutableCutlistRef cutlist = ML::CreateMutableCutlist();
    for (std::int64_t index = 0; index < 50; ++index)
    {
        cutlist->AddSegment(Frames(2 * index), Frames(2 * index + 1), Frames(0),
                            MakeLayer(static_cast<std::uint8_t>(index)));
    }
    cutlist->Finalize();
    PlayOnMatteTrack(MF::IRenderableCutlistRef(cutlist));
    const MF::IRenderableNodeRef node = Node();
    for (std::int64_t frame = 8; frame < 23; ++frame)
    {
        EXPECT_EQ(Render(node, frame), 0);
        const bool plays = frame >= 10 && frame < 20 && frame % 2 == 0;
        ASSERT_EQ(static_cast<bool>(mLayer), plays) << frame;
        if (plays)
        {
            EXPECT_EQ(PixelAt(mLayer, 0, 0)[0], frame / 2);
        }
    }
}

// Counts how often its segments are looked at.
class CountingCutlist final : public TVK::Implements<CountingCutlist, MF::IRenderableCutlist>
{
public:
    explicit CountingCutlist(const MF::IRenderableCutlistRef& inInner) : mInner(inInner) {}

    mutable int mLooks = 0;

    std::uint32_t GetSegmentCount() const override { return mInner->GetSegmentCount(); }
    TVK::Guid GetHashValue() const override { return mInner->GetHashValue(); }
    std::int32_t GetNthSegmentDescription(std::uint32_t inIndex, TickTime& outStart, TickTime& outEnd,
                                          TickTime& outOffset, TVK::Guid& outHash) const override
    {
        ++mLooks;
        return mInner->GetNthSegmentDescription(inIndex, outStart, outEnd, outOffset, outHash);
    }
    std::int32_t GetRenderableNodeFromHashValue(const TVK::Guid& inHash,
                                                MF::IRenderableNodeRef& outNode) const override
    {
        return mInner->GetRenderableNodeFromHashValue(inHash, outNode);
    }
    std::int32_t FindNodeForTime(const FrameTime&, MF::IRenderableNodeRef&, FrameTime&) const override
    {
        return -1;
    }
    std::int32_t FindNodeForTimeRange(const FrameTime&, const FrameTime&, MF::IRenderableNodeRef&,
                                      FrameTime&) const override
    {
        return -1;
    }
    std::int32_t FindSegmentForTime(const TickTime&, std::uint32_t&, TickTime&, TickTime&, TickTime&,
                                    TVK::Guid&) const override
    {
        return -1;
    }
    ImmutableString GetStreamLabel() const override { return {}; }

private:
    const MF::IRenderableCutlistRef mInner;
};

TEST_F(EffectLayersTest, LongTrackCostsNoMoreThanAShortOne)
{
    constexpr std::int64_t kLength = 4096;
    const MF::IRenderableNodeRef nodes[2] = {MakeLayer(50), MakeLayer(60)};
    const ML::IMutableCutlistRef track = ML::CreateMutableCutlist();
    for (std::int64_t frame = 0; frame < kLength; ++frame)
    {
        track->AddSegment(Frames(frame), Frames(frame + 1), Frames(0), nodes[frame % 2]);
    }
    track->Finalize();
    const TVK::InterfaceRef<CountingCutlist> counting(new CountingCutlist(MF::IRenderableCutlistRef(track)));
    PlayOnMatteTrack(MF::IRenderableCutlistRef(counting));
    mItem->mStart = Frames(2000);
    mItem->mEnd = Frames(2010);
    EXPECT_EQ(Render(Node(), 2009), 0);
    EXPECT_TRUE(IsFilledWith(mLayer, kOther));
    EXPECT_LE(counting->mLooks, 13 + 11) << "a search, and what plays during the effect";
}

// The picture.

TEST_F(EffectLayersTest, PictureIsThatOfTheMomentOfTheSequence)
{
    PlayOnMatteTrack(CutAt(Frames(15), MakeLayer(50, mMatteCalls), MakeLayer(60)));
    const MF::IRenderableNodeRef node = Node();
    EXPECT_EQ(Render(node, 14), 0);
    EXPECT_TRUE(IsFilledWith(mLayer, kMatte));
    EXPECT_EQ(mMatteCalls->mTimes, std::vector{At(14)}) << "in the layer's own time";
    EXPECT_EQ(Render(node, 15), 0);
    EXPECT_TRUE(IsFilledWith(mLayer, kOther));
    EXPECT_NE(HashOf(node, 14), HashOf(node, 15));
}

TEST_F(EffectLayersTest, PictureIsRenderedOnceForAllWhoWantIt)
{
    const MF::IRenderableNodeRef node = Node();
    EXPECT_EQ(Render(node, 14), 0);
    EXPECT_EQ(Render(node, 14), 0);
    EXPECT_EQ(mMatteCalls->mTimes.size(), 1u);
}

TEST_F(EffectLayersTest, NothingIsThereInAGapAndWithoutATrack)
{
    LookAt({kMatteTrack, 77, kOwnTrack, MF::kLayer_NotSet});
    PlayOnMatteTrack(CutlistFromTo(0, 12, MakeLayer(50)));
    const MF::IRenderableNodeRef node = Node();
    for (mParameter = 0; mParameter < 6; ++mParameter)
    {
        mLayer = NewFilledFrame(kPixelFormat_BGRA_4444_8u, 16, 8, {1, 1, 1, 1});
        EXPECT_EQ(Render(node, 15), 0) << mParameter;
        EXPECT_TRUE(mHasLayers);
        EXPECT_FALSE(mLayer) << mParameter;
    }
    mParameter = 0;
    EXPECT_EQ(Render(node, 11), 0);
    EXPECT_TRUE(IsFilledWith(mLayer, kMatte));
}

TEST_F(EffectLayersTest, NothingIsThereOnATrackThatGivesNoCutlist)
{
    mProviders[kMatteTrack]->mStatus = -5;
    EXPECT_EQ(Render(Node(), 15), 0);
    EXPECT_FALSE(mLayer);
    EXPECT_TRUE(mHasLayers);
}

TEST_F(EffectLayersTest, LayerThatShowsNothingIsNotALayerThatFails)
{
    const MF::IRenderableNodeRef node = Node();
    mMatteCalls->mIsEmpty = true;
    EXPECT_EQ(Render(node, 15), 0);
    EXPECT_FALSE(mLayer);
    mMatteCalls->mStatus = -44;
    EXPECT_EQ(Render(node, 15), -44);
    EXPECT_FALSE(mLayer);
}

TEST_F(EffectLayersTest, PictureLiesWhereTheLayerSaysThatItLies)
{
    std::vector<TickTime> times;
    PlayOnMatteTrack(
        CutlistFromTo(5, 100,
                      MakeLayer(50, nullptr,
                                [&times](const TickTime& inTime, ML::NodeIntrinsicParameters& outRecord)
                                {
                                    times.push_back(inTime);
                                    outRecord.positionX = 1.0f;
                                    return 0;
                                })));
    ML::CutlistRenderParams params = ParamsAt(15);
    params.mFrameTime = FrameTime(Frames(15), Frames(16));
    EXPECT_EQ(RenderWith(Node(), params), 0);
    EXPECT_EQ(PixelAt(mLayer, 2, 4), (std::vector<std::uint8_t>{0, 0, 0, 0}));
    EXPECT_EQ(PixelAt(mLayer, 13, 4), kMatte);
    EXPECT_EQ(times, (std::vector{Frames(10), Frames(11)}));
}

TEST_F(EffectLayersTest, PlaceOfALayerIsInTheHash)
{
    float position = 0.5f;
    PlayOnMatteTrack(
        CutlistFromTo(0, 100,
                      MakeLayer(50, nullptr,
                                [&position](const TickTime&, ML::NodeIntrinsicParameters& outRecord)
                                {
                                    outRecord.positionX = position;
                                    return 0;
                                })));
    const MF::IRenderableNodeRef node = Node();
    const TVK::Guid plain = HashOf(node, 15);
    position = 0.75f;
    EXPECT_NE(HashOf(node, 15), plain);
}

TEST_F(EffectLayersTest, PictureIsOfTheFormatAndSizeOfTheFilter)
{
    mFilter->mFormats = {kBGRA16};
    EXPECT_EQ(Render(Node(), 15), 0);
    norviktypes::PixelFormat format;
    mLayer->GetPixelFormat(format);
    EXPECT_EQ(format, kBGRA16);
    EXPECT_TRUE(
        TestSupport::HaveNearPixels(mLayer, NewFilledFrame(kPixelFormat_BGRA_4444_8u, 16, 8, kMatte), 0.001));

    const MF::IVideoFrameRef full = NewFilledFrame(kPixelFormat_BGRA_4444_8u, 32, 16, kMatte);
    TestSupport::MakeSubstitute(full);
    PlayOnMatteTrack(
        CutlistFromTo(0, 100,
                      TestSupport::CreateLayerNode("Substitute",
                                                   [full](const FrameTime&, const ML::CutlistRenderParams&,
                                                          MF::IVideoFrameRef& outFrame)
                                                   {
                                                       outFrame = full;
                                                       return 0;
                                                   })));
    ML::CutlistRenderParams params = ParamsAt(15);
    params.mSourceWidth = 32;
    params.mSourceHeight = 16;
    EXPECT_EQ(RenderWith(Node(), params), 0);
    TVK::Rect bounds;
    mLayer->GetBounds(bounds);
    EXPECT_EQ(bounds, (TVK::Rect{0, 0, 16, 8}));
}

TEST_F(EffectLayersTest, PictureIsTheSameWhicheverTracksAreShown)
{
    ML::CutlistRenderParams params = ParamsAt(15);
    params.mRenderContext = 0;
    EXPECT_EQ(RenderWith(Node(), params), 0);
    ASSERT_EQ(mMatteCalls->mParams.size(), 1u);
    EXPECT_EQ(mMatteCalls->mParams[0].mRenderContext, ML::CutlistRenderParams().mRenderContext);
    EXPECT_EQ(mMatteCalls->mParams[0].mWidth, 16u);
}

TEST_F(EffectLayersTest, SeveralLayersAreToldApart)
{
    mProviders[2]->mCutlist = CutlistFromTo(0, 100, MakeLayer(60));
    LookAt({2, kMatteTrack});
    const MF::IRenderableNodeRef node = Node();
    EXPECT_EQ(Render(node, 15), 0);
    EXPECT_TRUE(IsFilledWith(mLayer, kOther));
    mParameter = 1;
    EXPECT_EQ(Render(node, 15), 0);
    EXPECT_TRUE(IsFilledWith(mLayer, kMatte));
    LookAt({kMatteTrack, 2});
    EXPECT_NE(HashOf(Node(), 15), HashOf(node, 15));
}

// What is read beforehand.

TEST_F(EffectLayersTest, WantsReadWhatTheLayerWantsAtThatMoment)
{
    const TestSupport::FakeNodeRef matte = TestSupport::MakeFrozenNode("Matte");
    PlayOnMatteTrack(CutlistFromTo(12, 16, MF::IRenderableNodeRef(matte)));
    const ML::IRenderableNodePrefetchProviderRef node(Node());
    std::vector<ML::IRenderableNodePrefetchRef> prefetches;
    node->GetPrefetchesForFrame(At(1), ParamsAt(14), prefetches);
    EXPECT_EQ(matte->mPrefetchedTimes, std::vector{At(2)});
    node->GetPrefetchesForFrame(At(1), ParamsAt(17), prefetches);
    EXPECT_EQ(matte->mPrefetchedTimes.size(), 1u) << "nothing plays then";
}

// Tracks that look at each other.

TEST_F(EffectLayersTest, TracksThatPointToEachOtherEnd)
{
    // While the matte's track is built, an effect on it looks back at the first track, whose effect looks on.
    ML::EffectNodeSettings back = mSettings;
    const FakeTrackItemRef other(new FakeTrackItem());
    other->mStart = Frames(0);
    other->mEnd = Frames(100);
    mTracks[kMatteTrack]->mItems = {BE::ITrackItemRef(other)};
    back.mTrackItem = BE::ITrackItemRef(other);
    back.mParameters = std::make_shared<const MF::KeyframeStore>(
        MF::KeyframeStore{MF::IKeyframedParameterRef(MakeLayerParameter(kOwnTrack))});
    MF::IRenderableNodeRef inner;
    mProviders[kMatteTrack]->mWhileAsked = [&] { inner = ML::CreateEffectNode(back); };
    mProviders[kOwnTrack]->mWhileAsked = [&] { Node(); };
    mProviders[kOwnTrack]->mCutlist = CutlistFromTo(0, 100, MakeLayer(60));

    const MF::IRenderableNodeRef node = Node();
    EXPECT_EQ(mProviders[kMatteTrack]->mQuestions, 1);
    EXPECT_EQ(mProviders[kOwnTrack]->mQuestions, 0) << "a track never sees itself by way of another";
    EXPECT_EQ(Render(node, 15), 0);
    EXPECT_TRUE(IsFilledWith(mLayer, kMatte));
    EXPECT_EQ(Render(inner, 15), 0);
    EXPECT_FALSE(mLayer);
    EXPECT_TRUE(mHasLayers);

    mProviders[kMatteTrack]->mWhileAsked = nullptr;
    mProviders[kOwnTrack]->mWhileAsked = nullptr;
    const MF::IRenderableNodeRef outer = ML::CreateEffectNode(back);
    EXPECT_EQ(Render(outer, 15), 0);
    EXPECT_TRUE(IsFilledWith(mLayer, kOther)) << "built by itself the other one sees the first";
    EXPECT_NE(outer->GetHashValue(), inner->GetHashValue()) << "and is another node";
}

TEST_F(EffectLayersTest, ChainOfTracksIsFollowedToItsEnd)
{
    ML::EffectNodeSettings middle = mSettings;
    const FakeTrackItemRef item(new FakeTrackItem());
    item->mEnd = Frames(100);
    mTracks[kMatteTrack]->mItems = {BE::ITrackItemRef(item)};
    middle.mTrackItem = BE::ITrackItemRef(item);
    middle.mParameters = std::make_shared<const MF::KeyframeStore>(
        MF::KeyframeStore{MF::IKeyframedParameterRef(MakeLayerParameter(2))});
    mProviders[2]->mCutlist = CutlistFromTo(0, 100, MakeLayer(60));
    MF::IRenderableNodeRef inner;
    mProviders[kMatteTrack]->mWhileAsked = [&] { inner = ML::CreateEffectNode(middle); };
    Node();
    EXPECT_EQ(mProviders[2]->mQuestions, 1);
    EXPECT_EQ(Render(inner, 15), 0);
    EXPECT_TRUE(IsFilledWith(mLayer, kOther));
}

TEST_F(EffectLayersTest, TrackIsFreeAgainAfterABuildThatThrew)
{
    mProviders[kMatteTrack]->mWhileAsked = [] { throw TVK::NullInterfaceException(); };
    EXPECT_THROW(Node(), TVK::NullInterfaceException);
    mProviders[kMatteTrack]->mWhileAsked = nullptr;
    EXPECT_EQ(Render(Node(), 15), 0);
    EXPECT_TRUE(IsFilledWith(mLayer, kMatte));
}

// The moment of the sequence, however the effect is reached.

// What a clip does with an effect: its time is not the sequence's, and the effect has another one still.
class RetimedClip final : public TVK::Extends<TestSupport::FakeNode, ML::IRenderableNodeProducerProvider>
{
public:
    explicit RetimedClip(const MF::IRenderableNodeRef& inEffect) : Extends("RetimedClip"), mEffect(inEffect)
    {
        AppendOperator(inEffect);
        Finalize();
    }

    ML::IRenderableNodeProducerRef GetProducerForFrame(const FrameTime& inTime,
                                                       const ML::CutlistRenderParams& inParams) override
    {
        return ML::IRenderableNodeProducerRef(new Producer(
            ML::IRenderableNodeOperatorProviderRef(mEffect)->GetOperatorForFrame(Media(inTime), inParams)));
    }

private:
    class Producer final : public TVK::Implements<Producer, ML::IRenderableNodeProducer>
    {
    public:
        explicit Producer(const ML::IRenderableNodeOperatorRef& inOperator) : mOperator(inOperator) {}
        std::int32_t GetFrame(const FrameTime& inTime, const ML::CutlistRenderParams& inParams,
                              MF::IVideoFrameRef& outFrame) override
        {
            return mOperator->ApplyToFrame(Media(inTime), Media(inTime), inParams, nullptr, nullptr,
                                           outFrame);
        }
        void GetFrameHash(TVK::Guid& outHash, const FrameTime& inTime,
                          const ML::CutlistRenderParams& inParams, const TVK::Guid& inBaseHash) override
        {
            mOperator->GetFrameHash(outHash, Media(inTime), inParams, inBaseHash);
        }

    private:
        const ML::IRenderableNodeOperatorRef mOperator;
    };

    static FrameTime Media(const FrameTime& inTime)
    {
        return FrameTime(inTime.mFirstTime * 2 + Frames(1000), inTime.mSecondTime * 2 + Frames(1000));
    }

    const MF::IRenderableNodeRef mEffect;
};

// The effect's clip in a stack of tracks in a cutlist: from 10 to 20, in a stack whose time is another one.
class LayersInASequence : public EffectLayersTest
{
protected:
    LayersInASequence() { PlayOnMatteTrack(CutlistFromTo(0, 100, MakeLayer(50, mMatteCalls))); }

    MF::IRenderableCutlistRef Sequence() const
    {
        const ML::RenderableNodeCompositorRef stack(new ML::RenderableNodeCompositorImpl());
        stack->AppendInputWithTrack(MF::IRenderableNodeRef(new RetimedClip(Node())), Frames(-3), kOwnTrack);
        stack->Finalize();
        return CutlistFromTo(10, 20, stack->AsNode());
    }
    TVK::Guid FrameHash(const MF::IRenderableCutlistRef& inCutlist, std::int64_t inFrame) const
    {
        TVK::Guid hash;
        ML::ComputeFrameHash(hash, inCutlist, ParamsAt(inFrame), TVK::Guid());
        return hash;
    }
};

TEST_F(LayersInASequence, LayerIsAtTheTimeOfTheCutlistUnderAStackOfTracks)
{
    const MF::IRenderableCutlistRef cutlist = Sequence();
    ML::IRenderableNodeProducerRef producer;
    FrameTime nodeTimes;
    ML::ResolveProducerAtTime(cutlist, ParamsAt(15), producer, nodeTimes);
    EXPECT_EQ(nodeTimes, At(5)) << "not the time of the sequence";
    EXPECT_TRUE(ML::RenderFrameFromCutlist(producer, ParamsAt(15), nodeTimes, {}, true));
    EXPECT_EQ(mFilter->mCalls.back().mRender.mClipTime, Frames(1016)) << "nor is the clip's";
    EXPECT_EQ(mMatteCalls->mTimes, std::vector{At(15)});
}

TEST_F(LayersInASequence, FrameHashFollowsTheLayerAtThatTime)
{
    PlayOnMatteTrack(CutAt(Frames(15), MakeLayer(50), MakeLayer(60)));
    const MF::IRenderableCutlistRef before = Sequence();
    PlayOnMatteTrack(CutAt(Frames(15), MakeLayer(50), MakeLayer(60)));
    EXPECT_EQ(FrameHash(Sequence(), 14), FrameHash(before, 14)) << "built again, the same";
    PlayOnMatteTrack(CutAt(Frames(15), MakeLayer(50), MakeLayer(70)));
    EXPECT_NE(FrameHash(Sequence(), 15), FrameHash(before, 15));
}

class NestedProvider final
    : public TVK::Implements<NestedProvider, MF::IRenderableCutlistProvider, MF::ISequenceVideoProperties>
{
public:
    explicit NestedProvider(const MF::IRenderableCutlistRef& inCutlist) : mCutlist(inCutlist) {}
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
    std::int32_t GetThirdCutlist(MF::IRenderableCutlistRef&, const ImmutableString&, bool, bool) override
    {
        return -1;
    }
    TVK::Rect GetBounds() const override { return {0, 0, 16, 8}; }
    norviktypes::PixelAspectRatio GetPixelAspectRatio() const override { return {}; }
    norviktypes::FieldType GetFieldType() const override { return norviktypes::kFieldType_Progressive; }
    norviktypes::FrameRate GetFrameRate() const override { return kRate; }

private:
    const MF::IRenderableCutlistRef mCutlist;
};

TEST_F(LayersInASequence, LayerIsAtTheTimeOfTheNestedSequence)
{
    const ML::IRenderableSourceRef nested = ML::CreateRenderableCutlistSource(
        MF::IRenderableCutlistProviderRef(new NestedProvider(Sequence())), kRate, ImmutableString());
    MF::IVideoFrameRef frame;
    nested->Render(At(15), ParamsAt(7777), frame);
    EXPECT_TRUE(frame);
    EXPECT_EQ(mMatteCalls->mTimes, std::vector{At(15)});
}

TEST_F(LayersInASequence, LayerMovesWithAViewOfAnotherMoment)
{
    // An effect above, on the same clip at plain speed, looks three frames back.
    const MF::IRenderableNodeRef clip(new RetimedClip(Node()));
    const ML::SubTreeRenderRef view = ML::CreateSubTreeRender(
        ParamsAt(16), ML::IRenderableNodeProducerProviderRef(clip), At(6), norviktypes::kTime_Zero);
    MF::IVideoFrameRef frame;
    view->RenderFrame(Frames(3), frame, false);
    EXPECT_TRUE(frame);
    EXPECT_EQ(mMatteCalls->mTimes, std::vector{At(13)});
}

} // namespace
