#pragma once

#include <cstddef>
#include <cstdint>

#include "ReferenceHost/ImageRoutines/FloatRows.h"
#include "ReferenceHost/ImageRoutines/MotionFilter.h"

// The kernels of motion: rows of packed pixels, four components each.
//
// Floats are added and multiplied in one order without fused operations, so that every instruction set gives
// the same bits; bytes are exact integers.
//
// Thread-safety: pure functions on the caller's rows; safe.
namespace ir
{

// Planes of components to packed pixels in memory order. Planes have room for a whole vector more.
void PackFloatRow(const FloatRow& inRow, float* outPixels, std::size_t inPixels);

// outPixels[i] = the sum of taps i over inPixels, whose first is pixel inFirst of the axis.
void FilterColumns(const float* inPixels, std::int32_t inFirst, const MotionTaps* inTaps,
                   const float* inWeights, float* outPixels, std::size_t inCount);

// Pixels of floats that a turned picture is sampled from.
struct SampleGrid
{
    const float* pixels;
    std::ptrdiff_t pitch; // floats
    std::int32_t left;    // what the first pixel is called
    std::int32_t top;
};

// How a place of the target becomes one of the grid, along one axis.
struct SampleAxis
{
    double start; // at the middle of column 0
    double step;
    double width;               // of the target pixel, in pixels of the grid, at least 1
    const MotionPhases* phases; // null: MotionFilter::kArea
};

// The filtered pixels of a row from column inFirst on. The grid holds whatever they are made of.
void SampleRow(const SampleGrid& inGrid, const SampleAxis& inU, const SampleAxis& inV, std::int32_t inFirst,
               float* outPixels, std::size_t inCount);

const char* MotionRowsTarget();

}
