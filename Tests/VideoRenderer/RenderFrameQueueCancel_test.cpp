// How requests leave the queue other than by their own render: cancels at every station, accelerated renderers,
// faults of sources and clients, and the end of the service.

#include "ML/SharedExecutors.h"
#include "ReferenceHost/Messaging/UIThread.h"
#include "RenderableSources.h"
#include "TVK/Stations.h"
#include "TVK/Waitable.h"
#include "Tests/Support/FrameTools.h"
#include "Tests/VideoRenderer/QueueTests.h"
#include "VF/SharedVideoFrameCache.h"
#include "VideoRenderer/Src/RenderFrameQueueImpl.h"
#include "VideoRenderer/Src/RequestCompletion.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <new>
#include <stdexcept>

namespace
{

using namespace TestSupport;
using Items = std::vector<ML::IRenderableNodePrefetchRef>;

class RenderFrameQueueCancel : public QueueTest
{
protected:
    ML::RenderFrameRequest Reading(std::uint32_t inID, const FakePrefetchRef& inRead,
                                   std::uint64_t inCaller = 0)
    {
        ML::RenderFrameRequest request =
            QueueRequest(inID, FakeProducerRef(new FakeProducer(inID)), {inRead});
        request.mCaller = inCaller;
        return request;
    }
    ML::RenderFrameRequest OfCaller(std::uint32_t inID, std::uint64_t inCaller)
    {
        ML::RenderFrameRequest request = Request(inID, inID);
        request.mCaller = inCaller;
        return request;
    }
};

// ---- one ----

TEST_F(RenderFrameQueueCancel, IncomingRequestIsCancelledOnTheSpotAndTheOthersStay)
{
    for (std::uint32_t id = 1; id <= 5; ++id)
    {
        Add(Request(id, id));
    }
    mQueue->CancelOne(3);
    EXPECT_EQ(mClient->mTexts, Texts{"cancelled 3"});
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

    Texts cancelled = mClient->mTexts;
    std::sort(cancelled.begin(), cancelled.end());
    EXPECT_EQ(cancelled, (Texts{"cancelled 1", "cancelled 3", "cancelled 5", "cancelled 6"}));
    EXPECT_EQ(mine->mCancelled, 1);
    EXPECT_EQ(others->mCancelled, 0);
    mClient->mTexts.clear();
    others->mIsReady = true;
    Advance(5);
    Settle();
    std::sort(mClient->mTexts.begin(), mClient->mTexts.end());
    EXPECT_EQ(mClient->mTexts, (Texts{"completed 2", "completed 4", "completed 7"}));
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

// ---- accelerated renderers ----

class RenderFrameQueueAccelerated : public RenderFrameQueueCancel
{
protected:
    ML::RenderFrameRequest Accelerated(std::uint32_t inID)
    {
        ML::RenderFrameRequest request = OfCaller(inID, 70);
        request.mAcceleratedRenderer = ML::IAcceleratedSequenceRendererRef(mRenderer.get());
        return request;
    }
    FakeAcceleratedRendererRef mRenderer{new FakeAcceleratedRenderer};
};

TEST_F(RenderFrameQueueAccelerated, AcceptedRequestEndsByTheRenderersCall)
{
    Add(Accelerated(1));
    ASSERT_EQ(mRenderer->mRequests.size(), 1U);
    EXPECT_EQ(mQueue->Counts().mAccelerated, 1U);
    EXPECT_EQ(mQueue->Counts().mIncoming, 0U);
    const MF::IVideoFrameRef frame = SmallFrame();
    mQueue->RenderFrameCompleted(0, 1, norviktypes::TickTime(), frame, 17);
    EXPECT_EQ(mClient->mTexts, Texts{"completed 1"});
    EXPECT_EQ(mClient->mFrames.at(0).get(), frame.get());
    EXPECT_EQ(mClient->mMilliseconds, 17);
    mQueue->RenderFrameCompleted(0, 1, norviktypes::TickTime(), frame, 17);
    EXPECT_EQ(mClient->mTexts.size(), 1U);
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueueAccelerated, FailureIsPassedOnAndNotRenderedInSoftware)
{
    Add(Accelerated(1));
    mQueue->RenderFrameError(0, 1, norviktypes::TickTime(), -5);
    Settle();
    EXPECT_EQ(mClient->mTexts, Texts{"error 1 fffffffb"});
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueueAccelerated, RefusedRequestIsRenderedInSoftware)
{
    mRenderer->mStatus = ML::kAcceleratedRender_NotAvailable;
    Add(Accelerated(1));
    EXPECT_EQ(mQueue->Counts().mAccelerated, 0U);
    Settle();
    EXPECT_EQ(mClient->mTexts, Texts{"completed 1"});
    // The refusing renderer isn't asked to cancel either.
    Add(Accelerated(2));
    mQueue->CancelOne(2);
    EXPECT_TRUE(mRenderer->mCancelled.empty());
    Settle();
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueueAccelerated, CancelWhileTheRendererRefusesEndsTheRequestOnce)
{
    mRenderer->mStatus = ML::kAcceleratedRender_NotAvailable;
    mRenderer->mWhileAsked = [this](const ML::AcceleratedRenderRequest&) { mQueue->CancelOne(1); };
    Add(Accelerated(1));
    EXPECT_EQ(mQueue->Counts().mIncoming, 0U); // and nothing is rendered for it
    Settle();
    EXPECT_EQ(mClient->mTexts, Texts{"cancelled 1"});
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueueAccelerated, RendererThatCallsBackAndThenRefusesEndsTheRequestOnce)
{
    mRenderer->mStatus = ML::kAcceleratedRender_NotAvailable;
    mRenderer->mWhileAsked = [](const ML::AcceleratedRenderRequest& inRequest)
    { inRequest.mClient->RenderFrameCompleted(0, inRequest.mRequestID, inRequest.mTime, SmallFrame(), 1); };
    Add(Accelerated(1));
    Settle();
    EXPECT_EQ(mClient->mTexts, Texts{"completed 1"});
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueueAccelerated, CancelTellsTheRendererAndItsLateCallIsIgnored)
{
    Add(Accelerated(1));
    Add(Accelerated(2));
    mQueue->CancelOne(1);
    mQueue->RenderFrameCompleted(0, 1, norviktypes::TickTime(), SmallFrame(), 1);
    EXPECT_EQ(mRenderer->mCancelled, std::vector<std::uint32_t>{1});
    mQueue->CancelCallersRequests(70);
    EXPECT_EQ(mRenderer->mCancelled, (std::vector<std::uint32_t>{1, 2}));
    EXPECT_EQ(mClient->mTexts, (Texts{"cancelled 1", "cancelled 2"}));
    Settle();
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueueAccelerated, RenderersOwnCancellationIsIgnored)
{
    Add(Accelerated(1));
    mQueue->RenderFrameCancelled(0, 1, norviktypes::TickTime());
    EXPECT_TRUE(mClient->mTexts.empty());
    EXPECT_EQ(mQueue->Counts().mAccelerated, 1U);
    mQueue->CancelOne(1);
}

TEST_F(RenderFrameQueueAccelerated, RendererThatThrowsLeavesNothingBehind)
{
    mRenderer->mWhileAsked = [](const ML::AcceleratedRenderRequest&) { throw std::runtime_error("module"); };
    EXPECT_EQ(Thrown([this] { Add(Accelerated(1)); }), "module");
    Settle();
    EXPECT_TRUE(mClient->mTexts.empty());
    EXPECT_EQ(AtRest(), "");
}

// ---- how the end is told ----

TEST_F(RenderFrameQueueCancel, ClientThatIsGoneIsReplacedByMessagesToTheStation)
{
    const norvik::utility::ImmutableString station = TVK::StationRegistry::RegisterUniqueStation();
    Texts heard;
    TVK::StationRegistry::AddListener(
        station, ML::RenderFrameCompletionMessage::StaticMessageID(),
        [&heard](const TVK::MessageRef& inMessage)
        {
            const auto& message = static_cast<const ML::RenderFrameCompletionMessage&>(*inMessage);
            heard.push_back(fmt::format("completed {} {} {} {}", message.mRequestID, message.mContext,
                                        message.mTime.GetTicks(), static_cast<bool>(message.mFrame)));
        });
    TVK::StationRegistry::AddListener(
        station, ML::RenderFrameErrorMessage::StaticMessageID(),
        [&heard](const TVK::MessageRef& inMessage)
        {
            const auto& message = static_cast<const ML::RenderFrameErrorMessage&>(*inMessage);
            heard.push_back(fmt::format("error {} {} {} {}", message.mRequestID, message.mContext,
                                        message.mTime.GetTicks(), message.mStatus));
        });
    TVK::StationRegistry::AddListener(
        station, ML::RenderFrameCancelledMessage::StaticMessageID(),
        [&heard](const TVK::MessageRef& inMessage)
        {
            const auto& message = static_cast<const ML::RenderFrameCancelledMessage&>(*inMessage);
            heard.push_back(fmt::format("cancelled {} {} {}", message.mRequestID, message.mContext,
                                        message.mTime.GetTicks()));
        });
    const FakeProducerRef broken(new FakeProducer(2));
    broken->mWhileRendering = [] { throw ML::RenderRequestException(-7); };
    std::vector<ML::RenderFrameRequest> requests = {Request(1, 1), QueueRequest(2, broken), Request(3, 3)};
    for (ML::RenderFrameRequest& request : requests)
    {
        request.mStationID = station;
        Add(request);
    }
    mClient.reset();
    mQueue->CancelOne(3);
    Settle();
    EXPECT_TRUE(heard.empty()); // on the user-interface thread only
    TVK::UIThread::Pump();
    EXPECT_EQ(heard, (Texts{"cancelled 3 7003 3000", "completed 1 7001 1000 true", "error 2 7002 2000 -7"}));
    EXPECT_EQ(AtRest(), "");
    TVK::StationRegistry::DisposeStation(station);
}

TEST_F(RenderFrameQueueCancel, StationHearsNothingWhileTheClientLives)
{
    const norvik::utility::ImmutableString station = TVK::StationRegistry::RegisterUniqueStation();
    int heard = 0;
    TVK::StationRegistry::AddListener(station, 0, [&heard](const TVK::MessageRef&) { ++heard; });
    ML::RenderFrameRequest request = Request(1, 1);
    request.mStationID = station;
    Add(request);
    Settle();
    TVK::UIThread::Pump();
    EXPECT_EQ(heard, 0);
    EXPECT_EQ(mClient->mTexts, Texts{"completed 1"});
    TVK::StationRegistry::DisposeStation(station);
}

TEST_F(RenderFrameQueueCancel, RequestThatNobodyListensToEndsQuietly)
{
    mQueue->AddRenderRequest(Request(1, 1));
    mQueue->AddRenderRequest(Request(2, 0));
    mQueue->AddRenderRequest(Request(3, 3));
    mQueue->CancelOne(3);
    Settle();
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueueCancel, StatusTellsWhatTheSourceThrew)
{
    const std::pair<std::function<void()>, const char*> cases[] = {
        {[] { throw ML::RenderRequestException(-3); }, "error 1 fffffffd"},
        {[] { throw TVK::NullInterfaceException(); }, "error 1 a00d0000"},
        {[] { throw std::bad_alloc(); }, "error 1 a00f0006"},
        {[] { throw 7; }, "error 1 a00d0000"},
    };
    for (const auto& [work, text] : cases)
    {
        mClient->mTexts.clear();
        const FakeProducerRef producer(new FakeProducer(1));
        producer->mWhileRendering = work;
        Add(QueueRequest(1, producer));
        Settle();
        EXPECT_EQ(mClient->mTexts, Texts{text});
        EXPECT_EQ(AtRest(), "");
    }
}

// ---- faults ----

TEST_F(RenderFrameQueueCancel, SourceThatThrowsWhileItsKeyIsComputedHurtsItsOwnRequestOnly)
{
    const FakeProducerRef broken(new FakeProducer(2));
    broken->mWhileHashing = [] { throw ML::RenderRequestException(-3); };
    Add(Request(1, 1));
    Add(QueueRequest(2, broken));
    Add(Request(3, 3));
    EXPECT_EQ(Thrown([this] { mQueue->GetImpl().ProcessPendingRequests(false); }),
              "A frame could not be rendered.");
    EXPECT_EQ(mClient->mTexts, Texts{"error 2 fffffffd"});
    Settle();
    EXPECT_EQ(mClient->mTexts, (Texts{"error 2 fffffffd", "completed 1", "completed 3"}));
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueueCancel, SourceThatThrowsWhenItsReadsBeginWakesItsWaitingThread)
{
    TVK::WaitableObject signal;
    const FakePrefetchRef read(new FakePrefetch);
    read->mWhileBeginning = [] { throw std::runtime_error("begin"); };
    ML::RenderFrameRequest request = Reading(1, read);
    request.SetCompletionSignal(&signal);
    Add(request);
    Add(Request(2, 2));
    Settle();
    EXPECT_EQ(signal.WaitForSignal(0), 0);
    EXPECT_FALSE(request.GetResultFrame());
    EXPECT_EQ(mClient->mTexts, Texts{"completed 2"});
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueueCancel, ReadThatThrowsWhenItIsAskedHurtsItsOwnRequestOnly)
{
    const FakePrefetchRef broken(new FakePrefetch);
    const FakePrefetchRef fine(new FakePrefetch);
    Add(Reading(1, fine));
    Add(Reading(2, broken));
    Add(Request(3, 3));
    mPasses->RunAll();
    Settle();
    broken->mWhileAsked = [] { throw std::bad_alloc(); };
    Advance(5);
    EXPECT_EQ(mClient->mTexts, (Texts{"completed 3", "error 2 a00f0006"}));
    fine->mIsReady = true;
    Advance(5);
    Settle();
    EXPECT_EQ(mClient->mTexts, (Texts{"completed 3", "error 2 a00f0006", "completed 1"}));
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueueCancel, PrefetchOnlyReadThatThrowsAtItsEndIsAnErrorAndTheRestAreTold)
{
    const FakePrefetchRef broken(new FakePrefetch);
    const FakePrefetchRef fine(new FakePrefetch);
    broken->mIsReady = fine->mIsReady = true;
    int asked = 0;
    broken->mWhileAsked = [&asked]
    {
        if (++asked == 2) // ready to the poll, but not at the end
        {
            throw ML::RenderRequestException(-9);
        }
    };
    Add(ML::RenderFrameRequest(norviktypes::TickTime(1), Items{broken}, 1));
    Add(ML::RenderFrameRequest(norviktypes::TickTime(1), Items{fine}, 2));
    Settle();
    EXPECT_EQ(mClient->mTexts, (Texts{"error 1 fffffff7", "error 2 0"}));
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueueCancel, ClientThatThrowsKeepsNobodyFromBeingTold)
{
    const FakeProducerRef producer(new FakeProducer(1));
    Add(QueueRequest(1, producer));
    Worker worker = TakeNext();
    Add(QueueRequest(2, producer));
    Add(QueueRequest(3, producer));
    Settle();
    mClient->mWhileTold = [](std::uint32_t inID)
    { throw std::runtime_error("client " + std::to_string(inID)); };
    EXPECT_EQ(Thrown([&] { mQueue->GetImpl().Render(worker.mRequest); }), "client 1");
    mQueue->GetImpl().Memory().GiveBack(worker.mUnits);
    EXPECT_EQ(mClient->mTexts, (Texts{"completed 1", "completed 2", "completed 3"}));
    Settle();
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueueCancel, ClientThatThrowsInAWorkerCostsNoMemoryAndNoPass)
{
    mClient->mWhileTold = [](std::uint32_t) { throw std::runtime_error("client"); };
    for (std::uint32_t id = 1; id <= 12; ++id)
    {
        Add(Request(id, id));
    }
    Settle();
    EXPECT_EQ(mClient->mTexts.size(), 12U);
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueueCancel, CompletionFunctionIsCalledAlthoughTheClientThrows)
{
    int calls = 0;
    ML::RenderFrameRequest request = Request(1, 1);
    request.SetCompletionFunction([&calls](MF::IVideoFrameRef, bool, int) { ++calls; });
    mClient->mWhileTold = [](std::uint32_t) { throw std::runtime_error("client"); };
    Add(request);
    Settle();
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueueCancel, ClientMayAskAgainFromItsNotification)
{
    mClient->mWhileTold = [this](std::uint32_t inID)
    {
        if (inID < 4)
        {
            // Rendered on the spot, before this call returns.
            ML::RenderFrameRequest request = Request(inID + 1, inID + 1);
            request.ComputeKey(true);
            Add(request);
            EXPECT_EQ(mClient->mTexts.size(), 4U);
        }
    };
    Add(Request(1, 1));
    Settle();
    EXPECT_EQ(mClient->mTexts, (Texts{"completed 1", "completed 2", "completed 3", "completed 4"}));
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueueCancel, ClientMayCancelEverythingFromItsNotification)
{
    const FakePrefetchRef read(new FakePrefetch);
    Add(Reading(2, read, 70));
    Settle();
    mClient->mWhileTold = [this](std::uint32_t) { mQueue->CancelCallersRequests(70); };
    Add(OfCaller(1, 70));
    Settle();
    EXPECT_EQ(mClient->mTexts, (Texts{"completed 1", "cancelled 2"}));
    mPasses->Advance(5);
    EXPECT_EQ(AtRest(), "");
}

// A completion function whose destructor comes back to the queue: requests must go with no lock held.
TEST_F(RenderFrameQueueCancel, RequestsAreDestroyedWithNoLockHeld)
{
    std::string locks = "not destroyed";
    struct AtTheEnd
    {
        explicit AtTheEnd(std::string& outLocks) : mLocks(outLocks) {}
        AtTheEnd(const AtTheEnd&) = delete;
        AtTheEnd& operator=(const AtTheEnd&) = delete;
        ~AtTheEnd() { mLocks = norvik::threads::DumpLocks().c_str(); }
        std::string& mLocks;
    };
    const auto addWith = [&](ML::RenderFrameRequest inRequest)
    {
        const auto atTheEnd = std::make_shared<AtTheEnd>(locks);
        inRequest.SetCompletionFunction([atTheEnd](MF::IVideoFrameRef, bool, int) {});
        mQueue->AddRenderRequest(inRequest);
    };
    addWith(Request(1, 1));
    mQueue->CancelOne(1);
    EXPECT_EQ(locks, "");
    locks = "not destroyed";
    addWith(OfCaller(2, 70));
    mQueue->CancelCallersRequests(70);
    EXPECT_EQ(locks, "");
    locks = "not destroyed";
    addWith(Request(3, 3));
    Settle();
    EXPECT_EQ(locks, "");
}

// ---- the end of the service ----

// Each in a process of its own, as a process has one life of the service. inWork ends with std::exit(0) if all
// is as it should be.
class RenderFrameQueueShutdownDeathTest : public RenderFrameQueueCancel
{
protected:
    RenderFrameQueueShutdownDeathTest() { testing::FLAGS_gtest_death_test_style = "threadsafe"; }

    [[noreturn]] void ExitIf(const Texts& inTexts, const Texts& inExpected)
    {
        if (inTexts != inExpected)
        {
            std::string all;
            for (const std::string& text : inTexts)
            {
                all += text + "; ";
            }
            fmt::print(stderr, "was told: {}\n", all);
        }
        std::_Exit(inTexts == inExpected ? 0 : 1);
    }
};

TEST_F(RenderFrameQueueShutdownDeathTest, DropsWhatIsQueuedWithoutAWord)
{
    EXPECT_EXIT(
        {
            TVK::WaitableObject signal;
            const FakePrefetchRef read(new FakePrefetch);
            ML::RenderFrameRequest waiting = Reading(1, read);
            waiting.SetCompletionSignal(&signal);
            Add(waiting);
            Add(Request(2, 2));
            mPasses->RunAll();
            Add(Request(3, 3));
            mQueue->Shutdown();
            const ML::RenderFrameQueueCounts counts = mQueue->Counts();
            const bool isEmpty = counts.mIncoming + counts.mPrefetching + counts.mNormal == 0;
            const bool isStill = signal.WaitForSignal(0) != 0 && read->mCancelled == 1;
            ExitIf(isEmpty && isStill ? mClient->mTexts : Texts{"not so"}, {});
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(RenderFrameQueueShutdownDeathTest, LetsWhatRendersEnd)
{
    EXPECT_EXIT(
        {
            const FakeProducerRef producer(new FakeProducer(1));
            producer->mWhileRendering = [this] { mQueue->Shutdown(); };
            Add(QueueRequest(1, producer));
            mPasses->RunAll();
            mNormal->RunOne();
            ExitIf(mClient->mTexts, {"completed 1"});
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(RenderFrameQueueShutdownDeathTest, FailsLateRequestsOnItsOwnThreadsAndKeepsOthers)
{
    EXPECT_EXIT(
        {
            mNormal->Post(
                [this]
                {
                    mQueue->Shutdown();
                    Add(Request(1, 1));
                });
            mNormal->RunOne();
            Add(Request(2, 2));
            Settle();
            ExitIf(mQueue->Counts().mIncoming == 1 ? mClient->mTexts : Texts{"not kept"},
                   {"error 1 a00d0000"});
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(RenderFrameQueueShutdownDeathTest, LateNoticeBuildsNoNewQueue)
{
    EXPECT_EXIT(
        {
            mQueue->Shutdown();
            mQueue.reset();
            const auto passes = boost::make_shared<ManualExecutor>();
            ML::RenderFrameQueue::Impl::SetExecutor(passes);
            VF::SharedVideoFrameCache::InsertIntoCache(SmallFrame(), TVK::Guid(1, 1), 0);
            ML::RenderFrameQueue::ScheduleImmediatePoll();
            ExitIf(passes->RunAll() == 0 ? Texts() : Texts{"built"}, {});
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(RenderFrameQueueShutdownDeathTest, QueueThatIsBuiltAfterwardsRendersNothing)
{
    EXPECT_EXIT(
        {
            mQueue->Shutdown();
            mQueue.reset();
            ML::RenderFrameQueue::Impl::SetExecutor(boost::make_shared<ManualExecutor>());
            ML::sNormalPriorityRenderQueue = mNormal = boost::make_shared<ManualExecutor>();
            mQueue = ML::RenderFrameQueue::Create();
            mNormal->Post([this] { Add(Request(1, 1)); });
            mNormal->RunAll();
            ExitIf(mClient->mTexts, {"error 1 a00d0000"});
        },
        testing::ExitedWithCode(0), "");
}

} // namespace
