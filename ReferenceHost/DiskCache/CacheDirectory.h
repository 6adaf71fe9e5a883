// Where this process keeps what can be made again, as BE::IDirectories answers it.
//
// Thread-safety: safe.
#pragma once

#include <string>

namespace DiskCache
{

// VideoRenderer in XDG_CACHE_HOME, which has to be absolute, or in .cache of HOME. Empty if there is neither.
std::string UsualCacheDirectory();

// Absolute or from the working directory. Empty takes the usual one again.
void SetCacheDirectory(const std::string& inPath);

// Empty if there is none.
std::string GetCacheDirectory();

} // namespace DiskCache
