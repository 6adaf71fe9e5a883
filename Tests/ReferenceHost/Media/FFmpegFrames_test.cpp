#include <random>

#include <gtest/gtest.h>

#include "FFmpegClips.h"
#include "LinearDecode.h"
#include "ReferenceHost/Media/FFmpeg/PictureChecksum.h"
#include "Tests/Support/Paths.h"
#include "Tests/Support/Scale.h"

namespace
{

class FFmpegClip : public testing::TestWithParam<std::string>
{
protected:
    void SetUp() override
    {
        Media::FileOptions options;
        options.decoderThreads = 2;
        mFile = MediaTests::OpenClip(GetParam(), options);
        ASSERT_TRUE(mFile);
        mLinear = MediaTests::DecodeLinearly(TestSupport::MediaPath(GetParam()), mFile->Facts().streamIndex,
                                             MediaTests::DecoderFor(GetParam()));
        ASSERT_EQ(mFile->FrameCount(), static_cast<std::int64_t>(mLinear.size()));
    }

    void ExpectFrame(std::int64_t inRank)
    {
        const Media::FrameAnswer answer = mFile->GetFrame(inRank);
        ASSERT_EQ(answer.status, Media::FrameStatus::kOk) << answer.text;
        ASSERT_EQ(Media::PictureChecksum(*answer.picture), mLinear[static_cast<std::size_t>(inRank)].checksum)
            << "frame " << inRank;
    }

    std::shared_ptr<Media::MediaFile> mFile;
    std::vector<MediaTests::LinearFrame> mLinear;
};

TEST_P(FFmpegClip, FirstMiddleLastAndRandomFramesEqualALinearDecode)
{
    const std::int64_t count = mFile->FrameCount();
    for (const std::int64_t rank : {std::int64_t{0}, std::int64_t{1} % count, count / 2, count - 1})
    {
        ExpectFrame(rank);
    }
    std::mt19937_64 random(TestSupport::Seed());
    for (int step = 0; step < 50 && !HasFailure(); ++step)
    {
        ExpectFrame(static_cast<std::int64_t>(random() % static_cast<std::uint64_t>(count)));
    }
    // Only where the container names no time to seek to is a file read from its start.
    EXPECT_TRUE(mFile->Statistics().reopenings == 0 || GetParam() == "negative.mkv");
}

TEST_P(FFmpegClip, BackwardsEqualsALinearDecode)
{
    for (std::int64_t rank = mFile->FrameCount() - 1; rank >= 0 && !HasFailure(); --rank)
    {
        ExpectFrame(rank);
    }
}

TEST_P(FFmpegClip, ForwardsEqualsALinearDecodeAndDecodesEachFrameOnce)
{
    for (std::int64_t rank = 0; rank < mFile->FrameCount() && !HasFailure(); ++rank)
    {
        ExpectFrame(rank);
    }
    const Media::FileStatistics statistics = mFile->Statistics();
    EXPECT_LE(statistics.framesDecoded, mLinear.size() + 8); // and what a cut leaves undisplayed
    EXPECT_EQ(statistics.decoders, 1u);
}

TEST_P(FFmpegClip, TimesAreThoseOfTheContainer)
{
    EXPECT_EQ(mFile->StartTicks(0), 0);
    for (std::int64_t rank = 0; rank < mFile->FrameCount(); ++rank)
    {
        const std::int64_t start = mFile->StartTicks(rank);
        ASSERT_EQ(mFile->RankAt(start), rank);
        ASSERT_EQ(mFile->RankAt(mFile->StartTicks(rank + 1) - 1), rank);
    }
    EXPECT_EQ(mFile->RankAt(-1), 0);
    EXPECT_EQ(mFile->RankAt(mFile->StartTicks(mFile->FrameCount())), -1);
}

INSTANTIATE_TEST_SUITE_P(Clips, FFmpegClip, testing::ValuesIn(MediaTests::ClipNames()),
                         [](const testing::TestParamInfo<std::string>& inInfo)
                         { return MediaTests::TestName(inInfo.param); });

}
