// What a filter or transition is told of the render that it takes part in.
//
// Thread-safety: a value.
#pragma once

#include "TVK/ParamTypes.h"
#include "norvik/utility/Strings.h"
#include "norviktypes/PixelAspectRatio.h"
#include "norviktypes/TickTime.h"

#include <cstdint>

namespace ML
{

struct EffectRenderInfo
{
    TVK::Rect bounds; // of the output, in its pixels
    std::int32_t fieldType = -1;
    std::uint32_t quality = 4;
    norviktypes::PixelAspectRatio pixelAspectRatio;
    std::uint8_t isUnset = 1;      // nothing of this record was filled in
    float downsampleFactor = 1.0f; // size of the output over full size
    norviktypes::TickTime renderTime = norviktypes::kTime_Zero;
    norviktypes::TickTime timeOffset = norviktypes::kTime_Zero;
    norvik::utility::ImmutableString streamLabel;
};

} // namespace ML
