// A function of one number for each of R, G and B, run on rows.
//
// Integer pictures have so few values that all of them are worked out first; floats are worked out one by
// one, a row at a time, and so every format gets the function itself.
//
// Thread-safety: belongs to one render; tones are immutable.
#pragma once

#include "ReferenceHost/Effects/CurvePoints.h"
#include "ReferenceHost/ImageRoutines/FloatRows.h"
#include "ReferenceHost/ImageRoutines/Picture.h"

#include <array>
#include <cstddef>
#include <memory>
#include <vector>

namespace Effects
{

class ITone
{
public:
    virtual ~ITone() = default;
    virtual double At(double inValue) const = 0;
    // Each number becomes what At says of it, but for the precision of floats.
    virtual void Apply(float* ioRow, std::size_t inCount) const = 0;
};
using ToneRef = std::shared_ptr<const ITone>;

// outBlack + (outWhite - outBlack) * limited(value * slope + offset)^power, limited to 0..1.
struct PowerStage
{
    double slope = 1.0;
    double offset = 0.0;
    double power = 1.0;
    double outBlack = 0.0;
    double outWhite = 1.0;
};

// One stage after the other.
ToneRef MakePowerTone(std::vector<PowerStage> inStages);
// inSecond of what inFirst says, for pictures of that kind. Floats are read from a fine table of it.
ToneRef MakeCurveTone(const CurvePoints& inFirst, const CurvePoints& inSecond, const ir::Picture& inPicture);

class ToneCurves
{
public:
    // None of them is null.
    ToneCurves(std::array<ToneRef, 3> inTones, const ir::Picture& inPicture);

    void Apply(const ir::FloatRow& ioRow, std::size_t inWidth) const;

private:
    std::array<ToneRef, 3> mTones;
    std::array<std::vector<float>, 3> mTables; // by code; empty for floats
};

// Luma of Rec. 709 from components that are coded for display.
inline double LumaOf(double inR, double inG, double inB) noexcept
{
    return 0.2126 * inR + 0.7152 * inG + 0.0722 * inB;
}

} // namespace Effects
