#include "ReferenceHost/FrameLibrary/PictureMemory.h"

#include <sys/mman.h>

#include <cstdint>
#include <limits>
#include <new>

#if defined(__SANITIZE_ADDRESS__)
#define VF_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VF_ADDRESS_SANITIZER 1
#endif
#endif
#ifdef VF_ADDRESS_SANITIZER
#include <sanitizer/asan_interface.h>
#endif

namespace VF
{

namespace
{

constexpr std::size_t kHugePage = std::size_t{2} << 20;
// Below this a block comes from the heap: a mapping of its own would cost more than its faults.
constexpr std::size_t kLeastMappedBytes = std::size_t{1} << 20;
// A last page filled so far is worth being a big one; memory is counted by what is touched.
constexpr std::size_t kLeastOfLastHugePage = kHugePage / 4 * 3;
constexpr std::size_t kSmallStep = 1024;
constexpr std::size_t kMappedStep = 64 * 1024;
constexpr std::align_val_t kHeapAlignment{64};

std::size_t RoundUp(std::size_t inValue, std::size_t inStep) noexcept
{
    return (inValue + inStep - 1) / inStep * inStep;
}

bool IsMapped(std::size_t inCapacity) noexcept
{
    return inCapacity >= kLeastMappedBytes;
}

// The kernel gives addresses at small pages; so more is mapped and the ends are given back.
void* MapAligned(std::size_t inCapacity) noexcept
{
    const std::size_t mapped = inCapacity + kHugePage;
    void* const address = mmap(nullptr, mapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (address == MAP_FAILED)
    {
        return nullptr;
    }
    const auto start = reinterpret_cast<std::uintptr_t>(address);
    const std::uintptr_t aligned = RoundUp(start, kHugePage);
    const std::uintptr_t end = aligned + inCapacity;
    if (aligned > start)
    {
        munmap(address, aligned - start);
    }
    if (start + mapped > end)
    {
        munmap(reinterpret_cast<void*>(end), start + mapped - end);
    }
    return reinterpret_cast<void*>(aligned);
}

void* Map(std::size_t inCapacity) noexcept
{
    void* const address = MapAligned(inCapacity);
    const std::size_t hugeBytes = inCapacity / kHugePage * kHugePage;
    if (address && hugeBytes > 0)
    {
        // A kernel without big pages refuses, and the block works all the same.
        static_cast<void>(madvise(address, hugeBytes, MADV_HUGEPAGE));
    }
    return address;
}

} // namespace

std::size_t PictureMemory::CapacityFor(std::size_t inBytes) noexcept
{
    if (inBytes == 0 || inBytes > std::numeric_limits<std::size_t>::max() / 4)
    {
        return 0;
    }
    if (inBytes < kLeastMappedBytes)
    {
        return RoundUp(inBytes, kSmallStep);
    }
    const std::size_t lastPage = inBytes % kHugePage;
    return RoundUp(inBytes, lastPage > kLeastOfLastHugePage ? kHugePage : kMappedStep);
}

bool PictureMemory::Allocate(std::size_t inCapacity) noexcept
{
    mAddress =
        IsMapped(inCapacity) ? Map(inCapacity) : ::operator new(inCapacity, kHeapAlignment, std::nothrow);
    mCapacity = mAddress ? inCapacity : 0;
    return mAddress != nullptr;
}

PictureMemory::~PictureMemory()
{
    if (!mAddress)
    {
        return;
    }
    AllowAccess(mCapacity);
    if (IsMapped(mCapacity))
    {
        munmap(mAddress, mCapacity);
    }
    else
    {
        ::operator delete(mAddress, kHeapAlignment);
    }
}

void PictureMemory::AllowAccess([[maybe_unused]] std::size_t inBytes) noexcept
{
#ifdef VF_ADDRESS_SANITIZER
    ASAN_POISON_MEMORY_REGION(mAddress, mCapacity);
    ASAN_UNPOISON_MEMORY_REGION(mAddress, inBytes);
#endif
}

} // namespace VF
