#include "VideoSourcePrefetcher_TimeOut.h"

#include "norvik/debug/Debug.h"
#include "norvik/logging/Logging.h"
#include "norvik/threads/Threads.h"
#include "norvik/utility/Strings.h"

#include <atomic>
#include <cstdint>
#include <string>

namespace ML::VideoSourcePrefetcher
{

namespace
{

constexpr char kFile[] = "Src/VideoSourcePrefetcher";
constexpr char kFunction[] = "ML::VideoSourcePrefetcher::`anonymous-namespace'::MediaPrefetcher::"
                             "ContinueWaitingForPrefetch";
constexpr char kChannel[] = "norvik.StructuredLogging";
constexpr char kText[] = "We have timed out on an async source. This probably shouldn't happen and will "
                         "result in performance problems";
constexpr int kTraceLevel = 5;

// Asks the channel again only after some channel has changed.
bool ChannelIsTraced()
{
    constexpr std::uint64_t kNeverAsked = ~std::uint64_t{0};
    static std::atomic<std::uint64_t> sAnswer{kNeverAsked}; // change count, and the answer in the lowest bit
    const std::uint64_t changes = norvik::debug::TraceChangeCount();
    std::uint64_t answer = sAnswer.load(std::memory_order_acquire);
    if (answer == kNeverAsked || answer >> 1 != changes)
    {
        answer = changes << 1 | (norvik::debug::TraceEnabled(kChannel, kTraceLevel) ? 1 : 0);
        sAnswer.store(answer, std::memory_order_release);
    }
    return (answer & 1) != 0;
}

void LogTimeOut(const norvik::WString& inMediaName, std::int64_t inFrame)
{
    const auto message = boost::make_shared<norvik::logging::LogMessage>();
    message->mLevel = norvik::logging::kLogLevel_Warning;
    message->mFile = kFile;
    message->mFunction = kFunction;
    message->mChannel = norvik::utility::ImmutableString::CreateStatic(kChannel);
    message->mThreadID = norvik::threads::GetCurrentThreadID();
    message->mFields.emplace_back("media", inMediaName);
    message->mFields.emplace_back("frame", inFrame);
    message->mText = kText;
    norvik::logging::Log(message);
}

void TraceTimeOut(const norvik::WString& inMediaName, std::int64_t inFrame)
{
    norvik::UTF8String line("<");
    line += std::to_string(norvik::threads::GetCurrentThreadID()).c_str();
    line += "> <";
    line += kChannel;
    line += "><";
    line += std::to_string(kTraceLevel).c_str();
    line += ">";
    line += kText;
    line += ", media: ";
    line += norvik::utility::UTF16to8(inMediaName);
    line += ", frame: ";
    line += std::to_string(inFrame).c_str();
    norvik::debug::Trace(kChannel, kTraceLevel, line);
}

} // namespace

void ReportAsyncTimeOut(const norvik::WString& inMediaName, const norviktypes::TickTime& inTime,
                        const BE::IVideoSourceRef& inSource)
{
    norviktypes::FrameRate rate;
    inSource->GetFrameRate(rate);
    const std::int64_t frame = inTime.ToFrame64(rate);
    if (norvik::logging::LoggingIsEnabled())
    {
        LogTimeOut(inMediaName, frame);
    }
    if (ChannelIsTraced())
    {
        TraceTimeOut(inMediaName, frame);
    }
}

} // namespace ML::VideoSourcePrefetcher
