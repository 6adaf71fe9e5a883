#include "ReferenceHost/Media/FFmpeg/BarePictures.h"

#include "ReferenceHost/FrameLibrary/PixelMaker.h"
#include "ReferenceHost/Media/FFmpeg/FFmpegTypes.h"
#include "ReferenceHost/Media/FFmpeg/MediaFile.h"
#include "ReferenceHost/Media/FFmpeg/PictureFrames.h"
#include "Tests/Support/ChildProcess.h"
#include "Tests/Support/Paths.h"
#include "VF/VideoFrame.h"
#include "norvik/logging/Logging.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

using namespace norviktypes;
using Media::BarePicturePtr;

// Pictures of bare video that stay in their file.
namespace
{

// More rows than are read at once, of noise, in which every row and column differs.
constexpr int kWidth = 48;
constexpr int kHeight = 147;
constexpr int kFrames = 10;

// As a ScratchFolder, elsewhere.
class MemoryFolder
{
public:
    explicit MemoryFolder(const std::filesystem::path& inPlace)
        : mPath((inPlace / "videorenderer-test-XXXXXX").string())
    {
        EXPECT_NE(::mkdtemp(mPath.data()), nullptr);
    }
    ~MemoryFolder() { std::filesystem::remove_all(mPath); }
    MemoryFolder(const MemoryFolder&) = delete;
    MemoryFolder& operator=(const MemoryFolder&) = delete;

    std::string File(const std::string& inName) const { return mPath + "/" + inName; }

private:
    std::string mPath;
};

struct Clip
{
    template <typename Folder>
    Clip(const Folder& inFolder, const std::string& inFormat, const std::string& inName,
         const std::string& inFieldOrder = "progressive", const std::string& inCodec = "rawvideo")
        : mPath(inFolder.File(inName))
    {
        const std::string size = std::to_string(kWidth) + "x" + std::to_string(kHeight);
        TestSupport::ChildRequest request;
        request.words = {"ffmpeg",
                         "-v",
                         "error",
                         "-f",
                         "lavfi",
                         "-i",
                         "testsrc=size=" + size + ":rate=25,noise=alls=90:allf=t+u",
                         "-frames:v",
                         std::to_string(kFrames),
                         "-c:v",
                         inCodec,
                         "-pix_fmt",
                         inFormat,
                         "-field_order",
                         inFieldOrder,
                         mPath};
        EXPECT_EQ(TestSupport::RunChild(request).exitCode, 0);
        Media::FileError error;
        mFile = Media::MediaFile::Open(mPath, Media::FileOptions(), error);
        EXPECT_TRUE(mFile) << error.text;
    }

    // Null where the picture must be decoded.
    BarePicturePtr Bare(std::int64_t inRank) const
    {
        const BarePicturePtr picture = mFile->PictureInFile(inRank);
        return picture && picture->Fetch() ? picture : nullptr;
    }
    std::shared_ptr<const AVFrame> Decoded(std::int64_t inRank) const
    {
        return mFile->GetFrame(inRank).picture;
    }

