#include "ReferenceHost/ImageRoutines/EdgeField.h"

#include <cstring>

#include "ReferenceHost/ImageRoutines/Rows422.h"

namespace ir
{
namespace
{

// Two rows taken apart, four components each; what is selected of both; the costs of five slopes.
constexpr std::size_t kSplitRows = 8;
constexpr std::size_t kSelectedRows = 8;
constexpr std::size_t kCostRows = 5;

bool Is422(const Picture& inPicture)
{
    return inPicture.storage == Storage::kYUYV || inPicture.storage == Storage::kUYVY ||
           inPicture.storage == Storage::kV210;
}

template <typename T>
void PadAs(T* ioRow, std::int32_t inWidth)
{
    for (std::size_t i = 0; i < kEdgePad; ++i)
    {
        *(ioRow - 1 - i) = ioRow[0];
        ioRow[static_cast<std::size_t>(inWidth) + i] = ioRow[inWidth - 1];
    }
}

void Pad(Sample inSample, void* ioRow, std::int32_t inWidth)
{
    switch (inSample)
    {
    case Sample::kByte: return PadAs(static_cast<std::uint8_t*>(ioRow), inWidth);
    case Sample::kWord: return PadAs(static_cast<std::uint16_t*>(ioRow), inWidth);
    default: return PadAs(static_cast<float*>(ioRow), inWidth);
    }
}

ComponentRows RowsBehind(const ComponentRows& inRows, int inComponents)
{
    ComponentRows rows = {};
    for (int i = inComponents; i < 4; ++i)
    {
        rows.c[i - inComponents] = inRows.c[i];
    }
    return rows;
}

}

EdgeField::EdgeField(const Picture& inSource, int inPlane)
    : mSource(inSource)
    , mPlane(inPlane)
    , mSample(inSource.storage == Storage::kV210 ? Sample::kWord : inSource.sample)
    , mKind(FieldRowKindOf(inSource))
    , mGroups{{0, 4, inSource.width}, {}}
    , mRows(kSplitRows + kSelectedRows + kCostRows,
            static_cast<std::size_t>(inSource.width) + 2 * kEdgePad + 2)
    , mJoined(2, static_cast<std::size_t>(RowBytesOf(inSource, inPlane)))
{
    if (Is422(inSource))
    {
        mGroups[0].count = 1;
        mGroups[1] = {1, 2, inSource.ChromaWidth()};
        mGroupCount = 2;
    }
    else if (inSource.storage == Storage::kPlanar)
    {
        mGroups[0] = {0, inPlane == 0 ? 1 : 2, inPlane == 0 ? inSource.width : inSource.ChromaWidth()};
    }
    mSplit[0].components = RowsFrom(0);
    mSplit[1].components = RowsFrom(4);
    mSelectedAbove = RowsFrom(kSplitRows);
    mSelectedBelow = RowsFrom(kSplitRows + 4);
    for (std::size_t i = 0; i < kCostRows; ++i)
    {
        mCosts[i] = mRows.Row(kSplitRows + kSelectedRows + i);
    }
}

// Each with room for the pad in front.
ComponentRows EdgeField::RowsFrom(std::size_t inFirst) const
{
    ComponentRows rows;
    for (std::size_t i = 0; i < 4; ++i)
    {
        rows.c[i] = mRows.Row(inFirst + i) + kEdgePad;
    }
    return rows;
}

void EdgeField::SplitInto(std::int32_t inRow, const ComponentRows& outRows) const
{
    if (mSource.storage == Storage::kPacked4)
    {
        SplitFourRow(mSample, mSource.Row(0, inRow), outRows, static_cast<std::size_t>(mSource.width));
    }
    else if (Is422(mSource))
    {
        Split422Row(mSource, mSource.Row(0, inRow), outRows);
    }
    else
    {
        for (int i = 0; i < mGroups[0].count; ++i)
        {
            std::memcpy(outRows.c[i], mSource.Row(mPlane + i, inRow),
                        static_cast<std::size_t>(RowBytesOf(mSource, mPlane + i)));
        }
    }
    for (int group = 0; group < mGroupCount; ++group)
    {
        for (int i = 0; i < mGroups[group].count; ++i)
        {
            Pad(mSample, outRows.c[mGroups[group].first + i], mGroups[group].width);
        }
    }
}

const ComponentRows& EdgeField::Split(std::int32_t inRow)
{
    SplitRow& split = mSplit[inRow & 1];
    if (split.row != inRow)
    {
        SplitInto(inRow, split.components);
        split.row = inRow;
    }
    return split.components;
}

void EdgeField::Select(const Group& inGroup, const ComponentRows& inAbove, const ComponentRows& inBelow)
{
    SelectAlongEdges(mSample, static_cast<std::size_t>(inGroup.count), RowsBehind(inAbove, inGroup.first),
                     RowsBehind(inBelow, inGroup.first), RowsBehind(mSelectedAbove, inGroup.first),
                     RowsBehind(mSelectedBelow, inGroup.first), static_cast<std::size_t>(inGroup.width),
                     mCosts);
}

void EdgeField::Finish(int inPlane, const void* inAbove, const void* inBelow, std::int32_t inRowAbove,
                       std::int32_t inRowBelow, unsigned char* outRow) const
{
    const auto bytes = static_cast<std::size_t>(RowBytesOf(mSource, inPlane));
    MeanRow(mKind, inAbove, inBelow, outRow, bytes);
    HoldBetweenRows(mKind, mSource.Row(inPlane, inRowAbove), mSource.Row(inPlane, inRowBelow), outRow, bytes);
}

void EdgeField::MakeRow(std::int32_t inAbove, std::int32_t inBelow, const Picture& inTarget,
                        std::int32_t inRow)
{
    const ComponentRows& above = Split(inAbove);
    const ComponentRows& below = Split(inBelow);
    for (int group = 0; group < mGroupCount; ++group)
    {
        Select(mGroups[group], above, below);
    }
    if (mSource.storage == Storage::kPlanar)
    {
        for (int i = 0; i < mGroups[0].count; ++i)
        {
            Finish(mPlane + i, mSelectedAbove.c[i], mSelectedBelow.c[i], inAbove, inBelow,
                   inTarget.Row(mPlane + i, inRow));
        }
        return;
    }
    const ComponentRows* const selected[2] = {&mSelectedAbove, &mSelectedBelow};
    for (std::size_t i = 0; i < 2; ++i)
    {
        if (Is422(mSource))
        {
            Join422Row(mSource, *selected[i], mJoined.Row(i));
        }
        else
        {
            JoinFourRow(mSample, *selected[i], mJoined.Row(i), static_cast<std::size_t>(mSource.width));
        }
    }
    Finish(0, mJoined.Row(0), mJoined.Row(1), inAbove, inBelow, inTarget.Row(0, inRow));
}

}
