#pragma once

#include "ReferenceHost/Project/ClipItem.h"

// The media times of a timeline's items.
//
// Thread-safety: safe.
namespace Session
{

// The media time of an item's picture at a time of its sequence, in the part that may be shown.
norviktypes::TickTime MediaTimeOf(const Project::ClipItem& inItem, const norviktypes::TickTime& inTime,
                                  const norviktypes::FrameRate& inSequenceRate);

} // namespace Session
