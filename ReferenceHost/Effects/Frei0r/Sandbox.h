// Plug-ins in processes of their own, one for each instance: what crashes or hangs there is one frame that
// fails.
//
//   this process ----> keeper ----> one process for each instance
//        |                              ^
//        +--- settings, "done" ---------+   pictures lie in memory that both have
//
// The keeper loads nothing and has one thread, so that making others of it is safe. It has to be made itself
// while this process has one thread. Each process ends when whoever it serves is gone.
//
// Thread-safety: safe; instances as theirs.
#pragma once

#include "ReferenceHost/Effects/Frei0r/Instance.h"

#include <memory>
#include <mutex>
#include <sys/types.h>

namespace Frei0r
{

class Sandbox
{
public:
    // inSeconds: how long one call into a plug-in may take.
    explicit Sandbox(unsigned inSeconds = 30);
    ~Sandbox();
    Sandbox(const Sandbox&) = delete;
    Sandbox& operator=(const Sandbox&) = delete;

    // Null if no process can be made, or the plug-in is not what it was or makes no instance there. Throws
    // std::bad_alloc.
    std::unique_ptr<IInstance> MakeInstance(const ScannedPlugin& inPlugin, const InstanceShape& inShape);

private:
    const unsigned mSeconds;
    std::mutex mLock;
    int mKeeper = -1; // a socket
    pid_t mProcess = -1;
};

} // namespace Frei0r
