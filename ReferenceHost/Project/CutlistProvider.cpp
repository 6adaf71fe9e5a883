#include "ReferenceHost/Project/SequenceState.h"
#include "TVK/Allocated.h"

#include <algorithm>
#include <utility>

namespace Project
{

namespace
{

// Ranges of a cutlist that are remembered apart; more of them become one, as each costs a walk over the cutlist.
constexpr std::size_t kMostPendingChanges = 8;

bool IsAllTime(const MF::TimeRange& inRange)
{
    return inRange.mStart <= norviktypes::kTime_Min || inRange.mEnd >= norviktypes::kTime_Max;
}

// Sequences that are made on this thread at this moment, one inside the other. An edit between two looks could
// let them go round in a circle.
thread_local std::uint32_t sNesting = 0;

class NestingGuard
{
public:
    NestingGuard() { ++sNesting; }
    ~NestingGuard() { --sNesting; }
    NestingGuard(const NestingGuard&) = delete;
    NestingGuard& operator=(const NestingGuard&) = delete;

    bool IsTooDeep() const { return sNesting > 2 * kMostNestedSequences; }
};

class CutlistProvider final
    : public TVK::Implements<CutlistProvider, MF::IRenderableCutlistProvider, MF::ISequenceVideoProperties>
{
public:
    using Name = norvik::utility::ImmutableString;
    using CutlistRef = MF::IRenderableCutlistRef;

    CutlistProvider(std::weak_ptr<SequenceState> inSequence, std::uint64_t inTrack)
        : mSequence(std::move(inSequence))
        , mTrack(inTrack)
    {
    }

    std::int32_t GetPrimaryCutlist(CutlistRef& outCutlist, const Name& inName, bool inRefresh) override
    {
        return Ask(&SequenceState::GetCutlistWithPreviews, outCutlist, inName, inRefresh);
    }
    std::int32_t GetAlternateCutlist(CutlistRef& outCutlist, const Name& inName, bool inRefresh) override
    {
        return Ask(&SequenceState::GetCutlist, outCutlist, inName, inRefresh);
    }
    std::int32_t GetThirdCutlist(CutlistRef& outCutlist, const Name& inName, bool inRefresh, bool) override
    {
        return Ask(&SequenceState::GetSegmentCutlist, outCutlist, inName, inRefresh);
    }

    TVK::Rect GetBounds() const override { return Settings().mFrameRect; }
    norviktypes::PixelAspectRatio GetPixelAspectRatio() const override
    {
        return Settings().mPixelAspectRatio;
    }
    norviktypes::FieldType GetFieldType() const override { return Settings().mFieldType; }
    norviktypes::FrameRate GetFrameRate() const override { return Settings().mFrameRate; }

private:
    using Question = std::int32_t (SequenceState::*)(std::uint64_t, const Name&, bool, CutlistRef&);

    std::int32_t Ask(Question inQuestion, CutlistRef& outCutlist, const Name& inName, bool inRefresh) const
    {
        outCutlist.reset();
        const std::shared_ptr<SequenceState> sequence = mSequence.lock();
        return sequence ? (sequence.get()->*inQuestion)(mTrack, inName, inRefresh, outCutlist)
                        : MF::kStatus_NoSuchEntry;
    }

    SequenceSettings Settings() const
    {
        const std::shared_ptr<SequenceState> sequence = mSequence.lock();
        return sequence ? sequence->GetSettings() : SequenceSettings();
    }

    const std::weak_ptr<SequenceState> mSequence;
    const std::uint64_t mTrack;
};

// What a cutlist is made of: the sequence or one of its tracks, as a snapshot.
class CutlistMaker
{
public:
    CutlistMaker(MF::IRenderableCutlistFactoryRef inFactory, TVK::TVKUnknownRef inSource, bool inIsTrack,
                 norvik::utility::ImmutableString inLabel)
        : mFactory(std::move(inFactory))
        , mSource(std::move(inSource))
        , mIsTrack(inIsTrack)
        , mLabel(std::move(inLabel))
    {
    }

    std::int32_t Make(MF::IRenderableCutlistRef& outCutlist) const
    {
        return mIsTrack ? mFactory->CreateCutlistForTrack(mSource, mLabel, outCutlist)
                        : mFactory->CreateCutlistForSequence(mSource, mLabel, outCutlist);
    }

