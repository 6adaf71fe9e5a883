#include "IntrinsicOperations.h"

#include "IR/BlendModes.h"
#include "TVK/ContractError.h"
#include "Tests/Support/Fakes/FakeVideoFrame.h"
#include "Tests/Support/FrameTools.h"
#include "Tests/Support/PixelMatchers.h"
#include "Tests/VideoRenderer/MotionRecorder.h"
#include "Tests/VideoRenderer/RenderParams.h"
#include "norvik/debug/Debug.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <limits>

namespace
{

using namespace norviktypes;
using ML::NodeIntrinsicParameters;
using TestSupport::NewFilledFrame;
using TestSupport::NewFrame;

constexpr PixelFormat kBGRA = kPixelFormat_BGRA_4444_8u;
constexpr PixelFormat kLinear = kPixelFormat_BGRP_4444_32f_Linear;
const NodeIntrinsicParameters kDefaults;

PixelFormat FormatOf(const MF::IVideoFrameRef& inFrame)
{
    PixelFormat format;
    inFrame->GetPixelFormat(format);
    return format;
}

MF::IVideoFrameRef Noise(const PixelFormat& inFormat, std::uint32_t inWidth, std::uint32_t inHeight,
                         std::uint64_t inSeed = 1)
{
    const MF::IVideoFrameRef frame = NewFrame(inFormat, inWidth, inHeight);
    TestSupport::FillWithNoise(frame, inSeed);
    return frame;
}

// A copy of the bytes, to see later whether anything was written.
std::vector<std::uint8_t> Bytes(const MF::IVideoFrameRef& inFrame)
{
    return TestSupport::PixelBytes(inFrame);
}

MF::IVideoFrameRef DrawOnNothing(const MF::IVideoFrameRef& inFrame, const NodeIntrinsicParameters& inIntrinsics,
                                 const ML::CutlistRenderParams& inParams)
{
    return ML::PerformIntrinsicOperations(inFrame, inIntrinsics, inIntrinsics, {}, inParams);
}

MF::IVideoFrameRef DrawOver(const MF::IVideoFrameRef& inLower, const MF::IVideoFrameRef& inFrame,
                            const NodeIntrinsicParameters& inIntrinsics,
                            const ML::CutlistRenderParams& inParams)
{
    return ML::PerformIntrinsicOperations(inFrame, inIntrinsics, inIntrinsics, inLower, inParams);
}

bool HasContentRect(const MF::IVideoFrameRef& inFrame, TVK::Rect& outRect)
{
    return inFrame->GetContentRect(outRect);
}

// ---- contracts

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

// ---- what conforms

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

// ---- passed through

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
    const MF::IVideoFrameRef drawn = ML::ApplyIntrinsicsIfNeeded(frame, kDefaults, kDefaults, RenderParams(8, 4));
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

// ---- content rectangles

TEST(IntrinsicOperations, FrameThatIsKnownToBeEmptyGivesTheLowerFrameItself)
{
    for (const RenderQuality quality : {kRenderQuality_Low, kRenderQuality_High, kRenderQuality_Max})
    {
        const MotionRecorder motion;
        const MF::IVideoFrameRef lower = Noise(kBGRA, 8, 4);
        lower->Freeze();
        const MF::IVideoFrameRef empty = NewFilledFrame(kBGRA, 8, 4, {0, 0, 0, 0});
        empty->SetContentRect({0, 0, 0, 0});
        EXPECT_TRUE(lower == DrawOver(lower, empty, kDefaults, RenderParams(8, 4, quality)));
        EXPECT_TRUE(motion.Calls().empty());
    }
}

TEST(IntrinsicOperations, FrameThatKnowsNoContentIsDrawn)
{
    const MF::IVideoFrameRef lower = NewFilledFrame(kBGRA, 8, 4, {0, 0, 0, 255});
    const MF::IVideoFrameRef drawn =
        DrawOver(lower, NewFilledFrame(kBGRA, 8, 4, {9, 8, 7, 255}), kDefaults, RenderParams(8, 4));
    EXPECT_TRUE(TestSupport::IsFilledWith(drawn, {9, 8, 7, 255}));
}

TEST(IntrinsicOperations, KnownEmptyFrameOverNothingIsACleanTargetKnownToBeEmpty)
{
    const MotionRecorder motion;
    const MF::IVideoFrameRef empty = NewFilledFrame(kBGRA, 6, 4, {1, 1, 1, 0});
    empty->SetContentRect({0, 0, 0, 0});
    const MF::IVideoFrameRef drawn = DrawOnNothing(empty, kDefaults, RenderParams(8, 4));
    EXPECT_TRUE(TestSupport::IsFilledWith(drawn, {0, 0, 0, 0}));
    TVK::Rect content{1, 1, 1, 1};
    EXPECT_TRUE(HasContentRect(drawn, content));
    EXPECT_EQ(TVK::Rect(), content);
    EXPECT_TRUE(motion.Calls().empty());
}

// A frame of 32 by 32 that holds something in 2 by 2 pixels of its upper left quarter only.
constexpr TVK::Rect kContent{5, 5, 7, 7};
const std::vector<std::uint8_t> kContentPixel{0x10, 0x20, 0x30, 0xFF};

MF::IVideoFrameRef FrameWithContent()
{
    const MF::IVideoFrameRef frame = NewFilledFrame(kBGRA, 32, 32, {0, 0, 0, 0});
    for (std::uint32_t y = 5; y < 7; ++y)
    {
        for (std::uint32_t x = 5; x < 7; ++x)
        {
            std::memcpy(TestSupport::RowOf(frame, y) + 4 * x, kContentPixel.data(), 4);
        }
    }
    frame->SetContentRect(kContent);
    return frame;
}

// inRect holds inContent, and no more around it than a filter may reach.
testing::AssertionResult IsBoxOf(const TVK::Rect& inContent, const TVK::Rect& inRect)
{
    constexpr std::int32_t kReach = 4;
    const auto isNear = [](std::int32_t inner, std::int32_t outer) { return outer >= 0 && inner - outer <= kReach; };
    const bool isBox = inRect.left <= inContent.left && inRect.top <= inContent.top &&
                       inRect.right >= inContent.right && inRect.bottom >= inContent.bottom &&
                       isNear(inContent.left, inRect.left) && isNear(inContent.top, inRect.top) &&
                       isNear(inRect.right, inContent.right) && isNear(inRect.bottom, inContent.bottom);
    return isBox ? testing::AssertionSuccess()
                 : testing::AssertionFailure() << inRect.left << " " << inRect.top << " " << inRect.right << " "
                                               << inRect.bottom;
}

TEST(IntrinsicOperations, ContentRectangleNarrowsTheDrawing)
{
    const MotionRecorder motion;
    const MF::IVideoFrameRef frame = FrameWithContent();
    const MF::IVideoFrameRef drawn = DrawOnNothing(frame, kDefaults, RenderParams(32, 32));
    ASSERT_EQ(1u, motion.Calls().size());
    ASSERT_TRUE(motion.Calls()[0].mClip);
    EXPECT_EQ(5, motion.Calls()[0].mClip->left);
    EXPECT_EQ(7, motion.Calls()[0].mClip->bottom);
    EXPECT_TRUE(TestSupport::HaveEqualPixels(frame, drawn));
    TVK::Rect content;
    ASSERT_TRUE(HasContentRect(drawn, content));
    EXPECT_TRUE(IsBoxOf(kContent, content));
}

TEST(IntrinsicOperations, ContentRectangleOfTheWholeFrameIsNoClip)
{
    const MotionRecorder motion;
    const MF::IVideoFrameRef frame = FrameWithContent();
    frame->SetContentRect({0, 0, 32, 32});
    DrawOnNothing(frame, kDefaults, RenderParams(32, 32));
    EXPECT_FALSE(motion.Calls().at(0).mClip);
}

TEST(IntrinsicOperations, ContentRectangleOfTheTargetIsTheUnionOfWhatWasDrawn)
{
    const MF::IVideoFrameRef frame = FrameWithContent();
    NodeIntrinsicParameters moved;
    moved.positionX = 0.5f + 8.0f / 32.0f;
    const ML::CutlistRenderParams params = RenderParams(32, 32);
    const MF::IVideoFrameRef both = DrawOver(DrawOnNothing(frame, kDefaults, params), frame, moved, params);
    TVK::Rect content;
    ASSERT_TRUE(HasContentRect(both, content));
    EXPECT_TRUE(IsBoxOf({5, 5, 15, 7}, content));
    EXPECT_EQ(kContentPixel, TestSupport::PixelAt(both, 13, 5));
}

TEST(IntrinsicOperations, ContentRectangleCoversWhatIsDrawnUnderAnyGeometry)
{
    for (int turn = 0; turn < 12; ++turn)
    {
        NodeIntrinsicParameters turned;
        turned.rotation = 31.0 * turn;
        turned.scaleX = 0.5f + 0.25f * static_cast<float>(turn);
        turned.positionY = 0.4f;
        const MF::IVideoFrameRef drawn = DrawOnNothing(FrameWithContent(), turned, RenderParams(24, 24));
        TVK::Rect content;
        ASSERT_TRUE(HasContentRect(drawn, content));
        for (std::int32_t y = 0; y < 24; ++y)
        {
            for (std::int32_t x = 0; x < 24; ++x)
            {
                const bool isInside =
                    x >= content.left && x < content.right && y >= content.top && y < content.bottom;
                const auto pixel =
                    TestSupport::PixelAt(drawn, static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(y));
                EXPECT_TRUE(isInside || pixel[3] == 0) << x << ", " << y << " at turn " << turn;
            }
        }
    }
}

TEST(IntrinsicOperations, DrawingWithoutContentRectangleForgetsTheTargets)
{
    const ML::CutlistRenderParams params = RenderParams(32, 32);
    const MF::IVideoFrameRef lower = DrawOnNothing(FrameWithContent(), kDefaults, params);
    const MF::IVideoFrameRef drawn = DrawOver(lower, NewFilledFrame(kBGRA, 4, 4, {1, 2, 3, 255}), kDefaults, params);
    TVK::Rect content;
    EXPECT_FALSE(HasContentRect(drawn, content));
}

TEST(IntrinsicOperations, LowerFrameThatKnowsNoContentDoesNotLearnIt)
{
    const MF::IVideoFrameRef lower = NewFilledFrame(kBGRA, 32, 32, {50, 50, 50, 255});
    const MF::IVideoFrameRef drawn = DrawOver(lower, FrameWithContent(), kDefaults, RenderParams(32, 32));
    TVK::Rect content;
    EXPECT_FALSE(HasContentRect(drawn, content));
    EXPECT_EQ(kContentPixel, TestSupport::PixelAt(drawn, 5, 5));
    EXPECT_EQ((std::vector<std::uint8_t>{50, 50, 50, 255}), TestSupport::PixelAt(drawn, 20, 20));
}

TEST(IntrinsicOperations, CopyOfAFrozenLowerFrameKnowsItsContent)
{
    const ML::CutlistRenderParams params = RenderParams(32, 32);
    const MF::IVideoFrameRef lower = DrawOnNothing(FrameWithContent(), kDefaults, params);
    lower->Freeze();
    NodeIntrinsicParameters moved;
    moved.positionY = 0.5f - 8.0f / 32.0f;
    TVK::Rect content;
    ASSERT_TRUE(HasContentRect(DrawOver(lower, FrameWithContent(), moved, params), content));
    EXPECT_TRUE(IsBoxOf({5, 5, 7, 15}, content));
}

TEST(IntrinsicOperations, ContentRectangleOutsideTheFrameDoesNoHarm)
{
    for (const TVK::Rect& content :
         {TVK::Rect{-5, -5, 100, 100}, TVK::Rect{20, 20, 30, 30}, TVK::Rect{6, 6, 2, 2}, TVK::Rect{5, 5, 5, 5},
          TVK::Rect{std::numeric_limits<std::int32_t>::min(), 0, std::numeric_limits<std::int32_t>::max(), 8}})
    {
        const MF::IVideoFrameRef frame = Noise(kBGRA, 8, 8);
        frame->SetContentRect(content);
        const MF::IVideoFrameRef drawn = DrawOnNothing(frame, kDefaults, RenderParams(8, 8));
        TVK::Rect drawnRect;
        if (drawn && HasContentRect(drawn, drawnRect))
        {
            EXPECT_TRUE(drawnRect.IsEmpty() || (drawnRect.left >= 0 && drawnRect.right <= 8));
        }
    }
}

// ---- the target

TEST(IntrinsicOperations, LowerFrameThatMayBeWrittenIsDrawnInto)
{
    const MF::IVideoFrameRef lower = NewFilledFrame(kBGRA, 8, 4, {0, 0, 0, 255});
    const MF::IVideoFrameRef frame = Noise(kBGRA, 4, 2);
    EXPECT_TRUE(lower == DrawOver(lower, frame, kDefaults, RenderParams(8, 4)));
    EXPECT_TRUE(lower == DrawOver(lower, Noise(kPixelFormat_BGRP_4444_8u, 4, 2), kDefaults, RenderParams(8, 4)))
        << "another kind of alpha needs no conversion";
}

TEST(IntrinsicOperations, FrozenLowerFrameIsCopiedAndStaysAsItWas)
{
    const MF::IVideoFrameRef lower = NewFilledFrame(kBGRA, 8, 4, {10, 20, 30, 255});
    lower->Freeze();
    const MF::IVideoFrameRef drawn =
        DrawOver(lower, NewFilledFrame(kBGRA, 4, 2, {1, 2, 3, 255}), kDefaults, RenderParams(8, 4));
    EXPECT_FALSE(drawn == lower);
    EXPECT_FALSE(drawn->IsFrozen());
    EXPECT_TRUE(TestSupport::IsFilledWith(lower, {10, 20, 30, 255}));
    EXPECT_EQ((std::vector<std::uint8_t>{10, 20, 30, 255}), TestSupport::PixelAt(drawn, 0, 0));
    EXPECT_EQ((std::vector<std::uint8_t>{1, 2, 3, 255}), TestSupport::PixelAt(drawn, 3, 1));
}

TEST(IntrinsicOperations, FrameIsNeverWritten)
{
    const MF::IVideoFrameRef frame = Noise(kBGRA, 8, 4);
    const std::vector<std::uint8_t> before = Bytes(frame);
    NodeIntrinsicParameters half;
    half.opacity = 0.5f;
    DrawOver(NewFilledFrame(kBGRA, 8, 4, {10, 20, 30, 255}), frame, half, RenderParams(8, 4));
    EXPECT_EQ(before, Bytes(frame));
    const MF::IVideoFrameRef overItself = DrawOver(frame, frame, half, RenderParams(8, 4));
    EXPECT_FALSE(overItself == frame);
    EXPECT_EQ(before, Bytes(frame)) << "a frame over itself must not be its own target";
}

TEST(IntrinsicOperations, PackedLowerFrameIsCopiedIntoFourComponents)
{
    const MF::IVideoFrameRef lower = Noise(kPixelFormat_UYVY_422_8u_709, 8, 4);
    const MF::IVideoFrameRef frame = NewFilledFrame(kPixelFormat_VUYA_4444_8u_709, 4, 2, {100, 110, 120, 255});
    const MF::IVideoFrameRef drawn = DrawOver(lower, frame, kDefaults, RenderParams(8, 4));
    EXPECT_EQ(kPixelFormat_VUYA_4444_8u_709, FormatOf(drawn));
    EXPECT_EQ((std::vector<std::uint8_t>{100, 110, 120, 255}), TestSupport::PixelAt(drawn, 3, 1));
}

TEST(IntrinsicOperations, LowerFrameOfAnotherModelIsConvertedToTheParamsFormat)
{
    const MF::IVideoFrameRef lower = Noise(kPixelFormat_VUYA_4444_8u_709, 8, 4);
    const MF::IVideoFrameRef drawn = DrawOver(lower, Noise(kBGRA, 4, 2), kDefaults,
                                              RenderParams(8, 4, kRenderQuality_High, kPixelFormat_BGRP_4444_8u));
    EXPECT_EQ(kPixelFormat_BGRP_4444_8u, FormatOf(drawn));
    EXPECT_FALSE(drawn == lower);
}

TEST(IntrinsicOperations, LowerFrameThatCannotBeConvertedStaysInItsFormat)
{
    const MF::IVideoFrameRef lower = NewFilledFrame(kPixelFormat_VUYA_4444_8u_709, 8, 4, {128, 128, 60, 255});
    const MF::IVideoFrameRef drawn =
        DrawOver(lower, NewFilledFrame(kBGRA, 4, 2, {255, 255, 255, 255}), kDefaults,
                 RenderParams(8, 4, kRenderQuality_High, kPixelFormat_Any));
    EXPECT_TRUE(drawn == lower);
    EXPECT_EQ((std::vector<std::uint8_t>{128, 128, 235, 255}), TestSupport::PixelAt(drawn, 3, 1));
}

TEST(IntrinsicOperations, LowerFrameWhosePixelsVanishThrows)
{
    // Planar, and no format is given in which its rows could be walked.
    EXPECT_THROW(DrawOver(Noise(kPixelFormat_YUV_420_MPEG2_Frame_8u_709, 8, 4), Noise(kBGRA, 8, 4), kDefaults,
                          RenderParams(8, 4, kRenderQuality_High, kPixelFormat_Any)),
                 TVK::NullInterfaceException);
}

struct TargetCase
{
    PixelFormat mFrame;
    PixelFormat mTarget;
};

TEST(IntrinsicOperations, TargetHasAlphaOfItsOwnInTheFramesModel)
{
    const TargetCase cases[] = {
        {kBGRA, kBGRA},
        {kPixelFormat_BGRP_4444_16u, kPixelFormat_BGRP_4444_16u},
        {kPixelFormat_BGRX_4444_32f, kPixelFormat_BGRA_4444_32f},
        {kPixelFormat_UYVY_422_8u_601, kPixelFormat_VUYA_4444_8u},
        {kPixelFormat_V210_422_10u_709, kPixelFormat_VUYA_4444_32f_709},
        {kPixelFormat_VUYX_4444_8u_601_Full, kPixelFormat_VUYA_4444_8u_601_Full},
        {kPixelFormat_BGRA_4444_32f_Linear, kPixelFormat_BGRA_4444_32f_Linear},
    };
    for (const TargetCase& each : cases)
    {
        const MF::IVideoFrameRef drawn =
            DrawOnNothing(Noise(each.mFrame, 6, 4), kDefaults, RenderParams(8, 4, kRenderQuality_High));
        ASSERT_TRUE(drawn) << PixelFormatText(each.mFrame);
        EXPECT_STREQ(PixelFormatText(each.mTarget), PixelFormatText(FormatOf(drawn)));
    }
}

TEST(IntrinsicOperations, PlanarFrameIsDrawnInTheParamsFormat)
{
    const MF::IVideoFrameRef frame = Noise(kPixelFormat_YUV_420_MPEG2_Frame_8u_709, 6, 4);
    EXPECT_EQ(kPixelFormat_BGRA_4444_16u,
              FormatOf(DrawOnNothing(
                  frame, kDefaults, RenderParams(8, 4, kRenderQuality_High, kPixelFormat_BGRA_4444_16u))));
}

TEST(IntrinsicOperations, TargetIsClearAroundThePicture)
{
    const MF::IVideoFrameRef drawn =
        DrawOnNothing(NewFilledFrame(kBGRA, 4, 4, {1, 2, 3, 255}), kDefaults, RenderParams(8, 8));
    EXPECT_EQ((std::vector<std::uint8_t>{0, 0, 0, 0}), TestSupport::PixelAt(drawn, 0, 0));
    EXPECT_EQ((std::vector<std::uint8_t>{0, 0, 0, 0}), TestSupport::PixelAt(drawn, 7, 7));
    EXPECT_EQ((std::vector<std::uint8_t>{1, 2, 3, 255}), TestSupport::PixelAt(drawn, 2, 2));
}

TEST(IntrinsicOperations, TargetHasSizeAspectAndFieldsOfTheOutput)
{
    ML::CutlistRenderParams params = RenderParams(8, 4);
    params.mPixelAspectRatio = {16, 15};
    params.mFieldType = kFieldType_LowerFirst;
    const MF::IVideoFrameRef drawn = DrawOnNothing(Noise(kBGRA, 3, 2), kDefaults, params);
    EXPECT_TRUE(ML::FrameAlreadyConformsToOutput(drawn, params));
    EXPECT_EQ(kFieldType_LowerFirst, drawn->GetFieldType());
}

TEST(IntrinsicOperations, FieldOfAProgressiveFrameAtLowQualityIsProgressive)
{
    ML::CutlistRenderParams params = RenderParams(8, 4, kRenderQuality_Low);
    params.mFieldType = kFieldType_LowerFirst;
    params.mFieldToRender = 1;
    EXPECT_EQ(kFieldType_Progressive, DrawOnNothing(Noise(kBGRA, 3, 2), kDefaults, params)->GetFieldType());
    params.mRenderQuality = kRenderQuality_Medium;
    EXPECT_EQ(kFieldType_LowerFirst, DrawOnNothing(Noise(kBGRA, 3, 2), kDefaults, params)->GetFieldType());
}

TEST(IntrinsicOperations, FieldOfAProgressiveOutputKeepsTheOrderOfItsSource)
{
    const MotionRecorder motion;
    ML::CutlistRenderParams params = RenderParams(8, 4);
    params.mFieldToRender = 2;
    const MF::IVideoFrameRef frame = Noise(kBGRA, 3, 2);
    frame->SetFieldType(kFieldType_UpperFirst);
    EXPECT_EQ(kFieldType_UpperFirst, DrawOnNothing(frame, kDefaults, params)->GetFieldType());
    EXPECT_EQ(kFieldType_UpperFirst, motion.Calls().at(0).mTarget.fieldType);
    params.mFieldToRender = 0;
    EXPECT_EQ(kFieldType_Progressive, DrawOnNothing(frame, kDefaults, params)->GetFieldType());
    EXPECT_EQ(kFieldType_UpperFirst, motion.Calls().at(1).mSource.fieldType);
    EXPECT_EQ(kFieldType_Progressive, motion.Calls().at(1).mTarget.fieldType);
}

TEST(IntrinsicOperations, TargetThatCannotBeMadeGivesNoFrame)
{
    EXPECT_FALSE(DrawOnNothing(Noise(kBGRA, 8, 4), kDefaults, RenderParams(0, 4)));
}

TEST(IntrinsicOperations, FrameWithoutRawPixelsThrows)
{
    for (const bool hasPixels : {false, true})
    {
        const TestSupport::FakeVideoFrameRef fake(new TestSupport::FakeVideoFrame(Noise(kBGRA, 8, 4)));
        fake->mHasPixels = hasPixels;
        fake->mHasRaster = !hasPixels;
        EXPECT_THROW(DrawOnNothing(MF::IVideoFrameRef(fake.get()), kDefaults, RenderParams(8, 4)),
                     TVK::NullInterfaceException);
    }
}

// ---- what the motion routines are told

MotionCall OnlyCall(const MF::IVideoFrameRef& inFrame, const NodeIntrinsicParameters& inIntrinsics,
                    const ML::CutlistRenderParams& inParams)
{
    const MotionRecorder motion;
    DrawOnNothing(inFrame, inIntrinsics, inParams);
    return motion.Calls().at(0);
}

TEST(IntrinsicOperations, RecordSizesAndAspectsReachTheDrawing)
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

TEST(IntrinsicOperations, AspectThatSaysNothingIsSquare)
{
    const MF::IVideoFrameRef frame = Noise(kBGRA, 6, 4);
    frame->SetPixelAspectRatio(kPixelAspectRatio_Any);
    const MotionCall call = OnlyCall(frame, kDefaults, RenderParams(8, 4));
    EXPECT_EQ(1u, call.mSource.aspectNumerator);
    EXPECT_EQ(1u, call.mSource.aspectDenominator);
}

TEST(IntrinsicOperations, AnchorOfAnotherSizeKeepsItsDistanceFromTheMiddle)
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

TEST(IntrinsicOperations, AnchorIsRecentredWhereOneSideDiffers)
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

TEST(IntrinsicOperations, OriginPlacesTheOutputWithinTheFrame)
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
    const MotionCall call = OnlyCall(frame, kDefaults, RenderParams(8, 4));
    EXPECT_EQ(0.5f + ((4.0f + 5.0f) / 16.0f - 0.5f), call.mSettings.anchorX);
    EXPECT_EQ(0.5f - ((2.0f + 2.0f) / 8.0f - 0.5f), call.mSettings.anchorY);
}

