#pragma once

#include "Applications/vrender/FrameFeed.h"
#include "Applications/vrender/Progress.h"
#include "Applications/vrender/Writers.h"

#include <cstdint>
#include <functional>
#include <string>

// Renders a list of frames on many threads and hands them to a writer in their order.
//
// Order of work:
//   1. A window of frames is ordered from the render service, which reads their media ahead. It goes no
//      further ahead of the writer than that, so that memory stays bounded however slow the writer is.
//   2. Workers take the frames that have been read, render them, lay them out for the encoder and sum them up.
//   3. The calling thread takes the frames in order, writes them, and orders the next.
//   4. A frame that can't be made is replaced by the one before it (by black before the first good
//      one), counted, and told of on stderr.
//   5. SIGINT and SIGTERM end the list after the frame in hand, and cancel what is ordered.
//
// Failures of the writer, and anything but a frame that can't be made, end the run with an exception.
//
// Thread-safety: RunPipeline is called by one thread; it returns when its workers have ended.
namespace vrender
{

struct PipelineJob
{
    FrameFeed::Settings mFrames;
    FrameWriter* mWriter = nullptr;
    // Number that checksum lines give to the n-th frame.
    std::function<std::int64_t(std::int64_t)> mNumberOf;
    std::uint32_t mThreads = 1;
    bool mPrintChecksums = false;
    Progress* mProgress = nullptr; // may be null
};

struct PipelineResult
{
    std::int64_t mWritten = 0;
    std::int64_t mSubstitutes = 0;
    int mSignal = 0;           // that ended the run early, or 0
    std::string mFirstFailure; // of a frame that couldn't be made
};

PipelineResult RunPipeline(const PipelineJob& inJob);

// What one frame takes on its way, in bytes.
struct FrameWeight
{
    std::uint64_t mRendered = 1;
    std::uint64_t mLaidOut = 0;  // the picture for the encoder; 0 where that is the rendered frame itself
    std::uint64_t mOnTheWay = 0; // a whole frame that it is made from; 0 if there is none
};

std::uint64_t BytesOfFrame(const Session::RenderRequest& inRequest);

// Frames in flight for inThreads workers when they may hold inBytes together, with the one that is kept to
// stand in for the next. Two for each thread and some more keep all of them at work while the writer has its
// turn; never fewer than two, so that there is work beside writing.
std::int64_t WindowFrames(std::uint32_t inThreads, std::uint64_t inBytes, const FrameWeight& inWeight);

// Of these the ones whose layers are read before their turn, where mOnTheWay is held from the order on. Once every
// thread has its next frame, more of them only take memory, however much of it there is.
std::int64_t WindowFramesReadAhead(std::int64_t inWindow, std::uint32_t inThreads,
                                   const FrameWeight& inWeight);

} // namespace vrender
