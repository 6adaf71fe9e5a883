#pragma once

#include "Platform.h"
#include "norvik/utility/StringTypes.h"

// Paths as wide text. '/' separates; '\' is understood as well when reading, as documents made elsewhere
// have it.
//
// Thread-safety: pure functions.
namespace TVK::PathUtils
{

// The path with a '/' at its end; unchanged if it ends in a separator or is empty.
ML_EXPORT norvik::WString AddTrailingSlash(const norvik::WString& inPath);

// What follows the last separator, extension included; empty for a path that ends in one.
ML_EXPORT norvik::WString GetFilePart(const norvik::WString& inPath);
ML_EXPORT norvik::WString GetFullFilePart(const norvik::WString& inPath);

} // namespace TVK::PathUtils
