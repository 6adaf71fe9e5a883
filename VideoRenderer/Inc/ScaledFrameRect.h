// How large a clip's picture lies on its sequence.
//
// Thread-safety: pure function.
#pragma once

#include "TVK/ParamTypes.h"
#include "norviktypes/PixelAspectRatio.h"

#include <cstdint>

namespace ML
{

// Sets outRect to the picture's rectangle in pixels of what is rendered. A picture of its own size begins where
// inFrameRect does, a stretched one where inDestRect does, any other where outRect begins already.
//
// inPolicy      kScaleToFrame_ of BE/IClip.h.
// inScaleX, inScaleY  of the render: output size over full size.
// inOutputRect, inOutputRatio  the full size, against which a picture is fitted.
// inDestRect, inDestRatio      what is rendered, and the shape of its pixels.
// inPairLines   an odd height grows by one, so that both fields have as many lines.
//
// Never narrower than 2 pixels nor lower than 1, whatever is divided by what. A picture of its own size gets an
// even width where it is made smaller for an output of even width, as subsampled formats want it.
void ComputeScaledFrameRect(const TVK::Rect& inFrameRect, const norviktypes::PixelAspectRatio& inFrameRatio,
                            std::uint32_t inPolicy, double inScaleX, double inScaleY,
                            const TVK::Rect& inOutputRect, const norviktypes::PixelAspectRatio& inOutputRatio,
                            const TVK::Rect& inDestRect, const norviktypes::PixelAspectRatio& inDestRatio,
                            bool inPairLines, TVK::Rect& outRect);

} // namespace ML
