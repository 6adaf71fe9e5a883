#include "ReferenceHost/Effects/EffectFormats.h"

#include "MF/PixelFormats.h"
#include "VF/VideoFrame.h"

#include <cstring>

namespace Effects
{
namespace
{

std::ptrdiff_t PixelBytes(const ir::Picture& inPicture)
{
    return std::ptrdiff_t{4} * ir::SampleBytes(inPicture.sample);
}

} // namespace

const std::vector<norviktypes::PixelFormat>& WorkingFormats()
{
    static const std::vector<norviktypes::PixelFormat> sFormats = {
        MF::kPixelFormat_BGRA_4444_8u, MF::kPixelFormat_BGRA_4444_16u, MF::kPixelFormat_BGRA_4444_32f,
        MF::kPixelFormat_BGRA_4444_32f_Linear};
    return sFormats;
}

std::int32_t PictureOf(const MF::IVideoFrameRef& inFrame, ir::Picture& outPicture)
{
    const VF::IVideoFramePixelsRef pixels(inFrame);
    const VF::IVideoFrameRasterRef raster(inFrame);
    if (!pixels || !raster)
    {
        return VF::kFrameStatus_BadArgument;
    }
    const void* const memory = pixels->GetPixels();
    if (memory == nullptr)
    {
        return VF::kFrameStatus_OutOfMemory;
    }
    norviktypes::PixelFormat format;
    inFrame->GetPixelFormat(format);
    TVK::Rect bounds;
    inFrame->GetBounds(bounds);
    return ir::PictureFromCode(memory, raster->GetRowBytes(), bounds.Width(), bounds.Height(),
                               VF::BEPixelFormatToIRPixelFormat(format), outPicture);
}

ir::Picture PartOf(const ir::Picture& inPicture, std::int32_t inX, std::int32_t inY, std::int32_t inWidth,
                   std::int32_t inHeight)
{
    ir::Picture part = inPicture;
    part.planes[0] = inPicture.Row(0, inY) + PixelBytes(inPicture) * inX;
    part.width = inWidth;
    part.height = inHeight;
    return part;
}

bool AreAlike(const ir::Picture& inA, const ir::Picture& inB) noexcept
{
    return inA.width == inB.width && inA.height == inB.height && inA.storage == inB.storage &&
           inA.sample == inB.sample && inA.matrix == inB.matrix && inA.transfer == inB.transfer &&
           inA.alpha == inB.alpha && inA.isFullRange == inB.isFullRange;
}

void CopyPixels(const ir::Picture& inSource, std::int32_t inSourceX, std::int32_t inSourceY,
                const ir::Picture& outTarget, std::int32_t inTargetX, std::int32_t inTargetY,
                std::int32_t inWidth)
{
    const std::ptrdiff_t pixel = PixelBytes(inSource);
    std::memcpy(outTarget.Row(0, inTargetY) + pixel * inTargetX,
                inSource.Row(0, inSourceY) + pixel * inSourceX, static_cast<std::size_t>(pixel * inWidth));
}

} // namespace Effects
