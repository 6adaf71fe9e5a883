#pragma once

#include "norvik/BoostTypes.h"

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <mutex>

namespace Executors
{

// The books of one executor: what is queued, delayed and running, and whether it takes new work. The executor
// decides when and on which thread to call RunNext; everything else that an executor promises is kept here,
// so that it holds for each kind alike.
//
// Functions are called, and destroyed, with no lock held.
//
// Thread-safety: safe.
class TaskLedger
{
public:
    using Function = norvik::Function;

    TaskLedger() = default;
    TaskLedger(const TaskLedger&) = delete;
    TaskLedger& operator=(const TaskLedger&) = delete;

    // Appends a function, whose content is moved out. Its number; 0 after Close, and then the content stays with
    // the caller.
    uint64_t Push(Function& ioFunction);

    // Takes a function back that nobody can be found to run. False if it has been run, or cancelled, all the same.
    bool TakeBack(uint64_t inNumber, Function& outFunction);

    // Puts a function aside until its delay is over. Its number, or 0 after Close.
    uint64_t AddDelayed(Function& ioFunction);

    // The delay is over: appends the function. False if it was cancelled meanwhile. Needs no memory: who posted
    // it could be told that there is none, a clock that rings can't.
    bool ReleaseDelayed(uint64_t inNumber) noexcept;

    // The delay will never be over.
    void DropDelayed(uint64_t inNumber);

    // Runs the oldest queued function on this thread and destroys it; false if there is none. What it throws
    // is logged.
    bool RunNext();

    bool HasQueued() const;

    // The three calls of AsyncThreadedExecutor's stop sequence. CancelPending gives the highest number that
    // AddDelayed had given when it cancelled: what has a higher one came later and is not cancelled.
    uint64_t CancelPending();
    void Close();
    void WaitForTermination();

    // Whether this thread is inside RunNext of this ledger.
    bool IsCurrentThread() const;

private:
    struct Queued
    {
        uint64_t mNumber = 0; // 0: was delayed
        Function mFunction;
    };

    using Queue = std::list<Queued>;

    void FinishOne();

    mutable std::mutex mMutex;
    std::condition_variable mChanged;
    Queue mQueue;
    std::map<uint64_t, Queue> mDelayed; // each of one function
    uint64_t mLastNumber = 0;
    uint64_t mLastPushed = 0;
    size_t mRunning = 0;
    size_t mWaitingInside = 0; // running functions that wait for termination themselves
    bool mClosed = false;
};

} // namespace Executors
