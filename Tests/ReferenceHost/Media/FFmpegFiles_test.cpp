#include <fstream>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "FFmpegClips.h"
#include "Tests/Support/ChildProcess.h"
#include "Tests/Support/Paths.h"

// What files tell of themselves, and what is made of files that aren't what they should be.
namespace
{

using Media::FileError;
using Media::FileErrorKind;
using Media::FileOptions;
using Media::MediaFile;
using TestSupport::MediaPath;

Media::FileFacts FactsOf(const std::string& inName, int inStream = -1)
{
    FileOptions options;
    options.streamIndex = inStream;
    const auto file = MediaTests::OpenClip(inName, options);
    return file ? file->Facts() : Media::FileFacts();
}

FileError ErrorOf(const std::string& inPath, int inStream = -1)
{
    FileOptions options;
    options.streamIndex = inStream;
    FileError error;
    EXPECT_FALSE(MediaFile::Open(inPath, options, error)) << inPath;
    EXPECT_NE(error.text.find(inPath), std::string::npos) << error.text;
    EXPECT_EQ(error.text.find('\n'), std::string::npos) << error.text;
    EXPECT_GT(error.text.size(), inPath.size() + 5) << error.text;
    return error;
}

std::string ReadAll(const std::string& inPath)
{
    std::ifstream file(inPath, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void WriteAll(const std::string& inPath, const std::string& inBytes)
{
    std::ofstream(inPath, std::ios::binary) << inBytes;
}

TEST(FFmpegFacts, ColourOfTheFileIsKept)
{
    const Media::FileFacts facts = FactsOf("h264_b.mp4");
    EXPECT_EQ(facts.colour.matrixName, "bt709");
    EXPECT_EQ(facts.colour.rangeName, "tv");
    EXPECT_FALSE(facts.colour.isGuessed);
    EXPECT_EQ(facts.codec, "h264");
    EXPECT_EQ(facts.pixelFormatName, "yuv420p");
    const Media::FileFacts wide = FactsOf("hdr_pq.mkv");
    EXPECT_EQ(wide.colour.matrixName, "bt2020nc");
    EXPECT_EQ(wide.colour.transferName, "smpte2084");
    EXPECT_EQ(wide.colour.primariesName, "bt2020");
    EXPECT_EQ(wide.bitDepth, 10);
}

TEST(FFmpegFacts, MissingColourIsGuessedBySizeAndFormat)
{
    const Media::FileFacts small = FactsOf("ffv1.mkv");
    EXPECT_EQ(small.colour.matrixName, "smpte170m");
    EXPECT_TRUE(small.colour.isGuessed);
    const Media::FileFacts jpeg = FactsOf("mjpeg.avi");
    EXPECT_EQ(jpeg.colour.rangeName, "pc");
    EXPECT_EQ(jpeg.colour.sitingName, "center");
}

TEST(FFmpegFacts, RatesGridsAndCountsAreExact)
{
    const Media::FileFacts ntsc = FactsOf("h264_ntsc.mkv");
    EXPECT_TRUE(ntsc.hasFrameGrid);
    EXPECT_EQ(ntsc.frameRate, (Media::Rational{30000, 1001}));
    EXPECT_EQ(ntsc.frameCount, 70);
    EXPECT_EQ(ntsc.durationTicks, 70 * Media::kTicksPerSecond / 30000 * 1001);
    for (const char* name : {"vfr.mkv", "vfr.mp4"})
    {
        const Media::FileFacts facts = FactsOf(name);
        EXPECT_FALSE(facts.hasFrameGrid) << name;
        EXPECT_EQ(facts.frameCount, 38) << name; // multiples of 3 or 7 below 90
    }
    EXPECT_EQ(FactsOf("animation.gif").frameRate, (Media::Rational{10, 1}));
    EXPECT_EQ(FactsOf("h264_raw.h264").frameRate, (Media::Rational{25, 1}));
}

TEST(FFmpegFacts, FramesOfJoinedRecordingsFollowOneAnother)
{
    const Media::FileFacts one = FactsOf("mpeg2_interlaced.ts");
    const Media::FileFacts two = FactsOf("spliced.ts"); // the same twice
    EXPECT_EQ(two.frameCount, 2 * one.frameCount);
    EXPECT_EQ(two.durationTicks, 2 * one.durationTicks);
    EXPECT_TRUE(two.hasFrameGrid);
}

TEST(FFmpegFacts, FieldsInPacketsOfTheirOwnMakeOneFrame)
{
    for (const char* name : {"paff.ts", "paff.mkv", "paff.h264"})
    {
        const Media::FileFacts facts = FactsOf(name);
        EXPECT_EQ(facts.frameCount, 30) << name;
        EXPECT_EQ(facts.frameRate, (Media::Rational{25, 1})) << name;
        EXPECT_EQ(facts.fieldOrder, Media::FieldOrder::kUpperFirst) << name;
    }
}

TEST(FFmpegFacts, FramesOffAGridAreShownUntilTheNext)
{
    FileError error;
    const auto file = MediaFile::Open(MediaPath("vfr.mp4"), FileOptions(), error);
    ASSERT_TRUE(file) << error.text;
    // The clip keeps frames 0, 3, 6, 7, 9 ... of 25 a second.
    const std::int64_t frame = Media::kTicksPerSecond / 25;
    EXPECT_EQ(file->StartTicks(1), 3 * frame);
    EXPECT_EQ(file->StartTicks(3), 7 * frame);
    EXPECT_EQ(file->RankAt(5 * frame), 1);
    EXPECT_EQ(file->RankAt(6 * frame), 2);
    EXPECT_EQ(file->RankAt(8 * frame), 3);
}

TEST(FFmpegFacts, AspectFieldsTimecodeAndTurnAreKept)
{
    EXPECT_EQ(FactsOf("anamorphic.mp4").pixelAspect, (Media::Rational{16, 11}));
    EXPECT_EQ(FactsOf("mpeg2_interlaced.mkv").fieldOrder, Media::FieldOrder::kUpperFirst);
    EXPECT_EQ(FactsOf("mpeg2_interlaced.ts").fieldOrder, Media::FieldOrder::kUpperFirst);
    EXPECT_EQ(FactsOf("h264_paff_like.mp4").fieldOrder, Media::FieldOrder::kUpperFirst);
    EXPECT_EQ(FactsOf("h264_b.mp4").fieldOrder, Media::FieldOrder::kProgressive);
    const Media::FileFacts timecode = FactsOf("timecode.mov");
    EXPECT_EQ(timecode.startTimecode, "00:59:58;20");
    EXPECT_TRUE(timecode.isDropFrame);
    const Media::FileFacts turned = FactsOf("rotated.mp4");
    EXPECT_TRUE(turned.orientation.SwapsSides());
    EXPECT_FALSE(turned.orientation.flipHorizontally);
}

TEST(FFmpegFacts, AlphaIsTold)
{
    for (const char* name : {"prores_4444.mov", "qtrle_alpha.mov", "ffv1_alpha.mkv", "vp9_alpha.webm"})
    {
        EXPECT_EQ(FactsOf(name).alpha, Media::FileAlpha::kStraight) << name;
    }
    EXPECT_EQ(FactsOf("prores.mov").alpha, Media::FileAlpha::kNone);
}

TEST(FFmpegFacts, AttachedPicturesAreNotTheVideo)
{
    const Media::FileFacts facts = FactsOf("cover.mp4");
    EXPECT_EQ(facts.codec, "h264");
    EXPECT_EQ(facts.frameCount, 100);
    EXPECT_EQ(std::count_if(facts.streams.begin(), facts.streams.end(),
                            [](const Media::StreamEntry& inEntry) { return inEntry.isAttachedPicture; }),
              1);
}

TEST(FFmpegFacts, DefaultStreamIsTakenUnlessAnotherIsNamed)
{
    const Media::FileFacts first = FactsOf("two_videos.mkv", 0);
    EXPECT_EQ(first.width, 160);
    const Media::FileFacts second = FactsOf("two_videos.mkv");
    EXPECT_EQ(second.streamIndex, 1);
    EXPECT_EQ(second.width, 96);
}

TEST(FFmpegFiles, HollowReadingListsThePacketsOfAPlainOne)
{
    // A name that isn't read hollow: the same packets in Matroska, read as they are.
    TestSupport::ScratchFolder folder;
    const std::string plain = folder.File("plain.mkv");
    TestSupport::ChildRequest request;
    request.words = {"ffmpeg", "-v", "error", "-i", MediaPath("h264_b.mp4"), "-c", "copy", plain};
    ASSERT_EQ(TestSupport::RunChild(request).exitCode, 0);
    FileError error;
    const auto hollow = MediaFile::Open(MediaPath("h264_b.mp4"), FileOptions(), error);
    const auto read = MediaFile::Open(plain, FileOptions(), error);
    ASSERT_TRUE(hollow && read) << error.text;
    ASSERT_EQ(hollow->FrameCount(), read->FrameCount());
    for (std::int64_t rank = 0; rank <= hollow->FrameCount(); ++rank)
    {
        EXPECT_EQ(hollow->StartTicks(rank), read->StartTicks(rank));
    }
}

TEST(FFmpegBadInput, MissingFileAndFolder)
{
    EXPECT_EQ(ErrorOf("/nowhere/at/all.mp4").kind, FileErrorKind::kNoInput);
    EXPECT_EQ(ErrorOf(TestSupport::MediaFolder()).kind, FileErrorKind::kBadData);
}

TEST(FFmpegBadInput, PipesAndDevicesAreRefusedAtOnce)
{
    TestSupport::ScratchFolder folder;
    const std::string pipe = folder.File("pipe.mp4");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(ErrorOf(pipe).kind, FileErrorKind::kBadData);
    EXPECT_EQ(ErrorOf("/dev/zero").kind, FileErrorKind::kBadData);
}

TEST(FFmpegBadInput, EmptyTextAndTornFiles)
{
    TestSupport::ScratchFolder folder;
    WriteAll(folder.File("empty.mp4"), "");
    WriteAll(folder.File("text.mp4"), std::string(5000, 'x'));
    WriteAll(folder.File("notes.mkv"), "just some notes\n");
    const std::string whole = ReadAll(MediaPath("vfr.mp4"));
    WriteAll(folder.File("no_tables.mp4"), whole.substr(0, whole.size() / 2)); // the tables stand at the end
    for (const char* name : {"empty.mp4", "text.mp4", "notes.mkv", "no_tables.mp4"})
    {
        EXPECT_EQ(ErrorOf(folder.File(name)).kind, FileErrorKind::kBadData) << name;
    }
}

TEST(FFmpegBadInput, FilesWithoutVideoAndStreamsThatAreNone)
{
    EXPECT_EQ(ErrorOf(MediaPath("audio_only.m4a")).kind, FileErrorKind::kNotVideo);
    EXPECT_EQ(ErrorOf(MediaPath("h264_b.mp4"), 7).kind, FileErrorKind::kNotVideo);
}

TEST(FFmpegBadInput, RenamedFilesAreReadByTheirContent)
{
    TestSupport::ScratchFolder folder;
    WriteAll(folder.File("movie.avi"), ReadAll(MediaPath("h264_b.mp4")));
    FileError error;
    const auto file = MediaFile::Open(folder.File("movie.avi"), FileOptions(), error);
    ASSERT_TRUE(file) << error.text;
    EXPECT_EQ(file->FrameCount(), 100);
}

TEST(FFmpegBadInput, OddNamesAreOnlyNames)
{
    TestSupport::ScratchFolder folder;
    for (const char* name : {"50%d.mp4", "-i.mp4", "http:x.mp4", "a b\"'.mp4", "concat:x|y.mp4"})
    {
        WriteAll(folder.File(name), ReadAll(MediaPath("h264_b.mp4")));
        FileError error;
        EXPECT_TRUE(MediaFile::Open(folder.File(name), FileOptions(), error)) << error.text;
    }
}

TEST(FFmpegBadInput, FilesThatNameOthersOpenNone)
{
    TestSupport::ScratchFolder folder;
    WriteAll(folder.File("list.ffconcat"), "ffconcat version 1.0\nfile http://localhost:1/x.mp4\n");
    WriteAll(folder.File("list.m3u8"),
             "#EXTM3U\n#EXT-X-TARGETDURATION:5\n#EXTINF:5,\nhttp://localhost:1/x.ts\n"
             "#EXT-X-ENDLIST\n");
    ErrorOf(folder.File("list.ffconcat"));
    ErrorOf(folder.File("list.m3u8"));
}

TEST(FFmpegBadInput, TruncatedFilesGiveTheFramesThatAreThere)
{
    TestSupport::ScratchFolder folder;
    for (const char* name : {"h264_open.ts", "hevc.mkv", "mpeg2_interlaced.mpg", "mjpeg.avi", "raw_uyvy.avi"})
    {
        const std::string whole = ReadAll(MediaPath(name));
        WriteAll(folder.File(name), whole.substr(0, whole.size() * 6 / 10));
        FileError error;
        const auto file = MediaFile::Open(folder.File(name), FileOptions(), error);
        ASSERT_TRUE(file) << error.text;
        EXPECT_GT(file->FrameCount(), 8) << name;
        std::int64_t good = 0;
        for (std::int64_t rank = 0; rank < file->FrameCount(); ++rank)
        {
            good += file->GetFrame(rank).status == Media::FrameStatus::kOk;
        }
        EXPECT_GE(good, file->FrameCount() - 2) << name;
    }
}

TEST(FFmpegBadInput, DamagedFrameIsNamedAndTheOthersAreRead)
{
    TestSupport::ScratchFolder folder;
    std::string bytes = ReadAll(MediaPath("png.mov"));
    const std::size_t second = bytes.find("IHDR", bytes.find("IHDR") + 4);
    ASSERT_NE(second, std::string::npos);
    bytes.replace(second - 8, 40, std::string(40, '\0'));
    WriteAll(folder.File("damaged.mov"), bytes);
    FileError error;
    const auto file = MediaFile::Open(folder.File("damaged.mov"), FileOptions(), error);
    ASSERT_TRUE(file) << error.text;
    const Media::FrameAnswer bad = file->GetFrame(1);
    EXPECT_EQ(bad.status, Media::FrameStatus::kDamaged);
    EXPECT_NE(bad.text.find("damaged.mov"), std::string::npos) << bad.text;
    EXPECT_NE(bad.text.find("frame 1 "), std::string::npos) << bad.text;
    EXPECT_EQ(file->GetFrame(0).status, Media::FrameStatus::kOk);
    EXPECT_EQ(file->GetFrame(2).status, Media::FrameStatus::kOk);
    EXPECT_EQ(file->GetFrame(11).status, Media::FrameStatus::kOk);
}

// Bare pictures whose container tells another size.
std::string ClaimedSize(const std::string& inFolder, std::uint32_t inWidth, std::uint32_t inHeight)
{
    std::string bytes = ReadAll(MediaPath("raw_i420.avi"));
    const std::size_t format = bytes.find("strf");
    EXPECT_NE(format, std::string::npos);
    for (int byte = 0; byte < 4; ++byte)
    {
        bytes[format + 12 + static_cast<std::size_t>(byte)] = static_cast<char>(inWidth >> (8 * byte));
        bytes[format + 16 + static_cast<std::size_t>(byte)] = static_cast<char>(inHeight >> (8 * byte));
    }
    const std::string path =
        inFolder + "/" + std::to_string(inWidth) + "x" + std::to_string(inHeight) + ".avi";
    WriteAll(path, bytes);
    return path;
}

TEST(FFmpegBadInput, PicturesBeyondTheLimitsAreRefused)
{
    TestSupport::ScratchFolder folder;
    EXPECT_EQ(ErrorOf(ClaimedSize(folder.Path(), 16385, 16)).kind, FileErrorKind::kTooLarge);
    EXPECT_EQ(ErrorOf(ClaimedSize(folder.Path(), 16, 16386)).kind, FileErrorKind::kTooLarge);
    // 16384 by 16384 of 1.5 bytes a pixel is allowed, and only lacks the data.
    FileError error;
    FileOptions options;
    const auto file = MediaFile::Open(ClaimedSize(folder.Path(), 16384, 16), options, error);
    EXPECT_TRUE(file || error.kind != FileErrorKind::kTooLarge) << error.text;
}

}
