// Operations on whole frames.
//
// Statuses: 0, or negative when formats or sizes cannot go together or memory is short. An empty
// reference throws TVK::NullInterfaceException. Targets must be writeable.
//
// Thread-safety: safe on distinct targets.
#pragma once

#include "MF/IVideoFrame.h"
#include "norviktypes/RenderQuality.h"

#include <cstdint>

namespace VF::VideoFrameManipulators
{

// The whole of inSource scaled and converted to fill inTarget. The alpha type is carried over; the
// target's field type stays.
std::int32_t CopyFrame(const MF::IVideoFrameRef& inSource, const MF::IVideoFrameRef& inTarget,
                       norviktypes::RenderQuality inQuality);

// As CopyFrame for inField 0; 1 or 2 spread only that field of the source (upper or lower lines) over
// the whole target. Where both frames are interlaced in the same order, 0 scales each field by itself,
// so that lines of two moments are never mixed.
std::int32_t CopyFrameWithFields(const MF::IVideoFrameRef& inSource, const MF::IVideoFrameRef& inTarget,
                                 norviktypes::RenderQuality inQuality, std::uint32_t inField);

// Sets, or inverts, the alpha of a four-component frame (straight and opaque formats; a premultiplied
// one has its colours adapted). Formats without alpha are left alone. InvertAlpha of a frame without
// alpha does nothing.
std::int32_t OpaqueAlpha(const MF::IVideoFrameRef& inFrame);
std::int32_t InvertAlpha(const MF::IVideoFrameRef& inFrame);

// A frame whose rows can be walked with one pointer: inSource itself if its format is uncompressed and
// not planar and both raw interfaces are there, else a copy in inFormat.
std::int32_t MakeAddressableVideoFrame(const MF::IVideoFrameRef& inSource, MF::IVideoFrameRef& outFrame,
                                       const norviktypes::PixelFormat& inFormat,
                                       norviktypes::RenderQuality inQuality);

} // namespace VF::VideoFrameManipulators
