// The providers beside the built-in one: effects that are plug-ins of this machine.
//
// Thread-safety: safe.
#pragma once

#include "ReferenceHost/Effects/EffectRegistry.h"

#include <memory>
#include <string>

namespace Frei0r
{
class Sandbox;
}

namespace Effects
{

// How plug-ins are taken.
struct PluginPolicy
{
    bool mAllowsStateful = false; // those that depend on earlier frames get them in order, on one thread
    // Where each plug-in runs in a process of its own; null: all run in this one.
    std::shared_ptr<Frei0r::Sandbox> mSandbox = nullptr;
};

// To be made while this process has one thread: in a child of several, what another thread held stays locked
// for ever. Null where the host was built without plug-ins.
std::shared_ptr<Frei0r::Sandbox> CreatePluginSandbox();

// Adds what this host was built with; again for a registry that has it does nothing. Nothing is looked for before
// an effect is. inCacheFolder: where it is kept what plug-ins say of themselves; empty: nowhere.
void AddPluginProviders(EffectRegistry& ioRegistry, const std::string& inCacheFolder,
                        const PluginPolicy& inPolicy = {});

} // namespace Effects
