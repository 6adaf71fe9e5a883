#include "PluginRender.h"

#include "FrameConforming.h"
#include "FrameImage.h"
#include "IntrinsicOperations.h"
#include "RenderableNodeEffectImpl.h"

#include <algorithm>

namespace ML
{

namespace
{

using norviktypes::PixelFormat;

constexpr std::uint32_t kDepthBits = 0x0E;
constexpr std::uint32_t kDepthAndFloatBits = 0x1E;
constexpr std::uint32_t kThirtyTwoBitFloat = 0x1A;
constexpr std::uint32_t kKindBits = 0xC0000;

// The four-component format of the frame's colours at the depth of the params: eight bits, or floats for
// whatever is deeper, as sixteen bits are not to be had in every colour model.
PixelFormat FormatAtDepthOf(const PixelFormat& inWished, const PixelFormat& inFrameFormat,
                            norviktypes::RenderQuality inQuality)
{
    const std::uint32_t colours =
        norviktypes::Select4444PixelFormat(inFrameFormat, inQuality).mProperties & ~kDepthAndFloatBits;
    PixelFormat format;
    format.mProperties = (inWished.mProperties & kDepthBits) != 0 ? colours | kThirtyTwoBitFloat : colours;
    format.mName = norviktypes::GuessNameForProperties(format.mProperties);
    const bool isKnown =
        format.mName != norviktypes::kPixelFormatName_Unknown && (format.mProperties & kKindBits) != 0;
    return isKnown ? format : inWished;
}

} // namespace

EffectRenderInfo EffectRenderInfoOf(const CutlistRenderParams& inParams,
                                    const norvik::utility::ImmutableString& inStreamLabel)
{
    EffectRenderInfo info;
    info.bounds = {0, 0, static_cast<std::int32_t>(inParams.mWidth),
                   static_cast<std::int32_t>(inParams.mHeight)};
    info.fieldType = inParams.mFieldType;
    info.quality = static_cast<std::uint32_t>(inParams.mRenderQuality);
    info.pixelAspectRatio = inParams.mPixelAspectRatio;
    info.isUnset = 0;
    info.downsampleFactor = static_cast<float>(std::min(inParams.mScaleX, inParams.mScaleY));
    info.renderTime = inParams.mFrameTime.Earlier();
    info.timeOffset = norviktypes::kTime_Zero;
    info.streamLabel = inStreamLabel;
    return info;
}

void ReadIntrinsics(const IRenderableNodeIntrinsicParameterProviderRef& inProvider,
                    const MF::FrameTime& inNodeTimes, const CutlistRenderParams& inParams,
                    NodeIntrinsicParameters (&outRecords)[2])
{
    const norviktypes::TickTime times[2] = {inNodeTimes.mFirstTime, inNodeTimes.mSecondTime};
    for (int field = 0; field < 2; ++field)
    {
        NodeIntrinsicParameters record;
        const bool isKnown =
            inProvider && inProvider->GetIntrinsicParameters(times[field], inParams, record) >= 0;
        outRecords[field] = isKnown ? record : kDefaultIntrinsicParameters;
    }
}

MF::IVideoFrameRef ConformToOutput(const CutlistRenderParams& inParams, const MF::IVideoFrameRef& inFrame)
{
    const TVK::Rect output{0, 0, static_cast<std::int32_t>(inParams.mWidth),
                           static_cast<std::int32_t>(inParams.mHeight)};
    MF::IVideoFrameRef frame = inFrame;
    if (NeedsScaleToRenderSize(frame, inParams))
    {
        frame = MakeAddressableAtRenderSize(frame, inParams);
    }
    else if (BoundsOfFrame(frame) != output)
    {
        frame = ApplyIntrinsicsIfNeeded(frame, kDefaultIntrinsicParameters, kDefaultIntrinsicParameters,
                                        inParams);
    }
    return frame ? ConformFrameToFormat(inParams, frame, inParams.mPixelFormat) : frame;
}

PixelFormat ChoosePluginFormat(const CutlistRenderParams& inParams, const MF::IVideoFrameRef& inFrame,
                               const PixelFormat& inFormat, const std::vector<PixelFormat>& inAcceptedFormats)
{
    const PixelFormat present = inFrame ? FormatOfFrame(inFrame) : norviktypes::kPixelFormat_Invalid;
    const PixelFormat candidate = present == norviktypes::kPixelFormat_Invalid
                                      ? inFormat
                                      : FormatAtDepthOf(inFormat, present, inParams.mRenderQuality);
    return norviktypes::SelectNearestPixelFormat({candidate}, present, inAcceptedFormats,
                                                 inParams.mRenderQuality, false);
}

} // namespace ML
