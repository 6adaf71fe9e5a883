// How the alpha of a frame is to be read.
#pragma once

#include <cstdint>

namespace norviktypes
{

enum AlphaChannel : std::int32_t
{
    kAlphaChannel_None = 0,
    kAlphaChannel_Straight = 1,
    kAlphaChannel_Premultiplied = 2,
    // A fourth component is there, and every pixel counts as opaque.
    kAlphaChannel_Opaque = 3,
    // In a request: whatever the stream delivers.
    kAlphaChannel_Any = 4,
};

} // namespace norviktypes
