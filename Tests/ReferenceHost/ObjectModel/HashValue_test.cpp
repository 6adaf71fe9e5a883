#include "TVK/HashValue.h"
#include "Tests/Support/Scale.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <random>
#include <string>
#include <vector>

namespace
{

using TVK::Guid;
using TVK::HashValue;

std::string Digest(const HashValue& inHash)
{
    return std::string(inHash.AsGuid().AsUTF8String());
}

// Digests are stored in disk caches and pass between modules: these may never change. They were computed by a
// separate model of the arithmetic.
TEST(HashValue, DigestsNeverChange)
{
    EXPECT_EQ(Digest(HashValue()), "E974B938-B418-15A8-DD2C-FEF8A3CA4450");
    EXPECT_EQ(Digest(HashValue("ML::CreateAcceleratedRenderer")), "ACAA3C2D-4265-818F-8BD2-BC31D653B74C");
    EXPECT_EQ(Digest(HashValue("ab")), "32E39844-2D69-BF67-7731-A38612CD27B0");

    HashValue inTwo("a");
    inTwo.Mix("b", 1);
    EXPECT_EQ(Digest(inTwo), "C3744D0E-4C21-9D20-8F1E-EC1579E5DB80");

    std::array<uint8_t, 1024> bytes{};
    for (size_t index = 0; index < bytes.size(); ++index)
    {
        bytes[index] = static_cast<uint8_t>(index);
    }
    HashValue longer;
    longer.Mix(bytes.data(), bytes.size());
    EXPECT_EQ(Digest(longer), "224E3C20-11BE-45C9-D1DF-42B8253FADE8");

    HashValue typed("x");
    typed.MixU64(0x0123456789ABCDEFu);
    typed.MixU32(1);
    typed.MixBool(true);
    EXPECT_EQ(Digest(typed), "C1C1ADFE-6754-B78C-5489-D5A92C873EE8");
}

TEST(HashValue, StartsEmptyAndCountsItsBytes)
{
    HashValue hash;
    EXPECT_EQ(hash.mTotal, 0u);
    EXPECT_EQ(hash.mState[0] | hash.mState[1] | hash.mState[2], 0u);
    hash = HashValue("seven77");
    EXPECT_EQ(hash.mTotal, 7u);
    hash.MixU64(1);
    hash.MixU32(1);
    hash.MixU8(1);
    hash.MixGuid(Guid(1, 2));
    EXPECT_EQ(hash.mTotal, 7u + 8 + 4 + 1 + 16);
}

TEST(HashValue, NoBytesAreNoChange)
{
    HashValue hash("literal");
    const std::string before = Digest(hash);
    hash.Mix(nullptr, 0);
    hash.MixText("");
    EXPECT_EQ(Digest(hash), before);
}

TEST(HashValue, MixingGoesOnAfterADigest)
{
    HashValue looked("literal");
    HashValue untouched("literal");
    static_cast<void>(looked.AsGuid());
    looked.MixU32(5);
    untouched.MixU32(5);
    EXPECT_EQ(looked.AsGuid(), untouched.AsGuid());
}

TEST(HashValue, TypedFormsMixTheBytesTheyName)
{
    const auto same = [](HashValue inTyped, const void* inBytes, size_t inSize)
    {
        HashValue raw;
        raw.Mix(inBytes, inSize);
        return raw.AsGuid() == inTyped.AsGuid();
    };
    HashValue hash;
    hash.MixU32(0x04030201u);
    EXPECT_TRUE(same(hash, "\1\2\3\4", 4));
    hash = HashValue();
    hash.MixI32(-2);
    EXPECT_TRUE(same(hash, "\xFE\xFF\xFF\xFF", 4));
    hash = HashValue();
    hash.MixI64(0x0807060504030201);
    EXPECT_TRUE(same(hash, "\1\2\3\4\5\6\7\10", 8));
    hash = HashValue();
    hash.MixFloat(1.0f);
    EXPECT_TRUE(same(hash, "\0\0\x80\x3F", 4));
    hash = HashValue();
    hash.MixDouble(1.0);
    EXPECT_TRUE(same(hash, "\0\0\0\0\0\0\xF0\x3F", 8));
    hash = HashValue();
    hash.MixGuid(Guid(0x0001020304050607u, 0x08090A0B0C0D0E0Fu));
    EXPECT_TRUE(same(hash, "\x00\x01\x02\x03\x04\x05\x06\x07\x08\x09\x0A\x0B\x0C\x0D\x0E\x0F", 16));
    hash = HashValue();
    hash.MixText(norvik::utility::ImmutableString::CreateStatic("text"));
    EXPECT_TRUE(same(hash, "text", 4));
}

TEST(HashValue, GuidSeedsAllSixteenBytes)
{
    const HashValue seeded(Guid(0x0102030405060708u, 0x090A0B0C0D0E0F10u));
    EXPECT_EQ(seeded.mState[0], 0x04030201u);
    EXPECT_EQ(seeded.mState[1], 0x08070605u);
    EXPECT_EQ(seeded.mState[2], 0x0C0B0A09u);
    EXPECT_EQ(seeded.mTotal, 0x100F0E0Du);
}

TEST(HashValue, ZerosAtTheEndAreTold)
{
    std::vector<Guid> digests;
    const std::array<uint8_t, 64> zeros{};
    for (size_t size = 0; size <= zeros.size(); ++size)
    {
        HashValue hash;
        hash.Mix(zeros.data(), size);
        digests.push_back(hash.AsGuid());
    }
    std::sort(digests.begin(), digests.end(), norvik::utility::GuidLessStored());
    EXPECT_EQ(std::adjacent_find(digests.begin(), digests.end()), digests.end());
}

TEST(HashValue, DigestIsNeverAllZero)
{
    // The finishing permutation, run backwards from zero, gives the one state whose digest would be zero;
    // from there the substitute must come out.
    const auto scatter = [](uint64_t inValue, uint64_t inFactor)
    {
        inValue = (inValue ^ (inValue >> 32)) * inFactor;
        inValue = (inValue ^ (inValue >> 29)) * 0xBB67AE8584CAA73Bu;
        return inValue ^ (inValue >> 32);
    };
    uint64_t first = 0;
    uint64_t second = 0;
    first ^= scatter(second, 0x3C6EF372FE94F82Bu);
    second ^= scatter(first, 0x510E527FADE682D1u);
    first ^= scatter(second, 0xA54FF53A5F1D36F1u);
    second ^= scatter(first, 0x3C6EF372FE94F82Bu);
    first -= 0x6A09E667F3BCC908u;

    HashValue hash;
    hash.mState[0] = static_cast<uint32_t>(first);
    hash.mState[1] = static_cast<uint32_t>(first >> 32);
    hash.mState[2] = static_cast<uint32_t>(second);
    hash.mTotal = static_cast<uint32_t>(second >> 32);
    EXPECT_EQ(hash.AsGuid(), Guid(0, 1));
    ++hash.mTotal;
    EXPECT_NE(hash.AsGuid(), Guid(0, 1));
}

// Inputs as a renderer makes them: counters, times on a frame grid, small records, names with numbers.
HashValue RealisticInput(uint32_t inNumber)
{
    const uint32_t index = inNumber / 4;
    HashValue hash;
    switch (inNumber % 4)
    {
    case 0: hash.MixU32(index); break;
    case 1: hash.MixI64(static_cast<int64_t>(index) * 8475667200); break;
    case 2:
    {
        const uint32_t record[8] = {0, 0, index & 0xFF,       index >> 8 & 0xFF,
                                    1, 1, index >> 16 & 0xFF, index >> 24};
        hash.Mix(record, sizeof(record));
        break;
    }
    default:
        hash = HashValue("MediaNode");
        hash.MixFloat(static_cast<float>(index & 0xFFF));
        hash.MixDouble(index >> 12);
    }
    return hash;
}

TEST(HashValue, TenMillionDistinctInputsDoNotCollide)
{
    const size_t count = TestSupport::ScaledCount(10'000'000);
    std::vector<Guid> digests(count);
    for (size_t index = 0; index < count; ++index)
    {
        digests[index] = RealisticInput(static_cast<uint32_t>(index)).AsGuid();
    }
    std::sort(digests.begin(), digests.end(), norvik::utility::GuidLessStored());
    EXPECT_EQ(std::adjacent_find(digests.begin(), digests.end()), digests.end());
    // Half of the digest would do as well: 64 good bits collide here once in 370,000 runs.
    const auto sameHalf = [](const Guid& inLeft, const Guid& inRight) { return inLeft.mHi == inRight.mHi; };
    EXPECT_EQ(std::adjacent_find(digests.begin(), digests.end(), sameHalf), digests.end());
}

struct FlipStatistics
{
    double mMean = 0;
    int mFewest = 128;
    int mMost = 0;
    std::array<int, 128> mChanged{}; // by bit of the digest
    size_t mCount = 0;

