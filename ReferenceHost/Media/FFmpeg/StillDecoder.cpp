#include "ReferenceHost/Media/FFmpeg/StillDecoder.h"

#include "ReferenceHost/FrameLibrary/FrameGeometry.h"
#include "ReferenceHost/Media/FFmpeg/FactsReader.h"
#include "ReferenceHost/Media/FFmpeg/FactsText.h"
#include "ReferenceHost/Media/FFmpeg/MediaInput.h"
#include "ReferenceHost/Media/FFmpeg/OpenErrors.h"
#include "ReferenceHost/Media/FFmpeg/PictureFrames.h"
#include "ReferenceHost/Media/FilePart.h"
#include "ReferenceHost/Media/Stills/DeclaredSize.h"
#include "ReferenceHost/Media/Stills/ExrChunks.h"
#include "VF/VideoFrame.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>
#include <vector>

namespace Media
{

namespace
{

// Larger than any picture within the limits, uncompressed in 32-bit floats, and its metadata.
constexpr std::int64_t kLargestStillFile = std::int64_t{2047} << 20;

// Most headers tell the size within it, before all of a large file is read.
constexpr std::size_t kHeadBytes = std::size_t{64} << 10;

FileError DecodeFailure(const std::string& inPath, int inError)
{
    if (inError == AVERROR(ERANGE))
    {
        return {FileErrorKind::kTooLarge,
                fmt::format("{}: the picture is too large (at most {} pixels a side and {} MiB)", inPath,
                            kMaximumSide, kMaximumFrameBytes >> 20)};
    }
    const std::string cause = inError == AVERROR_EOF ? "it holds no whole picture" : ErrorText(inError);
    return {FileErrorKind::kBadData, fmt::format("{}: the image cannot be decoded: {}", inPath, cause)};
}

bool IsDeclaredTooLarge(const std::uint8_t* inBytes, std::size_t inSize)
{
    const DeclaredSize size = ReadDeclaredSize(inBytes, inSize);
    return size.mWidth > kMaximumSide || size.mHeight > kMaximumSide;
}

// False, with outError, for a picture that its header already tells to be too large. A file that can't be read
// is told of later.
bool CheckHead(const std::string& inPath, FileError& outError)
{
    OpenedPart file;
    std::vector<std::uint8_t> head(kHeadBytes);
    const std::ptrdiff_t got = file.Open(inPath) ? file.Read(head.data(), head.size(), 0) : 0;
    head.resize(static_cast<std::size_t>(std::max<std::ptrdiff_t>(got, 0)));
    if (IsDeclaredTooLarge(head.data(), head.size()))
    {
        outError = DecodeFailure(inPath, AVERROR(ERANGE));
        return false;
    }
    return true;
}

// The whole file as one packet. False, with outError, on failure.
bool ReadWholeFile(const std::string& inPath, AVPacket& outPacket, FileError& outError)
{
    OpenedPart file;
    if (!file.Open(inPath))
    {
        const FileErrorKind kind = errno == EIO ? FileErrorKind::kIOError : FileErrorKind::kNoInput;
        outError = {kind, fmt::format("{}: {}", inPath, std::strerror(errno))};
        return false;
    }
    if (file.Size() <= 0 || file.Size() > kLargestStillFile)
    {
        outError =
            file.Size() <= 0
                ? FileError{FileErrorKind::kBadData, fmt::format("{}: the file is empty", inPath)}
                : FileError{FileErrorKind::kTooLarge, fmt::format("{}: too large for an image", inPath)};
        return false;
    }
    if (av_new_packet(&outPacket, static_cast<int>(file.Size())) < 0)
    {
        outError = {FileErrorKind::kTooLarge, fmt::format("{}: no memory to read it", inPath)};
        return false;
    }
    for (std::int64_t done = 0; done < file.Size();)
    {
        const std::ptrdiff_t got =
            file.Read(outPacket.data + done, static_cast<std::size_t>(file.Size() - done), done);
        if (got <= 0)
        {
            outError = {FileErrorKind::kIOError,
                        fmt::format("{}: cannot be read: {}", inPath, std::strerror(got == 0 ? EIO : errno))};
            return false;
        }
        done += got;
    }
    return true;
}

// A picture beyond the limits is refused before it is allocated, whatever the header said before.
int GetBufferWithinLimits(AVCodecContext* inContext, AVFrame* ioFrame, int inFlags)
{
    if (!IsPictureSizeAllowed(ioFrame->width, ioFrame->height, ioFrame->format))
    {
        return AVERROR(ERANGE);
    }
    return avcodec_default_get_buffer2(inContext, ioFrame, inFlags);
}

// Decodes the only picture of inPath. Null, with outError, on failure.
FramePtr DecodePicture(const std::string& inPath, const AVCodec& inCodec, FileError& outError)
{
    CaptureLog();
    ForgetLogLine();
    const PacketPtr packet(av_packet_alloc());
    FramePtr picture(av_frame_alloc());
    const CodecContextPtr decoder(avcodec_alloc_context3(&inCodec));
    if (!packet || !picture || !decoder)
    {
        outError = {FileErrorKind::kTooLarge, fmt::format("{}: no memory to decode it", inPath)};
        return nullptr;
    }
    if (!CheckHead(inPath, outError) || !ReadWholeFile(inPath, *packet, outError))
    {
        return nullptr;
    }
    if (IsDeclaredTooLarge(packet->data, static_cast<std::size_t>(packet->size)))
    {
        outError = DecodeFailure(inPath, AVERROR(ERANGE));
        return nullptr;
    }
    if (inCodec.id == AV_CODEC_ID_EXR && IsTornExr(packet->data, static_cast<std::size_t>(packet->size)))
    {
        outError = {FileErrorKind::kBadData,
                    fmt::format("{}: the image cannot be decoded: it ends too early", inPath)};
        return nullptr;
    }
    packet->flags |= AV_PKT_FLAG_KEY;
    decoder->thread_count = 1;
    decoder->max_pixels = std::int64_t{kMaximumSide} * kMaximumSide;
    decoder->get_buffer2 = &GetBufferWithinLimits;
    // Half a picture is no picture: a torn file shall be told, not shown grey below. The TIFF decoder alone
    // would take offence at every tag that it doesn't know.
    decoder->err_recognition |= inCodec.id == AV_CODEC_ID_TIFF ? 0 : AV_EF_EXPLODE;
    int status = avcodec_open2(decoder.get(), &inCodec, nullptr);
    status = status < 0 ? status : avcodec_send_packet(decoder.get(), packet.get());
    if (status >= 0)
    {
        avcodec_send_packet(decoder.get(), nullptr);
        status = avcodec_receive_frame(decoder.get(), picture.get());
    }
    if (status < 0)
    {
        outError = DecodeFailure(inPath, status);
        return nullptr;
    }
    if (picture->decode_error_flags != 0 || (picture->flags & AV_FRAME_FLAG_CORRUPT) != 0)
    {
        outError = {FileErrorKind::kBadData, fmt::format("{}: the image is damaged", inPath)};
        return nullptr;
    }
    return picture;
}

// The transfer of a picture, which these files tell badly. EXR and its kin hold light, though none of them
// says so. DPX says linear as its default: whole programs write it above film scans and video.
int TransferOf(const AVFrame& inPicture, AVCodecID inCodec)
{
    const bool isLight =
        inCodec == AV_CODEC_ID_EXR || inCodec == AV_CODEC_ID_PFM || inCodec == AV_CODEC_ID_PHM;
    if (isLight && inPicture.color_trc == AVCOL_TRC_UNSPECIFIED)
    {
        return AVCOL_TRC_LINEAR;
    }
    const bool isDefault = inCodec == AV_CODEC_ID_DPX && inPicture.color_trc == AVCOL_TRC_LINEAR;
    return isDefault ? static_cast<int>(AVCOL_TRC_UNSPECIFIED) : static_cast<int>(inPicture.color_trc);
}

PictureTraits TraitsOf(const AVFrame& inPicture, AVCodecID inCodec)
{
    const AVPixFmtDescriptor* format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(inPicture.format));
    const bool isGray = format && format->nb_components <= 2 && !(format->flags & AV_PIX_FMT_FLAG_PAL);
    // Grey images fill their range.
    const int range = inPicture.color_range == AVCOL_RANGE_UNSPECIFIED && isGray
                          ? static_cast<int>(AVCOL_RANGE_JPEG)
                          : static_cast<int>(inPicture.color_range);
    PictureTraits traits;
    traits.colour =
        ResolveColour(inPicture.colorspace, inPicture.color_primaries, TransferOf(inPicture, inCodec), range,
                      inPicture.chroma_location, inPicture.height, inPicture.format);
    if (FormatHasAlpha(inPicture.format))
    {
        traits.alpha = inCodec == AV_CODEC_ID_EXR ? FileAlpha::kPremultiplied : FileAlpha::kStraight;
    }
    return traits;
}

Orientation OrientationOf(const AVFrame& inPicture)
{
    const AVFrameSideData* data = av_frame_get_side_data(&inPicture, AV_FRAME_DATA_DISPLAYMATRIX);
    return data && data->size >= 9 * sizeof(std::int32_t)
               ? OrientationOfMatrix(reinterpret_cast<const std::int32_t*>(data->data))
               : Orientation();
}

norviktypes::PixelAspectRatio AspectOf(const AVFrame& inPicture, const Orientation& inOrientation)
{
    const AVRational aspect = inPicture.sample_aspect_ratio;
    if (aspect.num <= 0 || aspect.den <= 0)
    {
        return norviktypes::kPixelAspectRatio_Square;
    }
    const auto width = static_cast<std::uint32_t>(aspect.num);
    const auto height = static_cast<std::uint32_t>(aspect.den);
    return inOrientation.SwapsSides() ? norviktypes::PixelAspectRatio(height, width)
                                      : norviktypes::PixelAspectRatio(width, height);
}

void DescribeConversion(const ColourDescription& inColour, const Orientation& inOrientation,
                        std::vector<std::string>& ioNotes)
{
    if (inColour.transfer == AVCOL_TRC_LINEAR)
    {
        ioNotes.emplace_back("linear light: kept as 32-bit floats");
    }
    if (inOrientation.clockwiseDegrees != 0)
    {
        ioNotes.push_back(
            fmt::format("turned {} degrees clockwise, as the file asks", inOrientation.clockwiseDegrees));
    }
    NoteConversions(inColour, inOrientation, ioNotes);
}

class ImageDecoder final : public StillDecoder
{
public:
    bool Open(const std::string& inPath, FileError& outError);

