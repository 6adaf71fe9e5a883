#include "IR/ImageRoutines.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <utility>

#include "ReferenceHost/ImageRoutines/Operations.h"

namespace
{

using ir::OverBlack;
using ir::Picture;

bool IsFieldSelector(std::int32_t inField)
{
    return inField >= kIR_WholePicture && inField <= kIR_LowerField;
}

bool HasRowsOf(std::int32_t inHeight, std::int32_t inField)
{
    return inField != kIR_LowerField || inHeight > 1;
}

bool IsSamePlace(const Picture& inSource, const Picture& inTarget)
{
    return inSource.storage == ir::Storage::kPacked4 && inTarget.storage == ir::Storage::kPacked4 &&
           inSource.sample == inTarget.sample &&
           std::abs(inSource.strides[0]) == std::abs(inTarget.strides[0]) &&
           (inSource.planes[0] == inTarget.planes[0] ||
            inSource.planes[0] == inTarget.Row(0, inTarget.height - 1));
}

void TurnRowsRound(const Picture& ioPicture)
{
    const std::ptrdiff_t bytes =
        static_cast<std::ptrdiff_t>(ioPicture.width) * 4 * ir::SampleBytes(ioPicture.sample);
    for (std::int32_t y = 0; y < ioPicture.height / 2; ++y)
    {
        std::swap_ranges(ioPicture.Row(0, y), ioPicture.Row(0, y) + bytes,
                         ioPicture.Row(0, ioPicture.height - 1 - y));
    }
}

// A change of origin in place can't be done row by row: rows are converted where they lie and then change
// places.
std::int32_t ConvertInPlace(const Picture& inSource, const Picture& inTarget, const OverBlack& inOverBlack)
{
    Picture target = inTarget;
    target.planes[0] = inSource.planes[0];
    target.strides[0] = inSource.strides[0];
    const std::int32_t status = ir::ConvertPictures(inSource, target, inOverBlack);
    if (status == kIR_Success && inSource.height > 1 && inSource.planes[0] != inTarget.planes[0])
    {
        TurnRowsRound(inTarget);
    }
    return status;
}

std::int32_t ConvertSameSize(const Picture& inSource, const Picture& inTarget, const OverBlack& inOverBlack)
{
    if (!ir::Overlap(inSource, inTarget))
    {
        return ir::ConvertPictures(inSource, inTarget, inOverBlack);
    }
    return IsSamePlace(inSource, inTarget) ? ConvertInPlace(inSource, inTarget, inOverBlack)
                                           : kIR_BadArgument;
}

// One end of a conversion, as a caller describes it.
struct PixelMemory
{
    const void* pixels;
    std::int32_t rowBytes;
    std::int32_t width;
    std::int32_t height;
    std::uint32_t format;
};

std::int32_t PictureOf(const PixelMemory& inMemory, Picture& outPicture)
{
    return ir::PictureFromCode(inMemory.pixels, inMemory.rowBytes, inMemory.width, inMemory.height,
                               inMemory.format, outPicture);
}

std::int32_t PicturesOf(const PixelMemory& inSource, const PixelMemory& inTarget, Picture& outSource,
                        Picture& outTarget)
{
    const std::int32_t status = PictureOf(inSource, outSource);
    return status != kIR_Success ? status : PictureOf(inTarget, outTarget);
}

std::int32_t OnePixel(const void* inColor, std::uint32_t inFormat, Picture& outPixel)
{
    const std::int32_t status = ir::PictureFromCode(inColor, 16, 1, 1, inFormat, outPixel);
    return status == kIR_Success && outPixel.storage != ir::Storage::kPacked4 ? kIR_UnknownFormat : status;
}

template <typename Work>
std::int32_t Guarded(Work inWork) noexcept
{
    try
    {
        return inWork();
    }
    catch (...)
    {
        return kIR_OutOfMemory; // nothing else is thrown below here
    }
}

}

