// From a cutlist and a time to a frame: the way that every render takes.
//
// One frame, from the outside in:
//   1. A source, a request or an operator holds a cutlist, a frame time and render params.
//   2. ResolveProducerAtTime finds the node at the time and has it make a producer.
//   3. RenderFrameFromCutlist hashes, looks in the shared frame cache, and on a miss has the producer
//      render. A compositor's producer comes back here for each of its tracks and lays the frames over each
//      other with PerformIntrinsicOperations (IntrinsicOperations.h).
//   4. The result is brought to a format that the caller accepts (FrameConforming.h), and is cached if the
//      caller says so.
//
// What is cached is the frame as conformed, under the hash that the producer gave before.
//
// Ownership: nothing lives between calls but what lies in VF::SharedVideoFrameCache. A frame that comes
// back may be shared: who wants to write asks IsFrozen first. Errors: a render that fails gives an empty
// frame; a producer's own status is not passed on. Exceptions of producers pass through.
//
// Thread-safety: safe; no lock is held while a producer runs.
#pragma once

#include "CutlistRenderParams.h"
#include "MF/IRenderableCutlist.h"
#include "MF/IVideoFrame.h"
#include "RenderableNodeProducer.h"

#include <cstdint>
#include <vector>

namespace ML
{

// The producer of the node at the params' time. outNodeTimes are the params' times in node time; they
// are written only where there is a node. A failing status of the cutlist is returned as it is; no node,
// and a node that gives no producers, are 0 with an empty outProducer.
std::int32_t ResolveProducerAtTime(const MF::IRenderableCutlistRef& inCutlist,
                                   const CutlistRenderParams& inRenderParams,
                                   IRenderableNodeProducerRef& outProducer, MF::FrameTime& outNodeTimes);

// The key of the frame at the params' time. inBaseHash is what the caller wants mixed in first. Where
// nothing produces a frame it is the hash of the black frame, seeded with inBaseHash.
void ComputeFrameHash(TVK::Guid& outHash, const MF::IRenderableCutlistRef& inCutlist,
                      const CutlistRenderParams& inRenderParams, const TVK::Guid& inBaseHash);

// Appends what a render of the params' time would want ready. Says nothing of failures.
void PrefetchFromCutlist(const MF::IRenderableCutlistRef& inCutlist,
                         const CutlistRenderParams& inRenderParams,
                         std::vector<IRenderableNodePrefetchRef>& ioItems);

// The producer's frame at inFrameTime (node time), from the cache or rendered. Without a producer the
// black frame, in the params' format whatever is accepted. inAcceptedFormats may hold the wildcard; an
// empty list means the params' format. inStoreInCache: a rendered frame is frozen and cached; a frame
// found in the cache and converted is not.
MF::IVideoFrameRef RenderFrameFromCutlist(const IRenderableNodeProducerRef& inProducer,
                                          const CutlistRenderParams& inRenderParams,
                                          const MF::FrameTime& inFrameTime,
                                          const std::vector<norviktypes::PixelFormat>& inAcceptedFormats,
                                          bool inStoreInCache);

// Transparent black at render size, shared by all who ask for the same size, aspect and format. Empty if
// no frame of that kind can be made.
MF::IVideoFrameRef GetBlackVideoFrame(const CutlistRenderParams& inRenderParams);

// What stands for that frame in a hash that goes on from inBaseHash; with a zero base, its key in the cache.
TVK::Guid HashOfBlackVideoFrame(const CutlistRenderParams& inRenderParams, const TVK::Guid& inBaseHash);

} // namespace ML