    const std::string mPath;
    std::shared_ptr<Media::MediaFile> mFile;
};

Media::PictureTraits Traits()
{
    Media::PictureTraits traits;
    traits.colour.matrix = AVCOL_SPC_BT709;
    traits.colour.range = AVCOL_RANGE_MPEG;
    traits.isFieldChroma = true;
    return traits;
}

BE::FrameDescription Description(const PixelFormat& inFormat)
{
    BE::FrameDescription description;
    description.mPixelFormat = inFormat;
    description.mBounds = {0, 0, kWidth, kHeight};
    description.mPixelAspectRatio = {1, 1};
    return description;
}

MF::IVideoFrameRef FrameOf(const BarePicturePtr& inPicture, const PixelFormat& inFormat)
{
    MF::IVideoFrameRef frame;
    Media::MakeFrameOfBarePicture(inPicture, Traits(), Media::Orientation(), Description(inFormat), frame);
    return frame;
}

MF::IVideoFrameRef FrameOf(const AVFrame& inPicture, const PixelFormat& inFormat)
{
    MF::IVideoFrameRef frame;
    EXPECT_GE(
        Media::MakeFrameOfPicture(inPicture, Traits(), Media::Orientation(), Description(inFormat), frame),
        0);
    return frame;
}

bool AreSameRows(const VF::FramePixels& inFrame, std::uint32_t inFirst, const std::uint8_t* inRows,
                 std::uint32_t inCount)
{
    const std::size_t bytes = inFrame.mGeometry.mPlanes[0].mUsedBytes;
    for (std::uint32_t row = 0; row < inCount; ++row)
    {
        if (std::memcmp(inFrame.Row(0, inFirst + row), inRows + row * bytes, bytes) != 0)
        {
            return false;
        }
    }
    return true;
}

// Of rows inFirst on, from the maker of a frame that nobody has looked at.
std::vector<std::uint8_t> RowsOf(const MF::IVideoFrameRef& inFrame, std::uint32_t inFirst,
                                 std::uint32_t inCount, std::size_t inRowBytes)
{
    const VF::PixelMakerPtr maker = VF::PendingMakerOf(inFrame);
    std::vector<std::uint8_t> rows(inCount * inRowBytes);
    EXPECT_TRUE(maker);
    EXPECT_EQ(maker->MakeRows(inFirst, inCount, rows.data(), static_cast<std::int32_t>(inRowBytes)), 0);
    return rows;
}

void ExpectSameFrame(const MF::IVideoFrameRef& inFrame, const MF::IVideoFrameRef& inExpected,
                     const std::string& inWhat)
{
    VF::FramePixels expected;
    ASSERT_TRUE(inFrame) << inWhat;
    ASSERT_TRUE(VF::GetFramePixels(inExpected, expected)) << inWhat;
    const std::size_t rowBytes = expected.mGeometry.mPlanes[0].mUsedBytes;
    const std::vector<std::uint8_t> whole = RowsOf(inFrame, 0, kHeight, rowBytes);
    EXPECT_TRUE(AreSameRows(expected, 0, whole.data(), kHeight)) << inWhat;
    std::mt19937 random(1);
    for (int turn = 0; turn < 40; ++turn)
    {
        const std::uint32_t first = static_cast<std::uint32_t>(random()) % kHeight;
        const std::uint32_t count = 1 + static_cast<std::uint32_t>(random()) % (kHeight - first);
        const std::vector<std::uint8_t> rows = RowsOf(inFrame, first, count, rowBytes);
        EXPECT_TRUE(AreSameRows(expected, first, rows.data(), count))
            << inWhat << ", " << count << " rows from " << first;
    }
    VF::FramePixels pixels;
    ASSERT_TRUE(VF::GetFramePixels(inFrame, pixels)) << inWhat;
    std::vector<std::uint8_t> copy(kHeight * rowBytes);
    for (std::uint32_t row = 0; row < kHeight; ++row)
    {
        std::memcpy(copy.data() + row * rowBytes, pixels.Row(0, row), rowBytes);
    }
    EXPECT_TRUE(AreSameRows(expected, 0, copy.data(), kHeight)) << inWhat;
}

}

TEST(BarePictures, AreThoseThatTheDecoderMakes)
{
    const TestSupport::ScratchFolder folder;
    std::size_t taken = 0;
    for (const char* format : {"yuv420p", "yuv422p", "yuv444p", "yuv410p", "yuv420p10le", "nv12", "uyvy422"})
    {
        const Clip clip(folder, format, std::string(format) + ".avi");
        const std::shared_ptr<const AVFrame> decoded = clip.Decoded(0);
        ASSERT_TRUE(decoded) << format;
        for (const PixelFormat& target : {kPixelFormat_BGRA_4444_8u, kPixelFormat_BGRA_4444_16u,
                                          kPixelFormat_BGRA_4444_32f_Linear, kPixelFormat_VUYA_4444_32f_709})
        {
            const MF::IVideoFrameRef expected = FrameOf(*decoded, target);
            const bool isPending = VF::PendingMakerOf(expected) != nullptr;
            const BarePicturePtr bare = clip.Bare(0);
            const MF::IVideoFrameRef frame = bare ? FrameOf(bare, target) : MF::IVideoFrameRef();
            EXPECT_EQ(frame != nullptr, isPending) << format; // rows by themselves, or neither
            if (frame)
            {
                ExpectSameFrame(frame, expected, std::string(format) + " to " + PixelFormatText(target));
                ++taken;
            }
        }
    }
    EXPECT_EQ(taken, 4u); // 8 bits, subsampled, to 8 bits
}

