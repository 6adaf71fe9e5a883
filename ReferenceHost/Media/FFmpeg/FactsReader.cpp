#include "ReferenceHost/Media/FFmpeg/FactsReader.h"

#include <algorithm>
#include <cmath>

#include <fmt/format.h>

extern "C"
{
#include <libavutil/display.h>
}

namespace Media
{

namespace
{

std::string Text(const char* inText)
{
    return inText ? inText : "";
}

std::string Tag(const AVDictionary* inTags, const char* inKey)
{
    const AVDictionaryEntry* entry = av_dict_get(inTags, inKey, nullptr, 0);
    return entry ? entry->value : "";
}

std::string CodecName(AVCodecID inCodec)
{
    const AVCodecDescriptor* descriptor = avcodec_descriptor_get(inCodec);
    return descriptor ? descriptor->name : "unknown";
}

Orientation ReadOrientation(const AVStream& inStream)
{
    size_t size = 0;
    const std::uint8_t* data = av_stream_get_side_data(&inStream, AV_PKT_DATA_DISPLAYMATRIX, &size);
    return data && size >= 9 * sizeof(std::int32_t)
               ? OrientationOfMatrix(reinterpret_cast<const std::int32_t*>(data))
               : Orientation();
}

FieldOrder ReadFieldOrder(AVFieldOrder inOrder)
{
    switch (inOrder)
    {
    case AV_FIELD_PROGRESSIVE: return FieldOrder::kProgressive;
    // FFmpeg's decoders and its command line go by the first letter, so that is how files are marked in fact.
    case AV_FIELD_TT:
    case AV_FIELD_TB: return FieldOrder::kUpperFirst;
    case AV_FIELD_BB:
    case AV_FIELD_BT: return FieldOrder::kLowerFirst;
    default: return FieldOrder::kUnknown;
    }
}

FileAlpha ReadAlpha(int inPixelFormat, int inCodec)
{
    const AVPixFmtDescriptor* descriptor = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(inPixelFormat));
    if (!descriptor || !(descriptor->flags & AV_PIX_FMT_FLAG_ALPHA))
    {
        return FileAlpha::kNone;
    }
    return inCodec == AV_CODEC_ID_EXR ? FileAlpha::kPremultiplied : FileAlpha::kStraight;
}

void ReadStreams(const AVFormatContext& inContext, FileFacts& ioFacts)
{
    for (unsigned index = 0; index < inContext.nb_streams; ++index)
    {
        const AVStream& stream = *inContext.streams[index];
        const AVCodecParameters& parameters = *stream.codecpar;
        StreamEntry entry;
        entry.index = stream.index;
        entry.type = Text(av_get_media_type_string(parameters.codec_type));
        entry.codec = CodecName(parameters.codec_id);
        entry.isAttachedPicture = (stream.disposition & AV_DISPOSITION_ATTACHED_PIC) != 0;
        entry.isDefault = (stream.disposition & AV_DISPOSITION_DEFAULT) != 0;
        if (parameters.codec_type == AVMEDIA_TYPE_VIDEO)
        {
            entry.description = fmt::format("{}x{}", parameters.width, parameters.height);
        }
        else if (parameters.codec_type == AVMEDIA_TYPE_AUDIO)
        {
            entry.description =
                fmt::format("{} Hz, {} channels", parameters.sample_rate, parameters.ch_layout.nb_channels);
            ioFacts.hasAudio = true;
        }
        ioFacts.streams.push_back(std::move(entry));
    }
}

void ReadTimecode(const AVFormatContext& inContext, const AVStream& inStream, FileFacts& ioFacts)
{
    ioFacts.startTimecode = Tag(inStream.metadata, "timecode");
    if (ioFacts.startTimecode.empty())
    {
        ioFacts.startTimecode = Tag(inContext.metadata, "timecode");
    }
    for (unsigned index = 0; index < inContext.nb_streams && ioFacts.startTimecode.empty(); ++index)
    {
        ioFacts.startTimecode = Tag(inContext.streams[index]->metadata, "timecode");
    }
    ioFacts.isDropFrame = ioFacts.startTimecode.find(';') != std::string::npos;
}

bool HasTag(const FileFacts& inFacts, const std::string& inName)
{
    return std::any_of(inFacts.tags.begin(), inFacts.tags.end(),
                       [&](const auto& inTag) { return inTag.first == inName; });
}

void ReadTags(const AVDictionary* inTags, FileFacts& ioFacts)
{
    const AVDictionaryEntry* entry = nullptr;
    while ((entry = av_dict_get(inTags, "", entry, AV_DICT_IGNORE_SUFFIX)) != nullptr)
    {
        const std::string name = entry->key;
        ioFacts.tags.emplace_back(HasTag(ioFacts, name) ? "stream:" + name : name, entry->value);
    }
}

}

