#include "ReferenceHost/Media/FFmpeg/PictureMapping.h"

#include "IR/ImageRoutines.h"
#include "ReferenceHost/Media/FFmpeg/FFmpegTypes.h"

#include <algorithm>
#include <bit>
#include <cstring>

extern "C"
{
#include <libavutil/imgutils.h>
#include <libswscale/swscale.h>
}

namespace Media
{

namespace
{

using norviktypes::PixelFormat;

// Codes of the image routines: straight BGRA and opaque BGRX, and the bits of a premultiplied and a linear one.
constexpr std::uint32_t kCode_BGRA_8u = 0x004;
constexpr std::uint32_t kCode_BGRA_16u = 0x204;
constexpr std::uint32_t kCodeAlphaMask = 0x00C;
constexpr std::uint32_t kCodePremultiplied = 0x008;
constexpr std::uint32_t kCodeOpaque = 0x00C;

constexpr std::size_t kRowAlignment = 64;

const AVPixFmtDescriptor* DescriptorOf(int inPixelFormat)
{
    const AVPixFmtDescriptor* descriptor = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(inPixelFormat));
    return descriptor && !(descriptor->flags & AV_PIX_FMT_FLAG_HWACCEL) ? descriptor : nullptr;
}

bool IsXYZ(int inPixelFormat)
{
    return inPixelFormat == AV_PIX_FMT_XYZ12LE || inPixelFormat == AV_PIX_FMT_XYZ12BE;
}

bool IsRGB(const AVPixFmtDescriptor& inDescriptor, int inPixelFormat)
{
    return (inDescriptor.flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_BAYER)) != 0 ||
           IsXYZ(inPixelFormat);
}

// One or two components: grey, and alpha.
bool IsGray(const AVPixFmtDescriptor& inDescriptor, int inPixelFormat)
{
    return inDescriptor.nb_components <= 2 && !IsRGB(inDescriptor, inPixelFormat);
}

int DeepestComponent(const AVPixFmtDescriptor& inDescriptor)
{
    int depth = 0;
    for (int c = 0; c < inDescriptor.nb_components; ++c)
    {
        depth = std::max(depth, inDescriptor.comp[c].depth);
    }
    return inDescriptor.flags & AV_PIX_FMT_FLAG_PAL ? 8 : depth;
}

ir::Matrix MatrixOf(int inMatrix)
{
    switch (inMatrix)
    {
    case AVCOL_SPC_FCC: return ir::Matrix::kFCC;
    case AVCOL_SPC_BT470BG:
    case AVCOL_SPC_SMPTE170M: return ir::Matrix::k601;
    case AVCOL_SPC_SMPTE240M: return ir::Matrix::k240M;
    case AVCOL_SPC_YCGCO: return ir::Matrix::kYCgCo;
    case AVCOL_SPC_BT2020_NCL: return ir::Matrix::k2020NonConstant;
    case AVCOL_SPC_BT2020_CL: return ir::Matrix::k2020Constant;
    case AVCOL_SPC_ICTCP: return ir::Matrix::kICtCp;
    default: return ir::Matrix::k709;
    }
}

ir::Transfer TransferOf(int inTransfer)
{
    switch (inTransfer)
    {
    case AVCOL_TRC_LINEAR: return ir::Transfer::kLinear;
    case AVCOL_TRC_SMPTE2084: return ir::Transfer::kPQ;
    case AVCOL_TRC_ARIB_STD_B67: return ir::Transfer::kHLG;
    default: return ir::Transfer::kDisplay;
    }
}

ir::Primaries PrimariesOf(int inPrimaries)
{
    switch (inPrimaries)
    {
    case AVCOL_PRI_BT470M: return ir::Primaries::k470M;
    case AVCOL_PRI_FILM: return ir::Primaries::kFilm;
    case AVCOL_PRI_BT2020: return ir::Primaries::k2020;
    case AVCOL_PRI_SMPTE428: return ir::Primaries::kXYZ;
    case AVCOL_PRI_SMPTE431: return ir::Primaries::kP3DCI;
    case AVCOL_PRI_SMPTE432: return ir::Primaries::kP3D65;
    default: return ir::Primaries::k709;
    }
}

