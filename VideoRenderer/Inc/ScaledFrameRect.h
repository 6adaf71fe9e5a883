// How large a clip's picture lies on its sequence.
//
// Thread-safety: pure function.
#pragma once

#include "TVK/ParamTypes.h"
#include "norviktypes/PixelAspectRatio.h"

#include <cstdint>

namespace ML
{

// Sets outRect to the picture's rectangle in output pixels: width and height, at the place where outRect
// begins already.
//
// inPolicy      kScaleToFrame_ of BE/IClip.h.
// inScaleX, inScaleY  of the render: output size over full size.
// inOutputRect, inOutputRatio  the full size that a fitted or filling picture is measured against.
// inDestRect, inDestRatio      what is rendered, and the shape of its pixels.
// inPairLines   an odd height grows by one, so that both fields have as many lines.
//
// Never narrower than 2 pixels nor lower than 1. All arithmetic of a picture that is not fitted is in 32-bit
// floats, so that every caller gets the same rectangle.
void ComputeScaledFrameRect(const TVK::Rect& inFrameRect, const norviktypes::PixelAspectRatio& inFrameRatio,
                            std::uint32_t inPolicy, double inScaleX, double inScaleY,
                            const TVK::Rect& inOutputRect, const norviktypes::PixelAspectRatio& inOutputRatio,
                            const TVK::Rect& inDestRect, const norviktypes::PixelAspectRatio& inDestRatio,
                            bool inPairLines, TVK::Rect& outRect);

} // namespace ML
