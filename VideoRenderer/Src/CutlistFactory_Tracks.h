// From the tracks of a project to lists of what is seen on them, with a node for each.
//
// A clip is seen in its item's range, as far as its media reaches. A transition is seen in place of the two
// clips that it stands between, and has nodes of its own for them where they can be shown beyond their ends.
// All times are brought to the grid of the sequence: starts down, ends up, so that an item that shares a frame
// with its neighbour gives way to the earlier one. Media time is not moved by that: at any time t an item shows
// what it shows at t less its true start.
//
// The same item gives the same record whatever range is asked for; a range only leaves out what is not seen
// in it.
//
// Thread-safety: called where the project may be read.
#pragma once

#include "BE/ISequence.h"
#include "CutlistFactory_Stacks.h"

#include <cstdint>
#include <vector>

namespace ML
{

// What the items of one track are built for.
struct TrackContext
{
    norviktypes::FrameRate mFrameRate;
    TVK::TVKUnknownRef mSequence; // empty for a track by itself
    norvik::utility::ImmutableString mStreamLabel;
    bool mTrackIsMuted = false;
    std::uint64_t mTrackIndex = 0;
    MF::TimeRange mRange = kAllTimes;
    bool mHasEffects = true; // false: clips are built without theirs
};

// The grid of a sequence or track; of a single tick where the object tells none that frames can be counted on.
norviktypes::FrameRate FrameRateOf(const TVK::TVKUnknownRef& inObject);

// The clips that may be seen in inRange, in order: those that lie in it, and the next one on either side, which a
// transition may bring into it. Where the range ends in a gap, that is the next one across the gap.
std::vector<BE::ITrackItemRef> FindTrackItems(const BE::ITrackRef& inTrack, const MF::TimeRange& inRange);

// What is seen on the track within the context's range. Nothing of a track that is disabled.
TrackItemList BuildTrackItems(const TrackContext& inContext, const BE::ITrackRef& inTrack);

// One list for each video track of the context's sequence, bottom first. The first that is no track ends the
// walk, and it and those above it stay empty.
std::vector<TrackItemList> BuildSequenceTrackLists(TrackContext inContext);

// One item by itself, its transitions left out of account.
//
// inExtended: the record of a clip that a transition shows beyond the item's ends.
TrackItemRecord BuildItemNode(const TrackContext& inContext, const BE::ITrackItemRef& inItem,
                              bool inExtended);

// A cutlist of one list; each segment shows an item's node as it is.
MF::IRenderableCutlistRef BuildTrackCutlist(const TrackItemList& inItems,
                                            const norvik::utility::ImmutableString& inStreamLabel,
                                            const MF::TimeRange& inRange);

} // namespace ML
