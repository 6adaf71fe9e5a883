#include "ReferenceHost/Project/ItemList.h"

#include <algorithm>

namespace Project
{

namespace
{

std::ptrdiff_t Signed(std::size_t inIndex)
{
    return static_cast<std::ptrdiff_t>(inIndex);
}

} // namespace

ItemList::Place ItemList::FirstEndingBehind(const norviktypes::TickTime& inTime) const
{
    const auto endsBefore = [](const norviktypes::TickTime& inA, const TrackItemRef& inB)
    { return inA < inB->GetEnd(); };
    const auto piece =
        std::upper_bound(mPieces.begin(), mPieces.end(), inTime,
                         [&](const norviktypes::TickTime& inA, const std::shared_ptr<Piece>& inB)
                         { return endsBefore(inA, inB->mItems.back()); });
    if (piece == mPieces.end())
    {
        return End();
    }
    const std::vector<TrackItemRef>& items = (*piece)->mItems;
    const auto item = std::upper_bound(items.begin(), items.end(), inTime, endsBefore);
    return {static_cast<std::size_t>(piece - mPieces.begin()),
            static_cast<std::size_t>(item - items.begin())};
}

ItemList::Place ItemList::Next(Place inPlace) const
{
    if (++inPlace.mIndex >= mPieces[inPlace.mPiece]->mItems.size())
    {
        return {inPlace.mPiece + 1, 0};
    }
    return inPlace;
}

ItemList::Place ItemList::Previous(Place inPlace) const
{
    if (inPlace.mIndex == 0)
    {
        --inPlace.mPiece;
        return {inPlace.mPiece, mPieces[inPlace.mPiece]->mItems.size() - 1};
    }
    return {inPlace.mPiece, inPlace.mIndex - 1};
}

void ItemList::Insert(const Place& inBefore, const TrackItemRef& inItem)
{
    Place place = inBefore;
    if (IsEnd(place))
    {
        if (mPieces.empty())
        {
            mPieces.push_back(std::make_shared<Piece>());
            mPieces.back()->mEpoch = mEpoch;
        }
        place = {mPieces.size() - 1, mPieces.back()->mItems.size()};
    }
    std::vector<TrackItemRef>& items = Own(place.mPiece).mItems;
    items.insert(items.begin() + Signed(place.mIndex), inItem);
    ++mSize;
    if (items.size() > kMostInPiece)
    {
        Split(place.mPiece);
    }
}

void ItemList::Replace(const Place& inPlace, const TrackItemRef& inItem)
{
    Own(inPlace.mPiece).mItems[inPlace.mIndex] = inItem;
}

void ItemList::Remove(const Place& inPlace)
{
    std::vector<TrackItemRef>& items = Own(inPlace.mPiece).mItems;
    items.erase(items.begin() + Signed(inPlace.mIndex));
    --mSize;
    if (items.empty())
    {
        mPieces.erase(mPieces.begin() + Signed(inPlace.mPiece));
    }
}

ItemList::Piece& ItemList::Own(std::size_t inPiece)
{
    std::shared_ptr<Piece>& piece = mPieces[inPiece];
    if (piece->mEpoch != mEpoch)
    {
        piece = std::make_shared<Piece>(*piece);
        piece->mEpoch = mEpoch;
    }
    return *piece;
}

// Items mostly come at the end: the full piece stays nearly full there, so that a long track that is built in
// order fills its pieces.
void ItemList::Split(std::size_t inPiece)
{
    std::vector<TrackItemRef>& items = mPieces[inPiece]->mItems;
    const bool isLast = inPiece + 1 == mPieces.size();
    const std::size_t kept = isLast ? items.size() - 1 : items.size() / 2;
    auto rest = std::make_shared<Piece>();
    rest->mEpoch = mEpoch;
    rest->mItems.assign(items.begin() + Signed(kept), items.end());
    items.resize(kept);
    mPieces.insert(mPieces.begin() + Signed(inPiece) + 1, std::move(rest));
}

} // namespace Project
