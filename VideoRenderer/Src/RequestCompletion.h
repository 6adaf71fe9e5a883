#pragma once

#include "RenderFrameRequest.h"

#include <cstdint>

// How the maker of a request is told of its end. Each claims the request first, and does nothing if it is
// claimed already. All are called with no lock held; they pass on what clients and completion functions
// throw, after everybody of the request was told.
//
// Thread-safety: safe for different copies of a request.
namespace ML
{

// The end of a render. The frame goes to the slot unless inStatus is negative. Without a frame it's an error.
void FinishRequest(const RenderFrameRequest& inRequest, const MF::IVideoFrameRef& inFrame,
                   std::int32_t inStatus, std::int32_t inMilliseconds);

// The end of a prefetch-only request, with what its items say now.
void FinishPrefetchOnly(const RenderFrameRequest& inRequest);

// Stops its reads and its accelerated render. A waiting thread is woken, with nothing in the slot.
void CancelRequest(RenderFrameRequest& inRequest);

// What an exception means to the maker of the request; in a handler.
std::int32_t StatusOfCurrentException() noexcept;

} // namespace ML
