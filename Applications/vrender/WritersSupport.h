#pragma once

#include "Applications/vrender/Writers.h"

extern "C"
{
#include <libavcodec/avcodec.h>
#include <libavutil/pixdesc.h>
}

#include <memory>
#include <string>

// What the writers share: owners of FFmpeg's objects, causes of its failures, and the way from a
// rendered frame to the pictures that an encoder reads.
//
// Thread-safety: PictureLayout is safe for any number of threads; LastFFmpegError too.
namespace vrender
{

struct FFmpegDeleter
{
    void operator()(AVFrame* inFrame) const noexcept { av_frame_free(&inFrame); }
    void operator()(AVPacket* inPacket) const noexcept { av_packet_free(&inPacket); }
    void operator()(AVCodecContext* inContext) const noexcept { avcodec_free_context(&inContext); }
    void operator()(AVBufferPool* inPool) const noexcept { av_buffer_pool_uninit(&inPool); }
};
template <typename Object>
using FFmpegOwner = std::unique_ptr<Object, FFmpegDeleter>;

// From now on FFmpeg's messages are kept instead of printed.
void CatchFFmpegMessages();
// The last error that FFmpeg told of, else the text of inStatus. Forgets it.
std::string LastFFmpegError(int inStatus);

// What is written into files about the colour of the pictures.
struct ColourTags
{
    AVColorPrimaries mPrimaries = AVCOL_PRI_UNSPECIFIED;
    AVColorTransferCharacteristic mTransfer = AVCOL_TRC_UNSPECIFIED;
    AVColorSpace mMatrix = AVCOL_SPC_UNSPECIFIED;
    AVColorRange mRange = AVCOL_RANGE_UNSPECIFIED;
};

// How frames of a render format become pictures of one of FFmpeg's pixel formats.
//
// A picture whose bytes agree is wrapped: the encoder reads the rendered frame itself. Others are
// laid out anew in buffers from a pool: samples are moved and their depth is changed, colours aren't
// (matrix, range and siting are those of the render format already).
class PictureLayout
{
public:
    // The layout for inFormat from a source as inOutput describes it. Throws ToolError (kUsage) for a
    // format that can't be written. inIsJpeg: the files have no tags and are read as Rec.601, full range.
    PictureLayout(AVPixelFormat inFormat, const OutputDescription& inOutput, bool inIsJpeg = false);
    ~PictureLayout();

    static bool IsSupported(AVPixelFormat inFormat);
    // The one of inFormats (ended by AV_PIX_FMT_NONE) that loses least of the source.
    static AVPixelFormat Nearest(const AVPixelFormat* inFormats, const OutputDescription& inOutput);

    const norviktypes::PixelFormat& RenderFormat() const noexcept { return mRenderFormat; }
    AVPixelFormat Format() const noexcept { return mFormat; }
    // Tags for what stands in the pictures.
    const ColourTags& Colour() const noexcept { return mColour; }
    AVChromaLocation Siting() const noexcept { return mSiting; }

    // Of a picture that Lay makes; 0 where it wraps.
    std::uint64_t LaidOutBytes() const noexcept { return mLaidOutBytes; }

    EncoderFrame Lay(const MF::IVideoFrameRef& inFrame) const;

private:
    enum class Way
    {
        kWrap,        // same bytes
        kPlanes,      // through the image routines
        kPacked,      // components shuffled, 8 or 16 bits
        kFloatPlanes, // linear light, as stills of floats hold it
        kSmall        // fewer than 8 bits a component
    };
    struct Pixels;

    void ChooseRGB(const OutputDescription& inOutput);
    void ChooseYUV(const OutputDescription& inOutput, bool inIsJpeg);
    void ChooseTags(const OutputDescription& inOutput);
    bool ChooseWrappedYUV(bool inIs601, bool inInterlaced);

    EncoderFrame Wrap(const MF::IVideoFrameRef& inFrame, const Pixels& inPixels) const;
    void LayPlanes(const Pixels& inPixels, AVFrame& outPicture) const;
    void LayPacked(const Pixels& inPixels, AVFrame& outPicture) const;
    void LayFloatPlanes(const Pixels& inPixels, AVFrame& outPicture) const;
    void LaySmall(const Pixels& inPixels, AVFrame& outPicture) const;
    EncoderFrame NewPicture() const;
    void SetAttributes(AVFrame& outPicture) const;

    AVPixelFormat mFormat;
    std::int32_t mWidth;
    std::int32_t mHeight;
    norviktypes::FieldType mFieldType;
    norviktypes::PixelAspectRatio mPixelAspectRatio;
    norviktypes::PixelFormat mRenderFormat;
    Way mWay = Way::kWrap;
    ColourTags mColour;
    AVChromaLocation mSiting = AVCHROMA_LOC_UNSPECIFIED;
    std::uint64_t mLaidOutBytes = 0;
    FFmpegOwner<AVBufferPool> mPool;
};

// Sets size, rate, colour, fields and threads of an encoder.
void DescribePictures(const OutputDescription& inOutput, const PictureLayout& inLayout,
                      AVCodecContext& ioContext);

// Whether the path and format name bare pictures.
bool IsRawOutput(const OutputDescription& inOutput);
// The movie's part of KeepsFrameTimes.
bool MovieKeepsFrameTimes(const OutputDescription& inOutput);

// The factories behind CreateWriter.
std::unique_ptr<FrameWriter> CreateNullWriter(const OutputDescription& inOutput);
std::unique_ptr<FrameWriter> CreateRawWriter(const OutputDescription& inOutput);
std::unique_ptr<FrameWriter> CreateMovieWriter(const OutputDescription& inOutput);

// True for encoders of pictures without a colour description of their own.
bool IsJpeg(const AVCodec& inEncoder);
// The encoder of that name, or the container's usual one. Throws ToolError (kCodecMissing).
const AVCodec* FindEncoder(const OutputDescription& inOutput, AVCodecID inUsual);
// --pix-fmt where it is given, else the nearest one that inEncoder takes (any, where it doesn't say).
// inIsStill: of RGB formats if it takes any, since hardly a viewer of stills knows the others.
AVPixelFormat ChoosePixelFormat(const OutputDescription& inOutput, const AVCodec* inEncoder,
                                bool inIsStill = false);
// FFmpeg's format of that name. Throws ToolError (kUsage).
AVPixelFormat PixelFormatByName(const std::string& inName);

} // namespace vrender
