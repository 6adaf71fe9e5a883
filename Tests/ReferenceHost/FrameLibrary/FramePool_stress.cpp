#include "ReferenceHost/FrameLibrary/FramePool.h"

#include "Tests/Support/Scale.h"

#include <gtest/gtest.h>

#include <cstring>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

using VF::FrameBufferRef;
using VF::FramePool;

// Buffers wander between threads while limits change; each is written by one holder at a time, and nobody
// else's bytes appear in it.
TEST(FramePool, BuffersAreNeverSharedByTwoOwners)
{
    FramePool pool(64u << 20, 16u << 20);
    std::mutex lock;
    std::vector<FrameBufferRef> shelf;
    const std::size_t rounds = TestSupport::ScaledCount(4000);
    const auto work = [&](unsigned inThread)
    {
        std::mt19937 random(static_cast<unsigned>(TestSupport::Seed()) + inThread);
        for (std::size_t round = 0; round < rounds; ++round)
        {
            const std::size_t size = (random() % 40 + 1) * (random() % 8 == 0 ? 70000 : 3000);
            FrameBufferRef buffer = pool.Acquire(size);
            ASSERT_TRUE(buffer);
            auto* const bytes = static_cast<unsigned char*>(buffer.Data());
            std::memset(bytes, static_cast<int>(inThread), size);
            std::this_thread::yield();
            ASSERT_EQ(bytes[0], inThread);
            ASSERT_EQ(bytes[size - 1], inThread);
            FrameBufferRef released;
            {
                const std::lock_guard guard(lock);
                shelf.push_back(std::move(buffer));
                const std::size_t at = random() % shelf.size();
                std::swap(released, shelf[at]);
                shelf[at] = std::move(shelf.back());
                shelf.pop_back();
            }
            if (round % 512 == 0)
            {
                pool.SetLimits((random() % 64) << 20, (random() % 16) << 20);
            }
        }
    };
    std::vector<std::thread> threads;
    for (unsigned thread = 1; thread <= 6; ++thread)
    {
        threads.emplace_back(work, thread);
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    shelf.clear();
    pool.Trim();
    const VF::FramePoolCounters counters = pool.GetCounters();
    EXPECT_EQ(counters.mBytesInUse, 0u);
    EXPECT_EQ(counters.mBytesIdle, 0u);
    EXPECT_EQ(counters.mAllocations, counters.mReturns);
    EXPECT_EQ(counters.mAllocations + counters.mReuses, 6 * rounds);
}
