#include "ReferenceHost/Project/Parameter.h"
#include "ReferenceHost/Session/HostSession.h"
#include "ReferenceHost/Session/RenderService.h"
#include "ReferenceHost/Session/TimelineFile.h"
#include "RenderObserver.h"
#include "Tests/ReferenceHost/Session/ServiceOfProcess.h"
#include "Tests/Support/Paths.h"
#include "Tests/Support/Scale.h"
#include "VF/VideoFrame.h"

#include <gtest/gtest.h>

#include <fmt/format.h>

#include <atomic>
#include <fstream>
#include <memory>
#include <set>
#include <vector>

using namespace Session;
using norviktypes::TickTime;

// What is rendered again when a long timeline is edited, and what the cache of frames gives back.
namespace
{

using Pixels = std::vector<std::uint8_t>;

constexpr std::int64_t kFramesOfClip = 2;

// Counts frames that the library made, and those that it had.
class RenderCounter final : public ML::IRenderObserver
{
public:
    RenderCounter() { ML::SetRenderObserver(this); }
    ~RenderCounter() override { ML::SetRenderObserver(nullptr); }

    void OnRenderEvent(const ML::RenderEvent& inEvent) noexcept override
    {
        mRendered += inEvent.mKind == ML::RenderEventKind::kRendered ? 1 : 0;
        mFailed += inEvent.mKind == ML::RenderEventKind::kRendered && inEvent.mValue < 0 ? 1 : 0;
    }

    std::int64_t Rendered() const noexcept { return mRendered; }
    std::int64_t Failed() const noexcept { return mFailed; }

private:
    std::atomic<std::int64_t> mRendered{0};
    std::atomic<std::int64_t> mFailed{0};
};

// Keeps frames.
HostSettings ScatteredHost()
{
    HostSettings settings;
    settings.mPattern = AccessPattern::kScattered;
    settings.mMemoryBytes = std::uint64_t{1} << 29;
    return settings;
}

std::string TimeText(std::int64_t inFrames)
{
    return fmt::format(R"({{"OTIO_SCHEMA": "RationalTime.1", "value": {}, "rate": 25}})", inFrames);
}

// Each clip shows other frames of one counter, and has an effect.
std::string ClipText(std::int64_t inStart)
{
    return fmt::format(
        R"({{"OTIO_SCHEMA": "Clip.2", "source_range": {{"OTIO_SCHEMA": "TimeRange.1", "start_time": {}, "duration": {}}},
             "effects": [{{"OTIO_SCHEMA": "Effect.1", "effect_name": "vrender:procamp"}}],
             "media_references": {{"DEFAULT_MEDIA": {{"OTIO_SCHEMA": "GeneratorReference.1",
                 "generator_kind": "vrender:counter", "parameters": {{"size": "64x36", "rate": "25"}}}}}},
             "active_media_reference_key": "DEFAULT_MEDIA"}})",
        TimeText(inStart), TimeText(kFramesOfClip));
}

