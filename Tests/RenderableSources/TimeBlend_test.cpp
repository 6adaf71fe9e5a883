// Which frames a blended source is made of, by what weights, and what it asks of the source inside.
#include "RenderableSources.h"

#include "MF/SampleWeights.h"
#include "Tests/RenderableSources/PaintedSource.h"
#include "Tests/RenderableSources/SourceCalls.h"
#include "Tests/Support/FrameTools.h"
#include "Tests/Support/PixelMatchers.h"
#include "Tests/VideoRenderer/RenderParams.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>

namespace
{

using namespace norviktypes;
using TestSupport::NewFilledFrame;
using TestSupport::PaintedSource;
using TestSupport::PaintedSourceRef;

using FrameTimes = std::vector<MF::FrameTime>;

constexpr FrameRate kRate = FrameRate::FromRational(25, 1);
constexpr PixelFormat kBGRA = kPixelFormat_BGRA_4444_8u;

TickTime At(double inFrames)
{
    return TickTime(std::llround(inFrames * static_cast<double>(kRate.GetTicks())));
}

MF::FrameTime Times(double inFirst, double inSecond)
{
    return {At(inFirst), At(inSecond)};
}

MF::FrameTime Time(double inFrames)
{
    return MF::FrameTime(At(inFrames));
}

// The grey of frame n of the source: no two neighbours are alike.
std::uint8_t GreyOf(std::int64_t inFrame)
{
    return static_cast<std::uint8_t>(20 + inFrame * 83 % 211);
}

// Light of a coded value, by the camera curve of Rec. 709.
double Linear(double inCoded)
{
    return inCoded < 4.5 * 0.018053968510807
               ? inCoded / 4.5
               : std::pow((inCoded + 0.09929682680944) / 1.09929682680944, 1 / 0.45);
}

using Weights = std::map<int, double>;

double MixOf(const Weights& inWeights, double (*inValue)(std::int64_t))
{
    double sum = 0.0;
    for (const auto& [frame, weight] : inWeights)
    {
        sum += weight * inValue(frame);
    }
    return sum;
}

double ByteMix(const Weights& inWeights)
{
    return MixOf(inWeights, [](std::int64_t inFrame) -> double { return GreyOf(inFrame); });
}

double LightMix(const Weights& inWeights)
{
    return MixOf(inWeights, [](std::int64_t inFrame) { return Linear(GreyOf(inFrame) / 255.0); });
}

class TimeBlend : public testing::Test
{
protected:
    TimeBlend()
    {
        mParams.mFrameRate = kRate;
        mInner->mFrameFunction = [this](const MF::FrameTime& inTime) { return GreyFrame(inTime); };
    }

    MF::IVideoFrameRef GreyFrame(const MF::FrameTime& inTime) const
    {
        const std::uint8_t grey = GreyOf(inTime.Earlier().ToFrame64(kRate));
        const MF::IVideoFrameRef frame = NewFilledFrame(kBGRA, mWidth, mHeight, {grey, grey, grey, 255});
        frame->SetAlphaType(kAlphaChannel_Opaque);
        frame->Freeze();
        return frame;
    }

    MF::IVideoFrameRef Render(double inSpeed, const MF::FrameTime& inTime) const
    {
        return RenderedFrame(ML::TimeBlendSource(mInner, {}, inSpeed), inTime, mParams);
    }

    static double ByteOf(const MF::IVideoFrameRef& inFrame, std::uint32_t inLine = 0)
    {
        return TestSupport::RowOf(inFrame, inLine)[0];
    }

