#include "Tests/VideoRenderer/IntrinsicTests.h"

#include "Tests/Support/Fakes/FakeVideoFrame.h"
#include "Tests/VideoRenderer/MotionRecorder.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>

namespace
{

using namespace IntrinsicTests;

TEST(IntrinsicTargets, FrameThatIsKnownToBeEmptyGivesTheLowerFrameItself)
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

TEST(IntrinsicTargets, FrameThatKnowsNoContentIsDrawn)
{
    const MF::IVideoFrameRef lower = NewFilledFrame(kBGRA, 8, 4, {0, 0, 0, 255});
    const MF::IVideoFrameRef drawn =
        DrawOver(lower, NewFilledFrame(kBGRA, 8, 4, {9, 8, 7, 255}), kDefaults, RenderParams(8, 4));
    EXPECT_TRUE(TestSupport::IsFilledWith(drawn, {9, 8, 7, 255}));
}

TEST(IntrinsicTargets, KnownEmptyFrameOverNothingIsACleanTargetKnownToBeEmpty)
{
    const MotionRecorder motion;
    const MF::IVideoFrameRef empty = NewFilledFrame(kBGRA, 6, 4, {1, 1, 1, 0});
    empty->SetContentRect({0, 0, 0, 0});
    const MF::IVideoFrameRef drawn = DrawOnNothing(empty, kDefaults, RenderParams(8, 4));
    EXPECT_TRUE(TestSupport::IsFilledWith(drawn, {0, 0, 0, 0}));
    TVK::Rect content{1, 1, 1, 1};
    EXPECT_TRUE(drawn->GetContentRect(content));
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
    const auto isNear = [](std::int32_t inner, std::int32_t outer)
    { return outer >= 0 && inner - outer <= kReach; };
    const bool isBox = inRect.left <= inContent.left && inRect.top <= inContent.top &&
                       inRect.right >= inContent.right && inRect.bottom >= inContent.bottom &&
                       isNear(inContent.left, inRect.left) && isNear(inContent.top, inRect.top) &&
                       isNear(inRect.right, inContent.right) && isNear(inRect.bottom, inContent.bottom);
    return isBox ? testing::AssertionSuccess()
                 : testing::AssertionFailure()
                       << inRect.left << " " << inRect.top << " " << inRect.right << " " << inRect.bottom;
}

TEST(IntrinsicTargets, ContentRectangleNarrowsTheDrawing)
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
    ASSERT_TRUE(drawn->GetContentRect(content));
    EXPECT_TRUE(IsBoxOf(kContent, content));
}

TEST(IntrinsicTargets, ContentRectangleOfTheWholeFrameIsNoClip)
{
    const MotionRecorder motion;
    const MF::IVideoFrameRef frame = FrameWithContent();
    frame->SetContentRect({0, 0, 32, 32});
    DrawOnNothing(frame, kDefaults, RenderParams(32, 32));
    EXPECT_FALSE(motion.Calls().at(0).mClip);
}

TEST(IntrinsicTargets, ContentRectangleOfTheTargetIsTheUnionOfWhatWasDrawn)
{
    const MF::IVideoFrameRef frame = FrameWithContent();
    NodeIntrinsicParameters moved;
    moved.positionX = 0.5f + 8.0f / 32.0f;
    const ML::CutlistRenderParams params = RenderParams(32, 32);
    const MF::IVideoFrameRef both = DrawOver(DrawOnNothing(frame, kDefaults, params), frame, moved, params);
    TVK::Rect content;
    ASSERT_TRUE(both->GetContentRect(content));
    EXPECT_TRUE(IsBoxOf({5, 5, 15, 7}, content));
    EXPECT_EQ(kContentPixel, TestSupport::PixelAt(both, 13, 5));
}