bool IsStillContainer(const std::string& inName)
{
    const std::string pipe = "_pipe";
    return inName == "image2" || (inName.size() > pipe.size() &&
                                  inName.compare(inName.size() - pipe.size(), pipe.size(), pipe) == 0);
}

// The matrix takes (x, y) to (a x + c y, b x + d y), y growing downwards.
Orientation OrientationOfMatrix(const std::int32_t* inMatrix)
{
    const double a = inMatrix[0];
    const double b = inMatrix[1];
    const double c = inMatrix[3];
    const double d = inMatrix[4];
    Orientation orientation;
    orientation.flipHorizontally = a * d - b * c < 0;
    // Of the picture flipped first, (1, 0) comes from (-1, 0).
    const double sign = orientation.flipHorizontally ? -1 : 1;
    const double right = sign * a;
    const double down = sign * b;
    if (std::abs(right) >= std::abs(down))
    {
        orientation.clockwiseDegrees = right < 0 ? 180 : 0;
    }
    else
    {
        orientation.clockwiseDegrees = down > 0 ? 90 : 270;
    }
    return orientation;
}

ColourDescription ResolveColour(int inMatrix, int inPrimaries, int inTransfer, int inRange, int inSiting,
                                int inHeight, int inPixelFormat)
{
    const auto format = static_cast<AVPixelFormat>(inPixelFormat);
    const AVPixFmtDescriptor* descriptor = av_pix_fmt_desc_get(format);
    const bool isRGB = descriptor && (descriptor->flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL));
    const bool isJPEG = format == AV_PIX_FMT_YUVJ420P || format == AV_PIX_FMT_YUVJ422P ||
                        format == AV_PIX_FMT_YUVJ444P || format == AV_PIX_FMT_YUVJ440P ||
                        format == AV_PIX_FMT_YUVJ411P;
    const bool isSmall = inHeight <= 576;
    ColourDescription colour;
    colour.matrix = inMatrix;
    colour.primaries = inPrimaries;
    colour.transfer = inTransfer;
    colour.range = inRange;
    colour.siting = inSiting;
    if (isRGB)
    {
        colour.matrix = AVCOL_SPC_RGB;
    }
    else if (inMatrix == AVCOL_SPC_UNSPECIFIED || inMatrix == AVCOL_SPC_RESERVED || inMatrix == AVCOL_SPC_RGB)
    {
        colour.isGuessed = true;
        colour.matrix = isSmall || isJPEG ? AVCOL_SPC_SMPTE170M : AVCOL_SPC_BT709;
    }
    if (inPrimaries == AVCOL_PRI_UNSPECIFIED || inPrimaries == AVCOL_PRI_RESERVED ||
        inPrimaries == AVCOL_PRI_RESERVED0)
    {
        const bool isWide = colour.matrix == AVCOL_SPC_BT2020_NCL || colour.matrix == AVCOL_SPC_BT2020_CL ||
                            colour.matrix == AVCOL_SPC_ICTCP;
        colour.primaries = isWide ? AVCOL_PRI_BT2020 : AVCOL_PRI_BT709;
    }
    if (inTransfer == AVCOL_TRC_UNSPECIFIED || inTransfer == AVCOL_TRC_RESERVED ||
        inTransfer == AVCOL_TRC_RESERVED0)
    {
        colour.transfer = isRGB ? AVCOL_TRC_IEC61966_2_1 : AVCOL_TRC_BT709;
    }
    if (inRange == AVCOL_RANGE_UNSPECIFIED || isJPEG || isRGB)
    {
        colour.range = isJPEG || isRGB ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
    }
    if (inSiting == AVCHROMA_LOC_UNSPECIFIED)
    {
        colour.siting = isJPEG ? AVCHROMA_LOC_CENTER : AVCHROMA_LOC_LEFT;
    }
    colour.matrixName = Text(av_color_space_name(static_cast<AVColorSpace>(colour.matrix)));
    colour.primariesName = Text(av_color_primaries_name(static_cast<AVColorPrimaries>(colour.primaries)));
    colour.transferName =
        Text(av_color_transfer_name(static_cast<AVColorTransferCharacteristic>(colour.transfer)));
    colour.rangeName = Text(av_color_range_name(static_cast<AVColorRange>(colour.range)));
    colour.sitingName = Text(av_chroma_location_name(static_cast<AVChromaLocation>(colour.siting)));
    return colour;
}

