// Operations on the fields of frames: what a source does whose fields aren't those of the output.
//
// The upper field has the lines 0, 2, 4 ... of the picture, the lower one the others, wherever the format
// puts its first line in memory. Sizes may differ between source and target; fields are then scaled, each
// as a picture of its own.
//
// Errors: what the image routines cannot do leaves the target as it is. An empty frame, and one without raw
// pixels, throws TVK::NullInterfaceException.
//
// Thread-safety: safe on distinct targets.
#pragma once

#include "CutlistRenderParams.h"
#include "MF/IVideoFrame.h"

namespace ML
{

// One field to the lines of the same field of inTarget. The target's other lines stay.
void CopyField(const MF::IVideoFrameRef& inSource, const MF::IVideoFrameRef& inTarget, bool inUseLowerField,
               const CutlistRenderParams& inParams);

// One field to the lines of the field inTargetIsLower. Where the two differ, lines are interpolated at
// their new places. The target's other lines stay.
void CopyFieldToOtherParity(const MF::IVideoFrameRef& inSource, bool inSourceIsLower,
                            const MF::IVideoFrameRef& inTarget, bool inTargetIsLower,
                            const CutlistRenderParams& inParams);

// One field spread over all lines of inTarget.
void ScaleFieldToFrame(const MF::IVideoFrameRef& inSource, const MF::IVideoFrameRef& inTarget,
                       bool inUseLowerField, const CutlistRenderParams& inParams);

// A progressive frame made of one field. inFrame itself, changed, where it may be written and
// inForceCopy is not set; empty where no frame can be made. Planes that inParams ask for are made of planes as they
// lie; other planar frames come out in four components.
MF::IVideoFrameRef DeinterlaceFrame(const MF::IVideoFrameRef& inFrame,
                                    norviktypes::RenderQuality inDeinterlaceQuality, bool inUseLowerField,
                                    const CutlistRenderParams& inParams, bool inForceCopy);

// One frame for inTimes of two: inFrameA, rendered for inTimesA, gives the lower field (that of the second
// of inTimes), inFrameB the upper one. The result has the field order that inTimes tell. A progressive
// inTimes over one and the same frame gives that frame deinterlaced. One of the two may be empty: its
// lines are black.
// Throws TVK::IllegalComparisonException if a frame cannot be told from another one.
MF::IVideoFrameRef InterleaveFrames(const MF::FrameTime& inTimes, const CutlistRenderParams& inParams,
                                    const MF::IVideoFrameRef& inFrameA, const MF::FrameTime& inTimesA,
                                    const MF::IVideoFrameRef& inFrameB, const MF::FrameTime& inTimesB);

} // namespace ML
