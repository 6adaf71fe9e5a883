// A source of progressive frames, each made of the field that plays at the time asked for.
//
// Thread-safety: safe.
#pragma once

#include "RenderableSourceDecorator.h"

namespace ML
{

class RenderableSourceDeinterlace final : public RenderableSourceDecorator<RenderableSourceDeinterlace>
{
public:
    explicit RenderableSourceDeinterlace(const IRenderableSourceRef& inSource);

    void ConformFrameTime(const MF::FrameTime& inTime, const CutlistRenderParams& inRenderParams,
                          MF::FrameTime& outTime) override;
    void Render(const MF::FrameTime& inTime, const CutlistRenderParams& inRenderParams,
                MF::IVideoFrameRef& outFrame) override;
};

} // namespace ML
