#include "ML/SharedExecutors.h"
#include "ReferenceHost/Executors/SharedExecutors.h"
#include "norvik/threads/Threads.h"
#include "norvik/utility/Machine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <thread>

namespace
{

using norvik::threads::CreateThreadedExecutor;

std::string FirstLine(const std::filesystem::path& inPath)
{
    std::ifstream file(inPath);
    std::string line;
    std::getline(file, line);
    return line;
}

// How often the threads of that name were put to sleep so far; -1 if there are none.
long SleepsOfThreads(const std::string& inName)
{
    long sleeps = -1;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task"))
    {
        if (FirstLine(task.path() / "comm") != inName)
        {
            continue;
        }
        std::ifstream status(task.path() / "status");
        for (std::string line; std::getline(status, line);)
        {
            const std::string key = "voluntary_ctxt_switches:";
            if (line.compare(0, key.size(), key) == 0)
            {
                sleeps = std::max(sleeps, 0L) + std::stol(line.substr(key.size()));
            }
        }
    }
    return sleeps;
}

size_t CountThreads(const std::string& inName)
{
    size_t count = 0;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task"))
    {
        count += FirstLine(task.path() / "comm") == inName ? 1 : 0;
    }
    return count;
}

// Threads name themselves as they start, and leave the system's list a moment after they ended.
size_t CountThreadsWhenSettled(const std::string& inName, size_t inExpected)
{
    for (int looks = 0; looks < 60000 && CountThreads(inName) != inExpected; ++looks)
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return CountThreads(inName);
}

TEST(PoolExecutor, SleepsWhileThereIsNothingToDo)
{
    const auto pool = CreateThreadedExecutor("idle-pool", 3);
    std::atomic<int> ran{0};
    pool->Post([&] { ++ran; });
    pool->Post([] {}, 3600000); // a timer far away must not make it look at the clock either
    while (ran == 0)
    {
        std::this_thread::yield();
    }
    // On a busy machine the threads may still be on their way to sleep; a pool that looks at the clock, or
    // polls, never gives a quiet stretch.
    bool quiet = false;
    for (int attempt = 0; attempt < 200 && !quiet; ++attempt)
    {
        const long before = SleepsOfThreads("idle-pool");
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        quiet = before > 0 && SleepsOfThreads("idle-pool") == before;
    }
    EXPECT_TRUE(quiet);
}

TEST(PoolExecutor, HasAsManyThreadsAsItsWidthAndUsesThemAll)
{
    const auto pool = CreateThreadedExecutor("a-name-that-is-too-long", 4);
    std::atomic<int> inside{0};
    for (int index = 0; index < 4; ++index)
    {
        pool->Post(
            [&]
            {
                // Only passes when all four are in at once.
                ++inside;
                while (inside < 4)
                {
                    std::this_thread::yield();
                }
            });
    }
    pool->WaitForTermination();
    EXPECT_EQ(inside, 4);
    EXPECT_EQ(CountThreadsWhenSettled("a-name-that-is-", 4), 4u);
}

TEST(PoolExecutor, WidthZeroIsOne)
{
    const auto pool = CreateThreadedExecutor(nullptr, 0);
    std::atomic<bool> ran{false};
    pool->Post([&] { ran = true; });
    pool->WaitForTermination();
    EXPECT_TRUE(ran);
}

TEST(PoolExecutor, CPUBoundPoolIsAsWideAsTheMachine)
{
    norvik::utility::SetCPUCountOverride(5);
    const auto pool = norvik::threads::CreateCPUBoundExecutor();
    norvik::utility::SetCPUCountOverride(0);
    pool->Post([] {});
    pool->WaitForTermination();
    EXPECT_EQ(CountThreadsWhenSettled("vr-cpu", 5), 5u);
}

TEST(PoolExecutor, MayBeDestroyedByItsOwnFunction)
{
    for (int round = 0; round < 50; ++round)
    {
        std::atomic<bool> destroyed{false};
        auto pool = CreateThreadedExecutor("suicide", 2);
        auto* owner = new boost::shared_ptr<norvik::threads::AsyncThreadedExecutor>(pool);
        pool->Post(
            [owner, &destroyed]
            {
                delete owner;
                destroyed = true;
            });
        pool.reset();
        while (!destroyed)
        {
            std::this_thread::yield();
        }
    }
}

TEST(PoolExecutor, SubExecutorMayTakeItsPoolAlongFromItsOwnFunction)
{
    for (int round = 0; round < 50; ++round)
    {
        std::atomic<bool> destroyed{false};
        auto sub = norvik::threads::CreateSubExecutor(CreateThreadedExecutor("suicide", 2), 1);
        auto* owner = new boost::shared_ptr<norvik::threads::AsyncThreadedExecutor>(sub);
        sub->Post(
            [owner, &destroyed]
            {
                delete owner;
                destroyed = true;
            });
        sub.reset();
        while (!destroyed)
        {
            std::this_thread::yield();
        }
    }
}

TEST(SharedExecutors, AreSizedByTheMachine)
{
    norvik::utility::SetCPUCountOverride(6);
    Executors::CreateSharedExecutors();
    norvik::utility::SetCPUCountOverride(0);
    ASSERT_TRUE(ML::sNormalPriorityRenderQueue && ML::sLowPriorityRenderQueue);
    ASSERT_TRUE(ML::sVideoSourcePrefetcherQueue && ML::sImageSourcePrefetcherQueue);
    for (const auto& executor : {ML::sNormalPriorityRenderQueue, ML::sLowPriorityRenderQueue,
                                 ML::sVideoSourcePrefetcherQueue, ML::sImageSourcePrefetcherQueue})
    {
        executor->Post([] {});
        executor->WaitForTermination();
    }
    EXPECT_EQ(CountThreadsWhenSettled("vr-render", 6), 6u);
    EXPECT_EQ(CountThreadsWhenSettled("vr-render-low", 3), 3u);
    EXPECT_EQ(CountThreadsWhenSettled("vr-read-video", 3), 3u);
    EXPECT_EQ(CountThreadsWhenSettled("vr-read-image", 2), 2u);
    Executors::StopSharedExecutors();
    EXPECT_FALSE(ML::sNormalPriorityRenderQueue || ML::sLowPriorityRenderQueue ||
                 ML::sVideoSourcePrefetcherQueue || ML::sImageSourcePrefetcherQueue);
    EXPECT_EQ(CountThreadsWhenSettled("vr-render", 0), 0u);
}

TEST(SharedExecutors, KeepTwoReadersOnASingleProcessor)
{
    norvik::utility::SetCPUCountOverride(1);
    Executors::CreateSharedExecutors();
    norvik::utility::SetCPUCountOverride(0);
    std::atomic<int> inside{0};
    for (int index = 0; index < 2; ++index)
    {
        ML::sVideoSourcePrefetcherQueue->Post(
            [&]
            {
                ++inside;
                while (inside < 2)
                {
                    std::this_thread::yield();
                }
            });
    }
    ML::sVideoSourcePrefetcherQueue->WaitForTermination();
    EXPECT_EQ(inside, 2);
    Executors::StopSharedExecutors();
}

TEST(SharedExecutors, StopWithoutStartDoesNothing)
{
    Executors::StopSharedExecutors();
    EXPECT_FALSE(ML::sNormalPriorityRenderQueue);
}

} // namespace
