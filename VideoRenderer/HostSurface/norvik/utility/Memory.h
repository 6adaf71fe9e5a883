#pragma once

#include "Platform.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>

namespace norvik::utility
{

// Memory for small objects and for the nodes of containers. Each thread keeps freed blocks of a few sizes and
// hands them out again without a lock; larger blocks go straight to the system.
//
// A block may be freed on another thread than the one that allocated it. It works before static construction
// and after static destruction, because containers in process-wide objects outlive both.
//
// Thread-safety: safe.
class SmallBlockAllocator
{
public:
    // At least inSize bytes, aligned for any fundamental type; 0 gives a block too. Throws std::bad_alloc.
    ML_EXPORT static void* Allocate(size_t inSize);

    // Takes back a block of Allocate; inSize is the size that was asked for. Null does nothing.
    ML_EXPORT static void Dispose(void* inBlock, size_t inSize) noexcept;
};

// Standard allocator over SmallBlockAllocator. Stateless: any two are equal.
//
// Thread-safety: safe.
template <class T>
class STLAllocator
{
public:
    using value_type = T;

    STLAllocator() noexcept = default;

    template <class U>
    STLAllocator(const STLAllocator<U>&) noexcept
    {
    }

    T* allocate(size_t inCount)
    {
        static_assert(alignof(T) <= alignof(std::max_align_t), "over-aligned types need their own allocator");
        if (inCount > std::numeric_limits<size_t>::max() / sizeof(T))
        {
            throw std::bad_array_new_length();
        }
        return static_cast<T*>(SmallBlockAllocator::Allocate(inCount * sizeof(T)));
    }

    void deallocate(T* inBlock, size_t inCount) noexcept
    {
        SmallBlockAllocator::Dispose(inBlock, inCount * sizeof(T));
    }

    template <class U>
    bool operator==(const STLAllocator<U>&) const noexcept
    {
        return true;
    }
};

} // namespace norvik::utility

// Memory that is handed to a plug-in and that the plug-in frees. The size travels with the block, since
// VlDisposePtr is not told it. VlNewPtr gives null when there is no memory; nothing here throws.
extern "C"
{
    ML_EXPORT void* VlNewPtr(uint32_t inSize);
    ML_EXPORT void VlDisposePtr(void* inBlock);
    ML_EXPORT uint32_t VlGetPtrSize(const void* inBlock);
}
