#include "ReferenceHost/Media/FilePart.h"

#include "BE/IMediaInfo.h"
#include "BE/IVideoSource.h"
#include "ReferenceHost/Media/FileIdentity.h"
#include "Tests/ReferenceHost/Media/OpenedMedia.h"
#include "Tests/ReferenceHost/Media/StillFiles.h"
#include "Tests/Support/Paths.h"
#include "Tests/Support/PixelMatchers.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <sys/stat.h>

using namespace Media;
using namespace MediaTests;
using namespace TestSupport;
using norviktypes::TickTime;

namespace
{

constexpr norviktypes::FrameRate kRate = norviktypes::FrameRate::FromRational(25, 1);

Bytes BytesOf(const char* inText)
{
    return Bytes(inText, inText + std::strlen(inText));
}

// The pixels of each frame asked for, one behind the other.
Bytes PixelsAt(const BE::IMediaInfoRef& inMedia, const std::vector<std::int64_t>& inFrames)
{
    const BE::IVideoSourceRef source = SourceOf(inMedia);
    Bytes pixels;
    for (const std::int64_t frame : inFrames)
    {
        MF::IVideoFrameRef picture;
        EXPECT_EQ(FrameAt(source, TickTime::FromFrame(frame, kRate), norviktypes::kPixelFormat_Any, picture),
                  0)
            << frame;
        const std::vector<std::uint8_t> bytes = picture ? PixelBytes(picture) : std::vector<std::uint8_t>();
        pixels.insert(pixels.end(), bytes.begin(), bytes.end());
    }
    return pixels;
}

// Files one behind the other with rubbish around them, which is no medium itself.
class MediaParts : public testing::Test
{
protected:
    std::string At(const std::string& inName) const { return mFolder.File(inName); }

    std::string Movie(const std::string& inName, const std::string& inSource,
                      const std::vector<std::string>& inOptions) const
    {
        std::vector<std::string> words{"-f", "lavfi", "-i", inSource + "=s=64x48:r=25", "-frames:v", "30"};
        words.insert(words.end(), inOptions.begin(), inOptions.end());
        words.push_back(At(inName));
        RunFFmpeg(words);
        return At(inName);
    }

    // The text of the part that inPath is from now on.
    std::string Bundle(const std::string& inPath)
    {
        const Bytes rubbish(1001, 0xA5);
        mBytes.insert(mBytes.end(), rubbish.begin(), rubbish.end());
        const Bytes media = ReadBytes(inPath);
        const FilePart part{At("bundle"), static_cast<std::int64_t>(mBytes.size()),
                            static_cast<std::int64_t>(media.size())};
        mBytes.insert(mBytes.end(), media.begin(), media.end());
        Bytes all = mBytes;
        all.insert(all.end(), rubbish.begin(), rubbish.end());
        WriteBytes(At("bundle"), all);
        return TextOfPart(part, "media/" + std::filesystem::path(inPath).filename().string());
    }

    const ScratchFolder mFolder;
    Bytes mBytes;
};

} // namespace

TEST(FileParts, AreReadBackFromTheirText)
{
    const FilePart part{"/edits//deep///film.otioz", 1048, 5242880};
    const std::string text = TextOfPart(part, "media/shot.mov");
    EXPECT_EQ(text, "/edits/deep/film.otioz//1048+5242880/media/shot.mov");
    EXPECT_EQ(ParseFilePart(text).mPath, "/edits/deep/film.otioz");
    EXPECT_EQ(ParseFilePart(text).mOffset, 1048);
    EXPECT_EQ(ParseFilePart(text).mSize, 5242880);
}

TEST(FileParts, AreNoOtherTexts)
{
    for (const char* const text :
         {"", "/", "//", "film", "/a/film.mov", "film//media.mov", "film//1+2", "film//+2/a", "film//1+/a",
          "film//-1+2/a", "film//1+-2/a", "film//1 +2/a", "//1+2/a", "film//99999999999999999999+1/a"})
    {
        EXPECT_EQ(ParseFilePart(text).mPath, text);
        EXPECT_EQ(ParseFilePart(text).mSize, -1) << text;
    }
}

TEST_F(MediaParts, GiveWayToAFileOfThatVeryPath)
{
    std::filesystem::create_directories(At("film/1+2"));
    WriteBytes(At("film/1+2/a"), BytesOf("a file"));
    EXPECT_EQ(ParseFilePart(At("film") + "//1+2/a").mSize, -1);
    EXPECT_EQ(ParseFilePart(At("film") + "//1+2/b").mSize, 2);
}

TEST_F(MediaParts, ReadNothingOfWhatIsAroundThem)
{
    WriteBytes(At("file"), BytesOf("0123456789"));
    OpenedPart part;
    ASSERT_TRUE(part.Open(At("file") + "//3+4/x"));
    EXPECT_EQ(part.Size(), 4);
    char bytes[16] = {};
    EXPECT_EQ(part.Read(bytes, sizeof bytes, 0), 4);
    EXPECT_EQ(std::string(bytes, 4), "3456");
    EXPECT_EQ(part.Read(bytes, sizeof bytes, 3), 1);
    EXPECT_EQ(bytes[0], '6');
    EXPECT_EQ(part.Read(bytes, sizeof bytes, 4), 0);
    EXPECT_EQ(part.Read(bytes, sizeof bytes, 1000), 0);
    EXPECT_EQ(part.Read(bytes, sizeof bytes, -1), -1);
    OpenedPart whole;
    ASSERT_TRUE(whole.Open(At("file")));
    EXPECT_EQ(whole.Size(), 10);
    EXPECT_EQ(whole.Read(bytes, sizeof bytes, 8), 2);
}

