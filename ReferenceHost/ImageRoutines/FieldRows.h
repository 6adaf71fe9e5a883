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

// Holds each sample (each component) between those of the two rows.
void HoldBetweenRows(FieldRowKind inKind, const void* inAbove, const void* inBelow, void* ioRow,
                     std::size_t inBytes);

// Samples that lie together in a pixel, a row for each component. Each row has kEdgePad samples in front and
// behind that repeat its first and last one, and a vector's room behind these.
inline constexpr std::size_t kEdgePad = 8;
struct ComponentRows
{
    void* c[4];
};

// The slope of an edge at each pixel, out of -2 to 2, and what lies on both ends of it: of inAbove the samples at
// x + slope, of inBelow those at x - slope. The cost of a slope is the sum of the differences between the two, of
// all components, at the pixel and its left and right neighbour; the single least cost wins, and 0 where there is
// none. Costs of floats are summed in single precision: components first, (1 + 2) + (3 + 4), then the
// neighbours, (left + right) + the pixel.
//
// inComponents: 1, 2 or 4. ioCosts are five rows of inWidth + 2 four-byte sums and, like the out rows, a vector's
// room behind.
void SelectAlongEdges(Sample inSample, std::size_t inComponents, const ComponentRows& inAbove,
                      const ComponentRows& inBelow, const ComponentRows& outAbove,
                      const ComponentRows& outBelow, std::size_t inWidth, void* const ioCosts[5]);

// Four-component pixels to a row for each component, and back. Rows have a vector's room behind.
void SplitFourRow(Sample inSample, const void* inPixels, const ComponentRows& outRows, std::size_t inWidth);
void JoinFourRow(Sample inSample, const ComponentRows& inRows, void* outPixels, std::size_t inWidth);

// The name of the instruction set that these kernels run on now, from inside of one of them.
const char* FieldRowsTarget();
const char* EdgeRowsTarget();

namespace reference
{

void MeanRow(FieldRowKind inKind, const void* inAbove, const void* inBelow, void* outRow,
             std::size_t inBytes);
void SmoothRow(FieldRowKind inKind, const void* inAbove, const void* inHere, const void* inBelow,
               void* outRow, std::size_t inBytes);
void HoldBetweenRows(FieldRowKind inKind, const void* inAbove, const void* inBelow, void* ioRow,
                     std::size_t inBytes);
void SelectAlongEdges(Sample inSample, std::size_t inComponents, const ComponentRows& inAbove,
                      const ComponentRows& inBelow, const ComponentRows& outAbove,
                      const ComponentRows& outBelow, std::size_t inWidth);

}

}
