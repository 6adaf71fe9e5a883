// What makes a directory a cache directory: made, ours, closed to others, and marked.
//
// Thread-safety: safe.
#pragma once

#include "ReferenceHost/DiskCache/FileDescriptor.h"

#include <string>
#include <string_view>

namespace DiskCache
{

// The file that is the mark.
inline constexpr std::string_view kMarkName = "CACHEDIR.TAG";

// The directory, opened, with the mark in it. Empty if it can't be made, is another user's, is a symbolic link,
// or holds files and no mark; outWhyNot then says so in a line.
FileDescriptor OpenCacheDirectory(const std::string& inPath, std::string& outWhyNot);

} // namespace DiskCache
