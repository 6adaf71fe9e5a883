#include "ReferenceHost/Media/Stills/DeclaredSize.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace Media
{

namespace
{

using Sides = std::pair<std::int64_t, std::int64_t>;

std::string Big(std::uint32_t inNumber, int inCount)
{
    std::string text;
    for (int i = inCount - 1; i >= 0; --i)
    {
        text += static_cast<char>(inNumber >> (8 * i) & 0xFF);
    }
    return text;
}

std::string Little(std::uint32_t inNumber, int inCount)
{
    const std::string text = Big(inNumber, inCount);
    return {text.rbegin(), text.rend()};
}

std::string Zeros(std::size_t inCount)
{
    return std::string(inCount, '\0');
}

Sides SizeOf(const std::string& inFile)
{
    const DeclaredSize size =
        ReadDeclaredSize(reinterpret_cast<const std::uint8_t*>(inFile.data()), inFile.size());
    return {size.mWidth, size.mHeight};
}

std::string Jpeg()
{
    // A table, filling, and the frame's header.
    return "\xFF\xD8\xFF\xC4" + Big(6, 2) + "abcd" + "\xFF\xFF\xC2" + Big(17, 2) + "\x08" + Big(50000, 2) +
           Big(60000, 2) + Zeros(10);
}

std::string LittleTiff()
{
    return Little(0x002A4949, 4) + Little(12, 4) + Zeros(4) + Little(2, 2) + Little(256, 2) + Little(3, 2) +
           Little(1, 4) + Little(60000, 4) + Little(257, 2) + Little(4, 2) + Little(1, 4) + Little(70000, 4);
}

std::string BigTiff()
{
    return Big(0x4D4D002A, 4) + Big(8, 4) + Big(2, 2) + Big(256, 2) + Big(3, 2) + Big(1, 4) + Big(60000, 2) +
           Zeros(2) + Big(257, 2) + Big(4, 2) + Big(1, 4) + Big(70000, 4);
}

std::string Exr()
{
    const std::string window = Little(0xFFFFFFFFu, 4) + Little(0, 4) + Little(39998, 4) + Little(29999, 4);
    return Little(20000630, 4) + Little(2, 4) + "dataWindow" + Zeros(1) + "box2i" + Zeros(1) + Little(16, 4) +
           window + Zeros(1);
}

std::string Bmp(std::uint32_t inHeight)
{
    return "BM" + Zeros(12) + Little(40, 4) + Little(40000, 4) + Little(inHeight, 4);
}

} // namespace

TEST(DeclaredSize, IsReadFromTheHeaderOfEveryKindOfImage)
{
    const std::string png = "\x89PNG\r\n\x1A\n" + Big(13, 4) + "IHDR" + Big(40000, 4) + Big(30000, 4);
    EXPECT_EQ(SizeOf(png), Sides(40000, 30000));
    EXPECT_EQ(SizeOf(Jpeg()), Sides(60000, 50000));
    EXPECT_EQ(SizeOf(LittleTiff()), Sides(60000, 70000));
    EXPECT_EQ(SizeOf(BigTiff()), Sides(60000, 70000));
    EXPECT_EQ(SizeOf(Exr()), Sides(40000, 30000));
    EXPECT_EQ(SizeOf("SDPX" + Zeros(768) + Big(40000, 4) + Big(30000, 4)), Sides(40000, 30000));
    EXPECT_EQ(SizeOf("XPDS" + Zeros(768) + Little(40000, 4) + Little(30000, 4)), Sides(40000, 30000));
    EXPECT_EQ(SizeOf(Bmp(30000)), Sides(40000, 30000));
    EXPECT_EQ(SizeOf(Bmp(0u - 30000u)), Sides(40000, 30000));
}

TEST(DeclaredSize, NothingIsReadPastTheEnd)
{
    for (const std::string& whole : {Jpeg(), LittleTiff(), BigTiff(), Exr(), Bmp(30000)})
    {
        for (std::size_t length = 0; length < whole.size(); ++length)
        {
            // A block of its own, so that a sanitizer sees a byte too many.
            const std::string torn = whole.substr(0, length);
            const Sides size = SizeOf(torn);
            EXPECT_LE(size.first, 60000) << length;
            EXPECT_LE(size.second, 70000) << length;
        }
    }
    EXPECT_EQ(SizeOf("no image at all"), Sides(0, 0));
    EXPECT_EQ(SizeOf(Little(0x002A4949, 4) + Little(0xFFFFFFFFu, 4)), Sides(0, 0));
}

} // namespace Media
