// What is behind a sequence: the tracks as they are edited, the snapshots of them, the cutlists made from these,
// and the ties to sequences that it shows and that show it.
//
// One lock guards all of it. An edit changes tracks, marks ranges in the cutlists and ties sequences while it holds
// it; everything that calls out - factories, observers, other sequences - is done with it released, so that no two
// of these locks are ever held together.
//
// A cutlist is made from the data, and for the changes, of one moment. Two threads that ask at once may both make
// it; the newer one stays.
//
// Thread-safety: safe; edits are for one thread at a time.
#pragma once

#include "MF/RenderableCutlistFactory.h"
#include "ReferenceHost/Project/Sequence.h"
#include "ReferenceHost/Project/Track.h"

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <unordered_map>
#include <utility>
#include <vector>

namespace Project
{

inline constexpr std::uint64_t kAllTracks = ~std::uint64_t{0};
MF::IRenderableCutlistProviderRef CreateCutlistProvider(std::weak_ptr<SequenceState> inSequence,
                                                        std::uint64_t inTrack);

// Beyond it a minute of media passes in less than a frame.
inline constexpr double kHighestSpeed = 10000.0;

inline constexpr MF::TimeRange kAllTime{norviktypes::kTime_Min, norviktypes::kTime_Max};

// Within the axis, a sum of two times can't overflow.
inline bool IsOnAxis(const norviktypes::TickTime& inTime)
{
    return inTime > norviktypes::kTime_Min && inTime < norviktypes::kTime_Max;
}

class SequenceState : public std::enable_shared_from_this<SequenceState>
{
public:
    explicit SequenceState(const SequenceSettings& inSettings) : mSettings(inSettings) {}
    ~SequenceState();

    // The sequence itself, told once after it was made.
    void SetSequence(const SequenceRef& inSequence);
    SequenceRef GetSequence() const;

    SequenceDataRef GetData();
    SequenceSettings GetSettings() const;

    // Of Sequence, by the same names.
    void SetSettings(const SequenceSettings& inSettings);
    EditStatus InsertTrack(std::size_t inIndex);
    EditStatus RemoveTrack(std::size_t inIndex);
    EditStatus SetTrackEnabled(std::size_t inIndex, bool inIsEnabled);
    std::size_t GetTrackCount() const;
    EditStatus AddItem(std::size_t inTrack, ClipItem inItem, ItemID* outID);
    EditStatus RemoveItem(ItemID inID);
    EditStatus SetItem(ItemID inID, std::size_t inTrack, ClipItem inItem);
    EditStatus TrimItem(ItemID inID, const norviktypes::TickTime& inStart,
                        const norviktypes::TickTime& inEnd);
    EditStatus SplitItem(ItemID inID, const norviktypes::TickTime& inTime, ItemID* outSecond);
    EditStatus ShiftItems(std::size_t inTrack, const norviktypes::TickTime& inFrom,
                          const norviktypes::TickTime& inDistance);
    EditStatus AddTransition(std::size_t inTrack, const TransitionItem& inTransition, ItemID* outID);
    EditStatus RemoveTransition(ItemID inID);
    EditStatus SetTransitionEnabled(ItemID inID, bool inIsEnabled);

    TrackItemRef GetItem(ItemID inID) const;
    TransitionObjectRef GetTransition(ItemID inID) const;
    TrackItemRef FindItem(std::size_t inTrack, const norviktypes::TickTime& inTime) const;
    std::vector<ItemID> GetItems(std::size_t inTrack) const;
    std::size_t GetItemTrack(ItemID inID) const;

    // How many sequences deep it is, and how many lie around it, itself counted.
    std::uint32_t GetDepth() const;
    std::uint32_t GetHeight() const;
    bool Shows(const SequenceState& inOther) const;

    std::uint64_t AddObserver(Sequence::Observer inObserver);
    void RemoveObserver(std::uint64_t inNumber);

    // The provider of a track, or of all.
    MF::IRenderableCutlistProviderRef GetProvider(std::uint64_t inTrack);
    // inTrack: kAllTracks or an index. inRefresh false is content with the last one. Negative with an empty cutlist.
    std::int32_t GetCutlist(std::uint64_t inTrack, const norvik::utility::ImmutableString& inLabel,
                            bool inRefresh, MF::IRenderableCutlistRef& outCutlist);
    // GetCutlist with what was rendered before, and with nested sequences replaced by what they show.
    std::int32_t GetCutlistWithPreviews(std::uint64_t inTrack,
                                        const norvik::utility::ImmutableString& inLabel, bool inRefresh,
                                        MF::IRenderableCutlistRef& outCutlist);
    std::int32_t GetSegmentCutlist(std::uint64_t inTrack, const norvik::utility::ImmutableString& inLabel,
                                   bool inRefresh, MF::IRenderableCutlistRef& outCutlist);
    // inShown: where on the sequence it is seen from now on.
    void AddOverlay(const TVK::Guid& inNode, const MF::CutlistOverlay& inOverlay,
                    const MF::TimeRange& inShown);
    void RemoveOverlays();

private:
    struct EditedTrack
    {
        ItemList mItems;
        bool mIsEnabled = true;
        TrackSnapshotRef mSnapshot; // empty once the track has changed
    };

    // Where an item or transition is to be looked for.
    struct Spot
    {
        std::size_t mTrack = 0;
        norviktypes::TickTime mTime; // start of the item, or cut of the transition
    };

    struct PendingChange
    {
        std::uint64_t mGeneration;
        MF::TimeRange mRange;
    };

