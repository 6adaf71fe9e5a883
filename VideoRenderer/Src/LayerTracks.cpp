#include "LayerTracks.h"

#include "BE/ISequence.h"
#include "CutlistFactory_Tracks.h"
#include "MF/KeyframedParameter.h"
#include "RenderableCutlistImpl.h"
#include "TVK/Allocated.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace ML
{

namespace
{

using MF::TimeRange;
using norviktypes::TickTime;

// As deep as the builder of a clip's node follows groups of effects.
constexpr int kMostGroups = 256;

struct UsedTrack
{
    const void* mSequence;
    std::uint64_t mTrack;
    TimeRange mSpan;
    std::uint32_t mDeepLooks; // of its sequence, where it is the first one of it
};

// Outermost first. A track's cutlist is built on the thread that asks for it.
thread_local std::vector<UsedTrack> tTracksInUse;

const void* IdentityOf(const TVK::TVKUnknownRef& inObject)
{
    void* unknown = nullptr;
    inObject->QueryNoRef(TVKUnknown::kInterfaceID, &unknown);
    return unknown;
}

// Whatever the time: each look lies within that of the one before.
bool IsInUse(const TVK::TVKUnknownRef& inSequence, std::uint64_t inTrack)
{
    const void* const sequence = IdentityOf(inSequence);
    return std::any_of(tTracksInUse.begin(), tTracksInUse.end(),
                       [&](const UsedTrack& inUsed)
                       { return inUsed.mSequence == sequence && inUsed.mTrack == inTrack; });
}

// Whether one more look at a track of the sequence is followed. Only looks within the sequence count: what is nested
// is built for all who show it, and may not depend on who was the first.
bool MayLook(const TVK::TVKUnknownRef& inSequence)
{
    const void* const sequence = IdentityOf(inSequence);
    const auto isOfSequence = [sequence](const UsedTrack& inUsed) { return inUsed.mSequence == sequence; };
    // The track of an effect and that at which it looks are in use at each level.
    const auto level = (std::count_if(tTracksInUse.begin(), tTracksInUse.end(), isOfSequence) + 1) / 2;
    if (level <= 2)
    {
        return true;
    }
    const auto first = std::find_if(tTracksInUse.begin(), tTracksInUse.end(), isOfSequence);
    return level <= kMostLevels && ++first->mDeepLooks <= kMostDeepLooks;
}

// A track as it is when it is asked for by itself: it is turned off so that it isn't seen, not so that nothing is
// there to look at.
class TrackToLookAt final : public TVK::Implements<TrackToLookAt, BE::ITrack>
{
public:
    explicit TrackToLookAt(const BE::ITrackRef& inTrack) : mTrack(inTrack) {}

    void GetItems(std::vector<BE::ITrackItemRef>& outItems) const override { mTrack->GetItems(outItems); }
    void GetItemsInSpan(const TickTime& inStart, const TickTime& inEnd,
                        std::vector<BE::ITrackItemRef>& outItems) const override
    {
        mTrack->GetItemsInSpan(inStart, inEnd, outItems);
    }
    std::uint64_t GetIndex() const override { return mTrack->GetIndex(); }

private:
    const BE::ITrackRef mTrack;
};

BE::ITrackRef TrackOf(const TVK::TVKUnknownRef& inSequence, std::uint64_t inTrack)
{
    const BE::ITrackListRef tracks(inSequence);
    const std::uint32_t count = tracks ? tracks->GetVideoTrackCount() : 0;
    for (std::uint32_t index = 0; index < count; ++index)
    {
        const BE::ITrackRef track(tracks->GetVideoTrack(index));
        if (track && track->GetIndex() == inTrack)
        {
            return track;
        }
    }
    return {};
}

bool LooksAtTracks(const BE::IEffectChainRef& inChain, int inDepth)
{
    std::vector<BE::IEffectRef> effects;
    if (inChain && inDepth <= kMostGroups)
    {
        inChain->GetEffects(effects);
    }
    return std::any_of(effects.begin(), effects.end(),
                       [inDepth](const BE::IEffectRef& inEffect)
                       {
                           if (!inEffect || !inEffect->IsActive())
                           {
                               return false;
                           }
                           const BE::ParameterListRef parameters = inEffect->GetParameters();
                           return std::any_of(parameters->begin(), parameters->end(),
                                              [](const MF::IKeyframedParameterRef& inParameter)
                                              {
                                                  return inParameter &&
                                                         inParameter->GetType() == MF::kParameterType_Layer &&
                                                         LayerValueOf(*inParameter) != MF::kLayer_NotSet;
                                              }) ||
                                  LooksAtTracks(inEffect->GetSubEffects(), inDepth + 1);
                       });
}

// Whether what plays on the track then, transitions from outside included, depends on other tracks.
bool LooksFurther(const BE::ITrackRef& inTrack, const TimeRange& inSpan)
{
    const std::vector<BE::ITrackItemRef> items = FindTrackItems(inTrack, inSpan);
    return std::any_of(items.begin(), items.end(),
                       [](const BE::ITrackItemRef& inItem)
                       { return LooksAtTracks(inItem->GetEffects(), 0); });
}

MF::IRenderableCutlistRef BuildAmongTracks(const TVK::TVKUnknownRef& inSequence, const BE::ITrackRef& inTrack,
                                           const TimeRange& inSpan)
{
    TrackContext context;
    context.mFrameRate = FrameRateOf(inSequence);
    context.mSequence = inSequence;
    context.mTrackIndex = inTrack->GetIndex();
    context.mRange = inSpan;
    // An angle of a multi-camera sequence that is off isn't there at all.
    const BE::ISequenceRef sequence(inSequence);
    const bool isAngle = sequence && sequence->IsMulticamSource();
    const BE::ITrackRef track = isAngle ? inTrack : BE::ITrackRef(new TrackToLookAt(inTrack));
    return BuildTrackCutlist(BuildTrackItems(context, track), {}, inSpan);
}

MF::IRenderableCutlistRef CutlistOfProvider(const TVK::TVKUnknownRef& inSequence, std::uint64_t inTrack)
{
    MF::IRenderableCutlistRef cutlist;
    const BE::ISequenceRef sequence(inSequence);
    // Whoever gives the cutlist may keep it, so that it has to be the whole of it.
    const TrackUse use(inSequence, inTrack, kAllTimes);
    const auto provider = sequence->GetTrackCutlistProvider(inTrack);
    if (provider && provider->GetPrimaryCutlist(cutlist, {}, true) < 0)
    {
        cutlist.reset();
    }
    return cutlist;
}

MF::IRenderableCutlistRef CutlistOfTrack(const TVK::TVKUnknownRef& inSequence, std::uint64_t inTrack,
                                         const TimeRange& inSpan)
{
    if (!BE::ISequenceRef(inSequence) || !MayLook(inSequence) || inSpan.mStart >= inSpan.mEnd ||
        IsInUse(inSequence, inTrack))
    {
        return {};
    }
    const BE::ITrackRef track = TrackOf(inSequence, inTrack);
    if (!track || !LooksFurther(track, inSpan))
    {
        return CutlistOfProvider(inSequence, inTrack);
    }
    const TrackUse use(inSequence, inTrack, inSpan);
    return BuildAmongTracks(inSequence, track, inSpan);
}

struct Segment
{
    TickTime mStart;
    TickTime mEnd;
    TickTime mOffset;
    TVK::Guid mHash;
};

Segment NthSegment(const MF::IRenderableCutlistRef& inCutlist, std::uint32_t inIndex)
{
    Segment segment;
    inCutlist->GetNthSegmentDescription(inIndex, segment.mStart, segment.mEnd, segment.mOffset,
                                        segment.mHash);
    return segment;
}

std::uint32_t FirstSegmentEndingAfter(const MF::IRenderableCutlistRef& inCutlist, const TickTime& inTime)
{
    std::uint32_t first = 0;
    std::uint32_t count = inCutlist->GetSegmentCount();
    while (count > 0)
    {
        const std::uint32_t half = count / 2;
        if (NthSegment(inCutlist, first + half).mEnd <= inTime)
        {
            first += half + 1;
            count -= half + 1;
        }
        else
        {
            count = half;
        }
    }
    return first;
}

void AddSegmentsWithin(const IMutableCutlistRef& ioTarget, const MF::IRenderableCutlistRef& inCutlist,
                       const TimeRange& inSpan)
{
    const std::uint32_t count = inCutlist->GetSegmentCount();
    for (std::uint32_t index = FirstSegmentEndingAfter(inCutlist, inSpan.mStart); index < count; ++index)
    {
        const Segment segment = NthSegment(inCutlist, index);
        const TickTime start = std::max(segment.mStart, inSpan.mStart);
        if (start >= inSpan.mEnd)
        {
            return;
        }
        MF::IRenderableNodeRef node;
        if (inCutlist->GetRenderableNodeFromHashValue(segment.mHash, node) >= 0 && node)
        {
            ioTarget->AddSegment(start, std::min(segment.mEnd, inSpan.mEnd),
                                 segment.mOffset + (start - segment.mStart), node);
        }
    }
}

} // namespace

std::uint32_t LayerValueOf(const MF::IKeyframedParameter& inParameter)
{
    MF::Keyframe<std::uint32_t> value;
    return inParameter.GetValueAtTime(value, norviktypes::kTime_Zero, 0) >= 0 ? value.mValue
                                                                              : MF::kLayer_NotSet;
}

TrackUse::TrackUse(const TVK::TVKUnknownRef& inSequence, std::uint64_t inTrack, const TimeRange& inSpan)
{
    tTracksInUse.push_back({IdentityOf(inSequence), inTrack, inSpan, 0});
}

TrackUse::~TrackUse()
{
    tTracksInUse.pop_back();
}

TimeRange LookedAtWithin(const TVK::TVKUnknownRef& inSequence, const TimeRange& inSpan)
{
    const void* const sequence = inSequence ? IdentityOf(inSequence) : nullptr;
    const auto look = std::find_if(tTracksInUse.rbegin(), tTracksInUse.rend(),
                                   [&](const UsedTrack& inUsed) { return inUsed.mSequence == sequence; });
    if (look == tTracksInUse.rend())
    {
        return inSpan;
    }
    return {std::max(inSpan.mStart, look->mSpan.mStart), std::min(inSpan.mEnd, look->mSpan.mEnd)};
}

MF::IRenderableCutlistRef CaptureTrack(const TVK::TVKUnknownRef& inSequence, std::uint64_t inTrack,
                                       const TimeRange& inSpan)
{
    const IMutableCutlistRef captured = CreateMutableCutlist();
    if (const MF::IRenderableCutlistRef cutlist = CutlistOfTrack(inSequence, inTrack, inSpan))
    {
        AddSegmentsWithin(captured, cutlist, inSpan);
    }
    captured->Finalize();
    return MF::IRenderableCutlistRef(captured.get());
}

} // namespace ML
