#pragma once

#include <cstddef>
#include <cstdint>

#include "ReferenceHost/ImageRoutines/Picture.h"

// Rows of float components: what every conversion goes through that has no kernel of its own.
//
// A row has four planes of floats, R G B A or Y U V A as the header of the image routines tells their values,
// all at full chroma resolution. Arithmetic is that of IEEE single precision without fused operations, so
// that every instruction set gives the same bits. Reading, writing and the arithmetic between are a source
// each.
//
// Thread-safety: pure functions on the caller's rows; safe.
namespace ir
{

struct FloatRow
{
    float* c[4];
};

// Whoever makes the rows of a picture, asked once for each from the top down. A row is good until the next is
// asked for.
class IRowSource
{
public:
    virtual ~IRowSource() = default;
    virtual FloatRow Read(std::int32_t inY) const = 0;
};

// Code and value: value = (code - offset) * factor.
struct FloatRange
{
    float offset;
    float factor;
};

inline FloatRange FloatRangeOf(const ComponentRange& inRange) noexcept
{
    return {static_cast<float>(inRange.offset), static_cast<float>(1.0 / inRange.scale)};
}

// What happens between reading a row and writing it, in this order.
struct RowPlan
{
    bool multipliesFirst = false; // colour times alpha
    float gain = 1.0F;            // colour times this
    bool dropsAlpha = false;      // alpha becomes 1
    bool divides = false;         // colour by alpha, 0 where alpha is 0
    bool hasMatrix = false;
    float matrix[3][3] = {};
    bool decodes = false; // the curve taken away after the matrix
    bool encodes = false; // the curve put on after the matrix
    bool hasSecondMatrix = false;
    float secondMatrix[3][3] = {};
    bool multipliesLast = false;
};

RowPlan PlanFor(const Picture& inSource, const Picture& inTarget);

// Row inY of a picture of any storage, chroma interpolated. outRow has room for the width; ioScratch for two
// rows.
void ReadFloatRow(const Picture& inPicture, std::int32_t inY, const FloatRow& outRow, float* ioScratch);

void ApplyPlan(const RowPlan& inPlan, const FloatRow& ioRow, std::size_t inWidth);

// C = (C - M (1 - a)) / a.
void TakeMatteAway(const FloatRow& ioRow, const float inMatte[3], std::size_t inWidth);

// Everything of a row of a picture whose chroma isn't subsampled; otherwise luma and alpha only.
void WriteFloatRow(const Picture& inPicture, std::int32_t inY, const FloatRow& inRow);

// Luma alone, of a row of a picture that has no alpha.
void CopyLumaRow(const Picture& inSource, const Picture& inTarget, std::int32_t inY, float* ioScratch);

// U or V at chroma width of a row of the picture, interpolated between rows in memory.
void ReadChromaRow(const Picture& inPicture, int inComponent, std::int32_t inY, float* outRow,
                   float* ioScratch);

// Any component of a row in memory, at its own width.
void ReadMemoryRow(const Picture& inPicture, int inComponent, std::int32_t inRow, float* outRow);

// A row of chroma width at full width.
void WidenChromaRow(const Picture& inPicture, const float* inRow, float* outRow);

// One row in memory of a subsampled picture's U and V, of chroma width.
void WriteChromaRow(const Picture& inPicture, std::int32_t inChromaRow, const float* inU, const float* inV);

// Halves (or quarters) a full-resolution chroma row: the triangle of twice a chroma sample's width.
void ShrinkChromaRow(const Picture& inTarget, const float* inFull, float* outRow);

// Adds a row times a weight; sets it if inIsFirst.
void AccumulateRow(const float* inRow, float inWeight, bool inIsFirst, float* ioSum, std::size_t inCount);

// Every row of a picture of any storage, chroma filtered down. The rows are of the picture's kind.
void WriteRows(const Picture& inTarget, const IRowSource& inRows);

// The instruction set that the arithmetic, the reading and the writing run on now, each from inside of it.
const char* FloatRowsTarget();
const char* FloatRowsReadTarget();
const char* FloatRowsWriteTarget();

}
