#include "ReferenceHost/ImageRoutines/Fields.h"

#include <algorithm>
#include <cstring>
#include <optional>

#include "IR/ImageRoutines.h"
#include "ReferenceHost/ImageRoutines/FieldFilter.h"
#include "ReferenceHost/ImageRoutines/FieldRows.h"

namespace ir
{
namespace
{

bool IsChroma(int inPlane)
{
    return inPlane == 1 || inPlane == 2;
}

std::int32_t RowsIn(const Picture& inPicture, int inPlane)
{
    return IsChroma(inPlane) ? inPicture.chromaRows : inPicture.height;
}

void CopyRow(const Picture& inSource, std::int32_t inFrom, const Picture& inTarget, std::int32_t inTo,
             int inPlane)
{
    const unsigned char* from = inSource.Row(inPlane, inFrom);
    unsigned char* to = inTarget.Row(inPlane, inTo);
    if (from != to)
    {
        std::memcpy(to, from, static_cast<std::size_t>(RowBytesOf(inTarget, inPlane)));
    }
}

// What one plane of a field is made with.
class PlaneMaker
{
public:
    PlaneMaker(const FieldPair& inPair, int inPlane, FieldMethod inMethod)
        : mPair(inPair)
        , mPlane(inPlane)
        , mMethod(IsChroma(inPlane) && inPair.sharesChroma ? FieldMethod::kLineDoubling : inMethod)
        , mLastRow(RowsIn(inPair.source, inPlane) - 1)
    {
        if (mMethod == FieldMethod::kFiltering)
        {
            for (int plane = mPlane; plane < EndPlane(); ++plane)
            {
                mFilters[plane - mPlane].emplace(inPair.source, plane);
            }
        }
    }

    void CopyKeptRow(std::int32_t inRow) const { CopyPlanes(inRow, mPair.copy, inRow); }

    void MakeRow(std::int32_t inRow)
    {
        const std::int32_t first = mPair.targetIsLower ? inRow : inRow - 1;
        const std::int32_t above = std::clamp(first, 0, mLastRow);
        const std::int32_t below = std::clamp(first + 1, 0, mLastRow);
        if (mMethod == FieldMethod::kLineDoubling || above == below)
        {
            // Rows of one number lie in one pair of rows of the frame.
            CopyPlanes(std::min(inRow, mLastRow), mPair.target, inRow);
        }
        else if (mMethod == FieldMethod::kFiltering)
        {
            Filter(above, below, inRow);
        }
        else
        {
            Interpolate(above, below, inRow);
        }
    }

private:
    int EndPlane() const { return mPlane == 1 ? 3 : 1; }

    void CopyPlanes(std::int32_t inFrom, const Picture& inTarget, std::int32_t inTo) const
    {
        for (int plane = mPlane; plane < EndPlane(); ++plane)
        {
            CopyRow(mPair.source, inFrom, inTarget, inTo, plane);
        }
    }

    void Filter(std::int32_t inAbove, std::int32_t inBelow, std::int32_t inRow)
    {
        for (int plane = mPlane; plane < EndPlane(); ++plane)
        {
            mFilters[plane - mPlane]->MakeRow(inAbove, inBelow, mPair.target, inRow);
        }
    }

    void Interpolate(std::int32_t inAbove, std::int32_t inBelow, std::int32_t inRow) const
    {
        for (int plane = mPlane; plane < EndPlane(); ++plane)
        {
            MeanRow(FieldRowKindOf(mPair.source), mPair.source.Row(plane, inAbove),
                    mPair.source.Row(plane, inBelow), mPair.target.Row(plane, inRow),
                    static_cast<std::size_t>(RowBytesOf(mPair.source, plane)));
        }
    }

