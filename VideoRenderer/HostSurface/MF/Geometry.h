// Pixel aspect arithmetic of rectangles.
//
// Thread-safety: pure functions.
#pragma once

#include "TVK/ParamTypes.h"
#include "norviktypes/PixelAspectRatio.h"

namespace MF
{

// The rectangle in square pixels: its width times the ratio, rounded to nearest; the height stays.
// A ratio with a zero counts as square.
TVK::Rect AdjustPixelAspectRectToSquarePixelRect(const TVK::Rect& inRect,
                                                 const norviktypes::PixelAspectRatio& inRatio) noexcept;

// The ratio of a frame of inFrame that was asked for as inRequested and came out of a downsample
// which is not the same in both axes: inRatio * (requested width / height) / (frame width / height),
// reduced. Equal rectangles, a uniform downsample and empty rectangles leave inRatio as it is, bit
// for bit. A result too large for 32 bits is rounded to the nearest ratio that fits.
norviktypes::PixelAspectRatio
AdjustPixelAspectRatioForNonUniformDownsample(const norviktypes::PixelAspectRatio& inRatio,
                                              const TVK::Rect& inRequested,
                                              const TVK::Rect& inFrame) noexcept;

} // namespace MF
