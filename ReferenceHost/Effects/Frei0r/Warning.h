// Warnings about plug-ins.
//
// Thread-safety: safe.
#pragma once

#include "norvik/logging/Logging.h"

#include <string>

namespace Frei0r
{

inline void Warn(const std::string& inText)
{
    norvik::logging::LogText(norvik::logging::kLogLevel_Warning, "Frei0r", inText.c_str());
}

} // namespace Frei0r
