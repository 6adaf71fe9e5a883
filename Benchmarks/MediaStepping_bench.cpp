#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "ReferenceHost/Media/FFmpeg/MediaFile.h"

// Work of decoders when frames of a long group are asked for one after the other, forwards, backwards and at
// random.
//
// The clip, 250 frames of 1080p in one group, is made by scripts/benchmark_media.py; VR_BENCHMARK_MEDIA names
// its folder. "decoded" counts pictures that came out of decoders for each frame asked for: forwards it is 1.
namespace
{

constexpr std::int64_t kMebibyte = std::int64_t{1} << 20;

std::shared_ptr<Media::MediaFile> OpenLongGroup(benchmark::State& ioState, std::int64_t inMemoryMebibytes)
{
    const char* const folder = std::getenv("VR_BENCHMARK_MEDIA");
    Media::FileOptions options;
    options.decoderThreads = 2;
    // What the session gives to decoded pictures, of all its memory, when frames are asked for here and
    // there.
    options.cacheBytes = inMemoryMebibytes * kMebibyte * 3 / 4;
    Media::FileError error;
    auto file =
        Media::MediaFile::Open(std::string(folder ? folder : ".") + "/long_group_1080.mp4", options, error);
    if (!file)
    {
        ioState.SkipWithError("VR_BENCHMARK_MEDIA names no folder with long_group_1080.mp4");
    }
    return file;
}

void Visit(benchmark::State& ioState, const std::vector<std::int64_t>& inRanks,
           std::int64_t inMemoryMebibytes)
{
    std::uint64_t decoded = 0;
    std::uint64_t delivered = 0;
    std::int64_t peak = 0;
    for (auto _ : ioState)
    {
        const auto file = OpenLongGroup(ioState, inMemoryMebibytes);
        if (!file)
        {
            return;
        }
        for (const std::int64_t rank : inRanks)
        {
            if (file->GetFrame(rank).status != Media::FrameStatus::kOk)
            {
                ioState.SkipWithError("a frame can't be decoded");
                return;
            }
            peak = std::max(peak, file->Statistics().pictureBytes);
        }
        decoded += file->Statistics().framesDecoded;
        delivered += inRanks.size();
    }
    ioState.counters["decoded"] = static_cast<double>(decoded) / static_cast<double>(delivered);
    ioState.counters["picture_MiB"] = static_cast<double>(peak) / static_cast<double>(kMebibyte);
    ioState.SetItemsProcessed(static_cast<std::int64_t>(delivered));
}

std::vector<std::int64_t> Forwards()
{
    std::vector<std::int64_t> ranks;
    for (std::int64_t rank = 0; rank < 250; ++rank)
    {
        ranks.push_back(rank);
    }
    return ranks;
}

void StepForwards(benchmark::State& ioState)
{
    Visit(ioState, Forwards(), ioState.range(0));
}

void StepBackwards(benchmark::State& ioState)
{
    std::vector<std::int64_t> ranks = Forwards();
    Visit(ioState, {ranks.rbegin(), ranks.rend()}, ioState.range(0));
}

void LookAround(benchmark::State& ioState)
{
    std::mt19937 random(20011);
    std::vector<std::int64_t> ranks;
    for (int i = 0; i < 40; ++i)
    {
        ranks.push_back(static_cast<std::int64_t>(random() % 250));
    }
    Visit(ioState, ranks, ioState.range(0));
}

}

#define WITH_MEMORY \
    ->ArgName("MiB")->Arg(300)->Arg(1000)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(2)
BENCHMARK(StepForwards) WITH_MEMORY;
BENCHMARK(StepBackwards) WITH_MEMORY;
BENCHMARK(LookAround) WITH_MEMORY;
