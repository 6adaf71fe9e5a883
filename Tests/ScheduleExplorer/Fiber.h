// A thread of a run as far as the machine is concerned: a stack of its own and a place to go on from.
//
// All fibers share one thread of the system. Handing over costs a tenth of what two threads and a semaphore
// cost, and nothing depends on when the system lets a thread run.
//
// Thread-safety: one thread of the system only.
#pragma once

#include <ucontext.h>

#include <cstddef>
#include <functional>

namespace ScheduleExplorer
{

class Fiber
{
public:
    // The caller itself, so that others can come back to it.
    Fiber();
    // Begins when it is switched to for the first time. inBody must not return.
    explicit Fiber(std::function<void()> inBody);
    ~Fiber();
    Fiber(const Fiber&) = delete;
    Fiber& operator=(const Fiber&) = delete;

    // From this one, which runs, to that one. Returns when somebody switches back.
    void SwitchTo(Fiber& ioNext);

private:
    // What the runtime keeps for each thread of the system about exceptions in flight.
    struct Exceptions
    {
        void* mCaught = nullptr;
        unsigned int mUncaught = 0;
    };

    static void Enter(unsigned int inHigh, unsigned int inLow);
    void Leave(Fiber& ioNext);
    void Arrive();

    std::function<void()> mBody;
    void* mMapping = nullptr;
    const void* mStack = nullptr;
    [[maybe_unused]] std::size_t mStackBytes = 0;
    [[maybe_unused]] void* mFakeStack = nullptr; // of the address sanitizer
    Exceptions mExceptions;
    ucontext_t mContext{};
};

} // namespace ScheduleExplorer
