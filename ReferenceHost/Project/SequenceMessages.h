// What a project posts to its station: that sequences have changed, and when.
//
// Observers hear of an edit on the thread that made it, before it returns. Who shows a timeline wants to hear of it on
// the thread of its user interface, where it brings its cutlist up to date:
//
//   factory->UpdateCutlistForSequence(sequence, label, range.mStart, range.mEnd, cutlist, updated);
//
// Several edits are several messages, in their order. A sequence that shows the changed one posts for itself, for the
// time of the items that do.
//
// Thread-safety: messages are immutable; the function is for the thread that edits.
#pragma once

#include "ReferenceHost/Project/Sequence.h"
#include "TVK/Message.h"

#include <cstdint>

namespace Project
{

class SequenceChangedMessage final : public TVK::MessageImpl<SequenceChangedMessage>
{
public:
    SequenceChangedMessage(const SequenceRef& inSequence, const SequenceChange& inChange)
        : mSequence(inSequence)
        , mChange(inChange)
    {
    }

    // The sequence as it stands when it is asked, with this edit and all that followed.
    const SequenceRef& GetSequence() const { return mSequence; }
    const SequenceChange& GetChange() const { return mChange; }

private:
    const SequenceRef mSequence;
    const SequenceChange mChange;
};

// Posts a message to the station after each edit from now on; gives the number by which Sequence::RemoveObserver
// ends that. Does not hold the sequence.
std::uint64_t PostChanges(const SequenceRef& inSequence, const norvik::utility::ImmutableString& inStationID);

} // namespace Project
