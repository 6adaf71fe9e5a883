#include "ReferenceHost/Media/FFmpeg/IndexBuilder.h"

#include <gtest/gtest.h>

#include "ReferenceHost/Media/FFmpeg/FFmpegTypes.h"
#include "ReferenceHost/Media/FFmpeg/OrdinalSet.h"
#include "Tests/Support/Paths.h"

// Indices of packets as a test likes them, in the place of a real file's.
namespace
{

class IndexBuilder : public testing::Test
{
protected:
    void SetUp() override
    {
        Media::FileError error;
        ASSERT_TRUE(Media::OpenAndChoose(TestSupport::MediaPath("h264_b.mp4"), -1, nullptr, mInput, error))
            << error.text;
    }

    Media::FrameIndex Build(AVRational inTimeBase, const std::vector<std::int64_t>& inTimes)
    {
        mInput.Stream()->time_base = inTimeBase;
        mInput.Stream()->avg_frame_rate = {0, 1};
        mInput.Stream()->r_frame_rate = {0, 1};
        Media::PacketScan scan;
        AVPacket* packet = av_packet_alloc();
        for (const std::int64_t time : inTimes)
        {
            packet->pts = time;
            packet->dts = time;
            packet->pos = static_cast<std::int64_t>(scan.packets.Count()) * 100;
            packet->flags = AV_PKT_FLAG_KEY;
            scan.packets.Append(*packet, false);
        }
        av_packet_free(&packet);
        scan.packets.Finish();
        const Media::DecoderSetup setup;
        std::vector<std::string> notes;
        Media::FrameIndex index;
        std::string cause;
        EXPECT_TRUE(Media::IndexBuilder(setup, mInput, notes).Build(std::move(scan), index, cause)) << cause;
        return index;
    }

    Media::MediaInput mInput;
};

TEST_F(IndexBuilder, MeanRateIsThatOfTheWholeSpan)
{
    const Media::FrameIndex index = Build({1, 1000}, {0, 10, 400, 3000});
    EXPECT_FALSE(index.hasGrid);
    EXPECT_EQ(index.rate.num, 1);
    EXPECT_EQ(index.rate.den, 1);
}

// 2^34 + 1 units of 2^30 seconds: 64 bits hold what is left of their product, and it looks like a rate.
TEST_F(IndexBuilder, SpansPastCountingHaveNoMeanRate)
{
    const std::int64_t span = (std::int64_t{1} << 34) + 1;
    const Media::FrameIndex index = Build({1 << 30, 1}, {0, 7, span});
    EXPECT_FALSE(index.hasGrid);
    EXPECT_EQ(index.rate.num, 25);
    EXPECT_EQ(index.rate.den, 1);
    EXPECT_LE(index.frames[1].startTicks, index.frames[2].startTicks);
    EXPECT_LT(index.frames[2].startTicks, index.endTicks);
}

TEST(OrdinalSet, HoldsWhatItWasGivenInAnyOrder)
{
    const Media::OrdinalSet set({7, 3, 3, 64});
    for (std::uint32_t ordinal = 0; ordinal < 100; ++ordinal)
    {
        EXPECT_EQ(set.Contains(ordinal), ordinal == 3 || ordinal == 7 || ordinal == 64) << ordinal;
    }
    EXPECT_FALSE(Media::OrdinalSet({}).Contains(0));
}

// A day of frames behind one key frame. A search for each of them would not end before the test is given up.
TEST(OrdinalSet, AnswersForADayOfFrames)
{
    constexpr std::uint32_t kFrames = 25 * 24 * 3600;
    std::vector<std::uint32_t> ordinals;
    for (std::uint32_t ordinal = kFrames; ordinal-- > 0;)
    {
        if (ordinal % 3 != 0)
        {
            ordinals.push_back(ordinal);
        }
    }
    const Media::OrdinalSet set(ordinals);
    std::uint32_t missing = 0;
    for (std::uint32_t ordinal = 0; ordinal < kFrames; ++ordinal)
    {
        missing += set.Contains(ordinal) ? 0 : 1;
    }
    EXPECT_EQ(missing, kFrames / 3);
}

}
