#include "PlanarFields.h"

#include "FrameConforming.h"
#include "FrameImage.h"
#include "IR/ImageRoutines.h"
#include "VF/VideoFrame.h"

#include <cstring>

namespace ML
{

namespace
{

// Of the codes of the image routines.
constexpr std::uint32_t kLayoutBits = 0xF0;
constexpr std::uint32_t kChromaOfFrames = 4;
constexpr std::uint32_t kChromaOfFields = 5;
constexpr std::uint32_t kFullHeightChroma = 6;
constexpr std::uint32_t kDepthBits = 0x700;

std::uint32_t LayoutOf(const FrameImage& inImage) noexcept
{
    return (inImage.mCode & kLayoutBits) >> 4;
}

bool IsOfSize(const MF::IVideoFrameRef& inFrame, const CutlistRenderParams& inParams)
{
    return BoundsOfFrame(inFrame) == TVK::Rect{0, 0, static_cast<std::int32_t>(inParams.mWidth),
                                               static_cast<std::int32_t>(inParams.mHeight)};
}

// Whether the planes asked for are those of inImage, but for their layout.
bool IsWishedWithLayout(const FrameImage& inImage, std::uint32_t inLayout,
                        const CutlistRenderParams& inParams)
{
    return ((inImage.mCode & ~kLayoutBits) | inLayout << 4) ==
           VF::BEPixelFormatToIRPixelFormat(inParams.mPixelFormat);
}

CutlistRenderParams WithFormatOf(const MF::IVideoFrameRef& inFrame, const CutlistRenderParams& inParams)
{
    CutlistRenderParams params = inParams;
    params.mPixelFormat = FormatOfFrame(inFrame);
    return params;
}

// One plane: its first row, the bytes from row to row and those that are used, and how many rows there are.
struct Rows
{
    std::uint8_t* mFirst = nullptr;
    std::ptrdiff_t mStride = 0;
    std::size_t mBytes = 0;
    std::int32_t mCount = 0;
};

Rows RowsOf(const FrameImage& inImage, int inPlane) noexcept
{
    const std::size_t sampleBytes = (inImage.mCode & kDepthBits) == 0 ? 1 : 2;
    if (inPlane == 0)
    {
        return {inImage.mPixels, inImage.mRowBytes, static_cast<std::size_t>(inImage.mWidth) * sampleBytes,
                inImage.mHeight};
    }
    Rows rows;
    rows.mCount = LayoutOf(inImage) == kFullHeightChroma ? inImage.mHeight : (inImage.mHeight + 1) / 2;
    rows.mStride = inImage.mRowBytes / 2;
    rows.mBytes = static_cast<std::size_t>(inImage.mWidth + 1) / 2 * sampleBytes;
    const std::ptrdiff_t luma = static_cast<std::ptrdiff_t>(inImage.mRowBytes) * inImage.mHeight;
    rows.mFirst = inImage.mPixels + luma + (inPlane - 1) * rows.mStride * rows.mCount;
    return rows;
}

void WeavePlane(const Rows& inUpper, const Rows& inLower, const Rows& inTarget) noexcept
{
    for (std::int32_t row = 0; row < inTarget.mCount; ++row)
    {
        const Rows& from = row % 2 == 0 ? inUpper : inLower;
        std::memcpy(inTarget.mFirst + row * inTarget.mStride, from.mFirst + row * from.mStride,
                    inTarget.mBytes);
    }
}

} // namespace

bool HasWishedPlanes(const MF::IVideoFrameRef& inFrame, const CutlistRenderParams& inRenderParams)
{
    return inRenderParams.mRenderQuality < norviktypes::kRenderQuality_Max &&
           norviktypes::IsSubsampled(inRenderParams.mPixelFormat.mProperties) &&
           FormatOfFrame(inFrame) == inRenderParams.mPixelFormat &&
           !NeedsScaleToRenderSize(inFrame, inRenderParams);
}

bool HaveRowsOfFields(const MF::IVideoFrameRef& inLower, const MF::IVideoFrameRef& inUpper,
                      const CutlistRenderParams& inRenderParams)
{
    return HasWishedPlanes(inLower, inRenderParams) && HasWishedPlanes(inUpper, inRenderParams) &&
           IsOfSize(inLower, inRenderParams) && IsOfSize(inUpper, inRenderParams);
}

bool HaveRowsForFields(const MF::IVideoFrameRef& inLower, const MF::IVideoFrameRef& inUpper,
                       const CutlistRenderParams& inRenderParams)
{
    if (FormatOfFrame(inLower) != FormatOfFrame(inUpper) ||
        !norviktypes::IsSubsampled(inRenderParams.mPixelFormat.mProperties) ||
        !norviktypes::IsSubsampled(FormatOfFrame(inLower).mProperties))
    {
        return false;
    }
    const FrameImage image = ImageOfFrame(inLower);
    const std::uint32_t layout = LayoutOf(image);
    const std::uint32_t ofFields = layout == kChromaOfFrames ? kChromaOfFields : layout;
    return (ofFields == kChromaOfFields || ofFields == kFullHeightChroma) &&
           IsWishedWithLayout(image, ofFields, inRenderParams) &&
           HaveRowsOfFields(inLower, inUpper, WithFormatOf(inLower, inRenderParams));
}

bool HasRowsForOneMoment(const MF::IVideoFrameRef& inFrame, const CutlistRenderParams& inRenderParams)
{
    if (!norviktypes::IsSubsampled(FormatOfFrame(inFrame).mProperties) || !IsOfSize(inFrame, inRenderParams))
    {
        return false;
    }
    const FrameImage image = ImageOfFrame(inFrame);
    const bool areOfFrames =
        LayoutOf(image) == kChromaOfFields && IsWishedWithLayout(image, kChromaOfFrames, inRenderParams);
    return HasWishedPlanes(inFrame, areOfFrames ? WithFormatOf(inFrame, inRenderParams) : inRenderParams);
}

MF::IVideoFrameRef DeinterlacedPlanes(const MF::IVideoFrameRef& inFrame,
                                      norviktypes::RenderQuality inDeinterlaceQuality, bool inUseLowerField,
                                      const CutlistRenderParams& inRenderParams)
{
    MF::IVideoFrameRef made = CreateRenderSizeFrame(inRenderParams, false, false);
    if (made)
    {
        made->SetFieldType(norviktypes::kFieldType_Progressive);
        const FrameImage from = ImageOfFrame(inFrame);
        const FrameImage to = ImageOfFrame(made);
        // Both by the layout of the source: its rows are those of a field.
        const std::int32_t status =
            IR_DeinterlaceInto(from.mPixels, from.mRowBytes, from.mCode, to.mPixels, to.mRowBytes, from.mCode,
                               to.mWidth, to.mHeight, inUseLowerField ? 1 : 0, inDeinterlaceQuality);
        if (status < 0)
        {
            made.reset(); // nothing has been written to it
        }
    }
    return made;
}

MF::IVideoFrameRef WovenPlanes(const MF::IVideoFrameRef& inLower, const MF::IVideoFrameRef& inUpper,
                               const CutlistRenderParams& inRenderParams)
{
    const MF::IVideoFrameRef woven = CreateRenderSizeFrame(inRenderParams, false, false);
    if (woven)
    {
        const FrameImage lower = ImageOfFrame(inLower);
        const FrameImage upper = ImageOfFrame(inUpper);
        const FrameImage target = ImageOfFrame(woven);
        for (int plane = 0; plane < 3; ++plane)
        {
            WeavePlane(RowsOf(upper, plane), RowsOf(lower, plane), RowsOf(target, plane));
        }
    }
    return woven;
}

} // namespace ML
