// What a media node reads of its stream or sequence while it is built.
//
// Thread-safety: a value of its builder.
#pragma once

#include "RenderableNodeMediaImpl.h"

namespace ML
{

struct RenderableNodeMediaImpl::StreamFacts
{
    BE::IVideoSourceRef mStream; // empty for a sequence, and for media that cannot be read
    IRenderableSourceRef mBase;  // what the chain begins with; empty where nothing can be read
    bool mIsFilledByStream = false;
    TVK::Rect mRect;
    norviktypes::PixelAspectRatio mPixelAspectRatio;
    norviktypes::FieldType mFieldType = norviktypes::kFieldType_Progressive;
    norviktypes::FrameRate mFrameRate; // as the node's times count: of the film where pulldown is removed
    norviktypes::PulldownCadence mPulldown = norviktypes::kPulldownCadence_None; // to be removed
};

} // namespace ML
