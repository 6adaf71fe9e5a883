#include "ReferenceHost/DiskCache/CacheEntry.h"

#include "norvik/utility/Guid.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <cerrno>
#include <chrono>
#include <cstring>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/uio.h>

namespace DiskCache
{

namespace
{

using norvik::utility::RecycledMemory;

constexpr std::string_view kMark = "VRCACHE2";
constexpr std::size_t kEndSize = 32 + kMark.size();
constexpr mode_t kFileMode = 0600;

// Between a file's creation and its lock another process may take it for abandoned, which happens once at most
// to almost every file.
constexpr int kWriteTries = 3;

using End = std::array<unsigned char, kEndSize>;

void PutNumber(unsigned char* outBytes, std::uint64_t inValue, int inSize) noexcept
{
    for (int at = 0; at < inSize; ++at)
    {
        outBytes[at] = static_cast<unsigned char>(inValue >> (8 * at));
    }
}

std::uint64_t GetNumber(const unsigned char* inBytes, int inSize) noexcept
{
    std::uint64_t value = 0;
    for (int at = 0; at < inSize; ++at)
    {
        value |= std::uint64_t{inBytes[at]} << (8 * at);
    }
    return value;
}

// Every step can be undone, so that no single damage goes unseen; four lanes keep up with memory. It is there
// for accidents: who may write into the directory may write the checksum too.
class Checksum
{
public:
    void Mix(const void* inBytes, std::uint64_t inSize) noexcept
    {
        const auto* at = static_cast<const unsigned char*>(inBytes);
        std::uint64_t left = inSize;
        for (; left >= 32; left -= 32, at += 32)
        {
            for (std::size_t lane = 0; lane < mLanes.size(); ++lane)
            {
                std::uint64_t word = 0;
                std::memcpy(&word, at + lane * 8, 8);
                MixWord(mLanes[lane], word);
            }
        }
        for (; left != 0; --left, ++at)
        {
            MixWord(mLanes[left % mLanes.size()], *at);
        }
        MixWord(mLanes[0], inSize);
    }

    std::uint64_t Value() const noexcept
    {
        std::uint64_t value = 0;
        for (const std::uint64_t lane : mLanes)
        {
            MixWord(value, lane);
        }
        return value ^ (value >> 29);
    }

private:
    static void MixWord(std::uint64_t& ioLane, std::uint64_t inWord) noexcept
    {
        ioLane = std::rotl(ioLane ^ (inWord * 0x9E3779B97F4A7C15u), 31) * 0xC2B2AE3D27D4EB4Fu;
    }

