#pragma once

#include "BE/IVideoSource.h"
#include "MF/IVideoFrame.h"
#include "ReferenceHost/Media/MediaFacts.h"
#include "ReferenceHost/Media/OpenError.h"
#include "ReferenceHost/Session/Material.h"
#include "ReferenceHost/Session/OutputTimes.h"
#include "ReferenceHost/Session/SourceChain.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

// A piece of media, opened for rendering.
//
// Frame numbers count the frames of the stream from 0, on a frame grid or off it. Times are those of
// the stream, which begins at 0.
//
// What an order has read ahead makes a frame cheaper to render; without one it is read when it is rendered.
//
// A clip may be conformed: to other fields, another speed, rate or shape. All but StreamFacts then tells of what
// comes out of it: it looks like a clip that has been so from the start.
//
// Thread-safety: safe; any number of threads render at once.
namespace Session
{

struct FieldDifferences;

struct ClipOptions
{
    std::int32_t mStreamIndex = -1; // -1: the best video stream
    std::uint32_t mDecoderThreads = 1;
    std::uint64_t mPicturesBytes = 0; // for decoded pictures; 0: the host's default
    bool mKeepsLeadIn = true; // false: single looks; pictures decoded on the way to another aren't kept
    Conforming mConforming;
};

class Clip final : public Material
{
public:
    // Null, and the reason in outError; kBadUsage for a conforming that the stream is not fit for.
    static std::unique_ptr<Clip> Open(const std::string& inPath, const ClipOptions& inOptions,
                                      Media::OpenError& outError);

    const Media::MediaFacts& Facts() const noexcept override { return mFacts; }
    // As the file has it.
    const Media::MediaFacts& StreamFacts() const noexcept { return mStreamFacts; }
    // What is done on the way to a frame, the stream's own source first.
    const std::vector<std::string>& ChainLinks() const noexcept { return mChain.mLinks; }
    const norviktypes::FrameRate& FrameRate() const noexcept override { return mFrameRate; }
    const norviktypes::TickTime& Duration() const noexcept override { return mDuration; }
    norviktypes::TickTime FrameStart(std::int64_t inNumber) const override;
    std::int64_t FrameAt(const norviktypes::TickTime& inTime) const override;
    Workings WorkingsOf(const RenderRequest& inRequest) const override;
    OrderID Order(const norviktypes::TickTime& inTime, const RenderRequest& inRequest, Urgency inUrgency,
                  const ReadAnswer& inAnswer) const override;
    MF::IVideoFrameRef Render(const norviktypes::TickTime& inTime, const RenderRequest& inRequest,
                              const ReadHold& inHold) const override;
    std::string FailureAt(const norviktypes::TickTime& inTime) const override;
    // One line where fields of the stream change their order, as far as its frames were made; else empty.
    std::string FieldChange() const;

    // Without an order.
    MF::IVideoFrameRef Render(const norviktypes::TickTime& inTime, const RenderRequest& inRequest) const;

private:
    Clip(BE::IVideoSourceRef inSource, Media::MediaFacts inFacts, std::string inPath,
         Conforming inConforming);

    bool Build(Media::OpenError& outError);
    bool IsFitFor(Media::OpenError& outError) const;
    bool FindCadence(norviktypes::PulldownCadence& ioCadence, Media::OpenError& outError) const;
    bool MeasureFirstFields(std::int64_t inFrames, FieldDifferences& outDifferences) const;
    norviktypes::TickTime ChainLength(norviktypes::PulldownCadence inCadence) const;
    void DescribeOutput(norviktypes::PulldownCadence inCadence);
    void DescribeTimes(norviktypes::PulldownCadence inCadence);
    void DescribeShape();
    ML::CutlistRenderParams DescribeRender(const norviktypes::TickTime& inTime,
                                           const RenderRequest& inRequest, Urgency inUrgency) const;
    MF::FrameTime TimeInChain(const norviktypes::TickTime& inTime) const;
    bool HasMargins() const noexcept;
    PictureRect PictureIn(const RenderRequest& inRequest) const;
    bool StaysInPlanes(const RenderRequest& inRequest) const noexcept;
    RenderRequest ChainRequest(const RenderRequest& inRequest) const;
    MF::IVideoFrameRef FinishFrame(const MF::IVideoFrameRef& inFrame, const RenderRequest& inRequest) const;

    BE::IVideoSourceRef mSource;
    Media::MediaFacts mStreamFacts;
    Media::MediaFacts mFacts;
    std::string mPath;
    Conforming mConforming;
    SourceChain mChain;
    OutputTimes mTimes;
    norviktypes::FrameRate mFrameRate;
    norviktypes::TickTime mDuration;
    double mPictureWidth = 1; // share of the frame that the picture takes; more than 1 where it juts out
    double mPictureHeight = 1;
};

} // namespace Session
