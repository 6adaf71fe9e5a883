#include "ReferenceHost/Media/LibraryLog.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <mutex>

#include "ReferenceHost/Media/FFmpeg/FFmpegTypes.h"

namespace Media
{

namespace
{

// A reading part and a writing part, with room for as many again.
constexpr std::size_t kMostListeners = 4;

// Messages come from threads that hold locks of the libraries', so that nothing is locked here.
std::array<std::atomic<LibraryListener>, kMostListeners> sListeners{};

void PassOn(void* inObject, int inLevel, const char* inFormat, va_list inArguments)
{
    if (inLevel > AV_LOG_ERROR)
    {
        return;
    }
    for (const std::atomic<LibraryListener>& place : sListeners)
    {
        const LibraryListener listener = place.load(std::memory_order_acquire);
        if (listener)
        {
            va_list copy;
            va_copy(copy, inArguments);
            listener(inObject, inLevel, inFormat, copy);
            va_end(copy);
        }
    }
}

}

bool ListenToLibraries(LibraryListener inListener)
{
    static std::once_flag sOnce;
    std::call_once(sOnce, [] { av_log_set_callback(PassOn); });
    for (std::atomic<LibraryListener>& place : sListeners)
    {
        LibraryListener present = nullptr;
        if (place.compare_exchange_strong(present, inListener) || present == inListener)
        {
            return true;
        }
    }
    return false;
}

}
