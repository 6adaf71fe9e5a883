// A file, or a part of one that is a file of its own, as archives hold what they don't compress.
//
//   /edits/film.otioz//1048+5242880/media/shot.mov
//
// stands for the 5242880 bytes from byte 1048 of /edits/film.otioz. What follows the numbers is a name, for people.
// Wherever this host takes the path of a medium it takes the text of a part, too; of a file with that very path
// there is no part.
//
// Thread-safety: functions are safe; an OpenedPart may be read from several threads.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>

struct stat;

namespace Media
{

struct FilePart
{
    std::string mPath;
    std::int64_t mOffset = 0;
    std::int64_t mSize = -1; // -1: the whole file
};

std::string TextOfPart(const FilePart& inPart, const std::string& inName);

// The whole file inText where that is no text of a part.
FilePart ParseFilePart(const std::string& inText);

// As stat() of a file of its own. False with errno set: ENODATA for a part that reaches beyond its file.
bool StatFilePart(const std::string& inText, struct stat& outFacts);

// A file or part, opened for reading. Positions count from its first byte.
class OpenedPart
{
public:
    OpenedPart() = default;
    ~OpenedPart();
    OpenedPart(const OpenedPart&) = delete;
    OpenedPart& operator=(const OpenedPart&) = delete;

    // False with errno set. What isn't a regular file has no size: there Size() is -1.
    bool Open(const std::string& inText);

    std::int64_t Size() const noexcept { return mSize; }

    // As pread(): bytes that were read, fewer only at the end, where it is 0; or -1 with errno set.
    std::ptrdiff_t Read(void* outBytes, std::size_t inCount, std::int64_t inPosition) const;

    // As Read where the system has these bytes in memory; where it would wait for a disk, -1 with errno EAGAIN.
    // EOPNOTSUPP: for this file it can't tell.
    std::ptrdiff_t ReadFromMemory(void* outBytes, std::size_t inCount, std::int64_t inPosition) const;

    // Has the system read these bytes into its memory, without waiting for them.
    void ReadAhead(std::int64_t inPosition, std::int64_t inCount) const noexcept;

private:
    std::ptrdiff_t ReadWith(int inFlags, void* outBytes, std::size_t inCount, std::int64_t inPosition) const;

    int mFile = -1;
    std::int64_t mOffset = 0;
    std::int64_t mSize = -1;
    std::int64_t mEnd = std::numeric_limits<std::int64_t>::max(); // of a whole file, which may grow, none
};

} // namespace Media
