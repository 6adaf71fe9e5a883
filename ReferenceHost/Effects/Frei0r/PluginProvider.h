// The frei0r plug-ins of this machine as effects: "frei0r:" and the name of the plug-in's file.
//
// Filters are filters. A mixer of two pictures is a transition where the table of traits names the parameter that
// drives it. Everything else is described with the reason why it can't be used, as are plug-ins that crash, and
// those whose picture depends on earlier frames or on chance: frames are made in any order and on any thread here,
// and a frame must come out the same each time.
//
// Numbers go from 0 to 1, whatever they stand for: plug-ins do not tell.
//
// Thread-safety: safe.
#pragma once

#include "ReferenceHost/Effects/EffectRegistry.h"

#include <memory>
#include <string>
#include <vector>

namespace Frei0r
{

struct ProviderSettings
{
    std::vector<std::string> mFolders; // empty: SearchFolders
    std::string mCacheFile;            // see ScanPlugins
};

// Looks at folders and plug-ins when it is first asked for its effects.
std::unique_ptr<Effects::IEffectProvider> CreatePluginProvider(ProviderSettings inSettings);

} // namespace Frei0r
