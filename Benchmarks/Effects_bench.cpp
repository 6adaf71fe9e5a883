#include <benchmark/benchmark.h>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "MF/PixelFormats.h"
#include "ReferenceHost/Effects/EffectRegistry.h"
#include "VF/VideoFrame.h"

// Effects and transitions of 1080p on one thread, with their defaults but for what a row names, on opaque noise.
// Every row is a frame; inputs are four frames by turns, more than the caches hold.
namespace
{

constexpr std::uint32_t kWidth = 1920;
constexpr std::uint32_t kHeight = 1080;
constexpr std::size_t kFrames = 4;

using Frames = std::vector<MF::IVideoFrameRef>;

MF::IVideoFrameRef NewFrame(const norviktypes::PixelFormat& inFormat)
{
    MF::IVideoFrameRef frame;
    VF::CreateVideoFrame(frame, inFormat, kWidth, kHeight, norviktypes::PixelAspectRatio(1, 1), false, false);
    return frame;
}

Frames NoiseFrames(const norviktypes::PixelFormat& inFormat)
{
    const bool isFloat = inFormat == MF::kPixelFormat_BGRA_4444_32f;
    Frames frames;
    std::uint32_t state = 1;
    for (std::size_t i = 0; i < kFrames; ++i)
    {
        frames.push_back(NewFrame(inFormat));
        const VF::IVideoFramePixelsRef pixels(frames.back());
        for (std::uint32_t y = 0; y < kHeight; ++y)
        {
            auto* row = static_cast<unsigned char*>(pixels->GetPixels()) +
                        std::size_t{y} * pixels->GetRowBytesUnsigned();
            for (std::uint32_t x = 0; x < 4 * kWidth; ++x)
            {
                state = state * 1664525U + 1013904223U;
                const std::uint32_t code = x % 4 == 3 ? 255 : state >> 24;
                const float number = static_cast<float>(code) / 255.0F;
                if (isFloat)
                {
                    std::memcpy(row + 4 * std::size_t{x}, &number, sizeof(number));
                }
                else
                {
                    row[x] = static_cast<unsigned char>(code);
                }
            }
        }
    }
    return frames;
}

const norviktypes::PixelFormat& FormatOf(bool inIsFloat)
{
    return inIsFloat ? MF::kPixelFormat_BGRA_4444_32f : MF::kPixelFormat_BGRA_4444_8u;
}

void Transition(benchmark::State& ioState, const std::string& inName, bool inIsFloat)
{
    const auto transition = Effects::GetEffectRegistry().CreateTransition(inName, {}, nullptr);
    const Frames frames = NoiseFrames(FormatOf(inIsFloat));
    const norviktypes::FrameRate rate = norviktypes::FrameRate::FromRational(25, 1);
    ML::VideoTransitionRender render;
    render.mFrameRate = rate;
    render.mFrameCount = 100;
    std::size_t turn = 0;
    for (auto _ : ioState)
    {
        render.mTime = norviktypes::TickTime::FromFrame(static_cast<std::int64_t>(7 * turn % 100), rate);
        const MF::IVideoFrameRef target = NewFrame(FormatOf(inIsFloat));
        transition->Render(render, target, frames[turn % kFrames], frames[(turn + 1) % kFrames]);
        ++turn;
    }
}

void Filter(benchmark::State& ioState, const std::string& inName, bool inIsFloat)
{
    const auto filter = Effects::GetEffectRegistry().CreateFilter(inName);
    const Frames frames = NoiseFrames(FormatOf(inIsFloat));
    ML::VideoFilterRender render;
    render.mFrameRate = norviktypes::FrameRate::FromRational(25, 1);
    std::size_t turn = 0;
    for (auto _ : ioState)
    {
        MF::IVideoFrameRef target;
        filter->Render(render, frames[turn++ % kFrames], target);
        benchmark::DoNotOptimize(target.get());
    }
}

const bool sAreRegistered = []
{
    for (const Effects::EffectDescription* effect : Effects::GetEffectRegistry().List())
    {
        const auto run = effect->mKind == Effects::EffectKind::kTransition ? Transition : Filter;
        for (const bool isFloat : {false, true})
        {
            const std::string name = effect->mId + (isFloat ? "/float" : "/8 bits");
            benchmark::RegisterBenchmark(name.c_str(), run, effect->mId, isFloat)
                ->Unit(benchmark::kMillisecond);
        }
    }
    return true;
}();

}
