// The part of a counter picture that machines read: 40 black or white cells in two rows along the top edge.
//
// Cell n, counted from the left of the upper row to the right of the lower one, holds bit n, black for 0 and
// white for 1. From bit 0 upwards: 32 bits of the frame's number, 2 bits that name the moment, 6 bits of
// check. In an interlaced picture the lines of each field carry a code of their own.
//
// The cells are so large that the code survives scaling to a third and coarse compression.
//
// Thread-safety: pure functions.
#pragma once

#include <cstdint>

namespace Media
{

enum class CounterMoment : std::uint8_t
{
    kWholeFrame = 0,
    kUpperField = 1,
    kLowerField = 2,
};

inline constexpr std::int32_t kCounterCellsInRow = 20;
inline constexpr std::int32_t kCounterRows = 2;
inline constexpr std::int32_t kCounterCells = kCounterCellsInRow * kCounterRows;

// The 40 bits. Of a frame's number the lowest 32 bits count.
constexpr std::uint64_t EncodeCounter(std::int64_t inFrame, CounterMoment inMoment) noexcept
{
    const std::uint64_t number =
        (static_cast<std::uint64_t>(inFrame) & 0xFFFFFFFFu) | static_cast<std::uint64_t>(inMoment) << 32;
    // Starts at a value under which neither an all black nor an all white row is a code.
    std::uint64_t check = 0x2A;
    for (int bit = 0; bit < 34; ++bit)
    {
        const std::uint64_t carry = (check >> 5 ^ number >> bit) & 1;
        check = (check << 1 & 0x3F) ^ (carry != 0 ? 0x03u : 0u);
    }
    return number | check << 34;
}

// False for bits that are no code.
constexpr bool DecodeCounter(std::uint64_t inBits, std::uint32_t& outFrame, CounterMoment& outMoment) noexcept
{
    const auto frame = static_cast<std::uint32_t>(inBits & 0xFFFFFFFFu);
    const auto moment = static_cast<std::uint8_t>(inBits >> 32 & 3);
    if (moment > 2 || EncodeCounter(frame, static_cast<CounterMoment>(moment)) != inBits)
    {
        return false;
    }
    outFrame = frame;
    outMoment = static_cast<CounterMoment>(moment);
    return true;
}

// Left edge of column inColumn (0 .. 20: the right edge of the last) in a picture of inWidth.
constexpr std::int32_t CounterCellLeft(std::int32_t inColumn, std::int32_t inWidth) noexcept
{
    return static_cast<std::int32_t>(static_cast<std::int64_t>(inColumn) * inWidth / kCounterCellsInRow);
}

// Top edge of row inRow (0 .. 2: the bottom edge of the last). A row is a tenth of the picture's height.
constexpr std::int32_t CounterCellTop(std::int32_t inRow, std::int32_t inHeight) noexcept
{
    return static_cast<std::int32_t>(static_cast<std::int64_t>(inRow) * inHeight / 10);
}

} // namespace Media
