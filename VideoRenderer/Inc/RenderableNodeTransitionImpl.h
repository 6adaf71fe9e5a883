// A transition between two inputs on one track, and what renders it.
//
// The node's time runs from zero at the start of the transition. Its inputs are always two: A, the outgoing
// one, and B, the incoming one; either may be nothing and shows as black. Its settings are hashed properties;
// pictures are made by the transition that a host or a plug-in supplies, whatever kind it is.
//
// Errors: an input that fails ends the frame with its status, and so does the transition. Without memory for
// the frames that it works on a render is kStatus_NoSuchEntry.
//
// Thread-safety: a frozen node is safe; a producer belongs to the thread that asked for it.
#pragma once

#include "BE/ITrackItem.h"
#include "ML/VideoTransition.h"
#include "RenderableNodeCommonImpl.h"
#include "RenderableNodeParameters.h"

#include <utility>
#include <vector>

namespace ML
{

// The face by which a transition is run on frames that somebody holds, instead of its inputs' pictures.
class IRenderableNodeTransition : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kRenderableNodeTransition;

    // The frames are taken as they are, without the geometry of the inputs; either may be empty. What comes
    // of them is never taken from a cache.
    virtual IRenderableNodeProducerRef GetProducerForFramesAndTime(const MF::IVideoFrameRef& inFrameA,
                                                                   const MF::IVideoFrameRef& inFrameB,
                                                                   const MF::FrameTime& inFrameTime,
                                                                   const CutlistRenderParams& inParams) = 0;
};
using IRenderableNodeTransitionRef = TVK::InterfaceRef<IRenderableNodeTransition>;

// The frozen node of a transition on a track. An offset is the time at which the input's own time is zero,
// counted from the start of the transition: the track time of the node's zero less the transition's start.
// A node may be empty. An item without a transition throws TVK::NullInterfaceException.
MF::IRenderableNodeRef CreateTransitionNode(const BE::ITransitionItemRef& inItem,
                                            const MF::IRenderableNodeRef& inNodeA,
                                            const norviktypes::TickTime& inOffsetA,
                                            const MF::IRenderableNodeRef& inNodeB,
                                            const norviktypes::TickTime& inOffsetB);

class RenderableNodeTransitionImpl final
    : public TVK::Extends<RenderableNodeCommonImpl, IRenderableKeyframeOwner, IRenderableNodeProducerProvider,
                          IRenderableNodeTransition>
{
public:
    // Reads the item's transition. Two inputs are then to be appended, A first.
    void Initialize(const BE::ITransitionItemRef& inItem);

    norvik::utility::ImmutableString GetNodeType() const override;
    std::uint32_t CalculateInformativeFlags() const override;
    const MF::KeyframeStore& GetKeyframes() override;
    IRenderableNodeProducerRef GetProducerForFrame(const MF::FrameTime& inFrameTime,
                                                   const CutlistRenderParams& inRenderParams) override;
    IRenderableNodeProducerRef GetProducerForFramesAndTime(const MF::IVideoFrameRef& inFrameA,
                                                           const MF::IVideoFrameRef& inFrameB,
                                                           const MF::FrameTime& inFrameTime,
                                                           const CutlistRenderParams& inParams) override;

    virtual MF::IRenderableNodeRef AsNode() { return MF::IRenderableNodeRef(this); }

private:
    TVK::InterfaceRef<class TransitionNodeProducer> MakeProducer(const MF::FrameTime& inFrameTime,
                                                                 const CutlistRenderParams& inRenderParams);
    void SetTransitionProperties();

    IVideoTransitionRef mTransition;
    BE::ParameterListRef mParameters;
    TransitionInfo mInfo;
    norviktypes::TickTime mStart;
    norviktypes::TickTime mEnd;
};

// One frame of a transition. Made, given its inputs and its transition, asked, and dropped.
class TransitionNodeProducer final : public TVK::Implements<TransitionNodeProducer, IRenderableNodeProducer>
{
public:
    // A node, and the time at which its own time is zero.
    using Input = std::pair<MF::IRenderableNodeRef, norviktypes::TickTime>;

    // Takes the producers of the two inputs, A first, and how their pictures lie. Any other number of inputs
    // is a contract violation.
    void SetInputs(const std::vector<Input>& inInputs, const MF::FrameTime& inFrameTime,
                   const CutlistRenderParams& inRenderParams);
    // inStart and inEnd are on the axis of the frame times.
    void SetTransition(const IVideoTransitionRef& inTransition, const norviktypes::TickTime& inStart,
                       const norviktypes::TickTime& inEnd, const TVK::Guid& inNodeHash);
    void SetPresetFrames(const MF::IVideoFrameRef& inFrameA, const MF::IVideoFrameRef& inFrameB);

    std::int32_t GetFrame(const MF::FrameTime& inFrameTime, const CutlistRenderParams& inRenderParams,
                          MF::IVideoFrameRef& outFrame) override;
    void GetFrameHash(TVK::Guid& outHash, const MF::FrameTime& inFrameTime,
                      const CutlistRenderParams& inRenderParams, const TVK::Guid& inBaseHash) override;

private:
    struct Side
    {
        MF::IRenderableNodeRef mNode;
        IRenderableNodeProducerRef mProducer;
        norviktypes::TickTime mOffset;
        NodeIntrinsicParameters mIntrinsics[2]; // of the first and the second field
        MF::IVideoFrameRef mPresetFrame;
    };

    static void SetSide(Side& outSide, const Input& inInput, const MF::FrameTime& inFrameTime,
                        const CutlistRenderParams& inRenderParams);
    std::int32_t GetSideFrame(const Side& inSide, const MF::FrameTime& inFrameTime,
                              const CutlistRenderParams& inRenderParams, MF::IVideoFrameRef& outFrame) const;
    static TransitionInputInfo InfoOfSide(const Side& inSide, const MF::FrameTime& inFrameTime,
                                          const CutlistRenderParams& inRenderParams);
    static void HashSide(TVK::HashValue& ioHash, const Side& inSide, const MF::FrameTime& inFrameTime,
                         const CutlistRenderParams& inRenderParams);
    std::int32_t RenderTransition(const MF::FrameTime& inFrameTime, const CutlistRenderParams& inParams,
                                  const MF::IVideoFrameRef& inFrameA, const MF::IVideoFrameRef& inFrameB,
                                  MF::IVideoFrameRef& outFrame) const;

    Side mA;
    Side mB;
    bool mHasPresetFrames = false;
    norviktypes::TickTime mStart;
    norviktypes::TickTime mEnd;
    IVideoTransitionRef mTransition;
    TVK::Guid mNodeHash;
};

// Brings both frames to one format that the transition takes, which is the result, and to the render size; a
// missing one becomes black. Frames that cannot be made come back empty or in their own format.
norviktypes::PixelFormat ConformTransitionInputs(const CutlistRenderParams& inParams,
                                                 MF::IVideoFrameRef& ioFrameA, MF::IVideoFrameRef& ioFrameB,
                                                 const IVideoTransitionRef& inTransition);

// The format for both frames, which may be empty: the nearest one for each among the accepted; of two, the
// one nearer to the params'.
norviktypes::PixelFormat ChooseSharedFormat(const CutlistRenderParams& inParams,
                                            const MF::IVideoFrameRef& inFrameA,
                                            const MF::IVideoFrameRef& inFrameB,
                                            const std::vector<norviktypes::PixelFormat>& inAcceptedFormats);

} // namespace ML
