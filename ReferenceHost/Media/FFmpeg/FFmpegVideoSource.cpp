#include "ReferenceHost/Media/FFmpeg/FFmpegVideoSource.h"

#include <algorithm>
#include <utility>

#include "ReferenceHost/FrameLibrary/VideoFrame.h"
#include "ReferenceHost/Media/FFmpeg/FFmpegTypes.h"
#include "ReferenceHost/Media/FFmpeg/FactsReader.h"
#include "ReferenceHost/Media/FFmpeg/PictureTurn.h"
#include "VF/VideoFrame.h"

namespace Media
{

using norviktypes::PixelFormat;

namespace
{

StreamTraits StreamTraitsOf(const MediaFile& inFile, const TVK::Guid& inContentID)
{
    const FileFacts& facts = inFile.Facts();
    StreamTraits traits;
    traits.mFrameRate = norviktypes::FrameRate::FromRational(facts.frameRate.num, facts.frameRate.den);
    traits.mBounds = ShownBounds(facts);
    traits.mPixelAspectRatio = ShownPixelAspect(facts);
    traits.mFieldType = FieldTypeOf(facts);
    traits.mAlphaType = facts.alpha == FileAlpha::kNone ? norviktypes::kAlphaChannel_None
                                                        : norviktypes::kAlphaChannel_Straight;
    traits.mIsDropFrame = facts.isDropFrame;
    traits.mHasNoFrameGrid = !facts.hasFrameGrid;
    traits.mNativeFormats = NativeFormatsOf(facts);
    traits.mDuration = norviktypes::TickTime(facts.durationTicks);
    traits.mContentID = inContentID;
    return traits;
}

bool IsFourComponent(const PixelFormat& inFormat)
{
    return norviktypes::Select4444PixelFormat(inFormat, norviktypes::kRenderQuality_High) == inFormat;
}

std::int32_t StatusOf(FrameStatus inStatus)
{
    switch (inStatus)
    {
    case FrameStatus::kOk: return BE::kSourceStatus_OK;
    case FrameStatus::kPastEnd: return BE::kSourceStatus_PastEnd;
    case FrameStatus::kNotReady: return kSourceStatus_NotAtHand;
    default: return BE::kSourceStatus_BadMedia;
    }
}

// A frame of inFormat and that size, and its pixels.
std::int32_t NewFrame(const BE::FrameDescription& inFormat, int inWidth, int inHeight,
                      MF::IVideoFrameRef& outFrame, VF::FramePixels& outPixels)
{
    const std::int32_t status =
        VF::CreateVideoFrame(outFrame, inFormat.mPixelFormat, static_cast<std::uint32_t>(inWidth),
                             static_cast<std::uint32_t>(inHeight), inFormat.mPixelAspectRatio, false, false);
    if (status < 0)
    {
        return status;
    }
    return VF::GetFramePixels(outFrame, outPixels) ? BE::kSourceStatus_OK : BE::kSourceStatus_OutOfMemory;
}

}

norviktypes::FieldType FieldTypeOf(const FileFacts& inFacts)
{
    // Lines of a picture that lies on its side are no fields any more.
    if (inFacts.orientation.SwapsSides())
    {
        return norviktypes::kFieldType_Progressive;
    }
    switch (inFacts.fieldOrder)
    {
    case FieldOrder::kUpperFirst: return norviktypes::kFieldType_UpperFirst;
    case FieldOrder::kLowerFirst: return norviktypes::kFieldType_LowerFirst;
    default: return norviktypes::kFieldType_Progressive;
    }
}

TVK::Rect ShownBounds(const FileFacts& inFacts)
{
    return inFacts.orientation.SwapsSides() ? TVK::Rect{0, 0, inFacts.height, inFacts.width}
                                            : TVK::Rect{0, 0, inFacts.width, inFacts.height};
}

norviktypes::PixelAspectRatio ShownPixelAspect(const FileFacts& inFacts)
{
    const auto across = static_cast<std::uint32_t>(inFacts.pixelAspect.num);
    const auto down = static_cast<std::uint32_t>(inFacts.pixelAspect.den);
    return inFacts.orientation.SwapsSides() ? norviktypes::PixelAspectRatio(down, across)
                                            : norviktypes::PixelAspectRatio(across, down);
}

std::vector<PixelFormat> NativeFormatsOf(const FileFacts& inFacts)
{
    PictureTraits traits;
    traits.colour = inFacts.colour;
    traits.alpha = inFacts.alpha;
    traits.isFieldChroma =
        inFacts.fieldOrder == FieldOrder::kUpperFirst || inFacts.fieldOrder == FieldOrder::kLowerFirst;
    PixelFormat native = NativeFormatOf(inFacts.pixelFormat, traits);
    if (native == norviktypes::kPixelFormat_Invalid)
    {
        native = norviktypes::kPixelFormat_BGRA_4444_8u;
    }
    const PixelFormat four = norviktypes::Select4444PixelFormat(native, norviktypes::kRenderQuality_High);
    std::vector<PixelFormat> formats;
    if (inFacts.orientation.IsIdentity())
    {
        formats.push_back(native);
    }
    for (const PixelFormat& format : {four, norviktypes::kPixelFormat_BGRA_4444_8u})
    {
        if (std::find(formats.begin(), formats.end(), format) == formats.end())
        {
            formats.push_back(format);
        }
    }
    return formats;
}

FFmpegVideoSource::FFmpegVideoSource(std::shared_ptr<MediaFile> inFile, const TVK::Guid& inContentID)
    : VideoSourceBase(StreamTraitsOf(*inFile, inContentID))
    , mFile(std::move(inFile))
{
}

std::int64_t FFmpegVideoSource::FrameIndexAt(const norviktypes::TickTime& inTime) const
{
    const std::int64_t rank = mFile->RankAt(inTime.GetTicks());
    return rank < 0 ? kNoFrame : rank;
}

std::string FFmpegVideoSource::DescribeFailure(const norviktypes::TickTime& inTime) const
{
    const std::lock_guard<std::mutex> lock(mFailureLock);
    return mFailedIndex != kNoFrame && FrameIndexAt(inTime) == mFailedIndex ? mFailure : std::string();
}

void FFmpegVideoSource::NoteFailure(std::int64_t inIndex, const std::string& inText)
{
    const std::lock_guard<std::mutex> lock(mFailureLock);
    mFailedIndex = inIndex;
    mFailure = inText;
}

std::int32_t FFmpegVideoSource::MakeFrame(std::int64_t inIndex, const BE::FrameDescription& inFormat,
                                          bool inAtOnce, MF::IVideoFrameRef& outFrame)
{
    const FrameAnswer answer = inAtOnce ? mFile->TryGetFrame(inIndex) : mFile->GetFrame(inIndex);
    if (answer.status != FrameStatus::kOk)
    {
        if (answer.status != FrameStatus::kNotReady)
        {
            NoteFailure(inIndex, answer.text);
        }
        return StatusOf(answer.status);
    }
    const std::int32_t status = Convert(*answer.picture, inFormat, outFrame);
    if (status < 0)
    {
        NoteFailure(inIndex,
                    mFile->Facts().path + ": frame " + std::to_string(inIndex) + " can't be converted");
    }
    return status;
}

// A file may change its colour on the way; what a picture says itself counts.
PictureTraits FFmpegVideoSource::TraitsOf(const AVFrame& inPicture, const PixelFormat& inTarget) const
{
    const FileFacts& facts = mFile->Facts();
    PictureTraits traits;
    traits.alpha = facts.alpha == FileAlpha::kNone ? FileAlpha::kStraight : facts.alpha;
    if (inPicture.format == facts.pixelFormat)
    {
        traits.colour = facts.colour;
    }
    else
    {
        traits.colour = ResolveColour(inPicture.colorspace, inPicture.color_primaries, inPicture.color_trc,
                                      inPicture.color_range, inPicture.chroma_location, inPicture.height,
                                      inPicture.format);
    }
    // Single progressive pictures are common in interlaced streams. Their chroma is that of the whole
    // picture, but where it's only copied from plane to plane it stays as it lies.
    const bool isInterlaced = norviktypes::IsInterlaced(Traits().mFieldType);
    traits.isFieldChroma = isInterlaced && (inPicture.interlaced_frame != 0 || !IsFourComponent(inTarget));
    return traits;
}

std::int32_t FFmpegVideoSource::Convert(const AVFrame& inPicture, const BE::FrameDescription& inFormat,
                                        MF::IVideoFrameRef& outFrame) const
{
    if (!mFile->Facts().orientation.IsIdentity())
    {
        return ConvertTurned(inPicture, inFormat, outFrame);
    }
    const bool isScaled =
        inFormat.mBounds.Width() != inPicture.width || inFormat.mBounds.Height() != inPicture.height;
    if (!isScaled || !norviktypes::IsInterlaced(Traits().mFieldType))
    {
        return ConvertOnce(inPicture, inFormat, outFrame);
    }
    // Fields are scaled each by itself, which the frame library does for pixels that aren't subsampled.
    BE::FrameDescription full = inFormat;
    full.mBounds = {0, 0, inPicture.width, inPicture.height};
    full.mPixelFormat =
        norviktypes::Select4444PixelFormat(inFormat.mPixelFormat, norviktypes::kRenderQuality_High);
    MF::IVideoFrameRef picture;
    const std::int32_t status = ConvertOnce(inPicture, full, picture);
    if (status < 0)
    {
        return status;
    }
    StampFrame(full, picture);
    return ConvertFrame(picture, inFormat, outFrame);
}

std::int32_t FFmpegVideoSource::ConvertOnce(const AVFrame& inPicture, const BE::FrameDescription& inFormat,
                                            MF::IVideoFrameRef& outFrame) const
{
    VF::FramePixels pixels;
    MF::IVideoFrameRef frame;
    std::int32_t status =
        NewFrame(inFormat, inFormat.mBounds.Width(), inFormat.mBounds.Height(), frame, pixels);
    SourcePicture source;
    if (status < 0)
    {
        return status;
    }
    if (!source.Describe(inPicture, TraitsOf(inPicture, inFormat.mPixelFormat)))
    {
        return BE::kSourceStatus_BadMedia;
    }
    status = source.ConvertTo(pixels.mPixels, pixels.mRowBytes, inFormat.mBounds.Width(),
                              inFormat.mBounds.Height(),
                              VF::BEPixelFormatToIRPixelFormat(inFormat.mPixelFormat), inFormat.mQuality);
    if (status >= 0)
    {
        outFrame = frame;
    }
    return status;
}

std::int32_t FFmpegVideoSource::ConvertTurned(const AVFrame& inPicture, const BE::FrameDescription& inFormat,
                                              MF::IVideoFrameRef& outFrame) const
{
    const Orientation& turn = mFile->Facts().orientation;
    const int width = inFormat.mBounds.Width();
    const int height = inFormat.mBounds.Height();
    BE::FrameDescription lying = inFormat;
    lying.mBounds = turn.SwapsSides() ? TVK::Rect{0, 0, height, width} : TVK::Rect{0, 0, width, height};
    lying.mPixelFormat =
        norviktypes::Select4444PixelFormat(inFormat.mPixelFormat, norviktypes::kRenderQuality_High);
    MF::IVideoFrameRef source;
    std::int32_t status = ConvertOnce(inPicture, lying, source);
    VF::FramePixels from;
    if (status < 0 || !VF::GetFramePixels(source, from))
    {
        return status < 0 ? status : BE::kSourceStatus_OutOfMemory;
    }
    BE::FrameDescription upright = inFormat;
    upright.mPixelFormat = lying.mPixelFormat;
    MF::IVideoFrameRef target;
    VF::FramePixels to;
    status = NewFrame(upright, width, height, target, to);
    if (status < 0)
    {
        return status;
    }
    const int pixelBytes = static_cast<int>(from.mGeometry.mPlanes[0].mUsedBytes / from.mWidth);
    TurnPicture(from.mPixels, from.mRowBytes, lying.mBounds.Width(), lying.mBounds.Height(), pixelBytes, turn,
                to.mPixels, to.mRowBytes);
    if (IsFourComponent(inFormat.mPixelFormat))
    {
        outFrame = target;
        return status;
    }
    StampFrame(upright, target);
    return ConvertFrame(target, inFormat, outFrame);
}

}
