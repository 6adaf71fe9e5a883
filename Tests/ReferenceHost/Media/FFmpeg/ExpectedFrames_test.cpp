#include "ReferenceHost/Media/FFmpeg/FFmpegVideoSource.h"
#include "ReferenceHost/Media/FFmpeg/PictureChecksum.h"
#include "ReferenceHost/Media/IMediaFacts.h"
#include "Tests/ReferenceHost/Media/FFmpegClips.h"
#include "Tests/ReferenceHost/Media/LinearDecode.h"
#include "Tests/Support/Paths.h"
#include "Tests/Support/Scale.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

// What is saved where it's known beforehand which frames will be asked for, and that it changes no picture.
namespace
{

using Ranks = std::vector<std::int64_t>;

class ExpectedFrames : public testing::Test
{
protected:
    void Open(const std::string& inName, int inMaximumDecoders = 4, std::int64_t inCacheBytes = 512 << 20)
    {
        Media::FileOptions options;
        options.maximumDecoders = inMaximumDecoders;
        options.cacheBytes = inCacheBytes;
        mFile = MediaTests::OpenClip(inName, options);
        ASSERT_TRUE(mFile);
        mLinear = MediaTests::DecodeLinearly(TestSupport::MediaPath(inName), 0);
    }

    void Expect(const Ranks& inRanks)
    {
        std::vector<Media::FrameRun> runs;
        for (const std::int64_t rank : inRanks)
        {
            runs.push_back({rank, rank + 1});
        }
        mFile->Expect(runs);
    }

    void Ask(const Ranks& inRanks)
    {
        for (const std::int64_t rank : inRanks)
        {
            const Media::FrameAnswer answer = mFile->GetFrame(rank);
            ASSERT_EQ(answer.status, Media::FrameStatus::kOk) << answer.text;
            ASSERT_EQ(Media::PictureChecksum(*answer.picture),
                      mLinear[static_cast<std::size_t>(rank)].checksum)
                << "frame " << rank;
        }
    }

    std::uint64_t Decoded() const { return mFile->Statistics().framesDecoded; }

    std::shared_ptr<Media::MediaFile> mFile;
    std::vector<MediaTests::LinearFrame> mLinear;
};

Ranks Between(std::int64_t inBegin, std::int64_t inEnd)
{
    Ranks ranks;
    for (std::int64_t rank = inBegin; rank < inEnd; ++rank)
    {
        ranks.push_back(rank);
    }
    return ranks;
}

} // namespace

TEST_F(ExpectedFrames, OnTheWayToAnInPointOnlyWhatOthersReferToIsDecoded)
{
    Open("h264_long.mp4");
    mFile->Expect({{200, 210}});
    Ask(Between(200, 210));
    EXPECT_LE(Decoded(), 200u * 7 / 10 + 10u);
    EXPECT_EQ(mFile->Statistics().unexpected, 0u);
}

TEST_F(ExpectedFrames, OfTheWayToAnInPointNothingIsKept)
{
    Open("h264_long.mp4");
    mFile->Expect({{200, 210}});
    Ask({200});
    for (const std::int64_t rank : Between(0, 200))
    {
        EXPECT_EQ(mFile->TryGetFrame(rank).status, Media::FrameStatus::kNotReady) << rank;
    }
}

TEST_F(ExpectedFrames, FramesOfAGroupInAnyOrderTakeOneRunOverIt)
{
    const Ranks asked = {120, 240, 13, 245, 33, 200, 90, 7, 160};
    Open("h264_long.mp4");
    Expect(asked);
    Ask(asked);
    EXPECT_LE(Decoded(), 250u);
    EXPECT_EQ(mFile->Statistics().seeks, 1u);
}

// Groups of 40 pictures.
TEST_F(ExpectedFrames, ADecoderMakesTheRestOfItsGroupBeforeItLeaves)
{
    const Ranks asked = {5, 45, 85, 30, 70, 95, 60, 98};
    Open("h264_b.mp4", 1);
    Expect(asked);
    Ask(asked);
    EXPECT_EQ(mFile->Statistics().seeks, 3u);
    EXPECT_LE(Decoded(), 100u);
}

TEST_F(ExpectedFrames, MoreThanIsWorthKeepingIsNotMadeBeforehand)
{
    Open("h264_b.mp4", 1);
    mFile->Expect({{0, 40}, {85, 86}});
    Ask({0});
    const std::uint64_t before = Decoded();
    Ask({85});
    EXPECT_LE(Decoded() - before, 10u);
}

TEST_F(ExpectedFrames, MoreThanThereIsRoomForIsNotMadeBeforehand)
{
    Open("h264_b.mp4", 1, 1 << 20);
    mFile->Expect({{0, 20}, {85, 86}});
    Ask({0});
    const std::uint64_t before = Decoded();
    Ask({85});
    EXPECT_LE(Decoded() - before, 10u);
}

// As many as there's room for, of which there is less than on the way from one to the other.
TEST_F(ExpectedFrames, OfTheWayToAFrameThoseThatAreExpectedAreKept)
{
    Open("h264_long.mp4", 1, 3 << 19);
    mFile->Expect({{0, 1}, {100, 104}, {200, 204}});
    Ask({0, 200, 100, 103});
    EXPECT_EQ(mFile->Statistics().seeks, 1u);
    EXPECT_LE(Decoded(), 204u);
}

