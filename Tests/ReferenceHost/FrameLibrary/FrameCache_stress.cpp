#include "ReferenceHost/FrameLibrary/FrameCache.h"

#include "ReferenceHost/FrameLibrary/VideoFrame.h"
#include "Tests/Support/Scale.h"
#include "VF/VideoFrame.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstring>
#include <random>
#include <thread>
#include <vector>

using MF::IVideoFrameRef;
using VF::FrameCache;

namespace
{

constexpr std::uint64_t kKeys = 200;

TVK::Guid Key(std::uint64_t inNumber)
{
    return {inNumber * 0x9E3779B97F4A7C15u + 1, inNumber};
}

// A frame whose pixels are its number.
IVideoFrameRef NewFrame(std::uint64_t inNumber)
{
    IVideoFrameRef frame;
    EXPECT_EQ(VF::CreateVideoFrame(frame, norviktypes::kPixelFormat_BGRA_4444_8u, 16, 4,
                                   norviktypes::kPixelAspectRatio_Square, false, false),
              0);
    VF::FramePixels pixels;
    EXPECT_TRUE(VF::GetFramePixels(frame, pixels));
    std::memcpy(pixels.mPixels, &inNumber, sizeof(inNumber));
    return frame;
}

std::uint64_t NumberOf(const IVideoFrameRef& inFrame)
{
    std::uint64_t number = 0;
    std::memcpy(&number, VF::IVideoFramePixelsRef(inFrame)->GetPixels(), sizeof(number));
    return number;
}

void RunOnThreads(unsigned inThreads, const std::function<void(unsigned)>& inWork)
{
    std::vector<std::thread> threads;
    for (unsigned thread = 0; thread < inThreads; ++thread)
    {
        threads.emplace_back(inWork, thread);
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
}

} // namespace

TEST(FrameCache, EachKeyKeepsItsFrameUnderLoadFromManyThreads)
{
    FrameCache cache(64 * 256);
    std::atomic<std::uint64_t> notices{0};
    cache.SetNotification([&] { ++notices; });
    const std::size_t rounds = TestSupport::ScaledCount(20000);
    RunOnThreads(6,
                 [&](unsigned thread)
                 {
                     std::mt19937_64 random(TestSupport::Seed() + thread);
                     for (std::size_t round = 0; round < rounds; ++round)
                     {
                         const std::uint64_t number = random() % kKeys + 1;
                         IVideoFrameRef frame = cache.Retrieve(Key(number));
                         if (!frame)
                         {
                             cache.Insert(NewFrame(number), Key(number),
                                          static_cast<std::int32_t>(random() % 3));
                             continue;
                         }
                         ASSERT_TRUE(frame->IsFrozen());
                         ASSERT_EQ(NumberOf(frame), number);
                         if (round % 1000 == 0)
                         {
                             cache.SetBudget((random() % 128) * 256);
                         }
                     }
                 });
    cache.SetBudget(10 * 256);
    const VF::FrameCacheCounters counters = cache.GetCounters();
    EXPECT_LE(counters.mBytes, 10 * 256u);
    EXPECT_EQ(counters.mBytes, counters.mFrames * 256);
    EXPECT_EQ(counters.mInsertions, counters.mFrames + counters.mEvictions);
    EXPECT_EQ(notices, counters.mInsertions);
}

TEST(FrameCache, PinnedFramesAreThereForWhoeverPinnedThem)
{
    FrameCache cache(8 * 256);
    const std::size_t rounds = TestSupport::ScaledCount(10000);
    RunOnThreads(6,
                 [&](unsigned thread)
                 {
                     std::mt19937_64 random(TestSupport::Seed() + thread);
                     for (std::size_t round = 0; round < rounds; ++round)
                     {
                         const std::uint64_t number = random() % 20 + 1;
                         cache.AddDependency(Key(number));
                         cache.Insert(NewFrame(number), Key(number), static_cast<std::int32_t>(random() % 2));
                         const std::uint64_t other = random() % kKeys + 100;
                         cache.Insert(NewFrame(other), Key(other), 100);
                         const IVideoFrameRef frame = cache.Retrieve(Key(number));
                         ASSERT_TRUE(frame);
                         ASSERT_EQ(NumberOf(frame), number);
                         cache.RemoveDependency(Key(number));
                     }
                 });
    EXPECT_EQ(cache.GetCounters().mPinnedFrames, 0u);
    EXPECT_LE(cache.GetCounters().mBytes, 8 * 256u);
}

TEST(FrameCache, AllThreadsSeeTheFirstFrameOfAKey)
{
    FrameCache cache(std::uint64_t{1} << 30);
    const std::size_t rounds = TestSupport::ScaledCount(300);
    constexpr unsigned kThreads = 6;
    std::array<std::vector<IVideoFrameRef>, kThreads> seen;
    RunOnThreads(kThreads,
                 [&](unsigned thread)
                 {
                     for (std::uint64_t number = 1; number <= rounds; ++number)
                     {
                         cache.Insert(NewFrame(thread), Key(number), 0);
                         seen[thread].push_back(cache.Retrieve(Key(number)));
                     }
                 });
    for (std::size_t at = 0; at < rounds; ++at)
    {
        for (unsigned thread = 1; thread < kThreads; ++thread)
        {
            ASSERT_TRUE(seen[thread][at] == seen[0][at]);
        }
    }
    EXPECT_EQ(cache.GetCounters().mInsertions, rounds);
    EXPECT_EQ(cache.GetCounters().mRepeats, (kThreads - 1) * rounds);
}
