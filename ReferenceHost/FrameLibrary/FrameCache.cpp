#include "ReferenceHost/FrameLibrary/FrameCache.h"

#include "ReferenceHost/Foundation/Mutex.h"
#include "ReferenceHost/FrameLibrary/PixelMaker.h"
#include "ReferenceHost/FrameLibrary/VideoFrame.h"

#include <boost/intrusive/list.hpp>

#include <array>
#include <atomic>
#include <map>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

namespace VF
{

namespace
{

using Foundation::Mutex;
using Foundation::MutexLock;
using FrameList = std::vector<MF::IVideoFrameRef>;

// More shards than a machine has render threads that would meet in one.
constexpr std::size_t kShardCount = 16;

// What the cache knows of one key: a frame, dependencies, or both.
struct Entry
{
    TVK::Guid mKey;
    MF::IVideoFrameRef mFrame;
    std::uint64_t mBytes = 0;
    bool mIsCounted = true; // false: pinned, and it holds no picture
    std::int32_t mPriority = 0;
    std::uint32_t mDependencies = 0;
    std::uint64_t mLastUse = 0;
    boost::intrusive::list_member_hook<> mHook; // linked while it may leave

    std::uint64_t CountedBytes() const { return mIsCounted ? mBytes : 0; }
};

using UseList = boost::intrusive::list<
    Entry, boost::intrusive::member_hook<Entry, boost::intrusive::list_member_hook<>, &Entry::mHook>>;

struct NewFrame
{
    MF::IVideoFrameRef mFrame;
    TVK::Guid mKey;
    std::int32_t mPriority;
    std::uint64_t mBytes;
    bool mHoldsPicture;
};

// What all shards have together. Bytes change under the lock of the shard that they are in.
struct Totals
{
    std::atomic<std::uint64_t> mClock{0};
    std::atomic<std::uint64_t> mBytes{0};
};

// What leaves first compares less.
using Rank = std::pair<std::int32_t, std::uint64_t>;

std::uint64_t BytesOfFrame(const MF::IVideoFrameRef& inFrame)
{
    FramePixels pixels;
    if (GetFrameShape(inFrame, pixels))
    {
        return pixels.mGeometry.mTotalBytes;
    }
    TVK::Rect bounds;
    inFrame->GetBounds(bounds);
    norviktypes::PixelFormat format;
    inFrame->GetPixelFormat(format);
    const std::uint64_t area = bounds.IsEmpty() ? 0
                                                : static_cast<std::uint64_t>(bounds.Width()) *
                                                      static_cast<std::uint64_t>(bounds.Height());
    return area * norviktypes::BytesPerPixel(format.mProperties);
}

struct ShardCounters
{
    std::uint64_t mFrames = 0;
    std::uint64_t mPinnedFrames = 0;
    std::uint64_t mAnnouncedKeys = 0;
    std::uint64_t mHits = 0;
    std::uint64_t mMisses = 0;
    std::uint64_t mInsertions = 0;
    std::uint64_t mRepeats = 0;
    std::uint64_t mTooLarge = 0;
    std::uint64_t mEvictions = 0;
};

class Shard
{
public:
    Shard() = default;

    MF::IVideoFrameRef Retrieve(const TVK::Guid& inKey, Totals& ioTotals) VR_EXCLUDES(mLock);
    bool Insert(const NewFrame& inFrame, std::uint64_t inBudget, Totals& ioTotals) VR_EXCLUDES(mLock);
    void AddDependency(const TVK::Guid& inKey) VR_EXCLUDES(mLock);
    void RemoveDependency(const TVK::Guid& inKey, MF::IVideoFrameRef& outLeft, Totals& ioTotals)
        VR_EXCLUDES(mLock);
    bool HasDependency(const TVK::Guid& inKey) const VR_EXCLUDES(mLock);

    // Of the frame that would leave first; none if all are pinned.
    std::optional<Rank> LeastRank() const VR_EXCLUDES(mLock);
    // Moves that frame out, unless it was pinned in the meantime.
    void EvictLeast(FrameList& outEvicted, Totals& ioTotals) VR_EXCLUDES(mLock);
    void Clear(FrameList& outFrames, Totals& ioTotals) VR_EXCLUDES(mLock);
    void AddCounters(FrameCacheCounters& ioCounters) const VR_EXCLUDES(mLock);

private:
    void LinkLocked(Entry& ioEntry, std::uint64_t inUse) VR_REQUIRES(mLock);
    void UnlinkLocked(Entry& ioEntry) VR_REQUIRES(mLock);
    UseList* LeastListLocked() VR_REQUIRES(mLock);

