#include "ReferenceHost/Media/Stills/ExrChunks.h"
#include "Tests/ReferenceHost/Media/StillFiles.h"
#include "Tests/Support/Paths.h"
#include "Tests/Support/Scale.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

using namespace Media;
using namespace MediaTests;
using namespace TestSupport;

namespace
{

// 40 lines, so that the chunks of every compression end with a part of one.
std::vector<std::uint8_t> MakeExr(const std::string& inCompression)
{
    const ScratchFolder scratch;
    RunFFmpeg({"-f", "lavfi", "-i", "testsrc2=s=16x40", "-frames:v", "1", "-pix_fmt", "gbrpf32le",
               "-compression", inCompression, scratch.File("a.exr")});
    return ReadBytes(scratch.File("a.exr"));
}

// inCount bytes, the lowest first; beyond the number's own eight they are zero.
void Append(std::vector<std::uint8_t>& ioBytes, std::uint64_t inNumber, int inCount)
{
    for (int i = 0; i < inCount; ++i)
    {
        ioBytes.push_back(static_cast<std::uint8_t>(inNumber));
        inNumber >>= 8;
    }
}

void AppendAttribute(std::vector<std::uint8_t>& ioBytes, const std::string& inName, const std::string& inType,
                     const std::vector<std::uint32_t>& inWords, int inTailBytes = 0)
{
    ioBytes.insert(ioBytes.end(), inName.begin(), inName.end());
    ioBytes.push_back(0);
    ioBytes.insert(ioBytes.end(), inType.begin(), inType.end());
    ioBytes.push_back(0);
    Append(ioBytes, inWords.size() * 4 + static_cast<std::size_t>(inTailBytes), 4);
    for (const std::uint32_t word : inWords)
    {
        Append(ioBytes, word, 4);
    }
    Append(ioBytes, 0, inTailBytes);
}

// 33 by 17 pixels in tiles of 16 by 16, which makes six, of ten bytes each.
std::vector<std::uint8_t> MakeTiledExr()
{
    std::vector<std::uint8_t> bytes;
    Append(bytes, 20000630, 4);
    Append(bytes, 2 | 0x200, 4);
    AppendAttribute(bytes, "compression", "compression", {}, 1);
    AppendAttribute(bytes, "dataWindow", "box2i", {static_cast<std::uint32_t>(-3), 0, 29, 16});
    AppendAttribute(bytes, "tiles", "tiledesc", {16, 16}, 1);
    bytes.push_back(0);
    const std::size_t firstTile = bytes.size() + 6 * 8;
    for (std::size_t tile = 0; tile < 6; ++tile)
    {
        Append(bytes, firstTile + tile * 30, 8);
    }
    for (std::uint64_t tile = 0; tile < 6; ++tile)
    {
        Append(bytes, 0, 16);
        Append(bytes, 10, 4);
        Append(bytes, 0, 10);
    }
    return bytes;
}

} // namespace

TEST(ExrChunks, WholeFilesAreWholeAndShorterOnesAreNot)
{
    for (const char* compression : {"none", "rle", "zip1", "zip16"})
    {
        const std::vector<std::uint8_t> bytes = MakeExr(compression);
        EXPECT_FALSE(IsTornExr(bytes.data(), bytes.size())) << compression;
        for (std::size_t size = 4; size < bytes.size(); ++size)
        {
            ASSERT_TRUE(IsTornExr(bytes.data(), size)) << compression << " of " << size;
        }
    }
}

TEST(ExrChunks, TilesCountAsWell)
{
    const std::vector<std::uint8_t> bytes = MakeTiledExr();
    EXPECT_FALSE(IsTornExr(bytes.data(), bytes.size()));
    for (std::size_t size = 4; size < bytes.size(); ++size)
    {
        ASSERT_TRUE(IsTornExr(bytes.data(), size)) << size;
    }
}

TEST(ExrChunks, WhatIsNotLookedIntoPasses)
{
    const std::vector<std::uint8_t> none = {0x89, 'P', 'N', 'G', 0, 0, 0, 0, 0};
    EXPECT_FALSE(IsTornExr(none.data(), none.size()));
    EXPECT_FALSE(IsTornExr(none.data(), 0));
    std::vector<std::uint8_t> bytes = MakeExr("none");
    for (const int flag : {0x08, 0x10}) // deep samples, several parts
    {
        std::vector<std::uint8_t> other = bytes;
        other[5] = static_cast<std::uint8_t>(other[5] | flag);
        EXPECT_FALSE(IsTornExr(other.data(), other.size() / 2));
    }
}

TEST(ExrChunks, DamagedBytesNeverLeadOutOfTheFile)
{
    std::mt19937_64 random(Seed());
    const std::vector<std::uint8_t> whole = MakeExr("zip16");
    const std::vector<std::uint8_t> tiled = MakeTiledExr();
    for (std::size_t i = 0; i < ScaledCount(20000); ++i)
    {
        // Of its own exact size, so that a sanitizer sees the first byte behind it.
        std::vector<std::uint8_t> bytes = i % 2 == 0 ? whole : tiled;
        for (std::uint64_t n = random() % 4 + 1; n > 0; --n)
        {
            bytes[8 + random() % (std::min<std::size_t>(bytes.size(), 500) - 8)] =
                static_cast<std::uint8_t>(random());
        }
        const std::size_t size = random() % 3 == 0 ? random() % bytes.size() : bytes.size();
        bytes.resize(size);
        bytes.shrink_to_fit();
        IsTornExr(bytes.data(), bytes.size());
    }
}
