// The leaf of the graph: one clip of one piece of media, or of a nested sequence, conformed to the sequence
// that it plays in.
//
// Everything that matters is read from the clip once, when the node is built, and said as properties; the
// properties, not the media object, make the hash, so that two uses of a clip with the same settings are one
// node. Times of the node are media times, counted from where the media's content begins.
//
// Thread-safety: frozen, safe; mutable, for the builder alone.
#pragma once

#include "BE/IClip.h"
#include "CutlistRenderParams.h"
#include "MF/IRenderableNode.h"
#include "TVK/ParamTypes.h"
#include "norviktypes/FieldType.h"
#include "norviktypes/FrameRate.h"
#include "norviktypes/PixelAspectRatio.h"

#include <cstdint>

namespace ML
{

// How the picture of a media node lies on the sequence; a face of media nodes.
class IRenderableMediaGeometry : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kRenderableMediaGeometry;

    // Output lines by which the picture is moved, so that centring it does not exchange its fields: 0, 1
    // or -1.
    virtual std::int32_t GetScanlineOffset() const = 0;
    // True where the picture is higher than the sequence.
    virtual bool IsScanlineOffsetNegative() const = 0;
    // The rectangle of the picture in a render with these params.
    virtual TVK::Rect GetScaledFrameRect(const CutlistRenderParams& inRenderParams) const = 0;
};
using IRenderableMediaGeometryRef = TVK::InterfaceRef<IRenderableMediaGeometry>;

// The frozen node of a clip.
//
// inStreamLabel       selects a stream of nested sequences; may be null.
// inSequenceRect      empty for a clip without a sequence, with kFieldType_Invalid, square pixels and rate zero.
// inTrackItemIsMuted  is said by a property.
//
// With the setting "CompareMediaNodeRenderers" a clip of the plain kind has its fields exchanged on purpose,
// so that it can be told by eye. An empty clip throws TVK::NullInterfaceException.
MF::IRenderableNodeRef CreateMediaNode(const BE::IClipRef& inClip,
                                       const norvik::utility::ImmutableString& inStreamLabel,
                                       bool inTrackItemIsMuted, norviktypes::FieldType inSequenceFieldType,
                                       const TVK::Rect& inSequenceRect,
                                       const norviktypes::PixelAspectRatio& inSequencePAR,
                                       const norviktypes::FrameRate& inSequenceFrameRate);

} // namespace ML
