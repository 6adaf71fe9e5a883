#pragma once

#include <cstddef>
#include <cstdint>

#include "ReferenceHost/ImageRoutines/Picture.h"

// Whole pictures laid over each other and summed: what IR_Composite, IR_CrossDissolve and IR_Accumulate do
// once their arguments have become pictures.
//
// Thread-safety: safe; as IR/ImageRoutines.h. Throws std::bad_alloc.
namespace ir
{

// inOpacity: 0..1. ioTarget has four components. inIsLinear: R, G and B meet in linear light though they are
// stored display-coded; nothing but RGB that is display-coded can be.
void CompositePictures(const Picture& inSource, const Picture& ioTarget, float inOpacity, bool inIsLinear);

// The weighted sum of pictures of any storage, premultiplied. A source may lie where the target does.
// inWholeHeight: of the picture that the target is a part of, if it is one.
void MixPictures(const Picture* inSources, const double* inWeights, std::size_t inCount,
                 const Picture& inTarget, std::int32_t inWholeHeight = 0);

}
