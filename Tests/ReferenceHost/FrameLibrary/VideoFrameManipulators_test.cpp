#include "VF/VideoFrameManipulators.h"

#include "ReferenceHost/FrameLibrary/VideoFrame.h"
#include "TVK/Allocated.h"
#include "Tests/Support/FramePainter.h"
#include "Tests/Support/PixelMatchers.h"
#include "VF/VideoFrame.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

using namespace norviktypes;
using namespace VF::VideoFrameManipulators;
using MF::IVideoFrameRef;
using TestSupport::FrameMark;
using TestSupport::HaveEqualPixels;
using TestSupport::HaveNearPixels;
using TestSupport::PaintedLines;

namespace
{

constexpr RenderQuality kQuality = kRenderQuality_High;

IVideoFrameRef NewFrame(const PixelFormat& inFormat, std::uint32_t inWidth, std::uint32_t inHeight)
{
    IVideoFrameRef frame;
    EXPECT_EQ(VF::CreateVideoFrame(frame, inFormat, inWidth, inHeight, {1, 1}, true, false), 0);
    return frame;
}

IVideoFrameRef NoisyFrame(const PixelFormat& inFormat, std::uint32_t inWidth = 31, std::uint32_t inHeight = 9)
{
    const IVideoFrameRef frame = NewFrame(inFormat, inWidth, inHeight);
    TestSupport::FillWithNoise(frame, 11);
    return frame;
}

IVideoFrameRef Copied(const IVideoFrameRef& inSource, const PixelFormat& inFormat)
{
    TVK::Rect bounds;
    inSource->GetBounds(bounds);
    const IVideoFrameRef target = NewFrame(inFormat, static_cast<std::uint32_t>(bounds.right),
                                           static_cast<std::uint32_t>(bounds.bottom));
    EXPECT_EQ(CopyFrame(inSource, target, kQuality), 0);
    return target;
}

template <class T>
IVideoFrameRef FrameOfPixels(const PixelFormat& inFormat, const std::vector<std::array<T, 4>>& inPixels)
{
    const IVideoFrameRef frame = NewFrame(inFormat, static_cast<std::uint32_t>(inPixels.size()), 1);
    VF::FramePixels pixels;
    EXPECT_TRUE(VF::GetFramePixels(frame, pixels));
    std::memcpy(pixels.mPixels, inPixels.data(), inPixels.size() * sizeof(inPixels[0]));
    return frame;
}

template <class T>
std::vector<std::array<T, 4>> PixelsOf(const IVideoFrameRef& inFrame)
{
    const std::vector<std::uint8_t> bytes = TestSupport::PixelBytes(inFrame);
    std::vector<std::array<T, 4>> pixels(bytes.size() / sizeof(std::array<T, 4>));
    std::memcpy(pixels.data(), bytes.data(), bytes.size());
    return pixels;
}

using Bytes = std::vector<std::array<std::uint8_t, 4>>;
using Words = std::vector<std::array<std::uint16_t, 4>>;
using Floats = std::vector<std::array<float, 4>>;

// A frame of another maker: its rows are as long as it likes, and its memory ends with its last pixel.
class ForeignFrame final
    : public TVK::Implements<ForeignFrame, MF::IVideoFrame, VF::IVideoFramePixels, VF::IVideoFrameRaster>
{
public:
    ForeignFrame(const IVideoFrameRef& inModel, std::size_t inRowBytes, std::size_t inBytes)
        : mModel(inModel)
        , mRowBytes(inRowBytes)
        , mBytes(new std::uint8_t[inBytes]())
    {
    }

    void GetBounds(TVK::Rect& outBounds) const override { mModel->GetBounds(outBounds); }
    bool SupportsTargetBounds(const TVK::Rect& inBounds) const override
    {
        return mModel->SupportsTargetBounds(inBounds);
    }
    void GetPixelAspectRatio(PixelAspectRatio& outRatio) const override
    {
        mModel->GetPixelAspectRatio(outRatio);
    }
    void GetPixelFormat(PixelFormat& outFormat) const override { mModel->GetPixelFormat(outFormat); }
    bool IsFrozen() const override { return mModel->IsFrozen(); }
    void Freeze() override { mModel->Freeze(); }
    FieldType GetFieldType() const override { return mModel->GetFieldType(); }
    void SetFieldType(FieldType inType) override { mModel->SetFieldType(inType); }
    AlphaChannel GetAlphaType() const override { return mModel->GetAlphaType(); }
    bool MayHaveTransparency() const override { return mModel->MayHaveTransparency(); }
    void GetOrigin(TVK::Point& outOrigin) const override { mModel->GetOrigin(outOrigin); }
    bool GetContentRect(TVK::Rect& outRect) const override { return mModel->GetContentRect(outRect); }
    void SetContentRect(const TVK::Rect& inRect) override { mModel->SetContentRect(inRect); }
    void ClearContentRect() override { mModel->ClearContentRect(); }
    void SetPixelAspectRatio(const PixelAspectRatio& inRatio) override
    {
        mModel->SetPixelAspectRatio(inRatio);
    }
    void SetAlphaType(AlphaChannel inType) override { mModel->SetAlphaType(inType); }
    void SetOrigin(const TVK::Point& inOrigin) override { mModel->SetOrigin(inOrigin); }
    std::int32_t CreateCompatibleFrame(IVideoFrameRef& outFrame) const override
    {
        return mModel->CreateCompatibleFrame(outFrame);
    }
    void SetRenderMilliseconds(std::uint32_t) override {}
    std::uint32_t GetRenderMilliseconds() const override { return 0; }
    bool IsPremultiplied() const override { return mModel->IsPremultiplied(); }
    void* GetPixels() const override { return mBytes.get(); }
    std::uint32_t GetRowBytesUnsigned() const override { return static_cast<std::uint32_t>(mRowBytes); }
    std::int32_t GetRowBytes() const override { return static_cast<std::int32_t>(mRowBytes); }
    std::int32_t GetPixelStride() const override { return 0; }

private:
    const IVideoFrameRef mModel;
    const std::size_t mRowBytes;
    const std::unique_ptr<std::uint8_t[]> mBytes;
};

// Upper lines of one moment, lower lines of another.
IVideoFrameRef InterlacedFrame(const PixelFormat& inFormat, std::uint32_t inWidth, std::uint32_t inHeight)
{
    const IVideoFrameRef frame = NewFrame(inFormat, inWidth, inHeight);
    TestSupport::PaintMark(frame, {7, 1, TickTime(1000)}, PaintedLines::Upper);
    TestSupport::PaintMark(frame, {7, 2, TickTime(1500)}, PaintedLines::Lower);
    frame->SetFieldType(kFieldType_UpperFirst);
    return frame;
}

constexpr FrameMark kUpper{7, 1, TickTime(1000)};
constexpr FrameMark kLower{7, 2, TickTime(1500)};

} // namespace

