// A directory of cache entries under a size limit.
//
// What is there is known from memory: looking for an entry that isn't there touches no disk. What other
// processes write is found by reading the directory afresh from time to time; what they remove is noticed when
// it is opened. Above the limit the entries that were of use longest ago are removed, whoever wrote them. The
// time of use is kept as the modification time of the file, for all processes to see. With several processes
// the limit may be passed by what the others wrote since the last look.
//
// A directory is used if it is new or empty, and then marked as a cache (by CACHEDIR.TAG, which programs for
// backups know), or if it has that mark. Any other directory is somebody's own and is left alone. The
// directory is ours alone, mode 0700, and what another user put there is no entry. Nor is a file that somebody
// put there under a name of his own: it is a stranger, which is neither counted nor ever removed. A file that
// has an id for its name is taken for an entry even if it is damaged.
//
// Entries of another maker, of another version of the program say, count, are checked and go like any others,
// but are never given out. Who makes such an entry anew replaces it.
//
// Locks, in this order: mMaintenance, held while entries are written, counted and removed; mIndexMutex, never
// held while the disk works.
//
// Thread-safety: safe.
#pragma once

#include "ReferenceHost/DiskCache/CacheMaker.h"
#include "ReferenceHost/Foundation/Mutex.h"
#include "norvik/utility/RecycledMemory.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace MF::DiskCacheManager
{

// As it stands in the directory.
struct EntryFacts
{
    DiskCache::EntryName mName;
    std::uint64_t mFileBytes = 0;
    std::int64_t mUsedNanoseconds = 0; // since the epoch
};

class ManagedDirectory
{
public:
    // Never empty; whether the directory can be used is asked of it. inLimitBytes: of files, all in all.
    // inClear removes the entries that are there. inMaker: who makes the entries that are stored, and whose
    // entries are opened.
    static std::shared_ptr<ManagedDirectory> Open(const std::string& inPath, std::uint64_t inLimitBytes,
                                                  bool inClear,
                                                  DiskCache::Maker inMaker = DiskCache::GetMaker());

    // Empty if the directory is in use; else one line that says why it can't be. It then has no entries and
    // takes none.
    const std::string& WhyNot() const noexcept { return mWhyNot; }
    const std::string& Path() const noexcept { return mPath; }
    std::uint64_t LimitBytes() const noexcept { return mLimitBytes; }

    // Opens an entry for reading and notes that it was of use. False at once if none is known; also if it
    // turns out to be gone or foreign, and then it is not known any more, nor there; or of another maker.
    bool OpenEntry(const DiskCache::EntryName& inName, DiskCache::OpenedEntry& outEntry);

    // Writes an entry unless one of that name and of this maker is known, and makes room. False if it isn't there afterwards.
    bool Store(const DiskCache::EntryName& inName, const norvik::utility::RecycledMemory& inBytes);

    // Removes an entry whose bytes were found damaged.
    void Drop(const DiskCache::EntryName& inName);

    // Whether it is time to look for what other processes did. Cheap enough to be asked for each miss.
    bool ShouldLook() const noexcept;
    // Does so if the directory has changed.
    void Look();

    // What is known, the one used longest ago first.
    std::vector<EntryFacts> List() const;
    std::uint64_t TotalBytes() const;
    // Files and folders that are no entries, sorted; as of the last look.
    std::vector<std::string> Strangers() const;

    // Looks, then reads every entry, and gives those that were damaged. They are removed.
    std::vector<EntryFacts> Verify();

    // Removes all entries; how many. Those that can't be removed stay in the list.
    std::size_t Clear();

private:
    struct Known
    {
        std::uint64_t mFileBytes = 0;
        std::int64_t mUsedNanoseconds = 0;
        bool mIsOfAnotherMaker = false; // seen when it was opened
    };
    using Index = std::unordered_map<std::string, Known>; // by file name

    ManagedDirectory(std::string inPath, std::uint64_t inLimitBytes, DiskCache::Maker inMaker);

    void ReadDirectoryLocked() VR_REQUIRES(mMaintenance);
    Index ReadEntriesLocked(std::vector<std::string>& outStrangers) VR_REQUIRES(mMaintenance);
    bool IsEntry(const char* inFileName, std::uint64_t& outFileBytes, std::int64_t& outUsedNanoseconds) const;
    void MakeRoomLocked() VR_REQUIRES(mMaintenance);
    void RemoveLocked(const std::vector<EntryFacts>& inOldestFirst, std::uint64_t inTargetBytes)
        VR_REQUIRES(mMaintenance);
    void Forget(const std::string& inFileName);
    void NoteOpened(const std::string& inFileName, std::int64_t inNow, bool inIsOfAnotherMaker);
    bool IsKnown(const std::string& inFileName) const;
    void NoteFailedWrite(int inError);

    const std::string mPath;
    const std::uint64_t mLimitBytes;
    const DiskCache::Maker mMaker;
    std::string mWhyNot;
    DiskCache::FileDescriptor mDirectory;
    std::atomic<bool> mHasSaidThatWritingFails{false};
    std::atomic<std::int64_t> mNextLook{0}; // by the steady clock, in nanoseconds

    Foundation::Mutex mMaintenance;
    std::int64_t
        mSeenChange VR_GUARDED_BY(mMaintenance) = -1; // of the directory, in nanoseconds; -1: look anyway

    mutable Foundation::Mutex mIndexMutex;
    Index mIndex VR_GUARDED_BY(mIndexMutex);
    std::uint64_t mTotalBytes VR_GUARDED_BY(mIndexMutex) = 0;
    std::vector<std::string> mStrangers VR_GUARDED_BY(mIndexMutex);
};

} // namespace MF::DiskCacheManager
