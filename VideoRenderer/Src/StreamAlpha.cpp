#include "StreamAlpha.h"

#include "IR/ImageRoutines.h"
#include "RenderableSourceTools.h"
#include "VF/VideoFrame.h"
#include "VF/VideoFrameManipulators.h"

namespace ML
{

namespace
{

// The image routines' code of an 8-bit straight BGRA colour, which a matte is handed over as.
constexpr std::uint32_t kMatteColorCode = 4;
// In a code of the image routines: straight alpha, premultiplied alpha.
constexpr std::uint32_t kStraightCodeBit = 4;
constexpr std::uint32_t kPremultipliedCodeBit = 8;

std::uint32_t PropertiesOf(const MF::IVideoFrameRef& inFrame)
{
    norviktypes::PixelFormat format;
    inFrame->GetPixelFormat(format);
    return format.mProperties;
}

} // namespace

MF::IVideoFrameRef MakeWriteable(const MF::IVideoFrameRef& inFrame, norviktypes::RenderQuality inQuality)
{
    MF::IVideoFrameRef frame = VF::MakeWriteableVideoFrame(inFrame, inQuality);
    if (!frame)
    {
        throw TVK::NullInterfaceException();
    }
    return frame;
}

void StreamAlpha::Conform(MF::IVideoFrameRef& ioFrame, norviktypes::RenderQuality inQuality) const
{
    if (!ioFrame->MayHaveTransparency() || !norviktypes::IsPackedFourComponent(PropertiesOf(ioFrame)))
    {
        return;
    }
    if (mIgnoreAlpha || mInvertAlpha)
    {
        ioFrame = MakeWriteable(ioFrame, inQuality);
        ThrowIfFailed(mIgnoreAlpha ? VF::VideoFrameManipulators::OpaqueAlpha(ioFrame)
                                   : VF::VideoFrameManipulators::InvertAlpha(ioFrame));
        ioFrame->ClearContentRect();
    }
    if (!mIgnoreAlpha)
    {
        ConformAlphaType(ioFrame, inQuality);
    }
}

void StreamAlpha::ConformAlphaType(MF::IVideoFrameRef& ioFrame, norviktypes::RenderQuality inQuality) const
{
    const std::uint32_t properties = PropertiesOf(ioFrame);
    const bool isPremultipliedRGB = mAlphaChannel == norviktypes::kAlphaChannel_Premultiplied &&
                                    ioFrame->GetAlphaType() != norviktypes::kAlphaChannel_None &&
                                    norviktypes::IsPackedFourComponent(properties) &&
                                    !norviktypes::IsYUV(properties) && VF::IVideoFrameRasterRef(ioFrame);
    if (isPremultipliedRGB)
    {
        ioFrame = MakeWriteable(ioFrame, inQuality);
        UnPremultiply(ioFrame, inQuality);
        // Straight now, even where the frame's format says premultiplied: what follows goes by this.
        ioFrame->SetAlphaType(norviktypes::kAlphaChannel_Straight);
    }
    else if (ioFrame->GetAlphaType() != mAlphaChannel)
    {
        ioFrame = MakeWriteable(ioFrame, inQuality);
        ioFrame->SetAlphaType(mAlphaChannel);
    }
}

void StreamAlpha::UnPremultiply(const MF::IVideoFrameRef& inFrame, norviktypes::RenderQuality inQuality) const
{
    norviktypes::PixelFormat format;
    inFrame->GetPixelFormat(format);
    TVK::Rect bounds;
    inFrame->GetBounds(bounds);
    const std::uint32_t code = VF::BEPixelFormatToIRPixelFormat(format);
    void* pixels = VF::IVideoFramePixelsRef(inFrame)->GetPixels();
    const std::int32_t rowBytes = VF::IVideoFrameRasterRef(inFrame)->GetRowBytes();

    if (mMatteColor.RGB() != 0)
    {
        const std::uint8_t matte[4] = {mMatteColor.Blue(), mMatteColor.Green(), mMatteColor.Red(), 255};
        ThrowIfFailed(IR_UnPremultiplyAgainstMatteColor(pixels, rowBytes, code, bounds.Width(),
                                                        bounds.Height(), matte, kMatteColorCode, inQuality));
        return;
    }
    const std::uint32_t premultipliedCode = (code & ~kStraightCodeBit) | kPremultipliedCodeBit;
    ThrowIfFailed(IR_Convert(pixels, rowBytes, premultipliedCode, pixels, rowBytes, code, bounds.Width(),
                             bounds.Height(), inQuality));
}

} // namespace ML