TEST(CopyFrame, SameShapeIsCopiedByteForByteInEachFormat)
{
    for (const PixelFormatRow& row : kPixelFormatTable)
    {
        SCOPED_TRACE(row.mText);
        const IVideoFrameRef source = NoisyFrame(row.mFormat);
        source->Freeze();
        EXPECT_TRUE(HaveEqualPixels(Copied(source, row.mFormat), source));
    }
}

TEST(CopyFrame, EachFormatBecomesEachFourComponentFormat)
{
    for (const PixelFormatRow& from : kPixelFormatTable)
    {
        const IVideoFrameRef source = NewFrame(from.mFormat, 160, 96);
        TestSupport::PaintMark(source, {3, 0, TickTime(77)});
        for (const PixelFormatRow& to : kPixelFormatTable)
        {
            SCOPED_TRACE(std::string(from.mText) + " to " + to.mText);
            const IVideoFrameRef target = NewFrame(to.mFormat, 160, 96);
            ASSERT_EQ(CopyFrame(source, target, kQuality), 0);
            FrameMark mark;
            ASSERT_TRUE(TestSupport::ReadMark(target, mark));
            EXPECT_EQ(mark, (FrameMark{3, 0, TickTime(77)}));
        }
    }
}

TEST(CopyFrame, SourceFillsATargetOfAnotherSize)
{
    const IVideoFrameRef source = NewFrame(kPixelFormat_YUV_420_MPEG2_Frame_8u_709, 320, 192);
    TestSupport::PaintMark(source, {99, 0, TickTime(-5)});
    for (const auto& [width, height] : {std::pair{160u, 96u}, {640u, 384u}, {333u, 201u}, {320u, 100u}})
    {
        const IVideoFrameRef target = NewFrame(kPixelFormat_BGRA_4444_8u, width, height);
        ASSERT_EQ(CopyFrame(source, target, kQuality), 0);
        FrameMark mark;
        ASSERT_TRUE(TestSupport::ReadMark(target, mark)) << width;
        EXPECT_EQ(mark, (FrameMark{99, 0, TickTime(-5)}));
    }
}

