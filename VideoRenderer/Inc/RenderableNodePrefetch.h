// One thing that a render wants read before it starts.
//
// Statuses: 0 or positive is success. A render is started when every item of it has answered a result,
// or when the item has said that waiting longer is of no use.
//
// Thread-safety: one thread drives an item at a time.
#pragma once

#include "MF/IVideoFrame.h"
#include "VideoRendererExport.h"

#include <cstdint>

namespace ML
{

class VIDEORENDERER_EXPORT IRenderableNodePrefetch : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kRenderableNodePrefetch;

    // Starts reading; negative if that failed.
    virtual std::int32_t BeginPrefetch() = 0;
    // 0: finished, with the frame or, after a failure, with none. 0xa00f0001: not ready yet.
    virtual std::int32_t GetPrefetchResult(MF::IVideoFrameRef& outFrame) = 0;
    // Always 0.
    virtual std::int32_t CancelPrefetch() = 0;
    // The key under which the frame is shared; all zero if it has none.
    virtual void GetPrefetchKey(TVK::Guid& outKey) const = 0;
    // Asked after inElapsedSeconds of waiting: true means go on.
    virtual bool ContinueWaitingForPrefetch(double inElapsedSeconds) = 0;
};
using IRenderableNodePrefetchRef = TVK::InterfaceRef<IRenderableNodePrefetch>;

} // namespace ML
