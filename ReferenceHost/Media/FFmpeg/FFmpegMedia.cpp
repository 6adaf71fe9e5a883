#include "ReferenceHost/Media/FFmpeg/FFmpegMedia.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

#include "ReferenceHost/Foundation/Timecode.h"
#include "ReferenceHost/Media/FFmpeg/FFmpegVideoSource.h"
#include "ReferenceHost/Media/FFmpeg/FactsText.h"
#include "ReferenceHost/Media/FFmpeg/OpenErrors.h"
#include "ReferenceHost/Media/FileIdentity.h"
#include "ReferenceHost/Media/MediaObject.h"
#include "norvik/utility/Machine.h"

namespace Media
{

namespace
{

// Two groups of pictures of high definition; more helps only those who step backwards.
constexpr std::int64_t kDefaultCacheBytes = std::int64_t{512} << 20;

FileOptions OptionsOf(const OpenOptions& inOptions)
{
    FileOptions options;
    options.streamIndex = inOptions.mStreamIndex;
    options.decoderThreads = static_cast<int>(std::clamp<std::uint32_t>(
        inOptions.mDecoderThreads ? inOptions.mDecoderThreads : norvik::utility::CPUCount(), 1, 64));
    options.keepsLeadIn = inOptions.mKeepsLeadIn;
    options.cacheBytes =
        inOptions.mCacheBytes ? static_cast<std::int64_t>(inOptions.mCacheBytes) : kDefaultCacheBytes;
    return options;
}

StartTimecode TimecodeOf(const FileFacts& inFacts)
{
    StartTimecode timecode;
    const Foundation::TimecodeRate rate{static_cast<int>(inFacts.frameRate.num),
                                        static_cast<int>(inFacts.frameRate.den)};
    timecode.mIsPresent =
        !inFacts.startTimecode.empty() &&
        Foundation::ParseTimecode(inFacts.startTimecode, rate, timecode.mFrames, timecode.mIsDropFrame);
    timecode.mText = timecode.mIsPresent ? inFacts.startTimecode : std::string();
    return timecode;
}

void ListStreams(const FileFacts& inFacts, MediaFacts& outFacts)
{
    for (const StreamEntry& entry : inFacts.streams)
    {
        StreamFacts stream;
        stream.mIndex = entry.index;
        stream.mType = entry.type;
        stream.mCodec = entry.codec;
        stream.mDescription = entry.description;
        stream.mIsAttachedPicture = entry.isAttachedPicture;
        stream.mIsDefault = entry.isDefault;
        outFacts.mStreams.push_back(std::move(stream));
    }
}

MediaFacts FactsOf(const FileFacts& inFacts)
{
    MediaFacts facts;
    facts.mContainer = inFacts.container;
    facts.mCodec = inFacts.codec;
    facts.mProfile = inFacts.profile;
    facts.mCodedFormat = inFacts.pixelFormatName;
    facts.mNativeFormat = norviktypes::PixelFormatText(NativeFormatsOf(inFacts).front());
    const TVK::Rect bounds = ShownBounds(inFacts);
    facts.mWidth = bounds.Width();
    facts.mHeight = bounds.Height();
    facts.mPixelAspectRatio = ShownPixelAspect(inFacts);
    facts.mFrameRate = {inFacts.frameRate.num, inFacts.frameRate.den};
    facts.mHasFrameGrid = inFacts.hasFrameGrid;
    facts.mFrameCount = inFacts.frameCount;
    facts.mDuration = norviktypes::TickTime(inFacts.durationTicks);
    facts.mFieldType = FieldTypeOf(inFacts);
    facts.mStartTimecode = TimecodeOf(inFacts);
    facts.mColor = ColorFactsOf(inFacts.colour);
    facts.mBitDepth = inFacts.bitDepth;
    facts.mAlpha = AlphaName(inFacts.alpha);
    facts.mRotation = inFacts.orientation.clockwiseDegrees;
    facts.mIsStill = inFacts.isStill;
    facts.mStreamIndex = inFacts.streamIndex;
    ListStreams(inFacts, facts);
    facts.mHasAudio = inFacts.hasAudio;
    facts.mTags = inFacts.tags;
    facts.mNotes = inFacts.notes;
    NoteConversions(inFacts.colour, inFacts.orientation, facts.mNotes);
    if (inFacts.colour.isGuessed)
    {
        facts.mNotes.push_back(
            fmt::format("the file doesn't name its colour matrix; {} is assumed from its size",
                        inFacts.colour.matrixName));
    }
    return facts;
}

norviktypes::TickTime StartOf(const MediaFacts& inFacts)
{
    const norviktypes::FrameRate rate =
        norviktypes::FrameRate::FromRational(inFacts.mFrameRate.mNumerator, inFacts.mFrameRate.mDenominator);
    return norviktypes::TickTime::FromFrame(inFacts.mStartTimecode.mFrames, rate);
}

}

BE::IMediaInfoRef OpenFFmpegMedia(const std::string& inPath, const OpenOptions& inOptions,
                                  OpenError& outError)
{
    FileError error;
    const std::shared_ptr<MediaFile> file = MediaFile::Open(inPath, OptionsOf(inOptions), error);
    if (!file)
    {
        outError = OpenErrorOf(error);
        return nullptr;
    }
    outError = OpenError();
    const std::string detail = fmt::format("stream {}", file->Facts().streamIndex);
    const TVK::Guid contentID = ContentIDOfFile(inPath, detail);
    MediaDescription description;
    description.mPath = inPath;
    description.mName = inPath.substr(inPath.rfind('/') + 1);
    description.mFacts = FactsOf(file->Facts());
    description.mStartTimecode = StartOf(description.mFacts);
    // All sources share the file and its decoders, which keep as many readers apart as there are.
    description.mMakeSource = [file, contentID]
    { return BE::IVideoSourceRef(new FFmpegVideoSource(file, contentID)); };
    description.mContentID = [inPath, detail] { return ContentIDOfFile(inPath, detail); };
    return CreateMediaObject(std::move(description));
}

}
