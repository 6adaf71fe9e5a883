#include "Tests/ScheduleExplorer/Scheduler.h"

#include "Tests/ScheduleExplorer/Fiber.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <unordered_map>
#include <utility>

namespace ScheduleExplorer
{

namespace
{

std::uint64_t Mix(std::uint64_t inA, std::uint64_t inB)
{
    std::uint64_t mixed = (inA ^ (inB + 0x9E3779B97F4A7C15u + (inA << 6) + (inA >> 2))) * 0xBF58476D1CE4E5B9u;
    mixed ^= mixed >> 29;
    return mixed * 0x94D049BB133111EBu;
}

// Where the hashes of threads and names begin, so that they differ from each other.
enum Kind : std::uint64_t
{
    kControllerStart = 1,
    kThreadStart,
    kTaskStart,
    kReading,
    kThreadPart,
    kObjectPart,
    kClockName,
    kTaskName
};

struct Thread
{
    int mNumber = 0;
    std::string mName;
    bool mIsHelper = false;
    const void* mGroup = nullptr; // of helpers
    bool mIsIdle = false;         // a helper without a task
    bool mIsBeginning = false;    // has not reached its first point, which is the same to others as not begun
    Scheduler::Work mWork;        // empty: not in use
    Scheduler::Condition mBegin;
    const Scheduler::Condition* mCondition = nullptr;
    const char* mWhere = "";
    int mLocks = 0;
    std::unique_ptr<Fiber> mFiber;

    std::uint64_t mHash = 0;     // of all that it has done and seen; 0: that's nothing any more
    std::uint64_t mNameHash = 0; // the same in all runs of the same steps
    std::uint64_t mBorn = 0;     // objects that it was the first to touch
    std::uint32_t mBit = 0;
    std::uint32_t mStep = 0;

    bool CanGoOn() const { return mWork && (mCondition == nullptr || (*mCondition)()); }
};

// The last change of an object, and who has looked since, in any order.
struct Object
{
    std::uint64_t mWritten = 0;
    std::uint64_t mRead = 0;
    std::uint32_t mNumber = 0;

    std::uint64_t Part() const { return Mix(mWritten ^ kObjectPart, mRead); }
};

struct Alarm
{
    std::uint64_t mWhen;
    std::uint64_t mNumber;
    const void* mOwner;
    Scheduler::Work mWork;
};

Thread* sThread = nullptr; // the one that runs

} // namespace

struct Scheduler::Impl
{
    void Live(Thread& ioThread);
    Thread& NewThread(const std::string& inName, bool inIsHelper, Work inWork);
    int Next(Thread* inCurrent, bool inIsMinor = false);
    void CollectOptions(const Thread* inCurrent);
    bool HasIdleTwin(const Thread& inThread) const;
    void TellOptionStates();
    void FireFirstAlarm();
    void PassOn(Fiber& ioFrom, int inTo);
    void Wait(Thread& ioThread, const char* inWhere, const Condition& inCondition);

    bool IsRecording() const { return mStrategy != nullptr && mStrategy->WantsState(); }
    Object& ObjectAt(const void* inObject, std::uint64_t inNameHash, std::uint64_t& ioBorn);
    std::uint64_t Meet(const void* inObject, std::uint64_t inHash, Access inAccess);
    void Touch(const void* inObject, Access inAccess);
    void SetHash(Thread& ioThread, std::uint64_t inHash);
    std::uint32_t BitOf(std::uint64_t inNameHash);

    std::vector<std::unique_ptr<Thread>> mThreads; // kept for the next run
    std::size_t mUsed = 0;
    std::vector<Alarm> mAlarms;
    std::uint64_t mAlarmCount = 0;
    std::uint64_t mNow = 0;
    IStrategy* mStrategy = nullptr;
    SchedulePoint mPoint;
    std::uint64_t mPatience = 0;
    std::vector<Choice> mChoices;
    bool mIsEnding = false;
    bool mIsTold = false;
    Fiber mController;

