#include "IR/ImageRoutines.h"
#include "ReferenceHost/FrameLibrary/PixelMaker.h"
#include "ReferenceHost/Media/FFmpeg/FFmpegTypes.h"
#include "ReferenceHost/Media/FFmpeg/FactsReader.h"
#include "ReferenceHost/Media/FFmpeg/PictureFrames.h"
#include "ReferenceHost/Media/FFmpeg/PictureMapping.h"
#include "Tests/Support/PixelMatchers.h"
#include "Tests/Support/Scale.h"
#include "VF/VideoFrame.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <vector>

extern "C"
{
#include <libavutil/imgutils.h>
}

using namespace Media;
using namespace TestSupport;
using norviktypes::PixelFormat;

namespace
{

constexpr int kWidth = 40;
constexpr int kHeight = 24;

using Color = std::array<double, 4>; // R, G, B, A

// One for each quarter of a picture. All ones and zeroes, which every depth expresses.
constexpr Color kQuarters[4] = {{1, 0, 0, 1}, {0, 1, 0, 0.6}, {0, 0, 1, 0.2}, {1, 1, 0, 1}};

int QuarterAt(int inX, int inY, int inWidth, int inHeight)
{
    return (inX * 2 >= inWidth ? 1 : 0) + (inY * 2 >= inHeight ? 2 : 0);
}

std::vector<const AVPixFmtDescriptor*> PictureFormats()
{
    std::vector<const AVPixFmtDescriptor*> formats;
    for (const AVPixFmtDescriptor* each = av_pix_fmt_desc_next(nullptr); each;
         each = av_pix_fmt_desc_next(each))
    {
        if (!(each->flags & AV_PIX_FMT_FLAG_HWACCEL))
        {
            formats.push_back(each);
        }
    }
    return formats;
}

bool IsIn(const std::string& inName, std::initializer_list<const char*> inNames)
{
    return std::find(inNames.begin(), inNames.end(), inName) != inNames.end();
}

PictureTraits TraitsOf(const AVPixFmtDescriptor& inFormat, int inMatrix = AVCOL_SPC_BT709)
{
    const bool isGray = inFormat.nb_components <= 2;
    PictureTraits traits;
    traits.colour = ResolveColour(inMatrix, AVCOL_PRI_UNSPECIFIED, AVCOL_TRC_UNSPECIFIED,
                                  isGray ? AVCOL_RANGE_JPEG : AVCOL_RANGE_UNSPECIFIED,
                                  AVCHROMA_LOC_UNSPECIFIED, 1080, av_pix_fmt_desc_get_id(&inFormat));
    traits.alpha =
        FormatHasAlpha(av_pix_fmt_desc_get_id(&inFormat)) ? FileAlpha::kStraight : FileAlpha::kNone;
    return traits;
}

FramePtr NewPicture(AVPixelFormat inFormat, int inWidth = kWidth, int inHeight = kHeight)
{
    FramePtr picture(av_frame_alloc());
    picture->format = inFormat;
    picture->width = inWidth;
    picture->height = inHeight;
    EXPECT_GE(av_frame_get_buffer(picture.get(), 0), 0);
    return picture;
}

// The value of component inComponent, 0 .. 1 or about 0 for chroma.
double ComponentOf(const AVPixFmtDescriptor& inFormat, const Color& inColor, int inComponent, bool inIs709)
{
    if (inFormat.nb_components <= 2)
    {
        return inComponent == 0 ? inColor[0] : inColor[3];
    }
    if ((inFormat.flags & AV_PIX_FMT_FLAG_RGB) != 0 || inComponent == 3)
    {
        return inColor[static_cast<std::size_t>(inComponent)];
    }
    const double kr = inIs709 ? 0.2126 : 0.299;
    const double kb = inIs709 ? 0.0722 : 0.114;
    const double y = kr * inColor[0] + (1 - kr - kb) * inColor[1] + kb * inColor[2];
    return inComponent == 0   ? y
           : inComponent == 1 ? (inColor[2] - y) / (2 - 2 * kb)
                              : (inColor[0] - y) / (2 - 2 * kr);
}

// Its code at the depth and range of the format.
std::uint32_t CodeOf(const AVPixFmtDescriptor& inFormat, const Color& inColor, int inComponent, bool inIsFull,
                     bool inIs709)
{
    const double value = ComponentOf(inFormat, inColor, inComponent, inIs709);
    if (inFormat.flags & AV_PIX_FMT_FLAG_FLOAT)
    {
        return std::bit_cast<std::uint32_t>(static_cast<float>(value));
    }
    const int depth = inFormat.comp[inComponent].depth;
    const double largest = std::pow(2.0, depth) - 1;
    const bool isYUV = inFormat.nb_components > 2 && !(inFormat.flags & AV_PIX_FMT_FLAG_RGB);
    const bool isChroma = isYUV && (inComponent == 1 || inComponent == 2);
    const double step = std::pow(2.0, depth - 8);
    double code = value * largest;
    if (isChroma)
    {
        code = inIsFull ? value * largest + 128 * step : value * 224 * step + 128 * step;
    }
    else if (isYUV && inComponent == 0 && !inIsFull)
    {
        code = value * 219 * step + 16 * step;
    }
    return static_cast<std::uint32_t>(std::clamp(std::round(code), 0.0, largest));
}

// By FFmpeg's own writer of components, so that places, shifts and byte orders are not ours.
void PaintQuarters(AVFrame& outPicture, const AVPixFmtDescriptor& inFormat, bool inIsFull, bool inIs709)
{
    for (int plane = 0; plane < 4 && outPicture.data[plane]; ++plane)
    {
        const bool isChroma = plane == 1 || plane == 2;
        const int lines = isChroma && !(inFormat.flags & AV_PIX_FMT_FLAG_RGB)
                              ? -(-outPicture.height >> inFormat.log2_chroma_h)
                              : outPicture.height;
        std::memset(outPicture.data[plane], 0, static_cast<std::size_t>(outPicture.linesize[plane] * lines));
    }
    for (int c = 0; c < inFormat.nb_components; ++c)
    {
        const bool isChroma =
            (c == 1 || c == 2) && inFormat.nb_components > 2 && !(inFormat.flags & AV_PIX_FMT_FLAG_RGB);
        const int width = isChroma ? -(-outPicture.width >> inFormat.log2_chroma_w) : outPicture.width;
        const int height = isChroma ? -(-outPicture.height >> inFormat.log2_chroma_h) : outPicture.height;
        std::vector<std::uint32_t> codes(static_cast<std::size_t>(width));
        for (int y = 0; y < height; ++y)
        {
            for (int x = 0; x < width; ++x)
            {
                codes[static_cast<std::size_t>(x)] =
                    CodeOf(inFormat, kQuarters[QuarterAt(x, y, width, height)], c, inIsFull, inIs709);
            }
            av_write_image_line2(codes.data(), outPicture.data, outPicture.linesize, &inFormat, 0, y, c,
                                 width, 4);
        }
    }
}

// Straight B, G, R, A in float.
std::vector<float> Converted(const SourcePicture& inSource, int inWidth = kWidth, int inHeight = kHeight)
{
    std::vector<float> pixels(static_cast<std::size_t>(inWidth * inHeight) * 4);
    EXPECT_EQ(inSource.ConvertTo(pixels.data(), inWidth * 16, inWidth, inHeight,
                                 VF::BEPixelFormatToIRPixelFormat(norviktypes::kPixelFormat_BGRA_4444_32f),
                                 5),
              0);
    return pixels;
}

int ShallowestComponent(const AVPixFmtDescriptor& inFormat)
{
    int depth = 32;
    for (int c = 0; c < inFormat.nb_components; ++c)
    {
        depth = std::min(depth, inFormat.comp[c].depth);
    }
    return depth;
}

} // namespace

