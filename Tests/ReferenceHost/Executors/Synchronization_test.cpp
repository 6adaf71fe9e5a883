#include "TVK/Waitable.h"
#include "norvik/threads/Threads.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

namespace
{

using norvik::threads::RecursiveMutex;
using norvik::threads::ScopedLock;

// The analysis doesn't know of locking twice.
void Lock(RecursiveMutex& ioMutex, const char* inLabel) VR_NO_THREAD_SAFETY_ANALYSIS
{
    ioMutex.Lock(inLabel);
}

void Unlock(RecursiveMutex& ioMutex) VR_NO_THREAD_SAFETY_ANALYSIS
{
    ioMutex.Unlock();
}

TEST(WaitableObject, SignalBeforeTheWaitIsKept)
{
    TVK::WaitableObject waitable;
    waitable.Signal();
    EXPECT_EQ(waitable.WaitForSignal(-1), 0);
}

TEST(WaitableObject, OneSignalLetsOneWaitThrough)
{
    TVK::WaitableObject waitable;
    waitable.Signal();
    waitable.Signal();
    EXPECT_EQ(waitable.WaitForSignal(0), 0);
    EXPECT_EQ(waitable.WaitForSignal(0), TVK::WaitableObject::kWaitTimedOut) << "signals don't add up";
}

TEST(WaitableObject, WaitEndsAfterItsTime)
{
    TVK::WaitableObject waitable;
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_NE(waitable.WaitForSignal(20), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(20));
}

TEST(WaitableObject, SignalWakesAWaiterOnAnotherThread)
{
    TVK::WaitableObject ready;
    TVK::WaitableObject answer;
    std::thread other(
        [&]
        {
            ready.WaitForSignal(-1);
            answer.Signal();
        });
    ready.Signal();
    EXPECT_EQ(answer.WaitForSignal(-1), 0);
    other.join();
}

TEST(Threads, ThreadIDIsTheSystems)
{
    EXPECT_EQ(norvik::threads::GetCurrentThreadID(), static_cast<uint64_t>(syscall(SYS_gettid)));
    uint64_t other = 0;
    std::thread([&] { other = norvik::threads::GetCurrentThreadID(); }).join();
    EXPECT_NE(other, norvik::threads::GetCurrentThreadID());
}

TEST(RecursiveMutex, HolderMayLockAgain)
{
    RecursiveMutex mutex;
    Lock(mutex, "outer");
    Lock(mutex, "inner");
    std::atomic<bool> entered{false};
    std::thread other(
        [&]
        {
            const ScopedLock lock(mutex, "other");
            entered = true;
        });
    Unlock(mutex);
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    EXPECT_FALSE(entered) << "one of two locks is still held";
    Unlock(mutex);
    other.join();
    EXPECT_TRUE(entered);
}

TEST(RecursiveMutex, DumpNamesTheLabelsHeldAndTheOneWaitedAt)
{
    RecursiveMutex first;
    RecursiveMutex second;
    ScopedLock outer(first, "Queue::Add");
    const ScopedLock inner(second, "Queue::Take");
    std::thread other([&] { const ScopedLock lock(first, "Prefetcher::Poll"); });
    while (norvik::threads::DumpLocks().find("waits at \"Prefetcher::Poll\"") == norvik::UTF8String::npos)
    {
        std::this_thread::yield();
    }
    const norvik::UTF8String dump = norvik::threads::DumpLocks();
    EXPECT_NE(dump.find("holds \"Queue::Add\", \"Queue::Take\""), norvik::UTF8String::npos) << dump;
    outer.Unlock();
    other.join();
    EXPECT_EQ(norvik::threads::DumpLocks().find("Queue::Add"), norvik::UTF8String::npos);
}

TEST(RecursiveMutex, DumpFollowsLocksReleasedOutOfOrder)
{
    RecursiveMutex first;
    RecursiveMutex second;
    RecursiveMutex third;
    Lock(first, "first");
    Lock(second, "second");
    Lock(third, "third");
    Unlock(first);
    EXPECT_NE(norvik::threads::DumpLocks().find("holds \"second\", \"third\"\n"), norvik::UTF8String::npos);
    Unlock(second);
    EXPECT_NE(norvik::threads::DumpLocks().find("holds \"third\"\n"), norvik::UTF8String::npos);
    Unlock(third);
    EXPECT_TRUE(norvik::threads::DumpLocks().empty());
}

TEST(RecursiveMutex, NestsDeeperThanTheDumpShows)
{
    RecursiveMutex mutex;
    for (int depth = 0; depth < 40; ++depth)
    {
        Lock(mutex, "deep");
    }
    for (int depth = 0; depth < 40; ++depth)
    {
        Unlock(mutex);
    }
    EXPECT_TRUE(norvik::threads::DumpLocks().empty());
    Lock(mutex, "again");
    EXPECT_NE(norvik::threads::DumpLocks().find("holds \"again\"\n"), norvik::UTF8String::npos);
    Unlock(mutex);
}

} // namespace