ir::ChromaSiting SitingOf(int inSiting)
{
    switch (inSiting)
    {
    case AVCHROMA_LOC_CENTER: return ir::ChromaSiting::kCenter;
    case AVCHROMA_LOC_TOPLEFT: return ir::ChromaSiting::kTopLeft;
    case AVCHROMA_LOC_TOP: return ir::ChromaSiting::kTop;
    case AVCHROMA_LOC_BOTTOMLEFT: return ir::ChromaSiting::kBottomLeft;
    case AVCHROMA_LOC_BOTTOM: return ir::ChromaSiting::kBottom;
    default: return ir::ChromaSiting::kLeft;
    }
}

ir::AlphaKind AlphaKindOf(const AVPixFmtDescriptor& inDescriptor, FileAlpha inAlpha)
{
    if (!(inDescriptor.flags & AV_PIX_FMT_FLAG_ALPHA))
    {
        return ir::AlphaKind::kNone;
    }
    return inAlpha == FileAlpha::kPremultiplied ? ir::AlphaKind::kPremultiplied : ir::AlphaKind::kStraight;
}

// The part of a description that doesn't depend on where the samples lie.
void DescribeColour(const AVPixFmtDescriptor& inDescriptor, int inPixelFormat, const PictureTraits& inTraits,
                    ir::PlanarDescription& outDescription)
{
    outDescription.isRGB = IsRGB(inDescriptor, inPixelFormat);
    outDescription.isGray = IsGray(inDescriptor, inPixelFormat);
    outDescription.chromaShiftX = outDescription.isRGB || outDescription.isGray ? 0 : inDescriptor.log2_chroma_w;
    outDescription.chromaShiftY = outDescription.isRGB || outDescription.isGray ? 0 : inDescriptor.log2_chroma_h;
    outDescription.siting = SitingOf(inTraits.colour.siting);
    outDescription.isInterlaced = inTraits.isFieldChroma;
    outDescription.isFullRange = inTraits.colour.range == AVCOL_RANGE_JPEG || outDescription.isRGB;
    outDescription.matrix = outDescription.isRGB ? ir::Matrix::kRGB : MatrixOf(inTraits.colour.matrix);
    outDescription.transfer = TransferOf(inTraits.colour.transfer);
    outDescription.primaries =
        IsXYZ(inPixelFormat) ? ir::Primaries::kXYZ : PrimariesOf(inTraits.colour.primaries);
    outDescription.alpha = AlphaKindOf(inDescriptor, inTraits.alpha);
}

// Colour that the YUV and RGB rows of the table express as it stands.
bool IsPlainColour(const ir::PlanarDescription& inDescription)
{
    const bool isPlainMatrix = inDescription.isRGB || inDescription.isGray ||
                               inDescription.matrix == ir::Matrix::k601 || inDescription.matrix == ir::Matrix::k709;
    return isPlainMatrix && inDescription.transfer == ir::Transfer::kDisplay &&
           inDescription.primaries == ir::Primaries::k709;
}

enum Tone
{
    kOpaque,
    kStraight,
    kPremultiplied
};

PixelFormat Choose(Tone inTone, const PixelFormat& inOpaque, const PixelFormat& inStraight,
                   const PixelFormat& inPremultiplied)
{
    return inTone == kOpaque ? inOpaque : inTone == kStraight ? inStraight : inPremultiplied;
}

PixelFormat RowOfRGB(int inDepth, bool inIsFloat, bool inIsLinear, Tone inTone)
{
    using namespace norviktypes;
    if (inIsLinear)
    {
        return Choose(inTone, kPixelFormat_BGRX_4444_32f_Linear, kPixelFormat_BGRA_4444_32f_Linear,
                      kPixelFormat_BGRP_4444_32f_Linear);
    }
    if (inIsFloat)
    {
        return Choose(inTone, kPixelFormat_BGRX_4444_32f, kPixelFormat_BGRA_4444_32f, kPixelFormat_BGRP_4444_32f);
    }
    return inDepth <= 8
               ? Choose(inTone, kPixelFormat_BGRX_4444_8u, kPixelFormat_BGRA_4444_8u, kPixelFormat_BGRP_4444_8u)
               : Choose(inTone, kPixelFormat_BGRX_4444_16u, kPixelFormat_BGRA_4444_16u, kPixelFormat_BGRP_4444_16u);
}

