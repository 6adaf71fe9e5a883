#pragma once

#include "Platform.h"

#include <cstddef>
#include <memory>

namespace norvik::utility
{

// A byte buffer from a process-wide pool, held by shared pointer. The last holder's release gives the buffer
// back to the pool, so that buffers of compressed pictures are not allocated anew for each frame.
//
// Thread-safety: Create is safe; one buffer is written by one thread, then read by any.
class RecycledMemory
{
public:
    // An empty buffer: Buffer() is null, Size() is 0.
    ML_EXPORT static std::shared_ptr<RecycledMemory> Create();

    // Makes room for inSize bytes with undefined contents; what was there is gone. Throws std::bad_alloc and
    // leaves the buffer empty. 0 gives the memory back to the pool.
    ML_EXPORT void Allocate(size_t inSize);

    void* Buffer() { return mBuffer; }

    const void* Buffer() const { return mBuffer; }

    // Bytes asked for by the last Allocate.
    size_t Size() const { return mSize; }

    RecycledMemory(const RecycledMemory&) = delete;
    RecycledMemory& operator=(const RecycledMemory&) = delete;
    ML_EXPORT ~RecycledMemory();

private:
    RecycledMemory() = default;
    void Recycle() noexcept;

    void* mBuffer = nullptr;
    size_t mSize = 0;
    size_t mCapacity = 0;
};

} // namespace norvik::utility
