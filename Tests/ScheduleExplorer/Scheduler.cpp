#include "Tests/ScheduleExplorer/Scheduler.h"

#include <semaphore.h>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <thread>
#include <unordered_map>
#include <utility>

namespace ScheduleExplorer
{

namespace
{

// A semaphore of the system: handing over is one call of it, and sanitizers know it.
class Baton
{
public:
    Baton() { sem_init(&mSemaphore, 0, 0); }
    ~Baton() { sem_destroy(&mSemaphore); }
    Baton(const Baton&) = delete;
    Baton& operator=(const Baton&) = delete;

    void Give() { sem_post(&mSemaphore); }
    void Take()
    {
        while (sem_wait(&mSemaphore) != 0)
        {
        }
    }

private:
    sem_t mSemaphore;
};

struct Thread
{
    int mNumber = 0;
    std::string mName;
    bool mIsHelper = false;
    Scheduler::Work mWork; // empty: not in use
    Scheduler::Condition mBegin;
    const Scheduler::Condition* mCondition = nullptr;
    const char* mWhere = "";
    int mLocks = 0;
    std::uint64_t mHash = 0;
    Baton mBaton;

    bool CanGoOn() const { return mWork && (mCondition == nullptr || (*mCondition)()); }
};

struct Alarm
{
    std::uint64_t mWhen;
    std::uint64_t mNumber;
    const void* mOwner;
    Scheduler::Work mWork;
};

thread_local Thread* sThread = nullptr;

std::uint64_t Mix(std::uint64_t inA, std::uint64_t inB)
{
    std::uint64_t mixed = (inA ^ (inB + 0x9E3779B97F4A7C15u + (inA << 6) + (inA >> 2))) * 0xBF58476D1CE4E5B9u;
    mixed ^= mixed >> 29;
    return mixed * 0x94D049BB133111EBu;
}

} // namespace

struct Scheduler::Impl
{
    void Live(Thread& ioThread);
    Thread& NewThread(const std::string& inName, bool inIsHelper, Work inWork);
    int Next(Thread* inCurrent, bool inIsMinor = false);
    void CollectOptions(const Thread* inCurrent);
    void FireFirstAlarm();
    void PassOn(Thread& ioFrom, int inTo);
    void Touch(const void* inObject);
    std::uint64_t State() const;

