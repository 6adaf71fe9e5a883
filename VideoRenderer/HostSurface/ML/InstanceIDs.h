// Numbers under which plug-ins name objects of the host.
//
// An object that can be held weakly is held weakly, so that a number does not keep it alive; any other is held
// until its number is removed. Numbers count up from 1 and are never given again; 0 names nothing.
//
// Thread-safety: safe.
#pragma once

#include "TVK/InterfaceRef.h"

#include <cstdint>

namespace ML
{

// A new number for every call; 0 for an empty reference.
ML_EXPORT std::uint32_t CreateUniqueCallbackInstanceID(const TVK::TVKUnknownRef& inObject);
// Empty for a number that was never given or was removed, and for an object that is gone.
ML_EXPORT TVK::TVKUnknownRef GetRefFromCallbackInstanceID(std::uint32_t inID);
ML_EXPORT void RemoveIDFromInstanceIDMap(std::uint32_t inID);

} // namespace ML
