#include "ReferenceHost/Media/FFmpeg/MediaInput.h"

#include <cerrno>
#include <cstring>
#include <sys/stat.h>
#include <vector>

#include <fmt/format.h>

#include "ReferenceHost/Media/FFmpeg/HollowFile.h"
#include "ReferenceHost/Media/FFmpeg/PartInput.h"

extern "C"
{
#include <libavutil/avstring.h>
#include <libavutil/imgutils.h>
}

namespace Media
{

namespace
{

int IsInterrupted(void* inFlag)
{
    return static_cast<const InterruptFlag*>(inFlag)->raised.load(std::memory_order_relaxed) ? 1 : 0;
}

FileErrorKind KindOfOpenError(int inError)
{
    switch (inError)
    {
    case AVERROR(ENOENT):
    case AVERROR(ENOTDIR):
    case AVERROR(EACCES):
    case AVERROR(EPERM):
    case AVERROR(ELOOP):
    case AVERROR(ENAMETOOLONG): return FileErrorKind::kNoInput;
    case AVERROR(EIO): return FileErrorKind::kIOError;
    case AVERROR_DECODER_NOT_FOUND: return FileErrorKind::kCodecMissing;
    default: return FileErrorKind::kBadData;
    }
}

bool CheckFile(const std::string& inPath, FileError& outError)
{
    struct stat facts = {};
    if (!StatFilePart(inPath, facts))
    {
        outError = {KindOfOpenError(AVERROR(errno)), fmt::format("{}: {}", inPath, std::strerror(errno))};
        return false;
    }
    if (S_ISDIR(facts.st_mode))
    {
        outError = {FileErrorKind::kBadData, fmt::format("{}: is a directory, not a media file", inPath)};
        return false;
    }
    if (!S_ISREG(facts.st_mode))
    {
        outError = {FileErrorKind::kBadData,
                    fmt::format("{}: is not a regular file, and can't be read in any order", inPath)};
        return false;
    }
    if (facts.st_size == 0)
    {
        outError = {FileErrorKind::kBadData, fmt::format("{}: the file is empty", inPath)};
        return false;
    }
    return true;
}

int DefaultVideoStream(const AVFormatContext& inContext)
{
    int attached = -1;
    int chosen = -1;
    for (unsigned stream = 0; stream < inContext.nb_streams; ++stream)
    {
        const AVStream& candidate = *inContext.streams[stream];
        if (candidate.codecpar->codec_type != AVMEDIA_TYPE_VIDEO)
        {
            continue;
        }
        const int number = static_cast<int>(stream);
        if (candidate.disposition & AV_DISPOSITION_ATTACHED_PIC)
        {
            attached = attached < 0 ? number : attached;
        }
        else if (chosen < 0 || (!(inContext.streams[chosen]->disposition & AV_DISPOSITION_DEFAULT) &&
                                (candidate.disposition & AV_DISPOSITION_DEFAULT)))
        {
            chosen = number;
        }
    }
    return chosen >= 0 ? chosen : attached;
}

// Before anything is decoded. A stream that is too large refuses the file when it's the one to be read; others
// are left alone by the probing, so that nothing is allocated for them.
bool CheckDeclaredSizes(const std::string& inPath, int inStream, AVFormatContext& ioContext,
                        FileError& outError)
{
    const int chosen = inStream >= 0 ? inStream : DefaultVideoStream(ioContext);
    for (unsigned stream = 0; stream < ioContext.nb_streams; ++stream)
    {
        const AVCodecParameters& parameters = *ioContext.streams[stream]->codecpar;
        if (parameters.codec_type != AVMEDIA_TYPE_VIDEO ||
            IsPictureSizeAllowed(parameters.width, parameters.height, parameters.format))
        {
            continue;
        }
        if (static_cast<int>(stream) == chosen)
        {
            return CheckPictureSize(inPath, parameters.width, parameters.height, parameters.format, outError);
        }
        ioContext.streams[stream]->discard = AVDISCARD_ALL;
    }
    return true;
}

}

MediaInput::MediaInput() = default;
MediaInput::~MediaInput() = default;
MediaInput::MediaInput(MediaInput&&) noexcept = default;

MediaInput& MediaInput::operator=(MediaInput&& inOther) noexcept
{
    mContext = std::move(inOther.mContext);
    mHollow = std::move(inOther.mHollow);
    mPart = std::move(inOther.mPart);
    mStream = inOther.mStream;
    return *this;
}

int MediaInput::OpenWith(const std::string& inPath, const InterruptFlag* inInterrupt, AVIOContext* inSource)
{
    CaptureLog();
    ForgetLogLine();
    AVFormatContext* context = avformat_alloc_context();
    if (!context)
    {
        return AVERROR(ENOMEM);
    }
    if (inInterrupt)
    {
        context->interrupt_callback = {&IsInterrupted, const_cast<InterruptFlag*>(inInterrupt)};
    }
    context->pb = inSource;
    AVDictionary* options = nullptr;
    av_dict_set(&options, "protocol_whitelist", "file", 0);
    const std::string url = "file:" + inPath;
    const int status = avformat_open_input(&context, url.c_str(), nullptr, &options);
    av_dict_free(&options);
    if (status < 0)
    {
        return status;
    }
    mContext.reset(context);
    return 0;
}

int MediaInput::Open(const std::string& inPath, const InterruptFlag* inInterrupt)
{
    if (ParseFilePart(inPath).mSize < 0)
    {
        return OpenWith(inPath, inInterrupt, nullptr);
    }
    auto part = std::make_unique<PartInput>();
    if (!part->Open(inPath))
    {
        return AVERROR(errno);
    }
    mContext.reset();
    mPart = std::move(part);
    return OpenWith(inPath, inInterrupt, mPart->Source());
}

int MediaInput::OpenHollow(const std::string& inPath, const InterruptFlag* inInterrupt)
{
    auto hollow = std::make_unique<HollowFile>();
    if (!hollow->Open(inPath))
    {
        return AVERROR(ENOSYS);
    }
    mHollow = std::move(hollow);
    const int status = OpenWith(inPath, inInterrupt, mHollow->Source());
    if (status >= 0)
    {
        mContext->flags |= AVFMT_FLAG_NOPARSE;
        return IsFormat("mov") || IsFormat("avi") || IsFormat("matroska") ? 0 : AVERROR(ENOSYS);
    }
    return status;
}

int MediaInput::Probe()
{
    std::vector<AVDictionary*> options(mContext->nb_streams, nullptr);
    for (AVDictionary*& option : options)
    {
        av_dict_set_int(&option, "max_pixels", std::int64_t{kMaximumSide} * kMaximumSide, 0);
    }
    const int status = avformat_find_stream_info(mContext.get(), options.data());
    for (AVDictionary*& option : options)
    {
        av_dict_free(&option);
    }
    return status;
}

void MediaInput::SelectStream(int inIndex)
{
    mStream = inIndex;
    for (unsigned stream = 0; stream < mContext->nb_streams; ++stream)
    {
        mContext->streams[stream]->discard =
            static_cast<int>(stream) == inIndex ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    }
}

int MediaInput::ReadPacket(AVPacket& outPacket)
{
    for (;;)
    {
        const int status = av_read_frame(mContext.get(), &outPacket);
        if (status < 0 || outPacket.stream_index == mStream)
        {
            return status;
        }
        av_packet_unref(&outPacket);
    }
}

bool MediaInput::IsFormat(const char* inName) const noexcept
{
    return av_match_name(inName, mContext->iformat->name) != 0;
}

bool IsPictureSizeAllowed(int inWidth, int inHeight, int inPixelFormat)
{
    if (inWidth > kMaximumSide || inHeight > kMaximumSide)
    {
        return false;
    }
    if (inWidth <= 0 || inHeight <= 0)
    {
        return true;
    }
    const AVPixFmtDescriptor* descriptor = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(inPixelFormat));
    const std::int64_t bits = descriptor ? std::max(8, av_get_padded_bits_per_pixel(descriptor)) : 12;
    return std::int64_t{inWidth} * inHeight * bits / 8 <= kMaximumFrameBytes;
}

