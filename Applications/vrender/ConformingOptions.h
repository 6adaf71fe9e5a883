#pragma once

#include "Applications/vrender/Options.h"
#include "ReferenceHost/Session/Conforming.h"

// What the options ask to be made of a clip.
//
// Throws ToolError (kUsage) for values that make no sense, and for options that contradict each other. What the
// stream is not fit for is found when it is opened.
//
// Thread-safety: safe, a pure function.
namespace vrender
{

Session::Conforming ConformingOf(const Options& inOptions);

} // namespace vrender
