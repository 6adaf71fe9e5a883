#include "ML/SharedExecutors.h"
#include "RenderFrameQueueImpl.h"
#include "RequestCompletion.h"

#include <exception>
#include <utility>

namespace ML
{

namespace
{

using norvik::threads::ScopedLock;

void Stop(const boost::shared_ptr<norvik::threads::AsyncThreadedExecutor>& inExecutor)
{
    if (inExecutor)
    {
        inExecutor->CancelPending();
        inExecutor->Close();
        inExecutor->WaitForTermination();
    }
}

// What is dropped tells nobody, but its reads are stopped.
void StopReads(RequestStation& ioDropped)
{
    FirstException errors;
    for (auto& [order, queued] : ioDropped)
    {
        if (queued.mRequest.PrefetchItemCount() != 0)
        {
            errors.Guard([&queued = queued] { queued.mRequest.CancelPrefetchItems(); });
        }
    }
    errors.Rethrow();
}

} // namespace

// ---- accelerated renders ----

// True: the renderer has it, or has ended it already.
bool RenderFrameQueue::Impl::OfferToAcceleratedRenderer(RenderFrameRequest& ioRequest)
{
    const std::uint32_t id = ioRequest.mRequestID;
    AcceleratedRequests made;
    made.emplace(id, ioRequest);
    AcceleratedRequests::node_type replaced; // goes after the unlock
    {
        const ScopedLock lock(mAcceleratedLock, "RenderFrameQueue::AddRenderRequest1");
        replaced = mAcceleratedRequests.extract(id);
        mAcceleratedRequests.insert(made.extract(made.begin()));
    }
    FirstException errors;
    std::int32_t status = kRenderFrameFailed;
    errors.Guard([&] { status = ioRequest.SubmitToAcceleratedRenderer(IRenderFrameClientRef(&mOwner)); });
    if (status >= 0)
    {
        return true;
    }
    AcceleratedRequests::node_type refused;
    {
        const ScopedLock lock(mAcceleratedLock, "RenderFrameQueue::AddRenderRequest2");
        refused = mAcceleratedRequests.extract(id);
    }
    // Gone: it was cancelled, or the renderer has called back although it refuses. Either was its end.
    if (refused.empty())
    {
        return true;
    }
    errors.Rethrow();
    return false;
}

void RenderFrameQueue::Impl::OnAcceleratedRenderCompletion(std::uint32_t inRequestID,
                                                           const MF::IVideoFrameRef& inFrame,
                                                           std::int32_t inStatus, std::int32_t inMilliseconds)
{
    AcceleratedRequests::node_type ended;
    {
        const ScopedLock lock(mAcceleratedLock, "RenderFrameQueue::OnAcceleratedRenderCompletion");
        ended = mAcceleratedRequests.extract(inRequestID);
    }
    // Whoever removes the entry ends the request; the other of completion and cancel finds nothing.
    if (!ended.empty())
    {
        FinishRequest(ended.mapped(), inFrame, inStatus, inMilliseconds);
    }
}

// ---- cancellation ----

bool RenderFrameQueue::Impl::TakeByID(std::uint32_t inRequestID, RequestStation& ioStation,
                                      RequestStation& outFound)
{
    for (auto place = ioStation.begin(); place != ioStation.end(); ++place)
    {
        if (place->second.mID == inRequestID)
        {
            Append(outFound, ioStation.extract(place));
            return true;
        }
    }
    return false;
}

void RenderFrameQueue::Impl::TakeCallers(std::uint64_t inCaller, RequestStation& ioStation,
                                         RequestStation& outFound)
{
    for (auto place = ioStation.begin(); place != ioStation.end();)
    {
        if (place->second.mCaller == inCaller)
        {
            Append(outFound, TakeAndStep(ioStation, place));
        }
        else
        {
            ++place;
        }
    }
}

namespace
{

bool EraseOne(RequestIDs& ioIDs, std::uint32_t inRequestID)
{
    const auto place = ioIDs.find(inRequestID);
    if (place == ioIDs.end())
    {
        return false;
    }
    ioIDs.erase(place);
    return true;
}

void EraseCallers(RequestIDs& ioIDs, std::uint64_t inCaller)
{
    for (auto place = ioIDs.begin(); place != ioIDs.end();)
    {
        place = place->second == inCaller ? ioIDs.erase(place) : std::next(place);
    }
}

void GiveBackAll(RequestStation& ioList, IncomingBuffer& ioIncoming)
{
    while (!ioList.empty())
    {
        ioIncoming.GiveBack(TakeFirst(ioList));
    }
}

} // namespace

void RenderFrameQueue::Impl::CancelOne(std::uint32_t inRequestID)
{
    AcceleratedRequests::node_type accelerated;
    {
        const ScopedLock lock(mAcceleratedLock, "RenderFrameQueue::CancelOne - Accelerated");
        accelerated = mAcceleratedRequests.extract(inRequestID);
    }
    if (!accelerated.empty())
    {
        CancelRequest(accelerated.mapped());
        return;
    }
    FirstException errors;
    RequestStation found;
    {
        const ScopedLock lock(mQueueLock, "RenderFrameQueue::CancelOne");
        RequestStation incoming;
        mIncoming.Pull(IncomingBuffer::kNoLimit, incoming);
        bool isDone = TakeByID(inRequestID, incoming, found);
        GiveBackAll(incoming, mIncoming);
        errors.Guard([this] { SchedulePendingPass(); });
        // A pass that holds it finds the id gone, and tells.
        isDone = isDone || EraseOne(mInFlightIDs, inRequestID) || EraseOne(mRenderingIDs, inRequestID);
        static_cast<void>(isDone || TakeByID(inRequestID, mNormalRequests, found) ||
                          TakeByID(inRequestID, mLowRequests, found) ||
                          TakeByID(inRequestID, mPrefetching, found));
    }
    for (auto& [order, queued] : found)
    {
        errors.Guard([&queued = queued] { CancelRequest(queued.mRequest); });
    }
    errors.Rethrow();
}

void RenderFrameQueue::Impl::CancelCallersRequests(std::uint64_t inCaller)
{
    if (inCaller == 0)
    {
        return;
    }
    FirstException errors;
    AcceleratedRequests accelerated;
    {
        const ScopedLock lock(mAcceleratedLock, "RenderFrameQueue::CancelCallersRequests - Accelerated");
        for (auto place = mAcceleratedRequests.begin(); place != mAcceleratedRequests.end();)
        {
            const auto current = place++;
            if (current->second.mCaller == inCaller)
            {
                accelerated.insert(mAcceleratedRequests.extract(current));
            }
        }
    }
    RequestStation found;
    {
        const ScopedLock lock(mQueueLock, "RenderFrameQueue::CancelCallersRequests");
        RequestStation incoming;
        mIncoming.Pull(IncomingBuffer::kNoLimit, incoming);
        TakeCallers(inCaller, incoming, found);
        GiveBackAll(incoming, mIncoming);
        errors.Guard([this] { SchedulePendingPass(); });
        EraseCallers(mInFlightIDs, inCaller);
        EraseCallers(mRenderingIDs, inCaller);
        TakeCallers(inCaller, mPrefetching, found);
        TakeCallers(inCaller, mNormalRequests, found);
        TakeCallers(inCaller, mLowRequests, found);
    }
    for (auto& [id, request] : accelerated)
    {
        errors.Guard([&request = request] { CancelRequest(request); });
    }
    for (auto& [order, queued] : found)
    {
        errors.Guard([&queued = queued] { CancelRequest(queued.mRequest); });
    }
    errors.Rethrow();
}

// ---- the end ----

void RenderFrameQueue::Impl::Shutdown()
{
    sShuttingDown.store(true);
    try
    {
        RequestStation dropped;
        {
            const ScopedLock lock(mQueueLock, "RenderFrameQueue::Shutdown");
            mIncoming.Pull(IncomingBuffer::kNoLimit, dropped);
            for (RequestStation* station : {&mPrefetching, &mNormalRequests, &mLowRequests})
            {
                while (!station->empty())
                {
                    Append(dropped, TakeFirst(*station));
                }
            }
        }
        StopReads(dropped);
        dropped.clear();
        AcceleratedRequests accelerated;
        {
            const ScopedLock lock(mAcceleratedLock, "RenderFrameQueue::Shutdown2");
            accelerated.swap(mAcceleratedRequests);
        }
        accelerated.clear();
        Stop(sNormalPriorityRenderQueue);
        Stop(sLowPriorityRenderQueue);
        Stop(mExecutor);
    }
    catch (const std::exception&)
    {
        // A host that ends has no use for it: the rest of the steps is left out.
        return;
    }
}

RenderFrameQueueCounts RenderFrameQueue::Impl::Counts()
{
    RenderFrameQueueCounts counts;
    {
        const ScopedLock lock(mQueueLock, "RenderFrameQueue::Counts");
        counts.mIncoming = mIncoming.Count();
        counts.mInFlight = mInFlightIDs.size();
        counts.mPrefetching = mPrefetching.size();
        counts.mNormal = mNormalRequests.size();
        counts.mLow = mLowRequests.size();
        const ScopedLock redundant(mRedundantRequestLock, "RenderFrameQueue::Counts RedundantRequestLock");
        counts.mRedundant = mRedundantRequests.size();
    }
    {
        const ScopedLock lock(mAcceleratedLock, "RenderFrameQueue::Counts - Accelerated");
        counts.mAccelerated = mAcceleratedRequests.size();
    }
    counts.mAvailableMemoryUnits = mMemory.Available();
    counts.mTotalMemoryUnits = mMemory.Total();
    counts.mPassesScheduled = mPendingScheduled + mPrefetchPollScheduled + mPrefetchCheckScheduled +
                              mNormalWorkerScheduled + mLowWorkerScheduled;
    return counts;
}

} // namespace ML
