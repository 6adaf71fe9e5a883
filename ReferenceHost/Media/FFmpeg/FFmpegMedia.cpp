#include "ReferenceHost/Media/FFmpeg/FFmpegMedia.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

#include "ReferenceHost/Foundation/Timecode.h"
#include "ReferenceHost/Media/FFmpeg/FFmpegVideoSource.h"
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

const char* AlphaName(FileAlpha inAlpha)
{
    return inAlpha == FileAlpha::kNone       ? "none"
           : inAlpha == FileAlpha::kStraight ? "straight"
                                             : "premultiplied";
}

// What becomes of colour that no row of the format table holds.
void NoteConversions(const ColourDescription& inColour, std::vector<std::string>& ioNotes)
{
    const bool isHDR = inColour.transferName == "smpte2084" || inColour.transferName == "arib-std-b67";
    const bool isWide = inColour.primariesName == "bt2020" || inColour.primariesName == "smpte431" ||
                        inColour.primariesName == "smpte432";
    if (isHDR)
    {
        ioNotes.push_back(fmt::format("transfer {} is converted to that of bt709 by zimg, 100 cd/m2 as white",
                                      inColour.transferName));
    }
    if (isWide)
    {
        ioNotes.push_back(
            fmt::format("primaries {} are converted to those of bt709 by zimg", inColour.primariesName));
    }
    if (inColour.isGuessed)
    {
        ioNotes.push_back(fmt::format("the file doesn't name its colour matrix; {} is assumed from its size",
                                      inColour.matrixName));
    }
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
    const ColourDescription& colour = inFacts.colour;
    facts.mColor = {colour.matrixName, colour.primariesName, colour.transferName,
                    colour.rangeName,  colour.sitingName,    colour.isGuessed};
    facts.mBitDepth = inFacts.bitDepth;
    facts.mAlpha = AlphaName(inFacts.alpha);
    facts.mRotation = inFacts.orientation.clockwiseDegrees;
    facts.mIsStill = inFacts.isStill;
    facts.mStreamIndex = inFacts.streamIndex;
    ListStreams(inFacts, facts);
    facts.mHasAudio = inFacts.hasAudio;
    facts.mTags = inFacts.tags;
    facts.mNotes = inFacts.notes;
    NoteConversions(colour, facts.mNotes);
    if (inFacts.orientation.flipHorizontally)
    {
        facts.mNotes.emplace_back("the picture is mirrored, as the file asks");
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
