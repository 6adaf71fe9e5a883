// Memory that runs out at every allocation of a stack, one after the other.

#include "CutlistRenderer.h"
#include "MF/PixelFormats.h"
#include "RenderableNodeCompositorImpl.h"
#include "Tests/Support/FailingOperatorNew.h"
#include "Tests/Support/FrameTools.h"
#include "Tests/Support/Layers/LayerNode.h"
#include "VF/VideoFrameManipulators.h"

#include <gtest/gtest.h>

#include <exception>
#include <string>
#include <vector>

namespace
{

using MF::FrameTime;
using ML::NodeIntrinsicParameters;
using norviktypes::TickTime;
using TestSupport::FailingMemory;

using Pixel = std::vector<std::uint8_t>;

// A picture that needs no memory of its own, scaled about its middle.
MF::IRenderableNodeRef Layer(const Pixel& inColour, float inScale, norviktypes::FieldType inFieldType)
{
    const auto frame = TestSupport::NewFilledFrame(norviktypes::kPixelFormat_BGRA_4444_8u, 16, 8, inColour);
    frame->SetFieldType(inFieldType);
    frame->Freeze();
    return TestSupport::CreateLayerNode(
        "Layer",
        [frame](const FrameTime&, const ML::CutlistRenderParams&, MF::IVideoFrameRef& outFrame)
        {
            outFrame = frame;
            return 0;
        },
        [inScale](const TickTime&, NodeIntrinsicParameters& outRecord)
        {
            outRecord.scaleX = outRecord.scaleY = inScale;
            return 0;
        });
}

// How a render went that lacks memory once.
struct Outcome
{
    bool mHadMemory = false;
    bool mHasFailed = false;
    MF::IVideoFrameRef mFrame;
};

Outcome RenderWithout(long inAllocation, const MF::IRenderableNodeRef& inStack,
                      const ML::CutlistRenderParams& inParams)
{
    TestSupport::EmptyFrameCache();
    Outcome outcome;
    FailingMemory::FailAt(inAllocation, false);
    try
    {
        const auto producer =
            ML::IRenderableNodeProducerProviderRef(inStack)->GetProducerForFrame(FrameTime(), inParams);
        outcome.mHasFailed = producer->GetFrame(FrameTime(), inParams, outcome.mFrame) < 0;
    }
    catch (const std::exception&)
    {
        outcome.mHasFailed = true;
    }
    FailingMemory::Stop();
    outcome.mHadMemory = !FailingMemory::sHasFailed;
    return outcome;
}

// The lowest layer is seen at the corners, the highest in the middle.
class CompositorMemory : public testing::TestWithParam<norviktypes::FieldType>
{
protected:
    CompositorMemory()
    {
        mParams.mWidth = mParams.mSourceWidth = 16;
        mParams.mHeight = mParams.mSourceHeight = 8;
        mParams.mPixelFormat = norviktypes::kPixelFormat_BGRA_4444_8u;
        mParams.mFieldType = GetParam();
        mParams.mFieldToRender = GetParam() == norviktypes::kFieldType_Progressive ? 0 : 1;
        const ML::RenderableNodeCompositorRef stack(new ML::RenderableNodeCompositorImpl);
        stack->AppendInput(Layer({200, 0, 0, 255}, 1.0f, GetParam()), {});
        stack->AppendInput(Layer({0, 200, 0, 255}, 0.75f, GetParam()), {});
        stack->AppendInput(Layer({0, 0, 200, 255}, 0.5f, GetParam()), {});
        stack->Finalize();
        mStack = stack->AsNode();
    }

    ML::CutlistRenderParams mParams;
    MF::IRenderableNodeRef mStack;
};

TEST_P(CompositorMemory, FrameThatIsGivenHasAllTracks)
{
    int failures = 0;
    RenderWithout(-1, mStack, mParams); // what is made once for the process is there from then on
    for (long allocation = 1; allocation < 1000; ++allocation)
    {
        SCOPED_TRACE("allocation " + std::to_string(allocation));
        const Outcome outcome = RenderWithout(allocation, mStack, mParams);
        failures += outcome.mHasFailed ? 1 : 0;
        EXPECT_FALSE(outcome.mHadMemory && outcome.mHasFailed);
        if (!outcome.mHasFailed)
        {
            ASSERT_TRUE(outcome.mFrame);
            EXPECT_EQ(TestSupport::PixelAt(outcome.mFrame, 0, 0), (Pixel{200, 0, 0, 255}));
            EXPECT_EQ(TestSupport::PixelAt(outcome.mFrame, 8, 4), (Pixel{0, 0, 200, 255}));
        }
        if (outcome.mHadMemory)
        {
            EXPECT_GT(failures, 3) << "memory was asked for";
            return;
        }
    }
    FAIL() << "there is never enough";
}

// Layers at their size are laid over each other when somebody looks, which is still the stack itself.
TEST(CompositorDrawing, IsDoneByWhoeverRendersTheStack)
{
    TestSupport::EmptyFrameCache();
    ML::CutlistRenderParams params;
    params.mWidth = params.mSourceWidth = 16;
    params.mHeight = params.mSourceHeight = 8;
    params.mPixelFormat = norviktypes::kPixelFormat_BGRA_4444_8u;
    const ML::RenderableNodeCompositorRef stack(new ML::RenderableNodeCompositorImpl);
    stack->AppendInput(Layer({200, 0, 0, 255}, 1.0f, norviktypes::kFieldType_Progressive), {});
    stack->AppendInput(Layer({0, 200, 0, 255}, 1.0f, norviktypes::kFieldType_Progressive), {});
    stack->Finalize();
    MF::IVideoFrameRef frame;
    const auto producer = stack->GetProducerForFrame(FrameTime(), params);
    ASSERT_GE(producer->GetFrame(FrameTime(), params, frame), 0);
    ASSERT_FALSE(frame->IsFrozen());
    EXPECT_FALSE(VF::VideoFrameManipulators::CopyFrameLate(frame, params.mPixelFormat, 16, 8, {1, 1}))
        << "there are pixels that may be written to";
    EXPECT_EQ(TestSupport::PixelAt(frame, 15, 7), (Pixel{0, 200, 0, 255}));
}

INSTANTIATE_TEST_SUITE_P(OfFramesAndFields, CompositorMemory,
                         testing::Values(norviktypes::kFieldType_Progressive,
                                         norviktypes::kFieldType_UpperFirst));

} // namespace
