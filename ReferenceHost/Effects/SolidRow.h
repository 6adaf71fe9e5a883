// A picture of one colour that takes no more memory than a row.
//
// Thread-safety: belongs to one render.
#pragma once

#include "ReferenceHost/Effects/EffectParameters.h"
#include "ReferenceHost/ImageRoutines/Picture.h"
#include "ReferenceHost/ImageRoutines/RowBuffers.h"

namespace Effects
{

class SolidRow
{
public:
    // As large as inAlike and of its kind. The colour is coded for display, and decoded for linear pictures.
    // Throws std::bad_alloc.
    SolidRow(const Color& inColor, const ir::Picture& inAlike);

    // For reading: all of its rows are one. Good as long as this object lives.
    const ir::Picture& AsPicture() const noexcept { return mPicture; }

private:
    ir::RowBuffers<float> mRow;
    ir::Picture mPicture;
};

// The colour's components as pictures of that kind hold them: decoded for linear ones.
Color InCodingOf(const Color& inColor, const ir::Picture& inPicture);

} // namespace Effects
