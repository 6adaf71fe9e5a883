#include "RenderableSourceDeinterlace.h"

#include "FieldOperations.h"
#include "FrameImage.h"

namespace ML
{

namespace
{

// A frame keeps the size that its source gave it; scaling is another decorator's work.
CutlistRenderParams ParamsAtSizeOf(const MF::IVideoFrameRef& inFrame, const CutlistRenderParams& inParams)
{
    const TVK::Rect bounds = BoundsOfFrame(inFrame);
    CutlistRenderParams params = inParams;
    params.mWidth = static_cast<std::uint32_t>(bounds.Width());
    params.mHeight = static_cast<std::uint32_t>(bounds.Height());
    inFrame->GetPixelAspectRatio(params.mPixelAspectRatio);
    return params;
}

} // namespace

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
