#include "ReferenceHost/Media/FFmpeg/PacketScan.h"

#include <algorithm>

namespace Media
{

namespace
{

constexpr int kMostErrors = 16; // in a row, before a file counts as ended

struct ParserCloser
{
    void operator()(AVCodecParserContext* inParser) const noexcept { av_parser_close(inParser); }
};

// Tells second fields and random access points by the codec's own headers, where containers can't be trusted.
class PictureReader
{
public:
    explicit PictureReader(const AVCodecParameters& inParameters) : mCodec(inParameters.codec_id)
    {
        if (mCodec != AV_CODEC_ID_H264)
        {
            return;
        }
        mParser.reset(av_parser_init(mCodec));
        mContext.reset(avcodec_alloc_context3(nullptr));
        if (mParser && mContext && avcodec_parameters_to_context(mContext.get(), &inParameters) >= 0)
        {
            mParser->flags |= PARSER_FLAG_COMPLETE_FRAMES;
        }
        else
        {
            mParser.reset();
        }
    }

    void Read(const AVPacket& inPacket, PacketRecord& ioRecord)
    {
        switch (mCodec)
        {
        case AV_CODEC_ID_H264: ReadH264(inPacket, ioRecord); break;
        case AV_CODEC_ID_VP8:
            ioRecord.yieldsNoFrame = inPacket.size > 0 && (inPacket.data[0] & 0x10) == 0;
            break;
        case AV_CODEC_ID_VP9: ioRecord.yieldsNoFrame = IsHiddenVP9(inPacket); break;
        default: break;
        }
    }

private:
    void ReadH264(const AVPacket& inPacket, PacketRecord& ioRecord)
    {
        if (!mParser)
        {
            return;
        }
        std::uint8_t* unused = nullptr;
        int unusedSize = 0;
        av_parser_parse2(mParser.get(), mContext.get(), &unused, &unusedSize, inPacket.data, inPacket.size,
                         inPacket.pts, inPacket.dts, inPacket.pos);
        const AVPictureStructure structure = mParser->picture_structure;
        const bool isField =
            structure == AV_PICTURE_STRUCTURE_TOP_FIELD || structure == AV_PICTURE_STRUCTURE_BOTTOM_FIELD;
        if (isField && mFirstField != AV_PICTURE_STRUCTURE_UNKNOWN && structure != mFirstField)
        {
            ioRecord.yieldsNoFrame = true;
            ioRecord.isKey = false;
            mFirstField = AV_PICTURE_STRUCTURE_UNKNOWN;
            return;
        }
        mFirstField = isField ? structure : AV_PICTURE_STRUCTURE_UNKNOWN;
        // A recovery point that isn't an intra picture begins a gradual refresh: the pictures after it are
        // only nearly those of an unbroken decode.
        if (ioRecord.isKey && mParser->pict_type != AV_PICTURE_TYPE_I &&
            mParser->pict_type != AV_PICTURE_TYPE_NONE)
        {
            ioRecord.isKey = false;
        }
    }

    static bool IsHiddenVP9(const AVPacket& inPacket)
    {
        if (inPacket.size < 1 || (inPacket.data[inPacket.size - 1] & 0xE0) == 0xC0)
        {
            return false; // a superframe ends with its index, and shows its last picture
        }
        const int head = inPacket.data[0];
        const int profile = ((head >> 5) & 1) | ((head >> 3) & 2);
        const int shift = profile == 3 ? 2 : 3; // of "show existing frame"
        return ((head >> shift) & 1) == 0 && ((head >> (shift - 2)) & 1) == 0;
    }

    AVCodecID mCodec;
    std::unique_ptr<AVCodecParserContext, ParserCloser> mParser;
    CodecContextPtr mContext;
    AVPictureStructure mFirstField = AV_PICTURE_STRUCTURE_UNKNOWN;
};

}

PacketScan ScanPackets(MediaInput& inInput, const AVCodecParameters& inParameters, bool inHasContent)
{
    PacketScan scan;
    scan.packets.Reserve(
        static_cast<std::uint32_t>(std::max(0, avformat_index_get_entries_count(inInput.Stream()))));
    PictureReader reader(inParameters);
    const AVCodecDescriptor* descriptor = avcodec_descriptor_get(inParameters.codec_id);
    const bool isIntraOnly = descriptor && (descriptor->props & AV_CODEC_PROP_INTRA_ONLY);
    PacketPtr packet(av_packet_alloc());
    int errors = 0;
    while (packet && errors < kMostErrors)
    {
        const int status = inInput.ReadPacket(*packet);
        if (status == AVERROR_EOF || status == AVERROR_EXIT)
        {
            break;
        }
        if (status < 0)
        {
            ++errors;
            scan.endedEarly = true;
            scan.cause = ErrorText(status);
            continue;
        }
        errors = 0;
        scan.packets.Append(*packet, inHasContent);
        PacketRecord& record = scan.packets[scan.packets.Count() - 1];
        record.isKey = record.isKey || isIntraOnly;
        if (inHasContent)
        {
            reader.Read(*packet, record);
        }
        record.yieldsNoFrame = record.yieldsNoFrame || packet->size == 0;
        scan.endedEarly = record.isCorrupt;
        av_packet_unref(packet.get());
    }
    scan.packets.Finish();
    return scan;
}

}
