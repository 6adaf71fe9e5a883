#include "RenderableSourceReverseFields.h"

namespace ML
{

RenderableSourceReverseFields::RenderableSourceReverseFields(const IRenderableSourceRef& inSource)
    : RenderableSourceDecorator(inSource)
{
}

void RenderableSourceReverseFields::ConformFrameTime(const MF::FrameTime& inTime,
                                                     const CutlistRenderParams& inRenderParams,
                                                     MF::FrameTime& outTime)
{
    outTime = Swapped(ConformedBy(mSource, Swapped(inTime), inRenderParams));
}

void RenderableSourceReverseFields::CollectPrefetchItems(const MF::FrameTime& inTime,
                                                         const CutlistRenderParams& inRenderParams,
                                                         std::vector<IRenderableNodePrefetchRef>& ioItems)
{
    mSource->CollectPrefetchItems(Swapped(inTime), inRenderParams, ioItems);
}

void RenderableSourceReverseFields::Render(const MF::FrameTime& inTime,
                                           const CutlistRenderParams& inRenderParams,
                                           MF::IVideoFrameRef& outFrame)
{
    mSource->Render(Swapped(inTime), inRenderParams, outFrame);
}

IRenderableSourceRef ReverseFieldDominanceOfSource(const IRenderableSourceRef& inSource)
{
    return MakeSource<RenderableSourceReverseFields>(inSource);
}

} // namespace ML
