#include "ReferenceHost/Media/FFmpeg/DecoderBudget.h"

#include <algorithm>

#include "ReferenceHost/Media/FFmpeg/FFmpegTypes.h"
#include "ReferenceHost/Media/FFmpeg/MediaFacts.h"

namespace Media
{

namespace
{

// References of usual streams and pictures out of order; the most that is allowed at the largest size of each
// level of H.264 and HEVC is about the same.
constexpr int kUsualReferences = 5;

// An entry of the container's own index and its share of sample tables, as seen in long MP4 files.
constexpr std::int64_t kReaderBytesOfPacket = 48;

// Vectors and modes of H.264 are 141 bytes for 256 pixels, those of HEVC up to 200.
constexpr std::int64_t kTableBytes = 5;
constexpr std::int64_t kTablePixels = 8;

int PicturesWithin(const DecoderNeeds& inNeeds, int inThreads)
{
    return (inNeeds.hasFrameThreads ? inThreads : 1) + inNeeds.references;
}

}

DecoderNeeds NeedsOf(const AVCodec& inCodec, const AVCodecParameters& inParameters, std::uint32_t inPackets)
{
    DecoderNeeds needs;
    const std::int64_t pixels = std::int64_t{std::clamp(inParameters.width, 0, kMaximumSide)} *
                                std::clamp(inParameters.height, 0, kMaximumSide);
    const AVPixFmtDescriptor* format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(inParameters.format));
    needs.pictureBytes = pixels * (format ? std::max(8, av_get_padded_bits_per_pixel(format)) : 12) / 8;
    needs.hasFrameThreads =
        (inCodec.capabilities & (AV_CODEC_CAP_FRAME_THREADS | AV_CODEC_CAP_OTHER_THREADS)) != 0;
    const AVCodecDescriptor* descriptor = avcodec_descriptor_get(inParameters.codec_id);
    if (!descriptor || !(descriptor->props & AV_CODEC_PROP_INTRA_ONLY))
    {
        needs.references = kUsualReferences;
        needs.tableBytes = pixels * kTableBytes / kTablePixels;
    }
    needs.readerBytes = std::int64_t{inPackets} * kReaderBytesOfPacket;
    return needs;
}

std::int64_t TableBytesOfDecoder(const DecoderNeeds& inNeeds, int inThreads)
{
    return PicturesWithin(inNeeds, inThreads) * inNeeds.tableBytes + inNeeds.readerBytes;
}

std::int64_t BytesOfDecoder(const DecoderNeeds& inNeeds, int inThreads)
{
    return PicturesWithin(inNeeds, inThreads) * inNeeds.pictureBytes +
           TableBytesOfDecoder(inNeeds, inThreads);
}

int ThreadsWithin(const DecoderNeeds& inNeeds, int inWanted, std::int64_t inBytes)
{
    const std::int64_t clients = std::max(inWanted, kLeastPicturesKept) * inNeeds.pictureBytes;
    int threads = std::max(1, inWanted);
    while (threads > 1 && BytesOfDecoder(inNeeds, threads) + clients > inBytes)
    {
        --threads;
    }
    return threads;
}

bool DecodersFit(const DecoderNeeds& inNeeds, int inDecoders, int inThreads, std::int64_t inBytes)
{
    return inDecoders * BytesOfDecoder(inNeeds, inThreads) + kLeastPicturesKept * inNeeds.pictureBytes <=
           inBytes;
}

}
