#include "ReferenceHost/Session/Pictures.h"

#include "ReferenceHost/Foundation/BitmapFont.h"
#include "ReferenceHost/FrameLibrary/VideoFrame.h"
#include "ReferenceHost/ImageRoutines/Planes.h"
#include "VF/VideoFrame.h"
#include "VF/VideoFrameManipulators.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace Session
{

namespace
{

constexpr std::int32_t kBytesPerPixel = 4; // of 8 bits each

// The pixels of a frame of four components.
struct Canvas
{
    explicit Canvas(const MF::IVideoFrameRef& inFrame)
    {
        TVK::Rect bounds;
        inFrame->GetBounds(bounds);
        mWidth = bounds.Width();
        mHeight = bounds.Height();
        mPixels = static_cast<std::uint8_t*>(VF::IVideoFramePixelsRef(inFrame)->GetPixels());
        mRowBytes = VF::IVideoFrameRasterRef(inFrame)->GetRowBytes();
        norviktypes::PixelFormat format;
        inFrame->GetPixelFormat(format);
        mPixelBytes = static_cast<std::int32_t>(norviktypes::DepthOfProperties(format.mProperties)) *
                      kBytesPerPixel / 8;
    }

    std::uint8_t* At(std::int32_t inX, std::int32_t inY) const
    {
        return mPixels + static_cast<std::ptrdiff_t>(inY) * mRowBytes +
               static_cast<std::ptrdiff_t>(inX) * mPixelBytes;
    }

    std::uint8_t* mPixels = nullptr;
    std::int32_t mRowBytes = 0;
    std::int32_t mPixelBytes = kBytesPerPixel;
    std::int32_t mWidth = 0;
    std::int32_t mHeight = 0;
};

// Formats whose pixels are the same where alpha is whole.
bool DifferInAlphaOnly(const norviktypes::PixelFormat& inWith, const norviktypes::PixelFormat& inWithout)
{
    using namespace norviktypes;
    return (inWith == kPixelFormat_BGRA_4444_8u && inWithout == kPixelFormat_BGRX_4444_8u) ||
           (inWith == kPixelFormat_BGRA_4444_16u && inWithout == kPixelFormat_BGRX_4444_16u) ||
           (inWith == kPixelFormat_BGRA_4444_32f && inWithout == kPixelFormat_BGRX_4444_32f);
}

} // namespace

std::int32_t LayOutPlanes(const void* inPixels, std::int32_t inRowBytes,
                          const norviktypes::PixelFormat& inFormat, const EncoderPlanes& outPlanes)
{
    ir::MutablePlanarPicture picture;
    for (std::size_t i = 0; i < 4; ++i)
    {
        picture.planes[i] = outPlanes.mPlanes[i];
        picture.strides[i] = outPlanes.mStrides[i];
    }
    picture.width = outPlanes.mWidth;
    picture.height = outPlanes.mHeight;
    picture.layout = outPlanes.mIsSemiPlanar ? ir::PlaneLayout::kSemiPlanar : ir::PlaneLayout::kPlanar;
    picture.isRGB = outPlanes.mIsRGB;
    picture.isGray = outPlanes.mIsGrey;
    picture.isMSBAligned = outPlanes.mIsMSBAligned;
    picture.bitsPerSample = outPlanes.mBitsPerSample;
    picture.chromaShiftX = outPlanes.mChromaShiftX;
    picture.chromaShiftY = outPlanes.mChromaShiftY;
    picture.siting = outPlanes.mIsCentreSited ? ir::ChromaSiting::kCenter : ir::ChromaSiting::kLeft;
    picture.isInterlaced = outPlanes.mIsInterlaced;
    picture.isFullRange = outPlanes.mIsFullRange || outPlanes.mIsRGB;
    picture.matrix = outPlanes.mIsRGB   ? ir::Matrix::kRGB
                     : outPlanes.mIs709 ? ir::Matrix::k709
                                        : ir::Matrix::k601;
    picture.alpha = outPlanes.mHasAlpha ? ir::AlphaKind::kStraight : ir::AlphaKind::kNone;
    return ir::ConvertToPlanes(inPixels, inRowBytes, outPlanes.mWidth, outPlanes.mHeight,
                               VF::BEPixelFormatToIRPixelFormat(inFormat), picture,
                               norviktypes::kRenderQuality_High);
}

void PlacePicture(const MF::IVideoFrameRef& inSource, const MF::IVideoFrameRef& inTarget, std::int32_t inLeft,
                  std::int32_t inTop)
{
    const Canvas source(inSource);
    const Canvas target(inTarget);
    const std::int32_t left = std::max(0, -inLeft);
    const std::int32_t right = std::min(source.mWidth, target.mWidth - inLeft);
    const std::int32_t top = std::max(0, -inTop);
    const std::int32_t bottom = std::min(source.mHeight, target.mHeight - inTop);
    for (std::int32_t y = top; y < bottom && left < right; ++y)
    {
        std::memcpy(target.At(inLeft + left, inTop + y), source.At(left, y),
                    static_cast<std::size_t>(right - left) * static_cast<std::size_t>(target.mPixelBytes));
    }
}

norviktypes::PixelFormat PackedFormatFor(const norviktypes::PixelFormat& inFormat)
{
    switch (norviktypes::DepthOfProperties(inFormat.mProperties))
    {
    case 8: return norviktypes::kPixelFormat_BGRA_4444_8u;
    case 32: return norviktypes::kPixelFormat_BGRA_4444_32f;
    default: return norviktypes::kPixelFormat_BGRA_4444_16u;
    }
}

std::int32_t ShapePicture(const MF::IVideoFrameRef& inFrame, const RenderRequest& inShape,
                          MF::IVideoFrameRef& outFrame)
{
    TVK::Rect bounds;
    inFrame->GetBounds(bounds);
    norviktypes::PixelFormat format;
    inFrame->GetPixelFormat(format);
    const bool hasSize = bounds.Width() == static_cast<std::int32_t>(inShape.mWidth) &&
                         bounds.Height() == static_cast<std::int32_t>(inShape.mHeight);
    if (format == inShape.mPixelFormat && hasSize)
    {
        // Pixels that are only made now may lack memory, which nobody can tell of later.
        const VF::IVideoFramePixelsRef pixels(inFrame);
        if (pixels && pixels->GetPixels() == nullptr)
        {
            return VF::kFrameStatus_OutOfMemory;
        }
        outFrame = inFrame;
        return VF::kFrameStatus_OK;
    }
    if (hasSize && DifferInAlphaOnly(format, inShape.mPixelFormat))
    {
        if (const MF::IVideoFrameRef shared = VF::ShareWithoutAlpha(inFrame, inShape.mPixelFormat))
        {
            outFrame = shared;
            return VF::kFrameStatus_OK;
        }
    }
    norviktypes::PixelAspectRatio ratio;
    inFrame->GetPixelAspectRatio(ratio);
    MF::IVideoFrameRef shaped;
    std::int32_t status = VF::CreateVideoFrame(shaped, inShape.mPixelFormat, inShape.mWidth, inShape.mHeight,
                                               ratio, false, false);
    if (status >= 0)
    {
        shaped->SetFieldType(inFrame->GetFieldType());
        status = VF::VideoFrameManipulators::CopyFrameWithFields(inFrame, shaped, inShape.mQuality, 0);
    }
    if (status >= 0)
    {
        outFrame = shaped;
    }
    return status;
}

std::int32_t LabelWidth(const std::string& inText, std::int32_t inScale)
{
    return Foundation::TextWidth(inText, inScale);
}

std::int32_t LabelHeight(std::int32_t inScale)
{
    return Foundation::TextHeight("0", inScale);
}

void DrawLabel(const MF::IVideoFrameRef& inTarget, std::int32_t inLeft, std::int32_t inTop,
               std::int32_t inScale, const std::string& inText)
{
    const std::int32_t width = LabelWidth(inText, inScale);
    const std::int32_t height = LabelHeight(inScale);
    std::vector<std::uint8_t> ink(static_cast<std::size_t>(width) * static_cast<std::size_t>(height), 0);
    Foundation::DrawText({ink.data(), width, height, width}, 0, 0, inText, inScale);

    const Canvas canvas(inTarget);
    for (std::int32_t y = std::max(0, -inTop); y < std::min(height, canvas.mHeight - inTop); ++y)
    {
        for (std::int32_t x = std::max(0, -inLeft); x < std::min(width, canvas.mWidth - inLeft); ++x)
        {
            if (ink[static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                    static_cast<std::size_t>(x)] != 0)
            {
                std::memset(canvas.At(inLeft + x, inTop + y), 0xFF, kBytesPerPixel);
            }
        }
    }
}

} // namespace Session
