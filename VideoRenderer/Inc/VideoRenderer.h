// The front door: start and stop of the render service, and single frames of a source.
//
// Initialize and Shutdown are counted; the first brings everything up, the last takes it down, for good: a
// process has one life of the service. The host ends its clients before, as a request that is still queued
// at the end is dropped without a word, and who waits for it waits for ever. It stops the shared executors
// (ML/SharedExecutors.h) after the last Shutdown.
//
// A completion that starts another render on the thread it is called on has that rendered there and then, and
// all passes of the queue wait for it; start renders from threads of your own.
//
// Thread-safety: all functions are safe. InitiateRender is not for threads of the shared executors: what it
// starts could not be read ahead there, and ends with kRenderFrameFailed.
#pragma once

#include "CutlistRenderParams.h"
#include "MF/IVideoFrame.h"
#include "RenderableSources.h"
#include "VideoRendererExport.h"
#include "norvik/BoostTypes.h"

#include <cstdint>

namespace ML
{

namespace VideoRenderer
{

// Both always answer 0. Throws what a step throws; the count is then as it was.
VIDEORENDERER_EXPORT int Initialize();
// Throws TVK::NullInterfaceException if the queue is missing. Unbalanced calls are not noticed.
VIDEORENDERER_EXPORT int Shutdown();

} // namespace VideoRenderer

// An id for a request, never given before until the 32 bits wrap.
VIDEORENDERER_EXPORT std::uint32_t GetNextRequestID();

// Frame (empty if there is none), the request's id, its source, whether it was cancelled, and the error:
// negative if it failed. Called once, on a thread of the queue, of a render executor, or of a cancel.
using RenderCompletionFunction =
    boost::function<void(MF::IVideoFrameRef, unsigned, IRenderableSourceRef, bool, int)>;

// Reads what the source wants read for inTime, then renders at the time of inRenderParams. Nothing happens,
// and nobody is called, for an empty source. A source without anything to read ends with an empty frame: such
// a source is rendered by its own Render. Throws what the source throws when it is asked what to read.
VIDEORENDERER_EXPORT void InitiateRender(IRenderableSourceRef inSource, const MF::FrameTime& inTime,
                                         const CutlistRenderParams& inRenderParams, unsigned inRequestID,
                                         const RenderCompletionFunction& inCompletion);

// Ends a request that isn't being rendered yet; its completion says so. Unknown ids do nothing.
VIDEORENDERER_EXPORT void CancelRender(unsigned inRequestID);

} // namespace ML