    void Add(const Guid& inBefore, const Guid& inAfter)
    {
        const uint64_t difference[2] = {inBefore.mHi ^ inAfter.mHi, inBefore.mLo ^ inAfter.mLo};
        const int changed = std::popcount(difference[0]) + std::popcount(difference[1]);
        mMean = (mMean * static_cast<double>(mCount) + changed) / static_cast<double>(mCount + 1);
        ++mCount;
        mFewest = std::min(mFewest, changed);
        mMost = std::max(mMost, changed);
        for (size_t bit = 0; bit < 128; ++bit)
        {
            mChanged[bit] += static_cast<int>(difference[bit / 64] >> (bit % 64) & 1);
        }
    }
};

TEST(HashValue, OneFlippedBitChangesHalfOfTheDigest)
{
    std::mt19937_64 random(20240607); // the same inputs each time
    FlipStatistics statistics;
    for (int input = 0; input < 10000; ++input)
    {
        std::vector<uint8_t> bytes(1 + random() % 200);
        for (uint8_t& byte : bytes)
        {
            byte = input % 2 == 0 ? static_cast<uint8_t>(random()) : 0; // random ones, and all zero
        }
        HashValue before("literal");
        before.Mix(bytes.data(), bytes.size());
        const size_t bit = random() % (bytes.size() * 8);
        bytes[bit / 8] = static_cast<uint8_t>(bytes[bit / 8] ^ (1u << (bit % 8)));
        HashValue after("literal");
        after.Mix(bytes.data(), bytes.size());
        statistics.Add(before.AsGuid(), after.AsGuid());
    }
    EXPECT_NEAR(statistics.mMean, 64.0, 0.5);
    EXPECT_GE(statistics.mFewest, 32);
    EXPECT_LE(statistics.mMost, 96);
    for (const int changed : statistics.mChanged)
    {
        EXPECT_NEAR(changed, 5000, 300) << "a bit of the digest leans to one side";
    }
}

TEST(HashValue, FewFlipsInFollowingBlocksDoNotCancel)
{
    // Up to three bits set in two blocks of zeros: where a hash lets single bits pass unscattered, those of
    // the second block can take back what the first one changed.
    const size_t most = TestSupport::ScaledCount(256);
    std::vector<Guid> digests;
    for (size_t first = 0; first < most; ++first)
    {
        for (size_t second = first; second < 256; ++second)
        {
            for (size_t third = second; third < 256; ++third)
            {
                uint8_t bytes[32] = {};
                for (const size_t bit : {first, second, third})
                {
                    bytes[bit / 8] = static_cast<uint8_t>(bytes[bit / 8] | (1u << (bit % 8)));
                }
                if (second != third || first == second)
                {
                    HashValue hash;
                    hash.Mix(bytes, sizeof(bytes));
                    digests.push_back(hash.AsGuid());
                }
            }
        }
    }
    std::sort(digests.begin(), digests.end(), norvik::utility::GuidLessStored());
    EXPECT_EQ(std::adjacent_find(digests.begin(), digests.end()), digests.end());
}

} // namespace
