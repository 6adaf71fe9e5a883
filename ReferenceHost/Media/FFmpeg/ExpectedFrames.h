#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "ReferenceHost/Media/FFmpeg/FrameIndex.h"

namespace Media
{

// Frames by number, up to but not including end.
struct FrameRun
{
    std::int64_t begin = 0;
    std::int64_t end = 0;
};

// The frames of a stream that somebody is going to ask for. Pictures of others are decoded only where these
// refer to them, and aren't kept.
//
// Thread-safety: safe; it never changes. The index must outlive it.
class ExpectedFrames
{
public:
    // What lies outside of the stream is passed over.
    ExpectedFrames(const FrameIndex& inIndex, const std::vector<FrameRun>& inRuns);

    bool Contains(std::int64_t inRank) const;

    // True unless the packet yields a frame that isn't expected.
    bool NeedsPictureOf(std::uint32_t inPacket) const;

    // The same frames, with inRank and its neighbours: who asks for a frame that nobody expected goes on there.
    std::shared_ptr<const ExpectedFrames> With(std::int64_t inRank) const;

private:
    void Add(const FrameRun& inRun);

    const FrameIndex& mIndex;
    std::vector<bool> mIsExpected; // by rank
};

}
