#pragma once

#include "ReferenceHost/Project/Sequence.h"
#include "ReferenceHost/Session/Material.h"
#include "RenderFrame.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

// A timeline, opened for rendering: a sequence of the project, through its cutlists, nodes and the queue of the
// library.
//
// An order has the whole frame made on threads of the service: its media read, its nodes rendered, laid over black.
// Render then only brings it to the format asked for. A frame that nobody ordered is made while its caller waits.
//
// A frame is as good as the media that it shows: where one of them can't be read, there is no frame, also where other
// layers lie over it.
//
// Thread-safety: safe, while nobody edits the sequence.
namespace Session
{

// What a timeline is beside its sequence.
struct TimelineContent
{
    std::string mName; // of the document, for messages
    Project::SequenceRef mSequence;
    norviktypes::TickTime mStart; // on the sequence's axis: where frame 0 begins
    std::int64_t mFrameCount = 0;
    std::int64_t mTimecodeStart = 0; // label of frame 0, in frames; -1: no timecode
    bool mIsDropFrame = false;
    bool mHasAudio = false;
    std::shared_ptr<void> mHeld; // what lives as long as the timeline does
};

class Timeline final : public Material
{
public:
    // Which frames are kept in memory for a second asking.
    enum class Keeping
    {
        kStills, // those that stand still for a while
        kAll
    };

    Timeline(TimelineContent inContent, Keeping inKeeping);
    ~Timeline() override;

    const Media::MediaFacts& Facts() const noexcept override { return mFacts; }
    const norviktypes::FrameRate& FrameRate() const noexcept override { return mFrameRate; }
    const norviktypes::TickTime& Duration() const noexcept override { return mFacts.mDuration; }
    norviktypes::TickTime FrameStart(std::int64_t inNumber) const override;
    std::int64_t FrameAt(const norviktypes::TickTime& inTime) const override;
    Workings WorkingsOf(const RenderRequest& inRequest) const override;
    void Expect(std::vector<MF::TimeRange> inTimes) const override;
    OrderID Order(const norviktypes::TickTime& inTime, const RenderRequest& inRequest, Urgency inUrgency,
                  const ReadAnswer& inAnswer) const override;
    MF::IVideoFrameRef Render(const norviktypes::TickTime& inTime, const RenderRequest& inRequest,
                              const ReadHold& inHold) const override;
    std::string FailureAt(const norviktypes::TickTime& inTime) const override;

    const Project::SequenceRef& GetSequence() const noexcept { return mContent.mSequence; }
    // Where frame 0 begins on the axis of the sequence.
    const norviktypes::TickTime& Start() const noexcept { return mContent.mStart; }
    // Where clips begin and end, each once and in order; the start of the timeline among them.
    std::vector<norviktypes::TickTime> Cuts() const;
    // Frames that Render gave and that show a card in place of media that is missing.
    std::int64_t FramesWithMissingMedia() const noexcept { return mFramesWithMissing; }

private:
    struct Shown;

    ML::IRenderFrameRef NewRenderer(const RenderRequest& inRequest) const;
    ML::IRenderFrameRef RendererFor(const RenderRequest& inRequest) const;
    MF::IVideoFrameRef RenderNow(const norviktypes::TickTime& inTime, const RenderRequest& inRequest) const;
    Shown LookAt(const norviktypes::TickTime& inTime, bool inWantsFailure) const;
    bool IsEmptyAt(const norviktypes::TickTime& inTime) const;

    TimelineContent mContent;
    const Keeping mKeeping;
    norviktypes::FrameRate mFrameRate;
    Media::MediaFacts mFacts;
    const ML::IRenderFrameClientRef mSilence;
    mutable std::atomic<std::int64_t> mFramesWithMissing{0};

    mutable std::mutex mMutex; // guards all that follows
    mutable std::vector<std::pair<RenderRequest, ML::IRenderFrameRef>> mRenderers;
};

} // namespace Session
