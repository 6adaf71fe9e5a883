#include "Tests/Support/Scale.h"
#include "norvik/threads/Threads.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <random>
#include <thread>
#include <vector>

namespace
{

using norvik::threads::AsyncThreadedExecutor;
using norvik::threads::CreateSubExecutor;
using norvik::threads::CreateThreadedExecutor;
using TestSupport::ScaledCount;

// Counts itself, so that a function that is lost or kept for ever shows.
struct Token
{
    explicit Token(std::atomic<int64_t>& inAlive) : mAlive(inAlive) { ++mAlive; }

    ~Token() { --mAlive; }

    Token(const Token&) = delete;
    Token& operator=(const Token&) = delete;

    std::atomic<int64_t>& mAlive;
};

void RunOnThreads(int inThreads, const std::function<void(int)>& inFunction)
{
    std::vector<std::thread> threads;
    for (int index = 0; index < inThreads; ++index)
    {
        threads.emplace_back(inFunction, index);
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
}

TEST(ExecutorStress, SerialExecutorKeepsOrderAndExclusionForEachPoster)
{
    const auto pool = CreateThreadedExecutor("stress", 4);
    const auto serial = CreateSubExecutor(pool, 1);
    const int posters = 4;
    const auto count = static_cast<int>(ScaledCount(20000));
    std::vector<int> next(posters, 0); // plain memory: only exclusion makes this right
    int64_t disorders = 0;
    RunOnThreads(posters,
                 [&](int inPoster)
                 {
                     for (int index = 0; index < count; ++index)
                     {
                         serial->Post([&, inPoster, index]
                                      { disorders += next[inPoster]++ != index ? 1 : 0; });
                     }
                 });
    serial->WaitForTermination();
    EXPECT_EQ(disorders, 0);
    EXPECT_EQ(next, std::vector<int>(posters, count));
}

TEST(ExecutorStress, NoFunctionIsLostBetweenSubExecutorsOfOnePool)
{
    const auto pool = CreateThreadedExecutor("stress", 3);
    std::vector<boost::shared_ptr<AsyncThreadedExecutor>> subs;
    for (uint32_t width = 1; width <= 4; ++width)
    {
        subs.push_back(CreateSubExecutor(pool, width));
    }
    const size_t count = ScaledCount(40000);
    std::atomic<size_t> ran{0};
    RunOnThreads(4,
                 [&](int inThread)
                 {
                     for (size_t index = 0; index < count; ++index)
                     {
                         // The next sub-executor gets the second half of the work from inside.
                         subs[(index + static_cast<size_t>(inThread)) % 4]->Post(
                             [&, index] { subs[(index + 1) % 4]->Post([&] { ++ran; }); });
                     }
                 });
    // Twice: the first round may end before a function of another has posted here.
    for (int round = 0; round < 2; ++round)
    {
        for (const auto& sub : subs)
        {
            sub->WaitForTermination();
        }
    }
    EXPECT_EQ(ran, 4 * count);
}

TEST(ExecutorStress, CancelCloseAndPostFromManyThreadsLeaveNothingBehind)
{
    std::atomic<int64_t> alive{0};
    const size_t rounds = ScaledCount(150);
    for (size_t round = 0; round < rounds; ++round)
    {
        const auto pool = CreateThreadedExecutor("stress", 2);
        const auto sub = CreateSubExecutor(pool, static_cast<uint32_t>(round % 3 + 1));
        RunOnThreads(3,
                     [&](int inThread)
                     {
                         std::minstd_rand random(static_cast<unsigned>(TestSupport::Seed() + round * 8) +
                                                 static_cast<unsigned>(inThread));
                         for (int step = 0; step < 120; ++step)
                         {
                             const auto& target = random() % 2 != 0 ? sub : pool;
                             const auto token = std::make_shared<Token>(alive);
                             switch (random() % 8)
                             {
                             case 0: target->CancelPending(); break;
                             case 1: target->Post([token] {}, static_cast<uint32_t>(random() % 3)); break;
                             default: target->Post([token, target] { target->Post([token] {}); });
                             }
                             if (step == 110 && inThread == 0)
                             {
                                 target->Close();
                             }
                         }
                     });
        for (const auto& executor : {sub, pool})
        {
            executor->CancelPending();
            executor->Close();
            executor->WaitForTermination();
        }
    }
    EXPECT_EQ(alive, 0);
}

TEST(ExecutorStress, DestructionByAnOwnFunctionUnderLoad)
{
    std::atomic<int64_t> alive{0};
    const size_t rounds = ScaledCount(300);
    for (size_t round = 0; round < rounds; ++round)
    {
        auto pool = CreateThreadedExecutor("stress", 3);
        auto executor = round % 2 == 0 ? CreateSubExecutor(pool, 2) : pool;
        pool.reset();
        AsyncThreadedExecutor* raw = executor.get();
        auto* owner = new boost::shared_ptr<AsyncThreadedExecutor>(executor);
        for (int index = 0; index < 20; ++index)
        {
            raw->Post([token = std::make_shared<Token>(alive)] {});
        }
        raw->Post([owner] { delete owner; });
        for (int index = 0; index < 20; ++index)
        {
            raw->Post([token = std::make_shared<Token>(alive)] {}, static_cast<uint32_t>(index % 2));
        }
        executor.reset();
    }
    // Threads that were let go end by themselves.
    while (alive != 0)
    {
        std::this_thread::yield();
    }
}

TEST(ExecutorStress, MutexExcludesAcrossManyThreads)
{
    norvik::threads::RecursiveMutex mutex;
    const size_t count = ScaledCount(50000);
    size_t plain = 0;
    std::atomic<bool> done{false};
    std::thread dumper(
        [&]
        {
            while (!done)
            {
                norvik::threads::DumpLocks();
            }
        });
    RunOnThreads(4,
                 [&](int)
                 {
                     for (size_t index = 0; index < count; ++index)
                     {
                         const norvik::threads::ScopedLock outer(mutex, "outer");
                         [&]
                         {
                             const norvik::threads::ScopedLock inner(mutex, "inner");
                             ++plain;
                         }();
                     }
                 });
    done = true;
    dumper.join();
    EXPECT_EQ(plain, 4 * count);
}

} // namespace
