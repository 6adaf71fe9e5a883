#include "ReferenceHost/Media/FFmpeg/PicturePool.h"

#include <algorithm>
#include <cstdlib>
#include <sys/mman.h>

#include "ReferenceHost/Media/FFmpeg/FFmpegTypes.h"
#include "ReferenceHost/Media/FFmpeg/MediaInput.h"

extern "C"
{
#include <libavutil/imgutils.h>
}

namespace Media
{

namespace
{

constexpr int kAlignment = 64;
constexpr std::size_t kOverread = 128; // decoders' vector code reads past a plane's end
constexpr std::size_t kHugePage = std::size_t{2} << 20;

std::size_t RoundUp(std::size_t inValue, std::size_t inStep)
{
    return (inValue + inStep - 1) / inStep * inStep;
}

// The padding that the decoder asks for, and rows of whole cache lines.
int FindLayout(AVCodecContext& inContext, const AVFrame& inFrame, int (&outStrides)[4],
               std::size_t (&outSizes)[4])
{
    int width = inFrame.width;
    int height = inFrame.height;
    int alignments[AV_NUM_DATA_POINTERS] = {};
    avcodec_align_dimensions2(&inContext, &width, &height, alignments);
    const auto format = static_cast<AVPixelFormat>(inFrame.format);
    for (bool isAligned = false; !isAligned; width += width & ~(width - 1))
    {
        if (av_image_fill_linesizes(outStrides, format, width) < 0 || width > 4 * kMaximumSide)
        {
            return AVERROR(EINVAL);
        }
        isAligned = true;
        for (int plane = 0; plane < 4; ++plane)
        {
            isAligned = isAligned && outStrides[plane] % std::max(alignments[plane], 1) == 0;
        }
    }
    std::ptrdiff_t strides[4];
    for (int plane = 0; plane < 4; ++plane)
    {
        outStrides[plane] =
            static_cast<int>(RoundUp(static_cast<std::size_t>(outStrides[plane]), kAlignment));
        strides[plane] = outStrides[plane];
    }
    return av_image_fill_plane_sizes(outSizes, format, height, strides);
}

}

// What a buffer of FFmpeg owns: it gives the block back wherever the last reference goes.
struct PicturePool::Lease
{
    std::shared_ptr<PicturePool> pool;
    Block block;
};

PicturePool::~PicturePool()
{
    for (const Block& block : mSpare)
    {
        std::free(block.memory);
    }
}

void PicturePool::Attach(AVCodecContext& inContext)
{
    inContext.opaque = this;
    inContext.get_buffer2 = &PicturePool::GetBuffer;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    // This generation of the library calls from decoder threads directly only when told that it may.
    inContext.thread_safe_callbacks = 1;
#pragma GCC diagnostic pop
}

int PicturePool::GetBuffer(AVCodecContext* inContext, AVFrame* ioFrame, int inFlags)
{
    if (!IsPictureSizeAllowed(ioFrame->width, ioFrame->height, ioFrame->format))
    {
        av_log(inContext, AV_LOG_ERROR, "the picture of %dx%d is too large", ioFrame->width, ioFrame->height);
        return AVERROR(EINVAL);
    }
    if (!(inContext->codec->capabilities & AV_CODEC_CAP_DR1) || inContext->hw_frames_ctx)
    {
        return avcodec_default_get_buffer2(inContext, ioFrame, inFlags);
    }
    return static_cast<PicturePool*>(inContext->opaque)->Fill(*inContext, *ioFrame);
}

int PicturePool::Fill(AVCodecContext& inContext, AVFrame& ioFrame)
{
    int strides[4];
    std::size_t sizes[4];
    const int status = FindLayout(inContext, ioFrame, strides, sizes);
    if (status < 0)
    {
        return status;
    }
    std::size_t offsets[4] = {};
    std::size_t total = 0;
    for (int plane = 0; plane < 4 && sizes[plane] > 0; ++plane)
    {
        offsets[plane] = total;
        total += RoundUp(sizes[plane] + kOverread, kAlignment);
    }
    auto lease = std::make_unique<Lease>();
    lease->block = Take(total);
    if (!lease->block.memory)
    {
        return AVERROR(ENOMEM);
    }
    auto* base = static_cast<std::uint8_t*>(lease->block.memory);
    lease->pool = shared_from_this();
    ioFrame.buf[0] = av_buffer_create(base, total, &PicturePool::ReturnLease, lease.get(), 0);
    if (!ioFrame.buf[0])
    {
        Return(lease->block);
        return AVERROR(ENOMEM);
    }
    lease.release();
    for (int plane = 0; plane < 4; ++plane)
    {
        ioFrame.data[plane] = sizes[plane] > 0 ? base + offsets[plane] : nullptr;
        ioFrame.linesize[plane] = strides[plane];
    }
    ioFrame.extended_data = ioFrame.data;
    return 0;
}

void PicturePool::ReturnLease(void* inLease, std::uint8_t* inMemory)
{
    (void)inMemory;
    const std::unique_ptr<Lease> lease(static_cast<Lease*>(inLease));
    lease->pool->Return(lease->block);
}

PicturePool::Block PicturePool::Take(std::size_t inBytes)
{
    {
        const std::lock_guard<std::mutex> lock(mLock);
        for (std::size_t place = mSpare.size(); place-- > 0;)
        {
            if (mSpare[place].bytes == inBytes)
            {
                const Block block = mSpare[place];
                mSpare.erase(mSpare.begin() + static_cast<std::ptrdiff_t>(place));
                mSpareBytes -= static_cast<std::int64_t>(inBytes);
                mLiveBytes += static_cast<std::int64_t>(inBytes);
                return block;
            }
        }
    }
    const bool isLarge = inBytes >= kHugePage;
    const std::size_t alignment = isLarge ? kHugePage : kAlignment;
    void* memory = nullptr;
    if (posix_memalign(&memory, alignment, inBytes) != 0)
    {
        return {nullptr, 0};
    }
    if (isLarge)
    {
        madvise(memory, inBytes / kHugePage * kHugePage, MADV_HUGEPAGE);
    }
    ++mFreshBlocks;
    mLiveBytes += static_cast<std::int64_t>(inBytes);
    return {memory, inBytes};
}

void PicturePool::Return(Block inBlock)
{
    std::vector<Block> dropped;
    {
        const std::lock_guard<std::mutex> lock(mLock);
        mLiveBytes -= static_cast<std::int64_t>(inBlock.bytes);
        mSpareBytes += static_cast<std::int64_t>(inBlock.bytes);
        mSpare.push_back(inBlock);
        while (mSpareBytes > mSpareLimit && !mSpare.empty())
        {
            dropped.push_back(mSpare.front());
            mSpareBytes -= static_cast<std::int64_t>(mSpare.front().bytes);
            mSpare.erase(mSpare.begin());
        }
    }
    for (const Block& block : dropped)
    {
        std::free(block.memory);
    }
}

}