TEST(PictureMapping, ComponentsOfEveryFormatAreFoundAtTheirPlaces)
{
    int tried = 0;
    for (const AVPixFmtDescriptor* format : PictureFormats())
    {
        // Those have no components that can be written one by one, or no colours that are told here.
        if ((format->flags & (AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_BAYER)) != 0 ||
            IsIn(format->name, {"uyyvyy411", "xyz12le", "xyz12be", "monow"}))
        {
            continue;
        }
        SCOPED_TRACE(format->name);
        ++tried;
        const PictureTraits traits = TraitsOf(*format, AVCOL_SPC_BT709);
        const bool isFull = traits.colour.range == AVCOL_RANGE_JPEG;
        const FramePtr picture = NewPicture(av_pix_fmt_desc_get_id(format));
        PaintQuarters(*picture, *format, isFull, traits.colour.matrix == AVCOL_SPC_BT709);
        SourcePicture source;
        ASSERT_TRUE(source.Describe(*picture, traits));
        const std::vector<float> pixels = Converted(source);
        const bool isGray = format->nb_components <= 2;
        const bool hasAlpha = (format->flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
        const bool isYUV = !isGray && !(format->flags & AV_PIX_FMT_FLAG_RGB);
        const int depth = ShallowestComponent(*format);
        // Codes of YUV are rounded before they become colours; the corners of RGB are exact.
        const double tolerance = format->flags & AV_PIX_FMT_FLAG_FLOAT ? 1e-5
                                 : isYUV                               ? 3.0 / (1 << depth)
                                                                       : 1e-5;
        for (int quarter = 0; quarter < 4; ++quarter)
        {
            const int x = quarter % 2 == 0 ? kWidth / 4 : kWidth * 3 / 4;
            const int y = quarter / 2 == 0 ? kHeight / 4 : kHeight * 3 / 4;
            const float* bgra = &pixels[static_cast<std::size_t>(y * kWidth + x) * 4];
            const Color& color = kQuarters[quarter];
            EXPECT_NEAR(bgra[2], color[0], tolerance) << "red of quarter " << quarter;
            EXPECT_NEAR(bgra[1], isGray ? color[0] : color[1], tolerance) << "green of quarter " << quarter;
            EXPECT_NEAR(bgra[0], isGray ? color[0] : color[2], tolerance) << "blue of quarter " << quarter;
            EXPECT_NEAR(bgra[3], hasAlpha ? color[3] : 1.0, 0.51 / ((1 << std::min(depth, 16)) - 1) + 1e-6);
        }
    }
    EXPECT_GT(tried, 150);
}

TEST(PictureMapping, EveryFormatHasARowThatKeepsItsDepthAndItsAlpha)
{
    for (const AVPixFmtDescriptor* format : PictureFormats())
    {
        SCOPED_TRACE(format->name);
        for (const int matrix : {static_cast<int>(AVCOL_SPC_BT709), static_cast<int>(AVCOL_SPC_SMPTE170M),
                                 static_cast<int>(AVCOL_SPC_BT2020_NCL)})
        {
            const PictureTraits traits = TraitsOf(*format, matrix);
            const PixelFormat row = NativeFormatOf(av_pix_fmt_desc_get_id(format), traits);
            EXPECT_NE(VF::BEPixelFormatToIRPixelFormat(row), 0u);
            const int depth = format->flags & AV_PIX_FMT_FLAG_PAL ? 8 : format->comp[0].depth;
            const std::uint32_t rowDepth = norviktypes::DepthOfProperties(row.mProperties);
            EXPECT_GE(rowDepth, static_cast<std::uint32_t>(std::min(depth, 32)));
            const bool isFloatRow = (row.mProperties & 0x10) != 0;
            EXPECT_TRUE(isFloatRow || !(format->flags & AV_PIX_FMT_FLAG_FLOAT));
            const bool hasAlpha = (format->flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
            const std::uint32_t tone = norviktypes::ToneOfProperties(row.mProperties);
            EXPECT_EQ(tone == 1 || tone == 2, hasAlpha);
        }
    }
}

TEST(PictureMapping, UsualFormatsHaveTheirOwnRows)
{
    struct Case
    {
        const char* mFormat;
        int mMatrix;
        bool mIsField;
        PixelFormat mRow;
    };
    const int k709 = AVCOL_SPC_BT709;
    const int k601 = AVCOL_SPC_SMPTE170M;
    const Case cases[] = {
        {"yuv420p", k709, false, norviktypes::kPixelFormat_YUV_420_MPEG2_Frame_8u_709},
        {"yuv420p", k709, true, norviktypes::kPixelFormat_YUV_420_MPEG2_Field_8u_709},
        {"yuv420p", k601, false, norviktypes::kPixelFormat_YUV_420_MPEG2_Frame_8u_601},
        {"yuv420p", AVCOL_SPC_BT470BG, true, norviktypes::kPixelFormat_YUV_420_MPEG2_Field_8u_601},
        {"nv12", k709, false, norviktypes::kPixelFormat_YUV_420_MPEG2_Frame_8u_709},
        {"yuvj420p", k601, false, norviktypes::kPixelFormat_YUV_420_Center_Frame_8u_601_Full},
        {"yuv422p", k709, false, norviktypes::kPixelFormat_YUV_422_Planar_8u_709},
        {"yuv422p", k601, false, norviktypes::kPixelFormat_UYVY_422_8u_601},
        {"uyvy422", k709, false, norviktypes::kPixelFormat_UYVY_422_8u_709},
        {"yuyv422", k601, false, norviktypes::kPixelFormat_YUYV_422_8u_601},
        {"yuv420p10le", k709, false, norviktypes::kPixelFormat_YUV_420_MPEG2_Frame_10u_709},
        {"p010le", k709, true, norviktypes::kPixelFormat_YUV_420_MPEG2_Field_10u_709},
        {"yuv420p10le", k601, false, norviktypes::kPixelFormat_VUYX_4444_32f},
        {"yuv422p10le", k709, false, norviktypes::kPixelFormat_YUV_422_Planar_10u_709},
        {"yuv422p10le", k601, false, norviktypes::kPixelFormat_V210_422_10u_601},
        {"yuv422p12le", k709, false, norviktypes::kPixelFormat_VUYX_4444_32f_709},
        {"yuv444p", k709, false, norviktypes::kPixelFormat_VUYX_4444_8u_709},
        {"yuvj444p", k601, false, norviktypes::kPixelFormat_VUYX_4444_8u_601_Full},
        {"yuvj444p", k709, false, norviktypes::kPixelFormat_VUYX_4444_32f_709},
        {"yuv444p10le", k709, false, norviktypes::kPixelFormat_VUYX_4444_32f_709},
        {"yuva420p", k709, false, norviktypes::kPixelFormat_VUYA_4444_8u_709},
        {"yuva444p10le", k601, false, norviktypes::kPixelFormat_VUYA_4444_32f},
        {"gbrp", k709, false, norviktypes::kPixelFormat_BGRX_4444_8u},
        {"gbrp10le", k709, false, norviktypes::kPixelFormat_BGRX_4444_16u},
        {"gbrap12le", k709, false, norviktypes::kPixelFormat_BGRA_4444_16u},
        {"gbrpf32le", k709, false, norviktypes::kPixelFormat_BGRX_4444_32f},
        {"rgb24", k709, false, norviktypes::kPixelFormat_BGRX_4444_8u},
        {"bgra", k709, false, norviktypes::kPixelFormat_BGRA_4444_8u},
        {"rgba64be", k709, false, norviktypes::kPixelFormat_BGRA_4444_16u},
        {"pal8", k709, false, norviktypes::kPixelFormat_BGRA_4444_8u},
        {"gray", k709, false, norviktypes::kPixelFormat_BGRX_4444_8u},
        {"gray12le", k709, false, norviktypes::kPixelFormat_BGRX_4444_16u},
        {"ya16be", k709, false, norviktypes::kPixelFormat_BGRA_4444_16u},
        {"yuv420p10le", AVCOL_SPC_BT2020_NCL, false, norviktypes::kPixelFormat_BGRX_4444_32f},
    };
    for (const Case& each : cases)
    {
        const AVPixelFormat format = av_get_pix_fmt(each.mFormat);
        PictureTraits traits = TraitsOf(*av_pix_fmt_desc_get(format), each.mMatrix);
        traits.isFieldChroma = each.mIsField;
        EXPECT_STREQ(norviktypes::PixelFormatText(NativeFormatOf(format, traits)),
                     norviktypes::PixelFormatText(each.mRow))
            << each.mFormat;
    }
}

TEST(PictureMapping, ColourThatNoRowHoldsGoesToFloat)
{
    PictureTraits traits;
    const auto row = [&](int inPrimaries, int inTransfer, const char* inFormat)
    {
        traits.colour = ResolveColour(AVCOL_SPC_BT709, inPrimaries, inTransfer, AVCOL_RANGE_MPEG,
                                      AVCHROMA_LOC_LEFT, 1080, av_get_pix_fmt(inFormat));
        return std::string(norviktypes::PixelFormatText(NativeFormatOf(av_get_pix_fmt(inFormat), traits)));
    };
    EXPECT_EQ(row(AVCOL_PRI_BT709, AVCOL_TRC_BT709, "yuv420p"), "YUV_420_MPEG2_Frame_8u_709");
    EXPECT_EQ(row(AVCOL_PRI_BT709, AVCOL_TRC_SMPTE2084, "yuv420p10le"), "BGRX_4444_32f");
    EXPECT_EQ(row(AVCOL_PRI_BT2020, AVCOL_TRC_ARIB_STD_B67, "yuv422p10le"), "BGRX_4444_32f");
    EXPECT_EQ(row(AVCOL_PRI_SMPTE432, AVCOL_TRC_IEC61966_2_1, "rgb24"), "BGRX_4444_32f");
    EXPECT_EQ(row(AVCOL_PRI_BT709, AVCOL_TRC_LINEAR, "gbrpf32le"), "BGRX_4444_32f_Linear");
    traits.alpha = FileAlpha::kPremultiplied;
    EXPECT_EQ(row(AVCOL_PRI_BT709, AVCOL_TRC_LINEAR, "gbrapf32le"), "BGRP_4444_32f_Linear");
}

TEST(PictureMapping, WhatIsNoPictureInMemoryIsRefused)
{
    EXPECT_EQ(NativeFormatOf(AV_PIX_FMT_VAAPI, PictureTraits()), norviktypes::kPixelFormat_Invalid);
    EXPECT_EQ(NativeFormatOf(-1, PictureTraits()), norviktypes::kPixelFormat_Invalid);
    EXPECT_EQ(NativeFormatOf(100000, PictureTraits()), norviktypes::kPixelFormat_Invalid);
    const FramePtr empty(av_frame_alloc());
    SourcePicture source;
    EXPECT_FALSE(source.Describe(*empty, PictureTraits()));
    empty->format = AV_PIX_FMT_YUV420P;
    empty->width = empty->height = 16;
    EXPECT_FALSE(source.Describe(*empty, PictureTraits()));
}

TEST(PictureMapping, PlanesOfARowWithTheSameLayoutAreCopiedBitForBit)
{
    struct Case
    {
        const char* mFormat;
        int mMatrix;
    };
    for (const Case& each : {Case{"yuv420p", AVCOL_SPC_BT709}, Case{"yuv420p", AVCOL_SPC_SMPTE170M},
                             Case{"yuvj420p", AVCOL_SPC_SMPTE170M}, Case{"yuv422p", AVCOL_SPC_BT709},
                             Case{"yuv420p10le", AVCOL_SPC_BT709}, Case{"yuv422p10le", AVCOL_SPC_BT709}})
    {
        SCOPED_TRACE(each.mFormat);
        const AVPixelFormat format = av_get_pix_fmt(each.mFormat);
        const AVPixFmtDescriptor& descriptor = *av_pix_fmt_desc_get(format);
        const FramePtr picture = NewPicture(format, 37, 23);
        std::mt19937_64 random(Seed());
        std::vector<std::uint8_t> expected;
        const int bytes = descriptor.comp[0].depth > 8 ? 2 : 1;
        for (int plane = 0; plane < 3; ++plane)
        {
            const int width = plane == 0 ? 37 : -(-37 >> descriptor.log2_chroma_w);
            const int height = plane == 0 ? 23 : -(-23 >> descriptor.log2_chroma_h);
            for (int y = 0; y < height; ++y)
            {
                std::uint8_t* row =
                    picture->data[plane] + static_cast<std::ptrdiff_t>(y) * picture->linesize[plane];
                for (int x = 0; x < width * bytes; ++x)
                {
                    row[x] = static_cast<std::uint8_t>(bytes == 2 && x % 2 == 1 ? random() & 3 : random());
                }
                expected.insert(expected.end(), row, row + width * bytes);
            }
        }
        const PictureTraits traits = TraitsOf(descriptor, each.mMatrix);
        BE::FrameDescription description;
        description.mPixelFormat = NativeFormatOf(format, traits);
        description.mBounds = {0, 0, 37, 23};
        MF::IVideoFrameRef frame;
        ASSERT_EQ(MakeFrameOfPicture(*picture, traits, Orientation(), description, frame), 0);
        EXPECT_EQ(PixelBytes(frame), expected);
    }
}

// Frames of a picture whose rows can be converted by themselves keep it until they are looked at; both ways must
// give what the conversion of the whole does.
TEST(PictureMapping, RowsByThemselvesAreThoseOfTheWhole)
{
    constexpr int kColumns = 45;
    constexpr int kLines = 27;
    const std::uint32_t code = VF::BEPixelFormatToIRPixelFormat(norviktypes::kPixelFormat_BGRA_4444_8u);
    std::mt19937_64 random(Seed());
    int converted = 0;
    for (const AVPixFmtDescriptor* format : PictureFormats())
    {
        for (const bool isInterlaced : {false, true})
        {
            SCOPED_TRACE(format->name);
            const FramePtr picture = NewPicture(av_pix_fmt_desc_get_id(format), kColumns, kLines);
            for (int plane = 0; plane < 4 && picture->buf[plane]; ++plane)
            {
                std::generate_n(picture->buf[plane]->data, picture->buf[plane]->size,
                                [&] { return static_cast<std::uint8_t>(random()); });
            }
            PictureTraits traits = TraitsOf(*format);
            traits.isFieldChroma = isInterlaced;
            picture->interlaced_frame = isInterlaced ? 1 : 0;
            SourcePicture source;
            if (!source.Describe(*picture, traits) || !source.HasRowsFor(code))
            {
                continue;
            }
            ++converted;
            BE::FrameDescription description;
            description.mPixelFormat = norviktypes::kPixelFormat_BGRA_4444_8u;
            description.mBounds = {0, 0, kColumns, kLines};
            MF::IVideoFrameRef frame;
            ASSERT_EQ(MakeFrameOfPicture(*picture, traits, Orientation(), description, frame), 0);
            const VF::PixelMakerPtr maker = VF::PendingMakerOf(frame);
            ASSERT_TRUE(maker);
            std::vector<std::uint8_t> whole(kColumns * 4 * kLines);
            ASSERT_EQ(source.ConvertTo(whole.data(), kColumns * 4, kColumns, kLines, code,
                                       norviktypes::kRenderQuality_High),
                      0);
            std::vector<std::uint8_t> rows(kColumns * 4 * 5 + 128); // rows are written in whole vectors
            for (std::uint32_t first : {0u, 3u, 11u, 22u})
            {
                ASSERT_EQ(maker->MakeRows(first, 5, rows.data(), kColumns * 4), 0);
                EXPECT_TRUE(std::equal(rows.begin(), rows.begin() + kColumns * 4 * 5,
                                       whole.begin() + static_cast<std::ptrdiff_t>(first) * kColumns * 4))
                    << "rows from " << first;
            }
            EXPECT_EQ(PixelBytes(frame), whole);
        }
    }
    EXPECT_GE(converted, 40) << "formats of YUV in planes";
}

TEST(PictureMapping, OnlyFramesOfThePicturesSizeAreMadeLater)
{
    const FramePtr picture = NewPicture(AV_PIX_FMT_YUV420P, 32, 16);
    const PictureTraits traits = TraitsOf(*av_pix_fmt_desc_get(AV_PIX_FMT_YUV420P));
    for (const TVK::Rect& bounds :
         {TVK::Rect{0, 0, 32, 16}, TVK::Rect{0, 0, 30, 16}, TVK::Rect{0, 0, 32, 12}})
    {
        BE::FrameDescription description;
        description.mPixelFormat = norviktypes::kPixelFormat_BGRA_4444_8u;
        description.mBounds = bounds;
        description.mFieldType = norviktypes::kFieldType_LowerFirst;
        MF::IVideoFrameRef frame;
        ASSERT_EQ(MakeFrameOfPicture(*picture, traits, Orientation(), description, frame), 0);
        const bool isOfItsSize = bounds.Width() == 32 && bounds.Height() == 16;
        EXPECT_EQ(VF::PendingMakerOf(frame) != nullptr, isOfItsSize);
        TVK::Rect made;
        frame->GetBounds(made);
        EXPECT_EQ(made, bounds);
        EXPECT_EQ(frame->GetFieldType(), norviktypes::kFieldType_LowerFirst);
    }
}

// Whether it's made at once or later.
TEST(PictureMapping, ProgressivePicturesOfInterlacedStreamsHaveTheChromaOfTheWhole)
{
    std::mt19937_64 random(Seed());
    const FramePtr picture = NewPicture(AV_PIX_FMT_YUV420P, 32, 16);
    for (int plane = 0; picture->buf[plane]; ++plane)
    {
        std::generate_n(picture->buf[plane]->data, picture->buf[plane]->size,
                        [&] { return static_cast<std::uint8_t>(random()); });
    }
    const auto bytes = [&](bool inIsStreamInterlaced, bool inIsPictureInterlaced)
    {
        PictureTraits traits = TraitsOf(*av_pix_fmt_desc_get(AV_PIX_FMT_YUV420P));
        traits.isFieldChroma = inIsStreamInterlaced;
        picture->interlaced_frame = inIsPictureInterlaced ? 1 : 0;
        BE::FrameDescription description;
        description.mPixelFormat = norviktypes::kPixelFormat_BGRA_4444_8u;
        description.mBounds = {0, 0, 32, 16};
        MF::IVideoFrameRef frame;
        EXPECT_EQ(MakeFrameOfPicture(*picture, traits, Orientation(), description, frame), 0);
        EXPECT_TRUE(VF::PendingMakerOf(frame));
        return PixelBytes(frame);
    };
    EXPECT_EQ(bytes(true, false), bytes(false, false));
    EXPECT_NE(bytes(true, true), bytes(false, false));
}

TEST(PictureMapping, WhiteOfASensorsMosaicIsWhite)
{
    int tried = 0;
    for (const AVPixFmtDescriptor* format : PictureFormats())
    {
        if (!(format->flags & AV_PIX_FMT_FLAG_BAYER))
        {
            continue;
        }
        SCOPED_TRACE(format->name);
        ++tried;
        const FramePtr picture = NewPicture(av_pix_fmt_desc_get_id(format));
        std::memset(picture->data[0], 255, static_cast<std::size_t>(picture->linesize[0]) * kHeight);
        SourcePicture source;
        ASSERT_TRUE(source.Describe(*picture, TraitsOf(*format)));
        for (const float value : Converted(source))
        {
            ASSERT_NEAR(value, 1.0f, 0.01);
        }
    }
    EXPECT_EQ(tried, 12);
}

TEST(PictureMapping, UnevenStepsOfLumaAreFollowed)
{
    // Luma falls from pixel to pixel; the chroma of the groups of four is 10, 11, 12 and 200, 201, 202.
    constexpr int kUnevenWidth = 10;
    const FramePtr picture = NewPicture(AV_PIX_FMT_UYYVYY411, kUnevenWidth, 1);
    constexpr int kPlaces[4] = {1, 2, 4, 5};
    for (int x = 0; x < 12; ++x)
    {
        std::uint8_t* group = picture->data[0] + x / 4 * 6;
        group[0] = static_cast<std::uint8_t>(10 + x / 4);
        group[3] = static_cast<std::uint8_t>(200 + x / 4);
        group[kPlaces[x % 4]] = static_cast<std::uint8_t>(100 - x);
    }
    BE::FrameDescription description;
    description.mPixelFormat = norviktypes::kPixelFormat_VUYX_4444_8u_709;
    description.mBounds = {0, 0, kUnevenWidth, 1};
    MF::IVideoFrameRef frame;
    ASSERT_EQ(MakeFrameOfPicture(*picture, TraitsOf(*av_pix_fmt_desc_get(AV_PIX_FMT_UYYVYY411)),
                                 Orientation(), description, frame),
              0);
    const std::vector<std::uint8_t> pixels = PixelBytes(frame);
    for (std::size_t x = 0; x < kUnevenWidth; ++x)
    {
        EXPECT_EQ(pixels[4 * x + 2], 100 - x);
        EXPECT_NEAR(pixels[4 * x + 1], 10.0 + static_cast<double>(x) / 4.0, 1.0);
        EXPECT_NEAR(pixels[4 * x], 200.0 + static_cast<double>(x) / 4.0, 1.0);
    }
}

TEST(PictureMapping, OneBitPicturesHaveTheirTwoSenses)
{
    for (const auto& [format, white] :
         {std::pair{AV_PIX_FMT_MONOBLACK, 0xFF}, std::pair{AV_PIX_FMT_MONOWHITE, 0x00}})
    {
        const FramePtr picture = NewPicture(format);
        std::memset(picture->data[0], white, static_cast<std::size_t>(picture->linesize[0]) * kHeight);
        SourcePicture source;
        ASSERT_TRUE(source.Describe(*picture, TraitsOf(*av_pix_fmt_desc_get(format))));
        for (const float value : Converted(source))
        {
            ASSERT_EQ(value, 1.0f);
        }
    }
}

TEST(PictureMapping, PictureOfAnotherSizeFillsTheBounds)
{
    const FramePtr picture = NewPicture(AV_PIX_FMT_BGRA, 80, 80);
    PaintQuarters(*picture, *av_pix_fmt_desc_get(AV_PIX_FMT_BGRA), true, true);
    BE::FrameDescription description;
    description.mPixelFormat = norviktypes::kPixelFormat_BGRX_4444_8u;
    description.mBounds = {0, 0, 20, 10};
    MF::IVideoFrameRef frame;
    ASSERT_EQ(MakeFrameOfPicture(*picture, TraitsOf(*av_pix_fmt_desc_get(AV_PIX_FMT_BGR0)), Orientation(),
                                 description, frame),
              0);
    const std::vector<std::uint8_t> bytes = PixelBytes(frame);
    EXPECT_EQ(std::vector<std::uint8_t>(bytes.begin(), bytes.begin() + 3),
              (std::vector<std::uint8_t>{0, 0, 255}));
    EXPECT_EQ(std::vector<std::uint8_t>(bytes.end() - 4, bytes.end() - 1),
              (std::vector<std::uint8_t>{0, 255, 255}));
}

TEST(PictureMapping, TurnedPictureIsTheSameInPlanarFormats)
{
    const FramePtr picture = NewPicture(AV_PIX_FMT_BGRA);
    PaintQuarters(*picture, *av_pix_fmt_desc_get(AV_PIX_FMT_BGRA), true, true);
    Orientation orientation;
    orientation.clockwiseDegrees = 90;
    MF::IVideoFrameRef direct;
    MF::IVideoFrameRef planar;
    BE::FrameDescription description;
    description.mBounds = {0, 0, kHeight, kWidth};
    description.mPixelFormat = norviktypes::kPixelFormat_BGRX_4444_8u;
    const PictureTraits traits = TraitsOf(*av_pix_fmt_desc_get(AV_PIX_FMT_BGR0));
    ASSERT_EQ(MakeFrameOfPicture(*picture, traits, orientation, description, direct), 0);
    description.mPixelFormat = norviktypes::kPixelFormat_YUV_422_Planar_8u_709;
    ASSERT_EQ(MakeFrameOfPicture(*picture, traits, orientation, description, planar), 0);
    const std::vector<std::uint8_t> rgb = PixelBytes(direct);
    const std::vector<std::uint8_t> luma = PixelBytes(planar);
    // The upper left quarter was the lower left one: blue.
    EXPECT_EQ(rgb[0], 255);
    EXPECT_EQ(rgb[2], 0);
    EXPECT_EQ(luma[0], 16 + std::lround(219 * 0.0722));
    // The upper right quarter was the upper left one: red.
    EXPECT_EQ(luma[kHeight - 1], 16 + std::lround(219 * 0.2126));
}

TEST(FactsReader, WidePrimariesFollowFromEachOfTheirMatrices)
{
    for (const AVColorSpace matrix : {AVCOL_SPC_BT2020_NCL, AVCOL_SPC_BT2020_CL, AVCOL_SPC_ICTCP})
    {
        const ColourDescription colour =
            ResolveColour(matrix, AVCOL_PRI_UNSPECIFIED, AVCOL_TRC_SMPTE2084, AVCOL_RANGE_MPEG,
                          AVCHROMA_LOC_LEFT, 2160, AV_PIX_FMT_YUV420P10LE);
        EXPECT_EQ(colour.primaries, AVCOL_PRI_BT2020) << av_color_space_name(matrix);
    }
    EXPECT_EQ(ResolveColour(AVCOL_SPC_BT709, AVCOL_PRI_UNSPECIFIED, AVCOL_TRC_BT709, AVCOL_RANGE_MPEG,
                            AVCHROMA_LOC_LEFT, 1080, AV_PIX_FMT_YUV420P)
                  .primaries,
              AVCOL_PRI_BT709);
}
