#include "MF/Conversions.h"

namespace MF
{

std::int32_t BEToSDKAlphaType(norviktypes::AlphaChannel inAlpha,
                              const TVK::ParamColor<unsigned long>& inMatte)
{
    switch (inAlpha)
    {
    case norviktypes::kAlphaChannel_Straight: return 1;
    case norviktypes::kAlphaChannel_Premultiplied: return inMatte.RGB() == 0 ? 2 : 3;
    case norviktypes::kAlphaChannel_Opaque: return 4;
    case norviktypes::kAlphaChannel_None:
    case norviktypes::kAlphaChannel_Any: break;
    }
    return 0;
}

norviktypes::FieldType SDKToBEFieldType(std::int32_t inFieldType)
{
    const bool isKnown =
        inFieldType >= norviktypes::kFieldType_Invalid && inFieldType <= norviktypes::kFieldType_FromSource;
    return isKnown ? static_cast<norviktypes::FieldType>(inFieldType) : norviktypes::kFieldType_Progressive;
}

std::int32_t NorvikToSDKPulldownCadence(norviktypes::PulldownCadence inCadence)
{
    const bool isKnown =
        inCadence >= norviktypes::kPulldownCadence_None && inCadence <= norviktypes::kPulldownCadence_WWWSW;
    return isKnown ? static_cast<std::int32_t>(inCadence) : 0;
}

} // namespace MF
