#include "ReferenceHost/DiskCache/ManagedDirectory.h"

#include "ReferenceHost/DiskCache/DirectoryMark.h"
#include "norvik/logging/Logging.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <system_error>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

namespace MF::DiskCacheManager
{

namespace
{

using DiskCache::EntryName;
using DiskCache::EntryState;
using DiskCache::FileDescriptor;
using DiskCache::OpenedEntry;
using Foundation::MutexLock;

constexpr char kChannel[] = "DiskCache";

// Another process's entries need not be seen at once. Reading a directory of 10,000 takes some 20 milliseconds,
// and no more than a hundredth of the time shall go there.
constexpr std::int64_t kBetweenLooks = 1'000'000'000;
constexpr std::int64_t kLookShare = 100;

// Two changes within one tick of the file system's clock look like one.
constexpr std::int64_t kSettled = 1'000'000'000;

// Making room for many entries at once, as finding the oldest reads the directory.
constexpr std::uint64_t kRoomShare = 10;

std::int64_t SteadyNow() noexcept
{
    return std::chrono::nanoseconds(std::chrono::steady_clock::now().time_since_epoch()).count();
}

std::int64_t SystemNow() noexcept
{
    return std::chrono::nanoseconds(std::chrono::system_clock::now().time_since_epoch()).count();
}

std::int64_t NanosecondsOf(const timespec& inTime) noexcept
{
    return static_cast<std::int64_t>(inTime.tv_sec) * 1'000'000'000 + inTime.tv_nsec;
}

// A '/' at the end would have a symbolic link followed.
std::string WithoutTrailingSlashes(std::string inPath)
{
    while (inPath.size() > 1 && inPath.back() == '/')
    {
        inPath.pop_back();
    }
    return inPath;
}

bool IsEntryState(EntryState inState) noexcept
{
    return inState == EntryState::kUsable || inState == EntryState::kOfAnotherMaker;
}

} // namespace

ManagedDirectory::ManagedDirectory(std::string inPath, std::uint64_t inLimitBytes, DiskCache::Maker inMaker)
    : mPath(WithoutTrailingSlashes(std::move(inPath)))
    , mLimitBytes(inLimitBytes)
    , mMaker(inMaker)
    , mDirectory(DiskCache::OpenCacheDirectory(mPath, mWhyNot))
{
}

std::shared_ptr<ManagedDirectory> ManagedDirectory::Open(const std::string& inPath,
                                                         std::uint64_t inLimitBytes, bool inClear,
                                                         DiskCache::Maker inMaker)
{
    const std::shared_ptr<ManagedDirectory> directory(new ManagedDirectory(inPath, inLimitBytes, inMaker));
    directory->Look();
    if (inClear)
    {
        directory->Clear();
    }
    return directory;
}

bool ManagedDirectory::OpenEntry(const EntryName& inName, OpenedEntry& outEntry)
{
    const std::string fileName = inName.FileName();
    if (!IsKnown(fileName))
    {
        return false;
    }
    const EntryState state = outEntry.Open(mDirectory.Get(), inName, mMaker);
    if (state == EntryState::kUsable)
    {
        const std::int64_t now = SystemNow();
        NoteOpened(fileName, now, false);
        outEntry.NoteUse(now);
        return true;
    }
    if (state == EntryState::kOfAnotherMaker)
    {
        NoteOpened(fileName, 0, true);
        return false;
    }
    Forget(fileName);
    if (state == EntryState::kForeign)
    {
        ::unlinkat(mDirectory.Get(), fileName.c_str(), 0);
    }
    return false;
}

bool ManagedDirectory::Store(const EntryName& inName, const norvik::utility::RecycledMemory& inBytes)
{
    const std::string fileName = inName.FileName();
    const std::uint64_t fileBytes = DiskCache::FileSizeOf(inName, inBytes.Size());
    if (!mDirectory || !inName.IsValid() || inBytes.Size() == 0 || fileBytes > mLimitBytes)
    {
        return false;
    }
    const MutexLock maintenance(mMaintenance);
    if (IsKnown(fileName) && OpenedEntry().Open(mDirectory.Get(), inName, mMaker) == EntryState::kUsable)
    {
        return true;
    }
    int error = 0;
    const std::int64_t now = SystemNow();
    if (!DiskCache::WriteEntryFile(mDirectory.Get(), inName, mMaker, inBytes.Buffer(), inBytes.Size(), now,
                                   error))
    {
        NoteFailedWrite(error);
        return false;
    }
    bool isTooMuch = false;
    {
        const MutexLock lock(mIndexMutex);
        Known& known = mIndex[fileName];
        mTotalBytes = mTotalBytes - known.mFileBytes + fileBytes;
        known = {fileBytes, now};
        isTooMuch = mTotalBytes > mLimitBytes;
    }
    if (isTooMuch)
    {
        MakeRoomLocked();
    }
    return true;
}

void ManagedDirectory::Drop(const EntryName& inName)
{
    Forget(inName.FileName());
    ::unlinkat(mDirectory.Get(), inName.FileName().c_str(), 0);
}

bool ManagedDirectory::ShouldLook() const noexcept
{
    return mDirectory && SteadyNow() >= mNextLook.load(std::memory_order_relaxed);
}

void ManagedDirectory::Look()
{
    if (!mDirectory)
    {
        return;
    }
    const MutexLock maintenance(mMaintenance);
    struct stat status = {};
    if (::fstat(mDirectory.Get(), &status) == 0 && NanosecondsOf(status.st_mtim) == mSeenChange)
    {
        mNextLook = SteadyNow() + kBetweenLooks;
        return;
    }
    ReadDirectoryLocked();
}

void ManagedDirectory::ReadDirectoryLocked()
{
    const std::int64_t start = SteadyNow();
    struct stat status = {};
    const std::int64_t change = ::fstat(mDirectory.Get(), &status) == 0 ? NanosecondsOf(status.st_mtim) : -1;
    mSeenChange = change + kSettled < SystemNow() ? change : -1;
    std::vector<std::string> strangers;
    Index index = ReadEntriesLocked(strangers);
    std::uint64_t total = 0;
    for (const auto& [name, known] : index)
    {
        total += known.mFileBytes;
    }
    {
        const MutexLock lock(mIndexMutex);
        mIndex.swap(index);
        mStrangers.swap(strangers);
        mTotalBytes = total;
    }
    const std::int64_t end = SteadyNow();
    mNextLook = end + std::max(kBetweenLooks, (end - start) * kLookShare);
}

// The end of a file is read only where its name doesn't tell whose it is: looking must stay cheap.
bool ManagedDirectory::IsEntry(const char* inFileName, std::uint64_t& outFileBytes,
                               std::int64_t& outUsedNanoseconds) const
{
    EntryName name;
    struct stat status = {};
    if (!EntryName::FromFileName(inFileName, name) ||
        ::fstatat(mDirectory.Get(), inFileName, &status, AT_SYMLINK_NOFOLLOW) != 0 ||
        !S_ISREG(status.st_mode))
    {
        return false;
    }
    outFileBytes = static_cast<std::uint64_t>(status.st_size);
    outUsedNanoseconds = NanosecondsOf(status.st_mtim);
    return name.IsOfID() || IsEntryState(OpenedEntry().Open(mDirectory.Get(), name, mMaker));
}

ManagedDirectory::Index ManagedDirectory::ReadEntriesLocked(std::vector<std::string>& outStrangers)
{
    Index index;
    FileDescriptor again(::openat(mDirectory.Get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const std::unique_ptr<DIR, int (*)(DIR*)> entries(again ? ::fdopendir(again.Get()) : nullptr,
                                                      &::closedir);
    if (!entries)
    {
        return index;
    }
    again.Release();
    while (const dirent* const entry = ::readdir(entries.get()))
    {
        const std::string_view name = entry->d_name;
        Known known;
        if (name == "." || name == ".." || name == DiskCache::kMarkName ||
            DiskCache::RemoveIfAbandoned(mDirectory.Get(), entry->d_name))
        {
            continue;
        }
        if (IsEntry(entry->d_name, known.mFileBytes, known.mUsedNanoseconds))
        {
            index[entry->d_name] = known;
        }
        else
        {
            outStrangers.emplace_back(name);
        }
    }
    std::sort(outStrangers.begin(), outStrangers.end());
    return index;
}

// One process at a time: two would remove twice as much as is needed.
void ManagedDirectory::MakeRoomLocked()
{
    const FileDescriptor turn(::openat(mDirectory.Get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!turn || ::flock(turn.Get(), LOCK_EX | LOCK_NB) != 0)
    {
        return;
    }
    ReadDirectoryLocked();
    if (TotalBytes() > mLimitBytes)
    {
        RemoveLocked(List(), mLimitBytes - mLimitBytes / kRoomShare);
    }
}

void ManagedDirectory::RemoveLocked(const std::vector<EntryFacts>& inOldestFirst, std::uint64_t inTargetBytes)
{
    for (const EntryFacts& entry : inOldestFirst)
    {
        if (TotalBytes() <= inTargetBytes)
        {
            return;
        }
        Drop(entry.mName);
    }
}

void ManagedDirectory::Forget(const std::string& inFileName)
{
    const MutexLock lock(mIndexMutex);
    const auto found = mIndex.find(inFileName);
    if (found != mIndex.end())
    {
        mTotalBytes -= found->second.mFileBytes;
        mIndex.erase(found);
    }
}

bool ManagedDirectory::IsKnown(const std::string& inFileName) const
{
    const MutexLock lock(mIndexMutex);
    const auto found = mIndex.find(inFileName);
    return found != mIndex.end() && !found->second.mIsOfAnotherMaker;
}

// What is of another maker isn't opened a second time, and hasn't been of use.
void ManagedDirectory::NoteOpened(const std::string& inFileName, std::int64_t inNow, bool inIsOfAnotherMaker)
{
    const MutexLock lock(mIndexMutex);
    const auto found = mIndex.find(inFileName);
    if (found != mIndex.end())
    {
        found->second.mIsOfAnotherMaker = inIsOfAnotherMaker;
        found->second.mUsedNanoseconds = inIsOfAnotherMaker ? found->second.mUsedNanoseconds : inNow;
    }
}

void ManagedDirectory::NoteFailedWrite(int inError)
{
    if (!mHasSaidThatWritingFails.exchange(true))
    {
        norvik::logging::LogText(norvik::logging::kLogLevel_Warning, kChannel,
                                 fmt::format("Nothing is added to the disk cache in '{}': {}", mPath,
                                             std::generic_category().message(inError))
                                     .c_str());
    }
}

std::vector<EntryFacts> ManagedDirectory::List() const
{
    std::vector<EntryFacts> list;
    {
        const MutexLock lock(mIndexMutex);
        list.reserve(mIndex.size());
        for (const auto& [fileName, known] : mIndex)
        {
            EntryFacts facts{{}, known.mFileBytes, known.mUsedNanoseconds};
            EntryName::FromFileName(fileName, facts.mName);
            list.push_back(std::move(facts));
        }
    }
    std::sort(list.begin(), list.end(),
              [](const EntryFacts& inA, const EntryFacts& inB)
              {
                  return std::pair(inA.mUsedNanoseconds, inA.mName.FileName()) <
                         std::pair(inB.mUsedNanoseconds, inB.mName.FileName());
              });
    return list;
}

std::uint64_t ManagedDirectory::TotalBytes() const
{
    const MutexLock lock(mIndexMutex);
    return mTotalBytes;
}

std::vector<std::string> ManagedDirectory::Strangers() const
{
    const MutexLock lock(mIndexMutex);
    return mStrangers;
}

std::vector<EntryFacts> ManagedDirectory::Verify()
{
    Look();
    std::vector<EntryFacts> damaged;
    for (const EntryFacts& facts : List())
    {
        OpenedEntry entry;
        const EntryState state = entry.Open(mDirectory.Get(), facts.mName, mMaker);
        if (state == EntryState::kForeign || (state != EntryState::kGone && !entry.Read()))
        {
            Drop(facts.mName);
            damaged.push_back(facts);
        }
    }
    return damaged;
}

std::size_t ManagedDirectory::Clear()
{
    Look();
    std::size_t removed = 0;
    for (const EntryFacts& facts : List())
    {
        const std::string fileName = facts.mName.FileName();
        if (::unlinkat(mDirectory.Get(), fileName.c_str(), 0) == 0 || errno == ENOENT)
        {
            Forget(fileName);
            ++removed;
        }
    }
    return removed;
}

} // namespace MF::DiskCacheManager
