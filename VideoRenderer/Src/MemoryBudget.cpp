#include "MemoryBudget.h"

#include "Platform.h"
#include "RenderFrameRequest.h"

#include <algorithm>

namespace ML
{

namespace
{

constexpr std::uint64_t kBytesOfUnit = 104857600;
constexpr std::uint16_t kLeastUnits = 50;
// Up to 720 by 576 a frame costs one unit; larger ones by the unit's pixels.
constexpr std::uint64_t kPixelsOfSmallFrame = 414720;
constexpr std::uint64_t kPixelsOfUnit = 345600;
// Tries before a thread gives up its processor instead of spinning.
constexpr std::uint32_t kMostSpins = 16;
constexpr std::uint32_t kLow16 = 0xFFFF;

}

MemoryBudget::MemoryBudget(std::uint64_t inPhysicalBytes) noexcept
    : mTotal(std::max(static_cast<std::uint16_t>(inPhysicalBytes / kBytesOfUnit), kLeastUnits))
    , mAvailable(mTotal)
{
}

bool MemoryBudget::TryTake(std::uint32_t inUnits) noexcept
{
    for (std::uint32_t spins = 1;;)
    {
        std::uint32_t available = mAvailable.load(std::memory_order_acquire);
        if (available < inUnits)
        {
            return false;
        }
        if (mAvailable.compare_exchange_strong(available, available - inUnits, std::memory_order_acq_rel))
        {
            return true;
        }
        spins *= 2;
        if (spins > kMostSpins)
        {
            os::SleepMilliseconds(1);
            spins = 1;
        }
    }
}

void MemoryBudget::GiveBack(std::uint32_t inUnits) noexcept
{
    std::uint32_t available = mAvailable.load(std::memory_order_acquire) & kLow16;
    while (!mAvailable.compare_exchange_weak(available, (available + inUnits) & kLow16,
                                             std::memory_order_acq_rel))
    {
        available &= kLow16;
    }
}

std::uint32_t MemoryBudget::UnitsOf(RenderFrameRequest& inRequest) const
{
    const TVK::Rect& rect = inRequest.GetOutputRect();
    const auto pixels = static_cast<std::uint64_t>(std::max(rect.Width(), 0)) *
                        static_cast<std::uint64_t>(std::max(rect.Height(), 0));
    std::uint64_t units = pixels <= kPixelsOfSmallFrame ? 1 : (pixels + kPixelsOfUnit - 1) / kPixelsOfUnit;
    const std::uint32_t bytes = norviktypes::BytesPerPixel(inRequest.SelectPixelFormat(true).mProperties);
    if (bytes >= 5)
    {
        units *= (bytes + 3) / 4;
    }
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(units, mTotal / 2));
}

} // namespace ML
