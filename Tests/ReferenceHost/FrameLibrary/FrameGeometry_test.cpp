#include "ReferenceHost/FrameLibrary/FrameGeometry.h"

#include <gtest/gtest.h>

#include <limits>

using namespace norviktypes;
using VF::FrameGeometry;

namespace
{

FrameGeometry GeometryOf(const PixelFormat& inFormat, std::uint32_t inWidth, std::uint32_t inHeight)
{
    FrameGeometry geometry;
    EXPECT_TRUE(
        VF::GetFrameGeometry(inFormat, VF::RowBytesOfFrame(inFormat, inWidth), inWidth, inHeight, geometry));
    return geometry;
}

void ExpectPlane(const VF::FramePlane& inPlane, std::uint64_t inOffset, std::uint64_t inRowBytes,
                 std::uint64_t inUsedBytes, std::uint32_t inLines)
{
    EXPECT_EQ(inPlane.mOffset, inOffset);
    EXPECT_EQ(inPlane.mRowBytes, inRowBytes);
    EXPECT_EQ(inPlane.mUsedBytes, inUsedBytes);
    EXPECT_EQ(inPlane.mLines, inLines);
}

} // namespace

TEST(FrameGeometry, RowsOfEachFormatAreMultiplesOf64OnAllPlanes)
{
    for (const PixelFormatRow& row : kPixelFormatTable)
    {
        for (std::uint32_t width : {1u, 2u, 3u, 31u, 47u, 48u, 49u, 127u, 720u, 1279u, 1920u, 16384u})
        {
            SCOPED_TRACE(row.mText);
            const FrameGeometry geometry = GeometryOf(row.mFormat, width, 5);
            std::uint64_t end = 0;
            for (std::size_t plane = 0; plane < geometry.mPlaneCount; ++plane)
            {
                const VF::FramePlane& one = geometry.mPlanes[plane];
                EXPECT_EQ(one.mRowBytes % VF::kFrameAlignment, 0u) << width;
                EXPECT_EQ(one.mOffset % VF::kFrameAlignment, 0u) << width;
                EXPECT_GE(one.mRowBytes, one.mUsedBytes) << width;
                EXPECT_EQ(one.mOffset, end);
                end += one.mRowBytes * one.mLines;
            }
            EXPECT_EQ(geometry.mTotalBytes, end);
            EXPECT_EQ(geometry.mPlaneCount, IsSubsampled(row.mFormat.mProperties) ? 3u : 1u);
        }
    }
}

TEST(FrameGeometry, FourComponentsTakeBytesByDepth)
{
    ExpectPlane(GeometryOf(kPixelFormat_BGRA_4444_8u, 1920, 1080).mPlanes[0], 0, 7680, 7680, 1080);
    ExpectPlane(GeometryOf(kPixelFormat_BGRA_4444_16u, 33, 3).mPlanes[0], 0, 320, 264, 3);
    ExpectPlane(GeometryOf(kPixelFormat_VUYA_4444_32f, 5, 7).mPlanes[0], 0, 128, 80, 7);
}

TEST(FrameGeometry, PackedPixelsComeInPairs)
{
    ExpectPlane(GeometryOf(kPixelFormat_UYVY_422_8u_601, 32, 2).mPlanes[0], 0, 64, 64, 2);
    ExpectPlane(GeometryOf(kPixelFormat_YUYV_422_8u_709, 33, 2).mPlanes[0], 0, 128, 68, 2);
    EXPECT_EQ(GeometryOf(kPixelFormat_UYVY_422_8u_601, 32, 2).mPlaneCount, 1u);
}

TEST(FrameGeometry, V210RowsAreMultiplesOf128)
{
    ExpectPlane(GeometryOf(kPixelFormat_V210_422_10u_601, 1, 2).mPlanes[0], 0, 128, 16, 2);
    ExpectPlane(GeometryOf(kPixelFormat_V210_422_10u_709, 48, 2).mPlanes[0], 0, 128, 128, 2);
    ExpectPlane(GeometryOf(kPixelFormat_V210_422_10u_709, 49, 2).mPlanes[0], 0, 256, 144, 2);
    EXPECT_EQ(VF::RowBytesOfFrame(kPixelFormat_V210_422_10u_601, 1920), 5120u);
    EXPECT_EQ(VF::RowBytesOfFrame(kPixelFormat_V210_422_10u_601, 1280), 3456u);
}

