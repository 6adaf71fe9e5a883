// Memory that runs out at every allocation of a render, one after the other.

#include "RenderableNodeEffectImpl.h"
#include "RenderableNodeTransitionImpl.h"
#include "Tests/EffectNodes/EffectNodeTests.h"
#include "Tests/Support/FailingOperatorNew.h"
#include "Tests/Support/Fakes/FakeKeyframedParameter.h"
#include "Tests/Support/Fakes/FakeSequence.h"
#include "Tests/Support/Fakes/FakeTrackItem.h"
#include "Tests/Support/Fakes/FakeVideoFilter.h"
#include "Tests/Support/Fakes/FakeVideoTransition.h"

#include <gtest/gtest.h>

namespace
{

using namespace EffectNodeTests;
using TestSupport::FailingMemory;
using TestSupport::FakeTransitionItem;
using TestSupport::FakeVideoFilter;
using TestSupport::FakeVideoTransition;
using TestSupport::NewFilledFrame;

constexpr norviktypes::PixelFormat kWanted = norviktypes::kPixelFormat_BGRA_4444_16u;

bool IsWanted(const MF::IVideoFrameRef& inFrame)
{
    norviktypes::PixelFormat format;
    TVK::Rect bounds;
    inFrame->GetPixelFormat(format);
    inFrame->GetBounds(bounds);
    return format == kWanted && bounds == TVK::Rect{0, 0, 16, 8};
}

// Has a frame that needs no memory, which is drawn at its place.
MF::IRenderableNodeRef HalfSizedLayer()
{
    const auto frame = NewFilledFrame(kPixelFormat_BGRA_4444_8u, 16, 8, {9, 8, 7, 255});
    return TestSupport::CreateLayerNode(
        "Layer",
        [frame](const FrameTime&, const ML::CutlistRenderParams&, MF::IVideoFrameRef& outFrame)
        {
            outFrame = frame;
            return 0;
        },
        [](const TickTime&, ML::NodeIntrinsicParameters& outRecord)
        {
            outRecord.scaleX = 0.5f;
            return 0;
        });
}

// How a render went that lacks memory once.
struct Outcome
{
    bool mHadMemory = false;
    bool mHasThrown = false;
    std::int32_t mStatus = 0;
    MF::IVideoFrameRef mFrame;
};

template <class Render>
Outcome RenderWithout(long inAllocation, const Render& inRender)
{
    TestSupport::EmptyFrameCache();
    Outcome outcome;
    FailingMemory::FailAt(inAllocation, false);
    try
    {
        outcome.mStatus = inRender(outcome.mFrame);
    }
    catch (const std::bad_alloc&)
    {
        outcome.mHasThrown = true;
    }
    FailingMemory::Stop();
    outcome.mHadMemory = !FailingMemory::sHasFailed;
    return outcome;
}

// Renders until there is enough memory. A render that is told to have succeeded has a frame.
template <class Render>
void RenderWithoutEach(const Render& inRender)
{
    long failures = 0;
    for (long allocation = 1; allocation < 1000; ++allocation)
    {
        SCOPED_TRACE("allocation " + std::to_string(allocation));
        const Outcome outcome = RenderWithout(allocation, inRender);
        if (outcome.mHadMemory)
        {
            EXPECT_EQ(outcome.mStatus, 0);
            EXPECT_TRUE(outcome.mFrame);
            EXPECT_GT(failures, 5) << "memory was asked for";
            return;
        }
        failures += outcome.mHasThrown || outcome.mStatus < 0 ? 1 : 0;
        EXPECT_TRUE(outcome.mHasThrown || outcome.mStatus < 0 || outcome.mFrame);
    }
    FAIL() << "there is never enough";
}

// One side is drawn at its place, the other one is missing, and neither is in the format that is taken.
TEST(EffectMemory, TransitionIsNeverGivenWhatItDoesNotTake)
{
    const MF::IRenderableNodeRef node = HalfSizedLayer();
    const TestSupport::FakeVideoTransitionRef transition(new FakeVideoTransition());
    transition->mFormats = {kWanted};
    bool isDrawn = false;
    transition->mRender = [&](const ML::VideoTransitionRender&, const MF::IVideoFrameRef& ioFrame,
                              const MF::IVideoFrameRef& inB, const MF::IVideoFrameRef& inA)
    {
        EXPECT_TRUE(IsWanted(ioFrame) && IsWanted(inB) && IsWanted(inA));
        isDrawn = TestSupport::PixelAt(inA, 8, 4)[1] == 9;
        return 0;
    };
    const TestSupport::FakeTransitionItemRef item(new FakeTransitionItem(Frames(0), Frames(10)));
    item->mTransition = ML::IVideoTransitionRef(transition);
    const ML::IRenderableNodeProducerProviderRef provider(
        ML::CreateTransitionNode(BE::ITransitionItemRef(item), node, Frames(0), nullptr, Frames(0)));
    RenderWithoutEach(
        [&](MF::IVideoFrameRef& outFrame)
        {
            isDrawn = true;
            const std::int32_t status =
                provider->GetProducerForFrame(At(5), ParamsAt(5))->GetFrame(At(5), ParamsAt(5), outFrame);
            EXPECT_TRUE(isDrawn) << "a side that could not be drawn is not one that is missing";
            return status;
        });
}

TEST(EffectMemory, FilterAndItsLayersAreNeverGivenWhatTheyDoNotTake)
{
    const TestSupport::FakeSequenceRef sequence(new TestSupport::FakeSequence());
    const FakeCutlistProviderRef track(new FakeCutlistProvider());
    track->mCutlist = CutlistFromTo(0, 10, HalfSizedLayer());
    sequence->mTrackCutlistProviders = {MF::IRenderableCutlistProviderRef(track)};
    const TestSupport::FakeVideoFilterRef filter(new FakeVideoFilter());
    filter->mFormats = {kWanted};
    filter->mRender = [](const ML::VideoFilterRender& inRender, const MF::IVideoFrameRef& inFrame,
                         MF::IVideoFrameRef& outFrame)
    {
        EXPECT_TRUE(IsWanted(inFrame));
        const std::int32_t status = inRender.mLayers->RenderLayer(0, outFrame);
        EXPECT_TRUE(status < 0 || (outFrame && IsWanted(outFrame)));
        return status;
    };
    ML::EffectNodeSettings settings;
    settings.mFilter = ML::IVideoFilterRef(filter);
    settings.mParameters = std::make_shared<const MF::KeyframeStore>(
        MF::KeyframeStore{MF::IKeyframedParameterRef(TestSupport::MakeLayerParameter(0))});
    settings.mCutlistContext = TVK::TVKUnknownRef(BE::ISequenceRef(sequence));
    const ML::IRenderableNodeOperatorProviderRef node(ML::CreateEffectNode(settings));
    const auto input = NewFilledFrame(kPixelFormat_BGRA_4444_8u, 16, 8, {9, 8, 7, 255});
    for (const bool hasInput : {true, false})
    {
        RenderWithoutEach(
            [&](MF::IVideoFrameRef& outFrame)
            {
                return node->GetOperatorForFrame(At(5), ParamsAt(5))
                    ->ApplyToFrame(At(5), At(5), ParamsAt(5), hasInput ? input : nullptr, nullptr, outFrame);
            });
    }
}

} // namespace
