#pragma once

#include "RenderFrameRequest.h"
#include "RenderTimer.h"
#include "norvik/utility/Memory.h"

#include <cstdint>
#include <functional>
#include <map>
#include <utility>

// The places where requests of the queue stand, all of one type.
//
// A request gets its node when it is added, and from then on the node moves: between stations, and to the
// local lists of passes. So nothing between adding and ending a request allocates or copies, and running out
// of memory loses none.
//
// Thread-safety: values.
namespace ML
{

template <class Key, class Value>
using MultiMap =
    std::multimap<Key, Value, std::less<Key>, norvik::utility::STLAllocator<std::pair<const Key, Value>>>;

// Request id to caller, for requests that a pass holds.
using RequestIDs = MultiMap<std::uint32_t, std::uint64_t>;

struct QueuedRequest
{
    explicit QueuedRequest(RenderFrameRequest&& inRequest) noexcept
        : mID(inRequest.mRequestID)
        , mCaller(inRequest.mCaller)
        , mRequest(std::move(inRequest))
    {
    }

    // Those of the request. They lie in front, beside the node's links, so that a cancel which looks through
    // a hundred thousand requests fetches one line of memory for each.
    const std::uint32_t mID;
    std::uint32_t mUnits = 0; // of memory; 0: not computed yet
    const std::uint64_t mCaller;
    RenderFrameRequest mRequest;
    RenderTimer mTimer;                // runs from the begin of its reads, if it has any
    RequestIDs::node_type mInFlightID; // its place in the ids of those in flight, while it's not there
    std::int32_t mStatus = 0;          // negative: its source threw, and it ends with this
    bool mToldOfWaiting = false;       // the observer knows that it waits for memory
};

// What a station is sorted by. Equal ones stay in order of arrival.
using StationOrder = std::pair<std::uint64_t, std::uint64_t>;
using RequestStation = MultiMap<StationOrder, QueuedRequest>;
using RequestNode = RequestStation::node_type;

// Everybody's order in a plain list.
inline constexpr StationOrder kInOrderOfArrival{0, 0};

inline StationOrder OrderOfPriority(std::uint32_t inPriority) noexcept
{
    return {0xFFFFFFFFu - inPriority, 0};
}

inline StationOrder OrderOfKey(const TVK::Guid& inKey) noexcept
{
    return {inKey.mHi, inKey.mLo};
}

// Throws std::bad_alloc.
RequestNode MakeRequestNode(RenderFrameRequest&& inRequest);

inline void Place(RequestStation& ioStation, const StationOrder& inOrder, RequestNode&& inNode) noexcept
{
    inNode.key() = inOrder;
    ioStation.insert(std::move(inNode));
}

// For plain lists.
inline void Append(RequestStation& ioList, RequestNode&& inNode) noexcept
{
    inNode.key() = kInOrderOfArrival;
    ioList.insert(ioList.end(), std::move(inNode));
}

inline RequestNode TakeFirst(RequestStation& ioStation) noexcept
{
    return ioStation.extract(ioStation.begin());
}

// Takes the node at ioPlace and moves on to the next.
inline RequestNode TakeAndStep(RequestStation& ioStation, RequestStation::iterator& ioPlace) noexcept
{
    return ioStation.extract(ioPlace++);
}

} // namespace ML
