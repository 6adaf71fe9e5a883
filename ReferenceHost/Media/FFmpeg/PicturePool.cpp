#include "ReferenceHost/Media/FFmpeg/PicturePool.h"

#include <algorithm>
#include <new>
#include <utility>

#include "ReferenceHost/Foundation/RaceDetector.h"
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
    BlockPtr block;
};

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

VR_CALLED_FROM_OUTSIDE int PicturePool::GetBuffer(AVCodecContext* inContext, AVFrame* ioFrame, int inFlags)
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
    try
    {
        return static_cast<PicturePool*>(inContext->opaque)->Fill(*inContext, *ioFrame);
    }
    catch (const std::bad_alloc&)
    {
        return AVERROR(ENOMEM); // the caller is C
    }
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
    std::uint8_t* base = nullptr;
    ioFrame.buf[0] = NewBuffer(total, base);
    if (!ioFrame.buf[0])
    {
        return AVERROR(ENOMEM);
    }
    for (int plane = 0; plane < 4; ++plane)
    {
        ioFrame.data[plane] = sizes[plane] > 0 ? base + offsets[plane] : nullptr;
        ioFrame.linesize[plane] = strides[plane];
    }
    ioFrame.extended_data = ioFrame.data;
    return 0;
}

AVBufferRef* PicturePool::NewBuffer(std::size_t inBytes, std::uint8_t*& outBytes)
{
    auto lease = std::make_unique<Lease>();
    lease->block = Take(inBytes);
    if (!lease->block)
    {
        return nullptr;
    }
    lease->pool = shared_from_this();
    auto* const memory = static_cast<std::uint8_t*>(lease->block->Data());
    AVBufferRef* const buffer = av_buffer_create(memory, inBytes, &PicturePool::ReturnLease, lease.get(), 0);
    if (!buffer)
    {
        Return(std::move(lease->block));
        return nullptr;
    }
    Foundation::HandOver(lease.release());
    Foundation::HandOver(memory);
    outBytes = memory;
    return buffer;
}

void PicturePool::ReturnLease(void* inLease, std::uint8_t* inMemory)
{
    Foundation::TakeOver(inLease);
    Foundation::TakeOver(inMemory);
    const std::unique_ptr<Lease> lease(static_cast<Lease*>(inLease));
    lease->pool->Return(std::move(lease->block));
}

PicturePool::BlockPtr PicturePool::Take(std::size_t inBytes)
{
    const std::size_t capacity = VF::PictureMemory::CapacityFor(inBytes);
    BlockPtr block;
    std::vector<BlockPtr> dropped;
    {
        const std::lock_guard<std::mutex> lock(mLock);
        const auto found =
            std::find_if(mSpare.rbegin(), mSpare.rend(),
                         [&](const BlockPtr& inSpare) { return inSpare->Capacity() == capacity; });
        mLiveBytes += static_cast<std::int64_t>(capacity);
        if (found != mSpare.rend())
        {
            block = std::move(*found);
            mSpare.erase(std::next(found).base());
            mSpareBytes -= static_cast<std::int64_t>(capacity);
        }
        CutSpareLocked(dropped);
    }
    dropped.clear();
    if (!block)
    {
        block = std::make_unique<VF::PictureMemory>();
        if (!block->Allocate(capacity))
        {
            mLiveBytes -= static_cast<std::int64_t>(capacity);
            return nullptr;
        }
        ++mFreshBlocks;
    }
    block->AllowAccess(inBytes);
    return block;
}

void PicturePool::Return(BlockPtr inBlock)
{
    inBlock->AllowAccess(0);
    std::vector<BlockPtr> dropped; // goes after the lock
    const std::lock_guard<std::mutex> lock(mLock);
    mLiveBytes -= static_cast<std::int64_t>(inBlock->Capacity());
    mSpareBytes += static_cast<std::int64_t>(inBlock->Capacity());
    mSpare.push_back(std::move(inBlock));
    CutSpareLocked(dropped);
}

void PicturePool::CutSpareLocked(std::vector<BlockPtr>& outDropped)
{
    std::size_t count = 0;
    for (; count < mSpare.size() && mSpareBytes > std::max<std::int64_t>(0, mLimit - mLiveBytes); ++count)
    {
        mSpareBytes -= static_cast<std::int64_t>(mSpare[count]->Capacity());
        outDropped.push_back(std::move(mSpare[count]));
    }
    mSpare.erase(mSpare.begin(), mSpare.begin() + static_cast<std::ptrdiff_t>(count));
}

}
