// Sources and clients that throw, come back, or cancel from within a call.

#include "RenderableSources.h"
#include "TVK/Waitable.h"
#include "Tests/VideoRenderer/QueueTests.h"
#include "VideoRenderer/Src/RenderFrameQueueImpl.h"

#include <new>
#include <stdexcept>

namespace
{

using namespace TestSupport;
using RenderFrameQueueFaults = QueueTest;

// ---- of sources ----

TEST_F(RenderFrameQueueFaults, SourceThatThrowsWhileItsKeyIsComputedHurtsItsOwnRequestOnly)
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

TEST_F(RenderFrameQueueFaults, SourceThatThrowsWhenItsReadsBeginWakesItsWaitingThread)
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

TEST_F(RenderFrameQueueFaults, ReadThatThrowsWhenItIsAskedHurtsItsOwnRequestOnly)
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

TEST_F(RenderFrameQueueFaults, ReadThatThrowsForARequestThatWasCancelledMeanwhileIsNoError)
{
    const FakePrefetchRef broken(new FakePrefetch);
    Add(Reading(1, broken));
    Settle();
    broken->mWhileAsked = [this]
    {
        mQueue->CancelOne(1);
        throw std::bad_alloc();
    };
    Advance(5);
    Settle();
    EXPECT_EQ(mClient->mTexts, Texts{"cancelled 1"});
    EXPECT_EQ(broken->mCancelled, 1);
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueueFaults, PrefetchOnlyReadThatThrowsAtItsEndIsAnErrorAndTheRestAreTold)
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

// ---- of clients ----

TEST_F(RenderFrameQueueFaults, ClientThatThrowsKeepsNobodyFromBeingTold)
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

TEST_F(RenderFrameQueueFaults, ClientThatThrowsInAWorkerCostsNoMemoryAndNoPass)
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

TEST_F(RenderFrameQueueFaults, CompletionFunctionIsCalledAlthoughTheClientThrows)
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

TEST_F(RenderFrameQueueFaults, ClientMayAskAgainFromItsNotification)
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

TEST_F(RenderFrameQueueFaults, ClientMayCancelEverythingFromItsNotification)
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

// Whoever is destroyed with a request may come back to the queue.
TEST_F(RenderFrameQueueFaults, RequestsAreDestroyedWithNoLockHeld)
{
    Texts locks;
    const auto addWith = [this, &locks](ML::RenderFrameRequest inRequest)
    {
        inRequest.SetCompletionFunction(NotingLocksAtItsEnd(locks));
        mQueue->AddRenderRequest(inRequest);
    };
    addWith(Request(1, 1));
    mQueue->CancelOne(1);
    EXPECT_EQ(locks, Texts{""});
    addWith(OfCaller(2, 70));
    mQueue->CancelCallersRequests(70);
    EXPECT_EQ(locks, (Texts{"", ""}));
    addWith(Request(3, 3));
    Settle();
    EXPECT_EQ(locks, (Texts{"", "", ""}));
    // A twin of the same id, which goes without a word.
    const FakeProducerRef producer(new FakeProducer(4));
    addWith(QueueRequest(4, producer));
    Worker worker = TakeNext();
    addWith(QueueRequest(4, producer));
    Settle();
    RenderAndReturn(worker);
    EXPECT_EQ(locks, (Texts{"", "", "", ""}));
    worker.mRequest = ML::RenderFrameRequest();
    EXPECT_EQ(locks.size(), 5U);
}

} // namespace
