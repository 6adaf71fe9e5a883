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
#include "MF/CutlistProvider.h"
#include "MF/ITimeTransform.h"
#include "RenderableNodePrefetch.h"
#include "TVK/Exceptions.h"
#include "TVK/ParamTypes.h"
#include "VideoRendererExport.h"
#include "norvik/utility/Strings.h"
#include "norviktypes/PulldownCadence.h"

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

// The source of a whole sequence, rendered through its cutlists as they stand now.
//
// inProvider     gives both cutlists, and the field type as a face of its own.
// inFrameRate    of the sequence.
// inCutlistName  selects a stream of the sequence; null is its picture.
//
// A sequence of fields, and any at the highest quality, comes out at the size of the sequence instead of the
// one asked for, so that its fields stay apart; below medium quality in an even height instead. A scaler
// goes outside of it. Throws TVK::NullInterfaceException for a provider that is empty or cannot tell its
// field type.
VIDEORENDERER_EXPORT IRenderableSourceRef CreateRenderableCutlistSource(
    const MF::IRenderableCutlistProviderRef& inProvider, const norviktypes::FrameRate& inFrameRate,
    const norvik::utility::ImmutableString& inCutlistName);

// The source of a stream that fills frames made by its caller (BE::IVideoSource::GetVideoFrame).
//
// inStartTime         origin of the frame grid. It is handed to the stream with every request, as are
// inEndTime, inStreamFlag and inStreamValue, which mean something to the stream only.
// inFrameRate         rate to report and to align times to; times are not converted to the stream's rate.
// The others are as for CreateRenderableSource. Frames found in the shared cache come out as they are.
VIDEORENDERER_EXPORT IRenderableSourceRef CreateRenderableGetVideoSource(
    const BE::IVideoSourceRef& inSource, const MF::BinaryData& inBinaryData,
    const norviktypes::TickTime& inStartTime, const norviktypes::TickTime& inEndTime,
    const TVK::ParamColor<unsigned long>& inMatte, norviktypes::AlphaChannel inAlpha, bool inIgnoreAlpha,
    bool inInvertAlpha, bool inStreamFlag, const double& inStreamValue,
    const norviktypes::FrameRate& inFrameRate, const norvik::WString& inPrefetchLabel);

// Decorators. Each owns inSource and passes on what it does not change; an empty inSource throws
// TVK::NullInterfaceException from the first operation. They throw what inSource throws, and
// RenderRequestException where an operation on a frame fails.

// Frames of the size, the pixel aspect and the field order that are asked for, whatever inSource gives. The
// fields of a frame are scaled apart from each other. Scaled-down frames of fields give one field to a
// progressive request: the one that is nearer in time. An odd height with fields comes out one line higher.
// Below medium quality a frame of full size is left to whoever displays it. Where there is no memory for
// the scaled frame, that of inSource is passed on.
VIDEORENDERER_EXPORT IRenderableSourceRef ScaleAndPARCorrectSource(const IRenderableSourceRef& inSource);

// Progressive frames, made of one field of each frame.
VIDEORENDERER_EXPORT IRenderableSourceRef DeinterlaceSource(const IRenderableSourceRef& inSource);

// Fields change places, in time and on their lines: upper field first becomes lower field first, while the
// picture moves on as it did.
VIDEORENDERER_EXPORT IRenderableSourceRef FieldReverseSource(const IRenderableSourceRef& inSource);

// Fields change places in time only, for a stream whose order was told wrong.
VIDEORENDERER_EXPORT IRenderableSourceRef ReverseFieldDominanceOfSource(const IRenderableSourceRef& inSource);

// One frame of fields from two successive frames, at twice the speed of inSource: a time here is half the
// time there.
VIDEORENDERER_EXPORT IRenderableSourceRef
InterlaceConsecutiveFramesFromSource(const IRenderableSourceRef& inSource);

// Frames filtered vertically, so that thin lines do not flicker where fields are shown one by one.
VIDEORENDERER_EXPORT IRenderableSourceRef RemoveFlickerFromSource(const IRenderableSourceRef& inSource);

// A source played at another speed, without blending: each field shows the frame of its moment, and the two
// are woven. Below medium quality a single field that is asked for is rendered alone.
VIDEORENDERER_EXPORT IRenderableSourceRef TimeMixSource(const IRenderableSourceRef& inSource);

// A source played at another speed, blended. Requests are times of inSource, apart by the speed already.
//
// inTimeTransform  the mapping by which requests were made; kept with the source, and may be empty.
// inSpeed          how many frames of inSource play in one of its length; negative: backwards.
//
// Where a frame of the output plays more than one of inSource, it is the mean of all that it plays, weighted
// by how long it plays them. Where it plays less than one, it is a dissolve between the two around its time,
// those of the same field where inSource has fields. The weights are those of MF/SampleWeights.h. At medium
// quality and above; below, and where a frame lies exactly on one of inSource at its own speed, this is the
// time mix.
//
// A frame that inSource does not deliver, and one past its end, is left out with its weight, so that the
// picture fades towards black; only where none at all is left does the status of the first one come out.
VIDEORENDERER_EXPORT IRenderableSourceRef TimeBlendSource(const IRenderableSourceRef& inSource,
                                                          const MF::ITimeTransformRef& inTimeTransform,
                                                          double inSpeed);

// The film in a telecined source: four frames for five, each put together of two where it lies across them.
//
// inCadence  which of the rhythms, and where in it inSource begins (norviktypes/Pulldown.h).
//
// Of fields in planar formats the lower one counts as the first up to 576 lines, the upper one above, as
// video is made; in others the frame's own field type goes first.
VIDEORENDERER_EXPORT IRenderableSourceRef RemovePulldownFromSource(const IRenderableSourceRef& inSource,
                                                                   norviktypes::PulldownCadence inCadence);

} // namespace ML