    std::uint32_t mWidth = 5;
    std::uint32_t mHeight = 4;
    PaintedSourceRef mInner{new PaintedSource};
    ML::CutlistRenderParams mParams = RenderParams(5, 4);
};

struct SpeedRow
{
    double mSpeed;
    double mTime; // in frames of the source
    Weights mWeights;
};

const std::vector<SpeedRow>& SpeedTable()
{
    static const std::vector<SpeedRow> table = {
        {0.25, 0.0, {{0, 1.0}}},
        {0.25, 0.25, {{0, 0.75}, {1, 0.25}}},
        {0.25, 0.5, {{0, 0.5}, {1, 0.5}}},
        {0.25, 3.75, {{3, 0.25}, {4, 0.75}}},
        {0.5, 7.0, {{7, 1.0}}},
        {0.5, 7.5, {{7, 0.5}, {8, 0.5}}},
        {1.5, 0.0, {{0, 2 / 3.0}, {1, 1 / 3.0}}},
        {1.5, 1.5, {{1, 1 / 3.0}, {2, 2 / 3.0}}},
        {1.5, 4.5, {{4, 1 / 3.0}, {5, 2 / 3.0}}},
        {2.0, 0.0, {{0, 0.5}, {1, 0.5}}},
        {2.0, 6.0, {{6, 0.5}, {7, 0.5}}},
        {2.0, 6.5, {{6, 0.25}, {7, 0.5}, {8, 0.25}}},
        {3.7, 0.0, {{0, 10 / 37.0}, {1, 10 / 37.0}, {2, 10 / 37.0}, {3, 7 / 37.0}}},
        {3.7, 3.7, {{3, 3 / 37.0}, {4, 10 / 37.0}, {5, 10 / 37.0}, {6, 10 / 37.0}, {7, 4 / 37.0}}},
        {3.7, 37.0, {{37, 10 / 37.0}, {38, 10 / 37.0}, {39, 10 / 37.0}, {40, 7 / 37.0}}},
        {-1.0, 5.0, {{5, 1.0}}},
        {-1.0, 4.75, {{4, 0.25}, {5, 0.75}}},
        {-1.0, 4.5, {{4, 0.5}, {5, 0.5}}},
    };
    return table;
}

TEST_F(TimeBlend, BytesAreTheWeightedMean)
{
    for (const SpeedRow& row : SpeedTable())
    {
        const MF::IVideoFrameRef frame = Render(row.mSpeed, Time(row.mTime));
        ASSERT_TRUE(frame);
        EXPECT_NEAR(ByteOf(frame), ByteMix(row.mWeights), 0.51) << row.mSpeed << " at " << row.mTime;
        const auto grey = static_cast<std::uint8_t>(ByteOf(frame));
        EXPECT_TRUE(TestSupport::IsFilledWith(frame, {grey, grey, grey, 255}));
        EXPECT_EQ(frame->GetFieldType(), kFieldType_Progressive);
    }
}

TEST_F(TimeBlend, LightIsTheWeightedMeanAtTheHighestQuality)
{
    mParams.mRenderQuality = kRenderQuality_Max;
    for (const SpeedRow& row : SpeedTable())
    {
        const MF::IVideoFrameRef frame = Render(row.mSpeed, Time(row.mTime));
        ASSERT_TRUE(frame);
        PixelFormat format;
        frame->GetPixelFormat(format);
        if (row.mSpeed == -1.0 && row.mWeights.size() == 1)
        {
            EXPECT_EQ(format, kBGRA) << "nothing is blended";
            continue;
        }
        ASSERT_EQ(format, kPixelFormat_BGRP_4444_32f_Linear);
        float pixel[4];
        std::memcpy(pixel, TestSupport::RowOf(frame, 3) + 16 * 4, sizeof(pixel));
        EXPECT_NEAR(pixel[1], LightMix(row.mWeights), 2e-6) << row.mSpeed << " at " << row.mTime;
        EXPECT_NEAR(pixel[3], 1.0, 1e-6);
    }
}

TEST_F(TimeBlend, EachFrameIsRenderedOnceAndNoOther)
{
    for (const SpeedRow& row : SpeedTable())
    {
        mInner->TakeRenders();
        Render(row.mSpeed, Time(row.mTime));
        FrameTimes expected;
        for (const auto& entry : row.mWeights)
        {
            expected.push_back(Time(entry.first));
        }
        EXPECT_EQ(mInner->TakeRenders(), expected) << row.mSpeed << " at " << row.mTime;
    }
}

TEST_F(TimeBlend, FrameThatBothFieldsNeedIsRenderedOnce)
{
    Render(3.0, Times(0, 1.5));
    EXPECT_EQ(mInner->TakeRenders(), (FrameTimes{Time(0), Time(1), Time(2)}));
    Render(0.5, Times(0.5, 0.75));
    EXPECT_EQ(mInner->TakeRenders(), (FrameTimes{Time(0), Time(1)}));
}

struct FieldRow
{
    double mSpeed;
    MF::FrameTime mTime;
    Weights mUpper;
    Weights mLower;
};

// A progressive source, an output of fields: half of what a frame plays for each.
const std::vector<FieldRow>& FieldTable()
{
    static const std::vector<FieldRow> table = {
        {3.0, Times(0, 1.5), {{0, 2 / 3.0}, {1, 1 / 3.0}}, {{1, 1 / 3.0}, {2, 2 / 3.0}}},
        {3.0, Times(1.5, 0), {{1, 1 / 3.0}, {2, 2 / 3.0}}, {{0, 2 / 3.0}, {1, 1 / 3.0}}},
        {4.0, Times(4, 6), {{4, 0.5}, {5, 0.5}}, {{6, 0.5}, {7, 0.5}}},
        {2.0, Times(0.5, 1.5), {{0, 0.5}, {1, 0.5}}, {{1, 0.5}, {2, 0.5}}},
        {2.0, Times(1.5, 0.5), {{1, 0.5}, {2, 0.5}}, {{0, 0.5}, {1, 0.5}}},
        {1.0, Times(3, 3.5), {{3, 1.0}}, {{3, 0.5}, {4, 0.5}}},
        {0.5, Times(3.5, 3.75), {{3, 0.5}, {4, 0.5}}, {{3, 0.25}, {4, 0.75}}},
        {0.5, Times(3.75, 3.5), {{3, 0.25}, {4, 0.75}}, {{3, 0.5}, {4, 0.5}}},
    };
    return table;
}

TEST_F(TimeBlend, FieldsAreBlendedFromTheirOwnSamples)
{
    for (const std::uint32_t height : {8u, 7u, 2u, 1u})
    {
        mHeight = mParams.mHeight = height;
        for (const FieldRow& row : FieldTable())
        {
            const MF::IVideoFrameRef frame = Render(row.mSpeed, row.mTime);
            ASSERT_TRUE(frame);
            EXPECT_EQ(frame->GetFieldType(), row.mTime.Order());
            for (std::uint32_t line = 0; line < height; ++line)
            {
                EXPECT_NEAR(ByteOf(frame, line), ByteMix(line % 2 == 0 ? row.mUpper : row.mLower), 0.51)
                    << row.mSpeed << " line " << line << " of " << height;
            }
        }
    }
}

TEST_F(TimeBlend, FieldsArePicturesWhereverTheFirstLineLiesInMemory)
{
    mInner->mFrameFunction = [](const MF::FrameTime& inTime)
    {
        const std::uint8_t grey = GreyOf(inTime.Earlier().ToFrame64(kRate));
        return NewFilledFrame(kPixelFormat_BGRA_4444_8u_BottomUp, 5, 4, {grey, grey, grey, 255});
    };
    const FieldRow& row = FieldTable().front();
    for (const RenderQuality quality : {kRenderQuality_High, kRenderQuality_Max})
    {
        mParams.mRenderQuality = quality;
        const MF::IVideoFrameRef frame = TestSupport::CopyAs(Render(row.mSpeed, row.mTime), kBGRA);
        for (std::uint32_t line = 0; line < 4; ++line)
        {
            const Weights& weights = line % 2 == 0 ? row.mUpper : row.mLower;
            const double byte = ByteOf(frame, line);
            EXPECT_NEAR(quality == kRenderQuality_Max ? Linear(byte / 255) : byte,
                        quality == kRenderQuality_Max ? LightMix(weights) : ByteMix(weights),
                        quality == kRenderQuality_Max ? 0.01 : 0.51)
                << line;
        }
    }
    // An odd height from the bottom up, which a target from the top down cannot be walked like.
    mInner->mFrameFunction = [](const MF::FrameTime&) {
        return NewFilledFrame(kPixelFormat_BGRA_4444_8u_BottomUp, 5, 5, {70, 70, 70, 255});
    };
    mParams.mHeight = 5;
    const MF::IVideoFrameRef odd = TestSupport::CopyAs(Render(row.mSpeed, row.mTime), kBGRA);
    EXPECT_TRUE(TestSupport::IsFilledWith(odd, {70, 70, 70, 255}));
}

TEST_F(TimeBlend, FrameOnASourceFrameAtItsOwnSpeedIsPassedOn)
{
    const MF::IVideoFrameRef given = GreyFrame(Time(3));
    mInner->mFrameFunction = [&](const MF::FrameTime&) { return given; };
    EXPECT_TRUE(Render(1.0, Time(3)) == given);
    EXPECT_TRUE(Render(-1.0, Time(3)) == given);
    mParams.mRenderQuality = kRenderQuality_Max;
    EXPECT_TRUE(Render(1.0, Time(3)) == given);
    mInner->mFieldType = kFieldType_UpperFirst;
    mInner->TakeRenders();
    EXPECT_TRUE(Render(1.0, Times(3, 3.5)) == given);
    EXPECT_EQ(mInner->TakeRenders(), (FrameTimes{Times(3, 3.5)}));
}

TEST_F(TimeBlend, RatesAreConvertedByBlending)
{
    // A sequence of 10 frames a second plays two and a half of the source's 25.
    mParams.mFrameRate = FrameRate::FromRational(10, 1);
    EXPECT_NEAR(ByteOf(Render(1.0, Time(2.5))), ByteMix({{2, 0.2}, {3, 0.4}, {4, 0.4}}), 0.51);
    // One of 50 plays half of one.
    mParams.mFrameRate = FrameRate::FromRational(50, 1);
    EXPECT_NEAR(ByteOf(Render(1.0, Time(2.5))), ByteMix({{2, 0.5}, {3, 0.5}}), 0.51);
}

TEST_F(TimeBlend, NothingIsBlendedBelowMediumQuality)
{
    mParams.mRenderQuality = kRenderQuality_Low;
    const ML::IRenderableSourceRef source = ML::TimeBlendSource(mInner, {}, 2.0);
    EXPECT_EQ(ConformedTime(source, Time(3.25), mParams), Time(3));
    mInner->TakeRenders();
    EXPECT_EQ(ByteOf(RenderedFrame(source, Time(3), mParams)), GreyOf(3));
    EXPECT_EQ(mInner->TakeRenders(), FrameTimes{Time(3)});
    EXPECT_EQ(CollectedItems(source, Time(3), mParams).size(), 1u);
    mParams.mRenderQuality = kRenderQuality_Medium;
    EXPECT_EQ(ConformedTime(source, Time(3.25), mParams), Time(3.25));
    EXPECT_NEAR(ByteOf(RenderedFrame(source, Time(3), mParams)), ByteMix({{3, 0.5}, {4, 0.5}}), 0.51);
}

TEST_F(TimeBlend, WhatIsRenderedIsMadeReadyBefore)
{
    const auto check = [&](double inSpeed, const MF::FrameTime& inTime)
    {
        const ML::IRenderableSourceRef source = ML::TimeBlendSource(mInner, {}, inSpeed);
        mInner->TakeRenders();
        mInner->TakeCollects();
        const std::size_t items = CollectedItems(source, inTime, mParams).size();
        const FrameTimes collected = mInner->TakeCollects();
        EXPECT_TRUE(RenderedFrame(source, inTime, mParams));
        EXPECT_EQ(collected, mInner->TakeRenders()) << inSpeed;
        EXPECT_EQ(items, collected.size());
    };
    for (const SpeedRow& row : SpeedTable())
    {
        check(row.mSpeed, Time(row.mTime));
    }
    for (const FieldRow& row : FieldTable())
    {
        check(row.mSpeed, row.mTime);
    }
    mInner->mFieldType = kFieldType_UpperFirst;
    check(1.0, Times(3, 3.5));
    check(2.0, Times(3, 4));
    check(0.5, Times(3.25, 3.5));
}

TEST_F(TimeBlend, FrameThatIsNotDeliveredIsLostWithItsWeight)
{
    mInner->mFrameFunction = [&](const MF::FrameTime& inTime)
    { return inTime == Time(1) ? MF::IVideoFrameRef() : GreyFrame(inTime); };
    for (const auto& [speed, time, weight] : {std::tuple(0.5, 0.5, 0.5), std::tuple(1.5, 0.0, 2 / 3.0)})
    {
        const MF::IVideoFrameRef frame = Render(speed, Time(time));
        ASSERT_TRUE(frame);
        EXPECT_TRUE(frame->MayHaveTransparency());
        const std::vector<std::uint8_t> pixel = TestSupport::PixelAt(frame, 2, 2);
        EXPECT_EQ(pixel[0], GreyOf(0)) << "straight colour: as it was";
        EXPECT_NEAR(pixel[3], 255 * weight, 0.51) << "only fainter";
    }
}

TEST_F(TimeBlend, NothingDeliveredIsBlack)
{
    mInner->mIsEmpty = true;
    for (const auto& [speed, time] : {std::pair(0.5, Time(0.5)), std::pair(2.0, Time(0)),
                                      std::pair(2.0, Times(0.5, 1.5)), std::pair(0.5, Times(0.25, 0.5))})
    {
        const MF::IVideoFrameRef frame = Render(speed, time);
        ASSERT_TRUE(frame);
        TVK::Rect bounds;
        frame->GetBounds(bounds);
        EXPECT_EQ(bounds, (TVK::Rect{0, 0, 5, 4}));
        EXPECT_TRUE(TestSupport::IsFilledWith(frame, {0, 0, 0, 0}));
    }
}

TEST_F(TimeBlend, FrameAfterTheEndIsLostWithItsWeight)
{
    mInner->mFrameFunction = [&](const MF::FrameTime& inTime)
    {
        if (inTime.mFirstTime >= At(10))
        {
            throw ML::RenderRequestException(BE::kSourceStatus_PastEnd);
        }
        return GreyFrame(inTime);
    };
    EXPECT_NEAR(TestSupport::PixelAt(Render(2.0, Time(9)), 0, 0)[3], 128, 1);
    EXPECT_EQ(ByteOf(Render(0.5, Time(9))), GreyOf(9)) << "needs nothing after it";
    try
    {
        Render(2.0, Time(10));
        ADD_FAILURE() << "nothing there, and nobody was told";
    }
    catch (const ML::RenderRequestException& exception)
    {
        EXPECT_EQ(exception.GetStatus(), BE::kSourceStatus_PastEnd);
    }
}

TEST_F(TimeBlend, FailuresOfTheSourceComeOut)
{
    mInner->mFrameFunction = [&](const MF::FrameTime& inTime)
    {
        if (inTime == Time(1))
        {
            throw ML::RenderRequestException(BE::kSourceStatus_BadMedia);
        }
        return GreyFrame(inTime);
    };
    EXPECT_THROW(Render(2.0, Time(0)), ML::RenderRequestException) << "one that is damaged, not past the end";
    mInner->mStatus = BE::kSourceStatus_BadMedia;
    EXPECT_THROW(Render(2.0, Time(0)), ML::RenderRequestException);
    EXPECT_THROW(Render(0.5, Time(0.5)), ML::RenderRequestException);
    const ML::IRenderableSourceRef empty = ML::TimeBlendSource({}, {}, 2.0);
    EXPECT_THROW(RenderedFrame(empty, Time(0), mParams), TVK::NullInterfaceException);
    EXPECT_THROW(CollectedItems(empty, Time(0), mParams), TVK::NullInterfaceException);
    EXPECT_THROW(FieldRateOf(empty), TVK::NullInterfaceException);
    mParams.mRenderQuality = kRenderQuality_Low;
    EXPECT_THROW(ConformedTime(empty, Time(0), mParams), TVK::NullInterfaceException);
}

TEST_F(TimeBlend, RatesAreThoseOfTheSource)
{
    mInner->mFieldType = kFieldType_LowerFirst;
    const ML::IRenderableSourceRef source = ML::TimeBlendSource(mInner, {}, 2.0);
    EXPECT_EQ(FrameRateOf(source), kRate);
    EXPECT_EQ(FieldRateOf(source), kRate * 2);
}

TEST_F(TimeBlend, MomentsOfFieldsAreSamplesOfTheirOwn)
{
    // Fields that come as frames of their own: a frame of the output plays two of them.
    mInner->mFrameFunction = {};
    mInner->mFieldType = kFieldType_FromSource;
    mParams = RenderParams(TestSupport::kPaintedSourceWidth, 8);
    mParams.mFrameRate = kRate;
    const MF::IVideoFrameRef frame = Render(1.0, Time(2));
    EXPECT_EQ(mInner->TakeRenders(), (FrameTimes{Time(2), Time(2.5)}));
    EXPECT_NEAR(TestSupport::ReadLevels(frame, 0).mMoment, TestSupport::LevelsOf(4, 0).mMoment + 4, 0.51);
}

TEST_F(TimeBlend, FramesKeepTheirOwnSizeAndAspect)
{
    mWidth = 9;
    mHeight = 3;
    mInner->mFrameFunction = [&](const MF::FrameTime& inTime)
    {
        const MF::IVideoFrameRef frame = TestSupport::CopyAs(GreyFrame(inTime), kBGRA);
        frame->SetPixelAspectRatio({16, 11});
        return frame;
    };
    for (const double speed : {0.5, 2.0})
    {
        const MF::IVideoFrameRef frame = Render(speed, Time(0.5));
        TVK::Rect bounds;
        frame->GetBounds(bounds);
        EXPECT_EQ(bounds, (TVK::Rect{0, 0, 9, 3}));
        PixelAspectRatio ratio;
        frame->GetPixelAspectRatio(ratio);
        EXPECT_EQ(ratio, PixelAspectRatio(16, 11));
    }
}

TEST_F(TimeBlend, FramesThatStandForTheRenderSizeAreScaledToIt)
{
    mWidth = mParams.mSourceWidth = 10;
    mHeight = mParams.mSourceHeight = 8;
    mInner->mFrameFunction = [&](const MF::FrameTime& inTime)
    {
        const MF::IVideoFrameRef frame = TestSupport::CopyAs(GreyFrame(inTime), kBGRA);
        TestSupport::MakeSubstitute(frame);
        return frame;
    };
    for (const MF::FrameTime& time : {Time(0), Times(0, 1)})
    {
        const MF::IVideoFrameRef frame = Render(2.0, time);
        TVK::Rect bounds;
        frame->GetBounds(bounds);
        EXPECT_EQ(bounds, (TVK::Rect{0, 0, 5, 4}));
    }
    EXPECT_NEAR(ByteOf(Render(2.0, Time(0))), ByteMix({{0, 0.5}, {1, 0.5}}), 0.51);
}

TEST_F(TimeBlend, FramesOfOtherSizesGoByTheFirst)
{
    mInner->mFrameFunction = [&](const MF::FrameTime& inTime)
    {
        mWidth = inTime == Time(0) ? 5 : 64;
        mHeight = inTime == Time(0) ? 4 : 50;
        return GreyFrame(inTime);
    };
    for (const MF::FrameTime& time : {Time(0), Times(0, 0.75), Time(0.5)})
    {
        const MF::IVideoFrameRef frame = Render(1.5, time);
        TVK::Rect bounds;
        frame->GetBounds(bounds);
        EXPECT_EQ(bounds, (TVK::Rect{0, 0, 5, 4}));
    }
    EXPECT_NEAR(ByteOf(Render(1.5, Time(0))), ByteMix({{0, 2 / 3.0}, {1, 1 / 3.0}}), 0.51);
}

TEST_F(TimeBlend, WildcardIsBlendedInTheFormatOfTheFrames)
{
    mParams.mPixelFormat = kPixelFormat_Any;
    for (const PixelFormat& format : {kBGRA, kPixelFormat_UYVY_422_8u_709, kPixelFormat_YUV_422_Planar_8u_709,
                                      kPixelFormat_YUV_420_MPEG2_Field_8u_709})
    {
        mInner->mFrameFunction = [&](const MF::FrameTime& inTime)
        { return TestSupport::CopyAs(GreyFrame(inTime), format); };
        const MF::IVideoFrameRef frame = Render(2.0, Time(0));
        ASSERT_TRUE(frame);
        EXPECT_EQ(frame->MayHaveTransparency(), false);
        EXPECT_NEAR(ByteOf(TestSupport::CopyAs(frame, kBGRA)), ByteMix({{0, 0.5}, {1, 0.5}}), 2);
    }
}

// Chroma is not interpolated on the way to four components and back: each byte is the mean of its like.
TEST_F(TimeBlend, PlanesThatAreWishedForAreBlendedPlaneByPlane)
{
    for (const PixelFormat& format :
         {kPixelFormat_YUV_420_MPEG2_Frame_8u_709, kPixelFormat_YUV_422_Planar_8u_709,
          kPixelFormat_YUV_420_Center_Frame_8u_601_Full})
    {
        const auto noise = [&](std::int64_t inFrame)
        {
            const MF::IVideoFrameRef frame = TestSupport::NewFrame(format, 23, 7);
            TestSupport::FillWithNoise(frame, static_cast<std::uint64_t>(inFrame + 1));
            frame->Freeze();
            return frame;
        };
        mInner->mFrameFunction = [&](const MF::FrameTime& inTime)
        { return noise(inTime.Earlier().ToFrame64(kRate)); };
        mParams = RenderParams(23, 7, kRenderQuality_High, format);
        mParams.mFrameRate = kRate;
        for (const SpeedRow& row : SpeedTable())
        {
            const MF::IVideoFrameRef frame = Render(row.mSpeed, Time(row.mTime));
            ASSERT_TRUE(frame);
            PixelFormat blended;
            frame->GetPixelFormat(blended);
            ASSERT_EQ(blended, format) << row.mSpeed << " at " << row.mTime;
            const std::vector<std::uint8_t> bytes = TestSupport::PixelBytes(frame);
            std::vector<double> expected(bytes.size());
            for (const auto& [number, weight] : row.mWeights)
            {
                const std::vector<std::uint8_t> term = TestSupport::PixelBytes(noise(number));
                ASSERT_EQ(term.size(), bytes.size());
                for (std::size_t at = 0; at < bytes.size(); ++at)
                {
                    expected[at] += weight * term[at];
                }
            }
            for (std::size_t at = 0; at < bytes.size(); ++at)
            {
                ASSERT_NEAR(bytes[at], expected[at], 0.51)
                    << row.mSpeed << " at " << row.mTime << ", byte " << at;
            }
        }
    }
}

TEST_F(TimeBlend, SpeedsWithoutEndStayWithinMemory)
{
    mInner->mFrameFunction = [&](const MF::FrameTime&) { return GreyFrame(Time(0)); };
    for (const double speed : {1e6, 1e300, HUGE_VAL, -HUGE_VAL})
    {
        mInner->TakeRenders();
        EXPECT_NEAR(ByteOf(Render(speed, Time(0))), GreyOf(0), 1) << speed;
        EXPECT_LE(mInner->TakeRenders().size(), MF::kMostSamplesOfRange);
    }
    EXPECT_EQ(ByteOf(Render(std::nan(""), Time(3))), GreyOf(0));
}

class TimeBlendOfFields : public testing::TestWithParam<std::tuple<PixelFormat, FieldType, std::uint32_t>>
{
protected:
    TimeBlendOfFields()
    {
        mInner->mFormat = std::get<0>(GetParam());
        mInner->mFieldType = std::get<1>(GetParam());
        mInner->mHeight = std::get<2>(GetParam());
        mParams = RenderParams(TestSupport::kPaintedSourceWidth, mInner->mHeight, kRenderQuality_High,
                               mInner->mFormat);
        mParams.mFrameRate = kRate;
        mParams.mDeinterlaceQuality = kRenderQuality_Draft;
    }

