// A stack of tracks at one stretch of time: its inputs, bottom first, laid over each other.
//
// Each input comes with the geometry, opacity and blend mode that it says of itself, for either field. What
// an opaque picture hides is left out when the stack is built, not when a frame is made.
//
// A builder that knows on which track an input lies says so (AppendInputWithTrack); renders that stop at a
// track (the context of the params, all ones: no limit) then take the inputs up to that one. Either all inputs
// have a track or none.
//
// Ownership: as of all nodes; a producer holds the producers of its tracks. Errors: an input that fails stops
// the frame, and its status is returned; without memory to lay its picture over what is beneath, that is
// kStatus_NoSuchEntry. Inputs without a picture at the time take no part.
//
// Thread-safety: frozen, safe; mutable, for the builder alone. Tracks are rendered one after the other.
#pragma once

#include "RenderableNodeCommonImpl.h"
#include "RenderableNodeParameters.h"

#include <cstdint>
#include <vector>

namespace ML
{

class RenderableNodeCompositorImpl
    : public TVK::Extends<RenderableNodeCommonImpl, IRenderableNodeProducerProvider>
{
public:
    norvik::utility::ImmutableString GetNodeType() const override;
    // What is true of every input; inputs of nothing are not asked.
    std::uint32_t CalculateInformativeFlags() const override;
    void GetPrefetchesForFrame(const MF::FrameTime& inFrameTime, const CutlistRenderParams& inRenderParams,
                               std::vector<IRenderableNodePrefetchRef>& ioPrefetches) override;

    IRenderableNodeProducerRef GetProducerForFrame(const MF::FrameTime& inFrameTime,
                                                   const CutlistRenderParams& inRenderParams) override;
    // Where all inputs stand still.
    void GetStillRanges(const norviktypes::TickTime& inStart, const norviktypes::TickTime& inEnd,
                        std::vector<MF::TimeRange>& ioRanges) override;
    // Those of the first input, where the stack has one picture beside captions.
    void GetSmartRenderSegments(const norviktypes::TickTime& inStart, const norviktypes::TickTime& inEnd,
                                const norviktypes::PixelFormat& inPixelFormat, bool inOuterIsPreview,
                                MF::SmartRenderSegments& ioSegments) override;

    virtual MF::IRenderableNodeRef AsNode() { return MF::IRenderableNodeRef(this); }
    virtual void AppendInputWithTrack(const MF::IRenderableNodeRef& inNode,
                                      const norviktypes::TickTime& inOffset, std::uint64_t inTrackIndex);

protected:
    ~RenderableNodeCompositorImpl() override = default;

    // Whether a render with these params takes the input. The invariant of inputs and tracks holds.
    bool IsWithinLimit(std::size_t inInput, const CutlistRenderParams& inRenderParams) const noexcept;
    bool HasTrackLimit(const CutlistRenderParams& inRenderParams) const noexcept;
    bool EveryInputHasItsTrack() const noexcept { return Inputs().size() == mTrackIndices.size(); }

private:
    bool HasOnePictureBesideCaptions() const;

    std::vector<std::uint64_t> mTrackIndices; // by input; empty where the builder gave none
};
using RenderableNodeCompositorRef = TVK::InterfaceRef<RenderableNodeCompositorImpl>;

// A frozen stack of the one node, which plays in the stack's own time.
MF::IRenderableNodeRef CreateCompositorOf(const MF::IRenderableNodeRef& inNode);

} // namespace ML