    // A cutlist that was handed out, and what has changed since.
    struct CutlistSlot
    {
        MF::IRenderableCutlistRef mCutlist;
        std::uint64_t mGeneration = 0;
        std::vector<PendingChange> mPending;
        // What was last derived from mCutlist.
        MF::IRenderableCutlistRef mOverlaid;
        MF::IRenderableCutlistRef mOverlaidFrom;
        std::uint64_t mOverlaidVersion = 0;
        MF::IRenderableCutlistRef mSegments;
        MF::IRenderableCutlistRef mSegmentsFrom;
    };
    using SlotKey = std::pair<std::uint64_t, std::string>;

    // What an edit leaves to be done behind the lock.
    struct Aftermath
    {
        SequenceChange mChange{{norviktypes::kTime_Max, norviktypes::kTime_Min}, false};
        std::vector<BE::ISequenceRef> mTied; // sequences that came in or went
        // Objects that the edit let go of, whose last reference may be here.
        std::vector<TrackItemRef> mItems;
        std::vector<TrackSnapshotRef> mTracks;
        std::vector<SequenceDataRef> mData;
    };

    // Locks, edits and tells who has to know. inEdit gives a status and changes nothing if it is not kOK.
    EditStatus Perform(const std::function<EditStatus()>& inEdit);
    void Tie(const std::vector<BE::ISequenceRef>& inSequences);
    // To observers and to all sequences around this one.
    void Announce(const SequenceChange& inChange);
    void CallObservers(const SequenceChange& inChange);
    // A sequence that this one shows has changed.
    void NestedChanged(SequenceState& inNested);
    // Makes the sequence of an item the live one. Calls other sequences: not with mLock held.
    EditStatus PrepareItem(ClipItem& ioItem) const;

    // All of these with mLock held.
    SequenceDataRef DataLocked();
    TrackItemRef MakeItemLocked(ItemID inID, std::shared_ptr<const ClipItem> inContent,
                                const TransitionObjectRef& inAtStart,
                                const TransitionObjectRef& inAtEnd) const;
    TrackItemRef FindLocked(ItemID inID, ItemList::Place& outPlace, std::size_t& outTrack) const;
    // The item that ends, or begins, at inCut; empty if none does.
    TrackItemRef ItemAtCutLocked(std::size_t inTrack, const norviktypes::TickTime& inCut, bool inEnding,
                                 ItemList::Place& outPlace) const;
    bool IsFreeLocked(std::size_t inTrack, const MF::TimeRange& inRange, ItemID inExcept) const;
    void PutLocked(std::size_t inTrack, const TrackItemRef& inItem);
    void TakeLocked(std::size_t inTrack, const ItemList::Place& inPlace);
    void ReplaceLocked(std::size_t inTrack, const ItemList::Place& inPlace, const TrackItemRef& inItem);
    // Puts the transition on both items at its cut; an empty one takes away what is there.
    void SetTransitionLocked(std::size_t inTrack, const norviktypes::TickTime& inCut,
                             const TransitionObjectRef& inTransition);
    void DropTransitionLocked(std::size_t inTrack, const TransitionObjectRef& inTransition);
    EditStatus CheckTransitionLocked(std::size_t inTrack, const TransitionItem& inTransition) const;
    // For an item that is about to lie in inRange: takes over the transition at a cut that it meets, where it is
    // long enough, and drops those that would reach into it.
    void MeetNeighboursLocked(std::size_t inTrack, const MF::TimeRange& inRange,
                              TransitionObjectRef (&ioTransitions)[2]);
    TrackItemRef NeighbourLocked(std::size_t inTrack, const MF::TimeRange& inRange, bool inBehind) const;
    // Drops what reaches from the items in front of inTime into those behind it, and the reverse, or meets there.
    void PartAtLocked(std::size_t inTrack, const norviktypes::TickTime& inTime);
    void ShiftFromLocked(std::size_t inTrack, const norviktypes::TickTime& inFirst,
                         const norviktypes::TickTime& inDistance);
    void TracksMovedLocked(std::size_t inIndex);
    void RemakeItemsLocked();
    void TrackChangedLocked(std::size_t inTrack);
    void MarkLocked(const MF::TimeRange& inRange, std::uint64_t inTrack);
    void NestLocked(const TrackItemRef& inItem, bool inIsThere);

    using States = std::vector<std::shared_ptr<SequenceState>>;
    States Nested() const;
    States Parents() const;
    void SetParent(const std::shared_ptr<SequenceState>& inParent, bool inIsThere);
    void ForgetParent(const SequenceState* inParent);
    using Levels = std::map<const SequenceState*, std::uint32_t>;
    static std::uint32_t LevelsOf(const SequenceState& inState, States (SequenceState::*inNeighbours)() const,
                                  Levels& ioKnown);

    mutable std::mutex mLock;
    TVK::IWeakReferenceRef mSequence;
    SequenceSettings mSettings;
    std::vector<EditedTrack> mTracks;
    SequenceDataRef mData; // null once something has changed
    ItemID mLastID = 0;
    std::unordered_map<ItemID, Spot> mItems;
    std::unordered_map<ItemID, Spot> mTransitions;

    // Items by the sequence that they show, and the sequences that show this one.
    struct NestedUse
    {
        std::weak_ptr<SequenceState> mState;
        std::set<ItemID> mItems;
    };
    std::map<const SequenceState*, NestedUse> mNested;
    std::map<const SequenceState*, std::weak_ptr<SequenceState>> mParents;

    Aftermath mAftermath; // of the edit that is going on

    std::uint64_t mGeneration = 0;
    std::map<SlotKey, CutlistSlot> mSlots;
    std::map<std::uint64_t, MF::IRenderableCutlistProviderRef> mProviders;
    MF::CutlistOverlays mOverlays;
    std::uint64_t mOverlayVersion = 0;

    std::uint64_t mLastObserver = 0;
    std::map<std::uint64_t, std::shared_ptr<const Sequence::Observer>> mObservers;
};

} // namespace Project
