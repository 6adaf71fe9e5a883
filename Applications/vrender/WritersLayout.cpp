#include "Applications/vrender/WritersSupport.h"

#include "Applications/vrender/ExitCodes.h"
#include "ReferenceHost/Session/Pictures.h"

extern "C"
{
#include <libavutil/imgutils.h>
#include <libswscale/swscale.h>
}

#include <algorithm>
#include <array>
#include <cstring>
#include <mutex>

namespace vrender
{

namespace
{

using norviktypes::PixelFormat;

// Row starts that suit every SIMD load of the encoders.
constexpr int kAlignment = 64;
// Lines from which pictures without a colour description count as high definition.
constexpr std::int32_t kHighDefinitionLines = 577;

const AVPixFmtDescriptor& Descriptor(AVPixelFormat inFormat)
{
    return *av_pix_fmt_desc_get(inFormat);
}

bool Has(AVPixelFormat inFormat, std::uint64_t inFlag)
{
    return (Descriptor(inFormat).flags & inFlag) != 0;
}

bool IsGrey(AVPixelFormat inFormat)
{
    return Descriptor(inFormat).nb_components <= 2;
}

bool IsAlwaysFullRange(AVPixelFormat inFormat)
{
    return std::strncmp(Descriptor(inFormat).name, "yuvj", 4) == 0;
}

bool IsLittleEndian16(AVPixelFormat inFormat)
{
    return !Has(inFormat, AV_PIX_FMT_FLAG_BE);
}

bool IsSmall(AVPixelFormat inFormat)
{
    return Descriptor(inFormat).comp[0].depth < 8;
}

// One of 4:2:0 with chroma between the pixels, as JPEG has it.
bool IsCentreSited(AVPixelFormat inFormat)
{
    return IsAlwaysFullRange(inFormat);
}

bool IsSupportedPlanes(AVPixelFormat inFormat)
{
    const AVPixFmtDescriptor& format = Descriptor(inFormat);
    const bool isPlanar = (format.flags & AV_PIX_FMT_FLAG_PLANAR) != 0 || format.nb_components == 1;
    const bool isSemiPlanar = inFormat == AV_PIX_FMT_NV12 || inFormat == AV_PIX_FMT_P010LE;
    if (format.comp[0].depth > 8 && !IsLittleEndian16(inFormat))
    {
        return false;
    }
    if ((format.flags & AV_PIX_FMT_FLAG_FLOAT) != 0)
    {
        return format.nb_components >= 3 && (format.flags & AV_PIX_FMT_FLAG_RGB) != 0;
    }
    return isSemiPlanar || (isPlanar && format.comp[0].step == (format.comp[0].depth + 7) / 8 &&
                            (format.nb_components < 3 || format.comp[1].plane != format.comp[2].plane));
}

// Components of whole bytes, all of the same size, in one plane.
bool IsSupportedPacked(AVPixelFormat inFormat)
{
    const AVPixFmtDescriptor& format = Descriptor(inFormat);
    const int depth = format.comp[0].depth;
    return (format.flags & AV_PIX_FMT_FLAG_RGB) != 0 &&
           (format.flags & (AV_PIX_FMT_FLAG_PLANAR | AV_PIX_FMT_FLAG_FLOAT | AV_PIX_FMT_FLAG_BITSTREAM)) ==
               0 &&
           format.nb_components >= 3 && (depth == 8 || depth == 16) && format.comp[0].shift == 0 &&
           format.comp[1].depth == depth;
}

bool IsSupportedSmall(AVPixelFormat inFormat)
{
    return IsSmall(inFormat) && sws_isSupportedOutput(inFormat) != 0;
}

// Format and its twin of the other matrix.
struct WrappedRow
{
    AVPixelFormat mFormat;
    bool mFullRange;
    PixelFormat mRow601; // Invalid: there is none
    PixelFormat mRow709;
    PixelFormat mField601;
    PixelFormat mField709;
};

using namespace norviktypes;

constexpr WrappedRow kWrappedRows[] = {
    {AV_PIX_FMT_YUV420P, false, kPixelFormat_YUV_420_MPEG2_Frame_8u_601,
     kPixelFormat_YUV_420_MPEG2_Frame_8u_709, kPixelFormat_YUV_420_MPEG2_Field_8u_601,
     kPixelFormat_YUV_420_MPEG2_Field_8u_709},
    {AV_PIX_FMT_YUVJ420P, true, kPixelFormat_YUV_420_Center_Frame_8u_601_Full, kPixelFormat_Invalid,
     kPixelFormat_Invalid, kPixelFormat_Invalid},
    {AV_PIX_FMT_YUV420P10LE, false, kPixelFormat_Invalid, kPixelFormat_YUV_420_MPEG2_Frame_10u_709,
     kPixelFormat_Invalid, kPixelFormat_YUV_420_MPEG2_Field_10u_709},
    {AV_PIX_FMT_YUV422P, false, kPixelFormat_Invalid, kPixelFormat_YUV_422_Planar_8u_709,
     kPixelFormat_Invalid, kPixelFormat_YUV_422_Planar_8u_709},
    {AV_PIX_FMT_YUV422P10LE, false, kPixelFormat_Invalid, kPixelFormat_YUV_422_Planar_10u_709,
     kPixelFormat_Invalid, kPixelFormat_YUV_422_Planar_10u_709},
    {AV_PIX_FMT_UYVY422, false, kPixelFormat_UYVY_422_8u_601, kPixelFormat_UYVY_422_8u_709,
     kPixelFormat_UYVY_422_8u_601, kPixelFormat_UYVY_422_8u_709},
    {AV_PIX_FMT_YUYV422, false, kPixelFormat_YUYV_422_8u_601, kPixelFormat_YUYV_422_8u_709,
     kPixelFormat_YUYV_422_8u_601, kPixelFormat_YUYV_422_8u_709},
};

AVColorSpace MatrixOf(const OutputDescription& inOutput)
{
    const int found = av_color_space_from_name(inOutput.mSourceColour.mMatrix.c_str());
    switch (found)
    {
    case AVCOL_SPC_BT709:
    case AVCOL_SPC_SMPTE170M:
    case AVCOL_SPC_BT470BG: return static_cast<AVColorSpace>(found);
    default:
        return inOutput.mHeight < kHighDefinitionLines && (found < 0 || found == AVCOL_SPC_UNSPECIFIED)
                   ? AVCOL_SPC_SMPTE170M
                   : AVCOL_SPC_BT709;
    }
}

// Primaries and curves that frames keep; everything else became Rec.709 on the way in.
bool IsKeptPrimaries(int inPrimaries)
{
    return inPrimaries == AVCOL_PRI_BT709 || inPrimaries == AVCOL_PRI_BT470BG ||
           inPrimaries == AVCOL_PRI_SMPTE170M || inPrimaries == AVCOL_PRI_SMPTE240M;
}

bool IsKeptTransfer(int inTransfer)
{
    switch (inTransfer)
    {
    case AVCOL_TRC_BT709:
    case AVCOL_TRC_GAMMA22:
    case AVCOL_TRC_GAMMA28:
    case AVCOL_TRC_SMPTE170M:
    case AVCOL_TRC_SMPTE240M:
    case AVCOL_TRC_IEC61966_2_4:
    case AVCOL_TRC_IEC61966_2_1:
    case AVCOL_TRC_BT2020_10:
    case AVCOL_TRC_BT2020_12: return true;
    default: return false;
    }
}

void FreeFrameReference(void* inOpaque, std::uint8_t*)
{
    delete static_cast<MF::IVideoFrameRef*>(inOpaque);
}

struct ScalerDeleter
{
    void operator()(SwsContext* inContext) const noexcept { sws_freeContext(inContext); }
};

} // namespace

// Where the pixels of a rendered frame lie.
struct PictureLayout::Pixels
{
    explicit Pixels(const MF::IVideoFrameRef& inFrame)
    {
        inFrame->GetBounds(mBounds);
        inFrame->GetPixelFormat(mFormat);
        const VF::IVideoFramePixelsRef pixels(inFrame);
        const VF::IVideoFrameRasterRef raster(inFrame);
        mData = static_cast<std::uint8_t*>(pixels->GetPixels());
        mRowBytes = raster->GetRowBytes();
    }

