#include "Applications/vrender/Progress.h"

#include "Applications/vrender/Console.h"
#include "Applications/vrender/ExitCodes.h"
#include "Applications/vrender/Json.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace vrender
{

namespace
{

constexpr std::chrono::milliseconds kLineInterval{200};
constexpr std::chrono::milliseconds kReportInterval{500};
// How long the last report waits for a watcher that is behind.
constexpr std::chrono::milliseconds kLastReportWait{1000};
constexpr double kMebibyte = 1024.0 * 1024.0;

int OpenTarget(const std::string& inTarget)
{
    if (inTarget.rfind("fd:", 0) == 0)
    {
        int number = -1;
        const char* const end = inTarget.data() + inTarget.size();
        const auto parsed = std::from_chars(inTarget.data() + 3, end, number);
        if (parsed.ec != std::errc() || parsed.ptr != end || number < 0)
        {
            throw ToolError(ExitCode::kUsage, "--progress: '" + inTarget + "' is not fd: and a number");
        }
        const int copy = ::fcntl(number, F_DUPFD_CLOEXEC, 3);
        if (copy < 0)
        {
            throw ToolError(ExitCode::kUsage,
                            "--progress: descriptor " + std::to_string(number) + " is not open");
        }
        return copy;
    }
    const int descriptor =
        ::open(inTarget.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOCTTY, 0666);
    if (descriptor < 0)
    {
        throw ToolError(ExitCode::kCannotCreate,
                        "--progress: " + inTarget + ": can't be written: " + std::strerror(errno));
    }
    return descriptor;
}

// True also for a descriptor that is broken: writing to it tells how.
bool HasRoom(int inDescriptor, std::chrono::milliseconds inWait)
{
    pollfd watched{inDescriptor, POLLOUT, 0};
    return ::poll(&watched, 1, static_cast<int>(inWait.count())) != 0;
}

std::string ClockText(double inSeconds)
{
    const auto seconds = static_cast<std::int64_t>(std::ceil(std::clamp(inSeconds, 0.0, 359999.0)));
    return seconds >= 3600 ? fmt::format("{}:{:02}:{:02}", seconds / 3600, seconds / 60 % 60, seconds % 60)
                           : fmt::format("{}:{:02}", seconds / 60, seconds % 60);
}

} // namespace

std::uint64_t ResidentMemory()
{
    std::FILE* file = std::fopen("/proc/self/statm", "re");
    if (file == nullptr)
    {
        return 0;
    }
    unsigned long long total = 0;
    unsigned long long resident = 0;
    const int read = std::fscanf(file, "%llu %llu", &total, &resident);
    std::fclose(file);
    return read == 2 ? resident * static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE)) : 0;
}

Progress::Progress(const Settings& inSettings) : mSettings(inSettings), mShowLine(console::HasStatusLine())
{
    if (!inSettings.mTarget.empty())
    {
        mDescriptor = OpenTarget(inSettings.mTarget);
    }
}

Progress::~Progress()
{
    console::ClearStatus();
    if (mDescriptor >= 0)
    {
        ::close(mDescriptor);
    }
}

void Progress::Update(std::int64_t inFrames, std::uint64_t inBytes, std::int64_t inSubstitutes)
{
    mFrames = inFrames;
    mBytes = inBytes;
    mSubstitutes = inSubstitutes;
    const Clock::time_point now = Clock::now();
    const double seconds = std::chrono::duration<double>(now - mStart).count();
    if (mShowLine && now >= mNextLine)
    {
        mNextLine = now + kLineInterval;
        ShowLine(seconds);
    }
    if (mDescriptor >= 0 && now >= mNextReport)
    {
        mNextReport = now + kReportInterval;
        Report(seconds, "continue", std::chrono::milliseconds(0));
    }
}

void Progress::Finish(bool inWhole)
{
    console::ClearStatus();
    if (mDescriptor >= 0)
    {
        const double seconds = std::chrono::duration<double>(Clock::now() - mStart).count();
        Report(seconds, inWhole ? "end" : "interrupted", kLastReportWait);
    }
}

