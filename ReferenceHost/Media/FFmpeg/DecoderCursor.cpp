#include "ReferenceHost/Media/FFmpeg/DecoderCursor.h"

#include "ReferenceHost/Foundation/WorkObserver.h"

#include <algorithm>

namespace Media
{

namespace
{

constexpr int kMostErrors = 16;       // failed reads in a row that end a file
constexpr int kMostUnknown = 24;      // packets after a seek that aren't recognised
constexpr std::uint32_t kNearBy = 16; // packets that are sooner read than sought

bool SeeksByBytes(const MediaInput& inInput)
{
    for (const char* name :
         {"mpegts", "mpeg", "mpegvideo", "h264", "hevc", "m4v", "vc1", "dirac", "obu", "cavsvideo"})
    {
        if (inInput.IsFormat(name))
        {
            return (inInput.Context()->iformat->flags & AVFMT_NO_BYTE_SEEK) == 0;
        }
    }
    return false;
}

}

int DecoderCursor::Open(const DecoderSetup& inSetup)
{
    mSetup = inSetup;
    mPacket.reset(av_packet_alloc());
    if (!mPacket)
    {
        return AVERROR(ENOMEM);
    }
    const int status = OpenInput();
    return status < 0 ? status : OpenDecoder();
}

int DecoderCursor::OpenInput()
{
    mInput = MediaInput();
    int status = mInput.Open(mSetup.path, mSetup.interrupt);
    if (status >= 0 && mInput.NeedsProbe())
    {
        status = mInput.Probe();
    }
    if (status < 0)
    {
        return status;
    }
    if (mSetup.streamIndex >= static_cast<int>(mInput.Context()->nb_streams))
    {
        return AVERROR_STREAM_NOT_FOUND;
    }
    mInput.SelectStream(mSetup.streamIndex);
    av_packet_unref(mPacket.get());
    mHasPacket = false;
    mNextPacket = 0;
    return 0;
}

int DecoderCursor::OpenDecoder()
{
    mDecoder.reset(avcodec_alloc_context3(mSetup.codec));
    if (!mDecoder)
    {
        return AVERROR(ENOMEM);
    }
    const int status = avcodec_parameters_to_context(mDecoder.get(), mSetup.parameters);
    if (status < 0)
    {
        return status;
    }
    mDecoder->thread_count = std::max(1, mSetup.threads);
    mDecoder->thread_type = FF_THREAD_FRAME | FF_THREAD_SLICE;
    mDecoder->max_pixels = std::int64_t{kMaximumSide} * kMaximumSide;
    mSetup.pool->Attach(*mDecoder);
    return avcodec_open2(mDecoder.get(), mSetup.codec, nullptr);
}

int DecoderCursor::ReadPacket(const PacketTable* inPackets)
{
    if (mHasPacket)
    {
        return 0;
    }
    AdoptDirectReader();
    if (mDirect && inPackets)
    {
        const int status = ReadDirectly(*inPackets);
        if (status >= 0 || status == AVERROR_EOF || status == AVERROR_EXIT)
        {
            return status;
        }
        mDirect.reset();
        mMayBeDirect = false;
        const std::uint32_t wanted = mNextPacket;
        mNextPacket = UINT32_MAX;
        return SeekDemuxer(*inPackets, wanted);
    }
    for (int errors = 0; errors < kMostErrors;)
    {
        const int status = mInput.ReadPacket(*mPacket);
        if (status == AVERROR_EOF || status == AVERROR_EXIT)
        {
            return status;
        }
        if (status < 0)
        {
            ++errors;
            mLastProblem = ErrorText(status);
            continue;
        }
        ++mPacketsRead;
        mHasPacket = true;
        if (inPackets && !inPackets->Matches(mNextPacket, *mPacket))
        {
            const std::int64_t found = inPackets->Find(*mPacket);
            mNextPacket = found >= 0 ? static_cast<std::uint32_t>(found) : mNextPacket;
        }
        return 0;
    }
    return AVERROR_EOF;
}

int DecoderCursor::ReadDirectly(const PacketTable& inPackets)
{
    if (mSetup.interrupt && mSetup.interrupt->raised.load(std::memory_order_relaxed))
    {
        return AVERROR_EXIT;
    }
    if (mNextPacket >= inPackets.Count())
    {
        return AVERROR_EOF;
    }
    const int status = mDirect->Read(inPackets[mNextPacket], *mPacket);
    mPacketsRead += status >= 0 ? 1 : 0;
    mHasPacket = status >= 0;
    return status;
}

void DecoderCursor::AdoptDirectReader()
{
    if (!mDirect && mMayBeDirect)
    {
        mDirect = mSetup.direct->Get();
    }
}

bool DecoderCursor::NeedsNextPicture() const
{
    return mNextPacket >= mSkipBefore && (!mExpected || mExpected->NeedsPictureOf(mNextPacket));
}

void DecoderCursor::Feed(const PacketTable* inPackets)
{
    if (ReadPacket(inPackets) < 0)
    {
        avcodec_send_packet(mDecoder.get(), nullptr);
        mAtEnd = true;
        return;
    }
    if (!mDirect && mMayBeDirect)
    {
        mSetup.direct->Find(mSetup.path, *mSetup.parameters, *mPacket, mSetup.pool);
    }
    mDecoder->skip_frame = NeedsNextPicture() ? AVDISCARD_DEFAULT : AVDISCARD_NONREF;
    mPacket->pts = mNextPacket;
    mPacket->dts = mNextPacket;
    const int status = avcodec_send_packet(mDecoder.get(), mPacket.get());
    if (status == AVERROR(EAGAIN))
    {
        return;
    }
    if (status < 0)
    {
        mLastProblem = ErrorText(status);
    }
    mLastFed = mNextPacket++;
    mHasPacket = false;
    av_packet_unref(mPacket.get());
}

int DecoderCursor::Next(const PacketTable* inPackets, AVFrame& outFrame, std::uint32_t& outPacket)
{
    Foundation::WorkSpan span(Foundation::WorkKind::kDecode);
    for (;;)
    {
        const int status = avcodec_receive_frame(mDecoder.get(), &outFrame);
        if (status >= 0)
        {
            Foundation::TakeOver(PixelsOf(outFrame));
            outPacket = outFrame.pts >= 0 ? static_cast<std::uint32_t>(outFrame.pts) : mLastFed;
            span.SetNumber(outPacket);
            span.Succeed();
            return 0;
        }
        if (status == AVERROR_EOF || mAtEnd)
        {
            span.Forget();
            return AVERROR_EOF;
        }
        if (status != AVERROR(EAGAIN))
        {
            mLastProblem = ErrorText(status);
        }
        if (mSetup.interrupt && mSetup.interrupt->raised.load(std::memory_order_relaxed))
        {
            return AVERROR_EXIT;
        }
        Feed(inPackets);
    }
}

int DecoderCursor::SeekTo(const PacketTable& inPackets, std::uint32_t inKey)
{
    avcodec_flush_buffers(mDecoder.get());
    mSkipBefore = 0;
    mExpected.reset();
    mAtEnd = false;
    mLastProblem.clear();
    ForgetLogLine();
    AdoptDirectReader();
    if (mDirect)
    {
        av_packet_unref(mPacket.get());
        mHasPacket = false;
        mNextPacket = inKey;
        return 0;
    }
    return SeekDemuxer(inPackets, inKey);
}

int DecoderCursor::SeekDemuxer(const PacketTable& inPackets, std::uint32_t inKey)
{
    if (mNextPacket <= inKey && inKey - mNextPacket <= kNearBy && LandAt(inPackets, inKey))
    {
        return 0;
    }

    const bool byBytes = SeeksByBytes(mInput);
    std::uint32_t aim = inKey;
    for (std::uint32_t step = 1; step <= 64; step *= 4)
    {
        if (SeekNear(inPackets, inKey, aim, byBytes))
        {
            return 0;
        }
        if (aim == 0)
        {
            break;
        }
        // A little earlier, so that what precedes the packet doesn't fall into it; then whole groups earlier.
        std::uint32_t back = std::min(aim, 2 * step);
        while (!byBytes && aim > back && !inPackets[aim - back].isKey)
        {
            ++back;
        }
        aim -= back;
    }
    ++mReopenings;
    const int status = OpenInput();
    return status < 0 ? status : LandAt(inPackets, inKey) ? 0 : AVERROR_INVALIDDATA;
}

bool DecoderCursor::SeekNear(const PacketTable& inPackets, std::uint32_t inKey, std::uint32_t inAim,
                             bool inByBytes)
{
    av_packet_unref(mPacket.get());
    mHasPacket = false;
    const PacketRecord& record = inPackets[inAim];
    // Matroska lists its key frames by the time of showing, everyone else by that of decoding.
    const bool goesByPTS = mInput.IsFormat("matroska,webm");
    std::int64_t target = goesByPTS ? record.pts : record.dts;
    target = target == kNoTimestamp ? (goesByPTS ? record.dts : record.pts) : target;
    int status = AVERROR(EINVAL);
    if (inByBytes && record.position >= 0)
    {
        status = av_seek_frame(mInput.Context(), -1, record.position, AVSEEK_FLAG_BYTE);
    }
    else if (target != kNoTimestamp)
    {
        status = av_seek_frame(mInput.Context(), mSetup.streamIndex, target, AVSEEK_FLAG_BACKWARD);
    }
    if (status < 0)
    {
        mNextPacket = UINT32_MAX;
        return false;
    }
    // Not known yet; recognised by the first packets.
    mNextPacket = UINT32_MAX;
    return LandAt(inPackets, inKey);
}

bool DecoderCursor::LandAt(const PacketTable& inPackets, std::uint32_t inKey)
{
    for (int unknown = 0; unknown < kMostUnknown;)
    {
        if (!mHasPacket)
        {
            const int status = mInput.ReadPacket(*mPacket);
            if (status < 0)
            {
                break;
            }
            ++mPacketsRead;
            mHasPacket = true;
        }
        if (mNextPacket == UINT32_MAX || !inPackets.Matches(mNextPacket, *mPacket))
        {
            const std::int64_t found = inPackets.Find(*mPacket);
            if (found < 0)
            {
                ++unknown;
                mNextPacket = mNextPacket == UINT32_MAX ? UINT32_MAX : mNextPacket + 1;
                mHasPacket = false;
                av_packet_unref(mPacket.get());
                continue;
            }
            mNextPacket = static_cast<std::uint32_t>(found);
        }
        if (mNextPacket >= inKey)
        {
            if (mNextPacket == inKey)
            {
                return true;
            }
            break;
        }
        ++mNextPacket;
        mHasPacket = false;
        av_packet_unref(mPacket.get());
    }
    mNextPacket = UINT32_MAX;
    return false;
}

}