// Four components, each pixel with its own chroma: holds every YUV picture.
PixelFormat RowOfYUV444(bool inIs709, bool inIsFull, bool inIsDeep, Tone inTone)
{
    using namespace norviktypes;
    const bool needsFloat = inIsDeep || (inIs709 && inIsFull);
    if (needsFloat && inIs709)
    {
        return Choose(inTone, kPixelFormat_VUYX_4444_32f_709, kPixelFormat_VUYA_4444_32f_709,
                      kPixelFormat_VUYP_4444_32f_709);
    }
    if (needsFloat)
    {
        return Choose(inTone, kPixelFormat_VUYX_4444_32f, kPixelFormat_VUYA_4444_32f, kPixelFormat_VUYP_4444_32f);
    }
    if (inIsFull)
    {
        return Choose(inTone, kPixelFormat_VUYX_4444_8u_601_Full, kPixelFormat_VUYA_4444_8u_601_Full,
                      kPixelFormat_VUYP_4444_8u_601_Full);
    }
    return inIs709 ? Choose(inTone, kPixelFormat_VUYX_4444_8u_709, kPixelFormat_VUYA_4444_8u_709,
                            kPixelFormat_VUYP_4444_8u_709)
                   : Choose(inTone, kPixelFormat_VUYX_4444_8u, kPixelFormat_VUYA_4444_8u, kPixelFormat_VUYP_4444_8u);
}

// The subsampled row that has exactly this layout, or kPixelFormat_Invalid.
PixelFormat RowOfSubsampledYUV(const ir::PlanarDescription& inDescription, int inDepth)
{
    using namespace norviktypes;
    const bool is709 = inDescription.matrix == ir::Matrix::k709;
    const bool is420 = inDescription.chromaShiftX == 1 && inDescription.chromaShiftY == 1;
    const bool is422 = inDescription.chromaShiftX == 1 && inDescription.chromaShiftY == 0;
    const bool isField = inDescription.isInterlaced;
    if (inDescription.isFullRange)
    {
        const bool isJPEG = is420 && !is709 && !isField && inDepth == 8 &&
                            inDescription.siting == ir::ChromaSiting::kCenter;
        return isJPEG ? kPixelFormat_YUV_420_Center_Frame_8u_601_Full : kPixelFormat_Invalid;
    }
    if (inDescription.siting != ir::ChromaSiting::kLeft)
    {
        return kPixelFormat_Invalid;
    }
    if (is420 && inDepth == 8)
    {
        return is709 ? (isField ? kPixelFormat_YUV_420_MPEG2_Field_8u_709 : kPixelFormat_YUV_420_MPEG2_Frame_8u_709)
                     : (isField ? kPixelFormat_YUV_420_MPEG2_Field_8u_601 : kPixelFormat_YUV_420_MPEG2_Frame_8u_601);
    }
    if (is420 && inDepth == 10 && is709)
    {
        return isField ? kPixelFormat_YUV_420_MPEG2_Field_10u_709 : kPixelFormat_YUV_420_MPEG2_Frame_10u_709;
    }
    if (is422 && inDepth == 8)
    {
        return is709 ? kPixelFormat_YUV_422_Planar_8u_709 : kPixelFormat_UYVY_422_8u_601;
    }
    if (is422 && inDepth == 10)
    {
        return is709 ? kPixelFormat_YUV_422_Planar_10u_709 : kPixelFormat_V210_422_10u_601;
    }
    return kPixelFormat_Invalid;
}

PixelFormat RowOfYUV(int inPixelFormat, const ir::PlanarDescription& inDescription, int inDepth, Tone inTone)
{
    using namespace norviktypes;
    const bool is709 = inDescription.matrix == ir::Matrix::k709;
    const bool isNarrow = !inDescription.isFullRange;
    if (inPixelFormat == AV_PIX_FMT_UYVY422 && isNarrow)
    {
        return is709 ? kPixelFormat_UYVY_422_8u_709 : kPixelFormat_UYVY_422_8u_601;
    }
    if (inPixelFormat == AV_PIX_FMT_YUYV422 && isNarrow)
    {
        return is709 ? kPixelFormat_YUYV_422_8u_709 : kPixelFormat_YUYV_422_8u_601;
    }
    const PixelFormat subsampled =
        inTone == kOpaque ? RowOfSubsampledYUV(inDescription, inDepth) : kPixelFormat_Invalid;
    return subsampled != kPixelFormat_Invalid
               ? subsampled
               : RowOfYUV444(is709, inDescription.isFullRange, inDepth > 8, inTone);
}