FileFacts ReadFacts(const std::string& inPath, const AVFormatContext& inContext, const AVStream& inStream)
{
    const AVCodecParameters& parameters = *inStream.codecpar;
    const AVCodecDescriptor* codec = avcodec_descriptor_get(parameters.codec_id);
    const AVPixFmtDescriptor* format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(parameters.format));
    FileFacts facts;
    facts.path = inPath;
    facts.container = Text(inContext.iformat->name);
    facts.containerLongName = Text(inContext.iformat->long_name);
    facts.codec = CodecName(parameters.codec_id);
    facts.codecLongName = Text(codec ? codec->long_name : nullptr);
    facts.profile = Text(avcodec_profile_name(parameters.codec_id, parameters.profile));
    facts.codecID = parameters.codec_id;
    facts.pixelFormat = parameters.format;
    facts.pixelFormatName = Text(format ? format->name : nullptr);
    facts.bitDepth = format ? format->comp[0].depth : 8;
    facts.streamIndex = inStream.index;
    facts.isStill = IsStillContainer(facts.container);
    facts.width = parameters.width;
    facts.height = parameters.height;
    facts.orientation = ReadOrientation(inStream);
    const AVRational stream = inStream.sample_aspect_ratio;
    const AVRational picture = parameters.sample_aspect_ratio;
    const AVRational aspect = stream.num > 0 && stream.den > 0 ? stream : picture;
    facts.pixelAspect = aspect.num > 0 && aspect.den > 0 ? Rational{aspect.num, aspect.den} : Rational{1, 1};
    facts.fieldOrder = ReadFieldOrder(parameters.field_order);
    facts.colour = ResolveColour(parameters.color_space, parameters.color_primaries, parameters.color_trc,
                                 parameters.color_range, parameters.chroma_location, parameters.height,
                                 parameters.format);
    facts.alpha = ReadAlpha(parameters.format, parameters.codec_id);
    ReadStreams(inContext, facts);
    ReadTimecode(inContext, inStream, facts);
    ReadTags(inContext.metadata, facts);
    ReadTags(inStream.metadata, facts);
    return facts;
}

void ReadPicture(const AVFrame& inPicture, FileFacts& ioFacts)
{
    const AVPixFmtDescriptor* format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(inPicture.format));
    ioFacts.width = inPicture.width;
    ioFacts.height = inPicture.height;
    ioFacts.pixelFormat = inPicture.format;
    ioFacts.pixelFormatName = Text(format ? format->name : nullptr);
    ioFacts.bitDepth = format ? format->comp[0].depth : 8;
    ioFacts.alpha = ReadAlpha(inPicture.format, ioFacts.codecID);
    ioFacts.colour =
        ResolveColour(inPicture.colorspace, inPicture.color_primaries, inPicture.color_trc,
                      inPicture.color_range, inPicture.chroma_location, inPicture.height, inPicture.format);
}

}
