#include "RenderableSourceRemoveFlicker.h"

#include "VF/VideoFrameManipulators.h"
#include "WholeFrameOperation.h"

namespace ML
{

RenderableSourceRemoveFlicker::RenderableSourceRemoveFlicker(const IRenderableSourceRef& inSource)
    : RenderableSourceDecorator(inSource)
{
}

void RenderableSourceRemoveFlicker::ConformFrameTime(const MF::FrameTime& inTime,
                                                     const CutlistRenderParams& inRenderParams,
                                                     MF::FrameTime& outTime)
{
    outTime = MF::FrameTime(ConformedBy(mSource, inTime, inRenderParams).Earlier());
}

void RenderableSourceRemoveFlicker::Render(const MF::FrameTime& inTime,
                                           const CutlistRenderParams& inRenderParams,
                                           MF::IVideoFrameRef& outFrame)
{
    mSource->Render(ConformedBy(mSource, inTime, inRenderParams), inRenderParams, outFrame);
    outFrame = PassThrough(&VF::VideoFrameManipulators::VerticalConvolve, outFrame, inRenderParams);
}

IRenderableSourceRef RemoveFlickerFromSource(const IRenderableSourceRef& inSource)
{
    return MakeSource<RenderableSourceRemoveFlicker>(inSource);
}

} // namespace ML