bool CheckPictureSize(const std::string& inPath, int inWidth, int inHeight, int inPixelFormat,
                      FileError& outError)
{
    if (IsPictureSizeAllowed(inWidth, inHeight, inPixelFormat))
    {
        return true;
    }
    outError = {
        FileErrorKind::kTooLarge,
        fmt::format("{}: the picture of {}x{} is too large (at most {} pixels a side and {} MiB a frame)",
                    inPath, inWidth, inHeight, kMaximumSide, kMaximumFrameBytes >> 20)};
    return false;
}

bool OpenAndChoose(const std::string& inPath, int inStream, const InterruptFlag* inInterrupt,
                   MediaInput& outInput, FileError& outError)
{
    if (!CheckFile(inPath, outError))
    {
        return false;
    }
    int status = outInput.Open(inPath, inInterrupt);
    if (status < 0)
    {
        const FileErrorKind kind = KindOfOpenError(status);
        outError = {kind,
                    kind == FileErrorKind::kBadData
                        ? fmt::format("{}: not a media file that can be read: {}", inPath, ErrorText(status))
                        : fmt::format("{}: {}", inPath, ErrorText(status))};
        return false;
    }
    if (!CheckDeclaredSizes(inPath, inStream, *outInput.Context(), outError))
    {
        return false;
    }
    status = outInput.Probe();
    if (status < 0)
    {
        outError = {KindOfOpenError(status),
                    fmt::format("{}: cannot find out what its streams are: {}", inPath, ErrorText(status))};
        return false;
    }
    const AVFormatContext& context = *outInput.Context();
    const int stream = inStream >= 0 ? inStream : DefaultVideoStream(context);
    if (stream < 0)
    {
        outError = {FileErrorKind::kNotVideo, fmt::format("{}: has no video stream", inPath)};
        return false;
    }
    if (stream >= static_cast<int>(context.nb_streams) ||
        context.streams[stream]->codecpar->codec_type != AVMEDIA_TYPE_VIDEO)
    {
        outError = {FileErrorKind::kNotVideo,
                    fmt::format("{}: stream {} is not a video stream of it", inPath, stream)};
        return false;
    }
    outInput.SelectStream(stream);
    const AVCodecParameters& parameters = *context.streams[stream]->codecpar;
    return CheckPictureSize(inPath, parameters.width, parameters.height, parameters.format, outError);
}

}
