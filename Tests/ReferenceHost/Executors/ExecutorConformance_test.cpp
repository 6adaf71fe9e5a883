#include "Tests/Support/ManualExecutor.h"
#include "norvik/logging/Logging.h"
#include "norvik/threads/Threads.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

// What every executor promises, asked of each kind alike: pools, sub-executors on pools, the manual executor
// of the tests and sub-executors on it.

namespace
{

using norvik::threads::AsyncThreadedExecutor;
using norvik::threads::CreateSubExecutor;
using norvik::threads::CreateThreadedExecutor;

using ExecutorPtr = boost::shared_ptr<AsyncThreadedExecutor>;
using ManualPtr = boost::shared_ptr<TestSupport::ManualExecutor>;

struct Subject
{
    ExecutorPtr mExecutor;
    ManualPtr mManual; // drives the executor, where there is one

    // Until all that was posted has run.
    void Settle() const
    {
        if (mManual)
        {
            mManual->WaitForTermination();
        }
        mExecutor->WaitForTermination();
    }
};

struct Kind
{
    const char* mName;
    Subject (*mCreate)();
    uint32_t mWidth;
};

Subject Pool(uint32_t inWidth)
{
    return {CreateThreadedExecutor("test", inWidth), nullptr};
}

Subject Manual()
{
    const auto manual = boost::make_shared<TestSupport::ManualExecutor>();
    return {manual, manual};
}

Subject SubOf(const Subject& inParent, uint32_t inWidth)
{
    return {CreateSubExecutor(inParent.mExecutor, inWidth), inParent.mManual};
}

const Kind kKinds[] = {
    {"Pool1", [] { return Pool(1); }, 1},
    {"Pool3", [] { return Pool(3); }, 3},
    {"Sub1OfPool3", [] { return SubOf(Pool(3), 1); }, 1},
    {"Sub2OfPool3", [] { return SubOf(Pool(3), 2); }, 2},
    {"Sub1OfSub2OfPool3", [] { return SubOf(SubOf(Pool(3), 2), 1); }, 1},
    {"Manual", [] { return Manual(); }, 1},
    {"Sub1OfManual", [] { return SubOf(Manual(), 1); }, 1},
};

class Executor : public testing::TestWithParam<Kind>
{
protected:
    Subject mSubject = GetParam().mCreate();
    AsyncThreadedExecutor& mExecutor = *mSubject.mExecutor;
};

// Calls a function when the last copy is destroyed.
class OnDestruction
{
public:
    explicit OnDestruction(norvik::Function inFunction)
        : mGuard(nullptr, [inFunction](void*) { inFunction(); })
    {
    }

    void operator()() const {}

private:
    boost::shared_ptr<void> mGuard;
};

template <class T>
void Raise(std::atomic<T>& ioHighest, T inValue)
{
    for (T highest = ioHighest; inValue > highest && !ioHighest.compare_exchange_weak(highest, inValue);)
    {
    }
}

class RecordedLog
{
public:
    RecordedLog()
    {
        norvik::logging::SetLogSink(
            [this](const boost::shared_ptr<norvik::logging::LogMessage>& inMessage)
            {
                const std::lock_guard<std::mutex> lock(mMutex);
                mText += std::string(inMessage->mText) + "\n";
            },
            true);
    }

    ~RecordedLog() { norvik::logging::SetLogSink({}); }

    std::string Text()
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        return mText;
    }

private:
    std::mutex mMutex;
    std::string mText;
};

TEST_P(Executor, RunsEachFunctionOnce)
{
    std::vector<std::atomic<int>> counts(200);
    for (std::atomic<int>& count : counts)
    {
        mExecutor.Post([&count] { ++count; });
    }
    mSubject.Settle();
    for (const std::atomic<int>& count : counts)
    {
        EXPECT_EQ(count, 1);
    }
}

TEST_P(Executor, StartsFunctionsInTheOrderOfPosting)
{
    if (GetParam().mWidth > 1)
    {
        // Several at once: each may start only when at most width - 1 posted before it haven't.
        std::atomic<int> started{0};
        std::atomic<int> mostOvertaken{0};
        for (int index = 0; index < 300; ++index)
        {
            mExecutor.Post([&, index] { Raise(mostOvertaken, index - started++); });
        }
        mSubject.Settle();
        EXPECT_LT(mostOvertaken, static_cast<int>(GetParam().mWidth));
        return;
    }
    std::vector<int> order;
    for (int index = 0; index < 300; ++index)
    {
        mExecutor.Post([&order, index] { order.push_back(index); });
    }
    mSubject.Settle();
    ASSERT_EQ(order.size(), 300u);
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
}

