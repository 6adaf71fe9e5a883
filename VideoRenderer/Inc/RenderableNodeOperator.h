// What changes a frame on its way up: operators, which effects hand out for one frame.
//
// Thread-safety: providers are frozen nodes and safe; an operator, and the handle to what lies beneath it,
// are used by one thread at a time.
#pragma once

#include "CutlistRenderParams.h"
#include "MF/IVideoFrame.h"
#include "ML/SubTreeRender.h"

#include <cstdint>

namespace ML
{

class IRenderableNodeOperator : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kRenderableNodeOperator;

    // Gives inFrame changed, as outFrame; negative on failure. inSubTree may be empty.
    virtual std::int32_t ApplyToFrame(const MF::FrameTime& inClipTime, const MF::FrameTime& inSequenceTime,
                                      const CutlistRenderParams& inRenderParams,
                                      const MF::IVideoFrameRef& inFrame, const SubTreeRenderRef& inSubTree,
                                      MF::IVideoFrameRef& outFrame) = 0;
    // As a producer's: inBaseHash covers the frame that comes up the chain.
    virtual void GetFrameHash(TVK::Guid& outHash, const MF::FrameTime& inFrameTime,
                              const CutlistRenderParams& inRenderParams, const TVK::Guid& inBaseHash) = 0;
};
using IRenderableNodeOperatorRef = TVK::InterfaceRef<IRenderableNodeOperator>;

class IRenderableNodeOperatorProvider : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kRenderableNodeOperatorProvider;

    // Empty if nothing is to be done to the frame.
    virtual IRenderableNodeOperatorRef GetOperatorForFrame(const MF::FrameTime& inFrameTime,
                                                           const CutlistRenderParams& inRenderParams) = 0;
};
using IRenderableNodeOperatorProviderRef = TVK::InterfaceRef<IRenderableNodeOperatorProvider>;

} // namespace ML