    std::unordered_map<const void*, Object> mObjects;
    std::uint64_t mState = 0; // the sum of the parts of objects and threads
    std::uint64_t mClockHash = 0;
    std::uint64_t mClockBorn = 0;
    std::uint64_t mControllerBorn = 0;
    std::uint64_t mLastEvent = 0;
    // For all runs.
    std::unordered_map<std::uint64_t, std::uint32_t> mObjectNumbers;
    std::unordered_map<std::uint64_t, std::uint32_t> mBits;
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
    while (true)
    {
        ioThread.mCondition = nullptr;
        ioThread.mWork();
        ioThread.mWork = nullptr;
        SetHash(ioThread, 0);
        PassOn(*ioThread.mFiber, mIsEnding ? kNobody : Next(nullptr));
    }
}

Thread& Scheduler::Impl::NewThread(const std::string& inName, bool inIsHelper, Work inWork)
{
    if (mUsed == mThreads.size())
    {
        auto made = std::make_unique<Thread>();
        made->mNumber = static_cast<int>(mUsed);
        made->mFiber = std::make_unique<Fiber>([this, thread = made.get()] { Live(*thread); });
        mThreads.push_back(std::move(made));
    }
    Thread& thread = *mThreads[mUsed++];
    thread.mName = inName;
    thread.mIsHelper = inIsHelper;
    thread.mGroup = nullptr;
    thread.mIsIdle = inIsHelper;
    thread.mIsBeginning = !inIsHelper;
    thread.mWork = std::move(inWork);
    thread.mCondition = nullptr;
    thread.mLocks = 0;
    thread.mNameHash = Mix(kThreadStart, static_cast<std::uint64_t>(thread.mNumber));
    thread.mBorn = 0;
    thread.mBit = BitOf(thread.mNameHash);
    thread.mHash = 0;
    SetHash(thread, inIsHelper ? 0 : thread.mNameHash);
    return thread;
}

void Scheduler::Prepare()
{
    mImpl->mObjects.clear();
    mImpl->mState = 0;
    mImpl->mClockHash = kClockName;
    mImpl->mClockBorn = 0;
    mImpl->mControllerBorn = 0;
}

void Scheduler::StartThread(const std::string& inName, Work inWork)
{
    mImpl->NewThread(inName, false, std::move(inWork));
}

void Scheduler::StartHelper(const std::string& inName, const void* inGroup, Condition inBegin, Work inWork)
{
    Thread& thread = mImpl->NewThread(inName, true, std::move(inWork));
    thread.mGroup = inGroup;
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
    const int first = impl.Next(nullptr);
    if (first != kNobody)
    {
        impl.PassOn(impl.mController, first);
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
        if (impl.mThreads[number]->mWork)
        {
            impl.PassOn(impl.mController, static_cast<int>(number));
        }
    }
    impl.mIsEnding = false;
    impl.mUsed = 0;
    impl.mAlarms.clear();
}

// ---- points ----

// Of helpers of one group without a task, the one with the lowest number stands for all.
bool Scheduler::Impl::HasIdleTwin(const Thread& inThread) const
{
    if (!inThread.mIsIdle)
    {
        return false;
    }
    for (std::size_t number = 0; mThreads[number].get() != &inThread; ++number)
    {
        const Thread& other = *mThreads[number];
        if (other.mIsIdle && other.mGroup == inThread.mGroup && other.mWork)
        {
            return true;
        }
    }
    return false;
}

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
        const Thread& thread = *mThreads[number];
        if (&thread != inCurrent && thread.CanGoOn() && !HasIdleTwin(thread))
        {
            mPoint.mOptions.push_back(thread.mNumber);
        }
    }
}

void Scheduler::Impl::TellOptionStates()
{
    mPoint.mState = Mix(mState, Mix(mClockHash, mAlarms.size()));
    mPoint.mOptionStates.clear();
    for (const int option : mPoint.mOptions)
    {
        mPoint.mOptionStates.push_back(option == kClock ? 0
                                                        : mThreads[static_cast<std::size_t>(option)]->mHash);
    }
}

