#include "ReferenceHost/Media/FFmpeg/MatroskaBlocks.h"

#include <fstream>
#include <gtest/gtest.h>
#include <string>

#include "Tests/Support/Paths.h"

// Small files written element by element.
namespace
{

using Frames = std::vector<std::pair<std::int64_t, std::int64_t>>;

std::string BigEndian(std::uint64_t inValue, int inBytes)
{
    std::string bytes;
    for (int shift = 8 * (inBytes - 1); shift >= 0; shift -= 8)
    {
        bytes += static_cast<char>(inValue >> shift & 0xFF);
    }
    return bytes;
}

std::string ID(std::uint32_t inID)
{
    return BigEndian(inID, inID > 0xFFFFFF ? 4 : inID > 0xFFFF ? 3 : inID > 0xFF ? 2 : 1);
}

// Sizes of one byte where they fit, else of eight.
std::string Element(std::uint32_t inID, const std::string& inContent)
{
    const std::string size = inContent.size() < 0x7F ? BigEndian(0x80 | inContent.size(), 1)
                                                     : BigEndian(1ULL << 56 | inContent.size(), 8);
    return ID(inID) + size + inContent;
}

std::string Track(int inNumber, int inType, const std::string& inMore = {})
{
    return Element(0xAE, Element(0xD7, BigEndian(static_cast<std::uint64_t>(inNumber), 1)) +
                             Element(0x83, BigEndian(static_cast<std::uint64_t>(inType), 1)) + inMore);
}

std::string BlockBytes(int inTrack, const std::string& inFrame, int inFlags = 0x80)
{
    return BigEndian(static_cast<std::uint64_t>(0x80 | inTrack), 1) + BigEndian(7, 2) +
           BigEndian(static_cast<std::uint64_t>(inFlags), 1) + inFrame;
}

std::string SimpleBlock(int inTrack, const std::string& inFrame, int inFlags = 0x80)
{
    return Element(0xA3, BlockBytes(inTrack, inFrame, inFlags));
}

std::string Cluster(const std::string& inBlocks)
{
    return Element(0x1F43B675, Element(0xE7, BigEndian(0, 1)) + inBlocks);
}

std::string Tracks(const std::string& inTracks)
{
    return Element(0x1654AE6B, inTracks);
}

std::string File(const std::string& inSegment)
{
    return Element(0x1A45DFA3, Element(0x4282, "matroska")) + Element(0x18538067, inSegment);
}

// Empty where the file is refused.
std::vector<std::string> FramesOf(const std::string& inFile)
{
    const TestSupport::ScratchFolder folder;
    const std::string path = folder.File("file.mkv");
    std::ofstream(path, std::ios::binary) << inFile;
    Media::OpenedPart file;
    EXPECT_TRUE(file.Open(path));
    Frames frames;
    std::vector<std::string> contents;
    if (Media::FindMatroskaBlocks(file, frames))
    {
        for (const auto& [begin, end] : frames)
        {
            contents.push_back(
                inFile.substr(static_cast<std::size_t>(begin), static_cast<std::size_t>(end - begin)));
        }
    }
    return contents;
}

using Contents = std::vector<std::string>;

const std::string kOneTrack = Tracks(Track(1, 1));

}

TEST(MatroskaBlocks, FramesAreFoundInBlocksAndInGroups)
{
    const std::string large(500, 'L');
    const std::string group =
        Element(0xA0, Element(0x9B, BigEndian(40, 1)) + Element(0xA1, BlockBytes(1, "in a group", 0)));
    EXPECT_EQ(FramesOf(File(Element(0xEC, "void") + kOneTrack + Cluster(SimpleBlock(1, "first") + group) +
                            Cluster(SimpleBlock(1, large)) + Element(0x1C53BB6B, "cues"))),
              (Contents{"first", "in a group", large}));
}

TEST(MatroskaBlocks, OnlyFramesOfTheVideoTrackAreTaken)
{
    EXPECT_EQ(FramesOf(File(Tracks(Track(2, 2) + Track(5, 1) + Track(6, 17)) +
                            Cluster(SimpleBlock(2, "sound", 0x86) + SimpleBlock(5, "picture") +
                                    SimpleBlock(6, "text")))),
              (Contents{"picture"}));
}

