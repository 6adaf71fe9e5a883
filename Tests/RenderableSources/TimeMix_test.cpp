#include "RenderableSources.h"

#include "Tests/RenderableSources/PaintedSource.h"
#include "Tests/RenderableSources/SourceCalls.h"
#include "Tests/Support/FrameTools.h"
#include "Tests/VideoRenderer/RenderParams.h"

#include <gtest/gtest.h>

namespace
{

using namespace norviktypes;
using TestSupport::PaintedSource;
using TestSupport::PaintedSourceRef;

using FrameTimes = std::vector<MF::FrameTime>;

constexpr FrameRate kRate50 = FrameRate::FromRational(50, 1);

TickTime At(double inFrames)
{
    return TickTime(static_cast<std::int64_t>(inFrames * static_cast<double>(kRate50.GetTicks())));
}

MF::FrameTime Times(double inFirst, double inSecond)
{
    return {At(inFirst), At(inSecond)};
}

MF::FrameTime Time(double inFrames)
{
    return MF::FrameTime(At(inFrames));
}

class TimeMix : public testing::Test
{
protected:
    TimeMix() { mInner->mRate = kRate50; }

    double MomentOfLine(const MF::IVideoFrameRef& inFrame, std::uint32_t inLine) const
    {
        return (TestSupport::ReadLevels(inFrame, inLine).mMoment - TestSupport::LevelsOf(0, 0).mMoment) / 8;
    }

