#include "TVK/HashValue.h"

#include <bit>
#include <cstring>

namespace TVK
{

namespace
{

// Numbers without structure: the fractions of the square roots of small primes. The factors are odd, so that
// multiplying by them loses nothing.
constexpr uint64_t kOrigin = 0x6A09E667F3BCC908u;
constexpr uint64_t kFirstFactor = 0xBB67AE8584CAA73Bu;
constexpr uint64_t kSecondFactor = 0x3C6EF372FE94F82Bu;
constexpr uint64_t kFoldFactor = 0xA54FF53A5F1D36F1u;
constexpr uint64_t kFinalFactor = 0x510E527FADE682D1u;

constexpr size_t kBlock = 16;

// The 96 bits of state and the total, as the two numbers that the arithmetic works on.
struct Lanes
{
    uint64_t mFirst;
    uint64_t mSecond;
};

uint64_t LoadLittleEndian(const uint8_t* inBytes) noexcept
{
    uint64_t value = 0;
    std::memcpy(&value, inBytes, sizeof(value));
    if constexpr (std::endian::native == std::endian::big)
    {
        value = __builtin_bswap64(value);
    }
    return value;
}

Lanes LoadState(const HashValue& inHash) noexcept
{
    return {(inHash.mState[0] | (static_cast<uint64_t>(inHash.mState[1]) << 32)) + kOrigin,
            inHash.mState[2] | (static_cast<uint64_t>(inHash.mTotal) << 32)};
}

// Sixteen bytes. For fixed bytes each step can be undone, so a block loses nothing of the state. There are
// two multiplications, because one alone leaves a difference in the top bit as it is, and a few bits of the
// next block would cancel it again.
inline void MixBlock(Lanes& ioLanes, uint64_t inFirst, uint64_t inSecond) noexcept
{
    ioLanes.mFirst = (ioLanes.mFirst ^ inFirst) * kFirstFactor;
    ioLanes.mSecond = (ioLanes.mSecond ^ inSecond) * kSecondFactor;
    ioLanes.mFirst = (ioLanes.mFirst ^ (ioLanes.mFirst >> 32)) * kFoldFactor;
    ioLanes.mSecond = (ioLanes.mSecond ^ (ioLanes.mSecond >> 29)) * kFinalFactor;
    ioLanes.mFirst += std::rotl(ioLanes.mSecond, 31);
    ioLanes.mSecond ^= std::rotl(ioLanes.mFirst, 27);
}

// Back to 96 bits: the half of the second lane that goes has been multiplied into the other before.
void StoreState(Lanes inLanes, HashValue& outHash) noexcept
{
    inLanes.mFirst = (inLanes.mFirst ^ (inLanes.mFirst >> 31)) * kFoldFactor;
    inLanes.mSecond = (inLanes.mSecond ^ std::rotl(inLanes.mFirst, 32)) * kSecondFactor;
    inLanes.mFirst += std::rotl(inLanes.mSecond, 32);
    outHash.mState[0] = static_cast<uint32_t>(inLanes.mFirst);
    outHash.mState[1] = static_cast<uint32_t>(inLanes.mFirst >> 32);
    outHash.mState[2] = static_cast<uint32_t>(inLanes.mSecond >> 32);
}

// Each bit of the answer depends on each bit of the argument.
uint64_t Scatter(uint64_t inValue, uint64_t inFactor) noexcept
{
    inValue = (inValue ^ (inValue >> 32)) * inFactor;
    inValue = (inValue ^ (inValue >> 29)) * kFirstFactor;
    return inValue ^ (inValue >> 32);
}

} // namespace

void MixHash::MixInData(HashValue& ioHash, const void* inBytes, size_t inSize) noexcept
{
    if (inSize == 0)
    {
        return;
    }
    Lanes lanes = LoadState(ioHash);
    const auto* bytes = static_cast<const uint8_t*>(inBytes);
    for (; inSize >= kBlock; inSize -= kBlock, bytes += kBlock)
    {
        MixBlock(lanes, LoadLittleEndian(bytes), LoadLittleEndian(bytes + 8));
    }
    if (inSize > 0)
    {
        // The total tells a short rest from one with zeros behind it.
        uint8_t rest[kBlock] = {};
        std::memcpy(rest, bytes, inSize);
        MixBlock(lanes, LoadLittleEndian(rest), LoadLittleEndian(rest + 8));
    }
    StoreState(lanes, ioHash);
}

HashValue::HashValue(const char* inLiteral) noexcept
{
    MixText(inLiteral);
}

HashValue::HashValue(const Guid& inSeed) noexcept
{
    uint8_t bytes[16];
    inSeed.GuidToBytes(bytes);
    const uint64_t first = LoadLittleEndian(bytes);
    const uint64_t second = LoadLittleEndian(bytes + 8);
    mState[0] = static_cast<uint32_t>(first);
    mState[1] = static_cast<uint32_t>(first >> 32);
    mState[2] = static_cast<uint32_t>(second);
    mTotal = static_cast<uint32_t>(second >> 32);
}

void HashValue::Mix(const void* inBytes, size_t inSize) noexcept
{
    mTotal += static_cast<uint32_t>(inSize);
    MixHash::MixInData(*this, inBytes, inSize);
}

void HashValue::MixU8(uint8_t inValue) noexcept
{
    Mix(&inValue, 1);
}

void HashValue::MixU32(uint32_t inValue) noexcept
{
    uint8_t bytes[4];
    for (int index = 0; index < 4; ++index)
    {
        bytes[index] = static_cast<uint8_t>(inValue >> (8 * index));
    }
    Mix(bytes, sizeof(bytes));
}

void HashValue::MixU64(uint64_t inValue) noexcept
{
    uint8_t bytes[8];
    for (int index = 0; index < 8; ++index)
    {
        bytes[index] = static_cast<uint8_t>(inValue >> (8 * index));
    }
    Mix(bytes, sizeof(bytes));
}

void HashValue::MixFloat(float inValue) noexcept
{
    MixU32(std::bit_cast<uint32_t>(inValue));
}

void HashValue::MixDouble(double inValue) noexcept
{
    MixU64(std::bit_cast<uint64_t>(inValue));
}

void HashValue::MixGuid(const Guid& inValue) noexcept
{
    uint8_t bytes[16];
    inValue.GuidToBytes(bytes);
    Mix(bytes, sizeof(bytes));
}

void HashValue::MixText(const char* inText) noexcept
{
    if (inText != nullptr)
    {
        Mix(inText, std::strlen(inText));
    }
}

// Four turns, each scattering one lane over the other: a permutation of the 128 bits, so that the digest
// loses nothing, in which every bit of one lane reaches every bit of both.
Guid HashValue::AsGuid() const noexcept
{
    Lanes lanes = LoadState(*this);
    lanes.mSecond ^= Scatter(lanes.mFirst, kSecondFactor);
    lanes.mFirst ^= Scatter(lanes.mSecond, kFoldFactor);
    lanes.mSecond ^= Scatter(lanes.mFirst, kFinalFactor);
    lanes.mFirst ^= Scatter(lanes.mSecond, kSecondFactor);
    if ((lanes.mFirst | lanes.mSecond) == 0)
    {
        return Guid(0, 1); // zero means "no key"
    }
    return Guid(lanes.mFirst, lanes.mSecond);
}

} // namespace TVK
