#pragma once

#include "norvik/BoostTypes.h"

#include <cstddef>
#include <cstdint>
#include <thread>

// The user-interface thread: the one on which messages are delivered. A host with an event loop of its own
// calls UIThread::Pump from it, whenever the wake function told it to; one without calls Run, or has an
// OwnUIThread.
namespace TVK
{

// Thread-safety: Pump and Run belong to one thread at a time, the others are safe from any.
class UIThread
{
public:
    // Delivers what is queued at this moment, on the calling thread, and gives the number of messages taken.
    // A listener may call it again. While another thread pumps, nothing happens.
    static size_t Pump();

    // Waits until a message is there; false after inMilliseconds. -1: for ever.
    static bool WaitForMessage(int32_t inMilliseconds);

    // Pumps until Quit; what was posted before Quit is delivered.
    static void Run();

    // Ends Run, or the next Run if none is running.
    static void Quit();

    // Called after each post, on the posting thread: for hosts that wait elsewhere than in WaitForMessage.
    // Empty removes it.
    static void SetWakeFunction(const norvik::Function& inWake);

    // Whether messages are being delivered on the calling thread right now.
    static bool IsCurrent();
};

// A thread that does nothing but Run, for tools that have no loop. One at a time.
//
// Thread-safety: made and destroyed by one thread.
class OwnUIThread
{
public:
    OwnUIThread();

    // Delivers what is queued, then ends the thread.
    ~OwnUIThread();

    OwnUIThread(const OwnUIThread&) = delete;
    OwnUIThread& operator=(const OwnUIThread&) = delete;

private:
    std::thread mThread;
};

} // namespace TVK
