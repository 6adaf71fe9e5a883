#include "RenderableNodeSubtreeImpl.h"

#include "CutlistRenderer.h"
#include "IntrinsicOperations.h"
#include "MF/PixelFormats.h"
#include "RenderableNodeParameters.h"
#include "TVK/Allocated.h"

namespace ML
{

namespace
{

using norviktypes::TickTime;

NodeIntrinsicParameters IntrinsicsOfField(const IRenderableNodeIntrinsicParameterProviderRef& inProvider,
                                          const TickTime& inFieldTime, const CutlistRenderParams& inParams)
{
    NodeIntrinsicParameters record;
    return inProvider->GetIntrinsicParameters(inFieldTime, inParams, record) < 0 ? kDefaultIntrinsicParameters
                                                                                 : record;
}

class RenderableNodeSubtreeImpl final : public TVK::Implements<RenderableNodeSubtreeImpl, SubTreeRender>
{
public:
    RenderableNodeSubtreeImpl(const CutlistRenderParams& inRenderParams,
                              const IRenderableNodeProducerProviderRef& inProvider,
                              const MF::FrameTime& inFrameTime, const TickTime& inTimeOffset)
        : mRenderParams(inRenderParams)
        , mProvider(inProvider)
        , mFrameTime(inFrameTime)
        , mTimeOffset(inTimeOffset)
    {
    }

    void RenderFrame(const TickTime& inTime, MF::IVideoFrameRef& outFrame, bool inBlackIfEmpty) override;

private:
    // The request in the chain's time, its fields as far apart and in the same order as those of the render.
    MF::FrameTime ChainTimeOf(const TickTime& inTime) const;

    const CutlistRenderParams mRenderParams;
    const IRenderableNodeProducerProviderRef mProvider;
    const MF::FrameTime mFrameTime;
    const TickTime mTimeOffset;
};

MF::FrameTime RenderableNodeSubtreeImpl::ChainTimeOf(const TickTime& inTime) const
{
    const TickTime local = inTime - mTimeOffset;
    const TickTime& first = mRenderParams.mFrameTime.mFirstTime;
    const TickTime& second = mRenderParams.mFrameTime.mSecondTime;
    return first < second ? MF::FrameTime(local, local + (second - first))
                          : MF::FrameTime(local + (first - second), local);
}

void RenderableNodeSubtreeImpl::RenderFrame(const TickTime& inTime, MF::IVideoFrameRef& outFrame,
                                            bool inBlackIfEmpty)
{
    outFrame.reset();
    CutlistRenderParams params = mRenderParams;
    params.mFrameTime = params.mFrameTime - (mFrameTime.mFirstTime - inTime);
    if (!mProvider)
    {
        if (inBlackIfEmpty)
        {
            outFrame = GetBlackVideoFrame(params);
        }
        return;
    }
    const MF::FrameTime chainTime = ChainTimeOf(inTime);
    outFrame = RenderFrameFromCutlist(mProvider->GetProducerForFrame(chainTime, params), params, chainTime,
                                      {MF::kPixelFormat_Any}, true);
    const IRenderableNodeIntrinsicParameterProviderRef intrinsics(mProvider);
    if (outFrame && intrinsics)
    {
        const auto first = IntrinsicsOfField(intrinsics, chainTime.mFirstTime, params);
        const auto second = IntrinsicsOfField(intrinsics, chainTime.mSecondTime, params);
        outFrame = ApplyIntrinsicsIfNeeded(outFrame, first, second, params);
    }
}

} // namespace

SubTreeRenderRef CreateSubTreeRender(const CutlistRenderParams& inRenderParams,
                                     const IRenderableNodeProducerProviderRef& inProvider,
                                     const MF::FrameTime& inFrameTime,
                                     const norviktypes::TickTime& inTimeOffset)
{
    return SubTreeRenderRef(
        new RenderableNodeSubtreeImpl(inRenderParams, inProvider, inFrameTime, inTimeOffset));
}

} // namespace ML
