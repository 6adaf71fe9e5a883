// The end of the service.

#include "ML/SharedExecutors.h"
#include "TVK/Waitable.h"
#include "Tests/Support/FrameTools.h"
#include "Tests/VideoRenderer/QueueTests.h"
#include "VF/SharedVideoFrameCache.h"
#include "VideoRenderer/Src/RenderFrameQueueImpl.h"

#include <fmt/format.h>

#include <cstdlib>
#include <stdexcept>

namespace
{

using namespace TestSupport;
// Each in a process of its own, as a process has one life of the service. inWork ends with std::exit(0) if all
// is as it should be.
class RenderFrameQueueShutdownDeathTest : public QueueTest
{
protected:
    RenderFrameQueueShutdownDeathTest() { testing::FLAGS_gtest_death_test_style = "threadsafe"; }

    // A request that could be rendered.
    static ML::RenderFrameRequest WithItsKey(std::uint32_t inID)
    {
        ML::RenderFrameRequest request = Request(inID, inID);
        request.ComputeKey(true);
        return request;
    }

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
            Add(WithPriority(3, 1));
            mPasses->RunAll();
            Add(Request(4, 4));
            ML::RenderFrameRequest accelerated = Request(5, 5);
            accelerated.mAcceleratedRenderer =
                ML::IAcceleratedSequenceRendererRef(new FakeAcceleratedRenderer);
            Add(accelerated);
            ML::RenderFrameQueueCounts counts = mQueue->Counts();
            const bool wasEverywhere = counts.mPrefetching == 1 && counts.mNormal == 1 && counts.mLow == 1 &&
                                       counts.mIncoming == 1 && counts.mAccelerated == 1;
            mQueue->Shutdown();
            counts = mQueue->Counts();
            const bool isEmpty =
                counts.mIncoming + counts.mPrefetching + counts.mNormal + counts.mLow + counts.mAccelerated ==
                0;
            const bool isStill = signal.WaitForSignal(0) != 0 && read->mCancelled == 1;
            ExitIf(wasEverywhere && isEmpty && isStill ? mClient->mTexts : Texts{"not so"}, {});
        },
        testing::ExitedWithCode(0), "");
}

// A step that throws ends the rest of them, without a word.
TEST_F(RenderFrameQueueShutdownDeathTest, ExceptionOfAReadEndsItQuietly)
{
    EXPECT_EXIT(
        {
            const FakePrefetchRef read(new FakePrefetch);
            read->mWhileCancelled = [] { throw std::runtime_error("cancel"); };
            Add(Reading(1, read));
            Settle();
            mQueue->Shutdown();
            // The executors haven't been closed, as what is posted still runs.
            bool ran = false;
            mNormal->Post([&ran] { ran = true; });
            mNormal->RunAll();
            ExitIf(ran && read->mCancelled == 1 ? mClient->mTexts : Texts{"not so"}, {});
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(RenderFrameQueueShutdownDeathTest, ClosesItsExecutors)
{
    EXPECT_EXIT(
        {
            mQueue->Shutdown();
            std::size_t ran = 0;
            for (const boost::shared_ptr<ManualExecutor>& executor : {mNormal, mLow, mPasses})
            {
                executor->Post([&ran] { ++ran; });
                executor->RunAll();
            }
            ExitIf(ran == 0 ? mClient->mTexts : Texts{"ran"}, {});
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(RenderFrameQueueShutdownDeathTest, DestroysWhatItDropsWithNoLockHeld)
{
    EXPECT_EXIT(
        {
            Texts locks;
            const auto addWith = [&](ML::RenderFrameRequest inRequest)
            {
                inRequest.SetCompletionFunction(NotingLocksAtItsEnd(locks));
                mQueue->AddRenderRequest(inRequest);
                mPasses->RunAll();
            };
            addWith(Reading(1, FakePrefetchRef(new FakePrefetch)));
            addWith(Request(2, 2));
            ML::RenderFrameRequest accelerated = Request(3, 3);
            accelerated.mAcceleratedRenderer =
                ML::IAcceleratedSequenceRendererRef(new FakeAcceleratedRenderer);
            addWith(accelerated);
            accelerated = ML::RenderFrameRequest();
            mQueue->Shutdown();
            ExitIf(locks, {"", "", ""});
        },
        testing::ExitedWithCode(0), "");
}

// A pass that was on its way only moves what it finds.
TEST_F(RenderFrameQueueShutdownDeathTest, ReadsNothingAnyMore)
{
    EXPECT_EXIT(
        {
            mQueue->Shutdown();
            const FakePrefetchRef read(new FakePrefetch);
            const FakeProducerRef producer(new FakeProducer(1));
            bool hashed = false;
            producer->mWhileHashing = [&hashed] { hashed = true; };
            Add(QueueRequest(1, producer, {read}));
            mQueue->GetImpl().ProcessPendingRequests(false);
            ExitIf(read->mBegun == 0 && !hashed && mQueue->Counts().mIncoming == 0 ? mClient->mTexts
                                                                                   : Texts{"read"},
                   {});
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
                    Add(WithItsKey(1));
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
            mNormal->Post([this] { Add(WithItsKey(1)); });
            mNormal->RunAll();
            ExitIf(mClient->mTexts, {"error 1 a00d0000"});
        },
        testing::ExitedWithCode(0), "");
}

} // namespace
