#include "Applications/vrender/WritersSupport.h"

#include <gtest/gtest.h>

using namespace vrender;

namespace
{

FFmpegOwner<AVCodecContext> ContextOf(const AVCodec* inCodec)
{
    return FFmpegOwner<AVCodecContext>(avcodec_alloc_context3(inCodec));
}

} // namespace

TEST(LastFFmpegError, WhatDecodersSayIsNoCauseOfAFailureToWrite)
{
    const FFmpegOwner<AVCodecContext> decoder = ContextOf(avcodec_find_decoder(AV_CODEC_ID_PNG));
    const FFmpegOwner<AVCodecContext> encoder = ContextOf(avcodec_find_encoder(AV_CODEC_ID_PNG));
    ASSERT_TRUE(decoder && encoder);
    CatchFFmpegMessages();
    LastFFmpegError(0);
    av_log(decoder.get(), AV_LOG_ERROR, "the input is damaged\n");
    av_log(encoder.get(), AV_LOG_ERROR, "the output doesn't fit\n");
    const std::string text = LastFFmpegError(AVERROR(EINVAL));
    EXPECT_EQ(text.find("damaged"), std::string::npos) << text;
    EXPECT_NE(text.find("the output doesn't fit"), std::string::npos) << text;
}
