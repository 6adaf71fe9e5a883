#include "ReferenceHost/FrameLibrary/PNGFile.h"

#include "ReferenceHost/FrameLibrary/PNGCodec.h"
#include "ReferenceHost/FrameLibrary/VideoFrame.h"
#include "Tests/Support/Paths.h"
#include "VF/VideoFrame.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>

using namespace norviktypes;
using MF::IVideoFrameRef;

namespace
{

template <class T>
IVideoFrameRef OnePixel(const PixelFormat& inFormat, const T (&inPixel)[4])
{
    IVideoFrameRef frame;
    EXPECT_EQ(VF::CreateVideoFrame(frame, inFormat, 1, 1, {1, 1}, true, false), 0);
    VF::FramePixels pixels;
    EXPECT_TRUE(VF::GetFramePixels(frame, pixels));
    std::memcpy(pixels.mPixels, inPixel, sizeof(inPixel));
    return frame;
}

std::vector<std::uint8_t> Encoded(const IVideoFrameRef& inFrame)
{
    std::vector<std::uint8_t> bytes;
    EXPECT_TRUE(VF::EncodeViewablePNG(inFrame, bytes));
    return bytes;
}

// What the header says: bits and colour type.
std::pair<int, int> KindOf(const std::vector<std::uint8_t>& inBytes)
{
    return {inBytes.at(24), inBytes.at(25)};
}

class OnePixelTarget final : public VF::IPNGRowTarget
{
public:
    std::uint8_t* PlaceForRow(std::uint32_t) noexcept override { return mBytes.data(); }
    void RowIsThere(std::uint32_t) noexcept override {}
    std::vector<std::uint8_t> mBytes = std::vector<std::uint8_t>(8);
};

std::vector<std::uint8_t> PixelIn(const std::vector<std::uint8_t>& inBytes)
{
    const auto reader = VF::PNGReader::Open(inBytes.data(), inBytes.size());
    OnePixelTarget target;
    EXPECT_TRUE(reader && reader->ReadRows(target));
    return target.mBytes;
}

bool Contains(const std::vector<std::uint8_t>& inBytes, const std::string& inText)
{
    return std::search(inBytes.begin(), inBytes.end(), inText.begin(), inText.end()) != inBytes.end();
}

} // namespace

TEST(PNGFile, TransparentFrameIsStraightRGBA)
{
    const std::uint8_t straight[4] = {10, 20, 30, 128};
    const std::vector<std::uint8_t> bytes = Encoded(OnePixel(kPixelFormat_BGRA_4444_8u, straight));
    EXPECT_EQ(KindOf(bytes), (std::pair{8, 6}));
    const std::vector<std::uint8_t> pixel = PixelIn(bytes);
    EXPECT_EQ(std::vector<std::uint8_t>(pixel.begin(), pixel.begin() + 4),
              (std::vector<std::uint8_t>{10, 20, 30, 128}));
}

TEST(PNGFile, PremultipliedColoursAreDivided)
{
    const std::uint8_t premultiplied[4] = {64, 0, 128, 128};
    const std::vector<std::uint8_t> pixel =
        PixelIn(Encoded(OnePixel(kPixelFormat_BGRP_4444_8u, premultiplied)));
    EXPECT_NEAR(pixel[0], 128, 1);
    EXPECT_EQ(pixel[1], 0);
    EXPECT_EQ(pixel[2], 255);
    EXPECT_EQ(pixel[3], 128);
}

TEST(PNGFile, DeepFrameHas16Bits)
{
    const float half[4] = {0.5f, 0.25f, 1.0f, 1.0f};
    const std::vector<std::uint8_t> bytes = Encoded(OnePixel(kPixelFormat_BGRA_4444_32f, half));
    EXPECT_EQ(KindOf(bytes), (std::pair{16, 6}));
    const std::vector<std::uint8_t> pixel = PixelIn(bytes);
    std::uint16_t components[4];
    std::memcpy(components, pixel.data(), 8);
    EXPECT_NEAR(components[0], 32768, 1);
    EXPECT_NEAR(components[1], 16384, 1);
    EXPECT_EQ(components[2], 65535);
    EXPECT_EQ(components[3], 65535);
    IVideoFrameRef tenBit;
    ASSERT_EQ(VF::CreateVideoFrame(tenBit, kPixelFormat_V210_422_10u_709, 7, 3, {1, 1}, true, false), 0);
    EXPECT_EQ(KindOf(Encoded(tenBit)), (std::pair{16, 2}));
}

TEST(PNGFile, OpaqueFrameIsRGB)
{
    const std::uint8_t pixel[4] = {10, 20, 30, 3};
    EXPECT_EQ(KindOf(Encoded(OnePixel(kPixelFormat_BGRX_4444_8u, pixel))), (std::pair{8, 2}));
}

TEST(PNGFile, PixelAspectIsNotedWhereItIsNotSquare)
{
    const std::uint8_t pixel[4] = {10, 20, 30, 255};
    const IVideoFrameRef frame = OnePixel(kPixelFormat_BGRA_4444_8u, pixel);
    EXPECT_FALSE(Contains(Encoded(frame), "pHYs"));
    frame->SetPixelAspectRatio({64, 45});
    const std::string aspect("pHYs\0\0\0\x2D\0\0\0\x40\0", 13);
    EXPECT_TRUE(Contains(Encoded(frame), aspect)) << "45 pixels across where 64 lie one above the other";
}

TEST(PNGFile, IsWrittenWhole)
{
    const TestSupport::ScratchFolder folder;
    const std::uint8_t pixel[4] = {10, 20, 30, 40};
    const IVideoFrameRef frame = OnePixel(kPixelFormat_BGRA_4444_8u, pixel);
    std::string error;
    ASSERT_TRUE(VF::WritePNGFile(frame, folder.File("a.png"), error)) << error;
    std::ifstream file(folder.File("a.png"), std::ios::binary);
    const std::vector<std::uint8_t> bytes{std::istreambuf_iterator<char>(file),
                                          std::istreambuf_iterator<char>()};
    EXPECT_EQ(bytes, Encoded(frame));
}

TEST(PNGFile, FailureNamesFileAndCause)
{
    const std::uint8_t pixel[4] = {10, 20, 30, 40};
    const IVideoFrameRef frame = OnePixel(kPixelFormat_BGRA_4444_8u, pixel);
    std::string error;
    EXPECT_FALSE(VF::WritePNGFile(frame, "/nowhere/at/all.png", error));
    EXPECT_EQ(error, "/nowhere/at/all.png: No such file or directory");
    EXPECT_FALSE(VF::WritePNGFile(frame, "/dev/full", error));
    EXPECT_EQ(error, "/dev/full: No space left on device");
}
