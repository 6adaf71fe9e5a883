#include "ReferenceHost/FrameLibrary/FramePool.h"

#include "ReferenceHost/FrameLibrary/PictureMemory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <utility>

using VF::FrameBufferRef;
using VF::FramePool;

namespace
{

constexpr std::uint64_t kPlenty = std::uint64_t{1} << 40;
constexpr std::size_t kMiB = std::size_t{1} << 20;

} // namespace

TEST(FramePool, BuffersAreAlignedAndLargeEnough)
{
    FramePool pool(kPlenty, kPlenty);
    for (std::size_t size : {std::size_t{1}, std::size_t{1023}, std::size_t{1024}, 300 * std::size_t{1024},
                             kMiB - 1, kMiB, 3 * kMiB - 7, 8294400 * std::size_t{1}, 33 * kMiB})
    {
        const FrameBufferRef buffer = pool.Acquire(size);
        ASSERT_TRUE(buffer) << size;
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(buffer.Data()) % 64, 0u) << size;
        EXPECT_EQ(buffer.Size(), size);
        std::memset(buffer.Data(), 0x5A, size);
    }
    EXPECT_EQ(pool.GetCounters().mBuffersInUse, 0u);
}

TEST(FramePool, BigBuffersStartOnBigPages)
{
    FramePool pool(kPlenty, kPlenty);
    const FrameBufferRef buffer = pool.Acquire(8294400);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(buffer.Data()) % (2 * kMiB), 0u);
}

TEST(FramePool, DroppedBufferIsHandedOutAgain)
{
    FramePool pool(kPlenty, kPlenty);
    const void* const first = pool.Acquire(8294400).Data();
    const FrameBufferRef again = pool.Acquire(8294400);
    EXPECT_EQ(again.Data(), first);
    const VF::FramePoolCounters counters = pool.GetCounters();
    EXPECT_EQ(counters.mAllocations, 1u);
    EXPECT_EQ(counters.mReuses, 1u);
}

TEST(FramePool, SteadyUseTakesNothingFromTheSystem)
{
    FramePool pool(kPlenty, kPlenty);
    FrameBufferRef window[4];
    for (int frame = 0; frame < 100; ++frame)
    {
        window[frame % 4] = FrameBufferRef();
        window[frame % 4] = pool.Acquire(3110400);
    }
    EXPECT_EQ(pool.GetCounters().mAllocations, 4u);
    EXPECT_EQ(pool.GetCounters().mReuses, 96u);
}

TEST(FramePool, CopiesOfAHandleShareTheBuffer)
{
    FramePool pool(kPlenty, kPlenty);
    FrameBufferRef first = pool.Acquire(4096);
    EXPECT_TRUE(first.IsUnique());
    FrameBufferRef second = first;
    EXPECT_FALSE(first.IsUnique());
    EXPECT_EQ(second.Data(), first.Data());
    first = FrameBufferRef();
    EXPECT_TRUE(second.IsUnique());
    EXPECT_EQ(pool.GetCounters().mBuffersInUse, 1u);
    const FrameBufferRef moved = std::move(second);
    EXPECT_FALSE(second);
    EXPECT_TRUE(moved.IsUnique());
}

TEST(FramePool, DetachedBufferStaysInUseUntilItIsAttached)
{
    FramePool pool(kPlenty, kPlenty);
    FrameBufferRef buffer = pool.Acquire(4096);
    VF::FrameBuffer* const plain = buffer.Detach();
    EXPECT_FALSE(buffer);
    EXPECT_EQ(pool.GetCounters().mBuffersInUse, 1u);
    FrameBufferRef::Attach(plain);
    EXPECT_EQ(pool.GetCounters().mBuffersInUse, 0u);
}

TEST(FramePool, NearlyFittingIdleBufferIsTaken)
{
    FramePool pool(kPlenty, kPlenty);
    pool.Acquire(10 * kMiB);
    const FrameBufferRef smaller = pool.Acquire(9 * kMiB);
    EXPECT_EQ(pool.GetCounters().mReuses, 1u);
    EXPECT_EQ(smaller.Size(), 9 * kMiB);
}

TEST(FramePool, MuchLargerIdleBufferIsLeftAlone)
{
    FramePool pool(kPlenty, kPlenty);
    pool.Acquire(32 * kMiB);
    const FrameBufferRef smaller = pool.Acquire(9 * kMiB);
    EXPECT_EQ(pool.GetCounters().mReuses, 0u);
    EXPECT_EQ(pool.GetCounters().mBytesIdle, 32 * kMiB);
}

