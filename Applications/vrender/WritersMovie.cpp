#include "Applications/vrender/ExitCodes.h"
#include "Applications/vrender/OutputFile.h"
#include "Applications/vrender/WritersSupport.h"

extern "C"
{
#include <libavformat/avformat.h>
#include <libavutil/avstring.h>
#include <libavutil/opt.h>
}

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <map>
#include <unistd.h>

namespace vrender
{

namespace
{

// Writes of this size keep system calls rare without making a watcher wait for data.
constexpr int kBufferBytes = 256 * 1024;
// Quality of encoders that know neither crf nor a sensible rate of their own; 2 is near lossless.
constexpr int kDefaultQuantiser = 2;
// libvpx would otherwise fall back on 200 kbit/s.
constexpr const char* kDefaultVp9Crf = "31";

// Time base for frames that last unequally: the one of transport streams, in which the ticks of the usual rates
// and milliseconds are whole numbers.
constexpr int kUnequalTimeBase = 90000;
constexpr std::int64_t kTicksPerUnit = norviktypes::kTicksPerSecond / kUnequalTimeBase;

struct ContainerDeleter
{
    void operator()(AVFormatContext* inContext) const noexcept { avformat_free_context(inContext); }
};

struct ChannelDeleter
{
    void operator()(AVIOContext* inContext) const noexcept
    {
        av_freep(&inContext->buffer);
        avio_context_free(&inContext);
    }
};

// FFmpeg's list of options, emptied of what has been understood.
class Dictionary
{
public:
    Dictionary() = default;
    ~Dictionary() { av_dict_free(&mEntries); }
    Dictionary(const Dictionary&) = delete;
    Dictionary& operator=(const Dictionary&) = delete;

    void Set(const char* inKey, const char* inValue) { av_dict_set(&mEntries, inKey, inValue, 0); }
    bool Has(const char* inKey) const { return av_dict_get(mEntries, inKey, nullptr, 0) != nullptr; }
    std::string Get(const char* inKey) const
    {
        const AVDictionaryEntry* entry = av_dict_get(mEntries, inKey, nullptr, 0);
        return entry == nullptr ? "" : entry->value;
    }
    AVDictionary** Entries() { return &mEntries; }
    const char* FirstKey() const
    {
        const AVDictionaryEntry* entry = av_dict_get(mEntries, "", nullptr, AV_DICT_IGNORE_SUFFIX);
        return entry == nullptr ? nullptr : entry->key;
    }

private:
    AVDictionary* mEntries = nullptr;
};

int WriteToFile(void* inFile, std::uint8_t* inBytes, int inSize)
{
    const int error = static_cast<OutputFile*>(inFile)->TryWrite(inBytes, static_cast<std::size_t>(inSize));
    return error == 0 ? inSize : AVERROR(error);
}

std::int64_t SeekInFile(void* inFile, std::int64_t inOffset, int inWhence)
{
    auto& file = *static_cast<OutputFile*>(inFile);
    if (inWhence == AVSEEK_SIZE)
    {
        return static_cast<std::int64_t>(file.Size());
    }
    const std::int64_t base = inWhence == SEEK_CUR   ? static_cast<std::int64_t>(file.Position())
                              : inWhence == SEEK_END ? static_cast<std::int64_t>(file.Size())
                                                     : 0;
    if (base + inOffset < 0)
    {
        return AVERROR(EINVAL);
    }
    file.Seek(static_cast<std::uint64_t>(base + inOffset));
    return base + inOffset;
}

// Some encoders print their own words about wrong options before FFmpeg's messages reach them, and a
// failure shall be told in one line. Nothing else runs while an encoder is opened.
class StandardErrorSilencer
{
public:
    StandardErrorSilencer() : mSaved(::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3))
    {
        const int nowhere = mSaved < 0 ? -1 : ::open("/dev/null", O_WRONLY | O_CLOEXEC);
        if (nowhere >= 0)
        {
            ::dup2(nowhere, STDERR_FILENO);
            ::close(nowhere);
        }
    }
    ~StandardErrorSilencer()
    {
        if (mSaved >= 0)
        {
            ::dup2(mSaved, STDERR_FILENO);
            ::close(mSaved);
        }
    }
    StandardErrorSilencer(const StandardErrorSilencer&) = delete;
    StandardErrorSilencer& operator=(const StandardErrorSilencer&) = delete;

private:
    int mSaved;
};

// Null where neither the format nor the path tells.
const AVOutputFormat* FindContainer(const OutputDescription& inOutput)
{
    const bool isPipe = inOutput.mPath == "-";
    const std::string format =
        (inOutput.mFormat.empty() && isPipe) || inOutput.mFormat == "y4m" ? "yuv4mpegpipe" : inOutput.mFormat;
    return format.empty() ? av_guess_format(nullptr, inOutput.mPath.c_str(), nullptr)
                          : av_guess_format(format.c_str(), nullptr, nullptr);
}

// Containers made for pipes between programs carry pictures as they are.
AVCodecID UsualCodec(const AVOutputFormat& inContainer, const std::string& inPath)
{
    const std::string name = inContainer.name;
    if (name == "yuv4mpegpipe")
    {
        return AV_CODEC_ID_WRAPPED_AVFRAME;
    }
    return name == "nut" ? AV_CODEC_ID_RAWVIDEO
                         : av_guess_codec(&inContainer, nullptr, inPath.c_str(), nullptr, AVMEDIA_TYPE_VIDEO);
}

// FFmpeg 5.1 doesn't say it of the containers of the QuickTime family, which have had it from the first.
bool HasTimeOfEachFrame(const AVOutputFormat& inContainer)
{
    return (inContainer.flags & AVFMT_VARIABLE_FPS) != 0 ||
           av_match_name(inContainer.name, "mov,mp4,ipod,3gp,3g2,f4v,ismv") != 0;
}

bool HasOption(const AVCodecContext& inContext, const char* inName)
{
    return inContext.priv_data != nullptr && inContext.codec->priv_class != nullptr &&
           av_opt_find(inContext.priv_data, inName, nullptr, 0, 0) != nullptr;
}

// A movie through one of FFmpeg's containers and encoders. The container writes through OutputFile,
// so that every output has the same rules about parts, names and causes of failure.
class MovieWriter : public FrameWriter
{
public:
    explicit MovieWriter(const OutputDescription& inOutput);
    ~MovieWriter() override = default;

