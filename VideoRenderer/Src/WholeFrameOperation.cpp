#include "WholeFrameOperation.h"

#include "FrameConforming.h"
#include "FrameImage.h"
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

} // namespace

MF::IVideoFrameRef PassThrough(WholeFrameOperation inOperation, const MF::IVideoFrameRef& inFrame,
                               const CutlistRenderParams& inRenderParams)
{
    const MF::IVideoFrameRef source =
        MakeAddressableAtRenderSize(inFrame, ParamsInPackedFormat(inFrame, inRenderParams));
    MF::IVideoFrameRef target;
    ThrowIfFailed(source->CreateCompatibleFrame(target));
    ThrowIfFailed(inOperation(source, target));
    return target;
}

} // namespace ML
