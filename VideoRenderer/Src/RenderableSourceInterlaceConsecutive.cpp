#include "RenderableSourceInterlaceConsecutive.h"

#include "FieldOperations.h"

namespace ML
{

namespace
{

// Frames of the source inside for one frame here.
constexpr int kFramesPerFrame = 2;

// Half of a frame of an odd number of ticks is rounded down. Twice that would fall a tick short of the next frame,
// and both fields would be of the same one.
MF::FrameTime Doubled(const MF::FrameTime& inTime, const norviktypes::FrameRate& inFrameRate)
{
    const norviktypes::TickTime fieldLength((inFrameRate * kFramesPerFrame).GetTicks());
    const norviktypes::TickTime lost(inFrameRate.GetTicks() % kFramesPerFrame);
    MF::FrameTime doubled(inTime.mFirstTime * kFramesPerFrame, inTime.mSecondTime * kFramesPerFrame);
    if (inTime.mSecondTime - inTime.mFirstTime == fieldLength)
    {
        doubled.mSecondTime += lost;
    }
    else if (inTime.mFirstTime - inTime.mSecondTime == fieldLength)
    {
        doubled.mFirstTime += lost;
    }
    return doubled;
}

} // namespace

RenderableSourceInterlaceConsecutive::RenderableSourceInterlaceConsecutive(
    const IRenderableSourceRef& inSource)
    : RenderableSourceDecorator(inSource)
{
}

void RenderableSourceInterlaceConsecutive::GetFieldRate(norviktypes::FrameRate& outRate)
{
    mSource->GetFrameRate(outRate);
    outRate = outRate * kFramesPerFrame;
}

void RenderableSourceInterlaceConsecutive::ConformFrameTime(const MF::FrameTime& inTime,
                                                            const CutlistRenderParams&,
                                                            MF::FrameTime& outTime)
{
    norviktypes::FrameRate frameRate;
    GetFrameRate(frameRate);
    norviktypes::FrameRate fieldRate;
    GetFieldRate(fieldRate);
    const norviktypes::FieldType order = inTime.Order();

    const norviktypes::TickTime start =
        inTime.Earlier().AlignToFrame(norviktypes::IsInterlaced(order) ? frameRate : fieldRate);
    outTime = FrameOfFields(start, order, fieldRate);
}

RenderableSourceInterlaceConsecutive::InnerTimes
RenderableSourceInterlaceConsecutive::FindInnerTimes(const MF::FrameTime& inTime,
                                                     const CutlistRenderParams& inRenderParams) const
{
    norviktypes::FrameRate frameRate;
    mSource->GetFrameRate(frameRate);
    InnerTimes times;
    times.mRequested = Doubled(inTime, frameRate);
    times.mOfFirst = ConformedBy(mSource, MF::FrameTime(times.mRequested.mFirstTime), inRenderParams);
    times.mOfSecond = ConformedBy(mSource, MF::FrameTime(times.mRequested.mSecondTime), inRenderParams);
    return times;
}

void RenderableSourceInterlaceConsecutive::CollectPrefetchItems(
    const MF::FrameTime& inTime, const CutlistRenderParams& inRenderParams,
    std::vector<IRenderableNodePrefetchRef>& ioItems)
{
    const InnerTimes times = FindInnerTimes(inTime, inRenderParams);
    mSource->CollectPrefetchItems(times.mOfFirst, inRenderParams, ioItems);
    if (times.mOfSecond != times.mOfFirst)
    {
        mSource->CollectPrefetchItems(times.mOfSecond, inRenderParams, ioItems);
    }
}

void RenderableSourceInterlaceConsecutive::Render(const MF::FrameTime& inTime,
                                                  const CutlistRenderParams& inRenderParams,
                                                  MF::IVideoFrameRef& outFrame)
{
    const InnerTimes times = FindInnerTimes(inTime, inRenderParams);
    mSource->Render(times.mOfFirst, inRenderParams, outFrame);
    const bool isOneWholeFrame = times.mOfFirst == times.mOfSecond &&
                                 !norviktypes::IsInterlaced(inTime.Order()) &&
                                 !norviktypes::IsInterlaced(times.mOfFirst.Order());
    if (isOneWholeFrame)
    {
        return;
    }
    const MF::IVideoFrameRef upper = outFrame;
    MF::IVideoFrameRef lower;
    mSource->Render(times.mOfSecond, inRenderParams, lower);
    // The second time is that of the lower field, so its frame comes first.
    outFrame =
        InterleaveFrames(times.mRequested, inRenderParams, lower, times.mOfSecond, upper, times.mOfFirst);
}

IRenderableSourceRef InterlaceConsecutiveFramesFromSource(const IRenderableSourceRef& inSource)
{
    return MakeSource<RenderableSourceInterlaceConsecutive>(inSource);
}

} // namespace ML
