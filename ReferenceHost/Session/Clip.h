#pragma once

#include "BE/IVideoSource.h"
#include "MF/IVideoFrame.h"
#include "ReferenceHost/Media/MediaFacts.h"
#include "ReferenceHost/Media/OpenError.h"
#include "ReferenceHost/Session/Pictures.h"
#include "ReferenceHost/Session/RenderService.h"
#include "RenderableSources.h"

#include <cstdint>
#include <memory>
#include <string>

// A piece of media, opened for rendering: its facts, its frames by number and by time, and frames of
// any size and format through the library.
//
// Frame numbers count the frames of the stream from 0, on a frame grid or off it. Times are those of
// the stream, which begins at 0.
//
// Thread-safety: safe; any number of threads render at once.
namespace Session
{

struct ClipOptions
{
    std::int32_t mStreamIndex = -1; // -1: the best video stream
    std::uint32_t mDecoderThreads = 1;
    std::uint64_t mPicturesBytes = 0; // for decoded pictures; 0: the host's default
    bool mKeepsLeadIn = true; // false: single looks; pictures decoded on the way to another aren't kept
};

class Clip
{
public:
    // Null, and the reason in outError.
    static std::unique_ptr<Clip> Open(const std::string& inPath, const ClipOptions& inOptions,
                                      Media::OpenError& outError);

    const Media::MediaFacts& Facts() const noexcept { return mFacts; }
    const norviktypes::FrameRate& FrameRate() const noexcept { return mFrameRate; }
    // False for a stream without an end: a still, or made pictures. Then FrameCount is -1.
    bool HasEnd() const noexcept { return mFacts.mFrameCount >= 0; }
    std::int64_t FrameCount() const noexcept { return mFacts.mFrameCount; }
    // kTime_Max where there is no end.
    const norviktypes::TickTime& Duration() const noexcept { return mDuration; }

    // When frame inNumber begins; the duration for a number at or past the end.
    norviktypes::TickTime FrameStart(std::int64_t inNumber) const;
    // The frame shown at inTime; -1 at or past the end.
    std::int64_t FrameAt(const norviktypes::TickTime& inTime) const;

    // The frame shown at inTime, of exactly the size and format asked for, as whole frames with the
    // fields of the stream. Throws ML::RenderRequestException, whose status FailureAt explains.
    MF::IVideoFrameRef Render(const norviktypes::TickTime& inTime, const RenderRequest& inRequest) const;
    // One line with the media's name and the cause, after Render has failed at inTime.
    std::string FailureAt(const norviktypes::TickTime& inTime) const;

    // What Render asks the library for, and of whom: for those who have it read ahead.
    const ML::IRenderableSourceRef& GetSource() const noexcept { return mRenderable; }
    ML::CutlistRenderParams DescribeRender(const norviktypes::TickTime& inTime,
                                           const RenderRequest& inRequest, Urgency inUrgency) const;

private:
    Clip(BE::IVideoSourceRef inSource, Media::MediaFacts inFacts, std::string inPath);

    BE::IVideoSourceRef mSource;
    ML::IRenderableSourceRef mRenderable;
    Media::MediaFacts mFacts;
    std::string mPath;
    norviktypes::FrameRate mFrameRate;
    norviktypes::TickTime mDuration;
};

} // namespace Session
