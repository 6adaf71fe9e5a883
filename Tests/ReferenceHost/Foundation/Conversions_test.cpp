#include "MF/Conversions.h"

#include <gtest/gtest.h>

namespace
{

using namespace norviktypes;
using Colour = TVK::ParamColor<unsigned long>;

TEST(Conversions, AlphaTypesTellTheMatteOfPremultipliedColours)
{
    EXPECT_EQ(MF::BEToSDKAlphaType(kAlphaChannel_None, {}), 0);
    EXPECT_EQ(MF::BEToSDKAlphaType(kAlphaChannel_Straight, {}), 1);
    EXPECT_EQ(MF::BEToSDKAlphaType(kAlphaChannel_Premultiplied, {}), 2);
    EXPECT_EQ(MF::BEToSDKAlphaType(kAlphaChannel_Premultiplied, Colour::FromComponents(0, 0, 0, 255)), 2);
    EXPECT_EQ(MF::BEToSDKAlphaType(kAlphaChannel_Premultiplied, Colour::FromComponents(0, 0, 1, 0)), 3);
    EXPECT_EQ(MF::BEToSDKAlphaType(kAlphaChannel_Opaque, {}), 4);
    EXPECT_EQ(MF::BEToSDKAlphaType(kAlphaChannel_Any, {}), 0);
}

TEST(Conversions, FieldTypesKeepTheirNumbers)
{
    for (const FieldType type : {kFieldType_Invalid, kFieldType_Progressive, kFieldType_UpperFirst,
                                 kFieldType_LowerFirst, kFieldType_Unknown, kFieldType_FromSource})
    {
        EXPECT_EQ(MF::SDKToBEFieldType(static_cast<std::int32_t>(type)), type);
    }
    EXPECT_EQ(MF::SDKToBEFieldType(5), kFieldType_Progressive);
    EXPECT_EQ(MF::SDKToBEFieldType(-2), kFieldType_Progressive);
}

TEST(Conversions, CadencesKeepTheirNumbers)
{
    for (std::int32_t cadence = 0; cadence <= 10; ++cadence)
    {
        EXPECT_EQ(MF::NorvikToSDKPulldownCadence(static_cast<PulldownCadence>(cadence)), cadence);
    }
    EXPECT_EQ(MF::NorvikToSDKPulldownCadence(static_cast<PulldownCadence>(11)), 0);
}

} // namespace
