// One filter with its parameters on a clip, as a node of the graph, and what runs it on a frame.
//
// While a timeline is built the node says as hashed properties all that the filter's picture depends on; while
// a frame is rendered it hands out an operator, which brings the frame to a format that the filter takes and
// calls it. Motion and Opacity have no operator: they become the clip's intrinsic parameters.
//
// Layer parameters point to another track, by its index from the bottom. When the node is built it takes what
// plays there during the effect: the picture, its hash and its prefetch are those of that track then, at the
// moment of the sequence that is rendered, which is the frame time of the render params. Neither an edit later
// nor another part of the track can be seen, so the node's hash is complete. "Not set" and the effect's own
// track take nothing; nor does a track that is looked at by what is being built for a track that it looks at
// itself: two tracks that point to each other end there.
//
// Errors: a filter that fails ends the frame with its status. Without memory for the frame that it works on a
// render is kStatus_NoSuchEntry.
//
// Thread-safety: a frozen node is safe; an operator belongs to the thread that asked for it.
#pragma once

#include "BE/ITrackItem.h"
#include "ML/VideoFilter.h"
#include "RenderableNodeCommonImpl.h"
#include "RenderableNodeOperator.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace ML
{

struct EffectLayer;
using EffectLayers = std::vector<EffectLayer>;

inline constexpr std::uint64_t kNoTrackIndex = ~std::uint64_t{0};

// What an effect node is made of.
struct EffectNodeSettings
{
    IVideoFilterRef mFilter;
    norvik::utility::ImmutableString mStreamLabel; // kept only if the filter knows it
    BE::ParameterListRef mParameters;
    // In the times that operators are asked with.
    norviktypes::TickTime mEffectStart;
    norviktypes::TickTime mEffectDuration;
    // The sequence, for effects that look at other tracks. May be empty: there are none then.
    TVK::TVKUnknownRef mCutlistContext;
    // The item that the effect sits on: names, and the span in which other tracks are looked at. May be empty.
    BE::ITrackItemRef mTrackItem;
    // Place of the layer parameter, counted from 1; 0 without one.
    std::uint32_t mLayerIndex = 0;
    // Of the track that the item lies on, as layer parameters count; kNoTrackIndex if it lies on none.
    std::uint64_t mTrackIndex = kNoTrackIndex;
};

// The frozen node. No filter or no parameters throw TVK::NullInterfaceException. Whoever appends it as an
// operator asks it for its prefetches as well: those of the layers.
MF::IRenderableNodeRef CreateEffectNode(const EffectNodeSettings& inSettings);

class RenderableNodeEffectImpl final
    : public TVK::Extends<RenderableNodeCommonImpl, IRenderableNodeOperatorProvider>
{
public:
    void Initialize(const EffectNodeSettings& inSettings);

    norvik::utility::ImmutableString GetNodeType() const override;
    std::uint32_t CalculateInformativeFlags() const override;
    void AddOwnPrefetchesForFrame(const MF::FrameTime& inFrameTime, const CutlistRenderParams& inRenderParams,
                                  std::vector<IRenderableNodePrefetchRef>& ioPrefetches) override;
    IRenderableNodeOperatorRef GetOperatorForFrame(const MF::FrameTime& inFrameTime,
                                                   const CutlistRenderParams& inRenderParams) override;

    virtual MF::IRenderableNodeRef AsNode() { return MF::IRenderableNodeRef(this); }

private:
    void SetFilterProperties();
    void SetLayerProperties(const EffectNodeSettings& inSettings);
    void SetNameProperties(const EffectNodeSettings& inSettings);

    IVideoFilterRef mFilter;
    BE::ParameterListRef mParameters;
    norviktypes::TickTime mEffectStart;
    norviktypes::TickTime mEffectDuration;
    norvik::utility::ImmutableString mStreamLabel;
    std::shared_ptr<const EffectLayers> mLayers; // may be null
};

// Runs a filter on one frame.
class EffectNodeOperator final : public TVK::Implements<EffectNodeOperator, IRenderableNodeOperator>
{
public:
    void Initialize(const IVideoFilterRef& inFilter, const norviktypes::TickTime& inEffectStart,
                    const norviktypes::TickTime& inEffectDuration, const BE::ParameterListRef& inParameters,
                    const EffectRenderInfo& inInfo, const TVK::Guid& inNodeHash, std::uint32_t inNodeFlags);
    // May be null.
    void SetLayers(const std::shared_ptr<const EffectLayers>& inLayers);

    // inFrame may be empty: the filter then has a black one.
    std::int32_t ApplyToFrame(const MF::FrameTime& inClipTime, const MF::FrameTime& inSequenceTime,
                              const CutlistRenderParams& inRenderParams, const MF::IVideoFrameRef& inFrame,
                              const SubTreeRenderRef& inSubTree, MF::IVideoFrameRef& outFrame) override;
    void GetFrameHash(TVK::Guid& outHash, const MF::FrameTime& inFrameTime,
                      const CutlistRenderParams& inRenderParams, const TVK::Guid& inBaseHash) override;

    virtual IRenderableNodeOperatorRef AsOperator() { return IRenderableNodeOperatorRef(this); }

private:
    IVideoFilterRef mFilter;
    BE::ParameterListRef mParameters;
    norviktypes::TickTime mEffectStart;
    norviktypes::TickTime mEffectDuration;
    EffectRenderInfo mInfo;
    TVK::Guid mNodeHash;
    std::uint32_t mNodeFlags = 0;
    std::shared_ptr<const EffectLayers> mLayers;
};

// inFrame in the format nearest to it that the filter takes for it; black in such a format where inFrame is
// empty. Empty, or still in another format, if there is no memory.
MF::IVideoFrameRef PrepareInputFrame(const CutlistRenderParams& inParams, const MF::IVideoFrameRef& inFrame,
                                     const norviktypes::PixelFormat& inFormat,
                                     const IVideoFilterRef& inFilter);

// The format in which a plug-in gets inFrame, which may be empty: that of the accepted ones that is nearest to
// the frame's colours at the depth of the params. An empty list accepts all.
norviktypes::PixelFormat ChoosePluginFormat(const CutlistRenderParams& inParams,
                                            const MF::IVideoFrameRef& inFrame,
                                            const norviktypes::PixelFormat& inFormat,
                                            const std::vector<norviktypes::PixelFormat>& inAcceptedFormats);

// How a parameter list stands in properties: the number of parameters, then the text of each, line by line.
norvik::UTF8String TextOfParameterList(const MF::KeyframeStore& inParameters);

} // namespace ML
