#pragma once

#include "Applications/vrender/TimeExpression.h"

#include <cstdint>
#include <string>
#include <vector>

// Which frames thumbnails and contact sheets show.
//
// Thread-safety: safe, pure function.
namespace vrender
{

// Numbers of frames of inRange. inEvery (frames, or seconds as in 10s) sets the distance, beginning
// with the first frame; otherwise inCount of them are spread evenly, each in the middle of its share, so
// that neither the black of a beginning nor that of an end stands for a film. Never more than the range has.
std::vector<std::int64_t> SelectFrames(const FrameRange& inRange, const Timeline& inTimeline,
                                       const std::string& inEvery, std::int64_t inCount);

// The frames of inRange that are shown at inTimes, each once and in order.
std::vector<std::int64_t> FramesAt(const FrameRange& inRange, const Timeline& inTimeline,
                                   const std::vector<norviktypes::TickTime>& inTimes);

} // namespace vrender
