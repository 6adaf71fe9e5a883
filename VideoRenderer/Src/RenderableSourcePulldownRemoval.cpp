#include "RenderableSourcePulldownRemoval.h"

#include "FieldOperations.h"
#include "FrameConforming.h"
#include "FrameImage.h"
#include "PlanarFields.h"
#include "VF/VideoFrame.h"
#include "VF/VideoFrameManipulators.h"
#include "norviktypes/Pulldown.h"

namespace ML
{

namespace
{

// The most lines of video that begins with its lower field.
constexpr std::int32_t kMostStandardLines = 576;

// A film frame has one moment, whatever the video says of itself: fields would be scaled and blended apart.
MF::IVideoFrameRef AsFilmFrame(const MF::IVideoFrameRef& inFrame, norviktypes::RenderQuality inQuality)
{
    if (!inFrame || !norviktypes::IsInterlaced(inFrame->GetFieldType()))
    {
        return inFrame;
    }
    MF::IVideoFrameRef frame = VF::MakeWriteableVideoFrame(inFrame, inQuality);
    if (frame)
    {
        frame->SetFieldType(norviktypes::kFieldType_Progressive);
    }
    return frame;
}

// Empty where the two cannot be merged.
MF::IVideoFrameRef MergedInPlace(const MF::IVideoFrameRef& inPrevious, const MF::IVideoFrameRef& inCurrent,
                                 norviktypes::RenderQuality inQuality)
{
    MF::IVideoFrameRef merged = VF::MakeWriteableVideoFrame(inCurrent, inQuality);
    if (merged && VF::VideoFrameManipulators::MergePulldownFrames(inPrevious, merged) < 0)
    {
        merged.reset();
    }
    return merged;
}

// The field that begins a film frame ends the previous video frame: the upper one where video begins with the
// lower one.
MF::IVideoFrameRef MergedFields(const MF::IVideoFrameRef& inPrevious, const MF::IVideoFrameRef& inCurrent,
                                const CutlistRenderParams& inRenderParams)
{
    const CutlistRenderParams params = ParamsAtSizeOf(inCurrent, inRenderParams);
    const bool isStandard = BoundsOfFrame(inCurrent).Height() <= kMostStandardLines;
    const MF::IVideoFrameRef& lower = isStandard ? inCurrent : inPrevious;
    const MF::IVideoFrameRef& upper = isStandard ? inPrevious : inCurrent;
    if (HaveRowsOfFields(lower, upper, params))
    {
        return WovenPlanes(lower, upper, params);
    }
    const MF::IVideoFrameRef merged = CreateConformedFrame(params, inCurrent, false, false);
    if (merged)
    {
        CopyField(lower, merged, true, params);
        CopyField(upper, merged, false, params);
    }
    return merged;
}

} // namespace

RenderableSourcePulldownRemoval::RenderableSourcePulldownRemoval(const IRenderableSourceRef& inSource,
                                                                 norviktypes::PulldownCadence inCadence)
    : RenderableSourceDecorator(inSource)
    , mCadence(inCadence)
{
}

void RenderableSourcePulldownRemoval::GetFrameRate(norviktypes::FrameRate& outRate)
{
    norviktypes::FrameRate videoRate;
    mSource->GetFrameRate(videoRate);
    outRate = norviktypes::FilmRateOfPulldown(videoRate);
}

void RenderableSourcePulldownRemoval::GetFieldRate(norviktypes::FrameRate& outRate)
{
    GetFrameRate(outRate);
}

void RenderableSourcePulldownRemoval::ConformFrameTime(const MF::FrameTime& inTime,
                                                       const CutlistRenderParams&, MF::FrameTime& outTime)
{
    norviktypes::FrameRate rate;
    GetFrameRate(rate);
    outTime = MF::FrameTime(inTime.Earlier().AlignToFrame(rate));
}

RenderableSourcePulldownRemoval::Place
RenderableSourcePulldownRemoval::PlaceOf(const MF::FrameTime& inTime,
                                         const CutlistRenderParams& inRenderParams) const
{
    norviktypes::FrameRate videoRate;
    mSource->GetFrameRate(videoRate);
    Place place;
    const norviktypes::TickTime current =
        norviktypes::MapPulldownFrameTo2997Frame(inTime.mSecondTime, videoRate, mCadence, place.mNeedsMerge);
    place.mCurrent = ConformedBy(mSource, MF::FrameTime(current), inRenderParams);
    if (place.mNeedsMerge)
    {
        const norviktypes::TickTime previous = current - norviktypes::TickTime(videoRate.GetTicks());
        place.mPrevious = ConformedBy(mSource, MF::FrameTime(previous), inRenderParams);
    }
    return place;
}

void RenderableSourcePulldownRemoval::CollectPrefetchItems(const MF::FrameTime& inTime,
                                                           const CutlistRenderParams& inRenderParams,
                                                           std::vector<IRenderableNodePrefetchRef>& ioItems)
{
    const Place place = PlaceOf(inTime, inRenderParams);
    mSource->CollectPrefetchItems(place.mCurrent, inRenderParams, ioItems);
    if (place.mNeedsMerge)
    {
        mSource->CollectPrefetchItems(place.mPrevious, inRenderParams, ioItems);
    }
}

void RenderableSourcePulldownRemoval::Render(const MF::FrameTime& inTime,
                                             const CutlistRenderParams& inRenderParams,
                                             MF::IVideoFrameRef& outFrame)
{
    outFrame.reset();
    const Place place = PlaceOf(inTime, inRenderParams);
    MF::IVideoFrameRef current;
    mSource->Render(place.mCurrent, inRenderParams, current);
    MF::IVideoFrameRef previous;
    if (place.mNeedsMerge && current)
    {
        mSource->Render(place.mPrevious, inRenderParams, previous);
    }
    if (previous)
    {
        current = norviktypes::IsSubsampled(FormatOfFrame(current).mProperties)
                      ? MergedFields(previous, current, inRenderParams)
                      : MergedInPlace(previous, current, inRenderParams.mRenderQuality);
    }
    outFrame = AsFilmFrame(current, inRenderParams.mRenderQuality);
}

IRenderableSourceRef RemovePulldownFromSource(const IRenderableSourceRef& inSource,
                                              norviktypes::PulldownCadence inCadence)
{
    return MakeSource<RenderableSourcePulldownRemoval>(inSource, inCadence);
}

} // namespace ML