TEST(FrameGeometry, ChromaOfOddSidesIsRoundedUp)
{
    const FrameGeometry frame = GeometryOf(kPixelFormat_YUV_420_MPEG2_Frame_8u_709, 129, 5);
    ExpectPlane(frame.mPlanes[0], 0, 256, 129, 5);
    ExpectPlane(frame.mPlanes[1], 1280, 128, 65, 3);
    ExpectPlane(frame.mPlanes[2], 1280 + 384, 128, 65, 3);
    EXPECT_EQ(frame.mTotalBytes, 1280u + 2 * 384u);

    const FrameGeometry planar422 = GeometryOf(kPixelFormat_YUV_422_Planar_8u_709, 128, 5);
    ExpectPlane(planar422.mPlanes[1], 640, 64, 64, 5);

    const FrameGeometry deep = GeometryOf(kPixelFormat_YUV_420_MPEG2_Field_10u_709, 63, 3);
    ExpectPlane(deep.mPlanes[0], 0, 128, 126, 3);
    ExpectPlane(deep.mPlanes[2], 384 + 128, 64, 64, 2);

    // A row that holds the luma of an odd width exactly is too short for its chroma.
    FrameGeometry geometry;
    EXPECT_FALSE(VF::GetFrameGeometry(kPixelFormat_YUV_420_MPEG2_Frame_8u_709, 129, 129, 2, geometry));
    EXPECT_TRUE(VF::GetFrameGeometry(kPixelFormat_YUV_420_MPEG2_Frame_8u_709, 130, 129, 2, geometry));
    EXPECT_FALSE(VF::GetFrameGeometry(kPixelFormat_YUV_420_MPEG2_Frame_8u_709, 131, 129, 2, geometry));
    EXPECT_FALSE(VF::GetFrameGeometry(kPixelFormat_YUV_420_MPEG2_Frame_10u_709, 258, 129, 2, geometry));
    EXPECT_TRUE(VF::GetFrameGeometry(kPixelFormat_YUV_420_MPEG2_Frame_10u_709, 260, 129, 2, geometry));
}

TEST(FrameGeometry, AcceptsRowsWithoutPadding)
{
    FrameGeometry geometry;
    ASSERT_TRUE(VF::GetFrameGeometry(kPixelFormat_BGRA_4444_8u, 12, 3, 4, geometry));
    EXPECT_EQ(geometry.mTotalBytes, 48u);
    EXPECT_FALSE(VF::GetFrameGeometry(kPixelFormat_BGRA_4444_8u, 11, 3, 4, geometry));
    EXPECT_EQ(geometry.mPlaneCount, 0u);
    EXPECT_EQ(geometry.mTotalBytes, 0u);
}

TEST(FrameGeometry, RefusesFormatsThatNoFrameHas)
{
    FrameGeometry geometry;
    for (const PixelFormat& format :
         {kPixelFormat_Any, kPixelFormat_Invalid, PixelFormat{FourCC("BGRA"), 0x40081}})
    {
        EXPECT_FALSE(VF::IsFrameFormat(format));
        EXPECT_EQ(VF::RowBytesOfFrame(format, 100), 0u);
        EXPECT_FALSE(VF::GetFrameGeometry(format, 4096, 100, 100, geometry));
    }
}

TEST(FrameGeometry, SizesThatDoNotFit64BitsAreRefused)
{
    constexpr std::uint64_t kHuge = std::numeric_limits<std::uint64_t>::max() / 2;
    FrameGeometry geometry;
    EXPECT_FALSE(VF::GetFrameGeometry(kPixelFormat_BGRA_4444_8u, kHuge, 16, 3, geometry));
    EXPECT_TRUE(VF::GetFrameGeometry(kPixelFormat_BGRA_4444_8u, kHuge, 16, 2, geometry));
    EXPECT_FALSE(VF::GetFrameGeometry(kPixelFormat_YUV_420_MPEG2_Frame_8u_601, kHuge - 1, 16, 2, geometry));
    EXPECT_EQ(VF::RowBytesOfFrame(kPixelFormat_BGRA_4444_32f, 0xFFFFFFFF), std::uint64_t{1} << 36);
    EXPECT_FALSE(VF::GetFrameGeometry(kPixelFormat_BGRA_4444_8u, 64, 0, 2, geometry));
    EXPECT_FALSE(VF::GetFrameGeometry(kPixelFormat_BGRA_4444_8u, 64, 2, 0, geometry));
}
