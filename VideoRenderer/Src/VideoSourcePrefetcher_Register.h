// Who waits for which frame: the items of each key that share one read.
//
// The first item of a key reads, or has its stream read; those that come while it is registered join it. A
// registration lives from its first item to its last one, or until its read fails. It has a number of its own,
// so that a read that fails late, after all its items left, does not touch those of a later registration of the
// same key.
//
// Thread-safety: safe.
#pragma once

#include "TVK/TVKUnknown.h"
#include "norvik/threads/Threads.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

namespace ML::VideoSourcePrefetcher
{

// What other threads may touch of an item.
//
// Thread-safety: safe.
class ReadHolder
{
public:
    // 0, or how the read failed.
    std::int32_t Status() const noexcept { return mStatus.load(std::memory_order_acquire); }

    // Told by the thread that drives the item.
    void SetHasFrame(bool inHasFrame) noexcept { mHasFrame.store(inHasFrame, std::memory_order_release); }

    // Nothing, and false, if a frame is in hand: then the failure is of no interest.
    bool Fail(std::int32_t inStatus) noexcept
    {
        if (mHasFrame.load(std::memory_order_acquire))
        {
            return false;
        }
        mStatus.store(inStatus, std::memory_order_release);
        return true;
    }

private:
    std::atomic<std::int32_t> mStatus{0};
    std::atomic<bool> mHasFrame{false};
};

class PrefetchRegister
{
public:
    static PrefetchRegister& Instance();

    // First of all locks of the prefetcher. Held across the issuing and taking back of a read, so that no
    // item joins a read that is being taken back: a stream's IssueAsyncRead and CancelAsyncRead run under it.
    norvik::threads::RecursiveMutex mMutex;

    struct Joined
    {
        bool mIsFirst = false;
        std::uint64_t mRegistration = 0;
    };
    // Adds an item, which leaves before it is destroyed.
    Joined Join(const TVK::Guid& inKey, ReadHolder& inHolder) VR_REQUIRES(mMutex);
    // True if it was the last one of its registration; false too if that has ended already.
    bool Leave(const TVK::Guid& inKey, const ReadHolder& inHolder) noexcept VR_REQUIRES(mMutex);

    // Tells the items of a registration that its read failed, and ends it: an item that comes now reads again,
    // as it would wait for ever for what has failed already. True if one of those told waits for it.
    bool Fail(const TVK::Guid& inKey, std::uint64_t inRegistration, std::int32_t inStatus)
        VR_EXCLUDES(mMutex);

    void Count(std::size_t& outKeys, std::size_t& outHolders) VR_EXCLUDES(mMutex);

private:
    struct Entry
    {
        std::uint64_t mRegistration = 0;
        std::vector<ReadHolder*> mHolders;
    };

    std::map<TVK::Guid, Entry, norvik::utility::GuidLessSigned> mEntries VR_GUARDED_BY(mMutex);
    std::uint64_t mRegistrations VR_GUARDED_BY(mMutex) = 0;
};

} // namespace ML::VideoSourcePrefetcher
