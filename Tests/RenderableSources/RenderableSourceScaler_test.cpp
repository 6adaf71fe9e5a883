#include "RenderableSources.h"

#include "Tests/RenderableSources/PaintedSource.h"
#include "Tests/RenderableSources/SourceCalls.h"
#include "Tests/Support/Fakes/FakeVideoFrame.h"
#include "Tests/Support/FrameTools.h"
#include "Tests/Support/PixelMatchers.h"
#include "Tests/VideoRenderer/RenderParams.h"

#include <gtest/gtest.h>

namespace
{

using namespace norviktypes;
using TestSupport::PaintedSource;
using TestSupport::PaintedSourceRef;

TickTime Fields(double inNumber)
{
    const std::int64_t ticks = FrameRate::FromRational(25, 1).GetTicks() / 2;
    return TickTime(static_cast<std::int64_t>(inNumber * static_cast<double>(ticks)));
}

MF::FrameTime Times(double inFirst, double inSecond)
{
    return {Fields(inFirst), Fields(inSecond)};
}

MF::FrameTime Time(double inTime)
{
    return MF::FrameTime(Fields(inTime));
}

TVK::Rect BoundsOf(const MF::IVideoFrameRef& inFrame)
{
    TVK::Rect bounds;
    inFrame->GetBounds(bounds);
    return bounds;
}

PixelAspectRatio AspectOf(const MF::IVideoFrameRef& inFrame)
{
    PixelAspectRatio ratio;
    inFrame->GetPixelAspectRatio(ratio);
    return ratio;
}

// The moment of a line that may have been scaled, but not mixed with one of the other field.
std::int64_t MomentOf(const MF::IVideoFrameRef& inFrame, std::uint32_t inLine)
{
    return std::int64_t(TestSupport::ReadLevels(inFrame, inLine).mMoment - 30) / 8;
}

// The source inside gives frames of 24 by 16, the render asks for half of that unless a test says otherwise.
class RenderableSourceScaler : public testing::Test
{
protected:
    RenderableSourceScaler()
    {
        mInner->mHeight = 16;
        AskFor(24, 8);
    }

    void AskFor(std::uint32_t inWidth, std::uint32_t inHeight)
    {
        mParams = RenderParams(inWidth, inHeight, kRenderQuality_High);
        mParams.mSourceWidth = 24;
        mParams.mSourceHeight = 16;
        mParams.mScaleX = inWidth / 24.0;
        mParams.mScaleY = inHeight / 16.0;
    }

    MF::FrameTime Conform(const MF::FrameTime& inTime) const
    {
        return ConformedTime(mScaler, inTime, mParams);
    }
    MF::IVideoFrameRef Render(const MF::FrameTime& inTime) const
    {
        return RenderedFrame(mScaler, inTime, mParams);
    }
    // Every frame inside is this one.
    MF::IVideoFrameRef GiveOneFrame(const MF::FrameTime& inTime = Times(6, 7))
    {
        const MF::IVideoFrameRef frame = RenderedFrame(mInner, inTime, mParams);
        mInner->TakeRenders();
        mInner->mFrameFunction = [frame](const MF::FrameTime&) { return frame; };
        return frame;
    }

