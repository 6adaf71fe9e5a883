#include "Applications/vrender/CommandSupport.h"
#include "Applications/vrender/Commands.h"
#include "Applications/vrender/Console.h"
#include "Applications/vrender/Json.h"

#include <fmt/format.h>

namespace vrender
{

namespace
{

std::string Counted(std::uint64_t inCount, const char* inWhat)
{
    return fmt::format("{} {}{}", inCount, inWhat, inCount == 1 ? "" : "s");
}

std::string TextOf(const std::string& inPath, const Session::OpenedTimeline& inDocument)
{
    std::string text;
    for (const Session::TimelineProblem& problem : inDocument.mProblems)
    {
        text += problem.Line() + "\n";
    }
    const std::uint64_t kept = inDocument.mProblems.size();
    const std::uint64_t all = inDocument.mErrors + inDocument.mWarnings;
    text += all > kept ? fmt::format("{} more\n", all - kept) : "";
    return text + fmt::format("{}: {}, {}\n", inPath, Counted(inDocument.mErrors, "error"),
                              Counted(inDocument.mWarnings, "warning"));
}

std::string JsonOf(const std::string& inPath, const Session::OpenedTimeline& inDocument)
{
    JsonWriter json(true);
    json.Text("file", inPath);
    json.Bool("usable", inDocument.mTimeline != nullptr);
    json.Integer("errors", static_cast<std::int64_t>(inDocument.mErrors));
    json.Integer("warnings", static_cast<std::int64_t>(inDocument.mWarnings));
    json.BeginList("problems");
    for (const Session::TimelineProblem& problem : inDocument.mProblems)
    {
        json.BeginObject("");
        json.Text("severity", problem.mIsError ? "error" : "warning");
        json.Text("kind", problem.mKind);
        json.Text("pointer", problem.mPointer);
        json.Text("text", problem.mText);
        json.End();
    }
    json.End();
    return json.Finish();
}

} // namespace

ExitCode RunValidate(const Options& inOptions)
{
    if (!Session::IsTimelineFile(inOptions.mInput))
    {
        throw ToolError(ExitCode::kUsage,
                        inOptions.mInput + ": is no timeline; its name ends in .otio, .otioz or .otiod");
    }
    const ToolHost host = OpenHost(inOptions, Session::AccessPattern::kScattered);
    const Session::OpenedTimeline document = Session::OpenTimeline(
        inOptions.mInput, TimelineOptionsOf(inOptions, host, Session::AccessPattern::kScattered));
    const bool isThere =
        document.mTimeline != nullptr || document.mError.mKind != Media::OpenErrorKind::kNoInput;
    if (!isThere)
    {
        throw ToolError(ExitCode::kNoInput, document.mError.mText);
    }
    console::PrintData(inOptions.mJson ? JsonOf(inOptions.mInput, document)
                                       : TextOf(inOptions.mInput, document));
    if (document.mTimeline == nullptr)
    {
        throw ToolError(CodeOf(document.mError.mKind), document.mError.mText);
    }
    return document.mErrors > 0 ? ExitCode::kBadData : ExitCode::kDone;
}

} // namespace vrender
