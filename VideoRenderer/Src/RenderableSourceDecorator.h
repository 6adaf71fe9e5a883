// What every decorator of a source has in common: the source inside, and that what isn't changed is passed on.
//
// Thread-safety: safe; the only state is the reference, which never changes.
#pragma once

#include "RenderableSources.h"
#include "TVK/Allocated.h"

#include <new>
#include <utility>

namespace ML
{

inline MF::FrameTime Swapped(const MF::FrameTime& inTime) noexcept
{
    return {inTime.mSecondTime, inTime.mFirstTime};
}

// What inSource makes of a request. Throws TVK::NullInterfaceException if there is no source.
inline MF::FrameTime ConformedBy(const IRenderableSourceRef& inSource, const MF::FrameTime& inTime,
                                 const CutlistRenderParams& inRenderParams)
{
    MF::FrameTime conformed;
    inSource->ConformFrameTime(inTime, inRenderParams, conformed);
    return conformed;
}

// A new source as callers hold it. No memory for it is no source.
template <class T, class... Arguments>
IRenderableSourceRef MakeSource(Arguments&&... inArguments)
{
    try
    {
        return TVK::InterfaceRef<T>(new T(std::forward<Arguments>(inArguments)...));
    }
    catch (const std::bad_alloc&)
    {
        throw TVK::NullInterfaceException();
    }
}

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