    mutable Mutex mLock;
    std::unordered_map<TVK::Guid, Entry> mEntries VR_GUARDED_BY(mLock);
    // Frames that may leave, by importance, oldest use first. An empty list is removed.
    std::map<std::int32_t, UseList> mByPriority VR_GUARDED_BY(mLock);
    ShardCounters mCounters VR_GUARDED_BY(mLock);
};

void Shard::LinkLocked(Entry& ioEntry, std::uint64_t inUse)
{
    mByPriority[ioEntry.mPriority].push_back(ioEntry);
    ioEntry.mLastUse = inUse;
}

void Shard::UnlinkLocked(Entry& ioEntry)
{
    const auto found = mByPriority.find(ioEntry.mPriority);
    found->second.erase(found->second.iterator_to(ioEntry));
    if (found->second.empty())
    {
        mByPriority.erase(found);
    }
}

MF::IVideoFrameRef Shard::Retrieve(const TVK::Guid& inKey, Totals& ioTotals)
{
    const MutexLock lock(mLock);
    const auto found = mEntries.find(inKey);
    if (found == mEntries.end() || !found->second.mFrame)
    {
        ++mCounters.mMisses;
        return {};
    }
    ++mCounters.mHits;
    Entry& entry = found->second;
    if (entry.mHook.is_linked())
    {
        UseList& list = mByPriority.find(entry.mPriority)->second;
        list.splice(list.end(), list, list.iterator_to(entry));
        entry.mLastUse = ++ioTotals.mClock;
    }
    return entry.mFrame;
}

bool Shard::Insert(const NewFrame& inFrame, std::uint64_t inBudget, Totals& ioTotals)
{
    const MutexLock lock(mLock);
    const auto found = mEntries.find(inFrame.mKey);
    const bool isPinned = found != mEntries.end() && found->second.mDependencies > 0;
    if (found != mEntries.end() && found->second.mFrame)
    {
        ++mCounters.mRepeats;
        return false;
    }
    if (!isPinned && inFrame.mBytes > inBudget)
    {
        ++mCounters.mTooLarge;
        return false;
    }
    // The list's place first: nothing below it can fail and leave half an entry.
    if (!isPinned)
    {
        mByPriority.try_emplace(inFrame.mPriority);
    }
    Entry& entry = isPinned ? found->second : mEntries[inFrame.mKey];
    entry.mKey = inFrame.mKey;
    entry.mFrame = inFrame.mFrame;
    entry.mBytes = inFrame.mBytes;
    entry.mIsCounted = !isPinned || inFrame.mHoldsPicture;
    entry.mPriority = inFrame.mPriority;
    if (!isPinned)
    {
        LinkLocked(entry, ++ioTotals.mClock);
    }
    ioTotals.mBytes += entry.CountedBytes();
    mCounters.mPinnedFrames += isPinned ? 1 : 0;
    ++mCounters.mFrames;
    ++mCounters.mInsertions;
    return true;
}

void Shard::AddDependency(const TVK::Guid& inKey)
{
    const MutexLock lock(mLock);
    Entry& entry = mEntries[inKey];
    entry.mKey = inKey;
    mCounters.mAnnouncedKeys += entry.mDependencies == 0 ? 1 : 0;
    ++entry.mDependencies;
    if (entry.mHook.is_linked())
    {
        UnlinkLocked(entry);
        ++mCounters.mPinnedFrames;
    }
}

// Pixels may have been made since the frame came; they count from here on.
void Shard::RemoveDependency(const TVK::Guid& inKey, MF::IVideoFrameRef& outLeft, Totals& ioTotals)
{
    const MutexLock lock(mLock);
    const auto found = mEntries.find(inKey);
    if (found == mEntries.end() || found->second.mDependencies == 0)
    {
        return;
    }
    Entry& entry = found->second;
    if (entry.mDependencies > 1)
    {
        --entry.mDependencies;
        return;
    }
    if (!entry.mFrame)
    {
        mEntries.erase(found);
        --mCounters.mAnnouncedKeys;
        return;
    }
    if (!entry.mIsCounted && HoldsPicture(entry.mFrame))
    {
        entry.mIsCounted = true;
        ioTotals.mBytes += entry.mBytes;
    }
    if (entry.mIsCounted)
    {
        LinkLocked(entry, ++ioTotals.mClock); // may throw: the rest comes after it
        entry.mDependencies = 0;
    }
    else
    {
        outLeft = std::move(entry.mFrame);
        mEntries.erase(found);
        --mCounters.mFrames;
        ++mCounters.mEvictions;
    }
    --mCounters.mPinnedFrames;
    --mCounters.mAnnouncedKeys;
}

bool Shard::HasDependency(const TVK::Guid& inKey) const
{
    const MutexLock lock(mLock);
    const auto found = mEntries.find(inKey);
    return found != mEntries.end() && found->second.mDependencies > 0;
}

UseList* Shard::LeastListLocked()
{
    // An insertion that found no memory may have left an empty list.
    while (!mByPriority.empty() && mByPriority.begin()->second.empty())
    {
        mByPriority.erase(mByPriority.begin());
    }
    return mByPriority.empty() ? nullptr : &mByPriority.begin()->second;
}

std::optional<Rank> Shard::LeastRank() const
{
    const MutexLock lock(mLock);
    for (const auto& [priority, list] : mByPriority)
    {
        if (!list.empty())
        {
            return Rank(priority, list.front().mLastUse);
        }
    }
    return std::nullopt;
}

void Shard::EvictLeast(FrameList& outEvicted, Totals& ioTotals)
{
    const MutexLock lock(mLock);
    UseList* const list = LeastListLocked();
    if (!list)
    {
        return;
    }
    Entry& entry = list->front();
    outEvicted.push_back(std::move(entry.mFrame));
    ioTotals.mBytes -= entry.CountedBytes();
    UnlinkLocked(entry);
    mEntries.erase(TVK::Guid(entry.mKey));
    --mCounters.mFrames;
    ++mCounters.mEvictions;
}

void Shard::Clear(FrameList& outFrames, Totals& ioTotals)
{
    const MutexLock lock(mLock);
    outFrames.reserve(outFrames.size() + mEntries.size());
    for (auto at = mEntries.begin(); at != mEntries.end();)
    {
        Entry& entry = at->second;
        ioTotals.mBytes -= entry.mFrame ? entry.CountedBytes() : 0;
        outFrames.push_back(std::move(entry.mFrame));
        if (entry.mHook.is_linked())
        {
            UnlinkLocked(entry);
        }
        at = entry.mDependencies == 0 ? mEntries.erase(at) : std::next(at);
    }
    mCounters.mFrames = 0;
    mCounters.mPinnedFrames = 0;
}

void Shard::AddCounters(FrameCacheCounters& ioCounters) const
{
    const MutexLock lock(mLock);
    ioCounters.mFrames += mCounters.mFrames;
    ioCounters.mPinnedFrames += mCounters.mPinnedFrames;
    ioCounters.mAnnouncedKeys += mCounters.mAnnouncedKeys;
    ioCounters.mHits += mCounters.mHits;
    ioCounters.mMisses += mCounters.mMisses;
    ioCounters.mInsertions += mCounters.mInsertions;
    ioCounters.mRepeats += mCounters.mRepeats;
    ioCounters.mTooLarge += mCounters.mTooLarge;
    ioCounters.mEvictions += mCounters.mEvictions;
}

} // namespace

struct FrameCache::Impl
{
    std::array<Shard, kShardCount> mShards;
    std::atomic<std::uint64_t> mBudget{0};
    Totals mTotals;

