#include "ReferenceHost/Foundation/CallLogged.h"

#include "norvik/logging/Logging.h"

#include <fmt/format.h>

namespace Foundation
{

void LogFailure(const char* inChannel, const char* inWho, const char* inWhy) noexcept
{
    try
    {
        norvik::logging::LogText(norvik::logging::kLogLevel_Error, inChannel,
                                 fmt::format("{} has failed: {}", inWho, inWhy).c_str());
    }
    catch (...)
    {
        // Out of memory for the text: the thread goes on all the same.
    }
}

} // namespace Foundation