    std::array<std::uint64_t, 4> mLanes{1, 2, 3, 4};
};

std::uint64_t ChecksumOf(const EntryName& inName, Maker inMaker, const void* inBytes,
                         std::uint64_t inByteCount) noexcept
{
    Checksum checksum;
    checksum.Mix(inBytes, inByteCount);
    checksum.Mix(inName.mName.data(), inName.mName.size());
    checksum.Mix(inName.mTag.data(), inName.mTag.size());
    checksum.Mix(&inMaker, sizeof inMaker);
    return checksum.Value();
}

End EndOf(const EntryName& inName, Maker inMaker, const void* inBytes, std::uint64_t inByteCount) noexcept
{
    End end{};
    PutNumber(&end[0], inByteCount, 8);
    PutNumber(&end[8], inName.mName.size(), 4);
    PutNumber(&end[12], inName.mTag.size(), 4);
    PutNumber(&end[16], inMaker, 8);
    PutNumber(&end[24], ChecksumOf(inName, inMaker, inBytes, inByteCount), 8);
    std::memcpy(&end[32], kMark.data(), kMark.size());
    return end;
}

bool IsLetterOrDigit(char inCharacter) noexcept
{
    return (inCharacter >= '0' && inCharacter <= '9') || (inCharacter >= 'A' && inCharacter <= 'Z') ||
           (inCharacter >= 'a' && inCharacter <= 'z');
}

bool WriteAll(int inFile, const void* inBytes, std::uint64_t inSize) noexcept
{
    const auto* at = static_cast<const char*>(inBytes);
    std::uint64_t left = inSize;
    while (left != 0)
    {
        const ssize_t written = ::write(inFile, at, left);
        if (written < 0 && errno == EINTR)
        {
            continue;
        }
        if (written <= 0)
        {
            return false;
        }
        at += written;
        left -= static_cast<std::uint64_t>(written);
    }
    return true;
}

bool ReadAll(int inFile, void* outBytes, std::uint64_t inSize, std::uint64_t inOffset) noexcept
{
    auto* at = static_cast<char*>(outBytes);
    std::uint64_t done = 0;
    while (done != inSize)
    {
        const ssize_t count = ::pread(inFile, at + done, inSize - done, static_cast<off_t>(inOffset + done));
        if (count < 0 && errno == EINTR)
        {
            continue;
        }
        if (count <= 0)
        {
            return false;
        }
        done += static_cast<std::uint64_t>(count);
    }
    return true;
}

// Processes that share a directory need not see each other's process ids, so the name has the time in it.
std::string NewUnfinishedName()
{
    static const std::int64_t sStart = std::chrono::system_clock::now().time_since_epoch().count();
    static std::atomic<std::uint64_t> sNumber{0};
    return fmt::format("{}{:x}-{:x}-{:x}", kUnfinishedPrefix, ::getpid(), sStart, sNumber.fetch_add(1));
}

void SetTime(int inFile, std::int64_t inNanoseconds) noexcept
{
    timespec times[2] = {};
    times[0].tv_nsec = UTIME_OMIT;
    times[1].tv_sec = static_cast<time_t>(inNanoseconds / 1000000000);
    times[1].tv_nsec = static_cast<long>(inNanoseconds % 1000000000);
    ::futimens(inFile, times);
}

bool WriteContent(int inFile, const EntryName& inName, Maker inMaker, const void* inBytes,
                  std::uint64_t inByteCount, std::int64_t inUsedNanoseconds)
{
    const End end = EndOf(inName, inMaker, inBytes, inByteCount);
    // The lock says to other processes that somebody is writing; it ends with this process.
    const bool isWritten =
        ::flock(inFile, LOCK_EX | LOCK_NB) == 0 && WriteAll(inFile, inBytes, inByteCount) &&
        WriteAll(inFile, inName.mName.data(), inName.mName.size()) &&
        WriteAll(inFile, inName.mTag.data(), inName.mTag.size()) && WriteAll(inFile, end.data(), end.size());
    SetTime(inFile, inUsedNanoseconds);
    return isWritten && ::fsync(inFile) == 0;
}

// 0, or the system's number.
int TryToWrite(int inDirectory, const EntryName& inName, Maker inMaker, const void* inBytes,
               std::uint64_t inByteCount, std::int64_t inUsedNanoseconds)
{
    const std::string unfinished = NewUnfinishedName();
    const FileDescriptor file(::openat(inDirectory, unfinished.c_str(),
                                       O_CREAT | O_EXCL | O_WRONLY | O_NOFOLLOW | O_CLOEXEC, kFileMode));
    if (!file)
    {
        return errno;
    }
    if (WriteContent(file.Get(), inName, inMaker, inBytes, inByteCount, inUsedNanoseconds) &&
        ::renameat(inDirectory, unfinished.c_str(), inDirectory, inName.FileName().c_str()) == 0)
    {
        return 0;
    }
    const int error = errno;
    ::unlinkat(inDirectory, unfinished.c_str(), 0);
    return error;
}

} // namespace

Maker MakerOfText(std::string_view inVersions) noexcept
{
    Checksum checksum;
    checksum.Mix(inVersions.data(), inVersions.size());
    return checksum.Value();
}

bool EntryName::IsValid() const noexcept
{
    const auto isOfName = [](char c) { return IsLetterOrDigit(c) || c == '-' || c == '_'; };
    const auto isOfTag = [](char c) { return IsLetterOrDigit(c) && !(c >= 'A' && c <= 'Z'); };
    return !mName.empty() && mName.size() <= kMaximumNameSize && !mTag.empty() &&
           mTag.size() <= kMaximumTagSize && std::all_of(mName.begin(), mName.end(), isOfName) &&
           std::all_of(mTag.begin(), mTag.end(), isOfTag);
}

bool EntryName::IsOfID() const
{
    return std::string_view(norvik::utility::Guid(std::string_view(mName)).AsUTF8String()) == mName;
}

bool EntryName::FromFileName(std::string_view inFileName, EntryName& outName)
{
    const std::size_t dot = inFileName.find('.');
    if (dot == std::string_view::npos)
    {
        return false;
    }
    outName = {std::string(inFileName.substr(0, dot)), std::string(inFileName.substr(dot + 1))};
    return outName.IsValid();
}

std::uint64_t FileSizeOf(const EntryName& inName, std::uint64_t inByteCount) noexcept
{
    return inByteCount + inName.mName.size() + inName.mTag.size() + kEndSize;
}

bool WriteEntryFile(int inDirectory, const EntryName& inName, Maker inMaker, const void* inBytes,
                    std::uint64_t inByteCount, std::int64_t inUsedNanoseconds, int& outError)
{
    for (int tries = 0; tries < kWriteTries; ++tries)
    {
        outError = TryToWrite(inDirectory, inName, inMaker, inBytes, inByteCount, inUsedNanoseconds);
        if (outError != ENOENT && outError != EWOULDBLOCK)
        {
            break;
        }
    }
    return outError == 0;
}

bool RemoveIfAbandoned(int inDirectory, const char* inFileName)
{
    if (std::string_view(inFileName).substr(0, kUnfinishedPrefix.size()) != kUnfinishedPrefix)
    {
        return false;
    }
    const FileDescriptor file(
        ::openat(inDirectory, inFileName, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (file && ::flock(file.Get(), LOCK_EX | LOCK_NB) == 0)
    {
        ::unlinkat(inDirectory, inFileName, 0);
    }
    return true;
}

EntryState OpenedEntry::Open(int inDirectory, const EntryName& inName, Maker inMaker)
{
    mName = inName;
    // Without O_NONBLOCK a pipe of that name would hold us up.
    mFile = FileDescriptor(
        ::openat(inDirectory, inName.FileName().c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!mFile)
    {
        return errno == ELOOP ? EntryState::kForeign : EntryState::kGone;
    }
    struct stat status = {};
    const bool isFile =
        ::fstat(mFile.Get(), &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == ::geteuid();
    if (!isFile || !ReadEnd(static_cast<std::uint64_t>(status.st_size)))
    {
        return EntryState::kForeign;
    }
    return mMaker == inMaker ? EntryState::kUsable : EntryState::kOfAnotherMaker;
}

bool OpenedEntry::ReadEnd(std::uint64_t inFileSize)
{
    const std::string names = mName.mName + mName.mTag;
    std::string foundNames(names.size(), '\0');
    End end{};
    if (inFileSize < FileSizeOf(mName, 0) ||
        !ReadAll(mFile.Get(), end.data(), end.size(), inFileSize - end.size()) ||
        !ReadAll(mFile.Get(), foundNames.data(), names.size(), inFileSize - end.size() - names.size()))
    {
        return false;
    }
    mByteCount = GetNumber(&end[0], 8);
    mMaker = GetNumber(&end[16], 8);
    mChecksum = GetNumber(&end[24], 8);
    return std::memcmp(&end[32], kMark.data(), kMark.size()) == 0 && foundNames == names &&
           GetNumber(&end[8], 4) == mName.mName.size() && GetNumber(&end[12], 4) == mName.mTag.size() &&
           mByteCount == inFileSize - FileSizeOf(mName, 0);
}

std::shared_ptr<const RecycledMemory> OpenedEntry::Read() const
{
    const std::shared_ptr<RecycledMemory> bytes = RecycledMemory::Create();
    bytes->Allocate(mByteCount);
    if (!ReadAll(mFile.Get(), bytes->Buffer(), mByteCount, 0) ||
        ChecksumOf(mName, mMaker, bytes->Buffer(), mByteCount) != mChecksum)
    {
        return nullptr;
    }
    return bytes;
}

void OpenedEntry::NoteUse(std::int64_t inNanoseconds) const noexcept
{
    SetTime(mFile.Get(), inNanoseconds);
}

} // namespace DiskCache
