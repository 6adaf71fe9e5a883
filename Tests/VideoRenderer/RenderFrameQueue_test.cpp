// From station to station, the direct path, and the one instance.

#include "ML/SharedExecutors.h"
#include "Tests/VideoRenderer/QueueTests.h"
#include "VF/SharedVideoFrameCache.h"
#include "VideoRenderer/Src/RenderFrameQueueImpl.h"

namespace
{

using namespace TestSupport;
using RenderFrameQueue = QueueTest;

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

// What a pass holds is neither incoming nor in the station, and takes its room all the same.
TEST_F(RenderFrameQueue, RequestsThatAPassHoldsCountForTheLimit)
{
    const std::vector<FakePrefetchRef> reads = AddReading(1, 20);
    reads[0]->mWhileBeginning = [this]
    {
        EXPECT_EQ(mQueue->Counts().mInFlight, 6U);
        mQueue->GetImpl().ProcessPendingRequests(false);
    };
    mPasses->RunOne();
    EXPECT_EQ(mQueue->Counts().mPrefetching, 7U);
    EXPECT_EQ(mQueue->Counts().mIncoming, 13U);
}

TEST_F(RenderFrameQueue, PassOfAWorkerLeavesThePostedOneWhereItIs)
{
    Add(Request(1, 1));
    EXPECT_EQ(mQueue->Counts().mPassesScheduled, 1U);
    mQueue->GetImpl().ProcessPendingRequests(false);
    EXPECT_EQ(mQueue->Counts().mPassesScheduled, 2U); // and a worker for what it has brought in
    Add(Request(2, 2));
    EXPECT_EQ(mQueue->Counts().mPassesScheduled, 2U);
    EXPECT_EQ(mPasses->RunAll(), 1U);
    Settle();
    EXPECT_EQ(AtRest(), "");
}

// Whoever were woken for a request that is about to be taken would find nothing.
TEST_F(RenderFrameQueue, WorkerOfTheOnlyReadyRequestWakesNoOther)
{
    for (const std::uint32_t priority : {1000U, 100U})
    {
        const auto& workers = priority == 100U ? mLow : mNormal;
        Add(WithPriority(priority, priority));
        mPasses->RunAll();
        EXPECT_TRUE(workers->RunOne());
        EXPECT_EQ(mQueue->Counts().mPassesScheduled, 0U) << priority;
        EXPECT_FALSE(workers->RunOne()) << priority;
    }
    EXPECT_EQ(mClient->mTexts, (Texts{"completed 1000", "completed 100"}));
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueue, WorkerWithMoreThanOneReadyWakesTheNextBeforeItRenders)
{
    std::size_t scheduled = 0;
    const FakeProducerRef producer(new FakeProducer(1));
    producer->mWhileRendering = [&] { scheduled = mQueue->Counts().mPassesScheduled; };
    Add(QueueRequest(1, producer));
    Add(Request(2, 2));
    mPasses->RunAll();
    EXPECT_TRUE(mNormal->RunOne());
    EXPECT_EQ(scheduled, 1U);
    Settle();
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueue, WorkerOfLowPriorityWakesOneForWhatComesFirst)
{
    Add(WithPriority(1, 100));
    mPasses->RunAll();
    Add(WithPriority(2, 1000));
    EXPECT_TRUE(mLow->RunOne()); // brings in the second, and leaves its own where it is
    EXPECT_TRUE(mClient->mTexts.empty());
    EXPECT_TRUE(mNormal->RunOne());
    EXPECT_EQ(mClient->mTexts, Texts{"completed 2"});
    Settle();
    EXPECT_EQ(AtRest(), "");
}

// A client may wait for another frame before it returns.
TEST_F(RenderFrameQueue, WorkerThatTellsAClientFirstLeavesTheReadyRequestToAnother)
{
    Add(Request(1, 1));
    mPasses->RunAll();
    ML::RenderFrameRequest told(norviktypes::TickTime(1), std::vector<ML::IRenderableNodePrefetchRef>(), 9);
    Texts meanwhile;
    told.SetCompletionFunction(
        [&](const MF::IVideoFrameRef&, bool, int)
        {
            mNormal->RunOne();
            meanwhile = mClient->mTexts;
        });
    mQueue->AddRenderRequest(told);
    EXPECT_TRUE(mNormal->RunOne());
    EXPECT_EQ(meanwhile, Texts{"completed 1"});
    Settle();
    EXPECT_EQ(AtRest(), "");
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

TEST_F(RenderFrameQueue, PollKeepsTheOrderOfThoseThatStay)
{
    const std::vector<FakePrefetchRef> reads = AddReading(1, 3);
    Settle();
    Advance(15);
    reads[1]->mIsReady = true;
    Advance(5);
    Settle();
    EXPECT_EQ(mClient->mTexts, Texts{"completed 2"});
    reads[0]->mIsReady = reads[2]->mIsReady = true;
    Advance(5);
    Settle();
    EXPECT_EQ(mClient->mTexts, (Texts{"completed 2", "completed 1", "completed 3"}));
}

TEST_F(RenderFrameQueue, EachKindOfPollIsPostedOnceAtMost)
{
    const std::vector<FakePrefetchRef> reads = AddReading(1, 1);
    Settle();
    EXPECT_EQ(mPasses->DelayedCount(), 1U);
    for (int i = 0; i < 3; ++i)
    {
        ML::RenderFrameQueue::ScheduleImmediatePoll();
        ML::RenderFrameQueue::ScheduleImmediatePoll();
        EXPECT_EQ(mQueue->Counts().mPassesScheduled, 2U);
        EXPECT_EQ(mPasses->RunAll(), 1U);
        // The poll at once leaves the one that waits for the clock where it is.
        EXPECT_EQ(mPasses->DelayedCount(), 1U);
        EXPECT_EQ(mQueue->Counts().mPassesScheduled, 1U);
    }
    Advance(5);
    EXPECT_EQ(mPasses->DelayedCount(), 1U);
    reads[0]->mIsReady = true;
    Advance(5);
    Settle();
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueue, WhatIsAddedWhileAPassReadsPostsTheNextOne)
{
    const FakePrefetchRef read(new FakePrefetch);
    read->mWhileBeginning = [this] { AddFromElsewhere(Request(2, 2)); };
    read->mIsReady = true;
    Add(Reading(1, read));
    EXPECT_TRUE(mPasses->RunOne());
    EXPECT_EQ(mQueue->Counts().mIncoming, 1U);
    EXPECT_TRUE(mPasses->RunOne());
    EXPECT_EQ(mQueue->Counts().mIncoming, 0U);
    Settle();
    EXPECT_EQ(mClient->mTexts, (Texts{"completed 1", "completed 2"}));
}

TEST_F(RenderFrameQueue, RequestThatHasItsKeyIsNotHashedAgain)
{
    int hashed = 0;
    const FakeProducerRef producer(new FakeProducer(1));
    producer->mWhileHashing = [&hashed] { ++hashed; };
    ML::RenderFrameRequest request = QueueRequest(1, producer);
    request.ComputeKey(true);
    ASSERT_EQ(hashed, 1);
    Add(request);
    mPasses->RunAll();
    EXPECT_EQ(hashed, 1);
    Add(QueueRequest(2, producer));
    mPasses->RunAll();
    EXPECT_EQ(hashed, 2);
}

TEST_F(RenderFrameQueue, KeyThatIsMissingIsComputedFromAFreshCutlist)
{
    const FakeCutlistProviderRef sequence = OneLayer();
    ML::RenderFrameSettings settings = QueueSettings(1);
    settings.mVideoSegments = MF::IRenderableCutlistProviderRef(sequence.get());
    Add(ML::RenderFrameRequest(settings, true, false));
    Settle();
    EXPECT_EQ(sequence->mAsked, Texts{"first '' fresh"});
    EXPECT_EQ(mClient->mTexts, Texts{"completed 1"});
}

TEST_F(RenderFrameQueue, LookThatAPassTakesStandsForThePostedOne)
{
    ML::RenderFrameQueue::ScheduleImmediatePoll();
    EXPECT_EQ(mQueue->Counts().mPassesScheduled, 1U);
    mQueue->GetImpl().ProcessPendingRequests(false);
    EXPECT_EQ(mQueue->Counts().mPassesScheduled, 0U);
    ML::RenderFrameQueue::ScheduleImmediatePoll();
    EXPECT_EQ(mQueue->Counts().mPassesScheduled, 1U);
    Settle();
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueue, FinishedRequestWithNothingIncomingLeavesTheRestToTheClock)
{
    const std::vector<FakePrefetchRef> reads = AddReading(1, 2);
    Settle();
    reads[0]->mIsReady = true;
    Advance(5);
    EXPECT_EQ(mPasses->DelayedCount(), 1U);
    EXPECT_FALSE(mPasses->RunOne()); // no pass for what isn't there
    Settle();
    EXPECT_EQ(mClient->mTexts, Texts{"completed 1"});
    EXPECT_EQ(mPasses->DelayedCount(), 1U);
}

// A slow begin says nothing about the read.
TEST_F(RenderFrameQueue, PatienceIsCountedFromWhenTheReadsHaveBegun)
{
    const FakePrefetchRef read(new FakePrefetch);
    read->mWhileBeginning = [this] { Advance(20000); };
    Add(Reading(1, read));
    mQueue->GetImpl().ProcessPendingRequests(false);
    EXPECT_TRUE(read->mAskedToWait.empty());
    Advance(15000);
    EXPECT_TRUE(read->mAskedToWait.empty());
    Advance(5);
    EXPECT_EQ(read->mAskedToWait.size(), 1U);
    Settle();
    EXPECT_EQ(mClient->mTexts, Texts{"completed 1"});
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

// ---- instance ----

TEST_F(RenderFrameQueue, IsOneAndBuiltAnewAfterItsLastReference)
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

TEST_F(RenderFrameQueue, AnswersForItsClientFace)
{
    void* face = nullptr;
    EXPECT_EQ(mQueue->QueryNoRef(TVK::Guid("2ACAACC3-000F-4E80-9949-B7F58E3ACC32"), &face), 0);
    EXPECT_EQ(face, static_cast<ML::IRenderFrameClient*>(mQueue.get()));
    EXPECT_EQ(mQueue->QueryNoRef(TVKUnknown::kInterfaceID, &face), 0);
    EXPECT_EQ(mQueue->QueryNoRef(TVK::Guid(1, 2), &face), TVK::kInterfaceNotSupported);
}

} // namespace
