// Sources that conform a single stream: what they promise, and the factories for them.
//
// A chain is built from the inside out: a stream's own source, then decorators that own the source
// inside them. Every source is immutable after creation and keeps no state of a request, so that any
// number of render and prefetch threads use one chain at once.
//
// Thread-safety: safe.
#pragma once

#include "BE/IVideoSource.h"
#include "CutlistRenderParams.h"
#include "RenderableNodePrefetch.h"
#include "TVK/Exceptions.h"
#include "TVK/ParamTypes.h"
#include "VideoRendererExport.h"
#include "norvik/utility/Strings.h"

#include <cstdint>
#include <vector>

namespace ML
{

// A frame cannot be produced; the status tells what the source met. Whoever starts a render treats
// the frame as empty, decorators let it pass.
class VIDEORENDERER_EXPORT RenderRequestException : public TVK::Exception
{
public:
    explicit RenderRequestException(std::int32_t inStatus) noexcept : mStatus(inStatus) {}
    std::int32_t GetStatus() const noexcept { return mStatus; }
    const char* what() const noexcept override { return "A frame could not be rendered."; }

private:
    std::int32_t mStatus;
};

class VIDEORENDERER_EXPORT IRenderableSource : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kRenderableSource;

    // Sets outTime to the frame time that this source really delivers for inTime.
    virtual void ConformFrameTime(const MF::FrameTime& inTime, const CutlistRenderParams& inRenderParams,
                                  MF::FrameTime& outTime) = 0;
    // Appends what a render of inTime would want ready; nothing if the source has nothing to prefetch.
    virtual void CollectPrefetchItems(const MF::FrameTime& inTime, const CutlistRenderParams& inRenderParams,
                                      std::vector<IRenderableNodePrefetchRef>& ioItems) = 0;
    // Renders on the calling thread. Sets outFrame, or throws: RenderRequestException with the status
    // of the stream, TVK::NullInterfaceException where something that must be there is missing.
    virtual void Render(const MF::FrameTime& inTime, const CutlistRenderParams& inRenderParams,
                        MF::IVideoFrameRef& outFrame) = 0;
    virtual void GetFrameRate(norviktypes::FrameRate& outRate) = 0;
    // Rate of the distinct moments: twice the frame rate for interlaced sources.
    virtual void GetFieldRate(norviktypes::FrameRate& outRate) = 0;
};
using IRenderableSourceRef = TVK::InterfaceRef<IRenderableSource>;

// The source of a media stream.
//
// inSource        the stream.
// inBinaryData    opaque settings, handed to the stream with every request.
// inAlpha         how the stream's alpha is to be read.
// inMatte         colour against which the stream is premultiplied; zero: black.
// inIgnoreAlpha   force the alpha to opaque; inInvertAlpha: invert it (not both: ignoring wins).
// inFrameRate     rate to report. The source's frames map one to one on the stream's frames, not by
//                 the clock. For an interlaced inFieldType an odd number of ticks is raised by one, so
//                 that a frame splits into two equal fields.
// inFieldType     kFieldType_FromSource: as the stream has it.
// inPixelAspectRatio  stamped on frames.
// inColorProfile  passed with every request; inPrefetchLabel names the media in logs.
//
// Throws TVK::NullInterfaceException if there is no memory for the source. An empty stream is found by
// the first operation that needs it, with the same exception.
VIDEORENDERER_EXPORT IRenderableSourceRef CreateRenderableSource(
    const BE::IVideoSourceRef& inSource, const MF::BinaryData& inBinaryData,
    norviktypes::AlphaChannel inAlpha, const TVK::ParamColor<unsigned long>& inMatte, bool inIgnoreAlpha,
    bool inInvertAlpha, const norviktypes::FrameRate& inFrameRate, norviktypes::FieldType inFieldType,
    const norviktypes::PixelAspectRatio& inPixelAspectRatio, const norviktypes::ColorProfile& inColorProfile,
    const norvik::WString& inPrefetchLabel);

} // namespace ML
