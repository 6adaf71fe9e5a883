// A stretch of a time axis, its end exclusive.
//
// Ranges compare as pairs, start before end, which is the order of sorted lists of them. A range whose start
// is not below its end holds no time.
//
// Thread-safety: value type.
#pragma once

#include "norviktypes/TickTime.h"

#include <compare>

namespace MF
{

struct TimeRange
{
    norviktypes::TickTime mStart;
    norviktypes::TickTime mEnd;

    constexpr bool Contains(const norviktypes::TickTime& inTime) const noexcept
    {
        return mStart <= inTime && inTime < mEnd;
    }
    friend constexpr auto operator<=>(const TimeRange&, const TimeRange&) noexcept = default;
};

} // namespace MF