    PaintedSourceRef mInner{new PaintedSource};
    ML::IRenderableSourceRef mScaler = ML::ScaleAndPARCorrectSource(mInner);
    ML::CutlistRenderParams mParams;
};

using FrameTimes = std::vector<MF::FrameTime>;

TEST_F(RenderableSourceScaler, TimesOfFramesThatAreNotReducedAreThoseInside)
{
    mInner->mFieldType = kFieldType_UpperFirst;
    for (const std::uint32_t height : {16u, 32u})
    {
        AskFor(24, height);
        EXPECT_EQ(Conform(Times(7.5, 6.5)), Times(6, 7));
        EXPECT_EQ(Conform(Time(6.5)), Times(6, 7));
    }
}

TEST_F(RenderableSourceScaler, ReducedFieldsOfTheOtherOrderChangePlacesInTime)
{
    mInner->mFieldType = kFieldType_UpperFirst;
    EXPECT_EQ(Conform(Times(7.5, 6.5)), Times(7, 6));
    EXPECT_EQ(Conform(Times(6.5, 7.5)), Times(6, 7)) << "those of the same order stay";
    mInner->mFieldType = kFieldType_LowerFirst;
    EXPECT_EQ(Conform(Times(6.5, 7.5)), Times(6, 7));
}

TEST_F(RenderableSourceScaler, ReducedProgressiveTimesStay)
{
    EXPECT_EQ(Conform(Times(6.5, 7.5)), Time(6));
    EXPECT_EQ(Conform(Time(7.5)), Time(6));
}

TEST_F(RenderableSourceScaler, ReducedProgressiveRequestIsAnsweredTheNearerField)
{
    mInner->mFieldType = kFieldType_UpperFirst;
    EXPECT_EQ(Conform(Time(6.4)), Time(6));
    EXPECT_EQ(Conform(Time(6.6)), Time(7));
    EXPECT_EQ(Conform(Time(6.5)), Time(6)) << "the earlier one";
    mInner->mFieldType = kFieldType_LowerFirst;
    EXPECT_EQ(Conform(Time(6.4)), Time(6));
    EXPECT_EQ(Conform(Time(6.6)), Time(7));
    EXPECT_EQ(Conform(Time(6.5)), Time(6)) << "the earlier one";
}

TEST_F(RenderableSourceScaler, CollectsAtTheTimeInside)
{
    mInner->mFieldType = kFieldType_UpperFirst;
    EXPECT_EQ(CollectedItems(mScaler, Times(7.5, 6.5), mParams).size(), 1u);
    EXPECT_EQ(mInner->TakeCollects(), FrameTimes{Times(6, 7)});
}

TEST_F(RenderableSourceScaler, RendersWhatTheSourceInsideMakesOfTheRequest)
{
    mInner->mFieldType = kFieldType_UpperFirst;
    Render(Times(7.5, 6.5));
    EXPECT_EQ(mInner->TakeConforms(), FrameTimes{Times(7.5, 6.5)});
    EXPECT_EQ(mInner->TakeRenders(), FrameTimes{Times(6, 7)});
    EXPECT_EQ(mInner->LastParams().mHeight, 8u);
}

TEST_F(RenderableSourceScaler, FrameOfAnotherSizeComesOutAtRenderSizeInItsAspectAndOrder)
{
    AskFor(12, 4);
    mParams.mPixelAspectRatio = {4, 3};
    mInner->mFieldType = kFieldType_LowerFirst;
    const MF::IVideoFrameRef frame = Render(Times(7, 6));
    EXPECT_EQ(BoundsOf(frame), (TVK::Rect{0, 0, 12, 4}));
    EXPECT_EQ(AspectOf(frame), PixelAspectRatio(4, 3));
    EXPECT_EQ(frame->GetFieldType(), kFieldType_LowerFirst);
    EXPECT_EQ(Render(Time(6))->GetFieldType(), kFieldType_Progressive);
}

TEST_F(RenderableSourceScaler, FieldsAreScaledApart)
{
    for (const FieldType type : {kFieldType_UpperFirst, kFieldType_LowerFirst})
    {
        mInner->mFieldType = type;
        const MF::FrameTime time = type == kFieldType_UpperFirst ? Times(0, 1) : Times(1, 0);
        for (const std::uint32_t height : {6u, 8u, 26u})
        {
            AskFor(24, height);
            const MF::IVideoFrameRef frame = Render(time);
            ASSERT_EQ(BoundsOf(frame).Height(), static_cast<std::int32_t>(height));
            for (std::uint32_t line = 0; line < height; ++line)
            {
                const bool isFirst = (line % 2 == 0) == (type == kFieldType_UpperFirst);
                EXPECT_EQ(MomentOf(frame, line), isFirst ? 0 : 1) << line << " of " << height;
            }
        }
    }
}

TEST_F(RenderableSourceScaler, FieldsAreScaledApartWhateverTheFrameSaysOfItself)
{
    mInner->mFieldType = kFieldType_UpperFirst;
    // The order of this one was told wrong, and corrected by a decorator; the frame is shared.
    const auto corrected = ML::ScaleAndPARCorrectSource(ML::ReverseFieldDominanceOfSource(mInner));
    const MF::IVideoFrameRef frame = RenderedFrame(corrected, Times(7, 6), mParams);
    EXPECT_EQ(frame->GetFieldType(), kFieldType_LowerFirst);
    for (std::uint32_t line = 0; line < 8; ++line)
    {
        EXPECT_EQ(MomentOf(frame, line), line % 2 == 0 ? 6 : 7) << "as painted: upper 6, lower 7";
    }
}

TEST_F(RenderableSourceScaler, SharedFrameIsNotToldAnotherOrder)
{
    mInner->mFieldType = kFieldType_UpperFirst;
    const MF::IVideoFrameRef given = GiveOneFrame();
    const auto corrected = ML::ScaleAndPARCorrectSource(ML::ReverseFieldDominanceOfSource(mInner));
    RenderedFrame(corrected, Times(7, 6), mParams);
    EXPECT_EQ(given->GetFieldType(), kFieldType_UpperFirst);
}

TEST_F(RenderableSourceScaler, ProgressiveFrameIsScaledAsAWholeForARequestOfFields)
{
    const MF::IVideoFrameRef fields = Render(Times(6, 7));
    EXPECT_EQ(fields->GetFieldType(), kFieldType_UpperFirst);
    const MF::IVideoFrameRef whole = Render(Time(6));
    EXPECT_EQ(TestSupport::PixelBytes(fields), TestSupport::PixelBytes(whole));
}

TEST_F(RenderableSourceScaler, ProgressiveRequestOfFieldsIsMadeOfTheNearerFieldAlone)
{
    mInner->mFieldType = kFieldType_UpperFirst;
    struct Case
    {
        double mTime;
        std::int64_t mMoment;
    };
    for (const Case& each : {Case{6, 6}, Case{6.4, 6}, Case{6.5, 6}, Case{6.6, 7}, Case{7, 7}})
    {
        const MF::IVideoFrameRef frame = Render(Time(each.mTime));
        EXPECT_EQ(frame->GetFieldType(), kFieldType_Progressive);
        for (std::uint32_t line = 0; line < 8; ++line)
        {
            EXPECT_EQ(MomentOf(frame, line), each.mMoment) << each.mTime << ", line " << line;
        }
    }
    mInner->mFieldType = kFieldType_LowerFirst;
    EXPECT_EQ(MomentOf(Render(Time(6.4)), 4), 6) << "the lower field is the first";
    EXPECT_EQ(MomentOf(Render(Time(6.5)), 4), 6) << "halfway";
    EXPECT_EQ(MomentOf(Render(Time(6.6)), 4), 7);
}

TEST_F(RenderableSourceScaler, NearerFieldServesAProgressiveRequestAtEqualSizeToo)
{
    AskFor(24, 16);
    mInner->mFieldType = kFieldType_UpperFirst;
    const MF::IVideoFrameRef frame = Render(Time(7));
    for (std::uint32_t line = 0; line < 16; ++line)
    {
        EXPECT_EQ(MomentOf(frame, line), 7) << line;
    }
}

TEST_F(RenderableSourceScaler, FieldsOfTheOtherOrderGiveOneFieldOnAllLines)
{
    mInner->mFieldType = kFieldType_UpperFirst;
    const MF::IVideoFrameRef frame = Render(Times(7, 6));
    EXPECT_EQ(frame->GetFieldType(), kFieldType_LowerFirst);
    for (std::uint32_t line = 0; line < 8; ++line)
    {
        EXPECT_EQ(MomentOf(frame, line), 6) << line;
    }
}

TEST_F(RenderableSourceScaler, RequestOfTheOtherOrderKeepsThePicturesFirstFieldFirst)
{
    mInner->mFieldType = kFieldType_FromSource;
    // As callers do it: the answer to the conformed time is what they render.
    const MF::FrameTime conformed = Conform(Times(7.2, 6.2));
    EXPECT_EQ(conformed, Times(7, 6));
    const MF::IVideoFrameRef frame = Render(conformed);
    EXPECT_EQ(MomentOf(frame, 0), 7);
    EXPECT_EQ(MomentOf(frame, 1), 6);
}

TEST_F(RenderableSourceScaler, OddHeightWithFieldsRendersOneLineMore)
{
    AskFor(24, 7);
    mInner->mFieldType = kFieldType_UpperFirst;
    EXPECT_EQ(BoundsOf(Render(Times(6, 7))).Height(), 8);
    EXPECT_EQ(BoundsOf(Render(Time(6))).Height(), 7) << "a progressive request";
    mInner->mFieldType = kFieldType_Progressive;
    EXPECT_EQ(BoundsOf(Render(Times(6, 7))).Height(), 7) << "a progressive frame";
}

TEST_F(RenderableSourceScaler, FrameOfTheRightSizeAspectAndOrderIsPassedOn)
{
    AskFor(24, 16);
    GiveOneFrame(Time(6));
    EXPECT_TRUE(Render(Time(6))->IsFrozen()) << "progressive for progressive";
    EXPECT_TRUE(Render(Times(6, 7))->IsFrozen()) << "progressive for fields";
    mInner->mFieldType = kFieldType_UpperFirst;
    EXPECT_TRUE(Render(Times(6, 7))->IsFrozen()) << "fields in order";
    EXPECT_FALSE(Render(Times(7, 6))->IsFrozen()) << "fields in the other order";
    EXPECT_FALSE(Render(Time(6))->IsFrozen()) << "fields for progressive";
}

TEST_F(RenderableSourceScaler, FrameOfAnotherAspectIsCopiedWithTheRendersAspect)
{
    AskFor(24, 16);
    mInner->mPixelAspectRatio = {12, 11};
    const MF::IVideoFrameRef given = GiveOneFrame(Time(6));
    const MF::IVideoFrameRef frame = Render(Time(6));
    EXPECT_EQ(AspectOf(frame), PixelAspectRatio(1, 1));
    EXPECT_EQ(TestSupport::PixelBytes(frame), TestSupport::PixelBytes(given));
}

TEST_F(RenderableSourceScaler, FullSizeFrameIsLeftToTheDisplayBelowMediumQuality)
{
    mInner->mFieldType = kFieldType_UpperFirst;
    const MF::IVideoFrameRef full = TestSupport::NewFrame(kPixelFormat_BGRA_4444_8u, 24, 16);
    TestSupport::MakeSubstitute(full);
    mInner->mFrameFunction = [&](const MF::FrameTime&) { return full; };
    mParams.mRenderQuality = kRenderQuality_Low;
    EXPECT_TRUE(Render(Times(6, 7)) == full);
    EXPECT_FALSE(Render(Times(6.2, 7.2)) == full) << "of a time that was conformed";
    mParams.mRenderQuality = kRenderQuality_Medium;
    EXPECT_FALSE(Render(Times(6, 7)) == full);
}

TEST_F(RenderableSourceScaler, OtherSizesAreScaledBelowMediumQualityToo)
{
    mParams.mRenderQuality = kRenderQuality_Low;
    mParams.mSourceHeight = 20; // the frame inside, of 16 lines, is no substitute
    EXPECT_EQ(BoundsOf(Render(Time(6))).Height(), 8);
}

TEST_F(RenderableSourceScaler, TargetThatCannotBeMadeLeavesTheFrameInside)
{
    AskFor(1u << 20, 8);
    const MF::IVideoFrameRef given = GiveOneFrame(Time(6));
    EXPECT_TRUE(Render(Time(6)) == given);
}

TEST_F(RenderableSourceScaler, FrameThatCannotBeCopiedGivesAnEmptyOne)
{
    mInner->mFrameFunction = [](const MF::FrameTime&)
    {
        const TVK::InterfaceRef<TestSupport::FakeVideoFrame> frame(
            new TestSupport::FakeVideoFrame(TestSupport::NewFrame(kPixelFormat_BGRA_4444_8u, 24, 16)));
        frame->mHasPixels = false;
        return MF::IVideoFrameRef(frame);
    };
    EXPECT_FALSE(Render(Time(6)));
}

TEST_F(RenderableSourceScaler, PlanarFrameBecomesFourComponents)
{
    mInner->mFormat = kPixelFormat_YUV_420_MPEG2_Field_8u_709;
    mInner->mFieldType = kFieldType_UpperFirst;
    const MF::IVideoFrameRef frame = Render(Times(6, 7));
    PixelFormat format;
    frame->GetPixelFormat(format);
    EXPECT_TRUE(IsPackedFourComponent(format.mProperties));
    EXPECT_EQ(MomentOf(frame, 2), 6);
    EXPECT_EQ(MomentOf(frame, 3), 7);
}

} // namespace
