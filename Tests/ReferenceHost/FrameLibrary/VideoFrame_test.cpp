#include "ReferenceHost/FrameLibrary/VideoFrame.h"

#include "ReferenceHost/FrameLibrary/FramePool.h"
#include "Tests/Support/PixelMatchers.h"
#include "VF/VideoFrame.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <vector>

using namespace norviktypes;
using MF::IVideoFrameRef;
using TestSupport::HaveEqualPixels;
using TestSupport::IsFilledWith;

namespace
{

constexpr PixelAspectRatio kRatio{64, 45};

IVideoFrameRef NewFrame(const PixelFormat& inFormat, std::uint32_t inWidth = 37, std::uint32_t inHeight = 11)
{
    IVideoFrameRef frame;
    EXPECT_EQ(VF::CreateVideoFrame(frame, inFormat, inWidth, inHeight, kRatio, false, false), 0);
    return frame;
}

IVideoFrameRef Cleared(const PixelFormat& inFormat, bool inClearAlpha)
{
    IVideoFrameRef frame;
    // Something to be cleared, in the buffer that comes back.
    TestSupport::FillWithNoise(NewFrame(inFormat), 1);
    EXPECT_EQ(VF::CreateVideoFrame(frame, inFormat, 37, 11, kRatio, true, inClearAlpha), 0);
    return frame;
}

std::vector<std::uint8_t> Floats(float inA, float inB, float inC, float inD)
{
    const float values[4] = {inA, inB, inC, inD};
    std::vector<std::uint8_t> bytes(sizeof(values));
    std::memcpy(bytes.data(), values, sizeof(values));
    return bytes;
}

std::uint64_t BuffersAskedFor()
{
    const VF::FramePoolCounters counters = VF::FramePool::Instance().GetCounters();
    return counters.mAllocations + counters.mReuses + counters.mRefusals;
}

} // namespace

TEST(CreateVideoFrame, EachFormatGivesAFrameThatAnswersWhatItIs)
{
    for (const PixelFormatRow& row : kPixelFormatTable)
    {
        SCOPED_TRACE(row.mText);
        const IVideoFrameRef frame = NewFrame(row.mFormat);
        ASSERT_TRUE(frame);
        TVK::Rect bounds;
        frame->GetBounds(bounds);
        EXPECT_EQ(bounds, (TVK::Rect{0, 0, 37, 11}));
        PixelFormat format;
        frame->GetPixelFormat(format);
        EXPECT_EQ(format, row.mFormat);
        PixelAspectRatio ratio;
        frame->GetPixelAspectRatio(ratio);
        EXPECT_EQ(ratio, kRatio);
        EXPECT_FALSE(frame->IsFrozen());
        EXPECT_EQ(frame->GetFieldType(), kFieldType_Progressive);
        TVK::Point origin;
        frame->GetOrigin(origin);
        EXPECT_EQ(origin, (TVK::Point{-1, -1}));
        TVK::Rect content{1, 2, 3, 4};
        EXPECT_FALSE(frame->GetContentRect(content));
        EXPECT_EQ(content, (TVK::Rect{1, 2, 3, 4})) << "nothing is written";
        EXPECT_EQ(frame->GetRenderMilliseconds(), 0u);
    }
}

TEST(CreateVideoFrame, PixelsOfEachFormatAreAlignedAndWriteableThroughout)
{
    for (const PixelFormatRow& row : kPixelFormatTable)
    {
        SCOPED_TRACE(row.mText);
        const IVideoFrameRef frame = NewFrame(row.mFormat);
        const VF::IVideoFramePixelsRef pixels(frame);
        const VF::IVideoFrameRasterRef raster(frame);
        ASSERT_TRUE(pixels && raster);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(pixels->GetPixels()) % 64, 0u);
        EXPECT_EQ(raster->GetRowBytes() % 64, 0);
        EXPECT_EQ(static_cast<std::uint32_t>(raster->GetRowBytes()), pixels->GetRowBytesUnsigned());
        EXPECT_EQ(static_cast<std::uint64_t>(raster->GetRowBytes()), VF::RowBytesOfFrame(row.mFormat, 37));
        TestSupport::FillWithNoise(frame, 7);
    }
}

