#pragma once

#include "RequestStation.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace ML
{

// Where producers leave requests without waiting for each other, and the queue fetches them in batches.
//
// It has two sides. Producers fill one: a slot for each, won by counting up. The consumer drains the other,
// and exchanges the two when it finds its own empty. The lock between them is held shared for the store into
// a slot, exclusively for the exchange of two pointers. Slots come in blocks of 256, which are kept.
//
// Thread-safety: Push is safe. All others are for one consumer at a time.
class IncomingBuffer
{
public:
    static constexpr std::uint64_t kNoLimit = ~std::uint64_t{0};

    IncomingBuffer();
    ~IncomingBuffer();

    // Throws std::bad_alloc, and then leaves the node alone.
    void Push(RequestNode& ioNode);

    // Puts back what was pulled, behind what producers have added meanwhile. Where there's no memory for a
    // block it comes first instead.
    void GiveBack(RequestNode&& inNode) noexcept;

    // Appends the oldest requests to ioList: at most inLimit - 1 of them, and one less if the sides had to be
    // exchanged, as each look costs one of the limit. The exchange happens at most once.
    void Pull(std::uint64_t inLimit, RequestStation& ioList);

    bool IsEmpty() const noexcept { return Count() == 0; }
    std::size_t Count() const noexcept;

private:
    struct Impl;
    std::unique_ptr<Impl> mImpl;
};

} // namespace ML
