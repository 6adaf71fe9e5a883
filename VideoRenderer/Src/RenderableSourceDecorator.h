// What every decorator of a source has in common: the source inside, and that what isn't changed is passed on.
//
// Thread-safety: safe; the only state is the reference, which never changes.
#pragma once

#include "RenderableSourceTools.h"
#include "TVK/Allocated.h"

namespace ML
{

template <class T>
class RenderableSourceDecorator : public TVK::Implements<T, IRenderableSource>
{
public:
    // Asks the source inside to make ready what it would be asked to render.
    void CollectPrefetchItems(const MF::FrameTime& inTime, const CutlistRenderParams& inRenderParams,
                              std::vector<IRenderableNodePrefetchRef>& ioItems) override
    {
        mSource->CollectPrefetchItems(ConformedBy(mSource, inTime, inRenderParams), inRenderParams, ioItems);
    }
    void GetFrameRate(norviktypes::FrameRate& outRate) override { mSource->GetFrameRate(outRate); }
    void GetFieldRate(norviktypes::FrameRate& outRate) override { mSource->GetFieldRate(outRate); }

protected:
    explicit RenderableSourceDecorator(const IRenderableSourceRef& inSource) : mSource(inSource) {}

    const IRenderableSourceRef mSource;
};

} // namespace ML
