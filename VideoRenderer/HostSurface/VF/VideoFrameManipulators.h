// Operations on whole frames.
//
// Statuses: 0, or negative when formats or sizes cannot go together, memory is short or a target is
// frozen; a target is then as it was, or its pixels are undefined. An empty reference throws
// TVK::NullInterfaceException.
//
// Thread-safety: safe on distinct targets.
#pragma once

#include "IR/Motion.h"
#include "MF/IVideoFrame.h"
#include "norviktypes/RenderQuality.h"

#include <cstdint>

namespace VF::VideoFrameManipulators
{

// The whole of inSource scaled and converted to fill inTarget. The alpha type is carried over, unless the
// conversion changed what alpha means or dropped it: then it is that of the target's format. The target's
// field type stays.
std::int32_t CopyFrame(const MF::IVideoFrameRef& inSource, const MF::IVideoFrameRef& inTarget,
                       norviktypes::RenderQuality inQuality);

// As CopyFrame for inField 0; 1 or 2 spread only that field of the source (upper or lower lines) over
// the whole target. Where both frames are interlaced in the same order, 0 scales each field by itself,
// so that lines of two moments are never mixed.
std::int32_t CopyFrameWithFields(const MF::IVideoFrameRef& inSource, const MF::IVideoFrameRef& inTarget,
                                 norviktypes::RenderQuality inQuality, std::uint32_t inField);

// OpaqueAlpha makes every pixel of a four-component frame opaque; a premultiplied one has its colours
// adapted, so that they look as they did straight. The alpha type becomes opaque.
// InvertAlpha inverts alpha where the format has one, colours adapted as before; a pixel of alpha 0 in a
// premultiplied format has no colour left and becomes opaque black. The alpha type becomes the format's.
// Frames without what is to be changed are left alone, with status 0.
std::int32_t OpaqueAlpha(const MF::IVideoFrameRef& inFrame);
std::int32_t InvertAlpha(const MF::IVideoFrameRef& inFrame);

// Exchanges the lines of the two fields on the way: target line 2k is source line 2k + 1 and the reverse; the
// last line of an odd number stays where it is. Chroma lines that both fields share (4:2:0 without fields of
// its own) are copied; 4:2:0 ones of the fields are moved by a line with their field, which takes three quarters of
// the line that changes places and a quarter of that field's next one. Both frames have one format and one size,
// and are not the same memory. The alpha type is carried over, the target's field type stays.
std::int32_t SwapFields(const MF::IVideoFrameRef& inSource, const MF::IVideoFrameRef& inTarget);

// Each line becomes its own and those above and below, weighted 2, 1 and 1: what flickers in one field is
// spread over both. Beyond the first and last line these are repeated. Straight colour counts by its alpha.
// Frames and attributes as for SwapFields.
std::int32_t VerticalConvolve(const MF::IVideoFrameRef& inSource, const MF::IVideoFrameRef& inTarget);

// Puts together a film frame that lies across two frames, as the field that ends inPrevious and the one that
// begins ioCurrent: writes the lines of the former into ioCurrent, in place. By the field type of ioCurrent these
// are the upper lines where the lower field comes first, and the lower lines where the upper one does; a frame
// that doesn't say counts as lower field first up to 576 lines and as upper field first above, as video is made.
// Chroma lines that both fields share stay. Both frames have one format and one size and share no memory.
// ioCurrent keeps its field type, and is told of transparency and content by what both frames may hold.
std::int32_t MergePulldownFrames(const MF::IVideoFrameRef& inPrevious, const MF::IVideoFrameRef& ioCurrent);

// A frame whose rows can be walked with one pointer: inSource itself if its format is uncompressed and
// not planar and both raw interfaces are there, else a copy in inFormat.
std::int32_t MakeAddressableVideoFrame(const MF::IVideoFrameRef& inSource, MF::IVideoFrameRef& outFrame,
                                       const norviktypes::PixelFormat& inFormat,
                                       norviktypes::RenderQuality inQuality);

// Pictures over each other whose pixels nobody looks at in between: each of them would be written to memory and read
// again.

// A frame to draw on, of a format, size and pixel aspect, that shows what inSource does. Its pixels are made at the
// first look at them. The alpha type is carried over. Empty, and to be copied at once, where inSource has another
// format or size or may still be written to.
MF::IVideoFrameRef CopyFrameLate(const MF::IVideoFrameRef& inSource, const norviktypes::PixelFormat& inFormat,
                                 std::uint32_t inWidth, std::uint32_t inHeight,
                                 const norviktypes::PixelAspectRatio& inRatio);

// IR_MotionWithBlendMode without a rectangle, of inSource on inTarget, where neither needs all of its pixels for it:
// they are drawn as they are made, now or at the first look at those of inTarget. inFrom and inTo tell what the
// routine is told, but for the pixels. False, and nothing done, where the routine has to be called itself.
bool DrawFrameLate(const MF::IVideoFrameRef& inSource, const IR_MotionPicture& inFrom,
                   const MF::IVideoFrameRef& inTarget, const IR_MotionPicture& inTo,
                   const IR_MotionSettings& inSettings, std::uint32_t inBlendMode, std::int32_t& outStatus);

// Makes the pixels of a frame now that would be made at the first look.
std::int32_t FinishFrame(const MF::IVideoFrameRef& inFrame);

} // namespace VF::VideoFrameManipulators
