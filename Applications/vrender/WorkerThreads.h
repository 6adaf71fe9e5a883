#pragma once

#include <cstddef>
#include <functional>
#include <thread>

// Work that any number of threads can share.
//
// Thread-safety: one caller at a time.
namespace vrender
{

// Makes a thread that runs its argument; throws std::system_error when the system gives none.
using ThreadStarter = std::function<std::thread(const std::function<void()>&)>;

// Runs inWork on inThreads threads, the caller's among them, and returns when all have ended. Where the system
// has no more threads or no memory for them, those that are there do the work: inWork must be such that fewer
// finish all of it. inWork doesn't throw. inStart: for tests; empty: the system's threads.
void RunOnThreads(std::size_t inThreads, const std::function<void()>& inWork,
                  const ThreadStarter& inStart = {});

} // namespace vrender
