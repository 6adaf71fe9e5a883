#pragma once

#include "Platform.h"
#include "norvik/utility/Guid.h"
#include "norvik/utility/Strings.h"

#include <cstddef>
#include <cstdint>

namespace TVK
{

// The state of a hash: 96 mixed bits and the count of bytes mixed. Starts as all zero, takes bytes by Mix and
// gives its 128-bit digest by AsGuid as often as one likes; mixing goes on afterwards.
//
// The same calls with the same bytes give the same digest in every process, on every machine: bytes are read
// in little-endian order, and digests are stored. Two calls need not equal one call with both parts, so that
// the calls that make up a hash belong to its definition. It withstands accidents, not attackers.
//
// The typed forms say in their name how many bytes they mix; there is none that picks a size by overload.
//
// Thread-safety: a value.
struct HashValue
{
    uint32_t mState[3] = {0, 0, 0};
    uint32_t mTotal = 0;

    constexpr HashValue() noexcept = default;

    // Mixes inLiteral without its NUL: every hash begins with the name of what it stands for.
    ML_EXPORT explicit HashValue(const char* inLiteral) noexcept;

    // Goes on from a digest: all sixteen bytes are taken as state and total.
    ML_EXPORT explicit HashValue(const Guid& inSeed) noexcept;

    // Adds inSize to the total, then mixes. No bytes, no change.
    ML_EXPORT void Mix(const void* inBytes, size_t inSize) noexcept;

    // One byte.
    ML_EXPORT void MixU8(uint8_t inValue) noexcept;
    void MixBool(bool inValue) noexcept { MixU8(inValue ? 1 : 0); }

    // Four bytes.
    ML_EXPORT void MixU32(uint32_t inValue) noexcept;
    void MixI32(int32_t inValue) noexcept { MixU32(static_cast<uint32_t>(inValue)); }
    ML_EXPORT void MixFloat(float inValue) noexcept;

    // Eight bytes.
    ML_EXPORT void MixU64(uint64_t inValue) noexcept;
    void MixI64(int64_t inValue) noexcept { MixU64(static_cast<uint64_t>(inValue)); }
    ML_EXPORT void MixDouble(double inValue) noexcept;

    // Sixteen bytes, those of Guid::GuidToBytes.
    ML_EXPORT void MixGuid(const Guid& inValue) noexcept;

    // The bytes of a text without its NUL.
    ML_EXPORT void MixText(const char* inText) noexcept;
    void MixText(const norvik::utility::ImmutableString& inText) noexcept
    {
        Mix(inText.CStr(), inText.Size());
    }
    void MixText(const norvik::UTF8String& inText) noexcept { Mix(inText.data(), inText.size()); }

    // The digest. Never all zero, which would mean "no key".
    ML_EXPORT Guid AsGuid() const noexcept;
};

static_assert(sizeof(HashValue) == 16, "sixteen bytes, as a Guid, so that each can seed the other");

// The arithmetic alone, for who counts the total himself. Prefer HashValue::Mix.
//
// Thread-safety: safe for different hashes.
class MixHash
{
public:
    // Mixes inSize bytes into ioHash, whose total has them already.
    ML_EXPORT static void MixInData(HashValue& ioHash, const void* inBytes, size_t inSize) noexcept;
};

} // namespace TVK
