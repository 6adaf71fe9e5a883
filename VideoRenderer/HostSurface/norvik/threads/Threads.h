#pragma once

#include "Platform.h"
#include "norvik/BoostTypes.h"
#include "norvik/threads/ThreadAnnotations.h"
#include "norvik/utility/StringTypes.h"

#include <cstdint>
#include <mutex>

namespace norvik::threads
{

// The system's id of the calling thread.
ML_EXPORT uint64_t GetCurrentThreadID();

// A mutex that its holder may lock again. The label says where it was locked and must be a literal: it is
// kept by address for DumpLocks and has no other effect.
//
// Thread-safety: safe.
class VR_CAPABILITY("mutex") RecursiveMutex
{
public:
    RecursiveMutex() = default;
    RecursiveMutex(const RecursiveMutex&) = delete;
    RecursiveMutex& operator=(const RecursiveMutex&) = delete;

    ML_EXPORT void Lock(const char* inLabel) VR_ACQUIRE();
    ML_EXPORT void Unlock() VR_RELEASE();

private:
    std::recursive_mutex mMutex;
};

// Holds a RecursiveMutex from construction to destruction, or to an early Unlock.
//
// Thread-safety: used by one thread.
class VR_SCOPED_CAPABILITY ScopedLock
{
public:
    ScopedLock(RecursiveMutex& inMutex, const char* inLabel) VR_ACQUIRE(inMutex) : mMutex(&inMutex)
    {
        inMutex.Lock(inLabel);
    }

    ~ScopedLock() VR_RELEASE()
    {
        if (mMutex != nullptr)
        {
            mMutex->Unlock();
        }
    }

    void Unlock() VR_RELEASE()
    {
        mMutex->Unlock();
        mMutex = nullptr;
    }

    ScopedLock(const ScopedLock&) = delete;
    ScopedLock& operator=(const ScopedLock&) = delete;

private:
    RecursiveMutex* mMutex;
};

// Text for the hunt after a deadlock: for each thread that holds a RecursiveMutex or waits for one, a line
// with the labels held, innermost last, and the label it waits at. A snapshot that may be torn.
ML_EXPORT UTF8String DumpLocks();

// Runs functions, later and elsewhere.
//
// Thread-safety: safe.
class ML_EXPORT AsyncExecutor
{
public:
    virtual ~AsyncExecutor();

    // Queues a function, to be run not before inDelayMilliseconds from now. Functions without a delay start
    // in the order of posting. Never runs the function itself. A function that throws is caught, and logged;
    // its thread goes on.
    virtual void Post(Function inFunction, uint32_t inDelayMilliseconds = 0) = 0;

    // Whether the calling thread is running one of this executor's functions right now.
    virtual bool IsCurrentThread() const = 0;
};

// An executor that can be stopped, by these three calls in this order. None of them may be called with a lock
// held that a queued function takes, in itself or in the destructors of what is bound to it.
//
// Destroying an executor stops it. It may be destroyed by one of its own functions.
//
// Thread-safety: safe.
class ML_EXPORT AsyncThreadedExecutor : public AsyncExecutor
{
public:
    ~AsyncThreadedExecutor() override;

    // Discards what is queued or delayed. What was bound to those functions is released before the call
    // returns, outside the executor's lock. Running functions are not touched.
    virtual void CancelPending() = 0;

    // From now on Post drops what it is given without a word. What is queued already still runs; what is
    // delayed runs when it is due.
    virtual void Close() = 0;

    // Returns when nothing is queued, delayed or running; what is posted meanwhile is waited for as well.
    // Called from one of this executor's own functions it waits for those that run on other threads and
    // aren't waiting here themselves, but not for what is queued, which may need this very thread. For the
    // same reason a function of a sub-executor's parent cancels what is pending there before it waits for it.
    virtual void WaitForTermination() = 0;
};

// A pool with as many threads as CPUCount says. Idle threads sleep and wake for work only.
ML_EXPORT boost::shared_ptr<AsyncThreadedExecutor> CreateCPUBoundExecutor();

// A pool with inWidth threads (at least one) of the given name; the system shows 15 characters of it.
ML_EXPORT boost::shared_ptr<AsyncThreadedExecutor> CreateThreadedExecutor(const char* inName,
                                                                          uint32_t inWidth);

// An executor that runs its functions on inParent, at most inWidth (at least one) at the same time, started
// in the order of posting. Width 1 is a serial executor: each function sees what the ones before it wrote.
// Holds its parent. When the parent is closed or cancelled, functions that hadn't been handed to it are
// dropped.
ML_EXPORT boost::shared_ptr<AsyncThreadedExecutor>
CreateSubExecutor(const boost::shared_ptr<AsyncThreadedExecutor>& inParent, uint32_t inWidth);

} // namespace norvik::threads
