// Frames of the chain beneath an effect, and of the tracks that it looks at.
//
// Thread-safety: a handle is used by one thread at a time.
#pragma once

#include "MF/IVideoFrame.h"
#include "norviktypes/TickTime.h"

#include <cstdint>

namespace ML
{

// Fetches other frames of the chain beneath an operator, for effects that look at neighbours in time.
class SubTreeRender : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kSubTreeRender;

    // outFrame is empty if nothing is there, or black with inBlackIfEmpty where there is no chain at all.
    virtual void RenderFrame(const norviktypes::TickTime& inTime, MF::IVideoFrameRef& outFrame,
                             bool inBlackIfEmpty) = 0;
};
using SubTreeRenderRef = TVK::InterfaceRef<SubTreeRender>;

// Fetches the picture that a layer parameter of an effect points to, at the moment of the render.
class LayerRender : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kLayerRender;

    // inParameter: place of the parameter in the list. 0 with an empty frame where the parameter is not set,
    // points to the effect's own track, or nothing plays there; negative if the layer could not be rendered.
    // outFrame is at the output's place and of its size, of the format of the frame that the filter was given,
    // and never to be changed.
    virtual std::int32_t RenderLayer(std::uint32_t inParameter, MF::IVideoFrameRef& outFrame) = 0;
};
using LayerRenderRef = TVK::InterfaceRef<LayerRender>;

} // namespace ML
