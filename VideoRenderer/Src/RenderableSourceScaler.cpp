#include "RenderableSourceScaler.h"

#include "FrameConforming.h"
#include "FrameImage.h"
#include "VF/VideoFrame.h"
#include "VF/VideoFrameManipulators.h"

namespace ML
{

namespace
{

using norviktypes::FieldType;
using norviktypes::IsInterlaced;
using norviktypes::TickTime;

TickTime Distance(const TickTime& inA, const TickTime& inB)
{
    return inA < inB ? inB - inA : inA - inB;
}

// The field of inFields that is nearer to inMoment; of two that are equally far away, the earlier one.
FieldType NearerField(const TickTime& inMoment, const MF::FrameTime& inFields)
{
    const TickTime toFirst = Distance(inFields.mFirstTime, inMoment);
    const TickTime toSecond = Distance(inFields.mSecondTime, inMoment);
    const bool isFirst = toFirst < toSecond || (toFirst == toSecond && !(inFields.mSecondTime < inMoment));
    return isFirst ? norviktypes::kFieldType_UpperFirst : norviktypes::kFieldType_LowerFirst;
}

// Frames with fields have an even number of lines, so that both fields are equally high.
CutlistRenderParams ParamsOfTarget(const MF::FrameTime& inTime, const MF::FrameTime& inConformed,
                                   const CutlistRenderParams& inRenderParams)
{
    CutlistRenderParams params = inRenderParams;
    if (IsInterlaced(inTime.Order()) && IsInterlaced(inConformed.Order()))
    {
        params.mHeight += params.mHeight % 2;
    }
    return params;
}

bool HasSizeAndAspectOf(const MF::IVideoFrameRef& inFrame, const CutlistRenderParams& inParams)
{
    const TVK::Rect size{0, 0, static_cast<std::int32_t>(inParams.mWidth),
                         static_cast<std::int32_t>(inParams.mHeight)};
    norviktypes::PixelAspectRatio ratio;
    inFrame->GetPixelAspectRatio(ratio);
    return BoundsOfFrame(inFrame) == size && ratio == inParams.mPixelAspectRatio;
}

bool IsGoodAsItIs(const MF::IVideoFrameRef& inFrame, const MF::FrameTime& inTime,
                  const MF::FrameTime& inConformed, const CutlistRenderParams& inTargetParams,
                  const CutlistRenderParams& inRenderParams)
{
    const bool isInOrder = !IsInterlaced(inConformed.Order()) || inConformed.Order() == inTime.Order();
    if (isInOrder && HasSizeAndAspectOf(inFrame, inTargetParams))
    {
        return true;
    }
    // At low quality the frame is scaled when it is displayed, once instead of twice.
    return inRenderParams.mRenderQuality < norviktypes::kRenderQuality_Medium && inTime == inConformed &&
           NeedsScaleToRenderSize(inFrame, inRenderParams);
}

// Which field the target is made of; progressive for the whole frame, each field for its own where the
// target has the same two.
FieldType FieldToCopy(const MF::FrameTime& inTime, const MF::FrameTime& inConformed)
{
    if (!IsInterlaced(inConformed.Order()) || inConformed.Order() == inTime.Order())
    {
        return norviktypes::kFieldType_Progressive;
    }
    return IsInterlaced(inTime.Order()) ? inConformed.Order() : NearerField(inTime.mFirstTime, inConformed);
}

// The times tell what is on the lines of a frame; what the frame says of itself may be older, as where a
// stream's order was corrected.
MF::IVideoFrameRef WithOrderOfTimes(const MF::IVideoFrameRef& inFrame, const MF::FrameTime& inTimes,
                                    norviktypes::RenderQuality inQuality)
{
    if (!IsInterlaced(inTimes.Order()) || inFrame->GetFieldType() == inTimes.Order())
    {
        return inFrame;
    }
    const MF::IVideoFrameRef frame = VF::MakeWriteableVideoFrame(inFrame, inQuality);
    frame->SetFieldType(inTimes.Order());
    return frame;
}

std::int32_t CopyFields(const MF::IVideoFrameRef& inSource, const MF::FrameTime& inConformed,
                        const MF::IVideoFrameRef& inTarget, const MF::FrameTime& inTime,
                        norviktypes::RenderQuality inQuality)
{
    const FieldType field = FieldToCopy(inTime, inConformed);
    const MF::IVideoFrameRef source =
        IsInterlaced(field) ? inSource : WithOrderOfTimes(inSource, inConformed, inQuality);
    return VF::VideoFrameManipulators::CopyFrameWithFields(source, inTarget, inQuality,
                                                           static_cast<std::uint32_t>(field));
}

} // namespace

RenderableSourceScaler::RenderableSourceScaler(const IRenderableSourceRef& inSource)
    : RenderableSourceDecorator(inSource)
{
}

void RenderableSourceScaler::ConformFrameTime(const MF::FrameTime& inTime,
                                              const CutlistRenderParams& inRenderParams,
                                              MF::FrameTime& outTime)
{
    MF::FrameTime conformed = ConformedBy(mSource, inTime, inRenderParams);
    const bool isReduced = inRenderParams.mScaleY < 1.0;
    if (isReduced && IsInterlaced(conformed.Order()))
    {
        if (!IsInterlaced(inTime.Order()))
        {
            const bool isFirst =
                NearerField(inTime.mFirstTime, conformed) == norviktypes::kFieldType_UpperFirst;
            conformed = MF::FrameTime(isFirst ? conformed.mFirstTime : conformed.mSecondTime);
        }
        else if (conformed.Order() != inTime.Order())
        {
            conformed = Swapped(conformed);
        }
    }
    outTime = conformed;
}

void RenderableSourceScaler::Render(const MF::FrameTime& inTime, const CutlistRenderParams& inRenderParams,
                                    MF::IVideoFrameRef& outFrame)
{
    const MF::FrameTime conformed = ConformedBy(mSource, inTime, inRenderParams);
    mSource->Render(conformed, inRenderParams, outFrame);
    if (!outFrame)
    {
        return;
    }
    const CutlistRenderParams params = ParamsOfTarget(inTime, conformed, inRenderParams);
    if (IsGoodAsItIs(outFrame, inTime, conformed, params, inRenderParams))
    {
        return;
    }
    const MF::IVideoFrameRef target = CreateConformedFrame(params, outFrame, false, false);
    if (!target)
    {
        return; // the wrong size is better than no picture
    }
    target->SetFieldType(inTime.Order());
    const std::int32_t status =
        CopyFields(outFrame, conformed, target, inTime, inRenderParams.mRenderQuality);
    outFrame = status < 0 ? MF::IVideoFrameRef() : target;
}

IRenderableSourceRef ScaleAndPARCorrectSource(const IRenderableSourceRef& inSource)
{
    return MakeSource<RenderableSourceScaler>(inSource);
}

} // namespace ML
