#include "ReferenceHost/Media/FFmpeg/PictureCache.h"

#include "ReferenceHost/Media/FFmpeg/FFmpegTypes.h"

namespace Media
{

std::int64_t PictureBytes(const AVFrame& inPicture)
{
    std::int64_t bytes = 0;
    for (const AVBufferRef* buffer : inPicture.buf)
    {
        bytes += buffer ? static_cast<std::int64_t>(buffer->size) : 0;
    }
    return bytes;
}

PicturePtr PictureCache::Find(std::int64_t inRank, bool inIsDelivery)
{
    const auto found = mByRank.find(inRank);
    if (found == mByRank.end())
    {
        return nullptr;
    }
    mEntries.splice(mEntries.begin(), mEntries, found->second);
    found->second->isDelivered = found->second->isDelivered || inIsDelivery;
    return found->second->picture;
}

bool PictureCache::WasDelivered(std::int64_t inRank) const
{
    const auto found = mByRank.find(inRank);
    return found == mByRank.end() || found->second->isDelivered;
}

void PictureCache::Insert(std::int64_t inRank, PicturePtr inPicture, bool inIsDelivered)
{
    if (Find(inRank, inIsDelivered))
    {
        return;
    }
    const std::int64_t bytes = PictureBytes(*inPicture);
    mEntries.push_front({inRank, std::move(inPicture), bytes, inIsDelivered});
    mByRank[inRank] = mEntries.begin();
    mBytes += bytes;
}

void PictureCache::Erase(std::int64_t inRank, std::list<PicturePtr>& outEvicted)
{
    const auto found = mByRank.find(inRank);
    if (found != mByRank.end())
    {
        mBytes -= found->second->bytes;
        outEvicted.push_back(std::move(found->second->picture));
        mEntries.erase(found->second);
        mByRank.erase(found);
    }
}

void PictureCache::Trim(std::int64_t inBytes, std::list<PicturePtr>& outEvicted)
{
    while (mBytes > inBytes && !mEntries.empty())
    {
        Entry& last = mEntries.back();
        mBytes -= last.bytes;
        mByRank.erase(last.rank);
        outEvicted.push_back(std::move(last.picture));
        mEntries.pop_back();
    }
}

}