// inFirst: of the counter's frames. inFadeAfter: the clip from which a fade of one frame on either side leads to the next.
std::string DocumentText(std::int64_t inClips, std::int64_t inFadeAfter, std::int64_t inFirst)
{
    std::string children;
    for (std::int64_t i = 0; i < inClips; ++i)
    {
        children += (i == 0 ? "" : ", ") + ClipText(inFirst + i * kFramesOfClip);
        if (i == inFadeAfter)
        {
            children += fmt::format(
                R"(, {{"OTIO_SCHEMA": "Transition.1", "transition_type": "SMPTE_Dissolve", "in_offset": {0}, "out_offset": {0}}})",
                TimeText(1));
        }
    }
    return R"({"OTIO_SCHEMA": "Timeline.1", "name": "long",
               "metadata": {"vrender": {"version": 1, "canvas": {"width": 64, "height": 36, "rate": [25, 1]}}},
               "tracks": {"OTIO_SCHEMA": "Stack.1", "children": [{"OTIO_SCHEMA": "Track.1", "kind": "Video", "children": [)" +
           children + "]}]}}";
}

// The service of a process goes down once, so all tests share it, and the cache.
class TimelineEditing : public testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        sCounter = std::make_unique<RenderCounter>();
        sHost = std::make_unique<HostSession>(ScatteredHost());
        sService = std::make_unique<RenderService>();
    }

    void SetUp() override
    {
        ASSERT_FALSE(SessionTests::sIsServiceDown)
            << "another test has taken the service of this process down; run TimelineEditing.* by itself";
    }

    static void TearDownTestSuite()
    {
        sService.reset();
        sHost.reset();
        sCounter.reset(); // which the service may tell of work to its end
    }

    void Open(std::int64_t inClips, std::int64_t inFadeAfter, std::int64_t inFirst)
    {
        std::ofstream(mFolder.File("long.otio")) << DocumentText(inClips, inFadeAfter, inFirst);
        TimelineOptions options;
        options.mKeeping = Timeline::Keeping::kAll;
        mOpened = OpenTimeline(mFolder.File("long.otio"), options);
        ASSERT_TRUE(mOpened.mTimeline) << mOpened.mError.mText;
        ASSERT_EQ(mOpened.mErrors + mOpened.mWarnings, 0u);
        ASSERT_EQ(mOpened.mTimeline->FrameCount(), inClips * kFramesOfClip);
    }

    const Timeline& Opened() const { return *mOpened.mTimeline; }

    Pixels Render(std::int64_t inFrame) const
    {
        const RenderRequest request{64, 36, norviktypes::kPixelFormat_BGRA_4444_8u,
                                    norviktypes::kRenderQuality_High};
        const MF::IVideoFrameRef frame = Opened().Render(Opened().FrameStart(inFrame), request, nullptr);
        const auto* data = static_cast<const std::uint8_t*>(VF::IVideoFramePixelsRef(frame)->GetPixels());
        const std::int32_t rowBytes = VF::IVideoFrameRasterRef(frame)->GetRowBytes();
        Pixels pixels;
        for (std::int32_t y = 0; y < 36; ++y)
        {
            pixels.insert(pixels.end(), data + y * rowBytes, data + y * rowBytes + 64 * 4);
        }
        return pixels;
    }

    std::vector<Pixels> RenderAll() const
    {
        std::vector<Pixels> frames;
        for (std::int64_t i = 0; i < Opened().FrameCount(); ++i)
        {
            frames.push_back(Render(i));
        }
        return frames;
    }

    Project::ItemID IDOf(std::int64_t inClip) const
    {
        return Opened().GetSequence()->GetItems(0)[static_cast<std::size_t>(inClip)];
    }

    Project::ClipItem ItemOf(std::int64_t inClip) const
    {
        Project::ClipItem item;
        EXPECT_TRUE(Opened().GetSequence()->GetItem(IDOf(inClip), item));
        return item;
    }

    void SetBrightness(std::int64_t inClip, double inPercent) const
    {
        EXPECT_EQ(
            Opened().GetSequence()->SetEffectParameter(IDOf(inClip), 0, 0, Project::CreateNumber(inPercent)),
            Project::EditStatus::kOK);
    }

    void PutBack(std::int64_t inClip, const Project::ClipItem& inItem) const
    {
        EXPECT_EQ(Opened().GetSequence()->SetItem(IDOf(inClip), inItem), Project::EditStatus::kOK);
    }

    const TestSupport::ScratchFolder mFolder;
    OpenedTimeline mOpened;

    static std::unique_ptr<HostSession> sHost;
    static std::unique_ptr<RenderService> sService;
    static std::unique_ptr<RenderCounter> sCounter;
};

std::unique_ptr<HostSession> TimelineEditing::sHost;
std::unique_ptr<RenderService> TimelineEditing::sService;
std::unique_ptr<RenderCounter> TimelineEditing::sCounter;

std::set<std::int64_t> Differing(const std::vector<Pixels>& inA, const std::vector<Pixels>& inB)
{
    std::set<std::int64_t> frames;
    for (std::size_t i = 0; i < inA.size(); ++i)
    {
        if (inA[i] != inB[i])
        {
            frames.insert(static_cast<std::int64_t>(i));
        }
    }
    return frames;
}

} // namespace

TEST_F(TimelineEditing, OnlyFramesThatShowAnEditedEffectAreRenderedAgain)
{
    const std::int64_t clips = TestSupport::ScaledCount(1000);
    const std::int64_t edited = clips / 2;
    Open(clips, edited, 10);
    if (HasFatalFailure())
    {
        return;
    }
    const std::int64_t start = sCounter->Rendered();
    const std::vector<Pixels> before = RenderAll();
    const std::int64_t first = sCounter->Rendered();
    EXPECT_EQ(first - start, clips * kFramesOfClip);

    RenderAll();
    EXPECT_EQ(sCounter->Rendered(), first) << "the cache holds them all";

    // Both frames of the clip, and the one behind its end that the fade shows.
    const std::int64_t begin = edited * kFramesOfClip;
    const std::set<std::int64_t> shown = {begin, begin + 1, begin + 2};
    const Project::ClipItem original = ItemOf(edited);
    SetBrightness(edited, 25);
    const std::vector<Pixels> after = RenderAll();
    EXPECT_EQ(sCounter->Rendered() - first, 3);
    EXPECT_EQ(Differing(before, after), shown);

    // Taken back: what was there before is named as before.
    PutBack(edited, original);
    EXPECT_EQ(Differing(before, RenderAll()), std::set<std::int64_t>());
    EXPECT_EQ(sCounter->Rendered() - first, 3);
    EXPECT_EQ(sCounter->Failed(), 0);
}

TEST_F(TimelineEditing, FramesOfTheCacheAreThoseThatWereMade)
{
    Open(20, 7, 100000);
    if (HasFatalFailure())
    {
        return;
    }
    const std::vector<Pixels> cold = RenderAll();
    const std::int64_t made = sCounter->Rendered();
    const std::vector<Pixels> hot = RenderAll();
    EXPECT_EQ(sCounter->Rendered(), made);
    EXPECT_TRUE(Differing(cold, hot).empty());
    // Counters differ from frame to frame, or the comparison would prove nothing.
    EXPECT_EQ(std::set<Pixels>(cold.begin(), cold.end()).size(), cold.size());
}