    const MediaFacts& Facts() const noexcept override { return mFacts; }
    const norviktypes::PixelFormat& NativeFormat() const noexcept override { return mNativeFormat; }
    bool HasAlpha() const noexcept override { return mHasAlpha; }

    std::int32_t Decode(const std::string& inPath, const BE::FrameDescription& inFormat,
                        MF::IVideoFrameRef& outFrame, std::string& outText) const override;

private:
    void ReadPictureFacts(const FileFacts& inFile, const AVFrame& inPicture);
    bool CheckFrameSize(const std::string& inPath, FileError& outError) const;

    const AVCodec* mCodec = nullptr;
    MediaFacts mFacts;
    norviktypes::PixelFormat mNativeFormat;
    bool mHasAlpha = false;
};

bool ImageDecoder::Open(const std::string& inPath, FileError& outError)
{
    FileFacts file;
    if (!CheckHead(inPath, outError))
    {
        return false;
    }
    {
        MediaInput input;
        if (!OpenAndChoose(inPath, -1, nullptr, input, outError))
        {
            return false;
        }
        file = ReadFacts(inPath, *input.Context(), *input.Stream());
    }
    const auto codec = static_cast<AVCodecID>(file.codecID);
    mCodec = avcodec_find_decoder(codec);
    if (!mCodec)
    {
        outError = {FileErrorKind::kCodecMissing, fmt::format("{}: no decoder for '{}'", inPath, file.codec)};
        return false;
    }
    const FramePtr picture = DecodePicture(inPath, *mCodec, outError);
    if (!picture)
    {
        return false;
    }
    ReadPictureFacts(file, *picture);
    return CheckFrameSize(inPath, outError);
}

void ImageDecoder::ReadPictureFacts(const FileFacts& inFile, const AVFrame& inPicture)
{
    const PictureTraits traits = TraitsOf(inPicture, mCodec->id);
    const Orientation orientation = OrientationOf(inPicture);
    const AVPixFmtDescriptor* format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(inPicture.format));
    mNativeFormat = NativeFormatOf(inPicture.format, traits);
    mHasAlpha = traits.alpha != FileAlpha::kNone;

