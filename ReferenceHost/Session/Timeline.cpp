#include "ReferenceHost/Session/Timeline.h"

#include "ML/StaticImages.h"
#include "ReferenceHost/Foundation/Timecode.h"
#include "ReferenceHost/Media/IMediaFacts.h"
#include "ReferenceHost/Session/ExpectedMedia.h"
#include "ReferenceHost/Session/ItemTimes.h"
#include "ReferenceHost/Session/TimelineMedia.h"
#include "RenderFrameClient.h"
#include "RenderableSources.h"
#include "TVK/Weak.h"
#include "VideoRenderer.h"

#include <algorithm>
#include <limits>
#include <new>
#include <numeric>
#include <string_view>

namespace Session
{

namespace
{

using norviktypes::TickTime;

constexpr std::uint32_t kPriority = 1000;
constexpr std::uint32_t kLowPriority = 500;
// Of the library's flags for its cache of frames.
constexpr std::uint32_t kKeepAll = 8;
constexpr std::uint32_t kKeepStills = 16;
// Layers that are held at the same time for one frame; those of most timelines are rendered and let go.
constexpr std::uint64_t kMostLayersHeld = 8;

// Clients hear of frames through the function that each order has. Without a client each of them would become
// a message as well, which nobody takes.
class Silence final : public TVK::ImplementsWeak<Silence, ML::IRenderFrameClient>
{
public:
    void RenderFrameCompleted(std::uint64_t, std::uint32_t, const TickTime&, MF::IVideoFrameRef,
                              std::int32_t) override
    {
    }
    void RenderFrameCancelled(std::uint64_t, std::uint32_t, const TickTime&) override {}
    void RenderFrameError(std::uint64_t, std::uint32_t, const TickTime&, std::int32_t) override {}
};

// What an order has got.
struct RenderedFrame
{
    MF::IVideoFrameRef mFrame;
    std::int32_t mStatus = ML::kRenderFrameFailed; // where there is no frame
};

Media::Ratio RatioOf(const norviktypes::FrameRate& inRate)
{
    const std::int64_t divisor = std::gcd(norviktypes::kTicksPerSecond, inRate.GetTicks());
    return {norviktypes::kTicksPerSecond / divisor, inRate.GetTicks() / divisor};
}

Media::StartTimecode TimecodeOf(const TimelineContent& inContent, const Media::Ratio& inRate)
{
    Media::StartTimecode timecode;
    constexpr std::int64_t kMost = std::numeric_limits<int>::max();
    if (inContent.mTimecodeStart < 0 || inRate.mNumerator > kMost || inRate.mDenominator > kMost)
    {
        return timecode;
    }
    const Foundation::TimecodeRate rate{static_cast<int>(inRate.mNumerator),
                                        static_cast<int>(inRate.mDenominator)};
    timecode.mIsPresent = true;
    timecode.mFrames = inContent.mTimecodeStart;
    timecode.mIsDropFrame = inContent.mIsDropFrame && Foundation::SupportsDropFrame(rate);
    timecode.mText = Foundation::FormatTimecode(timecode.mFrames, rate, timecode.mIsDropFrame);
    return timecode;
}

// Frames are laid over black in the encoding of video, whatever their media had.
Media::MediaFacts FactsOf(const TimelineContent& inContent)
{
    const Project::SequenceSettings settings = inContent.mSequence->GetSettings();
    Media::MediaFacts facts;
    facts.mContainer = "timeline";
    facts.mCodedFormat = "bgr0";
    facts.mNativeFormat = "BGRA_4444_8u";
    facts.mWidth = settings.mFrameRect.Width();
    facts.mHeight = settings.mFrameRect.Height();
    facts.mPixelAspectRatio = settings.mPixelAspectRatio;
    facts.mFrameRate = RatioOf(settings.mFrameRate);
    facts.mFrameCount = inContent.mFrameCount;
    facts.mDuration = TickTime::FromFrame(inContent.mFrameCount, settings.mFrameRate);
    facts.mFieldType = settings.mFieldType;
    facts.mStartTimecode = TimecodeOf(inContent, facts.mFrameRate);
    facts.mColor.mMatrix = "bt709";
    facts.mColor.mPrimaries = "bt709";
    facts.mColor.mTransfer = "bt709";
    facts.mColor.mRange = "tv";
    facts.mHasAudio = inContent.mHasAudio;
    return facts;
}

// Pixels of the output are of the shape that makes the whole picture fill it.
norviktypes::PixelAspectRatio AspectAt(const Media::MediaFacts& inFacts, const RenderRequest& inRequest)
{
    std::uint64_t numerator =
        std::uint64_t{inFacts.mPixelAspectRatio.GetNumerator()} * static_cast<std::uint64_t>(inFacts.mWidth);
    std::uint64_t denominator = std::uint64_t{inFacts.mPixelAspectRatio.GetDenominator()} *
                                static_cast<std::uint64_t>(inFacts.mHeight);
    // Both are made small before they are multiplied again.
    const std::uint64_t first = std::gcd(numerator, denominator);
    numerator = numerator / first * inRequest.mHeight;
    denominator = denominator / first * inRequest.mWidth;
    const std::uint64_t second = std::gcd(numerator, denominator);
    numerator /= second;
    denominator /= second;
    while (std::max(numerator, denominator) > std::numeric_limits<std::int32_t>::max())
    {
        numerator = std::max<std::uint64_t>(1, numerator / 2);
        denominator = std::max<std::uint64_t>(1, denominator / 2);
    }
    return {static_cast<std::uint32_t>(numerator), static_cast<std::uint32_t>(denominator)};
}

bool AreEqual(const RenderRequest& inA, const RenderRequest& inB)
{
    return inA.mWidth == inB.mWidth && inA.mHeight == inB.mHeight && inA.mPixelFormat == inB.mPixelFormat &&
           inA.mQuality == inB.mQuality;
}

// Opaque; in bytes, whatever the depth asked for, which every format takes.
MF::IVideoFrameRef BlackFrame(const RenderRequest& inRequest, norviktypes::FieldType inFieldType)
{
    const MF::IVideoFrameRef frame = ML::StaticImageFactory::LoadImage(
        ML::kStaticImage_Black, inRequest.mWidth, inRequest.mHeight, norviktypes::kPixelFormat_BGRA_4444_8u,
        norviktypes::kPixelAspectRatio_Square);
    if (frame && !frame->IsFrozen())
    {
        frame->SetFieldType(inFieldType);
    }
    return frame;
}

// Why the media of an item could not be read; empty: it could, or was not asked for.
std::string FailureOf(const Project::ClipItem& inItem, const TickTime& inMediaTime)
{
    if (!inItem.mMedia)
    {
        return std::string();
    }
    const Media::IFrameFailureRef failure(inItem.mMedia->GetStream(MF::kMediaType_Video, 0));
    return failure ? failure->DescribeFailure(inMediaTime) : std::string();
}

bool IsOffline(const Project::ClipItem& inItem)
{
    const norvik::WString instance = BE::MasterClipUtils::GetMediaInstanceString(inItem.mMasterClip);
    const std::string_view mark = kMissingInstance;
    return instance.size() >= mark.size() && std::equal(mark.begin(), mark.end(), instance.begin());
}

} // namespace

// What the media behind one frame are like. The causes of failures are looked for only after one, since media
// remember them of frames that others asked for, too.
struct Timeline::Shown
{
    bool mHasMissing = false;
    std::string mFailure;

