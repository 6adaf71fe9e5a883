#include <benchmark/benchmark.h>
#include <cstring>
#include <vector>

#include "BenchPictures.h"
#include "FilterProgram.h"
#include "IR/BlendModes.h"
#include "IR/ImageRoutines.h"
#include "ReferenceHost/ImageRoutines/ComposeRows.h"

// Pictures of 1080p over each other and summed, one thread, beside the speed of the memory in the same run and
// FFmpeg's filters for the same work. Frames come from rings larger than the caches.
//
// Over reads two frames and writes one, in place: its bound is InPlace. A sum of two writes a third: its bound is
// IntoThird. Both rows do next to nothing but move the bytes of BGRA; those of floats are four times as many.
namespace
{

using BenchPictures::CountBytes;
using BenchPictures::Ring;

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;
constexpr std::size_t kPixels = std::size_t{kWidth} * kHeight;
constexpr std::size_t kRing = 8;

struct Frames
{
    std::uint32_t code;
    std::size_t pixelBits;
    bool isSolid = false; // every alpha is whole, as most pictures have it; otherwise noise, which is slowest

    std::size_t Bytes() const { return kPixels * pixelBits / 8; }
    int RowBytes() const { return code == 0x042 ? kWidth : static_cast<int>(pixelBits / 8) * kWidth; }
    bool IsFloat() const { return pixelBits == 128; }
};

constexpr Frames kStraight = {0x004, 32};
constexpr Frames kSolid = {0x004, 32, true};
constexpr Frames kPremultiplied = {0x008, 32};
constexpr Frames kOpaque = {0x00C, 32};
constexpr Frames kOpaqueVideo = {0x00E, 32};
constexpr Frames kPremultipliedVideo = {0x00A, 32};
constexpr Frames kStraight16 = {0x204, 64};
constexpr Frames kStraightFloat = {0x104, 128};
constexpr Frames kOpaqueFloat = {0x10C, 128};
constexpr Frames kLinearFloat = {0x908, 128};
constexpr Frames k420 = {0x042, 12};

// Floats 0..1 of every value, on places where noise was, and whole alphas.
void Prepare(Ring& ioRing, const Frames& inFrames)
{
    for (std::size_t i = 0; i < kRing && inFrames.isSolid; ++i)
    {
        unsigned char* frame = ioRing.Next();
        for (std::size_t j = 3; j < inFrames.Bytes(); j += 4)
        {
            frame[j] = 255;
        }
    }
    for (std::size_t i = 0; i < kRing && inFrames.IsFloat(); ++i)
    {
        unsigned char* frame = ioRing.Next();
        for (std::size_t j = 0; j < inFrames.Bytes(); j += 4)
        {
            const float value = static_cast<float>(frame[j + 1]) / 255.0F;
            std::memcpy(frame + j, &value, 4);
        }
    }
}

using Word = std::uint64_t;

void InPlace(benchmark::State& ioState, const Frames& inFrames)
{
    Ring source(kRing, inFrames.Bytes());
    Ring target(kRing, inFrames.Bytes());
    for (auto _ : ioState)
    {
        const auto* from = reinterpret_cast<const Word*>(source.Next());
        auto* to = reinterpret_cast<Word*>(target.Next());
        for (std::size_t i = 0; i < inFrames.Bytes() / sizeof(Word); ++i)
        {
            to[i] ^= from[i];
        }
        benchmark::ClobberMemory();
    }
    CountBytes(ioState, inFrames.Bytes() * 3);
}

void IntoThird(benchmark::State& ioState, const Frames& inFrames)
{
    Ring first(kRing, inFrames.Bytes());
    Ring second(kRing, inFrames.Bytes());
    Ring target(kRing, inFrames.Bytes());
    for (auto _ : ioState)
    {
        const auto* a = reinterpret_cast<const Word*>(first.Next());
        const auto* b = reinterpret_cast<const Word*>(second.Next());
        auto* to = reinterpret_cast<Word*>(target.Next());
        for (std::size_t i = 0; i < inFrames.Bytes() / sizeof(Word); ++i)
        {
            to[i] = a[i] ^ b[i];
        }
        benchmark::ClobberMemory();
    }
    CountBytes(ioState, inFrames.Bytes() * 3);
}

void Over(benchmark::State& ioState, const Frames& inFrom, const Frames& inTo, int inQuality)
{
    Ring source(kRing, inFrom.Bytes());
    Ring target(kRing, inTo.Bytes());
    Prepare(source, inFrom);
    Prepare(target, inTo);
    for (auto _ : ioState)
    {
        if (IR_Composite(source.Next(), inFrom.RowBytes(), inFrom.code, target.Next(), inTo.RowBytes(),
                         inTo.code, kWidth, kHeight, 0.7F, inQuality) != kIR_Success)
        {
            ioState.SkipWithError("compositing failed");
        }
    }
    CountBytes(ioState, inFrom.Bytes() + inTo.Bytes() * 2);
}

void Blend(benchmark::State& ioState, const Frames& inTo, std::uint32_t inMode)
{
    Ring source(kRing, kPremultiplied.Bytes());
    Ring target(kRing, inTo.Bytes());
    ir::ComposeSettings settings;
    settings.blendMode = inMode;
    settings.opacity = 0.7F;
    for (auto _ : ioState)
    {
        ir::Picture picture;
        const std::uint8_t* row = source.Next();
        if (ir::PictureFromCode(target.Next(), inTo.RowBytes(), kWidth, kHeight, inTo.code, picture) !=
            kIR_Success)
        {
            ioState.SkipWithError("no picture");
        }
        for (std::int32_t y = 0; y < kHeight; ++y, row += kPremultiplied.RowBytes())
        {
            ir::ComposeByteRow(row, nullptr, settings, picture, 0, y, kWidth);
        }
    }
    CountBytes(ioState, inTo.Bytes() * 3);
}

void Dissolve(benchmark::State& ioState, const Frames& inFrames)
{
    Ring first(kRing, inFrames.Bytes());
    Ring second(kRing, inFrames.Bytes());
    Ring target(kRing, inFrames.Bytes());
    Prepare(first, inFrames);
    Prepare(second, inFrames);
    for (auto _ : ioState)
    {
        if (IR_CrossDissolve(first.Next(), inFrames.RowBytes(), inFrames.code, second.Next(),
                             inFrames.RowBytes(), inFrames.code, target.Next(), inFrames.RowBytes(),
                             inFrames.code, kWidth, kHeight, 0.4F, 4) != kIR_Success)
        {
            ioState.SkipWithError("dissolving failed");
        }
    }
    CountBytes(ioState, inFrames.Bytes() * 3);
}

void Accumulate(benchmark::State& ioState, const Frames& inFrames, std::size_t inCount)
{
    Ring sources(kRing, inFrames.Bytes());
    Ring target(kRing, inFrames.Bytes());
    Prepare(sources, inFrames);
    const std::vector<std::int32_t> rowBytes(inCount, inFrames.RowBytes());
    const std::vector<std::uint32_t> formats(inCount, inFrames.code);
    const std::vector<double> weights(inCount, 1.0 / static_cast<double>(inCount));
    std::vector<const void*> pixels(inCount);
    for (auto _ : ioState)
    {
        for (const void*& picture : pixels)
        {
            picture = sources.Next();
        }
        if (IR_Accumulate(pixels.data(), rowBytes.data(), formats.data(), weights.data(),
                          static_cast<std::int32_t>(inCount), target.Next(), inFrames.RowBytes(), kHeight,
                          kWidth, inFrames.code, 4) != kIR_Success)
        {
            ioState.SkipWithError("summing failed");
        }
    }
    CountBytes(ioState, inFrames.Bytes() * (inCount + 1));
}

// Two charts that the program keeps, the second with an alpha of 0.6 where its format has one.
void Filter(benchmark::State& ioState, const char* inFirst, const char* inSecond, const char* inFilter)
{
    const std::string chart = "testsrc2=s=1920x1080:r=25,format=";
    const std::string kept = ",loop=loop=-1:size=8:start=0";
    FilterProgram::MeasureSlope(ioState,
                                chart + inFirst + kept + "[a];" + chart +
                                    "rgba,colorchannelmixer=aa=0.6,format=" + inSecond + kept + "[b];[a][b]" +
                                    inFilter + "[out]",
                                60);
}

}