void Progress::ShowLine(double inSeconds)
{
    const auto frames = static_cast<double>(mFrames);
    const auto total = static_cast<double>(mSettings.mTotalFrames);
    const double rate = inSeconds > 0 ? frames / inSeconds : 0;
    const std::string left = rate > 0 ? ClockText((total - frames) / rate) : "--:--";
    const double share = total > 0 ? 100 * frames / total : 0;
    console::ShowStatus(fmt::format("{}/{} frames  {:.0f}%  {:.1f} fps  {} left  {:.0f} MiB", mFrames,
                                    mSettings.mTotalFrames, share, rate, left,
                                    static_cast<double>(ResidentMemory()) / kMebibyte));
}

std::string Progress::KeysReport(double inSeconds, const char* inState) const
{
    const double rate = inSeconds > 0 ? static_cast<double>(mFrames) / inSeconds : 0;
    const double outSeconds =
        mSettings.mFramesPerSecond > 0 ? static_cast<double>(mFrames) / mSettings.mFramesPerSecond : 0;
    const auto micros = static_cast<std::int64_t>(std::llround(outSeconds * 1e6));
    const std::int64_t whole = micros / 1000000;
    // FFmpeg's own out_time_ms counts microseconds too; readers of this form rely on it.
    return fmt::format(
        "frame={}\nfps={:.2f}\ntotal_frames={}\ntotal_size={}\nout_time_us={}\nout_time_ms={}\n"
        "out_time={:02}:{:02}:{:02}.{:06}\ndup_frames={}\ndrop_frames=0\nspeed={:.3g}x\n"
        "memory={}\nprogress={}\n",
        mFrames, rate, mSettings.mTotalFrames, mBytes, micros, micros, whole / 3600, whole / 60 % 60,
        whole % 60, micros % 1000000, mSubstitutes, inSeconds > 0 ? outSeconds / inSeconds : 0.0,
        ResidentMemory(), inState);
}

std::string Progress::JsonReport(double inSeconds, const char* inState) const
{
    const auto frames = static_cast<double>(mFrames);
    const auto total = static_cast<double>(mSettings.mTotalFrames);
    const double rate = inSeconds > 0 ? frames / inSeconds : 0;
    JsonWriter json(false);
    json.Integer("frame", mFrames);
    json.Integer("total_frames", mSettings.mTotalFrames);
    json.Number("percent", total > 0 ? std::round(1000 * frames / total) / 10 : 0);
    json.Number("fps", std::round(rate * 100) / 100);
    if (rate > 0)
    {
        json.Number("seconds_left", std::round(10 * (total - frames) / rate) / 10);
    }
    else
    {
        json.Null("seconds_left");
    }
    json.Integer("total_size", static_cast<std::int64_t>(mBytes));
    json.Integer("substituted_frames", mSubstitutes);
    json.Integer("memory", static_cast<std::int64_t>(ResidentMemory()));
    json.Text("progress", inState);
    return json.Finish();
}

void Progress::Report(double inSeconds, const char* inState, std::chrono::milliseconds inWait)
{
    // A report is smaller than what a pipe with room takes at once, so that none is torn.
    if (!HasRoom(mDescriptor, inWait))
    {
        return;
    }
    const std::string text =
        mSettings.mJson ? JsonReport(inSeconds, inState) : KeysReport(inSeconds, inState);
    std::size_t done = 0;
    while (done < text.size())
    {
        const ssize_t count = ::write(mDescriptor, text.data() + done, text.size() - done);
        if (count > 0)
        {
            done += static_cast<std::size_t>(count);
        }
        else if (count == 0 || errno != EINTR)
        {
            console::Say("--progress: " + mSettings.mTarget + ": " + std::strerror(errno) +
                         "; no more reports");
            ::close(mDescriptor);
            mDescriptor = -1;
            return;
        }
    }
}

} // namespace vrender
