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

    // One master clip for each media instance: the same object for the same text. The name is that of the first
    // call.
    BE::IMasterClipRef GetMasterClip(std::string_view inName, std::string_view inMediaInstance);

private:
    std::vector<SequenceRef> mSequences;
    SequenceRef mMainSequence;
    std::map<std::string, BE::IMasterClipRef, std::less<>> mMasterClips;
};

} // namespace Project