TEST(IntrinsicTargets, ContentRectangleCoversWhatIsDrawnUnderAnyGeometry)
{
    for (int turn = 0; turn < 12; ++turn)
    {
        NodeIntrinsicParameters turned;
        turned.rotation = 31.0 * turn;
        turned.scaleX = 0.5f + 0.25f * static_cast<float>(turn);
        turned.positionY = 0.4f;
        const MF::IVideoFrameRef drawn = DrawOnNothing(FrameWithContent(), turned, RenderParams(24, 24));
        TVK::Rect content;
        ASSERT_TRUE(drawn->GetContentRect(content));
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

TEST(IntrinsicTargets, DrawingWithoutContentRectangleForgetsTheTargets)
{
    const ML::CutlistRenderParams params = RenderParams(32, 32);
    const MF::IVideoFrameRef lower = DrawOnNothing(FrameWithContent(), kDefaults, params);
    const MF::IVideoFrameRef drawn =
        DrawOver(lower, NewFilledFrame(kBGRA, 4, 4, {1, 2, 3, 255}), kDefaults, params);
    TVK::Rect content;
    EXPECT_FALSE(drawn->GetContentRect(content));
}

TEST(IntrinsicTargets, LowerFrameThatKnowsNoContentDoesNotLearnIt)
{
    const MF::IVideoFrameRef lower = NewFilledFrame(kBGRA, 32, 32, {50, 50, 50, 255});
    const MF::IVideoFrameRef drawn = DrawOver(lower, FrameWithContent(), kDefaults, RenderParams(32, 32));
    TVK::Rect content;
    EXPECT_FALSE(drawn->GetContentRect(content));
    EXPECT_EQ(kContentPixel, TestSupport::PixelAt(drawn, 5, 5));
    EXPECT_EQ((std::vector<std::uint8_t>{50, 50, 50, 255}), TestSupport::PixelAt(drawn, 20, 20));
}

TEST(IntrinsicTargets, CopyOfAFrozenLowerFrameKnowsItsContent)
{
    const ML::CutlistRenderParams params = RenderParams(32, 32);
    const MF::IVideoFrameRef lower = DrawOnNothing(FrameWithContent(), kDefaults, params);
    lower->Freeze();
    NodeIntrinsicParameters moved;
    moved.positionY = 0.5f - 8.0f / 32.0f;
    TVK::Rect content;
    ASSERT_TRUE(DrawOver(lower, FrameWithContent(), moved, params)->GetContentRect(content));
    EXPECT_TRUE(IsBoxOf({5, 5, 7, 15}, content));
}

TEST(IntrinsicTargets, ContentRectangleOutsideTheFrameDoesNoHarm)
{
    for (const TVK::Rect& content : {TVK::Rect{-5, -5, 100, 100}, TVK::Rect{20, 20, 30, 30},
                                     TVK::Rect{6, 6, 2, 2}, TVK::Rect{5, 5, 5, 5},
                                     TVK::Rect{std::numeric_limits<std::int32_t>::min(), 0,
                                               std::numeric_limits<std::int32_t>::max(), 8}})
    {
        const MF::IVideoFrameRef frame = Noise(kBGRA, 8, 8);
        frame->SetContentRect(content);
        const MF::IVideoFrameRef drawn = DrawOnNothing(frame, kDefaults, RenderParams(8, 8));
        TVK::Rect drawnRect;
        if (drawn && drawn->GetContentRect(drawnRect))
        {
            EXPECT_TRUE(drawnRect.IsEmpty() || (drawnRect.left >= 0 && drawnRect.right <= 8));
        }
    }
}

TEST(IntrinsicTargets, LowerFrameThatMayBeWrittenIsDrawnInto)
{
    const MF::IVideoFrameRef lower = NewFilledFrame(kBGRA, 8, 4, {0, 0, 0, 255});
    const MF::IVideoFrameRef frame = Noise(kBGRA, 4, 2);
    EXPECT_TRUE(lower == DrawOver(lower, frame, kDefaults, RenderParams(8, 4)));
    EXPECT_TRUE(lower ==
                DrawOver(lower, Noise(kPixelFormat_BGRP_4444_8u, 4, 2), kDefaults, RenderParams(8, 4)))
        << "another kind of alpha needs no conversion";
}

TEST(IntrinsicTargets, FrozenLowerFrameIsCopiedAndStaysAsItWas)
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

TEST(IntrinsicTargets, FrameIsNeverWritten)
{
    const MF::IVideoFrameRef frame = Noise(kBGRA, 8, 4);
    const std::vector<std::uint8_t> before = TestSupport::PixelBytes(frame);
    NodeIntrinsicParameters half;
    half.opacity = 0.5f;
    DrawOver(NewFilledFrame(kBGRA, 8, 4, {10, 20, 30, 255}), frame, half, RenderParams(8, 4));
    EXPECT_EQ(before, TestSupport::PixelBytes(frame));
    const MF::IVideoFrameRef overItself = DrawOver(frame, frame, half, RenderParams(8, 4));
    ASSERT_TRUE(overItself);
    EXPECT_FALSE(overItself == frame);
    EXPECT_EQ(before, TestSupport::PixelBytes(frame)) << "a frame over itself must not be its own target";
}

TEST(IntrinsicTargets, PackedLowerFrameIsCopiedIntoFourComponents)
{
    const MF::IVideoFrameRef lower = Noise(kPixelFormat_UYVY_422_8u_709, 8, 4);
    const MF::IVideoFrameRef frame =
        NewFilledFrame(kPixelFormat_VUYA_4444_8u_709, 4, 2, {100, 110, 120, 255});
    const MF::IVideoFrameRef drawn = DrawOver(lower, frame, kDefaults, RenderParams(8, 4));
    EXPECT_EQ(kPixelFormat_VUYA_4444_8u_709, FormatOf(drawn));
    EXPECT_EQ((std::vector<std::uint8_t>{100, 110, 120, 255}), TestSupport::PixelAt(drawn, 3, 1));
}

TEST(IntrinsicTargets, LowerFrameOfAnotherModelIsConvertedToTheParamsFormat)
{
    const MF::IVideoFrameRef lower = Noise(kPixelFormat_VUYA_4444_8u_709, 8, 4);
    const MF::IVideoFrameRef drawn =
        DrawOver(lower, Noise(kBGRA, 4, 2), kDefaults,
                 RenderParams(8, 4, kRenderQuality_High, kPixelFormat_BGRP_4444_8u));
    EXPECT_EQ(kPixelFormat_BGRP_4444_8u, FormatOf(drawn));
    EXPECT_FALSE(drawn == lower);
}

TEST(IntrinsicTargets, LowerFrameThatDiffersInAlphaOrLightOnlyIsNotConverted)
{
    struct Case
    {
        PixelFormat mLower;
        PixelFormat mFrame;
    };
    for (const Case& one : {Case{kPixelFormat_BGRP_4444_8u, kBGRA}, Case{kPixelFormat_BGRX_4444_8u, kBGRA},
                            Case{kPixelFormat_BGRA_4444_32f_Linear, kPixelFormat_BGRA_4444_32f},
                            Case{kPixelFormat_BGRA_4444_32f, kPixelFormat_BGRA_4444_32f_Linear}})
    {
        const MF::IVideoFrameRef lower = NewFrame(one.mLower, 8, 4);
        const MF::IVideoFrameRef drawn =
            DrawOver(lower, NewFrame(one.mFrame, 4, 2), kDefaults,
                     RenderParams(8, 4, kRenderQuality_High, kPixelFormat_VUYA_4444_8u_709));
        EXPECT_TRUE(drawn == lower);
    }
}

TEST(IntrinsicTargets, LowerFrameThatCannotBeConvertedStaysInItsFormat)
{
    const MF::IVideoFrameRef lower = NewFilledFrame(kPixelFormat_VUYA_4444_8u_709, 8, 4, {128, 128, 60, 255});
    const MF::IVideoFrameRef drawn =
        DrawOver(lower, NewFilledFrame(kBGRA, 4, 2, {255, 255, 255, 255}), kDefaults,
                 RenderParams(8, 4, kRenderQuality_High, kPixelFormat_Any));
    EXPECT_TRUE(drawn == lower);
    EXPECT_EQ((std::vector<std::uint8_t>{128, 128, 235, 255}), TestSupport::PixelAt(drawn, 3, 1));
}

TEST(IntrinsicTargets, LowerFrameWhosePixelsVanishThrows)
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

TEST(IntrinsicTargets, TargetHasAlphaOfItsOwnInTheFramesModel)
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

TEST(IntrinsicTargets, PlanarFrameIsDrawnInTheParamsFormat)
{
    const MF::IVideoFrameRef frame = Noise(kPixelFormat_YUV_420_MPEG2_Frame_8u_709, 6, 4);
    EXPECT_EQ(kPixelFormat_BGRA_4444_16u,
              FormatOf(DrawOnNothing(frame, kDefaults,
                                     RenderParams(8, 4, kRenderQuality_High, kPixelFormat_BGRA_4444_16u))));
}

TEST(IntrinsicTargets, TargetIsClearAroundThePicture)
{
    const MF::IVideoFrameRef drawn =
        DrawOnNothing(NewFilledFrame(kBGRA, 4, 4, {1, 2, 3, 255}), kDefaults, RenderParams(8, 8));
    EXPECT_EQ((std::vector<std::uint8_t>{0, 0, 0, 0}), TestSupport::PixelAt(drawn, 0, 0));
    EXPECT_EQ((std::vector<std::uint8_t>{0, 0, 0, 0}), TestSupport::PixelAt(drawn, 7, 7));
    EXPECT_EQ((std::vector<std::uint8_t>{1, 2, 3, 255}), TestSupport::PixelAt(drawn, 2, 2));
}

TEST(IntrinsicTargets, TargetHasSizeAspectAndFieldsOfTheOutput)
{
    ML::CutlistRenderParams params = RenderParams(8, 4);
    params.mPixelAspectRatio = {16, 15};
    params.mFieldType = kFieldType_LowerFirst;
    const MF::IVideoFrameRef drawn = DrawOnNothing(Noise(kBGRA, 3, 2), kDefaults, params);
    EXPECT_TRUE(ML::FrameAlreadyConformsToOutput(drawn, params));
    EXPECT_EQ(kFieldType_LowerFirst, drawn->GetFieldType());
}

TEST(IntrinsicTargets, FieldOfAProgressiveFrameAtLowQualityIsProgressive)
{
    ML::CutlistRenderParams params = RenderParams(8, 4, kRenderQuality_Low);
    params.mFieldType = kFieldType_LowerFirst;
    params.mFieldToRender = 1;
    EXPECT_EQ(kFieldType_Progressive, DrawOnNothing(Noise(kBGRA, 3, 2), kDefaults, params)->GetFieldType());
    params.mFieldToRender = 0;
    EXPECT_EQ(kFieldType_LowerFirst, DrawOnNothing(Noise(kBGRA, 3, 2), kDefaults, params)->GetFieldType());
    params.mFieldToRender = 1;
    const MF::IVideoFrameRef withFields = Noise(kBGRA, 3, 2);
    withFields->SetFieldType(kFieldType_UpperFirst);
    EXPECT_EQ(kFieldType_LowerFirst, DrawOnNothing(withFields, kDefaults, params)->GetFieldType());
    params.mRenderQuality = kRenderQuality_Medium;
    EXPECT_EQ(kFieldType_LowerFirst, DrawOnNothing(Noise(kBGRA, 3, 2), kDefaults, params)->GetFieldType());
}

TEST(IntrinsicTargets, FieldOfAProgressiveOutputKeepsTheOrderOfItsSource)
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

TEST(IntrinsicTargets, FieldOfAProgressiveOutputHasTheOrderOfASourceThatHoldsNothing)
{
    const MF::IVideoFrameRef empty = NewFilledFrame(kBGRA, 8, 4, {0, 0, 0, 0});
    empty->SetContentRect({0, 0, 0, 0});
    empty->SetFieldType(kFieldType_LowerFirst);
    ML::CutlistRenderParams params = RenderParams(8, 4);
    EXPECT_EQ(kFieldType_Progressive, DrawOnNothing(empty, kDefaults, params)->GetFieldType());
    params.mFieldToRender = 1;
    EXPECT_EQ(kFieldType_LowerFirst, DrawOnNothing(empty, kDefaults, params)->GetFieldType());
}

TEST(IntrinsicTargets, TargetThatCannotBeMadeGivesNoFrame)
{
    EXPECT_FALSE(DrawOnNothing(Noise(kBGRA, 8, 4), kDefaults, RenderParams(0, 4)));
}

TEST(IntrinsicTargets, FrameWithoutRawPixelsThrows)
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

} // namespace
