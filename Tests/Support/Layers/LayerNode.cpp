#include "Tests/Support/Layers/LayerNode.h"

#include "Tests/Support/Layers/MixRenderParams.h"

namespace TestSupport
{

namespace
{

class LayerProducer final : public TVK::Implements<LayerProducer, ML::IRenderableNodeProducer>
{
public:
    LayerProducer(const TVK::Guid& inNodeHash, PictureFunction inPicture)
        : mNodeHash(inNodeHash)
        , mPicture(std::move(inPicture))
    {
    }

    std::int32_t GetFrame(const MF::FrameTime& inTime, const ML::CutlistRenderParams& inParams,
                          MF::IVideoFrameRef& outFrame) override
    {
        return mPicture(inTime, inParams, outFrame);
    }

    void GetFrameHash(TVK::Guid& outHash, const MF::FrameTime& inTime,
                      const ML::CutlistRenderParams& inParams, const TVK::Guid& inBaseHash) override
    {
        TVK::HashValue hash(inBaseHash);
        hash.MixText("LayerProducer");
        hash.MixGuid(mNodeHash);
        MixRenderParams(hash, inTime, inParams);
        outHash = hash.AsGuid();
    }

private:
    const TVK::Guid mNodeHash;
    const PictureFunction mPicture;
};

class LayerNode final : public TVK::Extends<ML::RenderableNodeCommonImpl, ML::IRenderableNodeProducerProvider,
                                            ML::IRenderableNodeIntrinsicParameterProvider>
{
public:
    LayerNode(PictureFunction inPicture, IntrinsicsFunction inIntrinsics)
        : mPicture(std::move(inPicture))
        , mIntrinsics(std::move(inIntrinsics))
    {
    }

    norvik::utility::ImmutableString GetNodeType() const override
    {
        return norvik::utility::ImmutableString::CreateStatic("LayerNode");
    }

    ML::IRenderableNodeProducerRef GetProducerForFrame(const MF::FrameTime&,
                                                       const ML::CutlistRenderParams&) override
    {
        return ML::IRenderableNodeProducerRef(new LayerProducer(GetHashValue(), mPicture));
    }

    std::int32_t GetIntrinsicParameters(const norviktypes::TickTime& inTime, const ML::CutlistRenderParams&,
                                        ML::NodeIntrinsicParameters& outRecord) override
    {
        outRecord = {};
        return mIntrinsics ? mIntrinsics(inTime, outRecord) : TVK::kStatus_OK;
    }

private:
    const PictureFunction mPicture;
    const IntrinsicsFunction mIntrinsics;
};

} // namespace

MF::IRenderableNodeRef CreateLayerNode(const std::string& inName, PictureFunction inPicture,
                                       IntrinsicsFunction inIntrinsics)
{
    const TVK::InterfaceRef<LayerNode> node(new LayerNode(std::move(inPicture), std::move(inIntrinsics)));
    node->SetCommonProperty(norvik::utility::ImmutableString::CreateStatic("LayerNode::Name"),
                            norvik::UTF8String(inName.data(), inName.size()), true);
    node->Finalize();
    return MF::IRenderableNodeRef(node.get());
}

} // namespace TestSupport
