// A source that weaves each two successive frames of another into one frame of fields.
//
// Thread-safety: safe.
#pragma once

#include "RenderableSourceDecorator.h"

namespace ML
{

class RenderableSourceInterlaceConsecutive final
    : public RenderableSourceDecorator<RenderableSourceInterlaceConsecutive>
{
public:
    explicit RenderableSourceInterlaceConsecutive(const IRenderableSourceRef& inSource);

    void ConformFrameTime(const MF::FrameTime& inTime, const CutlistRenderParams& inRenderParams,
                          MF::FrameTime& outTime) override;
    void CollectPrefetchItems(const MF::FrameTime& inTime, const CutlistRenderParams& inRenderParams,
                              std::vector<IRenderableNodePrefetchRef>& ioItems) override;
    void Render(const MF::FrameTime& inTime, const CutlistRenderParams& inRenderParams,
                MF::IVideoFrameRef& outFrame) override;
    // A field lasts as long as a frame of the source inside, as that one's times run twice as fast.
    void GetFieldRate(norviktypes::FrameRate& outRate) override;

private:
    // The frames that the two fields are taken from, and when they were asked for.
    struct InnerTimes
    {
        MF::FrameTime mRequested;
        MF::FrameTime mOfFirst;
        MF::FrameTime mOfSecond;
    };
    InnerTimes FindInnerTimes(const MF::FrameTime& inTime, const CutlistRenderParams& inRenderParams) const;
};

} // namespace ML
