#pragma once

#include "ReferenceHost/Effects/EffectRegistry.h"

// All effects that timelines can name on this machine.
//
// Thread-safety: safe.
namespace Session
{

// The registry of this process with what plug-ins bring. Plug-ins are looked for when the first effect is asked for
// that is not the host's own; what they say of themselves is kept in the user's usual cache folder.
Effects::EffectRegistry& EffectCatalog();

} // namespace Session
