#include "TVK/HashValue.h"

#include <benchmark/benchmark.h>

#include <vector>

// Hashes are made for every node, frame and request: short mixes by the dozen, long ones for opaque settings.

namespace
{

void MixBytes(benchmark::State& ioState)
{
    const std::vector<unsigned char> bytes(static_cast<size_t>(ioState.range(0)), 0x5A);
    TVK::HashValue hash("literal");
    for (auto _ : ioState)
    {
        hash.Mix(bytes.data(), bytes.size());
        benchmark::DoNotOptimize(hash);
    }
    ioState.SetBytesProcessed(ioState.iterations() * ioState.range(0));
}

void Digest(benchmark::State& ioState)
{
    TVK::HashValue hash("literal");
    for (auto _ : ioState)
    {
        ++hash.mTotal;
        benchmark::DoNotOptimize(hash.AsGuid());
    }
}

// A hash as a node makes it: its name, a few fields, the hashes of two inputs.
void NodeHash(benchmark::State& ioState)
{
    uint64_t number = 0;
    for (auto _ : ioState)
    {
        TVK::HashValue hash("RenderableNodeMediaImpl");
        hash.MixU64(++number);
        hash.MixU32(1920);
        hash.MixU32(1080);
        hash.MixGuid(TVK::Guid(number, 1));
        hash.MixGuid(TVK::Guid(number, 2));
        benchmark::DoNotOptimize(hash.AsGuid());
    }
}

BENCHMARK(MixBytes)->Arg(4)->Arg(16)->Arg(64)->Arg(4096)->Arg(1 << 20);
BENCHMARK(Digest);
BENCHMARK(NodeHash);

} // namespace

BENCHMARK_MAIN();
