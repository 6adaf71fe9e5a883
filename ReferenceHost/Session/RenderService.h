#pragma once

#include "ReferenceHost/Session/Material.h"

#include <cstdint>

// Frames through the render service of the library.
//
// The library's service has one life in a process, and so has this. It is made after the HostSession and
// destroyed before session and material; orders that are then still open are never answered.
//
// Thread-safety: safe. Orders are not made on threads of the service, or while one of them is being answered.
namespace Session
{

struct FrameOrder
{
    const Material* mMaterial = nullptr; // outlives the answer
    norviktypes::TickTime mTime;
    RenderRequest mRequest;
    Urgency mUrgency = Urgency::kNormal;
};

class RenderService
{
public:
    RenderService();
    ~RenderService();
    RenderService(const RenderService&) = delete;
    RenderService& operator=(const RenderService&) = delete;

    // As Material::Order.
    OrderID Order(const FrameOrder& inOrder, const ReadAnswer& inAnswer);

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