#define VR_KERNEL(inFunction, inName, ...) \
    BENCHMARK_CAPTURE(inFunction, inName, __VA_ARGS__)->Unit(benchmark::kMillisecond)
#define VR_FILTER(inName, inFirst, inSecond, inFilter) \
    BENCHMARK_CAPTURE(Filter, inName, inFirst, inSecond, inFilter) \
        ->Unit(benchmark::kMillisecond) \
        ->UseManualTime() \
        ->Iterations(3)

VR_KERNEL(InPlace, bytes, kStraight);
VR_KERNEL(InPlace, floats, kLinearFloat);
VR_KERNEL(IntoThird, bytes, kStraight);
VR_KERNEL(IntoThird, floats, kLinearFloat);

VR_KERNEL(Over, premultiplied_on_premultiplied, kPremultiplied, kPremultiplied, 4);
VR_KERNEL(Over, premultiplied_on_opaque, kPremultiplied, kOpaque, 4);
VR_KERNEL(Over, straight_on_opaque, kStraight, kOpaque, 4);
VR_KERNEL(Over, straight_on_premultiplied, kStraight, kPremultiplied, 4);
VR_KERNEL(Over, straight_on_straight, kStraight, kStraight, 4);
VR_KERNEL(Over, straight_on_solid, kStraight, kSolid, 4);
VR_KERNEL(Over, premultiplied_on_solid, kPremultiplied, kSolid, 4);
VR_KERNEL(Over, premultiplied_on_straight, kPremultiplied, kStraight, 4);
VR_KERNEL(Over, premultiplied_on_opaque_video, kPremultipliedVideo, kOpaqueVideo, 4);
VR_KERNEL(Over, straight_on_straight_linear, kStraight, kStraight, 5);
VR_KERNEL(Over, straight_on_opaque_linear, kStraight, kOpaque, 5);
VR_KERNEL(Over, premultiplied_on_premultiplied_linear, kPremultiplied, kPremultiplied, 5);
VR_KERNEL(Over, floats_premultiplied, kLinearFloat, kLinearFloat, 5);
VR_KERNEL(Over, floats_straight_on_straight, kStraightFloat, kStraightFloat, 4);
VR_KERNEL(Over, floats_straight_on_opaque, kStraightFloat, kOpaqueFloat, 4);
VR_KERNEL(Over, words_straight_on_straight, kStraight16, kStraight16, 4);
VR_KERNEL(Over, video_420_on_straight, k420, kStraight, 4);
VR_KERNEL(Blend, multiply_on_opaque, kOpaque, kIR_Blend_Multiply);
VR_KERNEL(Blend, softLight_on_straight, kStraight, kIR_Blend_SoftLight);
VR_KERNEL(Blend, hue_on_straight, kStraight, kIR_Blend_Hue);
VR_KERNEL(Blend, dissolve_on_straight, kStraight, kIR_Blend_Dissolve);

