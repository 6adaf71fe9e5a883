#pragma once

#include <cstdint>

#include "ReferenceHost/ImageRoutines/FieldRows.h"
#include "ReferenceHost/ImageRoutines/Picture.h"
#include "ReferenceHost/ImageRoutines/RowBuffers.h"

// Rows between the rows of one plane of a field, or of its two planes of chroma, made along edges.
//
// Rows are taken apart into components with pads around them; the two that were last used are kept, since the
// row below is the next one's row above.
//
// Thread-safety: none; belongs to one call.
namespace ir
{

class EdgeField
{
public:
    // inPlane: 0, or 1 for U and V of a planar picture. Throws std::bad_alloc.
    EdgeField(const Picture& inSource, int inPlane);

    // Makes a row of the target from two different rows of the source.
    void MakeRow(std::int32_t inAbove, std::int32_t inBelow, const Picture& inTarget, std::int32_t inRow);

private:
    // Components that decide together.
    struct Group
    {
        int first;
        int count;
        std::int32_t width;
    };
    struct SplitRow
    {
        std::int32_t row = -1;
        ComponentRows components = {};
    };

    ComponentRows RowsFrom(std::size_t inFirst) const;
    const ComponentRows& Split(std::int32_t inRow);
    void SplitInto(std::int32_t inRow, const ComponentRows& outRows) const;
    void Select(const Group& inGroup, const ComponentRows& inAbove, const ComponentRows& inBelow);
    void Finish(int inPlane, const void* inAbove, const void* inBelow, std::int32_t inRowAbove,
                std::int32_t inRowBelow, unsigned char* outRow) const;

    const Picture mSource;
    const int mPlane;
    const Sample mSample; // of a component in a row of its own
    const FieldRowKind mKind;
    Group mGroups[2];
    int mGroupCount = 1;
    RowBuffers<float> mRows;
    RowBuffers<unsigned char> mJoined;
    SplitRow mSplit[2];
    ComponentRows mSelectedAbove;
    ComponentRows mSelectedBelow;
    void* mCosts[5];
};

}