TEST_F(MediaParts, BeyondTheEndOfTheirFileAreNotThere)
{
    WriteBytes(At("file"), BytesOf("0123456789"));
    struct stat facts = {};
    ASSERT_TRUE(StatFilePart(At("file") + "//6+4/x", facts));
    EXPECT_EQ(facts.st_size, 4);
    for (const char* const part :
         {"//7+4/x", "//11+0/x", "//0+11/x", "//9223372036854775807+9223372036854775807/x"})
    {
        errno = 0;
        OpenedPart opened;
        EXPECT_FALSE(opened.Open(At("file") + part)) << part;
        EXPECT_EQ(errno, ENODATA) << part;
        EXPECT_FALSE(IdentifyFile(At("file") + part).mExists);
    }
    EXPECT_FALSE(StatFilePart(At("none") + "//0+1/x", facts));
}

TEST_F(MediaParts, AreOtherContentThanTheirNeighbours)
{
    WriteBytes(At("file"), BytesOf("0123456789"));
    const std::string first = At("file") + "//0+4/x";
    EXPECT_EQ(ContentIDOfFile(first, "d"), ContentIDOfFile(At(".") + "/file//0+4/x", "d"));
    EXPECT_NE(ContentIDOfFile(first, "d"), ContentIDOfFile(At("file") + "//4+4/x", "d"));
    EXPECT_NE(ContentIDOfFile(first, "d"), ContentIDOfFile(At("file"), "d"));
}

// In each way in which this host reads files: by a demuxer, by an index without pictures, raw, and as a still.
TEST_F(MediaParts, HaveTheFramesOfTheFilesThatTheyWere)
{
    const std::vector<std::int64_t> frames{0, 17, 3, 29, 28, 1, 12};
    std::vector<std::pair<std::string, std::string>> pairs;
    for (const std::string& path :
         {Movie("long.mov", "testsrc2", {"-c:v", "mpeg4", "-g", "12", "-bf", "2"}),
          Movie("each.mkv", "testsrc", {"-c:v", "ffv1"}), Movie("raw.avi", "testsrc2", {"-c:v", "rawvideo"})})
    {
        pairs.emplace_back(path, Bundle(path));
    }
    for (const auto& [path, text] : pairs)
    {
        const BE::IMediaInfoRef file = OpenOrFail(path);
        const BE::IMediaInfoRef part = OpenOrFail(text);
        ASSERT_TRUE(file && part) << text;
        const Bytes expected = PixelsAt(file, frames);
        EXPECT_GE(expected.size(), frames.size() * 64 * 48) << path;
        EXPECT_TRUE(PixelsAt(part, frames) == expected) << path;
    }
}

TEST_F(MediaParts, MayBeStills)
{
    EncodeNoise(At("card.png"));
    const std::string text = Bundle(At("card.png"));
    const BE::IMediaInfoRef part = OpenOrFail(text);
    ASSERT_TRUE(part);
    EXPECT_TRUE(part->IsStill());
    EXPECT_TRUE(PixelsAt(part, {0}) == PixelsAt(OpenOrFail(At("card.png")), {0}));
}

TEST_F(MediaParts, AreReadByThreadsAtOnce)
{
    const std::string first = Movie("a.mov", "testsrc2", {"-c:v", "mpeg4", "-g", "6"});
    const std::string second = Movie("b.avi", "testsrc", {"-c:v", "rawvideo"});
    const std::string texts[] = {Bundle(first), Bundle(second)};
    const std::vector<std::int64_t> frames{20, 3, 11, 29, 0};
    const Bytes expected[] = {PixelsAt(OpenOrFail(first), frames), PixelsAt(OpenOrFail(second), frames)};
    const BE::IMediaInfoRef shared = OpenOrFail(texts[0]);
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (std::size_t thread = 0; thread < 4; ++thread)
    {
        threads.emplace_back(
            [&, thread]
            {
                const std::size_t which = thread % 2;
                const BE::IMediaInfoRef media = which == 0 ? shared : OpenOrFail(texts[which]);
                wrong += PixelsAt(media, frames) == expected[which] ? 0 : 1;
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(wrong, 0);
}

TEST_F(MediaParts, OfADamagedFileFailWithAReason)
{
    const std::string text = Bundle(Movie("a.mov", "testsrc2", {"-c:v", "mpeg4"}));
    const std::string shifted = At("bundle") + "//5+900/a.mov";
    std::filesystem::resize_file(At("bundle"), 1500);
    for (const std::string& path : {text, shifted})
    {
        OpenError error;
        EXPECT_FALSE(OpenMedia(path, OpenOptions(), error)) << path;
        EXPECT_FALSE(error.mText.empty());
    }
}
