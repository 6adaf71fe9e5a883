#include "Applications/vrender/Console.h"

#include "Applications/vrender/ExitCodes.h"
#include "ReferenceHost/Foundation/LogOutput.h"
#include "norvik/logging/Logging.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <sys/ioctl.h>
#include <unistd.h>

namespace vrender::console
{

namespace
{

std::mutex sMutex;
bool sStatusShown = false;

// One write for a whole line, so that lines of processes which share a terminal don't mix. What
// stderr doesn't take is lost: there is no other place to say so.
void WriteToStderr(const std::string& inText)
{
    std::size_t done = 0;
    while (done < inText.size())
    {
        const ssize_t count = ::write(STDERR_FILENO, inText.data() + done, inText.size() - done);
        if (count < 0 && errno == EINTR)
        {
            continue;
        }
        if (count <= 0)
        {
            return;
        }
        done += static_cast<std::size_t>(count);
    }
}

} // namespace

bool HasStatusLine()
{
    const char* terminal = std::getenv("TERM");
    return ::isatty(STDERR_FILENO) == 1 && !(terminal != nullptr && std::strcmp(terminal, "dumb") == 0);
}

std::size_t Columns()
{
    winsize size{};
    const bool known = ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return known ? size.ws_col : 80;
}

void Say(const std::string& inText)
{
    const std::lock_guard<std::mutex> lock(sMutex);
    WriteToStderr((sStatusShown ? "\r\033[K" : "") + ("vrender: " + inText) + "\n");
    sStatusShown = false;
}

void SayBare(const std::string& inText)
{
    const std::lock_guard<std::mutex> lock(sMutex);
    WriteToStderr((sStatusShown ? "\r\033[K" : "") + inText);
    sStatusShown = false;
}

void SayWarnings()
{
    const auto say = [](const boost::shared_ptr<norvik::logging::LogMessage>& inMessage)
    {
        // A warning is written for users; what else comes here is for who looks for a fault.
        const bool isWarning = inMessage->mLevel == norvik::logging::kLogLevel_Warning;
        Say(isWarning ? std::string(std::string_view(inMessage->mText))
                      : norvik::logging::FormatRecord(*inMessage));
    };
    norvik::logging::SetLogSink(say, true);
}

void ShowStatus(const std::string& inText)
{
    if (!HasStatusLine())
    {
        return;
    }
    const std::lock_guard<std::mutex> lock(sMutex);
    WriteToStderr("\r" + inText.substr(0, Columns() - 1) + "\033[K");
    sStatusShown = true;
}

void ClearStatus()
{
    const std::lock_guard<std::mutex> lock(sMutex);
    if (sStatusShown)
    {
        WriteToStderr("\r\033[K");
        sStatusShown = false;
    }
}

void PrintData(const std::string& inText)
{
    std::size_t done = 0;
    while (done < inText.size())
    {
        const ssize_t count = ::write(STDOUT_FILENO, inText.data() + done, inText.size() - done);
        if (count < 0 && errno == EINTR)
        {
            continue;
        }
        if (count <= 0)
        {
            const char* cause = errno == EPIPE ? "the reader closed the pipe" : std::strerror(errno);
            throw ToolError(ExitCode::kIOError, std::string("standard output: ") + cause);
        }
        done += static_cast<std::size_t>(count);
    }
}

} // namespace vrender::console
