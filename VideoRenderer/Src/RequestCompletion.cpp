#include "RequestCompletion.h"

#include "FirstException.h"
#include "RenderObserver.h"
#include "RenderableSources.h"
#include "TVK/Stations.h"
#include "TVK/Waitable.h"

#include <new>

namespace ML
{

namespace
{

// Tells the client, or else the station, then the completion function.
template <class TellClient, class MakeMessage, class CallFunction>
void Notify(const RenderFrameRequest& inRequest, TellClient&& inTellClient, MakeMessage&& inMakeMessage,
            CallFunction&& inCallFunction)
{
    FirstException errors;
    errors.Guard(
        [&]
        {
            if (const IRenderFrameClientRef client = inRequest.mClient.Resolve())
            {
                inTellClient(*client);
            }
            else if (!inRequest.mStationID.empty())
            {
                TVK::StationUtils::PostMessageToUIThread(inRequest.mStationID, inMakeMessage(), 0);
            }
        });
    if (const RequestCompletionFunction* function = inRequest.GetCompletionFunction())
    {
        errors.Guard([&] { inCallFunction(*function); });
    }
    errors.Rethrow();
}

void NotifyCompletion(const RenderFrameRequest& inRequest, const MF::IVideoFrameRef& inFrame,
                      std::int32_t inMilliseconds)
{
    Notify(
        inRequest,
        [&](IRenderFrameClient& inClient)
        {
            inClient.RenderFrameCompleted(inRequest.mContext, inRequest.mRequestID, inRequest.mTime, inFrame,
                                          inMilliseconds);
        },
        [&]
        {
            return TVK::MessageRef(new RenderFrameCompletionMessage(
                inRequest.mContext, inRequest.mRequestID, inRequest.mTime, inFrame, inMilliseconds));
        },
        [&](const RequestCompletionFunction& inFunction) { inFunction(inFrame, false, 0); });
}

void NotifyError(const RenderFrameRequest& inRequest, std::int32_t inStatus)
{
    Notify(
        inRequest,
        [&](IRenderFrameClient& inClient)
        { inClient.RenderFrameError(inRequest.mContext, inRequest.mRequestID, inRequest.mTime, inStatus); },
        [&]
        {
            return TVK::MessageRef(new RenderFrameErrorMessage(inRequest.mContext, inRequest.mRequestID,
                                                               inRequest.mTime, inStatus));
        },
        [&](const RequestCompletionFunction& inFunction)
        { inFunction(MF::IVideoFrameRef(), false, inStatus); });
}

void NotifyCancellation(const RenderFrameRequest& inRequest)
{
    Notify(
        inRequest,
        [&](IRenderFrameClient& inClient)
        { inClient.RenderFrameCancelled(inRequest.mContext, inRequest.mRequestID, inRequest.mTime); },
        [&]
        {
            return TVK::MessageRef(
                new RenderFrameCancelledMessage(inRequest.mContext, inRequest.mRequestID, inRequest.mTime));
        },
        [&](const RequestCompletionFunction& inFunction) { inFunction(MF::IVideoFrameRef(), true, 0); });
}

void Tell(const RenderFrameRequest& inRequest, const MF::IVideoFrameRef& inFrame, std::int32_t inStatus,
          std::int32_t inMilliseconds)
{
    ObserveRender(RenderEventKind::kFinished, inRequest.mRequestID, inRequest.GetKey(), inStatus);
    const bool failed = inStatus < 0;
    if (!failed)
    {
        inRequest.SetResultFrame(inFrame);
    }
    if (TVK::WaitableObject* signal = inRequest.GetCompletionSignal())
    {
        signal->Signal();
    }
    else if (!failed && inFrame)
    {
        NotifyCompletion(inRequest, inFrame, inMilliseconds);
    }
    else
    {
        NotifyError(inRequest, inStatus);
    }
}

} // namespace

std::int32_t StatusOfCurrentException() noexcept
{
    try
    {
        throw;
    }
    catch (const RenderRequestException& exception)
    {
        return exception.GetStatus();
    }
    catch (const std::bad_alloc&)
    {
        return kRenderFrameOutOfMemory;
    }
    catch (...)
    {
        return kRenderFrameFailed;
    }
}

void FinishRequest(const RenderFrameRequest& inRequest, const MF::IVideoFrameRef& inFrame,
                   std::int32_t inStatus, std::int32_t inMilliseconds)
{
    if (inRequest.Claim())
    {
        Tell(inRequest, inFrame, inStatus, inMilliseconds);
    }
}

void FinishPrefetchOnly(const RenderFrameRequest& inRequest)
{
    if (!inRequest.Claim())
    {
        return;
    }
    MF::IVideoFrameRef frame;
    std::int32_t status = kRenderFramePrefetchFailed;
    FirstException errors;
    try
    {
        if (inRequest.IsPrefetchReady())
        {
            frame = inRequest.GetFirstPrefetchResult();
            status = 0;
        }
    }
    catch (...)
    {
        status = StatusOfCurrentException();
        errors.Keep();
    }
    errors.Guard([&] { Tell(inRequest, frame, status, 0); });
    errors.Rethrow();
}

void CancelRequest(RenderFrameRequest& inRequest)
{
    if (!inRequest.Claim())
    {
        return;
    }
    ObserveRender(RenderEventKind::kCancelled, inRequest.mRequestID, inRequest.GetKey());
    FirstException errors;
    errors.Guard([&] { inRequest.CancelPrefetchItems(); });
    errors.Guard([&] { inRequest.CancelAcceleratedRender(); });
    if (TVK::WaitableObject* signal = inRequest.GetCompletionSignal())
    {
        signal->Signal();
    }
    else
    {
        errors.Guard([&] { NotifyCancellation(inRequest); });
    }
    errors.Rethrow();
}

} // namespace ML
