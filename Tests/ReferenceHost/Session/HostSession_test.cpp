#include "ReferenceHost/Session/HostSession.h"

#include "ReferenceHost/DiskCache/CacheMaker.h"
#include "ReferenceHost/ImageRoutines/ScalerVersion.h"
#include "ReferenceHost/Media/FFmpeg/FFmpegMedia.h"

#include <gtest/gtest.h>

TEST(HostSession, FramesOnDiskAreOfItsVersions)
{
    const Session::HostSession session{Session::HostSettings()};
    EXPECT_NE(DiskCache::GetMaker(), DiskCache::MakerOfText(""));
    EXPECT_NE(Media::FFmpegVersions().find("libavcodec "), std::string::npos);
    EXPECT_EQ(ir::ScalerVersion().rfind("zimg ", 0), 0u);
    EXPECT_EQ(ir::ScalerVersion().find("zimg 0.0.0"), std::string::npos);
}
