#pragma once

#include <benchmark/benchmark.h>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

// What a filter of FFmpeg costs a frame, on one thread: the slope of processor time between a long and a short run
// of the program, on pictures that its loop filter keeps, so that neither its start nor its source counts.
//
// Thread-safety: one benchmark at a time.
namespace FilterProgram
{

// Seconds of processor time of a run, or below 0 if it failed.
inline double RunSeconds(const std::string& inGraph, int inFrames)
{
    const std::string frames = std::to_string(inFrames);
    const pid_t child = fork();
    if (child == 0)
    {
        execlp("ffmpeg", "ffmpeg", "-v", "error", "-nostdin", "-filter_threads", "1",
               "-filter_complex_threads", "1", "-filter_complex", inGraph.c_str(), "-map", "[out]",
               "-fps_mode", "passthrough", "-frames:v", frames.c_str(), "-f", "null", "-",
               static_cast<char*>(nullptr));
        _exit(127);
    }
    int status = 0;
    rusage usage = {};
    if (child < 0 || wait4(child, &status, 0, &usage) < 0 || status != 0)
    {
        return -1.0;
    }
    const auto seconds = [](const timeval& inTime)
    { return static_cast<double>(inTime.tv_sec) + static_cast<double>(inTime.tv_usec) * 1e-6; };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// One iteration for each slope. inGraph ends in [out].
inline void MeasureSlope(benchmark::State& ioState, const std::string& inGraph, int inFrames)
{
    constexpr int kFew = 10;
    for (auto _ : ioState)
    {
        const double few = RunSeconds(inGraph, kFew);
        const double many = RunSeconds(inGraph, kFew + inFrames);
        if (few < 0.0 || many <= few)
        {
            ioState.SkipWithError("FFmpeg's program did not run");
            return;
        }
        ioState.SetIterationTime((many - few) / inFrames);
    }
}

}
