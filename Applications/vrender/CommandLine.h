#pragma once

#include "Applications/vrender/Options.h"

// Reads the command line by the option table.
//
// Thread-safety: one thread.
namespace vrender
{

// Throws ToolError (kUsage) with one line that names the wrong word. --help and --version are found
// wherever they stand; then nothing else needs to be there.
Options ParseCommandLine(int inCount, const char* const* inWords);

} // namespace vrender
