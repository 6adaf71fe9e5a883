#pragma once

#include "FirstException.h"
#include "IncomingBuffer.h"
#include "MemoryBudget.h"
#include "RenderFrameQueue.h"
#include "RequestStation.h"
#include "norvik/threads/Threads.h"

#include <atomic>
#include <cstdint>
#include <map>

namespace ML
{

// The stations of the queue, and the passes that move requests from one to the next.
//
// A pass takes requests out of the shared containers and works on them with no lock held; meanwhile their ids
// stand in mInFlightIDs. A cancel removes the id there, and the pass finds it gone when it comes back. That
// is why passes may overlap.
//
// Locks. mQueueLock comes before mRedundantRequestLock; mAcceleratedLock stands alone. None is held while
// sources, clients or completion functions are called, nor while requests are destroyed, as that may run
// anybody's destructors. Executors are posted to with mQueueLock held: posting never runs what is posted.
//
// Thread-safety: safe.
class RenderFrameQueue::Impl
{
public:
    explicit Impl(RenderFrameQueue& inOwner);
    ~Impl();
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    void AddRenderRequest(const RenderFrameRequest& inRequest);
    void CancelOne(std::uint32_t inRequestID);
    void CancelCallersRequests(std::uint64_t inCaller);
    void OnAcceleratedRenderCompletion(std::uint32_t inRequestID, const MF::IVideoFrameRef& inFrame,
                                       std::int32_t inStatus, std::int32_t inMilliseconds);
    void Shutdown();
    void ScheduleImmediatePoll();
    RenderFrameQueueCounts Counts();

    // Incoming to prefetching. inWasScheduled: this is the posted pass.
    void ProcessPendingRequests(bool inWasScheduled);
    // Prefetching to ready. inWasDelayed: this is the posted pass that waits between two looks.
    void ProcessPrefetchRequests(bool inWasDelayed);
    // Renders one request of a priority, if one is ready and fits.
    void RunWorkerPass(bool inLowPriority);

    // The first request of a priority that fits into memory and isn't being made already; those that are, are
    // parked on the way. outUnits are taken from the budget for it. False: there is none. Contract:
    // "outRenderFrameRequest".
    bool GetNextRequestAndAccountForMemory(RenderFrameRequest* outRequest, bool inLowPriority,
                                           std::uint32_t& outUnits);

    // Makes the frame, and ends the request and those parked on it. Throws what those who are told throw.
    void Render(RenderFrameRequest& ioRequest);

    MemoryBudget& Memory() noexcept { return mMemory; }

    // Set once, by the first Shutdown of the process.
    static bool IsShuttingDown() noexcept { return sShuttingDown.load(std::memory_order_acquire); }

    // The executor of queues that are built from now on, so that a test can run passes one by one. Empty: each
    // makes its own.
    static void SetExecutor(const boost::shared_ptr<norvik::threads::AsyncThreadedExecutor>& inExecutor);

private:
    using ScheduleFlag = std::atomic<std::uint32_t>;
    using AcceleratedRequests =
        std::map<std::uint32_t, RenderFrameRequest, std::less<std::uint32_t>,
                 norvik::utility::STLAllocator<std::pair<const std::uint32_t, RenderFrameRequest>>>;

    // What a render brought.
    struct Outcome
    {
        MF::IVideoFrameRef mFrame;
        std::int32_t mStatus;
        std::int32_t mMilliseconds;
    };

    bool IsOwnThread() const;
    bool OfferToAcceleratedRenderer(RenderFrameRequest& ioRequest);
    void Enqueue(RenderFrameRequest&& inRequest);

    void SchedulePendingPass();
    void ScheduleDelayedPoll();
    void ScheduleWorkers() VR_REQUIRES(mQueueLock);
    void ScheduleWorkersOrKeep(FirstException& ioErrors) VR_REQUIRES(mQueueLock);
    void ScheduleAfterPoll(bool inSomethingFinished, bool inTakesNext, FirstException& ioErrors)
        VR_REQUIRES(mQueueLock);
    bool FitsAndIsNoted(QueuedRequest& ioQueued);
    void SchedulePass(norvik::threads::AsyncThreadedExecutor& inExecutor, ScheduleFlag& ioFlag,
                      void (Impl::*inPass)(bool), bool inArgument, std::uint32_t inDelayMilliseconds);

    // The two passes. inTakesNext: the caller takes a request as soon as it is back.
    void MovePending(bool inWasScheduled, bool inTakesNext);
    void MovePrefetched(bool inTakesNext);
    void TakeIncoming(RequestStation& outHeld);
    void EnterPrefetching(RequestStation& ioHeld, RequestStation& outFailed, RequestStation& outCancelled);
    bool TakeFirstThatFits(RenderFrameRequest& outRequest, RequestStation& ioStation, std::uint32_t& outUnits)
        VR_REQUIRES(mQueueLock);

    Outcome MakeFrame(RenderFrameRequest& ioRequest);
    RequestStation TakeMerged(const RenderFrameRequest& inRequest);

    void EnterInFlight(RequestStation& ioHeld) VR_REQUIRES(mQueueLock);
    bool LeaveInFlight(QueuedRequest& ioRequest) VR_REQUIRES(mQueueLock);
    bool LeaveInFlightWithNamesakes(QueuedRequest& ioRequest) VR_REQUIRES(mQueueLock);
    bool TakeByID(std::uint32_t inRequestID, RequestStation& ioStation, RequestStation& outFound);
    void TakeCallers(std::uint64_t inCaller, RequestStation& ioStation, RequestStation& outFound);

    static std::atomic<bool> sShuttingDown;

    RenderFrameQueue& mOwner;

    // Guards the containers and the consumer's side of mIncoming. Flags and budget are atomic; mIncoming's
    // producers never take it, so that adding a request doesn't wait for a pass.
    norvik::threads::RecursiveMutex mQueueLock;
    norvik::threads::RecursiveMutex mAcceleratedLock;
    norvik::threads::RecursiveMutex mRedundantRequestLock VR_ACQUIRED_AFTER(mQueueLock);

    IncomingBuffer mIncoming;
    RequestIDs mInFlightIDs VR_GUARDED_BY(mQueueLock);
    // Counted in the limit and swept by cancels, for ids of requests that are being rendered elsewhere; no
    // part of the queue renders elsewhere, so it is empty.
    RequestIDs mRenderingIDs VR_GUARDED_BY(mQueueLock);
    RequestStation mPrefetching VR_GUARDED_BY(mQueueLock);
    RequestStation mNormalRequests VR_GUARDED_BY(mQueueLock);
    RequestStation mLowRequests VR_GUARDED_BY(mQueueLock);
    // Parked requests, and of those that workers have in their hands what it takes to end them.
    RequestStation mRedundantRequests VR_GUARDED_BY(mRedundantRequestLock);
    AcceleratedRequests mAcceleratedRequests VR_GUARDED_BY(mAcceleratedLock);

    // Each says that its pass is posted and not begun. A pass clears its flag before it looks at anything, so
    // that what is added after its look finds the flag clear and posts the next.
    ScheduleFlag mPendingScheduled{0};
    ScheduleFlag mPrefetchPollScheduled{0};
    ScheduleFlag mPrefetchCheckScheduled{0};
    ScheduleFlag mNormalWorkerScheduled{0};
    ScheduleFlag mLowWorkerScheduled{0};

    MemoryBudget mMemory;
    const std::int64_t mMaxInFlight; // requests in the prefetch station
    // Last, so that it's stopped before what its functions use goes.
    const boost::shared_ptr<norvik::threads::AsyncThreadedExecutor> mExecutor;
};

} // namespace ML
