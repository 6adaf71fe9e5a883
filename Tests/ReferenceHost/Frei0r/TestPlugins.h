// The plug-ins that were built for these tests, those of the machine, and effects run on them.
//
// Thread-safety: none.
#pragma once

#include "ReferenceHost/Effects/Frei0r/PluginFacts.h"
#include "ReferenceHost/Effects/Frei0r/PluginTraits.h"
#include "Tests/ReferenceHost/Effects/EffectScenes.h"

#include <memory>
#include <string>
#include <vector>

namespace Frei0r
{

class Plugin;
class Sandbox;

}

namespace TestPlugins
{

// "tells", "crashes", ...: what plugin.c makes of KIND_TELLS, KIND_CRASHES.
std::string PathOf(const std::string& inKind);
Frei0r::PluginFileName FileOf(const std::string& inPath);
std::vector<Frei0r::PluginFileName> FilesOf(const std::vector<std::string>& inKinds);

// The folder of Debian's plug-ins.
std::string MachineFolder();
bool IsOnMachine(const std::string& inStem);

// Null where it can't be looked at.
std::unique_ptr<Frei0r::Plugin> MakePlugin(const std::string& inPath, const Frei0r::PluginTraits& inTraits,
                                           std::shared_ptr<Frei0r::Sandbox> inSandbox = {});

// The picture that a plug-in makes of others of 8 bits; with its own defaults, or with every number at inLevel and
// every switch turned round where that isn't negative. Empty where it fails.
std::vector<unsigned char> Draw(Frei0r::Plugin& ioPlugin, const std::vector<EffectScenes::Scene>& inScenes,
                                double inSeconds, double inLevel = -1.0);

} // namespace TestPlugins
