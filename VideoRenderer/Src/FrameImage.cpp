#include "FrameImage.h"

#include "IR/ImageRoutines.h"
#include "RenderableSources.h"
#include "VF/VideoFrame.h"

namespace ML
{

FrameImage FrameImage::Field(bool inIsLower) const noexcept
{
    const std::int32_t skippedRows = FieldStartsOnSecondRow(inIsLower) ? 1 : 0;
    FrameImage field = *this;
    field.mHeight = (mHeight + 1 - skippedRows) / 2;
    field.mPixels += static_cast<std::ptrdiff_t>(skippedRows) * mRowBytes;
    field.mRowBytes = mRowBytes * 2;
    return field;
}

bool FrameImage::FieldStartsOnSecondRow(bool inIsLower) const noexcept
{
    return inIsLower != (IR_IsOriginBottomLeft(mCode) != 0);
}

FrameImage ImageOfFrame(const MF::IVideoFrameRef& inFrame)
{
    const TVK::Rect bounds = BoundsOfFrame(inFrame);
    FrameImage image;
    image.mPixels = static_cast<std::uint8_t*>(VF::IVideoFramePixelsRef(inFrame)->GetPixels());
    if (image.mPixels == nullptr)
    {
        throw RenderRequestException(VF::kFrameStatus_OutOfMemory);
    }
    image.mRowBytes = VF::IVideoFrameRasterRef(inFrame)->GetRowBytes();
    image.mWidth = bounds.Width();
    image.mHeight = bounds.Height();
    image.mCode = VF::BEPixelFormatToIRPixelFormat(FormatOfFrame(inFrame));
    return image;
}

TVK::Rect BoundsOfFrame(const MF::IVideoFrameRef& inFrame)
{
    TVK::Rect bounds;
    inFrame->GetBounds(bounds);
    return bounds;
}

norviktypes::PixelFormat FormatOfFrame(const MF::IVideoFrameRef& inFrame)
{
    norviktypes::PixelFormat format;
    inFrame->GetPixelFormat(format);
    return format;
}

} // namespace ML
