// Fields of planar frames put together and taken apart plane by plane, for a client that wishes for planes.
//
// By way of four components every chroma row would be interpolated and filtered, which is slower and not the same
// again. Rows that need not be made but only to be chosen are copied: each bit of them stays. Those between the rows
// of a field are made of samples as the stream has them.
//
// Thread-safety: safe; frames that are read belong to the calling render, or are frozen.
#pragma once

#include "CutlistRenderParams.h"
#include "MF/IVideoFrame.h"

namespace ML
{

// True if inFrame is planar and inRenderParams ask for that very format, at a quality that doesn't work in light.
bool HasWishedPlanes(const MF::IVideoFrameRef& inFrame, const CutlistRenderParams& inRenderParams);

// What both frames need to have so that their rows may be taken as they are: one planar format and the size that
// inRenderParams ask for. Rows of chroma are those of the fields, whatever the format says of them.
bool HaveRowsOfFields(const MF::IVideoFrameRef& inLower, const MF::IVideoFrameRef& inUpper,
                      const CutlistRenderParams& inRenderParams);

// Progressive frames are not the same: a 4:2:0 chroma row of theirs lies between two lines. Every second one of
// these rows, of either parity, is where a chroma row of that field belongs. So they may be taken as rows of the
// fields, for a target whose rows are. Asks for what HaveRowsOfFields does, but the format may be that of frames.
bool HaveRowsForFields(const MF::IVideoFrameRef& inLower, const MF::IVideoFrameRef& inUpper,
                       const CutlistRenderParams& inRenderParams);

// What a frame needs to have so that the rows of one of its fields may stay where they are and the others be made
// between them, plane by plane: the size and the planar format that inRenderParams ask for. Of 4:2:0 whose chroma
// rows are those of the fields, inRenderParams may also ask for rows of frames: once all are of one moment, they
// lie where these do.
bool HasRowsForOneMoment(const MF::IVideoFrameRef& inFrame, const CutlistRenderParams& inRenderParams);

// A progressive frame as inRenderParams ask for, made of one field of a frame that has rows for that. Empty if it
// cannot be made.
MF::IVideoFrameRef DeinterlacedPlanes(const MF::IVideoFrameRef& inFrame,
                                      norviktypes::RenderQuality inDeinterlaceQuality, bool inUseLowerField,
                                      const CutlistRenderParams& inRenderParams);

// A frame as inRenderParams ask for, with the odd rows of inLower and the even ones of inUpper in every plane. Empty
// if it cannot be made. One of the two must be true of the frames.
MF::IVideoFrameRef WovenPlanes(const MF::IVideoFrameRef& inLower, const MF::IVideoFrameRef& inUpper,
                               const CutlistRenderParams& inRenderParams);

} // namespace ML