TEST(CopyFrame, BottomUpFrameIsTurnedRound)
{
    const IVideoFrameRef source = NoisyFrame(kPixelFormat_BGRA_4444_8u);
    const IVideoFrameRef turned = Copied(source, kPixelFormat_BGRA_4444_8u_BottomUp);
    const Bytes top = PixelsOf<std::uint8_t>(source);
    const Bytes bottom = PixelsOf<std::uint8_t>(turned);
    for (std::size_t y = 0; y < 9; ++y)
    {
        for (std::size_t x = 0; x < 31; ++x)
        {
            ASSERT_EQ(bottom[(8 - y) * 31 + x], top[y * 31 + x]);
        }
    }
}

TEST(CopyFrame, AlphaTypeIsCarriedWhereItStaysTrue)
{
    const auto typeAfter = [](const PixelFormat& from, AlphaChannel type, const PixelFormat& to)
    {
        const IVideoFrameRef source = NoisyFrame(from);
        source->SetAlphaType(type);
        return Copied(source, to)->GetAlphaType();
    };
    EXPECT_EQ(typeAfter(kPixelFormat_BGRA_4444_8u, kAlphaChannel_Straight, kPixelFormat_BGRA_4444_8u),
              kAlphaChannel_Straight);
    EXPECT_EQ(typeAfter(kPixelFormat_BGRA_4444_8u, kAlphaChannel_Opaque, kPixelFormat_BGRA_4444_32f),
              kAlphaChannel_Opaque);
    EXPECT_EQ(typeAfter(kPixelFormat_BGRA_4444_8u, kAlphaChannel_Premultiplied, kPixelFormat_VUYA_4444_8u),
              kAlphaChannel_Premultiplied);
    EXPECT_EQ(typeAfter(kPixelFormat_UYVY_422_8u_601, kAlphaChannel_None, kPixelFormat_BGRA_4444_8u),
              kAlphaChannel_None);
    EXPECT_EQ(typeAfter(kPixelFormat_BGRA_4444_8u, kAlphaChannel_Straight, kPixelFormat_BGRP_4444_8u),
              kAlphaChannel_Premultiplied)
        << "the conversion multiplies";
    EXPECT_EQ(typeAfter(kPixelFormat_BGRP_4444_8u, kAlphaChannel_Premultiplied, kPixelFormat_BGRA_4444_8u),
              kAlphaChannel_Straight);
    EXPECT_EQ(typeAfter(kPixelFormat_BGRA_4444_8u, kAlphaChannel_Straight, kPixelFormat_BGRX_4444_8u),
              kAlphaChannel_Opaque);
    EXPECT_EQ(typeAfter(kPixelFormat_BGRA_4444_8u, kAlphaChannel_Straight, kPixelFormat_UYVY_422_8u_601),
              kAlphaChannel_None);
}

TEST(CopyFrame, FieldTypeOfTheTargetStays)
{
    const IVideoFrameRef source = NoisyFrame(kPixelFormat_BGRA_4444_8u);
    source->SetFieldType(kFieldType_UpperFirst);
    const IVideoFrameRef target = NewFrame(kPixelFormat_BGRA_4444_8u, 31, 9);
    target->SetFieldType(kFieldType_LowerFirst);
    ASSERT_EQ(CopyFrame(source, target, kQuality), 0);
    EXPECT_EQ(target->GetFieldType(), kFieldType_LowerFirst);
}

TEST(CopyFrame, FrozenTargetIsRefusedAndStaysAsItWas)
{
    const IVideoFrameRef source = NoisyFrame(kPixelFormat_BGRA_4444_8u);
    const IVideoFrameRef target = NewFrame(kPixelFormat_BGRA_4444_8u, 31, 9);
    target->Freeze();
    EXPECT_LT(CopyFrame(source, target, kQuality), 0);
    EXPECT_LT(CopyFrameWithFields(source, target, kQuality, 0), 0);
    EXPECT_TRUE(TestSupport::IsFilledWith(target, {0, 0, 0, 255}));
}

