// Black, in the coding of each format.
#pragma once

#include "ReferenceHost/FrameLibrary/VideoFrame.h"

namespace VF
{

// Every pixel to black: with inClearAlpha transparent (alpha 0), else opaque. Padding is written too, so
// that whole rows may be read.
//
// Thread-safety: safe on distinct frames.
void ClearPixels(const FramePixels& inFrame, bool inClearAlpha) noexcept;

} // namespace VF
