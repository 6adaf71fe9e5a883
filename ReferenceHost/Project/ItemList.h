// The items of a track in time order, shared in pieces between a track that is edited and the snapshots of it.
//
// Items lie in pieces of at most kMostInPiece. Copying the list copies references to the pieces; after Share a
// piece is copied before it is changed, so that no copy taken before ever sees a change.
//
// Thread-safety: as a value: a list is changed by one thread, copies of it are read by any.
#pragma once

#include "ReferenceHost/Project/TrackItem.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace Project
{

class ItemList
{
public:
    // Small enough that copying one is nothing, large enough that the pieces of a long track are few.
    static constexpr std::size_t kMostInPiece = 128;

    // A place in the list; changing the list invalidates it.
    struct Place
    {
        std::size_t mPiece = 0;
        std::size_t mIndex = 0;

        friend bool operator==(const Place&, const Place&) = default;
    };

    std::size_t Size() const { return mSize; }
    Place Begin() const { return {}; }
    // The first item that ends behind inTime; End if there is none.
    Place FirstEndingBehind(const norviktypes::TickTime& inTime) const;
    Place End() const { return {mPieces.size(), 0}; }
    bool IsEnd(const Place& inPlace) const { return inPlace.mPiece >= mPieces.size(); }
    Place Next(Place inPlace) const;
    // The one before; of End the last. Not of Begin.
    Place Previous(Place inPlace) const;
    const TrackItemRef& At(const Place& inPlace) const
    {
        return mPieces[inPlace.mPiece]->mItems[inPlace.mIndex];
    }

    void Insert(const Place& inBefore, const TrackItemRef& inItem);
    void Replace(const Place& inPlace, const TrackItemRef& inItem);
    void Remove(const Place& inPlace);

    // From now on what this list holds is shared with copies of it.
    void Share() { ++mEpoch; }

private:
    struct Piece
    {
        std::vector<TrackItemRef> mItems;
        std::uint64_t mEpoch = 0; // of the list when the piece was made
    };

    Piece& Own(std::size_t inPiece);
    void Split(std::size_t inPiece);

    std::vector<std::shared_ptr<Piece>> mPieces; // none of them empty
    std::size_t mSize = 0;
    std::uint64_t mEpoch = 0;
};

} // namespace Project