VR_KERNEL(Dissolve, opaque, kOpaque);
VR_KERNEL(Dissolve, premultiplied, kPremultiplied);
VR_KERNEL(Dissolve, straight, kStraight);
VR_KERNEL(Dissolve, solid, kSolid);
VR_KERNEL(Dissolve, video_420, k420);
VR_KERNEL(Dissolve, words, kStraight16);
VR_KERNEL(Accumulate, two_opaque, kOpaque, 2);
VR_KERNEL(Accumulate, two_straight, kStraight, 2);
VR_KERNEL(Accumulate, two_linear_floats, kLinearFloat, 2);
VR_KERNEL(Accumulate, five_straight, kStraight, 5);
VR_KERNEL(Accumulate, five_linear_floats, kLinearFloat, 5);

VR_FILTER(over_bgra, "bgra", "bgra", "overlay=format=rgb");
VR_FILTER(over_420, "yuv420p", "yuva420p", "overlay");
VR_FILTER(blend_floats, "gbrapf32le", "gbrapf32le", "blend=all_mode=normal:all_opacity=0.6");
VR_FILTER(blend_bytes, "gbrap", "gbrap", "blend=all_mode=multiply");
VR_FILTER(crossfade_bytes, "gbrap", "gbrap", "xfade=duration=60:offset=0");
VR_FILTER(crossfade_420, "yuv420p", "yuv420p", "xfade=duration=60:offset=0");
VR_FILTER(mix_bytes, "gbrap", "gbrap", "mix=weights=0.6 0.4");
