#include <algorithm>
#include <cmath>
#include <vector>

#include "ReferenceHost/ImageRoutines/FieldRows.h"
#include "ReferenceHost/ImageRoutines/Fields.h"
#include "ReferenceHost/ImageRoutines/ReferenceSamples.h"

namespace ir::reference
{
namespace
{

// The codes of a picture, rows and columns of each component as they lie in memory.
class Codes
{
public:
    explicit Codes(const Picture& inPicture) : mPicture(inPicture) {}

    double Load(int inComponent, std::int32_t inX, std::int32_t inRow) const
    {
        const ComponentRange range = RangeOf(mPicture, inComponent);
        const double code = ReadPlane(mPicture, inComponent, inX, inRow) * range.scale + range.offset;
        return IsFloat() ? code : std::round(code);
    }
    void Store(double inCode, int inComponent, std::int32_t inX, std::int32_t inRow) const
    {
        const ComponentRange range = RangeOf(mPicture, inComponent);
        const double code = IsFloat() ? inCode : std::floor(inCode + 0.5);
        WritePlane(mPicture, inComponent, inX, inRow, (code - range.offset) / range.scale);
    }
    // As it counts among others of its pixel's place.
    double Alpha(std::int32_t inX, std::int32_t inRow) const
    {
        return mPicture.alpha == PictureAlpha::kStraight ? Load(3, inX, inRow) : 1.0;
    }

    bool IsFloat() const { return mPicture.sample == Sample::kFloat; }
    bool IsChroma(int inComponent) const
    {
        return mPicture.IsSubsampled() && (inComponent == 1 || inComponent == 2);
    }
    std::int32_t Width(int inComponent) const
    {
        return IsChroma(inComponent) ? mPicture.ChromaWidth() : mPicture.width;
    }
    std::int32_t Rows(int inComponent) const
    {
        return IsChroma(inComponent) ? mPicture.chromaRows : mPicture.height;
    }
    // Whether two pixels have the same alpha, or none.
    bool IsOfAlpha(std::int32_t inX, std::int32_t inRow, std::int32_t inOtherX, std::int32_t inOtherRow) const
    {
        return !mPicture.HasAlpha() || Load(3, inX, inRow) == Load(3, inOtherX, inOtherRow);
    }
    FilterSamples SamplesOf(int inComponent) const
    {
        return {mPicture.sample, mPicture.bits, IsChroma(inComponent), 1, 0};
    }
    std::vector<int> Components() const
    {
        return mPicture.storage == Storage::kPacked4 ? std::vector<int>{0, 1, 2, 3}
                                                     : std::vector<int>{0, 1, 2};
    }
    bool SharesChroma() const { return mPicture.shiftY != 0 && !mPicture.isFieldChroma; }

private:
    const Picture& mPicture;
};

struct Place
{
    std::int32_t x;
    std::int32_t row;
    double weight;
};

double Mean(const Codes& inCodes, int inComponent, const std::vector<Place>& inPlaces)
{
    double sum = 0.0;
    double weights = 0.0;
    double plainSum = 0.0;
    double plainWeights = 0.0;
    bool isEqual = true;
    for (const Place& place : inPlaces)
    {
        const double code = inCodes.Load(inComponent, place.x, place.row);
        const double alpha = inCodes.Alpha(place.x, place.row);
        isEqual = isEqual && alpha == inCodes.Alpha(inPlaces[0].x, inPlaces[0].row);
        sum += code * alpha * place.weight;
        weights += alpha * place.weight;
        plainSum += code * place.weight;
        plainWeights += place.weight;
    }
    const bool isPlain = isEqual || weights <= 0.0 || inComponent == 3;
    return isPlain ? plainSum / plainWeights : sum / weights;
}

// A row of the field that stays, or the nearest there is.
std::int32_t KeptRow(std::int32_t inRow, std::int32_t inNearest, std::int32_t inRows)
{
    return inRow < 0 || inRow >= inRows ? inNearest : inRow;
}

double Filtered(const Codes& inCodes, int inComponent, std::int32_t inX, std::int32_t inAbove,
                std::int32_t inBelow)
{
    const std::int32_t height = inCodes.Rows(inComponent);
    const std::int32_t rows[4] = {KeptRow(inAbove - 2, inAbove, height), inAbove, inBelow,
                                  KeptRow(inBelow + 2, inBelow, height)};
    const std::int32_t last = inCodes.Width(inComponent) - 1;
    double columns[3][4];
    bool isOfOneAlpha = true;
    for (std::int32_t column = 0; column < 3; ++column)
    {
        for (std::int32_t row = 0; row < 4; ++row)
        {
            const std::int32_t x = std::clamp(inX + column - 1, 0, last);
            columns[column][row] = inCodes.Load(inComponent, x, rows[row]);
            isOfOneAlpha = isOfOneAlpha && inCodes.IsOfAlpha(x, rows[row], inX, inAbove);
        }
    }
    return isOfOneAlpha ? FilteredSample(inCodes.SamplesOf(inComponent), columns)
                        : Mean(inCodes, inComponent, {{inX, inAbove, 1.0}, {inX, inBelow, 1.0}});
}

// The kept rows next to a row, both the same where there is but one.
struct Neighbours
{
    std::int32_t above;
    std::int32_t below;
};

Neighbours KeptAround(std::int32_t inRow, std::int32_t inRows)
{
    const std::int32_t above = inRow - 1;
    const std::int32_t below = inRow + 1;
    return {above < 0 ? below : above, below >= inRows ? above : below};
}

double NewCode(const Codes& inCodes, int inComponent, std::int32_t inX, std::int32_t inRow,
               FieldMethod inMethod)
{
    const auto [above, below] = KeptAround(inRow, inCodes.Rows(inComponent));
    const std::int32_t rowOfPair = inRow % 2 == 1 ? above : below;
    switch (inMethod)
    {
    case FieldMethod::kLineDoubling: return inCodes.Load(inComponent, inX, rowOfPair);
    case FieldMethod::kLineInterpolation:
        return Mean(inCodes, inComponent, {{inX, above, 1.0}, {inX, below, 1.0}});
    default:
        return above == below ? inCodes.Load(inComponent, inX, above)
                              : Filtered(inCodes, inComponent, inX, above, below);
    }
}

}

void DeinterlacePicture(const Picture& ioPicture, bool inKeepsLower, FieldMethod inMethod)
{
    const Codes codes(ioPicture);
    for (const int component : codes.Components())
    {
        const bool stays = (codes.IsChroma(component) && codes.SharesChroma()) || codes.Rows(component) == 1;
        for (std::int32_t row = inKeepsLower ? 0 : 1; !stays && row < codes.Rows(component); row += 2)
        {
            for (std::int32_t x = 0; x < codes.Width(component); ++x)
            {
                codes.Store(NewCode(codes, component, x, row, inMethod), component, x, row);
            }
        }
    }
}

void SmoothRows(const Picture& inSource, const Picture& inTarget)
{
    const Codes from(inSource);
    const Codes to(inTarget);
    for (const int component : from.Components())
    {
        const std::int32_t last = from.Rows(component) - 1;
        for (std::int32_t row = 0; row <= last; ++row)
        {
            for (std::int32_t x = 0; x < from.Width(component); ++x)
            {
                to.Store(
                    Mean(from, component,
                         {{x, std::max(row - 1, 0), 1.0}, {x, row, 2.0}, {x, std::min(row + 1, last), 1.0}}),
                    component, x, row);
            }
        }
    }
}

}
