#include "Applications/vrender/WritersSupport.h"

#include "Applications/vrender/ExitCodes.h"
#include "ReferenceHost/Session/LibraryMessages.h"

extern "C"
{
#include <libavformat/avformat.h>
#include <libavutil/imgutils.h>
#include <libavutil/md5.h>
}

#include <array>
#include <cstdio>
#include <mutex>

namespace vrender
{

namespace
{

constexpr std::int64_t kLargestRateTerm = 1000000000;

std::mutex sMessageMutex;
std::string sLastError;

// Media is read while output is written, and what damaged input makes its decoders say is no cause of a
// failure to write.
bool ComesFromReading(void* inContext)
{
    const AVClass* const kind = inContext ? *static_cast<const AVClass**>(inContext) : nullptr;
    if (kind == nullptr)
    {
        return false;
    }
    const AVClassCategory category = kind->get_category ? kind->get_category(inContext) : kind->category;
    return category == AV_CLASS_CATEGORY_DECODER || category == AV_CLASS_CATEGORY_DEMUXER;
}

void KeepMessage(void* inContext, int inLevel, const char* inFormat, va_list inArguments)
{
    if (ComesFromReading(inContext))
    {
        return;
    }
    std::array<char, 1024> text{};
    int printPrefix = 1;
    av_log_format_line2(inContext, inLevel, inFormat, inArguments, text.data(), static_cast<int>(text.size()),
                        &printPrefix);
    std::string line = text.data();
    // "[libx264 @ 0x55d0c2a0] text": the address means nothing to a reader.
    const std::size_t at = line.find(" @ 0x");
    const std::size_t bracket = line.find(']');
    if (line.rfind('[', 0) == 0 && at != std::string::npos && bracket != std::string::npos && at < bracket)
    {
        line = line.substr(1, at - 1) + ":" + line.substr(bracket + 1);
    }
    while (!line.empty() && (line.back() == '\n' || line.back() == '.' || line.back() == ' '))
    {
        line.pop_back();
    }
    const std::lock_guard<std::mutex> lock(sMessageMutex);
    // The first one tells the cause; what follows tells what came of it.
    if (sLastError.empty())
    {
        sLastError = line;
    }
}

// Fields lie interleaved in the pictures; only Motion JPEG codes them one after the other.
AVFieldOrder FieldOrderOf(norviktypes::FieldType inType, AVCodecID inCodec)
{
    const bool isSeparate = inCodec == AV_CODEC_ID_MJPEG;
    switch (inType)
    {
    case norviktypes::kFieldType_UpperFirst: return isSeparate ? AV_FIELD_TT : AV_FIELD_TB;
    case norviktypes::kFieldType_LowerFirst: return isSeparate ? AV_FIELD_BB : AV_FIELD_BT;
    default: return AV_FIELD_PROGRESSIVE;
    }
}

std::string Hexadecimal(const std::array<std::uint8_t, 16>& inBytes)
{
    constexpr const char* kDigits = "0123456789abcdef";
    std::string text;
    for (const std::uint8_t byte : inBytes)
    {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 15];
    }
    return text;
}

// Those of a list that hold RGB in whole bytes, with the list's end.
std::vector<AVPixelFormat> RGBFormats(const AVPixelFormat* inFormats)
{
    std::vector<AVPixelFormat> formats;
    for (const AVPixelFormat* format = inFormats; *format != AV_PIX_FMT_NONE; ++format)
    {
        const AVPixFmtDescriptor* descriptor = av_pix_fmt_desc_get(*format);
        if ((descriptor->flags & AV_PIX_FMT_FLAG_RGB) != 0 &&
            (descriptor->flags & AV_PIX_FMT_FLAG_PAL) == 0 && descriptor->comp[0].depth >= 8)
        {
            formats.push_back(*format);
        }
    }
    formats.push_back(AV_PIX_FMT_NONE);
    return formats;
}

struct Md5Deleter
{
    void operator()(AVMD5* inSum) const noexcept { av_free(inSum); }
};

} // namespace

void CatchFFmpegMessages()
{
    Session::ListenToLibraries(KeepMessage);
}

