// How long objects of a document last. Inner header of this folder.
//
// Thread-safety: belongs to one thread at a time.
#pragma once

#include "ReferenceHost/Project/Otio/MediaTable.h"
#include "ReferenceHost/Project/Otio/Schema.h"

#include <unordered_map>

namespace Otio
{

// The offset of a leading transition, which moves the first item of a track to a later time; 0 without one.
norviktypes::TickTime LeadingOffset(const Composable& inTrack);

class Ranges
{
public:
    Ranges(const PathTable& inPaths, MediaTable& inMedia, ProblemList& inProblems)
        : mPaths(inPaths)
        , mMedia(inMedia)
        , mProblems(inProblems)
    {
    }

    // Of the trimmed range: the source range where there is one, else all there is. Transitions take no time.
    norviktypes::TickTime Duration(const Composable& inObject) { return DurationOf(inObject, true); }

    // Where the trimmed range starts on the object's own axis; of a clip without source range the start of
    // its available range.
    norviktypes::TickTime Start(const Composable& inObject);

    // Of all that a composition holds, its source range left aside.
    norviktypes::TickTime Available(const Composable& inComposition)
    {
        return AvailableOf(inComposition, true);
    }

private:
    // inMayLook: media may be asked; those of sound are not.
    norviktypes::TickTime DurationOf(const Composable& inObject, bool inMayLook);
    norviktypes::TickTime AvailableOf(const Composable& inComposition, bool inMayLook);
    norviktypes::TickTime ClipDuration(const Composable& inClip, bool inMayLook);
    norviktypes::TickTime Sum(const norviktypes::TickTime& inA, const norviktypes::TickTime& inB,
                              const Composable& inObject);

    const PathTable& mPaths;
    MediaTable& mMedia;
    ProblemList& mProblems;
    std::unordered_map<const Composable*, norviktypes::TickTime> mAvailable;
    std::unordered_map<const Composable*, norviktypes::TickTime> mClips;
};

}
