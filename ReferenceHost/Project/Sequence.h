// A timeline that can be changed while it is rendered.
//
// Edited by one thread, read by any number of others. The rule that keeps them apart: everything that a reader gets
// - tracks, items, clips, effects, parameters - is a snapshot and never changes. An edit puts new objects in the
// place of those it touches and leaves the rest as they are; who holds the old ones sees the sequence as it was.
// The faces of the sequence itself answer from the newest snapshot, so two questions in a row may get answers from
// before and after an edit: a reader that asks more than one takes a Snapshot first. Cutlists are always made from
// one snapshot.
//
// An edit costs what it touches: lists of items are shared in pieces between snapshots, and items are found by
// binary search. The next cutlist is the last one with the changed ranges made anew.
//
// Every edit tells which stretch of time it changed: to observers, which may post it to a station
// (SequenceMessages.h), to the cutlists kept here, and to all sequences
// that show this one, for the items that do. A sequence never shows itself, however indirectly, and no more than
// kMostNestedSequences lie inside each other; edits that would break that are refused.
//
// Items of a track don't overlap. A transition belongs to a cut, and an edit that moves an end of an item away from
// its transition removes it. An item that comes to lie at the cut of a fade takes part in it if it is long enough, or
// else ends it. Edits return a status and change nothing if it is not kOK.
//
// Ownership: items hold what they show, nested sequences too. Cutlists and nodes hold snapshots, which don't hold
// the sequence; once the last reference to it is gone its providers fail.
//
// Thread-safety: faces and const operations are safe from any thread; edits are for one thread at a time. Observers
// are called on the editing thread, with no lock held, after the edit.
#pragma once

#include "BE/IPreviewStream.h"
#include "BE/ISequence.h"
#include "ML/VideoTransition.h"
#include "ReferenceHost/Project/ClipItem.h"
#include "TVK/Weak.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace Project
{

inline constexpr std::uint32_t kMostNestedSequences = 64;

// Names an item or a transition of one sequence for as long as it is there. 0 names nothing.
using ItemID = std::uint64_t;

enum class EditStatus
{
    kOK,
    kNoSuchTrack,
    kNoSuchItem, // nor such a transition, nor effect, nor parameter
    kBadTime,    // no duration, beyond the ends of the time axis, a speed that is no number
    kOverlap,    // with another item of the track, or with another transition
    kCycle,      // the sequence would show itself
    kTooDeep,    // too many sequences inside each other
    kForeign,    // a nested sequence of another host
};
const char* ToText(EditStatus inStatus);

struct SequenceSettings
{
    std::string mName; // UTF-8
    TVK::Rect mFrameRect{0, 0, 1920, 1080};
    norviktypes::PixelAspectRatio mPixelAspectRatio;
    norviktypes::FieldType mFieldType = norviktypes::kFieldType_Progressive;
    norviktypes::FrameRate mFrameRate = norviktypes::FrameRate::FromRational(25, 1);
    bool mAllowsLinearCompositing = true;
    bool mIsMulticamSource = false;

    friend bool operator==(const SequenceSettings&, const SequenceSettings&) = default;
};

struct TransitionItem
{
    norviktypes::TickTime mCut;
    norviktypes::TickTime mInOffset;  // how long before the cut it begins
    norviktypes::TickTime mOutOffset; // how long behind the cut it ends
    ML::IVideoTransitionRef mTransition;
    bool mIsEnabled = true; // one that is not is a cut
};

struct SequenceChange
{
    MF::TimeRange mRange;       // kTime_Min to kTime_Max where all of it did
    bool mIsOfSettings = false; // size, rate and the like, or the number of tracks
};

class Sequence;
using SequenceRef = TVK::InterfaceRef<Sequence>;
class SequenceState;

// A face by which this host knows its own sequences and snapshots of them.
class ISequenceOfHost : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID{"E0B7E0C4-5B46-4C3E-93E4-0B9C6B3F2D68"};

    // Null once the sequence is gone.
    virtual std::shared_ptr<SequenceState> GetState() const = 0;
};
using ISequenceOfHostRef = TVK::InterfaceRef<ISequenceOfHost>;