    const norviktypes::PixelFormat& RenderFormat() const override { return mLayout->RenderFormat(); }
    std::string Description() const override;
    std::uint64_t LaidOutBytes() const override { return mLayout->LaidOutBytes(); }
    EncoderFrame Prepare(const MF::IVideoFrameRef& inFrame) const override { return mLayout->Lay(inFrame); }
    void Write(const EncoderFrame& inFrame) override;
    void Finish() override;
    void Commit() override { mFile->Commit(); }
    void Keep() override { mFile->Keep(); }
    std::string PartName() const override { return mFile->PartPath(); }
    std::uint64_t BytesWritten() const override { return mFile->Size(); }

private:
    void ChooseContainer();
    void OpenEncoder(Dictionary& ioOptions);
    void SetRateControl(Dictionary& ioOptions);
    void Quieten(Dictionary& ioOptions) const;
    void AddStream();
    void OpenFile(Dictionary& ioOptions);
    // When a frame begins, in units of the encoder's time base.
    std::int64_t UnitsAt(std::int64_t inFrame) const;
    void Drain(const AVFrame* inFrame);
    [[noreturn]] void Fail(ExitCode inCode, const std::string& inWhat, int inStatus) const;

    OutputDescription mOutput;
    std::unique_ptr<OutputFile> mFile; // outlives the channel that writes to it
    std::unique_ptr<AVIOContext, ChannelDeleter> mChannel;
    std::unique_ptr<AVFormatContext, ContainerDeleter> mContainer;
    FFmpegOwner<AVCodecContext> mEncoder;
    std::unique_ptr<PictureLayout> mLayout;
    FFmpegOwner<AVPacket> mPacket{av_packet_alloc()};
    AVStream* mStream = nullptr;
    std::int64_t mNextFrame = 0;
    std::map<std::int64_t, std::int64_t> mDurations; // of frames in the encoder, by their times
};

MovieWriter::MovieWriter(const OutputDescription& inOutput) : mOutput(inOutput)
{
    OutputFile::CheckMayCreate(mOutput.mPath, mOutput.mOverwrite);
    Dictionary options;
    for (const auto& [key, value] : mOutput.mOptions)
    {
        options.Set(key.c_str(), value.c_str());
    }
    ChooseContainer();
    OpenEncoder(options);
    AddStream();
    OpenFile(options);
}

void MovieWriter::Fail(ExitCode inCode, const std::string& inWhat, int inStatus) const
{
    if (mFile)
    {
        mFile->ThrowIfFailed();
    }
    const ExitCode code = inStatus == AVERROR(ENOMEM) ? ExitCode::kTryAgain : inCode;
    throw ToolError(code, mOutput.mPath + ": " + inWhat + ": " + LastFFmpegError(inStatus));
}

void MovieWriter::ChooseContainer()
{
    const std::string& format = mOutput.mFormat;
    const AVOutputFormat* container = FindContainer(mOutput);
    if (container == nullptr)
    {
        throw ToolError(ExitCode::kUsage,
                        format.empty() ? mOutput.mPath + ": the name doesn't tell a container; give --format"
                                       : "--format: there is no container '" + format + "'");
    }
    if ((container->flags & AVFMT_NOFILE) != 0 || container->video_codec == AV_CODEC_ID_NONE)
    {
        throw ToolError(ExitCode::kUsage,
                        mOutput.mPath + ": container " + container->name + " holds no pictures in a file" +
                            (std::string(container->name) == "image2"
                                 ? "; for stills give a number such as %05d in the name, or use vrender frame"
                                 : ""));
    }
    AVFormatContext* context = nullptr;
    const int status = avformat_alloc_output_context2(&context, container, nullptr, mOutput.mPath.c_str());
    mContainer.reset(context);
    if (status < 0)
    {
        Fail(ExitCode::kInternal, "no container", status);
    }
}

void MovieWriter::OpenEncoder(Dictionary& ioOptions)
{
    const AVCodec* codec = FindEncoder(mOutput, UsualCodec(*mContainer->oformat, mOutput.mPath));
    if (avformat_query_codec(mContainer->oformat, codec->id, FF_COMPLIANCE_EXPERIMENTAL) == 0)
    {
        throw ToolError(ExitCode::kUsage, mOutput.mPath + ": container " + mContainer->oformat->name +
                                              " doesn't hold " + codec->name);
    }
    // Which formats YUV4MPEG can name is fixed by its header, not by an encoder.
    static constexpr AVPixelFormat kY4m[] = {
        AV_PIX_FMT_YUV420P,     AV_PIX_FMT_YUV422P,     AV_PIX_FMT_YUV444P,     AV_PIX_FMT_GRAY8,
        AV_PIX_FMT_YUV420P10LE, AV_PIX_FMT_YUV422P10LE, AV_PIX_FMT_YUV444P10LE, AV_PIX_FMT_YUV420P12LE,
        AV_PIX_FMT_YUV422P12LE, AV_PIX_FMT_YUV444P12LE, AV_PIX_FMT_YUV420P16LE, AV_PIX_FMT_YUV422P16LE,
        AV_PIX_FMT_YUV444P16LE, AV_PIX_FMT_NONE};
    const bool isY4m = codec->id == AV_CODEC_ID_WRAPPED_AVFRAME && mOutput.mPixelFormat.empty();
    mLayout = std::make_unique<PictureLayout>(isY4m ? PictureLayout::Nearest(kY4m, mOutput)
                                                    : ChoosePixelFormat(mOutput, codec),
                                              mOutput, IsJpeg(*codec));

    mEncoder.reset(avcodec_alloc_context3(codec));
    if (!mEncoder || !mPacket)
    {
        Fail(ExitCode::kTryAgain, "no encoder", AVERROR(ENOMEM));
    }
    DescribePictures(mOutput, *mLayout, *mEncoder);
    if (mOutput.mTimeOf)
    {
        mEncoder->time_base = {1, kUnequalTimeBase};
    }
    mEncoder->strict_std_compliance = FF_COMPLIANCE_EXPERIMENTAL;
    mContainer->strict_std_compliance = FF_COMPLIANCE_EXPERIMENTAL;
    if ((mContainer->oformat->flags & AVFMT_GLOBALHEADER) != 0)
    {
        mEncoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    }
    SetRateControl(ioOptions);
    Quieten(ioOptions);
    int status = 0;
    {
        const StandardErrorSilencer silencer;
        status = avcodec_open2(mEncoder.get(), codec, ioOptions.Entries());
    }
    if (status < 0)
    {
        Fail(ExitCode::kUsage, std::string(codec->name) + " can't be set up", status);
    }
}

void MovieWriter::SetRateControl(Dictionary& ioOptions)
{
    const std::string name = mEncoder->codec->name;
    const bool knowsCrf = HasOption(*mEncoder, "crf");
    if (!mOutput.mCrf.empty())
    {
        if (!knowsCrf)
        {
            throw ToolError(ExitCode::kUsage,
                            "--crf: " + name + " has no constant quality; use --bitrate or -o");
        }
        ioOptions.Set("crf", mOutput.mCrf.c_str());
    }
    const bool isAsked = mOutput.mBitrate > 0 || ioOptions.Has("b") || ioOptions.Has("crf") ||
                         ioOptions.Has("qscale") || ioOptions.Has("global_quality") || ioOptions.Has("qp");
    if (mOutput.mBitrate > 0)
    {
        mEncoder->bit_rate = mOutput.mBitrate;
    }
    else if (name.rfind("libvpx", 0) == 0)
    {
        mEncoder->bit_rate = 0;
        if (!isAsked)
        {
            ioOptions.Set("crf", kDefaultVp9Crf);
        }
    }
    if (name == "dnxhd" && !isAsked && !ioOptions.Has("profile"))
    {
        const bool isDeep = av_pix_fmt_desc_get(mLayout->Format())->comp[0].depth > 8;
        ioOptions.Set("profile", isDeep ? "dnxhr_hqx" : "dnxhr_hq");
    }
    else if (!isAsked && !knowsCrf)
    {
        mEncoder->flags |= AV_CODEC_FLAG_QSCALE;
        mEncoder->global_quality = FF_QP2LAMBDA * kDefaultQuantiser;
    }
}

// These encoders print whatever they like past FFmpeg's messages; stderr is for what concerns the user.
void MovieWriter::Quieten(Dictionary& ioOptions) const
{
    const std::string name = mEncoder->codec->name;
    if (name == "libx265")
    {
        const std::string asked = ioOptions.Get("x265-params");
        ioOptions.Set("x265-params", ("log-level=error" + (asked.empty() ? "" : ":" + asked)).c_str());
    }
    else if (name == "libsvtav1")
    {
        ::setenv("SVT_LOG", "1", 0);
    }
}

void MovieWriter::AddStream()
{
    mStream = avformat_new_stream(mContainer.get(), nullptr);
    if (mStream == nullptr || avcodec_parameters_from_context(mStream->codecpar, mEncoder.get()) < 0)
    {
        Fail(ExitCode::kTryAgain, "no stream", AVERROR(ENOMEM));
    }
    mStream->time_base = mEncoder->time_base;
    mStream->avg_frame_rate = mEncoder->framerate;
    mStream->r_frame_rate = mEncoder->framerate;
    mStream->sample_aspect_ratio = mEncoder->sample_aspect_ratio;
    if (!mOutput.mTimecode.empty())
    {
        av_dict_set(&mStream->metadata, "timecode", mOutput.mTimecode.c_str(), 0);
        av_dict_set(&mContainer->metadata, "timecode", mOutput.mTimecode.c_str(), 0);
    }
}

void MovieWriter::OpenFile(Dictionary& ioOptions)
{
    mFile = OutputFile::Open(mOutput.mPath, mOutput.mOverwrite);
    auto* buffer = static_cast<unsigned char*>(av_malloc(kBufferBytes));
    mChannel.reset(avio_alloc_context(buffer, kBufferBytes, 1, mFile.get(), nullptr, WriteToFile,
                                      mFile->IsSeekable() ? SeekInFile : nullptr));
    if (!mChannel)
    {
        av_free(buffer);
        Fail(ExitCode::kTryAgain, "no channel", AVERROR(ENOMEM));
    }
    mContainer->pb = mChannel.get();
    mContainer->flags |= AVFMT_FLAG_CUSTOM_IO;
    // A container that reads its own output again to move parts of it finds it under this name.
    av_freep(&mContainer->url);
    mContainer->url = av_strdup(("file:" + mFile->PartPath()).c_str());
    int status = avformat_write_header(mContainer.get(), ioOptions.Entries());
    if (status < 0)
    {
        Fail(ExitCode::kUsage, std::string("container ") + mContainer->oformat->name + " can't be set up",
             status);
    }
    if (const char* key = ioOptions.FirstKey())
    {
        throw ToolError(ExitCode::kUsage, std::string("--option: neither ") + mEncoder->codec->name +
                                              " nor container " + mContainer->oformat->name + " knows '" +
                                              key + "'");
    }
}

std::string MovieWriter::Description() const
{
    return std::string(mContainer->oformat->name) + " " + mEncoder->codec->name + " " +
           av_get_pix_fmt_name(mLayout->Format());
}

void MovieWriter::Write(const EncoderFrame& inFrame)
{
    inFrame->pts = UnitsAt(mNextFrame);
    mDurations[inFrame->pts] = UnitsAt(mNextFrame + 1) - inFrame->pts;
    ++mNextFrame;
    inFrame->pict_type = AV_PICTURE_TYPE_NONE;
    if ((mEncoder->flags & AV_CODEC_FLAG_QSCALE) != 0)
    {
        inFrame->quality = mEncoder->global_quality;
    }
    Drain(inFrame.get());
}

std::int64_t MovieWriter::UnitsAt(std::int64_t inFrame) const
{
    return mOutput.mTimeOf ? mOutput.mTimeOf(inFrame).GetTicks() / kTicksPerUnit : inFrame;
}

// Hands the encoder a frame, or null for the end, and the container what comes out.
void MovieWriter::Drain(const AVFrame* inFrame)
{
    int status = avcodec_send_frame(mEncoder.get(), inFrame);
    if (status < 0)
    {
        Fail(ExitCode::kFailed, std::string(mEncoder->codec->name) + " failed", status);
    }
    while ((status = avcodec_receive_packet(mEncoder.get(), mPacket.get())) >= 0)
    {
        const auto duration = mDurations.find(mPacket->pts);
        if (duration != mDurations.end())
        {
            mPacket->duration = duration->second;
            mDurations.erase(duration);
        }
        av_packet_rescale_ts(mPacket.get(), mEncoder->time_base, mStream->time_base);
        mPacket->stream_index = mStream->index;
        const int written = av_interleaved_write_frame(mContainer.get(), mPacket.get());
        mFile->ThrowIfFailed();
        if (written < 0)
        {
            Fail(ExitCode::kIOError, std::string("container ") + mContainer->oformat->name + " failed",
                 written);
        }
    }
    if (status != AVERROR(EAGAIN) && status != AVERROR_EOF)
    {
        Fail(ExitCode::kFailed, std::string(mEncoder->codec->name) + " failed", status);
    }
}

void MovieWriter::Finish()
{
    Drain(nullptr);
    const int status = av_write_trailer(mContainer.get());
    avio_flush(mChannel.get());
    mFile->ThrowIfFailed();
    if (status < 0)
    {
        Fail(ExitCode::kIOError, std::string("container ") + mContainer->oformat->name + " can't be finished",
             status);
    }
}

} // namespace

bool MovieKeepsFrameTimes(const OutputDescription& inOutput)
{
    const AVOutputFormat* container = FindContainer(inOutput);
    if (container == nullptr || !HasTimeOfEachFrame(*container))
    {
        return false;
    }
    // The headers of these name one rate, from a list or with few digits.
    switch (FindEncoder(inOutput, UsualCodec(*container, inOutput.mPath))->id)
    {
    case AV_CODEC_ID_MPEG1VIDEO:
    case AV_CODEC_ID_MPEG2VIDEO:
    case AV_CODEC_ID_MPEG4:
    case AV_CODEC_ID_H261:
    case AV_CODEC_ID_H263:
    case AV_CODEC_ID_H263P:
    case AV_CODEC_ID_WRAPPED_AVFRAME: return false;
    default: return true;
    }
}

std::unique_ptr<FrameWriter> CreateMovieWriter(const OutputDescription& inOutput)
{
    return std::make_unique<MovieWriter>(inOutput);
}

} // namespace vrender