TEST(MatroskaBlocks, FilesOfMoreThanPlainFramesAreRefused)
{
    const std::string block = SimpleBlock(1, "picture");
    ASSERT_EQ(FramesOf(File(kOneTrack + Cluster(block))).size(), 1u);
    const std::string encoded = Track(1, 1, Element(0x6D80, Element(0x6240, "zlib")));
    EXPECT_TRUE(FramesOf(File(Tracks(encoded) + Cluster(block))).empty()) << "compressed";
    EXPECT_TRUE(FramesOf(File(Tracks(Track(1, 1) + Track(2, 1)) + Cluster(block))).empty()) << "two tracks";
    EXPECT_TRUE(FramesOf(File(kOneTrack + Cluster(block + SimpleBlock(1, "laced", 0x82)))).empty());
    EXPECT_TRUE(FramesOf(File(kOneTrack + Cluster(block + SimpleBlock(1, "")))).empty()) << "an empty block";
    EXPECT_TRUE(FramesOf(File(Tracks(Track(2, 2)) + Cluster(SimpleBlock(2, "sound")))).empty());
    EXPECT_TRUE(FramesOf(File(Cluster(block) + kOneTrack)).empty()) << "frames before the tracks";
    EXPECT_TRUE(FramesOf(File(kOneTrack)).empty()) << "no frames";
}

TEST(MatroskaBlocks, ElementsWithoutAnEndAreRefused)
{
    const std::string whole = File(kOneTrack + Cluster(SimpleBlock(1, std::string(300, 'p'))));
    ASSERT_EQ(FramesOf(whole).size(), 1u);
    for (std::size_t bytes = 0; bytes < whole.size(); bytes += bytes < 60 ? 1 : 37)
    {
        EXPECT_TRUE(FramesOf(whole.substr(0, bytes)).empty()) << bytes;
    }
    // Also where there are as many bytes as its size would be if it were one.
    const std::string unknown = ID(0x1F43B675) + "\xFF";
    const std::string blocks = SimpleBlock(1, "picture") + SimpleBlock(1, std::string(108, 'p'));
    ASSERT_EQ(blocks.size(), 127u);
    EXPECT_TRUE(FramesOf(File(kOneTrack + unknown + SimpleBlock(1, "picture"))).empty());
    EXPECT_TRUE(FramesOf(File(kOneTrack + unknown + blocks)).empty());
    EXPECT_TRUE(FramesOf(File(kOneTrack + Cluster(ID(0xA3) + "\x90" + BlockBytes(1, "x")))).empty());
    EXPECT_TRUE(FramesOf("RIFF" + whole).empty());
}

// Whatever single byte is wrong, what is found lies in the file, in order.
TEST(MatroskaBlocks, WrongBytesLeadNowhereElse)
{
    const std::string whole =
        File(Tracks(Track(2, 2) + Track(1, 1)) +
             Cluster(SimpleBlock(1, "one") + SimpleBlock(2, "sound") + SimpleBlock(1, "two")));
    const TestSupport::ScratchFolder folder;
    const std::string path = folder.File("file.mkv");
    for (std::size_t at = 0; at < whole.size(); ++at)
    {
        for (const int wrong : {0x00, 0x01, 0x7F, 0x80, 0xA0, 0xA3, 0xFF})
        {
            std::string bytes = whole;
            bytes[at] = static_cast<char>(wrong);
            std::ofstream(path, std::ios::binary) << bytes;
            Media::OpenedPart file;
            ASSERT_TRUE(file.Open(path));
            Frames frames;
            std::int64_t last = 0;
            if (Media::FindMatroskaBlocks(file, frames))
            {
                for (const auto& [begin, end] : frames)
                {
                    EXPECT_TRUE(last <= begin && begin < end && end <= file.Size()) << at << ", " << wrong;
                    last = end;
                }
            }
        }
    }
}
