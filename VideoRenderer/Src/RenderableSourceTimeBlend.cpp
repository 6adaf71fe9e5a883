#include "RenderableSourceTimeBlend.h"

#include "BlendedFrames.h"
#include "RenderableSourceTimeMix.h"

namespace ML
{

namespace
{

using norviktypes::FieldType;
using norviktypes::FrameRate;
using norviktypes::IsInterlaced;
using norviktypes::TickTime;

// inWeight is that of inAfter. A sample without weight is not rendered: it would cost a frame, and there may
// be none after the last one.
MF::WeightedSamples SamplesOfDissolve(const TickTime& inBefore, const TickTime& inAfter, FieldType inField,
                                      float inWeight)
{
    MF::WeightedSamples samples;
    if (inWeight < 1.0F)
    {
        samples.push_back({{inBefore, inField}, 1.0 - static_cast<double>(inWeight)});
    }
    if (inWeight > 0.0F)
    {
        samples.push_back({{inAfter, inField}, static_cast<double>(inWeight)});
    }
    return samples;
}

} // namespace

RenderableSourceTimeBlend::RenderableSourceTimeBlend(const IRenderableSourceRef& inSource,
                                                     const MF::ITimeTransformRef& inTimeTransform,
                                                     double inSpeed)
    : RenderableSourceDecorator(inSource)
    , mTimeTransform(inTimeTransform)
    , mSpeed(inSpeed)
    , mDirectSource(MakeSource<RenderableSourceTimeMix>(inSource))
{
}

std::set<MF::SampleKey> RenderableSourceTimeBlend::Plan::Keys() const
{
    std::set<MF::SampleKey> keys;
    for (const MF::WeightedSamples* samples : {&mOfFirst, &mOfSecond})
    {
        for (const MF::WeightedSample& sample : *samples)
        {
            keys.insert(sample.first);
        }
    }
    return keys;
}

RenderableSourceTimeBlend::Plan
RenderableSourceTimeBlend::PlanFor(const MF::FrameTime& inTime,
                                   const CutlistRenderParams& inRenderParams) const
{
    FrameRate fieldRate;
    mSource->GetFieldRate(fieldRate);
    TickTime frameDuration;
    TickTime firstSpan;
    TickTime secondSpan;
    MF::CalculateDurationsInMediaTime(fieldRate, inRenderParams.mFrameRate, inTime, mSpeed, frameDuration,
                                      firstSpan, secondSpan);
    Plan plan;
    plan.mWay = WayFor(inTime, inRenderParams, frameDuration, firstSpan, secondSpan);
    switch (plan.mWay)
    {
    case Way::Direct: break;
    case Way::Range: PlanRange(inTime, firstSpan, secondSpan, plan); break;
    case Way::TwoFrames: PlanTwoFrames(inTime, inRenderParams, plan); break;
    }
    return plan;
}

RenderableSourceTimeBlend::Way RenderableSourceTimeBlend::WayFor(const MF::FrameTime& inTime,
                                                                 const CutlistRenderParams& inRenderParams,
                                                                 const TickTime& inFrameDuration,
                                                                 const TickTime& inFirstSpan,
                                                                 const TickTime& inSecondSpan) const
{
    if (inRenderParams.mRenderQuality < norviktypes::kRenderQuality_Medium)
    {
        return Way::Direct;
    }
    FrameRate frameRate;
    mSource->GetFrameRate(frameRate);
    const TickTime time = inTime.Earlier();
    const bool isOnFrame = frameRate <= norviktypes::kFrameRate_Zero || time.AlignToFrame(frameRate) == time;
    if (isOnFrame && inFirstSpan == inFrameDuration && inSecondSpan == inFrameDuration)
    {
        return Way::Direct;
    }
    return inFrameDuration < inFirstSpan || inFrameDuration < inSecondSpan ? Way::Range : Way::TwoFrames;
}

void RenderableSourceTimeBlend::PlanRange(const MF::FrameTime& inTime, const TickTime& inFirstSpan,
                                          const TickTime& inSecondSpan, Plan& ioPlan) const
{
    FrameRate fieldRate;
    mSource->GetFieldRate(fieldRate);
    if (IsInterlaced(inTime.Order()))
    {
        MF::GetWeightedSamplesForRange(inTime.mFirstTime, inTime.mFirstTime + inFirstSpan, fieldRate,
                                       norviktypes::kFieldType_UpperFirst, ioPlan.mOfFirst);
        MF::NormalizeSampleWeights(ioPlan.mOfFirst);
    }
    MF::GetWeightedSamplesForRange(inTime.mSecondTime, inTime.mSecondTime + inSecondSpan, fieldRate,
                                   norviktypes::kFieldType_LowerFirst, ioPlan.mOfSecond);
    MF::NormalizeSampleWeights(ioPlan.mOfSecond);
}

void RenderableSourceTimeBlend::PlanTwoFrames(const MF::FrameTime& inTime,
                                              const CutlistRenderParams& inRenderParams, Plan& ioPlan) const
{
    FrameRate frameRate;
    mSource->GetFrameRate(frameRate);
    // Of a source with fields, the samples of the later field are those moments later: dissolved between the
    // moments of the earlier one, it would move out of step.
    const MF::FrameTime delivered = ConformedBy(mSource, inTime, inRenderParams);
    const MF::FrameTime offset = delivered - delivered.Earlier();
    MF::FrameTime before;
    MF::FrameTime after;
    MF::GetSamplesAroundTime(
        MF::FrameTime(inTime.mFirstTime - offset.mFirstTime, inTime.mSecondTime - offset.mSecondTime),
        frameRate, before.mFirstTime, after.mFirstTime, before.mSecondTime, after.mSecondTime);
    if (IsInterlaced(inTime.Order()))
    {
        const TickTime a = before.mFirstTime + offset.mFirstTime;
        const TickTime b = after.mFirstTime + offset.mFirstTime;
        ioPlan.mOfFirst = SamplesOfDissolve(a, b, norviktypes::kFieldType_UpperFirst,
                                            MF::CalculateSampleWeight(inTime.mFirstTime, a, b));
    }
    const TickTime c = before.mSecondTime + offset.mSecondTime;
    const TickTime d = after.mSecondTime + offset.mSecondTime;
    ioPlan.mOfSecond = SamplesOfDissolve(c, d, norviktypes::kFieldType_LowerFirst,
                                         MF::CalculateSampleWeight(inTime.mSecondTime, c, d));
}

void RenderableSourceTimeBlend::ConformFrameTime(const MF::FrameTime& inTime,
                                                 const CutlistRenderParams& inRenderParams,
                                                 MF::FrameTime& outTime)
{
    if (inRenderParams.mRenderQuality < norviktypes::kRenderQuality_Medium)
    {
        mDirectSource->ConformFrameTime(inTime, inRenderParams, outTime);
        return;
    }
    outTime = inTime;
}

void RenderableSourceTimeBlend::CollectPrefetchItems(const MF::FrameTime& inTime,
                                                     const CutlistRenderParams& inRenderParams,
                                                     std::vector<IRenderableNodePrefetchRef>& ioItems)
{
    const Plan plan = PlanFor(inTime, inRenderParams);
    if (plan.mWay == Way::Direct)
    {
        mDirectSource->CollectPrefetchItems(inTime, inRenderParams, ioItems);
        return;
    }
    std::set<std::pair<TickTime, TickTime>> collected;
    for (const MF::SampleKey& key : plan.Keys())
    {
        const MF::FrameTime time = ConformedBy(mSource, MF::FrameTime(key.first), inRenderParams);
        if (collected.emplace(time.mFirstTime, time.mSecondTime).second)
        {
            mSource->CollectPrefetchItems(time, inRenderParams, ioItems);
        }
    }
}

void RenderableSourceTimeBlend::Render(const MF::FrameTime& inTime, const CutlistRenderParams& inRenderParams,
                                       MF::IVideoFrameRef& outFrame)
{
    outFrame.reset();
    const Plan plan = PlanFor(inTime, inRenderParams);
    if (plan.mWay == Way::Direct)
    {
        mDirectSource->Render(inTime, inRenderParams, outFrame);
        return;
    }
    const bool hasFields = IsInterlaced(inTime.Order());
    BlendedFrames frames(mSource, inRenderParams, hasFields);
    frames.Render(plan.Keys());
    const MF::IVideoFrameRef target = frames.CreateTarget();
    if (!target)
    {
        return;
    }
    target->SetFieldType(inTime.Order());
    const auto blend = plan.mWay == Way::Range ? &BlendedFrames::Accumulate : &BlendedFrames::Dissolve;
    if (hasFields)
    {
        (frames.*blend)(plan.mOfFirst, target, BlendedLines::Upper);
    }
    (frames.*blend)(plan.mOfSecond, target, hasFields ? BlendedLines::Lower : BlendedLines::All);
    outFrame = target;
}

IRenderableSourceRef TimeBlendSource(const IRenderableSourceRef& inSource,
                                     const MF::ITimeTransformRef& inTimeTransform, double inSpeed)
{
    return MakeSource<RenderableSourceTimeBlend>(inSource, inTimeTransform, inSpeed);
}

} // namespace ML
