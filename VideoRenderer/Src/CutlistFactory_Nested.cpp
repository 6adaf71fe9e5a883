#include "CutlistFactory_Nested.h"

#include "RenderableNodeParameters.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace ML
{

namespace
{

using MF::TimeRange;
using norviktypes::FrameRate;
using norviktypes::TickTime;

bool PlaysAsItIs(const BE::IClipRef& inClip)
{
    TickTime holdTime = norviktypes::kTime_Max;
    bool holdsEffects = false;
    inClip->GetFrameHold(holdTime, holdsEffects);
    const BE::ITimeRemapParameterRef remap = inClip->GetTimeRemapParameter();
    return inClip->GetSpeed() == 1.0 && !inClip->IsBackwards() && holdTime == norviktypes::kTime_Max &&
           !(remap && remap->IsEnabled());
}

bool LiesAsItIs(const MF::IRenderableNodeRef& inNode)
{
    NodeIntrinsicParameters parameters;
    const IRenderableNodeIntrinsicParameterProviderRef intrinsics(inNode);
    if (intrinsics &&
        intrinsics->GetIntrinsicParameters(norviktypes::kTime_Zero, CutlistRenderParams(), parameters) < 0)
    {
        parameters = kDefaultIntrinsicParameters;
    }
    return inNode->GetOperatorCount() == 0 && SameIntrinsics(parameters, kDefaultIntrinsicParameters);
}

// The sequence that takes the item's place; empty where the item stays.
TVK::TVKUnknownRef SequenceInsteadOf(const TrackItemRecord& inRecord)
{
    const BE::IClipRef clip = inRecord.mItem ? inRecord.mItem->GetClip() : BE::IClipRef();
    return clip && PlaysAsItIs(clip) && LiesAsItIs(inRecord.mNode) ? clip->GetSequence()
                                                                   : TVK::TVKUnknownRef();
}

// A record of the nested sequence on the axis of the outer one, seen no longer than the clip is.
TrackItemRecord MovedInto(TrackItemRecord inRecord, const TickTime& inShift, const TrackItemRecord& inOuter,
                          const FrameRate& inFrameRate)
{
    if (inRecord.mStart != norviktypes::kTime_Min)
    {
        const TickTime start = inRecord.mStart + inShift;
        inRecord.mStart = start.AlignToFrame(inFrameRate);
        inRecord.mEnd = (inRecord.mEnd + inShift).AlignToFrameCeil(inFrameRate);
        inRecord.mInputOffset += inRecord.mStart - start;
    }
    inRecord.mEffectiveStart =
        std::max((inRecord.mEffectiveStart + inShift).AlignToFrame(inFrameRate), inOuter.mEffectiveStart);
    inRecord.mEffectiveEnd =
        std::min((inRecord.mEffectiveEnd + inShift).AlignToFrameCeil(inFrameRate), inOuter.mEffectiveEnd);
    inRecord.mTrackIndex = inOuter.mTrackIndex;
    inRecord.mGroupID = inOuter.mGroupID;
    return inRecord;
}

std::vector<TrackItemList> ListsInsteadOf(const TrackContext& inContext, const TrackItemRecord& inOuter,
                                          const TVK::TVKUnknownRef& inSequence,
                                          const SequencesAround& inAround)
{
    const TickTime shift = inOuter.mItem->GetStart() - inOuter.mItem->GetClip()->GetInPoint();
    TrackContext nested = inContext;
    nested.mSequence = inSequence;
    nested.mFrameRate = FrameRateOf(inSequence);
    nested.mRange = {inOuter.mEffectiveStart - shift, inOuter.mEffectiveEnd - shift};
    std::vector<TrackItemList> lists =
        ExpandNestedSequences(nested, BuildSequenceTrackLists(nested), &inAround);
    for (TrackItemList& list : lists)
    {
        for (TrackItemRecord& record : list)
        {
            record = MovedInto(std::move(record), shift, inOuter, inContext.mFrameRate);
        }
        std::erase_if(list, [](const TrackItemRecord& inRecord)
                      { return inRecord.mEffectiveStart >= inRecord.mEffectiveEnd; });
    }
    return lists;
}

// An effect that looks at other tracks looks at those of its own sequence, at the time of the render: on another
// axis it would see another moment.
bool CanBeMoved(const std::vector<TrackItemList>& inLists)
{
    const auto isContained = [](const TrackItemRecord& inRecord)
    { return (inRecord.mNode->GetInformativeFlags() & MF::kNodeFlag_TimeContained) != 0; };
    return std::all_of(inLists.begin(), inLists.end(),
                       [&](const TrackItemList& inList)
                       { return std::all_of(inList.begin(), inList.end(), isContained); });
}

// On several tracks a sequence within itself would grow by that factor with each depth.
bool CanBeTakenApart(const TVK::TVKUnknownRef& inSequence, const SequencesAround& inAround)
{
    std::uint32_t depth = 0;
    bool isWithinItself = false;
    for (const SequencesAround* around = &inAround; around; around = around->mOuter, ++depth)
    {
        isWithinItself = isWithinItself || around->mSequence == inSequence;
    }
    return inSequence && depth <= kMostNestedSequences && !isWithinItself;
}

// Items of one track follow each other, so that those of several clips find room in the same lists.
std::vector<TrackItemList> ExpandTrack(const TrackContext& inContext, const TrackItemList& inTrack,
                                       const SequencesAround& inAround)
{
    std::vector<TrackItemList> expanded(1);
    for (const TrackItemRecord& record : inTrack)
    {
        const TVK::TVKUnknownRef sequence = SequenceInsteadOf(record);
        const bool isTakenApart = CanBeTakenApart(sequence, inAround);
        std::vector<TrackItemList> nested;
        if (isTakenApart)
        {
            nested = ListsInsteadOf(inContext, record, sequence, inAround);
        }
        if (!isTakenApart || !CanBeMoved(nested))
        {
            expanded.front().push_back(record);
            continue;
        }
        expanded.resize(std::max(expanded.size(), nested.size()));
        for (std::size_t i = 0; i < nested.size(); ++i)
        {
            expanded[i].insert(expanded[i].end(), nested[i].begin(), nested[i].end());
        }
    }
    return expanded;
}

} // namespace

std::vector<TrackItemList> ExpandNestedSequences(const TrackContext& inContext,
                                                 const std::vector<TrackItemList>& inTracks,
                                                 const SequencesAround* inAround)
{
    const SequencesAround around{inContext.mSequence, inAround};
    std::vector<TrackItemList> lists;
    for (const TrackItemList& track : inTracks)
    {
        for (TrackItemList& list : ExpandTrack(inContext, track, around))
        {
            lists.push_back(std::move(list));
        }
    }
    return lists;
}

} // namespace ML
