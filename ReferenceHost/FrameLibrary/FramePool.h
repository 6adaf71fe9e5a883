// Memory for pictures, used again instead of given back.
//
// A fresh 8 MB picture costs milliseconds of page faults, one that was used before next to nothing. So
// buffers whose last handle is dropped are kept by size and handed out again, and big ones lie on
// 2 MiB pages where the kernel gives them. A steady render allocates nothing for its frames.
//
// Ownership: FrameBufferRef is a counted handle; the last one gives the buffer back. A pool outlives
// its buffers. Decoders take their pictures from here too.
//
// Memory: two limits. Idle buffers above the idle limit go back to the system, least recently used
// first; so do idle buffers that stand in the way of the total limit. Buffers in use are never refused:
// how many there are is decided by whoever renders, and a render that waited here for another render's
// frame could wait for itself.
//
// Units: bytes. Counters count capacities, which is what the process pays for.
//
// Thread-safety: safe; a handle is used by one thread at a time, copies of it by any.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

namespace VF
{

class FrameBuffer;

class FrameBufferRef
{
public:
    constexpr FrameBufferRef() noexcept = default;
    FrameBufferRef(const FrameBufferRef& inOther) noexcept;
    FrameBufferRef(FrameBufferRef&& inOther) noexcept : mBuffer(std::exchange(inOther.mBuffer, nullptr)) {}
    ~FrameBufferRef();
    FrameBufferRef& operator=(FrameBufferRef inOther) noexcept
    {
        std::swap(mBuffer, inOther.mBuffer);
        return *this;
    }

    explicit operator bool() const noexcept { return mBuffer != nullptr; }

    // 64-byte aligned, contents undefined. Null and 0 of an empty handle.
    void* Data() const noexcept;
    // The bytes that were asked for.
    std::size_t Size() const noexcept;
    // True while this is the only handle: nobody else can see a write.
    bool IsUnique() const noexcept;

    // Gives the handle's count away as a plain pointer, for interfaces in C that carry one; Attach
    // takes it back, exactly once.
    FrameBuffer* Detach() noexcept { return std::exchange(mBuffer, nullptr); }
    static FrameBufferRef Attach(FrameBuffer* inBuffer) noexcept { return FrameBufferRef(inBuffer); }

private:
    friend class FramePool;
    explicit FrameBufferRef(FrameBuffer* inBuffer) noexcept : mBuffer(inBuffer) {}

    FrameBuffer* mBuffer = nullptr;
};

struct FramePoolCounters
{
    std::uint64_t mBytesInUse = 0;
    std::uint64_t mBytesIdle = 0;
    std::uint64_t mPeakBytes = 0; // the most that were in use and idle together
    std::uint64_t mBuffersInUse = 0;
    std::uint64_t mBuffersIdle = 0;
    std::uint64_t mAllocations = 0; // buffers taken from the system
    std::uint64_t mReuses = 0;      // buffers handed out again
    std::uint64_t mReturns = 0;     // buffers given back to the system
    std::uint64_t mRefusals = 0;    // the system had no memory
};

class FramePool
{
public:
    // The pool of all frames of the process. A third of the machine's memory in total, an eighth idle,
    // until somebody sets limits.
    static FramePool& Instance();

    FramePool(std::uint64_t inTotalLimitBytes, std::uint64_t inIdleLimitBytes);
    // All buffers have come back.
    ~FramePool();
    FramePool(const FramePool&) = delete;
    FramePool& operator=(const FramePool&) = delete;

    // A buffer of inBytes. Empty for 0 bytes, and if the system has no memory even after all idle
    // buffers were given back to it.
    FrameBufferRef Acquire(std::size_t inBytes) noexcept;

    // Takes effect at once on idle buffers.
    void SetLimits(std::uint64_t inTotalLimitBytes, std::uint64_t inIdleLimitBytes) noexcept;

    // Gives all idle buffers back to the system.
    void Trim() noexcept;

    FramePoolCounters GetCounters() const noexcept;

private:
    friend class FrameBufferRef;
    FrameBuffer* Allocate(std::size_t inCapacity) noexcept;
    void TakeBack(FrameBuffer& inBuffer) noexcept;

    struct Impl;
    std::unique_ptr<Impl> mImpl;
};

} // namespace VF