// A half-precision number's value: exact, since every one of them is a float.
float HalfToFloat(std::uint16_t inHalf)
{
    const std::uint32_t sign = static_cast<std::uint32_t>(inHalf & 0x8000u) << 16;
    const std::uint32_t exponent = inHalf >> 10 & 0x1Fu;
    const std::uint32_t mantissa = inHalf & 0x3FFu;
    if (exponent == 0)
    {
        const float value = static_cast<float>(mantissa) * 0x1p-24f;
        return sign != 0 ? -value : value;
    }
    const std::uint32_t wide = exponent == 31 ? 255u : exponent + 112u;
    return std::bit_cast<float>(sign | wide << 23 | mantissa << 13);
}

std::size_t AlignUp(std::size_t inBytes)
{
    return (inBytes + kRowAlignment - 1) / kRowAlignment * kRowAlignment;
}

// The plane of component inComponent in a planar description: G, B, R, A or Y, U, V, A or grey and A.
int PlaneOfComponent(const ir::PlanarDescription& inDescription, int inComponent)
{
    constexpr int kRGBPlanes[4] = {2, 0, 1, 3};
    if (inDescription.isGray)
    {
        return inComponent == 0 ? 0 : 3;
    }
    return inDescription.isRGB ? kRGBPlanes[inComponent] : inComponent;
}

} // namespace

