#include <filesystem>

#include <gtest/gtest.h>

#include "ReferenceHost/Media/FFmpeg/MediaFile.h"
#include "ReferenceHost/Media/FFmpeg/PictureChecksum.h"
#include "Tests/ReferenceHost/Media/LinearDecode.h"
#include "Tests/Support/ChildProcess.h"
#include "Tests/Support/Paths.h"

// Bare video, whose packets are read by their places in the file.
namespace
{

class DirectReader : public testing::Test
{
protected:
    void Open(const std::string& inPath)
    {
        Media::FileError error;
        mFile = Media::MediaFile::Open(inPath, Media::FileOptions(), error);
        ASSERT_TRUE(mFile) << error.text;
    }

    std::uint32_t Checksum(std::int64_t inRank)
    {
        const Media::FrameAnswer answer = mFile->GetFrame(inRank);
        EXPECT_EQ(answer.status, Media::FrameStatus::kOk) << answer.text;
        return answer.picture ? static_cast<std::uint32_t>(Media::PictureChecksum(*answer.picture)) : 0;
    }

    std::shared_ptr<Media::MediaFile> mFile;
};

TEST_F(DirectReader, PicturesLieInThePoolAndAreThoseOfALinearDecode)
{
    for (const char* name : {"raw_i420.avi", "raw_uyvy.avi"})
    {
        const std::string path = TestSupport::MediaPath(name);
        const std::vector<MediaTests::LinearFrame> linear = MediaTests::DecodeLinearly(path, 0);
        Open(path);
        ASSERT_GT(linear.size(), 4u);
        const auto last = static_cast<std::int64_t>(linear.size()) - 1;
        for (const std::int64_t rank :
             {std::int64_t{0}, std::int64_t{1}, last, last / 2, last - 1, std::int64_t{2}})
        {
            EXPECT_EQ(Checksum(rank),
                      static_cast<std::uint32_t>(linear[static_cast<std::size_t>(rank)].checksum))
                << name << " frame " << rank;
        }
        EXPECT_GT(mFile->Statistics().pictureBytes, 0) << name;
        EXPECT_EQ(mFile->Statistics().reopenings, 0u) << name;
    }
}

TEST_F(DirectReader, PacketsOfMatroskaAreReadFromWithinTheirBlocks)
{
    const TestSupport::ScratchFolder folder;
    const std::string path = folder.File("raw.mkv");
    TestSupport::ChildRequest request;
    request.words = {"ffmpeg", "-v",       "error", "-i",  TestSupport::MediaPath("raw_i420.avi"),
                     "-c:v",   "rawvideo", "-map",  "0:v", path};
    ASSERT_EQ(TestSupport::RunChild(request).exitCode, 0);
    const std::vector<MediaTests::LinearFrame> linear = MediaTests::DecodeLinearly(path, 0);
    Open(path);
    for (const std::int64_t rank : {3, 0, 1, 2, 4, 3})
    {
        EXPECT_EQ(Checksum(rank),
                  static_cast<std::uint32_t>(linear.at(static_cast<std::size_t>(rank)).checksum))
            << rank;
    }
    EXPECT_GT(mFile->Statistics().pictureBytes, 0);
    EXPECT_EQ(mFile->Statistics().reopenings, 0u);
}

TEST_F(DirectReader, AFileThatShrinksLosesTheFramesThatAreGoneAndNoOthers)
{
    const TestSupport::ScratchFolder folder;
    const std::string path = folder.File("copy.avi");
    std::filesystem::copy_file(TestSupport::MediaPath("raw_i420.avi"), path);
    Open(path);
    const std::uint32_t third = Checksum(2);
    Checksum(1);
    std::filesystem::resize_file(path, std::filesystem::file_size(path) / 2);
    const Media::FrameAnswer gone = mFile->GetFrame(mFile->FrameCount() - 1);
    EXPECT_EQ(gone.status, Media::FrameStatus::kDamaged);
    EXPECT_NE(gone.text.find("copy.avi"), std::string::npos) << gone.text;
    EXPECT_EQ(Checksum(2), third);
    EXPECT_NE(Checksum(3), 0u);
}

}
