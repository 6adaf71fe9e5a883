#include "ReferenceHost/Media/FFmpeg/FFmpegTypes.h"

#include <cstdarg>
#include <cstdio>
#include <mutex>

namespace Media
{

namespace
{

std::string& LastLogLine()
{
    thread_local std::string line;
    return line;
}

void KeepLogLine(void* inObject, int inLevel, const char* inFormat, va_list inArguments)
{
    (void)inObject;
    if (inLevel > AV_LOG_ERROR)
    {
        return;
    }
    char text[256];
    std::vsnprintf(text, sizeof text, inFormat, inArguments);
    std::string line(text);
    while (!line.empty() && (line.back() == '\n' || line.back() == ' ' || line.back() == '.'))
    {
        line.pop_back();
    }
    for (char& character : line)
    {
        if (static_cast<unsigned char>(character) < 0x20)
        {
            character = ' ';
        }
    }
    if (!line.empty())
    {
        LastLogLine() = std::move(line);
    }
}

}

void CaptureLog()
{
    static std::once_flag sOnce;
    std::call_once(sOnce, [] { av_log_set_callback(KeepLogLine); });
}

void ForgetLogLine()
{
    LastLogLine().clear();
}

std::string ErrorText(int inError)
{
    char text[AV_ERROR_MAX_STRING_SIZE] = "";
    av_strerror(inError, text, sizeof text);
    std::string result(text);
    if (!LastLogLine().empty())
    {
        result += " (" + LastLogLine() + ")";
    }
    return result;
}

}
