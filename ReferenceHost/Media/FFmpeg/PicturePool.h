#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "ReferenceHost/FrameLibrary/PictureMemory.h"

struct AVBufferRef;
struct AVCodecContext;
struct AVFrame;

namespace Media
{

// The memory of decoded pictures, shared by all decoders of a file and outliving them.
//
// A fresh picture costs more in page faults than its decoding may take, so blocks are kept and handed out
// again, the last one returned first while it is still in the processor's caches. Blocks come straight from
// the system and go back to it, so that what is dropped is no longer the process's. What decoders, cache and
// clients hold counts as live, and is never refused.
//
// Thread-safety: safe.
class PicturePool : public std::enable_shared_from_this<PicturePool>
{
public:
    // inLimitBytes: blocks lie idle only as far as those that are live leave room.
    explicit PicturePool(std::int64_t inLimitBytes) : mLimit(inLimitBytes) {}

    // A buffer of FFmpeg's of inBytes, undefined, and its bytes; null if there is no memory. The reference is
    // FFmpeg's from then on: a thread of a decoder may drop it without anything that the race detector sees, so
    // the bytes are not to be asked of it.
    AVBufferRef* NewBuffer(std::size_t inBytes, std::uint8_t*& outBytes);

    // Makes inContext take its pictures from here. The pool must live as long as the context.
    void Attach(AVCodecContext& inContext);

    std::int64_t LiveBytes() const noexcept { return mLiveBytes.load(std::memory_order_relaxed); }
    std::int64_t SpareBytes() const noexcept { return mSpareBytes.load(std::memory_order_relaxed); }
    std::uint64_t FreshBlocks() const noexcept { return mFreshBlocks.load(std::memory_order_relaxed); }

private:
    using BlockPtr = std::unique_ptr<VF::PictureMemory>;
    struct Lease;

    static int GetBuffer(AVCodecContext* inContext, AVFrame* ioFrame, int inFlags);
    static void ReturnLease(void* inLease, std::uint8_t* inMemory);
    int Fill(AVCodecContext& inContext, AVFrame& ioFrame);
    BlockPtr Take(std::size_t inBytes);
    void Return(BlockPtr inBlock);
    void CutSpareLocked(std::vector<BlockPtr>& outDropped);

    const std::int64_t mLimit;
    std::mutex mLock;             // guards mSpare; nothing is mapped or unmapped under it
    std::vector<BlockPtr> mSpare; // the last one returned at the end
    std::atomic<std::int64_t> mLiveBytes{0};
    std::atomic<std::int64_t> mSpareBytes{0};
    std::atomic<std::uint64_t> mFreshBlocks{0};
};

}