TEST_F(ExpectedFrames, WhatIsAtHandIsNotMadeAgainBeforeADecoderLeaves)
{
    Open("h264_b.mp4", 1);
    Expect({30, 45});
    Ask({30});
    Expect({2, 30, 45});
    Ask({2});
    const std::uint64_t before = Decoded();
    Ask({45});
    EXPECT_LE(Decoded() - before, 8u);
}

// Groups of 40 pictures. A reader's decoder is taken from it only where it will find what it passes.
TEST_F(ExpectedFrames, AReadersDecoderRunsAheadInItsGroupAlone)
{
    const Ranks reader = Between(30, 36);
    for (const bool isInGroup : {true, false})
    {
        Open("h264_b.mp4", 2);
        Ranks expected = isInGroup ? Between(3, 9) : reader;
        expected.push_back(isInGroup ? 36 : 62);
        Expect(expected);
        Ask(expected);
        EXPECT_EQ(mFile->Statistics().decoders, isInGroup ? 1u : 2u);
    }
}

TEST_F(ExpectedFrames, BackwardStepsOverWhatIsExpectedDecodeItOnce)
{
    Open("h264_long.mp4");
    mFile->Expect({{100, 200}});
    Ranks asked = Between(100, 200);
    std::reverse(asked.begin(), asked.end());
    Ask(asked);
    EXPECT_EQ(mFile->Statistics().seeks, 1u);
    EXPECT_LE(Decoded(), 200u);
}

TEST_F(ExpectedFrames, FramesThatNobodyExpectedAreMadeAsWell)
{
    Open("h264_long.mp4");
    mFile->Expect({{100, 110}});
    Ask({100, 40, 109, 131, 3, 132, 259, 0});
    EXPECT_EQ(mFile->Statistics().unexpected, 4u); // their neighbours count as expected from then on
}

TEST_F(ExpectedFrames, WhatLiesOutsideOfTheStreamIsPassedOver)
{
    Open("h264_b.mp4");
    mFile->Expect({{-10, 1}, {99, 1000}, {2000, 3000}, {50, 40}});
    Ask({0, 99});
    EXPECT_EQ(mFile->Statistics().unexpected, 0u);
    Ask({50});
    EXPECT_EQ(mFile->Statistics().unexpected, 1u);
}

TEST_F(ExpectedFrames, TimesStandForTheFramesThatTheyTouch)
{
    Open("h264_b.mp4");
    const BE::IVideoSourceRef source(new Media::FFmpegVideoSource(mFile, TVK::Guid(0x457870, 0x656374)));
    norviktypes::FrameRate rate;
    source->GetFrameRate(rate);
    const auto at = [&](std::int64_t inFrame) { return norviktypes::TickTime::FromFrame(inFrame, rate); };
    const Media::IFrameExpectationsRef expectations(source);
    ASSERT_TRUE(expectations);
    expectations->Expect({{at(10), at(12)}, {at(95), at(200)}, {at(300), at(301)}});
    Ask({10, 11, 95, 99});
    EXPECT_EQ(mFile->Statistics().unexpected, 0u);
    Ask({12});
    EXPECT_EQ(mFile->Statistics().unexpected, 1u);
}

TEST_F(ExpectedFrames, OnceNothingIsKnownAnyMoreAllThatIsPassedIsKept)
{
    Open("h264_long.mp4");
    mFile->Expect({{240, 241}});
    mFile->Expect({});
    Ask({100});
    EXPECT_EQ(mFile->TryGetFrame(99).status, Media::FrameStatus::kOk);
}

TEST_F(ExpectedFrames, WhateverIsExpectedAndAskedChangesNoPicture)
{
    std::mt19937_64 random(TestSupport::Seed());
    const auto below = [&](std::int64_t inEnd)
    { return static_cast<std::int64_t>(random() % static_cast<std::uint64_t>(inEnd)); };
    for (const char* name : {"h264_b.mp4", "h264_pyramid.mp4", "h264_open.ts", "mpeg4_b.avi",
                             "mpeg2_interlaced.ts", "hevc_open.ts"})
    {
        for (std::size_t round = 0; round < TestSupport::ScaledCount(4); ++round)
        {
            SCOPED_TRACE(std::string(name) + ", round " + std::to_string(round));
            Open(name, 1 + static_cast<int>(round % 3), round % 2 == 0 ? 512 << 20 : 1 << 20);
            const std::int64_t count = mFile->FrameCount();
            std::vector<Media::FrameRun> runs;
            Ranks asked = {below(count), below(count)};
            for (int piece = 0; piece < 4; ++piece)
            {
                const std::int64_t begin = below(count);
                runs.push_back({begin, std::min(count, begin + 1 + below(12))});
                const Ranks ranks = Between(runs.back().begin, runs.back().end);
                asked.insert(asked.end(), ranks.begin(), ranks.end());
            }
            if (round % 2 == 0)
            {
                std::shuffle(asked.begin(), asked.end(), random);
            }
            mFile->Expect(runs);
            Ask(asked);
        }
    }
}