TEST(BarePictures, HaveTheChromaOfTheirFields)
{
    const TestSupport::ScratchFolder folder;
    const Clip clip(folder, "yuv420p", "fields.mkv", "tt");
    ASSERT_TRUE(clip.Decoded(0));
    const std::shared_ptr<const AVFrame> decoded = clip.Decoded(3);
    ASSERT_TRUE(decoded);
    ASSERT_EQ(decoded->interlaced_frame, 1);
    const BarePicturePtr bare = clip.Bare(3);
    ASSERT_TRUE(bare);
    EXPECT_EQ(bare->Shape().interlaced_frame, 1);
    EXPECT_EQ(bare->Shape().top_field_first, 1);
    ExpectSameFrame(FrameOf(bare, kPixelFormat_BGRA_4444_8u), FrameOf(*decoded, kPixelFormat_BGRA_4444_8u),
                    "fields");
}

// More pictures than a thread remembers rows of, a few rows of each in turn.
TEST(BarePictures, AreReadByTurns)
{
    const TestSupport::ScratchFolder folder;
    const Clip clip(folder, "yuv420p", "turns.avi");
    std::vector<MF::IVideoFrameRef> expected;
    std::vector<MF::IVideoFrameRef> frames;
    for (std::int64_t rank = 0; rank < kFrames; ++rank)
    {
        expected.push_back(FrameOf(*clip.Decoded(rank), kPixelFormat_BGRA_4444_8u));
        const BarePicturePtr bare = clip.Bare(rank);
        ASSERT_TRUE(bare) << rank;
        frames.push_back(FrameOf(bare, kPixelFormat_BGRA_4444_8u));
    }
    for (std::uint32_t first = 0; first + 7 <= kHeight; first += 7)
    {
        for (std::size_t rank = 0; rank < frames.size(); ++rank)
        {
            const std::vector<std::uint8_t> rows = RowsOf(frames[rank], first, 7, kWidth * 4);
            VF::FramePixels pixels;
            ASSERT_TRUE(VF::GetFramePixels(expected[rank], pixels));
            EXPECT_TRUE(AreSameRows(pixels, first, rows.data(), 7)) << rank << ", row " << first;
        }
    }
}

TEST(BarePictures, AreFetchedWhereTheSystemHasLeftThem)
{
    const TestSupport::ScratchFolder folder;
    const Clip clip(folder, "yuv420p", "cold.avi");
    const MF::IVideoFrameRef expected = FrameOf(*clip.Decoded(0), kPixelFormat_BGRA_4444_8u);
    const int file = ::open(clip.mPath.c_str(), O_RDONLY | O_CLOEXEC);
    ::fsync(file);
    ::posix_fadvise(file, 0, 0, POSIX_FADV_DONTNEED);
    ::close(file);
    const BarePicturePtr bare = clip.Bare(0);
    ASSERT_TRUE(bare);
    ExpectSameFrame(FrameOf(bare, kPixelFormat_BGRA_4444_8u), expected, "from the disk");
}

// Shared memory is such a place on Linux.
TEST(BarePictures, AreTakenWhereTheSystemCantTellWhatItHasInMemory)
{
    const std::filesystem::path place = "/dev/shm";
    if (::access(place.c_str(), W_OK) != 0)
    {
        GTEST_SKIP() << "there is no " << place;
    }
    const MemoryFolder folder(place);
    const Clip clip(folder, "yuv420p", "memory.avi");
    Media::OpenedPart file;
    char byte = 0;
    ASSERT_TRUE(file.Open(clip.mPath));
    if (file.ReadFromMemory(&byte, 1, 0) == 1)
    {
        GTEST_SKIP() << "the system can tell of " << place;
    }
    EXPECT_EQ(errno, EOPNOTSUPP);
    const std::shared_ptr<const AVFrame> decoded = clip.Decoded(0);
    ASSERT_TRUE(decoded && clip.Bare(0));
    ExpectSameFrame(FrameOf(clip.Bare(0), kPixelFormat_BGRA_4444_8u),
                    FrameOf(*decoded, kPixelFormat_BGRA_4444_8u), "in shared memory");
    EXPECT_TRUE(clip.Bare(1)->IsFetched());
    std::filesystem::resize_file(clip.mPath, std::filesystem::file_size(clip.mPath) / 2);
    EXPECT_FALSE(clip.Bare(kFrames - 1));
}

