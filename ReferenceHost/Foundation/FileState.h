// What tells that a file was exchanged or written again since somebody looked at it.
//
// Thread-safety: a value; looking is safe.
#pragma once

#include <cstdint>
#include <string>

namespace Foundation
{

struct FileState
{
    std::int64_t mModified = 0; // nanoseconds since the epoch
    std::int64_t mBytes = -1;   // -1: there is no such file

    friend bool operator==(const FileState&, const FileState&) = default;
};

// By one look at the file system; symbolic links are followed.
FileState LookAtFile(const std::string& inPath);

} // namespace Foundation