TEST_P(Executor, NeverRunsMoreThanItsWidthAtOnce)
{
    std::atomic<uint32_t> running{0};
    std::atomic<uint32_t> most{0};
    for (int index = 0; index < 100; ++index)
    {
        mExecutor.Post(
            [&]
            {
                Raise(most, ++running);
                std::this_thread::yield();
                --running;
            });
    }
    mSubject.Settle();
    EXPECT_GE(most, 1u);
    EXPECT_LE(most, GetParam().mWidth);
}

TEST_P(Executor, PostNeverRunsTheFunctionItself)
{
    static thread_local bool tPosting = false;
    std::atomic<int> ranWithin{0};
    std::atomic<int> ran{0};
    const auto post = [&](norvik::Function inFunction, uint32_t inDelay)
    {
        tPosting = true;
        mExecutor.Post(inFunction, inDelay);
        tPosting = false;
    };
    const auto note = [&]
    {
        ranWithin += tPosting ? 1 : 0;
        ++ran;
    };
    post(
        [&]
        {
            note();
            post(note, 0);
            post(note, 1);
        },
        0);
    mSubject.Settle();
    EXPECT_EQ(ran, 3);
    EXPECT_EQ(ranWithin, 0);
}

TEST_P(Executor, DelayedFunctionRunsNotBeforeItsTime)
{
    using Clock = std::chrono::steady_clock;
    const Clock::time_point begin = Clock::now();
    std::atomic<int64_t> milliseconds{-1};
    const auto now = [&]
    {
        return mSubject.mManual
                   ? static_cast<int64_t>(mSubject.mManual->Now())
                   : std::chrono::milliseconds::rep{(Clock::now() - begin) / std::chrono::milliseconds(1)};
    };
    mExecutor.Post([&] { milliseconds = now(); }, 30);
    mSubject.Settle();
    EXPECT_GE(milliseconds, 30);
}

TEST_P(Executor, LaterDelayRunsLater)
{
    std::mutex mutex;
    std::vector<int> order;
    const auto note = [&](int inNumber)
    {
        return [&, inNumber]
        {
            const std::lock_guard<std::mutex> lock(mutex);
            order.push_back(inNumber);
        };
    };
    // Far apart, as a thread may be kept from running between the two posts for longer than it seems.
    std::atomic<bool> ran{false};
    mExecutor.Post(note(2), 3600000);
    mExecutor.Post(
        [&]
        {
            note(1)();
            ran = true;
        },
        20);
    if (mSubject.mManual)
    {
        mSubject.Settle();
        EXPECT_EQ(order, (std::vector<int>{1, 2}));
        return;
    }
    while (!ran)
    {
        std::this_thread::yield();
    }
    mExecutor.CancelPending();
    mSubject.Settle();
    EXPECT_EQ(order, (std::vector<int>{1}));
}

TEST_P(Executor, DropsWhatIsPostedAfterClose)
{
    std::atomic<int> ran{0};
    std::atomic<int> released{0};
    mExecutor.Post([&] { ++ran; });
    mExecutor.Close();
    mExecutor.Post([&ran, guard = OnDestruction([&] { ++released; })] { ran += 100; });
    mExecutor.Post([&ran, guard = OnDestruction([&] { ++released; })] { ran += 100; }, 1);
    EXPECT_EQ(released, 2) << "what was bound is let go at once";
    mSubject.Settle();
    EXPECT_EQ(ran, 1) << "what was queued before still runs";
}

TEST_P(Executor, CancelPendingDiscardsQueuedAndDelayed)
{
    std::atomic<bool> blocked{!mSubject.mManual};
    std::atomic<int> ran{0};
    std::atomic<int> released{0};
    if (blocked)
    {
        for (uint32_t index = 0; index < GetParam().mWidth; ++index)
        {
            mExecutor.Post(
                [&]
                {
                    while (blocked)
                    {
                        std::this_thread::yield();
                    }
                });
        }
    }
    for (int index = 0; index < 10; ++index)
    {
        mExecutor.Post([&ran, guard = OnDestruction([&] { ++released; })] { ++ran; });
        mExecutor.Post([&ran, guard = OnDestruction([&] { ++released; })] { ++ran; }, 60000);
    }
    mExecutor.CancelPending();
    EXPECT_EQ(released, 20);
    blocked = false;
    mSubject.Settle();
    EXPECT_EQ(ran, 0);

    mExecutor.Post([&] { ++ran; });
    mSubject.Settle();
    EXPECT_EQ(ran, 1) << "cancelling is not closing";
}

