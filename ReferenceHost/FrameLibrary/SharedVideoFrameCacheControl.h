// What a host tells and asks the frame cache of the process; renders use VF/SharedVideoFrameCache.h.
//
// Thread-safety: safe.
#pragma once

#include "ReferenceHost/FrameLibrary/FrameCache.h"

#include <cstdint>

namespace VF::SharedVideoFrameCache
{

// Bytes of frames that the cache may hold. Until somebody says so: a third of the machine's memory, at
// most 4 GiB.
void SetBudget(std::uint64_t inBytes);

FrameCacheCounters GetCounters();

// Drops all frames.
void Clear();

} // namespace VF::SharedVideoFrameCache
