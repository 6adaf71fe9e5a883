#include "RenderableNodeSolidColorImpl.h"

#include "FrameConforming.h"
#include "IR/ImageRoutines.h"
#include "PropertyText.h"
#include "VF/VideoFrame.h"
#include "norvik/config/Contract.h"
#include "norvik/utility/TextStreams.h"

namespace ML
{

namespace
{

constexpr const char* kFile = "Src/RenderableNodeSolidColorImpl";

// The code under which the image routines take straight B, G, R, A bytes.
constexpr std::uint32_t kColorFormat = 4;

// The signed row bytes where a frame tells them, since rows may run upwards.
std::int32_t RowBytesOf(const MF::IVideoFrameRef& inFrame, const VF::IVideoFramePixelsRef& inPixels)
{
    if (const VF::IVideoFrameRasterRef raster{inFrame})
    {
        return raster->GetRowBytes();
    }
    return static_cast<std::int32_t>(inPixels->GetRowBytesUnsigned());
}

std::int32_t FillFrame(const MF::IVideoFrameRef& inFrame, std::uint32_t inColor)
{
    const std::uint8_t color[4] = {
        static_cast<std::uint8_t>(inColor), static_cast<std::uint8_t>(inColor >> 8),
        static_cast<std::uint8_t>(inColor >> 16), static_cast<std::uint8_t>(inColor >> 24)};
    const VF::IVideoFramePixelsRef pixels(inFrame);
    TVK::Rect bounds;
    inFrame->GetBounds(bounds);
    norviktypes::PixelFormat format;
    inFrame->GetPixelFormat(format);
    return IR_FillWithColor(pixels->GetPixels(), RowBytesOf(inFrame, pixels), bounds.Width(), bounds.Height(),
                            VF::BEPixelFormatToIRPixelFormat(format), color, kColorFormat);
}

} // namespace

norvik::utility::ImmutableString RenderableNodeSolidColorImpl::ColorProperty()
{
    return norvik::utility::ImmutableString::CreateStatic("SolidColorNode::Color");
}

void RenderableNodeSolidColorImpl::SetBGRAColor(std::uint32_t inColor)
{
    ML_INPUT_CONTRACT(IsMutable(), "mMutable", kFile, "ML::RenderableNodeSolidColor::SetBGRAColor", __LINE__);
    SetCommonProperty(ColorProperty(), PropertyText::OfUInt32(inColor), true);
}

norvik::utility::ImmutableString RenderableNodeSolidColorImpl::GetNodeType() const
{
    return norvik::utility::ImmutableString::CreateStatic("RenderableNodeSolidColorImpl");
}

IRenderableNodeProducerRef RenderableNodeSolidColorImpl::GetProducerForFrame(const MF::FrameTime&,
                                                                             const CutlistRenderParams&)
{
    return AsProducer();
}

std::int32_t RenderableNodeSolidColorImpl::GetFrame(const MF::FrameTime&,
                                                    const CutlistRenderParams& inRenderParams,
                                                    MF::IVideoFrameRef& outFrame)
{
    outFrame.reset();
    const MF::IVideoFrameRef frame = CreateRenderSizeFrame(inRenderParams, false, false);
    if (!frame)
    {
        return TVK::kStatus_OK;
    }
    const std::int32_t status = FillFrame(frame, Color());
    if (status >= 0)
    {
        outFrame = frame;
    }
    return status;
}

// Time and fields don't matter; pixel aspect and format do, as they belong to the frame.
void RenderableNodeSolidColorImpl::GetFrameHash(TVK::Guid& outHash, const MF::FrameTime&,
                                                const CutlistRenderParams& inRenderParams,
                                                const TVK::Guid& inBaseHash)
{
    const auto pair = [](std::uint32_t inFirst, std::uint32_t inSecond)
    { return inFirst | static_cast<std::uint64_t>(inSecond) << 32; };
    const norviktypes::PixelAspectRatio& ratio = inRenderParams.mPixelAspectRatio;
    const norviktypes::PixelFormat& format = inRenderParams.mPixelFormat;
    TVK::HashValue hash(inBaseHash);
    hash.MixGuid(GetHashValue());
    hash.MixU32(inRenderParams.mWidth);
    hash.MixU32(inRenderParams.mHeight);
    hash.MixU64(pair(ratio.GetNumerator(), ratio.GetDenominator()));
    hash.MixU64(pair(format.mName, format.mProperties));
    outHash = hash.AsGuid();
}

std::uint32_t RenderableNodeSolidColorImpl::Color() const
{
    norvik::UTF8String text;
    GetProperty(ColorProperty(), text);
    std::uint32_t color = 0;
    norvik::iUTF8StringStream stream(text);
    return stream >> color ? color : 0;
}

} // namespace ML
