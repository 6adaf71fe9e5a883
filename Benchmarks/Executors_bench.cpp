#include "norvik/threads/Threads.h"

#include <benchmark/benchmark.h>

// What it costs to hand work over. Times are per function, posting and running together.

namespace
{

using norvik::threads::CreateSubExecutor;
using norvik::threads::CreateThreadedExecutor;

constexpr int kBatch = 1000;

void PostBatches(benchmark::State& ioState, norvik::threads::AsyncThreadedExecutor& ioExecutor)
{
    for (auto _ : ioState)
    {
        for (int index = 0; index < kBatch; ++index)
        {
            ioExecutor.Post([] {});
        }
        ioExecutor.WaitForTermination();
    }
    ioState.SetItemsProcessed(ioState.iterations() * kBatch);
}

void PostToPool(benchmark::State& ioState)
{
    PostBatches(ioState, *CreateThreadedExecutor("bench", static_cast<uint32_t>(ioState.range(0))));
}

void PostToSubExecutor(benchmark::State& ioState)
{
    PostBatches(ioState, *CreateSubExecutor(CreateThreadedExecutor("bench", 2),
                                            static_cast<uint32_t>(ioState.range(0))));
}

// One function at a time, waited for: the latency of a hand-over to a sleeping thread.
void HandOver(benchmark::State& ioState)
{
    const auto pool = CreateThreadedExecutor("bench", 2);
    for (auto _ : ioState)
    {
        pool->Post([] {});
        pool->WaitForTermination();
    }
}

void LockAndUnlock(benchmark::State& ioState)
{
    static norvik::threads::RecursiveMutex sMutex;
    for (auto _ : ioState)
    {
        const norvik::threads::ScopedLock lock(sMutex, "bench");
        benchmark::ClobberMemory();
    }
}

BENCHMARK(PostToPool)->Arg(1)->Arg(2)->UseRealTime();
BENCHMARK(PostToSubExecutor)->Arg(1)->Arg(2)->UseRealTime();
BENCHMARK(HandOver)->UseRealTime();
BENCHMARK(LockAndUnlock)->Threads(1)->Threads(2);

} // namespace

BENCHMARK_MAIN();
