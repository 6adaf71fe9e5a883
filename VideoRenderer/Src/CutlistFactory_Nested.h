// Nested sequences taken apart: their items in place of the clip that shows them.
//
// What comes of it tells which media are seen when. How the nested sequence's own size and grid change the
// pictures it does not tell.
//
// Thread-safety: called where the project may be read.
#pragma once

#include "CutlistFactory_Tracks.h"

#include <cstdint>
#include <vector>

namespace ML
{

// Sequences within sequences, and no deeper.
inline constexpr std::uint32_t kMostNestedSequences = 64;

// The sequences that are being taken apart around one that may be next, innermost first.
struct SequencesAround
{
    const TVK::TVKUnknownRef& mSequence;
    const SequencesAround* mOuter;
};

// inTracks, built for inContext, with each clip of a sequence replaced by what the sequence shows there, at all
// depths. A track becomes as many as its clips need, all of them with its index. A clip whose time does not run
// as the sequence's does, and one with effects over the whole of its picture, cannot be taken apart and stays; so
// does one of a sequence within itself.
std::vector<TrackItemList> ExpandNestedSequences(const TrackContext& inContext,
                                                 const std::vector<TrackItemList>& inTracks,
                                                 const SequencesAround* inAround = nullptr);

} // namespace ML