TEST(CreateVideoFrame, PixelStrideIsTheBytesOfAPixelWhereThereIsOneFigure)
{
    const auto strideOf = [](const PixelFormat& format)
    { return VF::IVideoFrameRasterRef(NewFrame(format))->GetPixelStride(); };
    EXPECT_EQ(strideOf(kPixelFormat_BGRA_4444_8u), 4);
    EXPECT_EQ(strideOf(kPixelFormat_BGRA_4444_16u), 8);
    EXPECT_EQ(strideOf(kPixelFormat_VUYA_4444_32f), 16);
    EXPECT_EQ(strideOf(kPixelFormat_UYVY_422_8u_601), 2);
    EXPECT_EQ(strideOf(kPixelFormat_V210_422_10u_601), 0);
    EXPECT_EQ(strideOf(kPixelFormat_YUV_420_MPEG2_Frame_8u_601), 0);
    EXPECT_EQ(strideOf(kPixelFormat_YUV_420_MPEG2_Frame_10u_709), 0);
}

TEST(CreateVideoFrame, FacesAreOneObject)
{
    const IVideoFrameRef frame = NewFrame(kPixelFormat_BGRA_4444_8u);
    const VF::IVideoFramePixelsRef pixels(frame);
    const VF::IVideoFrameRasterRef raster(pixels);
    EXPECT_TRUE(frame == pixels);
    EXPECT_TRUE(frame == raster);
    EXPECT_TRUE(IVideoFrameRef(raster) == frame);
    EXPECT_FALSE(frame == NewFrame(kPixelFormat_BGRA_4444_8u));
}

TEST(CreateVideoFrame, RefusesWhatNoFrameCanBe)
{
    const std::uint64_t before = BuffersAskedFor();
    IVideoFrameRef frame;
    const auto statusOf = [&](const PixelFormat& format, std::uint32_t width, std::uint32_t height)
    {
        frame = IVideoFrameRef();
        const std::int32_t status = VF::CreateVideoFrame(frame, format, width, height, kRatio, true, true);
        EXPECT_FALSE(frame);
        return status;
    };
    EXPECT_EQ(statusOf(kPixelFormat_Any, 16, 16), VF::kFrameStatus_BadArgument);
    EXPECT_EQ(statusOf(kPixelFormat_Invalid, 16, 16), VF::kFrameStatus_BadArgument);
    EXPECT_EQ(statusOf({FourCC("BGRA"), 0x40081}, 16, 16), VF::kFrameStatus_BadArgument);
    EXPECT_EQ(statusOf(kPixelFormat_BGRA_4444_8u, 0, 16), VF::kFrameStatus_BadArgument);
    EXPECT_EQ(statusOf(kPixelFormat_BGRA_4444_8u, 16, 0), VF::kFrameStatus_BadArgument);
    EXPECT_EQ(statusOf(kPixelFormat_BGRA_4444_8u, 0xFFFFFFFF, 0xFFFFFFFF), VF::kFrameStatus_BadArgument);
    EXPECT_EQ(BuffersAskedFor(), before) << "before any allocation";
}

TEST(CreateVideoFrame, SideMayBeTheLimitAndNotOneMore)
{
    IVideoFrameRef frame;
    const std::uint32_t limit = VF::kMaximumFrameSide;
    EXPECT_EQ(VF::CreateVideoFrame(frame, kPixelFormat_BGRA_4444_8u, limit, 1, kRatio, false, false), 0);
    EXPECT_EQ(VF::CreateVideoFrame(frame, kPixelFormat_BGRA_4444_8u, 1, limit, kRatio, false, false), 0);
    const std::uint64_t before = BuffersAskedFor();
    EXPECT_LT(VF::CreateVideoFrame(frame, kPixelFormat_BGRA_4444_8u, limit + 1, 1, kRatio, false, false), 0);
    EXPECT_LT(VF::CreateVideoFrame(frame, kPixelFormat_BGRA_4444_8u, 1, limit + 1, kRatio, false, false), 0);
    EXPECT_EQ(BuffersAskedFor(), before);
}

