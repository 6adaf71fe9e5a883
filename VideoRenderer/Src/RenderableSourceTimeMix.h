// A source played at another speed, without blending: one frame for each field of the request, woven.
//
// Thread-safety: safe.
#pragma once

#include "RenderableSourceDecorator.h"

namespace ML
{

class RenderableSourceTimeMix final : public RenderableSourceDecorator<RenderableSourceTimeMix>
{
public:
    explicit RenderableSourceTimeMix(const IRenderableSourceRef& inSource);

    // The request itself where the source has no frame of exactly these times; its times are then aligned to
    // the moments of a source that has a frame grid.
    void ConformFrameTime(const MF::FrameTime& inTime, const CutlistRenderParams& inRenderParams,
                          MF::FrameTime& outTime) override;
    void CollectPrefetchItems(const MF::FrameTime& inTime, const CutlistRenderParams& inRenderParams,
                              std::vector<IRenderableNodePrefetchRef>& ioItems) override;
    void Render(const MF::FrameTime& inTime, const CutlistRenderParams& inRenderParams,
                MF::IVideoFrameRef& outFrame) override;

private:
    // The source's frame for each field.
    struct FrameTimes
    {
        MF::FrameTime mOfFirst;
        MF::FrameTime mOfSecond;
    };
    FrameTimes FramesOf(const MF::FrameTime& inTime, const CutlistRenderParams& inRenderParams) const;
};

} // namespace ML
