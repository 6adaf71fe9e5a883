// Frames that streams are making at this moment, so that whoever wants one of them waits for it instead of
// having it decoded and converted once more.
//
// A frame that somebody has announced interest in (a dependency of its key in the shared cache) is put there
// before its making ends; so a frame that is read ahead is made once, whoever asks for it when. Others are not
// kept: they belong to the one render that asked.
//
// Thread-safety: safe. Makers run with no lock held.
#pragma once

#include "MF/IVideoFrame.h"

#include <cstddef>
#include <cstdint>
#include <functional>

namespace Media
{

// Makes the frame, and answers a status of a stream. May throw.
using FrameMaker = std::function<std::int32_t(MF::IVideoFrameRef& outFrame)>;

// The frame of a key: from the shared cache, from the thread that is making it, or made by inMaker.
//
// inAtOnce: inMaker is one that neither decodes nor waits, and this call doesn't either: a frame that is being
// made is kSourceStatus_NotAtHand. The frame is frozen if others have it too.
// A failure is that of all who waited for it, but for a maker's kSourceStatus_NotAtHand, or its exception:
// these are its own, and the next one who waited makes the frame.
std::int32_t ShareFrame(const TVK::Guid& inKey, bool inAtOnce, const FrameMaker& inMaker,
                        MF::IVideoFrameRef& outFrame);

struct MakingCounts
{
    std::size_t mFrames = 0;  // being made
    std::size_t mWaiting = 0; // threads that wait for one of them
};
MakingCounts FramesInTheMaking();

} // namespace Media
