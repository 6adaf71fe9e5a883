#include "Tests/VideoRenderer/IntrinsicTests.h"

#include "IR/BlendModes.h"
#include "Tests/VideoRenderer/MotionRecorder.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

namespace
{

using namespace IntrinsicTests;

constexpr PixelFormat kLinear = kPixelFormat_BGRP_4444_32f_Linear;

MotionCall OnlyCall(const MF::IVideoFrameRef& inFrame, const NodeIntrinsicParameters& inIntrinsics,
                    const ML::CutlistRenderParams& inParams)
{
    const MotionRecorder motion;
    DrawOnNothing(inFrame, inIntrinsics, inParams);
    return motion.Calls().at(0);
}

TEST(IntrinsicDrawing, RecordSizesAndAspectsReachTheDrawing)
{
    NodeIntrinsicParameters record;
    record.positionX = 0.25f;
    record.positionY = 0.375f;
    record.anchorX = 0.125f;
    record.anchorY = 0.625f;
    record.scaleX = 2.0f;
    record.scaleY = 3.0f;
    record.rotation = 725.0;
    record.opacity = 0.5f;
    record.antiFlicker = 0.75;
    record.highQualitySampling = 1;
    ML::CutlistRenderParams params = RenderParams(8, 4, kRenderQuality_Medium);
    params.mDeinterlaceQuality = kRenderQuality_Draft;
    params.mPixelAspectRatio = {16, 15};
    const MF::IVideoFrameRef frame = Noise(kBGRA, 6, 2);
    frame->SetPixelAspectRatio({4, 3});
    const MotionCall call = OnlyCall(frame, record, params);
    EXPECT_EQ(0.25f, call.mSettings.positionX);
    EXPECT_EQ(0.375f, call.mSettings.positionY);
    EXPECT_EQ(0.125f, call.mSettings.anchorX);
    EXPECT_EQ(0.625f, call.mSettings.anchorY);
    EXPECT_EQ(2.0f, call.mSettings.scaleX);
    EXPECT_EQ(3.0f, call.mSettings.scaleY);
    EXPECT_EQ(725.0, call.mSettings.rotation);
    EXPECT_EQ(0.5f, call.mSettings.opacity);
    EXPECT_EQ(0.75, call.mSettings.antiFlicker);
    EXPECT_EQ(1, call.mSettings.highQualitySampling);
    EXPECT_EQ(kRenderQuality_Medium, call.mSettings.quality);
    EXPECT_EQ(6, call.mSource.width);
    EXPECT_EQ(8, call.mTarget.width);
    EXPECT_EQ(4u, call.mSource.aspectNumerator);
    EXPECT_EQ(3u, call.mSource.aspectDenominator);
    EXPECT_EQ(16u, call.mTarget.aspectNumerator);
    EXPECT_EQ(15u, call.mTarget.aspectDenominator);
    EXPECT_FALSE(call.mClip);
}

TEST(IntrinsicDrawing, AspectThatSaysNothingIsSquare)
{
    const MF::IVideoFrameRef frame = Noise(kBGRA, 6, 4);
    frame->SetPixelAspectRatio(kPixelAspectRatio_Any);
    const MotionCall call = OnlyCall(frame, kDefaults, RenderParams(8, 4));
    EXPECT_EQ(1u, call.mSource.aspectNumerator);
    EXPECT_EQ(1u, call.mSource.aspectDenominator);
}

TEST(IntrinsicDrawing, AnchorOfAnotherSizeKeepsItsDistanceFromTheMiddle)
{
    NodeIntrinsicParameters record;
    record.anchorX = 0.25f;
    record.anchorY = 0.75f;
    record.sourceWidth = 20;
    record.sourceHeight = 10;
    const MotionCall call = OnlyCall(Noise(kBGRA, 40, 30), record, RenderParams(8, 4));
    // 5 pixels left of the middle of 20, and of 40.
    EXPECT_EQ(15.0f / 40.0f, call.mSettings.anchorX);
    // 2.5 pixels from the middle of 10, and of 30.
    EXPECT_FLOAT_EQ(17.5f / 30.0f, call.mSettings.anchorY);

    record.sourceWidth = 40;
    record.sourceHeight = 30;
    EXPECT_EQ(0.25f, OnlyCall(Noise(kBGRA, 40, 30), record, RenderParams(8, 4)).mSettings.anchorX);
}

TEST(IntrinsicDrawing, AnchorIsRecentredWhereOneSideDiffers)
{
    NodeIntrinsicParameters record;
    record.anchorX = 0.25f;
    record.anchorY = 0.75f;
    record.sourceWidth = 40;
    record.sourceHeight = 10;
    const MotionCall call = OnlyCall(Noise(kBGRA, 40, 30), record, RenderParams(8, 4));
    EXPECT_EQ(0.25f, call.mSettings.anchorX);
    EXPECT_FLOAT_EQ(17.5f / 30.0f, call.mSettings.anchorY);
}

TEST(IntrinsicDrawing, AnchorIsRecentredWhereOneSideIsToldAlone)
{
    NodeIntrinsicParameters record;
    record.anchorX = 0.25f;
    record.anchorY = 0.75f;
    record.sourceHeight = 10;
    const MotionCall call = OnlyCall(Noise(kBGRA, 40, 30), record, RenderParams(8, 4));
    EXPECT_EQ(0.5f, call.mSettings.anchorX);
    EXPECT_FLOAT_EQ(17.5f / 30.0f, call.mSettings.anchorY);
}

TEST(IntrinsicDrawing, OriginPlacesTheOutputWithinTheFrame)
{
    const MF::IVideoFrameRef frame = Noise(kBGRA, 16, 8);
    frame->SetOrigin({5, 2});
    const MF::IVideoFrameRef drawn = DrawOnNothing(frame, kDefaults, RenderParams(8, 4));
    for (std::uint32_t y = 0; y < 4; ++y)
    {
        for (std::uint32_t x = 0; x < 8; ++x)
        {
            const auto expected = TestSupport::PixelAt(frame, x + 5, y + 2);
            if (expected[3] == 255)
            {
                EXPECT_EQ(expected, TestSupport::PixelAt(drawn, x, y));
            }
            else
            {
                EXPECT_EQ(expected[3], TestSupport::PixelAt(drawn, x, y)[3]);
            }
        }
    }
    ML::CutlistRenderParams reduced = RenderParams(8, 4);
    reduced.mSourceWidth = 80;
    reduced.mSourceHeight = 40;
    const MotionCall call = OnlyCall(frame, kDefaults, reduced);
    EXPECT_EQ(0.5f + ((4.0f + 5.0f) / 16.0f - 0.5f), call.mSettings.anchorX);
    EXPECT_EQ(0.5f - ((2.0f + 2.0f) / 8.0f - 0.5f), call.mSettings.anchorY);
}

TEST(IntrinsicDrawing, OddDifferenceOfHeightsMovesTheAnchorHalfALineWithoutFieldsOnly)
{
    ML::CutlistRenderParams params = RenderParams(8, 4);
    EXPECT_EQ(0.5f - 0.5f / 7.0f, OnlyCall(Noise(kBGRA, 8, 7), kDefaults, params).mSettings.anchorY);
    EXPECT_EQ(0.5f - 0.5f / 3.0f, OnlyCall(Noise(kBGRA, 8, 3), kDefaults, params).mSettings.anchorY)
        << "a smaller frame differs by an odd number too";
    EXPECT_EQ(0.5f, OnlyCall(Noise(kBGRA, 8, 6), kDefaults, params).mSettings.anchorY);
    params.mFieldType = kFieldType_UpperFirst;
    EXPECT_EQ(0.5f, OnlyCall(Noise(kBGRA, 8, 7), kDefaults, params).mSettings.anchorY);
    params.mFieldType = kFieldType_LowerFirst;
    EXPECT_EQ(0.5f, OnlyCall(Noise(kBGRA, 8, 7), kDefaults, params).mSettings.anchorY);
}

TEST(IntrinsicDrawing, OddDifferenceCountsNotWhereAnOriginIsSet)
{
    const MF::IVideoFrameRef frame = Noise(kBGRA, 8, 7);
    frame->SetOrigin({0, 1});
    EXPECT_EQ(0.5f - ((2.0f + 1.0f) / 7.0f - 0.5f),
              OnlyCall(frame, kDefaults, RenderParams(8, 4)).mSettings.anchorY);
}

TEST(IntrinsicDrawing, ScanlineOffsetCountsInOutputLines)
{
    NodeIntrinsicParameters record;
    record.scanlineOffset = -3;
    EXPECT_EQ(0.5f - 3.0f / 16.0f,
              OnlyCall(Noise(kBGRA, 8, 8), record, RenderParams(8, 16)).mSettings.positionY);
}

TEST(IntrinsicDrawing, BlendModeOverAPictureTakesItsOwnOpacity)
{
    NodeIntrinsicParameters record;
    record.opacity = 0.75f;
    record.blendOpacity = 0.25f;
    record.blendMode = kIR_Blend_Multiply;
    const MotionRecorder motion;
    DrawOver(Noise(kBGRA, 8, 4), Noise(kBGRA, 8, 4, 2), record, RenderParams(8, 4));
    record.blendMode = ML::kBlendMode_Normal;
    DrawOver(Noise(kBGRA, 8, 4), Noise(kBGRA, 8, 4, 2), record, RenderParams(8, 4));
    ASSERT_EQ(2u, motion.Calls().size());
    EXPECT_EQ(17u, motion.Calls()[0].mBlendMode.value());
    EXPECT_EQ(0.25f, motion.Calls()[0].mSettings.opacity);
    EXPECT_EQ(1, motion.Calls()[0].mSettings.targetHasPicture);
    EXPECT_FALSE(motion.Calls()[1].mBlendMode);
    EXPECT_EQ(0.75f, motion.Calls()[1].mSettings.opacity);
}

TEST(IntrinsicDrawing, AlphaThatDoesNotCountIsNotRead)
{
    const MF::IVideoFrameRef frame = NewFilledFrame(kBGRA, 8, 4, {1, 2, 3, 0});
    frame->SetAlphaType(kAlphaChannel_None);
    const MF::IVideoFrameRef drawn =
        DrawOver(NewFilledFrame(kBGRA, 8, 4, {9, 9, 9, 255}), frame, kDefaults, RenderParams(8, 4));
    EXPECT_TRUE(TestSupport::IsFilledWith(drawn, {1, 2, 3, 255}));
}

TEST(IntrinsicDrawing, EqualRecordsDrawInOnePass)
{
    const MotionRecorder motion;
    ML::CutlistRenderParams params = RenderParams(8, 4);
    params.mFieldType = kFieldType_UpperFirst;
    NodeIntrinsicParameters other;
    other.scanlineOffset = 1;
    ML::PerformIntrinsicOperations(Noise(kBGRA, 8, 4), kDefaults, other, {}, params);
    ASSERT_EQ(1u, motion.Calls().size()) << "the scanline offset is no geometry";
    EXPECT_EQ(kIR_WholePicture, motion.Calls()[0].mSettings.field);
    EXPECT_EQ(0.5f, motion.Calls()[0].mSettings.positionY) << "the first record counts";
}

TEST(IntrinsicDrawing, RecordsThatDifferInBlendingOnlyDrawOnceOverNothingAndTwiceOverAPicture)
{
    NodeIntrinsicParameters blended;
    blended.blendMode = kIR_Blend_Screen;
    const MF::IVideoFrameRef frame = Noise(kBGRA, 8, 4);
    {
        const MotionRecorder motion;
        ML::PerformIntrinsicOperations(frame, kDefaults, blended, {}, RenderParams(8, 4));
        EXPECT_EQ(1u, motion.Calls().size());
    }
    const MotionRecorder motion;
    ML::PerformIntrinsicOperations(frame, kDefaults, blended, Noise(kBGRA, 8, 4, 2), RenderParams(8, 4));
    ASSERT_EQ(2u, motion.Calls().size());
    EXPECT_EQ(kIR_UpperField, motion.Calls()[0].mSettings.field);
    EXPECT_FALSE(motion.Calls()[0].mBlendMode);
    EXPECT_EQ(kIR_LowerField, motion.Calls()[1].mSettings.field);
    EXPECT_EQ(22u, motion.Calls()[1].mBlendMode.value());
}

TEST(IntrinsicDrawing, EachFieldIsDrawnWithItsOwnRecord)
{
    NodeIntrinsicParameters moved;
    moved.positionX = 0.5f + 4.0f / 8.0f;
    ML::CutlistRenderParams params = RenderParams(8, 6);
    params.mFieldType = kFieldType_UpperFirst;
    const MF::IVideoFrameRef frame = NewFilledFrame(kBGRA, 8, 6, {1, 2, 3, 255});
    frame->SetFieldType(kFieldType_UpperFirst);
    const MF::IVideoFrameRef drawn = ML::PerformIntrinsicOperations(frame, kDefaults, moved, {}, params);
    const std::vector<std::uint8_t> full{1, 2, 3, 255};
    const std::vector<std::uint8_t> none{0, 0, 0, 0};
    for (std::uint32_t y = 0; y < 6; ++y)
    {
        EXPECT_EQ(y % 2 == 0 ? full : none, TestSupport::PixelAt(drawn, 1, y)) << "line " << y;
        EXPECT_EQ(full, TestSupport::PixelAt(drawn, 6, y)) << "line " << y;
    }
}

TEST(IntrinsicDrawing, FailingFirstFieldLeavesTheSecondAndGivesNoFrame)
{
    NodeIntrinsicParameters moved;
    moved.positionX = 0.75f;
    {
        MotionRecorder motion;
        motion.FailCall(0);
        EXPECT_FALSE(
            ML::PerformIntrinsicOperations(Noise(kBGRA, 8, 4), kDefaults, moved, {}, RenderParams(8, 4)));
        EXPECT_EQ(1u, motion.Calls().size());
    }
    MotionRecorder motion;
    motion.FailCall(1);
    EXPECT_FALSE(
        ML::PerformIntrinsicOperations(Noise(kBGRA, 8, 4), kDefaults, moved, {}, RenderParams(8, 4)));
    EXPECT_EQ(2u, motion.Calls().size());
}

float LinearOf(double inCoded)
{
    return static_cast<float>(inCoded < 4.5 * 0.018053968510807
                                  ? inCoded / 4.5
                                  : std::pow((inCoded + 0.09929682680944) / 1.09929682680944, 1 / 0.45));
}

std::vector<float> LinearPixelAt(const MF::IVideoFrameRef& inFrame, std::uint32_t inX, std::uint32_t inY)
{
    std::vector<float> components(4);
    std::memcpy(components.data(), TestSupport::PixelAt(inFrame, inX, inY).data(), 16);
    return components;
}

TEST(IntrinsicDrawing, BestQualityComesOutInLinearLightWhateverWasAskedFor)
{
    for (const PixelFormat& asked : {kBGRA, kPixelFormat_YUV_420_MPEG2_Frame_8u_709, kPixelFormat_Any})
    {
        const ML::CutlistRenderParams params = RenderParams(8, 4, kRenderQuality_Max, asked);
        EXPECT_EQ(kLinear, FormatOf(DrawOnNothing(Noise(kBGRA, 4, 2), kDefaults, params)));
        EXPECT_EQ(kLinear, FormatOf(DrawOver(Noise(kBGRA, 8, 4), Noise(kPixelFormat_UYVY_422_8u_709, 4, 2),
                                             kDefaults, params)));
    }
}

TEST(IntrinsicDrawing, BestQualityFiltersLightOnBothSides)
{
    constexpr std::uint32_t kLinearCode = 0x908;
    const MotionCall call = OnlyCall(Noise(kBGRA, 4, 2), kDefaults, RenderParams(8, 4, kRenderQuality_Max));
    EXPECT_EQ(kLinearCode, call.mSource.format);
    EXPECT_EQ(kLinearCode, call.mTarget.format);
}

TEST(IntrinsicDrawing, BestQualityMixesLightAndNotCodes)
{
    NodeIntrinsicParameters half;
    half.opacity = 0.5f;
    const MF::IVideoFrameRef lower = NewFilledFrame(kBGRA, 8, 4, {0, 64, 255, 255});
    const MF::IVideoFrameRef white = NewFilledFrame(kBGRA, 8, 4, {255, 255, 255, 255});
    const MF::IVideoFrameRef drawn = DrawOver(lower, white, half, RenderParams(8, 4, kRenderQuality_Max));
    const std::vector<float> pixel = LinearPixelAt(drawn, 3, 1);
    EXPECT_NEAR(0.5f, pixel[0], 1e-5f);
    EXPECT_NEAR(0.5f + 0.5f * LinearOf(64 / 255.0), pixel[1], 1e-5f);
    EXPECT_NEAR(1.0f, pixel[2], 1e-5f);
    EXPECT_NEAR(1.0f, pixel[3], 1e-6f);
    EXPECT_TRUE(TestSupport::IsFilledWith(lower, {0, 64, 255, 255})) << "converted, not drawn into";
}

TEST(IntrinsicDrawing, BestQualityKeepsWhatIsBrighterThanWhiteBetweenOperations)
{
    const ML::CutlistRenderParams params = RenderParams(4, 4, kRenderQuality_Max);
    const MF::IVideoFrameRef bright = NewFilledFrame(kBGRA, 4, 4, {255, 255, 255, 255});
    NodeIntrinsicParameters added;
    added.blendMode = kIR_Blend_LinearDodge;
    const MF::IVideoFrameRef sum = DrawOver(DrawOnNothing(bright, kDefaults, params), bright, added, params);
    EXPECT_NEAR(2.0f, LinearPixelAt(sum, 1, 1)[0], 1e-5f);

    NodeIntrinsicParameters multiplied;
    multiplied.blendMode = kIR_Blend_Multiply;
    const MF::IVideoFrameRef grey = NewFilledFrame(kBGRA, 4, 4, {128, 128, 128, 255});
    const MF::IVideoFrameRef product = DrawOver(sum, grey, multiplied, params);
    EXPECT_NEAR(2.0f * LinearOf(128 / 255.0), LinearPixelAt(product, 1, 1)[0], 1e-5f);
}

TEST(IntrinsicDrawing, BestQualityDrawsIntoALinearLowerFrameAndKeepsPlaces)
{
    const ML::CutlistRenderParams params = RenderParams(8, 4, kRenderQuality_Max);
    const MF::IVideoFrameRef lower = DrawOnNothing(Noise(kBGRA, 8, 4), kDefaults, params);
    const MF::IVideoFrameRef placed = NewFilledFrame(kBGRA, 16, 8, {255, 255, 255, 255});
    placed->SetOrigin({12, 6});
    EXPECT_TRUE(lower == DrawOver(lower, placed, kDefaults, params));
    EXPECT_NEAR(1.0f, LinearPixelAt(lower, 0, 0)[0], 1e-5f);
    EXPECT_NEAR(1.0f, LinearPixelAt(lower, 3, 1)[2], 1e-5f) << "four columns and two lines of it are seen";
}

} // namespace
