#include "ReferenceHost/Session/ItemTimes.h"

#include <algorithm>

namespace Session
{

using norviktypes::TickTime;

TickTime MediaTimeOf(const Project::ClipItem& inItem, const TickTime& inTime,
                     const norviktypes::FrameRate& inSequenceRate)
{
    // What stands still has effects that go on moving, on an axis that does.
    TickTime time = inItem.mHoldTime ? *inItem.mHoldTime
                    : inItem.mSpeed == 0.0
                        ? inItem.mInPoint
                        : Project::ToMediaTime(inItem, inTime - inItem.mStart, inSequenceRate);
    if (inItem.mAvailable)
    {
        time = std::clamp(time, inItem.mAvailable->mStart,
                          std::max(inItem.mAvailable->mStart, inItem.mAvailable->mEnd - TickTime(1)));
    }
    return time;
}

} // namespace Session
