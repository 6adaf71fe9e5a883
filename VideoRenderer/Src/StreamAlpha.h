// What the creator of a source said about the alpha of its stream, and frames made to agree with it.
//
// Thread-safety: value type; frames are written only after they were made writeable.
#pragma once

#include "MF/IVideoFrame.h"
#include "norviktypes/RenderQuality.h"

namespace ML
{

struct StreamAlpha
{
    norviktypes::AlphaChannel mAlphaChannel = norviktypes::kAlphaChannel_Any;
    TVK::ParamColor<unsigned long> mMatteColor; // against which frames are premultiplied
    bool mIgnoreAlpha = false;
    bool mInvertAlpha = false;

    // Makes ioFrame opaque, inverts its alpha or takes out what it is premultiplied against. Frames without
    // transparency and of other than packed four-component formats stay as they are. A frame that is shared
    // is replaced by a copy. Throws RenderRequestException with the status of an operation that fails,
    // TVK::NullInterfaceException for an empty frame and where there is no memory for a copy.
    void Conform(MF::IVideoFrameRef& ioFrame, norviktypes::RenderQuality inQuality) const;

private:
    void ConformAlphaType(MF::IVideoFrameRef& ioFrame, norviktypes::RenderQuality inQuality) const;
    void UnPremultiply(const MF::IVideoFrameRef& inFrame, norviktypes::RenderQuality inQuality) const;
};

// A frame that may be written. Throws TVK::NullInterfaceException where none can be made.
MF::IVideoFrameRef MakeWriteable(const MF::IVideoFrameRef& inFrame, norviktypes::RenderQuality inQuality);

} // namespace ML
