#include "Applications/vrender/CommandSupport.h"
#include "Applications/vrender/Commands.h"
#include "Applications/vrender/Console.h"
#include "Applications/vrender/Json.h"
#include "Applications/vrender/Watch.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace vrender
{

namespace
{

using Foundation::WorkKind;
using Foundation::WorkSpan;

// More than one frame has, be the way to it from the last key frame ever so long.
constexpr std::size_t kMostMoments = 1 << 17;

// One asking for the frame, from its begin on.
struct Story
{
    std::int64_t mBegin = 0;
    std::vector<Moment> mMoments; // in the order of their times
    std::string mFailure;         // empty: the frame was made
};

// Asks as the other commands do, and renders here.
void Ask(const FrameFeed::Settings& inFrames, std::int64_t inNumber, std::string& outFailure)
{
    FrameFeed feed(inFrames);
    FrameFeed::Frame frame;
    feed.Take(frame);
    WorkSpan span(WorkKind::kRender, inNumber);
    try
    {
        inFrames.mMaterial->Render(inFrames.mTimeOf(0), inFrames.mRequest, frame.mHold);
        span.Succeed();
    }
    catch (const ML::RenderRequestException&)
    {
        outFailure = inFrames.mMaterial->FailureAt(inFrames.mTimeOf(0));
    }
}

// Gives each story what happened between its begin and that of the next.
void Distribute(std::vector<Moment> inMoments, std::vector<Story>& ioStories)
{
    std::stable_sort(inMoments.begin(), inMoments.end(),
                     [](const Moment& inA, const Moment& inB) { return inA.mWhen < inB.mWhen; });
    for (const Moment& moment : inMoments)
    {
        for (std::size_t i = ioStories.size(); i-- > 0;)
        {
            if (moment.mWhen >= ioStories[i].mBegin)
            {
                ioStories[i].mMoments.push_back(moment);
                break;
            }
        }
    }
}

std::int64_t CountOf(const Story& inStory, WorkKind inKind)
{
    return std::count_if(inStory.mMoments.begin(), inStory.mMoments.end(),
                         [&](const Moment& inMoment) {
                             return inMoment.mKind == Moment::Kind::kWork && inMoment.Work() == inKind &&
                                    !inMoment.mHasFailed;
                         });
}

std::string ResultOf(const Story& inStory)
{
    if (!inStory.mFailure.empty())
    {
        return "could not be made: " + inStory.mFailure;
    }
    if (const std::int64_t decoded = CountOf(inStory, WorkKind::kDecode); decoded > 0)
    {
        return fmt::format("made, with {} decoded picture{}", decoded, decoded == 1 ? "" : "s");
    }
    if (CountOf(inStory, WorkKind::kRead) > 0)
    {
        return "made, with nothing decoded";
    }
    return CountOf(inStory, WorkKind::kFetch) > 0 ? "found in the disk cache" : "found in memory";
}

double Milliseconds(std::int64_t inNanoseconds)
{
    return static_cast<double>(inNanoseconds) / 1e6;
}

const char* NameOf(const Moment& inMoment)
{
    return inMoment.mKind == Moment::Kind::kEvent ? ML::RenderEventName(inMoment.Event())
                                                  : Foundation::WorkName(inMoment.Work());
}

std::string DetailOf(const Moment& inMoment)
{
    if (inMoment.mKind == Moment::Kind::kEvent)
    {
        return inMoment.Event() == ML::RenderEventKind::kPrefetchBegun
                   ? fmt::format(", items: {}", inMoment.mValue)
                   : std::string();
    }
    return (inMoment.mValue < 0 ? std::string() : fmt::format(" {}", inMoment.mValue)) +
           fmt::format(", {:.3f} ms{}", Milliseconds(inMoment.mDuration),
                       inMoment.mHasFailed ? ", failed" : "");
}

std::string TextOf(const std::vector<Story>& inStories, const std::string& inTitle,
                   const std::vector<std::string>& inThreads)
{
    std::string text;
    for (const Story& story : inStories)
    {
        text += inTitle + (&story == &inStories.front() ? "\n" : ", once more\n");
        for (const Moment& moment : story.mMoments)
        {
            text += fmt::format("{:>12.3f} ms  {:<16}{}{}\n", Milliseconds(moment.mWhen - story.mBegin),
                                inThreads[moment.mThread], NameOf(moment), DetailOf(moment));
        }
        text += ResultOf(story) + "\n";
    }
    return text;
}

std::string JsonOf(const std::vector<Story>& inStories, std::int64_t inFrame,
                   const std::vector<std::string>& inThreads)
{
    JsonWriter json(true);
    json.Integer("frame", inFrame);
    json.BeginList("asked");
    for (const Story& story : inStories)
    {
        json.BeginObject("");
        json.Text("result", ResultOf(story));
        json.BeginList("steps");
        for (const Moment& moment : story.mMoments)
        {
            json.BeginObject("");
            json.Number("ms", Milliseconds(moment.mWhen - story.mBegin));
            json.Text("thread", inThreads[moment.mThread]);
            json.Text("what", NameOf(moment));
            if (moment.mKind == Moment::Kind::kWork)
            {
                json.Integer("number", moment.mValue);
                json.Number("took_ms", Milliseconds(moment.mDuration));
                json.Bool("failed", moment.mHasFailed);
            }
            json.End();
        }
        json.End();
        json.End();
    }
    return json.Finish();
}

} // namespace

ExitCode RunExplain(const Options& inOptions)
{
    const TimeExpression time = ParseTime("--time", inOptions.mTime.empty() ? "start" : inOptions.mTime);
    Watch watch(kMostMoments);
    OpenInput input = OpenInputOf(inOptions, Session::AccessPattern::kScattered, {25, 1});
    const std::int64_t frame = ResolveFrame("--time", time, input.mTimeline);
    const Media::MediaFacts& facts = input.mMaterial->Facts();
    const double shape = static_cast<double>(facts.mWidth) / facts.mHeight;
    const PictureSize size = ResolveSize(inOptions.mSize, {facts.mWidth, facts.mHeight}, shape, false);
    OutputDescription output = DescribeOutput(inOptions, input, size);
    output.mPath = "null:";
    const std::unique_ptr<FrameWriter> writer = CreateWriter(output);

    FrameFeed::Settings frames =
        FramesOf(input, inOptions, RequestFor(*writer, inOptions, size), writer->LaidOutBytes());
    frames.mCount = 1;
    frames.mTimeOf = [&](std::int64_t) { return input.mTimeline.mFrameStart(frame); };
    std::vector<Story> stories(inOptions.mAgain ? 2 : 1);
    for (Story& story : stories)
    {
        story.mBegin = watch.Now();
        Ask(frames, frame, story.mFailure);
    }
    // What is kept on disk is written by now, or at the service's end.
    input.mService.reset();
    watch.Detach();
    Distribute(watch.TakeMoments(), stories);

    const std::string title =
        fmt::format("frame {} of {}, at {:.6f} s", frame, inOptions.mInput, frames.mTimeOf(0).AsSeconds());
    console::PrintData(inOptions.mJson ? JsonOf(stories, frame, watch.ThreadNames())
                                       : TextOf(stories, title, watch.ThreadNames()));
    if (!stories.front().mFailure.empty())
    {
        throw ToolError(ExitCode::kBadData, stories.front().mFailure);
    }
    return WithWhatIsMissing(ExitCode::kDone, input);
}

} // namespace vrender
