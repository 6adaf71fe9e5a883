#pragma once

#include "ReferenceHost/Effects/EffectRegistry.h"
#include "ReferenceHost/Effects/PluginProviders.h"

// All effects that timelines can name on this machine.
//
// Thread-safety: safe.
namespace Session
{

// The registry of this process with what plug-ins bring. Plug-ins are looked for when the first effect is
// asked for that is not the host's own; what they say of themselves is kept in the user's usual cache folder.
Effects::EffectRegistry& EffectCatalog();

// How it takes plug-ins, by default without stateful ones and in this process. To be said before the catalog
// is first asked for.
void SetPluginPolicy(const Effects::PluginPolicy& inPolicy);

} // namespace Session
