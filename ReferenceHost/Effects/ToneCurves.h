// A function of one number for each of R, G and B, run on rows.
//
// Integer pictures have so few values that all of them are worked out first; floats are worked out one by one, and
// so every format gets the function itself.
//
// Thread-safety: belongs to one render.
#pragma once

#include "ReferenceHost/ImageRoutines/FloatRows.h"
#include "ReferenceHost/ImageRoutines/Picture.h"

#include <array>
#include <cstddef>
#include <functional>
#include <vector>

namespace Effects
{

using ToneFunction = std::function<double(double)>;

class ToneCurves
{
public:
    // An empty function leaves its component alone.
    ToneCurves(std::array<ToneFunction, 3> inFunctions, const ir::Picture& inPicture);

    void Apply(const ir::FloatRow& ioRow, std::size_t inWidth) const;

private:
    std::array<ToneFunction, 3> mFunctions;
    std::array<std::vector<float>, 3> mTables; // by code; empty for floats
};

// Luma of Rec. 709 from components that are coded for display.
inline double LumaOf(double inR, double inG, double inB) noexcept
{
    return 0.2126 * inR + 0.7152 * inG + 0.0722 * inB;
}

} // namespace Effects
