#pragma once

#include <chrono>
#include <cstdint>
#include <string>

// Tells how far a render has come: a line on the terminal, and reports for a program that watches.
//
// The line shows frames, percentage, frames a second, time left and resident memory; it appears only
// when stderr is a terminal. Reports go to a file or an open descriptor, as the key=value lines that
// FFmpeg's -progress writes (frame, fps, total_size, out_time_us, out_time_ms, out_time, dup_frames,
// drop_frames, speed, progress) or as one JSON object a line. A report ends with progress=continue; the
// last one with progress=end, or progress=interrupted after a signal.
//
// The render never waits for its watcher: one that reads too slowly misses reports, and one that has gone
// is told of once and then left alone.
//
// Thread-safety: one thread.
namespace vrender
{

class Progress
{
public:
    struct Settings
    {
        std::int64_t mTotalFrames = 0;
        double mFramesPerSecond = 0; // of the output, for out_time and speed
        std::string mTarget;         // FILE or "fd:N"; empty: no reports
        bool mJson = false;
    };

    // Throws ToolError when the target can't be opened.
    explicit Progress(const Settings& inSettings);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    // inFrames: frames written so far; inBytes: size of the output so far; inSubstitutes: frames
    // among them that show their neighbour.
    void Update(std::int64_t inFrames, std::uint64_t inBytes, std::int64_t inSubstitutes);
    // The last report; takes the line off the terminal.
    void Finish(bool inWhole);

private:
    using Clock = std::chrono::steady_clock;

    void ShowLine(double inSeconds);
    void Report(double inSeconds, const char* inState, std::chrono::milliseconds inWait);
    std::string KeysReport(double inSeconds, const char* inState) const;
    std::string JsonReport(double inSeconds, const char* inState) const;

    Settings mSettings;
    Clock::time_point mStart = Clock::now();
    Clock::time_point mNextLine = mStart;
    Clock::time_point mNextReport = mStart;
    std::int64_t mFrames = 0;
    std::uint64_t mBytes = 0;
    std::int64_t mSubstitutes = 0;
    int mDescriptor = -1;
    bool mShowLine;
};

// Bytes of memory that this process holds; 0 where the system doesn't tell.
std::uint64_t ResidentMemory();

} // namespace vrender
