// A block of memory for one picture, straight from the system.
//
// Blocks of a mebibyte and more are mapped at a 2 MiB boundary and the kernel is asked for 2 MiB pages;
// what is left over at the end stays on small pages unless it fills most of a big one.
//
// While nobody uses a block, and beyond the bytes that are in use, the address sanitizer reports access.
//
// Thread-safety: as a plain buffer.
#pragma once

#include <cstddef>

namespace VF
{

class PictureMemory
{
public:
    PictureMemory() noexcept = default;
    ~PictureMemory();
    PictureMemory(const PictureMemory&) = delete;
    PictureMemory& operator=(const PictureMemory&) = delete;

    // The size of the block that inBytes get. Sizes are rounded so that pictures of nearly one size
    // share their blocks. 0 for 0 bytes and for more than an address space holds.
    static std::size_t CapacityFor(std::size_t inBytes) noexcept;

    // inCapacity: an answer of CapacityFor. False, and no block, if there is no memory. Once.
    bool Allocate(std::size_t inCapacity) noexcept;

    // 64-byte aligned.
    void* Data() const noexcept { return mAddress; }
    std::size_t Capacity() const noexcept { return mCapacity; }

    // Marks the first inBytes as in use, and everything else as not.
    void AllowAccess(std::size_t inBytes) noexcept;

private:
    void* mAddress = nullptr;
    std::size_t mCapacity = 0;
};

} // namespace VF
