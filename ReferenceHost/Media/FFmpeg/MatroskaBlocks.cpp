#include "ReferenceHost/Media/FFmpeg/MatroskaBlocks.h"

#include <algorithm>

namespace Media
{

namespace
{

using Area = std::pair<std::int64_t, std::int64_t>;

constexpr int kMostElements = 1 << 21; // ten hours of frames in clusters of their own
constexpr std::int64_t kMostHeadBytes = 12;

enum ElementID : std::uint32_t
{
    kEBML = 0x1A45DFA3,
    kSegment = 0x18538067,
    kTracks = 0x1654AE6B,
    kTrackEntry = 0xAE,
    kTrackNumber = 0xD7,
    kTrackType = 0x83,
    kContentEncodings = 0x6D80,
    kCluster = 0x1F43B675,
    kSimpleBlock = 0xA3,
    kBlockGroup = 0xA0,
    kBlock = 0xA1
};

constexpr std::uint64_t kVideoTrack = 1;
constexpr std::uint8_t kLacing = 0x06; // of a block's flags

struct Element
{
    std::uint32_t mID = 0;
    std::int64_t mBegin = 0; // of what is in it
    std::int64_t mEnd = 0;
    std::uint8_t mHead[kMatroskaBlockHead] = {}; // what is in it first
};

class Walk
{
public:
    Walk(const OpenedPart& inFile, std::vector<Area>& outFrames) : mFile(inFile), mFrames(outFrames) {}

    bool Run()
    {
        Element element;
        const std::int64_t size = mFile.Size();
        return Next(0, size, element) && element.mID == kEBML && Next(element.mEnd, size, element) &&
               element.mID == kSegment && Segment(element) && !mFrames.empty();
    }

private:
    // False where no element stands, or one that doesn't end before inEnd.
    bool Next(std::int64_t inAt, std::int64_t inEnd, Element& outElement);
    bool Number(const Element& inElement, std::uint64_t& outNumber) const;

    template <typename Visitor>
    bool EachIn(const Element& inParent, Visitor inVisit)
    {
        Element element;
        for (std::int64_t at = inParent.mBegin; at < inParent.mEnd; at = element.mEnd)
        {
            if (!Next(at, inParent.mEnd, element) || !inVisit(element))
            {
                return false;
            }
        }
        return true;
    }

    bool Segment(const Element& inSegment);
    bool Track(const Element& inTrack);
    bool Cluster(const Element& inCluster);
    bool Block(const Element& inBlock);

    const OpenedPart& mFile;
    std::vector<Area>& mFrames;
    std::uint64_t mTrack = 0; // 0: not known yet
    int mElements = 0;
};

bool Walk::Next(std::int64_t inAt, std::int64_t inEnd, Element& outElement)
{
    std::uint8_t bytes[kMostHeadBytes + kMatroskaBlockHead] = {};
    const std::ptrdiff_t got = mFile.Read(bytes, sizeof bytes, inAt);
    if (got < 2 || ++mElements > kMostElements)
    {
        return false;
    }
    // The leading zeros tell the length of both, and are part of the first.
    std::size_t idBytes = 1;
    while (idBytes <= 4 && (bytes[0] & (0x100 >> idBytes)) == 0)
    {
        ++idBytes;
    }
    std::size_t sizeBytes = 1;
    while (idBytes <= 4 && sizeBytes <= 8 && (bytes[idBytes] & (0x100 >> sizeBytes)) == 0)
    {
        ++sizeBytes;
    }
    if (idBytes > 4 || sizeBytes > 8)
    {
        return false;
    }
    std::uint32_t id = 0;
    for (std::size_t i = 0; i < idBytes; ++i)
    {
        id = id << 8 | bytes[i];
    }
    std::uint64_t size = bytes[idBytes] & (0xFFu >> sizeBytes);
    for (std::size_t i = 1; i < sizeBytes; ++i)
    {
        size = size << 8 | bytes[idBytes + i];
    }
    // A size of all ones is unknown.
    const bool isKnown = size + 1 != (std::uint64_t{1} << (7 * sizeBytes));
    const std::int64_t begin = inAt + static_cast<std::int64_t>(idBytes + sizeBytes);
    if (!isKnown || begin > inEnd || size > static_cast<std::uint64_t>(inEnd - begin))
    {
        return false;
    }
    outElement.mID = id;
    outElement.mBegin = begin;
    outElement.mEnd = begin + static_cast<std::int64_t>(size);
    std::copy_n(bytes + idBytes + sizeBytes, kMatroskaBlockHead, outElement.mHead);
    return true;
}

bool Walk::Number(const Element& inElement, std::uint64_t& outNumber) const
{
    std::uint8_t bytes[8] = {};
    const std::int64_t size = inElement.mEnd - inElement.mBegin;
    if (size > 8 || mFile.Read(bytes, static_cast<std::size_t>(size), inElement.mBegin) != size)
    {
        return false;
    }
    outNumber = 0;
    for (std::int64_t i = 0; i < size; ++i)
    {
        outNumber = outNumber << 8 | bytes[i];
    }
    return true;
}

bool Walk::Segment(const Element& inSegment)
{
    return EachIn(inSegment,
                  [this](const Element& inElement)
                  {
                      switch (inElement.mID)
                      {
                      case kTracks:
                          return EachIn(inElement, [this](const Element& inTrack)
                                        { return inTrack.mID != kTrackEntry || Track(inTrack); });
                      case kCluster: return Cluster(inElement);
                      default: return true;
                      }
                  });
}

bool Walk::Track(const Element& inTrack)
{
    std::uint64_t number = 0;
    std::uint64_t type = 0;
    bool isPlain = true;
    const bool isWhole = EachIn(inTrack,
                                [&](const Element& inElement)
                                {
                                    isPlain = isPlain && inElement.mID != kContentEncodings;
                                    return inElement.mID == kTrackNumber ? Number(inElement, number)
                                           : inElement.mID == kTrackType ? Number(inElement, type)
                                                                         : true;
                                });
    if (!isWhole || type != kVideoTrack)
    {
        return isWhole;
    }
    const bool isOnly = mTrack == 0;
    mTrack = number;
    // A number of one byte, as blocks have it.
    return isOnly && isPlain && number > 0 && number < 0x7F;
}

bool Walk::Cluster(const Element& inCluster)
{
    return mTrack != 0 && EachIn(inCluster,
                                 [this](const Element& inElement)
                                 {
                                     switch (inElement.mID)
                                     {
                                     case kSimpleBlock: return Block(inElement);
                                     case kBlockGroup:
                                         return EachIn(inElement, [this](const Element& inMember)
                                                       { return inMember.mID != kBlock || Block(inMember); });
                                     default: return true;
                                     }
                                 });
}

bool Walk::Block(const Element& inBlock)
{
    const bool isOfTrack = inBlock.mHead[0] == (0x80 | mTrack);
    if (inBlock.mEnd - inBlock.mBegin <= kMatroskaBlockHead || !isOfTrack)
    {
        return !isOfTrack;
    }
    mFrames.emplace_back(inBlock.mBegin + kMatroskaBlockHead, inBlock.mEnd);
    return (inBlock.mHead[3] & kLacing) == 0;
}

}

bool FindMatroskaBlocks(const OpenedPart& inFile,
                        std::vector<std::pair<std::int64_t, std::int64_t>>& outFrames)
{
    outFrames.clear();
    return Walk(inFile, outFrames).Run();
}

}
