// Params for renders of tests.
#pragma once

#include "CutlistRenderParams.h"

// A progressive output of one size, square pixels, at High quality unless told otherwise.
inline ML::CutlistRenderParams
RenderParams(std::uint32_t inWidth, std::uint32_t inHeight,
             norviktypes::RenderQuality inQuality = norviktypes::kRenderQuality_High,
             const norviktypes::PixelFormat& inFormat = norviktypes::kPixelFormat_BGRA_4444_8u)
{
    ML::CutlistRenderParams params;
    params.mWidth = params.mSourceWidth = inWidth;
    params.mHeight = params.mSourceHeight = inHeight;
    params.mPixelFormat = inFormat;
    params.mRenderQuality = inQuality;
    params.mDeinterlaceQuality = inQuality;
    return params;
}
