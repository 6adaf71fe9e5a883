#include "Applications/vrender/ExitCodes.h"
#include "Applications/vrender/OutputFile.h"
#include "Applications/vrender/WritersSupport.h"

extern "C"
{
#include <libavformat/avformat.h>
}

#include <array>
#include <cctype>
#include <cinttypes>
#include <cstdio>

namespace vrender
{

namespace
{

// JPEG and its kin are near lossless at this step; a lesser one makes files grow and shows nothing.
constexpr int kStillQuantiser = 2;

// Finds the one %d or %0Nd of a path.
struct NumberField
{
    std::size_t mAt = std::string::npos;
    std::size_t mLength = 0;
    int mDigits = 0;
};

NumberField FindNumberField(const std::string& inPath)
{
    for (std::size_t at = inPath.find('%'); at != std::string::npos; at = inPath.find('%', at + 1))
    {
        std::size_t end = at + 1;
        int digits = 0;
        while (end < inPath.size() && std::isdigit(static_cast<unsigned char>(inPath[end])) != 0 &&
               digits < 100)
        {
            digits = digits * 10 + (inPath[end] - '0');
            ++end;
        }
        if (end < inPath.size() && inPath[end] == 'd' && digits <= 20)
        {
            return {at, end + 1 - at, digits};
        }
    }
    return {};
}

// One file for each frame, each written whole before it gets its name.
class StillsWriter : public FrameWriter
{
public:
    StillsWriter(const OutputDescription& inOutput, const std::function<std::string(std::int64_t)>& inName);

    const norviktypes::PixelFormat& RenderFormat() const override { return mLayout->RenderFormat(); }
    std::string Description() const override;
    std::uint64_t LaidOutBytes() const override { return mLayout->LaidOutBytes(); }
    EncoderFrame Prepare(const MF::IVideoFrameRef& inFrame) const override { return mLayout->Lay(inFrame); }
    void Write(const EncoderFrame& inFrame) override;
    void Finish() override { Drain(nullptr); }
    // Each still has its name already.
    void Commit() override {}
    void Keep() override {}
    std::string PartName() const override { return mOutput.mPath; }
    std::uint64_t BytesWritten() const override { return mBytes; }

private:
    void OpenEncoder();
    void CheckNames() const;
    void Drain(const AVFrame* inFrame);
    void Store(const AVPacket& inPacket);
    [[noreturn]] void Fail(ExitCode inCode, const std::string& inWhat, int inStatus) const;

