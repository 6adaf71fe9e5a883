// Frames of the size and the format that a render asks for.
//
// Three sizes meet here. The render size is that of the params (mWidth, mHeight, with their pixel aspect).
// The full size is that of the sequence or source behind it (mSourceWidth, mSourceHeight). A stream may
// deliver the full size, or half of its width, where a smaller render size was asked for: such a full-size
// substitute stands for the render size until somebody needs its pixels, and only then is it scaled.
//
// Ownership: a function that has nothing to do returns the frame that it was given. Errors: an empty
// result where no frame can be made, but for the conversions to a format: they return the frame they
// were given, as one in another format is better than none. An empty frame throws
// TVK::NullInterfaceException.
//
// Thread-safety: safe; frames that are not frozen belong to the calling render.
#pragma once

#include "CutlistRenderParams.h"
#include "MF/IVideoFrame.h"

#include <vector>

namespace ML
{

// A frame of the params' format at render size. inClear and inClearAlpha as in VF::CreateVideoFrame.
MF::IVideoFrameRef CreateRenderSizeFrame(const CutlistRenderParams& inParams, bool inClear,
                                         bool inClearAlpha);
// The same with half the height, rounded down: room for one field.
MF::IVideoFrameRef CreateHalfHeightFrame(const CutlistRenderParams& inParams, bool inClear,
                                         bool inClearAlpha);
// A frame at render size in the four-component format to work in for inSource (which may be empty: for
// the params' format). A source deeper than the params ask for is worked on at the params' depth below
// quality 5.
MF::IVideoFrameRef CreateConformedFrame(const CutlistRenderParams& inParams,
                                        const MF::IVideoFrameRef& inSource, bool inClear, bool inClearAlpha);
norviktypes::PixelFormat FormatOfConformedFrame(const CutlistRenderParams& inParams,
                                                const MF::IVideoFrameRef& inSource);

// The frame in the accepted format that is nearest to its own, inFormat being the one wished for. An
// empty list means inFormat. Full-size substitutes come out at render size where they are converted;
// frames that keep their size keep their origin too, and between four-component formats their content
// rectangle: a picture doesn't move because it's converted.
MF::IVideoFrameRef ConformFrameToFormats(const CutlistRenderParams& inParams,
                                         const MF::IVideoFrameRef& inFrame,
                                         const norviktypes::PixelFormat& inFormat,
                                         const std::vector<norviktypes::PixelFormat>& inAcceptedFormats);
MF::IVideoFrameRef ConformFrameToFormat(const CutlistRenderParams& inParams,
                                        const MF::IVideoFrameRef& inFrame,
                                        const norviktypes::PixelFormat& inFormat);

// The frame scaled to the render size, in the four-component format that goes with its own.
MF::IVideoFrameRef ConformToRenderSize(const MF::IVideoFrameRef& inFrame,
                                       const CutlistRenderParams& inParams);

// True for a full-size substitute that is not of render size itself.
bool NeedsScaleToRenderSize(const MF::IVideoFrameRef& inFrame, const CutlistRenderParams& inParams);

// inParams with the size and the aspect that inFrame has, so that it is not scaled.
CutlistRenderParams ParamsAtSizeOf(const MF::IVideoFrameRef& inFrame, const CutlistRenderParams& inParams);

// The same, but a substitute is scaled to the render size, as its neighbours may be of that size.
CutlistRenderParams ParamsAtSizeMeantBy(const MF::IVideoFrameRef& inFrame,
                                        const CutlistRenderParams& inParams);

// A frame whose rows can be walked with one pointer, substitutes at render size, others at their own. The
// frame itself where it's that already; else in the params' format.
MF::IVideoFrameRef MakeAddressableAtRenderSize(const MF::IVideoFrameRef& inFrame,
                                               const CutlistRenderParams& inParams);

// A frame that may be written. Of a frame that is frozen or planar, or with inForceCopy, it is a copy with
// the lines of one field only, at render size; the others are undefined, as the caller makes them of these.
MF::IVideoFrameRef MakeWriteableAtRenderSize(const MF::IVideoFrameRef& inFrame,
                                             const CutlistRenderParams& inParams, bool inUseLowerField,
                                             bool inForceCopy);

} // namespace ML
