// The arithmetic of a clip's media times, which ClipItem tells in words.
//
// Thread-safety: pure functions; media are asked for their rate.
#pragma once

#include "ReferenceHost/Project/ClipItem.h"

namespace Project
{

// The grid of what the item shows; inSequenceRate where nobody knows.
norviktypes::FrameRate MediaRateOf(const ClipItem& inItem, const norviktypes::FrameRate& inSequenceRate);

// The media time of the item's first frame.
norviktypes::TickTime FirstMediaTime(const ClipItem& inItem, const norviktypes::FrameRate& inSequenceRate,
                                     const norviktypes::FrameRate& inMediaRate);

} // namespace Project
