#include "ML/SharedExecutors.h"
#include "RenderableCutlistImpl.h"
#include "TVK/Waitable.h"
#include "Tests/Support/ContractText.h"
#include "Tests/Support/Fakes/FakeNode.h"
#include "Tests/Support/FrameTools.h"
#include "Tests/VideoRenderer/QueueTests.h"
#include "VF/SharedVideoFrameCache.h"
#include "VideoRenderer/Src/RenderFrameQueueImpl.h"
#include "norvik/utility/Machine.h"

#include <stdexcept>

namespace
{

using namespace TestSupport;
using Items = std::vector<ML::IRenderableNodePrefetchRef>;

class RenderFrameQueue : public QueueTest
{
protected:
    // A request that waits for inRead.
    static ML::RenderFrameRequest Reading(std::uint32_t inID, const FakePrefetchRef& inRead)
    {
        return QueueRequest(inID, FakeProducerRef(new FakeProducer(inID)), {inRead});
    }
    // inCount requests, each waiting for a read of its own, in the prefetch station or before it.
    std::vector<FakePrefetchRef> AddReading(std::uint32_t inFirstID, std::uint32_t inCount)
    {
        std::vector<FakePrefetchRef> reads;
        for (std::uint32_t i = 0; i < inCount; ++i)
        {
            reads.emplace_back(new FakePrefetch);
            Add(Reading(inFirstID + i, reads.back()));
        }
        return reads;
    }
    ML::RenderFrameRequest Sized(std::uint32_t inID, std::int32_t inWidth, std::int32_t inHeight,
                                 const norviktypes::PixelFormat& inFormat)
    {
        ML::RenderFrameSettings settings = QueueSettings(inID);
        settings.mOutputRect = TVK::Rect{0, 0, inWidth, inHeight};
        settings.mRequestedFormats = {inFormat};
        return ML::RenderFrameRequest(settings,
                                      TVK::TVKUnknownRef(FakeProducerRef(new FakeProducer(inID)).get()),
                                      TVK::TVKUnknownRef(), true, false);
    }
};

TEST_F(RenderFrameQueue, RequestBecomesFrameAndTellsItsClientOnce)
{
    Add(Request(5, 50));
    Settle();

    EXPECT_EQ(mClient->mTexts, Texts{"completed 5"});
    EXPECT_TRUE(mClient->mFrames.at(0));
    EXPECT_EQ(mClient->mContexts.at(0), 7005U);
    EXPECT_EQ(mClient->mTimes.at(0), norviktypes::TickTime(5000));
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueue, AddingReturnsBeforeAnythingIsDone)
{
    Add(Request(5, 50));

    EXPECT_TRUE(mClient->mTexts.empty());
    EXPECT_EQ(mQueue->Counts().mIncoming, 1U);
    EXPECT_EQ(mQueue->Counts().mPassesScheduled, 1U);
}

TEST_F(RenderFrameQueue, IdleQueuePostsNothing)
{
    Add(Request(5, 50));
    Settle();

    EXPECT_EQ(mPasses->DelayedCount(), 0U);
    EXPECT_FALSE(mPasses->RunOne());
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueue, PrefetchStationTakesOneRequestLessThanItsLimit)
{
    // Four processors: a limit of 8. The first pull exchanges the sides, which costs one more.
    const std::vector<FakePrefetchRef> reads = AddReading(1, 20);
    mPasses->RunOne();
    EXPECT_EQ(mQueue->Counts().mPrefetching, 6U);

    // Room for two: one less is taken, and no exchange is needed any more.
    mPasses->RunAll();
    ML::RenderFrameQueue::Impl& queue = mQueue->GetImpl();
    queue.ProcessPendingRequests(false);
    EXPECT_EQ(mQueue->Counts().mPrefetching, 7U);
    // Room for one: none.
    queue.ProcessPendingRequests(false);
    EXPECT_EQ(mQueue->Counts().mPrefetching, 7U);
    EXPECT_EQ(mQueue->Counts().mIncoming, 13U);
}

TEST_F(RenderFrameQueue, FinishedReadsMakeRoomForTheNext)
{
    const std::vector<FakePrefetchRef> reads = AddReading(1, 20);
    Settle();
    for (const FakePrefetchRef& read : reads)
    {
        read->mIsReady = true;
    }
    Advance(5);
    Settle();

    EXPECT_EQ(mClient->mTexts.size(), 20U);
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueue, IsPolledEveryFiveMillisecondsWhileSomethingIsRead)
{
    int asked = 0;
    const FakePrefetchRef read(new FakePrefetch);
    read->mWhileAsked = [&asked] { ++asked; };
    Add(Reading(1, read));
    Settle();
    EXPECT_EQ(asked, 1);
    Advance(4);
    EXPECT_EQ(asked, 1);
    Advance(1);
    EXPECT_EQ(asked, 2);
    Advance(50);
    EXPECT_EQ(asked, 12);
}

TEST_F(RenderFrameQueue, ReadThatIsSlowIsWaitedForUpToFifteenSeconds)
{
    RecordingObserver observer;
    const FakePrefetchRef read(new FakePrefetch);
    Add(Reading(1, read));
    Settle();
    Advance(15000);
    Settle();
    EXPECT_TRUE(mClient->mTexts.empty());
    EXPECT_TRUE(read->mAskedToWait.empty());

    Advance(5);
    Settle();
    EXPECT_EQ(mClient->mTexts, Texts{"completed 1"});
    ASSERT_EQ(read->mAskedToWait.size(), 1U);
    EXPECT_GT(read->mAskedToWait.front(), 15.0);
    EXPECT_EQ(observer.Of(1),
              (Texts{"queued", "keyed", "prefetch begun", "timed out", "admitted", "rendered", "finished"}));
}

TEST_F(RenderFrameQueue, ReadThatStillWorksAfterFifteenSecondsIsWaitedForLonger)
{
    const FakePrefetchRef idle(new FakePrefetch);
    const FakePrefetchRef working(new FakePrefetch);
    working->mIsWorking = true;
    Add(QueueRequest(1, FakeProducerRef(new FakeProducer(1)), {working, idle}));
    Settle();
    Advance(20000);
    EXPECT_TRUE(mClient->mTexts.empty());
    // Each item is asked, whatever the ones before it said.
    EXPECT_EQ(idle->mAskedToWait.size(), working->mAskedToWait.size());

    working->mIsWorking = false;
    Advance(5);
    Settle();
    EXPECT_EQ(mClient->mTexts, Texts{"completed 1"});
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueue, CacheNoticePollsAtOnceAndOnlyOnce)
{
    const FakePrefetchRef read(new FakePrefetch);
    Add(Reading(1, read));
    Settle();
    read->mIsReady = true;
    VF::SharedVideoFrameCache::InsertIntoCache(SmallFrame(), TVK::Guid(1, 1), 0);
    VF::SharedVideoFrameCache::InsertIntoCache(SmallFrame(), TVK::Guid(1, 2), 0);
    EXPECT_TRUE(mClient->mTexts.empty()); // never on the thread that gives notice

    EXPECT_TRUE(mPasses->RunOne());
    EXPECT_FALSE(mPasses->RunOne());
    Settle();
    EXPECT_EQ(mClient->mTexts, Texts{"completed 1"});
}

TEST_F(RenderFrameQueue, ItemsThatCantBeginAreLeftOut)
{
    const FakePrefetchRef failing(new FakePrefetch);
    failing->mBeginStatus = -1;
    Add(Reading(1, failing));
    Settle();
    EXPECT_EQ(mClient->mTexts, Texts{"completed 1"});
}

// Whoever finishes makes room, and what is still incoming comes in without waiting for the clock.
TEST_F(RenderFrameQueue, RoomIsFilledAtOnce)
{
    ML::sNormalPriorityRenderQueue.reset(); // no worker lends a hand
    for (std::uint32_t id = 1; id <= 40; ++id)
    {
        Add(Request(id, id));
    }
    mPasses->RunAll();
    EXPECT_EQ(mQueue->Counts().mNormal, 40U);
    EXPECT_EQ(mPasses->DelayedCount(), 0U);
}

// ---- priorities and memory ----

TEST_F(RenderFrameQueue, PriorityBelow900IsLow)
{
    ML::RenderFrameRequest low = Request(1, 1);
    low.mPriority = 899;
    ML::RenderFrameRequest normal = Request(2, 2);
    normal.mPriority = 900;
    Add(low);
    Add(normal);
    mPasses->RunAll();

    EXPECT_EQ(mQueue->Counts().mLow, 1U);
    EXPECT_EQ(mQueue->Counts().mNormal, 1U);
}

TEST_F(RenderFrameQueue, LowPriorityNeverStartsWhileNormalWorkIsThere)
{
    ML::RenderFrameRequest low = Request(1, 1);
    low.mPriority = 899;
    Add(low);
    mPasses->RunAll(); // a low pass is posted
    Add(Request(2, 2));
    mPasses->RunAll();
    EXPECT_EQ(mQueue->Counts().mNormal, 1U);

    mLow->RunAll();
    EXPECT_TRUE(mClient->mTexts.empty());
    Settle();
    EXPECT_EQ(mClient->mTexts, (Texts{"completed 2", "completed 1"}));
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueue, HigherPriorityComesFirstAndEqualOnesInOrderOfArrival)
{
    const std::uint32_t priorities[] = {900, 1000, 900, 1200, 1000};
    for (std::uint32_t id = 1; id <= 5; ++id)
    {
        ML::RenderFrameRequest request = Request(id, id);
        request.mPriority = priorities[id - 1];
        Add(request);
    }
    mPasses->RunAll();
    Settle();
    EXPECT_EQ(mClient->mTexts,
              (Texts{"completed 4", "completed 2", "completed 5", "completed 1", "completed 3"}));
}

TEST_F(RenderFrameQueue, MemoryIsTakenForTheRenderAndComesBack)
{
    Add(Sized(1, 1920, 1080, norviktypes::kPixelFormat_BGRA_4444_8u));
    Worker worker = TakeNext();
    EXPECT_EQ(worker.mUnits, 6U);
    EXPECT_EQ(mQueue->Counts().mAvailableMemoryUnits, 157U);
    EXPECT_EQ(worker.mRequest.mRequestID, 1U);
    RenderAndReturn(worker);
    Settle();
    EXPECT_EQ(mClient->mTexts, Texts{"completed 1"});
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueue, RequestThatDoesNotFitWaitsForMemory)
{
    RecordingObserver observer;
    ML::RenderFrameQueue::Impl& queue = mQueue->GetImpl();
    ASSERT_TRUE(queue.Memory().TryTake(160)); // three are left
    Add(Sized(1, 1920, 1080, norviktypes::kPixelFormat_BGRA_4444_8u));
    Settle();
    EXPECT_TRUE(mClient->mTexts.empty());
    EXPECT_EQ(mQueue->Counts().mNormal, 1U);
    EXPECT_EQ(mQueue->Counts().mPassesScheduled, 0U);

    queue.Memory().GiveBack(160);
    queue.ProcessPendingRequests(false);
    Settle();
    EXPECT_EQ(mClient->mTexts, Texts{"completed 1"});
    EXPECT_EQ(observer.Of(1), (Texts{"queued", "keyed", "prefetch begun", "ready", "waiting for memory",
                                     "admitted", "rendered", "finished"}));
    EXPECT_EQ(AtRest(), "");
}

// The other workers come while the first renders, find no memory and go: only its return lets them in.
TEST_F(RenderFrameQueue, WorkerThatReturnsItsMemoryLetsTheNextOneIn)
{
    ASSERT_TRUE(mQueue->GetImpl().Memory().TryTake(162)); // room for one at a time
    for (std::uint32_t id = 1; id <= 3; ++id)
    {
        const FakeProducerRef producer(new FakeProducer(id));
        producer->mWhileRendering = [this]
        {
            while (mNormal->RunOne())
            {
            }
        };
        Add(QueueRequest(id, producer));
    }
    Settle();
    EXPECT_EQ(mClient->mTexts, (Texts{"completed 1", "completed 2", "completed 3"}));
    mQueue->GetImpl().Memory().GiveBack(162);
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueue, NextRequestNeedsAPlaceToGo)
{
    std::uint32_t units = 0;
    EXPECT_EQ(
        ContractText([&] { mQueue->GetImpl().GetNextRequestAndAccountForMemory(nullptr, false, units); }),
        "outRenderFrameRequest|Src/RenderFrameQueue|"
        "ML::RenderFrameQueue::GetNextRequestAndAccountForMemory");
}

TEST_F(RenderFrameQueue, EachTakenRequestPostsTheNextWorker)
{
    for (std::uint32_t id = 1; id <= 3; ++id)
    {
        Add(Request(id, id));
    }
    mPasses->RunAll();
    // One is posted, not three.
    EXPECT_EQ(mQueue->Counts().mPassesScheduled, 1U);
    EXPECT_TRUE(mNormal->RunOne());
    EXPECT_EQ(mClient->mTexts.size(), 1U);
    EXPECT_EQ(mQueue->Counts().mPassesScheduled, 1U);
    Settle();
    EXPECT_EQ(mClient->mTexts.size(), 3U);
}

TEST_F(RenderFrameQueue, WithoutARenderExecutorReadyRequestsStay)
{
    ML::sNormalPriorityRenderQueue.reset();
    Add(Request(1, 1));
    Settle();
    EXPECT_EQ(mQueue->Counts().mNormal, 1U);
    ML::sNormalPriorityRenderQueue = mNormal;
    mQueue->GetImpl().ProcessPendingRequests(false);
    Settle();
    EXPECT_EQ(mClient->mTexts, Texts{"completed 1"});
}

// ---- merging ----

TEST_F(RenderFrameQueue, SecondRequestForTheSameFrameSharesTheResult)
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

TEST_F(RenderFrameQueue, FrameOfOneRequestIsNotFrozen)
{
    Add(Request(1, 1));
    Settle();
    EXPECT_FALSE(mClient->mFrames.at(0)->IsFrozen());
}

TEST_F(RenderFrameQueue, FailureIsSharedByAllWhoWaitAndNotTriedAgain)
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

TEST_F(RenderFrameQueue, TwinOfTheSameIDIsDroppedSilently)
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

TEST_F(RenderFrameQueue, FrameFoundInTheCacheWakesThoseWhoWaitForIt)
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
TEST_F(RenderFrameQueue, DirectRenderOfAKeyThatAWorkerHasEndsItOnce)
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

// ---- the direct path ----

TEST_F(RenderFrameQueue, RequestsOfEachOwnExecutorAreRenderedOnTheSpot)
{
    std::uint32_t id = 0;
    for (const boost::shared_ptr<ManualExecutor>& executor : {mNormal, mLow, mVideo, mImage, mPasses})
    {
        ++id;
        const FakePrefetchRef read(new FakePrefetch);
        executor->Post(
            [&]
            {
                ML::RenderFrameRequest request = Reading(id, read);
                request.ComputeKey(true);
                Add(request);
                EXPECT_EQ(mClient->mTexts.size(), id);
            });
        executor->RunOne();
        EXPECT_EQ(read->mBegun, 0); // nothing is read ahead there
        EXPECT_EQ(mQueue->Counts().mAvailableMemoryUnits, 163U);
    }
    EXPECT_EQ(mClient->mTexts.size(), 5U);
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueue, PrefetchOnlyRequestOnAnOwnThreadFailsAsItHasNoKey)
{
    ML::RenderFrameRequest request(norviktypes::TickTime(1), std::vector<ML::IRenderableNodePrefetchRef>(),
                                   9);
    Texts ends;
    request.SetCompletionFunction(
        [&ends](MF::IVideoFrameRef inFrame, bool inCancelled, int inError)
        {
            ends.push_back((inFrame ? "frame " : "none ") + std::string(inCancelled ? "cancelled " : "") +
                           std::to_string(static_cast<std::uint32_t>(inError)));
        });
    mNormal->Post([&] { EXPECT_EQ(Thrown([&] { mQueue->AddRenderRequest(request); }), ""); });
    mNormal->RunOne();
    EXPECT_EQ(ends, Texts{"none " + std::to_string(0xa00d0000u)});
}

// ---- the frame cache ----

class RenderFrameQueueCache : public RenderFrameQueue
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
class SequenceWithAStill final : public TVK::Implements<SequenceWithAStill, MF::IRenderableCutlistProvider>
{
public:
    SequenceWithAStill()
    {
        const FakeProducerNodeRef node(new FakeProducerNode("Producing"));
        node->mStillRanges = {{norviktypes::TickTime(1000), norviktypes::TickTime(1010)}};
        node->Finalize();
        const ML::IMutableCutlistRef cutlist = ML::CreateMutableCutlist();
        cutlist->AddSegment(norviktypes::TickTime(0), norviktypes::TickTime(5000), norviktypes::TickTime(0),
                            MF::IRenderableNodeRef(node.get()));
        cutlist->Finalize();
        mCutlist = MF::IRenderableCutlistRef(cutlist);
    }

