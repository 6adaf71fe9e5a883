#include "ReferenceHost/Media/FFmpeg/DecoderBudget.h"

#include <gtest/gtest.h>

#include "ReferenceHost/Media/FFmpeg/FFmpegTypes.h"

namespace
{

using Media::DecoderNeeds;

constexpr std::int64_t kMebibyte = std::int64_t{1} << 20;

DecoderNeeds NeedsOf(AVCodecID inCodec, int inWidth, int inHeight, std::uint32_t inPackets = 0)
{
    AVCodecParameters* parameters = avcodec_parameters_alloc();
    parameters->codec_id = inCodec;
    parameters->format = AV_PIX_FMT_YUV420P;
    parameters->width = inWidth;
    parameters->height = inHeight;
    const DecoderNeeds needs = Media::NeedsOf(*avcodec_find_decoder(inCodec), *parameters, inPackets);
    avcodec_parameters_free(&parameters);
    return needs;
}

TEST(DecoderBudget, CountsReferencesAndTablesOnlyWherePicturesReferToOthers)
{
    const DecoderNeeds inter = NeedsOf(AV_CODEC_ID_H264, 1920, 1080);
    const DecoderNeeds bare = NeedsOf(AV_CODEC_ID_RAWVIDEO, 1920, 1080);
    EXPECT_EQ(inter.pictureBytes, 1920 * 1080 * 3 / 2);
    EXPECT_EQ(bare.pictureBytes, inter.pictureBytes);
    EXPECT_GT(Media::BytesOfDecoder(inter, 1), 4 * inter.pictureBytes);
    EXPECT_EQ(Media::BytesOfDecoder(bare, 1), bare.pictureBytes);
    // Threads that share a picture don't hold one each.
    EXPECT_EQ(Media::BytesOfDecoder(bare, 8), bare.pictureBytes);
    EXPECT_GE(Media::BytesOfDecoder(inter, 8), Media::BytesOfDecoder(inter, 1) + 7 * inter.pictureBytes);
}

TEST(DecoderBudget, GivesAllThreadsWhereThereIsRoomAndOneWhereThereIsNone)
{
    const DecoderNeeds needs = NeedsOf(AV_CODEC_ID_H264, 3840, 2160);
    EXPECT_EQ(Media::ThreadsWithin(needs, 8, 1000 * kMebibyte), 8);
    EXPECT_EQ(Media::ThreadsWithin(needs, 2, 225 * kMebibyte), 2);
    EXPECT_EQ(Media::ThreadsWithin(needs, 8, kMebibyte), 1);
    EXPECT_EQ(Media::ThreadsWithin(needs, 0, 1000 * kMebibyte), 1);
}

TEST(DecoderBudget, ThreadsAndClientsPicturesFitTogether)
{
    const DecoderNeeds needs = NeedsOf(AV_CODEC_ID_H264, 1920, 1080);
    for (std::int64_t bytes = 64 * kMebibyte; bytes <= 512 * kMebibyte; bytes += 16 * kMebibyte)
    {
        for (const int wanted : {2, 4, 8, 16, 32})
        {
            const int threads = Media::ThreadsWithin(needs, wanted, bytes);
            EXPECT_LE(threads, wanted);
            EXPECT_TRUE(threads == 1 ||
                        Media::BytesOfDecoder(needs, threads) + wanted * needs.pictureBytes <= bytes)
                << wanted << " threads, " << bytes;
        }
    }
}

TEST(DecoderBudget, DecodersMultiply)
{
    const DecoderNeeds needs = NeedsOf(AV_CODEC_ID_H264, 1920, 1080);
    const std::int64_t one = Media::BytesOfDecoder(needs, 4);
    const std::int64_t room = 3 * one + Media::kLeastPicturesKept * needs.pictureBytes;
    EXPECT_TRUE(Media::DecodersFit(needs, 3, 4, room));
    EXPECT_FALSE(Media::DecodersFit(needs, 4, 4, room));
    EXPECT_FALSE(Media::DecodersFit(needs, 3, 5, room));
}

// Every decoder opens the file, and has the container's tables of a day of frames in memory.
TEST(DecoderBudget, LongFilesCostMoreToOpen)
{
    const DecoderNeeds needs = NeedsOf(AV_CODEC_ID_H264, 320, 180, 25 * 24 * 3600);
    EXPECT_GT(Media::BytesOfDecoder(needs, 1), 80 * kMebibyte);
    EXPECT_FALSE(Media::DecodersFit(needs, 2, 1, 180 * kMebibyte));
}

}
