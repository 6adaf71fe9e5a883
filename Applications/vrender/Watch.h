#pragma once

#include "ReferenceHost/Foundation/WorkObserver.h"
#include "RenderObserver.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

// What happens in a run, and when: every decision of the render service and every piece of work, of all threads.
// Counts it, and keeps the single moments for who wants to tell of them.
//
// One watch at a time: it is the observer of the library and of the host from construction to Detach.
//
// Memory is bounded: moments that nobody fetches in time are dropped, and counted.
//
// Units: nanoseconds, since the watch began.
//
// Thread-safety: safe. Detach, or the destructor, when neither service nor host do anything any more.
namespace vrender
{

struct Moment
{
    enum class Kind : std::uint8_t
    {
        kEvent,     // mWhat: ML::RenderEventKind
        kWork,      // mWhat: Foundation::WorkKind
        kProcessors // mValue: time that all threads together have spent on processors so far
    };

    std::int64_t mWhen = 0;     // for work, and for a render of the service: when it began
    std::int64_t mDuration = 0; // where there is one
    std::int64_t mValue = 0;    // what the event says; of work: which frame or packet, -1: none
    std::uint32_t mRequest = 0; // of events
    std::uint32_t mThread = 0;  // index into ThreadNames
    // After an event: requests that have not ended, those of them that are being read, and memory units that
    // renders of the service hold.
    std::uint32_t mOpen = 0;
    std::uint32_t mReading = 0;
    std::uint32_t mUnits = 0;
    Kind mKind = Kind::kEvent;
    std::uint8_t mWhat = 0;
    bool mHasFailed = false;

    ML::RenderEventKind Event() const noexcept { return static_cast<ML::RenderEventKind>(mWhat); }
    Foundation::WorkKind Work() const noexcept { return static_cast<Foundation::WorkKind>(mWhat); }
};

struct WorkCount
{
    std::uint64_t mTimes = 0; // successes
    std::uint64_t mFailures = 0;
    std::int64_t mNanoseconds = 0; // of both, summed over threads
};

struct RunCounts
{
    std::uint64_t mQueued = 0;
    std::uint64_t mFinished = 0;
    std::uint64_t mCancelled = 0;
    std::uint64_t mTimedOut = 0;
    std::uint64_t mMerged = 0;
    std::uint64_t mCacheHits = 0;
    std::uint64_t mWaitedForMemory = 0;
    std::uint32_t mMostOpen = 0; // requests at the same time
    std::uint32_t mMostReading = 0;
    std::uint32_t mMostUnits = 0; // of memory, in use by renders of the service
    std::array<WorkCount, Foundation::kWorkKinds> mWork{};
    std::uint64_t mDroppedMoments = 0;
    std::int64_t mNanoseconds = 0; // so far

    const WorkCount& Of(Foundation::WorkKind inKind) const { return mWork[static_cast<std::size_t>(inKind)]; }
};

class Watch final : public ML::IRenderObserver, public Foundation::IWorkObserver
{
public:
    // inMostMoments: that are kept at the same time; 0: none, counts only.
    explicit Watch(std::size_t inMostMoments);
    ~Watch() override;
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    void Detach();

    // Moments since the last call, in the order in which they were told.
    std::vector<Moment> TakeMoments();
    bool IsHalfFull();
    RunCounts Counts();
    // Of the threads that moments name. The list only grows.
    std::vector<std::string> ThreadNames();

    // Nanoseconds since the watch began.
    std::int64_t Now() const;

    // Notes how busy the processors are; at most fifty times a second.
    void SampleProcessors();

    void OnRenderEvent(const ML::RenderEvent& inEvent) noexcept override;
    void OnWork(const Foundation::Work& inWork) noexcept override;

private:
    // What is known of a request that has not ended.
    struct OpenRequest
    {
        bool mIsReading = false;
        std::uint32_t mUnits = 0;
    };

    void CountEvent(ML::RenderEventKind inKind);
    void FollowRequest(const ML::RenderEvent& inEvent);
    void Keep(Moment inMoment) noexcept;
    std::uint32_t ThreadIndex();

    const std::size_t mMostMoments;
    const std::int64_t mBegin;

    std::mutex mMutex; // guards all that follows
    RunCounts mCounts;
    std::unordered_map<std::uint32_t, OpenRequest> mOpen;
    std::uint32_t mReading = 0;
    std::uint32_t mUnits = 0;
    std::vector<Moment> mMoments;
    std::unordered_map<std::uint64_t, std::uint32_t> mThreads;
    std::vector<std::string> mThreadNames;
    std::int64_t mLastSample = 0;
};

} // namespace vrender
