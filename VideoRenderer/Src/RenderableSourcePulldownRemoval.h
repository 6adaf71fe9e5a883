// The film in a telecined source.
//
// Thread-safety: safe.
#pragma once

#include "RenderableSourceDecorator.h"
#include "norviktypes/PulldownCadence.h"

namespace ML
{

class RenderableSourcePulldownRemoval final
    : public RenderableSourceDecorator<RenderableSourcePulldownRemoval>
{
public:
    RenderableSourcePulldownRemoval(const IRenderableSourceRef& inSource,
                                    norviktypes::PulldownCadence inCadence);

    void ConformFrameTime(const MF::FrameTime& inTime, const CutlistRenderParams& inRenderParams,
                          MF::FrameTime& outTime) override;
    void CollectPrefetchItems(const MF::FrameTime& inTime, const CutlistRenderParams& inRenderParams,
                              std::vector<IRenderableNodePrefetchRef>& ioItems) override;
    void Render(const MF::FrameTime& inTime, const CutlistRenderParams& inRenderParams,
                MF::IVideoFrameRef& outFrame) override;
    void GetFrameRate(norviktypes::FrameRate& outRate) override;
    // The film has no fields.
    void GetFieldRate(norviktypes::FrameRate& outRate) override;

private:
    // The source's frame that holds a film frame, or its second field; the other one is then in mPrevious.
    struct Place
    {
        MF::FrameTime mCurrent;
        MF::FrameTime mPrevious;
        bool mNeedsMerge = false;
    };
    Place PlaceOf(const MF::FrameTime& inTime, const CutlistRenderParams& inRenderParams) const;

    const norviktypes::PulldownCadence mCadence;
};

} // namespace ML
