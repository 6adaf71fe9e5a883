#include "Tests/VideoRenderer/IntrinsicTests.h"

#include "IR/BlendModes.h"
#include "TVK/ContractError.h"
#include "Tests/VideoRenderer/MotionRecorder.h"
#include "norvik/debug/Debug.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>

namespace
{

using namespace IntrinsicTests;

void ExpectContract(const char* inCondition, const std::function<void()>& inCall)
{
    norvik::debug::ClearContractReports();
    EXPECT_THROW(inCall(), norvik::config::Error);
    norvik::debug::ContractReport report;
    ASSERT_TRUE(norvik::debug::GetContractReport(0, report));
    EXPECT_EQ(inCondition, report.mCondition);
    EXPECT_EQ("Src/CutlistRenderer", report.mFile);
    EXPECT_EQ("ML::PerformIntrinsicOperations", report.mFunction);
}

TEST(IntrinsicOperations, EmptyFrameBreaksTheContract)
{
    ExpectContract("inFrame", [] { DrawOnNothing({}, kDefaults, RenderParams(8, 4)); });
}

TEST(IntrinsicOperations, LowerFrameThatIsNotTheOutputBreaksTheContract)
{
    ExpectContract("!inLowerFrame || FrameAlreadyConformsToOutput(inLowerFrame, inRenderParams)",
                   [] { DrawOver(Noise(kBGRA, 9, 4), Noise(kBGRA, 8, 4), kDefaults, RenderParams(8, 4)); });
}

TEST(IntrinsicOperations, FrameOfRenderSizeConforms)
{
    EXPECT_TRUE(ML::FrameAlreadyConformsToOutput(Noise(kBGRA, 8, 4), RenderParams(8, 4)));
    EXPECT_FALSE(ML::FrameAlreadyConformsToOutput(Noise(kBGRA, 8, 5), RenderParams(8, 4)));
}

TEST(IntrinsicOperations, FullSizeConformsOnlyAsSubstitute)
{
    ML::CutlistRenderParams params = RenderParams(8, 4);
    params.mSourceWidth = 16;
    params.mSourceHeight = 8;
    const MF::IVideoFrameRef frame = Noise(kBGRA, 16, 8);
    EXPECT_FALSE(ML::FrameAlreadyConformsToOutput(frame, params));
    TestSupport::MakeSubstitute(frame);
    EXPECT_TRUE(ML::FrameAlreadyConformsToOutput(frame, params));
    params.mSourceHeight = 10;
    EXPECT_FALSE(ML::FrameAlreadyConformsToOutput(frame, params));
}

TEST(IntrinsicOperations, OriginOrAnotherPixelAspectDoesNotConform)
{
    const MF::IVideoFrameRef placed = Noise(kBGRA, 8, 4);
    placed->SetOrigin({0, 0});
    EXPECT_FALSE(ML::FrameAlreadyConformsToOutput(placed, RenderParams(8, 4)));
    const MF::IVideoFrameRef stretched = Noise(kBGRA, 8, 4);
    stretched->SetPixelAspectRatio({2, 2});
    EXPECT_FALSE(ML::FrameAlreadyConformsToOutput(stretched, RenderParams(8, 4)))
        << "aspects are compared as pairs";
}

TEST(IntrinsicOperations, FieldsCountFromMediumQualityUp)
{
    const MF::IVideoFrameRef upper = Noise(kBGRA, 8, 4);
    upper->SetFieldType(kFieldType_UpperFirst);
    const MF::IVideoFrameRef progressive = Noise(kBGRA, 8, 4);
    ML::CutlistRenderParams params = RenderParams(8, 4, kRenderQuality_Low);
    EXPECT_TRUE(ML::FrameAlreadyConformsToOutput(upper, params)) << "below Medium";

    params.mRenderQuality = kRenderQuality_Medium;
    EXPECT_FALSE(ML::FrameAlreadyConformsToOutput(upper, params));
    params.mFieldToRender = 1;
    EXPECT_TRUE(ML::FrameAlreadyConformsToOutput(upper, params)) << "its field will be taken out";
    params.mFieldType = kFieldType_LowerFirst;
    EXPECT_FALSE(ML::FrameAlreadyConformsToOutput(upper, params));
    EXPECT_FALSE(ML::FrameAlreadyConformsToOutput(progressive, params));
    params.mFieldType = kFieldType_UpperFirst;
    EXPECT_TRUE(ML::FrameAlreadyConformsToOutput(upper, params));
}

TEST(IntrinsicOperations, DefaultsOnAConformingFrameTouchNoPixel)
{
    const MotionRecorder motion;
    const MF::IVideoFrameRef frame = Noise(kBGRA, 8, 4);
    frame->Freeze();
    NodeIntrinsicParameters blended;
    blended.blendMode = kIR_Blend_Screen;
    blended.scanlineOffset = 3;
    EXPECT_TRUE(frame == ML::ApplyIntrinsicsIfNeeded(frame, blended, blended, RenderParams(8, 4)))
        << "neither blend mode nor scanline offset are geometry";
    EXPECT_TRUE(motion.Calls().empty());
}

TEST(IntrinsicOperations, DefaultsOnAPlacedFrameAreDrawn)
{
    const MotionRecorder motion;
    const MF::IVideoFrameRef frame = Noise(kBGRA, 8, 4);
    frame->SetOrigin({0, 0});
    const MF::IVideoFrameRef drawn =
        ML::ApplyIntrinsicsIfNeeded(frame, kDefaults, kDefaults, RenderParams(8, 4));
    EXPECT_FALSE(drawn == frame);
    EXPECT_EQ(1u, motion.Calls().size());
}

TEST(IntrinsicOperations, FieldsOfDifferentGeometryAreDrawn)
{
    NodeIntrinsicParameters moved;
    moved.positionX = 0.75f;
    const MF::IVideoFrameRef frame = Noise(kBGRA, 8, 4);
    EXPECT_FALSE(frame == ML::ApplyIntrinsicsIfNeeded(frame, kDefaults, moved, RenderParams(8, 4)));
    EXPECT_FALSE(frame == ML::ApplyIntrinsicsIfNeeded(frame, moved, moved, RenderParams(8, 4)));
}

TEST(IntrinsicOperations, OverNothingModeIsNormalAndTheFilterPlain)
{
    const MotionRecorder motion;
    NodeIntrinsicParameters blended;
    blended.positionX = 0.75f;
    blended.opacity = 0.5f;
    blended.blendMode = kIR_Blend_Screen;
    blended.blendOpacity = 0.25f;
    ML::ApplyIntrinsicsIfNeeded(Noise(kBGRA, 8, 4), blended, blended, RenderParams(8, 4));
    ASSERT_EQ(1u, motion.Calls().size());
    EXPECT_FALSE(motion.Calls()[0].mBlendMode);
    EXPECT_EQ(0.5f, motion.Calls()[0].mSettings.opacity);
    EXPECT_EQ(0, motion.Calls()[0].mSettings.highQualitySampling);
    EXPECT_EQ(0, motion.Calls()[0].mSettings.targetHasPicture);
}

TEST(IntrinsicOperations, BlendModeOnNothingIsIgnored)
{
    NodeIntrinsicParameters blended;
    blended.blendMode = kIR_Blend_Difference;
    blended.blendOpacity = 0.1f;
    const MF::IVideoFrameRef frame = Noise(kBGRA, 8, 4);
    EXPECT_TRUE(TestSupport::HaveEqualPixels(DrawOnNothing(frame, kDefaults, RenderParams(8, 4)),
                                             DrawOnNothing(frame, blended, RenderParams(8, 4))));
}

TEST(IntrinsicOperations, NumbersThatAreNoneGiveNoFrame)
{
    const double bad[] = {std::nan(""), std::numeric_limits<double>::infinity(),
                          -std::numeric_limits<double>::infinity()};
    for (const double number : bad)
    {
        NodeIntrinsicParameters record[9];
        record[0].positionX = static_cast<float>(number);
        record[1].positionY = static_cast<float>(number);
        record[2].anchorX = static_cast<float>(number);
        record[3].anchorY = static_cast<float>(number);
        record[4].scaleX = static_cast<float>(number);
        record[5].scaleY = static_cast<float>(number);
        record[6].rotation = number;
        record[7].opacity = static_cast<float>(number);
        record[8].antiFlicker = number;
        for (const NodeIntrinsicParameters& each : record)
        {
            EXPECT_FALSE(DrawOnNothing(Noise(kBGRA, 8, 4), each, RenderParams(8, 4))) << &each - record;
        }
    }
}

TEST(IntrinsicOperations, ScaleOfZeroDrawsNothing)
{
    NodeIntrinsicParameters flat;
    flat.scaleY = 0.0f;
    const MF::IVideoFrameRef lower = NewFilledFrame(kBGRA, 8, 4, {10, 20, 30, 255});
    EXPECT_TRUE(lower == DrawOver(lower, Noise(kBGRA, 8, 4), flat, RenderParams(8, 4)));
    EXPECT_TRUE(TestSupport::IsFilledWith(lower, {10, 20, 30, 255}));
}

TEST(IntrinsicOperations, LargeScalesAndManyTurnsAreDrawn)
{
    NodeIntrinsicParameters large;
    large.scaleX = large.scaleY = 1000.0f;
    const MF::IVideoFrameRef frame = NewFilledFrame(kBGRA, 8, 4, {1, 2, 3, 255});
    EXPECT_TRUE(TestSupport::IsFilledWith(DrawOnNothing(frame, large, RenderParams(8, 4)), {1, 2, 3, 255}));
    NodeIntrinsicParameters turned;
    turned.rotation = 360.0 * 1000000 + 180.0;
    NodeIntrinsicParameters once;
    once.rotation = 180.0;
    const MF::IVideoFrameRef noise = Noise(kBGRA, 8, 4);
    EXPECT_TRUE(TestSupport::HaveEqualPixels(DrawOnNothing(noise, once, RenderParams(8, 4)),
                                             DrawOnNothing(noise, turned, RenderParams(8, 4))));
}

TEST(IntrinsicOperations, FlattenedFrameIsOverBlackAndOpaque)
{
    const MF::IVideoFrameRef frame = NewFilledFrame(kBGRA, 8, 4, {200, 100, 50, 128});
    frame->SetContentRect({0, 0, 2, 2});
    const MF::IVideoFrameRef flat = ML::FlattenFrameOnBlack(frame, kRenderQuality_High);
    EXPECT_TRUE(flat == frame) << "in place where that's allowed";
    EXPECT_TRUE(TestSupport::IsFilledWith(flat, {100, 50, 25, 255}));
    EXPECT_FALSE(flat->MayHaveTransparency());
    TVK::Rect content;
    EXPECT_FALSE(flat->GetContentRect(content)) << "black all around";
}

TEST(IntrinsicOperations, FrozenFrameIsFlattenedInACopy)
{
    const MF::IVideoFrameRef frame = NewFilledFrame(kBGRA, 8, 4, {200, 100, 50, 128});
    frame->Freeze();
    const MF::IVideoFrameRef flat = ML::FlattenFrameOnBlack(frame, kRenderQuality_High);
    EXPECT_TRUE(TestSupport::IsFilledWith(flat, {100, 50, 25, 255}));
    EXPECT_TRUE(TestSupport::IsFilledWith(frame, {200, 100, 50, 128}));
}

TEST(IntrinsicOperations, FrameWithoutStraightAlphaIsFlatAlready)
{
    EXPECT_FALSE(ML::FlattenFrameOnBlack({}, kRenderQuality_High));
    for (const PixelFormat& format :
         {kPixelFormat_BGRP_4444_8u, kPixelFormat_BGRX_4444_8u, kPixelFormat_UYVY_422_8u_709})
    {
        const MF::IVideoFrameRef frame = Noise(format, 8, 4);
        const std::vector<std::uint8_t> before = TestSupport::PixelBytes(frame);
        EXPECT_TRUE(frame == ML::FlattenFrameOnBlack(frame, kRenderQuality_High));
        EXPECT_EQ(before, TestSupport::PixelBytes(frame));
    }
}

} // namespace
