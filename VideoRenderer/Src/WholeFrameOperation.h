// Operations from one frame to another one like it, as decorators apply them.
//
// Thread-safety: safe; the frame that is read belongs to the calling render, or is frozen.
#pragma once

#include "CutlistRenderParams.h"
#include "MF/IVideoFrame.h"

#include <cstdint>

namespace ML
{

using WholeFrameOperation = std::int32_t (*)(const MF::IVideoFrameRef& inSource,
                                             const MF::IVideoFrameRef& inTarget);

// inFrame, at render size where it stands for that, in a format whose rows can be walked with one pointer,
// passed through inOperation into a new frame. Throws TVK::NullInterfaceException for an empty inFrame and
// for one that cannot be converted, RenderRequestException where memory is short or the operation fails.
MF::IVideoFrameRef PassThrough(WholeFrameOperation inOperation, const MF::IVideoFrameRef& inFrame,
                               const CutlistRenderParams& inRenderParams);

// The same for an operation that knows planes too: planes stay planes where the params ask for just these.
MF::IVideoFrameRef PassPlanesThrough(WholeFrameOperation inOperation, const MF::IVideoFrameRef& inFrame,
                                     const CutlistRenderParams& inRenderParams);

} // namespace ML
