// The node of a span that was rendered before: a stream in place of what it shows.
//
// It says of itself what a media node says, read from the stream's description, so that whoever reads a media
// node reads this one, and two streams of equal description are one node. Its producer is that of a media
// node.
//
// Thread-safety: frozen, safe; mutable, for the builder alone.
#pragma once

#include "BE/IPreviewNode.h"
#include "RenderableNodeCommonImpl.h"
#include "RenderableSources.h"

namespace ML
{

class RenderableNodePreviewImpl final
    : public TVK::Extends<RenderableNodeCommonImpl, IRenderableNodeProducerProvider, BE::IPreviewNode>
{
public:
    // The two flags ask for the plain producer: with either of them, or with the setting
    // "DisableNewMediaNodeRenderer", what the stream says of its range is not read. After Finalize a contract
    // violation; an empty stream throws TVK::NullInterfaceException.
    void SetVideoStream(const BE::IPreviewStreamRef& inStream, bool inFlagA, bool inFlagB);

    norvik::utility::ImmutableString GetNodeType() const override;
    std::uint32_t CalculateInformativeFlags() const override;
    void AddOwnPrefetchesForFrame(const MF::FrameTime& inFrameTime, const CutlistRenderParams& inRenderParams,
                                  std::vector<IRenderableNodePrefetchRef>& ioPrefetches) override;

    IRenderableNodeProducerRef GetProducerForFrame(const MF::FrameTime& inFrameTime,
                                                   const CutlistRenderParams& inRenderParams) override;

    MF::IRenderableNodeRef GetPreviewSourceNode() const override;
    BE::IPreviewStreamRef GetPreviewStream() const override { return mStream; }

    virtual MF::IRenderableNodeRef AsNode() { return MF::IRenderableNodeRef(this); }

private:
    BE::IPreviewStreamRef mStream;
};

// Frozen. inLabel names the stream of the sequence that the node plays in, inTrack the track (-1: none).
MF::IRenderableNodeRef CreatePreviewNode(const BE::IPreviewStreamRef& inStream,
                                         const norvik::utility::ImmutableString& inLabel, int inTrack,
                                         bool inFlag);

} // namespace ML