TEST(CopyFrame, FramesOfOtherMakersMayHaveOtherRows)
{
    for (const auto& [format, rowBytes, bytes] :
         {std::tuple{kPixelFormat_BGRA_4444_8u, 31u * 4, 31u * 4 * 9},
          std::tuple{kPixelFormat_BGRA_4444_8u, 128u, 128u * 8 + 31 * 4},
          std::tuple{kPixelFormat_BGRA_4444_8u, 130u, 130u * 8 + 31 * 4},
          std::tuple{kPixelFormat_YUV_420_MPEG2_Frame_8u_601, 32u, 32u * 9 + 16 * 5 * 2}})
    {
        SCOPED_TRACE(rowBytes);
        const IVideoFrameRef source = NoisyFrame(format);
        const IVideoFrameRef foreign(new ForeignFrame(NewFrame(format, 31, 9), rowBytes, bytes));
        ASSERT_EQ(CopyFrame(source, foreign, kQuality), 0);
        EXPECT_TRUE(HaveEqualPixels(foreign, source));
        const IVideoFrameRef back = NewFrame(format, 31, 9);
        ASSERT_EQ(CopyFrame(foreign, back, kQuality), 0);
        EXPECT_TRUE(HaveEqualPixels(back, source));
    }
}

TEST(CopyFrame, OntoItselfChangesNothing)
{
    const IVideoFrameRef frame = NoisyFrame(kPixelFormat_BGRA_4444_8u);
    const std::vector<std::uint8_t> before = TestSupport::PixelBytes(frame);
    EXPECT_EQ(CopyFrame(frame, frame, kQuality), 0);
    EXPECT_EQ(TestSupport::PixelBytes(frame), before);
}

TEST(CopyFrame, EmptyReferencesThrow)
{
    const IVideoFrameRef frame = NoisyFrame(kPixelFormat_BGRA_4444_8u);
    EXPECT_THROW(CopyFrame({}, frame, kQuality), TVK::NullInterfaceException);
    EXPECT_THROW(CopyFrame(frame, {}, kQuality), TVK::NullInterfaceException);
    EXPECT_THROW(CopyFrameWithFields({}, frame, kQuality, 0), TVK::NullInterfaceException);
    EXPECT_THROW(OpaqueAlpha({}), TVK::NullInterfaceException);
    EXPECT_THROW(InvertAlpha({}), TVK::NullInterfaceException);
    IVideoFrameRef out;
    EXPECT_THROW(MakeAddressableVideoFrame({}, out, kPixelFormat_BGRA_4444_8u, kQuality),
                 TVK::NullInterfaceException);
}

TEST(CopyFrameWithFields, OneFieldFillsTheWholeTarget)
{
    for (const PixelFormat& format : {kPixelFormat_BGRA_4444_8u, kPixelFormat_YUV_420_MPEG2_Field_8u_709,
                                      kPixelFormat_UYVY_422_8u_601, kPixelFormat_V210_422_10u_709})
    {
        for (const auto& [width, height] : {std::pair{256u, 192u}, {256u, 96u}, {160u, 120u}})
        {
            SCOPED_TRACE(std::string(PixelFormatText(format)) + " " + std::to_string(height));
            const IVideoFrameRef source = InterlacedFrame(format, 256, 192);
            const IVideoFrameRef target = NewFrame(kPixelFormat_BGRA_4444_8u, width, height);
            FrameMark mark;
            ASSERT_EQ(CopyFrameWithFields(source, target, kQuality, 1), 0);
            ASSERT_TRUE(TestSupport::ReadMark(target, mark, PaintedLines::Upper));
            EXPECT_EQ(mark, kUpper);
            ASSERT_TRUE(TestSupport::ReadMark(target, mark, PaintedLines::Lower));
            EXPECT_EQ(mark, kUpper);
            ASSERT_EQ(CopyFrameWithFields(source, target, kQuality, 2), 0);
            ASSERT_TRUE(TestSupport::ReadMark(target, mark, PaintedLines::Upper));
            EXPECT_EQ(mark, kLower);
            ASSERT_TRUE(TestSupport::ReadMark(target, mark, PaintedLines::Lower));
            EXPECT_EQ(mark, kLower);
        }
    }
}

