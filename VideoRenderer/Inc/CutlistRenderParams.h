// The plain record that describes one render.
//
// It begins with the frame time, so that it can stand wherever a frame time is asked for. Copied by
// value; owns nothing.
//
// Thread-safety: value type.
#pragma once

#include "MF/FrameTime.h"
#include "norviktypes/PixelAspectRatio.h"
#include "norviktypes/PixelFormat.h"
#include "norviktypes/RenderQuality.h"

#include <cstdint>

namespace ML
{

// Values of mRenderFlags. Parts are what a frame is made of: the frames of media, and those that effects get.
inline constexpr std::uint32_t kRenderFlag_CacheParts = 1;
inline constexpr std::uint32_t kRenderFlag_CachePartsOfStills = 2; // of media that never changes
inline constexpr std::uint32_t kRenderFlag_CacheAlways = 8;
inline constexpr std::uint32_t kRenderFlag_CacheStills = 16; // frames that stand still for a while
// Set by the library for requests of low priority: what they read may come from the disk cache.
inline constexpr std::uint32_t kRenderFlag_LowPriority = 32;

struct CutlistRenderParams
{
    MF::FrameTime mFrameTime; // the time to render
    std::uint32_t mWidth = 0; // of the output, pixels
    std::uint32_t mHeight = 0;
    norviktypes::PixelAspectRatio mPixelAspectRatio; // of the output
    norviktypes::PixelFormat mPixelFormat;           // wished for the output
    std::uint32_t mFieldToRender = 0; // 0 the whole frame; 1, 2 a single field, the first or the second
    norviktypes::RenderQuality mDeinterlaceQuality = norviktypes::kRenderQuality_High;
    double mScaleX = 1.0; // output size over source size
    double mScaleY = 1.0;
    norviktypes::RenderQuality mRenderQuality = norviktypes::kRenderQuality_High;
    std::uint64_t mRenderContext = ~std::uint64_t{0}; // passed through from the client; all ones: not set
    std::uint32_t mSourceWidth = 0;                   // of the sequence or source rectangle
    std::uint32_t mSourceHeight = 0;
    norviktypes::PixelAspectRatio mSourcePixelAspectRatio;
    norviktypes::FrameRate mFrameRate; // of the render
    norviktypes::FieldType mFieldType = norviktypes::kFieldType_Progressive;
    std::uint32_t mUseSecondCutlist = 0; // non-zero: the provider's second cutlist is read
    std::uint32_t mRenderFlags = 0;      // kRenderFlag_

    operator const MF::FrameTime&() const noexcept { return mFrameTime; }
};

} // namespace ML
