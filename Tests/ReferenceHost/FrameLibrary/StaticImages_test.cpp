#include "ML/StaticImages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <map>

namespace
{

using Bytes = std::array<std::uint8_t, 4>;
using norviktypes::kPixelAspectRatio_Square;
using norviktypes::kPixelFormat_BGRA_4444_8u;

MF::IVideoFrameRef Load(std::uint32_t inCode,
                        const norviktypes::PixelFormat& inFormat = kPixelFormat_BGRA_4444_8u)
{
    return ML::StaticImageFactory::LoadImage(inCode, 320, 180, inFormat, kPixelAspectRatio_Square);
}

Bytes PixelAt(const MF::IVideoFrameRef& inFrame, int inX, int inY)
{
    const VF::IVideoFramePixelsRef pixels(inFrame);
    const auto* bytes = static_cast<const std::uint8_t*>(pixels->GetPixels()) +
                        std::ptrdiff_t{inY} * pixels->GetRowBytesUnsigned() + std::ptrdiff_t{4} * inX;
    return {bytes[0], bytes[1], bytes[2], bytes[3]};
}

std::map<Bytes, int> CountColours(const MF::IVideoFrameRef& inFrame, int inWidth, int inHeight)
{
    std::map<Bytes, int> counts;
    for (int y = 0; y < inHeight; ++y)
    {
        for (int x = 0; x < inWidth; ++x)
        {
            ++counts[PixelAt(inFrame, x, y)];
        }
    }
    return counts;
}

TEST(StaticImages, SlatesAreTextOnAGroundOfTheirOwn)
{
    const auto offline = CountColours(Load(ML::kStaticImage_Offline), 320, 180);
    const auto pending = CountColours(Load(ML::kStaticImage_Pending), 320, 180);
    ASSERT_EQ(offline.size(), 2u);
    ASSERT_EQ(pending.size(), 2u);
    const Bytes ink{235, 235, 235, 255};
    EXPECT_GT(offline.at(ink), 500);
    EXPECT_GT(pending.at(ink), 500);
    EXPECT_NE(offline.begin()->first, pending.begin()->first);
}

TEST(StaticImages, SlateTextStandsInTheMiddle)
{
    const MF::IVideoFrameRef slate = Load(ML::kStaticImage_Offline);
    int left = 320;
    int right = -1;
    for (int y = 0; y < 180; ++y)
    {
        for (int x = 0; x < 320; ++x)
        {
            if (PixelAt(slate, x, y) == Bytes{235, 235, 235, 255})
            {
                left = std::min(left, x);
                right = std::max(right, x);
            }
        }
    }
    EXPECT_GT(left, 40);
    EXPECT_NEAR(left, 319 - right, 8);
}

TEST(StaticImages, BarsGoFromWhiteToBlue)
{
    const MF::IVideoFrameRef bars = Load(ML::kStaticImage_Bars);
    EXPECT_EQ(PixelAt(bars, 0, 0), (Bytes{191, 191, 191, 255}));
    EXPECT_EQ(PixelAt(bars, 319, 179), (Bytes{191, 0, 0, 255}));
    EXPECT_EQ(CountColours(bars, 320, 180).size(), 7u);
}

TEST(StaticImages, BlackIsOpaqueAndTransparentIsNothing)
{
    EXPECT_EQ(CountColours(Load(ML::kStaticImage_Black), 320, 180),
              (std::map<Bytes, int>{{{0, 0, 0, 255}, 320 * 180}}));
    EXPECT_EQ(CountColours(Load(ML::kStaticImage_Transparent), 320, 180),
              (std::map<Bytes, int>{{{0, 0, 0, 0}, 320 * 180}}));
}

TEST(StaticImages, OtherCodesSizesAndFormatsGiveNothing)
{
    EXPECT_FALSE(Load(0));
    EXPECT_FALSE(Load(4));
    EXPECT_FALSE(Load(7));
    EXPECT_FALSE(Load(ML::kStaticImage_Black, norviktypes::kPixelFormat_BGRA_4444_32f));
    EXPECT_FALSE(Load(ML::kStaticImage_Black, norviktypes::kPixelFormat_UYVY_422_8u_709));
    EXPECT_FALSE(Load(ML::kStaticImage_Black, norviktypes::kPixelFormat_Any));
    EXPECT_FALSE(ML::StaticImageFactory::LoadImage(ML::kStaticImage_Black, 0, 10, kPixelFormat_BGRA_4444_8u,
                                                   kPixelAspectRatio_Square));
}

TEST(StaticImages, AreConvertedToOtherFormatsOfFourBytes)
{
    const MF::IVideoFrameRef black = Load(ML::kStaticImage_Black, norviktypes::kPixelFormat_VUYA_4444_8u_709);
    ASSERT_TRUE(black);
    EXPECT_EQ(PixelAt(black, 5, 5), (Bytes{128, 128, 16, 255}));
}

TEST(StaticImages, CarryTheAspectAndFitPicturesThatAreTooSmallForTheText)
{
    const norviktypes::PixelAspectRatio ratio(16, 11);
    const MF::IVideoFrameRef tiny =
        ML::StaticImageFactory::LoadImage(ML::kStaticImage_Pending, 3, 2, kPixelFormat_BGRA_4444_8u, ratio);
    ASSERT_TRUE(tiny);
    norviktypes::PixelAspectRatio carried;
    tiny->GetPixelAspectRatio(carried);
    EXPECT_EQ(carried, ratio);
}

} // namespace
