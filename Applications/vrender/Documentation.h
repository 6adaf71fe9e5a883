#pragma once

#include "Applications/vrender/Options.h"

#include <string>

// Texts that are made from the option table: help, manual page and shell completions.
//
// Thread-safety: safe, pure functions.
namespace vrender
{

// The help of one command; of the whole tool for kCommand_None.
std::string HelpText(Command inCommand);

// The manual page in roff, for section 1.
std::string ManualPage(const std::string& inVersion);

std::string BashCompletion();
std::string ZshCompletion();
std::string FishCompletion();

} // namespace vrender
