// The keyframes of an animated parameter: a time, a value, and how the parameter moves in and out.
//
// Interpolation codes and eases are carried, compared and hashed, never interpreted. Equality is exact, also
// of floats: a NaN equals nothing. Hashes cross module boundaries and may be stored, but for those of
// ArbKeyframe, which mean something in one process only.
//
// Errors: a direction that is neither of the two is a contract violation.
//
// Thread-safety: value types with virtual operations; reading one from several threads is safe.
#pragma once

#include "TVK/HashValue.h"
#include "norvik/config/Contract.h"
#include "norvik/utility/Guid.h"
#include "norvik/utility/StringTypes.h"
#include "norviktypes/TickTime.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

namespace MF
{

enum KeyframeDirection : std::uint32_t
{
    kfDirection_Incoming = 0,
    kfDirection_Outgoing = 1,
};

// How fast the value changes at the keyframe, and how far that reaches towards the next one.
struct TemporalEase
{
    double mSpeed = 0.0;
    double mInfluence = 0.0;

    friend constexpr bool operator==(const TemporalEase&, const TemporalEase&) noexcept = default;
};

namespace detail
{

// The sixteen bytes of two doubles, mixed in one step.
inline void MixDoublePair(TVK::HashValue& ioHash, double inFirst, double inSecond) noexcept
{
    const std::uint64_t numbers[2] = {std::bit_cast<std::uint64_t>(inFirst),
                                      std::bit_cast<std::uint64_t>(inSecond)};
    std::uint8_t bytes[16];
    for (int index = 0; index < 16; ++index)
    {
        bytes[index] = static_cast<std::uint8_t>(numbers[index / 8] >> (8 * (index % 8)));
    }
    ioHash.Mix(bytes, sizeof(bytes));
}

} // namespace detail

class ML_EXPORT KeyframeBase
{
public:
    virtual ~KeyframeBase() = default;

    // Same type of value, same value, same time, codes and eases.
    virtual bool IsEqual(const KeyframeBase& inOther) const = 0;
    virtual void HashKeyFrame(TVK::Guid& outHash) const = 0;
    // The code of the class, from 1 on.
    virtual std::int32_t GetValueType() const = 0;

    TemporalEase& GetTemporalEase(KeyframeDirection inDirection)
    {
        CheckDirection(inDirection);
        return mTemporalEase[inDirection];
    }
    const TemporalEase& GetTemporalEase(KeyframeDirection inDirection) const
    {
        CheckDirection(inDirection);
        return mTemporalEase[inDirection];
    }

    norviktypes::TickTime mTime;
    std::uint32_t mInterpolationIncoming = 0;
    std::uint32_t mInterpolationOutgoing = 0;

protected:
    KeyframeBase() = default;
    KeyframeBase(const KeyframeBase&) = default;
    KeyframeBase& operator=(const KeyframeBase&) = default;

    bool HasSameMotion(const KeyframeBase& inOther) const noexcept
    {
        return mTime == inOther.mTime && mInterpolationIncoming == inOther.mInterpolationIncoming &&
               mInterpolationOutgoing == inOther.mInterpolationOutgoing &&
               mTemporalEase[0] == inOther.mTemporalEase[0] && mTemporalEase[1] == inOther.mTemporalEase[1];
    }
    void MixMotion(TVK::HashValue& ioHash) const noexcept
    {
        ioHash.MixI64(mTime.GetTicks());
        ioHash.MixU32(mInterpolationIncoming);
        ioHash.MixU32(mInterpolationOutgoing);
        for (const TemporalEase& ease : mTemporalEase)
        {
            detail::MixDoublePair(ioHash, ease.mSpeed, ease.mInfluence);
        }
    }

private:
    static void CheckDirection(KeyframeDirection inDirection)
    {
        ML_INPUT_CONTRACT(inDirection == kfDirection_Incoming || inDirection == kfDirection_Outgoing,
                          "inDirection == kfDirection_Incoming || inDirection == kfDirection_Outgoing",
                          "MF/Keyframe", "MF::KeyframeBase::GetTemporalEase", __LINE__);
    }

