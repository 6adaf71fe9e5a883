// What stands in the explored copy of the library in place of atomics, mutexes and the frame cache: the same
// with a point before each operation.
//
// The copy is compiled with this header in front of it. Layouts are those of the originals as far as anybody
// looks: an atomic is one.
//
// Thread-safety: as the originals, for threads of a run and for the controlling thread while there is none.
#pragma once

#include "Tests/ScheduleExplorer/Scheduler.h"
#include "VF/SharedVideoFrameCache.h"

#include <atomic>
#include <cstdint>
#include <functional>

namespace ScheduleExplorer
{

// What an atomic is there for.
enum class AtomicUse
{
    kSignal,        // others act by its value
    kReferenceCount // only the last release acts
};

template <class T, AtomicUse kUse = AtomicUse::kSignal>
class Atomic
{
public:
    constexpr Atomic() noexcept = default;
    constexpr Atomic(T inValue) noexcept : mValue(inValue) {}
    Atomic(const Atomic&) = delete;
    Atomic& operator=(const Atomic&) = delete;

    operator T() const noexcept { return load(); }
    T operator=(T inValue) noexcept
    {
        store(inValue);
        return inValue;
    }
    T operator++() noexcept { return fetch_add(1) + 1; }

    T load(std::memory_order = std::memory_order_seq_cst) const noexcept
    {
        return Reach(Access::kRead).load();
    }
    void store(T inValue, std::memory_order = std::memory_order_seq_cst) noexcept { Reach().store(inValue); }
    T exchange(T inValue, std::memory_order = std::memory_order_seq_cst) noexcept
    {
        return Reach().exchange(inValue);
    }
    T fetch_add(T inValue, std::memory_order = std::memory_order_seq_cst) noexcept
    {
        return Reach().fetch_add(inValue);
    }
    T fetch_sub(T inValue, std::memory_order = std::memory_order_seq_cst) noexcept
    {
        return Reach().fetch_sub(inValue);
    }
    bool compare_exchange_strong(T& ioExpected, T inValue,
                                 std::memory_order = std::memory_order_seq_cst) noexcept
    {
        return Reach().compare_exchange_strong(ioExpected, inValue);
    }
    bool compare_exchange_weak(T& ioExpected, T inValue,
                               std::memory_order = std::memory_order_seq_cst) noexcept
    {
        return Reach().compare_exchange_strong(ioExpected, inValue);
    }

private:
    std::atomic<T>& Reach(Access inAccess = Access::kWrite) const noexcept
    {
        if constexpr (kUse == AtomicUse::kSignal)
        {
            Scheduler::Instance().Reach(this, inAccess);
        }
        else
        {
            Scheduler::Instance().ReachMinor();
            Scheduler::Instance().Touch(this, inAccess);
        }
        return mValue;
    }

    mutable std::atomic<T> mValue{};
};

// Takes the place of boost::shared_mutex too: shared and exclusive ownership, no upgrades.
class Mutex
{
public:
    Mutex() = default;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void lock();
    void unlock();
    void lock_shared();
    void unlock_shared();

private:
    bool mIsTaken = false;
    int mShared = 0;
};

namespace FrameCache
{

// Stand for the frames of a key as the object of a step: those of another one are none of its business, as the
// few small frames of a run never press each other out.
inline const void* FramesOf(const TVK::Guid& inKey)
{
    // No object of the program has an address like this.
    constexpr std::uintptr_t kNoAddress = std::uintptr_t{1} << 63;
    return reinterpret_cast<const void*>((inKey.mHi * 0x9E3779B97F4A7C15u ^ inKey.mLo * 0xD1B54A32D192ED03u) |
                                         kNoAddress);
}

inline MF::IVideoFrameRef RetrieveFromCache(const TVK::Guid& inKey)
{
    Scheduler::Instance().Reach(FramesOf(inKey));
    return VF::SharedVideoFrameCache::RetrieveFromCache(inKey);
}

inline void InsertIntoCache(const MF::IVideoFrameRef& inFrame, const TVK::Guid& inKey,
                            std::int32_t inPriority)
{
    Scheduler::Instance().Reach(FramesOf(inKey));
    VF::SharedVideoFrameCache::InsertIntoCache(inFrame, inKey, inPriority);
}

inline void RegisterDependencyOnFrame(const TVK::Guid& inKey)
{
    Scheduler::Instance().Reach(FramesOf(inKey));
    VF::SharedVideoFrameCache::RegisterDependencyOnFrame(inKey);
}

inline void UnregisterDependencyOnFrame(const TVK::Guid& inKey)
{
    Scheduler::Instance().Reach(FramesOf(inKey));
    VF::SharedVideoFrameCache::UnregisterDependencyOnFrame(inKey);
}

inline void SetNotificationFunction(const std::function<void()>& inFunction)
{
    VF::SharedVideoFrameCache::SetNotificationFunction(inFunction);
}

} // namespace FrameCache

} // namespace ScheduleExplorer
