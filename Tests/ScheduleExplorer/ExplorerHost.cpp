#include "Tests/ScheduleExplorer/ExplorerHost.h"

#include "ML/SharedExecutors.h"
#include "TVK/Waitable.h"
#include "Tests/ScheduleExplorer/Primitives.h"
#include "norvik/utility/Machine.h"
#include "norvik/utility/Memory.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <memory>
#include <stdexcept>
#include <unordered_map>
#include <utility>
#include <vector>

namespace ScheduleExplorer
{

// ---- executors ----

// Three objects stand for an executor: the executor for what is posted, its queue for what is taken, and the
// threads that are busy for what has ended. Posts and begins of tasks change nothing for each other.

ExplorerExecutor::ExplorerExecutor(const char* inName, int inWidth) : mName(inName), mIsSerial(inWidth == 1)
{
    Scheduler& scheduler = Scheduler::Instance();
    scheduler.Touch(this);
    scheduler.Touch(&mQueue);
    scheduler.Touch(&mBusy);
    for (int number = 0; number < inWidth; ++number)
    {
        scheduler.StartHelper(
            inName, this, [this] { return !mQueue.empty(); }, [this] { Work(); });
    }
}

void ExplorerExecutor::Post(norvik::Function inFunction, std::uint32_t inDelayMilliseconds)
{
    Scheduler& scheduler = Scheduler::Instance();
    scheduler.Say(inDelayMilliseconds == 0 ? "posts to" : "posts later to", this);
    scheduler.Reach(this);
    if (mIsClosed)
    {
        return;
    }
    if (inDelayMilliseconds == 0)
    {
        Enqueue(std::move(inFunction));
        return;
    }
    // By a pointer, as a copy of what is bound would be a step of its own, and the clock takes none.
    scheduler.SetAlarm(this, inDelayMilliseconds,
                       [this, function = std::make_shared<norvik::Function>(std::move(inFunction))]
                       { Enqueue(std::move(*function)); });
}

void ExplorerExecutor::Enqueue(norvik::Function inFunction)
{
    ++mPosted;
    mQueue.push_back({std::move(inFunction), Scheduler::Instance().LastEvent(),
                      mIsSerial ? 0 : std::hash<std::string>()(mName) + mPosted});
}

void ExplorerExecutor::Work()
{
    Scheduler& scheduler = Scheduler::Instance();
    const int self = scheduler.CurrentThread();
    while (scheduler.WaitForTask("work", [this] { return !mQueue.empty(); }))
    {
        Task task = std::move(mQueue.front());
        mQueue.pop_front();
        scheduler.BeginTask(&mQueue, task.mEvent, task.mName);
        mBusy.insert(self);
        scheduler.Say("begins a function of", this);
        try
        {
            task.mFunction();
        }
        catch (...)
        {
            ++mThrown;
        }
        // What is bound to it goes while it still counts as running.
        task.mFunction.clear();
        scheduler.ReachMinor();
        scheduler.Touch(&mBusy, Access::kRead);
        mBusy.erase(self);
        scheduler.EndTask();
        scheduler.Say("has ended it");
    }
}

bool ExplorerExecutor::IsCurrentThread() const
{
    return mBusy.count(Scheduler::Instance().CurrentThread()) != 0;
}

void ExplorerExecutor::CancelPending()
{
    Scheduler& scheduler = Scheduler::Instance();
    scheduler.Reach(this);
    scheduler.Touch(&mQueue);
    scheduler.DropAlarms(this);
    const std::deque<Task> dropped = std::exchange(mQueue, {});
    if (!dropped.empty())
    {
        scheduler.KeepOthersFrom(&mQueue);
    }
}

void ExplorerExecutor::Close()
{
    Scheduler::Instance().Reach(this);
    mIsClosed = true;
}

// On one of its own threads: until the others are done, or wait here as well.
void ExplorerExecutor::WaitForTermination()
{
    Scheduler& scheduler = Scheduler::Instance();
    scheduler.Reach(this);
    scheduler.Touch(&mBusy);
    const bool isOwn = mBusy.count(scheduler.CurrentThread()) != 0;
    mWaiting += isOwn ? 1 : 0;
    scheduler.WaitUntil(this, "the end of an executor",
                        [this, isOwn]
                        {
                            return isOwn ? static_cast<int>(mBusy.size()) <= mWaiting
                                         : mQueue.empty() && mBusy.empty() &&
                                               !Scheduler::Instance().HasAlarms(this);
                        });
    scheduler.Touch(&mQueue);
    scheduler.Touch(&mBusy);
    mWaiting -= isOwn ? 1 : 0;
}

bool ExplorerExecutor::IsAtRest() const
{
    Scheduler::Instance().Touch(this);
    Scheduler::Instance().Touch(&mQueue);
    Scheduler::Instance().Touch(&mBusy);
    return mQueue.empty() && mBusy.empty();
}

// ---- mutexes ----

void Mutex::lock()
{
    Scheduler::Instance().ReachWhen(this, "a mutex", [this] { return !mIsTaken && mShared == 0; });
    mIsTaken = true;
    Scheduler::Instance().CountLock(1);
}

void Mutex::unlock()
{
    Scheduler::Instance().Touch(this);
    mIsTaken = false;
    Scheduler::Instance().CountLock(-1);
    Scheduler::Instance().ReachMinor();
}

void Mutex::lock_shared()
{
    Scheduler::Instance().ReachWhen(
        this, "a shared mutex", [this] { return !mIsTaken; }, Access::kRead);
    ++mShared;
    Scheduler::Instance().CountLock(1);
}

void Mutex::unlock_shared()
{
    Scheduler::Instance().Touch(this, Access::kRead);
    --mShared;
    Scheduler::Instance().CountLock(-1);
    Scheduler::Instance().ReachMinor();
}

// ---- clocks and memory ----

namespace
{

std::int64_t Counter()
{
    return static_cast<std::int64_t>(Scheduler::Instance().NowMilliseconds()) * 1000000;
}

bool Frequency(std::int64_t& outFrequency)
{
    outFrequency = 1000000000;
    return true;
}

std::uint32_t Ticks()
{
    return static_cast<std::uint32_t>(Scheduler::Instance().NowMilliseconds());
}

void Sleep(std::uint32_t)
{
    Scheduler::Instance().Reach(nullptr);
}

} // namespace

ExplorerMachine::ExplorerMachine(std::uint64_t inMemoryBytes)
{
    Scheduler::Instance().Prepare();
    os::SetClockFunctions({&Counter, &Frequency, &Ticks, &Sleep});
    norvik::utility::SetCPUCountOverride(2);
    norvik::utility::SetTotalPhysicalMemoryOverride(inMemoryBytes);
}

ExplorerMachine::~ExplorerMachine()
{
    norvik::utility::SetCPUCountOverride(0);
    norvik::utility::SetTotalPhysicalMemoryOverride(0);
    os::SetClockFunctions({});
}

} // namespace ScheduleExplorer

