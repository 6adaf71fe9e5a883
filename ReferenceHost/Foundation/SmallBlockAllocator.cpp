#include "norvik/utility/Memory.h"

#include <cstdint>
#include <cstring>
#include <new>

namespace norvik::utility
{

namespace
{

// Blocks up to 256 bytes come in steps of 16; strings, list nodes and references lie well below.
constexpr size_t kStep = 16;
constexpr size_t kClassCount = 16;
constexpr size_t kLargestSmall = kStep * kClassCount;

// A thread keeps at most this many free blocks of a size, 64 KiB over all sizes; half goes back when there
// are more, so that a thread that only frees what others allocate holds on to little.
constexpr uint32_t kMostBlocks = 32;

struct FreeBlock
{
    FreeBlock* mNext;
};

enum class CacheState : uint8_t
{
    kFresh,
    kOpen,
    kClosed
};

// Trivially destructible: it can still be read while other objects of the thread are being destroyed.
struct ThreadCache
{
    FreeBlock* mHeads[kClassCount];
    uint32_t mCounts[kClassCount];
    CacheState mState;
};

constinit thread_local ThreadCache tCache{};

void GiveBack(ThreadCache& ioCache, size_t inClass, uint32_t inKeep) noexcept
{
    while (ioCache.mCounts[inClass] > inKeep)
    {
        FreeBlock* block = ioCache.mHeads[inClass];
        ioCache.mHeads[inClass] = block->mNext;
        --ioCache.mCounts[inClass];
        ::operator delete(block);
    }
}

// Empties the cache when its thread ends. What is freed later, by objects destroyed after this one, goes
// straight back.
struct CacheCloser
{
    ~CacheCloser()
    {
        tCache.mState = CacheState::kClosed;
        for (size_t index = 0; index < kClassCount; ++index)
        {
            GiveBack(tCache, index, 0);
        }
    }

    void Touch() noexcept { tCache.mState = CacheState::kOpen; }
};

thread_local CacheCloser tCloser;

size_t ClassOf(size_t inSize) noexcept
{
    return inSize == 0 ? 0 : (inSize - 1) / kStep;
}

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kCaching = false; // a cached block would hide a use after free
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr bool kCaching = false;
#else
constexpr bool kCaching = true;
#endif
#else
constexpr bool kCaching = true;
#endif

} // namespace

void* SmallBlockAllocator::Allocate(size_t inSize)
{
    if (!kCaching || inSize > kLargestSmall)
    {
        return ::operator new(inSize);
    }
    const size_t index = ClassOf(inSize);
    ThreadCache& cache = tCache;
    if (FreeBlock* block = cache.mHeads[index])
    {
        cache.mHeads[index] = block->mNext;
        --cache.mCounts[index];
        return block;
    }
    return ::operator new((index + 1) * kStep);
}

void SmallBlockAllocator::Dispose(void* inBlock, size_t inSize) noexcept
{
    if (inBlock == nullptr)
    {
        return;
    }
    ThreadCache& cache = tCache;
    if (!kCaching || inSize > kLargestSmall || cache.mState == CacheState::kClosed)
    {
        ::operator delete(inBlock);
        return;
    }
    if (cache.mState == CacheState::kFresh)
    {
        tCloser.Touch();
    }
    const size_t index = ClassOf(inSize);
    cache.mHeads[index] = new (inBlock) FreeBlock{cache.mHeads[index]};
    if (++cache.mCounts[index] > kMostBlocks)
    {
        GiveBack(cache, index, kMostBlocks / 2);
    }
}

} // namespace norvik::utility

namespace
{

// Precedes each block of VlNewPtr and keeps the block aligned for any fundamental type.
struct alignas(std::max_align_t) PluginBlockHeader
{
    uint32_t mSize;
};

} // namespace

void* VlNewPtr(uint32_t inSize)
{
    void* memory = ::operator new(sizeof(PluginBlockHeader) + inSize, std::nothrow);
    if (memory == nullptr)
    {
        return nullptr;
    }
    return new (memory) PluginBlockHeader{inSize} + 1;
}

void VlDisposePtr(void* inBlock)
{
    if (inBlock != nullptr)
    {
        ::operator delete(static_cast<PluginBlockHeader*>(inBlock) - 1);
    }
}

uint32_t VlGetPtrSize(const void* inBlock)
{
    return inBlock != nullptr ? (static_cast<const PluginBlockHeader*>(inBlock) - 1)->mSize : 0;
}