    PaintedSourceRef mInner{new PaintedSource};
    ML::CutlistRenderParams mParams;
};

// The moment that a line shows, in fields of the source.
double MomentOf(const TestSupport::LineLevels& inLevels)
{
    return (inLevels.mMoment - TestSupport::LevelsOf(0, 0).mMoment) / 8.0;
}

TEST_P(TimeBlendOfFields, SlowMotionMovesOnEvenlyFromFieldToField)
{
    const FieldType order = std::get<1>(GetParam());
    for (const double speed : {0.5, 0.25})
    {
        for (double field = 4; field < 8; field += 2 * speed)
        {
            // A frame that may be written serves both fields as well.
            mInner->mFreezes = speed == 0.5;
            const MF::FrameTime time = order == kFieldType_UpperFirst ? Times(field / 2, (field + speed) / 2)
                                                                      : Times((field + speed) / 2, field / 2);
            const MF::IVideoFrameRef frame =
                RenderedFrame(ML::TimeBlendSource(mInner, {}, speed), time, mParams);
            ASSERT_TRUE(frame);
            EXPECT_EQ(frame->GetFieldType(), order);
            for (std::uint32_t line = 0; line < mInner->mHeight; ++line)
            {
                const bool isEarlier = (line % 2 == 0) == (order == kFieldType_UpperFirst);
                const TestSupport::LineLevels levels = TestSupport::ReadLevels(frame, line);
                EXPECT_NEAR(MomentOf(levels), isEarlier ? field : field + speed, 0.14)
                    << "line " << line << " at field " << field;
                EXPECT_NEAR(levels.mParity, TestSupport::LevelsOf(0, line).mParity, 1)
                    << "lines of the other field";
                EXPECT_NEAR(levels.mLine, TestSupport::LevelsOf(0, line).mLine, 1)
                    << "lines of another place";
            }
        }
    }
}

TEST_P(TimeBlendOfFields, FastMotionTakesEachFieldFromItsOwnLines)
{
    const FieldType order = std::get<1>(GetParam());
    // Each field of the output plays one frame of the source: 2 and 3.
    const MF::FrameTime time = order == kFieldType_UpperFirst ? Times(2, 3) : Times(3, 2);
    const MF::IVideoFrameRef frame = RenderedFrame(ML::TimeBlendSource(mInner, {}, 2.0), time, mParams);
    ASSERT_TRUE(frame);
    for (std::uint32_t line = 0; line < mInner->mHeight; ++line)
    {
        const bool isEarlier = (line % 2 == 0) == (order == kFieldType_UpperFirst);
        const TestSupport::LineLevels levels = TestSupport::ReadLevels(frame, line);
        EXPECT_NEAR(MomentOf(levels), isEarlier ? 4 : 7, 0.14) << "line " << line;
        EXPECT_NEAR(levels.mParity, TestSupport::LevelsOf(0, line).mParity, 1);
        EXPECT_NEAR(levels.mLine, TestSupport::LevelsOf(0, line).mLine, 1);
    }
    EXPECT_EQ(mInner->TakeRenders().size(), 2u) << "both fields of a frame are one frame";
}

TEST_P(TimeBlendOfFields, ProgressiveOutputHasOneFieldOnAllLines)
{
    for (const double speed : {0.5, 2.0})
    {
        const MF::IVideoFrameRef frame =
            RenderedFrame(ML::TimeBlendSource(mInner, {}, speed), Time(2.25), mParams);
        ASSERT_TRUE(frame);
        EXPECT_EQ(frame->GetFieldType(), kFieldType_Progressive);
        for (std::uint32_t line = 0; line < mInner->mHeight; ++line)
        {
            EXPECT_NEAR(TestSupport::ReadLevels(frame, line).mParity, TestSupport::LevelsOf(0, 1).mParity, 1)
                << "line " << line;
        }
    }
}

// A line between two of the lower field is made of both, or is one of them at the lowest quality.
TEST_F(TimeBlend, FieldIsSpreadAtTheQualityOfDeinterlacing)
{
    mInner->mFieldType = kFieldType_UpperFirst;
    mInner->mFrameFunction = [](const MF::FrameTime&)
    {
        const MF::IVideoFrameRef frame = NewFilledFrame(kBGRA, 5, 4, {0, 0, 0, 255});
        std::fill_n(TestSupport::RowOf(frame, 3), 20, std::uint8_t{100});
        frame->SetFieldType(kFieldType_UpperFirst);
        frame->Freeze();
        return frame;
    };
    const MF::FrameTime time(TickTime(kRate.GetTicks() / 3));
    const double made = ByteOf(Render(0.5, time), 2);
    EXPECT_TRUE(0 < made && made < 100) << made;
    mParams.mDeinterlaceQuality = kRenderQuality_Draft;
    const double draft = ByteOf(Render(0.5, time), 2);
    EXPECT_TRUE(draft == 0 || draft == 100) << draft;
}

INSTANTIATE_TEST_SUITE_P(Formats, TimeBlendOfFields,
                         testing::Combine(testing::Values(kBGRA, kPixelFormat_UYVY_422_8u_709,
                                                          kPixelFormat_YUV_422_Planar_8u_709,
                                                          kPixelFormat_YUV_420_MPEG2_Field_8u_709,
                                                          kPixelFormat_YUV_420_MPEG2_Frame_8u_709),
                                          testing::Values(kFieldType_UpperFirst, kFieldType_LowerFirst),
                                          testing::Values(8u, 7u)));

} // namespace
