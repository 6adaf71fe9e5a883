// Frames by content key, within a budget of bytes: what stands behind VF::SharedVideoFrameCache.
//
// Keys are spread over shards with a lock each, so that renders on many threads seldom meet. The frame
// that leaves first is nevertheless chosen over all shards: the least important, among equals the one
// whose last use is longest ago. A use is an insertion, a retrieval or the end of the last dependency.
//
// Frames with dependencies are pinned: they count against the budget but never leave, and may exceed it.
// A frame that is larger than the whole budget is not stored unless it is pinned; it would drive out all
// others and then leave itself. A pending frame that holds no picture and comes while it is pinned counts nothing,
// and stays only as long as that: it is had again for nothing, and one that had to be made would leave for it. Unpinned
// it may be the result of a render, which is asked for by its own key: it counts as if it had its pixels.
//
// Units: bytes of pixel buffers.
//
// Thread-safety: safe. The notification function, and the release of frames that left, run with no lock
// of the cache held.
#pragma once

#include "MF/IVideoFrame.h"

#include <cstdint>
#include <functional>
#include <memory>

namespace VF
{

struct FrameCacheCounters
{
    std::uint64_t mBudgetBytes = 0;
    std::uint64_t mBytes = 0;
    std::uint64_t mFrames = 0;
    std::uint64_t mPinnedFrames = 0;
    std::uint64_t mAnnouncedKeys = 0; // with dependencies, with a frame or without
    std::uint64_t mHits = 0;
    std::uint64_t mMisses = 0;
    std::uint64_t mInsertions = 0;
    std::uint64_t mRepeats = 0; // insertions of a key that had a frame
    std::uint64_t mTooLarge = 0;
    std::uint64_t mEvictions = 0;
};

class FrameCache
{
public:
    explicit FrameCache(std::uint64_t inBudgetBytes);
    ~FrameCache();
    FrameCache(const FrameCache&) = delete;
    FrameCache& operator=(const FrameCache&) = delete;

    // Empty for an unknown or zero key.
    MF::IVideoFrameRef Retrieve(const TVK::Guid& inKey);

    // Freezes the frame and stores it unless the key has one. A zero key and an empty reference do
    // nothing. The notification function is called if the frame was stored.
    void Insert(const MF::IVideoFrameRef& inFrame, const TVK::Guid& inKey, std::int32_t inPriority);

    void AddDependency(const TVK::Guid& inKey);
    // Without a dependency on the key: nothing.
    void RemoveDependency(const TVK::Guid& inKey);
    // Whether somebody waits for the frame or needs it, so that it is worth storing.
    bool HasDependency(const TVK::Guid& inKey) const;

    void SetNotification(const std::function<void()>& inFunction);

    // Takes effect at once.
    void SetBudget(std::uint64_t inBudgetBytes);

    // Drops all frames, pinned ones too; dependencies stay and pin what comes later.
    void Clear();

    FrameCacheCounters GetCounters() const;

private:
    struct Impl;
    std::unique_ptr<Impl> mImpl;
};

// The cache of the process.
FrameCache& ProcessFrameCache();

} // namespace VF
