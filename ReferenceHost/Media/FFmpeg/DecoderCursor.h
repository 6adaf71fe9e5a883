#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "ReferenceHost/Media/FFmpeg/DirectReader.h"
#include "ReferenceHost/Media/FFmpeg/ExpectedFrames.h"
#include "ReferenceHost/Media/FFmpeg/MediaInput.h"
#include "ReferenceHost/Media/FFmpeg/PacketTable.h"
#include "ReferenceHost/Media/FFmpeg/PicturePool.h"

namespace Media
{

// What every decoder of a file is opened with.
struct DecoderSetup
{
    std::string path;
    int streamIndex = 0;
    const AVCodecParameters* parameters = nullptr; // owned by the file
    const AVCodec* codec = nullptr;
    int threads = 1;
    std::shared_ptr<PicturePool> pool;
    std::shared_ptr<SharedDirectReader> direct = std::make_shared<SharedDirectReader>();
    const InterruptFlag* interrupt = nullptr;
};

// One decoder with its own reader, standing at a place in the stream. Each picture comes out with the ordinal
// of the packet that it was decoded from: packets go in stamped with their ordinals, so that a picture is
// known whatever the container says of its time.
//
// Thread-safety: one thread at a time.
class DecoderCursor
{
public:
    // 0 or an AVERROR. The cursor then stands at the first packet.
    int Open(const DecoderSetup& inSetup);

    // Goes to packet inKey so that it's the next to be decoded, and forgets what was decoded. Where the
    // demuxer won't go there, reads from farther ahead, in the end from the start of the file. 0 or an
    // AVERROR.
    int SeekTo(const PacketTable& inPackets, std::uint32_t inKey);

    // The next picture in the order of showing. 0, AVERROR_EOF at the end, or an AVERROR when the decoder
    // can't go on. Damaged packets are passed over, LastProblem tells of the last one. inPackets: null before
    // there is a table.
    int Next(const PacketTable* inPackets, AVFrame& outFrame, std::uint32_t& outPacket);

    // Ordinal of the packet that is read next.
    std::uint32_t NextPacket() const noexcept { return mNextPacket; }
    const std::string& LastProblem() const noexcept { return mLastProblem; }
    std::uint64_t PacketsRead() const noexcept { return mPacketsRead; }

    // How often no seek of the demuxer led to the packet that was wanted.
    std::uint64_t Reopenings() const noexcept { return mReopenings; }

    // Packets before inPacket, and those whose frames aren't expected, are needed only as far as later pictures
    // refer to theirs: of the others no picture need come out. Until the next SeekTo or call. inExpected: null
    // where all are.
    void SkipUnreferenced(std::uint32_t inPacket, std::shared_ptr<const ExpectedFrames> inExpected)
    {
        mSkipBefore = inPacket;
        mExpected = std::move(inExpected);
    }

private:
    int SeekDemuxer(const PacketTable& inPackets, std::uint32_t inKey);
    int ReadDirectly(const PacketTable& inPackets);
    void AdoptDirectReader();
    int OpenInput();
    int OpenDecoder();
    bool LandAt(const PacketTable& inPackets, std::uint32_t inKey);
    bool SeekNear(const PacketTable& inPackets, std::uint32_t inKey, std::uint32_t inAim, bool inByBytes);
    int ReadPacket(const PacketTable* inPackets);
    bool NeedsNextPicture() const;
    void Feed(const PacketTable* inPackets);

    DecoderSetup mSetup;
    MediaInput mInput;
    std::shared_ptr<const DirectReader> mDirect; // null: the demuxer reads
    bool mMayBeDirect = true;
    CodecContextPtr mDecoder;
    PacketPtr mPacket;
    bool mHasPacket = false; // mPacket is read and not decoded yet
    bool mAtEnd = false;     // the decoder has been told that no more packets come
    std::uint32_t mNextPacket = 0;
    std::uint32_t mLastFed = 0;
    std::uint32_t mSkipBefore = 0;
    std::shared_ptr<const ExpectedFrames> mExpected;
    std::uint64_t mPacketsRead = 0;
    std::uint64_t mReopenings = 0;
    std::string mLastProblem;
};

}
