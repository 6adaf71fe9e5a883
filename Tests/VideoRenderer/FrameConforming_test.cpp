#include "FrameConforming.h"

#include "Tests/Support/Fakes/FakeVideoFrame.h"
#include "Tests/Support/FrameTools.h"
#include "Tests/Support/PixelMatchers.h"
#include "Tests/VideoRenderer/RenderParams.h"
#include "VF/VideoFrame.h"

#include <gtest/gtest.h>

namespace
{

using namespace norviktypes;
using TestSupport::NewFilledFrame;
using TestSupport::NewFrame;

PixelFormat FormatOf(const MF::IVideoFrameRef& inFrame)
{
    PixelFormat format;
    inFrame->GetPixelFormat(format);
    return format;
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

TVK::Point OriginOf(const MF::IVideoFrameRef& inFrame)
{
    TVK::Point origin;
    inFrame->GetOrigin(origin);
    return origin;
}

// 32 by 16 asked for of a source of 64 by 32.
ML::CutlistRenderParams HalfSize(RenderQuality inQuality = kRenderQuality_High)
{
    ML::CutlistRenderParams params = RenderParams(32, 16, inQuality);
    params.mSourceWidth = 64;
    params.mSourceHeight = 32;
    params.mPixelAspectRatio = {2, 1};
    return params;
}

MF::IVideoFrameRef Substitute(const PixelFormat& inFormat, std::uint32_t inWidth, std::uint32_t inHeight)
{
    const MF::IVideoFrameRef frame = NewFrame(inFormat, inWidth, inHeight);
    TestSupport::FillWithNoise(frame, 1);
    TestSupport::MakeSubstitute(frame);
    return frame;
}

TEST(FrameConforming, FrameInAnAcceptedFormatIsReturnedAsItIs)
{
    const MF::IVideoFrameRef frame = NewFrame(kPixelFormat_BGRP_4444_8u, 8, 4);
    const ML::CutlistRenderParams params = RenderParams(8, 4);
    EXPECT_TRUE(frame == ML::ConformFrameToFormats(params, frame, kPixelFormat_BGRA_4444_8u,
                                                   {kPixelFormat_BGRA_4444_8u, kPixelFormat_BGRP_4444_8u}));
    EXPECT_TRUE(frame ==
                ML::ConformFrameToFormats(params, frame, kPixelFormat_BGRA_4444_8u, {kPixelFormat_Any}));
    EXPECT_TRUE(frame == ML::ConformFrameToFormat(params, frame, kPixelFormat_BGRP_4444_8u));
}

TEST(FrameConforming, NoAcceptedFormatsMeanTheWishedOne)
{
    const MF::IVideoFrameRef frame = NewFilledFrame(kPixelFormat_BGRA_4444_8u, 8, 4, {200, 100, 50, 128});
    const MF::IVideoFrameRef converted =
        ML::ConformFrameToFormats(RenderParams(8, 4), frame, kPixelFormat_BGRP_4444_8u, {});
    EXPECT_TRUE(TestSupport::IsFilledWith(converted, {100, 50, 25, 128}));
    EXPECT_EQ(kPixelFormat_BGRP_4444_8u, FormatOf(converted));
}

TEST(FrameConforming, ConversionTakesTheNearestAcceptedFormat)
{
    const MF::IVideoFrameRef frame = NewFrame(kPixelFormat_BGRA_4444_16u, 8, 4);
    TestSupport::FillWithNoise(frame, 2);
    const MF::IVideoFrameRef converted =
        ML::ConformFrameToFormats(RenderParams(8, 4), frame, kPixelFormat_VUYA_4444_8u,
                                  {kPixelFormat_UYVY_422_8u_601, kPixelFormat_BGRA_4444_32f});
    EXPECT_EQ(kPixelFormat_BGRA_4444_32f, FormatOf(converted));
}

TEST(FrameConforming, ConvertedFrameKeepsSizeAspectFieldsAndPlace)
{
    const MF::IVideoFrameRef frame = NewFilledFrame(kPixelFormat_BGRA_4444_8u, 8, 4, {200, 100, 50, 128});
    frame->SetPixelAspectRatio({16, 15});
    frame->SetFieldType(kFieldType_LowerFirst);
    frame->SetOrigin({3, -2});
    frame->SetContentRect({1, 1, 5, 3});
    const MF::IVideoFrameRef converted =
        ML::ConformFrameToFormat(HalfSize(), frame, kPixelFormat_BGRP_4444_32f_Linear);
    EXPECT_EQ((TVK::Rect{0, 0, 8, 4}), BoundsOf(converted));
    EXPECT_EQ(PixelAspectRatio(16, 15), AspectOf(converted));
    EXPECT_EQ(kFieldType_LowerFirst, converted->GetFieldType());
    EXPECT_EQ((TVK::Point{3, -2}), OriginOf(converted));
    TVK::Rect content;
    ASSERT_TRUE(converted->GetContentRect(content));
    EXPECT_EQ((TVK::Rect{1, 1, 5, 3}), content);
}

TEST(FrameConforming, FormatThatCannotTellTransparencyHasNoContentRectangle)
{
    const MF::IVideoFrameRef frame = NewFilledFrame(kPixelFormat_BGRA_4444_8u, 8, 4, {200, 100, 50, 0});
    frame->SetContentRect({1, 1, 5, 3});
    const MF::IVideoFrameRef converted =
        ML::ConformFrameToFormat(RenderParams(8, 4), frame, kPixelFormat_YUV_420_MPEG2_Frame_8u_709);
    TVK::Rect content;
    EXPECT_FALSE(converted->GetContentRect(content));
}

TEST(FrameConforming, SubstituteIsConvertedAtRenderSize)
{
    const MF::IVideoFrameRef frame = Substitute(kPixelFormat_BGRA_4444_8u, 64, 32);
    frame->SetFieldType(kFieldType_UpperFirst);
    frame->SetContentRect({8, 8, 60, 30});
    const MF::IVideoFrameRef converted =
        ML::ConformFrameToFormat(HalfSize(), frame, kPixelFormat_BGRP_4444_8u);
    EXPECT_EQ((TVK::Rect{0, 0, 32, 16}), BoundsOf(converted));
    TVK::Rect content;
    EXPECT_FALSE(converted->GetContentRect(content)) << "that of another size";
    EXPECT_EQ(PixelAspectRatio(2, 1), AspectOf(converted));
    EXPECT_EQ(kFieldType_UpperFirst, converted->GetFieldType());
}

TEST(FrameConforming, FrameStaysInTheWrongFormatWhereTheTargetCannotBeMade)
{
    const MF::IVideoFrameRef frame = NewFrame(kPixelFormat_BGRA_4444_8u, 8, 4);
    EXPECT_TRUE(frame == ML::ConformFrameToFormat(RenderParams(8, 4), frame, kPixelFormat_Any));
    EXPECT_TRUE(frame == ML::ConformFrameToFormat(RenderParams(8, 4), frame, kPixelFormat_Invalid));
}

TEST(FrameConforming, FrameStaysWhereItCannotBeCopied)
{
    const TestSupport::FakeVideoFrameRef fake(
        new TestSupport::FakeVideoFrame(NewFrame(kPixelFormat_BGRA_4444_8u, 8, 4)));
    fake->mHasPixels = false;
    const MF::IVideoFrameRef frame(fake.get());
    EXPECT_TRUE(frame == ML::ConformFrameToFormat(RenderParams(8, 4), frame, kPixelFormat_BGRP_4444_8u));
}

TEST(FrameConforming, EmptyFrameThrows)
{
    EXPECT_THROW(ML::ConformFrameToFormat(RenderParams(8, 4), {}, kPixelFormat_BGRP_4444_8u),
                 TVK::NullInterfaceException);
    EXPECT_THROW(ML::NeedsScaleToRenderSize({}, RenderParams(8, 4)), TVK::NullInterfaceException);
}

TEST(FrameConforming, OnlySubstitutesOfTheFullSizeNeedScaling)
{
    const ML::CutlistRenderParams params = HalfSize();
    EXPECT_TRUE(ML::NeedsScaleToRenderSize(Substitute(kPixelFormat_BGRA_4444_8u, 64, 32), params));
    EXPECT_FALSE(ML::NeedsScaleToRenderSize(NewFrame(kPixelFormat_BGRA_4444_8u, 64, 32), params))
        << "a frame that stands for nothing but itself";
    EXPECT_FALSE(ML::NeedsScaleToRenderSize(Substitute(kPixelFormat_BGRA_4444_8u, 64, 34), params))
        << "not the full size";
    EXPECT_FALSE(ML::NeedsScaleToRenderSize(Substitute(kPixelFormat_BGRA_4444_8u, 32, 16), params))
        << "the render size itself";
}

TEST(FrameConforming, HalfWidthSubstituteNeedsAnInterlacedPlanarFormat)
{
    ML::CutlistRenderParams params = HalfSize();
    params.mWidth = 16;
    params.mHeight = 8;
    EXPECT_TRUE(
        ML::NeedsScaleToRenderSize(Substitute(kPixelFormat_YUV_420_MPEG2_Field_8u_709, 32, 32), params));
    EXPECT_FALSE(
        ML::NeedsScaleToRenderSize(Substitute(kPixelFormat_YUV_420_MPEG2_Frame_8u_709, 32, 32), params));
    EXPECT_FALSE(ML::NeedsScaleToRenderSize(Substitute(kPixelFormat_BGRA_4444_8u, 32, 32), params));
    EXPECT_FALSE(
        ML::NeedsScaleToRenderSize(Substitute(kPixelFormat_YUV_420_MPEG2_Field_8u_709, 32, 16), params))
        << "half the height would mix the fields";
}

TEST(FrameConforming, AddressableFrameIsTheFrameItself)
{
    const MF::IVideoFrameRef frame = NewFrame(kPixelFormat_UYVY_422_8u_709, 20, 10);
    EXPECT_TRUE(frame == ML::MakeAddressableAtRenderSize(frame, RenderParams(8, 4)));
}

TEST(FrameConforming, PlanarFrameBecomesAddressableInTheParamsFormat)
{
    const MF::IVideoFrameRef frame = NewFrame(kPixelFormat_YUV_420_MPEG2_Frame_8u_709, 20, 10);
    TestSupport::FillWithNoise(frame, 3);
    const MF::IVideoFrameRef addressable = ML::MakeAddressableAtRenderSize(
        frame, RenderParams(8, 4, kRenderQuality_High, kPixelFormat_BGRA_4444_16u));
    EXPECT_EQ(kPixelFormat_BGRA_4444_16u, FormatOf(addressable));
    EXPECT_EQ((TVK::Rect{0, 0, 20, 10}), BoundsOf(addressable));
}

TEST(FrameConforming, SubstituteBecomesAddressableAtRenderSizeWithItsFields)
{
    const MF::IVideoFrameRef frame = Substitute(kPixelFormat_BGRP_4444_8u, 64, 32);
    frame->SetFieldType(kFieldType_LowerFirst);
    const MF::IVideoFrameRef addressable = ML::MakeAddressableAtRenderSize(frame, HalfSize());
    EXPECT_EQ((TVK::Rect{0, 0, 32, 16}), BoundsOf(addressable));
    EXPECT_EQ(kPixelFormat_BGRA_4444_8u, FormatOf(addressable));
    EXPECT_EQ(kFieldType_LowerFirst, addressable->GetFieldType());
}

TEST(FrameConforming, NothingAddressableComesOutWhereNoFrameCanBeMade)
{
    ML::CutlistRenderParams params = HalfSize();
    params.mPixelFormat = kPixelFormat_Any;
    EXPECT_FALSE(ML::MakeAddressableAtRenderSize(Substitute(kPixelFormat_BGRA_4444_8u, 64, 32), params));
    EXPECT_FALSE(
        ML::MakeAddressableAtRenderSize(NewFrame(kPixelFormat_YUV_422_Planar_8u_709, 64, 32), params));
}

TEST(FrameConforming, FramesOfRenderSizeAndOfHalfTheHeight)
{
    ML::CutlistRenderParams params = RenderParams(12, 7);
    params.mPixelAspectRatio = {4, 3};
    const MF::IVideoFrameRef whole = ML::CreateRenderSizeFrame(params, true, false);
    EXPECT_EQ((TVK::Rect{0, 0, 12, 7}), BoundsOf(whole));
    EXPECT_EQ(PixelAspectRatio(4, 3), AspectOf(whole));
    EXPECT_TRUE(TestSupport::IsFilledWith(whole, {0, 0, 0, 255}));
    const MF::IVideoFrameRef half = ML::CreateHalfHeightFrame(params, true, true);
    EXPECT_EQ((TVK::Rect{0, 0, 12, 3}), BoundsOf(half));
    EXPECT_TRUE(TestSupport::IsFilledWith(half, {0, 0, 0, 0}));
    params.mPixelFormat = kPixelFormat_Invalid;
    EXPECT_FALSE(ML::CreateRenderSizeFrame(params, true, true));
    EXPECT_FALSE(ML::CreateHalfHeightFrame(params, true, true));
    EXPECT_FALSE(ML::CreateConformedFrame(RenderParams(0, 0), {}, true, true));
}

struct FormatCase
{
    PixelFormat mSource;
    PixelFormat mParams;
    RenderQuality mQuality;
    PixelFormat mExpected;
};

TEST(FrameConforming, ConformedFrameFollowsTheSourceAtNoMoreThanTheParamsDepth)
{
    const FormatCase cases[] = {
        {kPixelFormat_BGRP_4444_8u, kPixelFormat_BGRA_4444_32f, kRenderQuality_High,
         kPixelFormat_BGRP_4444_8u},
        {kPixelFormat_BGRP_4444_32f, kPixelFormat_BGRA_4444_8u, kRenderQuality_High,
         kPixelFormat_BGRP_4444_8u},
        {kPixelFormat_BGRP_4444_32f, kPixelFormat_BGRA_4444_8u, kRenderQuality_Max,
         kPixelFormat_BGRP_4444_32f_Linear},
        {kPixelFormat_BGRA_4444_32f_Linear, kPixelFormat_BGRA_4444_8u, kRenderQuality_Low,
         kPixelFormat_BGRA_4444_8u},
        {kPixelFormat_BGRA_4444_32f, kPixelFormat_BGRA_4444_16u, kRenderQuality_High,
         kPixelFormat_BGRA_4444_16u},
        {kPixelFormat_YUV_420_MPEG2_Frame_10u_709, kPixelFormat_BGRA_4444_8u, kRenderQuality_High,
         kPixelFormat_VUYX_4444_8u_709},
        {kPixelFormat_BGRA_4444_32f_Linear, kPixelFormat_BGRA_4444_32f, kRenderQuality_High,
         kPixelFormat_BGRA_4444_32f_Linear},
        // No such format: the source's own depth stays.
        {kPixelFormat_V210_422_10u_709, kPixelFormat_BGRA_4444_16u, kRenderQuality_High,
         kPixelFormat_VUYX_4444_32f_709},
        {kPixelFormat_YUV_420_Center_Frame_8u_601_Full, kPixelFormat_BGRA_4444_8u, kRenderQuality_High,
         kPixelFormat_VUYX_4444_8u_601_Full},
        // Params that aren't four components say nothing of depth.
        {kPixelFormat_BGRA_4444_32f, kPixelFormat_UYVY_422_8u_601, kRenderQuality_High,
         kPixelFormat_BGRA_4444_32f},
        {kPixelFormat_BGRA_4444_32f, kPixelFormat_Any, kRenderQuality_High, kPixelFormat_BGRA_4444_32f},
    };
    for (const FormatCase& each : cases)
    {
        const MF::IVideoFrameRef source = NewFrame(each.mSource, 8, 4);
        const MF::IVideoFrameRef conformed =
            ML::CreateConformedFrame(RenderParams(12, 6, each.mQuality, each.mParams), source, false, false);
        EXPECT_STREQ(PixelFormatText(each.mExpected), PixelFormatText(FormatOf(conformed)))
            << PixelFormatText(each.mSource) << " for " << PixelFormatText(each.mParams);
        EXPECT_EQ((TVK::Rect{0, 0, 12, 6}), BoundsOf(conformed));
    }
}

TEST(FrameConforming, ConformedFrameOfNothingHasTheParamsFormat)
{
    const MF::IVideoFrameRef conformed = ML::CreateConformedFrame(
        RenderParams(8, 4, kRenderQuality_High, kPixelFormat_BGRP_4444_16u), {}, true, true);
    EXPECT_EQ(kPixelFormat_BGRP_4444_16u, FormatOf(conformed));
    EXPECT_EQ(kPixelFormat_BGRA_4444_8u,
              FormatOf(ML::CreateConformedFrame(RenderParams(8, 4, kRenderQuality_High, kPixelFormat_Any), {},
                                                true, true)));
}

TEST(FrameConforming, EveryFormatHasAConformedOneForEveryRequest)
{
    for (const PixelFormatRow& source : kPixelFormatTable)
    {
        const MF::IVideoFrameRef frame = NewFrame(source.mFormat, 8, 4);
        for (const PixelFormatRow& wanted : kPixelFormatTable)
        {
            for (const RenderQuality quality : {kRenderQuality_Low, kRenderQuality_Max})
            {
                EXPECT_TRUE(ML::CreateConformedFrame(RenderParams(8, 4, quality, wanted.mFormat), frame,
                                                     false, false))
                    << source.mText << " for " << wanted.mText;
            }
        }
    }
}

TEST(FrameConforming, FrameComesToRenderSizeInItsOwnFourComponentFormat)
{
    const MF::IVideoFrameRef frame = NewFrame(kPixelFormat_UYVY_422_8u_709, 64, 32);
    TestSupport::FillWithNoise(frame, 4);
    frame->SetFieldType(kFieldType_UpperFirst);
    const MF::IVideoFrameRef conformed = ML::ConformToRenderSize(frame, HalfSize());
    EXPECT_EQ(kPixelFormat_VUYX_4444_8u_709, FormatOf(conformed));
    EXPECT_EQ((TVK::Rect{0, 0, 32, 16}), BoundsOf(conformed));
    EXPECT_EQ(PixelAspectRatio(2, 1), AspectOf(conformed));
    EXPECT_EQ(kFieldType_UpperFirst, conformed->GetFieldType());
    EXPECT_FALSE(ML::ConformToRenderSize(frame, RenderParams(0, 4)));
}

TEST(FrameConforming, UnfrozenFrameIsWriteableItself)
{
    const MF::IVideoFrameRef frame = NewFrame(kPixelFormat_BGRA_4444_8u, 8, 4);
    EXPECT_TRUE(frame == ML::MakeWriteableAtRenderSize(frame, RenderParams(8, 4), false, false));
}

// Rows of the frame that differ from those of the other one.
std::vector<std::uint32_t> ChangedRows(const MF::IVideoFrameRef& inA, const MF::IVideoFrameRef& inB)
{
    const TVK::Rect bounds = BoundsOf(inA);
    std::vector<std::uint32_t> rows;
    for (std::uint32_t y = 0; y < static_cast<std::uint32_t>(bounds.Height()); ++y)
    {
        if (TestSupport::PixelAt(inA, 0, y) != TestSupport::PixelAt(inB, 0, y))
        {
            rows.push_back(y);
        }
    }
    return rows;
}

TEST(FrameConforming, FrozenOrForcedFrameIsCopiedByOneField)
{
    const MF::IVideoFrameRef frame = NewFilledFrame(kPixelFormat_BGRA_4444_8u, 8, 6, {10, 20, 30, 40});
    frame->SetFieldType(kFieldType_UpperFirst);
    frame->SetAlphaType(kAlphaChannel_Opaque);
    const MF::IVideoFrameRef forced = ML::MakeWriteableAtRenderSize(frame, RenderParams(8, 6), false, true);
    EXPECT_FALSE(forced == frame);
    EXPECT_EQ(kFieldType_UpperFirst, forced->GetFieldType());
    EXPECT_EQ(kAlphaChannel_Opaque, forced->GetAlphaType());
    for (const std::uint32_t row : ChangedRows(frame, forced))
    {
        EXPECT_EQ(1u, row % 2) << "an upper line wasn't copied";
    }

    frame->Freeze();
    const MF::IVideoFrameRef copy = ML::MakeWriteableAtRenderSize(frame, RenderParams(8, 6), true, false);
    EXPECT_FALSE(copy->IsFrozen());
    for (const std::uint32_t row : ChangedRows(frame, copy))
    {
        EXPECT_EQ(0u, row % 2) << "a lower line wasn't copied";
    }
}

TEST(FrameConforming, CopyOfAFieldHasRenderSizeAndAFrameItselfItsOwn)
{
    const MF::IVideoFrameRef frame = NewFilledFrame(kPixelFormat_BGRA_4444_8u, 8, 6, {10, 20, 30, 40});
    EXPECT_EQ((TVK::Rect{0, 0, 8, 6}),
              BoundsOf(ML::MakeWriteableAtRenderSize(frame, RenderParams(16, 12), false, false)));
    EXPECT_EQ((TVK::Rect{0, 0, 16, 12}),
              BoundsOf(ML::MakeWriteableAtRenderSize(frame, RenderParams(16, 12), false, true)));
    frame->Freeze();
    EXPECT_EQ((TVK::Rect{0, 0, 16, 12}),
              BoundsOf(ML::MakeWriteableAtRenderSize(frame, RenderParams(16, 12), false, false)));
}

TEST(FrameConforming, PlanarFrameIsCopiedToBeWritten)
{
    const MF::IVideoFrameRef frame = NewFrame(kPixelFormat_YUV_422_Planar_8u_709, 8, 4);
    TestSupport::FillWithNoise(frame, 5);
    const MF::IVideoFrameRef writeable =
        ML::MakeWriteableAtRenderSize(frame, RenderParams(16, 8), true, false);
    EXPECT_EQ(kPixelFormat_VUYX_4444_8u_709, FormatOf(writeable));
    EXPECT_EQ((TVK::Rect{0, 0, 16, 8}), BoundsOf(writeable));
}

TEST(FrameConforming, NothingWriteableComesOutWhereNoFrameCanBeMade)
{
    EXPECT_FALSE(ML::MakeWriteableAtRenderSize(NewFrame(kPixelFormat_BGRA_4444_8u, 8, 4), RenderParams(0, 4),
                                               false, true));
}

} // namespace
