#include <benchmark/benchmark.h>

extern "C"
{
#include <libswscale/swscale.h>
}

#include "BenchPictures.h"
#include "IR/ImageRoutines.h"

// Conversions of whole frames on one thread, beside the same work in libswscale and the memory's own speed.
// Frames come from a ring that is larger than the caches, as they do when a decoder and an encoder run.
namespace
{

using BenchPictures::CountBytes;
using BenchPictures::Ring;

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;
constexpr std::size_t kRing = 8;

struct Case
{
    std::uint32_t code;
    std::size_t bytesPerFrame;
    int rowBytes;
    AVPixelFormat peer;
};

constexpr std::size_t kPixels = std::size_t{kWidth} * kHeight;
constexpr Case k420 = {0x042, kPixels * 3 / 2, kWidth, AV_PIX_FMT_YUV420P};
constexpr Case k420Field = {0x052, kPixels * 3 / 2, kWidth, AV_PIX_FMT_YUV420P};
constexpr Case k422 = {0x062, kPixels * 2, kWidth, AV_PIX_FMT_YUV422P};
constexpr Case kUyvy = {0x012, kPixels * 2, kWidth * 2, AV_PIX_FMT_UYVY422};
constexpr Case k420Ten = {0x342, kPixels * 3, kWidth * 2, AV_PIX_FMT_YUV420P10LE};
constexpr Case k422Ten = {0x362, kPixels * 4, kWidth * 2, AV_PIX_FMT_YUV422P10LE};
constexpr Case kBgra = {0x004, kPixels * 4, kWidth * 4, AV_PIX_FMT_BGRA};
constexpr Case kBgrp = {0x008, kPixels * 4, kWidth * 4, AV_PIX_FMT_NONE};
constexpr Case kBgra16 = {0x204, kPixels * 8, kWidth * 8, AV_PIX_FMT_NONE};
constexpr Case kBgraFloat = {0x104, kPixels * 16, kWidth * 16, AV_PIX_FMT_NONE};
constexpr Case kBgraLinear = {0x908, kPixels * 16, kWidth * 16, AV_PIX_FMT_NONE};
constexpr Case kVuya = {0x006, kPixels * 4, kWidth * 4, AV_PIX_FMT_NONE};

void Memcpy(benchmark::State& ioState)
{
    BenchPictures::MeasureMemcpy(ioState, kRing, kBgra.bytesPerFrame);
}

void Ours(benchmark::State& ioState, const Case& inFrom, const Case& inTo)
{
    Ring source(kRing, inFrom.bytesPerFrame);
    Ring target(kRing, inTo.bytesPerFrame);
    if ((inFrom.code >> 8 & 7) == 3)
    {
        source.MaskToTenBits(inFrom.bytesPerFrame);
    }
    for (auto _ : ioState)
    {
        if (IR_Convert(source.Next(), inFrom.rowBytes, inFrom.code, target.Next(), inTo.rowBytes, inTo.code,
                       kWidth, kHeight, 4) != kIR_Success)
        {
            ioState.SkipWithError("conversion failed");
        }
    }
    CountBytes(ioState, inFrom.bytesPerFrame + inTo.bytesPerFrame);
}

void Swscale(benchmark::State& ioState, const Case& inFrom, const Case& inTo, int inFlags)
{
    Ring source(kRing, inFrom.bytesPerFrame);
    Ring target(kRing, inTo.bytesPerFrame);
    SwsContext* context = sws_getContext(kWidth, kHeight, inFrom.peer, kWidth, kHeight, inTo.peer, inFlags,
                                         nullptr, nullptr, nullptr);
    for (auto _ : ioState)
    {
        const unsigned char* pixels = source.Next();
        const int isTwoHigh = inFrom.peer == AV_PIX_FMT_YUV420P || inFrom.peer == AV_PIX_FMT_YUV420P10LE;
        const unsigned char* const planes[4] = {pixels, pixels + std::ptrdiff_t{inFrom.rowBytes} * kHeight,
                                                pixels + std::ptrdiff_t{inFrom.rowBytes} * kHeight +
                                                    std::ptrdiff_t{inFrom.rowBytes} / 2 *
                                                        (kHeight >> isTwoHigh),
                                                nullptr};
        const int strides[4] = {inFrom.rowBytes, inFrom.rowBytes / 2, inFrom.rowBytes / 2, 0};
        unsigned char* const targets[4] = {target.Next(), nullptr, nullptr, nullptr};
        const int targetStrides[4] = {inTo.rowBytes, 0, 0, 0};
        sws_scale(context, planes, strides, 0, kHeight, targets, targetStrides);
    }
    sws_freeContext(context);
    CountBytes(ioState, inFrom.bytesPerFrame + inTo.bytesPerFrame);
}

}

BENCHMARK(Memcpy)->Unit(benchmark::kMillisecond);
#define VR_CONVERT(inFrom, inTo) \
    BENCHMARK_CAPTURE(Ours, inFrom##_to_##inTo, inFrom, inTo)->Unit(benchmark::kMillisecond)
#define VR_PEER(inFrom, inTo) \
    BENCHMARK_CAPTURE(Swscale, inFrom##_to_##inTo, inFrom, inTo, SWS_BILINEAR) \
        ->Unit(benchmark::kMillisecond); \
    BENCHMARK_CAPTURE(Swscale, inFrom##_to_##inTo##_accurate, inFrom, inTo, \
                      SWS_BILINEAR | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT) \
        ->Unit(benchmark::kMillisecond)

VR_CONVERT(k420, kBgra);
VR_PEER(k420, kBgra);
VR_CONVERT(k420Field, kBgra);
VR_CONVERT(k422, kBgra);
VR_PEER(k422, kBgra);
VR_CONVERT(kUyvy, kBgra);
VR_PEER(kUyvy, kBgra);
VR_CONVERT(k420Ten, kBgra);
VR_PEER(k420Ten, kBgra);
VR_CONVERT(k422Ten, kBgra);
VR_PEER(k422Ten, kBgra);
VR_CONVERT(kBgra, k420);
VR_CONVERT(kBgra, kBgrp);
VR_CONVERT(kBgrp, kBgra);
VR_CONVERT(kBgra, kBgra16);
VR_CONVERT(kBgra, kBgraFloat);
VR_CONVERT(kBgraFloat, kBgra);
VR_CONVERT(kBgra, kBgraLinear);
VR_CONVERT(kBgraLinear, kBgra);
VR_CONVERT(kBgra, kVuya);
