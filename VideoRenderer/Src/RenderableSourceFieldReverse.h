// A source whose fields change places, in time and on their lines: the picture moves on as it did.
//
// Thread-safety: safe.
#pragma once

#include "RenderableSourceDecorator.h"

namespace ML
{

class RenderableSourceFieldReverse final : public RenderableSourceDecorator<RenderableSourceFieldReverse>
{
public:
    explicit RenderableSourceFieldReverse(const IRenderableSourceRef& inSource);

    void ConformFrameTime(const MF::FrameTime& inTime, const CutlistRenderParams& inRenderParams,
                          MF::FrameTime& outTime) override;
    void CollectPrefetchItems(const MF::FrameTime& inTime, const CutlistRenderParams& inRenderParams,
                              std::vector<IRenderableNodePrefetchRef>& ioItems) override;
    void Render(const MF::FrameTime& inTime, const CutlistRenderParams& inRenderParams,
                MF::IVideoFrameRef& outFrame) override;
};

} // namespace ML
