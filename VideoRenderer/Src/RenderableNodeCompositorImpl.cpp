#include "RenderableNodeCompositorImpl.h"

#include "CutlistRenderer.h"
#include "FieldOperations.h"
#include "IntrinsicOperations.h"
#include "ParamsHash.h"
#include "PluginRender.h"
#include "RenderableSources.h"
#include "VF/VideoFrameManipulators.h"
#include "norvik/config/Contract.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace ML
{

namespace
{

using MF::TimeRange;
using norviktypes::TickTime;

constexpr const char* kSourceFile = "Src/RenderableNodeCompositorImpl";
constexpr const char* kHeaderFile = "Inc/RenderableNodeCompositorImpl";
constexpr const char* kTracksCondition = "mInputs.size() == mTrackIndices.size()";

// What a stack without inputs says of itself: nothing speaks against any of it.
constexpr std::uint32_t kFlagsOfEmptyStack = MF::kNodeFlag_Opaque | MF::kNodeFlag_StaticParameters |
                                             MF::kNodeFlag_Still | MF::kNodeFlag_Extendable |
                                             MF::kNodeFlag_TimeContained;

constexpr std::uint64_t kNoTrackLimit = ~std::uint64_t{0};

struct StackedTrack
{
    TickTime mOffset;
    NodeIntrinsicParameters mIntrinsics[2]; // by field
    IRenderableNodeProducerRef mProducer;
};

class CompositorProducer final : public TVK::Implements<CompositorProducer, IRenderableNodeProducer>
{
public:
    explicit CompositorProducer(const TVK::Guid& inNodeHash) : mNodeHash(inNodeHash) {}

    void Reserve(std::size_t inTracks) { mTracks.reserve(inTracks); }
    // An input that has no producer at that time is left out.
    void AddTrack(const MF::IRenderableNodeRef& inNode, const TickTime& inOffset,
                  const MF::FrameTime& inFrameTime, const CutlistRenderParams& inRenderParams);

    std::int32_t GetFrame(const MF::FrameTime& inFrameTime, const CutlistRenderParams& inRenderParams,
                          MF::IVideoFrameRef& outFrame) override;
    void GetFrameHash(TVK::Guid& outHash, const MF::FrameTime& inFrameTime,
                      const CutlistRenderParams& inRenderParams, const TVK::Guid& inBaseHash) override;

private:
    std::vector<StackedTrack> mTracks;
    TVK::Guid mNodeHash;
};

void CompositorProducer::AddTrack(const MF::IRenderableNodeRef& inNode, const TickTime& inOffset,
                                  const MF::FrameTime& inFrameTime, const CutlistRenderParams& inRenderParams)
{
    const IRenderableNodeProducerProviderRef provider(inNode);
    if (!provider)
    {
        return;
    }
    const MF::FrameTime time = inFrameTime - inOffset;
    StackedTrack track{inOffset, {}, provider->GetProducerForFrame(time, inRenderParams)};
    if (!track.mProducer)
    {
        return;
    }
    ReadIntrinsics(IRenderableNodeIntrinsicParameterProviderRef(inNode), time, inRenderParams,
                   track.mIntrinsics);
    mTracks.push_back(std::move(track));
}

MF::IVideoFrameRef LaidOver(const MF::IVideoFrameRef& inFrame, const StackedTrack& inTrack,
                            const MF::IVideoFrameRef& inLowerFrame, const CutlistRenderParams& inRenderParams)
{
    return inLowerFrame ? PerformIntrinsicOperations(inFrame, inTrack.mIntrinsics[0], inTrack.mIntrinsics[1],
                                                     inLowerFrame, inRenderParams)
                        : ApplyIntrinsicsIfNeeded(inFrame, inTrack.mIntrinsics[0], inTrack.mIntrinsics[1],
                                                  inRenderParams);
}

// What was laid over each other is drawn by whoever renders it, and not at somebody's first look.
void Finish(const MF::IVideoFrameRef& inFrame)
{
    const std::int32_t status = VF::VideoFrameManipulators::FinishFrame(inFrame);
    if (status < 0)
    {
        throw RenderRequestException(status);
    }
}

// Where a single field was asked for, a stack that came out with two is cut down to that one.
MF::IVideoFrameRef SingleFieldOf(const MF::IVideoFrameRef& inFrame, const CutlistRenderParams& inRenderParams)
{
    if (inRenderParams.mFieldToRender == 0)
    {
        return inFrame;
    }
    const norviktypes::FieldType order = inFrame->GetFieldType();
    if (order != norviktypes::kFieldType_UpperFirst && order != norviktypes::kFieldType_LowerFirst)
    {
        return inFrame;
    }
    const bool isSecond = inRenderParams.mFieldToRender == 2;
    const bool useLower = isSecond == (order == norviktypes::kFieldType_UpperFirst);
    return DeinterlaceFrame(inFrame, inRenderParams.mDeinterlaceQuality, useLower, inRenderParams, false);
}

std::int32_t CompositorProducer::GetFrame(const MF::FrameTime& inFrameTime,
                                          const CutlistRenderParams& inRenderParams,
                                          MF::IVideoFrameRef& outFrame)
{
    outFrame.reset();
    if (mTracks.empty())
    {
        outFrame = GetBlackVideoFrame(inRenderParams);
        return TVK::kStatus_OK;
    }
    CutlistRenderParams upperParams = inRenderParams;
    bool isStacked = false;
    upperParams.mPixelFormat = FormatWithAlpha(inRenderParams.mPixelFormat);
    for (const StackedTrack& track : mTracks)
    {
        MF::IVideoFrameRef frame;
        const std::int32_t status = track.mProducer->GetFrame(inFrameTime - track.mOffset,
                                                              outFrame ? upperParams : inRenderParams, frame);
        if (status < 0)
        {
            return status;
        }
        if (!frame)
        {
            continue;
        }
        isStacked = isStacked || outFrame;
        outFrame = LaidOver(frame, track, outFrame, inRenderParams);
        if (!outFrame) // what comes next would be laid over nothing
        {
            return MF::kStatus_NoSuchEntry;
        }
    }
    if (!outFrame)
    {
        return TVK::kStatus_OK;
    }
    if (isStacked)
    {
        Finish(outFrame);
    }
    outFrame = SingleFieldOf(outFrame, inRenderParams);
    return outFrame ? TVK::kStatus_OK : MF::kStatus_NoSuchEntry;
}

void MixIntrinsics(TVK::HashValue& ioHash, const NodeIntrinsicParameters& inIntrinsics)
{
    MixGeometry(ioHash, inIntrinsics);
    ioHash.MixU32(inIntrinsics.blendMode);
    ioHash.MixFloat(inIntrinsics.blendOpacity);
    ioHash.MixU8(inIntrinsics.highQualitySampling);
}

// The hash so far seeds the next track, so that order matters and all above a changed track changes.
void CompositorProducer::GetFrameHash(TVK::Guid& outHash, const MF::FrameTime& inFrameTime,
                                      const CutlistRenderParams& inRenderParams, const TVK::Guid& inBaseHash)
{
    if (mTracks.empty())
    {
        outHash = HashOfBlackVideoFrame(inRenderParams, inBaseHash);
        return;
    }
    TVK::HashValue hash(inBaseHash);
    hash.MixText("RenderableNodeCompositorProducer");
    for (const StackedTrack& track : mTracks)
    {
        MixIntrinsics(hash, track.mIntrinsics[0]);
        MixIntrinsics(hash, track.mIntrinsics[1]);
        TVK::Guid soFar;
        track.mProducer->GetFrameHash(soFar, inFrameTime - track.mOffset, inRenderParams, hash.AsGuid());
        hash = TVK::HashValue(soFar);
    }
    const norviktypes::PixelAspectRatio& ratio = inRenderParams.mPixelAspectRatio;
    hash.MixGuid(mNodeHash);
    MixPair(hash, ratio.GetNumerator(), ratio.GetDenominator());
    hash.MixU32(inRenderParams.mWidth);
    hash.MixU32(inRenderParams.mHeight);
    hash.MixU32(static_cast<std::uint32_t>(inRenderParams.mRenderQuality));
    hash.MixU32(inRenderParams.mFieldToRender);
    hash.MixU32(static_cast<std::uint32_t>(inRenderParams.mDeinterlaceQuality));
    MixPixelFormat(hash, inRenderParams.mPixelFormat);
    // The stack is drawn in the order of fields of the render, of which the hashes of stills do not tell.
    if (norviktypes::IsInterlaced(inRenderParams.mFieldType))
    {
        hash.MixI32(inRenderParams.mFieldType);
    }
    outHash = hash.AsGuid();
}

// Of two sorted lists, where both hold.
std::vector<TimeRange> Intersection(const std::vector<TimeRange>& inA, const std::vector<TimeRange>& inB)
{
    std::vector<TimeRange> both;
    for (auto a = inA.begin(), b = inB.begin(); a != inA.end() && b != inB.end();)
    {
        const TimeRange overlap{std::max(a->mStart, b->mStart), std::min(a->mEnd, b->mEnd)};
        if (overlap.mStart < overlap.mEnd)
        {
            both.push_back(overlap);
        }
        (a->mEnd < b->mEnd ? a : b)++;
    }
    return both;
}

std::vector<TimeRange> StillRangesOfInput(const MF::IRenderableNodeRef& inNode, const TickTime& inOffset,
                                          const TickTime& inStart, const TickTime& inEnd)
{
    std::vector<TimeRange> ranges;
    if (const IRenderableNodeProducerProviderRef provider{inNode})
    {
        provider->GetStillRanges(inStart - inOffset, inEnd - inOffset, ranges);
    }
    for (TimeRange& range : ranges)
    {
        range = {range.mStart + inOffset, range.mEnd + inOffset};
    }
    return ranges;
}

} // namespace

norvik::utility::ImmutableString RenderableNodeCompositorImpl::GetNodeType() const
{
    return norvik::utility::ImmutableString::CreateStatic("RenderableNodeCompositorImpl");
}

std::uint32_t RenderableNodeCompositorImpl::CalculateInformativeFlags() const
{
    std::uint32_t flags = kFlagsOfEmptyStack;
    for (const auto& [node, offset] : Inputs())
    {
        if (node)
        {
            flags &= node->GetInformativeFlags();
        }
    }
    return flags;
}

void RenderableNodeCompositorImpl::AppendInputWithTrack(const MF::IRenderableNodeRef& inNode,
                                                        const TickTime& inOffset, std::uint64_t inTrackIndex)
{
    AppendInput(inNode, inOffset);
    mTrackIndices.push_back(inTrackIndex);
}

bool RenderableNodeCompositorImpl::HasTrackLimit(const CutlistRenderParams& inRenderParams) const noexcept
{
    return !mTrackIndices.empty() && inRenderParams.mRenderContext != kNoTrackLimit;
}

bool RenderableNodeCompositorImpl::IsWithinLimit(std::size_t inInput,
                                                 const CutlistRenderParams& inRenderParams) const noexcept
{
    return !HasTrackLimit(inRenderParams) || mTrackIndices[inInput] <= inRenderParams.mRenderContext;
}

IRenderableNodeProducerRef
RenderableNodeCompositorImpl::GetProducerForFrame(const MF::FrameTime& inFrameTime,
                                                  const CutlistRenderParams& inRenderParams)
{
    ML_INPUT_CONTRACT(!HasTrackLimit(inRenderParams) || EveryInputHasItsTrack(), kTracksCondition,
                      kSourceFile, "ML::RenderableNodeCompositorImpl::GetProducerForFrame", __LINE__);
    const TVK::InterfaceRef<CompositorProducer> producer(new CompositorProducer(GetHashValue()));
    producer->Reserve(Inputs().size());
    for (std::size_t i = 0; i < Inputs().size(); ++i)
    {
        if (IsWithinLimit(i, inRenderParams))
        {
            producer->AddTrack(Inputs()[i].first, Inputs()[i].second, inFrameTime, inRenderParams);
        }
    }
    return producer->AsProducer();
}

void RenderableNodeCompositorImpl::GetPrefetchesForFrame(
    const MF::FrameTime& inFrameTime, const CutlistRenderParams& inRenderParams,
    std::vector<IRenderableNodePrefetchRef>& ioPrefetches)
{
    constexpr const char* kFunction = "ML::RenderableNodeCompositorImpl::GetPrefetchesForFrame";
    ML_INPUT_CONTRACT(!IsMutable(), "!mMutable", kHeaderFile, kFunction, __LINE__);
    if (!HasTrackLimit(inRenderParams))
    {
        RenderableNodeCommonImpl::GetPrefetchesForFrame(inFrameTime, inRenderParams, ioPrefetches);
        return;
    }
    ML_INPUT_CONTRACT(EveryInputHasItsTrack(), kTracksCondition, kHeaderFile, kFunction, __LINE__);
    for (std::size_t i = 0; i < Inputs().size(); ++i)
    {
        if (IsWithinLimit(i, inRenderParams))
        {
            GetPrefetchesOfInput(i, inFrameTime, inRenderParams, ioPrefetches);
        }
    }
    AddOwnPrefetchesForFrame(inFrameTime, inRenderParams, ioPrefetches);
}

void RenderableNodeCompositorImpl::GetStillRanges(const TickTime& inStart, const TickTime& inEnd,
                                                  std::vector<TimeRange>& ioRanges)
{
    if (Inputs().empty())
    {
        return;
    }
    auto input = Inputs().begin();
    std::vector<TimeRange> ranges = StillRangesOfInput(input->first, input->second, inStart, inEnd);
    while (++input != Inputs().end() && !ranges.empty())
    {
        ranges = Intersection(ranges, StillRangesOfInput(input->first, input->second, inStart, inEnd));
    }
    ioRanges.insert(ioRanges.end(), ranges.begin(), ranges.end());
}

bool RenderableNodeCompositorImpl::HasOnePictureBesideCaptions() const
{
    const auto captions = std::count_if(Inputs().begin(), Inputs().end(),
                                        [](const Input& inInput)
                                        {
                                            const IRenderableNodeProducerProviderRef provider(inInput.first);
                                            return provider && provider->HasCaptions();
                                        });
    return Inputs().size() == 1 || Inputs().size() - static_cast<std::size_t>(captions) == 1;
}

void RenderableNodeCompositorImpl::GetSmartRenderSegments(const TickTime& inStart, const TickTime& inEnd,
                                                          const norviktypes::PixelFormat& inPixelFormat,
                                                          bool inOuterIsPreview,
                                                          MF::SmartRenderSegments& ioSegments)
{
    if (!HasOnePictureBesideCaptions())
    {
        return;
    }
    const auto& [node, offset] = Inputs().front();
    const IRenderableNodeProducerProviderRef provider(node);
    if (!provider)
    {
        return;
    }
    MF::SmartRenderSegments found;
    provider->GetSmartRenderSegments(inStart - offset, inEnd - offset, inPixelFormat, inOuterIsPreview,
                                     found);
    for (auto& [start, entry] : found)
    {
        entry.mStart += offset;
        entry.mEnd += offset;
        ioSegments.emplace(start + offset, std::move(entry));
    }
}

MF::IRenderableNodeRef CreateCompositorOf(const MF::IRenderableNodeRef& inNode)
{
    const RenderableNodeCompositorRef compositor(new RenderableNodeCompositorImpl);
    compositor->AppendInput(inNode, norviktypes::kTime_Zero);
    compositor->Finalize();
    return compositor->AsNode();
}

} // namespace ML
