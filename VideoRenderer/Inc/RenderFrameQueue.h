// The one object of the process that turns requests into frames.
//
// A request goes through these stations, in this order:
//   1. Incoming: where any thread puts it, without waiting for a pass.
//   2. Prefetching: what the frame wants read is being read. At most CPUCount() + 4 requests are here, those
//      that a pass holds included.
//   3. Ready: in one of two sets, normal (priority 900 and above) or low, by priority and arrival, until its
//      memory is free.
//   4. Rendering: a worker has it; or parked, if the same frame is being made already. Parked requests end
//      with the frame, or the failure, of the one that renders.
// A prefetch-only request ends after the second station. A request with an accelerated renderer is offered to
// that first, and enters the queue only if it's refused there. A request that is added on a thread of a
// render or prefetch executor, or of the queue's own, is rendered there at once: such a thread must not wait
// for work that may need it.
//
// Every request ends once, with completion, error or cancellation (RenderFrameClient.h, or its signal). Ended
// without a word are: requests that are queued when the queue is shut down; one that is parked under the id
// and key of the one that renders; and one in the hands of an accelerated renderer, when another one of the
// same id goes there. Ids are best given once.
//
// A cancel reaches a request in all stations but the last: what is rendered or parked ends as if nobody had
// cancelled. Only the notification tells which it was.
//
// A request that hits an exception in its source ends with an error; the exception then goes on into the
// executor, which logs it. One that comes out of a client or completion function goes on likewise, after
// everybody else has been told.
//
// Passes: pending (incoming to prefetching) and poll (prefetching to ready, every 5 milliseconds while
// something is being read, and when the frame cache changes) run on the queue's executor, one at a time;
// workers run them as well. Each kind of pass is posted once at most; an idle queue posts none.
//
// Ownership: one object, made by the first Create and destroyed with the last reference to it.
//
// Thread-safety: safe. Calls out (sources, clients, completion functions) are made with no lock held.
#pragma once

#include "RenderFrameClient.h"
#include "TVK/Weak.h"
#include "VideoRendererExport.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace norvik::threads
{
class AsyncThreadedExecutor;
}

namespace ML
{

class RenderFrameQueue;
class RenderFrameRequest;
using RenderFrameQueueRef = TVK::InterfaceRef<RenderFrameQueue>;

// Where requests stand at one moment; for statistics and tests.
struct RenderFrameQueueCounts
{
    std::size_t mIncoming = 0;
    std::size_t mInFlight = 0; // held by passes
    std::size_t mPrefetching = 0;
    std::size_t mNormal = 0;
    std::size_t mLow = 0;
    std::size_t mRedundant = 0; // rendering and parked
    std::size_t mAccelerated = 0;
    std::uint32_t mAvailableMemoryUnits = 0;
    std::uint32_t mTotalMemoryUnits = 0;
    std::uint32_t mPassesScheduled = 0; // kinds of passes that are posted and not begun, at most five
};

class VIDEORENDERER_EXPORT RenderFrameQueue final : public IRenderFrameClient
{
public:
    // The queue, which is built if there is none. Throws std::bad_alloc.
    static RenderFrameQueueRef Create();

    // Has the prefetching requests looked at soon; never does so itself, so that it may be called with locks
    // held. Does nothing once the queue was shut down, and then builds none.
    static void ScheduleImmediatePoll();

    // Takes a copy. Returns at once, but on the threads named above: there it returns when the frame is done,
    // and may pass on what the request's client throws. Throws std::bad_alloc; the request is then not there.
    void AddRenderRequest(const RenderFrameRequest& inRequest);

    // Cancels the first request with this id. Notifies it on this thread, or, if a pass holds it, later on
    // the thread of the pass.
    void CancelOne(std::uint32_t inRequestID);

    // All requests of a caller. 0 is no caller.
    void CancelCallersRequests(std::uint64_t inCaller);

    // The end of a render in an accelerated renderer. Ids that aren't there (any more) are ignored.
    void OnAcceleratedRenderCompletion(std::uint32_t inRequestID, const MF::IVideoFrameRef& inFrame,
                                       std::int32_t inStatus, std::int32_t inMilliseconds);

    // Ends the service, for the life of the process: what is queued is dropped, what renders ends, and the
    // executors for rendering and the queue's own have no running task any more when it returns.
    void Shutdown();

    RenderFrameQueueCounts Counts() const;

    // The face of the queue towards accelerated renderers. A cancellation is nothing that it waits for.
    void RenderFrameCompleted(std::uint64_t inContext, std::uint32_t inRequestID,
                              const norviktypes::TickTime& inTime, MF::IVideoFrameRef inFrame,
                              std::int32_t inRenderMilliseconds) override;
    void RenderFrameCancelled(std::uint64_t inContext, std::uint32_t inRequestID,
                              const norviktypes::TickTime& inTime) override;
    void RenderFrameError(std::uint64_t inContext, std::uint32_t inRequestID,
                          const norviktypes::TickTime& inTime, std::int32_t inStatus) override;

    std::uint32_t AddRef() const override;
    std::uint32_t Release() const override;
    std::int32_t Query(const TVK::Guid& inID, void** outInterface) const override;
    std::int32_t QueryNoRef(const TVK::Guid& inID, void** outInterface) const override;

    // What stands behind the calls, for the library and its tests.
    class Impl;
    Impl& GetImpl() const noexcept { return *mImpl; }

private:
    RenderFrameQueue();
    ~RenderFrameQueue() override;

    static RenderFrameQueueRef Acquire(bool inEvenAfterShutdown);

    std::unique_ptr<Impl> mImpl;
};

} // namespace ML
