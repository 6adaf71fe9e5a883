// The handle through which an effect or a transition looks at other moments of what lies beneath it.
//
// Thread-safety: a handle belongs to the operator that it was made for, and is used on its thread.
#pragma once

#include "RenderableNodeOperator.h"
#include "RenderableNodeProducer.h"

namespace ML
{

// inRenderParams  copied: size, format and field times of the render; requests keep the fields' distance.
// inProvider      the chain beneath the operator; may be empty.
// inFrameTime     the frame time of the operator.
// inTimeOffset    taken from the time of a request to get the chain's: the negative of the offset at which
//                 the chain lies.
SubTreeRenderRef CreateSubTreeRender(const CutlistRenderParams& inRenderParams,
                                     const IRenderableNodeProducerProviderRef& inProvider,
                                     const MF::FrameTime& inFrameTime,
                                     const norviktypes::TickTime& inTimeOffset);

} // namespace ML
