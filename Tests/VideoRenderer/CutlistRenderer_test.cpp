#include "CutlistRenderer.h"

#include "RenderableCutlistImpl.h"
#include "RenderableNodeDisabledImpl.h"
#include "TVK/HashValue.h"
#include "Tests/Support/FrameTools.h"
#include "Tests/Support/Layers/LayerNode.h"
#include "Tests/Support/Layers/LayerStack.h"
#include "Tests/Support/PixelMatchers.h"
#include "Tests/VideoRenderer/HostCalls.h"
#include "Tests/VideoRenderer/RenderParams.h"
#include "VF/SharedVideoFrameCache.h"

#include <gtest/gtest.h>

#include <cstring>

namespace
{

using norviktypes::TickTime;

constexpr norviktypes::PixelFormat kBGRA = norviktypes::kPixelFormat_BGRA_4444_8u;
constexpr norviktypes::PixelFormat kBGRP = norviktypes::kPixelFormat_BGRP_4444_8u;
constexpr norviktypes::PixelFormat kAny = norviktypes::kPixelFormat_Any;

// A producer that does what a test says, and counts.
class FakeProducer final : public TVK::Implements<FakeProducer, ML::IRenderableNodeProducer>
{
public:
    std::int32_t mStatus = 0;
    MF::IVideoFrameRef mFrame;
    TVK::Guid mHash{0x51, 0x52};
    int mRenders = 0;
    MF::FrameTime mTime;
    TVK::Guid mBaseHash{1, 1};

    std::int32_t GetFrame(const MF::FrameTime& inTime, const ML::CutlistRenderParams&,
                          MF::IVideoFrameRef& outFrame) override
    {
        ++mRenders;
        mTime = inTime;
        outFrame = mFrame;
        return mStatus;
    }
    void GetFrameHash(TVK::Guid& outHash, const MF::FrameTime& inTime, const ML::CutlistRenderParams&,
                      const TVK::Guid& inBaseHash) override
    {
        mTime = inTime;
        mBaseHash = inBaseHash;
        outHash = mHash;
    }
};
using FakeProducerRef = TVK::InterfaceRef<FakeProducer>;

class FakePrefetch final : public TVK::Implements<FakePrefetch, ML::IRenderableNodePrefetch>
{
public:
    std::int32_t BeginPrefetch() override { return 0; }
    std::int32_t GetPrefetchResult(MF::IVideoFrameRef&) override { return 0; }
    std::int32_t CancelPrefetch() override { return 0; }
    void GetPrefetchKey(TVK::Guid& outKey) const override { outKey = {}; }
    bool ContinueWaitingForPrefetch(double) override { return false; }
};

// A node that hands out one producer and one prefetch item, and notes the times that it was asked for.
class FakeNode final : public TVK::Extends<ML::RenderableNodeCommonImpl, ML::IRenderableNodeProducerProvider>
{
public:
    FakeProducerRef mProducer{new FakeProducer};
    MF::FrameTime mTime;