bool FormatHasAlpha(int inPixelFormat)
{
    const AVPixFmtDescriptor* descriptor = DescriptorOf(inPixelFormat);
    return descriptor && (descriptor->flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
}

PixelFormat NativeFormatOf(int inPixelFormat, const PictureTraits& inTraits)
{
    const AVPixFmtDescriptor* descriptor = DescriptorOf(inPixelFormat);
    if (!descriptor)
    {
        return norviktypes::kPixelFormat_Invalid;
    }
    ir::PlanarDescription description;
    DescribeColour(*descriptor, inPixelFormat, inTraits, description);
    const int depth = DeepestComponent(*descriptor);
    const bool isFloat = (descriptor->flags & AV_PIX_FMT_FLAG_FLOAT) != 0;
    const Tone tone = description.alpha == ir::AlphaKind::kNone       ? kOpaque
                      : description.alpha == ir::AlphaKind::kStraight ? kStraight
                                                                      : kPremultiplied;
    // Colour that has to be converted leaves its code values behind, and needs room above and below them.
    const bool isConverted = !IsPlainColour(description);
    const bool isLinear = description.transfer == ir::Transfer::kLinear;
    if (description.isRGB || description.isGray || isConverted)
    {
        // Narrow grey expanded to full range no longer lies on 8-bit steps.
        const int wide = description.isGray && !description.isFullRange ? std::max(depth, 9) : depth;
        return RowOfRGB(wide, isFloat || isConverted, isLinear, tone);
    }
    return RowOfYUV(inPixelFormat, description, depth, tone);
}

bool SourcePicture::Describe(const AVFrame& inFrame, const PictureTraits& inTraits)
{
    const AVPixFmtDescriptor* descriptor = DescriptorOf(inFrame.format);
    if (!descriptor || !inFrame.data[0] || inFrame.width <= 0 || inFrame.height <= 0)
    {
        return false;
    }
    mBlock = nullptr;
    mPlanes = ir::PlanarPicture();
    mPlanes.width = inFrame.width;
    mPlanes.height = inFrame.height;
    DescribeColour(*descriptor, inFrame.format, inTraits, mPlanes);
    if (descriptor->flags & AV_PIX_FMT_FLAG_BAYER)
    {
        return UnpackMosaic(inFrame);
    }
    if (inFrame.format == AV_PIX_FMT_UYYVYY411)
    {
        return UnpackUneven(inFrame);
    }
    if (descriptor->flags & AV_PIX_FMT_FLAG_PAL)
    {
        return UnpackPalette(inFrame);
    }
    return DescribeInPlace(inFrame) || UnpackRGB(inFrame) || UnpackComponents(inFrame);
}

std::int32_t SourcePicture::ConvertTo(void* outTarget, std::int32_t inRowBytes, std::int32_t inWidth,
                                      std::int32_t inHeight, std::uint32_t inTargetFormat,
                                      std::int32_t inQuality) const
{
    if (mBlock)
    {
        return IR_ScaleConvert(mBlock, mBlockRowBytes, mPlanes.width, mPlanes.height, mBlockFormat, kIR_WholePicture,
                               outTarget, inRowBytes, inWidth, inHeight, inTargetFormat, kIR_WholePicture,
                               inQuality);
    }
    return ir::ConvertPlanes(mPlanes, kIR_WholePicture, outTarget, inRowBytes, inWidth, inHeight, inTargetFormat,
                             inQuality);
}

// True where the image routines read the samples where they lie.
bool SourcePicture::DescribeInPlace(const AVFrame& inFrame)
{
    const AVPixFmtDescriptor& descriptor = *DescriptorOf(inFrame.format);
    const bool isPacked422 = inFrame.format == AV_PIX_FMT_YUYV422 || inFrame.format == AV_PIX_FMT_UYVY422;
    const bool isForeignOrder = (descriptor.flags & AV_PIX_FMT_FLAG_BE) != 0;
    const bool isFloat = (descriptor.flags & AV_PIX_FMT_FLAG_FLOAT) != 0;
    const AVComponentDescriptor& first = descriptor.comp[0];
    const int bytes = isFloat ? 4 : first.depth > 8 ? 2 : 1;
    if (isForeignOrder || (descriptor.flags & AV_PIX_FMT_FLAG_BITSTREAM) != 0 || (isFloat && first.depth != 32) ||
        (!isFloat && (first.depth < 8 || first.depth > 16)))
    {
        return false;
    }
    bool isPlanar = true;
    bool isSemiPlanar = descriptor.nb_components == 3 && !mPlanes.isRGB;
    for (int c = 0; c < descriptor.nb_components; ++c)
    {
        const AVComponentDescriptor& component = descriptor.comp[c];
        const bool isPlain = component.depth == first.depth && component.shift == first.shift;
        const int plane = PlaneOfComponent(mPlanes, c);
        isPlanar = isPlanar && isPlain && component.shift == 0 && component.step == bytes && component.offset == 0 &&
                   component.plane == plane;
        // U before V, side by side.
        isSemiPlanar = isSemiPlanar && isPlain && (component.shift == 0 || component.shift == 16 - component.depth) &&
                       component.plane == (c == 0 ? 0 : 1) && component.step == (c == 0 ? bytes : 2 * bytes) &&
                       component.offset == (c == 2 ? bytes : 0);
    }
    if (!isPlanar && !isSemiPlanar && !isPacked422)
    {
        return false;
    }
    mPlanes.layout = isPlanar                              ? ir::PlaneLayout::kPlanar
                     : isSemiPlanar                        ? ir::PlaneLayout::kSemiPlanar
                     : inFrame.format == AV_PIX_FMT_YUYV422 ? ir::PlaneLayout::kPackedYUYV
                                                            : ir::PlaneLayout::kPackedUYVY;
    mPlanes.isFloat = isFloat;
    mPlanes.bitsPerSample = isFloat ? 32 : first.depth;
    mPlanes.isMSBAligned = first.shift != 0;
    for (int plane = 0; plane < 4; ++plane)
    {
        mPlanes.planes[plane] = inFrame.data[plane];
        mPlanes.strides[plane] = inFrame.linesize[plane];
    }
    return true;
}

void SourcePicture::DescribeBlock(const void* inPixels, std::int32_t inRowBytes, bool inIsDeep)
{
    const std::uint32_t straight = inIsDeep ? kCode_BGRA_16u : kCode_BGRA_8u;
    const std::uint32_t alpha = mPlanes.alpha == ir::AlphaKind::kNone       ? kCodeOpaque
                                : mPlanes.alpha == ir::AlphaKind::kStraight ? straight & kCodeAlphaMask
                                                                            : kCodePremultiplied;
    mBlock = inPixels;
    mBlockRowBytes = inRowBytes;
    mBlockFormat = (straight & ~kCodeAlphaMask) | alpha;
}

void* SourcePicture::AllocateBlock(std::size_t inBytesPerPixel)
{
    const std::size_t rowBytes = AlignUp(static_cast<std::size_t>(mPlanes.width) * inBytesPerPixel);
    mMemory = VF::FramePool::Instance().Acquire(rowBytes * static_cast<std::size_t>(mPlanes.height));
    DescribeBlock(mMemory.Data(), static_cast<std::int32_t>(rowBytes), inBytesPerPixel == 8);
    return mMemory.Data();
}

namespace
{

// Where R, G, B and A of a packed pixel lie, in samples; alpha -1 where there is none.
struct PackedOrder
{
    int mSamples = 0;
    int mPlaces[4] = {0, 0, 0, -1};
};

template <class Sample>
Sample Load(const Sample* inSample, bool inIsForeignOrder)
{
    Sample value = 0;
    std::memcpy(&value, inSample, sizeof(value));
    if constexpr (sizeof(Sample) == 2)
    {
        return inIsForeignOrder ? static_cast<Sample>(value << 8 | value >> 8) : value;
    }
    return value;
}

template <class Sample>
void ReorderRow(const Sample* inRow, const PackedOrder& inOrder, bool inIsForeignOrder, int inWidth, Sample* outRow)
{
    for (int x = 0; x < inWidth; ++x, inRow += inOrder.mSamples, outRow += 4)
    {
        outRow[0] = Load(inRow + inOrder.mPlaces[2], inIsForeignOrder);
        outRow[1] = Load(inRow + inOrder.mPlaces[1], inIsForeignOrder);
        outRow[2] = Load(inRow + inOrder.mPlaces[0], inIsForeignOrder);
        outRow[3] = inOrder.mPlaces[3] < 0 ? static_cast<Sample>(~Sample{0})
                                           : Load(inRow + inOrder.mPlaces[3], inIsForeignOrder);
    }
}

template <class Sample>
void ReorderPicture(const AVFrame& inFrame, const PackedOrder& inOrder, bool inIsForeignOrder, void* outBlock,
                    std::int32_t inRowBytes)
{
    for (int y = 0; y < inFrame.height; ++y)
    {
        const std::ptrdiff_t row = y;
        ReorderRow(reinterpret_cast<const Sample*>(inFrame.data[0] + row * inFrame.linesize[0]), inOrder,
                   inIsForeignOrder, inFrame.width,
                   reinterpret_cast<Sample*>(static_cast<std::uint8_t*>(outBlock) + row * inRowBytes));
    }
}

} // namespace

// Packed RGB of whole bytes or 16-bit words, which is what most stills decode to.
bool SourcePicture::UnpackRGB(const AVFrame& inFrame)
{
    const AVPixFmtDescriptor& descriptor = *DescriptorOf(inFrame.format);
    const int depth = descriptor.comp[0].depth;
    if (!(descriptor.flags & AV_PIX_FMT_FLAG_RGB) || (depth != 8 && depth != 16) || descriptor.nb_components < 3 ||
        (descriptor.flags & (AV_PIX_FMT_FLAG_PLANAR | AV_PIX_FMT_FLAG_FLOAT | AV_PIX_FMT_FLAG_BITSTREAM)) != 0 ||
        mPlanes.transfer != ir::Transfer::kDisplay || mPlanes.primaries != ir::Primaries::k709)
    {
        return false;
    }
    const int bytes = depth / 8;
    PackedOrder order;
    order.mSamples = descriptor.comp[0].step / bytes;
    for (int c = 0; c < descriptor.nb_components; ++c)
    {
        if (descriptor.comp[c].depth != depth || descriptor.comp[c].shift != 0)
        {
            return false;
        }
        order.mPlaces[c] = descriptor.comp[c].offset / bytes;
    }
    if (inFrame.format == AV_PIX_FMT_BGRA || inFrame.format == AV_PIX_FMT_BGR0)
    {
        DescribeBlock(inFrame.data[0], inFrame.linesize[0], false);
        return true;
    }
    void* const block = AllocateBlock(static_cast<std::size_t>(bytes) * 4);
    if (!block)
    {
        return false;
    }
    const bool isForeignOrder = (descriptor.flags & AV_PIX_FMT_FLAG_BE) != 0;
    bytes == 1 ? ReorderPicture<std::uint8_t>(inFrame, order, false, block, mBlockRowBytes)
               : ReorderPicture<std::uint16_t>(inFrame, order, isForeignOrder, block, mBlockRowBytes);
    return true;
}

bool SourcePicture::UnpackPalette(const AVFrame& inFrame)
{
    // The entries of a palette are words of A, R, G, B, so that in memory they are BGRA already.
    auto* const block = static_cast<std::uint8_t*>(AllocateBlock(4));
    if (!block || !inFrame.data[1])
    {
        return false;
    }
    for (int y = 0; y < inFrame.height; ++y)
    {
        const std::uint8_t* indices = inFrame.data[0] + static_cast<std::ptrdiff_t>(y) * inFrame.linesize[0];
        std::uint8_t* row = block + static_cast<std::ptrdiff_t>(y) * mBlockRowBytes;
        for (int x = 0; x < inFrame.width; ++x)
        {
            std::memcpy(row + std::ptrdiff_t{4} * x, inFrame.data[1] + std::ptrdiff_t{4} * indices[x], 4);
        }
    }
    return true;
}

bool SourcePicture::AllocatePlanes(int inBytesPerSample, int inComponents)
{
    std::size_t offsets[4] = {0, 0, 0, 0};
    std::size_t total = 0;
    for (int c = 0; c < inComponents; ++c)
    {
        const int plane = PlaneOfComponent(mPlanes, c);
        const bool isChroma = !mPlanes.isRGB && !mPlanes.isGray && (plane == 1 || plane == 2);
        const int shiftX = isChroma ? mPlanes.chromaShiftX : 0;
        const int shiftY = isChroma ? mPlanes.chromaShiftY : 0;
        const int width = -(-mPlanes.width >> shiftX);
        const int height = -(-mPlanes.height >> shiftY);
        const std::size_t rowBytes = AlignUp(static_cast<std::size_t>(width) * static_cast<std::size_t>(inBytesPerSample));
        mPlanes.strides[plane] = static_cast<std::ptrdiff_t>(rowBytes);
        offsets[plane] = total;
        total += rowBytes * static_cast<std::size_t>(height);
    }
    mMemory = VF::FramePool::Instance().Acquire(total);
    for (int plane = 0; plane < 4 && mMemory; ++plane)
    {
        mPlanes.planes[plane] =
            mPlanes.strides[plane] != 0 ? static_cast<std::uint8_t*>(mMemory.Data()) + offsets[plane] : nullptr;
    }
    return static_cast<bool>(mMemory);
}

namespace
{

// Values of a component brought to inBits: 5 of 5 bits is 255 of 8, and in between to the nearest.
void WidenRow(std::uint16_t* ioValues, int inCount, int inDepth, int inBits)
{
    const std::uint32_t from = (1u << inDepth) - 1;
    const std::uint32_t to = (1u << inBits) - 1;
    for (int x = 0; x < inCount; ++x)
    {
        ioValues[x] = static_cast<std::uint16_t>((ioValues[x] * to + from / 2) / from);
    }
}

void StoreRow(const std::uint16_t* inValues, int inCount, int inBits, void* outRow)
{
    if (inBits > 8)
    {
        std::memcpy(outRow, inValues, static_cast<std::size_t>(inCount) * 2);
        return;
    }
    auto* bytes = static_cast<std::uint8_t*>(outRow);
    for (int x = 0; x < inCount; ++x)
    {
        bytes[x] = static_cast<std::uint8_t>(inValues[x]);
    }
}

// Reads row inY of component inComponent, whatever its place, shift and byte order.
template <class Element>
void ReadComponentRow(const AVFrame& inFrame, const AVPixFmtDescriptor& inDescriptor, int inComponent, int inY,
                      int inCount, Element* outValues)
{
    const std::uint8_t* data[4] = {inFrame.data[0], inFrame.data[1], inFrame.data[2], inFrame.data[3]};
    const int strides[4] = {inFrame.linesize[0], inFrame.linesize[1], inFrame.linesize[2], inFrame.linesize[3]};
    av_read_image_line2(outValues, data, strides, &inDescriptor, 0, inY, inComponent, inCount, 0, sizeof(Element));
}

void ReadFloatRow(const AVFrame& inFrame, const AVPixFmtDescriptor& inDescriptor, int inComponent, int inY,
                  int inCount, std::uint32_t* outValues)
{
    ReadComponentRow(inFrame, inDescriptor, inComponent, inY, inCount, outValues);
    if (inDescriptor.comp[inComponent].depth == 16)
    {
        for (int x = 0; x < inCount; ++x)
        {
            outValues[x] = std::bit_cast<std::uint32_t>(HalfToFloat(static_cast<std::uint16_t>(outValues[x])));
        }
    }
}

void InvertRow(std::uint16_t* ioValues, int inCount)
{
    for (int x = 0; x < inCount; ++x)
    {
        ioValues[x] ^= 1;
    }
}

} // namespace

// Every other format: component by component, into planes of at least 8 bits.
bool SourcePicture::UnpackComponents(const AVFrame& inFrame)
{
    const AVPixFmtDescriptor& descriptor = *DescriptorOf(inFrame.format);
    const int bits = std::max(8, DeepestComponent(descriptor));
    mPlanes.layout = ir::PlaneLayout::kPlanar;
    mPlanes.isFloat = (descriptor.flags & AV_PIX_FMT_FLAG_FLOAT) != 0;
    mPlanes.isMSBAligned = false;
    mPlanes.bitsPerSample = mPlanes.isFloat ? 32 : bits;
    const int bytes = mPlanes.isFloat ? 4 : bits > 8 ? 2 : 1;
    if ((!mPlanes.isFloat && bits > 16) || !AllocatePlanes(bytes, descriptor.nb_components))
    {
        return false;
    }
    const VF::FrameBufferRef scratch =
        VF::FramePool::Instance().Acquire(static_cast<std::size_t>(inFrame.width) * sizeof(std::uint32_t));
    if (!scratch)
    {
        return false;
    }
    for (int c = 0; c < descriptor.nb_components; ++c)
    {
        const int plane = PlaneOfComponent(mPlanes, c);
        const bool isChroma = !mPlanes.isRGB && !mPlanes.isGray && (c == 1 || c == 2);
        const int count = isChroma ? -(-inFrame.width >> mPlanes.chromaShiftX) : inFrame.width;
        const int lines = isChroma ? -(-inFrame.height >> mPlanes.chromaShiftY) : inFrame.height;
        for (int y = 0; y < lines; ++y)
        {
            void* row = static_cast<std::uint8_t*>(const_cast<void*>(mPlanes.planes[plane])) + y * mPlanes.strides[plane];
            if (mPlanes.isFloat)
            {
                ReadFloatRow(inFrame, descriptor, c, y, count, static_cast<std::uint32_t*>(row));
                continue;
            }
            auto* const values = static_cast<std::uint16_t*>(scratch.Data());
            ReadComponentRow(inFrame, descriptor, c, y, count, values);
            if (inFrame.format == AV_PIX_FMT_MONOWHITE)
            {
                InvertRow(values, count);
            }
            if (descriptor.comp[c].depth != bits)
            {
                WidenRow(values, count, descriptor.comp[c].depth, bits);
            }
            StoreRow(values, count, bits, row);
        }
    }
    return true;
}

// The one format whose luma doesn't lie at equal steps: U Y Y V Y Y for four pixels.
bool SourcePicture::UnpackUneven(const AVFrame& inFrame)
{
    constexpr int kGroupBytes = 6;
    constexpr int kLumaPlaces[4] = {1, 2, 4, 5};
    mPlanes.layout = ir::PlaneLayout::kPlanar;
    mPlanes.bitsPerSample = 8;
    if (!AllocatePlanes(1, 3))
    {
        return false;
    }
    const auto rowOf = [this](int inPlane, int inY)
    { return static_cast<std::uint8_t*>(const_cast<void*>(mPlanes.planes[inPlane])) + inY * mPlanes.strides[inPlane]; };
    for (int y = 0; y < inFrame.height; ++y)
    {
        const std::uint8_t* from = inFrame.data[0] + static_cast<std::ptrdiff_t>(y) * inFrame.linesize[0];
        for (int x = 0; x < inFrame.width; ++x)
        {
            rowOf(0, y)[x] = from[x / 4 * kGroupBytes + kLumaPlaces[x % 4]];
        }
        for (int group = 0; group * 4 < inFrame.width; ++group)
        {
            // The last group may end with its first pixel, before its V.
            const bool isWhole = (group + 1) * kGroupBytes <= inFrame.linesize[0] || group == 0;
            rowOf(1, y)[group] = from[group * kGroupBytes];
            rowOf(2, y)[group] = from[(isWhole ? group : group - 1) * kGroupBytes + 3];
        }
    }
    return true;
}

// The colours between the dots of a sensor are made up by FFmpeg's own scaler.
bool SourcePicture::UnpackMosaic(const AVFrame& inFrame)
{
    const bool isDeep = DeepestComponent(*DescriptorOf(inFrame.format)) > 8;
    const AVPixelFormat unpacked = isDeep ? AV_PIX_FMT_RGB48LE : AV_PIX_FMT_RGB24;
    const FramePtr picture(av_frame_alloc());
    if (!picture)
    {
        return false;
    }
    picture->format = unpacked;
    picture->width = inFrame.width;
    picture->height = inFrame.height;
    SwsContext* scaler = sws_getContext(inFrame.width, inFrame.height, static_cast<AVPixelFormat>(inFrame.format),
                                        inFrame.width, inFrame.height, unpacked, SWS_BILINEAR | SWS_ACCURATE_RND,
                                        nullptr, nullptr, nullptr);
    const bool isDone = scaler && av_frame_get_buffer(picture.get(), 0) >= 0 &&
                        sws_scale(scaler, inFrame.data, inFrame.linesize, 0, inFrame.height, picture->data,
                                  picture->linesize) == inFrame.height;
    sws_freeContext(scaler);
    return isDone && (UnpackRGB(*picture) || UnpackComponents(*picture));
}

} // namespace Media
