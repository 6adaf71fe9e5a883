#pragma once

#include <memory>
#include <mutex>
#include <string>

#include "ReferenceHost/Media/FFmpeg/PacketTable.h"
#include "ReferenceHost/Media/FFmpeg/PicturePool.h"
#include "ReferenceHost/Media/FilePart.h"

struct AVCodecParameters;

namespace Media
{

// Reads the packets of bare video by their places in the file, into the memory of pictures.
//
// A demuxer takes a fresh block for each packet from the heap, megabytes between small ones, until the heap is
// in pieces and twice as large as what is in use. The packets of bare video are the pictures, which the
// decoder hands on without a copy: read into blocks that recycle they cost no heap, and no page faults.
//
// Whether a packet stands in the file as it comes out of the demuxer is found out with one that did. Some
// demuxers reorder rows, or put packets together; of Matroska they tell the place of the block around a packet.
//
// Thread-safety: safe.
class DirectReader
{
public:
    // Null when the packets of such a stream can't be read so, or when inSample, which came from the demuxer,
    // isn't what stands at its place.
    static std::unique_ptr<DirectReader> Open(const std::string& inPath,
                                              const AVCodecParameters& inParameters, const AVPacket& inSample,
                                              std::shared_ptr<PicturePool> inPool);
    // 0, or an AVERROR when the packet isn't there whole, isn't the one that was listed, or isn't like the
    // sample: a demuxer may still know what to do with it.
    int Read(const PacketRecord& inRecord, AVPacket& outPacket) const;

    // Has the system read the packet into its memory, and waits for what isn't there yet, as far as a look at some of
    // its bytes tells; of files of which the system can't tell it is told to have it there soon. False unless the
    // packet is there whole and the one that was listed. Throws std::bad_alloc.
    bool Fetch(const PacketRecord& inRecord) const;

    // Whether the packet is there so, as far as the system tells without waiting. Files of which it can't tell are
    // dealt with as by Fetch: whoever asks whether a picture has been read must get an answer some time.
    bool IsFetched(const PacketRecord& inRecord) const;

    // Some bytes of a packet that was fetched, from inOffset on. False, with errno set, if they can't be read.
    bool ReadBytes(const PacketRecord& inRecord, std::int64_t inOffset, std::int64_t inCount,
                   std::uint8_t* outBytes) const;

    // Whether these are such bytes. Throws std::bad_alloc.
    bool HasBytes(const PacketRecord& inRecord, std::int64_t inOffset, std::int64_t inCount,
                  const std::uint8_t* inBytes) const;

private:
    DirectReader(const AVPacket& inSample, const std::shared_ptr<PicturePool>& inPool,
                 std::int64_t inHeadBytes);
    bool HasSample(const AVPacket& inSample) const;
    bool MayBeFetched(const PacketRecord& inRecord) const noexcept;
    bool IsListed(const PacketRecord& inRecord) const;
    bool FetchBytes(std::int64_t inPosition, std::int64_t inCount) const;

    OpenedPart mFile;
    const int mSize; // of every packet
    const int mStream;
    const std::int64_t mHeadBytes;          // from the place that is told of a packet to its first byte
    const std::weak_ptr<PicturePool> mPool; // of an open file: frames may keep this reader for longer
};

// The reader that all decoders of a file share, once one of them has found that there can be one.
//
// Thread-safety: safe.
class SharedDirectReader
{
public:
    // Null as long as there is none.
    std::shared_ptr<const DirectReader> Get() const;

    // As DirectReader::Open, the first time; later what came of that.
    std::shared_ptr<const DirectReader> Find(const std::string& inPath, const AVCodecParameters& inParameters,
                                             const AVPacket& inSample,
                                             const std::shared_ptr<PicturePool>& inPool);

private:
    mutable std::mutex mLock; // guards both
    bool mIsKnown = false;
    std::shared_ptr<const DirectReader> mReader;
};

}
