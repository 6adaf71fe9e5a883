// The leaf of the graph: one clip of one piece of media, or of a nested sequence, conformed to the sequence
// that it plays in.
//
// Everything that matters is read from the clip once, when the node is built, and said as properties; the
// properties, not the media object, make the hash, so that two uses of a clip with the same settings are one
// node. Times of the node are media times, counted from where the media's content begins.
//
// Offline media is no failure: such a node has no sources and shows a slate. Neither is a multi-camera source
// without a picture on its chosen track, nor a sequence that gives no cutlist or lies too deep in others: these
// are black.
//
// Thread-safety: frozen, safe; mutable, for the builder alone.
#pragma once

#include "BE/IClip.h"
#include "BE/IMediaDescription.h"
#include "BE/ISequence.h"
#include "CutlistRenderParams.h"
#include "ML/SuiteObjects.h"
#include "MediaNodeProducer.h"
#include "MediaSourceChain.h"
#include "RenderableNodeCommonImpl.h"
#include "TVK/ParamTypes.h"
#include "VideoStreamSuiteObject.h"
#include "norviktypes/FieldType.h"
#include "norviktypes/FrameRate.h"
#include "norviktypes/PixelAspectRatio.h"

#include <cstdint>
#include <memory>
#include <vector>

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

class RenderableNodeMediaImpl final
    : public TVK::Extends<RenderableNodeCommonImpl, IRenderableNodeProducerProvider, IRenderableMediaGeometry>
{
public:
    RenderableNodeMediaImpl();
    ~RenderableNodeMediaImpl() override;

    // Called once. inFlipDominanceForCompare takes the clip's field order for the other one. The other
    // arguments and errors are those of CreateMediaNode; after Finalize a contract violation.
    void SetVideoClip(const BE::IClipRef& inClip, const norvik::utility::ImmutableString& inStreamLabel,
                      bool inTrackItemIsMuted, norviktypes::FieldType inSequenceFieldType,
                      const TVK::Rect& inSequenceRect, const norviktypes::PixelAspectRatio& inSequencePAR,
                      const norviktypes::FrameRate& inSequenceFrameRate, bool inFlipDominanceForCompare);

    norvik::utility::ImmutableString GetNodeType() const override;
    std::uint32_t CalculateInformativeFlags() const override;
    void AddOwnPrefetchesForFrame(const MF::FrameTime& inFrameTime, const CutlistRenderParams& inRenderParams,
                                  std::vector<IRenderableNodePrefetchRef>& ioPrefetches) override;

    IRenderableNodeProducerRef GetProducerForFrame(const MF::FrameTime& inFrameTime,
                                                   const CutlistRenderParams& inRenderParams) override;
    // Of a nested sequence.
    void GetStillRanges(const norviktypes::TickTime& inStart, const norviktypes::TickTime& inEnd,
                        std::vector<MF::TimeRange>& ioRanges) override;
    // Nothing unless the media passes through as it is.
    void GetSmartRenderSegments(const norviktypes::TickTime& inStart, const norviktypes::TickTime& inEnd,
                                const norviktypes::PixelFormat& inPixelFormat, bool inOuterIsPreview,
                                MF::SmartRenderSegments& ioSegments) override;

    std::int32_t GetScanlineOffset() const override { return mScanlineOffset; }
    bool IsScanlineOffsetNegative() const override { return mScanlineOffsetNegative; }
    TVK::Rect GetScaledFrameRect(const CutlistRenderParams& inRenderParams) const override;

    // What stands between the stream and the node's frames, from the stream outwards; empty without a source.
    const MediaChainSteps& GetChainSteps() const noexcept { return mChainSteps; }
    const MediaNodeSettings& GetSettings() const noexcept { return *mSettings; }

    virtual MF::IRenderableNodeRef AsNode() { return MF::IRenderableNodeRef(this); }

private:
    // What the node is told beside its clip.
    struct Surroundings
    {
        norvik::utility::ImmutableString mStreamLabel;
        bool mIsMuted = false;
        norviktypes::FieldType mFieldType = norviktypes::kFieldType_Invalid;
        TVK::Rect mRect;
        norviktypes::PixelAspectRatio mPixelAspectRatio;
        norviktypes::FrameRate mFrameRate;
    };
    // What is read of the clip's stream or sequence, for the time of building.
    struct StreamFacts;

    void ReadClip(const Surroundings& inSurroundings, bool inFlipDominanceForCompare);
    void ReadMedia(const Surroundings& inSurroundings, StreamFacts& outFacts);
    void ReadAvailability();
    void ReadContentRange();
    void ReadStream(StreamFacts& ioFacts);
    BE::AlphaInterpretation AlphaOf(const StreamFacts& inFacts) const;
    void ReadSequence(const BE::ISequenceRef& inSequence, const Surroundings& inSurroundings,
                      StreamFacts& outFacts);
    MF::IRenderableCutlistProviderRef ProviderOf(const BE::ISequenceRef& inSequence);
    void NestSequence(const MF::IRenderableCutlistProviderRef& inProvider,
                      const norvik::utility::ImmutableString& inStreamLabel, StreamFacts& ioFacts);
    void CompareWithSequence(const Surroundings& inSurroundings, const StreamFacts& inFacts);
    IRenderableSourceRef MediaSource(StreamFacts& ioFacts) const;
    void BuildChain(const Surroundings& inSurroundings, const StreamFacts& inFacts);
    void CentreVertically(const Surroundings& inSurroundings);
    void ReadStillRanges();
    void DecideOpaqueness(const Surroundings& inSurroundings);
    bool NestedCutlistIsOpaque() const;

    void SetProperty(const char* inKey, const norvik::UTF8String& inValue, bool inHashed);
    void WriteMediaProperties(const StreamFacts& inFacts);
    void WriteMediaIdentity();
    void WriteAlpha(const BE::AlphaInterpretation& inAlpha);
    void WriteColorProfile(const norviktypes::ColorProfile& inProfile);
    void WriteDescription();
    void WriteFrame(const StreamFacts& inFacts, norviktypes::FieldType inFieldType);
    void WriteSequenceProperties(const StreamFacts& inFacts);
    void WriteCommonProperties(const Surroundings& inSurroundings);
    norvik::UTF8String ModificationStateText(const norvik::WString& inMediaInstance) const;
    bool IsPassThrough() const;

    std::shared_ptr<MediaNodeSettings> mSettings; // written by SetVideoClip only
    BE::IMediaInfoRef mMedia;                     // empty for a nested sequence
    BE::IMediaDescriptionRef mDescription;
    BE::IVideoStreamInfoRef mSmartRenderSource;
    std::vector<std::uint64_t> mCameraOrder;
    std::uint32_t mClipInstanceID = 0;
    TVK::InterfaceRef<VideoStreamWithSequenceFieldTypeSuiteObject> mStreamSuiteObject;
    TimelineSuiteObjectRef mTimelineSuiteObject; // of a nested sequence
    std::uint32_t mTimelineInstanceID = 0;
    norviktypes::FieldType mConformFieldType = norviktypes::kFieldType_FromSource;
    bool mIsOpaque = false;
    bool mSameFrameSize = false;
    bool mSameFrameRect = false;
    bool mSameFieldType = false;
    bool mSameFrameRate = false;
    bool mRemovesPulldown = false;
    bool mIsContinuousTime = false;
    bool mScanlineOffsetNegative = false;
    std::int32_t mScanlineOffset = 0;
    TVK::Rect mScaledRect; // on the whole sequence
    MediaChainSteps mChainSteps;
};

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
