// A source whose fields are taken in the other order of time; their lines stay.
//
// Thread-safety: safe.
#pragma once

#include "RenderableSourceDecorator.h"

namespace ML
{

class RenderableSourceReverseFields final : public RenderableSourceDecorator<RenderableSourceReverseFields>
{
public:
    explicit RenderableSourceReverseFields(const IRenderableSourceRef& inSource);

    void ConformFrameTime(const MF::FrameTime& inTime, const CutlistRenderParams& inRenderParams,
                          MF::FrameTime& outTime) override;
    void CollectPrefetchItems(const MF::FrameTime& inTime, const CutlistRenderParams& inRenderParams,
                              std::vector<IRenderableNodePrefetchRef>& ioItems) override;
    void Render(const MF::FrameTime& inTime, const CutlistRenderParams& inRenderParams,
                MF::IVideoFrameRef& outFrame) override;
};

} // namespace ML
