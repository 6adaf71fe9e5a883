#pragma once

// Marks for the compiler's thread-safety analysis: which lock guards a member, which one a function needs,
// takes or must not hold. Only one of our compilers understands them; for the other they are empty.
//
// Thread-safety: none of their own.

#if defined(__clang__)
#define VR_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define VR_THREAD_ATTRIBUTE(x)
#endif

#define VR_CAPABILITY(inName) VR_THREAD_ATTRIBUTE(capability(inName))
#define VR_SCOPED_CAPABILITY VR_THREAD_ATTRIBUTE(scoped_lockable)
#define VR_GUARDED_BY(inLock) VR_THREAD_ATTRIBUTE(guarded_by(inLock))
#define VR_PT_GUARDED_BY(inLock) VR_THREAD_ATTRIBUTE(pt_guarded_by(inLock))
#define VR_ACQUIRED_AFTER(...) VR_THREAD_ATTRIBUTE(acquired_after(__VA_ARGS__))
#define VR_ACQUIRED_BEFORE(...) VR_THREAD_ATTRIBUTE(acquired_before(__VA_ARGS__))
#define VR_REQUIRES(...) VR_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define VR_EXCLUDES(...) VR_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define VR_ACQUIRE(...) VR_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define VR_RELEASE(...) VR_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define VR_TRY_ACQUIRE(...) VR_THREAD_ATTRIBUTE(try_acquire_capability(__VA_ARGS__))
#define VR_NO_THREAD_SAFETY_ANALYSIS VR_THREAD_ATTRIBUTE(no_thread_safety_analysis)
