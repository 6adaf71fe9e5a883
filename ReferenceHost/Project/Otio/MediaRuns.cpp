#include "ReferenceHost/Project/Otio/MediaRuns.h"

#include "ReferenceHost/Project/Otio/TimeValues.h"

#include <algorithm>
#include <cmath>

namespace Otio
{

using norviktypes::FrameRate;
using norviktypes::kTime_Zero;
using norviktypes::TickTime;

namespace
{

// From the start of the item to the start of its last frame.
TickTime LastFrame(const TickTime& inDuration, const FrameRate& inSequenceRate)
{
    const std::int64_t frames = CountFrames(inDuration, inSequenceRate);
    return frames > 0 ? TickTime::FromFrame(frames - 1, inSequenceRate) : kTime_Zero;
}

TickTime MediaTimeAt(const MediaRun& inRun, const TickTime& inFirst, const TickTime& inTime)
{
    return inFirst + Scaled(inTime, inRun.mSpeed);
}

}

TickTime FirstMediaTime(const MediaRun& inRun, const TickTime& inDuration, const FrameRate& inSequenceRate)
{
    if (inRun.mSpeed >= 0.0)
    {
        return inRun.mIn;
    }
    const TickTime way = Scaled(LastFrame(inDuration, inSequenceRate), -inRun.mSpeed);
    if (!inRun.mRate.IsCountable())
    {
        return inRun.mIn + way;
    }
    const double frames = static_cast<double>(way.GetTicks()) / static_cast<double>(inRun.mRate.GetTicks());
    return inRun.mIn +
           TickTime::FromFrame(static_cast<std::int64_t>(std::ceil(frames - kFrameMargin)), inRun.mRate);
}

std::int64_t MediaFrameAt(const MediaRun& inRun, const TickTime& inDuration, const FrameRate& inSequenceRate,
                          const TickTime& inTime)
{
    const TickTime first = FirstMediaTime(inRun, inDuration, inSequenceRate);
    TickTime time = MediaTimeAt(inRun, first, inTime);
    if (inRun.mSpeed != 1.0)
    {
        time += TickTime(std::llround(kFrameMargin * static_cast<double>(inRun.mRate.GetTicks())));
    }
    const std::int64_t frame = time.ToFrame64(inRun.mRate);
    if (!inRun.mAvailable)
    {
        return frame;
    }
    const std::int64_t lowest = inRun.mAvailable->mStart.ToFrame64(inRun.mRate);
    const std::int64_t highest = (inRun.mAvailable->mEnd - TickTime(1)).ToFrame64(inRun.mRate);
    return std::clamp(frame, lowest, std::max(lowest, highest));
}

AvailableMedia UsedMedia(const MediaRun& inRun, const TickTime& inDuration, const FrameRate& inSequenceRate,
                         const TickTime& inLead, const TickTime& inTail)
{
    const TickTime first = FirstMediaTime(inRun, inDuration, inSequenceRate);
    const TickTime last = LastFrame(inDuration + inTail, inSequenceRate);
    const TickTime a = MediaTimeAt(inRun, first, -inLead);
    const TickTime b = MediaTimeAt(inRun, first, last);
    // The frame shown last is needed whole where the media is played frame for frame.
    const TickTime end =
        inRun.mSpeed == 1.0 ? MediaTimeAt(inRun, first, inDuration + inTail) : std::max(a, b) + TickTime(1);
    return {std::min(a, b), std::max(end, std::max(a, b))};
}

}
