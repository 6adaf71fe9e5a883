#pragma once

#include <cstdint>
#include <vector>

#include "ReferenceHost/ImageRoutines/ComposeRows.h"
#include "ReferenceHost/ImageRoutines/Reference.h"

// The slow, obvious truth of compositing, in double; and the byte kernels once more without vectors.
//
// Thread-safety: as Reference.h.
namespace ir::reference
{

// B(Cb, Cs) of IR/BlendModes.h. inIsLimited: to 0..1, as integer pictures are. Dissolve and normal give Cs.
void Blend(std::uint32_t inMode, const double (&inBackdrop)[3], const double (&inSource)[3], bool inIsLimited,
           double (&outBlended)[3]);

// A premultiplied pixel of the target's model, opacity and coverage already in it, laid on one that was read
// from the target. The result is of the target's alpha kind.
Pixel ComposePixel(const Pixel& inSource, const Pixel& inBackdrop, const Picture& inTarget,
                   const ComposeSettings& inSettings, std::int32_t inX, std::int32_t inY);

// inIsLinear: R, G and B of both have the curve taken away before they meet.
void CompositePicture(const Picture& inSource, const Picture& ioTarget, double inOpacity, bool inIsLinear);

// The sum of weight times picture, premultiplied.
void AccumulatePictures(const std::vector<Picture>& inSources, const std::vector<double>& inWeights,
                        const Picture& inTarget);

}
