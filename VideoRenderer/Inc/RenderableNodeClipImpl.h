// The node of one item of a track: a media node, the item's effects over it, and its time.
//
// Its one input is the media, its operators are the effects, the one that is applied first in front. What the
// clip adds is time: speed, backwards play, remapping, a held frame. And it knows how the picture lies on the
// output, from the item's Motion and Opacity, which it hands to whoever composites it.
//
// Three axes of time. The node's own begins at the effective start of the item, that is where a transition
// first shows it: the item's start on the track lies at the offset of the first input. Time of the item is
// node time less that offset. Media time is what the transform makes of the time of the item, in both
// directions beyond the item's ends as well; a media time before the media's start shows its first frame.
//
// Ownership: holds media and effects by reference. The views of the chain below one effect (GetSubTrees) belong
// to the clip, and hold it weakly.
//
// Thread-safety: frozen, safe; mutable, for the builder alone.
#pragma once

#include "BE/ITrackItem.h"
#include "RenderableNodeCommonImpl.h"
#include "RenderableNodeParameters.h"
#include "TVK/Weak.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace ML
{

// The frozen node of an item.
//
// inSequence      where the item plays; empty: nowhere.
// inStreamLabel   selects a stream of nested sequences and effects; may be null.
// inTrackFlag     the whole track is muted.
// inTrackIndex    told as a property, not hashed.
// inExtended      the node is made for a transition, which may ask beyond the clip's media.
//
// An empty item, an item without a clip and an effect without a filter throw TVK::NullInterfaceException.
MF::IRenderableNodeRef CreateClipNode(const TVK::TVKUnknownRef& inSequence,
                                      const BE::ITrackItemRef& inTrackItem,
                                      const norvik::utility::ImmutableString& inStreamLabel, bool inTrackFlag,
                                      std::uint64_t inTrackIndex, bool inExtended);

class ClipNodeProducer;
struct ClipTime;

class RenderableNodeClipImpl
    : public TVK::ExtendsWeak<RenderableNodeCommonImpl, IRenderableNodeProducerProvider,
                              IRenderableKeyframeOwner, IRenderableTimeTransformOwner,
                              IRenderableNodeIntrinsicParameterProvider>
{
public:
    // Fills the node from an item; arguments as CreateClipNode.
    void SetClipTrackItem(const TVK::TVKUnknownRef& inSequence, const BE::ITrackItemRef& inTrackItem,
                          const norvik::utility::ImmutableString& inStreamLabel, bool inTrackFlag,
                          std::uint64_t inTrackIndex, bool inExtended);

    norvik::utility::ImmutableString GetNodeType() const override;
    std::uint32_t CalculateInformativeFlags() const override;
    // Makes the views below the operators, then freezes.
    void Finalize() override;

    // Empty for a clip with more than one input.
    IRenderableNodeProducerRef GetProducerForFrame(const MF::FrameTime& inFrameTime,
                                                   const CutlistRenderParams& inRenderParams) override;
    // Only of clips that stand still and play at plain speed.
    void GetStillRanges(const norviktypes::TickTime& inStart, const norviktypes::TickTime& inEnd,
                        std::vector<MF::TimeRange>& ioRanges) override;
    // Only of clips without effects that play at plain speed and are not held.
    void GetSmartRenderSegments(const norviktypes::TickTime& inStart, const norviktypes::TickTime& inEnd,
                                const norviktypes::PixelFormat& inPixelFormat, bool inOuterIsPreview,
                                MF::SmartRenderSegments& ioSegments) override;
    bool HasCaptions() override { return mHasCaptions; }

    // What the media wants, then what the effects want. Nothing of a clip that has not exactly one input.
    void GetPrefetchesForFrame(const MF::FrameTime& inFrameTime, const CutlistRenderParams& inRenderParams,
                               std::vector<IRenderableNodePrefetchRef>& ioPrefetches) override;
    // Asks the effects, in the time in which they are rendered: one that looks at other tracks wants these
    // read.
    void AddOwnPrefetchesForFrame(const MF::FrameTime& inFrameTime, const CutlistRenderParams& inRenderParams,
                                  std::vector<IRenderableNodePrefetchRef>& ioPrefetches) override;

    // Those of the time remapping; none where time is not remapped.
    const MF::KeyframeStore& GetKeyframes() override { return mKeyframeStore; }
    // From the time of the item to media time.
    MF::ITimeTransformRef GetTimeTransform() const override { return mTimeTransform; }
    void GetTimeTransform(MF::ITimeTransformRef& outTransform) override { outTransform = mTimeTransform; }
    // Motion and opacity of the item.
    std::int32_t GetIntrinsicParameters(const norviktypes::TickTime& inTime,
                                        const CutlistRenderParams& inRenderParams,
                                        NodeIntrinsicParameters& outParameters) override;

    // The chain below the operator inOperator, that is the picture that it is given. Times are media time
    // plus the offset of the input: who looks from an effect stands behind the remapping.
    IRenderableNodeProducerRef GetProducerBelowOperator(std::size_t inOperator,
                                                        const MF::FrameTime& inFrameTime,
                                                        const CutlistRenderParams& inRenderParams);
    // The effects over a frame that the caller has, in place of the media's. Its hash is never the same
    // twice, as nothing is known of the frame.
    IRenderableNodeProducerRef GetProducerOverFrame(const MF::IVideoFrameRef& inFrame,
                                                    const MF::FrameTime& inFrameTime,
                                                    const CutlistRenderParams& inRenderParams);
    // For each operator the view of the chain below it.
    const std::vector<IRenderableNodeProducerProviderRef>& GetSubTrees() const noexcept { return mSubTrees; }

    virtual MF::IRenderableNodeRef AsNode() { return MF::IRenderableNodeRef(this); }

    RenderableNodeClipImpl() = default;
    ~RenderableNodeClipImpl() override = default;

protected:
    MF::ITimeTransformRef mTimeTransform;
    MF::KeyframeStore mKeyframeStore;
    MF::KeyframeStore mMotionKeyframes;
    MF::KeyframeStore mOpacityKeyframes;
    bool mTimeBound = false; // shown nowhere but in its own range
    bool mIsRetimed = false; // time of the item is not media time but for a shift
    bool mFrameHoldFilters = false;
    bool mNeedsLowerTracks = false;
    bool mAllowLinearCompositing = true;
    norviktypes::TickTime mFrameHoldAtTime = norviktypes::kTime_Max; // media time; kTime_Max: not held
    bool mHasCaptions = false;
    bool mRunsEffects = false; // has an effect that is more than a way to lie on the output

    // The part of the intrinsic parameters that the item says, at inTime (media time).
    void EvaluateIntrinsics(const norviktypes::TickTime& inTime, NodeIntrinsicParameters& ioParameters) const;

private:
    struct Building;

    void SetTimeTransform(Building& ioBuilding);
    void AppendEffects(const Building& inBuilding);
    MF::IRenderableNodeRef CreateEffect(const Building& inBuilding, const BE::IEffectRef& inEffect) const;
    void AppendIntrinsics(const std::vector<MF::IRenderableNodeRef>& inIntrinsics,
                          const std::vector<MF::IRenderableNodeRef>& inMoving);
    void SetProperties(const Building& inBuilding);

    ClipTime TimeOfFirstInput() const;
    // From the node's time to that of the media, of a clip that is not retimed.
    norviktypes::TickTime DistanceToMedia() const;
    TVK::InterfaceRef<ClipNodeProducer> MakeProducer(const ClipTime& inTime, const MF::FrameTime& inFrameTime,
                                                     const CutlistRenderParams& inRenderParams,
                                                     std::size_t inOperatorCount,
                                                     bool inFirstOperatorIsLimit);

    std::vector<IRenderableNodeProducerProviderRef> mSubTrees;
};

} // namespace ML
