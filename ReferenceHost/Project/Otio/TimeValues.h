// Times of documents as ticks.
//
// Documents write a time as a number of frames and a number of frames a second, both as decimal numbers.
// 23.976 is no rate that any camera has, and sums of such times drift off the frame grid; so a decimal rate
// is first brought to the fraction that is meant, and all arithmetic after that is in whole ticks.
//
// Thread-safety: pure functions and value types.
#pragma once

#include "norviktypes/FrameRate.h"
#include "norviktypes/TickTime.h"

#include <cstdint>

namespace Otio
{

// No time and no sum of times in a document may be longer (fifty-two days): there is then always room on the
// axis for another frame, handle or offset.
inline constexpr norviktypes::TickTime kLongestTime{std::int64_t{1} << 60};

// A decimal rate that is nearer than this to a usual one is that one.
inline constexpr double kRateTolerance = 2e-4;

// A number of frames that is nearer than this to a whole one is that one: sums made in floating point by
// the writer.
inline constexpr double kFrameTolerance = 1e-6;

// Frames a second as a fraction.
struct ExactRate
{
    std::int64_t mFrames = 0;
    std::int64_t mSeconds = 1;

    norviktypes::FrameRate AsFrameRate() const noexcept
    {
        return norviktypes::FrameRate::FromRational(mFrames, mSeconds);
    }
};

// The usual rate next to inRate: whole numbers, whole numbers times 1000/1001, and halves; another rate as
// near as a fraction with a denominator of up to a million comes. False for NaN, infinity, zero, negative
// numbers, and what is beyond 1e9 or below 1e-6.
bool FindExactRate(double inRate, ExactRate& outRate);

// True for a rate that FindExactRate takes from its table.
bool IsUsualRate(double inRate);

enum class TimeFault : std::uint8_t
{
    kFine,
    kNotFinite, // value or rate is NaN or infinite
    kNoRate,    // a rate of zero or below, or out of range, with a value other than 0
    kTooLong,   // beyond kLongestTime
};

// inValue frames at inRate, to the nearest tick. A value of 0 is zero at any finite rate. outRate is left
// as it was where there is no rate.
TimeFault ToTicks(double inValue, double inRate, norviktypes::TickTime& outTime,
                  norviktypes::FrameRate& outRate);

// What is wrong, in words.
const char* TimeFaultText(TimeFault inFault);

// inTime * inFactor to the nearest tick; held at +-kLongestTime.
norviktypes::TickTime Scaled(const norviktypes::TickTime& inTime, double inFactor);

// The number of frames that a span shows: the last one may be short by all but a ten-thousandth.
std::int64_t CountFrames(const norviktypes::TickTime& inDuration, const norviktypes::FrameRate& inRate);

}
