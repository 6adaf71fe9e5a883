#include "ReferenceHost/FrameLibrary/FrameCache.h"

#include "ReferenceHost/FrameLibrary/SharedVideoFrameCacheControl.h"
#include "VF/SharedVideoFrameCache.h"
#include "VF/VideoFrame.h"

#include <gtest/gtest.h>

#include <vector>

using MF::IVideoFrameRef;
using TVK::Guid;
using VF::FrameCache;

namespace
{

// 64 x 16 pixels of four bytes.
constexpr std::uint64_t kFrameBytes = 4096;

IVideoFrameRef NewFrame(std::uint32_t inWidth = 64)
{
    IVideoFrameRef frame;
    EXPECT_EQ(VF::CreateVideoFrame(frame, norviktypes::kPixelFormat_BGRA_4444_8u, inWidth, 16,
                                   norviktypes::kPixelAspectRatio_Square, false, false),
              0);
    return frame;
}

// Keys in different shards, as digests would lie.
Guid Key(std::uint64_t inNumber)
{
    return {inNumber * 0x9E3779B97F4A7C15u + 1, inNumber};
}

void Fill(FrameCache& ioCache, std::uint64_t inFirst, std::uint64_t inCount, std::int32_t inPriority = 0)
{
    for (std::uint64_t number = inFirst; number < inFirst + inCount; ++number)
    {
        ioCache.Insert(NewFrame(), Key(number), inPriority);
    }
}

std::vector<std::uint64_t> Present(FrameCache& ioCache, std::uint64_t inFirst, std::uint64_t inCount)
{
    std::vector<std::uint64_t> present;
    for (std::uint64_t number = inFirst; number < inFirst + inCount; ++number)
    {
        if (ioCache.Retrieve(Key(number)))
        {
            present.push_back(number);
        }
    }
    return present;
}

using Numbers = std::vector<std::uint64_t>;

// The cache of the process for one test.
class ProcessCache
{
public:
    ProcessCache() { VF::SharedVideoFrameCache::Clear(); }
    ~ProcessCache()
    {
        VF::SharedVideoFrameCache::SetNotificationFunction({});
        VF::SharedVideoFrameCache::Clear();
    }
};

} // namespace

TEST(FrameCache, FindsWhatWasInserted)
{
    FrameCache cache(10 * kFrameBytes);
    const IVideoFrameRef frame = NewFrame();
    cache.Insert(frame, Key(1), 0);
    EXPECT_TRUE(cache.Retrieve(Key(1)) == frame);
    EXPECT_FALSE(cache.Retrieve(Key(2)));
    const VF::FrameCacheCounters counters = cache.GetCounters();
    EXPECT_EQ(counters.mHits, 1u);
    EXPECT_EQ(counters.mMisses, 1u);
    EXPECT_EQ(counters.mInsertions, 1u);
    EXPECT_EQ(counters.mFrames, 1u);
    EXPECT_EQ(counters.mBytes, kFrameBytes);
    EXPECT_EQ(counters.mBudgetBytes, 10 * kFrameBytes);
}

TEST(FrameCache, InsertingFreezes)
{
    FrameCache cache(10 * kFrameBytes);
    const IVideoFrameRef frame = NewFrame();
    cache.Insert(frame, Key(1), 0);
    EXPECT_TRUE(frame->IsFrozen());
}

TEST(FrameCache, FirstInsertionWins)
{
    FrameCache cache(10 * kFrameBytes);
    const IVideoFrameRef first = NewFrame();
    cache.Insert(first, Key(1), 0);
    cache.Insert(NewFrame(), Key(1), 100);
    EXPECT_TRUE(cache.Retrieve(Key(1)) == first);
    EXPECT_EQ(cache.GetCounters().mRepeats, 1u);
    EXPECT_EQ(cache.GetCounters().mBytes, kFrameBytes);
}

