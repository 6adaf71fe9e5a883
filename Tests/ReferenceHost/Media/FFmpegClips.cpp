#include "Tests/ReferenceHost/Media/FFmpegClips.h"

#include "Tests/Support/Paths.h"

#include <gtest/gtest.h>

namespace MediaTests
{

std::shared_ptr<Media::MediaFile> OpenClip(const std::string& inName, const Media::FileOptions& inOptions)
{
    Media::FileError error;
    const auto file = Media::MediaFile::Open(TestSupport::MediaPath(inName), inOptions, error);
    EXPECT_TRUE(file) << error.text;
    return file;
}

std::shared_ptr<Media::MediaFile> OpenClipWithCache(const std::string& inName, std::int64_t inCacheBytes)
{
    Media::FileOptions options;
    options.decoderThreads = 2;
    options.cacheBytes = inCacheBytes;
    return OpenClip(inName, options);
}

}
