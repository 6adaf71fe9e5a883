#include "ReferenceHost/Session/HostSession.h"
#include "ReferenceHost/Session/RenderService.h"
#include "ReferenceHost/Session/TimelineFile.h"

#include <benchmark/benchmark.h>

#include <fmt/format.h>

#include <cstdlib>
#include <fstream>
#include <future>
#include <memory>
#include <string>

// What a thumbnail costs that has been made before: 40 small frames of a timeline, asked for again and again.
namespace
{

constexpr std::int64_t kThumbnails = 40;
constexpr Session::RenderRequest kRequest{160, 90, norviktypes::kPixelFormat_BGRA_4444_8u,
                                          norviktypes::kRenderQuality_High};

std::string TimeText(std::int64_t inFrames)
{
    return fmt::format(R"({{"OTIO_SCHEMA": "RationalTime.1", "value": {}, "rate": 25}})", inFrames);
}

std::string ClipText(std::int64_t inFrame)
{
    return fmt::format(
        R"({{"OTIO_SCHEMA": "Clip.2",
             "source_range": {{"OTIO_SCHEMA": "TimeRange.1", "start_time": {}, "duration": {}}},
             "media_references": {{"DEFAULT_MEDIA": {{"OTIO_SCHEMA": "GeneratorReference.1",
                 "generator_kind": "vrender:counter", "parameters": {{"size": "1920x1080", "rate": "25"}}}}}},
             "active_media_reference_key": "DEFAULT_MEDIA"}})",
        TimeText(inFrame), TimeText(1));
}

std::string DocumentText()
{
    std::string children;
    for (std::int64_t i = 0; i < kThumbnails; ++i)
    {
        children += (i == 0 ? "" : ", ") + ClipText(7 * i);
    }
    return R"({"OTIO_SCHEMA": "Timeline.1", "name": "thumbnails",
               "metadata": {"vrender": {"version": 1, "canvas": {"width": 160, "height": 90, "rate": [25, 1]}}},
               "tracks": {"OTIO_SCHEMA": "Stack.1", "children":
                   [{"OTIO_SCHEMA": "Track.1", "kind": "Video", "children": [)" +
           children + "]}]}}";
}

Session::HostSettings ScatteredHost()
{
    Session::HostSettings settings;
    settings.mPattern = Session::AccessPattern::kScattered;
    return settings;
}

// The service of a process goes up once.
class World
{
public:
    World()
    {
        const std::string path = "/tmp/warm_thumbnails_bench.otio";
        std::ofstream(path) << DocumentText();
        Session::TimelineOptions options;
        options.mKeeping = Session::Timeline::Keeping::kAll;
        mOpened = Session::OpenTimeline(path, options);
        if (!mOpened.mTimeline)
        {
            std::abort();
        }
        for (std::int64_t i = 0; i < kThumbnails; ++i)
        {
            Get(i);
        }
    }

    // As whoever shows thumbnails asks: an order, and what is left to do for its answer.
    MF::IVideoFrameRef Get(std::int64_t inFrame)
    {
        const norviktypes::TickTime time = mOpened.mTimeline->FrameStart(inFrame);
        std::promise<Session::ReadHold> answer;
        mService.Order({mOpened.mTimeline.get(), time, kRequest, Session::Urgency::kNormal},
                       [&](const Session::ReadHold& inHold, bool) { answer.set_value(inHold); });
        return mOpened.mTimeline->Render(time, kRequest, answer.get_future().get());
    }

private:
    Session::HostSession mHost{ScatteredHost()};
    Session::RenderService mService;
    Session::OpenedTimeline mOpened;
};

void WarmThumbnails(benchmark::State& ioState)
{
    static World sWorld;
    const std::uint64_t before = Session::GetFrameCacheCounts().mStored;
    std::int64_t frame = 0;
    for (auto _ : ioState)
    {
        benchmark::DoNotOptimize(sWorld.Get(frame));
        frame = (frame + 1) % kThumbnails;
    }
    ioState.SetItemsProcessed(ioState.iterations());
    if (Session::GetFrameCacheCounts().mStored != before)
    {
        ioState.SkipWithError("frames were made again");
    }
}
BENCHMARK(WarmThumbnails);

} // namespace
