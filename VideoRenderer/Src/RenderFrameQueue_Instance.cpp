#include "RenderFrameQueueImpl.h"
#include "TVK/QueryTable.h"

#include <mutex>
#include <utility>

namespace ML
{

namespace
{

// References to the queue, far below zero while there is none: a count that comes out negative tells its
// owner, without a lock, that the queue is to be built first.
constexpr std::int32_t kNotBuilt = -10000000;
std::atomic<std::int32_t> sReferences{kNotBuilt};
RenderFrameQueue* sInstance = nullptr; // changed with InstanceMutex held

// Orders building and destroying. Never destroyed, as notices may come while the process ends.
std::mutex& InstanceMutex()
{
    static auto* const sMutex = new std::mutex;
    return *sMutex;
}

} // namespace

RenderFrameQueue::RenderFrameQueue() : mImpl(std::make_unique<Impl>(*this)) {}

RenderFrameQueue::~RenderFrameQueue() = default;

RenderFrameQueueRef RenderFrameQueue::Create()
{
    return Acquire(true);
}

void RenderFrameQueue::ScheduleImmediatePoll()
{
    if (!Impl::IsShuttingDown())
    {
        if (const RenderFrameQueueRef queue = Acquire(false))
        {
            queue->mImpl->ScheduleImmediatePoll();
        }
    }
}

// The count goes up before the queue is looked at, so that nobody destroys it meanwhile; and once the queue
// was shut down, a notice that comes late must not build another one, which is why that's asked again here.
RenderFrameQueueRef RenderFrameQueue::Acquire(bool inEvenAfterShutdown)
{
    if (sReferences.fetch_add(1) + 1 < 0)
    {
        const std::lock_guard<std::mutex> lock(InstanceMutex());
        if (sReferences.load() < 0)
        {
            if (!inEvenAfterShutdown && Impl::IsShuttingDown())
            {
                sReferences.fetch_sub(1);
                return RenderFrameQueueRef();
            }
            try
            {
                sInstance = new RenderFrameQueue;
            }
            catch (...)
            {
                sReferences.fetch_sub(1);
                throw;
            }
            sReferences.fetch_add(-kNotBuilt);
        }
    }
    RenderFrameQueueRef queue(sInstance);
    sReferences.fetch_sub(1);
    return queue;
}

std::uint32_t RenderFrameQueue::AddRef() const
{
    return static_cast<std::uint32_t>(sReferences.fetch_add(1) + 1);
}

std::uint32_t RenderFrameQueue::Release() const
{
    const std::int32_t left = sReferences.fetch_sub(1) - 1;
    if (left == 0)
    {
        const RenderFrameQueue* ended = nullptr;
        {
            const std::lock_guard<std::mutex> lock(InstanceMutex());
            std::int32_t none = 0;
            if (sReferences.compare_exchange_strong(none, kNotBuilt))
            {
                ended = std::exchange(sInstance, nullptr);
            }
        }
        // Outside the lock: what it still holds may come back here when it goes.
        delete ended;
    }
    return static_cast<std::uint32_t>(left);
}

std::int32_t RenderFrameQueue::Query(const TVK::Guid& inID, void** outInterface) const
{
    const std::int32_t status = QueryNoRef(inID, outInterface);
    if (status >= 0)
    {
        AddRef();
    }
    return status;
}

std::int32_t RenderFrameQueue::QueryNoRef(const TVK::Guid& inID, void** outInterface) const
{
    return TVK::QueryInterfaces<IRenderFrameClient>(this, inID, outInterface);
}

void RenderFrameQueue::AddRenderRequest(const RenderFrameRequest& inRequest)
{
    mImpl->AddRenderRequest(inRequest);
}

void RenderFrameQueue::CancelOne(std::uint32_t inRequestID)
{
    mImpl->CancelOne(inRequestID);
}

void RenderFrameQueue::CancelCallersRequests(std::uint64_t inCaller)
{
    mImpl->CancelCallersRequests(inCaller);
}

void RenderFrameQueue::OnAcceleratedRenderCompletion(std::uint32_t inRequestID,
                                                     const MF::IVideoFrameRef& inFrame, std::int32_t inStatus,
                                                     std::int32_t inMilliseconds)
{
    mImpl->OnAcceleratedRenderCompletion(inRequestID, inFrame, inStatus, inMilliseconds);
}

void RenderFrameQueue::Shutdown()
{
    mImpl->Shutdown();
}

RenderFrameQueueCounts RenderFrameQueue::Counts() const
{
    return mImpl->Counts();
}

void RenderFrameQueue::RenderFrameCompleted(std::uint64_t /*inContext*/, std::uint32_t inRequestID,
                                            const norviktypes::TickTime& /*inTime*/,
                                            MF::IVideoFrameRef inFrame, std::int32_t inRenderMilliseconds)
{
    mImpl->OnAcceleratedRenderCompletion(inRequestID, inFrame, 0, inRenderMilliseconds);
}

void RenderFrameQueue::RenderFrameCancelled(std::uint64_t, std::uint32_t, const norviktypes::TickTime&) {}

void RenderFrameQueue::RenderFrameError(std::uint64_t /*inContext*/, std::uint32_t inRequestID,
                                        const norviktypes::TickTime& /*inTime*/, std::int32_t inStatus)
{
    mImpl->OnAcceleratedRenderCompletion(inRequestID, MF::IVideoFrameRef(), inStatus, 0);
}

} // namespace ML
