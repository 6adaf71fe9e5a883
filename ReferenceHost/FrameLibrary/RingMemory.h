// Memory that goes on at its beginning where it ends.
//
// The same pages are mapped twice, one behind the other, so that every stretch as long as the ring is in one piece,
// wherever it begins. Who reads a stream through it, some of which is looked at again, never moves what is kept.
//
// Errors: std::bad_alloc where the system gives no memory.
//
// Thread-safety: as a plain buffer.
#pragma once

#include <cstddef>
#include <cstdint>

namespace VF
{

class RingMemory
{
public:
    RingMemory() noexcept = default;
    ~RingMemory();
    RingMemory(const RingMemory&) = delete;
    RingMemory& operator=(const RingMemory&) = delete;

    // Room for inBytes at least. What was there is kept where there is room already, and is lost otherwise.
    void Reserve(std::size_t inBytes);

    std::size_t Capacity() const noexcept { return mCapacity; }

    // Where byte inPosition of a stream lies, and Capacity() bytes from it on. Only of a ring that has room.
    std::uint8_t* At(std::uint64_t inPosition) const noexcept { return mAddress + inPosition % mCapacity; }

private:
    void Free() noexcept;

    std::uint8_t* mAddress = nullptr;
    std::size_t mCapacity = 0;
};

} // namespace VF
