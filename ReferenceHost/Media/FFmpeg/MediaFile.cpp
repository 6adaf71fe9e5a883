#include "ReferenceHost/Media/FFmpeg/MediaFile.h"

#include <algorithm>
#include <mutex>

#include <fmt/format.h>

#include "ReferenceHost/Media/FFmpeg/DecoderBudget.h"
#include "ReferenceHost/Media/FFmpeg/DecoderPool.h"
#include "ReferenceHost/Media/FFmpeg/FactsReader.h"
#include "ReferenceHost/Media/FFmpeg/HollowFile.h"
#include "ReferenceHost/Media/FFmpeg/IndexBuilder.h"

namespace Media
{

namespace
{

struct ParametersFreer
{
    void operator()(AVCodecParameters* inParameters) const noexcept
    {
        avcodec_parameters_free(&inParameters);
    }
};

// The codec's default decoder, but for VP8 and VP9 with an alpha plane beside them: FFmpeg's own ones drop
// it.
const AVCodec* FindDecoder(const AVStream& inStream)
{
    const AVCodecID codec = inStream.codecpar->codec_id;
    const AVDictionaryEntry* alpha = av_dict_get(inStream.metadata, "alpha_mode", nullptr, 0);
    if (alpha && alpha->value[0] == '1' && (codec == AV_CODEC_ID_VP8 || codec == AV_CODEC_ID_VP9))
    {
        const AVCodec* other =
            avcodec_find_decoder_by_name(codec == AV_CODEC_ID_VP8 ? "libvpx" : "libvpx-vp9");
        if (other)
        {
            return other;
        }
    }
    return avcodec_find_decoder(codec);
}

// Formats whose packets stand one by one among what tells of them.
bool IsOfChunks(const MediaInput& inInput)
{
    return inInput.IsFormat("avi") || inInput.IsFormat("matroska");
}

// A hollow read sees no content, so only codecs whose every packet is one shown frame. AVI doesn't tell the
// times of pictures that are decoded in another order, nor Matroska reliably which of them begin anew; there
// it's for those that are large, too.
bool MayReadHollow(const MediaInput& inInput, const AVCodecParameters& inParameters)
{
    if (IsOfChunks(inInput))
    {
        return inParameters.codec_id == AV_CODEC_ID_RAWVIDEO || inParameters.codec_id == AV_CODEC_ID_V210 ||
               inParameters.codec_id == AV_CODEC_ID_HUFFYUV || inParameters.codec_id == AV_CODEC_ID_FFVHUFF ||
               inParameters.codec_id == AV_CODEC_ID_UTVIDEO || inParameters.codec_id == AV_CODEC_ID_FFV1;
    }
    if (!inInput.IsFormat("mov"))
    {
        return false;
    }
    switch (inParameters.codec_id)
    {
    case AV_CODEC_ID_H264: return inParameters.field_order == AV_FIELD_PROGRESSIVE;
    case AV_CODEC_ID_HEVC:
    case AV_CODEC_ID_MPEG4:
    case AV_CODEC_ID_AV1:
    case AV_CODEC_ID_PRORES:
    case AV_CODEC_ID_DNXHD:
    case AV_CODEC_ID_MJPEG:
    case AV_CODEC_ID_PNG:
    case AV_CODEC_ID_QTRLE:
    case AV_CODEC_ID_V210:
    case AV_CODEC_ID_RAWVIDEO: return true;
    default: return false;
    }
}

// A demuxer that leaves the chunks of a file would look for the next one in what is hollow. It never did if
// its packets are the chunks, each of them.
bool IsTrue(const MediaInput& inHollow, const PacketTable& inPackets)
{
    if (!IsOfChunks(inHollow))
    {
        return inPackets.Count() > 0;
    }
    std::size_t areas = 0;
    for (std::uint32_t ordinal = 0; ordinal < inPackets.Count(); ++ordinal)
    {
        const PacketRecord& packet = inPackets[ordinal];
        if (packet.size > 0 && !inHollow.Hollow()->IsWholeArea(packet.position, packet.size))
        {
            return false;
        }
        areas += packet.size > 0 ? 1 : 0;
    }
    return areas == inHollow.Hollow()->AreaCount();
}

}

class MediaFile::Impl
{
public:
    bool Open(const std::string& inPath, const FileOptions& inOptions, FileError& outError);

    BarePicturePtr PictureInFile(std::int64_t inRank, bool inAtOnce);