    void Look(const Project::SequenceRef& inSequence, const TickTime& inTime, bool inWantsFailure)
    {
        for (std::size_t track = 0; inSequence && track < inSequence->GetTrackCount(); ++track)
        {
            Project::ClipItem item;
            if (!inSequence->GetItem(inSequence->FindItem(track, inTime), item))
            {
                continue;
            }
            LookAtItem(inSequence, item, inTime, inWantsFailure);
            if (inWantsFailure && mFailure.empty())
            {
                LookAtNeighbours(inSequence, track, item, inTime);
            }
        }
    }

private:
    void LookAtItem(const Project::SequenceRef& inSequence, const Project::ClipItem& inItem,
                    const TickTime& inTime, bool inWantsFailure)
    {
        if (!inItem.mIsEnabled)
        {
            return;
        }
        const TickTime mediaTime = MediaTimeOf(inItem, inTime, inSequence->GetFrameRate());
        mHasMissing = mHasMissing || IsOffline(inItem);
        if (inWantsFailure && mFailure.empty())
        {
            mFailure = FailureOf(inItem, mediaTime);
        }
        if (inItem.mSequence)
        {
            Look(Project::Sequence::FromInterface(TVK::TVKUnknownRef(inItem.mSequence)), mediaTime,
                 inWantsFailure);
        }
    }

