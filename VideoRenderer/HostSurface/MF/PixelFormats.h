// The pixel formats under the media library's name.
#pragma once

#include "norviktypes/PixelFormat.h"

namespace MF
{

#define MF_ALIAS_PIXEL_FORMAT(name, fourcc, properties) using norviktypes::kPixelFormat_##name;
NORVIK_PIXEL_FORMATS(MF_ALIAS_PIXEL_FORMAT)
#undef MF_ALIAS_PIXEL_FORMAT
using norviktypes::kPixelFormat_Any;
using norviktypes::kPixelFormat_Invalid;

} // namespace MF
