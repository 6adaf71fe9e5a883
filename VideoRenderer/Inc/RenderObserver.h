// One seat from which the decisions of queue and prefetcher can be watched: by tests, traces and statistics.
//
// The observer is told while it happens, on the thread that decided, partly with a lock of the queue held: it
// notes the event and returns. It must not call back into the library, and it must not throw.
//
// Thread-safety: OnRenderEvent is called from many threads at once. SetRenderObserver: an observer stays alive
// until it has been replaced and the calls that were under way have returned; the surest time is when nothing
// is being rendered.
#pragma once

#include "TVK/TVKUnknown.h"
#include "VideoRendererExport.h"

#include <atomic>
#include <cstdint>

namespace ML
{

enum class RenderEventKind : std::uint8_t
{
    kQueued,           // entered the queue
    kKeyed,            // has its key; mKey zero: it can't have one
    kPrefetchBegun,    // mValue: items that are being read
    kReady,            // all its items are there
    kTimedOut,         // goes on without them
    kAdmitted,         // a worker took it; mValue: memory units
    kWaitingForMemory, // first in line, but it doesn't fit; mValue: memory units
    kMerged,           // the same frame is being made already
    kCacheHit,         // its frame was in the shared cache
    kRendered,         // mValue: status; mNanoseconds: how long it took
    kFinished,         // its maker is told now; mValue: status
    kCancelled,        // its maker is told now
};

// A few letters for traces: "queued", "keyed" ..
VIDEORENDERER_EXPORT const char* RenderEventName(RenderEventKind inKind) noexcept;

struct RenderEvent
{
    RenderEventKind mKind;
    std::uint32_t mRequestID;
    TVK::Guid mKey; // zero where there is none (yet)
    std::int64_t mValue;
    std::int64_t mNanoseconds; // duration, where one is told
    std::int64_t mWhen;        // os::PerformanceCounter
};

class VIDEORENDERER_EXPORT IRenderObserver
{
public:
    virtual ~IRenderObserver();
    virtual void OnRenderEvent(const RenderEvent& inEvent) noexcept = 0;
};

// Null: nobody watches, which costs nothing but a look at a pointer.
VIDEORENDERER_EXPORT void SetRenderObserver(IRenderObserver* inObserver) noexcept;

namespace detail
{
VIDEORENDERER_EXPORT extern std::atomic<IRenderObserver*> sRenderObserver;
VIDEORENDERER_EXPORT void TellRenderObserver(RenderEventKind inKind, std::uint32_t inRequestID,
                                             const TVK::Guid& inKey, std::int64_t inValue,
                                             std::int64_t inNanoseconds) noexcept;
} // namespace detail

inline void ObserveRender(RenderEventKind inKind, std::uint32_t inRequestID, const TVK::Guid& inKey,
                          std::int64_t inValue = 0, std::int64_t inNanoseconds = 0) noexcept
{
    if (detail::sRenderObserver.load(std::memory_order_acquire) != nullptr)
    {
        detail::TellRenderObserver(inKind, inRequestID, inKey, inValue, inNanoseconds);
    }
}

} // namespace ML
