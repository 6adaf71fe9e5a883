#include "Tests/Support/ChildProcess.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fmt/format.h>

extern char** environ;

namespace TestSupport
{

namespace
{

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kIsSanitized = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr bool kIsSanitized = true;
#else
constexpr bool kIsSanitized = false;
#endif
#else
constexpr bool kIsSanitized = false;
#endif

// Sanitized programs take this many times as long, also to start and to end.
constexpr double kSanitizedSlowness = 10.0;

std::int64_t Now()
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

using Environment = std::vector<std::pair<std::string, std::string>>;

void Set(Environment& ioEnvironment, const std::string& inName, const std::string& inValue)
{
    for (auto& [name, value] : ioEnvironment)
    {
        if (name == inName)
        {
            value = inValue;
            return;
        }
    }
    ioEnvironment.emplace_back(inName, inValue);
}

std::string Get(const Environment& inEnvironment, const std::string& inName)
{
    for (const auto& [name, value] : inEnvironment)
    {
        if (name == inName)
        {
            return value;
        }
    }
    return {};
}

// A report must be told from the program's own exit codes: 66, which one sanitizer uses, is one of ours.
void MakeReportsVisible(Environment& ioEnvironment)
{
    for (const char* const name : {"ASAN_OPTIONS", "TSAN_OPTIONS", "UBSAN_OPTIONS"})
    {
        const std::string before = Get(ioEnvironment, name);
        Set(ioEnvironment, name,
            fmt::format("{}{}exitcode={}:halt_on_error=1", before, before.empty() ? "" : ":",
                        kSanitizerExitCode));
    }
}

std::vector<std::string> EnvironmentLines(const Environment& inChanges)
{
    Environment all;
    for (char** entry = environ; *entry != nullptr; ++entry)
    {
        const std::string line = *entry;
        const auto sign = line.find('=');
        if (sign != std::string::npos)
        {
            all.emplace_back(line.substr(0, sign), line.substr(sign + 1));
        }
    }
    for (const auto& [name, value] : inChanges)
    {
        Set(all, name, value);
    }
    if (kIsSanitized)
    {
        MakeReportsVisible(all);
    }
    std::vector<std::string> lines;
    for (const auto& [name, value] : all)
    {
        lines.push_back(name + "=" + value);
    }
    return lines;
}

std::vector<char*> Pointers(std::vector<std::string>& ioTexts)
{
    std::vector<char*> pointers;
    for (std::string& text : ioTexts)
    {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

void Limit(__rlimit_resource inWhich, std::uint64_t inLimit)
{
    const rlimit limit = {inLimit, inLimit};
    setrlimit(inWhich, &limit);
}

std::array<int, 2> Pipe()
{
    std::array<int, 2> ends = {-1, -1};
    if (pipe2(ends.data(), O_CLOEXEC) != 0)
    {
        throw std::runtime_error(fmt::format("no pipe: {}", std::strerror(errno)));
    }
    return ends;
}

void CloseIfOpen(int& ioDescriptor)
{
    if (ioDescriptor >= 0)
    {
        close(ioDescriptor);
        ioDescriptor = -1;
    }
}

// What happens in the child between fork and exec; only calls that are safe there.
struct Launch
{
    const ChildRequest& request;
    char* const* words;
    char* const* environment;
    const char* input;
    int out;
    int err;
    int failure; // a number written there says that exec failed

    [[noreturn]] void Run() const
    {
        setpgid(0, 0);
        signal(SIGPIPE, SIG_DFL);
        const int in = open(input, O_RDONLY);
        const bool isReady = in >= 0 && dup2(in, 0) == 0 && dup2(out, 1) == 1 && dup2(err, 2) == 2 &&
                             (request.folder.empty() || chdir(request.folder.c_str()) == 0);
        if (isReady)
        {
            Limit(RLIMIT_CORE, 0);
            if (request.cpuSeconds != 0)
            {
                Limit(RLIMIT_CPU, request.cpuSeconds);
            }
            if (request.memoryBytes != 0 && CanLimitMemory())
            {
                Limit(RLIMIT_AS, request.memoryBytes);
            }
            execvpe(words[0], words, environment);
        }
        const int error = errno;
        [[maybe_unused]] const ssize_t ignored = write(failure, &error, sizeof error);
        _exit(127);
    }
};

}

bool CanLimitMemory() noexcept
{
    return !kIsSanitized;
}

std::string ChildResult::Describe() const
{
    const std::string end = isTimedOut    ? fmt::format("killed after {:.1f} s", seconds)
                            : signal != 0 ? fmt::format("ended by signal {}", signal)
                                          : fmt::format("exit code {}", exitCode);
    return fmt::format("{}, {:.2f} s, {} MiB; stderr: {}", end, seconds, peakBytes >> 20, err);
}

ChildProcess::ChildProcess(ChildRequest inRequest) : mRequest(std::move(inRequest))
{
    mSeconds = mRequest.seconds * (kIsSanitized ? kSanitizedSlowness : 1.0);
    mStartNanoseconds = Now();
    Start();
}

ChildProcess::~ChildProcess()
{
    if (!mIsReaped)
    {
        Signal(SIGKILL);
        Reap();
    }
    CloseIfOpen(mOut);
    CloseIfOpen(mErr);
}

void ChildProcess::Start()
{
    std::vector<std::string> environment = EnvironmentLines(mRequest.environment);
    const std::vector<char*> words = Pointers(mRequest.words);
    const std::vector<char*> lines = Pointers(environment);
    std::array<int, 2> out = {-1, -1};
    if (mRequest.outputFile.empty())
    {
        out = Pipe();
    }
    else
    {
        out[1] = open(mRequest.outputFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    }
    std::array<int, 2> err = Pipe();
    std::array<int, 2> failure = Pipe();
    const char* const input = mRequest.inputFile.empty() ? "/dev/null" : mRequest.inputFile.c_str();
    mID = fork();
    if (mID == 0)
    {
        Launch{mRequest, words.data(), lines.data(), input, out[1], err[1], failure[1]}.Run();
    }
    mOut = out[0];
    mErr = err[0];
    CloseIfOpen(out[1]);
    CloseIfOpen(err[1]);
    CloseIfOpen(failure[1]);
    int error = mID < 0 ? EAGAIN : 0;
    const bool hasFailed = mID < 0 || read(failure[0], &error, sizeof error) == sizeof error;
    CloseIfOpen(failure[0]);
    if (hasFailed)
    {
        Reap();
        CloseIfOpen(mOut);
        CloseIfOpen(mErr);
        throw std::runtime_error(
            fmt::format("'{}' can't be started: {}", mRequest.words.at(0), std::strerror(error)));
    }
}

void ChildProcess::Signal(int inSignal) const
{
    if (!mIsReaped && mID > 0 && kill(-mID, inSignal) != 0)
    {
        kill(mID, inSignal); // its group isn't there yet
    }
}

double ChildProcess::SecondsLeft() const
{
    return mSeconds - static_cast<double>(Now() - mStartNanoseconds) / 1e9;
}

bool ChildProcess::ReadSome()
{
    const double left = SecondsLeft();
    if (left <= 0.0 || (mOut < 0 && mErr < 0))
    {
        return false;
    }
    std::array<pollfd, 2> ends = {pollfd{mOut, POLLIN, 0}, pollfd{mErr, POLLIN, 0}};
    poll(ends.data(), ends.size(), static_cast<int>(left * 1000.0) + 1);
    static constexpr std::size_t kChunk = 1 << 16;
    std::array<char, kChunk> chunk; // NOLINT(cppcoreguidelines-pro-type-member-init)
    for (const pollfd& end : ends)
    {
        if (end.fd < 0 || end.revents == 0)
        {
            continue;
        }
        const ssize_t count = read(end.fd, chunk.data(), chunk.size());
        if (count > 0)
        {
            (end.fd == mOut ? mResult.out : mResult.err)
                .append(chunk.data(), static_cast<std::size_t>(count));
        }
        else if (count == 0 || errno != EINTR)
        {
            CloseIfOpen(end.fd == mOut ? mOut : mErr);
        }
    }
    return true;
}

bool ChildProcess::WaitForText(const std::string& inText)
{
    const auto isThere = [&] {
        return mResult.out.find(inText) != std::string::npos || mResult.err.find(inText) != std::string::npos;
    };
    while (!isThere() && ReadSome())
    {
    }
    return isThere();
}

void ChildProcess::CloseOutput()
{
    CloseIfOpen(mOut);
}

void ChildProcess::Reap()
{
    if (mIsReaped || mID <= 0)
    {
        mIsReaped = true;
        return;
    }
    int status = 0;
    rusage usage = {};
    while (wait4(mID, &status, 0, &usage) < 0 && errno == EINTR)
    {
    }
    mIsReaped = true;
    kill(-mID, SIGKILL);
    mResult.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    mResult.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    mResult.peakBytes = static_cast<std::uint64_t>(usage.ru_maxrss) * 1024u;
    mResult.seconds = static_cast<double>(Now() - mStartNanoseconds) / 1e9;
}

ChildResult ChildProcess::Wait()
{
    while (ReadSome())
    {
    }
    // It may have closed its channels and still run; waitid leaves it to be reaped with its figures.
    siginfo_t info = {};
    while (SecondsLeft() > 0.0 &&
           waitid(P_PID, static_cast<id_t>(mID), &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid == 0)
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    if (info.si_pid == 0)
    {
        mResult.isTimedOut = true;
        Signal(SIGKILL);
    }
    Reap();
    return mResult;
}

ChildResult RunChild(ChildRequest inRequest)
{
    ChildProcess child(std::move(inRequest));
    return child.Wait();
}

}