TEST_P(Executor, ReleasesBoundObjectsOutsideItsLock)
{
    // The destructors come back to the executor, which would lock up if it held its lock.
    std::atomic<int> released{0};
    const auto guard = [&]
    {
        return OnDestruction(
            [&]
            {
                mExecutor.Post([] {});
                ++released;
            });
    };
    mExecutor.Post(guard());
    mExecutor.Post(guard(), 60000);
    mExecutor.CancelPending();
    mSubject.Settle();
    EXPECT_EQ(released, 2);
    mExecutor.Close();
    mExecutor.Post(guard());
    EXPECT_EQ(released, 3);
    mSubject.Settle();
}

TEST_P(Executor, ReleasesBoundObjectsBeforeWaitForTerminationReturns)
{
    for (int round = 0; round < 20; ++round)
    {
        std::atomic<bool> released{false};
        mExecutor.Post(OnDestruction(
            [&]
            {
                std::this_thread::yield();
                released = true;
            }));
        mSubject.Settle();
        ASSERT_TRUE(released);
    }
}

TEST_P(Executor, GoesOnAfterAFunctionThrew)
{
    RecordedLog log;
    std::atomic<int> ran{0};
    for (int index = 0; index < 5; ++index)
    {
        mExecutor.Post([] { throw std::runtime_error("the roof is on fire"); });
        mExecutor.Post([] { throw 17; });
        mExecutor.Post(norvik::Function());
        mExecutor.Post([&] { ++ran; });
    }
    mSubject.Settle();
    EXPECT_EQ(ran, 5);
    EXPECT_NE(log.Text().find("the roof is on fire"), std::string::npos);
    EXPECT_NE(log.Text().find("unknown exception"), std::string::npos);
    EXPECT_NE(log.Text().find("call to empty boost::function"), std::string::npos);
}

TEST_P(Executor, WaitFromAnOwnFunctionDoesNotWaitForItself)
{
    // As many as fit at once, all inside before the first waits: they must not wait for each other either.
    std::atomic<uint32_t> inside{0};
    std::atomic<uint32_t> returned{0};
    for (uint32_t index = 0; index < GetParam().mWidth; ++index)
    {
        mExecutor.Post(
            [&]
            {
                ++inside;
                while (inside < GetParam().mWidth)
                {
                    std::this_thread::yield();
                }
                mExecutor.WaitForTermination();
                ++returned;
            });
    }
    mSubject.Settle();
    EXPECT_EQ(returned, GetParam().mWidth);
}

TEST_P(Executor, IsCurrentThreadOnlyInsideItsFunctions)
{
    const Subject other = GetParam().mCreate();
    std::atomic<int> wrong{0};
    EXPECT_FALSE(mExecutor.IsCurrentThread());
    mExecutor.Post(
        [&]
        {
            wrong += mExecutor.IsCurrentThread() ? 0 : 1;
            wrong += other.mExecutor->IsCurrentThread() ? 1 : 0;
        });
    mSubject.Settle();
    other.mExecutor->Post([&] { wrong += mExecutor.IsCurrentThread() ? 1 : 0; });
    other.Settle();
    EXPECT_EQ(wrong, 0);
    EXPECT_FALSE(mExecutor.IsCurrentThread());
}

TEST_P(Executor, StopsOnDestruction)
{
    std::atomic<int> released{0};
    std::atomic<bool> ran{false};
    mExecutor.Post([&ran, guard = OnDestruction([&] { ++released; })] { ran = true; }, 60000);
    const bool isManualItself = mSubject.mManual == mSubject.mExecutor;
    const ManualPtr parent = isManualItself ? nullptr : mSubject.mManual;
    mSubject = Subject();
    EXPECT_EQ(released, 1);
    if (parent)
    {
        parent->Advance(120000);
    }
    EXPECT_FALSE(ran);
}

TEST_P(Executor, StopSequenceLeavesNothingRunning)
{
    std::atomic<int> ran{0};
    std::atomic<bool> stopped{false};
    std::atomic<int> late{0};
    for (int index = 0; index < 50; ++index)
    {
        mExecutor.Post(
            [&]
            {
                late += stopped ? 1 : 0;
                ++ran;
                mExecutor.Post([&] { late += stopped ? 1 : 0; });
                mExecutor.Post([&] { late += stopped ? 1 : 0; }, 5);
            });
    }
    mExecutor.CancelPending();
    mExecutor.Close();
    mSubject.Settle();
    stopped = true;
    const int ranBefore = ran;
    std::this_thread::sleep_for(std::chrono::milliseconds(mSubject.mManual ? 0 : 10));
    EXPECT_EQ(ran, ranBefore);
    EXPECT_EQ(late, 0);
}

INSTANTIATE_TEST_SUITE_P(AllKinds, Executor, testing::ValuesIn(kKinds),
                         [](const testing::TestParamInfo<Kind>& inInfo)
                         { return std::string(inInfo.param.mName); });

} // namespace
