// What the field decorators ask of the source inside, what they answer of times and rates, and what they do
// where something is missing.
#include "RenderableSources.h"

#include "Tests/RenderableSources/PaintedSource.h"
#include "Tests/RenderableSources/SourceCalls.h"
#include "Tests/Support/Fakes/FakeVideoFrame.h"
#include "Tests/Support/FrameTools.h"
#include "Tests/Support/PixelMatchers.h"
#include "Tests/VideoRenderer/RenderParams.h"
#include "VF/VideoFrame.h"

#include <gtest/gtest.h>

namespace
{

using namespace norviktypes;
using TestSupport::PaintedSource;
using TestSupport::PaintedSourceRef;

const FrameRate kRate = FrameRate::FromRational(25, 1);

TickTime Fields(double inNumber)
{
    return TickTime(static_cast<std::int64_t>(inNumber * static_cast<double>(kRate.GetTicks() / 2)));
}

MF::FrameTime Times(double inFirst, double inSecond)
{
    return {Fields(inFirst), Fields(inSecond)};
}

MF::FrameTime Time(double inTime)
{
    return MF::FrameTime(Fields(inTime));
}

class FieldSourceCalls : public testing::Test
{
protected:
    void SetFieldType(FieldType inType) { mInner->mFieldType = inType; }

