#include "ReferenceHost/FrameLibrary/RingMemory.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <new>
#include <string>

#include <unistd.h>

using VF::RingMemory;

TEST(RingMemory, HasRoomForWhatWasAskedFor)
{
    RingMemory ring;
    EXPECT_EQ(ring.Capacity(), 0u);
    ring.Reserve(1);
    const std::size_t capacity = ring.Capacity();
    EXPECT_GE(capacity, 1u);
    ring.Reserve(capacity + 1);
    EXPECT_GT(ring.Capacity(), capacity);
}

TEST(RingMemory, KeepsWhatIsThereWhereItHasRoom)
{
    RingMemory ring;
    ring.Reserve(100);
    *ring.At(99) = 7;
    ring.Reserve(ring.Capacity());
    EXPECT_EQ(*ring.At(99), 7);
}

// A stream longer than the ring, whose stretches begin at all kinds of places.
TEST(RingMemory, StretchesThatGoOverItsEndAreInOnePiece)
{
    RingMemory ring;
    ring.Reserve(5000);
    const std::size_t capacity = ring.Capacity();
    const auto valueOf = [](std::uint64_t inPosition)
    { return static_cast<std::uint8_t>(inPosition * 31 + inPosition / 251); };
    for (std::uint64_t start = 0; start < 5 * capacity; start += 1009)
    {
        std::uint8_t* const stretch = ring.At(start);
        for (std::size_t i = 0; i < capacity; ++i)
        {
            stretch[i] = valueOf(start + i);
        }
        for (std::size_t i = 0; i < capacity; i += 13)
        {
            ASSERT_EQ(*ring.At(start + i), valueOf(start + i)) << start << ", " << i;
        }
    }
}

// What lies in the later part of a stretch is there still when the next one begins with it.
TEST(RingMemory, TheNextStretchFindsTheEndOfTheOneBefore)
{
    RingMemory ring;
    ring.Reserve(4096);
    const std::size_t capacity = ring.Capacity();
    for (std::size_t i = 0; i < capacity; ++i)
    {
        ring.At(1000)[i] = static_cast<std::uint8_t>(i % 253);
    }
    const std::uint64_t next = 1000 + capacity / 2;
    for (std::size_t i = 0; i < capacity / 2; ++i)
    {
        ASSERT_EQ(ring.At(next)[i], static_cast<std::uint8_t>((i + capacity / 2) % 253));
    }
}

TEST(RingMemory, BytesALittleBehindAStretchCanBeRead)
{
    RingMemory ring;
    ring.Reserve(1);
    const std::uint8_t* const last = ring.At(ring.Capacity() - 1);
    int sum = 0;
    for (std::size_t i = 0; i < ring.Capacity() + 64; ++i)
    {
        sum += last[i];
    }
    EXPECT_EQ(sum, 0);
}

TEST(RingMemory, SaysWhenThereIsNoMemory)
{
    RingMemory ring;
    EXPECT_THROW(ring.Reserve(std::size_t{1} << 60), std::bad_alloc);
    EXPECT_EQ(ring.Capacity(), 0u);
    ring.Reserve(10);
    EXPECT_GE(ring.Capacity(), 10u);
}

TEST(RingMemory, LeavesNoFileAndNoMemoryBehind)
{
    const auto sharedMappings = []
    {
        std::ifstream maps("/proc/self/maps");
        std::size_t count = 0;
        for (std::string line; std::getline(maps, line);)
        {
            count += line.find("/dev/zero") != std::string::npos ? 1 : 0;
        }
        return count;
    };
    const std::size_t before = sharedMappings();
    const int fileBefore = ::dup(0);
    ::close(fileBefore);
    {
        RingMemory ring;
        ring.Reserve(10000);
        const int fileAfter = ::dup(0);
        ::close(fileAfter);
        EXPECT_EQ(fileAfter, fileBefore);
        EXPECT_EQ(sharedMappings(), before + 3);
        ring.Reserve(20000);
        EXPECT_EQ(sharedMappings(), before + 3);
    }
    EXPECT_EQ(sharedMappings(), before);
}
