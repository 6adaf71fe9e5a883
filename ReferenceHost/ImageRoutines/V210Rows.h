#pragma once

#include <cstddef>
#include <cstdint>

#include "ReferenceHost/ImageRoutines/Picture.h"

// One component (0 Y, 1 U, 2 V) of a row of v210, whose groups of 16 bytes hold six pixels in twelve fields
// of ten bits: as floats, and back.
//
// Thread-safety: pure functions on the caller's rows; safe.
namespace ir
{

// inCount: pixels, or chroma samples.
void ReadV210Row(const Picture& inPicture, int inComponent, std::int32_t inRow, float* outRow,
                 std::size_t inCount);

// Leaves the other components' fields alone. Places of the last group beyond inCount repeat the last value.
void WriteV210Row(const Picture& inPicture, int inComponent, std::int32_t inRow, const float* inValues,
                  std::size_t inCount);

}
