// Values of the host as properties carry them.
//
// The numbers are part of hashes that are stored, so the tables never change.
//
// Thread-safety: pure functions.
#pragma once

#include "Platform.h"
#include "TVK/ParamTypes.h"
#include "norviktypes/AlphaChannel.h"
#include "norviktypes/FieldType.h"
#include "norviktypes/PulldownCadence.h"

#include <cstdint>

namespace MF
{

// 0 none, 1 straight, 2 premultiplied with black, 3 premultiplied with another matte colour, 4 opaque.
ML_EXPORT std::int32_t BEToSDKAlphaType(norviktypes::AlphaChannel inAlpha,
                                        const TVK::ParamColor<unsigned long>& inMatte);
// Field types have the same numbers on both sides; what is none of them becomes progressive.
ML_EXPORT norviktypes::FieldType SDKToBEFieldType(std::int32_t inFieldType);
// The number of the cadence; 0 for what is none.
ML_EXPORT std::int32_t NorvikToSDKPulldownCadence(norviktypes::PulldownCadence inCadence);

} // namespace MF
