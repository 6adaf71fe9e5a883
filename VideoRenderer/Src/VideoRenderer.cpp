#include "VideoRenderer.h"

#include "CutlistFactory.h"
#include "RenderFrame.h"
#include "RenderFrameQueue.h"
#include "RenderFrameRequest.h"
#include "TVK/ClassFactory.h"
#include "VideoSourcePrefetcher.h"
#include "norvik/threads/Threads.h"

#include <atomic>
#include <utility>
#include <vector>

namespace ML
{

namespace
{

using norvik::threads::RecursiveMutex;
using norvik::threads::ScopedLock;

std::atomic<std::uint32_t> sNextRequestID{1};

// What stands between the first Initialize and the last Shutdown. Never destroyed: the process may end with
// the service up.
struct Service
{
    RecursiveMutex mMutex; // held for the whole of either call, so that nobody meets a service half up
    std::uint32_t mInitializeCount VR_GUARDED_BY(mMutex) = 0;
    RenderFrameQueueRef mQueue VR_GUARDED_BY(mMutex);
};

Service& TheService()
{
    static auto* const sService = new Service;
    return *sService;
}

// Renders once what the source wanted read is there. The params stand for the time as well.
struct RenderWhenRead
{
    IRenderableSourceRef mSource;
    CutlistRenderParams mParams;
    unsigned mRequestID;
    RenderCompletionFunction mCompletion;

    void operator()(MF::IVideoFrameRef inFrame, bool inCancelled, int inError) const
    {
        MF::IVideoFrameRef rendered;
        if (!inCancelled && inError >= 0 && mSource && inFrame)
        {
            try
            {
                mSource->Render(mParams, mParams, rendered);
            }
            catch (const RenderRequestException&)
            {
                rendered.reset();
            }
            catch (...)
            {
                mCompletion(inFrame, mRequestID, mSource, false, inError);
                throw;
            }
        }
        inFrame.reset();
        mCompletion(rendered, mRequestID, mSource, inCancelled, inError);
    }
};

} // namespace

namespace VideoRenderer
{

int Initialize()
{
    Service& service = TheService();
    const ScopedLock lock(service.mMutex, "VideoRenderer::Initialize");
    if (service.mInitializeCount == 0)
    {
        TVK::ClassFactory::RegisterTVKClass(kRenderFrameClassID, "kRenderFrameClassID", "RenderFrame",
                                            &CreateRenderFrame, &GetRenderFrameClassID);
        service.mQueue = RenderFrameQueue::Create();
        VideoSourcePrefetcher::StartPrefetchers();
        MF::SetCutlistFactory(GetCutlistFactoryInstance());
    }
    ++service.mInitializeCount;
    return 0;
}

int Shutdown()
{
    Service& service = TheService();
    const ScopedLock lock(service.mMutex, "VideoRenderer::Shutdown");
    if (service.mInitializeCount-- == 1)
    {
        service.mQueue->Shutdown();
        service.mQueue.reset();
        VideoSourcePrefetcher::StopPrefetchers();
        MF::SetCutlistFactory({});
    }
    return 0;
}

} // namespace VideoRenderer

std::uint32_t GetNextRequestID()
{
    return sNextRequestID.fetch_add(1) + 1;
}

void InitiateRender(IRenderableSourceRef inSource, const MF::FrameTime& inTime,
                    const CutlistRenderParams& inRenderParams, unsigned inRequestID,
                    const RenderCompletionFunction& inCompletion)
{
    if (!inSource)
    {
        return;
    }
    std::vector<IRenderableNodePrefetchRef> items;
    inSource->CollectPrefetchItems(inTime, inRenderParams, items);
    RenderFrameRequest request(inTime.Earlier(), std::move(items), inRequestID);
    request.SetCompletionFunction(RenderWhenRead{inSource, inRenderParams, inRequestID, inCompletion});
    if (const RenderFrameQueueRef queue = RenderFrameQueue::Create())
    {
        queue->AddRenderRequest(request);
    }
}

void CancelRender(unsigned inRequestID)
{
    if (const RenderFrameQueueRef queue = RenderFrameQueue::Create())
    {
        queue->CancelOne(inRequestID);
    }
}

} // namespace ML
