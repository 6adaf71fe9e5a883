// The rhythm in which film frames lie in video frames, by what the first five video frames of a stream are:
// W holds one film frame whole, S is split between two.
//
// In 2:3 pulldown the film frames A B C D become the video frames AA BB BC CD DD: two fields, three, two,
// three. In 2:3:3:2 pulldown they become AA BB BC CC DD, so that every film frame is whole in some video
// frame. A stream may begin at any of the five.
#pragma once

#include <cstdint>

namespace norviktypes
{

enum PulldownCadence : std::int32_t
{
    kPulldownCadence_None = 0,
    // 2:3, beginning with AA, BB, BC, CD and DD.
    kPulldownCadence_WWSSW = 1,
    kPulldownCadence_WSSWW = 2,
    kPulldownCadence_SSWWW = 3,
    kPulldownCadence_SWWWS = 4,
    kPulldownCadence_WWWSS = 5,
    // 2:3:3:2, beginning with AA, BB, BC, CC and DD.
    kPulldownCadence_WWSWW = 6,
    kPulldownCadence_WSWWW = 7,
    kPulldownCadence_SWWWW = 8,
    kPulldownCadence_WWWWS = 9,
    kPulldownCadence_WWWSW = 10,
};

} // namespace norviktypes