// One is decoded to find out how they lie, by the first one who may wait, and nothing is kept of that.
TEST(BarePictures, AreKnownByTheFirstOneThatIsAskedFor)
{
    const TestSupport::ScratchFolder folder;
    const Clip clip(folder, "yuv420p", "first.avi");
    EXPECT_FALSE(clip.mFile->PictureInFile(5, true));
    EXPECT_EQ(clip.mFile->Statistics().framesDecoded, 0u);
    EXPECT_TRUE(clip.Bare(5));
    EXPECT_TRUE(clip.Bare(1));
    EXPECT_TRUE(clip.mFile->PictureInFile(2, true));
    const Media::FileStatistics statistics = clip.mFile->Statistics();
    EXPECT_EQ(statistics.framesDecoded, 1u);
    EXPECT_EQ(statistics.decoders, 0u);
    EXPECT_EQ(statistics.cachedBytes, 0);
    EXPECT_EQ(statistics.pictureBytes, 0);
    EXPECT_FALSE(clip.Bare(-1));
    EXPECT_FALSE(clip.Bare(clip.mFile->FrameCount()));
    clip.mFile->Cancel();
    EXPECT_FALSE(clip.Bare(1));
}

// Of a palette nothing is read so; what was decoded to find that out serves who asked.
TEST(BarePictures, ThatCantBeReadSoAreDecodedOnce)
{
    const TestSupport::ScratchFolder folder;
    const Clip clip(folder, "pal8", "palette.avi");
    EXPECT_FALSE(clip.Bare(3));
    EXPECT_TRUE(clip.Decoded(3));
    EXPECT_EQ(clip.mFile->Statistics().framesDecoded, 1u);
}

// As those do who want another format, or a part of the pixels.
TEST(BarePictures, AreDecodedAllTheSameForWhoAsksForThat)
{
    const TestSupport::ScratchFolder folder;
    const Clip clip(folder, "yuv420p", "both.avi");
    const std::shared_ptr<const AVFrame> before = clip.Decoded(4);
    ASSERT_TRUE(before && clip.Bare(4));
    const std::shared_ptr<const AVFrame> after = clip.Decoded(4);
    ASSERT_TRUE(after);
    EXPECT_NE(before, after); // that one was let go
    EXPECT_EQ(std::memcmp(before->data[0], after->data[0], static_cast<std::size_t>(kWidth)), 0);
    for (std::int64_t rank = 0; rank < kFrames; ++rank)
    {
        ASSERT_TRUE(clip.Decoded(rank)) << rank;
    }
    EXPECT_EQ(clip.mFile->Statistics().decoders, 1u);
}

TEST(BarePictures, AreToldToBeInTheSystemsMemoryWithoutAWait)
{
    const TestSupport::ScratchFolder folder;
    const Clip clip(folder, "yuv420p", "told.avi");
    const BarePicturePtr picture = clip.Bare(3);
    ASSERT_TRUE(picture);
    if (!picture->IsFetched())
    {
        GTEST_SKIP() << "the system can't tell what it has of " << clip.mPath << " in its memory";
    }
    const int file = ::open(clip.mPath.c_str(), O_RDONLY | O_CLOEXEC);
    ::fsync(file);
    ::posix_fadvise(file, 0, 0, POSIX_FADV_DONTNEED);
    ::close(file);
    if (picture->IsFetched()) // asking may have it read soon, so once only
    {
        GTEST_SKIP() << "the system keeps the file in its memory, or can't tell";
    }
    EXPECT_TRUE(picture->Fetch());
    EXPECT_TRUE(picture->IsFetched());
    EXPECT_TRUE(clip.mFile->PictureInFile(3, true));
    std::filesystem::resize_file(clip.mPath, std::filesystem::file_size(clip.mPath) / 5);
    EXPECT_FALSE(picture->IsFetched());
}