    PaintedSourceRef mInner{new PaintedSource};
    ML::CutlistRenderParams mParams = RenderParams(TestSupport::kPaintedSourceWidth, 8);
};

using FrameTimes = std::vector<MF::FrameTime>;

TEST_F(FieldSourceCalls, DeinterlaceAsksForTheEarlierTimeAndAnswersTheEarlierOfWhatItGets)
{
    for (const FieldType type : {kFieldType_UpperFirst, kFieldType_LowerFirst})
    {
        SetFieldType(type);
        const auto source = ML::DeinterlaceSource(mInner);
        EXPECT_EQ(ConformedTime(source, Times(7.5, 6.5), mParams), Time(6));
        EXPECT_EQ(ConformedTime(source, Times(6.5, 7.5), mParams), Time(6));
        EXPECT_EQ(mInner->TakeConforms(), (FrameTimes{Time(6.5), Time(6.5)}));
    }
}

TEST_F(FieldSourceCalls, DeinterlaceRendersWhatTheSourceInsideMakesOfTheRequest)
{
    SetFieldType(kFieldType_FromSource);
    const auto source = ML::DeinterlaceSource(mInner);
    RenderedFrame(source, Times(8.5, 7.5), mParams);
    EXPECT_EQ(mInner->TakeConforms(), (FrameTimes{Times(8.5, 7.5)})) << "not of its own answer";
    EXPECT_EQ(mInner->TakeRenders(), (FrameTimes{Times(7, 6)}));
    CollectedItems(source, Times(8.5, 7.5), mParams);
    EXPECT_EQ(mInner->TakeCollects(), (FrameTimes{Times(7, 6)}));
}

TEST_F(FieldSourceCalls, DeinterlaceKeepsTheLowerFieldOnlyWhereItIsAskedForByItsTime)
{
    SetFieldType(kFieldType_UpperFirst);
    const auto source = ML::DeinterlaceSource(mInner);
    mParams.mDeinterlaceQuality = kRenderQuality_Draft;
    const auto lineOf = [&](const MF::FrameTime& inTime)
    { return TestSupport::ReadLevels(RenderedFrame(source, inTime, mParams), 2).mLine; };
    EXPECT_EQ(lineOf(Time(6)), TestSupport::LevelsOf(6, 2).mLine);
    EXPECT_EQ(lineOf(Times(6, 7)), TestSupport::LevelsOf(7, 3).mLine);
    SetFieldType(kFieldType_LowerFirst);
    EXPECT_EQ(lineOf(Time(6)), TestSupport::LevelsOf(6, 3).mLine);
    EXPECT_EQ(lineOf(Time(7)), TestSupport::LevelsOf(7, 2).mLine);
}

TEST_F(FieldSourceCalls, DeinterlacePassesProgressiveFramesWithTheirSizeUntouched)
{
    mInner->mHeight = 6;
    const MF::IVideoFrameRef frame = RenderedFrame(ML::DeinterlaceSource(mInner), Time(2), mParams);
    TVK::Rect bounds;
    frame->GetBounds(bounds);
    EXPECT_EQ(bounds.Height(), 6);
    EXPECT_EQ(TestSupport::ReadLevels(frame, 3).mLine, TestSupport::LevelsOf(1, 3).mLine);
    EXPECT_TRUE(frame->IsFrozen()) << "the very frame";
}

TEST_F(FieldSourceCalls, DeinterlaceKeepsTheSizeAndAspectOfTheFrameAndTheQualityOfItsOwn)
{
    SetFieldType(kFieldType_UpperFirst);
    mInner->mWidth = 2 * TestSupport::kPaintedSourceWidth;
    mInner->mHeight = 6;
    mInner->mPixelAspectRatio = {12, 11};
    mParams.mDeinterlaceQuality = kRenderQuality_Draft; // while mRenderQuality asks for edges
    const MF::IVideoFrameRef frame = RenderedFrame(ML::DeinterlaceSource(mInner), Time(6), mParams);
    TVK::Rect bounds;
    frame->GetBounds(bounds);
    EXPECT_EQ(bounds, (TVK::Rect{0, 0, 2 * static_cast<std::int32_t>(TestSupport::kPaintedSourceWidth), 6}));
    PixelAspectRatio ratio;
    frame->GetPixelAspectRatio(ratio);
    EXPECT_EQ(ratio, PixelAspectRatio(12, 11));
    const std::uint32_t halfway = 2 * TestSupport::kPaintedSourceWidth - 1;
    EXPECT_EQ(TestSupport::PixelAt(frame, halfway / 3, 1), TestSupport::PixelAt(frame, halfway / 3, 0));
    EXPECT_EQ(frame->GetFieldType(), kFieldType_Progressive);
}

TEST_F(FieldSourceCalls, DeinterlaceLeavesAFrozenFrameAsItIs)
{
    SetFieldType(kFieldType_UpperFirst);
    MF::IVideoFrameRef given;
    const MF::IVideoFrameRef frozen = RenderedFrame(mInner, Times(6, 7), mParams);
    mInner->mFrameFunction = [&](const MF::FrameTime&) { return frozen; };
    const std::vector<std::uint8_t> before = TestSupport::PixelBytes(frozen);
    const MF::IVideoFrameRef frame = RenderedFrame(ML::DeinterlaceSource(mInner), Time(6), mParams);
    EXPECT_EQ(TestSupport::PixelBytes(frozen), before);
    EXPECT_FALSE(frame == frozen);
}

TEST_F(FieldSourceCalls, DeinterlaceChangesAFrameThatNobodyElseHoldsInPlace)
{
    SetFieldType(kFieldType_UpperFirst);
    mInner->mFreezes = false;
    const MF::IVideoFrameRef given = RenderedFrame(mInner, Times(6, 7), mParams);
    mInner->mFrameFunction = [&](const MF::FrameTime&) { return given; };
    EXPECT_TRUE(RenderedFrame(ML::DeinterlaceSource(mInner), Time(6), mParams) == given);
}

TEST_F(FieldSourceCalls, FieldReverseSwapsWhatItAnswersAndWhatItAsksFor)
{
    SetFieldType(kFieldType_UpperFirst);
    const auto source = ML::FieldReverseSource(mInner);
    EXPECT_EQ(ConformedTime(source, Times(7.5, 6.5), mParams), Times(7, 6));
    EXPECT_EQ(mInner->TakeConforms(), (FrameTimes{Times(7.5, 6.5)})) << "asked as it came";
    RenderedFrame(source, Times(7.5, 6.5), mParams);
    EXPECT_EQ(mInner->TakeConforms(), FrameTimes{}) << "a render is conformed already";
    EXPECT_EQ(mInner->TakeRenders(), (FrameTimes{Times(6.5, 7.5)}));
}

TEST_F(FieldSourceCalls, FieldReverseCollectsWhatItsRenderWillAskFor)
{
    SetFieldType(kFieldType_FromSource);
    const auto source = ML::FieldReverseSource(mInner);
    CollectedItems(source, Times(7.5, 6.5), mParams);
    EXPECT_EQ(mInner->TakeCollects(), (FrameTimes{Times(6, 7)}));
}

TEST_F(FieldSourceCalls, FieldReverseDoesNothingToAProgressiveFrame)
{
    const MF::IVideoFrameRef frame = RenderedFrame(ML::FieldReverseSource(mInner), Time(6), mParams);
    EXPECT_TRUE(frame->IsFrozen()) << "the very frame";
    EXPECT_EQ(TestSupport::ReadLevels(frame, 4).mLine, TestSupport::LevelsOf(3, 4).mLine);
}

TEST_F(FieldSourceCalls, ReverseFieldsSwapsOnTheWayInAndOut)
{
    SetFieldType(kFieldType_FromSource);
    const auto source = ML::ReverseFieldDominanceOfSource(mInner);
    EXPECT_EQ(ConformedTime(source, Times(7.5, 6.5), mParams), Times(7, 6));
    EXPECT_EQ(mInner->TakeConforms(), (FrameTimes{Times(6.5, 7.5)}));
    const MF::IVideoFrameRef frame = RenderedFrame(source, Times(7, 6), mParams);
    EXPECT_EQ(mInner->TakeRenders(), (FrameTimes{Times(6, 7)}));
    EXPECT_TRUE(frame->IsFrozen()) << "the very frame";
    CollectedItems(source, Times(7.5, 6.5), mParams);
    EXPECT_EQ(mInner->TakeCollects(), (FrameTimes{Times(6.5, 7.5)}));
    EXPECT_EQ(mInner->TakeConforms(), FrameTimes{}) << "the request is passed on as it is";
}

TEST_F(FieldSourceCalls, InterlaceConsecutiveAlignsProgressiveRequestsToFields)
{
    const auto source = ML::InterlaceConsecutiveFramesFromSource(mInner);
    EXPECT_EQ(ConformedTime(source, Time(6.9), mParams), Time(6));
    EXPECT_EQ(ConformedTime(source, Time(7.1), mParams), Time(7));
}

TEST_F(FieldSourceCalls, InterlaceConsecutiveKeepsTheOrderAndSetsFieldsOneFieldApart)
{
    const auto source = ML::InterlaceConsecutiveFramesFromSource(mInner);
    EXPECT_EQ(ConformedTime(source, Times(7.1, 9.5), mParams), Times(6, 7));
    EXPECT_EQ(ConformedTime(source, Times(9.5, 7.1), mParams), Times(7, 6));
}

TEST_F(FieldSourceCalls, InterlaceConsecutiveHasFieldsAtTwiceTheFrameRateInside)
{
    const auto source = ML::InterlaceConsecutiveFramesFromSource(mInner);
    EXPECT_EQ(FrameRateOf(source), kRate);
    EXPECT_EQ(FieldRateOf(source), kRate * 2);
    SetFieldType(kFieldType_UpperFirst);
    EXPECT_EQ(FieldRateOf(source), kRate * 2) << "by the frames inside, not by their fields";
}

TEST_F(FieldSourceCalls, InterlaceConsecutiveDoublesTimes)
{
    const auto source = ML::InterlaceConsecutiveFramesFromSource(mInner);
    RenderedFrame(source, Times(7, 6), mParams);
    EXPECT_EQ(mInner->TakeConforms(), (FrameTimes{Time(14), Time(12)}));
    EXPECT_EQ(mInner->TakeRenders(), (FrameTimes{Time(14), Time(12)}));
    CollectedItems(source, Times(7, 6), mParams);
    EXPECT_EQ(mInner->TakeCollects(), (FrameTimes{Time(14), Time(12)}));
}

TEST_F(FieldSourceCalls, InterlaceConsecutiveOfTicks100And50IsMadeOf200And100WithTheLowerFieldFirst)
{
    mInner->mRate = FrameRate(100);
    const auto source = ML::InterlaceConsecutiveFramesFromSource(mInner);
    const MF::IVideoFrameRef frame =
        RenderedFrame(source, MF::FrameTime(TickTime(100), TickTime(50)), mParams);
    EXPECT_EQ(mInner->TakeRenders(),
              (FrameTimes{MF::FrameTime(TickTime(200)), MF::FrameTime(TickTime(100))}));
    EXPECT_EQ(frame->GetFieldType(), kFieldType_LowerFirst);
    EXPECT_EQ(TestSupport::ReadLevels(frame, 2).mMoment, TestSupport::LevelsOf(2, 2).mMoment);
    EXPECT_EQ(TestSupport::ReadLevels(frame, 3).mMoment, TestSupport::LevelsOf(1, 3).mMoment);
}

TEST_F(FieldSourceCalls, InterlaceConsecutiveTakesTwoFramesOfAnOddNumberOfTicksToo)
{
    mInner->mRate = FrameRate(101);
    const auto source = ML::InterlaceConsecutiveFramesFromSource(mInner);
    for (const FieldType order : {kFieldType_UpperFirst, kFieldType_LowerFirst})
    {
        const MF::FrameTime request = order == kFieldType_UpperFirst
                                          ? MF::FrameTime(TickTime(303), TickTime(353))
                                          : MF::FrameTime(TickTime(353), TickTime(303));
        EXPECT_EQ(ConformedTime(source, request, mParams), request);
        const MF::IVideoFrameRef frame = RenderedFrame(source, request, mParams);
        const bool isUpperFirst = order == kFieldType_UpperFirst;
        for (std::uint32_t line = 0; line < 8; ++line)
        {
            const bool isFirstField = (line % 2 == 0) == isUpperFirst;
            const TestSupport::LineLevels levels = TestSupport::ReadLevels(frame, line);
            EXPECT_EQ(levels.mMoment, TestSupport::LevelsOf(isFirstField ? 6 : 7, line).mMoment) << line;
            EXPECT_EQ(levels.mLine, TestSupport::LevelsOf(6, line).mLine) << line;
        }
    }
}

TEST_F(FieldSourceCalls, InterlaceConsecutiveCollectsAFrameThatServesBothFieldsOnce)
{
    const auto source = ML::InterlaceConsecutiveFramesFromSource(mInner);
    EXPECT_EQ(CollectedItems(source, Time(6), mParams).size(), 1u);
    EXPECT_EQ(mInner->TakeCollects(), FrameTimes{Time(12)});
}

TEST_F(FieldSourceCalls, InterlaceConsecutiveGivesOneWholeFrameUntouched)
{
    const auto source = ML::InterlaceConsecutiveFramesFromSource(mInner);
    const MF::IVideoFrameRef frame = RenderedFrame(source, Time(3), mParams);
    EXPECT_EQ(mInner->TakeRenders(), FrameTimes{Time(6)});
    EXPECT_TRUE(frame->IsFrozen()) << "the very frame";
    EXPECT_EQ(TestSupport::ReadLevels(frame, 5).mMoment, TestSupport::LevelsOf(3, 5).mMoment);
}

TEST_F(FieldSourceCalls, InterlaceConsecutiveMakesFieldsOfOneFrameWhereTheyAreAskedFor)
{
    const auto source = ML::InterlaceConsecutiveFramesFromSource(mInner);
    const MF::IVideoFrameRef frame = RenderedFrame(source, Times(3.1, 3), mParams);
    EXPECT_EQ(mInner->TakeRenders(), (FrameTimes{Time(6), Time(6)}));
    EXPECT_EQ(frame->GetFieldType(), kFieldType_LowerFirst);
}

TEST_F(FieldSourceCalls, InterlaceConsecutiveMakesAProgressiveFrameOfFieldsThatItIsGiven)
{
    SetFieldType(kFieldType_UpperFirst);
    mParams.mDeinterlaceQuality = kRenderQuality_Draft;
    const auto source = ML::InterlaceConsecutiveFramesFromSource(mInner);
    const MF::IVideoFrameRef frame = RenderedFrame(source, Time(3), mParams);
    EXPECT_EQ(frame->GetFieldType(), kFieldType_Progressive);
    for (std::uint32_t line = 0; line < 8; ++line)
    {
        EXPECT_EQ(TestSupport::ReadLevels(frame, line).mMoment, TestSupport::LevelsOf(6, 0).mMoment) << line;
    }
}

TEST_F(FieldSourceCalls, InterlaceConsecutiveWithOneFrameMissingHasBlackLines)
{
    const MF::IVideoFrameRef painted = RenderedFrame(mInner, Time(12), mParams);
    mInner->mFrameFunction = [&](const MF::FrameTime& inTime)
    { return inTime == Time(12) ? painted : MF::IVideoFrameRef(); };
    const auto source = ML::InterlaceConsecutiveFramesFromSource(mInner);
    const MF::IVideoFrameRef frame = RenderedFrame(source, Times(6, 7), mParams);
    EXPECT_EQ(TestSupport::ReadLevels(frame, 2).mLine, TestSupport::LevelsOf(6, 2).mLine);
    EXPECT_EQ(TestSupport::ReadLevels(frame, 3).mLine, 0);
}

TEST_F(FieldSourceCalls, RemoveFlickerAnswersTheEarlierTimeButRendersBothFields)
{
    SetFieldType(kFieldType_LowerFirst);
    const auto source = ML::RemoveFlickerFromSource(mInner);
    EXPECT_EQ(ConformedTime(source, Times(7.5, 6.5), mParams), Time(6));
    EXPECT_EQ(mInner->TakeConforms(), FrameTimes{Times(7.5, 6.5)});
    RenderedFrame(source, Time(6.5), mParams);
    EXPECT_EQ(mInner->TakeRenders(), FrameTimes{Times(7, 6)});
    CollectedItems(source, Time(6.5), mParams);
    EXPECT_EQ(mInner->TakeCollects(), FrameTimes{Times(7, 6)});
}

struct Factory
{
    const char* mName;
    ML::IRenderableSourceRef (*mMake)(const ML::IRenderableSourceRef&);
};

constexpr Factory kFactories[] = {
    {"Deinterlace", &ML::DeinterlaceSource},
    {"FieldReverse", &ML::FieldReverseSource},
    {"ReverseFields", &ML::ReverseFieldDominanceOfSource},
    {"InterlaceConsecutive", &ML::InterlaceConsecutiveFramesFromSource},
    {"RemoveFlicker", &ML::RemoveFlickerFromSource},
    {"Scaler", &ML::ScaleAndPARCorrectSource},
};

TEST_F(FieldSourceCalls, EmptySourceIsANullInterfaceForEveryOperationOfEveryDecorator)
{
    for (const Factory& each : kFactories)
    {
        SCOPED_TRACE(each.mName);
        const ML::IRenderableSourceRef source = each.mMake({});
        EXPECT_THROW(ConformedTime(source, Time(1), mParams), TVK::NullInterfaceException);
        EXPECT_THROW(CollectedItems(source, Time(1), mParams), TVK::NullInterfaceException);
        EXPECT_THROW(RenderedFrame(source, Time(1), mParams), TVK::NullInterfaceException);
        EXPECT_THROW(FrameRateOf(source), TVK::NullInterfaceException);
        EXPECT_THROW(FieldRateOf(source), TVK::NullInterfaceException);
    }
}

TEST_F(FieldSourceCalls, FailureInsidePassesEveryDecoratorWithItsStatus)
{
    SetFieldType(kFieldType_UpperFirst);
    mInner->mStatus = BE::kSourceStatus_BadMedia;
    for (const Factory& each : kFactories)
    {
        SCOPED_TRACE(each.mName);
        try
        {
            RenderedFrame(each.mMake(mInner), Times(6, 7), mParams);
            ADD_FAILURE() << "nothing was thrown";
        }
        catch (const ML::RenderRequestException& exception)
        {
            EXPECT_EQ(exception.GetStatus(), BE::kSourceStatus_BadMedia);
        }
    }
}

TEST_F(FieldSourceCalls, RatesAreThoseInside)
{
    SetFieldType(kFieldType_UpperFirst);
    for (const Factory& each : kFactories)
    {
        EXPECT_EQ(FrameRateOf(each.mMake(mInner)), kRate) << each.mName;
        EXPECT_EQ(FieldRateOf(each.mMake(mInner)), kRate * 2) << each.mName;
    }
}

TEST_F(FieldSourceCalls, EmptyFrameIsPassedOnWhereNothingIsDoneToIt)
{
    mInner->mIsEmpty = true;
    EXPECT_FALSE(RenderedFrame(ML::DeinterlaceSource(mInner), Time(1), mParams));
    EXPECT_FALSE(RenderedFrame(ML::FieldReverseSource(mInner), Time(1), mParams));
    EXPECT_FALSE(RenderedFrame(ML::ReverseFieldDominanceOfSource(mInner), Times(2, 3), mParams));
    EXPECT_FALSE(RenderedFrame(ML::InterlaceConsecutiveFramesFromSource(mInner), Time(1), mParams));
    EXPECT_FALSE(RenderedFrame(ML::ScaleAndPARCorrectSource(mInner), Times(2, 3), mParams));
}

TEST_F(FieldSourceCalls, EmptyFrameIsANullInterfaceWhereAFrameIsNeeded)
{
    mInner->mIsEmpty = true;
    SetFieldType(kFieldType_UpperFirst);
    for (const Factory& make : {kFactories[0], kFactories[1], kFactories[3], kFactories[4]})
    {
        EXPECT_THROW(RenderedFrame(make.mMake(mInner), Times(6, 7), mParams), TVK::NullInterfaceException)
            << make.mName;
    }
}

TEST_F(FieldSourceCalls, FrameWithoutPixelsIsANullInterfaceForOperationsOnWholeFrames)
{
    SetFieldType(kFieldType_UpperFirst);
    mInner->mFrameFunction = [](const MF::FrameTime&)
    {
        const TVK::InterfaceRef<TestSupport::FakeVideoFrame> frame(
            new TestSupport::FakeVideoFrame(TestSupport::NewFrame(kPixelFormat_BGRA_4444_8u, 24, 8)));
        frame->mHasPixels = false;
        return MF::IVideoFrameRef(frame);
    };
    for (const Factory& make : {kFactories[1], kFactories[4]})
    {
        EXPECT_THROW(RenderedFrame(make.mMake(mInner), Times(6, 7), mParams), TVK::NullInterfaceException)
            << make.mName;
    }
}

TEST_F(FieldSourceCalls, NoMemoryForTheResultIsThrownWithItsStatus)
{
    SetFieldType(kFieldType_UpperFirst);
    mInner->mFrameFunction = [](const MF::FrameTime&)
    {
        const TVK::InterfaceRef<TestSupport::FakeVideoFrame> frame(
            new TestSupport::FakeVideoFrame(TestSupport::NewFrame(kPixelFormat_BGRA_4444_8u, 24, 8)));
        frame->mCompatibleStatus = VF::kFrameStatus_OutOfMemory;
        return MF::IVideoFrameRef(frame);
    };
    for (const Factory& make : {kFactories[1], kFactories[4]})
    {
        try
        {
            RenderedFrame(make.mMake(mInner), Times(6, 7), mParams);
            ADD_FAILURE() << "nothing was thrown by " << make.mName;
        }
        catch (const ML::RenderRequestException& exception)
        {
            EXPECT_EQ(exception.GetStatus(), VF::kFrameStatus_OutOfMemory);
        }
    }
}

TEST_F(FieldSourceCalls, PlanarFramesAreReversedAndFilteredWhereAPlanarFormatIsWishedFor)
{
    SetFieldType(kFieldType_UpperFirst);
    mInner->mFormat = mParams.mPixelFormat = kPixelFormat_YUV_420_MPEG2_Frame_8u_709;
    const MF::IVideoFrameRef reversed = RenderedFrame(ML::FieldReverseSource(mInner), Times(7, 6), mParams);
    EXPECT_EQ(TestSupport::ReadLevels(reversed, 4).mLine, TestSupport::LevelsOf(6, 5).mLine);
    const MF::IVideoFrameRef filtered = RenderedFrame(ML::RemoveFlickerFromSource(mInner), Time(6), mParams);
    EXPECT_EQ(TestSupport::ReadLevels(filtered, 4).mLine, TestSupport::LevelsOf(6, 4).mLine);
}

TEST_F(FieldSourceCalls, SubstitutesComeOutAtRenderSizeWhereTheirPixelsAreNeeded)
{
    SetFieldType(kFieldType_UpperFirst);
    mParams.mSourceWidth = 2 * mParams.mWidth;
    mParams.mSourceHeight = 2 * mParams.mHeight;
    mInner->mFrameFunction = [&](const MF::FrameTime&)
    {
        const MF::IVideoFrameRef frame = TestSupport::NewFilledFrame(
            kPixelFormat_BGRA_4444_8u, mParams.mSourceWidth, mParams.mSourceHeight, {9, 9, 9, 255});
        TestSupport::MakeSubstitute(frame);
        return frame;
    };
    for (const auto make : {&ML::FieldReverseSource, &ML::RemoveFlickerFromSource})
    {
        const MF::IVideoFrameRef frame = RenderedFrame(make(mInner), Times(7, 6), mParams);
        TVK::Rect bounds;
        frame->GetBounds(bounds);
        EXPECT_EQ(bounds, (TVK::Rect{0, 0, 24, 8}));
        EXPECT_TRUE(TestSupport::IsFilledWith(frame, {9, 9, 9, 255}));
    }
}

TEST_F(FieldSourceCalls, OrderIsCorrectedAgainByASecondDecorator)
{
    SetFieldType(kFieldType_UpperFirst);
    const MF::IVideoFrameRef once = RenderedFrame(mInner, Times(6, 7), mParams);
    for (const auto make : {&ML::FieldReverseSource, &ML::ReverseFieldDominanceOfSource})
    {
        const MF::IVideoFrameRef frame = RenderedFrame(make(make(mInner)), Times(6, 7), mParams);
        EXPECT_TRUE(TestSupport::HaveEqualPixels(once, frame));
        EXPECT_EQ(frame->GetFieldType(), kFieldType_UpperFirst);
    }
}

} // namespace
