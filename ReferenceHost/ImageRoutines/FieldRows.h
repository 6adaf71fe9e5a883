#pragma once

#include <cstddef>
#include <cstdint>

#include "ReferenceHost/ImageRoutines/Picture.h"

// Rows made from the rows above and below: the kernels under the field routines.
//
// Rows are taken as they lie in memory, a plane at a time. Integer means are rounded up at half and are the same
// on every instruction set; floats are IEEE single precision without fused operations. Straight colour counts by
// its alpha: C = (C1 A1 w1 + C2 A2 w2 ...) / (A1 w1 + A2 w2 ...), rounded once; where the alphas are equal, or
// their weighted sum isn't above 0, it is the plain mean, as alpha itself always is.
//
// outRow is none of the rows read. The reference namespace has the same rows a sample at a time.
//
// Thread-safety: pure functions on the caller's rows; safe.
namespace ir
{

enum class FieldRowKind : std::uint8_t
{
    kBytes,
    kWords,
    kFloats,
    kTenBits,       // v210: three fields in each 32-bit word
    kStraightBytes, // four components a pixel, the last one alpha
    kStraightWords,
    kStraightFloats,
};

// How integer samples lie in 32-bit words, for arithmetic on all of a word at once.
struct PackedFields
{
    std::uint32_t belowTop; // every bit but the highest of each sample
    std::uint32_t first;    // samples with room above them once the others are masked away
    std::uint32_t second;   // the others, shifted down by bits
    std::uint32_t two;      // 2 in each of the first samples
    std::int32_t bits;      // from one sample to the next
    std::int32_t count;     // samples in a word
};
inline constexpr PackedFields kByteFields = {0x7F7F7F7F, 0x00FF00FF, 0x00FF00FF, 0x00020002, 8, 4};
inline constexpr PackedFields kWordFields = {0x7FFF7FFF, 0x0000FFFF, 0x0000FFFF, 0x00000002, 16, 2};
inline constexpr PackedFields kTenBitFields = {0x1FF7FDFF, 0x3FF003FF, 0x000003FF, 0x00200002, 10, 3};

// Of a plane of the picture.
FieldRowKind FieldRowKindOf(const Picture& inPicture) noexcept;

// (above + below) / 2
void MeanRow(FieldRowKind inKind, const void* inAbove, const void* inBelow, void* outRow,
             std::size_t inBytes);

// (above + 2 here + below) / 4
void SmoothRow(FieldRowKind inKind, const void* inAbove, const void* inHere, const void* inBelow,
               void* outRow, std::size_t inBytes);

// Four neighbouring rows of a field, the row that is wanted lying in their middle.
struct FilterTaps
{
    const void* outerAbove;
    const void* above;
    const void* below;
    const void* outerBelow;
};

// What lies in such rows: samples of inStep components, one after the other.
struct FilterSamples
{
    Sample sample;
    std::int32_t bits; // of an integer sample, 8 to 16
    bool isChroma;
    std::size_t step;
    std::size_t count; // of all components
};

// Rows to work with: each of count + 2 kFilterPad four-byte numbers and a vector's room behind them.
inline constexpr std::size_t kFilterWorkRows = 3;
inline constexpr std::size_t kFilterPad = 8;

// Disagreement, in steps of an eight-bit sample, from which on a row is smoothed, and how much more smooths it
// wholly. Chroma disagrees more before it is worth while, as its samples lie further apart.
struct FilterLimits
{
    std::int32_t first;
    std::int32_t bitsOfRange;
};
inline constexpr FilterLimits kLumaLimits = {8, 4};
inline constexpr FilterLimits kChromaLimits = {24, 7};

// The row in the middle of four, as edges and noise allow. With the sum m of the two inner samples and its excess
// c over the sum of the outer ones, (8 m + c) / 16 continues what is smooth. Where the inner rows disagree, at noise
// and at edges, that oversteps: there (16 m + c) / 32, smoothed along the row by 1, 2, 1, comes closer. The sum of
// the differences of the inner rows at the sample and its neighbours in the row tells how far to go from one to the
// other. Beyond the sides the last sample is repeated.
//
// Integers: 16ths of a step are rounded at half, upwards, then codes likewise; they are held within their bits.
void FilterRow(const FilterSamples& inSamples, const FilterTaps& inTaps, void* outRow,
               void* const (&ioWork)[kFilterWorkRows]);

// Components of packed pixels, a row for each.
struct ComponentRows
{
    void* c[4];
};

// The name of the instruction set that these kernels run on now, from inside of one of them.
const char* FieldRowsTarget();
const char* FilterRowsTarget();

namespace reference
{

void MeanRow(FieldRowKind inKind, const void* inAbove, const void* inBelow, void* outRow,
             std::size_t inBytes);
void SmoothRow(FieldRowKind inKind, const void* inAbove, const void* inHere, const void* inBelow,
               void* outRow, std::size_t inBytes);
// One sample of it, of the columns to the left, here and to the right; four rows each.
double FilteredSample(const FilterSamples& inSamples, const double (&inColumns)[3][4]);
void FilterRow(const FilterSamples& inSamples, const FilterTaps& inTaps, void* outRow);

}

}
