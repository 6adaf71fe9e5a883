#include "ReferenceHost/Project/SequenceMessages.h"

#include "TVK/Stations.h"

namespace Project
{

std::uint64_t PostChanges(const SequenceRef& inSequence, const norvik::utility::ImmutableString& inStationID)
{
    const TVK::IWeakReferenceRef weak = inSequence->GetWeakReference();
    return inSequence->AddObserver(
        [weak, inStationID](const SequenceChange& inChange)
        {
            const SequenceRef sequence = Sequence::FromInterface(weak->Resolve());
            if (sequence)
            {
                TVK::StationUtils::PostMessageToUIThread(
                    inStationID, TVK::MessageRef(new SequenceChangedMessage(sequence, inChange)), 0);
            }
        });
}

} // namespace Project