    // One thread evicts at a time, else two would each make the room that one frame needs. Taken before
    // the lock of any shard.
    Mutex mEvictionLock;

    Mutex mNotificationLock;
    std::shared_ptr<const std::function<void()>> mNotification VR_GUARDED_BY(mNotificationLock);

    Shard& ShardOf(const TVK::Guid& inKey)
    {
        return mShards[std::hash<TVK::Guid>()(inKey) >> 32 & (kShardCount - 1)];
    }
    bool IsOverBudget() const { return mTotals.mBytes > mBudget; }
    Shard* LeastShard();
    void EvictToBudget() VR_EXCLUDES(mEvictionLock);
    void Notify() VR_EXCLUDES(mNotificationLock);
};

// The shard with the frame that leaves first; null if no frame may leave.
Shard* FrameCache::Impl::LeastShard()
{
    Shard* least = nullptr;
    std::optional<Rank> leastRank;
    for (Shard& shard : mShards)
    {
        const std::optional<Rank> rank = shard.LeastRank();
        if (rank && (!leastRank || *rank < *leastRank))
        {
            least = &shard;
            leastRank = rank;
        }
    }
    return least;
}

void FrameCache::Impl::EvictToBudget()
{
    FrameList evicted;
    const MutexLock lock(mEvictionLock);
    while (IsOverBudget())
    {
        Shard* const least = LeastShard();
        if (!least)
        {
            return;
        }
        least->EvictLeast(evicted, mTotals);
    }
}

void FrameCache::Impl::Notify()
{
    std::shared_ptr<const std::function<void()>> notification;
    {
        const MutexLock lock(mNotificationLock);
        notification = mNotification;
    }
    if (notification)
    {
        (*notification)();
    }
}

FrameCache::FrameCache(std::uint64_t inBudgetBytes) : mImpl(std::make_unique<Impl>())
{
    mImpl->mBudget = inBudgetBytes;
}

FrameCache::~FrameCache()
{
    Clear();
}

MF::IVideoFrameRef FrameCache::Retrieve(const TVK::Guid& inKey)
{
    return inKey.IsZero() ? MF::IVideoFrameRef() : mImpl->ShardOf(inKey).Retrieve(inKey, mImpl->mTotals);
}

void FrameCache::Insert(const MF::IVideoFrameRef& inFrame, const TVK::Guid& inKey, std::int32_t inPriority)
{
    if (inKey.IsZero() || !inFrame)
    {
        return;
    }
    const NewFrame frame{inFrame, inKey, inPriority, BytesOfFrame(inFrame), HoldsPicture(inFrame)};
    inFrame->Freeze();
    if (mImpl->ShardOf(inKey).Insert(frame, mImpl->mBudget, mImpl->mTotals))
    {
        mImpl->EvictToBudget();
        mImpl->Notify();
    }
}

void FrameCache::AddDependency(const TVK::Guid& inKey)
{
    if (!inKey.IsZero())
    {
        mImpl->ShardOf(inKey).AddDependency(inKey);
    }
}

void FrameCache::RemoveDependency(const TVK::Guid& inKey)
{
    if (!inKey.IsZero())
    {
        MF::IVideoFrameRef left; // goes after the lock
        mImpl->ShardOf(inKey).RemoveDependency(inKey, left, mImpl->mTotals);
        mImpl->EvictToBudget();
    }
}

bool FrameCache::HasDependency(const TVK::Guid& inKey) const
{
    return !inKey.IsZero() && mImpl->ShardOf(inKey).HasDependency(inKey);
}

void FrameCache::SetNotification(const std::function<void()>& inFunction)
{
    std::shared_ptr<const std::function<void()>> notification;
    if (inFunction)
    {
        notification = std::make_shared<const std::function<void()>>(inFunction);
    }
    const MutexLock lock(mImpl->mNotificationLock);
    // The old one is destroyed after the unlock.
    mImpl->mNotification.swap(notification);
}

void FrameCache::SetBudget(std::uint64_t inBudgetBytes)
{
    mImpl->mBudget = inBudgetBytes;
    mImpl->EvictToBudget();
}

void FrameCache::Clear()
{
    FrameList frames;
    for (Shard& shard : mImpl->mShards)
    {
        shard.Clear(frames, mImpl->mTotals);
    }
}

FrameCacheCounters FrameCache::GetCounters() const
{
    FrameCacheCounters counters;
    counters.mBudgetBytes = mImpl->mBudget;
    counters.mBytes = mImpl->mTotals.mBytes;
    for (const Shard& shard : mImpl->mShards)
    {
        shard.AddCounters(counters);
    }
    return counters;
}

} // namespace VF
