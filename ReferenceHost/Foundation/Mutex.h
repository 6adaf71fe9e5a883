#pragma once

#include "norvik/threads/ThreadAnnotations.h"

#include <mutex>

// A plain mutex that the compiler's lock analysis understands; the standard library's carries no marks.
//
// Thread-safety: safe.
namespace Foundation
{

class VR_CAPABILITY("mutex") Mutex
{
public:
    Mutex() = default;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void Lock() VR_ACQUIRE() { mMutex.lock(); }
    void Unlock() VR_RELEASE() { mMutex.unlock(); }

private:
    std::mutex mMutex;
};

// Holds a Mutex from construction to destruction.
class VR_SCOPED_CAPABILITY MutexLock
{
public:
    explicit MutexLock(Mutex& inMutex) VR_ACQUIRE(inMutex) : mMutex(inMutex) { mMutex.Lock(); }
    ~MutexLock() VR_RELEASE() { mMutex.Unlock(); }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

private:
    Mutex& mMutex;
};

} // namespace Foundation
