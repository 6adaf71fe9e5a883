// The operations of a source as expressions.
#pragma once

#include "RenderableSources.h"

#include <vector>

inline MF::FrameTime ConformedTime(const ML::IRenderableSourceRef& inSource, const MF::FrameTime& inTime,
                                   const ML::CutlistRenderParams& inParams)
{
    MF::FrameTime conformed;
    inSource->ConformFrameTime(inTime, inParams, conformed);
    return conformed;
}

inline MF::IVideoFrameRef RenderedFrame(const ML::IRenderableSourceRef& inSource, const MF::FrameTime& inTime,
                                        const ML::CutlistRenderParams& inParams)
{
    MF::IVideoFrameRef frame;
    inSource->Render(inTime, inParams, frame);
    return frame;
}

inline std::vector<ML::IRenderableNodePrefetchRef> CollectedItems(const ML::IRenderableSourceRef& inSource,
                                                                  const MF::FrameTime& inTime,
                                                                  const ML::CutlistRenderParams& inParams)
{
    std::vector<ML::IRenderableNodePrefetchRef> items;
    inSource->CollectPrefetchItems(inTime, inParams, items);
    return items;
}

inline norviktypes::FrameRate FrameRateOf(const ML::IRenderableSourceRef& inSource)
{
    norviktypes::FrameRate rate;
    inSource->GetFrameRate(rate);
    return rate;
}

inline norviktypes::FrameRate FieldRateOf(const ML::IRenderableSourceRef& inSource)
{
    norviktypes::FrameRate rate;
    inSource->GetFieldRate(rate);
    return rate;
}
