#include "norvik/logging/Logging.h"

#include "ReferenceHost/Foundation/LogOutput.h"

#include <atomic>
#include <fmt/format.h>
#include <memory>
#include <mutex>
#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/spdlog.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace norvik::logging
{

namespace
{

// Warnings and errors are for every user; what lies below is asked for.
std::atomic<int> sThreshold{kLogLevel_Warning};

struct Output
{
    Output() : mErrorStream("vr", std::make_shared<spdlog::sinks::stderr_sink_mt>())
    {
        mErrorStream.set_pattern("%H:%M:%S.%e %t [%l] %v");
        mErrorStream.set_level(spdlog::level::trace);
    }

    spdlog::logger mErrorStream;
    std::mutex mMutex;
    LogSink mSink;
    bool mSinkReplacesErrorStream = false;
};

// Lives for ever: other threads may log while the process ends.
Output& TheOutput()
{
    static Output* const sOutput = new Output;
    return *sOutput;
}

spdlog::level::level_enum SpdlogLevel(int inLevel)
{
    switch (inLevel)
    {
    case kLogLevel_Detail: return spdlog::level::trace;
    case kLogLevel_Information: return spdlog::level::debug;
    case kLogLevel_Notice: return spdlog::level::info;
    case kLogLevel_Warning: return spdlog::level::warn;
    default: return spdlog::level::err;
    }
}

template <class T>
bool FormatAs(const boost::any& inValue, std::string& outText)
{
    const T* value = boost::any_cast<T>(&inValue);
    if (value == nullptr)
    {
        return false;
    }
    if constexpr (std::is_same_v<T, WString>)
    {
        outText = utility::UTF16to8(*value);
    }
    else if constexpr (std::is_same_v<T, utility::ImmutableString>)
    {
        outText = value->View();
    }
    else if constexpr (std::is_same_v<T, UTF8String>)
    {
        outText = std::string_view(*value);
    }
    else
    {
        outText = fmt::format("{}", *value);
    }
    return true;
}

template <class... Types>
std::string FormatAny(const boost::any& inValue)
{
    std::string text;
    if (!(FormatAs<Types>(inValue, text) || ...))
    {
        text = fmt::format("<{}>", inValue.type().name());
    }
    return text;
}

std::string FormatField(const boost::any& inValue)
{
    return FormatAny<WString, UTF8String, utility::ImmutableString, std::string, const char*, bool, int32_t,
                     uint32_t, int64_t, uint64_t, double>(inValue);
}

} // namespace

std::string FormatRecord(const LogMessage& inMessage)
{
    std::string line;
    if (!inMessage.mChannel.empty())
    {
        line = fmt::format("[{}] ", inMessage.mChannel.View());
    }
    line += std::string_view(inMessage.mText);
    for (size_t index = 0; index < inMessage.mFields.size(); ++index)
    {
        const auto& [name, value] = inMessage.mFields[index];
        line += fmt::format("{}{}={}", index == 0 ? " {" : ", ", name, FormatField(value));
    }
    line += inMessage.mFields.empty() ? "" : "}";
    if (inMessage.mFunction != nullptr && *inMessage.mFunction != '\0')
    {
        line += fmt::format(" ({})", inMessage.mFunction);
    }
    return line;
}

void EmitRecord(const boost::shared_ptr<LogMessage>& inMessage) noexcept
{
    try
    {
        Output& output = TheOutput();
        LogSink sink;
        bool replaces = false;
        {
            const std::lock_guard<std::mutex> lock(output.mMutex);
            sink = output.mSink;
            replaces = output.mSinkReplacesErrorStream;
        }
        if (!sink || !replaces)
        {
            output.mErrorStream.log(SpdlogLevel(inMessage->mLevel), "{}", FormatRecord(*inMessage));
        }
        if (sink)
        {
            sink(inMessage);
        }
    }
    catch (...)
    {
        // A log that can't be written is no reason to fail what it tells of.
    }
}

bool LoggingIsEnabled()
{
    return sThreshold.load(std::memory_order_relaxed) < kLogLevel_Off;
}

void Log(const boost::shared_ptr<LogMessage>& inMessage)
{
    if (inMessage && inMessage->mLevel >= sThreshold.load(std::memory_order_relaxed))
    {
        EmitRecord(inMessage);
    }
}

void LogText(int inLevel, const char* inChannel, const UTF8String& inText)
{
    if (inLevel < sThreshold.load(std::memory_order_relaxed))
    {
        return;
    }
    const auto message = boost::make_shared<LogMessage>();
    message->mLevel = inLevel;
    message->mChannel = utility::ImmutableString::CreateDynamic(inChannel);
    message->mThreadID = static_cast<uint64_t>(syscall(SYS_gettid));
    message->mText = inText;
    EmitRecord(message);
}

void SetLogThreshold(int inLevel)
{
    sThreshold = inLevel;
}

void SetLogSink(const LogSink& inSink, bool inReplacesErrorStream)
{
    LogSink previous = inSink; // swapped out below and destroyed after the lock is gone
    Output& output = TheOutput();
    const std::lock_guard<std::mutex> lock(output.mMutex);
    output.mSink.swap(previous);
    output.mSinkReplacesErrorStream = inReplacesErrorStream;
}

} // namespace norvik::logging
