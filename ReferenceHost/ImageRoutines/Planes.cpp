#include "ReferenceHost/ImageRoutines/Planes.h"

#include "ReferenceHost/ImageRoutines/Colour.h"
#include "ReferenceHost/ImageRoutines/Operations.h"

namespace ir
{

std::int32_t ConvertPlanes(const PlanarPicture& inSource, std::int32_t inSourceField, void* outTarget,
                           std::int32_t inTargetRowBytes, std::int32_t inTargetWidth,
                           std::int32_t inTargetHeight, std::uint32_t inTargetFormat, std::int32_t inQuality)
{
    Picture source;
    Picture target;
    std::int32_t status = PictureFromPlanes(inSource, inSource.planes, source);
    if (status == kIR_Success)
    {
        status = PictureFromCode(outTarget, inTargetRowBytes, inTargetWidth, inTargetHeight, inTargetFormat,
                                 target);
    }
    if (status == kIR_Success && (inSourceField < kIR_WholePicture || inSourceField > kIR_LowerField))
    {
        status = kIR_BadArgument;
    }
    if (status == kIR_Success && inSourceField == kIR_LowerField && source.height < 2)
    {
        status = kIR_BadSize;
    }
    return status != kIR_Success ? status
                                 : ScalePictures(source, inSourceField, target, kIR_WholePicture, inQuality);
}

bool CanConvertRows(const PlanarPicture& inSource, std::uint32_t inTargetFormat) noexcept
{
    Picture source;
    Picture target;
    const std::int32_t noPixels[4] = {0, 0, 0, 0}; // a row of a picture that is never written
    return PictureFromPlanes(inSource, inSource.planes, source) == kIR_Success &&
           PictureFromCode(noPixels, sizeof noPixels, 1, 1, inTargetFormat, target) == kIR_Success &&
           !IsBottomLeftCode(inTargetFormat) && CanConvertYuvRows(source, target);
}

std::int32_t ConvertPlaneRows(const PlanarPicture& inSource, std::int32_t inFirst, std::int32_t inCount,
                              void* outTarget, std::int32_t inTargetRowBytes, std::uint32_t inTargetFormat)
{
    Picture source;
    Picture target;
    std::int32_t status = PictureFromPlanes(inSource, inSource.planes, source);
    if (status == kIR_Success)
    {
        status = PictureFromCode(outTarget, inTargetRowBytes, source.width, inCount, inTargetFormat, target);
    }
    if (status == kIR_Success)
    {
        ConvertYuvRows(source, inFirst, target);
    }
    return status;
}

std::int32_t ConvertToPlanes(const void* inSource, std::int32_t inSourceRowBytes, std::int32_t inSourceWidth,
                             std::int32_t inSourceHeight, std::uint32_t inSourceFormat,
                             const MutablePlanarPicture& outTarget, std::int32_t inQuality)
{
    Picture source;
    Picture target;
    std::int32_t status =
        PictureFromCode(inSource, inSourceRowBytes, inSourceWidth, inSourceHeight, inSourceFormat, source);
    if (status == kIR_Success)
    {
        const void* const planes[4] = {outTarget.planes[0], outTarget.planes[1], outTarget.planes[2],
                                       outTarget.planes[3]};
        status = PictureFromPlanes(outTarget, planes, target);
    }
    if (status == kIR_Success && (target.transfer != Transfer::kDisplay ||
                                  target.primaries != Primaries::k709 || !IsLinearModel(target.matrix)))
    {
        status = kIR_UnknownFormat;
    }
    return status != kIR_Success
               ? status
               : ScalePictures(source, kIR_WholePicture, target, kIR_WholePicture, inQuality);
}

}