TEST(IntrinsicOperations, OddDifferenceOfHeightsMovesTheAnchorHalfALineWithoutFieldsOnly)
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

TEST(IntrinsicOperations, OddDifferenceCountsNotWhereAnOriginIsSet)
{
    const MF::IVideoFrameRef frame = Noise(kBGRA, 8, 7);
    frame->SetOrigin({0, 1});
    EXPECT_EQ(0.5f - ((2.0f + 1.0f) / 7.0f - 0.5f),
              OnlyCall(frame, kDefaults, RenderParams(8, 4)).mSettings.anchorY);
}

TEST(IntrinsicOperations, ScanlineOffsetCountsInOutputLines)
{
    NodeIntrinsicParameters record;
    record.scanlineOffset = -3;
    EXPECT_EQ(0.5f - 3.0f / 16.0f, OnlyCall(Noise(kBGRA, 8, 8), record, RenderParams(8, 16)).mSettings.positionY);
}

TEST(IntrinsicOperations, BlendModeOverAPictureTakesItsOwnOpacity)
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

TEST(IntrinsicOperations, AlphaThatDoesNotCountIsNotRead)
{
    const MF::IVideoFrameRef frame = NewFilledFrame(kBGRA, 8, 4, {1, 2, 3, 0});
    frame->SetAlphaType(kAlphaChannel_None);
    const MF::IVideoFrameRef drawn =
        DrawOver(NewFilledFrame(kBGRA, 8, 4, {9, 9, 9, 255}), frame, kDefaults, RenderParams(8, 4));
    EXPECT_TRUE(TestSupport::IsFilledWith(drawn, {1, 2, 3, 255}));
}

