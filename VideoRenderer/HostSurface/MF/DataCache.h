// Bytes by name that outlive the process, in a directory that the host looks after.
//
// An entry is there whole or not at all: what a killed process was writing is never seen, and what was
// damaged on the disk is dropped when it is read. Entries that nobody asked for in a long time are dropped for
// new ones. Several caches, of one process or of several, may share a directory.
//
// Nothing here is a failure to anybody: a cache that can't be read or written is an empty one.
//
// Thread-safety: safe.
#pragma once

#include "TVK/InterfaceRef.h"
#include "norvik/BoostTypes.h"
#include "norvik/utility/RecycledMemory.h"
#include "norvik/utility/Strings.h"

#include <cstdint>
#include <memory>

namespace MF
{

// No such entry, or none with such a name: names are of letters, digits, '-' and '_', tags of small letters and
// digits, at most 128 and 16 of them. Also: no memory for it.
inline constexpr std::int32_t kDataCache_NotFound = static_cast<std::int32_t>(0xa00b0001u);
// The entry was there and was damaged, or has gone meanwhile; it is dropped.
inline constexpr std::int32_t kDataCache_Damaged = static_cast<std::int32_t>(0xa00b0002u);

class ML_EXPORT DataCache
{
public:
    using Bytes = std::shared_ptr<const norvik::utility::RecycledMemory>;
    // The status, the entry's name and tag, and its bytes, which are empty if the status is negative.
    using ReadCompletion = boost::function<void(std::int32_t, const norvik::utility::ImmutableString&,
                                                const norvik::utility::ImmutableString&, const Bytes&)>;

    // Finishes the reads and writes that were asked for, with their completions, before it returns.
    virtual ~DataCache();

    // Has an entry read on a thread of the cache's own, and the completion called there with no lock held.
    // Negative: there is no such entry, and nobody is called. That costs a look into memory, so that media may
    // be asked for every frame whether it is here.
    // outHandle is held by nobody else; letting go of it cancels nothing.
    virtual std::int32_t ReadEntry(const norvik::utility::ImmutableString& inName,
                                   const norvik::utility::ImmutableString& inTag,
                                   const ReadCompletion& inCompletion, TVK::TVKUnknownRef& outHandle) = 0;

    // Has an entry written in the background, unless there is one of that name. Nobody learns of a failure;
    // when the disk is too slow for what is written, entries are left out.
    virtual void WriteEntry(const norvik::utility::ImmutableString& inName,
                            const norvik::utility::ImmutableString& inTag, const Bytes& inBytes) = 0;

protected:
    DataCache() = default;
    DataCache(const DataCache&) = default;
    DataCache& operator=(const DataCache&) = default;
};

namespace DiskCacheManager
{
// A directory under a size limit; the host's.
class ManagedDirectory;
}

// A cache in the directory inPath, which is made, with its parents, where it is missing. ioDirectory is used if
// it is not empty, whatever inPath says; else it becomes the directory, which caches may share. inClear begins
// with an empty directory.
//
// A directory that can't be used gives a cache without entries. So does one that holds other files and isn't
// marked as a cache: nothing in it is touched.
ML_EXPORT std::shared_ptr<DataCache> CreateDataCacheInFilesystemAndManageDirectory(
    const norvik::utility::ImmutableString& inPath,
    std::shared_ptr<DiskCacheManager::ManagedDirectory>& ioDirectory, bool inClear);

} // namespace MF
