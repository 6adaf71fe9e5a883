// How the time of a retimed clip finds its frame: a curve where the clip is remapped, the millionth of a frame
// that makes up for rounded products, and the ends of what may be shown.
//
// Thread-safety: safe.
#pragma once

#include "BE/Effects.h"
#include "MF/TimeRange.h"
#include "norviktypes/FrameRate.h"

#include <optional>

namespace Project
{

// What is added to a time before its frame is looked for: a millionth of a frame.
norviktypes::TickTime NudgeOf(const norviktypes::FrameRate& inRate);

// inTime held within the frames of inAvailable, where it is set and holds any time.
norviktypes::TickTime Held(const norviktypes::TickTime& inTime,
                           const std::optional<MF::TimeRange>& inAvailable);

// inCurve: media time in seconds over media time at plain speed; may be empty.
BE::ITimeRemapParameterRef CreateTimeRemap(const MF::IKeyframedParameterRef& inCurve,
                                           const norviktypes::FrameRate& inRate,
                                           const std::optional<MF::TimeRange>& inAvailable);

} // namespace Project
