#include "norvik/utility/Memory.h"
#include "norvik/utility/RecycledMemory.h"
#include "norvik/utility/StringTypes.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <list>
#include <map>
#include <vector>

namespace
{

using norvik::utility::RecycledMemory;
using norvik::utility::SmallBlockAllocator;

TEST(SmallBlockAllocator, BlocksOfEverySizeAreAlignedAndApart)
{
    std::map<uintptr_t, size_t> blocks;
    for (size_t size = 0; size <= 600; ++size)
    {
        for (int repeat = 0; repeat < 3; ++repeat)
        {
            void* block = SmallBlockAllocator::Allocate(size);
            std::memset(block, 0xA5, size);
            const auto address = reinterpret_cast<uintptr_t>(block);
            EXPECT_EQ(address % alignof(std::max_align_t), 0u);
            EXPECT_TRUE(blocks.emplace(address, size).second);
        }
    }
    uintptr_t end = 0;
    for (const auto& [address, size] : blocks)
    {
        EXPECT_GE(address, end);
        end = address + size;
        SmallBlockAllocator::Dispose(reinterpret_cast<void*>(address), size);
    }
    SmallBlockAllocator::Dispose(nullptr, 16);
}

TEST(SmallBlockAllocator, ReusedBlockFitsTheWholeSizeClass)
{
    // A block freed as 17 bytes may come back for 32.
    for (int round = 0; round < 100; ++round)
    {
        void* small = SmallBlockAllocator::Allocate(17);
        SmallBlockAllocator::Dispose(small, 17);
        void* large = SmallBlockAllocator::Allocate(32);
        std::memset(large, round, 32);
        SmallBlockAllocator::Dispose(large, 32);
    }
}

TEST(STLAllocator, ServesContainersAndRefusesImpossibleSizes)
{
    std::list<int, norvik::utility::STLAllocator<int>> list;
    for (int index = 0; index < 500; ++index)
    {
        list.push_back(index);
    }
    EXPECT_EQ(list.back(), 499);
    norvik::utility::STLAllocator<int64_t> allocator;
    EXPECT_THROW(static_cast<void>(allocator.allocate(SIZE_MAX / 4)), std::bad_alloc);
}

// Uses the allocator before main and gives the memory back after main's objects are gone; a crash there fails
// the whole test program.
struct UsedAroundMain
{
    UsedAroundMain() : mText(200, 'x') {}

    ~UsedAroundMain()
    {
        mText.clear();
        mText.shrink_to_fit();
        mText.assign(100, 'y');
    }

    norvik::UTF8String mText;
};

UsedAroundMain sUsedAroundMain;

TEST(SmallBlockAllocator, IsThereBeforeMain)
{
    EXPECT_EQ(sUsedAroundMain.mText.size(), 200u);
}

TEST(PluginMemory, KnowsItsSize)
{
    void* block = VlNewPtr(1000);
    ASSERT_NE(block, nullptr);
    std::memset(block, 1, 1000);
    EXPECT_EQ(VlGetPtrSize(block), 1000u);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % alignof(std::max_align_t), 0u);
    VlDisposePtr(block);

    void* none = VlNewPtr(0);
    EXPECT_NE(none, nullptr);
    EXPECT_EQ(VlGetPtrSize(none), 0u);
    VlDisposePtr(none);
    VlDisposePtr(nullptr);
    EXPECT_EQ(VlGetPtrSize(nullptr), 0u);
}

TEST(RecycledMemory, StartsEmptyAndHoldsWhatWasAskedFor)
{
    const auto memory = RecycledMemory::Create();
    EXPECT_EQ(memory->Size(), 0u);
    EXPECT_EQ(memory->Buffer(), nullptr);
    memory->Allocate(10000);
    EXPECT_EQ(memory->Size(), 10000u);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(memory->Buffer()) % 64, 0u);
    std::memset(memory->Buffer(), 1, 10000);
    memory->Allocate(5);
    EXPECT_EQ(memory->Size(), 5u);
    memory->Allocate(0);
    EXPECT_EQ(memory->Buffer(), nullptr);
}

TEST(RecycledMemory, LastHolderGivesTheBufferBackForReuse)
{
    auto first = RecycledMemory::Create();
    first->Allocate(3'000'000);
    const void* address = first->Buffer();
    std::shared_ptr<const RecycledMemory> holder = first;
    first.reset();
    auto other = RecycledMemory::Create();
    other->Allocate(3'000'000);
    EXPECT_NE(other->Buffer(), address) << "it is still held";
    holder.reset();
    auto next = RecycledMemory::Create();
    next->Allocate(2'500'000);
    EXPECT_EQ(next->Buffer(), address);
}

TEST(RecycledMemory, ImpossibleSizeThrowsAndLeavesItEmpty)
{
    const auto memory = RecycledMemory::Create();
    memory->Allocate(100);
    EXPECT_THROW(memory->Allocate(SIZE_MAX), std::bad_alloc);
    EXPECT_EQ(memory->Size(), 0u);
    EXPECT_EQ(memory->Buffer(), nullptr);
}

} // namespace