    TemporalEase mTemporalEase[2];
};

// The code of a type of value, as documents and plug-ins carry it; 0 for a type that keyframes don't have.
template <class T>
inline constexpr std::int32_t kKeyframeValueType = 0;
template <>
inline constexpr std::int32_t kKeyframeValueType<char> = 1; // a signed byte
template <>
inline constexpr std::int32_t kKeyframeValueType<unsigned char> = 2;
template <>
inline constexpr std::int32_t kKeyframeValueType<std::int16_t> = 3;
template <>
inline constexpr std::int32_t kKeyframeValueType<std::uint16_t> = 4;
template <>
inline constexpr std::int32_t kKeyframeValueType<std::int32_t> = 5;
template <>
inline constexpr std::int32_t kKeyframeValueType<std::uint32_t> = 6;
template <>
inline constexpr std::int32_t kKeyframeValueType<std::int64_t> = 7;
template <>
inline constexpr std::int32_t kKeyframeValueType<std::uint64_t> = 8;
template <>
inline constexpr std::int32_t kKeyframeValueType<float> = 9;
template <>
inline constexpr std::int32_t kKeyframeValueType<double> = 10;
template <>
inline constexpr std::int32_t kKeyframeValueType<norvik::WString> = 11;
template <>
inline constexpr std::int32_t kKeyframeValueType<bool> = 12;
template <>
inline constexpr std::int32_t kKeyframeValueType<norvik::utility::Guid> = 13;

inline constexpr std::int32_t kKeyframeValueType_Arb = 14;
inline constexpr std::int32_t kKeyframeValueType_Point = 15;

namespace detail
{

template <class T>
void MixKeyframeValue(TVK::HashValue& ioHash, const T& inValue)
{
    if constexpr (std::is_same_v<T, float>)
    {
        ioHash.MixFloat(inValue);
    }
    else if constexpr (std::is_same_v<T, double>)
    {
        ioHash.MixDouble(inValue);
    }
    else if constexpr (std::is_same_v<T, norvik::utility::Guid>)
    {
        ioHash.MixGuid(inValue);
    }
    else if constexpr (std::is_same_v<T, norvik::WString>)
    {
        norvik::UTF8String bytes;
        bytes.reserve(2 * inValue.size());
        for (const char16_t unit : inValue)
        {
            bytes.push_back(static_cast<char>(unit & 0xFF));
            bytes.push_back(static_cast<char>(unit >> 8));
        }
        ioHash.MixText(bytes);
    }
    else
    {
        std::uint8_t bytes[sizeof(T)];
        for (std::size_t index = 0; index < sizeof(T); ++index)
        {
            bytes[index] = static_cast<std::uint8_t>(static_cast<std::uint64_t>(inValue) >> (8 * index));
        }
        ioHash.Mix(bytes, sizeof(bytes));
    }
}

} // namespace detail

template <class T>
class ML_EXPORT Keyframe final : public KeyframeBase
{
    static_assert(kKeyframeValueType<T> != 0, "no keyframe has a value of this type");

public:
    Keyframe() = default;
    Keyframe(const norviktypes::TickTime& inTime, T inValue) : mValue(std::move(inValue)) { mTime = inTime; }

    bool IsEqual(const KeyframeBase& inOther) const override
    {
        return inOther.GetValueType() == kKeyframeValueType<T> &&
               static_cast<const Keyframe&>(inOther).mValue == mValue && HasSameMotion(inOther);
    }
    void HashKeyFrame(TVK::Guid& outHash) const override
    {
        TVK::HashValue hash("Keyframe::HashKeyFrame");
        hash.MixI32(kKeyframeValueType<T>);
        detail::MixKeyframeValue(hash, mValue);
        MixMotion(hash);
        outHash = hash.AsGuid();
    }
    std::int32_t GetValueType() const override { return kKeyframeValueType<T>; }

    T mValue{};
};

// A block of bytes that only an effect understands, so neither equality nor hash looks into it: both stand
// for the identity of the block. Equal bytes in two blocks are different; times and codes do not count.
class ML_EXPORT ArbKeyframe final : public KeyframeBase
{
public:
    using Block = std::shared_ptr<const std::vector<std::uint8_t>>;

    ArbKeyframe() = default;
    ArbKeyframe(const norviktypes::TickTime& inTime, Block inValue) : mValue(std::move(inValue))
    {
        mTime = inTime;
    }

    bool IsEqual(const KeyframeBase& inOther) const override
    {
        return inOther.GetValueType() == kKeyframeValueType_Arb &&
               static_cast<const ArbKeyframe&>(inOther).mValue == mValue;
    }
    // Of this process only: both addresses of the shared pointer, that of the block and that of its owner.
    void HashKeyFrame(TVK::Guid& outHash) const override
    {
        static_assert(sizeof(Block) == 16, "two addresses");
        std::uint8_t bytes[sizeof(Block)];
        std::memcpy(bytes, &mValue, sizeof(bytes));
        TVK::HashValue hash("ArbKeyframe::HashKeyFrame");
        hash.MixI32(kKeyframeValueType_Arb);
        hash.Mix(bytes, sizeof(bytes));
        outHash = hash.AsGuid();
    }
    std::int32_t GetValueType() const override { return kKeyframeValueType_Arb; }

    Block mValue;
};

// A place, with the tangents of the path through it. The tangents take part in neither equality nor hash.
class ML_EXPORT PointKeyframe final : public KeyframeBase
{
public:
    struct Point
    {
        double mX = 0.0;
        double mY = 0.0;

        friend constexpr bool operator==(const Point&, const Point&) noexcept = default;
    };

    PointKeyframe()
    {
        mInterpolationIncoming = 5;
        mInterpolationOutgoing = 4;
    }
    PointKeyframe(const norviktypes::TickTime& inTime, const Point& inValue) : PointKeyframe()
    {
        mTime = inTime;
        mValue = inValue;
    }

    bool IsEqual(const KeyframeBase& inOther) const override
    {
        return inOther.GetValueType() == kKeyframeValueType_Point &&
               static_cast<const PointKeyframe&>(inOther).mValue == mValue && HasSameMotion(inOther);
    }
    void HashKeyFrame(TVK::Guid& outHash) const override
    {
        TVK::HashValue hash("PointKeyframe::HashKeyFrame");
        hash.MixI32(kKeyframeValueType_Point);
        detail::MixDoublePair(hash, mValue.mX, mValue.mY);
        MixMotion(hash);
        outHash = hash.AsGuid();
    }
    std::int32_t GetValueType() const override { return kKeyframeValueType_Point; }

    Point mValue;
    Point mSpatialTangents[2]; // by KeyframeDirection
};

} // namespace MF
