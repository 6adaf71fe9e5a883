// Questions about a stream that more than one source asks.
//
// Thread-safety: pure functions over thread-safe streams. An empty reference throws
// TVK::NullInterfaceException.
#pragma once

#include "BE/IVideoSource.h"

namespace ML
{

// True for a stream whose times are not tied to a frame rate: one that says so, and one whose own rate
// is zero, since no frames can be counted on it.
bool HasNoFrameGrid(const BE::IVideoSourceRef& inSource);

// True for a stream without a time axis: one picture for all times.
bool IsStillStream(const BE::IVideoSourceRef& inSource);

} // namespace ML