// ---- what the library asks of its host ----

namespace norvik::threads
{

namespace
{

using ScheduleExplorer::Scheduler;

struct LockState
{
    int mOwner = ScheduleExplorer::kNobody;
    int mDepth = 0;
};

// By address, as a mutex has no room for it. Entries stay: a mutex that goes is free.
LockState& StateOf(const RecursiveMutex* inMutex)
{
    static auto* const sStates = new std::unordered_map<const RecursiveMutex*, LockState>;
    return (*sStates)[inMutex];
}

} // namespace

std::uint64_t GetCurrentThreadID()
{
    return static_cast<std::uint64_t>(Scheduler::Instance().CurrentThread() + 2);
}

void RecursiveMutex::Lock(const char* inLabel)
{
    Scheduler& scheduler = Scheduler::Instance();
    LockState& state = StateOf(this);
    const int self = scheduler.CurrentThread();
    if (state.mDepth == 0 || state.mOwner != self)
    {
        scheduler.ReachWhen(this, inLabel, [&state] { return state.mDepth == 0; });
    }
    scheduler.Say(inLabel);
    state.mOwner = self;
    ++state.mDepth;
    scheduler.CountLock(1);
}

void RecursiveMutex::Unlock()
{
    Scheduler::Instance().Touch(this);
    LockState& state = StateOf(this);
    --state.mDepth;
    Scheduler::Instance().CountLock(-1);
    Scheduler::Instance().ReachMinor();
}

UTF8String DumpLocks()
{
    return UTF8String();
}

AsyncExecutor::~AsyncExecutor() = default;

AsyncThreadedExecutor::~AsyncThreadedExecutor() = default;

// A scenario gives the queue its executor.
boost::shared_ptr<AsyncThreadedExecutor> CreateCPUBoundExecutor()
{
    throw std::logic_error("the explorer makes its executors itself");
}

boost::shared_ptr<AsyncThreadedExecutor> CreateThreadedExecutor(const char* /*inName*/,
                                                                std::uint32_t /*inWidth*/)
{
    throw std::logic_error("the explorer makes its executors itself");
}

boost::shared_ptr<AsyncThreadedExecutor>
CreateSubExecutor(const boost::shared_ptr<AsyncThreadedExecutor>& /*inParent*/, std::uint32_t /*inWidth*/)
{
    throw std::logic_error("the explorer makes its executors itself");
}

} // namespace norvik::threads

namespace norvik::utility
{

void* SmallBlockAllocator::Allocate(std::size_t inSize)
{
    return ::operator new(std::max<std::size_t>(inSize, 1));
}

// Overwritten, so that whoever still uses it meets nonsense, and the same nonsense in a replay.
void SmallBlockAllocator::Dispose(void* inBlock, std::size_t inSize) noexcept
{
#if defined(__SANITIZE_ADDRESS__)
    static_cast<void>(inSize);
#else
    if (inBlock != nullptr)
    {
        std::memset(inBlock, 0xA5, inSize);
    }
#endif
    ::operator delete(inBlock);
}

} // namespace norvik::utility

namespace TVK
{

void WaitableObject::Signal()
{
    ScheduleExplorer::Scheduler::Instance().Reach(this);
    mSignalled = true;
}

int32_t WaitableObject::WaitForSignal(int32_t inMilliseconds)
{
    ScheduleExplorer::Scheduler& scheduler = ScheduleExplorer::Scheduler::Instance();
    scheduler.Reach(this);
    if (inMilliseconds == 0)
    {
        return std::exchange(mSignalled, false) ? 0 : kWaitTimedOut;
    }
    scheduler.WaitUntil(this, "a signal", [this] { return mSignalled; });
    mSignalled = false;
    return 0;
}

} // namespace TVK

namespace ML
{

boost::shared_ptr<norvik::threads::AsyncThreadedExecutor> sNormalPriorityRenderQueue;
boost::shared_ptr<norvik::threads::AsyncThreadedExecutor> sLowPriorityRenderQueue;
boost::shared_ptr<norvik::threads::AsyncThreadedExecutor> sVideoSourcePrefetcherQueue;
boost::shared_ptr<norvik::threads::AsyncThreadedExecutor> sImageSourcePrefetcherQueue;

} // namespace ML
