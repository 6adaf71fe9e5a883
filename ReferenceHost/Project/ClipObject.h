// A clip as renders read it, made of a ClipItem and of what lies around it.
//
// Thread-safety: safe.
#pragma once

#include "ReferenceHost/Project/ClipItem.h"

#include <memory>

namespace Project
{

// What a clip knows of its sequence and of its place in it.
struct ClipSurroundings
{
    norviktypes::FrameRate mRate;
    TVK::Rect mFrameRect;
    norviktypes::PixelAspectRatio mPixelAspectRatio;
    norviktypes::FieldType mFieldType = norviktypes::kFieldType_Progressive;
    // How far transitions show it beyond its ends.
    norviktypes::TickTime mHandleBefore;
    norviktypes::TickTime mHandleAfter;
};

BE::IClipRef CreateClip(std::shared_ptr<const ClipItem> inItem, const ClipSurroundings& inSurroundings);

} // namespace Project
