#pragma once

#include <atomic>
#include <cstdint>

namespace ML
{

class RenderFrameRequest;

// The memory that renders may take at the same time, in units.
//
// A unit is the third of a high-definition picture, the least that any render is taken to need. The budget is
// a unit for each 100 MiB of the machine, as a render holds several pictures, and caches want their part.
//
// Thread-safety: safe; takes no lock.
class MemoryBudget
{
public:
    // A unit for each 100 MiB, the count cut to 16 bits, but at least 50.
    explicit MemoryBudget(std::uint64_t inPhysicalBytes) noexcept;

    // Takes inUnits; false, and nothing taken, if there are less. Waits for other threads that are taking or
    // giving back, for a millisecond at a time where there are many.
    bool TryTake(std::uint32_t inUnits) noexcept;
    void GiveBack(std::uint32_t inUnits) noexcept;

    // Stale when it returns.
    std::uint32_t Available() const noexcept { return mAvailable.load(std::memory_order_acquire); }
    std::uint32_t Total() const noexcept { return mTotal; }

    // What a request costs: by its pixels, and by the bytes of a pixel beyond four. Never more than half of
    // the budget, so that no frame is too large to be rendered at all.
    std::uint32_t UnitsOf(RenderFrameRequest& inRequest) const;

private:
    std::uint16_t mTotal;
    std::atomic<std::uint32_t> mAvailable; // holds 16 bits
};

// Gives units back at the end of a scope.
//
// Thread-safety: used by one thread.
class MemoryLoan
{
public:
    MemoryLoan(MemoryBudget& inBudget, std::uint32_t inUnits) noexcept : mBudget(inBudget), mUnits(inUnits) {}
    ~MemoryLoan() { mBudget.GiveBack(mUnits); }
    MemoryLoan(const MemoryLoan&) = delete;
    MemoryLoan& operator=(const MemoryLoan&) = delete;

private:
    MemoryBudget& mBudget;
    const std::uint32_t mUnits;
};

} // namespace ML