    mFacts.mContainer = inFile.container;
    mFacts.mCodec = inFile.codec;
    mFacts.mProfile = inFile.profile;
    mFacts.mCodedFormat = format ? format->name : "";
    mFacts.mNativeFormat = norviktypes::PixelFormatText(mNativeFormat);
    mFacts.mWidth = orientation.SwapsSides() ? inPicture.height : inPicture.width;
    mFacts.mHeight = orientation.SwapsSides() ? inPicture.width : inPicture.height;
    mFacts.mPixelAspectRatio = AspectOf(inPicture, orientation);
    mFacts.mHasFrameGrid = false;
    mFacts.mFrameCount = 1;
    mFacts.mDuration = norviktypes::kTime_Max;
    mFacts.mColor = ColorFactsOf(traits.colour);
    mFacts.mBitDepth = format ? format->comp[0].depth : 8;
    mFacts.mAlpha = AlphaName(traits.alpha);
    mFacts.mRotation = orientation.clockwiseDegrees;
    mFacts.mIsStill = true;
    mFacts.mStreamIndex = inFile.streamIndex;
    StreamFacts stream;
    stream.mIndex = inFile.streamIndex;
    stream.mType = "video";
    stream.mCodec = inFile.codec;
    stream.mDescription = fmt::format("{}x{}", inPicture.width, inPicture.height);
    stream.mIsDefault = true;
    mFacts.mStreams.push_back(std::move(stream));
    mFacts.mTags = inFile.tags;
    DescribeConversion(traits.colour, orientation, mFacts.mNotes);
}

