// A whole frame, from the cutlist down to the pixels.
#include "CutlistRenderer.h"

#include "IR/BlendModes.h"
#include "Tests/Support/FrameTools.h"
#include "Tests/Support/Layers/LayerNode.h"
#include "Tests/Support/Layers/LayerStack.h"
#include "Tests/Support/PixelMatchers.h"
#include "Tests/VideoRenderer/RenderParams.h"

#include <gtest/gtest.h>

#include <atomic>

namespace
{

using norviktypes::TickTime;
using Pixel = std::vector<std::uint8_t>;

constexpr norviktypes::PixelFormat kBGRA = norviktypes::kPixelFormat_BGRA_4444_8u;

// A layer of one colour that counts how often it is rendered.
MF::IRenderableNodeRef ColorLayer(const std::string& inName, std::uint32_t inWidth, std::uint32_t inHeight,
                                  const Pixel& inPixel, std::atomic<int>* ioRenders = nullptr,
                                  TestSupport::IntrinsicsFunction inIntrinsics = nullptr)
{
    return TestSupport::CreateLayerNode(
        inName,
        [=](const MF::FrameTime&, const ML::CutlistRenderParams& params, MF::IVideoFrameRef& frame)
        {
            frame = TestSupport::NewFilledFrame(kBGRA, inWidth, inHeight, inPixel);
            frame->SetFieldType(params.mFieldType);
            if (ioRenders)
            {
                ++*ioRenders;
            }
            return 0;
        },
        std::move(inIntrinsics));
}

MF::IRenderableNodeRef NothingLayer()
{
    return TestSupport::CreateLayerNode("nothing", [](const MF::FrameTime&, const ML::CutlistRenderParams&,
                                                      MF::IVideoFrameRef&) { return 0; });
}

MF::IVideoFrameRef RenderAt(const MF::IRenderableCutlistRef& inCutlist,
                            const ML::CutlistRenderParams& inParams)
{
    ML::IRenderableNodeProducerRef producer;
    MF::FrameTime times;
    EXPECT_EQ(0, ML::ResolveProducerAtTime(inCutlist, inParams, producer, times));
    return ML::RenderFrameFromCutlist(producer, inParams, times, {norviktypes::kPixelFormat_Any}, true);
}

MF::IVideoFrameRef RenderStack(const std::vector<MF::IRenderableNodeRef>& inLayers,
                               const ML::CutlistRenderParams& inParams)
{
    return RenderAt(TestSupport::CutlistOfNode(TestSupport::CreateLayerStack(inLayers), TickTime(1000)),
                    inParams);
}

class LayerStack : public testing::Test
{
protected:
    void SetUp() override { TestSupport::EmptyFrameCache(); }

