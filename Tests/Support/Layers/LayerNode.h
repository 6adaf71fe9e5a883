// The least that stands for a clip in a cutlist: a node that shows one picture, and says where it lies.
//
// A layer's picture comes from a function, and so do its intrinsics, both by time; the layer's name goes into
// its hash and must differ where the functions do. The functions are called on every rendering thread.
//
// Thread-safety: safe if the two functions are.
#pragma once

#include "RenderableNodeCommonImpl.h"
#include "RenderableNodeParameters.h"

#include <functional>
#include <string>

namespace TestSupport
{

// Gives the frame for a time, or a negative status.
using PictureFunction = std::function<std::int32_t(
    const MF::FrameTime& inTime, const ML::CutlistRenderParams& inParams, MF::IVideoFrameRef& outFrame)>;

// Fills the record of the field at inTime, and gives a status.
using IntrinsicsFunction =
    std::function<std::int32_t(const norviktypes::TickTime& inTime, ML::NodeIntrinsicParameters& outRecord)>;

// A finished node. inIntrinsics may be null: the defaults.
MF::IRenderableNodeRef CreateLayerNode(const std::string& inName, PictureFunction inPicture,
                                       IntrinsicsFunction inIntrinsics = nullptr);

} // namespace TestSupport
