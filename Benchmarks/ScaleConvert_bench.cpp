#include <benchmark/benchmark.h>

extern "C"
{
#include <libswscale/swscale.h>
}

#include "BenchPictures.h"
#include "IR/ImageRoutines.h"

// 2160p to 1080p on one thread, beside libswscale's filters. Frames come from a ring larger than the caches.
namespace
{

using BenchPictures::Ring;

constexpr int kWidth = 3840;
constexpr int kHeight = 2160;
constexpr std::size_t kRing = 4;
constexpr std::size_t kPixels = std::size_t{kWidth} * kHeight;

void Ours(benchmark::State& ioState, std::uint32_t inCode, std::uint32_t inTargetCode)
{
    const bool isPlanar = (inCode & 0xF0) != 0;
    const int rowBytes = isPlanar ? kWidth : kWidth * 4;
    Ring source(kRing, isPlanar ? kPixels * 3 / 2 : kPixels * 4);
    Ring target(kRing, kPixels);
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
    Ring source(kRing, isPlanar ? kPixels * 3 / 2 : kPixels * 4);
    Ring target(kRing, kPixels);
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
