#include "Applications/vrender/CommandSupport.h"
#include "Applications/vrender/Commands.h"
#include "Applications/vrender/Console.h"
#include "Applications/vrender/Json.h"

#include <fmt/format.h>

namespace vrender
{

namespace
{

std::string Row(const char* inName, const std::string& inValue)
{
    return fmt::format("{:<14}{}\n", std::string(inName) + ":", inValue);
}

const char* FieldOrderName(norviktypes::FieldType inType)
{
    switch (inType)
    {
    case norviktypes::kFieldType_UpperFirst: return "upper first";
    case norviktypes::kFieldType_LowerFirst: return "lower first";
    default: return "progressive";
    }
}

std::string RateText(const Media::Ratio& inRate)
{
    return inRate.mDenominator == 1 ? std::to_string(inRate.mNumerator)
                                    : fmt::format("{}/{}", inRate.mNumerator, inRate.mDenominator);
}

double FramesPerSecond(const Media::Ratio& inRate)
{
    return static_cast<double>(inRate.mNumerator) / static_cast<double>(inRate.mDenominator);
}

std::string Aspect(const Media::MediaFacts& inFacts)
{
    return fmt::format("{}:{}", inFacts.mPixelAspectRatio.GetNumerator(),
                       inFacts.mPixelAspectRatio.GetDenominator());
}

std::string MediaRow(const Session::TimelineMedia& inMedia)
{
    const std::string name = inMedia.mName.empty() ? inMedia.mFile : inMedia.mName + ", " + inMedia.mFile;
    return Row("media", inMedia.mIsMissing ? name + " (missing)" : name);
}

std::string TextOf(const OpenInput& inInput, const std::string& inPath)
{
    const Session::OpenedTimeline& document = *inInput.mDocument;
    const Media::MediaFacts& facts = inInput.mMaterial->Facts();
    std::string text = Row("file", inPath);
    text += Row("timeline", document.mName.empty() ? "without a name" : document.mName);
    if (document.mNames.size() > 1)
    {
        for (std::size_t i = 0; i < document.mNames.size(); ++i)
        {
            text += Row("of", fmt::format("{} {}", i, document.mNames[i]));
        }
    }
    text += Row("size", fmt::format("{}x{}", facts.mWidth, facts.mHeight));
    text += Row("pixel aspect", Aspect(facts));
    text += Row("rate", fmt::format("{} ({:.6g} frames a second)", RateText(facts.mFrameRate),
                                    FramesPerSecond(facts.mFrameRate)));
    text += Row("frames", std::to_string(facts.mFrameCount));
    text += Row("duration", fmt::format("{:.6f} s", facts.mDuration.AsSeconds()));
    text += Row("fields", FieldOrderName(facts.mFieldType));
    text += facts.mStartTimecode.mIsPresent ? Row("timecode", facts.mStartTimecode.mText) : "";
    text += Row("tracks", fmt::format("{} video, {} audio", document.mVideoTracks, document.mAudioTracks));
    text += Row("holds", fmt::format("{} clips, {} transitions, {} nested sequences", document.mClips,
                                     document.mTransitions, document.mNestedSequences));
    for (const Session::TimelineMedia& media : document.mMedia)
    {
        text += MediaRow(media);
    }
    for (const Session::TimelineMark& mark : document.mMarkers)
    {
        const std::int64_t frame = inInput.mMaterial->FrameAt(mark.mTime);
        text += Row("marker",
                    fmt::format("{} {}{}", frame < 0 ? "outside" : LabelOfFrame(frame, inInput.mTimeline),
                                mark.mName, mark.mComment.empty() ? "" : ": " + mark.mComment));
    }
    return text;
}

void AddMedia(JsonWriter& ioJson, const Session::OpenedTimeline& inDocument)
{
    ioJson.BeginList("media");
    for (const Session::TimelineMedia& media : inDocument.mMedia)
    {
        ioJson.BeginObject("");
        ioJson.Text("name", media.mName);
        ioJson.Text("file", media.mFile);
        ioJson.Bool("missing", media.mIsMissing);
        ioJson.End();
    }
    ioJson.End();
}

void AddMarkers(JsonWriter& ioJson, const OpenInput& inInput)
{
    ioJson.BeginList("markers");
    for (const Session::TimelineMark& mark : inInput.mDocument->mMarkers)
    {
        ioJson.BeginObject("");
        ioJson.Text("name", mark.mName);
        ioJson.Text("color", mark.mColor);
        ioJson.Text("comment", mark.mComment);
        ioJson.Integer("frame", inInput.mMaterial->FrameAt(mark.mTime));
        ioJson.Integer("time_ticks", mark.mTime.GetTicks());
        ioJson.Integer("duration_ticks", mark.mDuration.GetTicks());
        ioJson.End();
    }
    ioJson.End();
}

std::string JsonOf(const OpenInput& inInput, const std::string& inPath)
{
    const Session::OpenedTimeline& document = *inInput.mDocument;
    const Media::MediaFacts& facts = inInput.mMaterial->Facts();
    JsonWriter json(true);
    json.Text("file", inPath);
    json.Text("timeline", document.mName);
    json.BeginList("timelines");
    for (const std::string& name : document.mNames)
    {
        json.Text("", name);
    }
    json.End();
    json.Integer("width", facts.mWidth);
    json.Integer("height", facts.mHeight);
    json.Text("pixel_aspect", Aspect(facts));
    json.Text("field_order", FieldOrderName(facts.mFieldType));
    json.Text("frame_rate", fmt::format("{}/{}", facts.mFrameRate.mNumerator, facts.mFrameRate.mDenominator));
    json.Integer("frames", facts.mFrameCount);
    json.Number("duration", facts.mDuration.AsSeconds());
    json.Integer("duration_ticks", facts.mDuration.GetTicks());
    if (facts.mStartTimecode.mIsPresent)
    {
        json.Text("timecode", facts.mStartTimecode.mText);
    }
    else
    {
        json.Null("timecode");
    }
    json.Integer("video_tracks", static_cast<std::int64_t>(document.mVideoTracks));
    json.Integer("audio_tracks", static_cast<std::int64_t>(document.mAudioTracks));
    json.Integer("clips", static_cast<std::int64_t>(document.mClips));
    json.Integer("transitions", static_cast<std::int64_t>(document.mTransitions));
    json.Integer("nested_sequences", static_cast<std::int64_t>(document.mNestedSequences));
    AddMedia(json, document);
    AddMarkers(json, inInput);
    json.Integer("errors", static_cast<std::int64_t>(document.mErrors));
    json.Integer("warnings", static_cast<std::int64_t>(document.mWarnings));
    return json.Finish();
}

} // namespace

ExitCode RunTimelineInfo(const Options& inOptions)
{
    if (inOptions.mChain)
    {
        throw ToolError(ExitCode::kUsage, "--chain: " + inOptions.mInput + " is a timeline, which has none");
    }
    const OpenInput input = OpenInputOf(inOptions, Session::AccessPattern::kScattered, {25, 1});
    console::PrintData(inOptions.mJson ? JsonOf(input, inOptions.mInput) : TextOf(input, inOptions.mInput));
    return WithWhatIsMissing(ExitCode::kDone, input);
}

} // namespace vrender
