// The sequences and master clips of one piece of work.
//
// Thread-safety: belongs to the thread that edits; what it hands out is safe as told in its own headers.
#pragma once

#include "ReferenceHost/Project/MasterClip.h"
#include "ReferenceHost/Project/Sequence.h"

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace Project
{

class ProjectModel
{
public:
    // The first one is the main one until another is chosen.
    SequenceRef AddSequence(const SequenceSettings& inSettings);
    const std::vector<SequenceRef>& GetSequences() const { return mSequences; }
    // By name; empty if there is none.
    SequenceRef FindSequence(std::string_view inName) const;
    SequenceRef GetMainSequence() const { return mMainSequence; }
    // Contract: one of this project.
    void SetMainSequence(const SequenceRef& inSequence);

    // Where changes of all its sequences are posted from now on, as SequenceMessages.h tells; empty ends that. Whoever
    // gives the station registers it and disposes of it.
    void SetStation(const norvik::utility::ImmutableString& inStationID);

    // One master clip for each media instance: the same object for the same text. The name is that of the first
    // call.
    BE::IMasterClipRef GetMasterClip(std::string_view inName, std::string_view inMediaInstance);

private:
    void PostChangesOf(const SequenceRef& inSequence);

    std::vector<SequenceRef> mSequences;
    norvik::utility::ImmutableString mStationID;
    std::vector<std::uint64_t> mPosters; // observers of the sequences, by place; none without a station
    SequenceRef mMainSequence;
    std::map<std::string, BE::IMasterClipRef, std::less<>> mMasterClips;
};

} // namespace Project
