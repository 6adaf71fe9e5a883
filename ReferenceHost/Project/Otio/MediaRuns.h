// Which frame of its media an item shows.
//
// Thread-safety: pure functions.
#pragma once

#include "ReferenceHost/Project/Otio/Timeline.h"

#include <cstdint>

namespace Otio
{

// How much is added before a frame is cut off to a whole number: products of speeds fall short of a frame by
// their last bits.
inline constexpr double kFrameMargin = 1e-6;

// The media time at the start of an item of inDuration on a grid of inSequenceRate.
norviktypes::TickTime FirstMediaTime(const MediaRun& inRun, const norviktypes::TickTime& inDuration,
                                     const norviktypes::FrameRate& inSequenceRate);

// The number of the frame, on the grid of the media, that an item shows at inTime since its start; times
// outside of the item go on alike. inRun needs a grid.
std::int64_t MediaFrameAt(const MediaRun& inRun, const norviktypes::TickTime& inDuration,
                          const norviktypes::FrameRate& inSequenceRate, const norviktypes::TickTime& inTime);

// The lowest media time that an item uses, and the end of the highest frame that it uses, when inLead is shown
// before its start and inTail behind its end.
AvailableMedia UsedMedia(const MediaRun& inRun, const norviktypes::TickTime& inDuration,
                         const norviktypes::FrameRate& inSequenceRate, const norviktypes::TickTime& inLead,
                         const norviktypes::TickTime& inTail);

}