    const std::uint8_t* Row(std::int32_t inRow) const
    {
        return mData + static_cast<std::ptrdiff_t>(inRow) * mRowBytes;
    }

    TVK::Rect mBounds;
    PixelFormat mFormat;
    std::uint8_t* mData = nullptr;
    std::int32_t mRowBytes = 0;
};

PictureLayout::PictureLayout(AVPixelFormat inFormat, const OutputDescription& inOutput, bool inIsJpeg)
    : mFormat(inFormat)
    , mWidth(inOutput.mWidth)
    , mHeight(inOutput.mHeight)
    , mFieldType(inOutput.mFieldType)
    , mPixelAspectRatio(inOutput.mPixelAspectRatio)
{
    if (!IsSupported(inFormat))
    {
        throw ToolError(ExitCode::kUsage, std::string("--pix-fmt: ") + Descriptor(inFormat).name +
                                              " is not a format that pictures can be laid out in");
    }
    if (Has(inFormat, AV_PIX_FMT_FLAG_RGB) || IsSmall(inFormat))
    {
        ChooseRGB(inOutput);
    }
    else
    {
        ChooseYUV(inOutput, inIsJpeg);
    }
    ChooseTags(inOutput);
    if (mWay != Way::kWrap)
    {
        const int size = av_image_get_buffer_size(mFormat, mWidth, mHeight, kAlignment);
        mPool.reset(size > 0 ? av_buffer_pool_init(static_cast<std::size_t>(size), nullptr) : nullptr);
        if (!mPool)
        {
            throw ToolError(ExitCode::kTryAgain, inOutput.mPath + ": out of memory");
        }
        mLaidOutBytes = static_cast<std::uint64_t>(size);
    }
}

PictureLayout::~PictureLayout() = default;

bool PictureLayout::IsSupported(AVPixelFormat inFormat)
{
    return !Has(inFormat, AV_PIX_FMT_FLAG_HWACCEL) && !Has(inFormat, AV_PIX_FMT_FLAG_BAYER) &&
           !Has(inFormat, AV_PIX_FMT_FLAG_PAL) &&
           (IsSupportedPlanes(inFormat) || IsSupportedPacked(inFormat) || IsSupportedSmall(inFormat) ||
            inFormat == AV_PIX_FMT_UYVY422 || inFormat == AV_PIX_FMT_YUYV422);
}

AVPixelFormat PictureLayout::Nearest(const AVPixelFormat* inFormats, const OutputDescription& inOutput)
{
    AVPixelFormat source = av_get_pix_fmt(inOutput.mSourcePixelFormat.c_str());
    source = source == AV_PIX_FMT_NONE ? AV_PIX_FMT_BGRA : source;
    bool offersRGB = false;
    for (const AVPixelFormat* format = inFormats; *format != AV_PIX_FMT_NONE; ++format)
    {
        offersRGB = offersRGB || (Has(*format, AV_PIX_FMT_FLAG_RGB) && IsSupported(*format));
    }
    // An encoder of YUV takes RGB best as what its players can show, which full chroma mostly isn't.
    if (!offersRGB && Has(source, AV_PIX_FMT_FLAG_RGB))
    {
        const bool isDeep = Descriptor(source).comp[0].depth > 8;
        source = inOutput.mHasAlpha ? (isDeep ? AV_PIX_FMT_YUVA420P10LE : AV_PIX_FMT_YUVA420P)
                                    : (isDeep ? AV_PIX_FMT_YUV420P10LE : AV_PIX_FMT_YUV420P);
    }
    AVPixelFormat best = AV_PIX_FMT_NONE;
    for (const AVPixelFormat* format = inFormats; *format != AV_PIX_FMT_NONE; ++format)
    {
        if (IsSupported(*format))
        {
            int loss = 0;
            best = best == AV_PIX_FMT_NONE
                       ? *format
                       : av_find_best_pix_fmt_of_2(best, *format, source, inOutput.mHasAlpha ? 1 : 0, &loss);
        }
    }
    return best;
}

void PictureLayout::ChooseRGB(const OutputDescription& inOutput)
{
    const bool hasAlpha = inOutput.mHasAlpha && Has(mFormat, AV_PIX_FMT_FLAG_ALPHA);
    if (IsSmall(mFormat))
    {
        mRenderFormat = kPixelFormat_BGRX_4444_8u;
        mWay = Way::kSmall;
    }
    else if (Has(mFormat, AV_PIX_FMT_FLAG_FLOAT))
    {
        mRenderFormat = hasAlpha ? kPixelFormat_BGRA_4444_32f_Linear : kPixelFormat_BGRX_4444_32f_Linear;
        mWay = Way::kFloatPlanes;
    }
    else
    {
        const bool isDeep = Descriptor(mFormat).comp[0].depth > 8;
        mRenderFormat = hasAlpha ? (isDeep ? kPixelFormat_BGRA_4444_16u : kPixelFormat_BGRA_4444_8u)
                                 : (isDeep ? kPixelFormat_BGRX_4444_16u : kPixelFormat_BGRX_4444_8u);
        const bool same =
            mFormat == AV_PIX_FMT_BGRA || mFormat == AV_PIX_FMT_BGR0 || mFormat == AV_PIX_FMT_BGRA64LE;
        mWay = same ? Way::kWrap : IsSupportedPacked(mFormat) ? Way::kPacked : Way::kPlanes;
    }
}

bool PictureLayout::ChooseWrappedYUV(bool inIs601, bool inInterlaced)
{
    const bool isFull = mColour.mRange == AVCOL_RANGE_JPEG;
    for (const WrappedRow& row : kWrappedRows)
    {
        // Full-range 4:2:0 is written as yuv420p with a tag as often as under its own name.
        const bool sameFormat =
            row.mFormat == mFormat || (row.mFormat == AV_PIX_FMT_YUVJ420P && mFormat == AV_PIX_FMT_YUV420P);
        if (!sameFormat || row.mFullRange != isFull)
        {
            continue;
        }
        const PixelFormat& format = inIs601 ? (inInterlaced ? row.mField601 : row.mRow601)
                                            : (inInterlaced ? row.mField709 : row.mRow709);
        if (format != kPixelFormat_Invalid)
        {
            mRenderFormat = format;
            mSiting = row.mFullRange ? AVCHROMA_LOC_CENTER : AVCHROMA_LOC_LEFT;
            return true;
        }
    }
    return false;
}

void PictureLayout::ChooseYUV(const OutputDescription& inOutput, bool inIsJpeg)
{
    const AVPixFmtDescriptor& format = Descriptor(mFormat);
    mColour.mMatrix = inIsJpeg ? AVCOL_SPC_BT470BG : MatrixOf(inOutput);
    const bool isFull = inIsJpeg || IsAlwaysFullRange(mFormat) || IsGrey(mFormat) ||
                        inOutput.mSourceColour.mRange == av_color_range_name(AVCOL_RANGE_JPEG);
    mColour.mRange = isFull ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;

    const bool is601 = mColour.mMatrix != AVCOL_SPC_BT709;
    if (ChooseWrappedYUV(is601, norviktypes::IsInterlaced(mFieldType)))
    {
        mWay = Way::kWrap;
        return;
    }
    mWay = Way::kPlanes;
    const bool isDeep = format.comp[0].depth > 8;
    const bool hasAlpha = inOutput.mHasAlpha && Has(mFormat, AV_PIX_FMT_FLAG_ALPHA);
    mSiting = format.log2_chroma_w == 0 ? AVCHROMA_LOC_UNSPECIFIED
              : IsCentreSited(mFormat)  ? AVCHROMA_LOC_CENTER
                                        : AVCHROMA_LOC_LEFT;
    if (IsGrey(mFormat))
    {
        mRenderFormat = isDeep ? kPixelFormat_BGRX_4444_16u : kPixelFormat_BGRX_4444_8u;
    }
    else if (!isDeep && !isFull)
    {
        mRenderFormat = is601 ? (hasAlpha ? kPixelFormat_VUYA_4444_8u : kPixelFormat_VUYX_4444_8u)
                              : (hasAlpha ? kPixelFormat_VUYA_4444_8u_709 : kPixelFormat_VUYX_4444_8u_709);
        // Chroma that is halved sideways already needn't be spread out and halved again.
        const bool isPlain422 = mFormat == AV_PIX_FMT_YUV422P && is601;
        mRenderFormat = isPlain422 ? kPixelFormat_UYVY_422_8u_601 : mRenderFormat;
    }
    else if (!isDeep && is601)
    {
        mRenderFormat = hasAlpha ? kPixelFormat_VUYA_4444_8u_601_Full : kPixelFormat_VUYX_4444_8u_601_Full;
    }
    else if (mFormat == AV_PIX_FMT_YUV422P10LE && is601 && !isFull)
    {
        mRenderFormat = kPixelFormat_V210_422_10u_601;
    }
    else
    {
        mRenderFormat = is601 ? (hasAlpha ? kPixelFormat_VUYA_4444_32f : kPixelFormat_VUYX_4444_32f)
                              : (hasAlpha ? kPixelFormat_VUYA_4444_32f_709 : kPixelFormat_VUYX_4444_32f_709);
    }
}

void PictureLayout::ChooseTags(const OutputDescription& inOutput)
{
    const int primaries = av_color_primaries_from_name(inOutput.mSourceColour.mPrimaries.c_str());
    const int transfer = av_color_transfer_from_name(inOutput.mSourceColour.mTransfer.c_str());
    mColour.mPrimaries =
        IsKeptPrimaries(primaries) ? static_cast<AVColorPrimaries>(primaries) : AVCOL_PRI_BT709;
    mColour.mTransfer =
        IsKeptTransfer(transfer) ? static_cast<AVColorTransferCharacteristic>(transfer) : AVCOL_TRC_BT709;
    if (Has(mFormat, AV_PIX_FMT_FLAG_RGB) || IsSmall(mFormat))
    {
        mColour.mMatrix = AVCOL_SPC_RGB;
        mColour.mRange = AVCOL_RANGE_JPEG;
    }
    if (mWay == Way::kFloatPlanes)
    {
        mColour.mTransfer = AVCOL_TRC_LINEAR;
    }
}

void PictureLayout::SetAttributes(AVFrame& outPicture) const
{
    outPicture.format = mFormat;
    outPicture.width = mWidth;
    outPicture.height = mHeight;
    outPicture.color_primaries = mColour.mPrimaries;
    outPicture.color_trc = mColour.mTransfer;
    outPicture.colorspace = mColour.mMatrix;
    outPicture.color_range = mColour.mRange;
    outPicture.chroma_location = mSiting;
    outPicture.interlaced_frame = norviktypes::IsInterlaced(mFieldType) ? 1 : 0;
    outPicture.top_field_first = mFieldType == norviktypes::kFieldType_UpperFirst ? 1 : 0;
    outPicture.sample_aspect_ratio = {static_cast<int>(mPixelAspectRatio.GetNumerator()),
                                      static_cast<int>(mPixelAspectRatio.GetDenominator())};
}

EncoderFrame PictureLayout::Lay(const MF::IVideoFrameRef& inFrame) const
{
    const Pixels pixels(inFrame);
    if (pixels.mFormat != mRenderFormat || pixels.mBounds.Width() != mWidth ||
        pixels.mBounds.Height() != mHeight)
    {
        throw ToolError(ExitCode::kInternal, "a frame was rendered as " +
                                                 std::string(PixelFormatText(pixels.mFormat)) +
                                                 " and not as " + PixelFormatText(mRenderFormat));
    }
    if (mWay == Way::kWrap)
    {
        return Wrap(inFrame, pixels);
    }
    EncoderFrame picture = NewPicture();
    switch (mWay)
    {
    case Way::kPacked: LayPacked(pixels, *picture); break;
    case Way::kFloatPlanes: LayFloatPlanes(pixels, *picture); break;
    case Way::kSmall: LaySmall(pixels, *picture); break;
    default: LayPlanes(pixels, *picture); break;
    }
    return picture;
}

EncoderFrame PictureLayout::NewPicture() const
{
    EncoderFrame picture(av_frame_alloc(), FFmpegDeleter());
    if (picture)
    {
        picture->buf[0] = av_buffer_pool_get(mPool.get());
    }
    if (!picture || picture->buf[0] == nullptr)
    {
        throw ToolError(ExitCode::kTryAgain, "out of memory");
    }
    SetAttributes(*picture);
    av_image_fill_arrays(picture->data, picture->linesize, picture->buf[0]->data, mFormat, mWidth, mHeight,
                         kAlignment);
    return picture;
}

// The encoder's reference keeps the rendered frame alive; nobody writes to it any more.
EncoderFrame PictureLayout::Wrap(const MF::IVideoFrameRef& inFrame, const Pixels& inPixels) const
{
    EncoderFrame picture(av_frame_alloc(), FFmpegDeleter());
    const auto rowBytes = static_cast<std::size_t>(inPixels.mRowBytes);
    const AVPixFmtDescriptor& format = Descriptor(mFormat);
    const bool isPlanar = (format.flags & AV_PIX_FMT_FLAG_PLANAR) != 0;
    const int chromaHeight = -(-mHeight >> format.log2_chroma_h);
    const std::size_t lumaBytes = rowBytes * static_cast<std::size_t>(mHeight);
    const std::size_t chromaBytes = isPlanar ? rowBytes / 2 * static_cast<std::size_t>(chromaHeight) : 0;
    if (!picture)
    {
        throw ToolError(ExitCode::kTryAgain, "out of memory");
    }
    auto reference = std::make_unique<MF::IVideoFrameRef>(inFrame);
    picture->buf[0] = av_buffer_create(inPixels.mData, lumaBytes + 2 * chromaBytes, FreeFrameReference,
                                       reference.get(), AV_BUFFER_FLAG_READONLY);
    if (picture->buf[0] == nullptr)
    {
        throw ToolError(ExitCode::kTryAgain, "out of memory");
    }
    static_cast<void>(reference.release());
    SetAttributes(*picture);
    picture->data[0] = inPixels.mData;
    picture->linesize[0] = inPixels.mRowBytes;
    if (isPlanar)
    {
        picture->data[1] = inPixels.mData + lumaBytes;
        picture->data[2] = picture->data[1] + chromaBytes;
        picture->linesize[1] = picture->linesize[2] = inPixels.mRowBytes / 2;
    }
    return picture;
}

void PictureLayout::LayPlanes(const Pixels& inPixels, AVFrame& outPicture) const
{
    const AVPixFmtDescriptor& format = Descriptor(mFormat);
    Session::EncoderPlanes planes;
    for (std::size_t i = 0; i < 4; ++i)
    {
        planes.mPlanes[i] = outPicture.data[i];
        planes.mStrides[i] = outPicture.linesize[i];
    }
    // FFmpeg keeps alpha in the second plane of a grey picture, the image routines always in the last.
    if (IsGrey(mFormat) && Has(mFormat, AV_PIX_FMT_FLAG_ALPHA))
    {
        std::swap(planes.mPlanes[1], planes.mPlanes[3]);
        std::swap(planes.mStrides[1], planes.mStrides[3]);
    }
    planes.mWidth = mWidth;
    planes.mHeight = mHeight;
    planes.mIsRGB = Has(mFormat, AV_PIX_FMT_FLAG_RGB);
    planes.mIsGrey = IsGrey(mFormat);
    planes.mIsSemiPlanar = mFormat == AV_PIX_FMT_NV12 || mFormat == AV_PIX_FMT_P010LE;
    planes.mIsMSBAligned = format.comp[0].shift > 0;
    planes.mBitsPerSample = format.comp[0].depth;
    planes.mChromaShiftX = format.log2_chroma_w;
    planes.mChromaShiftY = format.log2_chroma_h;
    planes.mIsCentreSited = IsCentreSited(mFormat);
    planes.mIsInterlaced = norviktypes::IsInterlaced(mFieldType);
    planes.mIsFullRange = mColour.mRange == AVCOL_RANGE_JPEG;
    planes.mIs709 = mColour.mMatrix == AVCOL_SPC_BT709 || planes.mIsGrey;
    planes.mHasAlpha = Has(mFormat, AV_PIX_FMT_FLAG_ALPHA);
    const std::int32_t status =
        Session::LayOutPlanes(inPixels.mData, inPixels.mRowBytes, mRenderFormat, planes);
    if (status < 0)
    {
        throw ToolError(ExitCode::kInternal, std::string("no way from ") + PixelFormatText(mRenderFormat) +
                                                 " to " + format.name + " (" + std::to_string(status) + ")");
    }
}

namespace
{

// inSource: four components of Sample in B, G, R, A order. Offsets are in bytes within a pixel.
template <typename Sample>
void ShuffleRow(const std::uint8_t* inSource, std::uint8_t* outRow, std::int32_t inWidth,
                const AVPixFmtDescriptor& inFormat, bool inSwapBytes)
{
    constexpr std::array<std::size_t, 4> kComponentAt = {2, 1, 0, 3}; // R, G, B, A of FFmpeg's lists
    const auto step = static_cast<std::size_t>(inFormat.comp[0].step);
    const auto components = static_cast<std::size_t>(inFormat.nb_components);
    for (std::size_t i = 0; i < components; ++i)
    {
        const std::uint8_t* source = inSource + kComponentAt[i] * sizeof(Sample);
        std::uint8_t* target = outRow + inFormat.comp[i].offset;
        for (std::int32_t x = 0; x < inWidth; ++x, source += 4 * sizeof(Sample), target += step)
        {
            Sample value;
            std::memcpy(&value, source, sizeof(Sample));
            if constexpr (sizeof(Sample) == 2)
            {
                value = inSwapBytes ? static_cast<Sample>(value << 8 | value >> 8) : value;
            }
            std::memcpy(target, &value, sizeof(Sample));
        }
    }
}

} // namespace

void PictureLayout::LayPacked(const Pixels& inPixels, AVFrame& outPicture) const
{
    const AVPixFmtDescriptor& format = Descriptor(mFormat);
    const bool hasPadding = format.comp[0].step * 8 > format.nb_components * format.comp[0].depth;
    for (std::int32_t y = 0; y < mHeight; ++y)
    {
        std::uint8_t* target = outPicture.data[0] + static_cast<std::ptrdiff_t>(y) * outPicture.linesize[0];
        if (hasPadding)
        {
            std::memset(target, 0xFF,
                        static_cast<std::size_t>(mWidth) * static_cast<std::size_t>(format.comp[0].step));
        }
        if (format.comp[0].depth == 16)
        {
            ShuffleRow<std::uint16_t>(inPixels.Row(y), target, mWidth, format, !IsLittleEndian16(mFormat));
        }
        else
        {
            ShuffleRow<std::uint8_t>(inPixels.Row(y), target, mWidth, format, false);
        }
    }
}

void PictureLayout::LayFloatPlanes(const Pixels& inPixels, AVFrame& outPicture) const
{
    constexpr std::array<std::size_t, 4> kComponentOfPlane = {1, 0, 2, 3}; // planes G, B, R, A
    const auto planes = static_cast<std::size_t>(Descriptor(mFormat).nb_components);
    for (std::size_t i = 0; i < planes; ++i)
    {
        for (std::int32_t y = 0; y < mHeight; ++y)
        {
            const std::uint8_t* source = inPixels.Row(y) + kComponentOfPlane[i] * sizeof(float);
            std::uint8_t* target =
                outPicture.data[i] + static_cast<std::ptrdiff_t>(y) * outPicture.linesize[i];
            for (std::int32_t x = 0; x < mWidth; ++x, source += 4 * sizeof(float), target += sizeof(float))
            {
                std::memcpy(target, source, sizeof(float));
            }
        }
    }
}

// Few bits, in which colours are lost anyway: FFmpeg's own dithering.
void PictureLayout::LaySmall(const Pixels& inPixels, AVFrame& outPicture) const
{
    const std::unique_ptr<SwsContext, ScalerDeleter> scaler(sws_getContext(
        mWidth, mHeight, AV_PIX_FMT_BGR0, mWidth, mHeight, mFormat, SWS_POINT, nullptr, nullptr, nullptr));
    const std::array<const std::uint8_t*, 4> source = {inPixels.mData, nullptr, nullptr, nullptr};
    const std::array<int, 4> strides = {inPixels.mRowBytes, 0, 0, 0};
    if (!scaler || sws_scale(scaler.get(), source.data(), strides.data(), 0, mHeight, outPicture.data,
                             outPicture.linesize) < 0)
    {
        throw ToolError(ExitCode::kInternal, std::string("no way to ") + Descriptor(mFormat).name);
    }
}

} // namespace vrender
