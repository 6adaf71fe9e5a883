#include <benchmark/benchmark.h>
#include <cstdlib>
#include <cstring>
#include <sys/mman.h>
#include <vector>

extern "C"
{
#include <libswscale/swscale.h>
}

#include "IR/ImageRoutines.h"

// 2160p to 1080p on one thread, beside libswscale's filters. Frames come from a ring larger than the caches.
namespace
{

constexpr int kWidth = 3840;
constexpr int kHeight = 2160;
constexpr std::size_t kRing = 4;
constexpr std::size_t kPixels = std::size_t{kWidth} * kHeight;

class Ring
{
public:
    explicit Ring(std::size_t inBytes)
    {
        for (std::size_t i = 0; i < kRing; ++i)
        {
            const std::size_t bytes = (inBytes + kHuge - 1) / kHuge * kHuge;
            auto* block = static_cast<unsigned char*>(std::aligned_alloc(kHuge, bytes));
            madvise(block, bytes, MADV_HUGEPAGE);
            std::uint32_t state = 99 + static_cast<std::uint32_t>(i);
            for (std::size_t j = 0; j < inBytes; ++j)
            {
                state = state * 1664525U + 1013904223U;
                block[j] = static_cast<unsigned char>(state >> 24);
            }
            mBlocks.push_back(block);
        }
    }
    ~Ring()
    {
        for (unsigned char* block : mBlocks)
        {
            std::free(block);
        }
    }
    Ring(const Ring&) = delete;
    Ring& operator=(const Ring&) = delete;

    unsigned char* Next() { return mBlocks[mNext++ % kRing]; }

private:
    static constexpr std::size_t kHuge = std::size_t{1} << 21;

    std::vector<unsigned char*> mBlocks;
    std::size_t mNext = 0;
};

void Ours(benchmark::State& ioState, std::uint32_t inCode, std::uint32_t inTargetCode)
{
    const bool isPlanar = (inCode & 0xF0) != 0;
    const int rowBytes = isPlanar ? kWidth : kWidth * 4;
    Ring source(isPlanar ? kPixels * 3 / 2 : kPixels * 4);
    Ring target(kPixels);
    const auto quality = static_cast<std::int32_t>(ioState.range(0));
    for (auto _ : ioState)
    {
        if (IR_ScaleConvert(source.Next(), rowBytes, kWidth, kHeight, inCode, kIR_WholePicture, target.Next(),
                            kWidth / 2 * 4, kWidth / 2, kHeight / 2, inTargetCode, kIR_WholePicture,
                            quality) != kIR_Success)
        {
            ioState.SkipWithError("scaling failed");
        }
    }
}

void Swscale(benchmark::State& ioState, AVPixelFormat inFormat, int inFlags)
{
    const bool isPlanar = inFormat == AV_PIX_FMT_YUV420P;
    Ring source(isPlanar ? kPixels * 3 / 2 : kPixels * 4);
    Ring target(kPixels);
    SwsContext* context = sws_getContext(kWidth, kHeight, inFormat, kWidth / 2, kHeight / 2, AV_PIX_FMT_BGRA,
                                         inFlags, nullptr, nullptr, nullptr);
    for (auto _ : ioState)
    {
        const unsigned char* pixels = source.Next();
        const unsigned char* const planes[4] = {pixels, pixels + kPixels, pixels + kPixels * 5 / 4, nullptr};
        const int strides[4] = {isPlanar ? kWidth : kWidth * 4, kWidth / 2, kWidth / 2, 0};
        unsigned char* const targets[4] = {target.Next(), nullptr, nullptr, nullptr};
        const int targetStrides[4] = {kWidth / 2 * 4, 0, 0, 0};
        sws_scale(context, planes, strides, 0, kHeight, targets, targetStrides);
    }
    sws_freeContext(context);
}

}

BENCHMARK_CAPTURE(Ours, yuv420_to_bgra_quality, 0x042, 0x00C)
    ->DenseRange(3, 5)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Ours, bgrx_to_bgrx_quality, 0x00C, 0x00C)->DenseRange(3, 5)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Ours, bgrp_to_bgrp_quality, 0x008, 0x008)->DenseRange(3, 4)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Ours, bgra_to_bgra_quality, 0x004, 0x004)->DenseRange(3, 4)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Swscale, yuv420_to_bgra_area, AV_PIX_FMT_YUV420P, SWS_AREA)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Swscale, yuv420_to_bgra_bilinear, AV_PIX_FMT_YUV420P, SWS_BILINEAR)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Swscale, yuv420_to_bgra_bicubic, AV_PIX_FMT_YUV420P, SWS_BICUBIC)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Swscale, bgra_to_bgra_area, AV_PIX_FMT_BGRA, SWS_AREA)->Unit(benchmark::kMillisecond);
