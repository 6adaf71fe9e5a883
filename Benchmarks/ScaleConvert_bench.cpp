#include <benchmark/benchmark.h>
#include <zimg.h>

extern "C"
{
#include <libswscale/swscale.h>
}

#include "BenchPictures.h"
#include "IR/ImageRoutines.h"

// 2160p to 1080p on one thread, beside libswscale's filters and zimg alone, which ends in planes of bytes.
// Frames come from a ring larger than the caches.
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

zimg_image_format Planes420(int inWidth, int inHeight)
{
    zimg_image_format format;
    zimg_image_format_default(&format, ZIMG_API_VERSION);
    format.width = static_cast<unsigned>(inWidth);
    format.height = static_cast<unsigned>(inHeight);
    format.pixel_type = ZIMG_PIXEL_BYTE;
    format.depth = 8;
    format.subsample_w = 1;
    format.subsample_h = 1;
    format.color_family = ZIMG_COLOR_YUV;
    format.matrix_coefficients = ZIMG_MATRIX_BT709;
    return format;
}

enum class ZimgTarget
{
    k420,
    k444,
    kRGB
};

zimg_filter_graph* ZimgGraph(ZimgTarget inTarget, zimg_resample_filter_e inFilter)
{
    const zimg_image_format source = Planes420(kWidth, kHeight);
    zimg_image_format target = Planes420(kWidth / 2, kHeight / 2);
    if (inTarget != ZimgTarget::k420)
    {
        target.subsample_w = 0;
        target.subsample_h = 0;
    }
    if (inTarget == ZimgTarget::kRGB)
    {
        target.color_family = ZIMG_COLOR_RGB;
        target.matrix_coefficients = ZIMG_MATRIX_RGB;
        target.pixel_range = ZIMG_RANGE_FULL;
    }
    zimg_graph_builder_params params;
    zimg_graph_builder_params_default(&params, ZIMG_API_VERSION);
    params.resample_filter = inFilter;
    params.resample_filter_uv = inFilter;
    params.filter_param_a = params.filter_param_a_uv = 0.0;
    params.filter_param_b = params.filter_param_b_uv = 0.5;
    params.cpu_type = ZIMG_CPU_AUTO_64B;
    return zimg_filter_graph_build(&source, &target, &params);
}

void Zimg(benchmark::State& ioState, ZimgTarget inTarget, zimg_resample_filter_e inFilter)
{
    Ring source(kRing, kPixels * 3 / 2);
    Ring target(kRing, kPixels);
    zimg_filter_graph* graph = ZimgGraph(inTarget, inFilter);
    std::size_t bytes = 0;
    zimg_filter_graph_get_tmp_size(graph, &bytes);
    Ring temporary(1, bytes);
    const std::ptrdiff_t chromaStride = inTarget == ZimgTarget::k420 ? kWidth / 4 : kWidth / 2;
    for (auto _ : ioState)
    {
        const unsigned char* from = source.Next();
        unsigned char* to = target.Next();
        const zimg_image_buffer_const input = {ZIMG_API_VERSION,
                                               {{from, kWidth, ZIMG_BUFFER_MAX},
                                                {from + kPixels, kWidth / 2, ZIMG_BUFFER_MAX},
                                                {from + kPixels * 5 / 4, kWidth / 2, ZIMG_BUFFER_MAX},
                                                {}}};
        const zimg_image_buffer output = {ZIMG_API_VERSION,
                                          {{to, kWidth / 2, ZIMG_BUFFER_MAX},
                                           {to + kPixels / 4, chromaStride, ZIMG_BUFFER_MAX},
                                           {to + kPixels / 2, chromaStride, ZIMG_BUFFER_MAX},
                                           {}}};
        if (zimg_filter_graph_process(graph, &input, &output, temporary.Next(), nullptr, nullptr, nullptr,
                                      nullptr) != ZIMG_ERROR_SUCCESS)
        {
            ioState.SkipWithError("scaling failed");
        }
    }
    zimg_filter_graph_free(graph);
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
#define VR_ZIMG(inTarget) \
    BENCHMARK_CAPTURE(Zimg, yuv420_to_##inTarget##_bilinear, ZimgTarget::inTarget, ZIMG_RESIZE_BILINEAR) \
        ->Unit(benchmark::kMillisecond); \
    BENCHMARK_CAPTURE(Zimg, yuv420_to_##inTarget##_bicubic, ZimgTarget::inTarget, ZIMG_RESIZE_BICUBIC) \
        ->Unit(benchmark::kMillisecond)

VR_ZIMG(k420);
VR_ZIMG(k444);
VR_ZIMG(kRGB);