    // A transition shows them beyond their ends.
    void LookAtNeighbours(const Project::SequenceRef& inSequence, std::size_t inTrack,
                          const Project::ClipItem& inItem, const TickTime& inTime)
    {
        for (const TickTime& beside : {inItem.mStart - TickTime(1), inItem.GetEnd()})
        {
            Project::ClipItem neighbour;
            if (mFailure.empty() && inSequence->GetItem(inSequence->FindItem(inTrack, beside), neighbour))
            {
                mFailure = FailureOf(neighbour, MediaTimeOf(neighbour, inTime, inSequence->GetFrameRate()));
            }
        }
    }
};

Timeline::Timeline(TimelineContent inContent, Keeping inKeeping)
    : mContent(std::move(inContent))
    , mKeeping(inKeeping)
    , mFrameRate(mContent.mSequence->GetSettings().mFrameRate)
    , mFacts(FactsOf(mContent))
    , mSilence(new Silence)
{
}

Timeline::~Timeline() = default;

TickTime Timeline::FrameStart(std::int64_t inNumber) const
{
    return TickTime::FromFrame(std::clamp<std::int64_t>(inNumber, 0, mContent.mFrameCount), mFrameRate);
}

std::int64_t Timeline::FrameAt(const TickTime& inTime) const
{
    return inTime >= Duration() ? -1 : std::max<std::int64_t>(0, inTime.ToFrame64(mFrameRate));
}

Workings Timeline::WorkingsOf(const RenderRequest&) const
{
    return {1 + std::min<std::uint64_t>(kMostLayersHeld, mContent.mSequence->GetTrackCount()), mFacts.mWidth,
            mFacts.mHeight, true};
}

void Timeline::Expect(std::vector<MF::TimeRange> inTimes) const
{
    for (MF::TimeRange& range : inTimes)
    {
        range = {mContent.mStart + range.mStart, mContent.mStart + range.mEnd};
    }
    ExpectMedia(mContent.mSequence, std::move(inTimes));
}

// Rendered with alpha, which is laid over black at the end; other formats have none of it any more by then.
ML::IRenderFrameRef Timeline::NewRenderer(const RenderRequest& inRequest) const
{
    const ML::IRenderFrameRef renderer(new ML::RenderFrame);
    renderer->SetOutputRect(TVK::Rect{0, 0, static_cast<std::int32_t>(inRequest.mWidth),
                                      static_cast<std::int32_t>(inRequest.mHeight)},
                            AspectAt(mFacts, inRequest));
    renderer->SetRenderQuality(static_cast<std::uint32_t>(inRequest.mQuality));
    renderer->SetFieldType(mFacts.mFieldType);
    renderer->SetRenderFlags(mKeeping == Keeping::kAll ? kKeepAll | kKeepStills : kKeepStills);
    renderer->SetCompletionClient(mSilence);
    return renderer;
}

ML::IRenderFrameRef Timeline::RendererFor(const RenderRequest& inRequest) const
{
    const std::lock_guard<std::mutex> lock(mMutex);
    for (const auto& [request, renderer] : mRenderers)
    {
        if (AreEqual(request, inRequest))
        {
            return renderer;
        }
    }
    mRenderers.emplace_back(inRequest, NewRenderer(inRequest));
    return mRenderers.back().second;
}

OrderID Timeline::Order(const TickTime& inTime, const RenderRequest& inRequest, Urgency inUrgency,
                        const ReadAnswer& inAnswer) const
{
    const auto rendered = std::make_shared<RenderedFrame>();
    std::uint32_t id = 0;
    const std::int32_t status = RendererFor(inRequest)->RenderWithCompletion(
        mContent.mStart + inTime, mFrameRate, mContent.mSequence->GetCutlistProvider(),
        {PackedFormatFor(inRequest.mPixelFormat)}, inUrgency == Urgency::kLow ? kLowPriority : kPriority,
        [rendered, inAnswer](const MF::IVideoFrameRef& inFrame, bool inIsCancelled, int inStatus)
        {
            rendered->mFrame = inFrame;
            rendered->mStatus = inStatus < 0 ? inStatus : ML::kRenderFrameFailed;
            inAnswer(rendered, inIsCancelled);
        },
        rendered->mFrame, &id, nullptr);
    if (status == ML::kRenderFrameQueued)
    {
        return id;
    }
    if (status == ML::kRenderFrameOutOfMemory)
    {
        throw std::bad_alloc();
    }
    // It was in the cache, or nothing can be rendered any more; nobody else tells.
    inAnswer(rendered, false);
    return 0;
}

MF::IVideoFrameRef Timeline::RenderNow(const TickTime& inTime, const RenderRequest& inRequest) const
{
    // One of its own: a renderer has one thread at a time that waits.
    MF::IVideoFrameRef frame;
    NewRenderer(inRequest)->Render(
        mContent.mStart + inTime, mFrameRate, mContent.mSequence->GetCutlistProvider(),
        {PackedFormatFor(inRequest.mPixelFormat)}, true, kPriority, 0, frame, nullptr);
    return frame;
}

Timeline::Shown Timeline::LookAt(const TickTime& inTime, bool inWantsFailure) const
{
    Shown shown;
    shown.Look(mContent.mSequence, mContent.mStart + inTime, inWantsFailure);
    return shown;
}

// Where nothing plays there is nothing that the service could render: that is black, and no failure.
bool Timeline::IsEmptyAt(const TickTime& inTime) const
{
    MF::IRenderableCutlistRef cutlist;
    mContent.mSequence->GetCutlistProvider()->GetThirdCutlist(cutlist, {}, false, false);
    MF::IRenderableNodeRef node;
    MF::FrameTime nodeTime;
    return cutlist &&
           cutlist->FindNodeForTime(MF::FrameTime(mContent.mStart + inTime), node, nodeTime) >= 0 && !node;
}

MF::IVideoFrameRef Timeline::Render(const TickTime& inTime, const RenderRequest& inRequest,
                                    const ReadHold& inHold) const
{
    const auto rendered = std::static_pointer_cast<RenderedFrame>(inHold);
    MF::IVideoFrameRef frame = rendered ? rendered->mFrame : RenderNow(inTime, inRequest);
    if (!frame && IsEmptyAt(inTime))
    {
        frame = BlackFrame(inRequest, mFacts.mFieldType);
    }
    if (!frame)
    {
        throw ML::RenderRequestException(rendered ? rendered->mStatus : ML::kRenderFrameFailed);
    }
    MF::IVideoFrameRef shaped;
    const std::int32_t status = ShapePicture(frame, inRequest, shaped);
    if (status < 0)
    {
        throw ML::RenderRequestException(status);
    }
    mFramesWithMissing += LookAt(inTime, false).mHasMissing ? 1 : 0;
    return shaped;
}

std::string Timeline::FailureAt(const TickTime& inTime) const
{
    const std::string frame = mContent.mName + ": frame " + std::to_string(FrameAt(inTime));
    const std::string cause = LookAt(inTime, true).mFailure;
    return cause.empty() ? frame + " could not be made" : frame + ": " + cause;
}

std::vector<TickTime> Timeline::Cuts() const
{
    std::vector<TickTime> cuts = {norviktypes::kTime_Zero};
    for (std::size_t track = 0; track < mContent.mSequence->GetTrackCount(); ++track)
    {
        for (const Project::ItemID id : mContent.mSequence->GetItems(track))
        {
            Project::ClipItem item;
            if (mContent.mSequence->GetItem(id, item))
            {
                cuts.push_back(item.mStart - mContent.mStart);
                cuts.push_back(item.GetEnd() - mContent.mStart);
            }
        }
    }
    std::sort(cuts.begin(), cuts.end());
    cuts.erase(std::unique(cuts.begin(), cuts.end()), cuts.end());
    const auto isOutside = [this](const TickTime& inCut)
    { return inCut < norviktypes::kTime_Zero || inCut >= Duration(); };
    cuts.erase(std::remove_if(cuts.begin(), cuts.end(), isOutside), cuts.end());
    return cuts;
}

} // namespace Session
