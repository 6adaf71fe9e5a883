// What makes a directory a cache directory: made, ours, closed to others, and marked.
//
// Thread-safety: safe.
#pragma once

#include "ReferenceHost/DiskCache/FileDescriptor.h"

#include <string>

namespace DiskCache
{

// The directory, opened, with the mark in it. Empty if it can't be made, is another user's, is a symbolic link,
// or holds files and no mark; outWhyNot then says so in a line.
FileDescriptor OpenCacheDirectory(const std::string& inPath, std::string& outWhyNot);

} // namespace DiskCache
