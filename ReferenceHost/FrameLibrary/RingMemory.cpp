#include "ReferenceHost/FrameLibrary/RingMemory.h"

#include <new>

#include <sys/mman.h>
#include <unistd.h>

namespace VF
{

namespace
{

std::size_t PageBytes() noexcept
{
    static const auto sBytes = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    return sBytes;
}

// The pages of inRing once more.
bool MapAgain(std::uint8_t* inRing, std::uint8_t* inAddress, std::size_t inBytes) noexcept
{
    return ::mremap(inRing, 0, inBytes, MREMAP_MAYMOVE | MREMAP_FIXED, inAddress) != MAP_FAILED;
}

// And a page of it behind that, for vector code that reads a little beyond the end of a row. No file of the process is
// needed, of which there may be too many, or which may be too long; and what is mapped is there. Null where the system
// gives no memory.
std::uint8_t* MapTwice(std::size_t inCapacity) noexcept
{
    const std::size_t whole = 2 * inCapacity + PageBytes();
    void* const address = ::mmap(nullptr, whole, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (address == MAP_FAILED)
    {
        return nullptr;
    }
    auto* const ring = static_cast<std::uint8_t*>(address);
    if (::mmap(ring, inCapacity, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS | MAP_FIXED, -1, 0) ==
            MAP_FAILED ||
        !MapAgain(ring, ring + inCapacity, inCapacity) || !MapAgain(ring, ring + 2 * inCapacity, PageBytes()))
    {
        ::munmap(ring, whole);
        return nullptr;
    }
    return ring;
}

} // namespace

RingMemory::~RingMemory()
{
    Free();
}

void RingMemory::Free() noexcept
{
    if (mAddress)
    {
        ::munmap(mAddress, 2 * mCapacity + PageBytes());
    }
    mAddress = nullptr;
    mCapacity = 0;
}

void RingMemory::Reserve(std::size_t inBytes)
{
    if (inBytes <= mCapacity)
    {
        return;
    }
    Free();
    const std::size_t capacity = (inBytes + PageBytes() - 1) / PageBytes() * PageBytes();
    mAddress = MapTwice(capacity);
    if (!mAddress)
    {
        throw std::bad_alloc();
    }
    mCapacity = capacity;
}

} // namespace VF
