// Frames that several want, and frames that are kept.

#include "RenderableCutlistImpl.h"
#include "Tests/Support/Fakes/FakeNode.h"
#include "Tests/Support/FrameTools.h"
#include "Tests/VideoRenderer/QueueTests.h"
#include "VF/SharedVideoFrameCache.h"
#include "VideoRenderer/Src/RenderFrameQueueImpl.h"

#include <stdexcept>

namespace
{

using namespace TestSupport;
using RenderFrameQueueMerge = QueueTest;

TEST_F(RenderFrameQueueMerge, SecondRequestForTheSameFrameSharesTheResult)
{
    RecordingObserver observer;
    const FakeProducerRef producer(new FakeProducer(1));
    Add(QueueRequest(1, producer));
    Worker worker = TakeNext();
    Add(QueueRequest(2, producer));
    Settle();
    EXPECT_EQ(mQueue->Counts().mRedundant, 2U);
    EXPECT_EQ(mQueue->Counts().mAvailableMemoryUnits, 162U); // only the first one's unit is out
    EXPECT_TRUE(mClient->mTexts.empty());
    RenderAndReturn(worker);

    EXPECT_EQ(producer->mRenders, 1);
    EXPECT_EQ(mClient->mTexts, (Texts{"completed 1", "completed 2"}));
    EXPECT_EQ(mClient->mFrames.at(0).get(), mClient->mFrames.at(1).get());
    EXPECT_TRUE(mClient->mFrames.at(0)->IsFrozen());
    EXPECT_EQ(observer.Of(2), (Texts{"queued", "keyed", "prefetch begun", "ready", "merged", "finished"}));
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueueMerge, FrameOfOneRequestIsNotFrozen)
{
    Add(Request(1, 1));
    Settle();
    EXPECT_FALSE(mClient->mFrames.at(0)->IsFrozen());
}

TEST_F(RenderFrameQueueMerge, FailureIsSharedByAllWhoWaitAndNotTriedAgain)
{
    const FakeProducerRef producer(new FakeProducer(1));
    producer->mWhileRendering = [] { throw std::runtime_error("broken"); };
    Add(QueueRequest(1, producer));
    Worker worker = TakeNext();
    for (std::uint32_t id = 2; id <= 4; ++id)
    {
        Add(QueueRequest(id, producer));
    }
    Settle();
    RenderAndReturn(worker);
    Settle();

    EXPECT_EQ(producer->mRenders, 1);
    EXPECT_EQ(mClient->mTexts,
              (Texts{"error 1 a00d0000", "error 2 a00d0000", "error 3 a00d0000", "error 4 a00d0000"}));
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueueMerge, TwinOfTheSameIDIsDroppedSilently)
{
    const FakeProducerRef producer(new FakeProducer(1));
    Add(QueueRequest(1, producer));
    Worker worker = TakeNext();
    Add(QueueRequest(1, producer));
    Settle();
    RenderAndReturn(worker);
    Settle();
    EXPECT_EQ(mClient->mTexts, Texts{"completed 1"});
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueueMerge, FrameFoundInTheCacheWakesThoseWhoWaitForIt)
{
    const FakeProducerRef producer(new FakeProducer(1));
    Add(QueueRequest(1, producer));
    Worker worker = TakeNext();
    Add(QueueRequest(2, producer));
    Settle();
    VF::SharedVideoFrameCache::InsertIntoCache(SmallFrame(), worker.mRequest.GetKey(), 0);
    RenderAndReturn(worker);
    Settle();
    EXPECT_EQ(producer->mRenders, 0);
    EXPECT_EQ(mClient->mTexts, (Texts{"completed 1", "completed 2"}));
    EXPECT_EQ(AtRest(), "");
}

// The direct render takes the worker's own entry along and ends it, so the worker must not end it again.
TEST_F(RenderFrameQueueMerge, DirectRenderOfAKeyThatAWorkerHasEndsItOnce)
{
    const FakeProducerRef producer(new FakeProducer(1));
    Add(QueueRequest(1, producer));
    Worker worker = TakeNext();
    mVideo->Post(
        [&]
        {
            ML::RenderFrameRequest direct = QueueRequest(2, producer);
            direct.ComputeKey(true);
            Add(direct);
        });
    mVideo->RunOne();
    EXPECT_EQ(mClient->mTexts, (Texts{"completed 2", "completed 1"}));
    RenderAndReturn(worker);
    Settle();

    EXPECT_EQ(producer->mRenders, 2);
    EXPECT_EQ(mClient->mTexts, (Texts{"completed 2", "completed 1"}));
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueueMerge, SharedFrameIsFrozenBeforeAnybodyIsTold)
{
    const FakeProducerRef producer(new FakeProducer(1));
    Add(QueueRequest(1, producer));
    Worker worker = TakeNext();
    Add(QueueRequest(2, producer));
    Settle();
    mClient->mWhileTold = [this](std::uint32_t) { EXPECT_TRUE(mClient->mFrames.back()->IsFrozen()); };
    RenderAndReturn(worker);
    EXPECT_EQ(mClient->mTexts, (Texts{"completed 1", "completed 2"}));
}

// Only what is being made is shared; what is made is for the caches to keep.
TEST_F(RenderFrameQueueMerge, FrameThatWasMadeBeforeIsMadeAgain)
{
    const FakeProducerRef producer(new FakeProducer(1));
    for (std::uint32_t id = 1; id <= 2; ++id)
    {
        Add(QueueRequest(id, producer));
        Settle();
    }
    EXPECT_EQ(producer->mRenders, 2);
    EXPECT_EQ(mClient->mTexts, (Texts{"completed 1", "completed 2"}));
}

// ---- the frame cache ----

class RenderFrameQueueCache : public QueueTest
{
protected:
    // Renders a request with flags and priority; whether its frame is in the cache then.
    bool IsCachedAfterRender(std::uint32_t inFlags, std::uint32_t inPriority)
    {
        ML::RenderFrameRequest request = Request(1, 1);
        request.mRenderFlags = inFlags;
        request.mPriority = inPriority;
        request.ComputeKey(true);
        Add(request);
        Settle();
        EXPECT_EQ(mClient->mTexts, Texts{"completed 1"});
        return static_cast<bool>(VF::SharedVideoFrameCache::RetrieveFromCache(request.GetKey()));
    }
};

TEST_F(RenderFrameQueueCache, FrameIsCachedWhenItsFlagSaysAlways)
{
    EXPECT_TRUE(IsCachedAfterRender(ML::kRenderFlag_CacheAlways, 1000));
}

TEST_F(RenderFrameQueueCache, FrameIsNotCachedWithoutAFlag)
{
    EXPECT_FALSE(IsCachedAfterRender(0, 1000));
}

TEST_F(RenderFrameQueueCache, LowPriorityIsNoReasonToCache)
{
    EXPECT_FALSE(IsCachedAfterRender(2, 100));
}

TEST_F(RenderFrameQueueCache, FrameThatMayMoveIsNotCachedAsAStill)
{
    EXPECT_FALSE(IsCachedAfterRender(ML::kRenderFlag_CacheStills, 1000)); // no cutlist says that it stands
}

// A sequence that stands still from 1000 up to 1010 ticks.
FakeCutlistProviderRef SequenceWithAStill()
{
    const FakeProducerNodeRef node(new FakeProducerNode("Producing"));
    node->mStillRanges = {{norviktypes::TickTime(1000), norviktypes::TickTime(1010)}};
    node->Finalize();
    const ML::IMutableCutlistRef cutlist = ML::CreateMutableCutlist();
    cutlist->AddSegment(norviktypes::TickTime(0), norviktypes::TickTime(5000), norviktypes::TickTime(0),
                        MF::IRenderableNodeRef(node.get()));
    cutlist->Finalize();
    const FakeCutlistProviderRef provider(new FakeCutlistProvider);
    provider->mCutlist = MF::IRenderableCutlistRef(cutlist);
    return provider;
}

TEST_F(RenderFrameQueueCache, FrameIsCachedWhereItsSequenceStandsStill)
{
    const FakeCutlistProviderRef sequence = SequenceWithAStill();
    std::uint32_t id = 0;
    const auto isCachedAt = [&](std::int64_t inTicks, std::uint32_t inFlags)
    {
        ML::RenderFrameSettings settings = QueueSettings(++id);
        settings.mTime = norviktypes::TickTime(inTicks);
        settings.mVideoSegments = MF::IRenderableCutlistProviderRef(sequence.get());
        settings.mRenderFlags = inFlags;
        ML::RenderFrameRequest request(settings,
                                       TVK::TVKUnknownRef(FakeProducerRef(new FakeProducer(id)).get()),
                                       TVK::TVKUnknownRef(), false, false);
        Add(request);
        Settle();
        return static_cast<bool>(VF::SharedVideoFrameCache::RetrieveFromCache(request.GetKey()));
    };
    EXPECT_FALSE(isCachedAt(999, ML::kRenderFlag_CacheStills));
    EXPECT_TRUE(isCachedAt(1000, ML::kRenderFlag_CacheStills));
    EXPECT_TRUE(isCachedAt(1009, ML::kRenderFlag_CacheStills));
    EXPECT_FALSE(isCachedAt(1010, ML::kRenderFlag_CacheStills));
    EXPECT_FALSE(isCachedAt(1000, 0)) << "nobody asked for it";
    EXPECT_EQ(mClient->mTexts.size(), 5U);
}

TEST_F(RenderFrameQueueCache, FrameOfPriority811IsKeptLongerThanOneOf810)
{
    std::vector<ML::RenderFrameRequest> requests;
    for (const std::uint32_t priority : {811U, 810U})
    {
        const auto id = static_cast<std::uint32_t>(requests.size()) + 1;
        requests.push_back(Request(id, id));
        requests.back().mRenderFlags = ML::kRenderFlag_CacheAlways;
        requests.back().mPriority = priority;
        requests.back().ComputeKey(true);
        Add(requests.back());
        Settle();
    }
    EXPECT_EQ(mClient->mTexts.size(), 2U);
    // There is room for one: among equals that would be the later one.
    SetFrameCacheBudget(FrameCacheBytes() / 2);
    EXPECT_TRUE(VF::SharedVideoFrameCache::RetrieveFromCache(requests[0].GetKey()));
    EXPECT_FALSE(VF::SharedVideoFrameCache::RetrieveFromCache(requests[1].GetKey()));
    SetFrameCacheBudget(kUsualFrameCacheBudget);
}

TEST_F(RenderFrameQueueCache, FrameInTheCacheIsNotRenderedAgain)
{
    RecordingObserver observer;
    const FakeProducerRef producer(new FakeProducer(1));
    ML::RenderFrameRequest request = QueueRequest(1, producer);
    request.ComputeKey(true);
    const MF::IVideoFrameRef cached = SmallFrame();
    VF::SharedVideoFrameCache::InsertIntoCache(cached, request.GetKey(), 0);
    Add(request);
    Settle();
    EXPECT_EQ(producer->mRenders, 0);
    EXPECT_EQ(mClient->mTexts, Texts{"completed 1"});
    EXPECT_EQ(mClient->mFrames.at(0).get(), cached.get());
    EXPECT_EQ(mClient->mMilliseconds, 0);
    EXPECT_EQ(observer.Of(1),
              (Texts{"queued", "keyed", "prefetch begun", "ready", "admitted", "cache hit", "finished"}));
}

} // namespace
