#include "CutlistRenderer.h"
#include "EffectLayers.h"
#include "FrameImage.h"
#include "IntrinsicOperations.h"
#include "ParamsHash.h"
#include "PluginRender.h"
#include "TVK/Allocated.h"

#include <algorithm>

namespace ML
{

namespace
{

// A track that is looked at shows the same whichever tracks the render shows.
CutlistRenderParams ParamsOfLayer(const CutlistRenderParams& inParams)
{
    CutlistRenderParams params = inParams;
    params.mRenderContext = CutlistRenderParams().mRenderContext;
    return params;
}

// What plays on a layer at the params' time. Without a producer nothing does.
struct LayerMoment
{
    std::int32_t mStatus = TVK::kStatus_OK;
    IRenderableNodeProducerRef mProducer;
    MF::FrameTime mNodeTimes;
    NodeIntrinsicParameters mIntrinsics[2];
};

LayerMoment MomentOf(const EffectLayer& inLayer, const CutlistRenderParams& inParams)
{
    LayerMoment moment;
    MF::IRenderableNodeRef node;
    moment.mStatus = inLayer.mCutlist->FindNodeForTime(inParams.mFrameTime, node, moment.mNodeTimes);
    const IRenderableNodeProducerProviderRef provider(node);
    if (moment.mStatus < 0 || !provider)
    {
        return moment;
    }
    moment.mProducer = provider->GetProducerForFrame(moment.mNodeTimes, inParams);
    ReadIntrinsics(IRenderableNodeIntrinsicParameterProviderRef(node), moment.mNodeTimes, inParams,
                   moment.mIntrinsics);
    return moment;
}

// Remembers how its producer did, as the cutlist renderer keeps that to itself: a matte that fails must not
// look like one that isn't there.
class WatchedProducer final : public TVK::Implements<WatchedProducer, IRenderableNodeProducer>
{
public:
    explicit WatchedProducer(const IRenderableNodeProducerRef& inProducer) : mProducer(inProducer) {}

    std::int32_t GetFrame(const MF::FrameTime& inFrameTime, const CutlistRenderParams& inParams,
                          MF::IVideoFrameRef& outFrame) override
    {
        mStatus = mProducer->GetFrame(inFrameTime, inParams, outFrame);
        return mStatus;
    }
    void GetFrameHash(TVK::Guid& outHash, const MF::FrameTime& inFrameTime,
                      const CutlistRenderParams& inParams, const TVK::Guid& inBaseHash) override
    {
        mProducer->GetFrameHash(outHash, inFrameTime, inParams, inBaseHash);
    }
    std::int32_t Status() const noexcept { return mStatus; }

private:
    const IRenderableNodeProducerRef mProducer;
    std::int32_t mStatus = TVK::kStatus_OK;
};

class LayerRenderImpl final : public TVK::Implements<LayerRenderImpl, LayerRender>
{
public:
    LayerRenderImpl(const std::shared_ptr<const EffectLayers>& inLayers, const CutlistRenderParams& inParams,
                    const norviktypes::PixelFormat& inFormat)
        : mLayers(inLayers)
        , mParams(ParamsOfLayer(inParams))
        , mFormat(inFormat)
    {
    }

    std::int32_t RenderLayer(std::uint32_t inParameter, MF::IVideoFrameRef& outFrame) override;

private:
    std::int32_t RenderMoment(const LayerMoment& inMoment, MF::IVideoFrameRef& outFrame) const;
    std::int32_t Place(const LayerMoment& inMoment, MF::IVideoFrameRef& ioFrame) const;

    const std::shared_ptr<const EffectLayers> mLayers;
    const CutlistRenderParams mParams;
    const norviktypes::PixelFormat mFormat;
};

std::int32_t LayerRenderImpl::RenderLayer(std::uint32_t inParameter, MF::IVideoFrameRef& outFrame)
{
    outFrame.reset();
    const auto layer = std::find_if(mLayers->begin(), mLayers->end(),
                                    [&](const EffectLayer& it) { return it.mParameter == inParameter; });
    if (layer == mLayers->end())
    {
        return TVK::kStatus_OK;
    }
    const LayerMoment moment = MomentOf(*layer, mParams);
    return moment.mProducer ? RenderMoment(moment, outFrame) : moment.mStatus;
}

std::int32_t LayerRenderImpl::RenderMoment(const LayerMoment& inMoment, MF::IVideoFrameRef& outFrame) const
{
    const TVK::InterfaceRef<WatchedProducer> producer(new WatchedProducer(inMoment.mProducer));
    outFrame = RenderFrameFromCutlist(producer->AsProducer(), mParams, inMoment.mNodeTimes,
                                      {norviktypes::kPixelFormat_Any}, true);
    return outFrame ? Place(inMoment, outFrame) : producer->Status();
}

std::int32_t LayerRenderImpl::Place(const LayerMoment& inMoment, MF::IVideoFrameRef& ioFrame) const
{
    CutlistRenderParams params = mParams;
    params.mPixelFormat = mFormat;
    ioFrame = ApplyIntrinsicsIfNeeded(ioFrame, inMoment.mIntrinsics[0], inMoment.mIntrinsics[1], params);
    ioFrame = ioFrame ? ConformToOutput(params, ioFrame) : ioFrame;
    if (ioFrame && FormatOfFrame(ioFrame) == mFormat)
    {
        return TVK::kStatus_OK;
    }
    ioFrame.reset();
    return MF::kStatus_NoSuchEntry;
}

// The producer's hash covers its picture, not the place at which it lies.
void MixMoment(TVK::HashValue& ioHash, const LayerMoment& inMoment, const CutlistRenderParams& inParams)
{
    if (!inMoment.mProducer)
    {
        ioHash.MixGuid(TVK::Guid());
        return;
    }
    MixGeometry(ioHash, inMoment.mIntrinsics[0]);
    MixGeometry(ioHash, inMoment.mIntrinsics[1]);
    TVK::Guid hash;
    inMoment.mProducer->GetFrameHash(hash, inMoment.mNodeTimes, inParams, ioHash.AsGuid());
    ioHash = TVK::HashValue(hash);
}

} // namespace

void MixLayers(TVK::HashValue& ioHash, const EffectLayers& inLayers, const CutlistRenderParams& inParams)
{
    const CutlistRenderParams params = ParamsOfLayer(inParams);
    for (const EffectLayer& layer : inLayers)
    {
        ioHash.MixText("Layer");
        ioHash.MixU32(layer.mParameter);
        MixMoment(ioHash, MomentOf(layer, params), params);
    }
}

void PrefetchLayers(const EffectLayers& inLayers, const CutlistRenderParams& inParams,
                    std::vector<IRenderableNodePrefetchRef>& ioPrefetches)
{
    const CutlistRenderParams params = ParamsOfLayer(inParams);
    for (const EffectLayer& layer : inLayers)
    {
        PrefetchFromCutlist(layer.mCutlist, params, ioPrefetches);
    }
}

LayerRenderRef CreateLayerRender(const std::shared_ptr<const EffectLayers>& inLayers,
                                 const CutlistRenderParams& inParams,
                                 const norviktypes::PixelFormat& inFormat)
{
    return inLayers ? LayerRenderRef(new LayerRenderImpl(inLayers, inParams, inFormat)) : LayerRenderRef();
}

} // namespace ML
