#include "norvik/threads/Threads.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <fmt/format.h>
#include <iterator>
#include <sys/syscall.h>
#include <unistd.h>
#include <vector>

namespace norvik::threads
{

namespace
{

// Deeper nesting is locked all the same, and not shown.
constexpr uint32_t kLabelsShown = 16;

// The locks of one thread, written by it and read by DumpLocks at any time.
struct LockRecord
{
    const uint64_t mThreadID = GetCurrentThreadID();
    std::atomic<const char*> mWaitingAt{nullptr};
    std::atomic<uint32_t> mDepth{0};
    std::array<std::atomic<const char*>, kLabelsShown> mLabels{};
    std::array<const RecursiveMutex*, kLabelsShown> mMutexes{};
};

struct LockRecords
{
    std::mutex mMutex;
    std::vector<const LockRecord*> mRecords;
};

LockRecords& TheRecords()
{
    static LockRecords* const sRecords = new LockRecords;
    return *sRecords;
}

class ThreadEntry
{
public:
    ThreadEntry()
    {
        LockRecords& all = TheRecords();
        const std::lock_guard<std::mutex> lock(all.mMutex);
        all.mRecords.push_back(&mRecord);
    }

    ~ThreadEntry();

    LockRecord mRecord;
};

// Locks may be taken after a thread's objects are destroyed; they just aren't recorded any more.
thread_local bool tEnded = false;

LockRecord* ThisThread()
{
    if (tEnded)
    {
        return nullptr;
    }
    thread_local ThreadEntry tEntry;
    return &tEntry.mRecord;
}

ThreadEntry::~ThreadEntry()
{
    tEnded = true;
    LockRecords& all = TheRecords();
    const std::lock_guard<std::mutex> lock(all.mMutex);
    all.mRecords.erase(std::find(all.mRecords.begin(), all.mRecords.end(), &mRecord));
}

void PushLabel(LockRecord& ioRecord, const RecursiveMutex* inMutex, const char* inLabel)
{
    const uint32_t depth = ioRecord.mDepth.load(std::memory_order_relaxed);
    if (depth < kLabelsShown)
    {
        ioRecord.mMutexes[depth] = inMutex;
        ioRecord.mLabels[depth].store(inLabel, std::memory_order_relaxed);
    }
    ioRecord.mDepth.store(depth + 1, std::memory_order_release);
}

// Takes out the latest entry of the mutex; locks need not be released in the reverse order.
void PopLabel(LockRecord& ioRecord, const RecursiveMutex* inMutex)
{
    const uint32_t depth = ioRecord.mDepth.load(std::memory_order_relaxed);
    if (depth == 0)
    {
        return; // locked after the record was gone
    }
    uint32_t index = std::min(depth, kLabelsShown);
    if (depth <= kLabelsShown)
    {
        while (index > 0 && ioRecord.mMutexes[index - 1] != inMutex)
        {
            --index;
        }
        for (; index > 0 && index < depth; ++index)
        {
            ioRecord.mMutexes[index - 1] = ioRecord.mMutexes[index];
            ioRecord.mLabels[index - 1].store(ioRecord.mLabels[index].load(std::memory_order_relaxed),
                                              std::memory_order_relaxed);
        }
    }
    ioRecord.mDepth.store(depth - 1, std::memory_order_release);
}

const char* TextOrNothing(const char* inLabel)
{
    return inLabel != nullptr ? inLabel : "";
}

} // namespace

uint64_t GetCurrentThreadID()
{
    thread_local const auto tThreadID = static_cast<uint64_t>(syscall(SYS_gettid));
    return tThreadID;
}

void RecursiveMutex::Lock(const char* inLabel) VR_NO_THREAD_SAFETY_ANALYSIS
{
    LockRecord* record = ThisThread();
    if (!mMutex.try_lock())
    {
        if (record != nullptr)
        {
            record->mWaitingAt.store(inLabel, std::memory_order_relaxed);
        }
        mMutex.lock();
        if (record != nullptr)
        {
            record->mWaitingAt.store(nullptr, std::memory_order_relaxed);
        }
    }
    if (record != nullptr)
    {
        PushLabel(*record, this, inLabel);
    }
}

void RecursiveMutex::Unlock() VR_NO_THREAD_SAFETY_ANALYSIS
{
    if (LockRecord* record = ThisThread())
    {
        PopLabel(*record, this);
    }
    mMutex.unlock();
}

UTF8String DumpLocks()
{
    std::string text;
    LockRecords& all = TheRecords();
    const std::lock_guard<std::mutex> lock(all.mMutex);
    for (const LockRecord* record : all.mRecords)
    {
        const uint32_t depth = record->mDepth.load(std::memory_order_acquire);
        const char* waiting = record->mWaitingAt.load(std::memory_order_relaxed);
        if (depth == 0 && waiting == nullptr)
        {
            continue;
        }
        fmt::format_to(std::back_inserter(text), "thread {} holds", record->mThreadID);
        for (uint32_t index = 0; index < std::min(depth, kLabelsShown); ++index)
        {
            const char* label = record->mLabels[index].load(std::memory_order_relaxed);
            fmt::format_to(std::back_inserter(text), "{}\"{}\"", index == 0 ? " " : ", ",
                           TextOrNothing(label));
        }
        text += depth == 0 ? " nothing" : "";
        if (waiting != nullptr)
        {
            fmt::format_to(std::back_inserter(text), "; waits at \"{}\"", waiting);
        }
        text += '\n';
    }
    return UTF8String(text);
}

} // namespace norvik::threads
