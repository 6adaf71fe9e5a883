// Qualities of a render, compared by size: below Medium blending is skipped, Max works in
// linear light on 32-bit floats.
#pragma once

#include <cstdint>

namespace norviktypes
{

enum RenderQuality : std::int32_t
{
    kRenderQuality_Invalid = -1,
    kRenderQuality_Draft = 1,
    kRenderQuality_Low = 2,
    kRenderQuality_Medium = 3,
    kRenderQuality_High = 4,
    kRenderQuality_Max = 5,
};

} // namespace norviktypes
