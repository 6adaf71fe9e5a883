// What a node hands out to be evaluated: producers of its frames, and what these want read beforehand.
//
// A producer is made for one frame time and one set of render params, used for that frame and dropped. Times
// are those of the node that is asked.
//
// Thread-safety: providers are frozen nodes and safe; a producer is used by one thread at a time.
#pragma once

#include "CutlistRenderParams.h"
#include "MF/IRenderableCutlist.h"
#include "MF/IVideoFrame.h"
#include "RenderableNodePrefetch.h"

#include <cstdint>
#include <vector>

namespace ML
{

class IRenderableNodePrefetchProvider : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kRenderableNodePrefetchProvider;

    // Appends what a render of inFrameTime would want ready.
    virtual void GetPrefetchesForFrame(const MF::FrameTime& inFrameTime,
                                       const CutlistRenderParams& inRenderParams,
                                       std::vector<IRenderableNodePrefetchRef>& ioPrefetches) = 0;
};
using IRenderableNodePrefetchProviderRef = TVK::InterfaceRef<IRenderableNodePrefetchProvider>;

class IRenderableNodeProducer;
using IRenderableNodeProducerRef = TVK::InterfaceRef<IRenderableNodeProducer>;

class IRenderableNodeProducer : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kRenderableNodeProducer;

    // Renders. Negative is a failure; success with an empty frame means that nothing is there at that time.
    virtual std::int32_t GetFrame(const MF::FrameTime& inFrameTime, const CutlistRenderParams& inRenderParams,
                                  MF::IVideoFrameRef& outFrame) = 0;
    // Names the frame without rendering it: equal for frames that are interchangeable, different for all
    // others. inBaseHash is what the caller has mixed already; the hash goes on from it. Cheap, as it is
    // asked for every frame, also for those that a cache holds.
    virtual void GetFrameHash(TVK::Guid& outHash, const MF::FrameTime& inFrameTime,
                              const CutlistRenderParams& inRenderParams, const TVK::Guid& inBaseHash) = 0;
    virtual IRenderableNodeProducerRef AsProducer() { return IRenderableNodeProducerRef(this); }
};

class IRenderableNodeProducerProvider : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kRenderableNodeProducerProvider;

    // Empty if the node has nothing to show at that time.
    virtual IRenderableNodeProducerRef GetProducerForFrame(const MF::FrameTime& inFrameTime,
                                                           const CutlistRenderParams& inRenderParams) = 0;
    // Appends the ranges of [inStart, inEnd) in which the picture stands still, in order.
    virtual void GetStillRanges(const norviktypes::TickTime&, const norviktypes::TickTime&,
                                std::vector<MF::TimeRange>&)
    {
    }
    // Adds the stretches of [inStart, inEnd) whose media can be copied.
    virtual void GetSmartRenderSegments(const norviktypes::TickTime&, const norviktypes::TickTime&,
                                        const norviktypes::PixelFormat&, bool /*inOuterIsPreview*/,
                                        MF::SmartRenderSegments&)
    {
    }
    virtual bool HasCaptions() { return false; }
};
using IRenderableNodeProducerProviderRef = TVK::InterfaceRef<IRenderableNodeProducerProvider>;

} // namespace ML
