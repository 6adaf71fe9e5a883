// Plug-ins as filters and transitions of the library.
//
// They are given pictures of 8 bits, B G R A with straight alpha; the render brings others to that before.
// Time is that of the item's media, or that since the start of a transition, in seconds made of ticks, so
// that a frame is the same wherever its item lies.
//
//   filter        changes the picture
//   source        draws a picture in the place of the one that it is given
//   mixer of two  mixes the picture, as the second one, with that of a track; the last parameter of its description
//                 is that track. With a fader it is a transition instead.
//
// A stateful plug-in is given the frames of its item one after the other from the first one on, on one
// thread, whatever the order in which they are asked for: frames that it has not seen are rendered for it,
// and for one that lies behind it begins anew. Its frames are never taken for those of another object.
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

// inDescription, whose parameters are those of the plug-in and that of a track, outlives the object.
ML::IVideoFilterRef CreatePluginFilter(const Effects::EffectDescription& inDescription,
                                       const std::shared_ptr<Plugin>& inPlugin);
// Null if the plug-in has no fader.
ML::IVideoTransitionRef CreatePluginTransition(const Effects::EffectDescription& inDescription,
                                               const ML::TransitionInfo& inInfo,
                                               const BE::ParameterListRef& inParameters,
                                               const std::shared_ptr<Plugin>& inPlugin);

} // namespace Frei0r