extern "C"
{

    int32_t IR_Convert(const void* inSource, int32_t inSourceRowBytes, uint32_t inSourceFormat,
                       void* outTarget, int32_t inTargetRowBytes, uint32_t inTargetFormat, int32_t inWidth,
                       int32_t inHeight, int32_t)
    {
        Picture source;
        Picture target;
        const std::int32_t status =
            PicturesOf({inSource, inSourceRowBytes, inWidth, inHeight, inSourceFormat},
                       {outTarget, inTargetRowBytes, inWidth, inHeight, inTargetFormat}, source, target);
        return status != kIR_Success ? status : Guarded([&] { return ConvertSameSize(source, target, {}); });
    }

    int32_t IR_ScaleConvert(const void* inSource, int32_t inSourceRowBytes, int32_t inSourceWidth,
                            int32_t inSourceHeight, uint32_t inSourceFormat, int32_t inSourceField,
                            void* outTarget, int32_t inTargetRowBytes, int32_t inTargetWidth,
                            int32_t inTargetHeight, uint32_t inTargetFormat, int32_t inTargetField,
                            int32_t inQuality)
    {
        Picture source;
        Picture target;
        const std::int32_t status = PicturesOf(
            {inSource, inSourceRowBytes, inSourceWidth, inSourceHeight, inSourceFormat},
            {outTarget, inTargetRowBytes, inTargetWidth, inTargetHeight, inTargetFormat}, source, target);
        if (status != kIR_Success)
        {
            return status;
        }
        if (!IsFieldSelector(inSourceField) || !IsFieldSelector(inTargetField) || ir::Overlap(source, target))
        {
            return kIR_BadArgument;
        }
        if (!HasRowsOf(inSourceHeight, inSourceField) || !HasRowsOf(inTargetHeight, inTargetField))
        {
            return kIR_BadSize;
        }
        return Guarded(
            [&] { return ir::ScalePictures(source, inSourceField, target, inTargetField, inQuality); });
    }

    int32_t IR_FillWithColor(void* outPixels, int32_t inRowBytes, int32_t inWidth, int32_t inHeight,
                             uint32_t inFormat, const void* inColor, uint32_t inColorFormat)
    {
        Picture target;
        Picture color;
        std::int32_t status = ir::PictureFromCode(outPixels, inRowBytes, inWidth, inHeight, inFormat, target);
        if (status == kIR_Success)
        {
            status = OnePixel(inColor, inColorFormat, color);
        }
        return status != kIR_Success ? status : Guarded([&] { return ir::FillPicture(target, color); });
    }

    int32_t IR_UnPremultiplyAgainstMatteColor(void* ioPixels, int32_t inRowBytes, uint32_t inFormat,
                                              int32_t inWidth, int32_t inHeight, const void* inMatte,
                                              uint32_t inMatteFormat, int32_t)
    {
        Picture picture;
        Picture matte;
        std::int32_t status = ir::PictureFromCode(ioPixels, inRowBytes, inWidth, inHeight, inFormat, picture);
        if (status == kIR_Success)
        {
            status = picture.storage == ir::Storage::kPacked4 ? OnePixel(inMatte, inMatteFormat, matte)
                                                              : kIR_UnknownFormat;
        }
        return status != kIR_Success ? status
                                     : Guarded([&] { return ir::UnPremultiplyPicture(picture, matte); });
    }

    int32_t IR_CompositeToBlack(const void* inSource, int32_t inSourceRowBytes, uint32_t inSourceFormat,
                                void* outTarget, int32_t inTargetRowBytes, uint32_t inTargetFormat,
                                int32_t inWidth, int32_t inHeight, float inOpacity, int32_t)
    {
        Picture source;
        Picture target;
        const std::int32_t status =
            PicturesOf({inSource, inSourceRowBytes, inWidth, inHeight, inSourceFormat},
                       {outTarget, inTargetRowBytes, inWidth, inHeight, inTargetFormat}, source, target);
        if (status != kIR_Success || std::isnan(inOpacity))
        {
            return status != kIR_Success ? status : kIR_BadArgument;
        }
        const OverBlack overBlack = {true, inOpacity < 0.0F ? 0.0F : inOpacity > 1.0F ? 1.0F : inOpacity};
        return Guarded([&] { return ConvertSameSize(source, target, overBlack); });
    }

    int32_t IR_IsOriginTopLeft(uint32_t inFormat)
    {
        return ir::IsKnownCode(inFormat) && !ir::IsBottomLeftCode(inFormat) ? 1 : 0;
    }

    int32_t IR_IsOriginBottomLeft(uint32_t inFormat)
    {
        return ir::IsBottomLeftCode(inFormat) ? 1 : 0;
    }
}