TEST(CopyFrameWithFields, FieldsOfOneOrderAreScaledEachByItself)
{
    const IVideoFrameRef source = InterlacedFrame(kPixelFormat_YUV_420_MPEG2_Field_8u_709, 256, 192);
    for (const auto& [width, height] : {std::pair{256u, 96u}, {128u, 192u}, {512u, 300u}})
    {
        const IVideoFrameRef target = NewFrame(kPixelFormat_BGRA_4444_8u, width, height);
        target->SetFieldType(kFieldType_UpperFirst);
        ASSERT_EQ(CopyFrameWithFields(source, target, kQuality, 0), 0);
        FrameMark mark;
        ASSERT_TRUE(TestSupport::ReadMark(target, mark, PaintedLines::Upper)) << height;
        EXPECT_EQ(mark, kUpper);
        ASSERT_TRUE(TestSupport::ReadMark(target, mark, PaintedLines::Lower)) << height;
        EXPECT_EQ(mark, kLower);
        EXPECT_EQ(target->GetFieldType(), kFieldType_UpperFirst);
    }
}

TEST(CopyFrameWithFields, OtherOrdersAreScaledAsOnePicture)
{
    const IVideoFrameRef source = InterlacedFrame(kPixelFormat_BGRA_4444_8u, 256, 192);
    const IVideoFrameRef whole = NewFrame(kPixelFormat_BGRA_4444_8u, 256, 96);
    ASSERT_EQ(CopyFrame(source, whole, kQuality), 0);
    for (const FieldType order : {kFieldType_Progressive, kFieldType_LowerFirst})
    {
        const IVideoFrameRef target = NewFrame(kPixelFormat_BGRA_4444_8u, 256, 96);
        target->SetFieldType(order);
        ASSERT_EQ(CopyFrameWithFields(source, target, kQuality, 0), 0);
        EXPECT_TRUE(HaveEqualPixels(target, whole));
    }
}

TEST(CopyFrameWithFields, FrameOfOneLineHasOnlyThatLine)
{
    const IVideoFrameRef source = NoisyFrame(kPixelFormat_BGRA_4444_8u, 16, 1);
    source->SetFieldType(kFieldType_UpperFirst);
    for (std::uint32_t field : {0u, 1u, 2u})
    {
        const IVideoFrameRef target = NewFrame(kPixelFormat_BGRA_4444_8u, 16, 1);
        target->SetFieldType(kFieldType_UpperFirst);
        ASSERT_EQ(CopyFrameWithFields(source, target, kQuality, field), 0);
        EXPECT_TRUE(HaveEqualPixels(target, source));
    }
}

TEST(CopyFrameWithFields, UnknownFieldIsRefused)
{
    const IVideoFrameRef frame = NoisyFrame(kPixelFormat_BGRA_4444_8u);
    EXPECT_LT(CopyFrameWithFields(frame, NewFrame(kPixelFormat_BGRA_4444_8u, 31, 9), kQuality, 3), 0);
    EXPECT_LT(CopyFrameWithFields(frame, NewFrame(kPixelFormat_BGRA_4444_8u, 31, 9), kQuality, 0xFFFFFFFF),
              0);
}

TEST(OpaqueAlpha, StraightAndOpaqueFormatsKeepTheirColours)
{
    const IVideoFrameRef bytes =
        FrameOfPixels<std::uint8_t>(kPixelFormat_BGRA_4444_8u, {{1, 2, 3, 0}, {9, 8, 7, 99}});
    EXPECT_EQ(OpaqueAlpha(bytes), 0);
    EXPECT_EQ(PixelsOf<std::uint8_t>(bytes), (Bytes{{1, 2, 3, 255}, {9, 8, 7, 255}}));
    EXPECT_EQ(bytes->GetAlphaType(), kAlphaChannel_Opaque);
    EXPECT_FALSE(bytes->MayHaveTransparency());

    const IVideoFrameRef words = FrameOfPixels<std::uint16_t>(kPixelFormat_BGRX_4444_16u, {{1, 2, 3, 4}});
    EXPECT_EQ(OpaqueAlpha(words), 0);
    EXPECT_EQ(PixelsOf<std::uint16_t>(words), (Words{{1, 2, 3, 65535}}));

    const IVideoFrameRef floats =
        FrameOfPixels<float>(kPixelFormat_VUYA_4444_32f, {{0.25f, -0.5f, 2.0f, 0.5f}});
    EXPECT_EQ(OpaqueAlpha(floats), 0);
    EXPECT_EQ(PixelsOf<float>(floats), (Floats{{0.25f, -0.5f, 2.0f, 1.0f}}));
}

