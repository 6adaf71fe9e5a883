#include "Tests/Support/Layers/MovingLayers.h"

#include "IR/BlendModes.h"
#include "RenderableNodeSolidColorImpl.h"
#include "Tests/Support/Layers/LayerNode.h"
#include "Tests/Support/Layers/LayerStack.h"
#include "Tests/Support/Layers/Shapes.h"

namespace TestSupport
{

namespace
{

constexpr Bgra kBackdrop = 0xFF345A7A;
constexpr Bgra kSand = 0xFFF0D8A8;
constexpr Bgra kClay = 0xFF8C4C3A;
constexpr Bgra kRose = 0xFFF06090;
constexpr Bgra kGold = 0xFFD0A030;

using ML::NodeIntrinsicParameters;

float Seconds(const norviktypes::TickTime& inTime)
{
    return static_cast<float>(inTime.AsSeconds());
}

MF::IRenderableNodeRef Backdrop()
{
    const TVK::InterfaceRef<ML::RenderableNodeSolidColorImpl> node(new ML::RenderableNodeSolidColorImpl());
    node->SetBGRAColor(kBackdrop);
    node->Finalize();
    return node->AsNode();
}

MF::IRenderableNodeRef TurningChecks()
{
    return CreateLayerNode(
        "turning checks",
        [](const MF::FrameTime&, const ML::CutlistRenderParams& params, MF::IVideoFrameRef& frame)
        {
            frame = PaintChecks(params.mWidth / 2, params.mHeight / 2, kSand, kClay);
            return 0;
        },
        [](const norviktypes::TickTime& time, NodeIntrinsicParameters& record)
        {
            record.positionX = 0.4f;
            record.rotation = 75.0 * time.AsSeconds();
            record.scaleX = record.scaleY = 1.0f + 0.2f * Seconds(time);
            record.opacity = 0.9f;
            return 0;
        });
}

MF::IRenderableNodeRef MultipliedDisc()
{
    return CreateLayerNode(
        "multiplied disc",
        [](const MF::FrameTime&, const ML::CutlistRenderParams& params, MF::IVideoFrameRef& frame)
        {
            frame = PaintSoftDisc(params.mHeight * 5 / 8, params.mHeight * 5 / 8, kRose);
            return 0;
        },
        [](const norviktypes::TickTime& time, NodeIntrinsicParameters& record)
        {
            record.positionX = 0.25f + 0.5f * Seconds(time);
            record.positionY = 0.45f;
            record.blendMode = kIR_Blend_Multiply;
            return 0;
        });
}

MF::IRenderableNodeRef AddedRing()
{
    return CreateLayerNode(
        "added ring",
        [](const MF::FrameTime&, const ML::CutlistRenderParams& params, MF::IVideoFrameRef& frame)
        {
            frame = PaintRing(params.mHeight * 3 / 4, params.mHeight * 3 / 4, kGold);
            return 0;
        },
        [](const norviktypes::TickTime& time, NodeIntrinsicParameters& record)
        {
            record.positionX = 0.75f - 0.3f * Seconds(time);
            record.positionY = 0.6f;
            record.scaleX = 0.5f + 0.5f * Seconds(time);
            record.scaleY = 0.9f;
            record.rotation = -90.0 * time.AsSeconds();
            record.blendMode = kIR_Blend_LinearDodge;
            record.blendOpacity = 0.7f;
            return 0;
        });
}

} // namespace

MF::IRenderableCutlistRef CreateMovingLayers()
{
    return CutlistOfNode(CreateLayerStack({Backdrop(), TurningChecks(), MultipliedDisc(), AddedRing()}),
                         norviktypes::TickTime::FromSeconds(1.0));
}

} // namespace TestSupport
