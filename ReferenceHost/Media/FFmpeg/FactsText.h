#pragma once

#include <string>
#include <vector>

#include "ReferenceHost/Media/FFmpeg/MediaFacts.h"
#include "ReferenceHost/Media/MediaFacts.h"

// What movies and stills say of themselves in the same words.
//
// Thread-safety: pure functions.
namespace Media
{

const char* AlphaName(FileAlpha inAlpha);

ColorFacts ColorFactsOf(const ColourDescription& inColour);

// What becomes of colour that no row of the format table holds, and of a mirrored picture.
void NoteConversions(const ColourDescription& inColour, const Orientation& inOrientation,
                     std::vector<std::string>& ioNotes);

}
