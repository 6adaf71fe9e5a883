#include "Applications/vrender/CommandSupport.h"
#include "Applications/vrender/Commands.h"
#include "Applications/vrender/Console.h"
#include "Applications/vrender/Json.h"
#include "ReferenceHost/Session/TimelineGraph.h"

#include <fmt/format.h>

#include <optional>

namespace vrender
{

namespace
{

using Session::GraphNode;
using Session::GraphSegment;
using Session::kNoGraphNode;
using Session::TimelineGraph;

// The first digits of a hash, which tell nodes of one timeline apart.
constexpr std::size_t kShortHash = 12;

std::string Short(const std::string& inHash)
{
    return inHash.substr(0, kShortHash);
}

std::string NameOf(std::size_t inNode)
{
    return inNode == kNoGraphNode ? "nothing" : fmt::format("node {}", inNode);
}

std::string Flags(const GraphNode& inNode)
{
    std::string text;
    for (const std::string& name : inNode.mFlagNames)
    {
        text += " " + name;
    }
    return text;
}

std::string TextOf(const GraphSegment& inSegment)
{
    return fmt::format("segment {}: {:.6f} s to {:.6f} s, {} from {:.6f} s\n", inSegment.mIndex,
                       inSegment.mStart.AsSeconds(), inSegment.mEnd.AsSeconds(), NameOf(inSegment.mNode),
                       inSegment.mNodeOffset.AsSeconds());
}

std::string TextOf(const GraphNode& inNode, std::size_t inIndex)
{
    std::string text =
        fmt::format("\nnode {}: {}, {}{}\n", inIndex, inNode.mType, inNode.mHash, Flags(inNode));
    for (const auto& [key, value] : inNode.mProperties)
    {
        text += fmt::format("    {} = {}\n", key, JsonQuoted(value));
    }
    for (std::size_t i = 0; i < inNode.mInputs.size(); ++i)
    {
        text += fmt::format("    input {}: {} at {:.6f} s\n", i, NameOf(inNode.mInputs[i].mNode),
                            inNode.mInputs[i].mOffset.AsSeconds());
    }
    for (std::size_t i = 0; i < inNode.mOperators.size(); ++i)
    {
        text += fmt::format("    operator {}: {}\n", i, NameOf(inNode.mOperators[i]));
    }
    return text;
}

std::string TextOf(const TimelineGraph& inGraph)
{
    std::string text = fmt::format("cutlist {}, {} segment{}\n", inGraph.mHash, inGraph.mSegmentCount,
                                   inGraph.mSegmentCount == 1 ? "" : "s");
    for (const GraphSegment& segment : inGraph.mSegments)
    {
        text += TextOf(segment);
    }
    text += inGraph.mSegments.empty() ? "nothing plays here\n" : "";
    for (std::size_t i = 0; i < inGraph.mNodes.size(); ++i)
    {
        text += TextOf(inGraph.mNodes[i], i);
    }
    return text;
}

void AddPlace(JsonWriter& ioJson, const std::string& inName, std::size_t inNode)
{
    if (inNode == kNoGraphNode)
    {
        ioJson.Null(inName);
    }
    else
    {
        ioJson.Integer(inName, static_cast<std::int64_t>(inNode));
    }
}

void Add(JsonWriter& ioJson, const GraphSegment& inSegment)
{
    ioJson.BeginObject("");
    ioJson.Integer("index", static_cast<std::int64_t>(inSegment.mIndex));
    ioJson.Integer("start_ticks", inSegment.mStart.GetTicks());
    ioJson.Integer("end_ticks", inSegment.mEnd.GetTicks());
    ioJson.Integer("node_offset_ticks", inSegment.mNodeOffset.GetTicks());
    AddPlace(ioJson, "node", inSegment.mNode);
    ioJson.End();
}

void Add(JsonWriter& ioJson, const GraphNode& inNode)
{
    ioJson.BeginObject("");
    ioJson.Text("type", inNode.mType);
    ioJson.Text("hash", inNode.mHash);
    ioJson.BeginList("flags");
    for (const std::string& name : inNode.mFlagNames)
    {
        ioJson.Text("", name);
    }
    ioJson.End();
    ioJson.BeginObject("properties");
    for (const auto& [key, value] : inNode.mProperties)
    {
        ioJson.Text(key, value);
    }
    ioJson.End();
    ioJson.BeginList("inputs");
    for (const Session::GraphInput& input : inNode.mInputs)
    {
        ioJson.BeginObject("");
        AddPlace(ioJson, "node", input.mNode);
        ioJson.Integer("offset_ticks", input.mOffset.GetTicks());
        ioJson.End();
    }
    ioJson.End();
    ioJson.BeginList("operators");
    for (const std::size_t place : inNode.mOperators)
    {
        AddPlace(ioJson, "", place);
    }
    ioJson.End();
    ioJson.End();
}

std::string JsonOf(const TimelineGraph& inGraph)
{
    JsonWriter json(true);
    json.Text("cutlist", inGraph.mHash);
    json.Integer("segment_count", static_cast<std::int64_t>(inGraph.mSegmentCount));
    json.BeginList("segments");
    for (const GraphSegment& segment : inGraph.mSegments)
    {
        Add(json, segment);
    }
    json.End();
    json.BeginList("nodes");
    for (const GraphNode& node : inGraph.mNodes)
    {
        Add(json, node);
    }
    json.End();
    return json.Finish();
}

// One line of a label, set to the left.
std::string DotLine(const std::string& inText)
{
    std::string line;
    for (const char c : inText)
    {
        if (c == '"' || c == '\\')
        {
            line += '\\';
        }
        line += static_cast<unsigned char>(c) < ' ' ? ' ' : c;
    }
    return line + "\\l";
}

std::string DotNode(const GraphNode& inNode, std::size_t inIndex)
{
    std::string label = DotLine(fmt::format("{} {}", inNode.mType, Short(inNode.mHash)));
    label += inNode.mFlagNames.empty() ? "" : DotLine(Flags(inNode).substr(1));
    for (const auto& [key, value] : inNode.mProperties)
    {
        label += DotLine(key + " = " + value);
    }
    std::string text = fmt::format("  n{} [label=\"{}\"];\n", inIndex, label);
    for (std::size_t i = 0; i < inNode.mInputs.size(); ++i)
    {
        const Session::GraphInput& input = inNode.mInputs[i];
        if (input.mNode != kNoGraphNode)
        {
            text += fmt::format("  n{} -> n{} [label=\"{} at {:.6g} s\"];\n", inIndex, input.mNode, i,
                                input.mOffset.AsSeconds());
        }
    }
    for (std::size_t i = 0; i < inNode.mOperators.size(); ++i)
    {
        if (inNode.mOperators[i] != kNoGraphNode)
        {
            text += fmt::format("  n{} -> n{} [label=\"operator {}\", style=dashed];\n", inIndex,
                                inNode.mOperators[i], i);
        }
    }
    return text;
}

std::string DotOf(const TimelineGraph& inGraph)
{
    std::string text = "digraph timeline {\n  rankdir=LR;\n  node [shape=box, fontname=monospace];\n";
    for (const GraphSegment& segment : inGraph.mSegments)
    {
        text +=
            fmt::format("  s{} [shape=cds, label=\"segment {}\\n{:.6g} s to {:.6g} s\"];\n", segment.mIndex,
                        segment.mIndex, segment.mStart.AsSeconds(), segment.mEnd.AsSeconds());
        if (segment.mNode != kNoGraphNode)
        {
            text += fmt::format("  s{} -> n{} [label=\"from {:.6g} s\"];\n", segment.mIndex, segment.mNode,
                                segment.mNodeOffset.AsSeconds());
        }
    }
    for (std::size_t i = 0; i < inGraph.mNodes.size(); ++i)
    {
        text += DotNode(inGraph.mNodes[i], i);
    }
    return text + "}\n";
}

enum class Form
{
    kText,
    kJson,
    kDot
};

Form FormOf(const Options& inOptions)
{
    const std::string& name = inOptions.mFormat;
    if (name.empty() || name == "text" || name == "json")
    {
        return name == "json" || (name.empty() && inOptions.mJson) ? Form::kJson : Form::kText;
    }
    if (name != "dot")
    {
        throw ToolError(ExitCode::kUsage, "--format: '" + name + "' is none of text, json and dot");
    }
    return Form::kDot;
}

} // namespace

ExitCode RunInspect(const Options& inOptions)
{
    const Form form = FormOf(inOptions);
    const std::optional<TimeExpression> time =
        inOptions.mTime.empty() ? std::nullopt : std::optional(ParseTime("--time", inOptions.mTime));
    if (!Session::IsTimelineFile(inOptions.mInput))
    {
        throw ToolError(ExitCode::kUsage,
                        inOptions.mInput + ": is no timeline; its name ends in .otio, .otioz or .otiod");
    }
    const OpenInput input = OpenInputOf(inOptions, Session::AccessPattern::kScattered, {25, 1});
    std::optional<norviktypes::TickTime> at;
    if (time)
    {
        at = input.mTimeline.mFrameStart(ResolveFrame("--time", *time, input.mTimeline));
    }
    const std::optional<TimelineGraph> graph = Session::ReadTimelineGraph(*input.mSequence, at);
    if (!graph)
    {
        throw ToolError(ExitCode::kBadData, inOptions.mInput + ": nothing could be made of it");
    }
    console::PrintData(form == Form::kText   ? TextOf(*graph)
                       : form == Form::kJson ? JsonOf(*graph)
                                             : DotOf(*graph));
    return WithWhatIsMissing(ExitCode::kDone, input);
}

} // namespace vrender
