#include "RenderableSourceFieldReverse.h"

#include "VF/VideoFrameManipulators.h"
#include "WholeFrameOperation.h"

namespace ML
{

RenderableSourceFieldReverse::RenderableSourceFieldReverse(const IRenderableSourceRef& inSource)
    : RenderableSourceDecorator(inSource)
{
}

void RenderableSourceFieldReverse::ConformFrameTime(const MF::FrameTime& inTime,
                                                    const CutlistRenderParams& inRenderParams,
                                                    MF::FrameTime& outTime)
{
    outTime = Swapped(ConformedBy(mSource, inTime, inRenderParams));
}

void RenderableSourceFieldReverse::CollectPrefetchItems(const MF::FrameTime& inTime,
                                                        const CutlistRenderParams& inRenderParams,
                                                        std::vector<IRenderableNodePrefetchRef>& ioItems)
{
    RenderableSourceDecorator::CollectPrefetchItems(Swapped(inTime), inRenderParams, ioItems);
}

void RenderableSourceFieldReverse::Render(const MF::FrameTime& inTime,
                                          const CutlistRenderParams& inRenderParams,
                                          MF::IVideoFrameRef& outFrame)
{
    mSource->Render(Swapped(inTime), inRenderParams, outFrame);
    const norviktypes::FieldType order = inTime.Order();
    if (!norviktypes::IsInterlaced(order))
    {
        return;
    }
    outFrame = PassPlanesThrough(&VF::VideoFrameManipulators::SwapFields, outFrame, inRenderParams);
    outFrame->SetFieldType(order);
}

IRenderableSourceRef FieldReverseSource(const IRenderableSourceRef& inSource)
{
    return MakeSource<RenderableSourceFieldReverse>(inSource);
}

} // namespace ML
