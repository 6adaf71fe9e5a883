// The effects and transitions that come with the host: provider "vrender".
//
// Thread-safety: safe.
#pragma once

#include "ReferenceHost/Effects/EffectRegistry.h"

#include <memory>

namespace Effects
{

std::unique_ptr<IEffectProvider> CreateBuiltInProvider();

} // namespace Effects
