#include "FrameConforming.h"

#include "FieldOperations.h"
#include "FrameImage.h"
#include "VF/VideoFrame.h"
#include "VF/VideoFrameManipulators.h"

namespace ML
{

namespace
{

using VF::VideoFrameManipulators::CopyFrame;
using VF::VideoFrameManipulators::MakeAddressableVideoFrame;

// Depth, float and linear light: how large a pixel is and what its numbers mean.
constexpr std::uint32_t kStorageBits = 0x101E;

TVK::Rect RectOfSize(std::uint32_t inWidth, std::uint32_t inHeight)
{
    return {0, 0, static_cast<std::int32_t>(inWidth), static_cast<std::int32_t>(inHeight)};
}

// Empty where VF::CreateVideoFrame fails.
MF::IVideoFrameRef CreateFrame(const norviktypes::PixelFormat& inFormat, std::uint32_t inWidth,
                               std::uint32_t inHeight, const norviktypes::PixelAspectRatio& inRatio,
                               bool inClear, bool inClearAlpha)
{
    MF::IVideoFrameRef frame;
    if (VF::CreateVideoFrame(frame, inFormat, inWidth, inHeight, inRatio, inClear, inClearAlpha) < 0)
    {
        frame.reset();
    }
    return frame;
}

// Below quality 5 a deep source is worked on in what the params ask for; its own depth would cost memory
// and time, and be thrown away at the end.
bool IsWorkedOnAtDepthOfParams(const CutlistRenderParams& inParams,
                               const norviktypes::PixelFormat& inCandidate)
{
    const std::uint32_t wanted = inParams.mPixelFormat.mProperties;
    return inCandidate != inParams.mPixelFormat && norviktypes::IsPackedFourComponent(wanted) &&
           inParams.mRenderQuality < norviktypes::kRenderQuality_Max &&
           norviktypes::BytesPerPixel(inCandidate.mProperties) > norviktypes::BytesPerPixel(wanted);
}

// A converted frame of the same size stays where it was. A content rectangle is about transparency, so
// formats without any don't have one.
void CarryPlacement(const MF::IVideoFrameRef& inSource, const MF::IVideoFrameRef& inTarget)
{
    if (BoundsOfFrame(inSource) != BoundsOfFrame(inTarget))
    {
        return;
    }
    TVK::Point origin;
    inSource->GetOrigin(origin);
    inTarget->SetOrigin(origin);
    TVK::Rect content;
    if (norviktypes::IsPackedFourComponent(FormatOfFrame(inSource).mProperties) &&
        norviktypes::IsPackedFourComponent(FormatOfFrame(inTarget).mProperties) &&
        inSource->GetContentRect(content))
    {
        inTarget->SetContentRect(content);
    }
}

// A frame for inFrame in another format, of its size or, for substitutes, of the render size.
MF::IVideoFrameRef CreateFrameInFormat(const CutlistRenderParams& inParams, const MF::IVideoFrameRef& inFrame,
                                       const norviktypes::PixelFormat& inFormat)
{
    if (NeedsScaleToRenderSize(inFrame, inParams))
    {
        return CreateFrame(inFormat, inParams.mWidth, inParams.mHeight, inParams.mPixelAspectRatio, false,
                           false);
    }
    const TVK::Rect bounds = BoundsOfFrame(inFrame);
    norviktypes::PixelAspectRatio ratio;
    inFrame->GetPixelAspectRatio(ratio);
    return CreateFrame(inFormat, static_cast<std::uint32_t>(bounds.Width()),
                       static_cast<std::uint32_t>(bounds.Height()), ratio, false, false);
}

// inTarget with inFrame's pixels and field type; empty without a target or if it can't be copied.
MF::IVideoFrameRef CopyInto(MF::IVideoFrameRef inTarget, const MF::IVideoFrameRef& inFrame,
                            norviktypes::RenderQuality inQuality)
{
    if (!inTarget)
    {
        return {};
    }
    inTarget->SetFieldType(inFrame->GetFieldType());
    return CopyFrame(inFrame, inTarget, inQuality) < 0 ? MF::IVideoFrameRef() : inTarget;
}

} // namespace

MF::IVideoFrameRef CreateRenderSizeFrame(const CutlistRenderParams& inParams, bool inClear, bool inClearAlpha)
{
    return CreateFrame(inParams.mPixelFormat, inParams.mWidth, inParams.mHeight, inParams.mPixelAspectRatio,
                       inClear, inClearAlpha);
}

MF::IVideoFrameRef CreateHalfHeightFrame(const CutlistRenderParams& inParams, bool inClear, bool inClearAlpha)
{
    return CreateFrame(inParams.mPixelFormat, inParams.mWidth, inParams.mHeight >> 1,
                       inParams.mPixelAspectRatio, inClear, inClearAlpha);
}

norviktypes::PixelFormat FormatOfConformedFrame(const CutlistRenderParams& inParams,
                                                const MF::IVideoFrameRef& inSource)
{
    const norviktypes::PixelFormat candidate = norviktypes::Select4444PixelFormat(
        inSource ? FormatOfFrame(inSource) : inParams.mPixelFormat, inParams.mRenderQuality);
    if (!IsWorkedOnAtDepthOfParams(inParams, candidate))
    {
        return candidate;
    }
    norviktypes::PixelFormat adapted;
    adapted.mProperties =
        (candidate.mProperties & ~kStorageBits) | (inParams.mPixelFormat.mProperties & kStorageBits);
    adapted.mName = norviktypes::GuessNameForProperties(adapted.mProperties);
    return VF::BEPixelFormatToIRPixelFormat(adapted) != 0 ? adapted : candidate;
}

MF::IVideoFrameRef CreateConformedFrame(const CutlistRenderParams& inParams,
                                        const MF::IVideoFrameRef& inSource, bool inClear, bool inClearAlpha)
{
    return CreateFrame(FormatOfConformedFrame(inParams, inSource), inParams.mWidth, inParams.mHeight,
                       inParams.mPixelAspectRatio, inClear, inClearAlpha);
}

MF::IVideoFrameRef ConformFrameToFormats(const CutlistRenderParams& inParams,
                                         const MF::IVideoFrameRef& inFrame,
                                         const norviktypes::PixelFormat& inFormat,
                                         const std::vector<norviktypes::PixelFormat>& inAcceptedFormats)
{
    const norviktypes::PixelFormat present = FormatOfFrame(inFrame);
    const norviktypes::PixelFormat chosen = norviktypes::SelectNearestPixelFormat(
        {inFormat}, present, inAcceptedFormats, inParams.mRenderQuality, true);
    if (chosen == present)
    {
        return inFrame;
    }
    const MF::IVideoFrameRef converted =
        CopyInto(CreateFrameInFormat(inParams, inFrame, chosen), inFrame, inParams.mRenderQuality);
    if (!converted)
    {
        return inFrame;
    }
    CarryPlacement(inFrame, converted);
    return converted;
}

MF::IVideoFrameRef ConformFrameToFormat(const CutlistRenderParams& inParams,
                                        const MF::IVideoFrameRef& inFrame,
                                        const norviktypes::PixelFormat& inFormat)
{
    return ConformFrameToFormats(inParams, inFrame, inFormat, {});
}

MF::IVideoFrameRef ConformToRenderSize(const MF::IVideoFrameRef& inFrame, const CutlistRenderParams& inParams)
{
    CutlistRenderParams params = inParams;
    params.mPixelFormat = norviktypes::Select4444PixelFormat(FormatOfFrame(inFrame), inParams.mRenderQuality);
    return CopyInto(CreateRenderSizeFrame(params, false, false), inFrame, inParams.mRenderQuality);
}

CutlistRenderParams ParamsAtSizeOf(const MF::IVideoFrameRef& inFrame, const CutlistRenderParams& inParams)
{
    const TVK::Rect bounds = BoundsOfFrame(inFrame);
    CutlistRenderParams params = inParams;
    params.mWidth = static_cast<std::uint32_t>(bounds.Width());
    params.mHeight = static_cast<std::uint32_t>(bounds.Height());
    inFrame->GetPixelAspectRatio(params.mPixelAspectRatio);
    return params;
}

CutlistRenderParams ParamsAtSizeMeantBy(const MF::IVideoFrameRef& inFrame,
                                        const CutlistRenderParams& inParams)
{
    return NeedsScaleToRenderSize(inFrame, inParams) ? inParams : ParamsAtSizeOf(inFrame, inParams);
}

bool NeedsScaleToRenderSize(const MF::IVideoFrameRef& inFrame, const CutlistRenderParams& inParams)
{
    const TVK::Rect renderSize = RectOfSize(inParams.mWidth, inParams.mHeight);
    if (!inFrame->SupportsTargetBounds(renderSize))
    {
        return false;
    }
    const TVK::Rect bounds = BoundsOfFrame(inFrame);
    if (bounds.Width() == renderSize.Width() && bounds.Height() == renderSize.Height())
    {
        return false;
    }
    const bool isHalfWidth = norviktypes::MayBeHalfWidthSubstitute(FormatOfFrame(inFrame).mProperties) &&
                             bounds == RectOfSize(inParams.mSourceWidth >> 1, inParams.mSourceHeight);
    return isHalfWidth || bounds == RectOfSize(inParams.mSourceWidth, inParams.mSourceHeight);
}

MF::IVideoFrameRef MakeAddressableAtRenderSize(const MF::IVideoFrameRef& inFrame,
                                               const CutlistRenderParams& inParams)
{
    if (NeedsScaleToRenderSize(inFrame, inParams))
    {
        return CopyInto(CreateRenderSizeFrame(inParams, false, false), inFrame, inParams.mRenderQuality);
    }
    MF::IVideoFrameRef addressable;
    if (MakeAddressableVideoFrame(inFrame, addressable, inParams.mPixelFormat, inParams.mRenderQuality) < 0)
    {
        addressable.reset();
    }
    return addressable;
}

MF::IVideoFrameRef MakeWriteableAtRenderSize(const MF::IVideoFrameRef& inFrame,
                                             const CutlistRenderParams& inParams, bool inUseLowerField,
                                             bool inForceCopy)
{
    const bool isCopied =
        norviktypes::IsSubsampled(FormatOfFrame(inFrame).mProperties) || inFrame->IsFrozen() || inForceCopy;
    if (!isCopied)
    {
        const MF::IVideoFrameRef addressable = MakeAddressableAtRenderSize(inFrame, inParams);
        return addressable ? VF::MakeWriteableVideoFrame(addressable, inParams.mRenderQuality) : addressable;
    }
    MF::IVideoFrameRef copy = CreateConformedFrame(inParams, inFrame, false, false);
    if (copy)
    {
        copy->SetFieldType(inFrame->GetFieldType());
        if (!inFrame->MayHaveTransparency())
        {
            copy->SetAlphaType(inFrame->GetAlphaType());
        }
        CopyField(inFrame, copy, inUseLowerField, inParams);
    }
    return copy;
}

} // namespace ML
