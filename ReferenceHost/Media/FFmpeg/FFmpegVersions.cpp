#include "ReferenceHost/Media/FFmpeg/FFmpegMedia.h"

#include <fmt/format.h>

extern "C"
{
#include <libavcodec/avcodec.h>
#include <libavutil/avutil.h>
#include <libswscale/swscale.h>
}

namespace Media
{

std::string FFmpegVersions()
{
    return fmt::format("FFmpeg {} libavcodec {} libswscale {}", av_version_info(), avcodec_version(),
                       swscale_version());
}

} // namespace Media
