#include "ReferenceHost/Media/Stills/SequenceMedia.h"

#include "ReferenceHost/FrameLibrary/VideoFrame.h"
#include "ReferenceHost/Media/FFmpeg/StillDecoder.h"
#include "ReferenceHost/Media/FileIdentity.h"
#include "ReferenceHost/Media/FrameConversion.h"
#include "ReferenceHost/Media/MediaObject.h"
#include "ReferenceHost/Media/RecentFailures.h"
#include "ReferenceHost/Media/Synthetic/SyntheticPainter.h"
#include "ReferenceHost/Media/VideoSourceBase.h"
#include "TVK/HashValue.h"
#include "VF/VideoFrame.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <numeric>
#include <utility>

namespace Media
{

namespace
{

constexpr norviktypes::FrameRate kUsualRate = norviktypes::FrameRate::FromRational(25, 1);
// Beyond it the end of the sequence would lie past the time axis.
constexpr std::int64_t kLongestTicks = std::int64_t{1} << 60;
// Names of files have no more digits.
constexpr std::int64_t kLargestNumber = 1000000000000000000;

// What all sources of one sequence share.
struct SharedSequence
{
    SequencePattern mPattern;
    std::int64_t mFirst = 0; // number of frame 0
    std::int64_t mStep = 1;
    std::int64_t mFrameCount = 0;
    MissingFiles mMissing = MissingFiles::kFail;
    std::shared_ptr<const NamedFiles> mFiles; // null: those of the folder
    std::vector<std::int64_t> mFrames;        // those that have a file, ascending, not empty
    std::shared_ptr<const StillDecoder> mDecoder;
    norviktypes::FrameRate mRate;
    TVK::Guid mContentID;

    RecentFailures mFailures;

    // No file has a number as large as the largest, which stands for all beyond it.
    std::int64_t NumberOf(std::int64_t inFrame) const
    {
        return inFrame <= (kLargestNumber - mFirst) / mStep ? mFirst + inFrame * mStep : kLargestNumber;
    }
    bool HasFrame(std::int64_t inFrame) const
    {
        return std::binary_search(mFrames.begin(), mFrames.end(), inFrame);
    }
    // The frame before inFrame, or else behind it, that has a file.
    std::int64_t HeldFrame(std::int64_t inFrame) const
    {
        const auto behind = std::upper_bound(mFrames.begin(), mFrames.end(), inFrame);
        return behind == mFrames.begin() ? mFrames.front() : *(behind - 1);
    }
    std::string PathOf(std::int64_t inFrame) const
    {
        const std::int64_t number = NumberOf(inFrame);
        const auto file = mFiles ? mFiles->find(mPattern.FileName(number)) : NamedFiles::const_iterator();
        return mFiles && file != mFiles->end() ? file->second : mPattern.Path(number);
    }
};

// Every file counts: a single one rendered anew makes another sequence.
TVK::Guid ContentIDOf(const SharedSequence& inSequence)
{
    TVK::HashValue hash("Media::Sequence");
    hash.MixI64(inSequence.mFirst);
    hash.MixI64(inSequence.mStep);
    hash.MixI64(inSequence.mFrameCount);
    hash.MixI64(static_cast<std::int64_t>(inSequence.mMissing));
    for (const std::int64_t frame : inSequence.mFrames)
    {
        hash.MixI64(frame);
        hash.MixGuid(ContentIDOfFile(inSequence.PathOf(frame), "still"));
    }
    return hash.AsGuid();
}

// False, with nothing changed, where none of inNumbers is a frame.
bool TakeFrames(const std::vector<std::int64_t>& inNumbers, const SequenceFrames& inFrames,
                SharedSequence& ioSequence)
{
    const std::int64_t first = inFrames.mFirst.value_or(inNumbers.front());
    std::vector<std::int64_t> frames;
    for (const std::int64_t number : inNumbers)
    {
        const std::int64_t distance = number - first;
        const std::int64_t frame = distance / inFrames.mStep;
        if (distance >= 0 && distance % inFrames.mStep == 0 &&
            (inFrames.mCount == 0 || frame < inFrames.mCount))
        {
            frames.push_back(frame);
        }
    }
    if (frames.empty())
    {
        return false;
    }
    ioSequence.mFirst = first;
    ioSequence.mStep = inFrames.mStep;
    ioSequence.mMissing = inFrames.mMissing;
    ioSequence.mFiles = inFrames.mFiles;
    ioSequence.mFrameCount = inFrames.mCount > 0 ? inFrames.mCount : frames.back() + 1;
    ioSequence.mFrames = std::move(frames);
    return true;
}

StreamTraits TraitsOf(const SharedSequence& inSequence)
{
    const MediaFacts& facts = inSequence.mDecoder->Facts();
    StreamTraits traits;
    traits.mFrameRate = inSequence.mRate;
    traits.mBounds = {0, 0, facts.mWidth, facts.mHeight};
    traits.mPixelAspectRatio = facts.mPixelAspectRatio;
    traits.mAlphaType = inSequence.mDecoder->HasAlpha() ? norviktypes::kAlphaChannel_Straight
                                                        : norviktypes::kAlphaChannel_None;
    traits.mNativeFormats = {inSequence.mDecoder->NativeFormat()};
    traits.mDuration = norviktypes::TickTime::FromFrame(inSequence.mFrameCount, inSequence.mRate);
    traits.mContentID = inSequence.mContentID;
    return traits;
}

class SequenceSource final : public VideoSourceBase
{
public:
    explicit SequenceSource(std::shared_ptr<SharedSequence> inSequence)
        : VideoSourceBase(TraitsOf(*inSequence))
        , mSequence(std::move(inSequence))
    {
    }

