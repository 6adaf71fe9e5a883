// What a frame's memory costs: fresh from the system against out of the pool, each page touched as a render
// would. `faults` counts page faults a frame.

#include "ReferenceHost/FrameLibrary/FrameCache.h"
#include "ReferenceHost/FrameLibrary/FramePool.h"
#include "VF/VideoFrame.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>

#include <sys/mman.h>
#include <sys/resource.h>

namespace
{

constexpr std::uint32_t kWidth = 1920;
constexpr std::uint32_t kHeight = 1080;
constexpr std::size_t kFrameBytes = std::size_t{kWidth} * kHeight * 4;
constexpr std::size_t kPage = 4096;

std::int64_t PageFaults()
{
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_minflt;
}

void Touch(void* outBytes, std::size_t inSize)
{
    for (std::size_t at = 0; at < inSize; at += kPage)
    {
        static_cast<volatile std::uint8_t*>(outBytes)[at] = 1;
    }
}

class FaultCounter
{
public:
    explicit FaultCounter(benchmark::State& ioState) : mState(ioState), mBefore(PageFaults()) {}
    ~FaultCounter()
    {
        mState.counters["faults"] = benchmark::Counter(static_cast<double>(PageFaults() - mBefore),
                                                       benchmark::Counter::kAvgIterations);
    }

private:
    benchmark::State& mState;
    const std::int64_t mBefore;
};

void FreshPages(benchmark::State& ioState)
{
    const FaultCounter faults(ioState);
    for (auto _ : ioState)
    {
        void* const bytes =
            mmap(nullptr, kFrameBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        Touch(bytes, kFrameBytes);
        munmap(bytes, kFrameBytes);
    }
}
BENCHMARK(FreshPages)->Unit(benchmark::kMicrosecond);

void FreshBuffer(benchmark::State& ioState)
{
    VF::FramePool pool(0, 0);
    const FaultCounter faults(ioState);
    for (auto _ : ioState)
    {
        const VF::FrameBufferRef buffer = pool.Acquire(kFrameBytes);
        Touch(buffer.Data(), kFrameBytes);
    }
}
BENCHMARK(FreshBuffer)->Unit(benchmark::kMicrosecond);

void PooledFrame(benchmark::State& ioState)
{
    MF::IVideoFrameRef frame;
    const FaultCounter faults(ioState);
    for (auto _ : ioState)
    {
        frame.reset();
        VF::CreateVideoFrame(frame, norviktypes::kPixelFormat_BGRA_4444_8u, kWidth, kHeight,
                             norviktypes::kPixelAspectRatio_Square, false, false);
        Touch(VF::IVideoFramePixelsRef(frame)->GetPixels(), kFrameBytes);
    }
}
BENCHMARK(PooledFrame)->Unit(benchmark::kMicrosecond);

// Without the touch: what taking a frame and giving it back costs, from several threads at once.
void TakeAndGiveBack(benchmark::State& ioState)
{
    MF::IVideoFrameRef frame;
    for (auto _ : ioState)
    {
        frame.reset();
        VF::CreateVideoFrame(frame, norviktypes::kPixelFormat_BGRA_4444_8u, kWidth, kHeight,
                             norviktypes::kPixelAspectRatio_Square, false, false);
    }
}
BENCHMARK(TakeAndGiveBack)->Threads(1)->Threads(2)->Threads(8)->UseRealTime();

TVK::Guid Key(std::uint64_t inNumber)
{
    return {inNumber * 0x9E3779B97F4A7C15u + 1, inNumber};
}

VF::FrameCache& FullCache()
{
    static VF::FrameCache sCache(std::uint64_t{4096} * 1000);
    return sCache;
}

MF::IVideoFrameRef SmallFrame()
{
    MF::IVideoFrameRef frame;
    VF::CreateVideoFrame(frame, norviktypes::kPixelFormat_BGRA_4444_8u, 64, 16,
                         norviktypes::kPixelAspectRatio_Square, false, false);
    return frame;
}

void CacheHit(benchmark::State& ioState)
{
    if (ioState.thread_index() == 0)
    {
        for (std::uint64_t number = 0; number < 1000; ++number)
        {
            FullCache().Insert(SmallFrame(), Key(number), 0);
        }
    }
    auto number = static_cast<std::uint64_t>(ioState.thread_index()) * 100;
    for (auto _ : ioState)
    {
        benchmark::DoNotOptimize(FullCache().Retrieve(Key(number++ % 1000)));
    }
}
BENCHMARK(CacheHit)->Threads(1)->Threads(2)->Threads(8)->UseRealTime();

// Each insertion into the full cache makes another frame leave.
void CacheInsertAndEvict(benchmark::State& ioState)
{
    auto number = (static_cast<std::uint64_t>(ioState.thread_index()) + 1) << 40;
    for (auto _ : ioState)
    {
        FullCache().Insert(SmallFrame(), Key(number++), 0);
    }
}
BENCHMARK(CacheInsertAndEvict)->Threads(1)->Threads(2)->Threads(8)->UseRealTime();

} // namespace
