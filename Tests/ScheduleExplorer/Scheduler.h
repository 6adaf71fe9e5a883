// Runs threads one at a time, so that what they do depends on nothing but a list of choices.
//
// Threads are real, but each waits for a baton, and the one that holds it passes it on only at a point: before
// a lock is taken and after it was released, before each operation on an atomic, a post, a call of the host or
// of a fake. At each point a strategy chooses who goes on. By default nobody is interrupted, and when a thread
// must wait, the one with the lowest number follows. Choices that differ from this default are kept; they are
// all that it takes to have the same run again.
//
// Time stands still while a thread can go on. What is delayed becomes due when all threads wait, or when a
// strategy says so.
//
// What happens is summed up by hashes: of each thread, and of each object that threads touch. Runs that differ
// only in the order of steps that have nothing to do with each other lead to the same hash.
//
// Thread-safety: one run at a time. Threads are started and runs begun by the controlling thread; Reach and
// WaitUntil do nothing there.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace ScheduleExplorer
{

// Stands among thread numbers for the clock.
inline constexpr int kClock = 31;
inline constexpr int kNobody = -1;

// What a strategy knows when it chooses.
struct SchedulePoint
{
    std::uint64_t mNumber = 0;
    int mCurrent = kNobody; // the first option, unless it must wait
    std::vector<int> mOptions;
    std::uint64_t mState = 0; // what has happened, if the strategy wants it
};

// A choice that is not the default.
struct Choice
{
    std::uint64_t mPoint;
    int mThread;
};

// Thread-safety: called by one thread at a time.
class IStrategy
{
public:
    virtual ~IStrategy() = default;
    // One of the options.
    virtual int Choose(const SchedulePoint& inPoint) = 0;
    // Whether the clock is among the options of every point.
    virtual bool MovesClock() const { return false; }
    virtual bool WantsState() const { return false; }
    virtual bool TakesMinorPoints() const { return true; }
};

class Scheduler
{
public:
    using Work = std::function<void()>;
    using Condition = std::function<bool()>;

    static Scheduler& Instance();

    // Before a run.
    void StartThread(const std::string& inName, Work inWork);
    // One that is not expected to end, unless it is told so by WaitUntil. It begins when the condition holds.
    void StartHelper(const std::string& inName, Condition inBegin, Work inWork);

    // Until nothing can go on. Gives what is wrong with that, or an empty text. inPatience: points before the run
    // counts as one that never ends.
    std::string Run(IStrategy& inStrategy, std::uint64_t inPatience);

    // Ends the helpers, and forgets alarms. After a run that was right.
    void Finish();

    // A point, before an operation on inObject.
    void Reach(const void* inObject);
    // A point where an interruption is seldom worth it: after a lock was released, as what the thread does up to
    // its next point should concern nobody; at the count of references. A strategy may leave these out.
    void ReachMinor(const void* inObject);
    // The same without a choice: the operation belongs to the step before.
    void Touch(const void* inObject);
    // Until the condition holds. False: it doesn't, and the run is over. inWhere must be a literal.
    bool WaitUntil(const void* inObject, const char* inWhere, const Condition& inCondition);
    // Calls inWork after that time, on any thread. It makes something runnable and reaches no point.
    void SetAlarm(const void* inOwner, std::uint32_t inMilliseconds, Work inWork);
    // True if there were any.
    bool DropAlarms(const void* inOwner);
    bool HasAlarms(const void* inOwner) const;

    // What the calling thread does, for who reads a replay; printed if it is wanted.
    void SetIsTold(bool inIsTold);
    void Say(const char* inWhat, const void* inObject = nullptr);

    // Locks that the calling thread holds.
    void CountLock(int inDifference);
    int LocksHeld() const;

    // The calling thread of the run, or kNobody.
    int CurrentThread() const;
    std::uint64_t NowMilliseconds() const;
    const std::vector<Choice>& Choices() const;
    std::uint64_t Points() const;

private:
    Scheduler();
    ~Scheduler();

    struct Impl;
    std::unique_ptr<Impl> mImpl;
};

} // namespace ScheduleExplorer
