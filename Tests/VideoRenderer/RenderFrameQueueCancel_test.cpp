// Cancels at every station, of one request and of a caller.

#include "TVK/Waitable.h"
#include "Tests/VideoRenderer/QueueTests.h"
#include "VideoRenderer/Src/RenderFrameQueueImpl.h"
#include "VideoRenderer/Src/RequestCompletion.h"

#include <fmt/format.h>

namespace
{

using namespace TestSupport;
using RenderFrameQueueCancel = QueueTest;

// ---- one ----

TEST_F(RenderFrameQueueCancel, IncomingRequestIsCancelledOnTheSpotAndTheOthersStay)
{
    RecordingObserver observer;
    for (std::uint32_t id = 1; id <= 5; ++id)
    {
        Add(Request(id, id));
    }
    mQueue->CancelOne(3);
    EXPECT_EQ(mClient->mTexts, Texts{"cancelled 3"});
    EXPECT_EQ(observer.Of(3), (Texts{"queued", "cancelled"}));
    EXPECT_EQ(mQueue->Counts().mIncoming, 4U);

    Settle();
    EXPECT_EQ(mClient->mTexts,
              (Texts{"cancelled 3", "completed 1", "completed 2", "completed 4", "completed 5"}));
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueueCancel, PrefetchingRequestIsCancelledWithItsReads)
{
    const FakePrefetchRef read(new FakePrefetch);
    const FakePrefetchRef other(new FakePrefetch);
    Add(Reading(1, read));
    Add(Reading(2, other));
    Settle();
    mQueue->CancelOne(1);
    EXPECT_EQ(mClient->mTexts, Texts{"cancelled 1"});
    EXPECT_EQ(read->mCancelled, 1);
    EXPECT_EQ(other->mCancelled, 0);
    other->mIsReady = true;
    Advance(5);
    Settle();
    EXPECT_EQ(mClient->mTexts, (Texts{"cancelled 1", "completed 2"}));
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueueCancel, ReadyRequestsAreCancelledInBothSets)
{
    ML::RenderFrameRequest low = Request(2, 2);
    low.mPriority = 1;
    Add(Request(1, 1));
    Add(low);
    mPasses->RunAll();
    mQueue->CancelOne(1);
    mQueue->CancelOne(2);
    EXPECT_EQ(mClient->mTexts, (Texts{"cancelled 1", "cancelled 2"}));
    Settle();
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueueCancel, RequestThatAPassHoldsIsToldByThePassOnce)
{
    const FakePrefetchRef read(new FakePrefetch);
    read->mWhileBeginning = [this]
    {
        mQueue->CancelOne(1);
        EXPECT_TRUE(mClient->mTexts.empty());
    };
    Add(Reading(1, read));
    mPasses->RunOne();
    EXPECT_EQ(mClient->mTexts, Texts{"cancelled 1"});
    EXPECT_EQ(read->mCancelled, 1);
    Settle();
    EXPECT_EQ(mClient->mTexts, Texts{"cancelled 1"});
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueueCancel, RequestThatAPollHoldsIsToldByThePoll)
{
    for (const bool isReady : {false, true})
    {
        mClient->mTexts.clear();
        const FakePrefetchRef read(new FakePrefetch);
        Add(Reading(1, read));
        Settle();
        read->mIsReady = isReady;
        read->mWhileAsked = [this]
        {
            mQueue->CancelOne(1);
            EXPECT_TRUE(mClient->mTexts.empty());
        };
        Advance(5);
        EXPECT_EQ(mClient->mTexts, Texts{"cancelled 1"});
        EXPECT_EQ(read->mCancelled, 1);
        read->mWhileAsked = nullptr;
        Settle();
        EXPECT_EQ(AtRest(), "");
    }
}

TEST_F(RenderFrameQueueCancel, PassWithNothingLeftToHoldStillLetsTheNextRequestIn)
{
    // The pass holds as much as the limit allows, and all of it is cancelled meanwhile.
    std::vector<FakePrefetchRef> reads;
    for (std::uint32_t id = 1; id <= 6; ++id)
    {
        reads.emplace_back(new FakePrefetch);
        Add(Reading(id, reads.back()));
    }
    reads.back()->mWhileBeginning = [this]
    {
        Add(QueueRequest(7, FakeProducerRef(new FakeProducer(7))));
        for (std::uint32_t id = 1; id <= 6; ++id)
        {
            mQueue->CancelOne(id);
        }
    };
    mQueue->GetImpl().ProcessPendingRequests(false);
    Settle();
    EXPECT_EQ(mClient->mTexts.back(), "completed 7");
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueueCancel, RenderingAndParkedRequestsEndAsIfNobodyHadCancelled)
{
    const FakeProducerRef producer(new FakeProducer(1));
    const FakePrefetchRef read(new FakePrefetch);
    read->mIsReady = true;
    Add(QueueRequest(1, producer));
    Worker worker = TakeNext();
    Add(QueueRequest(2, producer, {read}));
    Settle();
    mQueue->CancelOne(1);
    mQueue->CancelOne(2);
    Settle();
    EXPECT_TRUE(mClient->mTexts.empty());
    EXPECT_EQ(read->mCancelled, 0);
    RenderAndReturn(worker);
    EXPECT_EQ(mClient->mTexts, (Texts{"completed 1", "completed 2"}));
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueueCancel, UnknownIDDoesNothing)
{
    Add(Request(1, 1));
    mQueue->CancelOne(2);
    EXPECT_TRUE(mClient->mTexts.empty());
    Settle();
    mQueue->CancelOne(1);
    Settle();
    EXPECT_EQ(mClient->mTexts, Texts{"completed 1"});
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueueCancel, WakesTheWaitingThreadWithNothingInTheSlot)
{
    TVK::WaitableObject signal;
    bool called = false;
    ML::RenderFrameRequest request = Request(1, 1);
    request.SetCompletionSignal(&signal);
    request.SetCompletionFunction([&called](MF::IVideoFrameRef, bool, int) { called = true; });
    Add(request);
    mQueue->CancelOne(1);
    EXPECT_EQ(signal.WaitForSignal(0), 0);
    EXPECT_FALSE(request.GetResultFrame());
    EXPECT_TRUE(mClient->mTexts.empty());
    EXPECT_FALSE(called);
    Settle();
    EXPECT_NE(signal.WaitForSignal(0), 0);
}

TEST_F(RenderFrameQueueCancel, CompletionFunctionHearsThatItWasCancelled)
{
    Texts ends;
    ML::RenderFrameRequest request = Request(1, 1);
    request.SetCompletionFunction(
        [&ends](MF::IVideoFrameRef inFrame, bool inCancelled, int inError)
        { ends.push_back(fmt::format("{} {} {}", static_cast<bool>(inFrame), inCancelled, inError)); });
    Add(request);
    mQueue->CancelOne(1);
    EXPECT_EQ(ends, Texts{"false true 0"});
    EXPECT_EQ(mClient->mTexts, Texts{"cancelled 1"});
}

// What it took out and put back is looked at by a pass, whatever became of the one that was posted before.
TEST_F(RenderFrameQueueCancel, PostsAPassForWhatItPutBack)
{
    mQueue->CancelOne(1);
    EXPECT_EQ(mQueue->Counts().mPassesScheduled, 1U);
    Settle();
    mQueue->CancelCallersRequests(70);
    EXPECT_EQ(mQueue->Counts().mPassesScheduled, 1U);
    Settle();
    EXPECT_EQ(AtRest(), "");
}

// Two threads may find the same request; the second must do nothing at all.
TEST_F(RenderFrameQueueCancel, RequestThatHasEndedIsNeitherCancelledNorEndedAgain)
{
    const FakePrefetchRef read(new FakePrefetch);
    ML::RenderFrameRequest request = Reading(1, read);
    request.mClient = TVK::WeakRef<ML::IRenderFrameClient>(ML::IRenderFrameClientRef(mClient.get()));
    request.StartPrefetch();
    ML::RenderFrameRequest copy = request;
    ML::FinishRequest(request, SmallFrame(), ML::kRenderFrameCompleted, 1);
    ML::CancelRequest(copy);
    ML::FinishRequest(copy, MF::IVideoFrameRef(), ML::kRenderFrameFailed, 1);
    ML::FinishPrefetchOnly(copy);
    EXPECT_EQ(mClient->mTexts, Texts{"completed 1"});
    EXPECT_EQ(read->mCancelled, 0);
    EXPECT_TRUE(copy.GetResultFrame());
}

// The reads end before the maker hears of it, as he may free what they read.
TEST_F(RenderFrameQueueCancel, ReadsAreCancelledBeforeTheClientIsTold)
{
    const FakePrefetchRef read(new FakePrefetch);
    read->mWhileCancelled = [this] { EXPECT_TRUE(mClient->mTexts.empty()); };
    Add(Reading(1, read));
    Settle();
    mQueue->CancelOne(1);
    EXPECT_EQ(read->mCancelled, 1);
    EXPECT_EQ(mClient->mTexts, Texts{"cancelled 1"});
}

// A prefetch-only request whose reads are there has nothing left that could be spared.
TEST_F(RenderFrameQueueCancel, PrefetchOnlyRequestThatAPollFindsReadyEndsAllTheSame)
{
    const FakePrefetchRef read(new FakePrefetch);
    read->mFrame = SmallFrame();
    Add(ML::RenderFrameRequest(norviktypes::TickTime(1), Items{read}, 9));
    Settle();
    read->mIsReady = true;
    read->mWhileAsked = [this] { mQueue->CancelOne(9); };
    Advance(5);
    EXPECT_EQ(mClient->mTexts, Texts{"completed 9"});
    EXPECT_EQ(read->mCancelled, 0);
    Settle();
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueueCancel, PollTellsOfWhatEndedBeforeWhatWasCancelled)
{
    const FakePrefetchRef cancelled(new FakePrefetch);
    const FakePrefetchRef read(new FakePrefetch);
    Add(Reading(1, cancelled));
    Add(ML::RenderFrameRequest(norviktypes::TickTime(1), Items{read}, 2));
    Settle();
    read->mIsReady = true;
    read->mWhileAsked = [this] { mQueue->CancelOne(1); };
    Advance(5);
    EXPECT_EQ(mClient->mTexts, (Texts{"error 2 0", "cancelled 1"}));
    Settle();
    EXPECT_EQ(AtRest(), "");
}

// One cancel, one request: first where it came in last, and in the sets before what is still being read.
TEST_F(RenderFrameQueueCancel, RequestsOfOneIDAreCancelledOneByOneInTheOrderOfTheirStations)
{
    const auto add = [this](ML::RenderFrameRequest inRequest, std::uint64_t inContext)
    {
        inRequest.mContext = inContext;
        Add(inRequest);
    };
    const auto addAndPass = [this, &add](const ML::RenderFrameRequest& inRequest, std::uint64_t inContext)
    {
        add(inRequest, inContext);
        mPasses->RunAll();
    };
    addAndPass(Reading(5, FakePrefetchRef(new FakePrefetch)), 1);
    addAndPass(WithPriority(5, 899), 2);
    addAndPass(Request(5, 50), 3);
    addAndPass(Request(5, 51), 4);
    add(Request(5, 52), 5);
    add(Request(5, 53), 6);
    const std::vector<std::uint64_t> expected = {5, 6, 3, 4, 2, 1};
    for (std::size_t i = 0; i <= expected.size(); ++i) // the last one finds nothing
    {
        mQueue->CancelOne(5);
    }
    EXPECT_EQ(mClient->mContexts, expected);
    Settle();
    mPasses->Advance(5);
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueueCancel, CancelThatFindsTheIDInAPassLooksNoFurther)
{
    Add(Request(5, 50));
    mPasses->RunAll(); // one is ready
    const FakePrefetchRef read(new FakePrefetch);
    read->mWhileBeginning = [this] { mQueue->CancelOne(5); };
    Add(Reading(5, read));
    mPasses->RunAll();
    EXPECT_EQ(mClient->mTexts, Texts{"cancelled 5"});
    EXPECT_EQ(read->mCancelled, 1);
    Settle();
    EXPECT_EQ(mClient->mTexts, (Texts{"cancelled 5", "completed 5"}));
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueueCancel, CancelThatFindsTheIDIncomingLeavesTheOneOfAPassAlone)
{
    const FakePrefetchRef read(new FakePrefetch);
    read->mIsReady = true;
    read->mWhileBeginning = [this]
    {
        AddFromElsewhere(Request(5, 50));
        mQueue->CancelOne(5);
    };
    Add(Reading(5, read));
    Settle();
    EXPECT_EQ(mClient->mTexts, (Texts{"cancelled 5", "completed 5"}));
    EXPECT_EQ(read->mCancelled, 0);
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueueCancel, CancelTakesOneOfSeveralEqualIDsThatAPassHolds)
{
    const FakePrefetchRef first(new FakePrefetch);
    const FakePrefetchRef second(new FakePrefetch);
    for (const FakePrefetchRef& read : {first, second})
    {
        Add(Reading(5, read));
        mPasses->RunAll(); // each in a pass of its own
    }
    first->mWhileAsked = [&]
    {
        first->mWhileAsked = nullptr;
        mQueue->CancelOne(5);
    };
    Advance(5);
    EXPECT_EQ(mClient->mTexts, Texts{"cancelled 5"});
    EXPECT_EQ(first->mCancelled + second->mCancelled, 1);
    first->mIsReady = second->mIsReady = true;
    Advance(5);
    Settle();
    EXPECT_EQ(mClient->mTexts, (Texts{"cancelled 5", "completed 5"}));
    EXPECT_EQ(AtRest(), "");
}

// Its id is gone with the first one's, which is how a pass knows what was cancelled.
TEST_F(RenderFrameQueueCancel, SecondRequestOfAnIDInOnePassCountsAsCancelled)
{
    Add(Request(5, 50));
    Add(Request(5, 51));
    Settle();
    EXPECT_EQ(mClient->mTexts, (Texts{"cancelled 5", "completed 5"}));
    EXPECT_EQ(AtRest(), "");
}

// ---- of a caller ----

TEST_F(RenderFrameQueueCancel, CallersRequestsGoFromEveryStationAndOthersStay)
{
    const FakePrefetchRef mine(new FakePrefetch);
    const FakePrefetchRef others(new FakePrefetch);
    ML::RenderFrameRequest low = OfCaller(5, 70);
    low.mPriority = 1;
    Add(Reading(1, mine, 70));
    Add(Reading(2, others, 71));
    Add(OfCaller(3, 70));
    Add(OfCaller(4, 71));
    Add(low);
    mPasses->RunAll();
    Add(OfCaller(6, 70));
    Add(OfCaller(7, 71));
    ASSERT_EQ(mQueue->Counts().mIncoming, 2U);
    ASSERT_EQ(mQueue->Counts().mNormal, 2U);
    mQueue->CancelCallersRequests(70);

    EXPECT_EQ(mClient->mTexts, (Texts{"cancelled 6", "cancelled 1", "cancelled 3", "cancelled 5"}));
    EXPECT_EQ(mine->mCancelled, 1);
    EXPECT_EQ(others->mCancelled, 0);
    mClient->mTexts.clear();
    others->mIsReady = true;
    Advance(5);
    Settle();
    EXPECT_EQ(mClient->mTexts, (Texts{"completed 4", "completed 2", "completed 7"}));
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueueCancel, CallersRequestsThatAPassHoldsAreToldByThePass)
{
    const FakePrefetchRef read(new FakePrefetch);
    read->mWhileBeginning = [this] { mQueue->CancelCallersRequests(70); };
    Add(Reading(1, read, 70));
    Settle();
    EXPECT_EQ(mClient->mTexts, Texts{"cancelled 1"});
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueueCancel, CallerZeroIsNobody)
{
    Add(OfCaller(1, 0));
    mQueue->CancelCallersRequests(0);
    EXPECT_TRUE(mClient->mTexts.empty());
    const FakePrefetchRef read(new FakePrefetch);
    EXPECT_EQ(ML::RenderFrameRequest(norviktypes::TickTime(1), Items{read}, 9).mCaller, 0U);
    EXPECT_EQ(ML::RenderFrameRequest(norviktypes::TickTime(1), TVK::TVKUnknownRef(read.get()), 9).mCaller,
              0U);
    Settle();
    EXPECT_EQ(mClient->mTexts, Texts{"completed 1"});
}

TEST_F(RenderFrameQueueCancel, PrefetchOnlyRequestKeepsItsCaller)
{
    ML::RenderFrameRequest request = Reading(1, FakePrefetchRef(new FakePrefetch), 70);
    request.SetPrefetchOnly();
    Add(request);
    Settle();
    mQueue->CancelCallersRequests(70);
    EXPECT_EQ(mClient->mTexts, Texts{"cancelled 1"});
    Settle();
    mPasses->Advance(5);
    EXPECT_EQ(AtRest(), "");
}

} // namespace