    FakeNode() { Finalize(); }
    norvik::utility::ImmutableString GetNodeType() const override
    {
        return norvik::utility::ImmutableString::CreateStatic("FakeNode");
    }
    ML::IRenderableNodeProducerRef GetProducerForFrame(const MF::FrameTime& inTime,
                                                       const ML::CutlistRenderParams&) override
    {
        mTime = inTime;
        return ML::IRenderableNodeProducerRef(mProducer);
    }
    void AddOwnPrefetchesForFrame(const MF::FrameTime& inTime, const ML::CutlistRenderParams&,
                                  std::vector<ML::IRenderableNodePrefetchRef>& ioPrefetches) override
    {
        mTime = inTime;
        ioPrefetches.push_back(ML::IRenderableNodePrefetchRef(new FakePrefetch));
    }
};
using FakeNodeRef = TVK::InterfaceRef<FakeNode>;

// A node from 100 to 200 whose own time is 1000 at 100.
MF::IRenderableCutlistRef CutlistFrom100(const MF::IRenderableNodeRef& inNode)
{
    const ML::IMutableCutlistRef cutlist = ML::CreateMutableCutlist();
    cutlist->AddSegment(TickTime(100), TickTime(200), TickTime(1000), inNode);
    cutlist->Finalize();
    return MF::IRenderableCutlistRef(cutlist);
}

ML::CutlistRenderParams ParamsAt(std::int64_t inFirst, std::int64_t inSecond)
{
    ML::CutlistRenderParams params = RenderParams(16, 8);
    params.mFrameTime = {TickTime(inFirst), TickTime(inSecond)};
    return params;
}

// Answers one status to every question, with nothing behind it.
class FailingCutlist final : public TVK::Implements<FailingCutlist, MF::IRenderableCutlist>
{
public:
    std::uint32_t GetSegmentCount() const override { return 0; }
    TVK::Guid GetHashValue() const override { return {}; }
    std::int32_t GetNthSegmentDescription(std::uint32_t, TickTime&, TickTime&, TickTime&,
                                          TVK::Guid&) const override
    {
        return -7;
    }
    std::int32_t GetRenderableNodeFromHashValue(const TVK::Guid&, MF::IRenderableNodeRef&) const override
    {
        return -7;
    }
    std::int32_t FindNodeForTime(const MF::FrameTime&, MF::IRenderableNodeRef&, MF::FrameTime&) const override
    {
        return -7;
    }
    std::int32_t FindNodeForTimeRange(const MF::FrameTime&, const MF::FrameTime&, MF::IRenderableNodeRef&,
                                      MF::FrameTime&) const override
    {
        return -7;
    }
    std::int32_t FindSegmentForTime(const TickTime&, std::uint32_t&, TickTime&, TickTime&, TickTime&,
                                    TVK::Guid&) const override
    {
        return -7;
    }
    norvik::utility::ImmutableString GetStreamLabel() const override { return {}; }
};

class CutlistRenderer : public testing::Test
{
protected:
    void SetUp() override { TestSupport::EmptyFrameCache(); }

    ML::CutlistRenderParams mParams = RenderParams(16, 8);
    FakeProducerRef mProducer{new FakeProducer};