    PaintedSourceRef mInner{new PaintedSource};
    ML::IRenderableSourceRef mSource = ML::TimeMixSource(mInner);
    ML::CutlistRenderParams mParams = RenderParams(TestSupport::kPaintedSourceWidth, 8);
};

TEST_F(TimeMix, TimeThatTheSourceHasIsTheAnswer)
{
    EXPECT_EQ(ConformedTime(mSource, Time(3), mParams), Time(3));
    mInner->mFieldType = kFieldType_UpperFirst;
    EXPECT_EQ(ConformedTime(mSource, Times(3, 3.5), mParams), Times(3, 3.5));
}

TEST_F(TimeMix, TimesThatTheSourceDoesNotHaveAreAlignedToItsMoments)
{
    EXPECT_EQ(ConformedTime(mSource, Times(3.2, 4.6), mParams), Times(3, 4));
    EXPECT_EQ(ConformedTime(mSource, Times(4.6, 3.2), mParams), Times(4, 3));
    mInner->mFieldType = kFieldType_LowerFirst;
    EXPECT_EQ(ConformedTime(mSource, Times(3.2, 3.8), mParams), Times(3, 3.5));
}

TEST_F(TimeMix, TimesOfASourceWithoutAGridStay)
{
    mInner->mRate = kFrameRate_Video1000;
    const MF::FrameTime time(TickTime(12345), TickTime(67890));
    EXPECT_EQ(ConformedTime(mSource, time, mParams), time);
    mInner->mRate = kFrameRate_Zero;
    EXPECT_EQ(ConformedTime(mSource, time, mParams), time);
}

TEST_F(TimeMix, SingleFieldAtLowQualityIsOneMoment)
{
    mParams.mRenderQuality = kRenderQuality_Low;
    struct Row
    {
        MF::FrameTime mTime;
        std::uint32_t mField;
        double mAsked;
    };
    for (const Row& row : {Row{Times(3.25, 4.75), 1, 3.25}, Row{Times(3.25, 4.75), 2, 4.75},
                           Row{Times(4.75, 3.25), 1, 3.25}, Row{Times(4.75, 3.25), 2, 4.75}})
    {
        mParams.mFieldToRender = row.mField;
        mInner->TakeConforms();
        const MF::FrameTime answer = ConformedTime(mSource, row.mTime, mParams);
        EXPECT_EQ(mInner->TakeConforms(), FrameTimes{Time(row.mAsked)});
        EXPECT_EQ(answer, Time(static_cast<int>(row.mAsked)));
    }
    // Neither at better quality, nor for a whole frame, nor for one without fields.
    mParams.mFieldToRender = 0;
    EXPECT_EQ(ConformedTime(mSource, Times(3.25, 4.75), mParams), Times(3, 4));
    mParams.mFieldToRender = 1;
    mParams.mRenderQuality = kRenderQuality_Medium;
    EXPECT_EQ(ConformedTime(mSource, Times(3.25, 4.75), mParams), Times(3, 4));
}

// Not even where the source has no frame of that very time: the time is aligned to its moments, while the source
// would answer with a frame of two.
TEST_F(TimeMix, ProgressiveRequestIsNoSingleField)
{
    mInner->mFieldType = kFieldType_UpperFirst;
    mParams.mRenderQuality = kRenderQuality_Low;
    mParams.mFieldToRender = 1;
    EXPECT_EQ(ConformedTime(mSource, Time(3.75), mParams), Time(3.5));
}

TEST_F(TimeMix, FrameOfExactlyTheTimeIsPassedOn)
{
    const MF::IVideoFrameRef given = TestSupport::NewFrame(kPixelFormat_BGRA_4444_8u, 24, 8);
    mInner->mFrameFunction = [&](const MF::FrameTime&) { return given; };
    EXPECT_TRUE(RenderedFrame(mSource, Time(3), mParams) == given);
    EXPECT_EQ(mInner->TakeRenders(), FrameTimes{Time(3)});
    for (const FieldType type : {kFieldType_UpperFirst, kFieldType_FromSource})
    {
        mInner->mFieldType = type;
        EXPECT_TRUE(RenderedFrame(mSource, Times(3, 3.5), mParams) == given);
        EXPECT_EQ(mInner->TakeRenders(), (FrameTimes{Times(3, 3.5)}));
    }
}

TEST_F(TimeMix, EachFieldShowsTheFrameOfItsMoment)
{
    for (const bool isUpperFirst : {true, false})
    {
        const MF::FrameTime time = isUpperFirst ? Times(3, 4) : Times(4, 3);
        const MF::IVideoFrameRef frame = RenderedFrame(mSource, time, mParams);
        ASSERT_TRUE(frame);
        EXPECT_EQ(frame->GetFieldType(), time.Order());
        EXPECT_EQ(mInner->TakeRenders(),
                  (FrameTimes{MF::FrameTime(time.mSecondTime), MF::FrameTime(time.mFirstTime)}));
        for (std::uint32_t line = 0; line < 8; ++line)
        {
            EXPECT_EQ(MomentOfLine(frame, line), (line % 2 == 0) == isUpperFirst ? 3 : 4) << line;
            EXPECT_EQ(TestSupport::ReadLevels(frame, line).mLine, TestSupport::LevelsOf(0, line).mLine);
        }
    }
}

TEST_F(TimeMix, FrameOfBothFieldsIsRenderedOnce)
{
    const MF::IVideoFrameRef frame = RenderedFrame(mSource, Times(3, 3.5), mParams);
    ASSERT_TRUE(frame);
    EXPECT_EQ(mInner->TakeRenders(), FrameTimes{Time(3)});
    EXPECT_EQ(frame->GetFieldType(), kFieldType_UpperFirst);
    EXPECT_EQ(MomentOfLine(frame, 2), 3);
    EXPECT_EQ(MomentOfLine(frame, 3), 3);
}

TEST_F(TimeMix, FramesAreMadeReadyOnceEach)
{
    EXPECT_EQ(CollectedItems(mSource, Times(3, 4), mParams).size(), 2u);
    EXPECT_EQ(mInner->TakeCollects(), (FrameTimes{Time(4), Time(3)}));
    EXPECT_EQ(CollectedItems(mSource, Times(3, 3.5), mParams).size(), 1u);
    EXPECT_EQ(mInner->TakeCollects(), FrameTimes{Time(3)});
    EXPECT_EQ(CollectedItems(mSource, Time(3), mParams).size(), 1u);
    EXPECT_EQ(mInner->TakeCollects(), FrameTimes{Time(3)});
}

TEST_F(TimeMix, RatesAreThoseOfTheSource)
{
    mInner->mFieldType = kFieldType_UpperFirst;
    EXPECT_EQ(FrameRateOf(mSource), kRate50);
    EXPECT_EQ(FieldRateOf(mSource), kRate50 * 2);
}

TEST_F(TimeMix, FieldThatIsMissingIsBlack)
{
    mInner->mFrameFunction = [](const MF::FrameTime& inTime)
    {
        return inTime == Time(3)
                   ? TestSupport::NewFilledFrame(kPixelFormat_BGRA_4444_8u, 24, 8, {200, 200, 200, 255})
                   : MF::IVideoFrameRef();
    };
    const MF::IVideoFrameRef frame = RenderedFrame(mSource, Times(3, 4), mParams);
    ASSERT_TRUE(frame);
    EXPECT_EQ(TestSupport::PixelAt(frame, 0, 0)[0], 200);
    EXPECT_EQ(TestSupport::PixelAt(frame, 0, 1)[0], 0);
}

TEST_F(TimeMix, NothingDeliveredIsNoFrame)
{
    mInner->mIsEmpty = true;
    EXPECT_FALSE(RenderedFrame(mSource, Times(3, 4), mParams));
    EXPECT_FALSE(RenderedFrame(mSource, Times(3.25, 3.5), mParams));
    EXPECT_FALSE(RenderedFrame(mSource, Time(3), mParams));
}

TEST_F(TimeMix, FailuresOfTheSourceComeOut)
{
    mInner->mStatus = -5;
    EXPECT_THROW(RenderedFrame(mSource, Time(3), mParams), ML::RenderRequestException);
    const ML::IRenderableSourceRef empty = ML::TimeMixSource({});
    EXPECT_THROW(ConformedTime(empty, Time(0), mParams), TVK::NullInterfaceException);
    EXPECT_THROW(RenderedFrame(empty, Time(0), mParams), TVK::NullInterfaceException);
    EXPECT_THROW(CollectedItems(empty, Time(0), mParams), TVK::NullInterfaceException);
    EXPECT_THROW(FrameRateOf(empty), TVK::NullInterfaceException);
}

} // namespace
