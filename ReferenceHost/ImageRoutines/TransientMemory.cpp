#include <algorithm>
#include <bit>
#include <cstdlib>
#include <mutex>
#include <new>
#include <vector>

#include "IR/ImageRoutines.h"

namespace
{

constexpr std::size_t kAlignment = 64;

// Row buffers are a few kilobytes to a megabyte, halves of pictures some more. What is bigger is rare enough to go
// back to the system. 8 blocks of a size are as many as the threads of one renderer hold at a time on common
// machines; of the large ones fewer are kept, as they lie idle most of the time.
constexpr int kLargestClass = 23;
constexpr std::size_t kLargestPooled = std::size_t{1} << kLargestClass;
constexpr std::size_t kMostKept = 8;
constexpr std::size_t kKeptBytesPerSize = std::size_t{1} << 24;
constexpr int kSmallestClass = 8; // 256 bytes, with the record in front

struct alignas(kAlignment) Record
{
    std::size_t bytes;
};

// Free blocks by size; sizes are powers of two.
//
// Thread-safety: safe; the lock guards mFree and nothing is called under it but the vector's own growth.
class BlockPool
{
public:
    BlockPool()
    {
        for (auto& blocks : mFree)
        {
            blocks.reserve(kMostKept);
        }
    }

    void* Take(std::size_t inBytes)
    {
        std::lock_guard lock(mLock);
        auto& blocks = mFree[ClassOf(inBytes)];
        if (blocks.empty())
        {
            return nullptr;
        }
        void* block = blocks.back();
        blocks.pop_back();
        return block;
    }

    bool Keep(void* inBlock, std::size_t inBytes)
    {
        std::lock_guard lock(mLock);
        auto& blocks = mFree[ClassOf(inBytes)];
        if (blocks.size() >= std::min(kMostKept, kKeptBytesPerSize / inBytes))
        {
            return false;
        }
        blocks.push_back(inBlock);
        return true;
    }

private:
    static std::size_t ClassOf(std::size_t inBytes)
    {
        return static_cast<std::size_t>(std::countr_zero(inBytes)) - kSmallestClass;
    }

    std::mutex mLock;
    std::vector<void*> mFree[kLargestClass + 1 - kSmallestClass];
};

BlockPool& SharedPool()
{
    // Never destroyed: blocks may be freed by threads that outlive static objects.
    static auto* sPool = new BlockPool;
    return *sPool;
}

}

extern "C"
{

    void* IR_AllocateTransientMemoryBlock(size_t inBytes)
    {
        if (inBytes == 0 || inBytes > (static_cast<std::size_t>(-1) >> 2))
        {
            return nullptr;
        }
        const std::size_t wanted = std::bit_ceil(inBytes + sizeof(Record));
        const bool isPooled = wanted <= kLargestPooled;
        const std::size_t bytes =
            isPooled ? (wanted < 256 ? 256 : wanted) : (inBytes + sizeof(Record) + 63) / 64 * 64;
        void* block = isPooled ? SharedPool().Take(bytes) : nullptr;
        block = block != nullptr ? block : std::aligned_alloc(kAlignment, bytes);
        return block == nullptr ? nullptr : new (block) Record{bytes} + 1;
    }

    void IR_FreeTransientMemoryBlock(void* inBlock)
    {
        if (inBlock == nullptr)
        {
            return;
        }
        Record* record = static_cast<Record*>(inBlock) - 1;
        const std::size_t bytes = record->bytes;
        if (bytes > kLargestPooled || !SharedPool().Keep(record, bytes))
        {
            std::free(record);
        }
    }
}
