// Runs threads one at a time, so that what they do depends on nothing but a list of choices.
//
// A thread is a fiber, and the one that runs hands over only at a point: before a lock is taken and after it was
// released, before each operation on an atomic, a post, a call of the host or of a fake. At each point a strategy
// chooses who goes on; who would have to wait for what it does next is not among those. By default nobody is interrupted, and when a thread
// must wait, the one with the lowest number follows. Choices that differ from this default are kept; they are
// all that it takes to have the same run again.
//
// Time stands still while a thread can go on. What is delayed becomes due when all threads wait, or when a
// strategy says so.
//
// What happens is summed up by hashes: of each thread, and of each object that threads touch. Runs that differ
// only in the order of steps that have nothing to do with each other lead to the same hash: steps on different
// objects, and those of which none changes what the other one looks at. What an executor runs is a thread of its
// own in this, whichever worker took it.
//
// Thread-safety: one thread of the system. Threads are started and runs begun by the controlling one; Reach and
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
    std::uint64_t mState = 0;                 // what has happened, if the strategy wants it
    std::vector<std::uint64_t> mOptionStates; // and how far each option has come
};

enum class Access
{
    kRead, // in any order with others of its kind
    kWrite
};

// A thread meets an object. Objects and threads have numbers that are the same in all runs that differ only in
// the order of steps that have nothing to do with each other.
struct Meeting
{
    std::uint32_t mObject;
    std::uint32_t mThread;
    std::uint32_t mStep; // of that thread: what it does between two points is one
    Access mAccess;
};

// The thread number of those that came when no more were left.
inline constexpr std::uint32_t kSomeThread = 63;

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
    // Whether it would choose the first option from here to the end.
    virtual bool IsDone() const { return false; }
    // Called if the state is wanted.
    virtual void Met(const Meeting&) {}
};

class Scheduler
{
public:
    using Work = std::function<void()>;
    using Condition = std::function<bool()>;

    static Scheduler& Instance();

    // Before anything of a run is made.
    void Prepare();
    void StartThread(const std::string& inName, Work inWork);
    // One that is not expected to end, unless it is told so by WaitForTask. It begins when the condition holds.
    // Helpers of one group that have nothing to do are the same to everybody: only the first is an option.
    void StartHelper(const std::string& inName, const void* inGroup, Condition inBegin, Work inWork);

    // Until nothing can go on. Gives what is wrong with that, or an empty text. inPatience: points before the run
    // counts as one that never ends.
    std::string Run(IStrategy& inStrategy, std::uint64_t inPatience);

    // Ends the helpers, and forgets alarms. After a run that was right.
    void Finish();

    // A point, before an operation on inObject.
    void Reach(const void* inObject, Access inAccess = Access::kWrite);
    // The same before one that waits until the condition holds. inWhere must be a literal.
    void ReachWhen(const void* inObject, const char* inWhere, const Condition& inCondition,
                   Access inAccess = Access::kWrite);
    // A point where an interruption is seldom worth it: after a lock was released, as what the thread does up to
    // its next point should concern nobody; at the count of references. A strategy may leave these out, and what
    // comes then belongs to the step before. It meets no object.
    void ReachMinor();
    // Without a choice: the operation belongs to the step before.
    void Touch(const void* inObject, Access inAccess = Access::kWrite);
    // Others were about to touch it, and what the caller does keeps them from it for ever.
    void KeepOthersFrom(const void* inObject);
    // Waits for the condition, if it doesn't hold, and touches the object.
    void WaitUntil(const void* inObject, const char* inWhere, const Condition& inCondition);

    // For the helpers of an executor. False: there won't be any more tasks. inWhere must be a literal.
    bool WaitForTask(const char* inWhere, const Condition& inCondition);
    // What was touched last, which a task keeps from its post to its begin.
    std::uint64_t LastEvent() const;
    // inQueue: the object that stands for the end of the queue where tasks are taken. inName: what tells the task
    // from others of the executor, or 0, if all of them are run one after the other.
    void BeginTask(const void* inQueue, std::uint64_t inEvent, std::uint64_t inName);
    void EndTask();
    // Calls inWork after that time, on any thread, as a step that touches the owner. It makes something runnable and reaches no point.
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
    std::uint64_t State() const;
    const std::vector<Choice>& Choices() const;
    std::uint64_t Points() const;

private:
    Scheduler();
    ~Scheduler();

    struct Impl;
    std::unique_ptr<Impl> mImpl;
};

} // namespace ScheduleExplorer