TEST(CreateVideoFrame, SizeMayBeTheLimitAndNotOneRowMore)
{
    IVideoFrameRef frame;
    EXPECT_EQ(VF::CreateVideoFrame(frame, kPixelFormat_BGRA_4444_8u, 16384, 8192, kRatio, false, false), 0);
    frame.reset();
    const std::uint64_t before = BuffersAskedFor();
    EXPECT_EQ(VF::CreateVideoFrame(frame, kPixelFormat_BGRA_4444_8u, 16384, 8193, kRatio, false, false),
              VF::kFrameStatus_BadArgument);
    EXPECT_EQ(VF::CreateVideoFrame(frame, kPixelFormat_BGRA_4444_32f, 16384, 2049, kRatio, false, false),
              VF::kFrameStatus_BadArgument);
    EXPECT_EQ(BuffersAskedFor(), before);
    VF::FramePool::Instance().Trim();
}

TEST(CreateVideoFrame, ClearGivesOpaqueBlackOfTheFormat)
{
    EXPECT_TRUE(IsFilledWith(Cleared(kPixelFormat_BGRA_4444_8u, false), {0, 0, 0, 255}));
    EXPECT_TRUE(IsFilledWith(Cleared(kPixelFormat_BGRP_4444_8u, false), {0, 0, 0, 255}));
    EXPECT_TRUE(IsFilledWith(Cleared(kPixelFormat_BGRA_4444_16u, false), {0, 0, 0, 0, 0, 0, 255, 255}));
    EXPECT_TRUE(IsFilledWith(Cleared(kPixelFormat_BGRA_4444_32f, false), Floats(0, 0, 0, 1)));
    EXPECT_TRUE(IsFilledWith(Cleared(kPixelFormat_VUYA_4444_8u, false), {128, 128, 16, 255}));
    EXPECT_TRUE(IsFilledWith(Cleared(kPixelFormat_VUYA_4444_8u_601_Full, false), {128, 128, 0, 255}));
    EXPECT_TRUE(IsFilledWith(Cleared(kPixelFormat_VUYA_4444_32f_709, false), Floats(0, 0, 0, 1)));
    EXPECT_TRUE(IsFilledWith(Cleared(kPixelFormat_UYVY_422_8u_709, false), {128, 16}));
    EXPECT_TRUE(IsFilledWith(Cleared(kPixelFormat_YUYV_422_8u_601, false), {16, 128}));
    EXPECT_TRUE(IsFilledWith(Cleared(kPixelFormat_BGRA_4444_8u_BottomUp, false), {0, 0, 0, 255}));
}

