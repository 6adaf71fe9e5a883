// What a hunt after a deadlock reads: where the locks of the queue were taken.

#include "TVK/Waitable.h"
#include "Tests/VideoRenderer/QueueTests.h"
#include "VideoRenderer/Src/RenderFrameQueueImpl.h"
#include "norvik/threads/Threads.h"

#include <string>
#include <thread>

namespace
{

using namespace TestSupport;

// A thread that takes the one request that is ready, and stands still with both locks of the queue in its
// hands until it is let go.
class RenderFrameQueueLocks : public QueueTest, private ML::IRenderObserver
{
protected:
    RenderFrameQueueLocks()
    {
        Add(Request(1, 1));
        mPasses->RunAll();
        ML::SetRenderObserver(this);
    }
    ~RenderFrameQueueLocks() override { ML::SetRenderObserver(nullptr); }

    void Hold()
    {
        mHolder = std::thread(
            [this]
            {
                std::uint32_t units = 0;
                mQueue->GetImpl().GetNextRequestAndAccountForMemory(&mTaken, false, units);
            });
        mHeld.WaitForSignal(-1);
    }

    // The label at which a thread with inWork comes to wait. inWork, or a source that it asks, calls Hold.
    std::string WaitsAt(const std::function<void()>& inWork)
    {
        std::thread worker(inWork);
        const std::string before = "; waits at \"";
        std::string label;
        while (label.empty())
        {
            std::this_thread::yield();
            const std::string dump = norvik::threads::DumpLocks().c_str();
            const std::size_t begin = dump.find(before);
            if (begin != std::string::npos)
            {
                label = dump.substr(begin + before.size());
                label.resize(label.find('"'));
            }
        }
        mGo.Signal();
        worker.join();
        mHolder.join();
        return label;
    }
    std::string WaitsAtHeld(const std::function<void()>& inWork)
    {
        Hold();
        return WaitsAt(inWork);
    }

    ML::RenderFrameRequest mTaken;

private:
    void OnRenderEvent(const ML::RenderEvent& inEvent) noexcept override
    {
        if (inEvent.mKind == ML::RenderEventKind::kAdmitted)
        {
            mHeld.Signal();
            mGo.WaitForSignal(-1);
        }
    }

    std::thread mHolder;
    TVK::WaitableObject mHeld;
    TVK::WaitableObject mGo;
};

TEST_F(RenderFrameQueueLocks, WorkerThatTakesARequestHoldsBoth)
{
    Hold();
    const std::string dump = norvik::threads::DumpLocks().c_str();
    EXPECT_NE(dump.find("holds \"RenderFrameQueue::GetNextRequestAndAccountForMemory\", "
                        "\"RenderFrameQueue::GetNextRequestAndAccountForMemory RedundantRequestLock\""),
              std::string::npos)
        << dump;
    EXPECT_EQ(WaitsAt(
                  [this]
                  {
                      std::uint32_t units = 0;
                      ML::RenderFrameRequest request;
                      mQueue->GetImpl().GetNextRequestAndAccountForMemory(&request, false, units);
                  }),
              "RenderFrameQueue::GetNextRequestAndAccountForMemory");
}

TEST_F(RenderFrameQueueLocks, CancelOfOneTellsWhereItWaits)
{
    EXPECT_EQ(WaitsAtHeld([this] { mQueue->CancelOne(77); }), "RenderFrameQueue::CancelOne");
}

TEST_F(RenderFrameQueueLocks, CancelOfACallerTellsWhereItWaits)
{
    EXPECT_EQ(WaitsAtHeld([this] { mQueue->CancelCallersRequests(77); }),
              "RenderFrameQueue::CancelCallersRequests");
}

TEST_F(RenderFrameQueueLocks, PassTellsWhereItWaits)
{
    EXPECT_EQ(WaitsAtHeld([this] { mQueue->GetImpl().ProcessPendingRequests(false); }),
              "RenderFrameQueue::ProcessPendingRequests1");
}

TEST_F(RenderFrameQueueLocks, PassThatComesBackTellsWhereItWaits)
{
    const FakePrefetchRef read(new FakePrefetch);
    read->mWhileBeginning = [this] { Hold(); };
    Add(Reading(2, read));
    EXPECT_EQ(WaitsAt([this] { mQueue->GetImpl().ProcessPendingRequests(false); }),
              "RenderFrameQueue::ProcessPendingRequests2");
}

TEST_F(RenderFrameQueueLocks, PollTellsWhereItWaits)
{
    EXPECT_EQ(WaitsAtHeld([this] { mQueue->GetImpl().ProcessPrefetchRequests(false); }),
              "RenderFrameQueue::ProcessPrefetchRequests1");
}

TEST_F(RenderFrameQueueLocks, PollThatComesBackTellsWhereItWaits)
{
    const FakePrefetchRef read(new FakePrefetch);
    Add(Reading(2, read));
    mPasses->RunAll();
    read->mWhileAsked = [this] { Hold(); };
    EXPECT_EQ(WaitsAt(
                  [this, &read]
                  {
                      mQueue->GetImpl().ProcessPrefetchRequests(false);
                      read->mWhileAsked = nullptr;
                  }),
              "RenderFrameQueue::ProcessPrefetchRequests2");
}

TEST_F(RenderFrameQueueLocks, RenderTellsWhereItWaits)
{
    ML::RenderFrameRequest request = Request(2, 2);
    request.ComputeKey(true);
    EXPECT_EQ(WaitsAtHeld([this, &request] { mQueue->GetImpl().Render(request); }),
              "RenderFrameQueue::Render RedundantRequestLock");
}

} // namespace
