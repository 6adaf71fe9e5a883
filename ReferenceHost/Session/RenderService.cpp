#include "ReferenceHost/Session/RenderService.h"

#include "ML/SharedExecutors.h"
#include "ReferenceHost/FrameLibrary/SharedVideoFrameCacheControl.h"
#include "VideoRenderer.h"

namespace Session
{

RenderService::RenderService()
{
    ML::VideoRenderer::Initialize();
}

RenderService::~RenderService()
{
    // What is still to be kept on disk is compressed there; the service drops what has not begun.
    if (ML::sNormalPriorityRenderQueue)
    {
        ML::sNormalPriorityRenderQueue->WaitForTermination();
    }
    // Frames on their way to the disk cache would be dropped with what else is queued there.
    if (ML::sNormalPriorityRenderQueue)
    {
        ML::sNormalPriorityRenderQueue->Close();
        ML::sNormalPriorityRenderQueue->WaitForTermination();
    }
    ML::VideoRenderer::Shutdown();
}

OrderID RenderService::Order(const FrameOrder& inOrder, const ReadAnswer& inAnswer)
{
    return inOrder.mMaterial->Order(inOrder.mTime, inOrder.mRequest, inOrder.mUrgency, inAnswer);
}

void RenderService::Cancel(OrderID inID)
{
    ML::CancelRender(inID);
}

FrameCacheCounts GetFrameCacheCounts()
{
    const VF::FrameCacheCounters counters = VF::SharedVideoFrameCache::GetCounters();
    return {counters.mHits, counters.mInsertions, counters.mEvictions};
}

} // namespace Session
