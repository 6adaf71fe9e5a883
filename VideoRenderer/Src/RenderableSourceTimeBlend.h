// A source played at another speed, blended.
//
// Thread-safety: safe.
#pragma once

#include "MF/SampleWeights.h"
#include "RenderableSourceDecorator.h"

#include <set>

namespace ML
{

class RenderableSourceTimeBlend final : public RenderableSourceDecorator<RenderableSourceTimeBlend>
{
public:
    RenderableSourceTimeBlend(const IRenderableSourceRef& inSource,
                              const MF::ITimeTransformRef& inTimeTransform, double inSpeed);

    // Any time can be blended; below medium quality as the time mix.
    void ConformFrameTime(const MF::FrameTime& inTime, const CutlistRenderParams& inRenderParams,
                          MF::FrameTime& outTime) override;
    void CollectPrefetchItems(const MF::FrameTime& inTime, const CutlistRenderParams& inRenderParams,
                              std::vector<IRenderableNodePrefetchRef>& ioItems) override;
    void Render(const MF::FrameTime& inTime, const CutlistRenderParams& inRenderParams,
                MF::IVideoFrameRef& outFrame) override;

private:
    enum class Way
    {
        Direct,   // no blending
        Range,    // the mean of all that is played
        TwoFrames // a dissolve between the two around the time
    };
    // How one frame is made. A progressive one is made of the samples of the second field alone.
    struct Plan
    {
        Way mWay = Way::Direct;
        MF::WeightedSamples mOfFirst;
        MF::WeightedSamples mOfSecond;

        std::set<MF::SampleKey> Keys() const;
    };

    Plan PlanFor(const MF::FrameTime& inTime, const CutlistRenderParams& inRenderParams) const;
    Way WayFor(const MF::FrameTime& inTime, const CutlistRenderParams& inRenderParams,
               const norviktypes::TickTime& inFrameDuration, const norviktypes::TickTime& inFirstSpan,
               const norviktypes::TickTime& inSecondSpan) const;
    void PlanRange(const MF::FrameTime& inTime, const norviktypes::TickTime& inFirstSpan,
                   const norviktypes::TickTime& inSecondSpan, Plan& ioPlan) const;
    void PlanTwoFrames(const MF::FrameTime& inTime, const CutlistRenderParams& inRenderParams,
                       Plan& ioPlan) const;

    // The mapping of the clip. Requests are in its times already, so that nothing here maps by it.
    const MF::ITimeTransformRef mTimeTransform;
    const double mSpeed;
    const IRenderableSourceRef mDirectSource;
};

} // namespace ML
