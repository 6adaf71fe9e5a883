#include "ReferenceHost/FrameLibrary/FramePool.h"

#include "ReferenceHost/Foundation/Mutex.h"
#include "ReferenceHost/FrameLibrary/PictureMemory.h"
#include "norvik/utility/Machine.h"

#include <boost/intrusive/list.hpp>

#include <algorithm>
#include <atomic>
#include <map>
#include <new>

namespace VF
{

namespace intrusive = boost::intrusive;

// A buffer and its place in the pool. The record lives as long as its memory, so that handing a buffer
// out again allocates nothing.
class FrameBuffer
{
public:
    explicit FrameBuffer(FramePool& inPool) noexcept : mPool(inPool) {}

    FramePool& mPool;
    PictureMemory mMemory;
    std::size_t mSize = 0;
    std::atomic<std::uint32_t> mReferences{1};
    intrusive::list_member_hook<> mByAge;
    intrusive::list_member_hook<> mBySize;
};

namespace
{

using AgeList =
    intrusive::list<FrameBuffer,
                    intrusive::member_hook<FrameBuffer, intrusive::list_member_hook<>, &FrameBuffer::mByAge>>;
using SizeList = intrusive::list<
    FrameBuffer, intrusive::member_hook<FrameBuffer, intrusive::list_member_hook<>, &FrameBuffer::mBySize>>;

// A buffer up to a quarter larger than needed is still a better answer than page faults.
constexpr std::size_t kLargestExcessDivisor = 4;

void Destroy(AgeList& ioBuffers) noexcept
{
    ioBuffers.clear_and_dispose([](FrameBuffer* buffer) { delete buffer; });
}

} // namespace

struct FramePool::Impl
{
    Impl(std::uint64_t inTotalLimit, std::uint64_t inIdleLimit)
        : mTotalLimit(inTotalLimit)
        , mIdleLimit(inIdleLimit)
    {
    }

    // Everything below is short work on lists: buffers are mapped and unmapped outside the lock.
    mutable Foundation::Mutex mLock;
    std::uint64_t mTotalLimit VR_GUARDED_BY(mLock);
    std::uint64_t mIdleLimit VR_GUARDED_BY(mLock);
    std::map<std::size_t, SizeList>
        mIdleBySize VR_GUARDED_BY(mLock);    // latest first, which is warm in the caches
    AgeList mIdleByAge VR_GUARDED_BY(mLock); // oldest first
    FramePoolCounters mCounters VR_GUARDED_BY(mLock);

    FrameBuffer* TakeIdle(std::size_t inCapacity) noexcept VR_EXCLUDES(mLock);
    bool CountAllocation(std::size_t inCapacity) noexcept VR_EXCLUDES(mLock);
    void CountRefusal() noexcept VR_EXCLUDES(mLock);