TEST(FrameCache, LaterInsertionDoesNotRaiseThePriority)
{
    FrameCache cache(2 * kFrameBytes);
    Fill(cache, 1, 1, 0);
    Fill(cache, 2, 1, 5);
    Fill(cache, 1, 1, 100);
    Fill(cache, 3, 1, 5);
    EXPECT_EQ(Present(cache, 1, 3), (Numbers{2, 3}));
}

TEST(FrameCache, ZeroKeyIsNoKey)
{
    FrameCache cache(10 * kFrameBytes);
    int notices = 0;
    cache.SetNotification([&] { ++notices; });
    const IVideoFrameRef frame = NewFrame();
    cache.Insert(frame, Guid(), 0);
    cache.AddDependency(Guid());
    cache.RemoveDependency(Guid());
    EXPECT_FALSE(cache.Retrieve(Guid()));
    EXPECT_EQ(cache.GetCounters().mFrames, 0u);
    EXPECT_FALSE(frame->IsFrozen());
    EXPECT_EQ(notices, 0);
}

TEST(FrameCache, EmptyReferenceIsNotStored)
{
    FrameCache cache(10 * kFrameBytes);
    cache.Insert({}, Key(1), 0);
    const IVideoFrameRef frame = NewFrame();
    cache.Insert(frame, Key(1), 0);
    EXPECT_TRUE(cache.Retrieve(Key(1)) == frame);
}

TEST(FrameCache, LeastRecentlyUsedLeavesFirst)
{
    FrameCache cache(3 * kFrameBytes);
    Fill(cache, 1, 3);
    EXPECT_TRUE(cache.Retrieve(Key(1)));
    Fill(cache, 4, 1);
    EXPECT_EQ(Present(cache, 1, 4), (Numbers{1, 3, 4}));
    EXPECT_EQ(cache.GetCounters().mEvictions, 1u);
    EXPECT_EQ(cache.GetCounters().mBytes, 3 * kFrameBytes);
}

TEST(FrameCache, UseCountsWithinAShardAndAcrossThem)
{
    constexpr std::uint64_t kCount = 128;
    FrameCache cache(kCount * kFrameBytes);
    Fill(cache, 1, kCount);
    Numbers odd;
    for (std::uint64_t number = 1; number <= kCount; number += 2)
    {
        EXPECT_TRUE(cache.Retrieve(Key(number)));
        odd.push_back(number);
    }
    Fill(cache, kCount + 1, kCount / 2);
    EXPECT_EQ(Present(cache, 1, kCount), odd);
}

TEST(FrameCache, LessImportantLeavesBeforeOlder)
{
    FrameCache cache(3 * kFrameBytes);
    Fill(cache, 1, 1, 10);
    Fill(cache, 2, 1, -5);
    Fill(cache, 3, 1, 0);
    Fill(cache, 4, 1, 10);
    EXPECT_EQ(Present(cache, 1, 4), (Numbers{1, 3, 4}));
    Fill(cache, 5, 1, 10);
    EXPECT_EQ(Present(cache, 1, 5), (Numbers{1, 4, 5}));
    Fill(cache, 6, 1, 0);
    EXPECT_EQ(Present(cache, 1, 6), (Numbers{1, 4, 5})) << "the newest is the least important";
}

TEST(FrameCache, OrderIsKeptOverAllShards)
{
    constexpr std::uint64_t kCount = 200;
    FrameCache cache(kCount * kFrameBytes);
    Fill(cache, 1, kCount);
    for (std::uint64_t more = 1; more <= kCount; ++more)
    {
        Fill(cache, kCount + more, 1);
        ASSERT_EQ(cache.GetCounters().mFrames, kCount);
        ASSERT_EQ(cache.GetCounters().mEvictions, more);
    }
    EXPECT_EQ(Present(cache, 1, kCount), Numbers());
}

