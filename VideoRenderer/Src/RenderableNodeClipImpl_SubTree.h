// A clip as one of its effects sees it: without that effect and those above it.
//
// Thread-safety: safe.
#pragma once

#include "RenderableNodeClipImpl.h"

#include <cstddef>

namespace ML
{

class RenderableNodeClipSubTreeImpl final
    : public TVK::Implements<RenderableNodeClipSubTreeImpl, IRenderableNodeProducerProvider>
{
public:
    // inClip owns this object, which therefore holds it weakly. Below the operator inOperator.
    RenderableNodeClipSubTreeImpl(RenderableNodeClipImpl& inClip, std::size_t inOperator)
        : mClip(inClip)
        , mClipReference(inClip.GetWeakReference())
        , mOperatorIndex(inOperator)
    {
    }

    // Empty when the clip is gone, or has not exactly one input.
    IRenderableNodeProducerRef GetProducerForFrame(const MF::FrameTime& inFrameTime,
                                                   const CutlistRenderParams& inRenderParams) override
    {
        const TVK::TVKUnknownRef alive = mClipReference->Resolve();
        return alive ? mClip.GetProducerBelowOperator(mOperatorIndex, inFrameTime, inRenderParams) : nullptr;
    }

private:
    RenderableNodeClipImpl& mClip; // only while mClipReference resolves
    const TVK::IWeakReferenceRef mClipReference;
    const std::size_t mOperatorIndex;
};

} // namespace ML
