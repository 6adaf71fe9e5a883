// What plug-in files say of themselves, asked in a process of its own: a plug-in that crashes or hangs as
// soon as it is touched must not take a render with it.
//
// One child asks one plug-in after the other, and a new one goes on behind the plug-in that an earlier one
// died of.
//
// Thread-safety: safe.
#pragma once

#include "ReferenceHost/Effects/Frei0r/PluginFacts.h"

#include <string>
#include <vector>

namespace Frei0r
{

// Answers in the order of the files. inSeconds: how long one plug-in may keep silent.
std::vector<ScannedPlugin> ProbePlugins(const std::vector<PluginFileName>& inFiles, int inSeconds = 30);

// The same, but plug-ins whose file is as it was are read from inCacheFile, which is written anew where
// anything has changed. An empty name is no cache; one that can't be read or written is as good as none.
std::vector<ScannedPlugin> ScanPlugins(const std::vector<PluginFileName>& inFiles,
                                       const std::string& inCacheFile);

} // namespace Frei0r
