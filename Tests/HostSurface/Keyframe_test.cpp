#include "MF/Keyframe.h"

#include "Tests/Support/ContractText.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace
{

using MF::ArbKeyframe;
using MF::Keyframe;
using MF::KeyframeBase;
using MF::PointKeyframe;
using norvik::utility::Guid;
using norviktypes::TickTime;

std::string HashOf(const KeyframeBase& inKeyframe)
{
    Guid hash;
    inKeyframe.HashKeyFrame(hash);
    return std::string(hash.AsUTF8String());
}

// Gives every member that is hashed a value of its own, with all bytes different from zero somewhere.
template <class K>
K Busy(K inKeyframe)
{
    inKeyframe.mTime = TickTime(123456789012345);
    inKeyframe.mInterpolationIncoming = 7;
    inKeyframe.mInterpolationOutgoing = 0x80000001u;
    inKeyframe.GetTemporalEase(MF::kfDirection_Incoming) = {1.5, -2.0};
    inKeyframe.GetTemporalEase(MF::kfDirection_Outgoing) = {0.25, 1e300};
    return inKeyframe;
}

template <class T>
Keyframe<T> BusyWith(T inValue)
{
    return Busy(Keyframe<T>(TickTime(0), inValue));
}

// Hashes pass between modules: these may never change. They were computed by a separate model of the
// arithmetic.
TEST(Keyframe, HashesNeverChange)
{
    EXPECT_EQ(HashOf(BusyWith<char>(-3)), "7B9B6159-B0FE-8EBB-A4E3-B88C0BE60850");
    EXPECT_EQ(HashOf(BusyWith<unsigned char>(200)), "973BF5E7-8FD1-FE6D-621F-B78743F4583E");
    EXPECT_EQ(HashOf(BusyWith<std::int16_t>(-300)), "0C515014-514C-FA68-ABDC-C7F51974108A");
    EXPECT_EQ(HashOf(BusyWith<std::uint16_t>(60000)), "55778ED8-8F15-D99A-4DD7-E74C6EE718A9");
    EXPECT_EQ(HashOf(BusyWith<std::int32_t>(-70000)), "2441251E-6F3A-5F4D-EE0F-B0BA974F634E");
    EXPECT_EQ(HashOf(BusyWith<std::uint32_t>(4000000000u)), "91CC02F2-FE4D-D67C-27E4-E146A3C3C86E");
    EXPECT_EQ(HashOf(BusyWith<std::int64_t>(-5000000000)), "55A09B47-2533-B35C-F854-170BBEEF5158");
    EXPECT_EQ(HashOf(BusyWith<std::uint64_t>(std::uint64_t{1} << 63)),
              "B030CD36-83E9-16F9-AF41-B377144B479B");
    EXPECT_EQ(HashOf(BusyWith<float>(0.1f)), "8971C88D-2F9C-8A98-4E53-F04B1B490485");
    EXPECT_EQ(HashOf(BusyWith<double>(0.1)), "7377892A-748F-AFB8-D24B-FC0A82F7DFE8");
    EXPECT_EQ(HashOf(BusyWith<norvik::WString>(u"Zo\u00EB\U0001D11E")),
              "026EE31B-B2BF-1E6B-F0D7-8D7BDC1DBF15");
    EXPECT_EQ(HashOf(BusyWith<bool>(true)), "470F3087-6AB1-620B-24C0-D9E6F7AD1261");
    EXPECT_EQ(HashOf(BusyWith<Guid>(Guid(0x0001020304050607u, 0x08090A0B0C0D0E0Fu))),
              "4F537904-7957-6A0D-3BFF-11BE3CC54E7B");
    PointKeyframe point = Busy(PointKeyframe(TickTime(0), {0.5, -3.25}));
    point.mInterpolationIncoming = 5;
    point.mInterpolationOutgoing = 4;
    EXPECT_EQ(HashOf(point), "892DB9F4-0728-2C3F-ABD3-4E9FA892A887");
}

TEST(Keyframe, HashIsMixedMemberByMember)
{
    const auto mix = [](TVK::HashValue& ioHash, const std::string& inBytes)
    { ioHash.Mix(inBytes.data(), inBytes.size()); };
    TVK::HashValue hash;
    mix(hash, "Keyframe::HashKeyFrame");
    EXPECT_EQ(hash.mTotal, 22u);
    mix(hash, std::string("\x03\0\0\0", 4));
    mix(hash, "\xD4\xFE"); // -300
    mix(hash, std::string("\x10\x32\x54\x76\0\0\0\0", 8));
    mix(hash, std::string("\x02\0\0\0", 4));
    mix(hash, std::string("\x03\0\0\0", 4));
    mix(hash, std::string("\0\0\0\0\0\0\xF0\x3F\0\0\0\0\0\0\0\x40", 16));   // 1.0, 2.0
    mix(hash, std::string("\0\0\0\0\0\0\xE0\x3F\0\0\0\0\0\0\xF0\xBF", 16)); // 0.5, -1.0
    Keyframe<std::int16_t> keyframe(TickTime(0x76543210), -300);
    keyframe.mInterpolationIncoming = 2;
    keyframe.mInterpolationOutgoing = 3;
    keyframe.GetTemporalEase(MF::kfDirection_Incoming) = {1.0, 2.0};
    keyframe.GetTemporalEase(MF::kfDirection_Outgoing) = {0.5, -1.0};
    EXPECT_EQ(HashOf(keyframe), std::string(hash.AsGuid().AsUTF8String()));
}

TEST(Keyframe, StartsWithoutInterpolationAndAPointWithItsOwn)
{
    const Keyframe<double> plain;
    EXPECT_EQ(plain.mTime, norviktypes::kTime_Zero);
    EXPECT_EQ(plain.mInterpolationIncoming, 0u);
    EXPECT_EQ(plain.mInterpolationOutgoing, 0u);
    EXPECT_EQ(plain.GetTemporalEase(MF::kfDirection_Incoming), MF::TemporalEase());
    const PointKeyframe point;
    EXPECT_EQ(point.mInterpolationIncoming, 5u);
    EXPECT_EQ(point.mInterpolationOutgoing, 4u);
}

TEST(Keyframe, TypesHaveTheirCodes)
{
    EXPECT_EQ(Keyframe<char>().GetValueType(), 1);
    EXPECT_EQ(Keyframe<unsigned char>().GetValueType(), 2);
    EXPECT_EQ(Keyframe<std::int16_t>().GetValueType(), 3);
    EXPECT_EQ(Keyframe<std::uint16_t>().GetValueType(), 4);
    EXPECT_EQ(Keyframe<std::int32_t>().GetValueType(), 5);
    EXPECT_EQ(Keyframe<std::uint32_t>().GetValueType(), 6);
    EXPECT_EQ(Keyframe<std::int64_t>().GetValueType(), 7);
    EXPECT_EQ(Keyframe<std::uint64_t>().GetValueType(), 8);
    EXPECT_EQ(Keyframe<float>().GetValueType(), 9);
    EXPECT_EQ(Keyframe<double>().GetValueType(), 10);
    EXPECT_EQ(Keyframe<norvik::WString>().GetValueType(), 11);
    EXPECT_EQ(Keyframe<bool>().GetValueType(), 12);
    EXPECT_EQ(Keyframe<Guid>().GetValueType(), 13);
    EXPECT_EQ(ArbKeyframe().GetValueType(), 14);
    EXPECT_EQ(PointKeyframe().GetValueType(), 15);
}

TEST(Keyframe, EqualBytesOfTwoTypesAreNeitherEqualNorHashAlike)
{
    const Keyframe<bool> truth(TickTime(5), true);
    const Keyframe<char> byte(TickTime(5), 1);
    EXPECT_NE(HashOf(truth), HashOf(byte));
    EXPECT_FALSE(truth.IsEqual(byte));
    EXPECT_FALSE(byte.IsEqual(truth));
}

template <class K>
void ExpectEachMemberCounts(const K& inKeyframe)
{
    EXPECT_TRUE(inKeyframe.IsEqual(inKeyframe));
    EXPECT_TRUE(inKeyframe.IsEqual(K(inKeyframe)));
    EXPECT_EQ(HashOf(inKeyframe), HashOf(K(inKeyframe)));
    const auto changed = [&inKeyframe](auto inChange)
    {
        K other(inKeyframe);
        inChange(other);
        EXPECT_FALSE(inKeyframe.IsEqual(other));
        EXPECT_FALSE(other.IsEqual(inKeyframe));
        EXPECT_NE(HashOf(inKeyframe), HashOf(other));
    };
    changed([](K& ioOther) { ioOther.mTime += TickTime(1); });
    changed([](K& ioOther) { ++ioOther.mInterpolationIncoming; });
    changed([](K& ioOther) { ++ioOther.mInterpolationOutgoing; });
    changed([](K& ioOther) { ioOther.GetTemporalEase(MF::kfDirection_Incoming).mSpeed += 1; });
    changed([](K& ioOther) { ioOther.GetTemporalEase(MF::kfDirection_Incoming).mInfluence += 1; });
    changed([](K& ioOther) { ioOther.GetTemporalEase(MF::kfDirection_Outgoing).mSpeed += 1; });
    changed([](K& ioOther) { ioOther.GetTemporalEase(MF::kfDirection_Outgoing).mInfluence += 1; });
}

TEST(Keyframe, EachMemberCountsForEqualityAndHash)
{
    ExpectEachMemberCounts(Keyframe<double>(TickTime(5), 0.5));
    ExpectEachMemberCounts(Keyframe<norvik::WString>(TickTime(5), u"text"));
    ExpectEachMemberCounts(PointKeyframe(TickTime(5), {1, 2}));
    EXPECT_FALSE(Keyframe<float>(TickTime(5), 0.5f).IsEqual(Keyframe<float>(TickTime(5), 0.25f)));
    EXPECT_FALSE(PointKeyframe(TickTime(5), {1, 2}).IsEqual(PointKeyframe(TickTime(5), {1, 3})));
    EXPECT_FALSE(PointKeyframe(TickTime(5), {1, 2}).IsEqual(PointKeyframe(TickTime(5), {0, 2})));
}

TEST(Keyframe, TangentsOfAPointDoNotCount)
{
    const PointKeyframe straight(TickTime(5), {1, 2});
    PointKeyframe bent(straight);
    bent.mSpatialTangents[0] = {3, 4};
    EXPECT_TRUE(straight.IsEqual(bent));
    EXPECT_EQ(HashOf(straight), HashOf(bent));
}

TEST(Keyframe, ArbitraryDataHashesByIdentityNeverByContent)
{
    const auto block = std::make_shared<const std::vector<std::uint8_t>>(100, std::uint8_t{7});
    const auto twin = std::make_shared<const std::vector<std::uint8_t>>(*block);
    const ArbKeyframe one(TickTime(1), block);
    ArbKeyframe later(TickTime(2), block);
    later.mInterpolationIncoming = 3;
    later.GetTemporalEase(MF::kfDirection_Outgoing) = {1, 2};
    const ArbKeyframe other(TickTime(1), twin);
    EXPECT_EQ(HashOf(one), HashOf(later));
    EXPECT_TRUE(one.IsEqual(later));
    EXPECT_NE(HashOf(one), HashOf(other));
    EXPECT_FALSE(one.IsEqual(other));
    EXPECT_FALSE(one.IsEqual(PointKeyframe()));
}

TEST(Keyframe, ArbitraryDataHashesBothAddressesOfTheBlock)
{
    const auto block = std::make_shared<const std::vector<std::uint8_t>>(4, std::uint8_t{1});
    // The same block under another owner.
    const ArbKeyframe::Block shared(std::make_shared<int>(0), block.get());
    EXPECT_NE(HashOf(ArbKeyframe(TickTime(0), block)), HashOf(ArbKeyframe(TickTime(0), shared)));

    std::uint8_t bytes[16];
    std::memcpy(bytes, &block, sizeof(bytes));
    TVK::HashValue hash("ArbKeyframe::HashKeyFrame");
    EXPECT_EQ(hash.mTotal, 25u);
    hash.MixU32(14);
    hash.Mix(bytes, 16);
    EXPECT_EQ(HashOf(ArbKeyframe(TickTime(9), block)), std::string(hash.AsGuid().AsUTF8String()));
}

TEST(Keyframe, OtherDirectionsThanInAndOutAreRefused)
{
    Keyframe<float> keyframe;
    const auto direction = static_cast<MF::KeyframeDirection>(2);
    const std::string text =
        "inDirection == kfDirection_Incoming || inDirection == kfDirection_Outgoing|MF/Keyframe|"
        "MF::KeyframeBase::GetTemporalEase";
    EXPECT_EQ(TestSupport::ContractText([&] { keyframe.GetTemporalEase(direction); }), text);
    EXPECT_EQ(TestSupport::ContractText([&] { std::as_const(keyframe).GetTemporalEase(direction); }), text);
}

} // namespace
