#include "Tests/ScheduleExplorer/Quarantine.h"

#include <malloc.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>

namespace ScheduleExplorer
{

namespace
{

// A run frees a few thousand blocks.
constexpr std::size_t kMostBlocks = std::size_t{1} << 16;
// So that whoever uses a block that has gone meets nonsense and not the old value.
constexpr int kFreed = 0x5A;

void* sBlocks[kMostBlocks];
std::size_t sCount = 0;
bool sIsOn = false;

} // namespace

Quarantine::Quarantine()
{
    sIsOn = true;
}

Quarantine::~Quarantine()
{
    sIsOn = false;
    for (std::size_t number = 0; number < sCount; ++number)
    {
        std::free(sBlocks[number]);
    }
    sCount = 0;
}

void Quarantine::Free(void* inBlock) noexcept
{
    if (sIsOn && inBlock != nullptr && sCount < kMostBlocks)
    {
        std::memset(inBlock, kFreed, malloc_usable_size(inBlock));
        sBlocks[sCount++] = inBlock;
    }
    else
    {
        std::free(inBlock);
    }
}

} // namespace ScheduleExplorer

#if !defined(__SANITIZE_ADDRESS__)

// The new that goes with it is the library's, which takes its memory from malloc.

void operator delete(void* inBlock) noexcept
{
    ScheduleExplorer::Quarantine::Free(inBlock);
}

void operator delete(void* inBlock, std::size_t) noexcept
{
    ScheduleExplorer::Quarantine::Free(inBlock);
}

#endif
