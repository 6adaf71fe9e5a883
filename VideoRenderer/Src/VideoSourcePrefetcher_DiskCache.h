// The second level behind the shared frame cache: frames as PNG files, from earlier runs.
//
// Entries are named by the text of their frame key. A failure of the cache is never a failure of a render:
// what cannot be read is read from its media, or rendered without having been read ahead.
//
// Thread-safety: DiskCacheIsOpen, BeginDiskCacheRead and PostDiskCacheWrite are safe. The others are called
// while nothing is read ahead; writes that were posted before CloseDiskCache do nothing afterwards.
#pragma once

#include "MF/IVideoFrame.h"

#include <cstdint>
#include <functional>
#include <memory>

namespace MF
{
class DataCache;
}

namespace ML::VideoSourcePrefetcher
{

// Opens the cache in the host's directory if the settings want one. Throws TVK::NullInterfaceException if the
// host has no backend or no directories at all.
void OpenDiskCache();
void CloseDiskCache();
// Puts a cache in place.
void UseDiskCache(std::shared_ptr<MF::DataCache> inCache);

bool DiskCacheIsOpen();

// Starts reading the frame of a key into the shared cache. False: it was not started, and nobody is called.
// inOnFailure gets the status of the read, on the cache's thread, if it is negative. It also gets that status,
// which is then none of a failure, if the read succeeded and its bytes are no picture.
bool BeginDiskCacheRead(const TVK::Guid& inKey, const std::function<void(std::int32_t)>& inOnFailure);

// Has a frame compressed and written on a render executor. Nothing is told of a failure.
void PostDiskCacheWrite(const MF::IVideoFrameRef& inFrame, const TVK::Guid& inKey);

} // namespace ML::VideoSourcePrefetcher
