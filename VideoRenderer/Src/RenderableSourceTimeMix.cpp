#include "RenderableSourceTimeMix.h"

#include "FieldOperations.h"

#include <algorithm>

namespace ML
{

namespace
{

// At low quality a single field is as good as the frame, and costs half.
bool IsSingleField(const MF::FrameTime& inTime, const CutlistRenderParams& inRenderParams)
{
    return inRenderParams.mRenderQuality < norviktypes::kRenderQuality_Medium &&
           inRenderParams.mFieldToRender != 0 && norviktypes::IsInterlaced(inTime.Order());
}

MF::FrameTime TimeOfField(const MF::FrameTime& inTime, std::uint32_t inFieldToRender)
{
    const auto [earlier, later] = std::minmax(inTime.mFirstTime, inTime.mSecondTime);
    return MF::FrameTime(inFieldToRender == 2 ? later : earlier);
}

} // namespace

RenderableSourceTimeMix::RenderableSourceTimeMix(const IRenderableSourceRef& inSource)
    : RenderableSourceDecorator(inSource)
{
}

void RenderableSourceTimeMix::ConformFrameTime(const MF::FrameTime& inTime,
                                               const CutlistRenderParams& inRenderParams,
                                               MF::FrameTime& outTime)
{
    if (IsSingleField(inTime, inRenderParams))
    {
        outTime = ConformedBy(mSource, TimeOfField(inTime, inRenderParams.mFieldToRender), inRenderParams);
        return;
    }
    const MF::FrameTime time = inTime;
    outTime = time;
    if (ConformedBy(mSource, time, inRenderParams) == time)
    {
        return;
    }
    norviktypes::FrameRate frameRate;
    mSource->GetFrameRate(frameRate);
    if (frameRate > norviktypes::kFrameRate_Video1000)
    {
        norviktypes::FrameRate fieldRate;
        mSource->GetFieldRate(fieldRate);
        outTime = {time.mFirstTime.AlignToFrame(fieldRate), time.mSecondTime.AlignToFrame(fieldRate)};
    }
}

RenderableSourceTimeMix::FrameTimes
RenderableSourceTimeMix::FramesOf(const MF::FrameTime& inTime,
                                  const CutlistRenderParams& inRenderParams) const
{
    if (ConformedBy(mSource, inTime, inRenderParams) == inTime)
    {
        return {inTime, inTime};
    }
    return {ConformedBy(mSource, MF::FrameTime(inTime.mFirstTime), inRenderParams),
            ConformedBy(mSource, MF::FrameTime(inTime.mSecondTime), inRenderParams)};
}

void RenderableSourceTimeMix::CollectPrefetchItems(const MF::FrameTime& inTime,
                                                   const CutlistRenderParams& inRenderParams,
                                                   std::vector<IRenderableNodePrefetchRef>& ioItems)
{
    const FrameTimes times = FramesOf(inTime, inRenderParams);
    mSource->CollectPrefetchItems(times.mOfSecond, inRenderParams, ioItems);
    if (times.mOfFirst != times.mOfSecond)
    {
        mSource->CollectPrefetchItems(times.mOfFirst, inRenderParams, ioItems);
    }
}

void RenderableSourceTimeMix::Render(const MF::FrameTime& inTime, const CutlistRenderParams& inRenderParams,
                                     MF::IVideoFrameRef& outFrame)
{
    outFrame.reset();
    const FrameTimes times = FramesOf(inTime, inRenderParams);
    MF::IVideoFrameRef ofSecond;
    mSource->Render(times.mOfSecond, inRenderParams, ofSecond);
    MF::IVideoFrameRef ofFirst = ofSecond;
    if (times.mOfFirst != times.mOfSecond)
    {
        ofFirst.reset();
        mSource->Render(times.mOfFirst, inRenderParams, ofFirst);
    }
    else if (times.mOfSecond == inTime)
    {
        outFrame = ofSecond;
        return;
    }
    if (!ofSecond && !ofFirst)
    {
        return;
    }
    outFrame = InterleaveFrames(inTime, inRenderParams, ofSecond, times.mOfSecond, ofFirst, times.mOfFirst);
}

IRenderableSourceRef TimeMixSource(const IRenderableSourceRef& inSource)
{
    return MakeSource<RenderableSourceTimeMix>(inSource);
}

} // namespace ML
