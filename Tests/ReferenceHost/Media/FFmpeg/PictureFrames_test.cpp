#include "ReferenceHost/FrameLibrary/VideoFrame.h"
#include "ReferenceHost/Media/FFmpeg/FFmpegTypes.h"
#include "ReferenceHost/Media/FFmpeg/PictureFrames.h"
#include "VF/VideoFrame.h"

#include <gtest/gtest.h>

#include <algorithm>

extern "C"
{
#include <libavutil/imgutils.h>
}

using namespace norviktypes;

// Frames over the memory of pictures, where planes lie as those of frames do.
namespace
{

struct Layout
{
    AVPixelFormat mFormat = AV_PIX_FMT_YUV420P;
    int mWidth = 24;
    int mHeight = 10;
    int mAlignment = 1; // of row bytes
    int mGap = 0;       // bytes between the planes
};

// Bytes that differ from one to the next.
Media::FramePtr Picture(const Layout& inLayout)
{
    Media::FramePtr picture(av_frame_alloc());
    picture->format = inLayout.mFormat;
    picture->width = inLayout.mWidth;
    picture->height = inLayout.mHeight;
    picture->interlaced_frame = 1;
    const int bytes =
        av_image_get_buffer_size(inLayout.mFormat, inLayout.mWidth, inLayout.mHeight, inLayout.mAlignment);
    picture->buf[0] = av_buffer_alloc(static_cast<std::size_t>(bytes + 2 * inLayout.mGap));
    for (std::size_t i = 0; i < picture->buf[0]->size; ++i)
    {
        picture->buf[0]->data[i] = static_cast<std::uint8_t>(i * 5 + i / 256);
    }
    av_image_fill_arrays(picture->data, picture->linesize, picture->buf[0]->data, inLayout.mFormat,
                         inLayout.mWidth, inLayout.mHeight, inLayout.mAlignment);
    picture->data[1] += inLayout.mGap;
    picture->data[2] += 2 * inLayout.mGap;
    return picture;
}

MF::IVideoFrameRef FrameOf(const AVFrame& inPicture, const PixelFormat& inFormat)
{
    Media::PictureTraits traits;
    traits.colour.matrix = AVCOL_SPC_BT709;
    traits.colour.range = AVCOL_RANGE_MPEG;
    traits.isFieldChroma = true;
    BE::FrameDescription description;
    description.mPixelFormat = inFormat;
    description.mBounds = {0, 0, inPicture.width, inPicture.height};
    description.mPixelAspectRatio = {16, 11};
    description.mFieldType = kFieldType_UpperFirst;
    MF::IVideoFrameRef frame;
    EXPECT_EQ(Media::MakeFrameOfPicture(inPicture, traits, Media::Orientation(), description, frame), 0);
    return frame;
}

void ExpectSamePlanes(const AVFrame& inPicture, const MF::IVideoFrameRef& inFrame)
{
    VF::FramePixels pixels;
    ASSERT_TRUE(VF::GetFramePixels(inFrame, pixels));
    ASSERT_EQ(pixels.mGeometry.mPlaneCount, 3u);
    for (std::size_t plane = 0; plane < 3; ++plane)
    {
        const VF::FramePlane& lines = pixels.mGeometry.mPlanes[plane];
        for (std::uint32_t line = 0; line < lines.mLines; ++line)
        {
            const std::uint8_t* expected =
                inPicture.data[plane] + static_cast<std::ptrdiff_t>(line) * inPicture.linesize[plane];
            EXPECT_TRUE(std::equal(expected, expected + lines.mUsedBytes, pixels.Row(plane, line)))
                << "plane " << plane << ", line " << line;
        }
    }
}

bool IsOver(const MF::IVideoFrameRef& inFrame, const AVFrame& inPicture)
{
    VF::FramePixels pixels;
    return VF::GetFramePixels(inFrame, pixels) && pixels.mPixels == inPicture.data[0];
}

}

TEST(PictureFrames, PlanesOfOneBlockAreNotCopied)
{
    const struct
    {
        Layout mLayout;
        PixelFormat mFormat;
    } kCases[] = {{{AV_PIX_FMT_YUV420P}, kPixelFormat_YUV_420_MPEG2_Field_8u_709},
                  {{AV_PIX_FMT_YUV420P, 24, 11}, kPixelFormat_YUV_420_MPEG2_Field_8u_709},
                  {{AV_PIX_FMT_YUV422P, 24, 11}, kPixelFormat_YUV_422_Planar_8u_709}};
    for (const auto& each : kCases)
    {
        Media::FramePtr picture = Picture(each.mLayout);
        const Media::FramePtr same = Picture(each.mLayout);
        const MF::IVideoFrameRef frame = FrameOf(*picture, each.mFormat);
        ASSERT_TRUE(frame);
        EXPECT_TRUE(IsOver(frame, *picture));
        EXPECT_TRUE(frame->IsFrozen());
        EXPECT_EQ(frame->GetFieldType(), kFieldType_UpperFirst);
        picture.reset(); // the frame has it still
        ExpectSamePlanes(*same, frame);
    }
}

TEST(PictureFrames, PlanesThatLieOtherwiseAreCopied)
{
    const Layout kLayouts[] = {
        {AV_PIX_FMT_YUV420P, 24, 10, 1, 16}, {AV_PIX_FMT_YUV420P, 23, 10}, {AV_PIX_FMT_YUV420P, 36, 10, 16}};
    for (const Layout& layout : kLayouts)
    {
        const Media::FramePtr picture = Picture(layout);
        const MF::IVideoFrameRef frame = FrameOf(*picture, kPixelFormat_YUV_420_MPEG2_Field_8u_709);
        ASSERT_TRUE(frame);
        EXPECT_FALSE(IsOver(frame, *picture));
        ExpectSamePlanes(*picture, frame);
    }
}

TEST(PictureFrames, SamplesThatAreStoredOtherwiseAreConverted)
{
    const Media::FramePtr swapped = Picture({AV_PIX_FMT_YUV420P10BE});
    EXPECT_FALSE(IsOver(FrameOf(*swapped, kPixelFormat_YUV_420_MPEG2_Field_10u_709), *swapped));
    const Media::FramePtr halves = Picture({AV_PIX_FMT_NV12});
    EXPECT_FALSE(IsOver(FrameOf(*halves, kPixelFormat_YUV_420_MPEG2_Field_8u_709), *halves));
    const Media::FramePtr plain = Picture({AV_PIX_FMT_YUV420P});
    EXPECT_FALSE(IsOver(FrameOf(*plain, kPixelFormat_YUV_420_MPEG2_Frame_8u_709), *plain));
    EXPECT_FALSE(IsOver(FrameOf(*plain, kPixelFormat_YUV_420_MPEG2_Field_8u_601), *plain));
    EXPECT_FALSE(IsOver(FrameOf(*plain, kPixelFormat_BGRX_4444_8u), *plain));
}
