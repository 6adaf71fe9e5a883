#include "ReferenceHost/Session/HostSession.h"

#include "ReferenceHost/DiskCache/CacheDirectory.h"
#include "ReferenceHost/DiskCache/CacheMaker.h"
#include "ReferenceHost/Executors/SharedExecutors.h"
#include "ReferenceHost/FrameLibrary/FramePool.h"
#include "ReferenceHost/FrameLibrary/SharedVideoFrameCacheControl.h"
#include "ReferenceHost/ImageRoutines/CpuTarget.h"
#include "ReferenceHost/ImageRoutines/ScalerVersion.h"
#include "ReferenceHost/Media/FFmpeg/FFmpegMedia.h"
#include "norvik/debug/Debug.h"
#include "norvik/utility/Machine.h"

#include <algorithm>
#include <stdexcept>

#include <malloc.h>

namespace Session
{

namespace
{

constexpr std::uint64_t kMostByDefault = std::uint64_t{4} << 30;
// Hundredths of the whole. A forward run keeps frames in flight and decoders fed, which hold most where
// pictures are large; frames that are written don't come back, and the buffers of those that are kept would be
// missing from what is in the processor's caches. Scattered looks make one small frame at a time for each thread,
// and gain most from decoded neighbours.
constexpr std::uint64_t kWhole = 100;
constexpr std::uint64_t kForwardPictures = 66;
constexpr std::uint64_t kForwardCache = 1;
constexpr std::uint64_t kMostForwardCache = std::uint64_t{16} << 20;
constexpr std::uint64_t kScatteredPictures = 75;
constexpr std::uint64_t kScatteredCache = 10;

// Packets and tables of several megabytes come and go with every frame, and on any thread. Their pages are to
// stay with the process, in one heap for all threads: given back and fetched again, as the C library does by
// itself, they cost more than lightly compressed media does to decode. Frames have a pool of their own.
constexpr int kLargestKeptBlock = 32 << 20; // the most that it takes
constexpr int kKeptAtTop = 64 << 20;

void KeepFreedPages()
{
    mallopt(M_MMAP_THRESHOLD, kLargestKeptBlock);
    mallopt(M_TRIM_THRESHOLD, kKeptAtTop);
    mallopt(M_ARENA_MAX, 1);
}

std::uint64_t DefaultMemory()
{
    return std::min(norvik::utility::TotalPhysicalMemory() / 4, kMostByDefault);
}

MemoryShares CutShares(std::uint64_t inBytes, AccessPattern inPattern)
{
    const bool isForward = inPattern == AccessPattern::kForward;
    MemoryShares shares;
    shares.mTotalBytes = inBytes;
    shares.mPicturesBytes = inBytes / kWhole * (isForward ? kForwardPictures : kScatteredPictures);
    shares.mCacheBytes = isForward ? std::min(inBytes / kWhole * kForwardCache, kMostForwardCache)
                                   : inBytes / kWhole * kScatteredCache;
    shares.mWindowBytes = std::min(inBytes / 3, inBytes - shares.mPicturesBytes - shares.mCacheBytes);
    return shares;
}

void SelectTarget(const std::string& inName)
{
    if (inName.empty() || ir::SetCpuTarget(inName.c_str()))
    {
        return;
    }
    std::string names;
    for (const std::string& name : ir::CpuTargets())
    {
        names += " " + name;
    }
    throw std::invalid_argument("'" + inName + "' is no target of this machine, which has:" + names);
}

// Of all that has a part in what the pixels of a frame are.
std::string VersionsOfPixels()
{
    return "VideoRenderer " VR_HOST_VERSION " " + Media::FFmpegVersions() + " " + ir::ScalerVersion();
}

// The library looks at this when it starts.
void SetDiskCache(const std::optional<std::string>& inDirectory)
{
    DiskCache::SetCacheDirectory(inDirectory.value_or(std::string()));
    norvik::debug::DebugDatabase::Instance().SetEntry("ML.EnableDiskCache", inDirectory ? "true" : "false");
}

} // namespace

HostSession::HostSession(const HostSettings& inSettings)
{
    SelectTarget(inSettings.mCpuTarget);
    KeepFreedPages();
    norvik::utility::SetCPUCountOverride(inSettings.mThreads);
    mThreads = norvik::utility::CPUCount();
    mShares = CutShares(inSettings.mMemoryBytes == 0 ? DefaultMemory() : inSettings.mMemoryBytes,
                        inSettings.mPattern);
    norvik::utility::SetTotalPhysicalMemoryOverride(inSettings.mMemoryBytes);
    // The cache's frames are the pool's too. Idle buffers are those that the window has just let go, and take
    // no more than it leaves.
    const std::uint64_t frames = mShares.mWindowBytes + mShares.mCacheBytes;
    VF::FramePool::Instance().SetLimits(frames, frames);
    VF::SharedVideoFrameCache::SetBudget(mShares.mCacheBytes);
    DiskCache::SetMaker(VersionsOfPixels());
    SetDiskCache(inSettings.mDiskCache);
    Executors::CreateSharedExecutors();
}

HostSession::~HostSession()
{
    Executors::StopSharedExecutors();
    VF::SharedVideoFrameCache::Clear();
    SetDiskCache(std::nullopt);
    norvik::utility::SetCPUCountOverride(0);
    norvik::utility::SetTotalPhysicalMemoryOverride(0);
}

std::vector<std::string> HostSession::CpuTargets()
{
    return ir::CpuTargets();
}

} // namespace Session
