#include <fstream>
#include <gtest/gtest.h>

#include "ReferenceHost/Media/FFmpeg/HollowFile.h"
#include "ReferenceHost/Media/FFmpeg/MediaFile.h"
#include "ReferenceHost/Media/FFmpeg/MediaInput.h"
#include "ReferenceHost/Media/FFmpeg/PacketScan.h"
#include "Tests/Support/ChildProcess.h"
#include "Tests/Support/Paths.h"

// That a file whose pictures aren't read tells of them what it does when they are.
namespace
{

using Media::MediaInput;
using Media::PacketRecord;
using Media::PacketScan;
using TestSupport::MediaPath;

std::string ReadAll(const std::string& inPath)
{
    std::ifstream file(inPath, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void WriteAll(const std::string& inPath, const std::string& inBytes)
{
    std::ofstream(inPath, std::ios::binary) << inBytes;
}

std::string LittleEndian(std::size_t inValue)
{
    std::string bytes;
    for (int shift = 0; shift < 32; shift += 8)
    {
        bytes += static_cast<char>((inValue >> shift) & 0xFF);
    }
    return bytes;
}

// Opens and probes as a media file does, so that what a probe finds out is known to the plain scan.
PacketScan PlainScan(const std::string& inPath)
{
    MediaInput input;
    Media::FileError error;
    EXPECT_TRUE(Media::OpenAndChoose(inPath, -1, nullptr, input, error)) << error.text;
    return Media::ScanPackets(input, *input.Stream()->codecpar, true);
}

PacketScan HollowScan(const std::string& inPath)
{
    MediaInput input;
    EXPECT_GE(input.OpenHollow(inPath, nullptr), 0) << inPath;
    input.SelectStream(0);
    PacketScan scan = Media::ScanPackets(input, *input.Stream()->codecpar, false);
    for (std::uint32_t ordinal = 0; ordinal < scan.packets.Count(); ++ordinal)
    {
        const PacketRecord& packet = scan.packets[ordinal];
        EXPECT_TRUE(packet.size == 0 || input.Hollow()->IsWholeArea(packet.position, packet.size));
    }
    return scan;
}

void ExpectSamePackets(const std::string& inPath)
{
    const PacketScan plain = PlainScan(inPath);
    const PacketScan hollow = HollowScan(inPath);
    EXPECT_EQ(plain.endedEarly, hollow.endedEarly);
    ASSERT_GT(plain.packets.Count(), 0U);
    ASSERT_EQ(plain.packets.Count(), hollow.packets.Count());
    for (std::uint32_t ordinal = 0; ordinal < plain.packets.Count(); ++ordinal)
    {
        const PacketRecord& one = plain.packets[ordinal];
        const PacketRecord& other = hollow.packets[ordinal];
        EXPECT_EQ(one.position, other.position) << ordinal;
        EXPECT_EQ(one.size, other.size) << ordinal;
        EXPECT_EQ(one.pts, other.pts) << ordinal;
        EXPECT_EQ(one.dts, other.dts) << ordinal;
        EXPECT_EQ(one.duration, other.duration) << ordinal;
        EXPECT_EQ(one.isKey, other.isKey) << ordinal;
        EXPECT_EQ(one.isDiscarded, other.isDiscarded) << ordinal;
        EXPECT_EQ(one.yieldsNoFrame, other.yieldsNoFrame) << ordinal;
        EXPECT_EQ(one.isCorrupt, other.isCorrupt) << ordinal;
        EXPECT_NE(one.hash, 0U);
        EXPECT_EQ(other.hash, 0U);
    }
}

// The file with its frames from inFirst on in a second RIFF list, without an index, as files of more than a
// gigabyte are written. All chunks of the movie are of one size.
std::string InTwoLists(const std::string& inFile, std::size_t inFirst)
{
    const std::size_t movie = inFile.find("movi") + 4;
    const std::size_t movieEnd = inFile.find("idx1", inFile.rfind("00dc"));
    const std::size_t chunk = inFile.find("00dc", movie + 4) - movie;
    const std::size_t cut = movie + chunk * inFirst;
    const std::string first = inFile.substr(movie, cut - movie);
    const std::string second = inFile.substr(cut, movieEnd - cut);
    const std::string head = inFile.substr(12, movie - 8 - 12 - 4);
    const std::string body = "AVI " + head + "LIST" + LittleEndian(first.size() + 4) + "movi" + first;
    const std::string more = "AVIXLIST" + LittleEndian(second.size() + 4) + "movi" + second;
    return "RIFF" + LittleEndian(body.size()) + body + "RIFF" + LittleEndian(more.size()) + more;
}

// A hundred frames of 640x360.
void MakeClip(const std::string& inPath, const std::string& inCodec)
{
    TestSupport::ChildRequest request;
    request.words = {"sh", "-c",
                     "ffmpeg -y -v error -f lavfi -i color=red:size=640x360:rate=25:duration=4 -c:v " +
                         inCodec + " " + inPath};
    ASSERT_EQ(TestSupport::RunChild(request).exitCode, 0);
}

std::int64_t BytesReadByThisProcess()
{
    std::ifstream file("/proc/self/io");
    std::string name;
    std::int64_t bytes = 0;
    file >> name >> bytes;
    EXPECT_EQ(name, "rchar:");
    return bytes;
}

}

TEST(HollowFile, ListsThePacketsOfAviAsReadingThemDoes)
{
    for (const char* name : {"raw_i420.avi", "raw_uyvy.avi", "huffyuv.avi"})
    {
        SCOPED_TRACE(name);
        ExpectSamePackets(MediaPath(name));
    }
}

TEST(HollowFile, ListsThePacketsOfATornAvi)
{
    TestSupport::ScratchFolder folder;
    const std::string whole = ReadAll(MediaPath("raw_i420.avi"));
    const std::size_t last = whole.rfind("00dc", whole.rfind("idx1") - 1);
    for (const std::size_t length : {last + 5000, last + 8, last + 4, last, whole.rfind("idx1")})
    {
        SCOPED_TRACE(length);
        const std::string path = folder.File("torn.avi");
        WriteAll(path, whole.substr(0, length));
        ExpectSamePackets(path);
    }
}

TEST(HollowFile, ListsThePacketsOfAnAviOfSeveralLists)
{
    TestSupport::ScratchFolder folder;
    const std::string path = folder.File("two.avi");
    WriteAll(path, InTwoLists(ReadAll(MediaPath("raw_i420.avi")), 8));
    EXPECT_EQ(PlainScan(path).packets.Count(), 20U);
    ExpectSamePackets(path);
}

TEST(HollowFile, RefusesAnAviWhoseChunksAreNoChain)
{
    TestSupport::ScratchFolder folder;
    const std::string whole = ReadAll(MediaPath("raw_i420.avi"));
    const std::size_t second = whole.find("00dc", whole.find("movi") + 100);
    const std::string path = folder.File("broken.avi");
    const auto isRefused = [&](const std::string& inBytes)
    {
        WriteAll(path, inBytes);
        MediaInput input;
        return input.OpenHollow(path, nullptr) < 0;
    };
    std::string noTag = whole;
    noTag.replace(second, 4, std::string("\0\0\0\0", 4));
    EXPECT_TRUE(isRefused(noTag));
    std::string tooLong = whole;
    tooLong.replace(second + 4, 4, LittleEndian(whole.size() - second - 100));
    EXPECT_TRUE(isRefused(tooLong));
    std::string noRiff = whole;
    noRiff.replace(0, 4, "RIFX");
    EXPECT_TRUE(isRefused(noRiff));
    EXPECT_FALSE(isRefused(whole));
}

TEST(HollowFile, RefusesListsWithoutEnd)
{
    TestSupport::ScratchFolder folder;
    std::string nested = "AVI ";
    std::string records;
    for (int depth = 0; depth < 200000; ++depth)
    {
        records += "LIST" + LittleEndian(0x7FFFFFFF) + "rec ";
    }
    nested += "LIST" + LittleEndian(records.size() + 4) + "movi" + records;
    const std::string path = folder.File("nested.avi");
    WriteAll(path, "RIFF" + LittleEndian(nested.size()) + nested);
    MediaInput input;
    EXPECT_LT(input.OpenHollow(path, nullptr), 0);
}

// A chunk that begins in the middle of another one is read as it stands.
TEST(HollowFile, OpensWhatItCannotListByReading)
{
    TestSupport::ScratchFolder folder;
    std::string bytes = ReadAll(MediaPath("raw_i420.avi"));
    const std::size_t second = bytes.find("00dc", bytes.find("movi") + 100);
    bytes.replace(second, 4, std::string("\0\0\0\0", 4));
    const std::string path = folder.File("broken.avi");
    WriteAll(path, bytes);
    Media::FileError error;
    const auto file = Media::MediaFile::Open(path, Media::FileOptions(), error);
    ASSERT_TRUE(file) << error.text;
    EXPECT_EQ(file->FrameCount(), static_cast<std::int64_t>(PlainScan(path).packets.Count()));
}

TEST(HollowFile, ListsThePacketsOfMatroskaAsReadingThemDoes)
{
    TestSupport::ScratchFolder folder;
    for (const char* codec : {"rawvideo -pix_fmt yuv420p", "ffv1 -pix_fmt yuv422p", "huffyuv"})
    {
        SCOPED_TRACE(codec);
        const std::string path = folder.File("file.mkv");
        MakeClip(path, codec);
        ExpectSamePackets(path);
    }
}

// It is read as before then.
TEST(HollowFile, OpensATornMatroska)
{
    TestSupport::ScratchFolder folder;
    const std::string whole = folder.File("whole.mkv");
    const std::string path = folder.File("torn.mkv");
    MakeClip(whole, "rawvideo -pix_fmt yuv420p");
    const std::string bytes = ReadAll(whole);
    WriteAll(path, bytes.substr(0, bytes.size() * 2 / 3));
    Media::FileError error;
    const auto file = Media::MediaFile::Open(path, Media::FileOptions(), error);
    ASSERT_TRUE(file) << error.text;
    EXPECT_GT(file->FrameCount(), 50);
    EXPECT_EQ(file->FrameCount(), static_cast<std::int64_t>(PlainScan(path).packets.Count()));
}

TEST(HollowFile, OpensRawVideoWithoutReadingIt)
{
    TestSupport::ScratchFolder folder;
    for (const char* name : {"raw.avi", "raw.mkv"})
    {
        SCOPED_TRACE(name);
        const std::string path = folder.File(name);
        MakeClip(path, "rawvideo -pix_fmt yuv420p");
        const std::int64_t before = BytesReadByThisProcess();
        Media::FileError error;
        const auto file = Media::MediaFile::Open(path, Media::FileOptions(), error);
        ASSERT_TRUE(file) << error.text;
        EXPECT_EQ(file->FrameCount(), 100);
        EXPECT_LT(BytesReadByThisProcess() - before, 100LL * 640 * 360 * 3 / 2 / 4);
    }
}
