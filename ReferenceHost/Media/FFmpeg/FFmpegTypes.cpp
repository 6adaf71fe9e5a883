#include "ReferenceHost/Media/FFmpeg/FFmpegTypes.h"

#include <cstdarg>
#include <cstdio>

#include "ReferenceHost/Media/LibraryLog.h"

namespace Media
{

namespace
{

std::string& LastLogLine()
{
    thread_local std::string line;
    return line;
}

// Media is written while it's read, and what an encoder says is no cause of a failure to read.
bool ComesFromWriting(void* inObject)
{
    const AVClass* const kind = inObject ? *static_cast<const AVClass**>(inObject) : nullptr;
    if (!kind)
    {
        return false;
    }
    const AVClassCategory category = kind->get_category ? kind->get_category(inObject) : kind->category;
    return category == AV_CLASS_CATEGORY_ENCODER || category == AV_CLASS_CATEGORY_MUXER;
}

void KeepLogLine(void* inObject, int, const char* inFormat, va_list inArguments)
{
    if (ComesFromWriting(inObject))
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
    ListenToLibraries(KeepLogLine);
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
