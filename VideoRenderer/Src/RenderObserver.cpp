#include "RenderObserver.h"

#include <array>

namespace ML
{

namespace detail
{

std::atomic<IRenderObserver*> sRenderObserver{nullptr};

void TellRenderObserver(RenderEventKind inKind, std::uint32_t inRequestID, const TVK::Guid& inKey,
                        std::int64_t inValue, std::int64_t inNanoseconds) noexcept
{
    // Asked again: it may have gone between the caller's look and this one.
    if (IRenderObserver* observer = sRenderObserver.load(std::memory_order_acquire))
    {
        observer->OnRenderEvent(
            {inKind, inRequestID, inKey, inValue, inNanoseconds, os::PerformanceCounter()});
    }
}

} // namespace detail

IRenderObserver::~IRenderObserver() = default;

void SetRenderObserver(IRenderObserver* inObserver) noexcept
{
    detail::sRenderObserver.store(inObserver, std::memory_order_release);
}

const char* RenderEventName(RenderEventKind inKind) noexcept
{
    static constexpr std::array kNames = {"queued",    "keyed",    "prefetch begun",     "ready",
                                          "timed out", "admitted", "waiting for memory", "merged",
                                          "cache hit", "rendered", "finished",           "cancelled"};
    const auto index = static_cast<std::size_t>(inKind);
    return index < kNames.size() ? kNames[index] : "?";
}

} // namespace ML