TEST(BarePictures, AreNotThoseOfCompressedVideo)
{
    const auto open = [](const char* inName)
    {
        Media::FileError error;
        return Media::MediaFile::Open(TestSupport::MediaPath(inName), Media::FileOptions(), error);
    };
    for (const char* name : {"ffv1.mkv", "v210.mov"})
    {
        const std::shared_ptr<Media::MediaFile> file = open(name);
        ASSERT_TRUE(file) << name;
        EXPECT_EQ(file->GetFrame(0).status, Media::FrameStatus::kOk) << name;
        EXPECT_FALSE(file->PictureInFile(0)) << name;
    }
}

// The list of this container's packets has a checksum of their ends.
TEST(BarePictures, OfAnotherContentAreNotTaken)
{
    const TestSupport::ScratchFolder folder;
    const Clip clip(folder, "yuv420p", "changed.y4m", "progressive", "wrapped_avframe");
    ASSERT_TRUE(clip.Decoded(0));
    const std::shared_ptr<const AVFrame> decoded = clip.Decoded(2);
    ASSERT_TRUE(decoded && clip.Bare(2));
    std::fstream file(clip.mPath, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(decoded->pkt_pos + 30);
    const char other[4] = {'a', 'b', 'c', 'd'};
    file.write(other, sizeof other);
    file.close();
    EXPECT_FALSE(clip.Bare(2));
    EXPECT_TRUE(clip.Bare(1));
}

// What was read before belongs to no rows any more.
TEST(BarePictures, ThatComeBackAreReadAnew)
{
    const TestSupport::ScratchFolder folder;
    const Clip clip(folder, "yuv420p", "back.avi");
    const MF::IVideoFrameRef expected = FrameOf(*clip.Decoded(0), kPixelFormat_BGRA_4444_8u);
    const MF::IVideoFrameRef frame = FrameOf(clip.Bare(0), kPixelFormat_BGRA_4444_8u);
    const VF::PixelMakerPtr maker = VF::PendingMakerOf(frame);
    ASSERT_TRUE(maker);
    std::ostringstream content;
    content << std::ifstream(clip.mPath, std::ios::binary).rdbuf();
    RowsOf(frame, 0, 16, kWidth * 4);
    std::filesystem::resize_file(clip.mPath, 0);
    std::vector<std::uint8_t> rows(16 * kWidth * 4);
    norvik::logging::SetLogSink([](const auto&) {}, true);
    EXPECT_LT(maker->MakeRows(60, 16, rows.data(), kWidth * 4), 0);
    norvik::logging::SetLogSink(norvik::logging::LogSink());
    std::ofstream(clip.mPath, std::ios::binary) << content.str();
    ExpectSameFrame(frame, expected, "back again");
}

TEST(BarePictures, CutOffTheFrameHasNoPixelsAndOthersAreDecoded)
{
    const TestSupport::ScratchFolder folder;
    const Clip clip(folder, "yuv420p", "cut.avi");
    ASSERT_TRUE(clip.Decoded(0));
    const BarePicturePtr last = clip.Bare(kFrames - 1);
    const BarePicturePtr first = clip.Bare(0);
    ASSERT_TRUE(first && last);
    const MF::IVideoFrameRef frame = FrameOf(last, kPixelFormat_BGRA_4444_8u);
    std::filesystem::resize_file(clip.mPath, std::filesystem::file_size(clip.mPath) / 2);
    VF::FramePixels pixels;
    std::vector<std::string> lines;
    norvik::logging::SetLogSink([&](const auto& inMessage)
                                { lines.emplace_back(inMessage->mText.data(), inMessage->mText.size()); },
                                true);
    EXPECT_FALSE(VF::GetFramePixels(frame, pixels));
    EXPECT_FALSE(VF::GetFramePixels(frame, pixels));
    norvik::logging::SetLogSink(norvik::logging::LogSink());
    ASSERT_EQ(lines.size(), 1u); // once for a file
    EXPECT_EQ(lines[0], clip.mPath + ": frame 9 can't be read any more: No data available");
    EXPECT_FALSE(clip.Bare(kFrames - 1));
    EXPECT_EQ(clip.mFile->GetFrame(kFrames - 1).status, Media::FrameStatus::kDamaged);
    EXPECT_TRUE(VF::GetFramePixels(FrameOf(first, kPixelFormat_BGRA_4444_8u), pixels));
}
