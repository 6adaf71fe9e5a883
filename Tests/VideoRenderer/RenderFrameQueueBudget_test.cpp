// Which request is rendered next, and the memory that it takes.

#include "ML/SharedExecutors.h"
#include "Tests/Support/ContractText.h"
#include "Tests/VideoRenderer/QueueTests.h"
#include "VideoRenderer/Src/RenderFrameQueueImpl.h"

namespace
{

using namespace TestSupport;
using RenderFrameQueueBudget = QueueTest;

// ---- priorities ----

TEST_F(RenderFrameQueueBudget, PriorityBelow900IsLow)
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

TEST_F(RenderFrameQueueBudget, LowPriorityNeverStartsWhileNormalWorkIsThere)
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

TEST_F(RenderFrameQueueBudget, HigherPriorityComesFirstAndEqualOnesInOrderOfArrival)
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

TEST_F(RenderFrameQueueBudget, HigherPriorityComesFirstAmongLowOnesToo)
{
    Add(WithPriority(1, 100));
    Add(WithPriority(2, 899));
    Add(WithPriority(3, 0));
    mPasses->RunAll();
    Settle();
    EXPECT_EQ(mClient->mTexts, (Texts{"completed 2", "completed 1", "completed 3"}));
}

// However much memory is free for it.
TEST_F(RenderFrameQueueBudget, LowPriorityDoesNotOvertakeNormalWorkThatWaitsForMemory)
{
    ML::RenderFrameQueue::Impl& queue = mQueue->GetImpl();
    ASSERT_TRUE(queue.Memory().TryTake(160)); // three are left, and the large one wants six
    Add(Sized(1, 1920, 1080));
    Add(WithPriority(2, 899));
    Settle();
    queue.RunWorkerPass(true);
    EXPECT_TRUE(mClient->mTexts.empty());
    EXPECT_EQ(mQueue->Counts().mPassesScheduled, 0U);
    queue.ProcessPendingRequests(false); // finds it waiting, which has been told

    queue.Memory().GiveBack(160);
    queue.ProcessPendingRequests(false);
    Settle();
    EXPECT_EQ(mClient->mTexts, (Texts{"completed 1", "completed 2"}));
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueueBudget, LowPriorityWaitsForMemoryAsWell)
{
    ML::RenderFrameQueue::Impl& queue = mQueue->GetImpl();
    ASSERT_TRUE(queue.Memory().TryTake(160));
    ML::RenderFrameRequest low = Sized(1, 1920, 1080);
    low.mPriority = 899;
    Add(low);
    Settle();
    EXPECT_EQ(mQueue->Counts().mLow, 1U);
    EXPECT_EQ(mQueue->Counts().mPassesScheduled, 0U);
    queue.Memory().GiveBack(3); // six are left: just enough
    queue.ProcessPendingRequests(false);
    Settle();
    EXPECT_EQ(mClient->mTexts, Texts{"completed 1"});
    queue.Memory().GiveBack(157);
    EXPECT_EQ(AtRest(), "");
}

// ---- workers ----

TEST_F(RenderFrameQueueBudget, MemoryIsTakenForTheRenderAndComesBack)
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

TEST_F(RenderFrameQueueBudget, RequestThatDoesNotFitWaitsForMemory)
{
    RecordingObserver observer;
    ML::RenderFrameQueue::Impl& queue = mQueue->GetImpl();
    ASSERT_TRUE(queue.Memory().TryTake(160)); // three are left
    Add(Sized(1, 1920, 1080, norviktypes::kPixelFormat_BGRA_4444_8u));
    Settle();
    EXPECT_TRUE(mClient->mTexts.empty());
    EXPECT_EQ(mQueue->Counts().mNormal, 1U);
    EXPECT_EQ(mQueue->Counts().mPassesScheduled, 0U);
    queue.ProcessPendingRequests(false); // finds it waiting, which has been told

    queue.Memory().GiveBack(160);
    queue.ProcessPendingRequests(false);
    Settle();
    EXPECT_EQ(mClient->mTexts, Texts{"completed 1"});
    EXPECT_EQ(observer.Of(1), (Texts{"queued", "keyed", "prefetch begun", "ready", "waiting for memory",
                                     "admitted", "rendered", "finished"}));
    EXPECT_EQ(AtRest(), "");
}

// The other workers come while the first renders, find no memory and go: only its return lets them in.
TEST_F(RenderFrameQueueBudget, WorkerThatReturnsItsMemoryLetsTheNextOneIn)
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

TEST_F(RenderFrameQueueBudget, NextRequestNeedsAPlaceToGo)
{
    std::uint32_t units = 0;
    EXPECT_EQ(
        ContractText([&] { mQueue->GetImpl().GetNextRequestAndAccountForMemory(nullptr, false, units); }),
        "outRenderFrameRequest|Src/RenderFrameQueue|"
        "ML::RenderFrameQueue::GetNextRequestAndAccountForMemory");
}

TEST_F(RenderFrameQueueBudget, EachTakenRequestPostsTheNextWorker)
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

TEST_F(RenderFrameQueueBudget, TakingARequestPostsAWorkerForTheNext)
{
    ML::sNormalPriorityRenderQueue.reset(); // so that the pass posts none
    Add(Request(1, 1));
    Add(Request(2, 2));
    mPasses->RunAll();
    ML::sNormalPriorityRenderQueue = mNormal;
    Worker first = TakeNext();
    EXPECT_EQ(mQueue->Counts().mPassesScheduled, 1U);
    EXPECT_TRUE(mNormal->RunOne());
    EXPECT_EQ(mClient->mTexts, Texts{"completed 2"});
    RenderAndReturn(first);
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueueBudget, WithoutARenderExecutorReadyRequestsStay)
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

TEST_F(RenderFrameQueueBudget, NothingToTakeCostsNothing)
{
    std::uint32_t units = 77;
    ML::RenderFrameRequest request;
    EXPECT_FALSE(mQueue->GetImpl().GetNextRequestAndAccountForMemory(&request, false, units));
    EXPECT_EQ(units, 0U);
    EXPECT_EQ(AtRest(), "");
}

// Else a stream of small frames would keep a large one waiting for ever.
TEST_F(RenderFrameQueueBudget, FirstInLineIsWaitedForAlthoughALaterOneWouldFit)
{
    ASSERT_TRUE(mQueue->GetImpl().Memory().TryTake(160));
    Add(Sized(1, 1920, 1080));
    Add(Request(2, 2));
    mPasses->RunAll();
    std::uint32_t units = 77;
    ML::RenderFrameRequest request;
    EXPECT_FALSE(mQueue->GetImpl().GetNextRequestAndAccountForMemory(&request, false, units));
    EXPECT_EQ(units, 0U);
    EXPECT_EQ(mQueue->Counts().mNormal, 2U);
    EXPECT_EQ(mQueue->Counts().mAvailableMemoryUnits, 3U);
    mQueue->GetImpl().Memory().GiveBack(160);
}

TEST_F(RenderFrameQueueBudget, TwinsAreParkedOnTheWayToTheNextFrame)
{
    const FakeProducerRef producer(new FakeProducer(1));
    Add(QueueRequest(1, producer));
    Worker first = TakeNext();
    Add(QueueRequest(2, producer));
    Add(QueueRequest(3, producer));
    Add(Request(4, 4));
    Worker second = TakeNext();
    EXPECT_EQ(second.mRequest.mRequestID, 4U);
    EXPECT_EQ(mQueue->Counts().mAvailableMemoryUnits, 161U); // for two renders, not four
    EXPECT_EQ(mQueue->Counts().mRedundant, 4U);
    RenderAndReturn(second);
    EXPECT_EQ(mClient->mTexts, Texts{"completed 4"}); // others' twins stay where they are
    EXPECT_EQ(mQueue->Counts().mRedundant, 3U);
    RenderAndReturn(first);
    EXPECT_EQ(mClient->mTexts, (Texts{"completed 4", "completed 1", "completed 2", "completed 3"}));
    EXPECT_EQ(AtRest(), "");
}

// The passes' own executor may be busy with something long.
TEST_F(RenderFrameQueueBudget, WorkerBringsInWhatIsIncomingBeforeAndAfterItsRender)
{
    const FakeProducerRef producer(new FakeProducer(1));
    Add(QueueRequest(1, producer));
    mPasses->RunAll();
    Add(Request(2, 2));
    producer->mWhileRendering = [this]
    {
        EXPECT_EQ(mQueue->Counts().mIncoming, 0U);
        AddFromElsewhere(Request(3, 3));
    };
    EXPECT_TRUE(mNormal->RunOne());
    EXPECT_EQ(producer->mRenders, 1);
    EXPECT_EQ(mQueue->Counts().mIncoming, 0U);
    EXPECT_EQ(mQueue->Counts().mNormal, 2U);
    Settle();
    EXPECT_EQ(mClient->mTexts.size(), 3U);
    EXPECT_EQ(AtRest(), "");
}

// ---- units ----

TEST(MemoryBudget, FollowsTheMachine)
{
    // 4 GiB is below the floor, 16 GiB above it.
    EXPECT_EQ(ML::MemoryBudget(std::uint64_t{4} << 30).Total(), 50U);
    EXPECT_EQ(ML::MemoryBudget(std::uint64_t{16} << 30).Total(), 163U);
    // The count is cut to 16 bits: 65536 units are none.
    EXPECT_EQ(ML::MemoryBudget(std::uint64_t{104857600} * 65536).Total(), 50U);
    EXPECT_EQ(ML::MemoryBudget(std::uint64_t{104857600} * 65535).Total(), 65535U);
}

std::uint32_t Units(const ML::RenderFrameRequest& inRequest, std::uint64_t inBytes = std::uint64_t{16} << 30)
{
    ML::RenderFrameRequest request = inRequest;
    return ML::MemoryBudget(inBytes).UnitsOf(request);
}

TEST_F(RenderFrameQueueBudget, UnitsGrowWithPixelsAndBytes)
{
    EXPECT_EQ(Units(Sized(1, 1920, 1080)), 6U);
    EXPECT_EQ(Units(Sized(1, 1920, 1080, norviktypes::kPixelFormat_BGRA_4444_16u)), 12U);
    EXPECT_EQ(Units(Sized(1, 1920, 1080, norviktypes::kPixelFormat_BGRA_4444_32f)), 24U);
    // Bytes that make no whole number of fours count as the next one: five, and twelve.
    const auto units = [this](std::uint32_t inDepthCode) {
        return Units(Sized(1, 1920, 1080, norviktypes::PixelFormat{1, 0x00040080U | inDepthCode << 1}));
    };
    EXPECT_EQ(units(1), 12U);
    EXPECT_EQ(units(4), 18U);
    EXPECT_EQ(Units(Sized(1, 720, 576)), 1U);
    EXPECT_EQ(Units(Sized(1, 720, 577)), 2U);
    // A format that isn't four packed components is rendered as BGRA in 8 bits.
    EXPECT_EQ(Units(Sized(1, 1920, 1080, norviktypes::kPixelFormat_YUV_420_MPEG2_Frame_8u_709)), 6U);
}

TEST_F(RenderFrameQueueBudget, UnitsAreNeverMoreThanHalfTheBudget)
{
    EXPECT_EQ(Units(Sized(1, 16384, 16384, norviktypes::kPixelFormat_BGRA_4444_32f)), 81U);
    EXPECT_EQ(Units(Sized(1, 3840, 2160, norviktypes::kPixelFormat_BGRA_4444_32f), std::uint64_t{4} << 30),
              25U);
}

TEST(MemoryBudget, IsTakenAndGivenBack)
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
    ML::MemoryBudget largest(std::uint64_t{0xFFFF} * 104857600);
    largest.GiveBack(3);
    EXPECT_EQ(largest.Available(), 2U); // sixteen bits
}

} // namespace
