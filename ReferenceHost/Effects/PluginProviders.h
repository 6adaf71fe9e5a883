// The providers beside the built-in one: effects that are plug-ins of this machine.
//
// Thread-safety: safe.
#pragma once

#include "ReferenceHost/Effects/EffectRegistry.h"

#include <string>

namespace Effects
{

// How plug-ins are taken.
struct PluginPolicy
{
    bool mAllowsStateful =
        false;                 // those that depend on earlier frames are given them in order, on one thread
    bool mIsSandboxed = false; // each runs in a process of its own
};

// Adds what this host was built with; again for a registry that has it does nothing. Nothing is looked for before
// an effect is. inCacheFolder: where it is kept what plug-ins say of themselves; empty: nowhere.
void AddPluginProviders(EffectRegistry& ioRegistry, const std::string& inCacheFolder,
                        const PluginPolicy& inPolicy = {});

} // namespace Effects