    std::int32_t Update(const MF::TimeRange& inRange, MF::IRenderableCutlistRef& ioCutlist) const
    {
        const MF::IRenderableCutlistRef before = ioCutlist;
        return mIsTrack ? mFactory->UpdateCutlistForTrack(mSource, mLabel, inRange.mStart, inRange.mEnd,
                                                          before, ioCutlist)
                        : mFactory->UpdateCutlistForSequence(mSource, mLabel, inRange.mStart, inRange.mEnd,
                                                             before, ioCutlist);
    }

private:
    const MF::IRenderableCutlistFactoryRef mFactory;
    const TVK::TVKUnknownRef mSource;
    const bool mIsTrack;
    const norvik::utility::ImmutableString mLabel;
};

TVK::TVKUnknownRef SourceOf(const SequenceDataRef& inData, const std::weak_ptr<SequenceState>& inState,
                            std::uint64_t inTrack)
{
    if (inTrack == kAllTracks)
    {
        return TVK::TVKUnknownRef(CreateSequenceSnapshot(inData, inState));
    }
    if (inTrack >= inData->mTracks.size())
    {
        return {};
    }
    const TrackSnapshotRef& track = inData->mTracks[inTrack];
    // Whoever asks for a single track wants its pictures for something else, as a matte for one: a track is turned
    // off so that it isn't seen itself. An angle that is off is one that isn't to be chosen.
    return track->IsDisabled() && !inData->mSettings.mIsMulticamSource
               ? UnknownOf(TrackSnapshotRef(
                     new TrackSnapshot(track->GetList(), inTrack, true, track->GetFrameRate())))
               : UnknownOf(track);
}

MF::TimeRange Union(const MF::TimeRange& inA, const MF::TimeRange& inB)
{
    return {std::min(inA.mStart, inB.mStart), std::max(inA.mEnd, inB.mEnd)};
}

std::string KeyOf(const norvik::utility::ImmutableString& inLabel)
{
    return std::string(inLabel.CStr(), inLabel.Size());
}

} // namespace

MF::IRenderableCutlistProviderRef CreateCutlistProvider(std::weak_ptr<SequenceState> inSequence,
                                                        std::uint64_t inTrack)
{
    if (const std::shared_ptr<SequenceState> sequence = inSequence.lock())
    {
        return sequence->GetProvider(inTrack);
    }
    return MF::IRenderableCutlistProviderRef(new CutlistProvider(std::move(inSequence), inTrack));
}

MF::IRenderableCutlistProviderRef SequenceState::GetProvider(std::uint64_t inTrack)
{
    const std::lock_guard<std::mutex> lock(mLock);
    MF::IRenderableCutlistProviderRef& provider = mProviders[inTrack];
    if (!provider)
    {
        provider = MF::IRenderableCutlistProviderRef(new CutlistProvider(weak_from_this(), inTrack));
    }
    return provider;
}

void SequenceState::MarkLocked(const MF::TimeRange& inRange, std::uint64_t inTrack)
{
    ++mGeneration;
    mAftermath.mChange.mRange = Union(mAftermath.mChange.mRange, inRange);
    for (auto& [key, slot] : mSlots)
    {
        // A slot that is still empty counts too: its first cutlist may be in the making.
        if (key.first != kAllTracks && inTrack != kAllTracks && key.first != inTrack)
        {
            continue;
        }
        if (slot.mPending.size() < kMostPendingChanges)
        {
            slot.mPending.push_back({mGeneration, inRange});
            continue;
        }
        PendingChange whole{mGeneration, inRange};
        for (const PendingChange& change : slot.mPending)
        {
            whole.mRange = Union(whole.mRange, change.mRange);
        }
        slot.mPending.assign(1, whole);
    }
}

std::int32_t SequenceState::GetCutlist(std::uint64_t inTrack, const norvik::utility::ImmutableString& inLabel,
                                       bool inRefresh, MF::IRenderableCutlistRef& outCutlist)
{
    const NestingGuard nesting;
    const SlotKey key(inTrack, KeyOf(inLabel));
    SequenceDataRef data;
    MF::IRenderableCutlistRef cutlist;
    std::vector<PendingChange> pending;
    std::uint64_t generation = 0;
    {
        const std::lock_guard<std::mutex> lock(mLock);
        const CutlistSlot& slot = mSlots[key];
        if (slot.mCutlist && (!inRefresh || slot.mPending.empty()))
        {
            outCutlist = slot.mCutlist;
            return 0;
        }
        data = DataLocked();
        cutlist = slot.mCutlist;
        pending = slot.mPending;
        generation = mGeneration;
    }
    const MF::IRenderableCutlistFactoryRef factory = MF::GetCutlistFactory();
    const TVK::TVKUnknownRef source = SourceOf(data, weak_from_this(), inTrack);
    if (!factory || !source || nesting.IsTooDeep())
    {
        return MF::kStatus_NoSuchEntry;
    }
    const CutlistMaker maker(factory, source, inTrack != kAllTracks, inLabel);
    const bool isNew =
        !cutlist || std::any_of(pending.begin(), pending.end(),
                                [](const PendingChange& inChange) { return IsAllTime(inChange.mRange); });
    std::int32_t status = isNew ? maker.Make(cutlist) : 0;
    for (std::size_t index = 0; !isNew && status >= 0 && index < pending.size(); ++index)
    {
        status = maker.Update(pending[index].mRange, cutlist);
    }
    if (status < 0 || !cutlist)
    {
        return status < 0 ? status : MF::kStatus_NoSuchEntry;
    }
    outCutlist = cutlist;
    // What it replaces is let go of behind the lock.
    const std::lock_guard<std::mutex> lock(mLock);
    CutlistSlot& slot = mSlots[key];
    if (!slot.mCutlist || slot.mGeneration <= generation)
    {
        slot.mGeneration = generation;
        std::swap(slot.mCutlist, cutlist);
        std::erase_if(slot.mPending,
                      [&](const PendingChange& inChange) { return inChange.mGeneration <= generation; });
    }
    return 0;
}

std::int32_t SequenceState::GetCutlistWithPreviews(std::uint64_t inTrack,
                                                   const norvik::utility::ImmutableString& inLabel,
                                                   bool inRefresh, MF::IRenderableCutlistRef& outCutlist)
{
    MF::IRenderableCutlistRef plain;
    const std::int32_t status = GetCutlist(inTrack, inLabel, inRefresh, plain);
    MF::CutlistOverlays overlays;
    std::uint64_t version = 0;
    if (status >= 0)
    {
        const std::lock_guard<std::mutex> lock(mLock);
        const CutlistSlot& slot = mSlots[{inTrack, KeyOf(inLabel)}];
        if (mOverlays.empty() || (slot.mOverlaidFrom == plain && slot.mOverlaidVersion == mOverlayVersion))
        {
            outCutlist = mOverlays.empty() ? plain : slot.mOverlaid;
            return status;
        }
        overlays = mOverlays;
        version = mOverlayVersion;
    }
    const MF::IRenderableCutlistFactoryRef factory = MF::GetCutlistFactory();
    if (status < 0 || !factory)
    {
        return status < 0 ? status : MF::kStatus_NoSuchEntry;
    }
    const std::int32_t overlaid = factory->OverlayCutlist(plain, overlays, outCutlist);
    if (overlaid >= 0)
    {
        MF::IRenderableCutlistRef last = outCutlist;
        MF::IRenderableCutlistRef lastFrom = plain;
        const std::lock_guard<std::mutex> lock(mLock);
        CutlistSlot& slot = mSlots[{inTrack, KeyOf(inLabel)}];
        std::swap(slot.mOverlaid, last);
        std::swap(slot.mOverlaidFrom, lastFrom);
        slot.mOverlaidVersion = version;
    }
    return overlaid;
}

std::int32_t SequenceState::GetSegmentCutlist(std::uint64_t inTrack,
                                              const norvik::utility::ImmutableString& inLabel, bool inRefresh,
                                              MF::IRenderableCutlistRef& outCutlist)
{
    MF::IRenderableCutlistRef plain;
    const std::int32_t status = GetCutlist(inTrack, inLabel, inRefresh, plain);
    if (status < 0)
    {
        return status;
    }
    MF::CutlistOverlays overlays;
    SequenceDataRef data;
    {
        const std::lock_guard<std::mutex> lock(mLock);
        const CutlistSlot& slot = mSlots[{inTrack, KeyOf(inLabel)}];
        if (slot.mSegments && slot.mSegmentsFrom == plain)
        {
            outCutlist = slot.mSegments;
            return 0;
        }
        overlays = mOverlays;
        data = DataLocked();
    }
    const MF::IRenderableCutlistFactoryRef factory = MF::GetCutlistFactory();
    if (!factory)
    {
        return MF::kStatus_NoSuchEntry;
    }
    const std::vector<std::uint64_t> tracks(inTrack == kAllTracks ? 0 : 1, inTrack);
    MF::IRenderableCutlistRef preview;
    MF::IRenderableCutlistRef full = plain;
    const std::int32_t made = factory->CreateCutlistsForSequence(full, outCutlist, inLabel,
                                                                 SourceOf(data, weak_from_this(), kAllTracks),
                                                                 tracks, overlays, true, true, preview);
    if (made >= 0 && outCutlist)
    {
        MF::IRenderableCutlistRef last = outCutlist;
        MF::IRenderableCutlistRef lastFrom = plain;
        const std::lock_guard<std::mutex> lock(mLock);
        CutlistSlot& slot = mSlots[{inTrack, KeyOf(inLabel)}];
        std::swap(slot.mSegments, last);
        std::swap(slot.mSegmentsFrom, lastFrom);
    }
    return made;
}

void SequenceState::AddOverlay(const TVK::Guid& inNode, const MF::CutlistOverlay& inOverlay,
                               const MF::TimeRange& inShown)
{
    {
        const std::lock_guard<std::mutex> lock(mLock);
        mOverlays[inNode].push_back(inOverlay);
        ++mOverlayVersion;
    }
    Announce({inShown, false});
}

void SequenceState::RemoveOverlays()
{
    MF::CutlistOverlays removed;
    {
        const std::lock_guard<std::mutex> lock(mLock);
        removed.swap(mOverlays);
        ++mOverlayVersion;
    }
    if (!removed.empty())
    {
        Announce({kAllTime, false});
    }
}

} // namespace Project
