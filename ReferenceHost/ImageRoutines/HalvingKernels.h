#pragma once

#include <cstddef>
#include <cstdint>

// Rows of integer samples filtered for a picture of half the width and height: sums over rows, then over
// columns.
//
// A halved sample lies between two samples of the source, so its taps come in pairs of one weight: the two
// samples next to its place, the two around these, and so on. A picture's rows are summed first, into a row
// of its even and one of its odd columns, of which a pair of columns then needs a plain stretch each. In a
// sum a sample has 13 bits, kSumBits, and weights are Q15; each product is rounded, to 1/32 of an 8-bit code.
// All targets of the processor give the same words.
//
// Thread-safety: pure functions on the caller's rows; safe.
namespace ir
{

inline constexpr int kSumBits = 13;

// Words that a row of sums or chroma has in front and behind for the columns that the filters mirror there.
inline constexpr std::size_t kSumPad = 64;

inline constexpr int kMostPairs = 6; // three lobes of Lanczos
struct PairWeights
{
    int pairs;                        // 2, 4 or 6
    std::int16_t weights[kMostPairs]; // from the inside out
};

struct RowPairs
{
    const void* rows[2 * kMostPairs]; // 2k and 2k + 1 are pair k
    bool isWord;
    int bits; // 8 of bytes, 9 to 12 of words
};

// Taps of a place a quarter of a sample behind one: of the samples from taps / 2 - 1 before that one on.
struct QuarterWeights
{
    int taps; // 2, 4 or 6
    std::int16_t weights[kMostPairs];
};

// Columns 0, 2, 4 ... and 1, 3, 5 ..., inCount words each, and their pads.
void SumRows(const RowPairs& inRows, const PairWeights& inWeights, std::int16_t* outEven,
             std::int16_t* outOdd, std::size_t inCount);

// Sums of sums: inCount words and what whole vectors write more, which the pads have room for. What sharp
// filters make beside black is below 0 in two's complement, -4096 at least.
void SumColumns(const std::int16_t* inEven, const std::int16_t* inOdd, const PairWeights& inWeights,
                std::uint16_t* outRow, std::size_t inCount);

// Even and odd columns by turns, inCount words of each: a row that isn't halved. 0 at least.
void JoinColumns(const std::int16_t* inEven, const std::int16_t* inOdd, std::uint16_t* outRow,
                 std::size_t inCount);

// Fills the pads of ioRow, words of 13 bits. 0 at least.
void ShiftByQuarter(std::uint16_t* ioRow, const QuarterWeights& inWeights, std::uint16_t* outRow,
                    std::size_t inCount);

// The name of the instruction set that these kernels run on now, from inside of one of them.
const char* HalvingTarget();

}
