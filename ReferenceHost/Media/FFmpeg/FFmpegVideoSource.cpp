#include "ReferenceHost/Media/FFmpeg/FFmpegVideoSource.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

#include "ReferenceHost/Foundation/WorkObserver.h"
#include "ReferenceHost/Media/FFmpeg/FFmpegTypes.h"
#include "ReferenceHost/Media/FFmpeg/FactsReader.h"
#include "ReferenceHost/Media/FFmpeg/PictureFrames.h"

namespace Media
{

using norviktypes::PixelFormat;
using norviktypes::TickTime;

namespace
{

// So many bare pictures in a row that were in the system's memory.
constexpr int kFoundToBeTrusted = 8;

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

bool IsInterlaced(const FileFacts& inFacts)
{
    return inFacts.fieldOrder == FieldOrder::kUpperFirst || inFacts.fieldOrder == FieldOrder::kLowerFirst;
}

// As the picture says itself.
norviktypes::FieldType OrderOf(const AVFrame& inPicture)
{
    return inPicture.interlaced_frame == 0  ? norviktypes::kFieldType_Progressive
           : inPicture.top_field_first != 0 ? norviktypes::kFieldType_UpperFirst
                                            : norviktypes::kFieldType_LowerFirst;
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

}

norviktypes::FieldType FieldTypeOf(const FileFacts& inFacts)
{
    // Lines of a picture that lies on its side are no fields any more; in one that stands on its head the
    // last line of an even number, a lower one, has become the first.
    if (!IsInterlaced(inFacts) || inFacts.orientation.SwapsSides())
    {
        return norviktypes::kFieldType_Progressive;
    }
    const bool changesPlaces = inFacts.orientation.clockwiseDegrees == 180 && inFacts.height % 2 == 0;
    return (inFacts.fieldOrder == FieldOrder::kUpperFirst) != changesPlaces
               ? norviktypes::kFieldType_UpperFirst
               : norviktypes::kFieldType_LowerFirst;
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
    traits.isFieldChroma = IsInterlaced(inFacts);
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
    : Extends(StreamTraitsOf(*inFile, inContentID))
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
    return mFailures.TextOf(FrameIndexAt(inTime));
}

std::string FFmpegVideoSource::DescribeFieldChange() const
{
    const std::string change = mFieldOrders.ChangeFrom(Traits().mFieldType);
    return change.empty() ? change : mFile->Facts().path + ": " + change;
}

void FFmpegVideoSource::Expect(const std::vector<MF::TimeRange>& inTimes)
{
    std::vector<FrameRun> runs;
    runs.reserve(inTimes.size());
    for (const MF::TimeRange& times : inTimes)
    {
        const std::int64_t first = mFile->RankAt(times.mStart.GetTicks());
        const std::int64_t last = mFile->RankAt(times.mEnd.GetTicks() - 1);
        if (first >= 0)
        {
            runs.push_back({first, last < 0 ? mFile->FrameCount() : last + 1});
        }
    }
    mFile->Expect(runs);
}

bool FFmpegVideoSource::IsAsyncEnabled() const
{
    return mFoundInMemory.load(std::memory_order_relaxed) >= kFoundToBeTrusted;
}

std::int32_t FFmpegVideoSource::IssueAsyncRead(const TickTime& inTime, const BE::FrameDescription& inFormat,
                                               const MF::BinaryData&, const norviktypes::ColorProfile&)
{
    try
    {
        BE::FrameDescription format = inFormat;
        ConformDescription(format);
        MF::IVideoFrameRef frame;
        const std::int64_t index = FrameIndexAt(inTime);
        const BarePicturePtr picture = FindInFile(index, format, true, frame);
        if (picture && IsInMemory(*picture))
        {
            mLookedFor = index;
            return BE::kSourceStatus_OK;
        }
    }
    catch (const std::bad_alloc&)
    {
    }
    mFoundInMemory = 0;
    return kSourceStatus_NotAtHand;
}

bool FFmpegVideoSource::IsInMemory(const BarePicture& inPicture)
{
    const bool isThere = inPicture.IsFetched();
    const int found = mFoundInMemory.load(std::memory_order_relaxed);
    mFoundInMemory.store(isThere ? std::min(found + 1, kFoundToBeTrusted) : 0, std::memory_order_relaxed);
    return isThere;
}

std::int32_t FFmpegVideoSource::MakeFrame(std::int64_t inIndex, const BE::FrameDescription& inFormat,
                                          bool inAtOnce, MF::IVideoFrameRef& outFrame)
{
    if (MakeFrameInFile(inIndex, inFormat, inAtOnce, outFrame))
    {
        return BE::kSourceStatus_OK;
    }
    const FrameAnswer answer = inAtOnce ? mFile->TryGetFrame(inIndex) : mFile->GetFrame(inIndex);
    if (answer.status != FrameStatus::kOk)
    {
        if (answer.status != FrameStatus::kNotReady)
        {
            mFailures.Remember(inIndex, answer.text);
        }
        return StatusOf(answer.status);
    }
    mFieldOrders.Note(inIndex, OrderOf(*answer.picture));
    const std::int32_t status = MakeFrameOfPicture(*answer.picture, TraitsOf(*answer.picture),
                                                   mFile->Facts().orientation, inFormat, outFrame);
    if (status < 0)
    {
        mFailures.Remember(
            inIndex, fmt::format("{}: frame {} cannot be made: {}", mFile->Facts().path, inIndex,
                                 status == BE::kSourceStatus_OutOfMemory
                                     ? "out of memory"
                                     : fmt::format("no conversion to {} at {}x{}",
                                                   norviktypes::PixelFormatText(inFormat.mPixelFormat),
                                                   inFormat.mBounds.Width(), inFormat.mBounds.Height())));
    }
    return status;
}

bool FFmpegVideoSource::MakeFrameInFile(std::int64_t inIndex, const BE::FrameDescription& inFormat,
                                        bool inAtOnce, MF::IVideoFrameRef& outFrame)
{
    Foundation::WorkSpan span(Foundation::WorkKind::kDecode, inIndex);
    MF::IVideoFrameRef frame;
    const BarePicturePtr picture = FindInFile(inIndex, inFormat, inAtOnce, frame);
    // Who issues a read asks at once right after it.
    std::int64_t lookedFor = inIndex;
    const bool wasThere = inAtOnce && mLookedFor.compare_exchange_strong(lookedFor, kNoFrame);
    const bool isThere = picture && (wasThere || IsInMemory(*picture));
    if (isThere || (picture && !inAtOnce && picture->Fetch()))
    {
        outFrame = frame;
        mFieldOrders.Note(inIndex, OrderOf(picture->Shape()));
        span.Succeed();
        return true;
    }
    span.Forget();
    return false;
}

// A picture that the frame can be made of, and that frame, whether its rows are in memory or not. Null if there is none.
BarePicturePtr FFmpegVideoSource::FindInFile(std::int64_t inIndex, const BE::FrameDescription& inFormat,
                                             bool inAtOnce, MF::IVideoFrameRef& outFrame)
{
    // What would be turned or scaled, or stays in planes, is decoded: how it lies needn't be found out.
    const bool isPlain = inFormat.mBounds == Traits().mBounds && mFile->Facts().orientation.IsIdentity() &&
                         norviktypes::IsPackedFourComponent(inFormat.mPixelFormat.mProperties);
    const BarePicturePtr picture = isPlain ? mFile->PictureInFile(inIndex, inAtOnce) : nullptr;
    const bool isTaken = picture && MakeFrameOfBarePicture(picture, TraitsOf(picture->Shape()),
                                                           mFile->Facts().orientation, inFormat, outFrame);
    return isTaken ? picture : nullptr;
}

// A file may change its colour on the way; what a picture says itself counts.
PictureTraits FFmpegVideoSource::TraitsOf(const AVFrame& inPicture) const
{
    const FileFacts& facts = mFile->Facts();
    PictureTraits traits;
    traits.alpha = facts.alpha == FileAlpha::kNone ? FileAlpha::kStraight : facts.alpha;
    traits.isFieldChroma = IsInterlaced(facts);
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
    return traits;
}

}
