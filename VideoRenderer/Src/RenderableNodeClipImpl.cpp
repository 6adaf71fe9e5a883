#include "RenderableNodeClipImpl.h"

#include "RenderableNodeClipImpl_Intrinsics.h"
#include "RenderableNodeClipImpl_Producer.h"
#include "RenderableNodeClipImpl_SubTree.h"
#include "RenderableNodeClipImpl_Time.h"
#include "RenderableNodeMediaImpl.h"
#include "norvik/config/Contract.h"

namespace ML
{

namespace
{

using norviktypes::TickTime;

constexpr const char* kFile = "Src/RenderableNodeClipImpl";

// A clip without media shows nothing, and so nothing that it is would change.
constexpr std::uint32_t kFlagsWithoutInput = MF::kNodeFlag_Empty | MF::kNodeFlag_StaticParameters |
                                             MF::kNodeFlag_Still | MF::kNodeFlag_Extendable |
                                             MF::kNodeFlag_TimeContained;
// What an effect can take away from a clip.
constexpr std::uint32_t kFlagsOfOperators =
    MF::kNodeFlag_Opaque | MF::kNodeFlag_StaticParameters | MF::kNodeFlag_Still | MF::kNodeFlag_TimeContained;
constexpr std::uint32_t kFlagsOfStillClips = MF::kNodeFlag_StaticParameters | MF::kNodeFlag_Still;

} // namespace

norvik::utility::ImmutableString RenderableNodeClipImpl::GetNodeType() const
{
    return norvik::utility::ImmutableString::CreateStatic("RenderableNodeClipImpl");
}

std::uint32_t RenderableNodeClipImpl::CalculateInformativeFlags() const
{
    std::uint32_t ofOperators = kFlagsOfOperators;
    for (const MF::IRenderableNodeRef& node : Operators())
    {
        ofOperators &= node->GetInformativeFlags();
    }
    std::uint32_t flags =
        Inputs().empty() ? kFlagsWithoutInput : Inputs().front().first->GetInformativeFlags();
    if (mTimeBound)
    {
        flags &= ~MF::kNodeFlag_Extendable;
    }
    if (mNeedsLowerTracks)
    {
        flags |= MF::kNodeFlag_NeedsLowerTracks;
    }
    return flags & ~(kFlagsOfOperators & ~ofOperators);
}

void RenderableNodeClipImpl::Finalize()
{
    RenderableNodeCommonImpl::Finalize();
    mSubTrees.reserve(Operators().size());
    for (std::size_t index = 0; index < Operators().size(); ++index)
    {
        mSubTrees.push_back(
            IRenderableNodeProducerProviderRef(new RenderableNodeClipSubTreeImpl(*this, index)));
    }
}

ClipTime RenderableNodeClipImpl::TimeOfFirstInput() const
{
    ClipTime time;
    time.mTransform = mTimeTransform;
    time.mHold = mFrameHoldAtTime;
    time.mHoldsEffects = mFrameHoldFilters;
    if (!Inputs().empty())
    {
        const auto& [node, offset] = Inputs().front();
        time.mInputOffset = offset;
        time.mInputIsStill = node && (node->GetInformativeFlags() & MF::kNodeFlag_Still) != 0;
    }
    return time;
}

TVK::InterfaceRef<ClipNodeProducer>
RenderableNodeClipImpl::MakeProducer(const ClipTime& inTime, const MF::FrameTime& inFrameTime,
                                     const CutlistRenderParams& inRenderParams, std::size_t inOperatorCount,
                                     bool inFirstOperatorIsLimit)
{
    const TVK::InterfaceRef<ClipNodeProducer> producer(
        new ClipNodeProducer(TVK::InterfaceRef<RenderableNodeClipImpl>(this), inTime));
    if (!Inputs().empty())
    {
        producer->SetInputProducer(inFrameTime, inRenderParams, Inputs().front().first);
    }
    producer->SetOperators(inTime.OfEffects(inFrameTime), inRenderParams, Operators(), inOperatorCount,
                           inFirstOperatorIsLimit);
    return producer;
}

IRenderableNodeProducerRef
RenderableNodeClipImpl::GetProducerForFrame(const MF::FrameTime& inFrameTime,
                                            const CutlistRenderParams& inRenderParams)
{
    if (Inputs().size() > 1)
    {
        return nullptr;
    }
    return MakeProducer(TimeOfFirstInput(), inFrameTime, inRenderParams, Operators().size(), false)
        ->AsProducer();
}

// Effects ask for moments of the media that they see, so that nothing is mapped on their way down.
IRenderableNodeProducerRef
RenderableNodeClipImpl::GetProducerBelowOperator(std::size_t inOperator, const MF::FrameTime& inFrameTime,
                                                 const CutlistRenderParams& inRenderParams)
{
    if (Inputs().size() != 1)
    {
        return nullptr;
    }
    ClipTime time = TimeOfFirstInput();
    time.mTransform.reset();
    return MakeProducer(time, inFrameTime, inRenderParams, inOperator, inOperator == 0)->AsProducer();
}

IRenderableNodeProducerRef
RenderableNodeClipImpl::GetProducerOverFrame(const MF::IVideoFrameRef& inFrame,
                                             const MF::FrameTime& inFrameTime,
                                             const CutlistRenderParams& inRenderParams)
{
    if (Inputs().size() > 1)
    {
        return nullptr;
    }
    const TVK::InterfaceRef<ClipNodeProducer> producer =
        MakeProducer(TimeOfFirstInput(), inFrameTime, inRenderParams, Operators().size(), false);
    producer->SetFrame(inFrame);
    return producer->AsProducer();
}

// At plain speed the two axes are apart by a fixed distance, which the transform of time zero tells.
void RenderableNodeClipImpl::GetStillRanges(const TickTime& inStart, const TickTime& inEnd,
                                            std::vector<MF::TimeRange>& ioRanges)
{
    if ((GetInformativeFlags() & kFlagsOfStillClips) != kFlagsOfStillClips || mIsRetimed || Inputs().empty())
    {
        return;
    }
    const IRenderableNodeProducerProviderRef provider(Inputs().front().first);
    if (!provider)
    {
        return;
    }
    const TickTime shift = DistanceToMedia();
    std::vector<MF::TimeRange> ranges;
    provider->GetStillRanges(inStart + shift, inEnd + shift, ranges);
    for (const MF::TimeRange& range : ranges)
    {
        ioRanges.push_back({range.mStart - shift, range.mEnd - shift});
    }
}

void RenderableNodeClipImpl::GetSmartRenderSegments(const TickTime& inStart, const TickTime& inEnd,
                                                    const norviktypes::PixelFormat& inPixelFormat,
                                                    bool inOuterIsPreview,
                                                    MF::SmartRenderSegments& ioSegments)
{
    if (!Operators().empty() || mIsRetimed || mFrameHoldAtTime != norviktypes::kTime_Max || Inputs().empty())
    {
        return;
    }
    const IRenderableNodeProducerProviderRef provider(Inputs().front().first);
    if (!provider)
    {
        return;
    }
    const TickTime shift = DistanceToMedia();
    MF::SmartRenderSegments segments;
    provider->GetSmartRenderSegments(inStart + shift, inEnd + shift, inPixelFormat, inOuterIsPreview,
                                     segments);
    for (auto& [start, segment] : segments)
    {
        segment.mStart -= shift;
        segment.mEnd -= shift;
        ioSegments.emplace(start - shift, segment);
    }
}

TickTime RenderableNodeClipImpl::DistanceToMedia() const
{
    const ClipTime time = TimeOfFirstInput();
    return time.Mapped(norviktypes::kTime_Zero) - time.mInputOffset;
}

void RenderableNodeClipImpl::GetPrefetchesForFrame(const MF::FrameTime& inFrameTime,
                                                   const CutlistRenderParams& inRenderParams,
                                                   std::vector<IRenderableNodePrefetchRef>& ioPrefetches)
{
    ML_INPUT_CONTRACT(!IsMutable(), "!mMutable", kFile, "ML::RenderableNodeClipImpl::GetPrefetchesForFrame",
                      __LINE__);
    if (Inputs().size() != 1)
    {
        return;
    }
    if (const IRenderableNodePrefetchProviderRef provider{Inputs().front().first})
    {
        provider->GetPrefetchesForFrame(TimeOfFirstInput().OfMedia(inFrameTime), inRenderParams,
                                        ioPrefetches);
    }
    AddOwnPrefetchesForFrame(inFrameTime, inRenderParams, ioPrefetches);
}

void RenderableNodeClipImpl::AddOwnPrefetchesForFrame(const MF::FrameTime& inFrameTime,
                                                      const CutlistRenderParams& inRenderParams,
                                                      std::vector<IRenderableNodePrefetchRef>& ioPrefetches)
{
    const MF::FrameTime effectTime = TimeOfFirstInput().OfEffects(inFrameTime);
    for (const MF::IRenderableNodeRef& node : Operators())
    {
        if (const IRenderableNodePrefetchProviderRef provider{node})
        {
            provider->GetPrefetchesForFrame(effectTime, inRenderParams, ioPrefetches);
        }
    }
}

std::int32_t RenderableNodeClipImpl::GetIntrinsicParameters(const TickTime& inTime,
                                                            const CutlistRenderParams& inRenderParams,
                                                            NodeIntrinsicParameters& outParameters)
{
    outParameters = NodeIntrinsicParameters();
    EvaluateIntrinsics(TimeOfFirstInput().OfEffects(inTime), outParameters);
    if (Inputs().empty())
    {
        return TVK::kStatus_OK;
    }
    const IRenderableMediaGeometryRef geometry(Inputs().front().first);
    if (!geometry)
    {
        return TVK::kStatus_OK;
    }
    if (!SameGeometry(outParameters, kDefaultIntrinsicParameters))
    {
        const TVK::Rect rect = geometry->GetScaledFrameRect(inRenderParams);
        outParameters.sourceWidth = rect.Width();
        outParameters.sourceHeight = rect.Height();
    }
    // A picture that effects were given has been moved already, but for one that is cut to the output later.
    if (!mRunsEffects || geometry->IsScanlineOffsetNegative())
    {
        outParameters.scanlineOffset = geometry->GetScanlineOffset();
    }
    return TVK::kStatus_OK;
}

void RenderableNodeClipImpl::EvaluateIntrinsics(const TickTime& inTime,
                                                NodeIntrinsicParameters& ioParameters) const
{
    EvaluateMotion(mMotionKeyframes, inTime, ioParameters);
    EvaluateOpacity(mOpacityKeyframes, inTime, ioParameters);
    ioParameters.highQualitySampling = mAllowLinearCompositing ? 1 : 0;
}

} // namespace ML
