#include "WholeFrameOperation.h"

#include "FrameConforming.h"
#include "FrameImage.h"
#include "PlanarFields.h"
#include "RenderableSourceTools.h"

namespace ML
{

namespace
{

// A planar format that the caller wishes for is made at the end; in between it would be no help.
CutlistRenderParams ParamsInPackedFormat(const MF::IVideoFrameRef& inFrame,
                                         const CutlistRenderParams& inRenderParams)
{
    CutlistRenderParams params = inRenderParams;
    if (norviktypes::IsSubsampled(inRenderParams.mPixelFormat.mProperties))
    {
        params.mPixelFormat =
            norviktypes::Select4444PixelFormat(FormatOfFrame(inFrame), inRenderParams.mRenderQuality);
    }
    return params;
}

MF::IVideoFrameRef Applied(WholeFrameOperation inOperation, const MF::IVideoFrameRef& inSource)
{
    MF::IVideoFrameRef target;
    ThrowIfFailed(inSource->CreateCompatibleFrame(target));
    ThrowIfFailed(inOperation(inSource, target));
    return target;
}

} // namespace

MF::IVideoFrameRef PassThrough(WholeFrameOperation inOperation, const MF::IVideoFrameRef& inFrame,
                               const CutlistRenderParams& inRenderParams)
{
    return Applied(inOperation,
                   MakeAddressableAtRenderSize(inFrame, ParamsInPackedFormat(inFrame, inRenderParams)));
}

MF::IVideoFrameRef PassPlanesThrough(WholeFrameOperation inOperation, const MF::IVideoFrameRef& inFrame,
                                     const CutlistRenderParams& inRenderParams)
{
    return HasWishedPlanes(inFrame, inRenderParams) ? Applied(inOperation, inFrame)
                                                    : PassThrough(inOperation, inFrame, inRenderParams);
}

} // namespace ML
