// Memory that runs out at every allocation of a render, one after the other.
//
#include "TVK/Waitable.h"
#include "Tests/Support/FailingOperatorNew.h"
#include "Tests/Support/FrameTools.h"
#include "Tests/VideoRenderer/QueueTests.h"
#include "VF/SharedVideoFrameCache.h"
#include "VideoRenderer/Src/RenderFrameQueueImpl.h"
#include "norvik/logging/Logging.h"

#include <functional>
#include <memory>
#include <new>
#include <string>
#include <utility>

namespace
{

using namespace TestSupport;

// One of the requests of a scenario, and what became of it.
struct Followed
{
    int mEnds = 0;
    bool mRefused = false; // AddRenderRequest threw
    TVK::WaitableObject mSignal;
    bool mWaits = false;
};

class RenderFrameQueueMemory : public QueueTest
{
protected:
    RenderFrameQueueMemory() { norvik::logging::SetLogThreshold(norvik::logging::kLogLevel_Off); }
    ~RenderFrameQueueMemory() override
    {
        norvik::logging::SetLogThreshold(norvik::logging::kLogLevel_Warning);
    }

    ML::RenderFrameRequest Follow(ML::RenderFrameRequest inRequest)
    {
        mFollowed.emplace_back(new Followed);
        Followed& followed = *mFollowed.back();
        inRequest.SetCompletionFunction([&followed](const MF::IVideoFrameRef&, bool, int)
                                        { ++followed.mEnds; });
        return inRequest;
    }
    // Requests are made before memory runs out; the adding is what is tried.
    void TryAdd(std::size_t inIndex, const ML::RenderFrameRequest& inRequest)
    {
        try
        {
            mQueue->AddRenderRequest(inRequest);
        }
        catch (const std::bad_alloc&)
        {
            mFollowed.at(inIndex)->mRefused = true;
        }
    }
    template <class Work>
    static void TryTo(Work&& inWork)
    {
        try
        {
            inWork();
        }
        catch (const std::bad_alloc&)
        {
            // The call has failed; what it was about is looked at in the end.
        }
    }

    // Runs inScenario with every one of its allocations failing in turn: inPrepare before, with all memory.
    void FailAtEach(const std::function<void()>& inPrepare, const std::function<void()>& inScenario)
    {
        long tried = 0;
        for (const bool forEver : {false, true})
        {
            long count = 0;
            do
            {
                mFollowed.clear();
                inPrepare();
                FailingMemory::FailAt(++count, forEver);
                inScenario();
                FailingMemory::Stop();
                ASSERT_LT(count, 2000);
                CheckAftermath(count, forEver);
            } while (FailingMemory::sHasFailed && !HasFailure());
            tried += count - 1;
        }
        EXPECT_GT(tried, 1);
    }

    void CheckAftermath(long inCount, bool inForEver)
    {
        const std::string where =
            "allocation " + std::to_string(inCount) + (inForEver ? " and all after it" : "");
        const std::vector<std::unique_ptr<Followed>> followed = std::move(mFollowed);
        mFollowed.clear();
        // Others that come later are served.
        for (std::uint32_t i = 0; i < 5; ++i)
        {
            const ML::RenderFrameRequest later = Follow(Request(900 + i, 900 + i));
            TryAdd(i, later);
            Advance(5);
            Settle();
            EXPECT_EQ(mFollowed.at(i)->mEnds, 1) << where;
        }
        for (const auto& one : followed)
        {
            const int ends = one->mWaits && one->mSignal.WaitForSignal(0) == 0 ? 1 : one->mEnds;
            EXPECT_EQ(ends, one->mRefused ? 0 : 1) << where;
        }
        EXPECT_EQ(AtRest(), "") << where;
        EmptyFrameCache();
    }

