#pragma once

// Words for the race detector (the thread sanitizer) about libraries that are built without it. It doesn't see
// what orders their threads, and takes what they call back for theirs.
//
// Without the detector all of this is nothing.
//
// Thread-safety: safe.

#if defined(__SANITIZE_THREAD__)
#define VR_RACE_DETECTOR 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define VR_RACE_DETECTOR 1
#endif
#endif

#ifdef VR_RACE_DETECTOR
#include <sanitizer/tsan_interface.h>
// For a function that such a library calls: what it calls in turn is told of without the library on its stack,
// so that no suppression of the library hides it.
#define VR_CALLED_FROM_OUTSIDE __attribute__((no_sanitize("thread")))
#else
#define VR_CALLED_FROM_OUTSIDE
#endif

namespace Foundation
{

// All that this thread did before is over for whoever takes inObject over, however it comes there. Null is
// nothing to hand over.
inline void HandOver([[maybe_unused]] void* inObject) noexcept
{
#ifdef VR_RACE_DETECTOR
    if (inObject != nullptr)
    {
        __tsan_release(inObject);
    }
#endif
}

inline void TakeOver([[maybe_unused]] void* inObject) noexcept
{
#ifdef VR_RACE_DETECTOR
    if (inObject != nullptr)
    {
        __tsan_acquire(inObject);
    }
#endif
}

} // namespace Foundation
