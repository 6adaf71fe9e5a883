#include "ReferenceHost/Session/HostSession.h"

#include "ReferenceHost/Executors/SharedExecutors.h"
#include "ReferenceHost/FrameLibrary/FramePool.h"
#include "ReferenceHost/FrameLibrary/SharedVideoFrameCacheControl.h"
#include "ReferenceHost/ImageRoutines/CpuTarget.h"
#include "norvik/utility/Machine.h"

#include <algorithm>
#include <stdexcept>

#include <malloc.h>

namespace Session
{

namespace
{

constexpr std::uint64_t kMostByDefault = std::uint64_t{4} << 30;
// Shares of the whole, as divisors. A forward run keeps frames in flight and decoders fed; scattered looks
// gain most from decoded neighbours. Buffers that lie idle are those that the window has just let go.
constexpr std::uint64_t kWindowShare = 3;
constexpr std::uint64_t kForwardPicturesShare = 3;
constexpr std::uint64_t kSharedCacheShare = 10;
constexpr std::uint64_t kIdleShare = kWindowShare;

// Scattered looks make one small frame at a time for each thread.
constexpr std::uint64_t kScatteredPicturesNumerator = 3;
constexpr std::uint64_t kScatteredPicturesDenominator = 4;
constexpr std::uint64_t kScatteredWindowShare = 6;

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

} // namespace

HostSession::HostSession(const HostSettings& inSettings)
{
    SelectTarget(inSettings.mCpuTarget);
    KeepFreedPages();
    norvik::utility::SetCPUCountOverride(inSettings.mThreads);
    mThreads = norvik::utility::CPUCount();
    mMemoryBytes = inSettings.mMemoryBytes == 0 ? DefaultMemory() : inSettings.mMemoryBytes;
    norvik::utility::SetTotalPhysicalMemoryOverride(inSettings.mMemoryBytes);
    VF::FramePool::Instance().SetLimits(mMemoryBytes, mMemoryBytes / kIdleShare);
    VF::SharedVideoFrameCache::SetBudget(mMemoryBytes / kSharedCacheShare);
    Executors::CreateSharedExecutors();
}

HostSession::~HostSession()
{
    Executors::StopSharedExecutors();
    VF::SharedVideoFrameCache::Clear();
    norvik::utility::SetCPUCountOverride(0);
    norvik::utility::SetTotalPhysicalMemoryOverride(0);
}

MemoryShares HostSession::Shares(AccessPattern inPattern) const noexcept
{
    MemoryShares shares;
    shares.mTotalBytes = mMemoryBytes;
    const bool isForward = inPattern == AccessPattern::kForward;
    shares.mWindowBytes = mMemoryBytes / (isForward ? kWindowShare : kScatteredWindowShare);
    shares.mPicturesBytes = isForward
                                ? mMemoryBytes / kForwardPicturesShare
                                : mMemoryBytes / kScatteredPicturesDenominator * kScatteredPicturesNumerator;
    return shares;
}

std::vector<std::string> HostSession::CpuTargets()
{
    return ir::CpuTargets();
}

} // namespace Session
