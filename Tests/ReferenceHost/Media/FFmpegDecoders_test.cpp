#include <vector>

#include <gtest/gtest.h>

#include "FFmpegClips.h"
#include "LinearDecode.h"
#include "ReferenceHost/Media/FFmpeg/PictureChecksum.h"
#include "Tests/Support/Paths.h"

// How much is decoded for what is asked, and by which decoder.
namespace
{

class FFmpegDecoders : public testing::Test
{
protected:
    static std::shared_ptr<Media::MediaFile> Open(const std::string& inName,
                                                  std::int64_t inCacheBytes = 512 << 20)
    {
        return MediaTests::OpenClipWithCache(inName, inCacheBytes);
    }

    static void Step(Media::MediaFile& ioFile, std::int64_t inFrom, std::int64_t inTo)
    {
        const std::int64_t step = inFrom <= inTo ? 1 : -1;
        for (std::int64_t rank = inFrom; rank != inTo + step; rank += step)
        {
            const Media::FrameAnswer answer = ioFile.GetFrame(rank);
            ASSERT_EQ(answer.status, Media::FrameStatus::kOk) << answer.text;
        }
    }
};

// h264_long.mp4: a group of 250 pictures, and the start of another.
constexpr std::int64_t kGroup = 250;

TEST_F(FFmpegDecoders, BackwardStepsOverAGroupDecodeItOnceWithRoomForIt)
{
    const auto file = Open("h264_long.mp4");
    Step(*file, kGroup - 1, 0);
    EXPECT_LE(file->Statistics().framesDecoded, kGroup * 13 / 10);
}

TEST_F(FFmpegDecoders, BackwardStepsOverAGroupDecodeLittleMoreThanTwiceWithRoomForThirtyPercent)
{
    const auto probe = Open("h264_long.mp4");
    Step(*probe, 0, 0);
    const Media::FileStatistics first = probe->Statistics();
    // What a picture takes, by those that went through the cache; and room for 75 beside the decoder's own.
    const std::int64_t picture = first.cachedBytes;
    ASSERT_GT(picture, 0);
    const auto file = Open("h264_long.mp4", picture * (75 + 12));
    Step(*file, kGroup - 1, 0);
    EXPECT_LE(file->Statistics().framesDecoded, kGroup * 22 / 10);
    EXPECT_LE(file->Statistics().cachedBytes, picture * (75 + 12));
}

TEST_F(FFmpegDecoders, ForwardRunReusesItsPictures)
{
    const auto file = Open("h264_long.mp4");
    Step(*file, 0, 60);
    const std::uint64_t warm = file->Statistics().freshPictures;
    Step(*file, 61, 259);
    EXPECT_EQ(file->Statistics().freshPictures, warm);
    EXPECT_EQ(file->Statistics().seeks, 0u + 1u);
}

TEST_F(FFmpegDecoders, TwoReadersSideBySideKeepADecoderEach)
{
    const auto file = Open("h264_b.mp4");
    std::int64_t left = 0;
    std::int64_t right = 50;
    for (int step = 0; step < 45; ++step)
    {
        Step(*file, left + step, left + step);
        Step(*file, right + step, right + step);
    }
    const Media::FileStatistics statistics = file->Statistics();
    EXPECT_EQ(statistics.decoders, 2u);
    EXPECT_LE(statistics.seeks, 3u);
    EXPECT_LE(statistics.framesDecoded, 45u + 55u + 10u); // the right one starts at the key frame 40
}

TEST_F(FFmpegDecoders, ThreeReadersSideBySideKeepADecoderEach)
{
    const auto file = Open("h264_long.mp4");
    for (int step = 0; step < 60; ++step)
    {
        Step(*file, step, step);
        Step(*file, 80 + step, 80 + step);
        Step(*file, 160 + step, 160 + step);
    }
    const Media::FileStatistics statistics = file->Statistics();
    EXPECT_LE(statistics.decoders, 4u);
    EXPECT_LE(statistics.seeks, 6u);
    EXPECT_LE(statistics.framesDecoded, 60u + 140u + 220u + 160u);
}

TEST_F(FFmpegDecoders, SecondRequestComesFromTheCache)
{
    const auto file = Open("h264_b.mp4");
    EXPECT_EQ(file->TryGetFrame(30).status, Media::FrameStatus::kNotReady);
    const Media::FrameAnswer first = file->GetFrame(30);
    const std::uint64_t decoded = file->Statistics().framesDecoded;
    const Media::FrameAnswer second = file->TryGetFrame(30);
    EXPECT_EQ(second.picture, first.picture);
    EXPECT_EQ(file->Statistics().framesDecoded, decoded);
    EXPECT_EQ(file->Statistics().cacheHits, 1u);
}

TEST_F(FFmpegDecoders, BudgetHoldsWhateverIsAsked)
{
    const std::int64_t budget = 1 << 20; // about 40 pictures of the clip, those in decoders included
    const auto file = Open("h264_b.mp4", budget);
    for (const std::int64_t rank : {39, 99, 79, 20, 98, 1, 60, 38})
    {
        Step(*file, rank, rank);
        EXPECT_LE(file->Statistics().cachedBytes, budget);
    }
}

TEST_F(FFmpegDecoders, SingleLooksDecodeOnlyWhatTheyNeed)
{
    const std::vector<MediaTests::LinearFrame> linear =
        MediaTests::DecodeLinearly(TestSupport::MediaPath("h264_long.mp4"), 0);
    Media::FileOptions options;
    options.keepsLeadIn = false;
    const auto file = MediaTests::OpenClip("h264_long.mp4", options);
    ASSERT_TRUE(file);
    for (const std::int64_t rank : {240, 120, 245, 33})
    {
        const Media::FrameAnswer answer = file->GetFrame(rank);
        ASSERT_EQ(answer.status, Media::FrameStatus::kOk) << answer.text;
        EXPECT_EQ(Media::PictureChecksum(*answer.picture), linear[static_cast<std::size_t>(rank)].checksum)
            << rank;
    }
    // Of what lies before a target, pictures that nothing refers to are left out.
    EXPECT_LE(file->Statistics().framesDecoded, (240u + 120u + 245u + 33u) * 8 / 10);
}

// Later pictures of this clip refer to pictures that are shown between others.
TEST_F(FFmpegDecoders, PicturesThatOthersReferToAreNotLeftOut)
{
    const std::vector<MediaTests::LinearFrame> linear =
        MediaTests::DecodeLinearly(TestSupport::MediaPath("h264_pyramid.mp4"), 0);
    for (const std::int64_t rank : {40, 66, 91, 115})
    {
        Media::FileOptions options;
        options.keepsLeadIn = false;
        const auto file = MediaTests::OpenClip("h264_pyramid.mp4", options);
        ASSERT_TRUE(file);
        const Media::FrameAnswer answer = file->GetFrame(rank);
        ASSERT_EQ(answer.status, Media::FrameStatus::kOk) << answer.text;
        EXPECT_EQ(Media::PictureChecksum(*answer.picture), linear[static_cast<std::size_t>(rank)].checksum)
            << rank;
    }
}

TEST_F(FFmpegDecoders, EveryFrameOfOpenGroupsTakesOneSeek)
{
    for (const char* name : {"h264_open.ts", "hevc_open.ts", "mpeg2_interlaced.ts"})
    {
        for (std::int64_t rank = 0; rank < 60; ++rank)
        {
            const auto file = Open(name);
            const std::uint64_t before = file->Statistics().seeks; // opening may look at the first frame
            Step(*file, rank, rank);
            EXPECT_LE(file->Statistics().seeks - before, 1u) << name << " " << rank;
        }
    }
}

TEST_F(FFmpegDecoders, ShortBudgetChangesNoPicture)
{
    for (const char* name :
         {"h264_open.ts", "h264_long.mp4", "mpeg2_interlaced.ts", "mpeg4_b.avi", "hevc_open.ts"})
    {
        const std::vector<MediaTests::LinearFrame> linear =
            MediaTests::DecodeLinearly(TestSupport::MediaPath(name), 0);
        const auto file = Open(name, 512 << 10);
        ASSERT_TRUE(file);
        for (std::int64_t rank = file->FrameCount() - 1; rank >= 0; --rank)
        {
            const Media::FrameAnswer answer = file->GetFrame(rank);
            ASSERT_EQ(answer.status, Media::FrameStatus::kOk) << answer.text;
            ASSERT_EQ(Media::PictureChecksum(*answer.picture),
                      linear[static_cast<std::size_t>(rank)].checksum)
                << name << " frame " << rank;
        }
    }
}

TEST_F(FFmpegDecoders, PastEndAndBeforeStartAreNoFrames)
{
    const auto file = Open("h264_b.mp4");
    EXPECT_EQ(file->GetFrame(100).status, Media::FrameStatus::kPastEnd);
    EXPECT_EQ(file->GetFrame(-1).status, Media::FrameStatus::kPastEnd);
}

TEST_F(FFmpegDecoders, CancelEndsRequests)
{
    const auto file = Open("h264_b.mp4");
    file->Cancel();
    const Media::FrameAnswer answer = file->GetFrame(50);
    EXPECT_EQ(answer.status, Media::FrameStatus::kCancelled);
    EXPECT_NE(answer.text.find("h264_b.mp4"), std::string::npos);
}

}
