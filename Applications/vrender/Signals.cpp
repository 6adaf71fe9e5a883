#include "Applications/vrender/Signals.h"

#include <atomic>
#include <csignal>
#include <unistd.h>

namespace vrender::signals
{

namespace
{

std::atomic<int> sPending{0};
std::atomic<bool> sOutputIsOpen{false};
static_assert(std::atomic<int>::is_always_lock_free, "a signal handler may only touch lock-free atomics");

void OnSignal(int inSignal)
{
    const int before = sPending.exchange(inSignal);
    if (before != 0 || !sOutputIsOpen.load())
    {
        ::_exit(128 + inSignal);
    }
}

void AskOn(int inSignal)
{
    struct sigaction ask
    {
    };
    ask.sa_handler = OnSignal;
    sigemptyset(&ask.sa_mask);
    sigaction(inSignal, &ask, nullptr);
}

} // namespace

void Install()
{
    AskOn(SIGINT);
    AskOn(SIGTERM);

    struct sigaction ignore
    {
    };
    ignore.sa_handler = SIG_IGN;
    sigaction(SIGPIPE, &ignore, nullptr);
    sigaction(SIGXFSZ, &ignore, nullptr);
}

void BeginOutput()
{
    sOutputIsOpen = true;
}

void EndOutput()
{
    sOutputIsOpen = false;
}

int Pending()
{
    return sPending.load();
}

} // namespace vrender::signals
