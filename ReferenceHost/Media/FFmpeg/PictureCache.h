#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <unordered_map>

struct AVFrame;

namespace Media
{

using PicturePtr = std::shared_ptr<const AVFrame>;

// Bytes of the buffers that a picture refers to.
std::int64_t PictureBytes(const AVFrame& inPicture);

// Decoded pictures by rank. The least recently used goes first: pictures come in on the way to a target in
// ascending order, so that what remains under a short budget are those nearest to it.
//
// Thread-safety: none; the owner's lock guards it.
class PictureCache
{
public:
    // The picture, or null. Counts as used; inIsDelivery: it goes to a client.
    PicturePtr Find(std::int64_t inRank, bool inIsDelivery = true);
    bool Has(std::int64_t inRank) const { return mByRank.count(inRank) != 0; }
    bool WasDelivered(std::int64_t inRank) const;
    void Insert(std::int64_t inRank, PicturePtr inPicture, bool inIsDelivered);

    // What is erased or evicted goes to the list, to be destroyed after the owner's unlock.
    void Erase(std::int64_t inRank, std::list<PicturePtr>& outEvicted);

    // Evicts down to inBytes.
    void Trim(std::int64_t inBytes, std::list<PicturePtr>& outEvicted);

    std::int64_t Bytes() const noexcept { return mBytes; }

private:
    struct Entry
    {
        std::int64_t rank;
        PicturePtr picture;
        std::int64_t bytes;
        bool isDelivered;
    };

    std::list<Entry> mEntries; // the most recently used first
    std::unordered_map<std::int64_t, std::list<Entry>::iterator> mByRank;
    std::int64_t mBytes = 0;
};

}