    FileFacts facts;
    FrameIndex index;
    InterruptFlag interrupt;

private:
    bool FindCodec(const AVStream& inStream, FileError& outError);
    void LookAtFirstPicture();
    PacketScan Scan(MediaInput inInput) const;

    void LearnAboutBarePictures(std::int64_t inRank);

    std::mutex mLearning; // held by who finds out about them
    BarePictures mBare;
    DecoderSetup mSetup;
    std::unique_ptr<AVCodecParameters, ParametersFreer> mParameters;

public:
    std::unique_ptr<DecoderPool> decoders; // goes first: it uses all of the above
};

bool MediaFile::Impl::Open(const std::string& inPath, const FileOptions& inOptions, FileError& outError)
{
    MediaInput input;
    if (!OpenAndChoose(inPath, inOptions.streamIndex, &interrupt, input, outError))
    {
        return false;
    }
    const AVStream& stream = *input.Stream();
    mSetup.path = inPath;
    if (!FindCodec(stream, outError))
    {
        return false;
    }
    mSetup.streamIndex = stream.index;
    mSetup.threads = ThreadsWithin(NeedsOf(*mSetup.codec, *mSetup.parameters, 0), inOptions.decoderThreads,
                                   inOptions.cacheBytes);
    mSetup.pool = std::make_shared<PicturePool>(inOptions.cacheBytes);
    mSetup.interrupt = &interrupt;
    facts = ReadFacts(inPath, *input.Context(), stream);

    std::string cause;
    const AVRational timeBase = stream.time_base;
    IndexBuilder builder(mSetup, input, facts.notes);
    if (!builder.Build(Scan(std::move(input)), index, cause))
    {
        outError = {FileErrorKind::kBadData, fmt::format("{}: {}", inPath, cause)};
        return false;
    }
    facts.hasFrameGrid = index.hasGrid;
    facts.frameRate = index.rate;
    facts.frameCount = index.Count();
    facts.durationTicks = index.endTicks;
    const std::int64_t first = index.packets[index.frames.front().packet].pts;
    facts.startSeconds = first == kNoTimestamp ? 0 : static_cast<double>(first) * av_q2d(timeBase);
    FileOptions options = inOptions;
    // A list of many hours' frames may be larger than all that was given; some pictures are needed even so.
    options.cacheBytes = std::max(inOptions.cacheBytes - index.Bytes(), inOptions.cacheBytes / 8);
    mSetup.threads = ThreadsWithin(NeedsOf(*mSetup.codec, *mSetup.parameters, index.packets.Count()),
                                   inOptions.decoderThreads, options.cacheBytes);
    decoders = std::make_unique<DecoderPool>(mSetup, index, options);
    LookAtFirstPicture();
    return true;
}

// What containers leave out or get wrong, and pictures tell: fields in some codecs, the format where probing
// found none or used another decoder.
void MediaFile::Impl::LookAtFirstPicture()
{
    const bool saysFields = facts.codecID == AV_CODEC_ID_MPEG2VIDEO || facts.codecID == AV_CODEC_ID_MPEG4 ||
                            facts.codecID == AV_CODEC_ID_VC1 || facts.codecID == AV_CODEC_ID_DVVIDEO ||
                            (facts.codecID == AV_CODEC_ID_H264 && facts.fieldOrder == FieldOrder::kUnknown);
    const bool saysFormat = facts.pixelFormat < 0 || facts.width <= 0 ||
                            mSetup.codec != avcodec_find_decoder(mParameters->codec_id);
    const FrameAnswer first = saysFields || saysFormat ? decoders->Get(0) : FrameAnswer();
    if (!first.picture)
    {
        return;
    }
    if (saysFormat)
    {
        ReadPicture(*first.picture, facts);
    }
    if (first.picture->interlaced_frame)
    {
        facts.fieldOrder = first.picture->top_field_first ? FieldOrder::kUpperFirst : FieldOrder::kLowerFirst;
    }
    else if (facts.fieldOrder == FieldOrder::kUnknown)
    {
        facts.fieldOrder = FieldOrder::kProgressive;
    }
}

// One picture is decoded for it. Where none needs to be from now on, it and the decoder lie in memory that most likely
// nobody needs again.
void MediaFile::Impl::LearnAboutBarePictures(std::int64_t inRank)
{
    const std::lock_guard<std::mutex> lock(mLearning);
    const FrameAnswer answer = mBare.HasLearned() ? FrameAnswer() : decoders->Get(inRank);
    if (answer.picture)
    {
        mBare.LearnFrom(*answer.picture, index.RecordOf(inRank), mSetup.direct->Get(), facts.path);
        if (mBare.AreKnown())
        {
            decoders->Rest();
        }
    }
}

BarePicturePtr MediaFile::Impl::PictureInFile(std::int64_t inRank, bool inAtOnce)
{
    const bool isThere = mParameters->codec_id == AV_CODEC_ID_RAWVIDEO && inRank >= 0 &&
                         inRank < index.Count() && !interrupt.raised;
    if (isThere && !inAtOnce && !mBare.HasLearned())
    {
        LearnAboutBarePictures(inRank);
    }
    return isThere ? mBare.Find(index.RecordOf(inRank), inRank) : nullptr;
}

bool MediaFile::Impl::FindCodec(const AVStream& inStream, FileError& outError)
{
    mSetup.codec = FindDecoder(inStream);
    if (!mSetup.codec)
    {
        const AVCodecDescriptor* descriptor = avcodec_descriptor_get(inStream.codecpar->codec_id);
        outError = {FileErrorKind::kCodecMissing,
                    fmt::format("{}: there is no decoder for its codec {}", mSetup.path,
                                descriptor ? descriptor->name : "(unknown)")};
        return false;
    }
    mParameters.reset(avcodec_parameters_alloc());
    if (!mParameters || avcodec_parameters_copy(mParameters.get(), inStream.codecpar) < 0)
    {
        outError = {FileErrorKind::kIOError, fmt::format("{}: out of memory", mSetup.path)};
        return false;
    }
    mSetup.parameters = mParameters.get();
    return true;
}

// Closes what it has read: the container's tables of a long file are larger than the list of its frames.
PacketScan MediaFile::Impl::Scan(MediaInput inInput) const
{
    if (MayReadHollow(inInput, *mParameters))
    {
        MediaInput hollow;
        if (hollow.OpenHollow(mSetup.path, &interrupt) >= 0)
        {
            inInput = MediaInput();
            hollow.SelectStream(mSetup.streamIndex);
            PacketScan scan = ScanPackets(hollow, *mParameters, false);
            if (IsTrue(hollow, scan.packets))
            {
                return scan;
            }
        }
    }
    FileError error;
    if (!inInput.IsOpen() && !OpenAndChoose(mSetup.path, mSetup.streamIndex, &interrupt, inInput, error))
    {
        PacketScan none;
        none.cause = error.text;
        return none;
    }
    return ScanPackets(inInput, *mParameters, true);
}

MediaFile::MediaFile(std::unique_ptr<Impl> inImpl) : mImpl(std::move(inImpl)) {}
MediaFile::~MediaFile() = default;

std::shared_ptr<MediaFile> MediaFile::Open(const std::string& inPath, const FileOptions& inOptions,
                                           FileError& outError)
{
    auto impl = std::make_unique<Impl>();
    if (!impl->Open(inPath, inOptions, outError))
    {
        return nullptr;
    }
    return std::shared_ptr<MediaFile>(new MediaFile(std::move(impl)));
}

const FileFacts& MediaFile::Facts() const noexcept
{
    return mImpl->facts;
}

std::int64_t MediaFile::FrameCount() const noexcept
{
    return mImpl->index.Count();
}

std::int64_t MediaFile::RankAt(std::int64_t inTicks) const noexcept
{
    return mImpl->index.RankAt(inTicks);
}

std::int64_t MediaFile::StartTicks(std::int64_t inRank) const noexcept
{
    const FrameIndex& index = mImpl->index;
    if (inRank >= index.Count())
    {
        return index.endTicks;
    }
    return index.frames[static_cast<std::size_t>(std::max<std::int64_t>(0, inRank))].startTicks;
}

FrameAnswer MediaFile::GetFrame(std::int64_t inRank)
{
    return mImpl->decoders->Get(inRank);
}

BarePicturePtr MediaFile::PictureInFile(std::int64_t inRank, bool inAtOnce)
{
    return mImpl->PictureInFile(inRank, inAtOnce);
}

FrameAnswer MediaFile::TryGetFrame(std::int64_t inRank)
{
    return mImpl->decoders->TryGet(inRank);
}

void MediaFile::Expect(const std::vector<FrameRun>& inRuns)
{
    mImpl->decoders->Expect(inRuns);
}

void MediaFile::Cancel()
{
    mImpl->interrupt.raised.store(true, std::memory_order_relaxed);
    mImpl->decoders->Cancel();
}

FileStatistics MediaFile::Statistics() const
{
    return mImpl->decoders->Statistics();
}

}
