#include <benchmark/benchmark.h>
#include <string>

#include "BenchPictures.h"
#include "FilterProgram.h"
#include "IR/ImageRoutines.h"
#include "VF/VideoFrame.h"
#include "VF/VideoFrameManipulators.h"

// Field routines on whole frames of 1080p, one thread, frames from rings larger than the caches, beside the speed
// of the memory and FFmpeg's deinterlacers (the slope of processor time between a long and a short run of the
// program on pictures that it keeps).
//
// A deinterlacer in place reads one field and writes the other: the bytes of one frame move.
namespace
{

using BenchPictures::CountBytes;
using BenchPictures::Ring;

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;
constexpr std::size_t kRing = 8;
constexpr std::size_t kPixels = std::size_t{kWidth} * kHeight;

constexpr int kDoubling = 1;
constexpr int kInterpolation = 3;
constexpr int kFiltering = 4;

struct Case
{
    std::uint32_t code;
    std::size_t bytesPerFrame;
    int rowBytes;
};

constexpr Case k420Field = {0x052, kPixels * 3 / 2, kWidth};
constexpr Case k422 = {0x062, kPixels * 2, kWidth};
constexpr Case kUyvy = {0x012, kPixels * 2, kWidth * 2};
constexpr Case kV210 = {0x332, std::size_t{kWidth} / 6 * 16 * kHeight, kWidth / 6 * 16};
constexpr Case kBgrx = {0x00C, kPixels * 4, kWidth * 4};
constexpr Case kBgra = {0x004, kPixels * 4, kWidth * 4};
constexpr Case kBgra16 = {0x204, kPixels * 8, kWidth * 8};
constexpr Case kBgrpLinear = {0x908, kPixels * 16, kWidth * 16};

void Memcpy(benchmark::State& ioState)
{
    BenchPictures::MeasureMemcpy(ioState, kRing, kBgra.bytesPerFrame);
}

// Noise, whose alphas differ everywhere, is the slowest that straight pixels can be; equal ones are what
// pictures have.
void SetAlphas(Ring& ioRing, std::size_t inBytes)
{
    for (std::size_t i = 0; i < kRing; ++i)
    {
        unsigned char* frame = ioRing.Next();
        for (std::size_t j = 3; j < inBytes; j += 4)
        {
            frame[j] = 255;
        }
    }
}

void Deinterlace(benchmark::State& ioState, const Case& inCase, int inQuality, bool inHasEqualAlphas = true)
{
    Ring ring(kRing, inCase.bytesPerFrame);
    if (inCase.code == kBgra.code && inHasEqualAlphas)
    {
        SetAlphas(ring, inCase.bytesPerFrame);
    }
    for (auto _ : ioState)
    {
        if (IR_Deinterlace(ring.Next(), inCase.rowBytes, inCase.code, kWidth, kHeight, 0, inQuality) != 0)
        {
            ioState.SkipWithError("deinterlacing failed");
        }
    }
    CountBytes(ioState, inCase.bytesPerFrame);
}

void Copy(benchmark::State& ioState, const Case& inFrom, const Case& inTo, int inQuality)
{
    Ring source(kRing, inFrom.bytesPerFrame);
    Ring target(kRing, inTo.bytesPerFrame);
    for (auto _ : ioState)
    {
        if (IR_DeinterlaceCopy(source.Next(), inFrom.rowBytes, inFrom.code, target.Next(), inTo.rowBytes,
                               inTo.code, kWidth, kHeight, 0, inQuality) != 0)
        {
            ioState.SkipWithError("moving a field failed");
        }
    }
    CountBytes(ioState, (inFrom.bytesPerFrame + inTo.bytesPerFrame) / 2);
}

using FrameOperation = std::int32_t (*)(const MF::IVideoFrameRef&, const MF::IVideoFrameRef&);

void Frames(benchmark::State& ioState, FrameOperation inOperation, std::size_t inBytes)
{
    MF::IVideoFrameRef frames[kRing];
    for (MF::IVideoFrameRef& frame : frames)
    {
        VF::CreateVideoFrame(frame, norviktypes::kPixelFormat_BGRA_4444_8u, kWidth, kHeight, {1, 1}, true,
                             false);
    }
    std::size_t next = 0;
    for (auto _ : ioState)
    {
        if (inOperation(frames[next % kRing], frames[(next + 1) % kRing]) < 0)
        {
            ioState.SkipWithError("frames did not go together");
        }
        next += 2;
    }
    CountBytes(ioState, inBytes);
}

void Peer(benchmark::State& ioState, const std::string& inFormat, const std::string& inFilter)
{
    FilterProgram::MeasureSlope(ioState,
                                "testsrc2=s=1920x1080:r=25,format=" + inFormat +
                                    ",loop=loop=-1:size=8:start=0,setfield=tff," + inFilter + "[out]",
                                200);
}

}

BENCHMARK(Memcpy)->Unit(benchmark::kMillisecond);
#define VR_FIELDS(inCase, inQuality) \
    BENCHMARK_CAPTURE(Deinterlace, inCase##inQuality, inCase, inQuality)->Unit(benchmark::kMillisecond)
#define VR_EVERY_WAY(inCase) \
    VR_FIELDS(inCase, kDoubling); \
    VR_FIELDS(inCase, kInterpolation); \
    VR_FIELDS(inCase, kFiltering)

VR_EVERY_WAY(k420Field);
VR_EVERY_WAY(k422);
VR_EVERY_WAY(kUyvy);
VR_EVERY_WAY(kV210);
VR_EVERY_WAY(kBgrx);
VR_EVERY_WAY(kBgra);
BENCHMARK_CAPTURE(Deinterlace, kBgra_noisy_alpha, kBgra, kInterpolation, false)
    ->Unit(benchmark::kMillisecond);
VR_EVERY_WAY(kBgra16);
VR_EVERY_WAY(kBgrpLinear);
BENCHMARK_CAPTURE(Copy, kBgrx_to_kBgrx, kBgrx, kBgrx, kInterpolation)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Copy, kUyvy_to_kBgrx, kUyvy, kBgrx, kInterpolation)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Frames, SwapFields, VF::VideoFrameManipulators::SwapFields, kBgra.bytesPerFrame * 2)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Frames, VerticalConvolve, VF::VideoFrameManipulators::VerticalConvolve,
                  kBgra.bytesPerFrame * 2)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Frames, MergePulldownFrames, VF::VideoFrameManipulators::MergePulldownFrames,
                  kBgra.bytesPerFrame)
    ->Unit(benchmark::kMillisecond);
#define VR_PEER(inFormat, inFilter) \
    BENCHMARK_CAPTURE(Peer, inFormat##_##inFilter, #inFormat, #inFilter) \
        ->UseManualTime() \
        ->Iterations(3) \
        ->Unit(benchmark::kMillisecond)
VR_PEER(yuv420p, bwdif);
VR_PEER(yuv420p, yadif);
VR_PEER(gbrp, bwdif);
