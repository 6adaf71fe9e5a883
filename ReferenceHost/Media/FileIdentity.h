// What tells one version of a file from another.
//
// Thread-safety: safe.
#pragma once

#include "norvik/utility/Guid.h"

#include <cstdint>
#include <string>

namespace Media
{

struct FileIdentity
{
    bool mExists = false;
    bool mIsDirectory = false;
    std::uint64_t mSize = 0;
    std::int64_t mModifiedNanoseconds = 0; // since the epoch

    friend bool operator==(const FileIdentity&, const FileIdentity&) noexcept = default;
};

// By one look at the file system; symbolic links are followed.
FileIdentity IdentifyFile(const std::string& inPath);

// Absolute where the system can say so; else as it is.
std::string AbsolutePath(const std::string& inPath);

// A digest of absolute path, size, modification time and inDetail (the stream, the settings): equal digests
// are equal content, for cache keys. Never zero.
TVK::Guid ContentIDOfFile(const std::string& inPath, const std::string& inDetail);

} // namespace Media
