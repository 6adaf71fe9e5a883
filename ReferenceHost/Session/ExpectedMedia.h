#pragma once

#include "MF/TimeRange.h"
#include "ReferenceHost/Project/Sequence.h"

#include <vector>

namespace Session
{

// Tells all media of a sequence, and of those nested in it, which of their frames are shown at inTimes, which
// lie on the axis of the sequence. Media that show nothing there are told that nobody knows.
//
// It may tell a little too much: where frames are blended, retimed or taken apart into fields it takes in
// some neighbours, and all of a medium where time is remapped.
//
// Thread-safety: safe, while nobody edits the sequences.
void ExpectMedia(const Project::SequenceRef& inSequence, std::vector<MF::TimeRange> inTimes);

} // namespace Session