TEST(CreateVideoFrame, ClearOfBothGivesTransparentBlack)
{
    EXPECT_TRUE(IsFilledWith(Cleared(kPixelFormat_BGRA_4444_8u, true), {0, 0, 0, 0}));
    EXPECT_TRUE(IsFilledWith(Cleared(kPixelFormat_BGRA_4444_16u, true), {0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_TRUE(IsFilledWith(Cleared(kPixelFormat_BGRP_4444_32f_Linear, true), Floats(0, 0, 0, 0)));
    EXPECT_TRUE(IsFilledWith(Cleared(kPixelFormat_VUYP_4444_8u_709, true), {128, 128, 16, 0}));
    EXPECT_TRUE(IsFilledWith(Cleared(kPixelFormat_UYVY_422_8u_601, true), {128, 16}));
}

TEST(CreateVideoFrame, ClearOfPlanesIsBlackInEach)
{
    const auto planesOf = [](const PixelFormat& format)
    {
        const IVideoFrameRef frame = Cleared(format, false);
        VF::FramePixels pixels;
        EXPECT_TRUE(VF::GetFramePixels(frame, pixels));
        std::vector<std::uint8_t> firstAndLast;
        for (const VF::FramePlane& plane : pixels.mGeometry.mPlanes)
        {
            firstAndLast.push_back(pixels.mPixels[plane.mOffset]);
            firstAndLast.push_back(
                pixels.mPixels[plane.mOffset + plane.mRowBytes * (plane.mLines - 1) + plane.mUsedBytes - 1]);
        }
        return firstAndLast;
    };
    using Bytes = std::vector<std::uint8_t>;
    EXPECT_EQ(planesOf(kPixelFormat_YUV_420_MPEG2_Frame_8u_601), (Bytes{16, 16, 128, 128, 128, 128}));
    EXPECT_EQ(planesOf(kPixelFormat_YUV_420_Center_Frame_8u_601_Full), (Bytes{0, 0, 128, 128, 128, 128}));
    EXPECT_EQ(planesOf(kPixelFormat_YUV_422_Planar_8u_709), (Bytes{16, 16, 128, 128, 128, 128}));
    EXPECT_EQ(planesOf(kPixelFormat_YUV_422_Planar_10u_709), (Bytes{64, 0, 0, 2, 0, 2})) << "64 and 512";
}

TEST(CreateVideoFrame, ClearOfTenBitWordsIsBlackInEachSample)
{
    const std::vector<std::uint8_t> bytes =
        TestSupport::PixelBytes(Cleared(kPixelFormat_V210_422_10u_709, false));
    ASSERT_EQ(bytes.size() % 16, 0u);
    for (std::size_t at = 0; at < bytes.size(); at += 4)
    {
        std::uint32_t word = 0;
        std::memcpy(&word, bytes.data() + at, 4);
        for (std::uint32_t part = 0; part < 3; ++part)
        {
            const bool isLuma = (at / 4 * 3 + part) % 2 == 1;
            ASSERT_EQ(word >> 10 * part & 0x3FF, isLuma ? 64u : 512u) << at << " " << part;
        }
        ASSERT_EQ(word >> 30, 0u);
    }
}

TEST(VideoFrame, AlphaTypeAndTransparencyFollowTheFormat)
{
    struct Case
    {
        PixelFormat mFormat;
        AlphaChannel mType;
        bool mMayHaveTransparency;
        bool mIsPremultiplied;
    };
    const Case cases[] = {{kPixelFormat_BGRA_4444_8u, kAlphaChannel_Straight, true, false},
                          {kPixelFormat_BGRP_4444_32f, kAlphaChannel_Premultiplied, true, true},
                          {kPixelFormat_BGRX_4444_16u, kAlphaChannel_Opaque, false, false},
                          {kPixelFormat_VUYA_4444_8u, kAlphaChannel_Straight, true, false},
                          {kPixelFormat_UYVY_422_8u_601, kAlphaChannel_None, false, false},
                          {kPixelFormat_YUV_420_MPEG2_Frame_8u_601, kAlphaChannel_None, false, false},
                          {kPixelFormat_V210_422_10u_601, kAlphaChannel_None, false, false}};
    for (const Case& one : cases)
    {
        SCOPED_TRACE(PixelFormatText(one.mFormat));
        const IVideoFrameRef frame = NewFrame(one.mFormat);
        EXPECT_EQ(frame->GetAlphaType(), one.mType);
        EXPECT_EQ(frame->MayHaveTransparency(), one.mMayHaveTransparency);
        EXPECT_EQ(frame->IsPremultiplied(), one.mIsPremultiplied);
    }
}

TEST(VideoFrame, AlphaTypeMaySayMoreThanTheFormat)
{
    const IVideoFrameRef frame = NewFrame(kPixelFormat_BGRA_4444_8u);
    frame->SetAlphaType(kAlphaChannel_Opaque);
    EXPECT_FALSE(frame->MayHaveTransparency());
    frame->SetAlphaType(kAlphaChannel_Premultiplied);
    EXPECT_TRUE(frame->MayHaveTransparency());
    EXPECT_TRUE(frame->IsPremultiplied());
    const IVideoFrameRef premultiplied = NewFrame(kPixelFormat_BGRP_4444_8u);
    premultiplied->SetAlphaType(kAlphaChannel_Straight);
    EXPECT_TRUE(premultiplied->IsPremultiplied()) << "by its format";
}

TEST(VideoFrame, KeepsWhatItIsTold)
{
    const IVideoFrameRef frame = NewFrame(kPixelFormat_BGRA_4444_8u);
    frame->SetFieldType(kFieldType_LowerFirst);
    frame->SetPixelAspectRatio({2, 1});
    frame->SetOrigin({7, -3});
    frame->SetContentRect({1, 2, 30, 10});
    frame->SetRenderMilliseconds(12);
    EXPECT_EQ(frame->GetFieldType(), kFieldType_LowerFirst);
    PixelAspectRatio ratio;
    frame->GetPixelAspectRatio(ratio);
    EXPECT_EQ(ratio, PixelAspectRatio(2, 1));
    TVK::Point origin;
    frame->GetOrigin(origin);
    EXPECT_EQ(origin, (TVK::Point{7, -3}));
    TVK::Rect content;
    EXPECT_TRUE(frame->GetContentRect(content));
    EXPECT_EQ(content, (TVK::Rect{1, 2, 30, 10}));
    frame->SetContentRect({});
    EXPECT_TRUE(frame->GetContentRect(content)) << "empty, but told";
    EXPECT_EQ(content, TVK::Rect());
    frame->ClearContentRect();
    EXPECT_FALSE(frame->GetContentRect(content));
    EXPECT_EQ(frame->GetRenderMilliseconds(), 12u);
}

TEST(VideoFrame, OnlyASubstituteStandsForSmallerBounds)
{
    const IVideoFrameRef frame = NewFrame(kPixelFormat_BGRA_4444_8u, 64, 32);
    EXPECT_TRUE(frame->SupportsTargetBounds({0, 0, 64, 32}));
    EXPECT_FALSE(frame->SupportsTargetBounds({0, 0, 32, 16}));
    const VF::IVideoFrameSubstituteRef substitute(frame);
    ASSERT_TRUE(substitute);
    EXPECT_FALSE(substitute->IsSubstitute());
    substitute->SetSubstitute(true);
    EXPECT_TRUE(frame->SupportsTargetBounds({0, 0, 64, 32}));
    EXPECT_TRUE(frame->SupportsTargetBounds({0, 0, 32, 16}));
    EXPECT_TRUE(frame->SupportsTargetBounds({0, 0, 64, 16}));
    EXPECT_FALSE(frame->SupportsTargetBounds({0, 0, 65, 32}));
    EXPECT_FALSE(frame->SupportsTargetBounds({0, 0, 32, 33}));
}

TEST(VideoFrame, FrozenFrameStillTakesItsRenderTime)
{
    const IVideoFrameRef frame = NewFrame(kPixelFormat_BGRA_4444_8u);
    frame->Freeze();
    EXPECT_TRUE(frame->IsFrozen());
    frame->SetRenderMilliseconds(40);
    EXPECT_EQ(frame->GetRenderMilliseconds(), 40u);
    EXPECT_NE(VF::IVideoFramePixelsRef(frame)->GetPixels(), nullptr);
}

#ifndef NDEBUG
TEST(VideoFrameDeathTest, SettersStopAtAFrozenFrame)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    const IVideoFrameRef frame = NewFrame(kPixelFormat_BGRA_4444_8u);
    frame->Freeze();
    EXPECT_DEATH(frame->SetFieldType(kFieldType_UpperFirst), "frozen");
    EXPECT_DEATH(frame->SetContentRect({}), "frozen");
    EXPECT_DEATH(frame->ClearContentRect(), "frozen");
    EXPECT_DEATH(frame->SetOrigin({}), "frozen");
    EXPECT_DEATH(frame->SetAlphaType(kAlphaChannel_Opaque), "frozen");
    EXPECT_DEATH(frame->SetPixelAspectRatio({1, 1}), "frozen");
    EXPECT_DEATH(VF::IVideoFrameSubstituteRef(frame)->SetSubstitute(true), "frozen");
}
#endif

TEST(VideoFrame, CompatibleFrameHasItsShapeAndTypes)
{
    const IVideoFrameRef frame = NewFrame(kPixelFormat_BGRA_4444_16u);
    frame->SetFieldType(kFieldType_UpperFirst);
    frame->SetAlphaType(kAlphaChannel_Opaque);
    frame->SetContentRect({0, 0, 1, 1});
    frame->Freeze();
    IVideoFrameRef other;
    ASSERT_EQ(frame->CreateCompatibleFrame(other), 0);
    EXPECT_FALSE(other->IsFrozen());
    EXPECT_FALSE(other == frame);
    PixelFormat format;
    other->GetPixelFormat(format);
    EXPECT_EQ(format, kPixelFormat_BGRA_4444_16u);
    EXPECT_TRUE(other->SupportsTargetBounds({0, 0, 37, 11}));
    PixelAspectRatio ratio;
    other->GetPixelAspectRatio(ratio);
    EXPECT_EQ(ratio, kRatio);
    EXPECT_EQ(other->GetFieldType(), kFieldType_UpperFirst);
    EXPECT_EQ(other->GetAlphaType(), kAlphaChannel_Opaque);
    TVK::Rect content;
    EXPECT_FALSE(other->GetContentRect(content));
}

TEST(VideoFrame, BufferGoesBackWithTheLastReference)
{
    VF::FramePool& pool = VF::FramePool::Instance();
    const std::uint64_t before = pool.GetCounters().mBuffersInUse;
    IVideoFrameRef frame = NewFrame(kPixelFormat_BGRA_4444_8u);
    VF::IVideoFramePixelsRef pixels(frame);
    frame.reset();
    EXPECT_EQ(pool.GetCounters().mBuffersInUse, before + 1);
    pixels.reset();
    EXPECT_EQ(pool.GetCounters().mBuffersInUse, before);
}

TEST(VideoFrame, SteadyRenderReusesItsBuffers)
{
    VF::FramePool& pool = VF::FramePool::Instance();
    IVideoFrameRef window[3];
    for (IVideoFrameRef& frame : window)
    {
        frame = NewFrame(kPixelFormat_BGRA_4444_8u, 1280, 720);
    }
    const VF::FramePoolCounters before = pool.GetCounters();
    for (int frame = 0; frame < 50; ++frame)
    {
        window[frame % 3].reset();
        window[frame % 3] = NewFrame(kPixelFormat_BGRA_4444_8u, 1280, 720);
    }
    EXPECT_EQ(pool.GetCounters().mAllocations, before.mAllocations);
    EXPECT_EQ(pool.GetCounters().mReuses, before.mReuses + 50);
}

TEST(CreateFrameOver, FrameHasThePixelsOfItsOwnerAndKeepsHim)
{
    constexpr std::uint32_t kRowBytes = 38; // no frame of the pool has rows so close
    const auto owner = std::make_shared<std::vector<std::uint8_t>>(kRowBytes * 11 + 2 * (kRowBytes / 2) * 6);
    for (std::size_t i = 0; i < owner->size(); ++i)
    {
        (*owner)[i] = static_cast<std::uint8_t>(i * 7);
    }
    IVideoFrameRef frame;
    ASSERT_EQ(VF::CreateFrameOver(frame, kPixelFormat_YUV_420_MPEG2_Field_8u_709, 37, 11, kRatio,
                                  kFieldType_LowerFirst, owner->data(), kRowBytes, owner),
              0);
    EXPECT_EQ(owner.use_count(), 2);
    VF::FramePixels pixels;
    ASSERT_TRUE(VF::GetFramePixels(frame, pixels));
    EXPECT_EQ(pixels.mPixels, owner->data());
    EXPECT_EQ(pixels.Row(2, 5)[18], owner->back());
    EXPECT_TRUE(frame->IsFrozen());
    EXPECT_EQ(frame->GetFieldType(), kFieldType_LowerFirst);
    PixelAspectRatio ratio;
    frame->GetPixelAspectRatio(ratio);
    EXPECT_EQ(ratio, kRatio);
    const IVideoFrameRef copy = VF::MakeWriteableVideoFrame(frame, kRenderQuality_High);
    ASSERT_TRUE(copy);
    EXPECT_TRUE(HaveEqualPixels(frame, copy));
    TestSupport::FillWithNoise(copy, 5);
    EXPECT_EQ(owner->at(100), static_cast<std::uint8_t>(700));
    IVideoFrameRef compatible;
    ASSERT_EQ(frame->CreateCompatibleFrame(compatible), 0);
    EXPECT_FALSE(compatible->IsFrozen());
    EXPECT_EQ(VF::IVideoFrameRasterRef(compatible)->GetRowBytes(), 128) << "a frame of the pool";
    EXPECT_EQ(VF::IVideoFrameRasterRef(copy)->GetRowBytes(), 128);
    frame.reset();
    EXPECT_EQ(owner.use_count(), 1);
}

TEST(CreateFrameOver, RefusesRowsThatAreTooShortAndNoPixels)
{
    const auto owner = std::make_shared<std::vector<std::uint8_t>>(4096);
    IVideoFrameRef frame;
    const auto create = [&](const std::uint8_t* inPixels, std::uint32_t inRowBytes)
    {
        return VF::CreateFrameOver(frame, kPixelFormat_YUV_420_MPEG2_Frame_8u_709, 37, 11, kRatio,
                                   kFieldType_Progressive, inPixels, inRowBytes, owner);
    };
    EXPECT_LT(create(owner->data(), 36), 0);
    EXPECT_LT(create(owner->data(), 39), 0) << "chroma has half of them";
    EXPECT_LT(create(nullptr, 38), 0);
    EXPECT_FALSE(frame);
    EXPECT_EQ(owner.use_count(), 1);
}

TEST(MakeWriteableVideoFrame, GivesAnUnfrozenFrameItself)
{
    const IVideoFrameRef frame = NewFrame(kPixelFormat_BGRA_4444_8u);
    EXPECT_TRUE(VF::MakeWriteableVideoFrame(frame, kRenderQuality_High) == frame);
}

TEST(MakeWriteableVideoFrame, CopiesAFrozenFrameOfEachFormatWithAllAttributes)
{
    for (const PixelFormatRow& row : kPixelFormatTable)
    {
        SCOPED_TRACE(row.mText);
        const IVideoFrameRef frame = NewFrame(row.mFormat);
        TestSupport::FillWithNoise(frame, 3);
        frame->SetFieldType(kFieldType_LowerFirst);
        frame->SetAlphaType(kAlphaChannel_Opaque);
        frame->SetOrigin({5, 6});
        frame->SetContentRect({1, 1, 2, 2});
        VF::IVideoFrameSubstituteRef(frame)->SetSubstitute(true);
        frame->Freeze();
        const IVideoFrameRef copy = VF::MakeWriteableVideoFrame(frame, kRenderQuality_High);
        ASSERT_TRUE(copy);
        EXPECT_FALSE(copy == frame);
        EXPECT_FALSE(copy->IsFrozen());
        EXPECT_TRUE(HaveEqualPixels(copy, frame));
        EXPECT_EQ(copy->GetFieldType(), kFieldType_LowerFirst);
        EXPECT_EQ(copy->GetAlphaType(), kAlphaChannel_Opaque);
        TVK::Point origin;
        copy->GetOrigin(origin);
        EXPECT_EQ(origin, (TVK::Point{5, 6}));
        TVK::Rect content;
        EXPECT_TRUE(copy->GetContentRect(content));
        EXPECT_EQ(content, (TVK::Rect{1, 1, 2, 2}));
        PixelAspectRatio ratio;
        copy->GetPixelAspectRatio(ratio);
        EXPECT_EQ(ratio, kRatio);
        EXPECT_TRUE(copy->SupportsTargetBounds({0, 0, 3, 3}));
    }
}

TEST(MakeWriteableVideoFrame, EmptyReferenceThrows)
{
    EXPECT_THROW(VF::MakeWriteableVideoFrame({}, kRenderQuality_High), TVK::NullInterfaceException);
}
