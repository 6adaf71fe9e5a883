// The tracks that effects look at: what plays on one of them for a while.
//
// A track comes from its provider, which makes and keeps it as a track by itself. By itself it has no other tracks
// around it: effects on it that look at tracks would see none. So where there are any, what plays while it is
// looked at is built anew among the tracks of the sequence, and effects there look no further than that while.
//
// Looks go from track to track. One that comes back to a track that is being looked at, or whose effect looks, ends
// there and shows nothing. Each level sees what the one before it shows then, so that there are never more levels
// than tracks. Levels are built and rendered one inside the other, for which a thread's stack has only so much room:
// beyond kMostLevels they show nothing. Many effects on each item could still lead to more looks than anybody can wait
// for. So of the looks that begin with one effect those that are more than a matte of a matte are counted, and beyond
// kMostDeepLooks they show nothing, too.
//
// Thread-safety: called where the project may be read; looks are known to the thread that makes them.
#pragma once

#include "MF/IRenderableCutlist.h"
#include "MF/KeyframedParameter.h"
#include "MF/TimeRange.h"
#include "TVK/InterfaceRef.h"

#include <cstdint>

namespace ML
{

// Of looks within looks in one sequence; as many as hosts nest sequences.
inline constexpr int kMostLevels = 64;

// A look costs some 30 microseconds, and every effect of a timeline may begin as many.
inline constexpr std::uint32_t kMostDeepLooks = 1000;

// The value of a layer parameter, by which it points to one track at all times; kLayer_NotSet also where it
// has none.
std::uint32_t LayerValueOf(const MF::IKeyframedParameter& inParameter);

// Keeps looks away from a track during its life.
class TrackUse
{
public:
    TrackUse(const TVK::TVKUnknownRef& inSequence, std::uint64_t inTrack, const MF::TimeRange& inSpan);
    ~TrackUse();
    TrackUse(const TrackUse&) = delete;
    TrackUse& operator=(const TrackUse&) = delete;
};

// inSpan, cut to the time in which the innermost look at a track of inSequence sees anything.
MF::TimeRange LookedAtWithin(const TVK::TVKUnknownRef& inSequence, const MF::TimeRange& inSpan);

// The track's segments within inSpan and nothing else, on the axis of the sequence. Never empty.
MF::IRenderableCutlistRef CaptureTrack(const TVK::TVKUnknownRef& inSequence, std::uint64_t inTrack,
                                       const MF::TimeRange& inSpan);

} // namespace ML
