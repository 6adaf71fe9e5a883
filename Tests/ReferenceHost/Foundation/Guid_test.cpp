#include "norvik/utility/Guid.h"
#include "norvik/utility/Strings.h"

#include <gtest/gtest.h>

#include <algorithm>

#include <set>
#include <string>
#include <unordered_map>

namespace
{

using norvik::utility::Guid;
using norvik::utility::GuidLessSigned;
using norvik::utility::GuidLessStored;
using norvik::utility::ImmutableString;

constexpr Guid kSample("6593E8B4-4082-48a4-A816-D02043C80893");

TEST(Guid, TextIsReadAtCompileTimeInEitherCaseAndWithBraces)
{
    static_assert(kSample.mHi == 0x6593E8B4408248A4u);
    static_assert(kSample.mLo == 0xA816D02043C80893u);
    static_assert(Guid("{6593e8b4-4082-48a4-a816-d02043c80893}") == kSample);
    static_assert(Guid(u"6593E8B4-4082-48A4-A816-D02043C80893") == kSample);
    EXPECT_EQ(Guid(ImmutableString::CreateStatic("{6593E8B4-4082-48A4-A816-D02043C80893}")), kSample);
}

TEST(Guid, MalformedTextGivesZero)
{
    const char* const malformed[] = {"",
                                     "6593E8B4",
                                     "6593E8B4-4082-48a4-A816-D02043C8089",
                                     "6593E8B4-4082-48a4-A816-D02043C808933",
                                     "6593E8B4-4082-48a4-A816-D02043C8089G",
                                     "6593E8B4-4082-48a4-A816xD02043C80893",
                                     "6593E8B44-082-48a4-A816-D02043C80893",
                                     "{6593E8B4-4082-48a4-A816-D02043C80893",
                                     "6593E8B4-4082-48a4-A816-D02043C80893}",
                                     "(6593E8B4-4082-48a4-A816-D02043C80893)",
                                     " 593E8B4-4082-48a4-A816-D02043C80893"};
    for (const char* text : malformed)
    {
        EXPECT_TRUE(Guid(text).IsZero()) << text;
    }
    EXPECT_TRUE(Guid(static_cast<const char*>(nullptr)).IsZero());
}

TEST(Guid, TextComesBackInUpperCase)
{
    EXPECT_EQ(kSample.AsUTF8String(), "6593E8B4-4082-48A4-A816-D02043C80893");
    EXPECT_EQ(kSample.AsString(), u"6593E8B4-4082-48A4-A816-D02043C80893");
    EXPECT_EQ(Guid().AsUTF8String(), "00000000-0000-0000-0000-000000000000");
}

TEST(Guid, BytesStandInTextOrder)
{
    uint8_t bytes[16];
    kSample.GuidToBytes(bytes);
    const uint8_t expected[16] = {0x65, 0x93, 0xE8, 0xB4, 0x40, 0x82, 0x48, 0xA4,
                                  0xA8, 0x16, 0xD0, 0x20, 0x43, 0xC8, 0x08, 0x93};
    EXPECT_TRUE(std::equal(bytes, bytes + 16, expected));
    EXPECT_EQ(Guid::FromBytes(bytes), kSample);
}

TEST(Guid, ComponentsGoInAndOut)
{
    const uint8_t tail[8] = {0xA8, 0x16, 0xD0, 0x20, 0x43, 0xC8, 0x08, 0x93};
    EXPECT_EQ(Guid(0x6593E8B4u, 0x4082, 0x48A4, tail), kSample);
    uint32_t first = 0;
    uint16_t second = 0;
    uint16_t third = 0;
    uint8_t rest[8] = {};
    kSample.GuidToComponents(first, second, third, rest);
    EXPECT_EQ(first, 0x6593E8B4u);
    EXPECT_EQ(second, 0x4082);
    EXPECT_EQ(third, 0x48A4);
    EXPECT_TRUE(std::equal(rest, rest + 8, tail));
}

TEST(Guid, UniqueOnesAreRandomVersionFourAndDiffer)
{
    std::set<Guid, GuidLessStored> seen;
    uint64_t everSet[2] = {0, 0};
    for (int index = 0; index < 1000; ++index)
    {
        const Guid guid = Guid::CreateUnique();
        EXPECT_EQ(guid.mHi >> 12 & 0xF, 4u);
        EXPECT_EQ(guid.mLo >> 62, 2u);
        everSet[0] |= guid.mHi;
        everSet[1] |= guid.mLo;
        seen.insert(guid);
    }
    EXPECT_EQ(seen.size(), 1000u);
    EXPECT_EQ(everSet[0], 0xFFFFFFFFFFFF4FFFu);
    EXPECT_EQ(everSet[1], 0xBFFFFFFFFFFFFFFFu);
}

TEST(Guid, StoredOrderIsUnsignedAndSignedOrderSigned)
{
    const Guid low(1, 0);
    const Guid high(0x8000000000000000u, 0);
    EXPECT_TRUE(GuidLessStored()(low, high));
    EXPECT_TRUE(GuidLessSigned()(high, low));
    const Guid tieLow(1, 1);
    const Guid tieHigh(1, 0x8000000000000000u);
    EXPECT_TRUE(GuidLessStored()(tieLow, tieHigh));
    EXPECT_TRUE(GuidLessSigned()(tieHigh, tieLow));
    EXPECT_FALSE(GuidLessStored()(low, low));
    EXPECT_FALSE(GuidLessSigned()(low, low));
}

TEST(Guid, IsAKeyOfUnorderedMaps)
{
    std::unordered_map<Guid, int> map;
    for (uint64_t index = 0; index < 100; ++index)
    {
        map[Guid(index, 0)] = 1;
        map[Guid(0, index)] = 2;
    }
    EXPECT_EQ(map.size(), 199u);
    EXPECT_EQ(map[Guid(0, 7)], 2);
}

} // namespace
