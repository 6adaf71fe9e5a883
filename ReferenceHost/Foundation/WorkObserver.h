#pragma once

#include <atomic>
#include <cstdint>

// What the threads of host and application spend their time on, told to one observer: for traces and
// statistics.
//
// Who does a piece of work puts a WorkSpan round it. While nobody watches that costs a look at a pointer.
//
// Times are those of os::PerformanceCounter. The observer is told on the thread that worked; it notes and
// returns, and it must not throw.
//
// Thread-safety: OnWork is called from many threads at once. An observer stays alive until it was replaced and
// the spans that it saw begin have ended. A span belongs to one thread.
namespace Foundation
{

enum class WorkKind : std::uint8_t
{
    kRead,    // a stream makes a frame; decoding lies within, and converting if it is done at once
    kDecode,  // a picture comes out of a decoder, or is found in its file as it is
    kConvert, // a picture becomes the pixels of a frame
    kRender,
    kLayOut, // for an encoder
    kWrite,
    kFetch, // a frame comes from the disk cache
    kKeep,  // a frame goes there
};
inline constexpr int kWorkKinds = 8;

// A word for traces: "read", "decode" ..
const char* WorkName(WorkKind inKind) noexcept;

struct Work
{
    WorkKind mKind = WorkKind::kRead;
    bool mHasFailed = false;
    std::int64_t mNumber = -1; // of the frame or packet; -1: none
    std::int64_t mBegin = 0;
    std::int64_t mEnd = 0;
};

class IWorkObserver
{
public:
    virtual ~IWorkObserver() = default;
    virtual void OnWork(const Work& inWork) noexcept = 0;
};

// Null: nobody watches.
void SetWorkObserver(IWorkObserver* inObserver) noexcept;

namespace detail
{
extern std::atomic<IWorkObserver*> sWorkObserver;
} // namespace detail

// Work that has not succeeded by the end of the span counts as failed.
class WorkSpan
{
public:
    explicit WorkSpan(WorkKind inKind, std::int64_t inNumber = -1) noexcept
        : mObserver(detail::sWorkObserver.load(std::memory_order_acquire))
    {
        if (mObserver != nullptr)
        {
            Begin(inKind, inNumber);
        }
    }
    ~WorkSpan()
    {
        if (mObserver != nullptr)
        {
            End();
        }
    }
    WorkSpan(const WorkSpan&) = delete;
    WorkSpan& operator=(const WorkSpan&) = delete;

    void SetNumber(std::int64_t inNumber) noexcept { mWork.mNumber = inNumber; }
    void Succeed() noexcept { mWork.mHasFailed = false; }
    // There was nothing to do.
    void Forget() noexcept { mObserver = nullptr; }

private:
    void Begin(WorkKind inKind, std::int64_t inNumber) noexcept;
    void End() noexcept;

    IWorkObserver* mObserver;
    Work mWork;
};

} // namespace Foundation
