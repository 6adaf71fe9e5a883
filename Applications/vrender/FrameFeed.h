#pragma once

#include "Applications/vrender/RunReport.h"
#include "ReferenceHost/Session/RenderService.h"

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <vector>

// The frames of a list, ordered from the render service a window ahead, and handed to the threads that render
// them as they have been read.
//
// The material is told of the whole list, and the first window of frames is ordered at once; each call of
// Advance, when a frame has left its maker's hands, orders the next one. So never more than a window of frames
// take memory.
//
// Errors: who makes a feed or calls Advance meets what the service's Order throws.
//
// Thread-safety: safe, but for construction and destruction. The destructor ends what is open and waits for it.
namespace vrender
{

class FrameFeed
{
public:
    struct Settings
    {
        Session::RenderService* mService = nullptr;
        const Session::Material* mMaterial = nullptr;
        Session::RenderRequest mRequest;
        Session::Urgency mUrgency = Session::Urgency::kNormal;
        std::int64_t mCount = 0;
        std::int64_t mWindow = 1;
        std::function<norviktypes::TickTime(std::int64_t)> mTimeOf; // of the n-th frame of the list
        RunReport* mReport = nullptr;                               // may be null
    };

    // A frame that the service has done its part of. Rendering it is what is left to do; then the hold is let go.
    struct Frame
    {
        std::int64_t mIndex = 0;
        Session::ReadHold mHold;
    };

    explicit FrameFeed(const Settings& inSettings);
    ~FrameFeed();
    FrameFeed(const FrameFeed&) = delete;
    FrameFeed& operator=(const FrameFeed&) = delete;

    // Waits for a frame that nobody has taken yet, the earliest of those that are read. False: there are no
    // more, or the feed was stopped.
    bool Take(Frame& outFrame);
    // The same for the frame of one index, which nobody takes otherwise.
    bool TakeOne(std::int64_t inIndex, Frame& outFrame);

    // The frame of the next index enters the window.
    void Advance();

    // Nothing more is ordered or handed out; what is open is cancelled.
    void Stop() noexcept;

private:
    using Reads = std::map<std::int64_t, Session::ReadHold>;

    struct Open
    {
        Session::OrderID mID = 0; // 0: it isn't known yet
        Reads::node_type mPlace;  // for what it gets: an answer can tell nobody that memory is short
    };

    std::vector<MF::TimeRange> TimesOfList() const;
    void TellMaterial() const noexcept;
    bool OpenNext(std::int64_t& outIndex);
    void NoteID(std::int64_t inIndex, Session::OrderID inID);
    void OnRead(std::int64_t inIndex, Session::ReadHold inHold) noexcept;
    void Close(std::int64_t inIndex) noexcept;
    bool TakeThat(Reads::iterator inWhich, Frame& outFrame);

    const Settings mSettings;

    // Guards all that follows; never held while the service is called.
    std::mutex mMutex;
    std::condition_variable mIsRead;  // something, for one of those who take the earliest; or nothing will be
    std::condition_variable mChanged; // anything else
    std::int64_t mNext = 0;           // to be ordered
    std::int64_t mTaken = 0;          // how many
    bool mIsStopped = false;
    std::map<std::int64_t, Open> mOpen; // ordered and not answered
    Reads mRead;
};

} // namespace vrender