// ---- fields

TEST(IntrinsicOperations, EqualRecordsDrawInOnePass)
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

TEST(IntrinsicOperations, RecordsThatDifferInBlendingOnlyDrawOnceOverNothingAndTwiceOverAPicture)
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

TEST(IntrinsicOperations, EachFieldIsDrawnWithItsOwnRecord)
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

TEST(IntrinsicOperations, FailingFirstFieldLeavesTheSecondAndGivesNoFrame)
{
    NodeIntrinsicParameters moved;
    moved.positionX = 0.75f;
    {
        MotionRecorder motion;
        motion.FailCall(0);
        EXPECT_FALSE(ML::PerformIntrinsicOperations(Noise(kBGRA, 8, 4), kDefaults, moved, {}, RenderParams(8, 4)));
        EXPECT_EQ(1u, motion.Calls().size());
    }
    MotionRecorder motion;
    motion.FailCall(1);
    EXPECT_FALSE(ML::PerformIntrinsicOperations(Noise(kBGRA, 8, 4), kDefaults, moved, {}, RenderParams(8, 4)));
    EXPECT_EQ(2u, motion.Calls().size());
}

// ---- quality 5

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

TEST(IntrinsicOperations, BestQualityComesOutInLinearLightWhateverWasAskedFor)
{
    for (const PixelFormat& asked : {kBGRA, kPixelFormat_YUV_420_MPEG2_Frame_8u_709, kPixelFormat_Any})
    {
        const ML::CutlistRenderParams params = RenderParams(8, 4, kRenderQuality_Max, asked);
        EXPECT_EQ(kLinear, FormatOf(DrawOnNothing(Noise(kBGRA, 4, 2), kDefaults, params)));
        EXPECT_EQ(kLinear, FormatOf(DrawOver(Noise(kBGRA, 8, 4), Noise(kPixelFormat_UYVY_422_8u_709, 4, 2),
                                             kDefaults, params)));
    }
}

