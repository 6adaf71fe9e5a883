#include "ReferenceHost/Media/FFmpeg/PictureChecksum.h"

#include "ReferenceHost/Media/FFmpeg/FFmpegTypes.h"

extern "C"
{
#include <libavutil/adler32.h>
#include <libavutil/imgutils.h>
}

namespace Media
{

std::uint32_t PictureChecksum(const AVFrame& inPicture)
{
    const auto format = static_cast<AVPixelFormat>(inPicture.format);
    const AVPixFmtDescriptor* descriptor = av_pix_fmt_desc_get(format);
    AVAdler sum = 0;
    const int planes = av_pix_fmt_count_planes(format);
    for (int plane = 0; plane < planes; ++plane)
    {
        const bool isChroma = plane == 1 || plane == 2;
        const int rows =
            isChroma ? AV_CEIL_RSHIFT(inPicture.height, descriptor->log2_chroma_h) : inPicture.height;
        const int bytes = av_image_get_linesize(format, inPicture.width, plane);
        for (int row = 0; row < rows && bytes > 0; ++row)
        {
            const std::uint8_t* data =
                inPicture.data[plane] + std::ptrdiff_t{row} * inPicture.linesize[plane];
            sum = av_adler32_update(sum, data, static_cast<std::size_t>(bytes));
        }
    }
    if (descriptor->flags & AV_PIX_FMT_FLAG_PAL)
    {
        sum = av_adler32_update(sum, inPicture.data[1], AVPALETTE_SIZE);
    }
    return sum;
}

}
