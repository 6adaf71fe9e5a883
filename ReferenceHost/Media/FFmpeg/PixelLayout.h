// How FFmpeg's pixel formats lay out their components, as far as mapping and unpacking both ask.
//
// Thread-safety: pure functions.
#pragma once

#include "ReferenceHost/ImageRoutines/Planes.h"
#include "ReferenceHost/Media/FFmpeg/FFmpegTypes.h"

namespace Media
{

// Null for a number that is no format, and for formats that aren't made of pixels in memory.
const AVPixFmtDescriptor* DescriptorOf(int inPixelFormat);

// Bits of the deepest component; 8 for a palette.
int DeepestComponent(const AVPixFmtDescriptor& inDescriptor);

// The plane of a component in a planar description: G, B, R, A or Y, U, V, A or grey and A.
int PlaneOfComponent(const ir::PlanarDescription& inDescription, int inComponent);

} // namespace Media