    std::vector<std::unique_ptr<Thread>>
        mThreads; // never destroyed: they wait for more until the process ends
    std::size_t mUsed = 0;
    std::vector<Alarm> mAlarms;
    std::uint64_t mAlarmCount = 0;
    std::uint64_t mNow = 0;
    IStrategy* mStrategy = nullptr;
    SchedulePoint mPoint;
    std::uint64_t mPatience = 0;
    std::vector<Choice> mChoices;
    std::unordered_map<const void*, std::uint64_t> mObjects;
    bool mIsEnding = false;
    bool mIsTold = false;
    Baton mController;
};

Scheduler::Scheduler() : mImpl(std::make_unique<Impl>()) {}

Scheduler::~Scheduler() = default;

Scheduler& Scheduler::Instance()
{
    static auto* const sScheduler = new Scheduler;
    return *sScheduler;
}

// ---- threads ----

void Scheduler::Impl::Live(Thread& ioThread)
{
    sThread = &ioThread;
    while (true)
    {
        ioThread.mBaton.Take();
        ioThread.mCondition = nullptr;
        ioThread.mWork();
        ioThread.mWork = nullptr;
        if (mIsEnding)
        {
            mController.Give();
            continue;
        }
        const int next = Next(nullptr);
        (next == kNobody ? mController : mThreads[static_cast<std::size_t>(next)]->mBaton).Give();
    }
}

Thread& Scheduler::Impl::NewThread(const std::string& inName, bool inIsHelper, Work inWork)
{
    if (mUsed == mThreads.size())
    {
        auto made = std::make_unique<Thread>();
        made->mNumber = static_cast<int>(mUsed);
        std::thread([this, thread = made.get()] { Live(*thread); }).detach();
        mThreads.push_back(std::move(made));
    }
    Thread& thread = *mThreads[mUsed++];
    thread.mName = inName;
    thread.mIsHelper = inIsHelper;
    thread.mWork = std::move(inWork);
    thread.mCondition = nullptr;
    thread.mLocks = 0;
    thread.mHash = Mix(1, static_cast<std::uint64_t>(thread.mNumber));
    return thread;
}

void Scheduler::StartThread(const std::string& inName, Work inWork)
{
    mImpl->NewThread(inName, false, std::move(inWork));
}

void Scheduler::StartHelper(const std::string& inName, Condition inBegin, Work inWork)
{
    Thread& thread = mImpl->NewThread(inName, true, std::move(inWork));
    thread.mBegin = std::move(inBegin);
    thread.mCondition = &thread.mBegin;
}

std::string Scheduler::Run(IStrategy& inStrategy, std::uint64_t inPatience)
{
    Impl& impl = *mImpl;
    impl.mStrategy = &inStrategy;
    impl.mPatience = inPatience;
    impl.mPoint.mNumber = 0;
    impl.mChoices.clear();
    impl.mObjects.clear();
    const int first = impl.Next(nullptr);
    if (first != kNobody)
    {
        impl.mThreads[static_cast<std::size_t>(first)]->mBaton.Give();
        impl.mController.Take();
    }
    impl.mStrategy = nullptr;
    if (impl.mPoint.mNumber > inPatience)
    {
        return "it does not come to rest";
    }
    std::string stuck;
    for (std::size_t number = 0; number < impl.mUsed; ++number)
    {
        const Thread& thread = *impl.mThreads[number];
        if (thread.mWork && !thread.mIsHelper)
        {
            stuck += (stuck.empty() ? "" : ", ") + thread.mName + " waits for " + thread.mWhere;
        }
    }
    return stuck.empty() ? "" : "deadlock: " + stuck;
}

void Scheduler::Finish()
{
    Impl& impl = *mImpl;
    impl.mIsEnding = true;
    for (std::size_t number = 0; number < impl.mUsed; ++number)
    {
        Thread& thread = *impl.mThreads[number];
        if (thread.mWork)
        {
            thread.mBaton.Give();
            impl.mController.Take();
        }
    }
    impl.mIsEnding = false;
    impl.mUsed = 0;
    impl.mAlarms.clear();
}

// ---- points ----

void Scheduler::Impl::CollectOptions(const Thread* inCurrent)
{
    mPoint.mOptions.clear();
    mPoint.mCurrent = kNobody;
    if (inCurrent != nullptr)
    {
        mPoint.mCurrent = inCurrent->mNumber;
        mPoint.mOptions.push_back(inCurrent->mNumber);
    }
    for (std::size_t number = 0; number < mUsed; ++number)
    {
        if (mThreads[number].get() != inCurrent && mThreads[number]->CanGoOn())
        {
            mPoint.mOptions.push_back(static_cast<int>(number));
        }
    }
}

// Who goes on. inCurrent: the thread that asks, if it could.
int Scheduler::Impl::Next(Thread* inCurrent, bool inIsMinor)
{
    while (++mPoint.mNumber <= mPatience)
    {
        CollectOptions(inCurrent);
        if (!mAlarms.empty() && (mPoint.mOptions.empty() || mStrategy->MovesClock()))
        {
            mPoint.mOptions.push_back(kClock);
        }
        if (mPoint.mOptions.empty())
        {
            return kNobody;
        }
        int chosen = mPoint.mOptions.front();
        if (mPoint.mOptions.size() > 1 && (!inIsMinor || mStrategy->TakesMinorPoints()))
        {
            mPoint.mState = mStrategy->WantsState() ? State() : 0;
            chosen = mStrategy->Choose(mPoint);
        }
        if (chosen != mPoint.mOptions.front())
        {
            mChoices.push_back({mPoint.mNumber, chosen});
        }
        if (chosen != kClock)
        {
            return chosen;
        }
        FireFirstAlarm();
    }
    return kNobody;
}

void Scheduler::Impl::PassOn(Thread& ioFrom, int inTo)
{
    if (inTo != ioFrom.mNumber)
    {
        (inTo == kNobody ? mController : mThreads[static_cast<std::size_t>(inTo)]->mBaton).Give();
        ioFrom.mBaton.Take();
    }
}

void Scheduler::Reach(const void* inObject)
{
    Thread* const thread = sThread;
    if (thread != nullptr && !mImpl->mIsEnding)
    {
        mImpl->PassOn(*thread, mImpl->Next(thread));
        mImpl->Touch(inObject);
    }
}

void Scheduler::ReachMinor(const void* inObject)
{
    Thread* const thread = sThread;
    if (thread != nullptr && !mImpl->mIsEnding)
    {
        mImpl->PassOn(*thread, mImpl->Next(thread, true));
        mImpl->Touch(inObject);
    }
}

bool Scheduler::WaitUntil(const void* inObject, const char* inWhere, const Condition& inCondition)
{
    Thread* const thread = sThread;
    while (!inCondition())
    {
        if (thread == nullptr || mImpl->mIsEnding)
        {
            return false;
        }
        thread->mCondition = &inCondition;
        thread->mWhere = inWhere;
        mImpl->PassOn(*thread, mImpl->Next(nullptr));
        thread->mCondition = nullptr;
    }
    Touch(inObject);
    return true;
}

// ---- clock ----

void Scheduler::SetAlarm(const void* inOwner, std::uint32_t inMilliseconds, Work inWork)
{
    mImpl->mAlarms.push_back(
        {mImpl->mNow + inMilliseconds, ++mImpl->mAlarmCount, inOwner, std::move(inWork)});
}

void Scheduler::Impl::FireFirstAlarm()
{
    const auto first =
        std::min_element(mAlarms.begin(), mAlarms.end(),
                         [](const Alarm& inA, const Alarm& inB)
                         { return std::pair(inA.mWhen, inA.mNumber) < std::pair(inB.mWhen, inB.mNumber); });
    mNow = std::max(mNow, first->mWhen);
    const Work work = std::move(first->mWork);
    Touch(first->mOwner);
    mAlarms.erase(first);
    work();
}

// What is bound to them goes when they are off the list, as that may reach points.
bool Scheduler::DropAlarms(const void* inOwner)
{
    std::vector<Alarm>& alarms = mImpl->mAlarms;
    const auto first = std::stable_partition(
        alarms.begin(), alarms.end(), [inOwner](const Alarm& inAlarm) { return inAlarm.mOwner != inOwner; });
    const std::vector<Alarm> dropped(std::make_move_iterator(first), std::make_move_iterator(alarms.end()));
    alarms.erase(first, alarms.end());
    return !dropped.empty();
}

bool Scheduler::HasAlarms(const void* inOwner) const
{
    return std::any_of(mImpl->mAlarms.begin(), mImpl->mAlarms.end(),
                       [inOwner](const Alarm& inAlarm) { return inAlarm.mOwner == inOwner; });
}

std::uint64_t Scheduler::NowMilliseconds() const
{
    return mImpl->mNow;
}

// ---- what has happened ----

void Scheduler::Impl::Touch(const void* inObject)
{
    if (sThread != nullptr && mStrategy != nullptr && mStrategy->WantsState())
    {
        std::uint64_t& object = mObjects[inObject];
        object = sThread->mHash = Mix(sThread->mHash, object);
    }
}

void Scheduler::Touch(const void* inObject)
{
    mImpl->Touch(inObject);
}

std::uint64_t Scheduler::Impl::State() const
{
    std::uint64_t state = mAlarms.size();
    for (std::size_t number = 0; number < mUsed; ++number)
    {
        state = Mix(state, mThreads[number]->mHash);
    }
    return state;
}

// ---- for the reader ----

void Scheduler::SetIsTold(bool inIsTold)
{
    mImpl->mIsTold = inIsTold;
}

void Scheduler::Say(const char* inWhat, const void* inObject)
{
    if (mImpl->mIsTold && sThread != nullptr)
    {
        std::printf("%5llu  %d %-10s %s", static_cast<unsigned long long>(mImpl->mPoint.mNumber),
                    sThread->mNumber, sThread->mName.c_str(), inWhat);
        if (inObject != nullptr)
        {
            std::printf(" %p", inObject);
        }
        std::printf("\n");
    }
}

void Scheduler::CountLock(int inDifference)
{
    if (sThread != nullptr)
    {
        sThread->mLocks += inDifference;
    }
}

int Scheduler::LocksHeld() const
{
    return sThread != nullptr ? sThread->mLocks : 0;
}

int Scheduler::CurrentThread() const
{
    return sThread != nullptr ? sThread->mNumber : kNobody;
}

const std::vector<Choice>& Scheduler::Choices() const
{
    return mImpl->mChoices;
}

std::uint64_t Scheduler::Points() const
{
    return mImpl->mPoint.mNumber;
}

} // namespace ScheduleExplorer