    std::string DescribeFailure(const norviktypes::TickTime& inTime) const override
    {
        const std::int64_t frame = FrameIndexAt(inTime);
        if (frame == kNoFrame)
        {
            return std::string();
        }
        if (!mSequence->HasFrame(frame))
        {
            if (mSequence->mMissing == MissingFiles::kBlack)
            {
                return std::string(); // no failure
            }
            return fmt::format("{}: missing, so there is no frame {} of the sequence",
                               mSequence->PathOf(frame), frame);
        }
        return mSequence->mFailures.TextOf(frame);
    }

    // Frames are counted however often one file is shown.
    std::int64_t GetFrameNumber(const norviktypes::TickTime& inTime) const override
    {
        return VideoSourceBase::FrameIndexAt(inTime);
    }

protected:
    // A frame that is held is one frame for all its times, and one entry of every cache.
    std::int64_t FrameIndexAt(const norviktypes::TickTime& inTime) const override
    {
        const std::int64_t index = VideoSourceBase::FrameIndexAt(inTime);
        return index == kNoFrame || mSequence->mMissing != MissingFiles::kHold ? index
                                                                               : mSequence->HeldFrame(index);
    }

    std::int32_t MakeFrame(std::int64_t inIndex, const BE::FrameDescription& inFormat, bool inAtOnce,
                           MF::IVideoFrameRef& outFrame) override
    {
        if (!mSequence->HasFrame(inIndex))
        {
            return mSequence->mMissing == MissingFiles::kBlack ? MakeBlackFrame(inFormat, outFrame)
                                                               : kSourceStatus_MissingFrame;
        }
        if (inAtOnce)
        {
            return kSourceStatus_NotAtHand;
        }
        std::string failure;
        const std::int32_t status =
            mSequence->mDecoder->Decode(mSequence->PathOf(inIndex), inFormat, outFrame, failure);
        if (status < 0)
        {
            mSequence->mFailures.Remember(inIndex, std::move(failure));
        }
        return status;
    }

private:
    std::int32_t MakeBlackFrame(const BE::FrameDescription& inFormat, MF::IVideoFrameRef& outFrame) const
    {
        const TVK::Rect& bounds = inFormat.mBounds;
        MF::IVideoFrameRef drawing;
        const std::int32_t status = VF::CreateVideoFrame(
            drawing,
            mSequence->mDecoder->HasAlpha() ? norviktypes::kPixelFormat_BGRA_4444_8u
                                            : norviktypes::kPixelFormat_BGRX_4444_8u,
            static_cast<std::uint32_t>(bounds.Width()), static_cast<std::uint32_t>(bounds.Height()),
            Traits().mPixelAspectRatio, false, false);
        VF::FramePixels pixels;
        if (status < 0 || !VF::GetFramePixels(drawing, pixels))
        {
            return status < 0 ? SourceStatusOf(status) : BE::kSourceStatus_OutOfMemory;
        }
        PaintColor(BGRAPicture{pixels.mPixels, pixels.mRowBytes, bounds.Width(), bounds.Height()},
                   TVK::ParamColor<std::uint32_t>::FromComponents(0, 0, 0, 255));
        return ConvertFrame(drawing, inFormat, outFrame);
    }

