#include "norvik/utility/RecycledMemory.h"

#include <algorithm>
#include <array>
#include <bit>
#include <mutex>
#include <new>
#include <vector>

namespace norvik::utility
{

namespace
{

constexpr std::align_val_t kAlignment{64};
constexpr size_t kSmallestCapacity = 4096;

// What the pool keeps at most: enough for a handful of compressed frames, little enough to forget about.
constexpr size_t kPoolLimitBytes = 64u * 1024 * 1024;

// Free buffers by the power of two of their capacity. Never destroyed, since buffers may be released by
// other process-wide objects as the process ends.
class BufferPool
{
public:
    static BufferPool& Instance()
    {
        static BufferPool* const sPool = new BufferPool;
        return *sPool;
    }

    void* Take(size_t inCapacity)
    {
        {
            const std::lock_guard<std::mutex> lock(mMutex);
            std::vector<void*>& shelf = mShelves[ShelfOf(inCapacity)];
            if (!shelf.empty())
            {
                void* buffer = shelf.back();
                shelf.pop_back();
                mBytes -= inCapacity;
                return buffer;
            }
        }
        return ::operator new(inCapacity, kAlignment);
    }

    void Give(void* inBuffer, size_t inCapacity) noexcept
    {
        try
        {
            const std::lock_guard<std::mutex> lock(mMutex);
            if (mBytes + inCapacity <= kPoolLimitBytes)
            {
                mShelves[ShelfOf(inCapacity)].push_back(inBuffer);
                mBytes += inCapacity;
                return;
            }
        }
        catch (const std::bad_alloc&)
        {
            // No room to note it: the buffer goes back to the system instead.
        }
        ::operator delete(inBuffer, kAlignment);
    }

private:
    static size_t ShelfOf(size_t inCapacity) { return static_cast<size_t>(std::countr_zero(inCapacity)); }

    std::mutex mMutex;
    std::array<std::vector<void*>, 64> mShelves;
    size_t mBytes = 0;
};

size_t CapacityFor(size_t inSize)
{
    constexpr size_t kLargest = size_t{1} << 62;
    if (inSize > kLargest)
    {
        throw std::bad_alloc();
    }
    return std::bit_ceil(std::max(inSize, kSmallestCapacity));
}

} // namespace

std::shared_ptr<RecycledMemory> RecycledMemory::Create()
{
    return std::shared_ptr<RecycledMemory>(new RecycledMemory);
}

RecycledMemory::~RecycledMemory()
{
    Recycle();
}

void RecycledMemory::Recycle() noexcept
{
    if (mBuffer != nullptr)
    {
        BufferPool::Instance().Give(mBuffer, mCapacity);
    }
    mBuffer = nullptr;
    mSize = 0;
    mCapacity = 0;
}

void RecycledMemory::Allocate(size_t inSize)
{
    if (inSize == 0)
    {
        Recycle();
        return;
    }
    if (inSize > mCapacity)
    {
        Recycle();
        const size_t capacity = CapacityFor(inSize);
        mBuffer = BufferPool::Instance().Take(capacity);
        mCapacity = capacity;
    }
    mSize = inSize;
}

} // namespace norvik::utility