    ML::CutlistRenderParams mParams = RenderParams(16, 8);
};

TEST_F(LayerStack, WithoutLayersIsTheBlackFrame)
{
    EXPECT_TRUE(RenderStack({}, mParams) == ML::GetBlackVideoFrame(mParams));
    EXPECT_TRUE(RenderStack({NothingLayer()}, mParams) == ML::GetBlackVideoFrame(mParams));
}

TEST_F(LayerStack, LiesFromTheBottomUp)
{
    const MF::IVideoFrameRef frame =
        RenderStack({ColorLayer("blue", 16, 8, {255, 0, 0, 255}), ColorLayer("red", 8, 4, {0, 0, 255, 255}),
                     NothingLayer(), ColorLayer("green", 4, 2, {0, 255, 0, 255})},
                    mParams);
    EXPECT_EQ((Pixel{255, 0, 0, 255}), TestSupport::PixelAt(frame, 0, 0));
    EXPECT_EQ((Pixel{0, 0, 255, 255}), TestSupport::PixelAt(frame, 4, 2));
    EXPECT_EQ((Pixel{0, 255, 0, 255}), TestSupport::PixelAt(frame, 7, 3));
}

TEST_F(LayerStack, BlendsWithWhatLiesBeneath)
{
    const auto multiplied = [](const TickTime&, ML::NodeIntrinsicParameters& record)
    {
        record.blendMode = kIR_Blend_Multiply;
        record.blendOpacity = 0.5f;
        return 0;
    };
    const MF::IVideoFrameRef frame =
        RenderStack({ColorLayer("bright", 16, 8, {200, 100, 255, 255}),
                     ColorLayer("dark", 16, 8, {0, 255, 51, 255}, nullptr, multiplied)},
                    mParams);
    // Half of the colour, half of the product.
    EXPECT_TRUE(TestSupport::IsFilledWith(frame, {100, 100, 153, 255}));
}

TEST_F(LayerStack, GivesASingleLayerThatFitsUntouched)
{
    const MF::IRenderableNodeRef layer = ColorLayer("fits", 16, 8, {1, 2, 3, 4});
    const MF::IVideoFrameRef own = RenderAt(TestSupport::CutlistOfNode(layer, TickTime(1000)), mParams);
    EXPECT_TRUE(own == RenderStack({layer}, mParams)) << "the cached frame of the layer itself";
}

TEST_F(LayerStack, RendersEachLayerOnceHoweverOftenItIsAskedFor)
{
    std::atomic<int> lower{0};
    std::atomic<int> upper{0};
    const auto cutlist = TestSupport::CutlistOfNode(
        TestSupport::CreateLayerStack({ColorLayer("lower", 16, 8, {9, 9, 9, 255}, &lower),
                                       ColorLayer("upper", 4, 4, {1, 1, 1, 255}, &upper)}),
        TickTime(1000));
    const MF::IVideoFrameRef first = RenderAt(cutlist, mParams);
    EXPECT_TRUE(first == RenderAt(cutlist, mParams));
    EXPECT_EQ(1, lower);
    EXPECT_EQ(1, upper);
}

TEST_F(LayerStack, DrawsEachFieldAtItsOwnTime)
{
    mParams.mFieldType = norviktypes::kFieldType_UpperFirst;
    mParams.mFrameTime = {TickTime(0), TickTime(100)};
    const auto moving = [](const TickTime& time, ML::NodeIntrinsicParameters& record)
    {
        record.positionX = time == TickTime(0) ? 0.25f : 0.75f;
        return 0;
    };
    const MF::IVideoFrameRef frame =
        RenderStack({ColorLayer("still", 16, 8, {0, 0, 0, 255}),
                     ColorLayer("moving", 8, 8, {9, 9, 9, 255}, nullptr, moving)},
                    mParams);
    for (std::uint32_t line = 0; line < 8; ++line)
    {
        EXPECT_EQ(line % 2 == 0 ? 9 : 0, TestSupport::PixelAt(frame, 2, line)[0]) << line;
        EXPECT_EQ(line % 2 == 0 ? 0 : 9, TestSupport::PixelAt(frame, 13, line)[0]) << line;
    }
}

TEST_F(LayerStack, GivesTheOneFieldThatWasAskedFor)
{
    mParams.mFieldType = norviktypes::kFieldType_LowerFirst;
    mParams.mFrameTime = {TickTime(100), TickTime(0)};
    mParams.mDeinterlaceQuality = norviktypes::kRenderQuality_Draft;
    const auto fading = [](const TickTime& time, ML::NodeIntrinsicParameters& record)
    {
        record.opacity = time == TickTime(0) ? 1.0f : 0.0f;
        return 0;
    };
    const std::vector<MF::IRenderableNodeRef> layers{
        ColorLayer("still", 16, 8, {0, 0, 0, 255}),
        ColorLayer("fading", 16, 8, {9, 9, 9, 255}, nullptr, fading)};
    // The lower field is the first one, at time zero.
    mParams.mFieldToRender = 1;
    const MF::IVideoFrameRef first = RenderStack(layers, mParams);
    EXPECT_EQ(norviktypes::kFieldType_Progressive, first->GetFieldType());
    EXPECT_TRUE(TestSupport::IsFilledWith(first, {9, 9, 9, 255}));
    mParams.mFieldToRender = 2;
    EXPECT_TRUE(TestSupport::IsFilledWith(RenderStack(layers, mParams), {0, 0, 0, 255}));
}

TEST_F(LayerStack, HashTellsLayersAndTheirPlacesApart)
{
    const auto hashOf = [this](const TestSupport::IntrinsicsFunction& inIntrinsics, const std::string& inName)
    {
        TVK::Guid hash;
        ML::ComputeFrameHash(
            hash,
            TestSupport::CutlistOfNode(TestSupport::CreateLayerStack(
                                           {ColorLayer(inName, 8, 8, {1, 2, 3, 4}, nullptr, inIntrinsics)}),
                                       TickTime(1000)),
            mParams, {});
        return hash;
    };
    const auto moved = [](const TickTime&, ML::NodeIntrinsicParameters& record)
    {
        record.positionX = 0.25f;
        return 0;
    };
    const auto resampled = [](const TickTime&, ML::NodeIntrinsicParameters& record)
    {
        record.highQualitySampling = 0;
        return 0;
    };
    EXPECT_EQ(hashOf(nullptr, "a"), hashOf(nullptr, "a"));
    EXPECT_NE(hashOf(nullptr, "a"), hashOf(nullptr, "b"));
    EXPECT_NE(hashOf(nullptr, "a"), hashOf(moved, "a"));
    EXPECT_NE(hashOf(nullptr, "a"), hashOf(resampled, "a"));
}

} // namespace