TEST(FrameCache, DependencyPinsTheFrame)
{
    FrameCache cache(2 * kFrameBytes);
    Fill(cache, 1, 1);
    cache.AddDependency(Key(1));
    EXPECT_EQ(cache.GetCounters().mPinnedFrames, 1u);
    Fill(cache, 2, 5, 100);
    EXPECT_EQ(Present(cache, 1, 6), (Numbers{1, 6}));
    cache.RemoveDependency(Key(1));
    EXPECT_EQ(cache.GetCounters().mPinnedFrames, 0u);
    Fill(cache, 7, 1, 100);
    EXPECT_EQ(Present(cache, 1, 7), (Numbers{6, 7}));
}

TEST(FrameCache, DependencyPinsTheFrameThatComesLater)
{
    FrameCache cache(1 * kFrameBytes);
    cache.AddDependency(Key(1));
    EXPECT_FALSE(cache.Retrieve(Key(1)));
    Fill(cache, 1, 1, -100);
    Fill(cache, 2, 1, 100);
    EXPECT_EQ(Present(cache, 1, 2), (Numbers{1}));
}

TEST(FrameCache, DependenciesAreCounted)
{
    FrameCache cache(1 * kFrameBytes);
    Fill(cache, 1, 1);
    cache.AddDependency(Key(1));
    cache.AddDependency(Key(1));
    cache.RemoveDependency(Key(1));
    Fill(cache, 2, 1, 100);
    EXPECT_EQ(Present(cache, 1, 2), (Numbers{1}));
    cache.RemoveDependency(Key(1));
    Fill(cache, 3, 1, 100);
    EXPECT_EQ(Present(cache, 1, 3), (Numbers{3}));
}

TEST(FrameCache, UnpairedEndOfADependencyDoesNothing)
{
    FrameCache cache(2 * kFrameBytes);
    cache.RemoveDependency(Key(1));
    Fill(cache, 1, 1);
    cache.RemoveDependency(Key(1));
    cache.AddDependency(Key(1));
    cache.RemoveDependency(Key(1));
    cache.RemoveDependency(Key(1));
    cache.AddDependency(Key(1));
    Fill(cache, 2, 3, 100);
    EXPECT_TRUE(cache.Retrieve(Key(1))) << "still one dependency";
}

TEST(FrameCache, DependencyThatEndsWithoutAFrameLeavesNothing)
{
    FrameCache cache(1 * kFrameBytes);
    cache.AddDependency(Key(1));
    cache.RemoveDependency(Key(1));
    Fill(cache, 1, 1);
    Fill(cache, 2, 1);
    EXPECT_EQ(Present(cache, 1, 2), (Numbers{2}));
}

TEST(FrameCache, PinnedFramesMayExceedTheBudgetUntilTheyAreFree)
{
    FrameCache cache(1 * kFrameBytes);
    for (std::uint64_t number = 1; number <= 3; ++number)
    {
        cache.AddDependency(Key(number));
    }
    Fill(cache, 1, 3);
    EXPECT_EQ(cache.GetCounters().mBytes, 3 * kFrameBytes);
    cache.RemoveDependency(Key(2));
    EXPECT_EQ(Present(cache, 1, 3), (Numbers{1, 3}));
    cache.RemoveDependency(Key(1));
    EXPECT_EQ(Present(cache, 1, 3), (Numbers{3}));
    EXPECT_EQ(cache.GetCounters().mBytes, kFrameBytes);
}

TEST(FrameCache, EndOfADependencyCountsAsAUse)
{
    FrameCache cache(2 * kFrameBytes);
    Fill(cache, 1, 1);
    cache.AddDependency(Key(1));
    Fill(cache, 2, 1);
    cache.RemoveDependency(Key(1));
    Fill(cache, 3, 1);
    EXPECT_EQ(Present(cache, 1, 3), (Numbers{1, 3}));
}

TEST(FrameCache, FrameLargerThanTheBudgetDrivesNobodyOut)
{
    FrameCache cache(2 * kFrameBytes);
    Fill(cache, 1, 2);
    cache.Insert(NewFrame(64 * 3), Key(3), 100);
    EXPECT_EQ(Present(cache, 1, 3), (Numbers{1, 2}));
    EXPECT_EQ(cache.GetCounters().mTooLarge, 1u);
}

