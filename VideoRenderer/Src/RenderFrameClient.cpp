#include "RenderFrameClient.h"

#include <utility>

namespace ML
{

RenderFrameCompletionMessage::RenderFrameCompletionMessage(std::uint64_t inContext, std::uint32_t inRequestID,
                                                           const norviktypes::TickTime& inTime,
                                                           MF::IVideoFrameRef inFrame,
                                                           std::int32_t inRenderMilliseconds)
    : mContext(inContext)
    , mRequestID(inRequestID)
    , mTime(inTime)
    , mFrame(std::move(inFrame))
    , mRenderMilliseconds(inRenderMilliseconds)
{
}

RenderFrameCompletionMessage::~RenderFrameCompletionMessage() = default;

RenderFrameCancelledMessage::RenderFrameCancelledMessage(std::uint64_t inContext, std::uint32_t inRequestID,
                                                         const norviktypes::TickTime& inTime)
    : mContext(inContext)
    , mRequestID(inRequestID)
    , mTime(inTime)
{
}

RenderFrameCancelledMessage::~RenderFrameCancelledMessage() = default;

RenderFrameErrorMessage::RenderFrameErrorMessage(std::uint64_t inContext, std::uint32_t inRequestID,
                                                 const norviktypes::TickTime& inTime, std::int32_t inStatus)
    : mContext(inContext)
    , mRequestID(inRequestID)
    , mTime(inTime)
    , mStatus(inStatus)
{
}

RenderFrameErrorMessage::~RenderFrameErrorMessage() = default;

} // namespace ML
