// Where the children of a track lie, and how far transitions reach. Inner header of this folder.
//
// Thread-safety: belongs to one thread at a time.
#pragma once

#include "ReferenceHost/Project/Otio/Ranges.h"

#include <vector>

namespace Otio
{

// A child that takes time.
struct Slot
{
    const Composable* mObject = nullptr;
    norviktypes::TickTime mStart;
    norviktypes::TickTime mDuration;
    bool mIsShown = false;        // has a picture: a gap, a disabled item and one without duration have none
    norviktypes::TickTime mLead;  // shown before its start, by the transition there
    norviktypes::TickTime mTail;  // shown behind its end
    norviktypes::TickTime mTaken; // of its beginning, by the transition there
    norviktypes::TickTime mGiven; // of its end, to the transition there
};

struct Cut
{
    const Composable* mTransition = nullptr;
    std::size_t mEarlier = kNone; // slots
    std::size_t mLater = kNone;
    norviktypes::TickTime mTime;
    norviktypes::TickTime mInOffset;
    norviktypes::TickTime mOutOffset;
};

struct TrackLayout
{
    std::vector<Slot> mSlots;
    std::vector<Cut> mCuts; // transitions that are to be seen
};

// Transitions that reach too far, or stand where none can be, are mended, each with a problem.
TrackLayout LayOutTrack(const Composable& inTrack, Ranges& inRanges, const PathTable& inPaths,
                        ProblemList& ioProblems);

// A single object, as a track of its own.
TrackLayout LayOutObject(const Composable& inObject, Ranges& inRanges);

}