TEST(FrameCache, LoweredBudgetTakesEffectAtOnce)
{
    FrameCache cache(4 * kFrameBytes);
    Fill(cache, 1, 4);
    cache.SetBudget(2 * kFrameBytes + 1);
    EXPECT_EQ(Present(cache, 1, 4), (Numbers{3, 4}));
}

TEST(FrameCache, ClearDropsFramesAndKeepsDependencies)
{
    FrameCache cache(1 * kFrameBytes);
    cache.AddDependency(Key(1));
    Fill(cache, 1, 1);
    cache.Clear();
    EXPECT_FALSE(cache.Retrieve(Key(1)));
    EXPECT_EQ(cache.GetCounters().mBytes, 0u);
    EXPECT_EQ(cache.GetCounters().mFrames, 0u);
    EXPECT_EQ(cache.GetCounters().mPinnedFrames, 0u);
    Fill(cache, 1, 1);
    Fill(cache, 2, 1, 100);
    EXPECT_EQ(Present(cache, 1, 2), (Numbers{1}));
}

TEST(FrameCache, DroppedFramesAreReleased)
{
    FrameCache cache(1 * kFrameBytes);
    const IVideoFrameRef frame = NewFrame();
    cache.Insert(frame, Key(1), 0);
    frame->AddRef();
    EXPECT_EQ(frame->Release(), 2u);
    Fill(cache, 2, 1);
    frame->AddRef();
    EXPECT_EQ(frame->Release(), 1u);
}

TEST(FrameCache, NotifiesAfterEachInsertionThatStored)
{
    FrameCache cache(10 * kFrameBytes);
    int notices = 0;
    cache.SetNotification([&] { ++notices; });
    Fill(cache, 1, 3);
    EXPECT_EQ(notices, 3);
    Fill(cache, 1, 1);
    EXPECT_EQ(notices, 3) << "a repeat changes nothing";
    cache.SetNotification({});
    Fill(cache, 4, 1);
    EXPECT_EQ(notices, 3);
}

TEST(FrameCache, NotificationMayComeBack)
{
    FrameCache cache(10 * kFrameBytes);
    int depth = 0;
    cache.SetNotification(
        [&]
        {
            EXPECT_TRUE(cache.Retrieve(Key(1)));
            cache.AddDependency(Key(1));
            cache.RemoveDependency(Key(1));
            cache.GetCounters();
            if (depth++ == 0)
            {
                cache.Insert(NewFrame(), Key(2), 0);
                cache.SetNotification({});
            }
        });
    Fill(cache, 1, 1);
    EXPECT_EQ(depth, 2);
    EXPECT_EQ(Present(cache, 1, 2), (Numbers{1, 2}));
}

TEST(SharedVideoFrameCache, IsOneCacheForTheProcess)
{
    const ProcessCache process;
    using namespace VF::SharedVideoFrameCache;
    int notices = 0;
    SetNotificationFunction([&] { ++notices; });
    const IVideoFrameRef frame = NewFrame();
    RegisterDependencyOnFrame(Key(77));
    InsertIntoCache(frame, Key(77), 0);
    EXPECT_TRUE(RetrieveFromCache(Key(77)) == frame);
    EXPECT_EQ(GetCounters().mPinnedFrames, 1u);
    UnregisterDependencyOnFrame(Key(77));
    EXPECT_EQ(GetCounters().mPinnedFrames, 0u);
    EXPECT_EQ(notices, 1);
    EXPECT_EQ(GetCounters().mFrames, 1u);
}

TEST(SharedVideoFrameCache, HostSetsItsBudget)
{
    const ProcessCache process;
    using namespace VF::SharedVideoFrameCache;
    const std::uint64_t usual = GetCounters().mBudgetBytes;
    EXPECT_GT(usual, 0u);
    SetBudget(kFrameBytes);
    InsertIntoCache(NewFrame(), Key(1), 0);
    InsertIntoCache(NewFrame(), Key(2), 0);
    EXPECT_EQ(GetCounters().mFrames, 1u);
    SetBudget(usual);
}
