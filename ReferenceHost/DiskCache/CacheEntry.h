// One entry as a file: its bytes as they are, so that any program reads a cached picture, and behind them what
// tells that they are whole, and who made them.
//
//   bytes, name, tag          as they are
//   32 bytes, little-endian   size of the bytes (8), of name (4) and tag (4), maker (8), checksum of all (8)
//   8 bytes                   "VRCACHE2"
//
// A file that is short, long, torn, renamed or from elsewhere doesn't fit its own end.
//
// Thread-safety: functions are safe; an OpenedEntry is used by one thread at a time.
#pragma once

#include "ReferenceHost/DiskCache/FileDescriptor.h"
#include "norvik/utility/RecycledMemory.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace DiskCache
{

inline constexpr std::size_t kMaximumNameSize = 128;
inline constexpr std::size_t kMaximumTagSize = 16;

// Who made an entry: a number for the versions of all that takes part in what its bytes are. Another version
// may make other bytes under the same name.
using Maker = std::uint64_t;
Maker MakerOfText(std::string_view inVersions) noexcept;

// Whose an entry is that is opened.
enum class EntryState
{
    kUsable,
    kOfAnotherMaker, // whole, as far as its end tells
    kForeign,        // a file that is no entry of that name
    kGone
};

// How the names of files begin that are being written.
inline constexpr std::string_view kUnfinishedPrefix = ".unfinished-";

// What an entry is called. No name leads out of its directory, is hidden, or is the one of the mark.
struct EntryName
{
    std::string mName; // of letters, digits, '-' and '_'
    std::string mTag;  // of small letters and digits

    bool IsValid() const noexcept;
    // Whether it is the text of an id, as the names of frames are. People call no file so.
    bool IsOfID() const;
    std::string FileName() const { return mName + '.' + mTag; }

    // False if no entry can be called so.
    static bool FromFileName(std::string_view inFileName, EntryName& outName);
};

// What an entry with so many bytes takes as a file.
std::uint64_t FileSizeOf(const EntryName& inName, std::uint64_t inByteCount) noexcept;

// Begun below another name and renamed when everything is on the disk: nobody ever sees a part. False, and
// nothing left behind, if it can't be written; outError is then the system's number. inUsedNanoseconds, since
// the epoch, becomes the file's time: the system's own is too coarse for an order.
bool WriteEntryFile(int inDirectory, const EntryName& inName, Maker inMaker, const void* inBytes,
                    std::uint64_t inByteCount, std::int64_t inUsedNanoseconds, int& outError);

// Removes what a process left that died while it wrote; not what is being written. Names that aren't of
// unfinished entries are left alone, and give false.
bool RemoveIfAbandoned(int inDirectory, const char* inFileName);

// An entry whose end is in order. It can be read even when it is meanwhile dropped.
class OpenedEntry
{
public:
    // Only what is usable or of another maker can be read.
    EntryState Open(int inDirectory, const EntryName& inName, Maker inMaker);

    std::uint64_t ByteCount() const noexcept { return mByteCount; }

    // Empty if they are not what was written. Throws std::bad_alloc.
    std::shared_ptr<const norvik::utility::RecycledMemory> Read() const;

    // Notes on the disk that the entry was of use now, where that is allowed.
    void NoteUse(std::int64_t inNanoseconds) const noexcept;

private:
    bool ReadEnd(std::uint64_t inFileSize);

    FileDescriptor mFile;
    EntryName mName;
    std::uint64_t mByteCount = 0;
    std::uint64_t mChecksum = 0;
    Maker mMaker = 0;
};

} // namespace DiskCache