    std::int32_t GetPrimaryCutlist(MF::IRenderableCutlistRef& outCutlist,
                                   const norvik::utility::ImmutableString&, bool) override
    {
        outCutlist = mCutlist;
        return 0;
    }
    std::int32_t GetAlternateCutlist(MF::IRenderableCutlistRef&, const norvik::utility::ImmutableString&,
                                     bool) override
    {
        return -1;
    }
    std::int32_t GetThirdCutlist(MF::IRenderableCutlistRef&, const norvik::utility::ImmutableString&, bool,
                                 bool) override
    {
        return -1;
    }

private:
    MF::IRenderableCutlistRef mCutlist;
};

TEST_F(RenderFrameQueueCache, FrameIsCachedWhereItsSequenceStandsStill)
{
    const TVK::InterfaceRef<SequenceWithAStill> sequence(new SequenceWithAStill);
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
    EXPECT_EQ(observer.Of(1),
              (Texts{"queued", "keyed", "prefetch begun", "ready", "admitted", "cache hit", "finished"}));
}

// ---- results ----

TEST_F(RenderFrameQueue, RenderTimeIsToldToFrameAndClient)
{
    const FakeProducerRef producer(new FakeProducer(1));
    producer->mWhileRendering = [this] { Advance(42); };
    Add(QueueRequest(1, producer));
    Settle();
    EXPECT_EQ(mClient->mMilliseconds, 42);
    EXPECT_EQ(mClient->mFrames.at(0)->GetRenderMilliseconds(), 42U);
}

TEST_F(RenderFrameQueue, RenderWithoutAFrameIsAFailure)
{
    const FakeProducerRef producer(new FakeProducer(1));
    producer->mGivesNothing = true;
    Add(QueueRequest(1, producer));
    Settle();
    EXPECT_EQ(mClient->mTexts, Texts{"error 1 a00d0000"});
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueue, RequestWithoutAKeyFailsByTheContractOfTheRender)
{
    Add(Request(1, 0));
    Settle();
    EXPECT_EQ(mClient->mTexts, Texts{"error 1 a00d0000"});
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueue, WaitingThreadFindsTheFrameInItsSlotAndNobodyElseIsTold)
{
    TVK::WaitableObject signal;
    bool called = false;
    ML::RenderFrameRequest request = Request(1, 1);
    request.SetCompletionSignal(&signal);
    request.SetCompletionFunction([&called](MF::IVideoFrameRef, bool, int) { called = true; });
    Add(request);
    EXPECT_NE(signal.WaitForSignal(0), 0);
    Settle();
    EXPECT_EQ(signal.WaitForSignal(0), 0);
    EXPECT_TRUE(request.GetResultFrame());
    EXPECT_TRUE(mClient->mTexts.empty());
    EXPECT_FALSE(called);
}

TEST_F(RenderFrameQueue, PrefetchOnlyRequestEndsWithItsFirstItemsFrame)
{
    const FakePrefetchRef read(new FakePrefetch);
    const FakePrefetchRef other(new FakePrefetch);
    read->mFrame = SmallFrame();
    other->mIsReady = true;
    ML::RenderFrameRequest request(norviktypes::TickTime(1), Items{read, other}, 9);
    MF::IVideoFrameRef got;
    int calls = 0;
    request.SetCompletionFunction(
        [&](MF::IVideoFrameRef inFrame, bool inCancelled, int inError)
        {
            got = inFrame;
            ++calls;
            EXPECT_FALSE(inCancelled);
            EXPECT_EQ(inError, 0);
        });
    mQueue->AddRenderRequest(request);
    Settle();
    EXPECT_EQ(calls, 0);
    read->mIsReady = true;
    Advance(5);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(got.get(), read->mFrame.get());
    EXPECT_EQ(request.GetResultFrame().get(), read->mFrame.get());
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueue, PrefetchOnlyRequestWithoutItemsEndsInErrorZero)
{
    ML::RenderFrameRequest request(norviktypes::TickTime(1), std::vector<ML::IRenderableNodePrefetchRef>(),
                                   9);
    Add(request);
    Settle();
    EXPECT_EQ(mClient->mTexts, Texts{"error 9 0"});
}

TEST_F(RenderFrameQueue, PrefetchOnlyRequestThatTimesOutEndsInAnError)
{
    const FakePrefetchRef read(new FakePrefetch);
    Add(ML::RenderFrameRequest(norviktypes::TickTime(1), Items{read}, 9));
    Settle();
    Advance(15005);
    EXPECT_EQ(mClient->mTexts, Texts{"error 9 a00f0001"});
    EXPECT_EQ(AtRest(), "");
}

// ---- the budget ----

TEST(RenderFrameQueueSize, FollowsTheMachine)
{
    // 4 GiB is below the floor, 16 GiB above it.
    EXPECT_EQ(ML::MemoryBudget(std::uint64_t{4} << 30).Total(), 50U);
    EXPECT_EQ(ML::MemoryBudget(std::uint64_t{16} << 30).Total(), 163U);
    // The count is cut to 16 bits: 65536 units are none.
    EXPECT_EQ(ML::MemoryBudget(std::uint64_t{104857600} * 65536).Total(), 50U);
    EXPECT_EQ(ML::MemoryBudget(std::uint64_t{104857600} * 65535).Total(), 65535U);
}

class RenderFrameQueueUnits : public RenderFrameQueue
{
protected:
    std::uint32_t Units(std::int32_t inWidth, std::int32_t inHeight,
                        const norviktypes::PixelFormat& inFormat = norviktypes::kPixelFormat_BGRA_4444_8u,
                        std::uint64_t inBytes = std::uint64_t{16} << 30)
    {
        ML::RenderFrameRequest request = Sized(1, inWidth, inHeight, inFormat);
        return ML::MemoryBudget(inBytes).UnitsOf(request);
    }
};

TEST_F(RenderFrameQueueUnits, GrowWithPixelsAndBytes)
{
    EXPECT_EQ(Units(1920, 1080), 6U);
    EXPECT_EQ(Units(1920, 1080, norviktypes::kPixelFormat_BGRA_4444_16u), 12U);
    EXPECT_EQ(Units(1920, 1080, norviktypes::kPixelFormat_BGRA_4444_32f), 24U);
    EXPECT_EQ(Units(720, 576), 1U);
    EXPECT_EQ(Units(720, 577), 2U);
    // A format that isn't four packed components is rendered as BGRA in 8 bits.
    EXPECT_EQ(Units(1920, 1080, norviktypes::kPixelFormat_YUV_420_MPEG2_Frame_8u_709), 6U);
}

TEST_F(RenderFrameQueueUnits, AreNeverMoreThanHalfTheBudget)
{
    EXPECT_EQ(Units(16384, 16384, norviktypes::kPixelFormat_BGRA_4444_32f), 81U);
    EXPECT_EQ(Units(3840, 2160, norviktypes::kPixelFormat_BGRA_4444_32f, std::uint64_t{4} << 30), 25U);
}

TEST(RenderFrameQueueBudget, IsTakenAndGivenBack)
{
    ML::MemoryBudget budget(0);
    EXPECT_TRUE(budget.TryTake(50));
    EXPECT_FALSE(budget.TryTake(1));
    EXPECT_TRUE(budget.TryTake(0));
    budget.GiveBack(20);
    EXPECT_FALSE(budget.TryTake(21));
    EXPECT_TRUE(budget.TryTake(20));
    {
        budget.GiveBack(7);
        ASSERT_TRUE(budget.TryTake(7));
        const ML::MemoryLoan loan(budget, 7);
        EXPECT_EQ(budget.Available(), 0U);
    }
    EXPECT_EQ(budget.Available(), 7U);
}

// ---- instance ----

using RenderFrameQueueInstance = RenderFrameQueue;

TEST_F(RenderFrameQueueInstance, IsOneAndBuiltAnewAfterItsLastReference)
{
    ML::RenderFrameQueueRef second = ML::RenderFrameQueue::Create();
    EXPECT_EQ(second.get(), mQueue.get());
    Add(Request(1, 1));
    mQueue.reset();
    EXPECT_EQ(second->Counts().mIncoming, 1U);
    second.reset();
    // The posted pass is the last that holds it.
    EXPECT_EQ(ML::RenderFrameQueue::Create()->Counts().mIncoming, 1U);
    mPasses->CancelPending();
    mQueue = ML::RenderFrameQueue::Create();
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueueInstance, AnswersForItsClientFace)
{
    void* face = nullptr;
    EXPECT_EQ(mQueue->QueryNoRef(TVK::Guid("2ACAACC3-000F-4E80-9949-B7F58E3ACC32"), &face), 0);
    EXPECT_EQ(face, static_cast<ML::IRenderFrameClient*>(mQueue.get()));
    EXPECT_EQ(mQueue->QueryNoRef(TVKUnknown::kInterfaceID, &face), 0);
    EXPECT_EQ(mQueue->QueryNoRef(TVK::Guid(1, 2), &face), TVK::kInterfaceNotSupported);
}

} // namespace
