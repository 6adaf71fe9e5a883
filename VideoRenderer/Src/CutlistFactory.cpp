#include "CutlistFactory.h"

#include "BE/IPreviewStream.h"
#include "CutlistFactory_Content.h"
#include "CutlistFactory_Nested.h"
#include "CutlistFactory_Overlays.h"
#include "CutlistFactory_Stacks.h"
#include "CutlistFactory_Tracks.h"
#include "CutlistFactory_Updates.h"
#include "RenderableCutlistImpl.h"
#include "RenderableNodeCompositorImpl.h"
#include "RenderableNodeMediaImpl.h"
#include "RenderableNodePreviewImpl.h"
#include "TVK/Allocated.h"

#include <algorithm>
#include <cstddef>

namespace ML
{

namespace
{

using MF::IRenderableCutlistRef;
using MF::TimeRange;
using norviktypes::TickTime;

constexpr int kNoTrack = -1;

class CutlistFactory final : public TVK::Implements<CutlistFactory, MF::IRenderableCutlistFactory>
{
public:
    std::int32_t CreateCutlistForSequence(const TVK::TVKUnknownRef& inSequence, const Label& inStreamLabel,
                                          IRenderableCutlistRef& outCutlist) override;
    std::int32_t UpdateCutlistForSequence(const TVK::TVKUnknownRef& inSequence, const Label& inStreamLabel,
                                          const TickTime& inStart, const TickTime& inEnd,
                                          const IRenderableCutlistRef& inPrevious,
                                          IRenderableCutlistRef& outCutlist) override;
    std::int32_t CreateCutlistForTrack(const TVK::TVKUnknownRef& inTrack, const Label& inStreamLabel,
                                       IRenderableCutlistRef& outCutlist) override;
    std::int32_t UpdateCutlistForTrack(const TVK::TVKUnknownRef& inTrack, const Label& inStreamLabel,
                                       const TickTime& inStart, const TickTime& inEnd,
                                       const IRenderableCutlistRef& inPrevious,
                                       IRenderableCutlistRef& outCutlist) override;
    std::int32_t CreateCutlistForTrackItem(const TVK::TVKUnknownRef& inTrackItem, const Label& inStreamLabel,
                                           IRenderableCutlistRef& outCutlist) override;
    std::int32_t CreateCutlistForClip(const TVK::TVKUnknownRef& inClip,
                                      IRenderableCutlistRef& outCutlist) override;
    std::int32_t CreateCutlistForMediaContent(const TVK::TVKUnknownRef& inMediaContent,
                                              const Label& inStreamLabel,
                                              IRenderableCutlistRef& outCutlist) override;
    std::int32_t CreateCutlistForVideoStream(const TVK::TVKUnknownRef& inStream, const Label& inStreamLabel,
                                             IRenderableCutlistRef& outCutlist) override;
    std::int32_t OverlayCutlist(const IRenderableCutlistRef& inCutlist, const MF::CutlistOverlays& inOverlays,
                                IRenderableCutlistRef& outCutlist) override;
    std::int32_t CreateCutlistsForSequence(IRenderableCutlistRef& ioFullCutlist,
                                           IRenderableCutlistRef& ioSegmentCutlist,
                                           const Label& inStreamLabel, const TVK::TVKUnknownRef& inSequence,
                                           const std::vector<std::uint64_t>& inTracks,
                                           const MF::CutlistOverlays& inOverlays, bool inIncludeAdjustments,
                                           bool inIncludeEffects, IRenderableCutlistRef& outPreview) override;
    virtual MF::IRenderableCutlistFactoryRef AsFactory() { return MF::IRenderableCutlistFactoryRef(this); }
};

TrackContext ContextOf(const TVK::TVKUnknownRef& inSequence,
                       const norvik::utility::ImmutableString& inStreamLabel, const TimeRange& inRange)
{
    TrackContext context;
    context.mFrameRate = FrameRateOf(inSequence);
    context.mSequence = inSequence;
    context.mStreamLabel = inStreamLabel;
    context.mRange = inRange;
    return context;
}

IRenderableCutlistRef CutlistOf(const TrackContext& inContext, const std::vector<TrackItemList>& inTracks)
{
    return BuildSequenceCutlist(inContext.mFrameRate, inTracks, inContext.mStreamLabel, inContext.mRange);
}

std::int32_t BuildSequence(const TVK::TVKUnknownRef& inSequence,
                           const norvik::utility::ImmutableString& inStreamLabel, const TimeRange& inRange,
                           IRenderableCutlistRef& outCutlist)
{
    const TrackContext context = ContextOf(inSequence, inStreamLabel, inRange);
    outCutlist = CutlistOf(context, BuildSequenceTrackLists(context));
    return outCutlist ? TVK::kStatus_OK : MF::kStatus_NoSuchEntry;
}

// A track by itself belongs to no sequence.
std::int32_t BuildTrack(const TVK::TVKUnknownRef& inTrack,
                        const norvik::utility::ImmutableString& inStreamLabel, const TimeRange& inRange,
                        IRenderableCutlistRef& outCutlist)
{
    TrackContext context = ContextOf(inTrack, inStreamLabel, inRange);
    context.mSequence.reset();
    outCutlist = BuildTrackCutlist(BuildTrackItems(context, BE::ITrackRef(inTrack)), inStreamLabel, inRange);
    return TVK::kStatus_OK;
}

// One node in the time that it has by itself.
IRenderableCutlistRef CutlistOfNode(const MF::IRenderableNodeRef& inNode, const TickTime& inDuration,
                                    const norvik::utility::ImmutableString& inStreamLabel)
{
    const IMutableCutlistRef cutlist = CreateMutableCutlist(inStreamLabel);
    cutlist->AddSegment(norviktypes::kTime_Zero, inDuration, norviktypes::kTime_Zero,
                        CreateCompositorOf(inNode));
    cutlist->Finalize();
    return cutlist;
}

// A cutlist of another maker cannot be cut open.
bool CanBeUpdated(const IRenderableCutlistRef& inPrevious, const TickTime& inStart, const TickTime& inEnd)
{
    return inStart != norviktypes::kTime_Min && inEnd != norviktypes::kTime_Max &&
           static_cast<bool>(IMutableCutlistRef(inPrevious));
}

std::int32_t CutlistFactory::CreateCutlistForSequence(const TVK::TVKUnknownRef& inSequence,
                                                      const Label& inStreamLabel,
                                                      IRenderableCutlistRef& outCutlist)
{
    return BuildSequence(inSequence, inStreamLabel, kAllTimes, outCutlist);
}

std::int32_t CutlistFactory::UpdateCutlistForSequence(const TVK::TVKUnknownRef& inSequence,
                                                      const Label& inStreamLabel, const TickTime& inStart,
                                                      const TickTime& inEnd,
                                                      const IRenderableCutlistRef& inPrevious,
                                                      IRenderableCutlistRef& outCutlist)
{
    if (!CanBeUpdated(inPrevious, inStart, inEnd))
    {
        return CreateCutlistForSequence(inSequence, inStreamLabel, outCutlist);
    }
    return UpdateCutlist(
        inPrevious, FrameRateOf(inSequence), {inStart, inEnd},
        [&](const TimeRange& inRange, IRenderableCutlistRef& outPiece)
        { return BuildSequence(inSequence, inStreamLabel, inRange, outPiece); },
        outCutlist);
}

std::int32_t CutlistFactory::CreateCutlistForTrack(const TVK::TVKUnknownRef& inTrack,
                                                   const Label& inStreamLabel,
                                                   IRenderableCutlistRef& outCutlist)
{
    return BuildTrack(inTrack, inStreamLabel, kAllTimes, outCutlist);
}

std::int32_t CutlistFactory::UpdateCutlistForTrack(const TVK::TVKUnknownRef& inTrack,
                                                   const Label& inStreamLabel, const TickTime& inStart,
                                                   const TickTime& inEnd,
                                                   const IRenderableCutlistRef& inPrevious,
                                                   IRenderableCutlistRef& outCutlist)
{
    if (!CanBeUpdated(inPrevious, inStart, inEnd))
    {
        return CreateCutlistForTrack(inTrack, inStreamLabel, outCutlist);
    }
    return UpdateCutlist(
        inPrevious, FrameRateOf(inTrack), {inStart, inEnd},
        [&](const TimeRange& inRange, IRenderableCutlistRef& outPiece)
        { return BuildTrack(inTrack, inStreamLabel, inRange, outPiece); },
        outCutlist);
}

// Without a sequence there is no grid: the item keeps its own limits.
std::int32_t CutlistFactory::CreateCutlistForTrackItem(const TVK::TVKUnknownRef& inTrackItem,
                                                       const Label& inStreamLabel,
                                                       IRenderableCutlistRef& outCutlist)
{
    const TrackContext context = ContextOf({}, inStreamLabel, kAllTimes);
    TrackItemRecord record = BuildItemNode(context, BE::ITrackItemRef(inTrackItem), false);
    record.mNode = CreateCompositorOf(record.mNode);
    outCutlist = BuildTrackCutlist({record}, inStreamLabel, kAllTimes);
    return TVK::kStatus_OK;
}

std::int32_t CutlistFactory::CreateCutlistForClip(const TVK::TVKUnknownRef& inClip,
                                                  IRenderableCutlistRef& outCutlist)
{
    const BE::IClipRef clip(inClip);
    const MF::IRenderableNodeRef node =
        CreateMediaNode(clip, Label(), false, norviktypes::kFieldType_Invalid, TVK::Rect(),
                        norviktypes::PixelAspectRatio(), norviktypes::kFrameRate_Zero);
    const bool isStill = (node->GetInformativeFlags() & MF::kNodeFlag_Still) != 0;
    outCutlist = CutlistOfNode(node, isStill ? norviktypes::kTime_Max : clip->GetDuration(), Label());
    return TVK::kStatus_OK;
}

std::int32_t CutlistFactory::CreateCutlistForMediaContent(const TVK::TVKUnknownRef& inMediaContent,
                                                          const Label& inStreamLabel,
                                                          IRenderableCutlistRef& outCutlist)
{
    return CreateCutlistForVideoStream(PreviewStreamOf(BE::IMediaInfoRef(inMediaContent)), inStreamLabel,
                                       outCutlist);
}

std::int32_t CutlistFactory::CreateCutlistForVideoStream(const TVK::TVKUnknownRef& inStream,
                                                         const Label& inStreamLabel,
                                                         IRenderableCutlistRef& outCutlist)
{
    const BE::IPreviewStreamRef stream(inStream);
    outCutlist = CutlistOfNode(CreatePreviewNode(stream, inStreamLabel, kNoTrack, true),
                               stream->GetDuration(), inStreamLabel);
    return TVK::kStatus_OK;
}

std::int32_t CutlistFactory::OverlayCutlist(const IRenderableCutlistRef& inCutlist,
                                            const MF::CutlistOverlays& inOverlays,
                                            IRenderableCutlistRef& outCutlist)
{
    outCutlist = OverlaidCutlist(inCutlist, inOverlays);
    return TVK::kStatus_OK;
}

std::vector<TrackItemList> ListsOfTracks(const TrackContext& inContext,
                                         const std::vector<std::uint64_t>& inTracks)
{
    std::vector<TrackItemList> lists = BuildSequenceTrackLists(inContext);
    for (std::size_t i = 0; i < lists.size() && !inTracks.empty(); ++i)
    {
        if (std::find(inTracks.begin(), inTracks.end(), i) == inTracks.end())
        {
            lists[i].clear();
        }
    }
    return lists;
}

std::int32_t CutlistFactory::CreateCutlistsForSequence(
    IRenderableCutlistRef& ioFullCutlist, IRenderableCutlistRef& ioSegmentCutlist, const Label& inStreamLabel,
    const TVK::TVKUnknownRef& inSequence, const std::vector<std::uint64_t>& inTracks,
    const MF::CutlistOverlays& inOverlays, bool, bool inIncludeEffects, IRenderableCutlistRef& outPreview)
{
    TrackContext context = ContextOf(inSequence, inStreamLabel, kAllTimes);
    std::vector<TrackItemList> lists;
    if (!ioFullCutlist || (!ioSegmentCutlist && inIncludeEffects))
    {
        lists = ListsOfTracks(context, inTracks);
    }
    if (!ioFullCutlist)
    {
        ioFullCutlist = CutlistOf(context, lists);
    }
    if (!ioSegmentCutlist)
    {
        context.mHasEffects = inIncludeEffects;
        ioSegmentCutlist = CutlistOf(
            context,
            ExpandNestedSequences(context, inIncludeEffects ? lists : ListsOfTracks(context, inTracks)));
    }
    outPreview = OverlaidCutlist(ioFullCutlist, inOverlays);
    return TVK::kStatus_OK;
}

} // namespace

MF::IRenderableCutlistFactoryRef GetCutlistFactoryInstance()
{
    static auto* const sFactory = new MF::IRenderableCutlistFactoryRef(
        TVK::InterfaceRef<CutlistFactory>(new CutlistFactory)->AsFactory());
    return *sFactory;
}

} // namespace ML
