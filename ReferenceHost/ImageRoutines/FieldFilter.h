#pragma once

#include <cstdint>

#include "ReferenceHost/ImageRoutines/FieldRows.h"
#include "ReferenceHost/ImageRoutines/Picture.h"
#include "ReferenceHost/ImageRoutines/RowBuffers.h"

// Rows between the rows of one plane of a field, made of four rows of it.
//
// Planes and pixels of four components are filtered as they lie in memory. Packed 4:2:2 is taken apart first; rows
// last used are kept, since each serves four rows of the other field.
//
// Thread-safety: none; belongs to one call.
namespace ir
{

class FieldFilter
{
public:
    // Throws std::bad_alloc.
    FieldFilter(const Picture& inSource, int inPlane);

    // Makes a row of the target from two neighbouring rows of the source and those beyond them.
    void MakeRow(std::int32_t inAbove, std::int32_t inBelow, const Picture& inTarget, std::int32_t inRow);

private:
    static constexpr std::size_t kKept = 4;

    FilterTaps TapsAt(std::int32_t inAbove, std::int32_t inBelow) const;
    const ComponentRows& Split(std::int32_t inRow);
    void MakeSplitRow(std::int32_t inAbove, std::int32_t inBelow, unsigned char* outRow);
    void Filter(const FilterTaps& inTaps, std::size_t inStep, std::size_t inCount, bool inIsChroma,
                void* outRow) const;

    const Picture mSource;
    const int mPlane;
    const std::int32_t mLast;
    const bool mIsPacked422;
    const Sample mSample; // of a component in a row of its own
    RowBuffers<float> mWork;
    RowBuffers<unsigned char> mMeans; // of pictures with alpha
    RowBuffers<float> mRows;          // of packed 4:2:2
    std::int32_t mKept[kKept] = {-1, -1, -1, -1};
    ComponentRows mSplit[kKept + 1] = {};
};

}
