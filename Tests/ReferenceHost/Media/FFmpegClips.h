#pragma once

#include "ReferenceHost/Media/FFmpeg/MediaFile.h"

#include <cstdint>
#include <memory>
#include <string>

// Clips of the test media, opened below the door that applications use, for tests of the reader itself.
//
// Thread-safety: safe.
namespace MediaTests
{

// Fails the test with the reason and answers null when the clip can't be opened.
std::shared_ptr<Media::MediaFile> OpenClip(const std::string& inName,
                                           const Media::FileOptions& inOptions = {});

// With two threads to each decoder, and so many bytes of decoded pictures.
std::shared_ptr<Media::MediaFile> OpenClipWithCache(const std::string& inName, std::int64_t inCacheBytes);

}