std::string LastFFmpegError(int inStatus)
{
    const std::lock_guard<std::mutex> lock(sMessageMutex);
    std::string text;
    text.swap(sLastError);
    if (text.empty())
    {
        std::array<char, AV_ERROR_MAX_STRING_SIZE> buffer{};
        av_strerror(inStatus, buffer.data(), buffer.size());
        text = buffer.data();
    }
    return text;
}

std::string FFmpegVersion()
{
    return av_version_info();
}

std::string FFmpegLicence()
{
    return avformat_license();
}

std::string FrameChecksum(const AVFrame& inFrame)
{
    const std::unique_ptr<AVMD5, Md5Deleter> sum(av_md5_alloc());
    if (!sum)
    {
        throw ToolError(ExitCode::kTryAgain, "out of memory");
    }
    av_md5_init(sum.get());
    const auto format = static_cast<AVPixelFormat>(inFrame.format);
    const AVPixFmtDescriptor* descriptor = av_pix_fmt_desc_get(format);
    const int planes = av_pix_fmt_count_planes(format);
    for (int plane = 0; plane < planes; ++plane)
    {
        const bool isChroma = plane == 1 || plane == 2;
        const int lines = isChroma ? -(-inFrame.height >> descriptor->log2_chroma_h) : inFrame.height;
        const auto bytes = static_cast<std::size_t>(av_image_get_linesize(format, inFrame.width, plane));
        for (int line = 0; line < lines; ++line)
        {
            av_md5_update(sum.get(),
                          inFrame.data[plane] + static_cast<std::ptrdiff_t>(line) * inFrame.linesize[plane],
                          bytes);
        }
    }
    std::array<std::uint8_t, 16> digest{};
    av_md5_final(sum.get(), digest.data());
    return Hexadecimal(digest);
}

const AVCodec* FindEncoder(const OutputDescription& inOutput, AVCodecID inUsual)
{
    const AVCodec* codec = inOutput.mCodec.empty() ? avcodec_find_encoder(inUsual)
                                                   : avcodec_find_encoder_by_name(inOutput.mCodec.c_str());
    if (codec == nullptr && !inOutput.mCodec.empty())
    {
        // "h264" names a format; any encoder of it will do.
        const AVCodecDescriptor* format = avcodec_descriptor_get_by_name(inOutput.mCodec.c_str());
        codec = format == nullptr ? nullptr : avcodec_find_encoder(format->id);
    }
    if (codec == nullptr)
    {
        const std::string name = inOutput.mCodec.empty() ? avcodec_get_name(inUsual) : inOutput.mCodec;
        throw ToolError(ExitCode::kCodecMissing, inOutput.mPath + ": no encoder '" + name +
                                                     "' in the FFmpeg libraries of this system");
    }
    if (codec->type != AVMEDIA_TYPE_VIDEO)
    {
        throw ToolError(ExitCode::kUsage,
                        inOutput.mPath + ": " + codec->name + " is not an encoder for pictures");
    }
    return codec;
}

AVPixelFormat PixelFormatByName(const std::string& inName)
{
    const AVPixelFormat format = av_get_pix_fmt(inName.c_str());
    if (format == AV_PIX_FMT_NONE)
    {
        throw ToolError(ExitCode::kUsage, "--pix-fmt: there is no pixel format '" + inName + "'");
    }
    return format;
}

AVPixelFormat ChoosePixelFormat(const OutputDescription& inOutput, const AVCodec* inEncoder, bool inIsStill)
{
    // Encoders of bare pictures take every format and list none.
    static constexpr AVPixelFormat kAny[] = {
        AV_PIX_FMT_YUV420P,     AV_PIX_FMT_YUV422P,     AV_PIX_FMT_YUV444P,  AV_PIX_FMT_YUV420P10LE,
        AV_PIX_FMT_YUV422P10LE, AV_PIX_FMT_YUV444P10LE, AV_PIX_FMT_YUVA420P, AV_PIX_FMT_YUVA444P,
        AV_PIX_FMT_BGRA,        AV_PIX_FMT_BGR0,        AV_PIX_FMT_RGB48LE,  AV_PIX_FMT_BGRA64LE,
        AV_PIX_FMT_GRAY8,       AV_PIX_FMT_NONE};
    const AVPixelFormat* offered = inEncoder->pix_fmts == nullptr ? kAny : inEncoder->pix_fmts;
    if (inOutput.mPixelFormat.empty())
    {
        const std::vector<AVPixelFormat> colours = RGBFormats(offered);
        const bool isRGB = inIsStill && colours.size() > 1;
        const AVPixelFormat nearest = PictureLayout::Nearest(isRGB ? colours.data() : offered, inOutput);
        if (nearest == AV_PIX_FMT_NONE)
        {
            throw ToolError(ExitCode::kUsage,
                            inOutput.mPath + ": " + inEncoder->name + " takes no plain pictures");
        }
        return nearest;
    }
    const AVPixelFormat wanted = PixelFormatByName(inOutput.mPixelFormat);
    if (inEncoder->pix_fmts == nullptr)
    {
        return wanted;
    }
    std::string names;
    for (const AVPixelFormat* format = offered; *format != AV_PIX_FMT_NONE; ++format)
    {
        if (*format == wanted)
        {
            return wanted;
        }
        names += std::string(" ") + av_get_pix_fmt_name(*format);
    }
    throw ToolError(ExitCode::kUsage, "--pix-fmt: " + std::string(inEncoder->name) + " doesn't take " +
                                          inOutput.mPixelFormat + ", but:" + names);
}

