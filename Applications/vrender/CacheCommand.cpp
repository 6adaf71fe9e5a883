#include "Applications/vrender/Commands.h"
#include "Applications/vrender/Console.h"
#include "Applications/vrender/Json.h"
#include "Applications/vrender/OptionValues.h"
#include "ReferenceHost/Session/StoredFrames.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <ctime>
#include <functional>
#include <numeric>
#include <optional>

namespace vrender
{

namespace
{

using Session::StoredFrame;
using Session::StoredFrames;

constexpr std::size_t kStrangersToName = 5;

std::string DirectoryOf(const Options& inOptions)
{
    const std::optional<std::string> chosen =
        inOptions.mDiskCache.empty() ? std::string() : ParseDiskCache("--disk-cache", inOptions.mDiskCache);
    if (!chosen)
    {
        throw ToolError(ExitCode::kUsage, "cache: --disk-cache off names no cache");
    }
    const std::string directory = Session::StoredFramesDirectory(*chosen);
    if (directory.empty())
    {
        throw ToolError(ExitCode::kNoInput,
                        "there is no usual cache folder, as neither XDG_CACHE_HOME nor HOME is "
                        "an absolute path; --disk-cache names one");
    }
    return directory;
}

std::string TimeText(std::int64_t inSeconds)
{
    const std::time_t seconds = inSeconds;
    std::tm parts{};
    std::array<char, 32> text{};
    if (::gmtime_r(&seconds, &parts) == nullptr ||
        std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &parts) == 0)
    {
        return "?";
    }
    return text.data();
}

std::uint64_t BytesOf(const std::vector<StoredFrame>& inFrames)
{
    return std::accumulate(inFrames.begin(), inFrames.end(), std::uint64_t{0},
                           [](std::uint64_t inSum, const StoredFrame& inFrame)
                           { return inSum + inFrame.mBytes; });
}

void AddNames(JsonWriter& ioJson, const char* inName, const std::vector<std::string>& inNames)
{
    ioJson.BeginList(inName);
    for (const std::string& name : inNames)
    {
        ioJson.Text("", name);
    }
    ioJson.End();
}

// What all three answers begin and end with.
std::string JsonAnswer(const StoredFrames& inCache, const std::function<void(JsonWriter&)>& inAddRest)
{
    JsonWriter json(true);
    json.Text("directory", inCache.Directory());
    inAddRest(json);
    AddNames(json, "strangers", inCache.Strangers());
    return json.Finish();
}

void SayStrangers(const StoredFrames& inCache)
{
    const std::vector<std::string> strangers = inCache.Strangers();
    std::string names;
    for (std::size_t i = 0; i < std::min(strangers.size(), kStrangersToName); ++i)
    {
        names += (i == 0 ? "'" : ", '") + strangers[i] + "'";
    }
    if (!strangers.empty())
    {
        console::Say(fmt::format("{}: {}{} {} not the cache's, and left alone", inCache.Directory(), names,
                                 strangers.size() > kStrangersToName
                                     ? fmt::format(" and {} more", strangers.size() - kStrangersToName)
                                     : "",
                                 strangers.size() == 1 ? "is" : "are"));
    }
}

std::string FramesText(std::size_t inCount)
{
    return fmt::format("{} frame{}", inCount, inCount == 1 ? "" : "s");
}

ExitCode ListFrames(const StoredFrames& inCache, bool inAsJson)
{
    const std::vector<StoredFrame> frames = inCache.List();
    if (inAsJson)
    {
        console::PrintData(JsonAnswer(inCache,
                                      [&](JsonWriter& ioJson)
                                      {
                                          ioJson.Integer("bytes", static_cast<std::int64_t>(BytesOf(frames)));
                                          ioJson.BeginList("frames");
                                          for (const StoredFrame& frame : frames)
                                          {
                                              ioJson.BeginObject("");
                                              ioJson.Text("name", frame.mName);
                                              ioJson.Integer("bytes",
                                                             static_cast<std::int64_t>(frame.mBytes));
                                              ioJson.Text("used", TimeText(frame.mUsedSeconds));
                                              ioJson.End();
                                          }
                                          ioJson.End();
                                      }));
        return ExitCode::kDone;
    }
    std::string text;
    for (const StoredFrame& frame : frames)
    {
        text += fmt::format("{} {:>12} {}\n", TimeText(frame.mUsedSeconds), frame.mBytes, frame.mName);
    }
    console::PrintData(text + fmt::format("{}: {}, {} bytes\n", inCache.Directory(),
                                          FramesText(frames.size()), BytesOf(frames)));
    return ExitCode::kDone;
}

ExitCode VerifyFrames(StoredFrames& ioCache, bool inAsJson)
{
    const std::vector<StoredFrame> damaged = ioCache.Verify();
    const std::size_t whole = ioCache.List().size();
    std::vector<std::string> names;
    for (const StoredFrame& frame : damaged)
    {
        names.push_back(frame.mName);
    }
    if (inAsJson)
    {
        console::PrintData(JsonAnswer(ioCache,
                                      [&](JsonWriter& ioJson)
                                      {
                                          ioJson.Integer("whole", static_cast<std::int64_t>(whole));
                                          AddNames(ioJson, "damaged", names);
                                      }));
    }
    else
    {
        std::string text;
        for (const std::string& name : names)
        {
            text += fmt::format("damaged: {}\n", name);
        }
        console::PrintData(text + fmt::format("{}: {} whole, {} damaged\n", ioCache.Directory(),
                                              FramesText(whole), damaged.size()));
    }
    if (!damaged.empty())
    {
        throw ToolError(ExitCode::kBadData, fmt::format("{}: {} damaged; they will be made again",
                                                        ioCache.Directory(), FramesText(damaged.size())));
    }
    return ExitCode::kDone;
}

ExitCode ClearFrames(StoredFrames& ioCache, bool inAsJson)
{
    const std::size_t removed = ioCache.Clear();
    const std::size_t left = ioCache.List().size();
    console::PrintData(inAsJson
                           ? JsonAnswer(ioCache,
                                        [&](JsonWriter& ioJson)
                                        {
                                            ioJson.Integer("removed", static_cast<std::int64_t>(removed));
                                            ioJson.Integer("left", static_cast<std::int64_t>(left));
                                        })
                           : fmt::format("{}: {} removed\n", ioCache.Directory(), FramesText(removed)));
    if (left > 0)
    {
        throw ToolError(ExitCode::kIOError,
                        fmt::format("{}: {} can't be removed", ioCache.Directory(), FramesText(left)));
    }
    return ExitCode::kDone;
}

} // namespace

ExitCode RunCache(const Options& inOptions)
{
    StoredFrames cache(DirectoryOf(inOptions));
    if (!cache.WhyNot().empty())
    {
        throw ToolError(ExitCode::kBadData, cache.WhyNot());
    }
    if (!inOptions.mJson)
    {
        SayStrangers(cache);
    }
    if (inOptions.mAction == "list")
    {
        return ListFrames(cache, inOptions.mJson);
    }
    return inOptions.mAction == "verify" ? VerifyFrames(cache, inOptions.mJson)
                                         : ClearFrames(cache, inOptions.mJson);
}

} // namespace vrender
