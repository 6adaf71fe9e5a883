#pragma once

#include <cstdint>

#include "ReferenceHost/ImageRoutines/Picture.h"

// The slow, obvious truth: every operation of this folder once more, a pixel at a time, in double.
//
// The fast routines are checked against these, and tools may call them to see what a picture should have
// been. They do what IR/ImageRoutines.h says with nothing left out but speed. Colour spaces other than that
// of the format codes (PQ, HLG, wider primaries, constant luminance) are not theirs.
//
// Thread-safety: safe; targets must not overlap sources unless told so.
namespace ir::reference
{

// Components as the model has them (R G B or Y U V, then alpha), in double.
struct Pixel
{
    double c[4];
};

// The pixel at a place, chroma interpolated there. Alpha is 1 where the picture has none.
Pixel ReadPixel(const Picture& inPicture, std::int32_t inX, std::int32_t inY);

// A pixel of inSource's kind (model, coding, alpha) as one of inTarget's.
Pixel ConvertPixel(const Pixel& inPixel, const Picture& inSource, const Picture& inTarget);

// Same size.
void ConvertPicture(const Picture& inSource, const Picture& inTarget);

// Any size, fields as IR_ScaleConvert.
void ScalePicture(const Picture& inSource, std::int32_t inSourceField, const Picture& inTarget,
                  std::int32_t inTargetField, std::int32_t inQuality);

void CompositeToBlack(const Picture& inSource, const Picture& inTarget, double inOpacity);
void UnPremultiplyAgainstMatte(const Picture& ioPicture, const Pixel& inMatte);

}
