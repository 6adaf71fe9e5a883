// A picture blurred by a Gaussian, row by row from the top down.
//
// The weight of a pixel k away is exp(-k k / (2 sigma sigma)), up to three sigma, all of them summing to 1;
// across and down by a sigma each, 0 not at all. Colour is premultiplied, so that what is clear colours
// nothing. Beyond its edges the picture is either repeated or clear.
//
// Memory: as many rows of floats as the blur reaches down.
//
// Thread-safety: belongs to one render. Throws std::bad_alloc.
#pragma once

#include "ReferenceHost/ImageRoutines/FloatRows.h"
#include "ReferenceHost/ImageRoutines/Picture.h"
#include "ReferenceHost/ImageRoutines/RowBuffers.h"

#include <cstdint>
#include <vector>

namespace Effects
{

struct GaussianSettings
{
    double sigmaX = 0.0; // pixels of this picture
    double sigmaY = 0.0;
    bool repeatsEdges = true;
};

class GaussianRows
{
public:
    // inPicture has straight alpha and outlives the object.
    GaussianRows(const GaussianSettings& inSettings, const ir::Picture& inPicture);

    // Premultiplied R, G, B and A of a row, which are good until the next is asked for. Rows are asked for in
    // their order, none is left out.
    ir::FloatRow Next();

private:
    std::int32_t ReachX() const noexcept { return static_cast<std::int32_t>(mAcross.size()) - 1; }
    std::int32_t ReachY() const noexcept { return static_cast<std::int32_t>(mDown.size()) - 1; }
    ir::FloatRow Kept(std::int32_t inY) const noexcept;
    void BlurAcross(std::int32_t inY);

    GaussianSettings mSettings;
    ir::Picture mPicture;
    ir::RowPlan mToPremultiplied;
    std::size_t mWidth;
    std::vector<float> mAcross; // weights from the middle outwards
    std::vector<float> mDown;
    ir::RowBuffers<float> mWide; // a row with what lies beyond its edges
    ir::RowBuffers<float> mRows; // the result, scratch, then rows blurred across by turns
    std::int32_t mNextRow = 0;
    std::int32_t mNextAcross = 0;
};

} // namespace Effects