class Sequence final
    : public TVK::ImplementsWeak<Sequence, BE::ISequence, BE::ITrackList, BE::ITimeBase, ISequenceOfHost>
{
public:
    // Without tracks. Contract: a rate on which frames can be counted and a rectangle that is not empty.
    static SequenceRef Create(const SequenceSettings& inSettings);
    // The sequence behind one of its faces or snapshots; empty for one of another host and for one that is gone.
    static SequenceRef FromInterface(const TVK::TVKUnknownRef& inSequence);

    // All faces of the sequence as it stands.
    BE::ISequenceRef Snapshot() const;
    SequenceSettings GetSettings() const;

    // --- editing ---------------------------------------------------------------------------------------------

    // Contract as Create.
    void SetSettings(const SequenceSettings& inSettings);

    // On top of the others; gives its index, counted from the bottom.
    std::size_t AddTrack();
    EditStatus InsertTrack(std::size_t inIndex);
    EditStatus RemoveTrack(std::size_t inIndex);
    EditStatus SetTrackEnabled(std::size_t inIndex, bool inIsEnabled);
    std::size_t GetTrackCount() const;

    // Contract: none of its effects is empty; of SetItem too.
    EditStatus AddItem(std::size_t inTrack, ClipItem inItem, ItemID* outID = nullptr);
    EditStatus RemoveItem(ItemID inID);
    // To another time, and to the same or another track. Transitions at its ends stay behind and are removed.
    EditStatus MoveItem(ItemID inID, std::size_t inTrack, const norviktypes::TickTime& inStart);
    // Gives it other ends. What is shown stays where it was on the track, as far as it stays.
    EditStatus TrimItem(ItemID inID, const norviktypes::TickTime& inStart,
                        const norviktypes::TickTime& inEnd);
    // The item ends at inTime, and a new one with the same content begins there. The transition at its end goes
    // with the new one. Keyframes of both stay where they are in the media.
    EditStatus SplitItem(ItemID inID, const norviktypes::TickTime& inTime, ItemID* outSecond = nullptr);
    // Moves all items of the track that start at inFrom or later, with the transitions between them, by inDistance.
    EditStatus ShiftItems(std::size_t inTrack, const norviktypes::TickTime& inFrom,
                          const norviktypes::TickTime& inDistance);

    // Everything about the item, its place on the track included.
    EditStatus SetItem(ItemID inID, ClipItem inItem);
    // SetItem with what inChange makes of it.
    EditStatus ChangeItem(ItemID inID, const std::function<void(ClipItem&)>& inChange);
    EditStatus SetItemEnabled(ItemID inID, bool inIsEnabled);
    EditStatus SetSpeed(ItemID inID, double inSpeed);
    EditStatus SetTimeRemap(ItemID inID, std::vector<ParameterKey> inKeys);
    // nullopt ends the hold.
    EditStatus SetFrameHold(ItemID inID, std::optional<norviktypes::TickTime> inMediaTime,
                            bool inHoldsEffects);
    // Before the effect inPlace of the list; behind all of them for a place beyond.
    EditStatus AddEffect(ItemID inID, const BE::IEffectRef& inEffect, std::size_t inPlace = 0);
    EditStatus RemoveEffect(ItemID inID, std::size_t inPlace);
    EditStatus SetEffectEnabled(ItemID inID, std::size_t inPlace, bool inIsEnabled);
    EditStatus SetEffectParameter(ItemID inID, std::size_t inPlace, std::size_t inParameter,
                                  const MF::IKeyframedParameterRef& inValue);

    // At the cut inTransition.mCut, where an item ends, or begins, or both: with one item only it is a fade. The
    // part on the side of an item is no longer than the item, and leaves its other transition alone.
    EditStatus AddTransition(std::size_t inTrack, const TransitionItem& inTransition,
                             ItemID* outID = nullptr);
    EditStatus RemoveTransition(ItemID inID);
    EditStatus SetTransitionEnabled(ItemID inID, bool inIsEnabled);

    // --- looking -----------------------------------------------------------------------------------------------

    // False for an id that is not there.
    bool GetItem(ItemID inID, ClipItem& outItem) const;
    bool GetTransition(ItemID inID, TransitionItem& outTransition) const;
    // 0 where nothing plays or there is no such track.
    ItemID FindItem(std::size_t inTrack, const norviktypes::TickTime& inTime) const;
    // In time order.
    std::vector<ItemID> GetItems(std::size_t inTrack) const;
    std::size_t GetItemTrack(ItemID inID) const; // the number of tracks for an id that is not there
    // 1 for a sequence that shows no other.
    std::uint32_t GetDepth() const;

    // --- previews ----------------------------------------------------------------------------------------------

    // inStream was rendered from what plays from inTime on, to the end of that segment of the cutlist or of the
    // stream, and is shown in its place from now on, wherever it plays. It is passed over once that has changed,
    // and back when the change is taken back. False where nothing plays. Contract: a stream.
    bool AddPreview(const norviktypes::TickTime& inTime, const BE::IPreviewStreamRef& inStream);
    void RemovePreviews();

    // --- being told --------------------------------------------------------------------------------------------

    using Observer = std::function<void(const SequenceChange&)>;
    // Gives a number for RemoveObserver. Contract: not empty.
    std::uint64_t AddObserver(Observer inObserver);
    void RemoveObserver(std::uint64_t inNumber);

    // --- faces -------------------------------------------------------------------------------------------------

    TVK::Rect GetFrameRect() const override;
    norviktypes::PixelAspectRatio GetPixelAspectRatio() const override;
    norviktypes::FieldType GetFieldType() const override;
    bool AllowsLinearCompositing() const override;
    bool IsMulticamSource() const override;
    norviktypes::TickTime GetDuration() const override;
    // The first cutlist shows previews where there are any, the second never does; the third has the clips of
    // nested sequences replaced by what these show.
    MF::IRenderableCutlistProviderRef GetCutlistProvider() const override;
    MF::IRenderableCutlistProviderRef GetTrackCutlistProvider(std::uint64_t inTrack) const override;
    std::uint32_t GetVideoTrackCount() const override;
    TVK::TVKUnknownRef GetVideoTrack(std::uint32_t inIndex) const override;
    norviktypes::FrameRate GetFrameRate() const override;
    std::shared_ptr<SequenceState> GetState() const override { return mState; }

private:
    explicit Sequence(const SequenceSettings& inSettings);
    ~Sequence() override;

    const std::shared_ptr<SequenceState> mState;
};

} // namespace Project
