#pragma once

#include <cstddef>
#include <cstdint>

#include "ReferenceHost/ImageRoutines/FloatRows.h"

// Blend modes on rows of floats: the way of every picture that has no kernel of its own.
//
// Rows are as those of FloatRows.h, with room for a whole vector behind the width. Arithmetic is that of IEEE
// single precision without fused operations, so that every instruction set gives the same bits.
//
// Thread-safety: pure functions on the caller's rows; safe.
namespace ir
{

struct BlendPlan
{
    std::uint32_t mode = 18; // kIR_Blend_Normal
    float opacity = 1.0F;
    const float* coverage = nullptr; // a number for each pixel, null: 1; of rows of floats
    bool isStraight = false;         // the backdrop, and so the result; otherwise premultiplied
    bool isOpaque = false;           // the result's alpha is 1 whatever it comes to
    bool isEmpty = false;            // of rows of bytes: the backdrop has no picture
    bool isLimited = false;          // B to 0..1
    float mostAlpha = 0.0F;          // the code that alpha 1 has in memory, 0 for floats
    std::int32_t x = 0;              // of the first pixel, for dissolve
    std::int32_t y = 0;
};

// inSource: premultiplied R G B A (Y U V A too for normal and dissolve). ioBackdrop: what it's laid on, and
// then the result.
void BlendRow(const BlendPlan& inPlan, const FloatRow& inSource, const FloatRow& ioBackdrop,
              std::size_t inWidth);

// The same on packed 8-bit R, G and B, without rows of floats between. inSource: premultiplied B G R A.
// inCoverage: 255 is all; null: all of it. Nothing beyond inWidth pixels is touched.
void BlendByteRow(const BlendPlan& inPlan, const std::uint8_t* inSource, const std::uint8_t* inCoverage,
                  std::uint8_t* ioTarget, std::size_t inWidth);

const char* BlendRowsTarget();

}
