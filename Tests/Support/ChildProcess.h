#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <sys/types.h>

// Other programs, run for a test: with limits, with what they print kept, and never for ever.
//
// Thread-safety: RunChild is safe; a ChildProcess belongs to one thread.
namespace TestSupport
{

struct ChildRequest
{
    std::vector<std::string>
        words;              // the program, looked for in PATH unless it has a slash, and its arguments
    std::string folder;     // to run in; empty: the caller's
    std::string inputFile;  // standard input; empty: nothing to read
    std::string outputFile; // standard output is written there; empty: kept in the result
    std::vector<std::pair<std::string, std::string>> environment; // added to, or in place of, the caller's

    double seconds = 200.0;        // on the clock, for a build at full speed; then the child is killed
    std::uint64_t cpuSeconds = 0;  // 0: no limit; the system's own, with SIGXCPU
    std::uint64_t memoryBytes = 0; // 0: no limit; of address space, where CanLimitMemory()
};

struct ChildResult
{
    int exitCode = -1; // -1 when it ended by a signal
    int signal = 0;    // 0 when it ended by itself
    bool isTimedOut = false;
    std::string out;
    std::string err;
    double seconds = 0.0;
    std::uint64_t peakBytes = 0; // of resident memory

    // For a test's message: how it ended, and what it said on standard error.
    std::string Describe() const;
};

// False in builds with a sanitizer, whose shadow memory takes terabytes of addresses: memoryBytes is then left
// alone and only peakBytes tells.
bool CanLimitMemory() noexcept;

// In such builds children report what the sanitizer found by this exit code, which no program of ours uses.
inline constexpr int kSanitizerExitCode = 99;

// A child that runs beside the test. It has its own process group, so that its children end with it.
class ChildProcess
{
public:
    // Throws std::runtime_error if there is no such program.
    explicit ChildProcess(ChildRequest inRequest);
    ~ChildProcess(); // kills and reaps what is still there
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    pid_t ID() const noexcept { return mID; }
    void Signal(int inSignal) const;

    // Reads until inText stands in what the child printed (on either channel); false if it ended or its time was
    // over before.
    bool WaitForText(const std::string& inText);

    // Stops reading what the child prints to standard output, as a consumer that goes away does.
    void CloseOutput();

    // Once: until the end, or the end of its time.
    ChildResult Wait();

private:
    void Start();
    bool ReadSome(); // false when both channels are closed or the time is over
    void Reap();
    double SecondsLeft() const;

    ChildRequest mRequest;
    ChildResult mResult;
    pid_t mID = -1;
    int mOut = -1;
    int mErr = -1;
    std::int64_t mStartNanoseconds = 0;
    double mSeconds = 0.0;
    bool mIsReaped = false;
};

ChildResult RunChild(ChildRequest inRequest);

}
