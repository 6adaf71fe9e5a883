#include "ReferenceHost/Media/FFmpeg/DirectReader.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

#include "ReferenceHost/Media/FFmpeg/FFmpegTypes.h"
#include "ReferenceHost/Media/FFmpeg/MatroskaBlocks.h"

namespace Media
{

namespace
{

// A palette comes beside the packets, not in them.
bool IsBareVideo(const AVCodecParameters& inParameters)
{
    const AVPixFmtDescriptor* format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(inParameters.format));
    return inParameters.codec_id == AV_CODEC_ID_RAWVIDEO && format && !(format->flags & AV_PIX_FMT_FLAG_PAL);
}

// Small beside a picture; the system reads ahead by as much.
constexpr std::int64_t kBetweenLooks = 128 << 10;

// Of files of which the system doesn't say what it has in memory.
bool CantTell(int inError) noexcept
{
    return inError == EOPNOTSUPP || inError == ENOSYS;
}

bool ReadAll(const OpenedPart& inFile, std::int64_t inPosition, std::int64_t inBytes, std::uint8_t* outBytes)
{
    for (std::int64_t done = 0; done < inBytes;)
    {
        const std::ptrdiff_t count =
            inFile.Read(outBytes + done, static_cast<std::size_t>(inBytes - done), inPosition + done);
        if (count < 0 && errno == EINTR)
        {
            continue;
        }
        if (count <= 0)
        {
            errno = count == 0 ? ENODATA : errno;
            return false;
        }
        done += count;
    }
    return true;
}

}

DirectReader::DirectReader(const AVPacket& inSample, const std::shared_ptr<PicturePool>& inPool,
                           std::int64_t inHeadBytes)
    : mSize(inSample.size)
    , mStream(inSample.stream_index)
    , mHeadBytes(inHeadBytes)
    , mPool(inPool)
{
}

std::unique_ptr<DirectReader> DirectReader::Open(const std::string& inPath,
                                                 const AVCodecParameters& inParameters,
                                                 const AVPacket& inSample,
                                                 std::shared_ptr<PicturePool> inPool)
{
    if (!IsBareVideo(inParameters) || inSample.pos < 0 || inSample.size <= 0 || inSample.side_data_elems > 0)
    {
        return nullptr;
    }
    for (const std::int64_t headBytes : {std::int64_t{0}, kMatroskaBlockHead})
    {
        std::unique_ptr<DirectReader> reader(new DirectReader(inSample, inPool, headBytes));
        if (reader->mFile.Open(inPath) && reader->HasSample(inSample))
        {
            return reader;
        }
    }
    return nullptr;
}

bool DirectReader::HasSample(const AVPacket& inSample) const
{
    PacketRecord record;
    record.position = inSample.pos;
    return HasBytes(record, 0, inSample.size, inSample.data);
}

// Compared part by part: a block of a picture's size would be new to the process, and serve only once.
bool DirectReader::HasBytes(const PacketRecord& inRecord, std::int64_t inOffset, std::int64_t inCount,
                            const std::uint8_t* inBytes) const
{
    std::vector<std::uint8_t> part(static_cast<std::size_t>(std::min(inCount, kBetweenLooks)));
    const auto most = static_cast<std::int64_t>(part.size());
    for (std::int64_t done = 0; done < inCount; done += most)
    {
        const std::int64_t count = std::min(inCount - done, most);
        if (!ReadBytes(inRecord, inOffset + done, count, part.data()) ||
            std::memcmp(part.data(), inBytes + done, static_cast<std::size_t>(count)) != 0)
        {
            return false;
        }
    }
    return true;
}

int DirectReader::Read(const PacketRecord& inRecord, AVPacket& outPacket) const
{
    if (inRecord.position < 0 || inRecord.size != mSize)
    {
        return AVERROR(ENOSYS);
    }
    const auto size = static_cast<std::size_t>(mSize);
    std::uint8_t* bytes = nullptr;
    const std::shared_ptr<PicturePool> pool = mPool.lock();
    outPacket.buf = pool ? pool->NewBuffer(size + AV_INPUT_BUFFER_PADDING_SIZE, bytes) : nullptr;
    if (!outPacket.buf)
    {
        return AVERROR(ENOMEM);
    }
    outPacket.data = bytes;
    outPacket.size = mSize;
    outPacket.pos = inRecord.position;
    outPacket.stream_index = mStream;
    outPacket.flags = AV_PKT_FLAG_KEY | (inRecord.isDiscarded ? AV_PKT_FLAG_DISCARD : 0);
    std::memset(bytes + size, 0, AV_INPUT_BUFFER_PADDING_SIZE);
    if (!ReadAll(mFile, inRecord.position + mHeadBytes, mSize, bytes) || !IsPacketOf(inRecord, outPacket))
    {
        av_packet_unref(&outPacket);
        return AVERROR_INVALIDDATA;
    }
    return 0;
}