    OutputDescription mOutput;
    std::function<std::string(std::int64_t)> mName;
    std::unique_ptr<PictureLayout> mLayout;
    FFmpegOwner<AVCodecContext> mEncoder;
    FFmpegOwner<AVPacket> mPacket{av_packet_alloc()};
    std::int64_t mNextFrame = 0;
    std::int64_t mNextFile = 0;
    std::uint64_t mBytes = 0;
};

StillsWriter::StillsWriter(const OutputDescription& inOutput,
                           const std::function<std::string(std::int64_t)>& inName)
    : mOutput(inOutput)
    , mName(inName)
{
    OpenEncoder();
    CheckNames();
}

void StillsWriter::Fail(ExitCode inCode, const std::string& inWhat, int inStatus) const
{
    throw ToolError(inStatus == AVERROR(ENOMEM) ? ExitCode::kTryAgain : inCode,
                    mOutput.mPath + ": " + inWhat + ": " + LastFFmpegError(inStatus));
}

// All names before the first frame, so that a render doesn't stop half way at an older still.
void StillsWriter::CheckNames() const
{
    for (std::int64_t i = 0; i < mOutput.mFrameCount; ++i)
    {
        OutputFile::CheckMayCreate(mName(i), mOutput.mOverwrite);
    }
}

void StillsWriter::OpenEncoder()
{
    const AVOutputFormat* stills = av_guess_format("image2", nullptr, nullptr);
    const std::string name = mName(0);
    const AVCodecID usual = av_guess_codec(stills, nullptr, name.c_str(), nullptr, AVMEDIA_TYPE_VIDEO);
    const bool isKnown = av_guess_format("image2", name.c_str(), nullptr) != nullptr &&
                         av_match_ext(name.c_str(), stills->extensions) != 0;
    if (mOutput.mCodec.empty() && !isKnown)
    {
        throw ToolError(ExitCode::kUsage,
                        name + ": the suffix doesn't tell a format for stills, as .png or .tif do");
    }
    const AVCodec* codec = FindEncoder(mOutput, usual);
    mLayout =
        std::make_unique<PictureLayout>(ChoosePixelFormat(mOutput, codec, true), mOutput, IsJpeg(*codec));
    mEncoder.reset(avcodec_alloc_context3(codec));
    if (!mEncoder || !mPacket)
    {
        Fail(ExitCode::kTryAgain, "no encoder", AVERROR(ENOMEM));
    }
    DescribePictures(mOutput, *mLayout, *mEncoder);
    mEncoder->strict_std_compliance = FF_COMPLIANCE_EXPERIMENTAL;
    mEncoder->flags |= AV_CODEC_FLAG_QSCALE;
    mEncoder->global_quality = FF_QP2LAMBDA * kStillQuantiser;
    AVDictionary* options = nullptr;
    for (const auto& [key, value] : mOutput.mOptions)
    {
        av_dict_set(&options, key.c_str(), value.c_str(), 0);
    }
    const int status = avcodec_open2(mEncoder.get(), codec, &options);
    const AVDictionaryEntry* left = av_dict_get(options, "", nullptr, AV_DICT_IGNORE_SUFFIX);
    const std::string unknown = left == nullptr ? "" : left->key;
    av_dict_free(&options);
    if (status < 0)
    {
        Fail(ExitCode::kUsage, std::string(codec->name) + " can't be set up", status);
    }
    if (!unknown.empty())
    {
        throw ToolError(ExitCode::kUsage,
                        std::string("--option: ") + codec->name + " doesn't know '" + unknown + "'");
    }
}

std::string StillsWriter::Description() const
{
    return std::string("stills ") + mEncoder->codec->name + " " + av_get_pix_fmt_name(mLayout->Format());
}

void StillsWriter::Write(const EncoderFrame& inFrame)
{
    inFrame->pts = mNextFrame++;
    inFrame->quality = mEncoder->global_quality;
    Drain(inFrame.get());
}

void StillsWriter::Drain(const AVFrame* inFrame)
{
    int status = avcodec_send_frame(mEncoder.get(), inFrame);
    if (status < 0)
    {
        Fail(ExitCode::kFailed, std::string(mEncoder->codec->name) + " failed", status);
    }
    while ((status = avcodec_receive_packet(mEncoder.get(), mPacket.get())) >= 0)
    {
        Store(*mPacket);
        av_packet_unref(mPacket.get());
    }
    if (status != AVERROR(EAGAIN) && status != AVERROR_EOF)
    {
        Fail(ExitCode::kFailed, std::string(mEncoder->codec->name) + " failed", status);
    }
}

void StillsWriter::Store(const AVPacket& inPacket)
{
    const std::unique_ptr<OutputFile> file = OutputFile::Open(mName(mNextFile), mOutput.mOverwrite);
    ++mNextFile;
    file->Write(inPacket.data, static_cast<std::size_t>(inPacket.size));
    file->Commit();
    mBytes += static_cast<std::uint64_t>(inPacket.size);
}

} // namespace

bool IsSequencePath(const std::string& inPath)
{
    return FindNumberField(inPath).mAt != std::string::npos;
}

std::string SequencePath(const std::string& inPath, std::int64_t inNumber)
{
    const NumberField field = FindNumberField(inPath);
    std::array<char, 40> number{};
    std::snprintf(number.data(), number.size(), "%0*" PRId64, field.mDigits, inNumber);
    return inPath.substr(0, field.mAt) + number.data() + inPath.substr(field.mAt + field.mLength);
}

std::unique_ptr<FrameWriter> CreateStillsWriter(const OutputDescription& inOutput,
                                                const std::function<std::string(std::int64_t)>& inName)
{
    CatchFFmpegMessages();
    return std::make_unique<StillsWriter>(inOutput, inName);
}

} // namespace vrender
