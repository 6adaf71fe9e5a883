#include "ReferenceHost/Media/Stills/SequenceMedia.h"

#include "ReferenceHost/Media/FFmpeg/StillDecoder.h"
#include "ReferenceHost/Media/FileIdentity.h"
#include "ReferenceHost/Media/MediaObject.h"
#include "ReferenceHost/Media/RecentFailures.h"
#include "ReferenceHost/Media/VideoSourceBase.h"
#include "TVK/HashValue.h"

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

// What all sources of one sequence share.
struct SharedSequence
{
    SequencePattern mPattern;
    std::vector<std::int64_t> mNumbers; // ascending
    std::shared_ptr<const StillDecoder> mDecoder;
    norviktypes::FrameRate mRate;
    TVK::Guid mContentID;

    RecentFailures mFailures;

    std::int64_t FrameCount() const { return mNumbers.back() - mNumbers.front() + 1; }
    std::int64_t NumberOf(std::int64_t inFrame) const { return mNumbers.front() + inFrame; }
    bool HasFrame(std::int64_t inFrame) const
    {
        return std::binary_search(mNumbers.begin(), mNumbers.end(), NumberOf(inFrame));
    }
};

// Every file counts: a single one rendered anew makes another sequence.
TVK::Guid ContentIDOf(const SequencePattern& inPattern, const std::vector<std::int64_t>& inNumbers)
{
    TVK::HashValue hash("Media::Sequence");
    for (const std::int64_t number : inNumbers)
    {
        hash.MixI64(number);
        hash.MixGuid(ContentIDOfFile(inPattern.Path(number), "still"));
    }
    return hash.AsGuid();
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
    traits.mDuration = norviktypes::TickTime::FromFrame(inSequence.FrameCount(), inSequence.mRate);
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
            return fmt::format("{}: missing, so there is no frame {} of the sequence",
                               mSequence->mPattern.Path(mSequence->NumberOf(frame)), frame);
        }
        return mSequence->mFailures.TextOf(frame);
    }

protected:
    std::int32_t MakeFrame(std::int64_t inIndex, const BE::FrameDescription& inFormat, bool inAtOnce,
                           MF::IVideoFrameRef& outFrame) override
    {
        if (!mSequence->HasFrame(inIndex))
        {
            return kSourceStatus_MissingFrame;
        }
        if (inAtOnce)
        {
            return kSourceStatus_NotAtHand;
        }
        std::string failure;
        const std::int32_t status = mSequence->mDecoder->Decode(
            mSequence->mPattern.Path(mSequence->NumberOf(inIndex)), inFormat, outFrame, failure);
        if (status < 0)
        {
            mSequence->mFailures.Remember(inIndex, std::move(failure));
        }
        return status;
    }

private:
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
    facts.mFrameCount = inSequence.FrameCount();
    facts.mDuration = norviktypes::TickTime::FromFrame(facts.mFrameCount, inSequence.mRate);
    const std::int64_t missing = facts.mFrameCount - static_cast<std::int64_t>(inSequence.mNumbers.size());
    facts.mNotes.push_back(
        fmt::format("numbers {} to {}", inSequence.mNumbers.front(), inSequence.mNumbers.back()));
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
    sequence->mNumbers = inNumbers;
    sequence->mRate = inOptions.mSequenceRate.IsCountable() ? inOptions.mSequenceRate : kUsualRate;
    if (sequence->FrameCount() > kLongestTicks / sequence->mRate.GetTicks())
    {
        outError = {OpenErrorKind::kBadUsage,
                    fmt::format("{}: the numbers {} to {} are longer than the time axis", inText,
                                inNumbers.front(), inNumbers.back())};
        return nullptr;
    }
    sequence->mContentID = ContentIDOf(inPattern, inNumbers);
    sequence->mDecoder = StillDecoder::Open(inPattern.Path(inNumbers.front()), outError);
    if (!sequence->mDecoder)
    {
        return nullptr;
    }
    MediaDescription description;
    description.mPath = inText;
    description.mName = inText.substr(inText.rfind('/') + 1);
    description.mFacts = FactsOf(*sequence);
    description.mMakeSource = [sequence] { return BE::IVideoSourceRef(new SequenceSource(sequence)); };
    description.mContentID = [sequence] { return ContentIDOf(sequence->mPattern, sequence->mNumbers); };
    return CreateMediaObject(std::move(description));
}

} // namespace Media
