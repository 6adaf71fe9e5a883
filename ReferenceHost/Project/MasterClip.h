// What the clips of one piece of media share: its name, and a text that tells it from other media.
//
// Media that can't be had keeps its master clip, so that what is missing can be named.
//
// Thread-safety: safe.
#pragma once

#include "BE/IMasterClip.h"

#include <string_view>

namespace Project
{

// Both UTF-8. inMediaInstance: the path of a file, or another text that names the media as uniquely.
BE::IMasterClipRef CreateMasterClip(std::string_view inName, std::string_view inMediaInstance);

// Of media that is there: its own name and path.
BE::IMasterClipRef CreateMasterClip(const BE::IMediaInfoRef& inMedia);

} // namespace Project
