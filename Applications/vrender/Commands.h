#pragma once

#include "Applications/vrender/ExitCodes.h"
#include "Applications/vrender/Options.h"

#include <string>

// The subcommands. Each runs to its end and gives the exit code, or throws ToolError.
//
// Thread-safety: main thread.
namespace vrender
{

ExitCode RunRender(const Options& inOptions);
ExitCode RunFrame(const Options& inOptions);
ExitCode RunThumbnails(const Options& inOptions);
ExitCode RunContactSheet(const Options& inOptions);
ExitCode RunExplain(const Options& inOptions);
ExitCode RunInfo(const Options& inOptions);
// Of a document; RunInfo comes here.
ExitCode RunTimelineInfo(const Options& inOptions);
ExitCode RunValidate(const Options& inOptions);
// Of a document.
ExitCode RunInspect(const Options& inOptions);
ExitCode RunCompare(const Options& inOptions);
ExitCode RunCache(const Options& inOptions);
ExitCode RunPlugins(const Options& inOptions);

// Name, version and the parts with their licences.
std::string VersionText();
std::string VersionNumber();

} // namespace vrender
