#pragma once

#include <benchmark/benchmark.h>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <sys/mman.h>
#include <vector>

// Frames of noise for the benches of pixels: a ring that is larger than the caches, as frames lie when a
// decoder and an encoder run, on huge pages, so that the kernels are measured and not the page tables.
//
// Thread-safety: none; one benchmark at a time.
namespace BenchPictures
{

class Ring
{
public:
    // inBytes: of one frame. Throws std::bad_alloc.
    Ring(std::size_t inFrames, std::size_t inBytes)
    {
        std::uint32_t state = 12345;
        for (std::size_t i = 0; i < inFrames; ++i)
        {
            mFrames.push_back(Allocate((inBytes + kHuge - 1) / kHuge * kHuge));
            for (std::size_t j = 0; j < inBytes; ++j)
            {
                state = state * 1664525U + 1013904223U;
                mFrames.back()[j] = static_cast<unsigned char>(state >> 24);
            }
        }
    }
    ~Ring()
    {
        for (unsigned char* frame : mFrames)
        {
            std::free(frame);
        }
    }
    Ring(const Ring&) = delete;
    Ring& operator=(const Ring&) = delete;

    unsigned char* Next() { return mFrames[mNext++ % mFrames.size()]; }

    // Words of ten bits where bytes were.
    void MaskToTenBits(std::size_t inBytes)
    {
        for (unsigned char* frame : mFrames)
        {
            for (std::size_t i = 1; i < inBytes; i += 2)
            {
                frame[i] &= 3;
            }
        }
    }

private:
    static constexpr std::size_t kHuge = std::size_t{1} << 21;

    static unsigned char* Allocate(std::size_t inBytes)
    {
        void* frame = std::aligned_alloc(kHuge, inBytes);
        if (frame == nullptr)
        {
            throw std::bad_alloc();
        }
        madvise(frame, inBytes, MADV_HUGEPAGE); // advice only: without it the figures are a little worse
        return static_cast<unsigned char*>(frame);
    }

    std::vector<unsigned char*> mFrames;
    std::size_t mNext = 0;
};

// Has the benchmark print its bytes a second. inBytes: moved by one iteration.
inline void CountBytes(benchmark::State& ioState, std::size_t inBytes)
{
    ioState.SetBytesProcessed(static_cast<std::int64_t>(ioState.iterations()) *
                              static_cast<std::int64_t>(inBytes));
}

// The memory's own speed, beside which the work on pixels is seen: copies from ring to ring.
inline void MeasureMemcpy(benchmark::State& ioState, std::size_t inFrames, std::size_t inBytes)
{
    Ring source(inFrames, inBytes);
    Ring target(inFrames, inBytes);
    for (auto _ : ioState)
    {
        std::memcpy(target.Next(), source.Next(), inBytes);
        benchmark::ClobberMemory();
    }
    CountBytes(ioState, inBytes * 2);
}

}
