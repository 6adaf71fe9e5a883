#include "TVK/Allocated.h"

#include "norvik/utility/Memory.h"

namespace TVK
{

void* Allocator::Allocate(size_t inSize)
{
    return norvik::utility::SmallBlockAllocator::Allocate(inSize);
}

void Allocator::Dispose(void* inBlock, size_t inSize) noexcept
{
    norvik::utility::SmallBlockAllocator::Dispose(inBlock, inSize);
}

} // namespace TVK
