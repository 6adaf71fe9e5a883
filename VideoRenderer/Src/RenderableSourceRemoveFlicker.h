// A source whose frames are filtered vertically against the flicker of thin lines.
//
// Thread-safety: safe.
#pragma once

#include "RenderableSourceDecorator.h"

namespace ML
{

class RenderableSourceRemoveFlicker final : public RenderableSourceDecorator<RenderableSourceRemoveFlicker>
{
public:
    explicit RenderableSourceRemoveFlicker(const IRenderableSourceRef& inSource);

    void ConformFrameTime(const MF::FrameTime& inTime, const CutlistRenderParams& inRenderParams,
                          MF::FrameTime& outTime) override;

    void Render(const MF::FrameTime& inTime, const CutlistRenderParams& inRenderParams,
                MF::IVideoFrameRef& outFrame) override;
};

} // namespace ML
