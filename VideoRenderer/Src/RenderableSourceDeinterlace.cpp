#include "RenderableSourceDeinterlace.h"

#include "FieldOperations.h"
#include "FrameConforming.h"

namespace ML
{

RenderableSourceDeinterlace::RenderableSourceDeinterlace(const IRenderableSourceRef& inSource)
    : RenderableSourceDecorator(inSource)
{
}

void RenderableSourceDeinterlace::ConformFrameTime(const MF::FrameTime& inTime,
                                                   const CutlistRenderParams& inRenderParams,
                                                   MF::FrameTime& outTime)
{
    const MF::FrameTime conformed = ConformedBy(mSource, MF::FrameTime(inTime.Earlier()), inRenderParams);
    outTime = MF::FrameTime(conformed.Earlier());
}

void RenderableSourceDeinterlace::Render(const MF::FrameTime& inTime,
                                         const CutlistRenderParams& inRenderParams,
                                         MF::IVideoFrameRef& outFrame)
{
    const MF::FrameTime conformed = ConformedBy(mSource, inTime, inRenderParams);
    mSource->Render(conformed, inRenderParams, outFrame);
    if (!norviktypes::IsInterlaced(conformed.Order()))
    {
        return;
    }
    const bool useLowerField = conformed.mSecondTime == inTime.mSecondTime;
    outFrame = DeinterlaceFrame(outFrame, inRenderParams.mDeinterlaceQuality, useLowerField,
                                ParamsAtSizeOf(outFrame, inRenderParams), false);
}

IRenderableSourceRef DeinterlaceSource(const IRenderableSourceRef& inSource)
{
    return MakeSource<RenderableSourceDeinterlace>(inSource);
}

} // namespace ML
