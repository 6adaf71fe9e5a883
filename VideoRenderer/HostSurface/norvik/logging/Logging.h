#pragma once

#include "Platform.h"
#include "norvik/BoostTypes.h"
#include "norvik/utility/Strings.h"

#include <boost/any.hpp>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace norvik::logging
{

// Severities, rising. Records below the log's threshold are dropped.
inline constexpr int kLogLevel_Detail = 1;
inline constexpr int kLogLevel_Information = 2;
inline constexpr int kLogLevel_Notice = 3;
inline constexpr int kLogLevel_Warning = 4;
inline constexpr int kLogLevel_Error = 5;
inline constexpr int kLogLevel_Off = 6;

// One structured record. File and function are literals; the fields hold WString, UTF8String,
// ImmutableString, std::string, bool, int, double or 64- and 32-bit integers; others are shown by their type.
//
// Thread-safety: filled by one thread, immutable once logged.
struct LogMessage
{
    int mLevel = kLogLevel_Notice;
    const char* mFile = "";
    const char* mFunction = "";
    utility::ImmutableString mChannel;
    uint64_t mThreadID = 0;
    std::vector<std::pair<std::string, boost::any>> mFields;
    UTF8String mText;
};

// Whether any record would be shown or kept; callers may skip building one.
ML_EXPORT bool LoggingIsEnabled();

// Shows a record on the error stream and hands it to the sink. Never throws; null does nothing.
ML_EXPORT void Log(const boost::shared_ptr<LogMessage>& inMessage);

// The short form: a text of a channel.
ML_EXPORT void LogText(int inLevel, const char* inChannel, const UTF8String& inText);

// Lowest severity that is shown. At the start kLogLevel_Warning. kLogLevel_Off shows nothing.
ML_EXPORT void SetLogThreshold(int inLevel);

// Gets every record that passes the threshold, on the thread that logged it and with no lock held; an empty
// function removes it. Records go to the error stream as well unless inReplacesErrorStream.
using LogSink = boost::function<void(const boost::shared_ptr<LogMessage>&)>;
ML_EXPORT void SetLogSink(const LogSink& inSink, bool inReplacesErrorStream = false);

} // namespace norvik::logging

// Thread-safety: all functions are safe.
