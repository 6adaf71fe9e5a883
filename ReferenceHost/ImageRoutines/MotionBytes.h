#pragma once

#include <cstddef>
#include <cstdint>

#include "ReferenceHost/ImageRoutines/MotionGeometry.h"

// Motion of 8-bit pictures without a detour through floats.
//
// Places are whole numbers with 32 bits behind the point, weights have 15 bits and pixels 7 bits behind the
// point of a code: the sums are less than a tenth of a code from the exact ones before they are rounded to
// bytes. Every instruction set gives the same bytes, and so do the twins.
//
// Thread-safety: pure functions on the caller's rows; safe.
namespace ir
{

struct ByteSource
{
    const std::uint8_t* pixels;
    std::ptrdiff_t stride;
    std::int32_t width;
    std::int32_t height;
    bool isOpaque;   // alpha is not read
    bool isStraight; // colour is multiplied by alpha, which is right where no colour is 0
};

ByteSource ByteSourceOf(const Picture& inPicture) noexcept;

// Whether addresses within the picture can be told in 31 bits, as the kernels do.
bool IsWithinReach(const Picture& inPicture) noexcept;

// A place along a row of the target, from the middle of the source's first pixel on, in units of 2^-32 pixel.
struct BytePlace
{
    std::int64_t start; // at the middle of column 0
    std::int64_t step;
};

BytePlace PlaceAlong(const MotionAxis& inAxis, std::int32_t inRow) noexcept;

// Bilinear pixels of a row from column inFirst on, premultiplied; beyond an edge the edge's. True if all of
// them are opaque.
bool SampleBytes(const ByteSource& inSource, const BytePlace& inU, const BytePlace& inV, std::int32_t inFirst,
                 std::uint8_t* outPixels, std::size_t inCount);

// Means of squares of four pixels of two rows, premultiplied; the sum is rounded once. True if all are
// opaque.
bool HalveBytes(const ByteSource& inSource, const std::uint8_t* inUpper, const std::uint8_t* inLower,
                std::uint8_t* outPixels, std::size_t inCount);

const char* MotionBytesTarget();

namespace reference
{

bool SampleBytes(const ByteSource& inSource, const BytePlace& inU, const BytePlace& inV, std::int32_t inFirst,
                 std::uint8_t* outPixels, std::size_t inCount);
bool HalveBytes(const ByteSource& inSource, const std::uint8_t* inUpper, const std::uint8_t* inLower,
                std::uint8_t* outPixels, std::size_t inCount);

}

}
