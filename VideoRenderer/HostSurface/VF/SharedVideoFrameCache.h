// The frames of the whole process, by content key.
//
// The first insertion of a key wins; a later one changes nothing, so that all users of a key see one
// frame. Inserting freezes the frame. A byte budget bounds the cache: the least important frames go
// first, among equals the least recently used. A dependency on a key pins its frame, now or when it
// comes; dependencies are counted. A zero key is no key: it is never found and never stored.
//
// After an insertion the notification function runs on the inserting thread, with no lock of the cache
// held; it may come back into the cache.
//
// Thread-safety: safe.
#pragma once

#include "MF/IVideoFrame.h"

#include <cstdint>
#include <functional>

namespace VF::SharedVideoFrameCache
{

// The frame of a key, or an empty reference.
MF::IVideoFrameRef RetrieveFromCache(const TVK::Guid& inKey);
// inPriority: importance; frames of lower importance are dropped first.
void InsertIntoCache(const MF::IVideoFrameRef& inFrame, const TVK::Guid& inKey, std::int32_t inPriority);

void RegisterDependencyOnFrame(const TVK::Guid& inKey);
// Pairs with one registration; unpaired calls do nothing.
void UnregisterDependencyOnFrame(const TVK::Guid& inKey);

// An empty function ends notification. Calls that are under way on other threads may still finish.
void SetNotificationFunction(const std::function<void()>& inFunction);

} // namespace VF::SharedVideoFrameCache
