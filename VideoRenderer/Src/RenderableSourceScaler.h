// The source that brings frames to the size, the pixel aspect and the field order of the render.
//
// Fields are scaled apart from each other, so that lines of two moments are never mixed. Where the picture
// gets lower than the one inside, a progressive request is served by a single field: of two moments blended
// into one, none would be right.
//
// Thread-safety: safe.
#pragma once

#include "RenderableSourceDecorator.h"

namespace ML
{

class RenderableSourceScaler final : public RenderableSourceDecorator<RenderableSourceScaler>
{
public:
    explicit RenderableSourceScaler(const IRenderableSourceRef& inSource);

    void ConformFrameTime(const MF::FrameTime& inTime, const CutlistRenderParams& inRenderParams,
                          MF::FrameTime& outTime) override;
    void Render(const MF::FrameTime& inTime, const CutlistRenderParams& inRenderParams,
                MF::IVideoFrameRef& outFrame) override;
};

} // namespace ML
