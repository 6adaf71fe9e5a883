// One frame of a clip: the media's frame, and the effects over it.
//
// Between the two the frame is brought to render size, once for all effects. Both the media's frame and the
// one that the first effect is given are cached where the render says so, so that a changed parameter of an
// effect costs neither decoding nor conforming again.
//
// Ownership: holds the clip, the producer of its media and the operators. Errors: a media or an effect that
// fails ends the frame with its status, and nothing of it is left.
//
// Thread-safety: used by one thread at a time.
#pragma once

#include "RenderableNodeClipImpl.h"
#include "RenderableNodeClipImpl_Time.h"
#include "RenderableNodeOperator.h"
#include "RenderableNodeProducer.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace ML
{

class ClipNodeProducer final : public TVK::Implements<ClipNodeProducer, IRenderableNodeProducer>
{
public:
    ClipNodeProducer(const TVK::InterfaceRef<RenderableNodeClipImpl>& inNode, const ClipTime& inTime);

    // The media's producer for inFrameTime (node time), and how many lines its picture is moved.
    void SetInputProducer(const MF::FrameTime& inFrameTime, const CutlistRenderParams& inRenderParams,
                          const MF::IRenderableNodeRef& inInput);
    // Of the node's operators the first inCount. inFirstOperatorIsLimit: the frame is what the first effect is
    // given, brought to render size though no effect runs.
    void SetOperators(const MF::FrameTime& inEffectTime, const CutlistRenderParams& inRenderParams,
                      const std::vector<MF::IRenderableNodeRef>& inNodes, std::size_t inCount,
                      bool inFirstOperatorIsLimit);
    // Stands for the media's.
    void SetFrame(const MF::IVideoFrameRef& inFrame) { mCachedFrame = inFrame; }

    std::int32_t GetFrame(const MF::FrameTime& inFrameTime, const CutlistRenderParams& inRenderParams,
                          MF::IVideoFrameRef& outFrame) override;
    void GetFrameHash(TVK::Guid& outHash, const MF::FrameTime& inFrameTime,
                      const CutlistRenderParams& inRenderParams, const TVK::Guid& inBaseHash) override;

private:
    struct Operator
    {
        IRenderableNodeOperatorRef mOperator;
        SubTreeRenderRef mSubTree;
    };

    bool ChangesMedia() const { return !mOperators.empty() || mFirstOperatorIsLimit; }
    bool CachesFrames(const CutlistRenderParams& inRenderParams) const;
    TVK::Guid HashBeforeEffects(const MF::FrameTime& inMediaTime,
                                const CutlistRenderParams& inRenderParams) const;
    std::int32_t GetMediaFrame(const MF::FrameTime& inMediaTime, const CutlistRenderParams& inRenderParams,
                               MF::IVideoFrameRef& outFrame);
    std::int32_t GetFrameBeforeEffects(const MF::FrameTime& inFrameTime,
                                       const CutlistRenderParams& inRenderParams,
                                       MF::IVideoFrameRef& outFrame);
    std::int32_t ApplyOperators(const MF::FrameTime& inFrameTime, const CutlistRenderParams& inRenderParams,
                                MF::IVideoFrameRef& ioFrame) const;

    const TVK::InterfaceRef<RenderableNodeClipImpl> mClipNode;
    const TVK::Guid mNodeHash;
    const ClipTime mTime;
    IRenderableNodeProducerRef mInputProducer;
    MF::IVideoFrameRef mCachedFrame;
    std::vector<Operator> mOperators;
    bool mFirstOperatorIsLimit = false;
    std::int32_t mScanlineOffset = 0;
};

// The frame as effects are to get it: at render size, or at its own where it is larger, centred then by its
// origin; in the order of fields of the render. A frame that is that already is returned as it is.
MF::IVideoFrameRef ConformClipFrame(const MF::IVideoFrameRef& inFrame,
                                    const CutlistRenderParams& inRenderParams, std::int32_t inScanlineOffset);

} // namespace ML