TEST(OpaqueAlpha, PremultipliedColoursBecomeThoseOfTheStraightPicture)
{
    const IVideoFrameRef frame = FrameOfPixels<float>(
        kPixelFormat_BGRP_4444_32f, {{0.25f, 0.125f, 0.5f, 0.5f}, {0.0f, 0.0f, 0.0f, 0.0f}});
    EXPECT_EQ(OpaqueAlpha(frame), 0);
    EXPECT_EQ(PixelsOf<float>(frame), (Floats{{0.5f, 0.25f, 1.0f, 1.0f}, {0.0f, 0.0f, 0.0f, 1.0f}}));
}

TEST(OpaqueAlpha, FormatsWithoutAlphaAreLeftAlone)
{
    for (const PixelFormat& format : {kPixelFormat_UYVY_422_8u_601, kPixelFormat_V210_422_10u_601,
                                      kPixelFormat_YUV_420_MPEG2_Frame_8u_601})
    {
        const IVideoFrameRef frame = NoisyFrame(format);
        const std::vector<std::uint8_t> before = TestSupport::PixelBytes(frame);
        EXPECT_EQ(OpaqueAlpha(frame), 0);
        EXPECT_EQ(InvertAlpha(frame), 0);
        EXPECT_EQ(TestSupport::PixelBytes(frame), before);
        EXPECT_EQ(frame->GetAlphaType(), kAlphaChannel_None);
    }
}

TEST(InvertAlpha, StraightAlphaIsInvertedAndColoursStay)
{
    const IVideoFrameRef bytes =
        FrameOfPixels<std::uint8_t>(kPixelFormat_BGRA_4444_8u, {{1, 2, 3, 0}, {9, 8, 7, 99}, {4, 5, 6, 255}});
    EXPECT_EQ(InvertAlpha(bytes), 0);
    EXPECT_EQ(PixelsOf<std::uint8_t>(bytes), (Bytes{{1, 2, 3, 255}, {9, 8, 7, 156}, {4, 5, 6, 0}}));

    const IVideoFrameRef words = FrameOfPixels<std::uint16_t>(kPixelFormat_BGRA_4444_16u, {{1, 2, 3, 65535}});
    EXPECT_EQ(InvertAlpha(words), 0);
    EXPECT_EQ(PixelsOf<std::uint16_t>(words), (Words{{1, 2, 3, 0}}));

    const IVideoFrameRef floats = FrameOfPixels<float>(kPixelFormat_BGRA_4444_32f_Linear, {{1, 2, 3, 0.25f}});
    EXPECT_EQ(InvertAlpha(floats), 0);
    EXPECT_EQ(PixelsOf<float>(floats), (Floats{{1, 2, 3, 0.75f}}));
}

TEST(InvertAlpha, PremultipliedColoursAreAdapted)
{
    const IVideoFrameRef frame = FrameOfPixels<float>(
        kPixelFormat_BGRP_4444_32f, {{0.125f, 0.25f, 0.0f, 0.25f}, {0.0f, 0.0f, 0.0f, 0.0f}});
    EXPECT_EQ(InvertAlpha(frame), 0);
    EXPECT_EQ(PixelsOf<float>(frame), (Floats{{0.375f, 0.75f, 0.0f, 0.75f}, {0.0f, 0.0f, 0.0f, 1.0f}}));
    EXPECT_EQ(frame->GetAlphaType(), kAlphaChannel_Premultiplied);
}

TEST(InvertAlpha, FrameMayHaveTransparencyAfterwards)
{
    const IVideoFrameRef frame = NoisyFrame(kPixelFormat_BGRA_4444_8u);
    ASSERT_EQ(OpaqueAlpha(frame), 0);
    ASSERT_EQ(InvertAlpha(frame), 0);
    EXPECT_TRUE(frame->MayHaveTransparency());
}

TEST(InvertAlpha, OpaqueFormatsHaveNone)
{
    const IVideoFrameRef frame = FrameOfPixels<std::uint8_t>(kPixelFormat_BGRX_4444_8u, {{1, 2, 3, 77}});
    EXPECT_EQ(InvertAlpha(frame), 0);
    EXPECT_EQ(PixelsOf<std::uint8_t>(frame), (Bytes{{1, 2, 3, 77}}));
    EXPECT_FALSE(frame->MayHaveTransparency());
}

TEST(InvertAlpha, FrozenFramesAreRefused)
{
    const IVideoFrameRef frame = NoisyFrame(kPixelFormat_BGRA_4444_8u);
    frame->Freeze();
    const std::vector<std::uint8_t> before = TestSupport::PixelBytes(frame);
    EXPECT_LT(InvertAlpha(frame), 0);
    EXPECT_LT(OpaqueAlpha(frame), 0);
    EXPECT_EQ(TestSupport::PixelBytes(frame), before);
}

