#include "ReferenceHost/Media/FFmpeg/PictureFrames.h"

#include "ReferenceHost/FrameLibrary/VideoFrame.h"
#include "ReferenceHost/Media/FFmpeg/FFmpegTypes.h"
#include "VF/VideoFrame.h"
#include "VF/VideoFrameManipulators.h"

#include <cstring>

namespace Media
{

namespace
{

std::int32_t NewFrame(const norviktypes::PixelFormat& inFormat, std::int32_t inWidth, std::int32_t inHeight,
                      const BE::FrameDescription& inDescription, MF::IVideoFrameRef& outFrame)
{
    const std::int32_t status = VF::CreateVideoFrame(outFrame, inFormat, static_cast<std::uint32_t>(inWidth),
                                                     static_cast<std::uint32_t>(inHeight),
                                                     inDescription.mPixelAspectRatio, false, false);
    if (status >= 0)
    {
        outFrame->SetFieldType(inDescription.mFieldType);
        return BE::kSourceStatus_OK;
    }
    return status == VF::kFrameStatus_OutOfMemory ? BE::kSourceStatus_OutOfMemory
                                                  : BE::kSourceStatus_BadMedia;
}

std::int32_t Fill(const SourcePicture& inSource, norviktypes::RenderQuality inQuality,
                  const MF::IVideoFrameRef& inFrame)
{
    VF::FramePixels pixels;
    if (!VF::GetFramePixels(inFrame, pixels))
    {
        return BE::kSourceStatus_BadMedia;
    }
    const std::int32_t status =
        inSource.ConvertTo(pixels.mPixels, pixels.mRowBytes, static_cast<std::int32_t>(pixels.mWidth),
                           static_cast<std::int32_t>(pixels.mHeight),
                           VF::BEPixelFormatToIRPixelFormat(pixels.mFormat), inQuality);
    return status == 0 ? BE::kSourceStatus_OK : BE::kSourceStatus_BadMedia;
}

// Pixel (x, y) of the target from the source, which is flipped first and turned clockwise then.
template <std::size_t PixelBytes>
void TurnPixels(const VF::FramePixels& inSource, const Orientation& inOrientation,
                const VF::FramePixels& outTarget)
{
    const std::ptrdiff_t rowBytes = inSource.mRowBytes;
    const std::ptrdiff_t pixelBytes = PixelBytes;
    const std::int64_t width = inSource.mWidth;
    const std::int64_t height = inSource.mHeight;
    // The first pixel of the target and the steps to its right and lower neighbours, in the unflipped source.
    const std::ptrdiff_t left = inOrientation.flipHorizontally ? width - 1 : 0;
    const std::ptrdiff_t alongRow = inOrientation.flipHorizontally ? -pixelBytes : pixelBytes;
    std::ptrdiff_t start = left * pixelBytes;
    std::ptrdiff_t stepX = alongRow;
    std::ptrdiff_t stepY = rowBytes;
    switch (inOrientation.clockwiseDegrees)
    {
    case 90:
        start += (height - 1) * rowBytes;
        stepX = -rowBytes;
        stepY = alongRow;
        break;
    case 180:
        start += (height - 1) * rowBytes + (width - 1) * alongRow;
        stepX = -alongRow;
        stepY = -rowBytes;
        break;
    case 270:
        start += (width - 1) * alongRow;
        stepX = rowBytes;
        stepY = -alongRow;
        break;
    default: break;
    }
    for (std::int64_t y = 0; y < outTarget.mHeight; ++y)
    {
        const std::uint8_t* from = inSource.mPixels + start + y * stepY;
        std::uint8_t* to = outTarget.mPixels + y * outTarget.mRowBytes;
        for (std::int64_t x = 0; x < outTarget.mWidth; ++x, from += stepX, to += pixelBytes)
        {
            std::memcpy(to, from, PixelBytes);
        }
    }
}

bool TurnFrame(const MF::IVideoFrameRef& inSource, const Orientation& inOrientation,
               const MF::IVideoFrameRef& inTarget)
{
    VF::FramePixels source;
    VF::FramePixels target;
    if (!VF::GetFramePixels(inSource, source) || !VF::GetFramePixels(inTarget, target))
    {
        return false;
    }
    switch (norviktypes::BytesPerPixel(source.mFormat.mProperties))
    {
    case 4: TurnPixels<4>(source, inOrientation, target); return true;
    case 8: TurnPixels<8>(source, inOrientation, target); return true;
    case 16: TurnPixels<16>(source, inOrientation, target); return true;
    default: return false;
    }
}

std::int32_t MakeTurnedFrame(const SourcePicture& inSource, const Orientation& inOrientation,
                             const BE::FrameDescription& inFormat, MF::IVideoFrameRef& outFrame)
{
    // Pixels are turned one by one, so each must hold its own chroma meanwhile, and rows run from the top.
    const norviktypes::PixelFormat working =
        inFormat.mPixelFormat == norviktypes::kPixelFormat_BGRA_4444_8u_BottomUp
            ? norviktypes::kPixelFormat_BGRA_4444_8u
            : norviktypes::Select4444PixelFormat(inFormat.mPixelFormat, norviktypes::kRenderQuality_High);
    const std::int32_t width = inFormat.mBounds.Width();
    const std::int32_t height = inFormat.mBounds.Height();
    const bool swaps = inOrientation.SwapsSides();
    MF::IVideoFrameRef upright;
    MF::IVideoFrameRef turned;
    std::int32_t status =
        NewFrame(working, swaps ? height : width, swaps ? width : height, inFormat, upright);
    status = status < 0 ? status : Fill(inSource, inFormat.mQuality, upright);
    status = status < 0 ? status : NewFrame(working, width, height, inFormat, turned);
    if (status < 0)
    {
        return status;
    }
    if (!TurnFrame(upright, inOrientation, turned))
    {
        return BE::kSourceStatus_BadMedia;
    }
    outFrame = turned;
    if (working == inFormat.mPixelFormat)
    {
        return BE::kSourceStatus_OK;
    }
    status = NewFrame(inFormat.mPixelFormat, width, height, inFormat, outFrame);
    return status < 0 ? status : VF::VideoFrameManipulators::CopyFrame(turned, outFrame, inFormat.mQuality);
}

std::int32_t MakeScaledFields(const SourcePicture& inSource, const AVFrame& inPicture,
                              const BE::FrameDescription& inFormat, MF::IVideoFrameRef& outFrame)
{
    MF::IVideoFrameRef whole;
    std::int32_t status = NewFrame(inFormat.mPixelFormat, inPicture.width, inPicture.height, inFormat, whole);
    status = status < 0 ? status : Fill(inSource, inFormat.mQuality, whole);
    status = status < 0 ? status
                        : NewFrame(inFormat.mPixelFormat, inFormat.mBounds.Width(), inFormat.mBounds.Height(),
                                   inFormat, outFrame);
    return status < 0
               ? status
               : VF::VideoFrameManipulators::CopyFrameWithFields(whole, outFrame, inFormat.mQuality, 0);
}

} // namespace

std::int32_t MakeFrameOfPicture(const AVFrame& inPicture, const PictureTraits& inTraits,
                                const Orientation& inOrientation, const BE::FrameDescription& inFormat,
                                MF::IVideoFrameRef& outFrame)
{
    SourcePicture source;
    if (!source.Describe(inPicture, inTraits))
    {
        return BE::kSourceStatus_BadMedia;
    }
    MF::IVideoFrameRef frame;
    std::int32_t status = BE::kSourceStatus_OK;
    if (!inOrientation.IsIdentity())
    {
        status = MakeTurnedFrame(source, inOrientation, inFormat, frame);
    }
    else if (norviktypes::IsInterlaced(inFormat.mFieldType) && inPicture.height != inFormat.mBounds.Height())
    {
        status = MakeScaledFields(source, inPicture, inFormat, frame);
    }
    else
    {
        status = NewFrame(inFormat.mPixelFormat, inFormat.mBounds.Width(), inFormat.mBounds.Height(),
                          inFormat, frame);
        status = status < 0 ? status : Fill(source, inFormat.mQuality, frame);
    }
    if (status < 0)
    {
        return status;
    }
    outFrame = frame;
    return BE::kSourceStatus_OK;
}

} // namespace Media
