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

bool MapAt(std::uint8_t* inAddress, std::size_t inBytes, int inFile) noexcept
{
    return ::mmap(inAddress, inBytes, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_FIXED, inFile, 0) !=
           MAP_FAILED;
}

// And a page of it behind that, for vector code that reads a little beyond the end of a row. Null where the system
// gives no memory.
std::uint8_t* MapTwice(std::size_t inCapacity) noexcept
{
    const std::size_t whole = 2 * inCapacity + PageBytes();
    const int file = ::memfd_create("ring", MFD_CLOEXEC);
    void* const address = file >= 0 && ::ftruncate(file, static_cast<::off_t>(inCapacity)) == 0
                              ? ::mmap(nullptr, whole, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)
                              : MAP_FAILED;
    std::uint8_t* ring = address == MAP_FAILED ? nullptr : static_cast<std::uint8_t*>(address);
    if (ring && !(MapAt(ring, inCapacity, file) && MapAt(ring + inCapacity, inCapacity, file) &&
                  MapAt(ring + 2 * inCapacity, PageBytes(), file)))
    {
        ::munmap(ring, whole);
        ring = nullptr;
    }
    if (file >= 0)
    {
        ::close(file);
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
