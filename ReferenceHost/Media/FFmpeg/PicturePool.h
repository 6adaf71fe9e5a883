#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

struct AVCodecContext;
struct AVFrame;

namespace Media
{

// The memory of decoded pictures, shared by all decoders of a file and outliving them.
//
// A fresh picture costs more in page faults than its decoding may take, so blocks are kept and handed out
// again, the last one returned first while it is still in the processor's caches. Blocks are 64-byte aligned
// and ask for huge pages. What decoders, cache and clients hold counts as live.
//
// Thread-safety: safe.
class PicturePool : public std::enable_shared_from_this<PicturePool>
{
public:
    // inSpareBytes: how much may lie idle.
    explicit PicturePool(std::int64_t inSpareBytes) : mSpareLimit(inSpareBytes) {}
    ~PicturePool();

    // Makes inContext take its pictures from here. The pool must live as long as the context.
    void Attach(AVCodecContext& inContext);

    std::int64_t LiveBytes() const noexcept { return mLiveBytes.load(std::memory_order_relaxed); }
    std::int64_t SpareBytes() const noexcept { return mSpareBytes.load(std::memory_order_relaxed); }
    std::uint64_t FreshBlocks() const noexcept { return mFreshBlocks.load(std::memory_order_relaxed); }

private:
    struct Block
    {
        void* memory;
        std::size_t bytes;
    };
    struct Lease;

    static int GetBuffer(AVCodecContext* inContext, AVFrame* ioFrame, int inFlags);
    static void ReturnLease(void* inLease, std::uint8_t* inMemory);
    int Fill(AVCodecContext& inContext, AVFrame& ioFrame);
    Block Take(std::size_t inBytes);
    void Return(Block inBlock);

    const std::int64_t mSpareLimit;
    std::mutex mLock; // guards mSpare
    std::vector<Block> mSpare;
    std::atomic<std::int64_t> mLiveBytes{0};
    std::atomic<std::int64_t> mSpareBytes{0};
    std::atomic<std::uint64_t> mFreshBlocks{0};
};

}
