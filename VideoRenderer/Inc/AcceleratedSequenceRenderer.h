// One sequence on one renderer module that takes over whole stretches of it.
//
// The module says which stretches it renders, and in which formats; a frame elsewhere is refused, and the
// caller renders it the ordinary way. A frame that was accepted ends with exactly one call of the client,
// from any thread, perhaps before RenderFrame has returned.
//
// Thread-safety: safe.
#pragma once

#include "RenderFrameClient.h"
#include "norviktypes/PixelAspectRatio.h"
#include "norviktypes/PixelFormat.h"
#include "norviktypes/RenderQuality.h"

#include <cstdint>
#include <map>
#include <vector>

namespace ML
{

// No module, no such request, or a frame that the module doesn't render.
inline constexpr std::int32_t kAcceleratedRender_NotAvailable = static_cast<std::int32_t>(0xa00f0001u);

struct AcceleratedSegmentInfo
{
    norviktypes::TickTime mStart;
    norviktypes::TickTime mEnd; // exclusive
    std::uint32_t mStatus = 0;  // as the module says
    std::vector<norviktypes::PixelFormat> mPixelFormats;
};

// By start.
using AcceleratedSegmentMap = std::map<norviktypes::TickTime, AcceleratedSegmentInfo>;

// Carried to the module as it is.
struct AcceleratedRenderExtras
{
    std::int32_t mMode = -1;
    double mFirst = 1.0;
    double mSecond = 0.0;
};

// One frame as it is asked of a module.
struct AcceleratedRenderRequest
{
    norviktypes::TickTime mTime;
    std::uint32_t mWidth = 0; // pixels
    std::uint32_t mHeight = 0;
    norviktypes::PixelAspectRatio mPixelAspectRatio;
    std::vector<norviktypes::PixelFormat> mPixelFormats; // accepted, most wanted first
    norviktypes::RenderQuality mQuality = norviktypes::kRenderQuality_High;
    bool mPrefetchOnly = false;
    bool mCompositeOnBlack = false;
    bool mRenderProgressive = true; // frames, not fields
    IRenderFrameClientRef mClient;
    std::uint64_t mClientData = 0; // given back to the client as its context
    std::uint32_t mRequestID = 0;
    AcceleratedRenderExtras mExtras;
};

class VIDEORENDERER_EXPORT IAcceleratedSequenceRenderer : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kAcceleratedSequenceRenderer;

    // Asks the module for its stretches again, after the sequence changed.
    virtual void RefreshSegments() = 0;
    // Stays valid as long as the renderer lives.
    virtual const AcceleratedSegmentMap& GetSegmentMap() = 0;
    // Negative: refused, and the client is not called.
    virtual std::int32_t RenderFrame(const AcceleratedRenderRequest& inRequest) = 0;
    // 0, or kAcceleratedRender_NotAvailable for an id that isn't under way.
    virtual std::int32_t CancelFrame(std::uint32_t inRequestID) = 0;
    virtual std::int32_t NotifySequence(std::uint32_t inArgument) = 0;
};
using IAcceleratedSequenceRendererRef = TVK::InterfaceRef<IAcceleratedSequenceRenderer>;

} // namespace ML