    MF::IVideoFrameRef Render(const std::vector<norviktypes::PixelFormat>& inAccepted, bool inStore)
    {
        return ML::RenderFrameFromCutlist(ML::IRenderableNodeProducerRef(mProducer), mParams,
                                          MF::FrameTime(TickTime(5)), inAccepted, inStore);
    }
    MF::IVideoFrameRef Cached() const
    {
        return VF::SharedVideoFrameCache::RetrieveFromCache(mProducer->mHash);
    }
};

TEST_F(CutlistRenderer, GivesTheProducerOfTheNodeAtTheTimeAndTimesOfTheNode)
{
    const FakeNodeRef node(new FakeNode);
    ML::IRenderableNodeProducerRef producer;
    MF::FrameTime times;
    EXPECT_EQ(0, ML::ResolveProducerAtTime(CutlistFrom100(MF::IRenderableNodeRef(node)), ParamsAt(150, 160),
                                           producer, times));
    EXPECT_TRUE(producer == node->mProducer);
    EXPECT_EQ(MF::FrameTime(TickTime(1050), TickTime(1060)), times);
    EXPECT_EQ(times, node->mTime);
}

TEST_F(CutlistRenderer, NoNodeAtTheTimeEmptiesTheProducerAndSucceeds)
{
    ML::IRenderableNodeProducerRef producer(mProducer);
    MF::FrameTime times;
    const auto cutlist = CutlistFrom100(MF::IRenderableNodeRef(FakeNodeRef(new FakeNode)));
    EXPECT_EQ(0, ML::ResolveProducerAtTime(cutlist, ParamsAt(200, 200), producer, times));
    EXPECT_FALSE(producer);
}

TEST_F(CutlistRenderer, NodeThatHandsOutNoProducersGivesNone)
{
    const TVK::InterfaceRef<ML::RenderableNodeDisabledImpl> disabled(new ML::RenderableNodeDisabledImpl);
    disabled->AppendInput(MF::IRenderableNodeRef(FakeNodeRef(new FakeNode)), TickTime(0));
    disabled->Finalize();
    ML::IRenderableNodeProducerRef producer(mProducer);
    MF::FrameTime times;
    EXPECT_EQ(0, ML::ResolveProducerAtTime(CutlistFrom100(MF::IRenderableNodeRef(disabled)),
                                           ParamsAt(150, 150), producer, times));
    EXPECT_FALSE(producer);
}

TEST_F(CutlistRenderer, FailingStatusOfTheCutlistIsReturnedAsItIs)
{
    ML::IRenderableNodeProducerRef producer(mProducer);
    MF::FrameTime times;
    EXPECT_EQ(-7, ML::ResolveProducerAtTime(MF::IRenderableCutlistRef(new FailingCutlist), mParams, producer,
                                            times));
    EXPECT_FALSE(producer);
}

TEST_F(CutlistRenderer, EmptyCutlistReferenceThrows)
{
    ML::IRenderableNodeProducerRef producer;
    MF::FrameTime times;
    EXPECT_THROW(ML::ResolveProducerAtTime({}, mParams, producer, times), TVK::NullInterfaceException);
}

TEST_F(CutlistRenderer, FrameHashIsTheProducersInNodeTimeGoingOnFromTheCallersHash)
{
    const FakeNodeRef node(new FakeNode);
    TVK::Guid hash;
    ML::ComputeFrameHash(hash, CutlistFrom100(MF::IRenderableNodeRef(node)), ParamsAt(150, 150), {3, 4});
    EXPECT_EQ(node->mProducer->mHash, hash);
    EXPECT_EQ(TVK::Guid(3, 4), node->mProducer->mBaseHash);
    EXPECT_EQ(MF::FrameTime(TickTime(1050)), node->mProducer->mTime);
}

TEST_F(CutlistRenderer, FrameHashWithoutProducerIsTheBlackFramesGoingOnFromTheCallersHash)
{
    const auto cutlist = CutlistFrom100(MF::IRenderableNodeRef(FakeNodeRef(new FakeNode)));
    const ML::CutlistRenderParams params = ParamsAt(0, 0);
    TVK::Guid unseeded;
    TVK::Guid seeded;
    ML::ComputeFrameHash(unseeded, cutlist, params, {});
    ML::ComputeFrameHash(seeded, cutlist, params, {3, 4});
    EXPECT_EQ(ML::HashOfBlackVideoFrame(params, {}), unseeded);
    EXPECT_EQ(ML::HashOfBlackVideoFrame(params, {3, 4}), seeded);
    EXPECT_NE(unseeded, seeded);
}

TEST_F(CutlistRenderer, HashOfTheBlackFrameMixesTextSizeAspectAndFormat)
{
    ML::CutlistRenderParams params = RenderParams(720, 576, norviktypes::kRenderQuality_High, kBGRP);
    params.mPixelAspectRatio = {16, 15};

    TVK::HashValue hash;
    const auto mix = [&hash](const void* bytes, std::uint32_t size)
    {
        hash.mTotal += size;
        TVK::MixHash::MixInData(hash, bytes, size);
    };
    const std::uint8_t width[4] = {0xD0, 0x02, 0, 0};
    const std::uint8_t height[4] = {0x40, 0x02, 0, 0};
    const std::uint8_t aspect[8] = {16, 0, 0, 0, 15, 0, 0, 0};
    const std::uint8_t format[8] = {'p', 'R', 'G', 'B', 0x00, 0x01, 0x04, 0x00};
    mix("BlackVideoFrame from RenderFrameFromCutlist", 43);
    mix(width, 4);
    mix(height, 4);
    mix(aspect, 8);
    mix(format, 8);
    EXPECT_EQ(hash.AsGuid(), ML::HashOfBlackVideoFrame(params, {}));
}

TEST_F(CutlistRenderer, PrefetchAsksTheNodeInItsOwnTime)
{
    const FakeNodeRef node(new FakeNode);
    const auto cutlist = CutlistFrom100(MF::IRenderableNodeRef(node));
    std::vector<ML::IRenderableNodePrefetchRef> items;
    ML::PrefetchFromCutlist(cutlist, ParamsAt(150, 160), items);
    EXPECT_EQ(1u, items.size());
    EXPECT_EQ(MF::FrameTime(TickTime(1050), TickTime(1060)), node->mTime);
    ML::PrefetchFromCutlist(cutlist, ParamsAt(150, 160), items);
    EXPECT_EQ(2u, items.size()) << "items are appended";
}

TEST_F(CutlistRenderer, PrefetchSaysNothingOfGapsAndFailures)
{
    const auto cutlist = CutlistFrom100(MF::IRenderableNodeRef(FakeNodeRef(new FakeNode)));
    std::vector<ML::IRenderableNodePrefetchRef> items;
    ML::PrefetchFromCutlist(cutlist, ParamsAt(0, 0), items);
    ML::PrefetchFromCutlist(MF::IRenderableCutlistRef(new FailingCutlist), mParams, items);
    EXPECT_TRUE(items.empty());
}

TEST_F(CutlistRenderer, TimeWithoutNodeIsTheBlackFrameAndTheSameObjectNextTime)
{
    const MF::IVideoFrameRef first = ML::RenderFrameFromCutlist({}, mParams, {}, {kAny}, false);
    const MF::IVideoFrameRef second = ML::RenderFrameFromCutlist({}, mParams, {}, {kBGRP}, true);
    ASSERT_TRUE(first);
    EXPECT_TRUE(first->IsFrozen());
    EXPECT_TRUE(first == second);
    EXPECT_TRUE(TestSupport::IsFilledWith(first, {0, 0, 0, 0})) << "transparent black";
    TVK::Rect bounds;
    first->GetBounds(bounds);
    EXPECT_EQ((TVK::Rect{0, 0, 16, 8}), bounds);
}

TEST_F(CutlistRenderer, BlackFramesOfOtherSizeAspectOrFormatAreOthers)
{
    const MF::IVideoFrameRef black = ML::GetBlackVideoFrame(mParams);
    ML::CutlistRenderParams wider = mParams;
    wider.mWidth = 18;
    ML::CutlistRenderParams higher = mParams;
    higher.mHeight = 10;
    ML::CutlistRenderParams stretched = mParams;
    stretched.mPixelAspectRatio = {2, 1};
    ML::CutlistRenderParams premultiplied = mParams;
    premultiplied.mPixelFormat = kBGRP;
    for (const ML::CutlistRenderParams& params : {wider, higher, stretched, premultiplied})
    {
        const MF::IVideoFrameRef other = ML::GetBlackVideoFrame(params);
        EXPECT_FALSE(black == other);
        norviktypes::PixelAspectRatio ratio;
        other->GetPixelAspectRatio(ratio);
        EXPECT_EQ(params.mPixelAspectRatio, ratio);
    }
}

TEST_F(CutlistRenderer, BlackFrameThatCannotBeMadeIsEmptyAndNotCached)
{
    mParams.mPixelFormat = kAny;
    EXPECT_FALSE(ML::GetBlackVideoFrame(mParams));
    EXPECT_FALSE(
        VF::SharedVideoFrameCache::RetrieveFromCache(ML::HashOfBlackVideoFrame(mParams, TVK::Guid())));
    mParams = RenderParams(0, 8);
    EXPECT_FALSE(ML::GetBlackVideoFrame(mParams));
}

TEST_F(CutlistRenderer, MissRendersOnceAndHitDoesNotRender)
{
    mProducer->mFrame = TestSupport::NewFilledFrame(kBGRA, 16, 8, {1, 2, 3, 4});
    const MF::IVideoFrameRef rendered = Render({kAny}, true);
    EXPECT_EQ(1, mProducer->mRenders);
    EXPECT_EQ(MF::FrameTime(TickTime(5)), mProducer->mTime);
    EXPECT_EQ(TVK::Guid(), mProducer->mBaseHash);
    EXPECT_TRUE(rendered == mProducer->mFrame);
    EXPECT_TRUE(rendered->IsFrozen());
    EXPECT_TRUE(Cached() == rendered);

    EXPECT_TRUE(Render({kAny}, true) == rendered);
    EXPECT_EQ(1, mProducer->mRenders);
}

TEST_F(CutlistRenderer, PicturesAndBlackFramesAreOfOneImportanceInTheCache)
{
    mProducer->mFrame = TestSupport::NewFilledFrame(kBGRA, 16, 8, {1, 2, 3, 4});
    Render({kAny}, true);
    EXPECT_EQ(10, TestSupport::HostCalls::PriorityOfLastInsertion());
    VF::SharedVideoFrameCache::InsertIntoCache(TestSupport::NewFrame(kBGRA, 1, 1), {8, 9}, 3);
    EXPECT_EQ(3, TestSupport::HostCalls::PriorityOfLastInsertion());
    ML::GetBlackVideoFrame(mParams);
    EXPECT_EQ(10, TestSupport::HostCalls::PriorityOfLastInsertion());
}

TEST_F(CutlistRenderer, BlackFrameIsBlackInMemoryThatOtherFramesHaveHad)
{
    for (int round = 0; round < 4; ++round)
    {
        TestSupport::EmptyFrameCache();
        for (int frame = 0; frame < 3; ++frame)
        {
            TestSupport::NewFilledFrame(kBGRA, 16, 8, {255, 254, 253, 252});
        }
        EXPECT_TRUE(TestSupport::IsFilledWith(ML::GetBlackVideoFrame(mParams), {0, 0, 0, 0}));
    }
}

TEST_F(CutlistRenderer, FrameIsNeitherCachedNorFrozenUnlessAskedFor)
{
    mProducer->mFrame = TestSupport::NewFilledFrame(kBGRA, 16, 8, {1, 2, 3, 4});
    EXPECT_FALSE(Render({kAny}, false)->IsFrozen());
    EXPECT_FALSE(Cached());
    Render({kAny}, false);
    EXPECT_EQ(2, mProducer->mRenders);
}

TEST_F(CutlistRenderer, WhatIsCachedIsTheFrameAsConformed)
{
    mProducer->mFrame = TestSupport::NewFilledFrame(kBGRA, 16, 8, {200, 100, 50, 128});
    const MF::IVideoFrameRef conformed = Render({kBGRP}, true);
    EXPECT_TRUE(TestSupport::IsFilledWith(conformed, {100, 50, 25, 128}));
    EXPECT_TRUE(Cached() == conformed);
    EXPECT_FALSE(mProducer->mFrame->IsFrozen()) << "the producer's own frame isn't what was cached";
}

TEST_F(CutlistRenderer, CachedFrameIsConformedAndNotPutBack)
{
    mProducer->mFrame = TestSupport::NewFilledFrame(kBGRA, 16, 8, {200, 100, 50, 128});
    const MF::IVideoFrameRef cached = Render({kAny}, true);
    const MF::IVideoFrameRef conformed = Render({kBGRP}, true);
    EXPECT_TRUE(TestSupport::IsFilledWith(conformed, {100, 50, 25, 128}));
    EXPECT_FALSE(conformed->IsFrozen());
    EXPECT_TRUE(Cached() == cached);
    EXPECT_EQ(1, mProducer->mRenders);
}

TEST_F(CutlistRenderer, FailingProducerGivesNoFrameEvenIfItLeftOne)
{
    mProducer->mFrame = TestSupport::NewFilledFrame(kBGRA, 16, 8, {1, 2, 3, 4});
    mProducer->mStatus = -5;
    EXPECT_FALSE(Render({kAny}, true));
    EXPECT_FALSE(Cached());
}

TEST_F(CutlistRenderer, ProducerWithoutFrameGivesNone)
{
    EXPECT_FALSE(Render({kBGRP}, true));
    EXPECT_FALSE(Cached());
}

TEST_F(CutlistRenderer, ExceptionOfAPictureReachesTheCaller)
{
    const MF::IRenderableNodeRef node =
        TestSupport::CreateLayerNode("throws",
                                     [](const MF::FrameTime&, const ML::CutlistRenderParams&,
                                        MF::IVideoFrameRef&) -> std::int32_t { throw std::bad_alloc(); });
    const auto cutlist = TestSupport::CutlistOfNode(node, TickTime(10));
    ML::IRenderableNodeProducerRef producer;
    MF::FrameTime times;
    ML::ResolveProducerAtTime(cutlist, mParams, producer, times);
    EXPECT_THROW(ML::RenderFrameFromCutlist(producer, mParams, times, {kAny}, true), std::bad_alloc);
}

} // namespace