    const FieldPair& mPair;
    const int mPlane; // 0, or 1 for U and V
    const FieldMethod mMethod;
    const std::int32_t mLastRow;
    std::optional<FieldFilter> mFilters[2];
};

// A field that becomes the other one moves by a line, and its next chroma row is four lines away: where a chroma row
// of the other field belongs, it has a quarter of that next one.
void SwapChromaOfFields(const Picture& inSource, const Picture& inTarget, int inPlane) noexcept
{
    const FieldRowKind kind = FieldRowKindOf(inSource);
    const std::int32_t rows = inSource.chromaRows;
    for (std::int32_t row = 0; row < rows; ++row)
    {
        const bool isUpper = row % 2 == 0;
        if (isUpper && row + 1 == rows)
        {
            // Without a partner: it belongs to the last line, which stays, or to two that changed places.
            const bool stays = row == 0 || inSource.height % 2 != 0;
            CopyRow(inSource, stays ? row : row - 1, inTarget, row, inPlane);
            continue;
        }
        const std::int32_t nearest = row ^ 1;
        const std::int32_t next = isUpper ? nearest - 2 : nearest + 2;
        const unsigned char* from = inSource.Row(inPlane, nearest);
        SmoothRow(kind, from, from, inSource.Row(inPlane, next < 0 || next >= rows ? nearest : next),
                  inTarget.Row(inPlane, row), static_cast<std::size_t>(RowBytesOf(inSource, inPlane)));
    }
}

// A visitor of planes, chroma planes one by one.
template <typename Visitor>
void ForEachPlane(const Picture& inPicture, Visitor inVisit)
{
    for (int plane = 0; plane < 4; ++plane)
    {
        if (inPicture.planes[plane] != nullptr)
        {
            inVisit(plane);
        }
    }
}

}

FieldMethod FieldMethodFor(std::int32_t inQuality) noexcept
{
    return inQuality <= 1   ? FieldMethod::kLineDoubling
           : inQuality <= 3 ? FieldMethod::kLineInterpolation
                            : FieldMethod::kFiltering;
}

void MakeOtherField(const FieldPair& inPair, FieldMethod inMethod)
{
    for (int plane = 0; plane < (inPair.source.storage == Storage::kPlanar ? 2 : 1); ++plane)
    {
        PlaneMaker maker(inPair, plane, inMethod);
        // Row by row of both, while what is read is near.
        const std::int32_t rows = RowsIn(inPair.target, plane);
        const std::int32_t copied = inPair.copy.planes[0] != nullptr ? RowsIn(inPair.copy, plane) : 0;
        for (std::int32_t row = 0; row < std::max(rows, copied); ++row)
        {
            if (row < copied)
            {
                maker.CopyKeptRow(row);
            }
            if (row < rows)
            {
                maker.MakeRow(row);
            }
        }
    }
}

void SwapFields(const Picture& inSource, const Picture& inTarget) noexcept
{
    ForEachPlane(inSource,
                 [&](int inPlane)
                 {
                     if (IsChroma(inPlane) && inSource.isFieldChroma)
                     {
                         SwapChromaOfFields(inSource, inTarget, inPlane);
                         return;
                     }
                     const std::int32_t rows = RowsIn(inSource, inPlane);
                     const bool stays = IsChroma(inPlane) && SharesChroma(inSource);
                     for (std::int32_t row = 0; row < rows; ++row)
                     {
                         const std::int32_t partner = row ^ 1;
                         CopyRow(inSource, stays || partner >= rows ? row : partner, inTarget, row, inPlane);
                     }
                 });
}

void SmoothRows(const Picture& inSource, const Picture& inTarget)
{
    const FieldRowKind kind = FieldRowKindOf(inSource);
    ForEachPlane(inSource,
                 [&](int inPlane)
                 {
                     const std::int32_t last = RowsIn(inSource, inPlane) - 1;
                     const auto bytes = static_cast<std::size_t>(RowBytesOf(inSource, inPlane));
                     for (std::int32_t row = 0; row <= last; ++row)
                     {
                         SmoothRow(kind, inSource.Row(inPlane, std::max(row - 1, 0)),
                                   inSource.Row(inPlane, row), inSource.Row(inPlane, std::min(row + 1, last)),
                                   inTarget.Row(inPlane, row), bytes);
                     }
                 });
}

void CopyFieldRows(const Picture& inSource, const Picture& inTarget, std::int32_t inField) noexcept
{
    ForEachPlane(inSource,
                 [&](int inPlane)
                 {
                     const bool stays = IsChroma(inPlane) && SharesChroma(inSource);
                     const std::int32_t first = inField == kIR_LowerField ? 1 : 0;
                     for (std::int32_t row = first; !stays && row < RowsIn(inSource, inPlane); row += 2)
                     {
                         CopyRow(inSource, row, inTarget, row, inPlane);
                     }
                 });
}

}
