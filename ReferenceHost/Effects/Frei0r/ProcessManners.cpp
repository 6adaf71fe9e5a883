#include "ReferenceHost/Effects/Frei0r/ProcessManners.h"

#include <csignal>
#include <fcntl.h>
#include <initializer_list>
#include <sys/resource.h>
#include <unistd.h>

namespace Frei0r
{

void BecomePluginProcess(int inKept)
{
    for (const int signal :
         {SIGINT, SIGTERM, SIGHUP, SIGPIPE, SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGALRM})
    {
        std::signal(signal, SIG_DFL);
    }
    sigset_t none;
    sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    const rlimit noCore = {0, 0};
    ::setrlimit(RLIMIT_CORE, &noCore);
    const int nothing = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
    {
        ::dup2(nothing, stream);
    }
    // Else whoever reads a pipe that the parent writes would wait for this process too.
    const auto kept = static_cast<unsigned>(inKept);
    if (kept > STDERR_FILENO + 1U)
    {
        ::close_range(STDERR_FILENO + 1U, kept - 1U, 0);
    }
    ::close_range(kept + 1U, ~0U, 0);
}

} // namespace Frei0r