// Who goes on. inCurrent: the thread that asks, if it could.
int Scheduler::Impl::Next(Thread* inCurrent, bool inIsMinor)
{
    while (++mPoint.mNumber <= mPatience)
    {
        if (inCurrent != nullptr && mStrategy->IsDone())
        {
            return inCurrent->mNumber;
        }
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
        if (mPoint.mOptions.size() > 1 && (!inIsMinor || mStrategy->TakesMinorPoints()) &&
            !mStrategy->IsDone())
        {
            if (mStrategy->WantsState())
            {
                TellOptionStates();
            }
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

// Returns when it is the caller's turn again.
void Scheduler::Impl::PassOn(Fiber& ioFrom, int inTo)
{
    Thread* const from = sThread;
    Thread* const to = inTo == kNobody ? nullptr : mThreads[static_cast<std::size_t>(inTo)].get();
    if (to != from)
    {
        sThread = to;
        ioFrom.SwitchTo(to == nullptr ? mController : *to->mFiber);
        sThread = from;
    }
}

void Scheduler::Reach(const void* inObject, Access inAccess)
{
    Thread* const thread = sThread;
    if (thread != nullptr && !mImpl->mIsEnding)
    {
        if (!std::exchange(thread->mIsBeginning, false))
        {
            mImpl->PassOn(*thread->mFiber, mImpl->Next(thread));
        }
        ++thread->mStep;
    }
    mImpl->Touch(inObject, inAccess);
}

void Scheduler::ReachMinor()
{
    Thread* const thread = sThread;
    if (thread != nullptr && !mImpl->mIsEnding)
    {
        mImpl->PassOn(*thread->mFiber, mImpl->Next(thread, true));
    }
}

void Scheduler::ReachWhen(const void* inObject, const char* inWhere, const Condition& inCondition,
                          Access inAccess)
{
    Thread* const thread = sThread;
    if (thread != nullptr && !mImpl->mIsEnding)
    {
        const bool isBeginning = std::exchange(thread->mIsBeginning, false);
        if (!inCondition())
        {
            mImpl->Wait(*thread, inWhere, inCondition);
        }
        else if (!isBeginning)
        {
            // While others go on, it may become impossible.
            thread->mCondition = &inCondition;
            thread->mWhere = inWhere;
            mImpl->PassOn(*thread->mFiber, mImpl->Next(thread));
            thread->mCondition = nullptr;
        }
        ++thread->mStep;
    }
    mImpl->Touch(inObject, inAccess);
}

void Scheduler::Impl::Wait(Thread& ioThread, const char* inWhere, const Condition& inCondition)
{
    while (!inCondition() && !mIsEnding)
    {
        ioThread.mCondition = &inCondition;
        ioThread.mWhere = inWhere;
        PassOn(*ioThread.mFiber, Next(nullptr));
        ioThread.mCondition = nullptr;
        ++ioThread.mStep;
    }
}

void Scheduler::WaitUntil(const void* inObject, const char* inWhere, const Condition& inCondition)
{
    if (sThread != nullptr)
    {
        sThread->mIsBeginning = false;
        mImpl->Wait(*sThread, inWhere, inCondition);
    }
    mImpl->Touch(inObject, Access::kWrite);
}

// ---- tasks ----

bool Scheduler::WaitForTask(const char* inWhere, const Condition& inCondition)
{
    mImpl->Wait(*sThread, inWhere, inCondition);
    return inCondition();
}

std::uint64_t Scheduler::LastEvent() const
{
    return mImpl->mLastEvent;
}

// Who was posted first is taken first, so the order in which they are taken is no news to the tasks.
void Scheduler::BeginTask(const void* inQueue, std::uint64_t inEvent, std::uint64_t inName)
{
    Thread& thread = *sThread;
    thread.mIsIdle = false;
    if (!mImpl->IsRecording())
    {
        return;
    }
    if (inName != 0)
    {
        thread.mNameHash = Mix(kTaskName, inName);
        thread.mBorn = 0;
        thread.mBit = mImpl->BitOf(thread.mNameHash);
    }
    mImpl->SetHash(thread, Mix(kTaskStart, inEvent));
    mImpl->Touch(inQueue, Access::kWrite);
    mImpl->SetHash(thread, Mix(kTaskStart, inEvent));
}

void Scheduler::EndTask()
{
    sThread->mIsIdle = true;
    mImpl->SetHash(*sThread, 0);
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
    if (IsRecording())
    {
        const Object& owner = ObjectAt(first->mOwner, kClockName, mClockBorn);
        mStrategy->Met({owner.mNumber, kSomeThread, 0, Access::kWrite});
        mClockHash = Meet(first->mOwner, mClockHash, Access::kWrite);
    }
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

void Scheduler::Impl::SetHash(Thread& ioThread, std::uint64_t inHash)
{
    mState -= ioThread.mHash == 0 ? 0 : Mix(ioThread.mHash, kThreadPart);
    mState += inHash == 0 ? 0 : Mix(inHash, kThreadPart);
    ioThread.mHash = inHash;
}

std::uint32_t Scheduler::Impl::BitOf(std::uint64_t inNameHash)
{
    const auto next = static_cast<std::uint32_t>(mBits.size());
    return std::min(mBits.try_emplace(inNameHash, next).first->second, kSomeThread);
}

// An object gets its number from who touches it first, and which one it was of those.
Object& Scheduler::Impl::ObjectAt(const void* inObject, std::uint64_t inNameHash, std::uint64_t& ioBorn)
{
    const auto [place, isNew] = mObjects.try_emplace(inObject);
    if (isNew)
    {
        const auto next = static_cast<std::uint32_t>(mObjectNumbers.size());
        place->second.mNumber = mObjectNumbers.try_emplace(Mix(inNameHash, ++ioBorn), next).first->second;
    }
    return place->second;
}

void Scheduler::Impl::Touch(const void* inObject, Access inAccess)
{
    if (sThread == nullptr && mStrategy == nullptr)
    {
        ObjectAt(inObject, 0, mControllerBorn).mWritten = kControllerStart;
    }
    if (sThread == nullptr || !IsRecording())
    {
        return;
    }
    Thread& thread = *sThread;
    Object& object = ObjectAt(inObject, thread.mNameHash, thread.mBorn);
    // Who is first among those that only look decides the number.
    const Access access = object.mWritten == 0 ? Access::kWrite : inAccess;
    mStrategy->Met({object.mNumber, thread.mBit, thread.mStep, access});
    SetHash(thread, Meet(inObject, thread.mHash, access));
}

// Gives the hash of the event.
std::uint64_t Scheduler::Impl::Meet(const void* inObject, std::uint64_t inHash, Access inAccess)
{
    Object& object = mObjects[inObject];
    mState -= object.Part();
    if (inAccess == Access::kRead)
    {
        mLastEvent = Mix(Mix(inHash, object.mWritten), kReading);
        object.mRead += mLastEvent;
    }
    else
    {
        mLastEvent = Mix(Mix(inHash, object.mWritten), object.mRead);
        object.mWritten = mLastEvent;
        object.mRead = 0;
    }
    mState += object.Part();
    return mLastEvent;
}

void Scheduler::Touch(const void* inObject, Access inAccess)
{
    mImpl->Touch(inObject, inAccess);
}

void Scheduler::KeepOthersFrom(const void* inObject)
{
    if (sThread != nullptr && mImpl->IsRecording())
    {
        const Object& object = mImpl->ObjectAt(inObject, sThread->mNameHash, sThread->mBorn);
        mImpl->mStrategy->Met({object.mNumber, kSomeThread, 0, Access::kWrite});
    }
}

std::uint64_t Scheduler::State() const
{
    return mImpl->mState;
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
