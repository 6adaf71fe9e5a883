// The frei0r plug-ins of this machine as effects: "frei0r:" and the name of the plug-in's file.
//
// Filters are filters, and sources are generators, which draw over whatever they are given. A mixer of two
// pictures is a transition where the table of traits names the parameter that drives it, else it is a blend
// with the picture of a track. What can't be used is described with the reason: mixers of three, plug-ins
// that crash, and stateful ones, whose picture depends on earlier frames or on chance, while frames are made
// in any order and on any thread here, but for what ProviderSettings allows.
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

class Sandbox;

struct ProviderSettings
{
    std::vector<std::string> mFolders; // empty: SearchFolders
    std::string mCacheFile;            // see ScanPlugins
    bool mAllowsStateful = false;      // they are given their frames in order, on one thread
    // Where plug-ins run in processes of their own, also those that crash; null: all run in this one.
    std::shared_ptr<Sandbox> mSandbox = nullptr;
};

// Looks at folders and plug-ins when it is first asked for its effects.
std::unique_ptr<Effects::IEffectProvider> CreatePluginProvider(ProviderSettings inSettings);

} // namespace Frei0r
