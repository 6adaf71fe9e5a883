#include "Applications/vrender/CommandSupport.h"
#include "Applications/vrender/Commands.h"
#include "Applications/vrender/ConformingOptions.h"
#include "Applications/vrender/Console.h"
#include "Applications/vrender/Json.h"

#include <fmt/format.h>

#include <cmath>

namespace vrender
{

namespace
{

using Media::MediaFacts;

constexpr double kMicroseconds = 1e6; // in a second

const char* FieldOrderName(norviktypes::FieldType inType)
{
    switch (inType)
    {
    case norviktypes::kFieldType_UpperFirst: return "upper first";
    case norviktypes::kFieldType_LowerFirst: return "lower first";
    case norviktypes::kFieldType_Progressive: return "progressive";
    default: return "unknown";
    }
}

bool HasRate(const MediaFacts& inFacts)
{
    return inFacts.mFrameRate.mNumerator > 0 && inFacts.mFrameRate.mDenominator > 0;
}

double RateOf(const MediaFacts& inFacts)
{
    return static_cast<double>(inFacts.mFrameRate.mNumerator) /
           static_cast<double>(inFacts.mFrameRate.mDenominator);
}

std::string RatioText(const Media::Ratio& inRatio)
{
    return inRatio.mDenominator == 1 ? std::to_string(inRatio.mNumerator)
                                     : fmt::format("{}/{}", inRatio.mNumerator, inRatio.mDenominator);
}

std::string OrUnknown(const std::string& inText)
{
    return inText.empty() ? "unknown" : inText;
}

std::string Row(const char* inName, const std::string& inValue)
{
    return fmt::format("{:<14}{}\n", std::string(inName) + ":", inValue);
}

std::string RateRows(const MediaFacts& inFacts)
{
    std::string text;
    if (HasRate(inFacts))
    {
        text += Row("rate",
                    fmt::format("{} ({:.6g} frames a second{})", RatioText(inFacts.mFrameRate),
                                RateOf(inFacts), inFacts.mHasFrameGrid ? "" : " on average; no frame grid"));
    }
    if (inFacts.mIsStill)
    {
        return text + Row("frames", "1, a still");
    }
    if (inFacts.mFrameCount < 0)
    {
        return text + Row("frames", "without an end");
    }
    return text + Row("frames", std::to_string(inFacts.mFrameCount)) +
           Row("duration", fmt::format("{:.6f} s", inFacts.mDuration.AsSeconds()));
}

std::string ColourText(const Media::ColorFacts& inColour)
{
    std::string text = fmt::format("matrix {}, primaries {}, transfer {}, range {}",
                                   OrUnknown(inColour.mMatrix), OrUnknown(inColour.mPrimaries),
                                   OrUnknown(inColour.mTransfer), OrUnknown(inColour.mRange));
    text += inColour.mSiting.empty() ? "" : ", chroma " + inColour.mSiting;
    return inColour.mIsGuessed ? text + " (partly assumed)" : text;
}

std::string InfoText(const std::string& inPath, const MediaFacts& inFacts)
{
    const norviktypes::PixelAspectRatio& aspect = inFacts.mPixelAspectRatio;
    std::string text = Row("file", inPath);
    text += Row("container", OrUnknown(inFacts.mContainer));
    text += Row("codec", OrUnknown(inFacts.mCodec) +
                             (inFacts.mProfile.empty() ? "" : ", profile " + inFacts.mProfile));
    text += Row("pixels", fmt::format("{}, {} bits, read as {}", OrUnknown(inFacts.mCodedFormat),
                                      inFacts.mBitDepth, inFacts.mNativeFormat));
    text += Row("size", fmt::format("{}x{}", inFacts.mWidth, inFacts.mHeight));
    text += Row("pixel aspect", fmt::format("{}:{}", aspect.GetNumerator(), aspect.GetDenominator()));
    text += RateRows(inFacts);
    text += Row("fields", FieldOrderName(inFacts.mFieldType));
    text += inFacts.mStartTimecode.mIsPresent ? Row("timecode", inFacts.mStartTimecode.mText) : "";
    text += Row("colour", ColourText(inFacts.mColor));
    text += Row("alpha", inFacts.mAlpha);
    text += inFacts.mRotation == 0
                ? ""
                : Row("rotation", fmt::format("{} degrees clockwise, applied", inFacts.mRotation));
    for (const Media::StreamFacts& stream : inFacts.mStreams)
    {
        text += Row("stream",
                    fmt::format("{} {} {} {}{}{}", stream.mIndex, stream.mType, stream.mCodec,
                                stream.mDescription, stream.mIsAttachedPicture ? " (attached picture)" : "",
                                stream.mIndex == inFacts.mStreamIndex ? " (read)" : ""));
    }
    for (const auto& [name, value] : inFacts.mTags)
    {
        text += Row("tag", name + " = " + value);
    }
    for (const std::string& note : inFacts.mNotes)
    {
        text += Row("note", note);
    }
    return text;
}

void AddColour(JsonWriter& ioJson, const Media::ColorFacts& inColour)
{
    ioJson.BeginObject("color");
    ioJson.Text("matrix", inColour.mMatrix);
    ioJson.Text("primaries", inColour.mPrimaries);
    ioJson.Text("transfer", inColour.mTransfer);
    ioJson.Text("range", inColour.mRange);
    ioJson.Text("chroma_location", inColour.mSiting);
    ioJson.Bool("assumed", inColour.mIsGuessed);
    ioJson.End();
}

void AddTimes(JsonWriter& ioJson, const MediaFacts& inFacts)
{
    if (HasRate(inFacts))
    {
        ioJson.Text("frame_rate",
                    fmt::format("{}/{}", inFacts.mFrameRate.mNumerator, inFacts.mFrameRate.mDenominator));
    }
    else
    {
        ioJson.Null("frame_rate");
    }
    ioJson.Bool("frame_grid", inFacts.mHasFrameGrid);
    const bool hasEnd = inFacts.mFrameCount >= 0;
    if (hasEnd)
    {
        ioJson.Integer("frames", inFacts.mFrameCount);
    }
    else
    {
        ioJson.Null("frames");
    }
    if (hasEnd && !inFacts.mIsStill)
    {
        ioJson.Number("duration", std::round(inFacts.mDuration.AsSeconds() * kMicroseconds) / kMicroseconds);
        ioJson.Integer("duration_ticks", inFacts.mDuration.GetTicks());
    }
    else
    {
        ioJson.Null("duration");
        ioJson.Null("duration_ticks");
    }
    if (inFacts.mStartTimecode.mIsPresent)
    {
        ioJson.Text("timecode", inFacts.mStartTimecode.mText);
        ioJson.Bool("drop_frame", inFacts.mStartTimecode.mIsDropFrame);
    }
    else
    {
        ioJson.Null("timecode");
    }
}

void AddStreams(JsonWriter& ioJson, const MediaFacts& inFacts)
{
    ioJson.Integer("stream", inFacts.mStreamIndex);
    ioJson.BeginList("streams");
    for (const Media::StreamFacts& stream : inFacts.mStreams)
    {
        ioJson.BeginObject("");
        ioJson.Integer("index", stream.mIndex);
        ioJson.Text("type", stream.mType);
        ioJson.Text("codec", stream.mCodec);
        ioJson.Text("description", stream.mDescription);
        ioJson.Bool("attached_picture", stream.mIsAttachedPicture);
        ioJson.Bool("default", stream.mIsDefault);
        ioJson.End();
    }
    ioJson.End();
    ioJson.Bool("audio", inFacts.mHasAudio);
    ioJson.BeginObject("tags");
    for (const auto& [name, value] : inFacts.mTags)
    {
        ioJson.Text(name, value);
    }
    ioJson.End();
    ioJson.BeginList("notes");
    for (const std::string& note : inFacts.mNotes)
    {
        ioJson.Text("", note);
    }
    ioJson.End();
}

std::string ChainText(const Session::Clip& inClip)
{
    const MediaFacts& facts = inClip.Facts();
    const norviktypes::PixelAspectRatio& aspect = facts.mPixelAspectRatio;
    std::string links;
    for (const std::string& link : inClip.ChainLinks())
    {
        links += (links.empty() ? "" : ", ") + link;
    }
    std::string rate = "no rate";
    if (HasRate(facts))
    {
        rate = fmt::format("{} frames a second", RatioText(facts.mFrameRate));
        rate += facts.mFrameCount < 0 ? ", without an end" : fmt::format(", {} frames", facts.mFrameCount);
    }
    return Row("chain", links) +
           Row("output",
               fmt::format("{}x{}, pixels {}:{}, {}, {}", facts.mWidth, facts.mHeight, aspect.GetNumerator(),
                           aspect.GetDenominator(), FieldOrderName(facts.mFieldType), rate));
}

void AddChain(JsonWriter& ioJson, const Session::Clip& inClip)
{
    const MediaFacts& facts = inClip.Facts();
    ioJson.BeginList("chain");
    for (const std::string& link : inClip.ChainLinks())
    {
        ioJson.Text("", link);
    }
    ioJson.End();
    ioJson.BeginObject("output");
    ioJson.Integer("width", facts.mWidth);
    ioJson.Integer("height", facts.mHeight);
    ioJson.Text("pixel_aspect", fmt::format("{}:{}", facts.mPixelAspectRatio.GetNumerator(),
                                            facts.mPixelAspectRatio.GetDenominator()));
    ioJson.Text("field_order", FieldOrderName(facts.mFieldType));
    AddTimes(ioJson, facts);
    ioJson.End();
}

// inChain: the clip whose chain is told of as well; null: none.
std::string InfoJson(const std::string& inPath, const MediaFacts& inFacts, const Session::Clip* inChain)
{
    JsonWriter json(true);
    json.Text("file", inPath);
    json.Text("container", inFacts.mContainer);
    json.Text("codec", inFacts.mCodec);
    json.Text("profile", inFacts.mProfile);
    json.Text("pixel_format", inFacts.mCodedFormat);
    json.Text("native_format", inFacts.mNativeFormat);
    json.Integer("bit_depth", inFacts.mBitDepth);
    json.Integer("width", inFacts.mWidth);
    json.Integer("height", inFacts.mHeight);
    json.Text("pixel_aspect", fmt::format("{}:{}", inFacts.mPixelAspectRatio.GetNumerator(),
                                          inFacts.mPixelAspectRatio.GetDenominator()));
    json.Text("field_order", FieldOrderName(inFacts.mFieldType));
    AddTimes(json, inFacts);
    AddColour(json, inFacts.mColor);
    json.Text("alpha", inFacts.mAlpha);
    json.Integer("rotation", inFacts.mRotation);
    json.Bool("still", inFacts.mIsStill);
    AddStreams(json, inFacts);
    if (inChain != nullptr)
    {
        AddChain(json, *inChain);
    }
    return json.Finish();
}

} // namespace

ExitCode RunInfo(const Options& inOptions)
{
    if (Session::IsTimelineFile(inOptions.mInput))
    {
        return RunTimelineInfo(inOptions);
    }
    if (!inOptions.mChain && !ConformingOf(inOptions).IsEmpty())
    {
        throw ToolError(ExitCode::kUsage,
                        "options for fields, speed, rate and shape need --chain, which tells "
                        "what they do");
    }
    const OpenInput input = OpenInputOf(inOptions, Session::AccessPattern::kScattered, {25, 1});
    const Session::Clip& clip = *input.mClip;
    const Session::Clip* const chain = inOptions.mChain ? &clip : nullptr;
    const MediaFacts& facts = clip.StreamFacts();
    console::PrintData(inOptions.mJson
                           ? InfoJson(inOptions.mInput, facts, chain)
                           : InfoText(inOptions.mInput, facts) + (chain != nullptr ? ChainText(clip) : ""));
    return ExitCode::kDone;
}

} // namespace vrender
