#pragma once

#include <cstdint>

#include "ReferenceHost/ImageRoutines/Picture.h"

// Stretches of pixels laid on a row of a picture: where every routine that draws one picture over another
// ends.
//
// The pixels to lay are premultiplied and of the target's own model, coding and range, packed as the target
// packs them (B G R A or V U Y A); bytes hold codes, so that chroma without colour is 128 and narrow black
// is 16. Opacity and coverage multiply all four components. The target has four components; its alpha may be
// straight, premultiplied or opaque (reads as 1, is written as 1). The result is what IR/BlendModes.h says;
// without a picture to lay on (targetHasPicture false) the stretch is replaced as if the target were
// transparent there, which on an opaque target is black. Of straight targets a pixel whose alpha becomes 0
// becomes black.
//
// x and y count from the top left of the target; the stretch lies within the row. Nothing beside the
// stretch is written. Bytes are the same on every processor.
//
// Thread-safety: safe on different rows or stretches; throws std::bad_alloc where a mode needs rows of
// floats.
namespace ir
{

struct ComposeSettings
{
    float opacity = 1.0F;         // 0..1
    std::uint32_t blendMode = 18; // kIR_Blend_Normal
    bool targetHasPicture = true;
};

// Whether a number is one of IR/BlendModes.h.
bool IsBlendMode(std::uint32_t inMode) noexcept;

// 8-bit targets. inCoverage: 255 is all; null: all of it.
void ComposeByteRow(const std::uint8_t* inPremultiplied, const std::uint8_t* inCoverage,
                    const ComposeSettings& inSettings, const Picture& ioTarget, std::int32_t inX,
                    std::int32_t inY, std::int32_t inCount);

// Targets of any depth. inPremultiplied: four floats a pixel as the head of IR/ImageRoutines.h tells their
// values; inCoverage: 1 is all; null: all of it.
void ComposeFloatRow(const float* inPremultiplied, const float* inCoverage, const ComposeSettings& inSettings,
                     const Picture& ioTarget, std::int32_t inX, std::int32_t inY, std::int32_t inCount);

}
