// The node of a span that was rendered before: a stream in place of what it shows.
//
// It says of itself what a media node says, read from the stream's description, so that whoever reads a media
// node reads this one, and two streams of equal description are one node. Its producer is that of a media
// node, over a chain that scales the stream and puts it on the time of the render.
//
// Thread-safety: frozen, safe; mutable, for the builder alone.
#pragma once

#include "BE/IPreviewNode.h"
#include "MF/TimeRange.h"
#include "MediaNodeProducer.h"
#include "MediaSourceChain.h"
#include "RenderableNodeCommonImpl.h"

#include <memory>

namespace ML
{

class RenderableNodePreviewImpl final
    : public TVK::Extends<RenderableNodeCommonImpl, IRenderableNodeProducerProvider, BE::IPreviewNode>
{
public:
    RenderableNodePreviewImpl();

    // Names the media in logs. Called before SetVideoStream, or not at all.
    void SetLabel(const norvik::utility::ImmutableString& inLabel);
    // Called once. The two flags ask for the plain producer: with either of them, or with the setting
    // "DisableNewMediaNodeRenderer", the stream's own range is not kept. After Finalize a
    // contract violation; an empty stream throws TVK::NullInterfaceException.
    void SetVideoStream(const BE::IPreviewStreamRef& inStream, bool inFlagA, bool inFlagB);

    norvik::utility::ImmutableString GetNodeType() const override;
    std::uint32_t CalculateInformativeFlags() const override;
    void AddOwnPrefetchesForFrame(const MF::FrameTime& inFrameTime, const CutlistRenderParams& inRenderParams,
                                  std::vector<IRenderableNodePrefetchRef>& ioPrefetches) override;

    IRenderableNodeProducerRef GetProducerForFrame(const MF::FrameTime& inFrameTime,
                                                   const CutlistRenderParams& inRenderParams) override;

    MF::IRenderableNodeRef GetPreviewSourceNode() const override;
    BE::IPreviewStreamRef GetPreviewStream() const override { return mStream; }

    // The rate that the node's times count in: that of the film where pulldown is removed from the stream.
    norviktypes::FrameRate GetFrameRate() const noexcept { return mFrameRate; }
    // Whether the stream's own range was kept, for producers that go by it.
    bool KeepsStreamRange() const noexcept { return mKeepsStreamRange; }
    const MF::TimeRange& GetStreamRange() const noexcept { return mStreamRange; }
    const MediaChainSteps& GetChainSteps() const noexcept { return mChainSteps; }

    virtual MF::IRenderableNodeRef AsNode() { return MF::IRenderableNodeRef(this); }

private:
    void SetProperty(const char* inKey, const norvik::UTF8String& inValue, bool inHashed);
    void WriteMedia(const BE::PreviewStreamDescription& inDescription);
    void WriteStream(const BE::PreviewStreamDescription& inDescription);
    void WriteClip(const BE::PreviewStreamDescription& inDescription);
    void ReadSettings(const BE::PreviewStreamDescription& inDescription);
    void BuildChain(const BE::PreviewStreamDescription& inDescription, const BE::IVideoSourceRef& inSource);

    const std::shared_ptr<MediaNodeSettings> mSettings; // written by SetVideoStream only
    BE::IPreviewStreamRef mStream;
    norvik::utility::ImmutableString mLabel;
    norviktypes::FrameRate mFrameRate;
    bool mKeepsStreamRange = false;
    MF::TimeRange mStreamRange;
    bool mIsOpaque = true;
    MediaChainSteps mChainSteps;
};

// Frozen. inLabel names the stream of the sequence that the node plays in. inTrack is the track that it stands
// on, -1: none; a preview of a whole stack belongs to none, and looks alike wherever it lies. inFlag asks for
// the plain producer.
MF::IRenderableNodeRef CreatePreviewNode(const BE::IPreviewStreamRef& inStream,
                                         const norvik::utility::ImmutableString& inLabel, int inTrack,
                                         bool inFlag);

} // namespace ML
