#include "VideoSourcePrefetcher_DiskCache.h"

#include "BE/Backend.h"
#include "MF/DataCache.h"
#include "ML/SharedExecutors.h"
#include "RenderFrameClient.h"
#include "TVK/PathUtils.h"
#include "VF/PNG.h"
#include "VF/SharedVideoFrameCache.h"
#include "VideoSourcePrefetcher_Reads.h"
#include "norvik/debug/Debug.h"
#include "norvik/threads/ThreadAnnotations.h"
#include "norvik/threads/Threads.h"

#include <utility>

namespace ML::VideoSourcePrefetcher
{

namespace
{

using norvik::utility::ImmutableString;
using CachePtr = std::shared_ptr<MF::DataCache>;

// The type of all entries.
ImmutableString Extension()
{
    return ImmutableString::CreateStatic("png");
}

ImmutableString EntryName(const TVK::Guid& inKey)
{
    return ImmutableString::CreateDynamic(inKey.AsUTF8String());
}

// The open cache. Copies are taken under the lock, as a poll may look while the cache is closed.
class OpenCache
{
public:
    static OpenCache& Instance()
    {
        static OpenCache* const sDiskCache = new OpenCache;
        return *sDiskCache;
    }

    CachePtr Get() VR_EXCLUDES(mMutex)
    {
        const norvik::threads::ScopedLock lock(mMutex, "GetDiskCache");
        return mCache;
    }

    // Closing a cache waits for its reads, whose completions may come here: not under the lock.
    void Set(CachePtr inCache) VR_EXCLUDES(mMutex)
    {
        const norvik::threads::ScopedLock lock(mMutex, "SetDiskCache");
        mCache.swap(inCache);
    }

private:
    norvik::threads::RecursiveMutex mMutex;
    CachePtr mCache VR_GUARDED_BY(mMutex);
};

// False if the bytes are no picture.
bool InsertPicture(const MF::DataCache::Bytes& inBytes, const TVK::Guid& inKey)
{
    const MF::IVideoFrameRef frame = VF::DecompressPNG(inBytes);
    if (frame)
    {
        VF::SharedVideoFrameCache::InsertIntoCache(frame, inKey, kReadFramePriority);
    }
    return static_cast<bool>(frame);
}

void OnEntryRead(std::int32_t inStatus, const MF::DataCache::Bytes& inBytes, const TVK::Guid& inKey,
                 const std::function<void(std::int32_t)>& inOnFailure)
{
    std::int32_t status = inStatus;
    try
    {
        status = inStatus >= 0 && !InsertPicture(inBytes, inKey) ? kRenderFramePrefetchFailed : inStatus;
    }
    catch (...)
    {
        status = kRenderFrameFailed;
    }
    if (status < 0)
    {
        inOnFailure(inStatus);
    }
}

// Posted writes hold no cache, so that closing it is not left to one of them.
void CompressAndWrite(const MF::IVideoFrameRef& inFrame, const TVK::Guid& inKey,
                      const std::weak_ptr<MF::DataCache>& inCache)
{
    const CachePtr cache = inCache.lock();
    if (!cache)
    {
        return;
    }
    if (const MF::DataCache::Bytes bytes = VF::CompressPNG(inFrame))
    {
        cache->WriteEntry(EntryName(inKey), Extension(), bytes);
    }
}

} // namespace

void OpenDiskCache()
{
    // Makes what holds the cache, so that closing it at the end needs no memory.
    CloseDiskCache();
    if (!norvik::debug::DebugDatabase::Instance().GetBoolEntry("ML.EnableDiskCache", false))
    {
        return;
    }
    const TVK::TVKUnknownRef backend = BE::GetBackend();
    norvik::WString path;
    if (BE::IDirectoriesRef(backend)->GetCacheDirectory(path) < 0)
    {
        return;
    }
    path = TVK::PathUtils::AddTrailingSlash(path) + u"ThumbnailCache";
    std::shared_ptr<MF::DiskCacheManager::ManagedDirectory> directory;
    UseDiskCache(MF::CreateDataCacheInFilesystemAndManageDirectory(ImmutableString::CreateDynamic(path),
                                                                   directory, false));
}

void CloseDiskCache()
{
    OpenCache::Instance().Set(nullptr);
}

void UseDiskCache(std::shared_ptr<MF::DataCache> inCache)
{
    OpenCache::Instance().Set(std::move(inCache));
}

bool DiskCacheIsOpen()
{
    return static_cast<bool>(OpenCache::Instance().Get());
}

bool BeginDiskCacheRead(const TVK::Guid& inKey, const std::function<void(std::int32_t)>& inOnFailure)
{
    const CachePtr cache = OpenCache::Instance().Get();
    if (!cache)
    {
        return false;
    }
    TVK::TVKUnknownRef handle; // nothing cancels a read
    const auto completion = [inKey, inOnFailure](std::int32_t inStatus, const ImmutableString&,
                                                 const ImmutableString&, const MF::DataCache::Bytes& inBytes)
    { OnEntryRead(inStatus, inBytes, inKey, inOnFailure); };
    try
    {
        return cache->ReadEntry(EntryName(inKey), Extension(), completion, handle) >= 0;
    }
    catch (...)
    {
        return false; // the media is there all the same
    }
}

void PostDiskCacheWrite(const MF::IVideoFrameRef& inFrame, const TVK::Guid& inKey)
{
    const CachePtr cache = OpenCache::Instance().Get();
    if (!cache || !sNormalPriorityRenderQueue)
    {
        return;
    }
    try
    {
        const std::weak_ptr<MF::DataCache> open = cache;
        sNormalPriorityRenderQueue->Post([inFrame, inKey, open] { CompressAndWrite(inFrame, inKey, open); });
    }
    catch (...)
    {
        // The frame is there all the same; it will be written another time.
    }
}

} // namespace ML::VideoSourcePrefetcher
