#pragma once

#include <cstdint>

#include "ReferenceHost/ImageRoutines/Picture.h"

// What the C functions do once their arguments have become pictures. Every answer is a status of
// IR/ImageRoutines.h.
//
// Thread-safety: safe; as IR/ImageRoutines.h.
namespace ir
{

// How colour meets black on the way: nothing, or times alpha and times a factor, after which the picture is
// opaque.
struct OverBlack
{
    bool isWanted = false;
    float opacity = 1.0F; // 0..1
};

// Same size. Source and target may be the same rows of four-component pictures of one sample size.
std::int32_t ConvertPictures(const Picture& inSource, const Picture& inTarget,
                             const OverBlack& inOverBlack = {});

// One field of a whole picture whose chroma rows the fields share, as a picture: the rows that the conversion of
// the whole would give. False, and nothing done, if there is no kernel for the two.
bool ConvertYuvField(const Picture& inSource, std::int32_t inField, const Picture& inTarget);

// Whether there is a kernel that makes rows of inTarget from a picture of YUV.
bool CanConvertYuvRows(const Picture& inSource, const Picture& inTarget) noexcept;

// The rows from inFirst on that the conversion of the whole would give; inTarget has as many.
void ConvertYuvRows(const Picture& inSource, std::int32_t inFirst, const Picture& inTarget);

// Any size, any fields.
std::int32_t ScalePictures(const Picture& inSource, std::int32_t inSourceField, const Picture& inTarget,
                           std::int32_t inTargetField, std::int32_t inQuality);

// Whether a picture's colour (PQ, HLG, wider primaries, constant luminance) is only brought to that of the
// formats by ScalePictures, at any size.
bool NeedsColourMapping(const Picture& inSource) noexcept;

// inColor is one pixel of a four-component picture.
std::int32_t FillPicture(const Picture& inTarget, const Picture& inColor);

// inMatte is one pixel of a four-component picture.
std::int32_t UnPremultiplyPicture(const Picture& ioPicture, const Picture& inMatte);

}