bool DirectReader::Fetch(const PacketRecord& inRecord) const
{
    return MayBeFetched(inRecord) && FetchBytes(inRecord.position + mHeadBytes, mSize) && IsListed(inRecord);
}

bool DirectReader::IsFetched(const PacketRecord& inRecord) const
{
    const std::int64_t start = inRecord.position + mHeadBytes;
    const std::int64_t end = start + mSize;
    bool isThere = MayBeFetched(inRecord);
    for (std::int64_t position = start; isThere && position < end; position += kBetweenLooks)
    {
        std::uint8_t byte = 0;
        isThere = mFile.ReadFromMemory(&byte, 1, position) == 1;
        if (!isThere && CantTell(errno))
        {
            mFile.ReadAhead(start, mSize);
            return IsListed(inRecord);
        }
    }
    // The last bytes may lie far behind the last look.
    std::uint8_t head[kHashedEnd];
    std::uint8_t tail[kHashedEnd];
    return isThere && mFile.ReadFromMemory(head, kHashedEnd, start) == kHashedEnd &&
           mFile.ReadFromMemory(tail, kHashedEnd, end - kHashedEnd) == kHashedEnd &&
           HasEnds(inRecord, head, tail);
}

bool DirectReader::MayBeFetched(const PacketRecord& inRecord) const noexcept
{
    return inRecord.position >= 0 && inRecord.size == mSize && mSize >= 2 * kHashedEnd;
}

// Of a packet that is in the system's memory.
bool DirectReader::IsListed(const PacketRecord& inRecord) const
{
    const std::int64_t start = inRecord.position + mHeadBytes;
    std::uint8_t head[kHashedEnd];
    std::uint8_t tail[kHashedEnd];
    return ReadAll(mFile, start, kHashedEnd, head) &&
           ReadAll(mFile, start + mSize - kHashedEnd, kHashedEnd, tail) && HasEnds(inRecord, head, tail);
}

bool DirectReader::FetchBytes(std::int64_t inPosition, std::int64_t inCount) const
{
    std::vector<std::uint8_t> missing;
    const std::int64_t end = inPosition + inCount;
    for (std::int64_t position = inPosition; position < end; position += kBetweenLooks)
    {
        std::uint8_t byte = 0;
        if (mFile.ReadFromMemory(&byte, 1, position) == 1)
        {
            continue;
        }
        if (CantTell(errno))
        {
            mFile.ReadAhead(inPosition, inCount);
            return true;
        }
        const std::int64_t count = std::min(kBetweenLooks, end - position);
        missing.resize(static_cast<std::size_t>(count));
        if (!ReadAll(mFile, position, count, missing.data()))
        {
            return false;
        }
    }
    return true;
}

bool DirectReader::ReadBytes(const PacketRecord& inRecord, std::int64_t inOffset, std::int64_t inCount,
                             std::uint8_t* outBytes) const
{
    return ReadAll(mFile, inRecord.position + mHeadBytes + inOffset, inCount, outBytes);
}

std::shared_ptr<const DirectReader> SharedDirectReader::Get() const
{
    const std::lock_guard<std::mutex> lock(mLock);
    return mReader;
}

std::shared_ptr<const DirectReader> SharedDirectReader::Find(const std::string& inPath,
                                                             const AVCodecParameters& inParameters,
                                                             const AVPacket& inSample,
                                                             const std::shared_ptr<PicturePool>& inPool)
{
    const std::lock_guard<std::mutex> lock(mLock);
    if (!mIsKnown)
    {
        mIsKnown = true;
        mReader = DirectReader::Open(inPath, inParameters, inSample, inPool);
    }
    return mReader;
}

}
