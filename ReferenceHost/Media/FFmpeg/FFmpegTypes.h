#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "ReferenceHost/Foundation/RaceDetector.h"

extern "C"
{
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/avutil.h>
#include <libavutil/pixdesc.h>
}

// Owners for the objects of FFmpeg, and its errors as text. Seen by the sources of this folder only.
//
// Thread-safety: the functions are safe; an owner belongs to one thread at a time.
namespace Media
{

struct FormatContextCloser
{
    void operator()(AVFormatContext* inContext) const noexcept { avformat_close_input(&inContext); }
};

struct CodecContextFreer
{
    void operator()(AVCodecContext* inContext) const noexcept { avcodec_free_context(&inContext); }
};

// What stands for a picture wherever its references go; null where it has none.
inline void* PixelsOf(const AVFrame& inFrame) noexcept
{
    return inFrame.buf[0] ? inFrame.buf[0]->data : nullptr;
}

struct FrameFreer
{
    void operator()(AVFrame* inFrame) const noexcept
    {
        // The last reference may go elsewhere, and the picture's memory with it.
        Foundation::HandOver(inFrame ? PixelsOf(*inFrame) : nullptr);
        av_frame_free(&inFrame);
    }
};

struct PacketFreer
{
    void operator()(AVPacket* inPacket) const noexcept { av_packet_free(&inPacket); }
};

using FormatContextPtr = std::unique_ptr<AVFormatContext, FormatContextCloser>;
using CodecContextPtr = std::unique_ptr<AVCodecContext, CodecContextFreer>;
using FramePtr = std::unique_ptr<AVFrame, FrameFreer>;
using PacketPtr = std::unique_ptr<AVPacket, PacketFreer>;

// The text of an AVERROR, with the last line that the libraries logged on this thread where there is one: it
// names the cause far better than the error's own text ("moov atom not found" against "invalid data").
std::string ErrorText(int inError);

// Takes the libraries' log lines away from stderr and keeps the last one of each thread for ErrorText.
// Idempotent.
void CaptureLog();
void ForgetLogLine();

}
