#include "ReferenceHost/Media/FFmpeg/PictureMapping.h"

#include "IR/ImageRoutines.h"
#include "ReferenceHost/Media/FFmpeg/FFmpegTypes.h"
#include "ReferenceHost/Media/FFmpeg/PixelLayout.h"

#include <algorithm>

namespace Media
{

namespace
{

using norviktypes::PixelFormat;

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
    outDescription.chromaShiftX =
        outDescription.isRGB || outDescription.isGray ? 0 : inDescriptor.log2_chroma_w;
    outDescription.chromaShiftY =
        outDescription.isRGB || outDescription.isGray ? 0 : inDescriptor.log2_chroma_h;
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
                               inDescription.matrix == ir::Matrix::k601 ||
                               inDescription.matrix == ir::Matrix::k709;
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
        return Choose(inTone, kPixelFormat_BGRX_4444_32f, kPixelFormat_BGRA_4444_32f,
                      kPixelFormat_BGRP_4444_32f);
    }
    return inDepth <= 8 ? Choose(inTone, kPixelFormat_BGRX_4444_8u, kPixelFormat_BGRA_4444_8u,
                                 kPixelFormat_BGRP_4444_8u)
                        : Choose(inTone, kPixelFormat_BGRX_4444_16u, kPixelFormat_BGRA_4444_16u,
                                 kPixelFormat_BGRP_4444_16u);
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
        return Choose(inTone, kPixelFormat_VUYX_4444_32f, kPixelFormat_VUYA_4444_32f,
                      kPixelFormat_VUYP_4444_32f);
    }
    if (inIsFull)
    {
        return Choose(inTone, kPixelFormat_VUYX_4444_8u_601_Full, kPixelFormat_VUYA_4444_8u_601_Full,
                      kPixelFormat_VUYP_4444_8u_601_Full);
    }
    return inIs709 ? Choose(inTone, kPixelFormat_VUYX_4444_8u_709, kPixelFormat_VUYA_4444_8u_709,
                            kPixelFormat_VUYP_4444_8u_709)
                   : Choose(inTone, kPixelFormat_VUYX_4444_8u, kPixelFormat_VUYA_4444_8u,
                            kPixelFormat_VUYP_4444_8u);
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
        const bool isJPEG =
            is420 && !is709 && !isField && inDepth == 8 && inDescription.siting == ir::ChromaSiting::kCenter;
        return isJPEG ? kPixelFormat_YUV_420_Center_Frame_8u_601_Full : kPixelFormat_Invalid;
    }
    if (inDescription.siting != ir::ChromaSiting::kLeft)
    {
        return kPixelFormat_Invalid;
    }
    if (is420 && inDepth == 8)
    {
        return is709 ? (isField ? kPixelFormat_YUV_420_MPEG2_Field_8u_709
                                : kPixelFormat_YUV_420_MPEG2_Frame_8u_709)
                     : (isField ? kPixelFormat_YUV_420_MPEG2_Field_8u_601
                                : kPixelFormat_YUV_420_MPEG2_Frame_8u_601);
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

} // namespace

const AVPixFmtDescriptor* DescriptorOf(int inPixelFormat)
{
    const AVPixFmtDescriptor* descriptor = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(inPixelFormat));
    return descriptor && !(descriptor->flags & AV_PIX_FMT_FLAG_HWACCEL) ? descriptor : nullptr;
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

int PlaneOfComponent(const ir::PlanarDescription& inDescription, int inComponent)
{
    constexpr int kRGBPlanes[4] = {2, 0, 1, 3};
    if (inDescription.isGray)
    {
        return inComponent == 0 ? 0 : 3;
    }
    return inDescription.isRGB ? kRGBPlanes[inComponent] : inComponent;
}

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

bool SourcePicture::DescribeShape(const AVFrame& inShape, const PictureTraits& inTraits)
{
    const AVPixFmtDescriptor* descriptor = DescriptorOf(inShape.format);
    if (!descriptor || inShape.width <= 0 || inShape.height <= 0)
    {
        return false;
    }
    static const std::uint8_t sNoSamples = 0; // is never read
    mBlock = nullptr;
    mPlanes = ir::PlanarPicture();
    mPlanes.width = inShape.width;
    mPlanes.height = inShape.height;
    DescribeColour(*descriptor, inShape.format, inTraits, mPlanes);
    const bool isInPlace = (descriptor->flags & (AV_PIX_FMT_FLAG_BAYER | AV_PIX_FMT_FLAG_PAL)) == 0 &&
                           inShape.format != AV_PIX_FMT_UYYVYY411 && DescribeInPlace(inShape);
    for (int plane = 0; plane < 4; ++plane)
    {
        mPlanes.planes[plane] = mPlanes.strides[plane] != 0 ? &sNoSamples : nullptr;
    }
    return isInPlace;
}

std::int32_t SourcePicture::ConvertTo(void* outTarget, std::int32_t inRowBytes, std::int32_t inWidth,
                                      std::int32_t inHeight, std::uint32_t inTargetFormat,
                                      std::int32_t inQuality) const
{
    if (mBlock)
    {
        return IR_ScaleConvert(mBlock, mBlockRowBytes, mPlanes.width, mPlanes.height, mBlockFormat,
                               kIR_WholePicture, outTarget, inRowBytes, inWidth, inHeight, inTargetFormat,
                               kIR_WholePicture, inQuality);
    }
    return ir::ConvertPlanes(mPlanes, kIR_WholePicture, outTarget, inRowBytes, inWidth, inHeight,
                             inTargetFormat, inQuality);
}

bool SourcePicture::HasRowsFor(std::uint32_t inTargetFormat) const noexcept
{
    return !mBlock && ir::CanConvertRows(mPlanes, inTargetFormat);
}

std::int32_t SourcePicture::ConvertRowsTo(std::uint8_t* outRows, std::int32_t inRowBytes,
                                          std::int32_t inFirst, std::int32_t inCount,
                                          std::uint32_t inTargetFormat) const
{
    return ir::ConvertPlaneRows(mPlanes, inFirst, inCount, outRows, inRowBytes, inTargetFormat);
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
    if (isForeignOrder || (descriptor.flags & AV_PIX_FMT_FLAG_BITSTREAM) != 0 ||
        (isFloat && first.depth != 32) || (!isFloat && (first.depth < 8 || first.depth > 16)))
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
        isPlanar = isPlanar && isPlain && component.shift == 0 && component.step == bytes &&
                   component.offset == 0 && component.plane == plane;
        // U before V, side by side.
        isSemiPlanar =
            isSemiPlanar && isPlain && (component.shift == 0 || component.shift == 16 - component.depth) &&
            component.plane == (c == 0 ? 0 : 1) && component.step == (c == 0 ? bytes : 2 * bytes) &&
            component.offset == (c == 2 ? bytes : 0);
    }
    if (!isPlanar && !isSemiPlanar && !isPacked422)
    {
        return false;
    }
    mPlanes.layout = isPlanar                               ? ir::PlaneLayout::kPlanar
                     : isSemiPlanar                         ? ir::PlaneLayout::kSemiPlanar
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

} // namespace Media
