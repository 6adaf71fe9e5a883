#include <algorithm>
#include <atomic>
#include <bit>
#include <cstdlib>
#include <mutex>
#include <new>
#include <utility>
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

// A thread keeps some that aren't large for itself, which are still in its processor's caches, and asks nobody for
// them: kernels that work on a few rows come back a hundred times a picture. There are several times as many threads
// as processors, and most of them sleep: a thread keeps no more than such a cache holds, and all of them together no
// more than a single size of the pool may, twice.
constexpr int kLargestOfThread = 20;
constexpr std::size_t kMostOfThread = 2;
constexpr std::size_t kBytesOfThread = std::size_t{1} << 21;
constexpr std::size_t kBytesOfThreads = 2 * kKeptBytesPerSize;

struct alignas(kAlignment) Record
{
    std::size_t bytes;
    const void* user; // a free block's: the thread that had it last
};

// Another address in each thread.
const void* ThisThread() noexcept
{
    static thread_local const char sPlace = 0;
    return &sPlace;
}

std::size_t ClassOf(std::size_t inBytes)
{
    return static_cast<std::size_t>(std::countr_zero(inBytes)) - kSmallestClass;
}

// Free blocks by size; sizes are powers of two. A thread is given the one that it had, if that is free: to write what lies
// in another processor's caches takes longer than to write what lies nowhere.
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
        const auto isOwn = [user = ThisThread()](void* inBlock)
        { return static_cast<const Record*>(inBlock)->user == user; };
        const auto own = std::find_if(blocks.rbegin(), blocks.rend(), isOwn);
        std::swap(own == blocks.rend() ? blocks.back() : *own, blocks.back());
        void* block = blocks.back();
        blocks.pop_back();
        return block;
    }

    bool Keep(void* inBlock, std::size_t inBytes)
    {
        static_cast<Record*>(inBlock)->user = ThisThread();
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
    std::mutex mLock;
    std::vector<void*> mFree[kLargestClass + 1 - kSmallestClass];
};

BlockPool& SharedPool()
{
    // Never destroyed: blocks may be freed by threads that outlive static objects.
    static auto* sPool = new BlockPool;
    return *sPool;
}

void GiveBack(void* inBlock, std::size_t inBytes)
{
    if (inBytes > kLargestPooled || !SharedPool().Keep(inBlock, inBytes))
    {
        std::free(inBlock);
    }
}

// Free blocks of one thread. None any more once the thread's own objects are being destroyed.
class ThreadBlocks
{
public:
    // Null where the thread has none.
    static ThreadBlocks* Find()
    {
        static thread_local ThreadBlocks sBlocks;
        return sIsGone ? nullptr : &sBlocks;
    }

    ~ThreadBlocks()
    {
        sIsGone = true;
        for (std::size_t size = 0; size < kSizes; ++size)
        {
            while (mCounts[size] > 0)
            {
                GiveBack(mFree[size][--mCounts[size]], std::size_t{1} << (size + kSmallestClass));
            }
        }
        sRoomOfAll.fetch_sub(mRoom, std::memory_order_relaxed);
    }

    void* Take(std::size_t inBytes)
    {
        const std::size_t size = ClassOf(inBytes);
        if (size >= kSizes || mCounts[size] == 0)
        {
            return nullptr;
        }
        mBytes -= inBytes;
        return mFree[size][--mCounts[size]];
    }

    bool Keep(void* inBlock, std::size_t inBytes)
    {
        const std::size_t size = ClassOf(inBytes);
        if (size >= kSizes || mCounts[size] == kMostOfThread || !HasRoomFor(mBytes + inBytes))
        {
            return false;
        }
        mBytes += inBytes;
        mFree[size][mCounts[size]++] = inBlock;
        return true;
    }

private:
    ThreadBlocks() = default;

    // Room is taken once and held until the thread ends, so that nobody is asked from then on.
    bool HasRoomFor(std::size_t inBytes)
    {
        if (inBytes <= mRoom)
        {
            return true;
        }
        if (inBytes > kBytesOfThread)
        {
            return false;
        }
        const std::size_t more = inBytes - mRoom;
        if (sRoomOfAll.fetch_add(more, std::memory_order_relaxed) + more > kBytesOfThreads)
        {
            sRoomOfAll.fetch_sub(more, std::memory_order_relaxed);
            return false;
        }
        mRoom = inBytes;
        return true;
    }

    static constexpr std::size_t kSizes = kLargestOfThread + 1 - kSmallestClass;
    static thread_local bool sIsGone;
    static std::atomic<std::size_t> sRoomOfAll;

    void* mFree[kSizes][kMostOfThread] = {};
    std::size_t mCounts[kSizes] = {};
    std::size_t mBytes = 0;
    std::size_t mRoom = 0; // the most that mBytes may become without asking
};

thread_local bool ThreadBlocks::sIsGone = false;
std::atomic<std::size_t> ThreadBlocks::sRoomOfAll{0};

// Null where nobody has one.
void* TakePooled(std::size_t inBytes)
{
    ThreadBlocks* const own = ThreadBlocks::Find();
    void* const block = own != nullptr ? own->Take(inBytes) : nullptr;
    return block != nullptr ? block : SharedPool().Take(inBytes);
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
        void* block = isPooled ? TakePooled(bytes) : nullptr;
        block = block != nullptr ? block : std::aligned_alloc(kAlignment, bytes);
        return block == nullptr ? nullptr : new (block) Record{bytes, nullptr} + 1;
    }

    void IR_FreeTransientMemoryBlock(void* inBlock)
    {
        if (inBlock == nullptr)
        {
            return;
        }
        Record* record = static_cast<Record*>(inBlock) - 1;
        const std::size_t bytes = record->bytes;
        ThreadBlocks* const own = bytes <= kLargestPooled ? ThreadBlocks::Find() : nullptr;
        if (own == nullptr || !own->Keep(record, bytes))
        {
            GiveBack(record, bytes);
        }
    }
}