// The frame may need more bytes than the picture that it is made of.
bool ImageDecoder::CheckFrameSize(const std::string& inPath, FileError& outError) const
{
    VF::FrameGeometry geometry;
    const auto width = static_cast<std::uint32_t>(mFacts.mWidth);
    const auto height = static_cast<std::uint32_t>(mFacts.mHeight);
    const bool isFrame = VF::GetFrameGeometry(mNativeFormat, VF::RowBytesOfFrame(mNativeFormat, width), width,
                                              height, geometry);
    if (!isFrame || geometry.mTotalBytes > VF::kMaximumFrameBytes)
    {
        outError = {FileErrorKind::kTooLarge,
                    fmt::format("{}: the picture of {}x{} is too large (at most {} MiB a frame)", inPath,
                                width, height, VF::kMaximumFrameBytes >> 20)};
        return false;
    }
    return true;
}

std::int32_t ImageDecoder::Decode(const std::string& inPath, const BE::FrameDescription& inFormat,
                                  MF::IVideoFrameRef& outFrame, std::string& outText) const
{
    FileError error;
    const FramePtr picture = DecodePicture(inPath, *mCodec, error);
    if (!picture)
    {
        outText = error.text;
        return BE::kSourceStatus_BadMedia;
    }
    const std::int32_t status = MakeFrameOfPicture(*picture, TraitsOf(*picture, mCodec->id),
                                                   OrientationOf(*picture), inFormat, outFrame);
    if (status < 0)
    {
        outText = status == BE::kSourceStatus_OutOfMemory
                      ? fmt::format("{}: no memory for its frame", inPath)
                      : fmt::format("{}: its pictures cannot be converted to {}", inPath,
                                    norviktypes::PixelFormatText(inFormat.mPixelFormat));
    }
    return status;
}

} // namespace

bool IsStillFile(const std::string& inPath)
{
    MediaInput input;
    return input.Open(inPath, nullptr) >= 0 && IsStillContainer(input.Context()->iformat->name);
}

std::shared_ptr<const StillDecoder> StillDecoder::Open(const std::string& inPath, OpenError& outError)
{
    auto decoder = std::make_shared<ImageDecoder>();
    FileError error;
    if (!decoder->Open(inPath, error))
    {
        outError = OpenErrorOf(error);
        return nullptr;
    }
    return decoder;
}

} // namespace Media
