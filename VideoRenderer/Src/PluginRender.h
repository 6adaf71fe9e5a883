// What operators and producers have in common: how pictures lie, and what plug-ins are called with.
//
// Thread-safety: safe; frames that are not frozen belong to the calling render.
#pragma once

#include "CutlistRenderParams.h"
#include "MF/IVideoFrame.h"
#include "ML/EffectRenderInfo.h"
#include "RenderableNodeParameters.h"

namespace ML
{

EffectRenderInfo EffectRenderInfoOf(const CutlistRenderParams& inParams,
                                    const norvik::utility::ImmutableString& inStreamLabel);

// How a node's picture lies at each of the two times; the defaults for a provider that is empty or fails.
void ReadIntrinsics(const IRenderableNodeIntrinsicParameterProviderRef& inProvider,
                    const MF::FrameTime& inNodeTimes, const CutlistRenderParams& inParams,
                    NodeIntrinsicParameters (&outRecords)[2]);

// The frame in the format and the size of the params, so that it can be walked together with others. Empty, or
// still in its own format, if there is no memory.
MF::IVideoFrameRef ConformToOutput(const CutlistRenderParams& inParams, const MF::IVideoFrameRef& inFrame);

} // namespace ML
