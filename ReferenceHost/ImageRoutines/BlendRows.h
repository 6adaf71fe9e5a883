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
    const float* coverage = nullptr; // a number for each pixel, null: 1
    bool isStraight = false;         // the backdrop, and so the result; otherwise premultiplied
    bool isOpaque = false;           // the result's alpha is 1 whatever it comes to
    bool isLimited = false;          // B to 0..1
    float mostAlpha = 0.0F;          // the code that alpha 1 has in memory, 0 for floats
    std::int32_t x = 0;              // of the first pixel, for dissolve
    std::int32_t y = 0;
};

// inSource: premultiplied R G B A (Y U V A too for normal and dissolve). ioBackdrop: what it's laid on, and
// then the result.
void BlendRow(const BlendPlan& inPlan, const FloatRow& inSource, const FloatRow& ioBackdrop,
              std::size_t inWidth);

const char* BlendRowsTarget();

}