void DescribePictures(const OutputDescription& inOutput, const PictureLayout& inLayout,
                      AVCodecContext& ioContext)
{
    ioContext.pix_fmt = inLayout.Format();
    ioContext.width = inOutput.mWidth;
    ioContext.height = inOutput.mHeight;
    ioContext.sample_aspect_ratio = {static_cast<int>(inOutput.mPixelAspectRatio.GetNumerator()),
                                     static_cast<int>(inOutput.mPixelAspectRatio.GetDenominator())};
    // A mean of many unequal durations may need more digits than an encoder takes; every usual rate stays exact.
    av_reduce(&ioContext.framerate.num, &ioContext.framerate.den, inOutput.mRate.mNumerator,
              inOutput.mRate.mDenominator, kLargestRateTerm);
    ioContext.time_base = av_inv_q(ioContext.framerate);
    ioContext.color_primaries = inLayout.Colour().mPrimaries;
    ioContext.color_trc = inLayout.Colour().mTransfer;
    ioContext.colorspace = inLayout.Colour().mMatrix;
    ioContext.color_range = inLayout.Colour().mRange;
    ioContext.chroma_sample_location = inLayout.Siting();
    ioContext.field_order = FieldOrderOf(inOutput.mFieldType, ioContext.codec_id);
    if (norviktypes::IsInterlaced(inOutput.mFieldType))
    {
        ioContext.flags |= AV_CODEC_FLAG_INTERLACED_DCT | AV_CODEC_FLAG_INTERLACED_ME;
    }
    ioContext.thread_count = static_cast<int>(inOutput.mThreads);
}

bool IsJpeg(const AVCodec& inEncoder)
{
    return inEncoder.id == AV_CODEC_ID_MJPEG || inEncoder.id == AV_CODEC_ID_LJPEG;
}

bool IsRawOutput(const OutputDescription& inOutput)
{
    const std::size_t point = inOutput.mPath.rfind('.');
    const std::string suffix = point == std::string::npos ? "" : inOutput.mPath.substr(point);
    return inOutput.mFormat.empty() ? suffix == ".raw" || suffix == ".yuv" || suffix == ".bgra"
                                    : inOutput.mFormat == "raw" || inOutput.mFormat == "rawvideo";
}

bool KeepsFrameTimes(const OutputDescription& inOutput)
{
    return inOutput.mPath == "null:" || IsSequencePath(inOutput.mPath) || IsRawOutput(inOutput) ||
           MovieKeepsFrameTimes(inOutput);
}

std::unique_ptr<FrameWriter> CreateWriter(const OutputDescription& inOutput)
{
    CatchFFmpegMessages();
    if (inOutput.mPath == "null:")
    {
        return CreateNullWriter(inOutput);
    }
    if (IsSequencePath(inOutput.mPath))
    {
        const std::string path = inOutput.mPath;
        const std::int64_t first = inOutput.mFirstNumber;
        return CreateStillsWriter(inOutput, [path, first](std::int64_t inIndex)
                                  { return SequencePath(path, first + inIndex); });
    }
    return IsRawOutput(inOutput) ? CreateRawWriter(inOutput) : CreateMovieWriter(inOutput);
}

} // namespace vrender
