#include "ReferenceHost/Executors/TaskLedger.h"
#include "Tests/Support/FailingOperatorNew.h"
#include "norvik/threads/Threads.h"

#include <gtest/gtest.h>

#include <atomic>
#include <new>

namespace
{

using norvik::threads::AsyncThreadedExecutor;
using TestSupport::FailingMemory;

// Posts with every allocation of the post failing in turn: what was taken runs, what was refused doesn't, and
// nobody waits for what isn't there.
void ExpectNothingLost(AsyncThreadedExecutor& inExecutor, uint32_t inDelayMilliseconds)
{
    std::atomic<long> runs{0};
    const norvik::Function work = [&runs] { ++runs; };
    long taken = 0;
    long refused = 0;
    for (const bool forEver : {false, true})
    {
        long count = 0;
        do
        {
            norvik::Function copy = work;
            FailingMemory::FailAt(++count, forEver);
            bool isTaken = true;
            try
            {
                inExecutor.Post(copy, inDelayMilliseconds);
            }
            catch (const std::bad_alloc&)
            {
                isTaken = false;
            }
            FailingMemory::Stop();
            (isTaken ? taken : refused) += 1;
            inExecutor.WaitForTermination();
            EXPECT_EQ(runs, taken) << "allocation " << count;
            ASSERT_LT(count, 1000);
        } while (FailingMemory::sHasFailed);
    }
    EXPECT_GE(refused, 2);
    EXPECT_GE(taken, 2);
}

TEST(ExecutorMemory, PoolTakesAFunctionOrRefusesIt)
{
    const auto pool = norvik::threads::CreateThreadedExecutor("pool", 1);
    ExpectNothingLost(*pool, 0);
    ExpectNothingLost(*pool, 1);
}

TEST(ExecutorMemory, SubExecutorTakesAFunctionOrRefusesIt)
{
    const auto pool = norvik::threads::CreateThreadedExecutor("pool", 2);
    const auto sub = norvik::threads::CreateSubExecutor(pool, 1);
    ExpectNothingLost(*sub, 0);
    ExpectNothingLost(*sub, 1);
}

TEST(ExecutorMemory, ClockThatRingsNeedsNone)
{
    constexpr int kFunctions = 100; // more than any container keeps room for
    Executors::TaskLedger ledger;
    int runs = 0;
    uint64_t last = 0;
    for (int count = 0; count < kFunctions; ++count)
    {
        norvik::Function work = [&runs] { ++runs; };
        last = ledger.AddDelayed(work);
    }
    FailingMemory::FailAt(1, true);
    for (uint64_t number = last - kFunctions + 1; number <= last; ++number)
    {
        EXPECT_TRUE(ledger.ReleaseDelayed(number));
    }
    FailingMemory::Stop();
    EXPECT_FALSE(FailingMemory::sHasFailed);
    while (ledger.RunNext())
    {
    }
    EXPECT_EQ(runs, kFunctions);
}

// The one thread of the parent is busy when functions are posted, and has no memory when the first is through.
TEST(ExecutorMemory, SubExecutorGoesOnWhenItsThreadHasNoMemoryToBeAskedAgain)
{
    const auto pool = norvik::threads::CreateThreadedExecutor("pool", 1);
    const auto sub = norvik::threads::CreateSubExecutor(pool, 1);
    std::atomic<bool> isPosted{false};
    std::atomic<int> runs{0};
    sub->Post(
        [&]
        {
            while (!isPosted)
            {
            }
            ++runs;
            FailingMemory::FailAt(1, true);
        });
    sub->Post([&] { ++runs; });
    sub->Post([&] { ++runs; });
    isPosted = true;
    sub->WaitForTermination();
    EXPECT_EQ(runs, 3);
    pool->Post([] { FailingMemory::Stop(); });
    pool->WaitForTermination();
    sub->Post([&] { ++runs; });
    sub->WaitForTermination();
    EXPECT_EQ(runs, 4);
}

} // namespace
