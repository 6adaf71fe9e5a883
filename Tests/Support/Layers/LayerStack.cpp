#include "Tests/Support/Layers/LayerStack.h"

#include "CutlistRenderer.h"
#include "FieldOperations.h"
#include "IntrinsicOperations.h"
#include "RenderableCutlistImpl.h"
#include "RenderableNodeCommonImpl.h"
#include "Tests/Support/Layers/MixRenderParams.h"

namespace TestSupport
{

namespace
{

using ML::CutlistRenderParams;
using ML::NodeIntrinsicParameters;

// One layer at one time.
struct Layer
{
    ML::IRenderableNodeProducerRef mProducer;
    NodeIntrinsicParameters mFirst;
    NodeIntrinsicParameters mSecond;
};

NodeIntrinsicParameters IntrinsicsOf(const MF::IRenderableNodeRef& inNode,
                                     const norviktypes::TickTime& inTime, const CutlistRenderParams& inParams)
{
    NodeIntrinsicParameters record;
    const ML::IRenderableNodeIntrinsicParameterProviderRef provider(inNode);
    if (!provider || provider->GetIntrinsicParameters(inTime, inParams, record) < 0)
    {
        record = {};
    }
    return record;
}

void MixIntrinsics(TVK::HashValue& ioHash, const NodeIntrinsicParameters& inRecord)
{
    ioHash.Mix(&inRecord, offsetof(NodeIntrinsicParameters, highQualitySampling));
    ioHash.MixU8(inRecord.highQualitySampling);
}

bool IsLowerFieldAsked(const CutlistRenderParams& inParams, norviktypes::FieldType inFieldType)
{
    return inParams.mFieldToRender == 2 ? inFieldType == norviktypes::kFieldType_UpperFirst
                                        : inFieldType == norviktypes::kFieldType_LowerFirst;
}

class LayerStackProducer final : public TVK::Implements<LayerStackProducer, ML::IRenderableNodeProducer>
{
public:
    explicit LayerStackProducer(std::vector<Layer> inLayers) : mLayers(std::move(inLayers)) {}

    std::int32_t GetFrame(const MF::FrameTime& inTime, const CutlistRenderParams& inParams,
                          MF::IVideoFrameRef& outFrame) override
    {
        MF::IVideoFrameRef frame;
        for (const Layer& layer : mLayers)
        {
            frame = LayOver(frame, layer, inTime, inParams);
        }
        if (!frame)
        {
            frame = ML::GetBlackVideoFrame(inParams);
        }
        outFrame = TakeField(frame, inParams);
        return outFrame ? TVK::kStatus_OK : MF::kStatus_NoSuchEntry;
    }

    void GetFrameHash(TVK::Guid& outHash, const MF::FrameTime& inTime, const CutlistRenderParams& inParams,
                      const TVK::Guid& inBaseHash) override
    {
        TVK::HashValue hash(inBaseHash);
        hash.MixText("LayerStackProducer");
        MixRenderParams(hash, inTime, inParams);
        for (const Layer& layer : mLayers)
        {
            TVK::Guid layersHash;
            layer.mProducer->GetFrameHash(layersHash, inTime, inParams, TVK::Guid());
            hash.MixGuid(layersHash);
            MixIntrinsics(hash, layer.mFirst);
            MixIntrinsics(hash, layer.mSecond);
        }
        outHash = hash.AsGuid();
    }

private:
    static MF::IVideoFrameRef LayOver(const MF::IVideoFrameRef& inLower, const Layer& inLayer,
                                      const MF::FrameTime& inTime, const CutlistRenderParams& inParams)
    {
        const MF::IVideoFrameRef frame = ML::RenderFrameFromCutlist(inLayer.mProducer, inParams, inTime,
                                                                    {norviktypes::kPixelFormat_Any}, true);
        if (!frame)
        {
            return inLower;
        }
        return inLower
                   ? ML::PerformIntrinsicOperations(frame, inLayer.mFirst, inLayer.mSecond, inLower, inParams)
                   : ML::ApplyIntrinsicsIfNeeded(frame, inLayer.mFirst, inLayer.mSecond, inParams);
    }

    static MF::IVideoFrameRef TakeField(const MF::IVideoFrameRef& inFrame,
                                        const CutlistRenderParams& inParams)
    {
        if (!inFrame || inParams.mFieldToRender == 0 || !norviktypes::IsInterlaced(inFrame->GetFieldType()))
        {
            return inFrame;
        }
        return ML::DeinterlaceFrame(inFrame, inParams.mDeinterlaceQuality,
                                    IsLowerFieldAsked(inParams, inFrame->GetFieldType()), inParams, false);
    }

    const std::vector<Layer> mLayers;
};

class LayerStackNode final
    : public TVK::Extends<ML::RenderableNodeCommonImpl, ML::IRenderableNodeProducerProvider>
{
public:
    norvik::utility::ImmutableString GetNodeType() const override
    {
        return norvik::utility::ImmutableString::CreateStatic("LayerStackNode");
    }

    ML::IRenderableNodeProducerRef GetProducerForFrame(const MF::FrameTime& inTime,
                                                       const CutlistRenderParams& inParams) override
    {
        std::vector<Layer> layers;
        for (const Input& input : Inputs())
        {
            const ML::IRenderableNodeProducerProviderRef provider(input.first);
            layers.push_back({provider->GetProducerForFrame(inTime, inParams),
                              IntrinsicsOf(input.first, inTime.mFirstTime, inParams),
                              IntrinsicsOf(input.first, inTime.mSecondTime, inParams)});
        }
        return ML::IRenderableNodeProducerRef(new LayerStackProducer(std::move(layers)));
    }
};

} // namespace

MF::IRenderableNodeRef CreateLayerStack(const std::vector<MF::IRenderableNodeRef>& inLayers)
{
    const TVK::InterfaceRef<LayerStackNode> node(new LayerStackNode);
    for (const MF::IRenderableNodeRef& layer : inLayers)
    {
        node->AppendInput(layer, norviktypes::kTime_Zero);
    }
    node->Finalize();
    return MF::IRenderableNodeRef(node.get());
}

MF::IRenderableCutlistRef CutlistOfNode(const MF::IRenderableNodeRef& inNode,
                                        const norviktypes::TickTime& inDuration)
{
    const ML::IMutableCutlistRef cutlist = ML::CreateMutableCutlist();
    cutlist->AddSegment(norviktypes::kTime_Zero, inDuration, norviktypes::kTime_Zero, inNode);
    cutlist->Finalize();
    return MF::IRenderableCutlistRef(cutlist);
}

} // namespace TestSupport
