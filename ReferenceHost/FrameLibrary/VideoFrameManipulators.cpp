#include "VF/VideoFrameManipulators.h"

#include "IR/ImageRoutines.h"
#include "ReferenceHost/FrameLibrary/PixelMaker.h"
#include "VF/VideoFrame.h"

#include <algorithm>
#include <cstring>

namespace VF::VideoFrameManipulators
{

namespace
{

using norviktypes::AlphaChannel;
using norviktypes::RenderQuality;

// Fields of the image routines, by the numbers that callers use here.
constexpr std::uint32_t kLastField = kIR_LowerField;

std::int32_t StatusOfImageRoutine(std::int32_t inResult) noexcept
{
    if (inResult == kIR_OutOfMemory)
    {
        return kFrameStatus_OutOfMemory;
    }
    return inResult < 0 ? kFrameStatus_BadArgument : kFrameStatus_OK;
}

bool HaveSameShape(const FramePixels& inA, const FramePixels& inB) noexcept
{
    return inA.mFormat == inB.mFormat && inA.mWidth == inB.mWidth && inA.mHeight == inB.mHeight;
}

void CopyPlane(const FramePixels& inSource, const FramePixels& inTarget, std::size_t inPlane) noexcept
{
    const FramePlane& source = inSource.mGeometry.mPlanes[inPlane];
    const FramePlane& target = inTarget.mGeometry.mPlanes[inPlane];
    if (source.mRowBytes == target.mRowBytes)
    {
        // The padding of a last row may lie outside of a foreign frame's buffer.
        std::memcpy(inTarget.Row(inPlane, 0), inSource.Row(inPlane, 0),
                    source.mRowBytes * (source.mLines - 1) + source.mUsedBytes);
        return;
    }
    for (std::uint32_t line = 0; line < source.mLines; ++line)
    {
        std::memcpy(inTarget.Row(inPlane, line), inSource.Row(inPlane, line), source.mUsedBytes);
    }
}

void CopyRows(const FramePixels& inSource, const FramePixels& inTarget) noexcept
{
    if (inSource.mPixels == inTarget.mPixels)
    {
        return;
    }
    for (std::size_t plane = 0; plane < inSource.mGeometry.mPlaneCount; ++plane)
    {
        CopyPlane(inSource, inTarget, plane);
    }
}

std::int32_t ScaleConvert(const FramePixels& inSource, std::int32_t inSourceField,
                          const FramePixels& inTarget, std::int32_t inTargetField,
                          RenderQuality inQuality) noexcept
{
    return StatusOfImageRoutine(IR_ScaleConvert(
        inSource.mPixels, inSource.mRowBytes, static_cast<std::int32_t>(inSource.mWidth),
        static_cast<std::int32_t>(inSource.mHeight), BEToIRPixelFormat(inSource.mFormat), inSourceField,
        inTarget.mPixels, inTarget.mRowBytes, static_cast<std::int32_t>(inTarget.mWidth),
        static_cast<std::int32_t>(inTarget.mHeight), BEToIRPixelFormat(inTarget.mFormat), inTargetField,
        inQuality));
}

std::int32_t CopyWhole(const FramePixels& inSource, const FramePixels& inTarget,
                       RenderQuality inQuality) noexcept
{
    if (HaveSameShape(inSource, inTarget))
    {
        CopyRows(inSource, inTarget);
        return kFrameStatus_OK;
    }
    return ScaleConvert(inSource, kIR_WholePicture, inTarget, kIR_WholePicture, inQuality);
}

std::int32_t CopyFieldByField(const FramePixels& inSource, const FramePixels& inTarget,
                              RenderQuality inQuality) noexcept
{
    const std::int32_t upper = ScaleConvert(inSource, kIR_UpperField, inTarget, kIR_UpperField, inQuality);
    return upper < 0 ? upper : ScaleConvert(inSource, kIR_LowerField, inTarget, kIR_LowerField, inQuality);
}

bool IsOpaqueType(AlphaChannel inType) noexcept
{
    return inType == norviktypes::kAlphaChannel_None || inType == norviktypes::kAlphaChannel_Opaque;
}

AlphaChannel TypeOfFormat(const norviktypes::PixelFormat& inFormat) noexcept
{
    return static_cast<AlphaChannel>(norviktypes::ToneOfProperties(inFormat.mProperties));
}

AlphaChannel TypeAfterCopy(AlphaChannel inSourceType, const FramePixels& inSource,
                           const FramePixels& inTarget) noexcept
{
    const AlphaChannel targetType = TypeOfFormat(inTarget.mFormat);
    const bool isCarried = IsOpaqueType(inSourceType) || TypeOfFormat(inSource.mFormat) == targetType;
    return isCarried ? inSourceType : targetType;
}

// Where a frame may be written to.
bool GetTargetPixels(const MF::IVideoFrameRef& inFrame, FramePixels& outPixels)
{
    return !inFrame->IsFrozen() && GetFramePixels(inFrame, outPixels);
}

// Pixels that are still to be made after a look found no memory.
std::int32_t StatusWithoutPixels(const MF::IVideoFrameRef& inFrame)
{
    return PendingMakerOf(inFrame) ? kFrameStatus_OutOfMemory : kFrameStatus_BadArgument;
}

// Pixels that are still to be made come where they are wanted at once. False: there are some already, or they
// are wanted otherwise.
bool MakeInTarget(const MF::IVideoFrameRef& inSource, const MF::IVideoFrameRef& inTarget,
                  std::int32_t& outStatus)
{
    FramePixels source;
    FramePixels target;
    const PixelMakerPtr maker = PendingMakerOf(inSource);
    if (!maker || inSource.get() == inTarget.get() || !GetFrameShape(inSource, source) ||
        !GetTargetPixels(inTarget, target) || !HaveSameShape(source, target))
    {
        return false;
    }
    outStatus = maker->MakeRows(0, target.mHeight, target.mPixels, target.mRowBytes);
    if (outStatus >= 0)
    {
        inTarget->SetAlphaType(TypeAfterCopy(inSource->GetAlphaType(), source, target));
    }
    return true;
}

// Lines of two moments must not be mixed; where nothing is scaled, none are.
bool IsCopiedByFields(const MF::IVideoFrameRef& inSource, const MF::IVideoFrameRef& inTarget,
                      const FramePixels& inSourcePixels, const FramePixels& inTargetPixels)
{
    const bool isScaled =
        inSourcePixels.mWidth != inTargetPixels.mWidth || inSourcePixels.mHeight != inTargetPixels.mHeight;
    const bool haveTwoFields = std::min(inSourcePixels.mHeight, inTargetPixels.mHeight) > 1;
    return isScaled && haveTwoFields && norviktypes::IsInterlaced(inSource->GetFieldType()) &&
           inSource->GetFieldType() == inTarget->GetFieldType();
}

} // namespace

std::int32_t CopyFrame(const MF::IVideoFrameRef& inSource, const MF::IVideoFrameRef& inTarget,
                       RenderQuality inQuality)
{
    std::int32_t status = kFrameStatus_OK;
    if (MakeInTarget(inSource, inTarget, status))
    {
        return status;
    }
    FramePixels source;
    FramePixels target;
    if (!GetFramePixels(inSource, source) || !GetTargetPixels(inTarget, target))
    {
        return StatusWithoutPixels(inSource);
    }
    status = CopyWhole(source, target, inQuality);
    if (status >= 0)
    {
        inTarget->SetAlphaType(TypeAfterCopy(inSource->GetAlphaType(), source, target));
    }
    return status;
}

std::int32_t CopyFrameWithFields(const MF::IVideoFrameRef& inSource, const MF::IVideoFrameRef& inTarget,
                                 RenderQuality inQuality, std::uint32_t inField)
{
    std::int32_t status = kFrameStatus_OK;
    if (inField == kIR_WholePicture && MakeInTarget(inSource, inTarget, status))
    {
        return status;
    }
    FramePixels source;
    FramePixels target;
    if (inField > kLastField)
    {
        return kFrameStatus_BadArgument;
    }
    if (!GetFramePixels(inSource, source) || !GetTargetPixels(inTarget, target))
    {
        return StatusWithoutPixels(inSource);
    }
    if (inField != kIR_WholePicture && source.mHeight > 1)
    {
        status =
            ScaleConvert(source, static_cast<std::int32_t>(inField), target, kIR_WholePicture, inQuality);
    }
    else if (inField == kIR_WholePicture && IsCopiedByFields(inSource, inTarget, source, target))
    {
        status = CopyFieldByField(source, target, inQuality);
    }
    else
    {
        status = CopyWhole(source, target, inQuality);
    }
    if (status >= 0)
    {
        inTarget->SetAlphaType(TypeAfterCopy(inSource->GetAlphaType(), source, target));
    }
    return status;
}

std::int32_t MakeAddressableVideoFrame(const MF::IVideoFrameRef& inSource, MF::IVideoFrameRef& outFrame,
                                       const norviktypes::PixelFormat& inFormat, RenderQuality inQuality)
{
    const MF::IVideoFrameRef source = inSource; // the two may be one variable
    FramePixels pixels;
    const bool hasPixels = GetFrameShape(source, pixels);
    outFrame.reset();
    if (!hasPixels)
    {
        return kFrameStatus_BadArgument;
    }
    if (norviktypes::IsUncompressed(pixels.mFormat.mProperties) &&
        !norviktypes::IsSubsampled(pixels.mFormat.mProperties))
    {
        outFrame = source;
        return kFrameStatus_OK;
    }
    MF::IVideoFrameRef copy;
    std::int32_t status = norviktypes::IsSubsampled(inFormat.mProperties)
                              ? kFrameStatus_BadArgument
                              : CreateVideoFrame(copy, inFormat, pixels.mWidth, pixels.mHeight,
                                                 norviktypes::kPixelAspectRatio_Square, false, false);
    if (status >= 0)
    {
        CopyFrameAttributes(source, copy);
        status = CopyFrame(source, copy, inQuality);
    }
    if (status >= 0)
    {
        outFrame = std::move(copy);
    }
    return status;
}

} // namespace VF::VideoFrameManipulators
