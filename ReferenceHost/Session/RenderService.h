#pragma once

#include "MF/IVideoFrame.h"
#include "ReferenceHost/Session/Pictures.h"
#include "norviktypes/TickTime.h"

#include <cstdint>
#include <functional>
#include <memory>

// Frames of clips through the render service of the library.
//
// An order has the media of one frame read ahead on the service's threads: decoded, and converted where the
// stream does that. Then its maker is told, and renders the frame with Clip::Render on a thread of his own,
// where it costs what is left to do. The service tells one after the other, so that rendering there would keep
// all other orders waiting.
//
// The library's service has one life in a process, and so has this. It is made after the HostSession and
// destroyed before session and clips; orders that are then still open are never answered.
//
// Thread-safety: safe. Orders are not made on threads of the service, or while one of them is being answered.
namespace Session
{

class Clip;

enum class Urgency
{
    kNormal,
    kLow // may be read from a cache on disk, and kept there
};

struct FrameOrder
{
    const Clip* mClip = nullptr; // outlives the answer
    norviktypes::TickTime mTime;
    RenderRequest mRequest;
    Urgency mUrgency = Urgency::kNormal;
};

using OrderID = std::uint32_t;

// Holding it keeps what was read for a frame in memory. Let it go once the frame is rendered.
using ReadHold = std::shared_ptr<void>;

// Called once for each order, on any thread; returns soon, and doesn't throw. What could not be read isn't
// there, which is an answer as well: the render then meets the cause.
using ReadAnswer = std::function<void(ReadHold inHold, bool inIsCancelled)>;

class RenderService
{
public:
    RenderService();
    ~RenderService();
    RenderService(const RenderService&) = delete;
    RenderService& operator=(const RenderService&) = delete;

    // Never given before.
    static OrderID NextID();

    // Throws what the stream throws when it is asked what to read, and std::bad_alloc; the answer then never
    // comes.
    void Order(OrderID inID, const FrameOrder& inOrder, const ReadAnswer& inAnswer);

    // Has an order answered now, unless it is being answered already. Unknown ids do nothing.
    void Cancel(OrderID inID);
};

// Of the cache of frames that all share, since the process began. Every look counts, also those of who waits.
struct FrameCacheCounts
{
    std::uint64_t mHits = 0;
    std::uint64_t mStored = 0;
    std::uint64_t mDropped = 0; // for want of room
};
FrameCacheCounts GetFrameCacheCounts();

} // namespace Session
