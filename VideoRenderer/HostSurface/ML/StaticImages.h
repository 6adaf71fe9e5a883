// Pictures that the host draws where there is no other.
//
// Thread-safety: safe.
#pragma once

#include "MF/IVideoFrame.h"
#include "norviktypes/PixelAspectRatio.h"
#include "norviktypes/PixelFormat.h"
#include "norviktypes/RenderQuality.h"

#include <cstdint>

namespace ML
{

inline constexpr std::uint32_t kStaticImage_Pending = 1; // media that is still being looked for
inline constexpr std::uint32_t kStaticImage_Offline = 2;
inline constexpr std::uint32_t kStaticImage_Bars = 3;
inline constexpr std::uint32_t kStaticImage_Black = 5;
inline constexpr std::uint32_t kStaticImage_Transparent = 6;

namespace StaticImageFactory
{
// Empty for other codes, sizes of nothing, and formats that have no fourth component of 8 bits.
ML_EXPORT MF::IVideoFrameRef
LoadImage(std::uint32_t inCode, std::uint32_t inWidth, std::uint32_t inHeight,
          const norviktypes::PixelFormat& inFormat, const norviktypes::PixelAspectRatio& inRatio,
          norviktypes::RenderQuality inQuality = norviktypes::kRenderQuality_High);
} // namespace StaticImageFactory

} // namespace ML
