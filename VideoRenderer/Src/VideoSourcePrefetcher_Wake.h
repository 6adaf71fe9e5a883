// How the prefetcher makes the render queue look again at the requests that wait for it.
//
// Thread-safety: WakeRenderQueue is safe. SetWakeFunction is not for times when something is read ahead.
#pragma once

#include <functional>

namespace ML::VideoSourcePrefetcher
{

// A post, so that it returns at once. The queue looks by itself every few milliseconds as long as requests
// wait for items; a wake-up that fails for want of memory is therefore let go.
void WakeRenderQueue() noexcept;

// Has another function called in place of the render queue's poll; an empty one puts that back.
void SetWakeFunction(const std::function<void()>& inFunction);

} // namespace ML::VideoSourcePrefetcher