TEST(IntrinsicOperations, BestQualityMixesLightAndNotCodes)
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

TEST(IntrinsicOperations, BestQualityKeepsWhatIsBrighterThanWhiteBetweenOperations)
{
    const ML::CutlistRenderParams params = RenderParams(4, 4, kRenderQuality_Max);
    const MF::IVideoFrameRef bright = NewFilledFrame(kBGRA, 4, 4, {255, 255, 255, 255});
    NodeIntrinsicParameters added;
    added.blendMode = kIR_Blend_LinearDodge;
    const MF::IVideoFrameRef sum =
        DrawOver(DrawOnNothing(bright, kDefaults, params), bright, added, params);
    EXPECT_NEAR(2.0f, LinearPixelAt(sum, 1, 1)[0], 1e-5f);

    NodeIntrinsicParameters multiplied;
    multiplied.blendMode = kIR_Blend_Multiply;
    const MF::IVideoFrameRef grey = NewFilledFrame(kBGRA, 4, 4, {128, 128, 128, 255});
    const MF::IVideoFrameRef product = DrawOver(sum, grey, multiplied, params);
    EXPECT_NEAR(2.0f * LinearOf(128 / 255.0), LinearPixelAt(product, 1, 1)[0], 1e-5f);
}

TEST(IntrinsicOperations, BestQualityDrawsIntoALinearLowerFrameAndKeepsPlaces)
{
    const ML::CutlistRenderParams params = RenderParams(8, 4, kRenderQuality_Max);
    const MF::IVideoFrameRef lower = DrawOnNothing(Noise(kBGRA, 8, 4), kDefaults, params);
    const MF::IVideoFrameRef placed = NewFilledFrame(kBGRA, 16, 8, {255, 255, 255, 255});
    placed->SetOrigin({12, 6});
    EXPECT_TRUE(lower == DrawOver(lower, placed, kDefaults, params));
    EXPECT_NEAR(1.0f, LinearPixelAt(lower, 0, 0)[0], 1e-5f);
    EXPECT_NEAR(1.0f, LinearPixelAt(lower, 3, 1)[2], 1e-5f) << "four columns and two lines of it are seen";
}

// ---- bad numbers

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

// ---- flattening

TEST(IntrinsicOperations, FlattenedFrameIsOverBlackAndOpaque)
{
    const MF::IVideoFrameRef frame = NewFilledFrame(kBGRA, 8, 4, {200, 100, 50, 128});
    frame->SetContentRect({0, 0, 2, 2});
    const MF::IVideoFrameRef flat = ML::FlattenFrameOnBlack(frame, kRenderQuality_High);
    EXPECT_TRUE(flat == frame) << "in place where that's allowed";
    EXPECT_TRUE(TestSupport::IsFilledWith(flat, {100, 50, 25, 255}));
    EXPECT_FALSE(flat->MayHaveTransparency());
    TVK::Rect content;
    EXPECT_FALSE(HasContentRect(flat, content)) << "black all around";
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
        const std::vector<std::uint8_t> before = Bytes(frame);
        EXPECT_TRUE(frame == ML::FlattenFrameOnBlack(frame, kRenderQuality_High));
        EXPECT_EQ(before, Bytes(frame));
    }
}

} // namespace
