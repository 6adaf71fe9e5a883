#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "ReferenceHost/ImageRoutines/MotionBytes.h"
#include "ReferenceHost/ImageRoutines/MotionFilter.h"

// Turned 8-bit pictures through any filter of up to eight pixels.
//
// A stretch of the source is brought to a grid of premultiplied pixels, four 16-bit components each with seven
// bits behind the point of a code, as it is or halved; pixels of the target are sums over squares of that grid.
// Weights have 14 bits behind the point and 2048 steps of place from pixel to pixel, so that sums are less than
// half a code from the exact ones before they are rounded to bytes. Every instruction set gives the same bytes,
// and so do the twins.
//
// Thread-safety: pure functions on the caller's memory and values; safe. The tables throw std::bad_alloc.
namespace ir
{

// Weights by the place between pixels. Row p is for places where the first pixel that counts lies p / kPhases
// above the lower end of the filter; it sums to kOne, and weights beyond the filter are 0.
class TurnedTaps
{
public:
    static constexpr int kPhaseBits = 11;
    static constexpr std::int32_t kPhases = 1 << kPhaseBits;
    static constexpr std::int32_t kOne = 1 << 14;
    static constexpr std::int32_t kMostTaps = 8;

    // Pixels that a filter looks at, an even number.
    static std::int32_t TapsFor(MotionFilter inFilter, double inWidth) noexcept;

    // inTaps: at least TapsFor.
    TurnedTaps(MotionFilter inFilter, double inWidth, std::int32_t inTaps);

    std::int32_t Taps() const noexcept { return mTaps; }
    const std::int16_t* Row(std::int32_t inPhase) const noexcept
    {
        return mWeights.data() + static_cast<std::ptrdiff_t>(inPhase) * mTaps;
    }

    // Two pixels whose weights go with the place in equal steps, so that they can be told without the table.
    static constexpr std::int32_t kStep = kOne / kPhases;
    bool IsLinear() const noexcept { return mIsLinear; }

    // From the lower end of the filter to its middle, in units of 2^-32 pixel.
    std::int64_t HalfLength() const noexcept { return mHalfLength; }

private:
    void AppendRow(MotionFilter inFilter, double inWidth, double inFirst);

    bool FindsLinear() const noexcept;

    std::int32_t mTaps;
    std::int64_t mHalfLength;
    bool mIsLinear = false;
    std::vector<std::int16_t> mWeights;
};

using TurnedTapsPtr = std::shared_ptr<const TurnedTaps>;

// The weights of a filter, which are kept for the next drawings: most pictures are as large and turned as far as in
// the frame before. Throws std::bad_alloc.
TurnedTapsPtr TurnedTapsFor(MotionFilter inFilter, double inWidth, std::int32_t inTaps);

struct TurnedGrid
{
    const std::int16_t* pixels;
    std::ptrdiff_t pitch; // components
    std::int32_t left;    // what the first pixel is called
    std::int32_t top;
};

struct TurnedAxis
{
    BytePlace place; // in pixels of the grid
    const TurnedTaps* taps;
};

// The grid's pixels of a stretch of a row.
void WidenBytes(const ByteSource& inSource, const std::uint8_t* inPixels, std::int16_t* outPixels,
                std::size_t inCount);

// Those that are means of squares of four.
void HalveWidely(const ByteSource& inSource, const std::uint8_t* inUpper, const std::uint8_t* inLower,
                 std::int16_t* outPixels, std::size_t inCount);

// Filtered pixels of a row from column inFirst on, premultiplied. Both axes have the same number of taps. The
// grid holds whatever they are made of. True if all of them are opaque.
bool SampleTurned(const TurnedGrid& inGrid, const TurnedAxis& inU, const TurnedAxis& inV,
                  std::int32_t inFirst, std::uint8_t* outPixels, std::size_t inCount);

// The same for one pixel before it is rounded and cut off: codes with kSumBits bits behind the point.
inline constexpr int kSumBits = 20;
void SumTurned(const TurnedGrid& inGrid, const TurnedAxis& inU, const TurnedAxis& inV, std::int32_t inColumn,
               std::int32_t* outSums);

// The first pixel that counts at a place, and the row of weights.
struct TurnedPlace
{
    std::int32_t first;
    std::int32_t phase;
};

inline TurnedPlace TurnedPlaceAt(const TurnedAxis& inAxis, std::int64_t inColumn) noexcept
{
    constexpr std::int64_t kLast = 0xFFFFFFFF;
    const std::int64_t up =
        inAxis.place.start + inAxis.place.step * inColumn - inAxis.taps->HalfLength() + kLast;
    constexpr int kShift = 32 - TurnedTaps::kPhaseBits;
    const std::int64_t above = kLast - (up & kLast);
    return {static_cast<std::int32_t>(up >> 32),
            static_cast<std::int32_t>((above + (std::int64_t{1} << (kShift - 1))) >> kShift)};
}

const char* MotionTurnedTarget();

namespace reference
{

void WidenBytes(const ByteSource& inSource, const std::uint8_t* inPixels, std::int16_t* outPixels,
                std::size_t inCount);
void HalveWidely(const ByteSource& inSource, const std::uint8_t* inUpper, const std::uint8_t* inLower,
                 std::int16_t* outPixels, std::size_t inCount);
bool SampleTurned(const TurnedGrid& inGrid, const TurnedAxis& inU, const TurnedAxis& inV,
                  std::int32_t inFirst, std::uint8_t* outPixels, std::size_t inCount);

}

}
