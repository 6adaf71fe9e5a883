// The pixel formats that the host's own effects work in, and frames as the pictures that kernels know.
//
// Thread-safety: safe; a picture is good as long as its frame is held.
#pragma once

#include "MF/IVideoFrame.h"
#include "ReferenceHost/ImageRoutines/Picture.h"
#include "norviktypes/PixelFormat.h"

#include <cstdint>
#include <vector>

namespace Effects
{

// B G R A with straight alpha: 8 bits, 16 bits, float, linear float.
const std::vector<norviktypes::PixelFormat>& WorkingFormats();

// 0 and the picture; negative for a frame whose pixels can't be reached or whose format is none that kernels
// know.
std::int32_t PictureOf(const MF::IVideoFrameRef& inFrame, ir::Picture& outPicture);

// A part of a picture whose four components lie together; it lies within the picture.
ir::Picture PartOf(const ir::Picture& inPicture, std::int32_t inX, std::int32_t inY, std::int32_t inWidth,
                   std::int32_t inHeight);

// Whether two pictures have one size and one kind of pixel.
bool AreAlike(const ir::Picture& inA, const ir::Picture& inB) noexcept;

// Copies pixels of a row between pictures that are alike; both stretches lie within their pictures and share no
// memory.
void CopyPixels(const ir::Picture& inSource, std::int32_t inSourceX, std::int32_t inSourceY,
                const ir::Picture& outTarget, std::int32_t inTargetX, std::int32_t inTargetY,
                std::int32_t inWidth);

} // namespace Effects
