// How somebody who asked for a frame is told: by an object, or by messages to a station.
//
// A request ends with exactly one of completion, cancellation and error. They come on whatever thread found
// the request finished: a render or queue thread, or the one that called a cancel; messages come on the
// user-interface thread. No lock of the library is held meanwhile.
//
// A client may ask for more frames from these calls. On a render or queue thread such a request is rendered
// there and then, and ends before the asking call returns: its own notification comes first, and all passes
// of the queue wait for it. A client that wants its notifications one at a time asks from a thread of its own.
//
// Thread-safety: clients are called from several threads at once; messages are immutable.
#pragma once

#include "MF/IVideoFrame.h"
#include "TVK/Message.h"
#include "VideoRendererExport.h"
#include "norviktypes/TickTime.h"

#include <cstdint>

namespace ML
{

// What renders answer and error notifications carry. A source's own status may stand in place of these.
inline constexpr std::int32_t kRenderFrameCompleted = 0x200d0000; // a frame is there
inline constexpr std::int32_t kRenderFrameQueued = 0x200d0001;    // the result comes later
// No frame came, the render failed, was cancelled, or the queue has ended.
inline constexpr std::int32_t kRenderFrameFailed = static_cast<std::int32_t>(0xa00d0000u);
inline constexpr std::int32_t kRenderFrameOutOfMemory = static_cast<std::int32_t>(0xa00f0006u);
// Nothing was to be rendered, and what was to be read isn't there.
inline constexpr std::int32_t kRenderFramePrefetchFailed = static_cast<std::int32_t>(0xa00f0001u);

// Held weakly by requests: offer TVK::IWeakReferenceCapable.
class VIDEORENDERER_EXPORT IRenderFrameClient : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kRenderFrameClient;

    // inContext is what the request carries for its maker.
    virtual void RenderFrameCompleted(std::uint64_t inContext, std::uint32_t inRequestID,
                                      const norviktypes::TickTime& inTime, MF::IVideoFrameRef inFrame,
                                      std::int32_t inRenderMilliseconds) = 0;
    virtual void RenderFrameCancelled(std::uint64_t inContext, std::uint32_t inRequestID,
                                      const norviktypes::TickTime& inTime) = 0;
    virtual void RenderFrameError(std::uint64_t inContext, std::uint32_t inRequestID,
                                  const norviktypes::TickTime& inTime, std::int32_t inStatus) = 0;
};
using IRenderFrameClientRef = TVK::InterfaceRef<IRenderFrameClient>;

// The same as messages, for requests that name a station and have no client, or none any more.
class VIDEORENDERER_EXPORT RenderFrameCompletionMessage final
    : public TVK::MessageImpl<RenderFrameCompletionMessage>
{
public:
    RenderFrameCompletionMessage(std::uint64_t inContext, std::uint32_t inRequestID,
                                 const norviktypes::TickTime& inTime, MF::IVideoFrameRef inFrame,
                                 std::int32_t inRenderMilliseconds);
    ~RenderFrameCompletionMessage() override;

    const std::uint64_t mContext;
    const std::uint32_t mRequestID;
    const norviktypes::TickTime mTime;
    const MF::IVideoFrameRef mFrame;
    const std::int32_t mRenderMilliseconds;
};

class VIDEORENDERER_EXPORT RenderFrameCancelledMessage final
    : public TVK::MessageImpl<RenderFrameCancelledMessage>
{
public:
    RenderFrameCancelledMessage(std::uint64_t inContext, std::uint32_t inRequestID,
                                const norviktypes::TickTime& inTime);
    ~RenderFrameCancelledMessage() override;

    const std::uint64_t mContext;
    const std::uint32_t mRequestID;
    const norviktypes::TickTime mTime;
};

class VIDEORENDERER_EXPORT RenderFrameErrorMessage final : public TVK::MessageImpl<RenderFrameErrorMessage>
{
public:
    RenderFrameErrorMessage(std::uint64_t inContext, std::uint32_t inRequestID,
                            const norviktypes::TickTime& inTime, std::int32_t inStatus);
    ~RenderFrameErrorMessage() override;

    const std::uint64_t mContext;
    const std::uint32_t mRequestID;
    const norviktypes::TickTime mTime;
    const std::int32_t mStatus;
};

} // namespace ML