TEST(MakeAddressableVideoFrame, GivesFramesWithOneRowPointerThemselves)
{
    for (const PixelFormatRow& row : kPixelFormatTable)
    {
        const IVideoFrameRef frame = NoisyFrame(row.mFormat);
        frame->Freeze();
        IVideoFrameRef addressable;
        ASSERT_EQ(MakeAddressableVideoFrame(frame, addressable, kPixelFormat_BGRA_4444_8u, kQuality), 0);
        EXPECT_EQ(addressable == frame, !IsSubsampled(row.mFormat.mProperties)) << row.mText;
    }
}

TEST(MakeAddressableVideoFrame, CopiesPlanarFramesWithWhatTheyAreTold)
{
    const IVideoFrameRef frame = InterlacedFrame(kPixelFormat_YUV_420_MPEG2_Field_8u_709, 128, 96);
    frame->SetPixelAspectRatio({64, 45});
    frame->SetOrigin({3, 4});
    frame->Freeze();
    IVideoFrameRef copy;
    ASSERT_EQ(MakeAddressableVideoFrame(frame, copy, kPixelFormat_VUYA_4444_8u_709, kQuality), 0);
    PixelFormat format;
    copy->GetPixelFormat(format);
    EXPECT_EQ(format, kPixelFormat_VUYA_4444_8u_709);
    EXPECT_EQ(copy->GetFieldType(), kFieldType_UpperFirst);
    PixelAspectRatio ratio;
    copy->GetPixelAspectRatio(ratio);
    EXPECT_EQ(ratio, PixelAspectRatio(64, 45));
    TVK::Point origin;
    copy->GetOrigin(origin);
    EXPECT_EQ(origin, (TVK::Point{3, 4}));
    EXPECT_FALSE(copy->IsFrozen());
    EXPECT_FALSE(copy->MayHaveTransparency());
    FrameMark mark;
    EXPECT_TRUE(TestSupport::ReadMark(copy, mark, PaintedLines::Upper));
    EXPECT_EQ(mark, kUpper);
}

TEST(MakeAddressableVideoFrame, SourceAndResultMayBeOneVariable)
{
    IVideoFrameRef frame = NoisyFrame(kPixelFormat_YUV_420_MPEG2_Frame_8u_601);
    ASSERT_EQ(MakeAddressableVideoFrame(frame, frame, kPixelFormat_BGRA_4444_8u, kQuality), 0);
    PixelFormat format;
    frame->GetPixelFormat(format);
    EXPECT_EQ(format, kPixelFormat_BGRA_4444_8u);
}

TEST(MakeAddressableVideoFrame, FormatThatDoesNotHelpIsRefused)
{
    const IVideoFrameRef frame = NoisyFrame(kPixelFormat_YUV_420_MPEG2_Frame_8u_601);
    IVideoFrameRef out = frame;
    EXPECT_LT(MakeAddressableVideoFrame(frame, out, kPixelFormat_YUV_422_Planar_8u_709, kQuality), 0);
    EXPECT_FALSE(out);
    EXPECT_LT(MakeAddressableVideoFrame(frame, out, kPixelFormat_Any, kQuality), 0);
    EXPECT_FALSE(out);
}

TEST(FramePainter, BlackFrameCarriesNoMark)
{
    FrameMark mark;
    EXPECT_FALSE(TestSupport::ReadMark(NewFrame(kPixelFormat_BGRA_4444_8u, 128, 96), mark));
    EXPECT_FALSE(TestSupport::ReadMark(NoisyFrame(kPixelFormat_BGRA_4444_8u, 128, 96), mark));
}

TEST(FramePainter, NearnessIsMeasuredInEveryComponent)
{
    const IVideoFrameRef a = FrameOfPixels<std::uint8_t>(kPixelFormat_BGRA_4444_8u, {{10, 20, 30, 255}});
    const IVideoFrameRef b = FrameOfPixels<std::uint8_t>(kPixelFormat_BGRA_4444_8u, {{10, 22, 30, 255}});
    EXPECT_TRUE(HaveNearPixels(a, b, 2.1 / 255));
    EXPECT_FALSE(HaveNearPixels(a, b, 1.9 / 255));
}
