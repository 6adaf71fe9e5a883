#include "ReferenceHost/Project/Otio/Document.h"

#include "ReferenceHost/Project/Otio/JsonText.h"
#include "ReferenceHost/Project/Otio/SchemaReader.h"

#include <algorithm>
#include <charconv>
#include <fmt/format.h>

namespace Otio
{

namespace
{

// Names in an error are for a person to choose from.
constexpr std::size_t kMostNames = 20;

std::string NameList(const Document& inDocument)
{
    std::string names;
    for (std::size_t index = 0; index < std::min(inDocument.mTimelines.size(), kMostNames); ++index)
    {
        names +=
            fmt::format("{}{} \"{}\"", index == 0 ? "" : ", ", index, inDocument.mTimelines[index].mName);
    }
    return names;
}

}

Document ReadDocument(std::string_view inText, ProblemList& ioProblems)
{
    Document document;
    JsonText text;
    if (!text.Parse(inText, ioProblems))
    {
        return document;
    }
    ReadContext context{document.mPaths, ioProblems};
    SchemaReader(context, text.Root()).ReadRoot({&text.Root(), kRootPath}, document.mTimelines, 0);
    if (document.mTimelines.empty() && !ioProblems.HasErrors())
    {
        ioProblems.Fail("no-timeline", "", "the document holds no timeline");
    }
    return document;
}

const TimelineObject* ChooseTimeline(const Document& inDocument, const std::string& inChoice,
                                     ProblemList& ioProblems)
{
    const std::vector<TimelineObject>& timelines = inDocument.mTimelines;
    const auto named = std::find_if(timelines.begin(), timelines.end(),
                                    [&](const TimelineObject& inTimeline)
                                    { return !inChoice.empty() && inTimeline.mName == inChoice; });
    if (named != timelines.end())
    {
        return &*named;
    }
    std::size_t index = 0;
    const auto [end, fault] = std::from_chars(inChoice.data(), inChoice.data() + inChoice.size(), index);
    const bool isIndex = fault == std::errc() && end == inChoice.data() + inChoice.size();
    if ((isIndex || inChoice.empty()) && index < timelines.size())
    {
        return &timelines[index];
    }
    if (!timelines.empty())
    {
        ioProblems.Fail(
            "no-such-timeline", "",
            fmt::format("no timeline is called \"{}\"; there are {}", inChoice, NameList(inDocument)));
    }
    return nullptr;
}

}
