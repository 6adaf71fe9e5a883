// Laying one frame over another with the geometry, opacity and blend mode of its clip.
//
// A frame comes with two records, one for the moment of each of its fields. Where they agree the whole
// frame is drawn in one pass, else each field with its own. What the numbers mean on the picture stands in
// IR/Motion.h.
//
// Quality 5 works in linear light in 32-bit floats (kPixelFormat_BGRP_4444_32f_Linear) from the first frame
// to the last: nothing is clamped between two operations, and the result is in that format whatever the
// params ask for. Colour is made linear by what the frame's format says of its coding; media is brought to
// that coding when it's decoded.
//
// Below quality 5 frames are composited in the model and coding of the lower frame, as they are stored.
//
// Ownership: a lower frame that isn't frozen is drawn into and returned; a frozen one is copied first.
// Errors: a broken contract raises norvik::config::Error; a frame that vanishes or has no raw pixels throws
// TVK::NullInterfaceException; a target that can't be made and a drawing that fails give an empty frame.
//
// Thread-safety: safe; a frame that isn't frozen belongs to the calling render.
#pragma once

#include "CutlistRenderParams.h"
#include "MF/IVideoFrame.h"
#include "RenderableNodeParameters.h"
#include "norviktypes/RenderQuality.h"

namespace ML
{

// Whether the frame can stand as the output: field order (from quality 3 up), no origin, pixel aspect, and
// the render size or a full-size substitute for it.
bool FrameAlreadyConformsToOutput(const MF::IVideoFrameRef& inFrame,
                                  const CutlistRenderParams& inRenderParams);

// inFrame drawn over inLowerFrame, which may be empty: then over nothing, and a blend mode has no meaning.
// inLowerFrame must conform to the output. A frame whose content rectangle is all zero gives the
// lower frame back.
MF::IVideoFrameRef PerformIntrinsicOperations(const MF::IVideoFrameRef& inFrame,
                                              const NodeIntrinsicParameters& inFirstField,
                                              const NodeIntrinsicParameters& inSecondField,
                                              const MF::IVideoFrameRef& inLowerFrame,
                                              const CutlistRenderParams& inRenderParams);

// A frame with nothing under it: inFrame itself, no pixel touched, if it has the default geometry and
// conforms to the output; else drawn at its place, in normal mode and with the plain filter.
MF::IVideoFrameRef ApplyIntrinsicsIfNeeded(const MF::IVideoFrameRef& inFrame,
                                           const NodeIntrinsicParameters& inFirstField,
                                           const NodeIntrinsicParameters& inSecondField,
                                           const CutlistRenderParams& inRenderParams);

// inFormat with room for an alpha of its own: straight where it has none or says that all is opaque.
// kPixelFormat_Invalid where there is no such format.
norviktypes::PixelFormat FormatWithAlpha(const norviktypes::PixelFormat& inFormat);

// A frame with straight alpha laid over black, and opaque from then on. Others as they are.
MF::IVideoFrameRef FlattenFrameOnBlack(const MF::IVideoFrameRef& inFrame,
                                       norviktypes::RenderQuality inQuality);

} // namespace ML