TEST(FramePool, OldestIdleBuffersLeaveAboveTheIdleLimit)
{
    FramePool pool(kPlenty, 20 * kMiB);
    FrameBufferRef a = pool.Acquire(10 * kMiB);
    FrameBufferRef b = pool.Acquire(10 * kMiB);
    FrameBufferRef c = pool.Acquire(10 * kMiB);
    const void* const oldest = a.Data();
    a = FrameBufferRef();
    b = FrameBufferRef();
    EXPECT_EQ(pool.GetCounters().mReturns, 0u) << "at the limit";
    c = FrameBufferRef();
    EXPECT_EQ(pool.GetCounters().mReturns, 1u);
    EXPECT_EQ(pool.GetCounters().mBytesIdle, 20 * kMiB);
    EXPECT_EQ(pool.GetCounters().mBuffersIdle, 2u);
    a = pool.Acquire(10 * kMiB);
    b = pool.Acquire(10 * kMiB);
    EXPECT_EQ(pool.GetCounters().mReuses, 2u);
    EXPECT_TRUE(a.Data() != oldest && b.Data() != oldest);
}

TEST(FramePool, IdleBuffersMakeRoomUnderTheTotalLimit)
{
    FramePool pool(20 * kMiB, kPlenty);
    pool.Acquire(4 * kMiB);
    pool.Acquire(12 * kMiB);
    EXPECT_EQ(pool.GetCounters().mBytesIdle, 16 * kMiB);
    const FrameBufferRef big = pool.Acquire(18 * kMiB);
    EXPECT_TRUE(big);
    EXPECT_EQ(pool.GetCounters().mBytesIdle, 0u);
    EXPECT_EQ(pool.GetCounters().mReturns, 2u);
}

TEST(FramePool, BuffersInUseMayExceedTheLimit)
{
    FramePool pool(8 * kMiB, 8 * kMiB);
    FrameBufferRef a = pool.Acquire(6 * kMiB);
    FrameBufferRef b = pool.Acquire(6 * kMiB);
    EXPECT_TRUE(a && b);
    EXPECT_EQ(pool.GetCounters().mBytesInUse, 12 * kMiB);
    EXPECT_EQ(pool.GetCounters().mPeakBytes, 12 * kMiB);
    a = FrameBufferRef();
    EXPECT_EQ(pool.GetCounters().mBytesIdle, 0u)
        << "what comes back goes to the system while in use and idle exceed it";
}

TEST(FramePool, LoweredLimitTakesEffectAtOnce)
{
    FramePool pool(kPlenty, kPlenty);
    pool.Acquire(4 * kMiB);
    pool.SetLimits(kPlenty, 1 * kMiB);
    EXPECT_EQ(pool.GetCounters().mBuffersIdle, 0u);
}

TEST(FramePool, TrimGivesIdleBuffersBack)
{
    FramePool pool(kPlenty, kPlenty);
    const FrameBufferRef used = pool.Acquire(4 * kMiB);
    pool.Acquire(12 * kMiB);
    pool.Acquire(1000);
    pool.Trim();
    const VF::FramePoolCounters counters = pool.GetCounters();
    EXPECT_EQ(counters.mBytesIdle, 0u);
    EXPECT_EQ(counters.mReturns, 2u);
    EXPECT_EQ(counters.mBytesInUse, 4 * kMiB);
}

TEST(FramePool, ImpossibleSizesGiveNothing)
{
    FramePool pool(kPlenty, kPlenty);
    EXPECT_FALSE(pool.Acquire(0));
    EXPECT_FALSE(pool.Acquire(std::numeric_limits<std::size_t>::max()));
    EXPECT_FALSE(pool.Acquire(std::numeric_limits<std::size_t>::max() / 8)) << "more than an address space";
    EXPECT_EQ(pool.GetCounters().mRefusals, 1u);
    EXPECT_EQ(pool.GetCounters().mBytesInUse, 0u);
    EXPECT_EQ(FrameBufferRef().Data(), nullptr);
    EXPECT_EQ(FrameBufferRef().Size(), 0u);
}

TEST(PictureMemory, CapacitiesWasteLittle)
{
    for (std::size_t bytes = 1; bytes < 200 * kMiB; bytes = bytes * 9 / 8 + 1)
    {
        const std::size_t capacity = VF::PictureMemory::CapacityFor(bytes);
        EXPECT_GE(capacity, bytes);
        EXPECT_LE(capacity, bytes + std::max<std::size_t>(1024, bytes / 3)) << bytes;
        EXPECT_EQ(VF::PictureMemory::CapacityFor(capacity), capacity) << "a capacity is its own";
    }
}
