// Who makes the entries of this process: what its programs and libraries make of a picture depends on their
// versions, and frames of others are not to be taken for its own.
//
// Thread-safety: safe; a cache takes the maker that is set when it's opened.
#pragma once

#include "ReferenceHost/DiskCache/CacheEntry.h"

#include <string_view>

namespace DiskCache
{

// All versions that matter, in one text.
void SetMaker(std::string_view inVersions) noexcept;

// That of the empty text until one is set.
Maker GetMaker() noexcept;

} // namespace DiskCache
