// Which library scales and converts where the routines here don't do it themselves.
//
// Thread-safety: safe.
#pragma once

#include <string>

namespace ir
{

// Its name, and the version that is loaded.
std::string ScalerVersion();

} // namespace ir