    std::vector<std::unique_ptr<Followed>> mFollowed;
    std::vector<ML::RenderFrameRequest> mRequests;
};

TEST_F(RenderFrameQueueMemory, QueueThatFoundNoMemoryIsBuiltAndDestroyedLater)
{
    mQueue.reset();
    const long holders = mPasses.use_count();
    FailingMemory::FailAt(1, false);
    TryTo([] { ML::RenderFrameQueue::Create(); });
    FailingMemory::Stop();
    EXPECT_TRUE(FailingMemory::sHasFailed);
    mQueue = ML::RenderFrameQueue::Create();
    EXPECT_GT(mPasses.use_count(), holders);
    mQueue.reset();
    EXPECT_EQ(mPasses.use_count(), holders) << "it goes with its last reference";
}

TEST_F(RenderFrameQueueMemory, RequestWithReadsEndsOnceWhateverAllocationFails)
{
    FailAtEach(
        [this]
        {
            const FakePrefetchRef read(new FakePrefetch);
            read->mIsReady = true;
            mRequests = {Follow(QueueRequest(1, FakeProducerRef(new FakeProducer(1)), {read}))};
        },
        [this]
        {
            TryAdd(0, mRequests[0]);
            Settle();
        });
}

TEST_F(RenderFrameQueueMemory, CachedFrameEndsOnceWhateverAllocationFails)
{
    FailAtEach(
        [this]
        {
            mRequests = {Follow(Request(1, 1)), Follow(Request(2, 1))};
            mRequests[0].mRenderFlags = mRequests[1].mRenderFlags = ML::kRenderFlag_CacheAlways;
        },
        [this]
        {
            TryAdd(0, mRequests[0]);
            Settle();
            TryAdd(1, mRequests[1]);
            Settle();
        });
}

TEST_F(RenderFrameQueueMemory, TwinsEndOnceWhateverAllocationFails)
{
    ML::RenderFrameRequest taken;
    FailAtEach(
        [this] {
            mRequests = {Follow(Request(1, 1)), Follow(Request(2, 1)), Follow(Request(3, 3))};
        },
        [this, &taken]
        {
            for (std::size_t i = 0; i < 3; ++i)
            {
                TryAdd(i, mRequests[i]);
            }
            mPasses->RunAll();
            std::uint32_t units = 0;
            bool isTaken = false;
            TryTo([&]
                  { isTaken = mQueue->GetImpl().GetNextRequestAndAccountForMemory(&taken, false, units); });
            Settle();
            if (isTaken)
            {
                TryTo([&] { mQueue->GetImpl().Render(taken); });
                mQueue->GetImpl().Memory().GiveBack(units);
            }
            Settle();
        });
}

TEST_F(RenderFrameQueueMemory, PrefetchOnlyRequestEndsOnceWhateverAllocationFails)
{
    FailAtEach(
        [this]
        {
            const FakePrefetchRef read(new FakePrefetch);
            read->mIsReady = true;
            mRequests = {Follow(ML::RenderFrameRequest(
                norviktypes::TickTime(1), std::vector<ML::IRenderableNodePrefetchRef>{read}, 1))};
        },
        [this]
        {
            TryAdd(0, mRequests[0]);
            Settle();
        });
}

TEST_F(RenderFrameQueueMemory, WaitingThreadIsWokenWhateverAllocationFails)
{
    FailAtEach(
        [this]
        {
            mRequests = {Follow(Request(1, 1))};
            mFollowed[0]->mWaits = true;
            mRequests[0].SetCompletionSignal(&mFollowed[0]->mSignal);
        },
        [this]
        {
            TryAdd(0, mRequests[0]);
            Settle();
        });
}

TEST_F(RenderFrameQueueMemory, CancelLosesNobodyWhateverAllocationFails)
{
    FailAtEach(
        [this]
        {
            mRequests.clear();
            for (std::uint32_t i = 0; i < 600; ++i) // more than two blocks of the buffer hold
            {
                mRequests.push_back(Follow(Request(i + 1, i % 3 + 1)));
            }
        },
        [this]
        {
            for (std::size_t i = 0; i < mRequests.size(); ++i)
            {
                // What is tried here is the cancel, not the copies.
                const long left = FailingMemory::Stop();
                TryAdd(i, mRequests[i]);
                FailingMemory::Resume(left);
            }
            TryTo([this] { mQueue->CancelOne(300); });
            TryTo([this] { mQueue->CancelCallersRequests(7); });
            mPasses->RunOne();
            TryTo([this] { mQueue->CancelOne(1); });
            FailingMemory::Stop();
            Settle();
        });
}

TEST_F(RenderFrameQueueMemory, RefusedAcceleratedRequestEndsOnceWhateverAllocationFails)
{
    const FakeAcceleratedRendererRef renderer(new FakeAcceleratedRenderer);
    renderer->mStatus = -1;
    FailAtEach(
        [this, &renderer]
        {
            mRequests = {Follow(Request(1, 1))};
            mRequests[0].mAcceleratedRenderer = ML::IAcceleratedSequenceRendererRef(renderer.get());
            renderer->mRequests.clear();
        },
        [this]
        {
            TryAdd(0, mRequests[0]);
            Settle();
        });
}

TEST_F(RenderFrameQueueMemory, DirectRenderEndsOnceWhateverAllocationFails)
{
    FailAtEach(
        [this]
        {
            mRequests = {Follow(Request(1, 1))};
            mRequests[0].ComputeKey(true);
            mVideo->Post([this] { TryAdd(0, mRequests[0]); });
        },
        [this]
        {
            mVideo->RunAll();
            Settle();
        });
}

} // namespace
