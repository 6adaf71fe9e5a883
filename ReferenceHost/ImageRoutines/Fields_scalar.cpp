#include <algorithm>
#include <cmath>
#include <vector>

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
    // Those that decide on an edge together.
    std::vector<int> Companions(int inComponent) const
    {
        if (mPicture.storage == Storage::kPacked4)
        {
            return {2, 1, 0, 3}; // as they lie in memory, since sums of floats have an order
        }
        return inComponent == 0 ? std::vector<int>{0} : std::vector<int>{1, 2};
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

float Cost(const Codes& inCodes, int inComponent, std::int32_t inX, std::int32_t inAbove,
           std::int32_t inBelow, std::int32_t inSlope)
{
    const std::vector<int> companions = inCodes.Companions(inComponent);
    const std::int32_t last = inCodes.Width(inComponent) - 1;
    float differences[3];
    for (std::int32_t neighbour = -1; neighbour <= 1; ++neighbour)
    {
        float parts[4] = {};
        for (std::size_t i = 0; i < companions.size(); ++i)
        {
            const std::int32_t x = inX + neighbour;
            const auto above =
                static_cast<float>(inCodes.Load(companions[i], std::clamp(x + inSlope, 0, last), inAbove));
            const auto below =
                static_cast<float>(inCodes.Load(companions[i], std::clamp(x - inSlope, 0, last), inBelow));
            parts[i] = std::fabs(above - below);
        }
        differences[neighbour + 1] = (parts[0] + parts[1]) + (parts[2] + parts[3]);
    }
    return (differences[0] + differences[2]) + differences[1];
}

std::int32_t Slope(const Codes& inCodes, int inComponent, std::int32_t inX, std::int32_t inAbove,
                   std::int32_t inBelow)
{
    std::int32_t winner = 0;
    int winners = 1;
    float least = Cost(inCodes, inComponent, inX, inAbove, inBelow, 0);
    for (const std::int32_t slope : {-2, -1, 1, 2})
    {
        const float cost = Cost(inCodes, inComponent, inX, inAbove, inBelow, slope);
        winners = cost < least ? 1 : winners + (cost == least ? 1 : 0);
        winner = cost < least ? slope : winner;
        least = std::min(cost, least);
    }
    return winners == 1 ? winner : 0;
}

double AlongEdge(const Codes& inCodes, int inComponent, std::int32_t inX, std::int32_t inAbove,
                 std::int32_t inBelow)
{
    const std::int32_t last = inCodes.Width(inComponent) - 1;
    const std::int32_t slope = Slope(inCodes, inComponent, inX, inAbove, inBelow);
    double mean = Mean(
        inCodes, inComponent,
        {{std::clamp(inX + slope, 0, last), inAbove, 1.0}, {std::clamp(inX - slope, 0, last), inBelow, 1.0}});
    mean = inCodes.IsFloat() ? mean : std::floor(mean + 0.5);
    const auto [least, most] =
        std::minmax({inCodes.Load(inComponent, inX, inAbove), inCodes.Load(inComponent, inX, inBelow)});
    return std::clamp(mean, least, most);
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
    default: return AlongEdge(inCodes, inComponent, inX, above, below);
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
