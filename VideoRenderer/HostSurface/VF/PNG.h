// Frames as PNG bytes, losslessly.
//
// Ancillary text chunks keep what the picture lacks (format, pixel aspect, field and alpha type,
// origin), so that reading gives back the frame that was written.
//
// Thread-safety: safe.
#pragma once

#include "MF/IVideoFrame.h"
#include "norvik/utility/RecycledMemory.h"

#include <memory>

namespace VF
{

// Empty for a format that PNG samples of 8 and 16 bits cannot hold exactly (32-bit floats).
std::shared_ptr<const norvik::utility::RecycledMemory> CompressPNG(const MF::IVideoFrameRef& inFrame);

// The frame that CompressPNG was given. Empty for bytes that are not such a picture, torn or foreign
// ones included.
MF::IVideoFrameRef DecompressPNG(const std::shared_ptr<const norvik::utility::RecycledMemory>& inBytes);

} // namespace VF
