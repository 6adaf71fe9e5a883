#pragma once

#include "MF/IVideoFrame.h"
#include "MF/TimeRange.h"
#include "ReferenceHost/Media/MediaFacts.h"
#include "ReferenceHost/Session/Pictures.h"
#include "norviktypes/FrameRate.h"
#include "norviktypes/TickTime.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

// What is rendered: a piece of media or a timeline. Its facts, its frames by number and by time, and frames of
// any size and format.
//
// Frame numbers count from 0. Times begin at 0, where frame 0 begins.
//
// A frame is made in two steps. Order has done what the render service does for it, on the service's threads;
// Render does what is left to do, on the caller's thread. Of a clip the service reads, and the caller renders;
// of a timeline the service renders, and the caller takes the frame.
//
// Thread-safety: safe; any number of threads order and render at once.
namespace Session
{

enum class Urgency
{
    kNormal,
    kLow // may be read from a cache on disk, and kept there
};

using OrderID = std::uint32_t; // 0: none

// What an order has got. Of a clip, holding it keeps what was read for a frame in memory. Let it go once the
// frame is rendered.
using ReadHold = std::shared_ptr<void>;

// Called once for each order, on any thread; returns soon, and doesn't throw. What could not be got isn't
// there, which is an answer as well: the render then meets the cause.
using ReadAnswer = std::function<void(ReadHold inHold, bool inIsCancelled)>;

// The whole frames that are held to make one, beside the one that is made.
struct Workings
{
    std::uint64_t mFrames = 0;
    std::int32_t mWidth = 0; // of each
    std::int32_t mHeight = 0;
    bool mAreReadAhead = false; // held from the order on, not only while the one is made
};

class Material
{
public:
    Material() = default;
    virtual ~Material() = default;
    Material(const Material&) = delete;
    Material& operator=(const Material&) = delete;

    // Of the pictures that come out.
    virtual const Media::MediaFacts& Facts() const noexcept = 0;
    virtual const norviktypes::FrameRate& FrameRate() const noexcept = 0;
    // False for what has no end: a still, or made pictures. Then FrameCount is -1.
    bool HasEnd() const noexcept { return Facts().mFrameCount >= 0; }
    std::int64_t FrameCount() const noexcept { return Facts().mFrameCount; }
    // kTime_Max where there is no end.
    virtual const norviktypes::TickTime& Duration() const noexcept = 0;

    // When frame inNumber begins; the duration for a number at or past the end.
    virtual norviktypes::TickTime FrameStart(std::int64_t inNumber) const = 0;
    // The frame shown at inTime; -1 at or past the end.
    virtual std::int64_t FrameAt(const norviktypes::TickTime& inTime) const = 0;

    virtual Workings WorkingsOf(const RenderRequest& inRequest) const = 0;

    // Says at which times frames will be ordered or rendered, in whatever order; takes the place of what was said
    // before. It only saves work, where that can be saved: media are read for these and no others.
    virtual void Expect(std::vector<MF::TimeRange>) const {}

    // Gives what RenderService::Cancel takes; 0 where there is nothing left to cancel. The answer may come before
    // this returns. Throws what material throws when it is asked what to read, and std::bad_alloc; the answer
    // then never comes. Needs a RenderService.
    virtual OrderID Order(const norviktypes::TickTime& inTime, const RenderRequest& inRequest,
                          Urgency inUrgency, const ReadAnswer& inAnswer) const = 0;
    // The frame shown at inTime, of exactly the size and format asked for, as whole frames with the material's
    // fields. inHold: what the order for it got. Throws ML::RenderRequestException, whose status FailureAt
    // explains.
    virtual MF::IVideoFrameRef Render(const norviktypes::TickTime& inTime, const RenderRequest& inRequest,
                                      const ReadHold& inHold) const = 0;
    // One line with the media's name and the cause, after Render has failed at inTime.
    virtual std::string FailureAt(const norviktypes::TickTime& inTime) const = 0;
};

} // namespace Session
