// The time of a frame: one time for each field.
//
// Equal times are a progressive frame. mFirstTime is always the time of the upper field and
// mSecondTime that of the lower, so the lesser of the two tells which field comes first; it is also
// the frame's presentation time.
//
// Thread-safety: value type.
#pragma once

#include "norviktypes/FieldType.h"
#include "norviktypes/TickTime.h"

namespace MF
{

struct FrameTime
{
    norviktypes::TickTime mFirstTime;
    norviktypes::TickTime mSecondTime;

    constexpr FrameTime() noexcept = default;
    // A progressive frame.
    explicit constexpr FrameTime(const norviktypes::TickTime& inTime) noexcept
        : mFirstTime(inTime)
        , mSecondTime(inTime)
    {
    }
    constexpr FrameTime(const norviktypes::TickTime& inFirst, const norviktypes::TickTime& inSecond) noexcept
        : mFirstTime(inFirst)
        , mSecondTime(inSecond)
    {
    }

    constexpr norviktypes::TickTime Earlier() const noexcept
    {
        return mFirstTime < mSecondTime ? mFirstTime : mSecondTime;
    }

    // The field order that the two times tell.
    constexpr norviktypes::FieldType Order() const noexcept
    {
        if (mFirstTime == mSecondTime)
        {
            return norviktypes::kFieldType_Progressive;
        }
        return mFirstTime < mSecondTime ? norviktypes::kFieldType_UpperFirst
                                        : norviktypes::kFieldType_LowerFirst;
    }

    friend constexpr bool operator==(const FrameTime&, const FrameTime&) noexcept = default;
    friend constexpr FrameTime operator+(const FrameTime& inTime,
                                         const norviktypes::TickTime& inOffset) noexcept
    {
        return {inTime.mFirstTime + inOffset, inTime.mSecondTime + inOffset};
    }
    friend constexpr FrameTime operator-(const FrameTime& inTime,
                                         const norviktypes::TickTime& inOffset) noexcept
    {
        return {inTime.mFirstTime - inOffset, inTime.mSecondTime - inOffset};
    }
};

} // namespace MF
