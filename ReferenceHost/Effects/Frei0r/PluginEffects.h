// Plug-ins as filters and transitions of the library.
//
// They are given pictures of 8 bits, B G R A with straight alpha; the render brings others to that before. Time is
// that of the sequence since the start of the item or transition, in seconds made of ticks, so that a frame is the
// same wherever its item lies.
//
// Thread-safety: safe.
#pragma once

#include "ML/VideoFilter.h"
#include "ML/VideoTransition.h"
#include "ReferenceHost/Effects/EffectDescription.h"
#include "ReferenceHost/Effects/Frei0r/Plugin.h"

#include <memory>

namespace Frei0r
{

// inDescription, whose parameters are those of the plug-in, outlives the object.
ML::IVideoFilterRef CreatePluginFilter(const Effects::EffectDescription& inDescription,
                                       const std::shared_ptr<Plugin>& inPlugin);
// Null if the plug-in has no fader.
ML::IVideoTransitionRef CreatePluginTransition(const Effects::EffectDescription& inDescription,
                                               const ML::TransitionInfo& inInfo,
                                               const BE::ParameterListRef& inParameters,
                                               const std::shared_ptr<Plugin>& inPlugin);

} // namespace Frei0r