    FrameBuffer* FindIdleLocked(std::size_t inCapacity) noexcept VR_REQUIRES(mLock);
    void AddIdleLocked(FrameBuffer& inBuffer) noexcept VR_REQUIRES(mLock);
    void RemoveIdleLocked(FrameBuffer& inBuffer) noexcept VR_REQUIRES(mLock);
    bool IsOverLimitLocked(std::uint64_t inWantedBytes) const noexcept VR_REQUIRES(mLock);
    void EvictOldestLocked(AgeList& outEvicted) noexcept VR_REQUIRES(mLock);
    void EvictLocked(std::uint64_t inWantedBytes, AgeList& outEvicted) noexcept VR_REQUIRES(mLock);
    void EvictAllLocked(AgeList& outEvicted) noexcept VR_REQUIRES(mLock);
};

FrameBuffer* FramePool::Impl::FindIdleLocked(std::size_t inCapacity) noexcept
{
    const std::size_t largest = inCapacity + inCapacity / kLargestExcessDivisor;
    for (auto found = mIdleBySize.lower_bound(inCapacity);
         found != mIdleBySize.end() && found->first <= largest; ++found)
    {
        if (!found->second.empty())
        {
            return &found->second.front();
        }
    }
    return nullptr;
}

void FramePool::Impl::AddIdleLocked(FrameBuffer& inBuffer) noexcept
{
    const std::size_t capacity = inBuffer.mMemory.Capacity();
    mIdleBySize.find(capacity)->second.push_front(inBuffer);
    mIdleByAge.push_back(inBuffer);
    mCounters.mBytesInUse -= capacity;
    --mCounters.mBuffersInUse;
    mCounters.mBytesIdle += capacity;
    ++mCounters.mBuffersIdle;
}

void FramePool::Impl::RemoveIdleLocked(FrameBuffer& inBuffer) noexcept
{
    const std::size_t capacity = inBuffer.mMemory.Capacity();
    SizeList& sameSize = mIdleBySize.find(capacity)->second;
    sameSize.erase(sameSize.iterator_to(inBuffer));
    mIdleByAge.erase(mIdleByAge.iterator_to(inBuffer));
    mCounters.mBytesIdle -= capacity;
    --mCounters.mBuffersIdle;
}

bool FramePool::Impl::IsOverLimitLocked(std::uint64_t inWantedBytes) const noexcept
{
    return mCounters.mBytesIdle > mIdleLimit ||
           mCounters.mBytesInUse + mCounters.mBytesIdle + inWantedBytes > mTotalLimit;
}

void FramePool::Impl::EvictOldestLocked(AgeList& outEvicted) noexcept
{
    FrameBuffer& oldest = mIdleByAge.front();
    RemoveIdleLocked(oldest);
    outEvicted.push_back(oldest);
    ++mCounters.mReturns;
}

// Idle buffers leave until both limits are kept with inWantedBytes more in use, or none is left.
void FramePool::Impl::EvictLocked(std::uint64_t inWantedBytes, AgeList& outEvicted) noexcept
{
    while (!mIdleByAge.empty() && IsOverLimitLocked(inWantedBytes))
    {
        EvictOldestLocked(outEvicted);
    }
}

void FramePool::Impl::EvictAllLocked(AgeList& outEvicted) noexcept
{
    while (!mIdleByAge.empty())
    {
        EvictOldestLocked(outEvicted);
    }
}

// Null if no idle buffer fits; then there is room for a new one as far as idle buffers could make it.
FrameBuffer* FramePool::Impl::TakeIdle(std::size_t inCapacity) noexcept
{
    AgeList evicted;
    FrameBuffer* found = nullptr;
    {
        const Foundation::MutexLock lock(mLock);
        found = FindIdleLocked(inCapacity);
        if (found)
        {
            RemoveIdleLocked(*found);
            mCounters.mBytesInUse += found->mMemory.Capacity();
            ++mCounters.mBuffersInUse;
            ++mCounters.mReuses;
        }
        else
        {
            EvictLocked(inCapacity, evicted);
        }
    }
    Destroy(evicted);
    return found;
}

// Makes the list that the buffer will come back to, so that coming back cannot fail.
bool FramePool::Impl::CountAllocation(std::size_t inCapacity) noexcept
{
    try
    {
        const Foundation::MutexLock lock(mLock);
        mIdleBySize.try_emplace(inCapacity);
        mCounters.mBytesInUse += inCapacity;
        ++mCounters.mBuffersInUse;
        ++mCounters.mAllocations;
        mCounters.mPeakBytes = std::max(mCounters.mPeakBytes, mCounters.mBytesInUse + mCounters.mBytesIdle);
        return true;
    }
    catch (const std::bad_alloc&)
    {
        return false;
    }
}

void FramePool::Impl::CountRefusal() noexcept
{
    const Foundation::MutexLock lock(mLock);
    ++mCounters.mRefusals;
}

FramePool& FramePool::Instance()
{
    static FramePool* const sPool = []
    {
        const std::uint64_t memory = norvik::utility::TotalPhysicalMemory();
        return new FramePool(memory / 3, memory / 8);
    }();
    return *sPool;
}

FramePool::FramePool(std::uint64_t inTotalLimitBytes, std::uint64_t inIdleLimitBytes)
    : mImpl(std::make_unique<Impl>(inTotalLimitBytes, inIdleLimitBytes))
{
}

FramePool::~FramePool()
{
    Trim();
}

FrameBufferRef FramePool::Acquire(std::size_t inBytes) noexcept
{
    const std::size_t capacity = PictureMemory::CapacityFor(inBytes);
    if (capacity == 0)
    {
        return {};
    }
    FrameBuffer* buffer = mImpl->TakeIdle(capacity);
    if (!buffer)
    {
        buffer = Allocate(capacity);
    }
    if (!buffer)
    {
        // Idle buffers of other sizes may hold what is missing.
        Trim();
        buffer = Allocate(capacity);
    }
    if (!buffer)
    {
        mImpl->CountRefusal();
        return {};
    }
    buffer->mSize = inBytes;
    buffer->mReferences.store(1, std::memory_order_relaxed);
    buffer->mMemory.AllowAccess(inBytes);
    return FrameBufferRef(buffer);
}

FrameBuffer* FramePool::Allocate(std::size_t inCapacity) noexcept
{
    std::unique_ptr<FrameBuffer> buffer(new (std::nothrow) FrameBuffer(*this));
    if (!buffer || !buffer->mMemory.Allocate(inCapacity) || !mImpl->CountAllocation(inCapacity))
    {
        return nullptr;
    }
    return buffer.release();
}

void FramePool::TakeBack(FrameBuffer& inBuffer) noexcept
{
    inBuffer.mMemory.AllowAccess(0);
    AgeList evicted;
    {
        const Foundation::MutexLock lock(mImpl->mLock);
        mImpl->AddIdleLocked(inBuffer);
        mImpl->EvictLocked(0, evicted);
    }
    Destroy(evicted);
}

void FramePool::SetLimits(std::uint64_t inTotalLimitBytes, std::uint64_t inIdleLimitBytes) noexcept
{
    AgeList evicted;
    {
        const Foundation::MutexLock lock(mImpl->mLock);
        mImpl->mTotalLimit = inTotalLimitBytes;
        mImpl->mIdleLimit = inIdleLimitBytes;
        mImpl->EvictLocked(0, evicted);
    }
    Destroy(evicted);
}

void FramePool::Trim() noexcept
{
    AgeList evicted;
    {
        const Foundation::MutexLock lock(mImpl->mLock);
        mImpl->EvictAllLocked(evicted);
    }
    Destroy(evicted);
}

FramePoolCounters FramePool::GetCounters() const noexcept
{
    const Foundation::MutexLock lock(mImpl->mLock);
    return mImpl->mCounters;
}

FrameBufferRef::FrameBufferRef(const FrameBufferRef& inOther) noexcept : mBuffer(inOther.mBuffer)
{
    if (mBuffer)
    {
        mBuffer->mReferences.fetch_add(1, std::memory_order_relaxed);
    }
}

FrameBufferRef::~FrameBufferRef()
{
    if (mBuffer && mBuffer->mReferences.fetch_sub(1, std::memory_order_acq_rel) == 1)
    {
        mBuffer->mPool.TakeBack(*mBuffer);
    }
}

void* FrameBufferRef::Data() const noexcept
{
    return mBuffer ? mBuffer->mMemory.Data() : nullptr;
}

std::size_t FrameBufferRef::Size() const noexcept
{
    return mBuffer ? mBuffer->mSize : 0;
}

bool FrameBufferRef::IsUnique() const noexcept
{
    return mBuffer && mBuffer->mReferences.load(std::memory_order_acquire) == 1;
}

} // namespace VF
