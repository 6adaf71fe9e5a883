// Where the frames of a film lie in the video that was made of it.
//
// Thread-safety: pure functions.
#pragma once

#include "norviktypes/PulldownCadence.h"
#include "norviktypes/TickTime.h"

namespace norviktypes
{

// The rate of the film in video of this rate: four fifths of it. A rate on which no frames can be counted
// stays.
constexpr FrameRate FilmRateOfPulldown(const FrameRate& inVideoRate) noexcept
{
    return inVideoRate.IsCountable() ? inVideoRate * 4 / 5 : inVideoRate;
}

// The start of the video frame that holds the film frame at inTime. outNeedsMerge: only one of the film
// frame's fields is in that frame, the other one is in the video frame before it.
//
// With n the number of the film frame, n = 4 g + k, 0 <= k < 4, and s from 0 to 4 the video frame of the
// pattern that the stream begins with, the answer is video frame 5 g + v:
//
//   x = (3 - s) mod 5     2:3; for 2:3:3:2 x = (2 - s) mod 5: the video frame at which no film frame begins
//                         that could be got out
//   q = k, or k + 1 where k >= x
//   v = q + 1, merged, where (q + s) mod 5 = 2 in 2:3; else v = q, not merged
//
//   first video frame    AA           BB           BC           CD           DD
//   v of 2:3             0 1 2+3 4    0 1+2 3 4    0+1 2 3 4    1 2 3 4+5    0 1 2 3+4
//   v of 2:3:3:2         0 1 3 4      0 2 3 4      1 2 3 4      0 1 2 3      0 1 2 4
//
// A stream that begins within a film frame (CD) begins with the next one, as half of a picture is none.
// Without a cadence, or with a rate on which no frames can be counted, time is only aligned to the video's
// frames.
TickTime MapPulldownFrameTo2997Frame(const TickTime& inTime, const FrameRate& inVideoRate,
                                     PulldownCadence inCadence, bool& outNeedsMerge) noexcept;

} // namespace norviktypes