    const std::shared_ptr<SharedSequence> mSequence;
};

Ratio RatioOf(const norviktypes::FrameRate& inRate)
{
    const std::int64_t divisor = std::gcd(norviktypes::kTicksPerSecond, inRate.GetTicks());
    return {norviktypes::kTicksPerSecond / divisor, inRate.GetTicks() / divisor};
}

MediaFacts FactsOf(const SharedSequence& inSequence)
{
    MediaFacts facts = inSequence.mDecoder->Facts();
    facts.mContainer = "image2";
    facts.mIsStill = false;
    facts.mHasFrameGrid = true;
    facts.mFrameRate = RatioOf(inSequence.mRate);
    facts.mFrameCount = inSequence.mFrameCount;
    facts.mDuration = norviktypes::TickTime::FromFrame(facts.mFrameCount, inSequence.mRate);
    const std::int64_t missing = facts.mFrameCount - static_cast<std::int64_t>(inSequence.mFrames.size());
    facts.mNotes.push_back(fmt::format("numbers {} to {}", inSequence.NumberOf(0),
                                       inSequence.NumberOf(inSequence.mFrameCount - 1)));
    if (missing > 0)
    {
        facts.mNotes.push_back(fmt::format("{} of the numbers in between have no file", missing));
    }
    return facts;
}

} // namespace

BE::IMediaInfoRef OpenSequenceMedia(const std::string& inText, const SequencePattern& inPattern,
                                    const std::vector<std::int64_t>& inNumbers, const OpenOptions& inOptions,
                                    OpenError& outError)
{
    auto sequence = std::make_shared<SharedSequence>();
    sequence->mPattern = inPattern;
    if (!TakeFrames(inNumbers, inOptions.mSequenceFrames, *sequence))
    {
        outError = {OpenErrorKind::kNoInput,
                    fmt::format("{}: no file has the number of a frame, such as {}", inText,
                                inPattern.FileName(inOptions.mSequenceFrames.mFirst.value_or(0)))};
        return nullptr;
    }
    sequence->mRate = inOptions.mSequenceRate.IsCountable() ? inOptions.mSequenceRate : kUsualRate;
    if (sequence->mFrameCount > kLongestTicks / sequence->mRate.GetTicks())
    {
        outError = {OpenErrorKind::kBadUsage,
                    fmt::format("{}: the numbers {} to {} are longer than the time axis", inText,
                                inNumbers.front(), inNumbers.back())};
        return nullptr;
    }
    sequence->mContentID = ContentIDOf(*sequence);
    sequence->mDecoder = StillDecoder::Open(sequence->PathOf(sequence->mFrames.front()), outError);
    if (!sequence->mDecoder)
    {
        return nullptr;
    }
    MediaDescription description;
    description.mPath = inText;
    description.mName = inText.substr(inText.rfind('/') + 1);
    description.mFacts = FactsOf(*sequence);
    description.mMakeSource = [sequence] { return BE::IVideoSourceRef(new SequenceSource(sequence)); };
    description.mContentID = [sequence] { return ContentIDOf(*sequence); };
    return CreateMediaObject(std::move(description));
}

} // namespace Media
