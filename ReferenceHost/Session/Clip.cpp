#include "ReferenceHost/Session/Clip.h"

#include "MF/ISource.h"
#include "ReferenceHost/Media/IMediaFacts.h"
#include "ReferenceHost/Media/Media.h"
#include "ReferenceHost/Session/PulldownDetection.h"
#include "ReferenceHost/Session/ReadAhead.h"
#include "VF/VideoFrame.h"
#include "norviktypes/Pulldown.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

namespace Session
{

namespace
{

using norviktypes::TickTime;

norviktypes::FrameRate RateOf(const BE::IVideoSourceRef& inSource)
{
    norviktypes::FrameRate rate;
    inSource->GetFrameRate(rate);
    return rate;
}

TickTime DurationOf(const BE::IVideoSourceRef& inSource)
{
    TickTime duration = norviktypes::kTime_Max;
    const MF::ISourceRef stream(inSource);
    if (stream)
    {
        stream->GetDuration(duration);
    }
    return duration;
}

// The pixel format in which film is put together. In packed ones lines are copied as they are, and fields go by the
// frames' own order; in 4:2:0 they go by the height of the video.
norviktypes::PixelFormat FilmFormatFor(const norviktypes::PixelFormat& inFormat, bool inNeedsPacked)
{
    constexpr std::uint32_t kIs709 = 0x20;
    constexpr std::uint32_t kIsFull = 0x40;
    if (inFormat == norviktypes::kPixelFormat_YUV_422_Planar_8u_709)
    {
        return norviktypes::kPixelFormat_UYVY_422_8u_709;
    }
    if (inFormat == norviktypes::kPixelFormat_YUV_422_Planar_10u_709)
    {
        return norviktypes::kPixelFormat_V210_422_10u_709;
    }
    if (!inNeedsPacked || !norviktypes::IsSubsampled(inFormat.mProperties))
    {
        return inFormat;
    }
    const bool is709 = (inFormat.mProperties & kIs709) != 0;
    if (norviktypes::DepthOfProperties(inFormat.mProperties) > 8)
    {
        return is709 ? norviktypes::kPixelFormat_VUYA_4444_32f_709 : norviktypes::kPixelFormat_VUYA_4444_32f;
    }
    return (inFormat.mProperties & kIsFull) != 0 ? norviktypes::kPixelFormat_VUYA_4444_8u_601_Full
           : is709                               ? norviktypes::kPixelFormat_VUYA_4444_8u_709
                                                 : norviktypes::kPixelFormat_VUYA_4444_8u;
}

std::int32_t Rounded(double inValue)
{
    return static_cast<std::int32_t>(std::floor(inValue + 0.5));
}

Media::Ratio InLowestTerms(std::int64_t inNumerator, std::int64_t inDenominator)
{
    const std::int64_t divisor = std::gcd(inNumerator, inDenominator);
    return {inNumerator / divisor, inDenominator / divisor};
}

Media::OpenError BadUsage(const std::string& inPath, const std::string& inCause)
{
    return {Media::OpenErrorKind::kBadUsage, inPath + ": " + inCause};
}

// What would be believed if the other field came first; empty if nothing would.
std::string FoundWithFieldsSwapped(const FieldDifferences& inDifferences)
{
    const PulldownFinding other = FindPulldown(WithFieldsSwapped(inDifferences));
    return other.mScore < kLeastPulldownScore ? std::string()
                                              : fmt::format("; with fields swapped {} scores {:.2f}",
                                                            NameOfCadence(other.mCadence), other.mScore);
}

// Why the best cadence isn't good enough; empty if it is.
std::string ChooseCadence(const FieldDifferences& inDifferences, std::int64_t inFrames,
                          norviktypes::PulldownCadence& outCadence)
{
    const PulldownFinding finding = FindPulldown(inDifferences);
    outCadence = finding.mCadence;
    if (finding.mScore >= kLeastPulldownScore)
    {
        return std::string();
    }
    return fmt::format("no pulldown was found in the first {} frames: the best phase, {}, scores {:.2f}, "
                       "less than {:.2f}{}",
                       inFrames, NameOfCadence(finding.mCadence), finding.mScore, kLeastPulldownScore,
                       FoundWithFieldsSwapped(inDifferences));
}

// Why a cadence that was named can't be that of the frames; empty if it may be.
std::string DoubtsAbout(norviktypes::PulldownCadence inCadence, const FieldDifferences& inDifferences,
                        std::int64_t inFrames)
{
    const double score = ScoreOfPulldown(inDifferences, inCadence);
    const PulldownFinding best = FindPulldown(inDifferences);
    const std::string swapped = FoundWithFieldsSwapped(inDifferences);
    const bool isFound = best.mScore >= kLeastPulldownScore;
    const bool isKnownBetter = isFound || !swapped.empty();
    const double least = isKnownBetter ? kLeastPulldownScore : kLeastScoreOfNamedPulldown;
    if (score >= least || (!isKnownBetter && !ShowMotion(inDifferences)))
    {
        return std::string();
    }
    return fmt::format("phase {} is not that of the first {} frames: it scores {:.2f}, less than {:.2f}{}{}",
                       NameOfCadence(inCadence), inFrames, score, least,
                       isFound ? fmt::format("; {} scores {:.2f}", NameOfCadence(best.mCadence), best.mScore)
                               : std::string(),
                       swapped);
}

} // namespace

std::unique_ptr<Clip> Clip::Open(const std::string& inPath, const ClipOptions& inOptions,
                                 Media::OpenError& outError)
{
    Media::OpenOptions options;
    options.mStreamIndex = inOptions.mStreamIndex;
    options.mDecoderThreads = inOptions.mDecoderThreads;
    options.mCacheBytes = inOptions.mPicturesBytes;
    options.mKeepsLeadIn = inOptions.mKeepsLeadIn;
    const BE::IMediaInfoRef media = Media::OpenMedia(inPath, options, outError);
    if (!media)
    {
        return nullptr;
    }
    const BE::IVideoSourceRef source(media->CreateSourceForStream(MF::kMediaType_Video, 0));
    const Media::IMediaFactsRef facts(media);
    if (!source || !facts)
    {
        outError = {Media::OpenErrorKind::kNotVideo, inPath + ": holds no video"};
        return nullptr;
    }
    std::unique_ptr<Clip> clip(new Clip(source, facts->GetFacts(), inPath, inOptions.mConforming));
    return clip->Build(outError) ? std::move(clip) : nullptr;
}

Clip::Clip(BE::IVideoSourceRef inSource, Media::MediaFacts inFacts, std::string inPath,
           Conforming inConforming)
    : mSource(std::move(inSource))
    , mStreamFacts(std::move(inFacts))
    , mFacts(mStreamFacts)
    , mPath(std::move(inPath))
    , mConforming(std::move(inConforming))
    , mFrameRate(RateOf(mSource))
    , mDuration(DurationOf(mSource))
{
}

bool Clip::Build(Media::OpenError& outError)
{
    norviktypes::PulldownCadence cadence = mConforming.mCadence;
    if (!IsFitFor(outError) || !FindCadence(cadence, outError))
    {
        return false;
    }
    mChain = BuildSourceChain(mSource, mPath, mStreamFacts, mConforming, cadence);
    if (!mConforming.IsEmpty())
    {
        DescribeOutput(cadence);
    }
    if (mFacts.mFrameCount == 0)
    {
        outError = {Media::OpenErrorKind::kBadData, mPath + ": too few frames are there to make one of them"};
        return false;
    }
    return true;
}

bool Clip::IsFitFor(Media::OpenError& outError) const
{
    const bool hasFields = norviktypes::IsInterlaced(mStreamFacts.mFieldType);
    const bool removesPulldown = mConforming.mPulldown != PulldownRemoval::kNone;
    const char* cause = nullptr;
    if (mConforming.ChangesTime() && (mStreamFacts.mIsStill || mStreamFacts.mFrameRate.mNumerator <= 0))
    {
        cause = "is a still, which has no speed, no rate and no successive frames";
    }
    else if ((removesPulldown || mConforming.mInterlacesConsecutive) && !mStreamFacts.mHasFrameGrid)
    {
        cause =
            "frames last unequally, so that pulldown can't be removed nor successive frames be interlaced";
    }
    else if (mConforming.ChangesTime() && !mStreamFacts.mHasFrameGrid && mConforming.mRate.mNumerator == 0)
    {
        cause = "frames last unequally; a rate for the output is needed to play them at another speed or to "
                "blend "
                "them";
    }
    else if (mConforming.mSpeed < 0 && !HasEnd())
    {
        cause = "has no end, so that it can't be played backwards";
    }
    else if (!hasFields && (mConforming.mReversesDominance || (mConforming.mSwapsFields && !removesPulldown)))
    {
        cause = "is progressive; there are no fields that could change places";
    }
    if (cause != nullptr)
    {
        outError = BadUsage(mPath, cause);
    }
    return cause == nullptr;
}

// Looks at the first frames. A cadence that is named is taken where they tell nothing.
bool Clip::FindCadence(norviktypes::PulldownCadence& ioCadence, Media::OpenError& outError) const
{
    if (mConforming.mPulldown == PulldownRemoval::kNone)
    {
        return true;
    }
    const bool isNamed = mConforming.mPulldown == PulldownRemoval::kGiven;
    const std::int64_t frames =
        HasEnd() ? std::min(kFramesToFindPulldown, mStreamFacts.mFrameCount) : kFramesToFindPulldown;
    if (frames < kLeastFramesToFindPulldown)
    {
        outError = BadUsage(mPath, "has too few frames to find a pulldown in them; name its phase");
        return isNamed;
    }
    FieldDifferences differences;
    if (!MeasureFirstFields(frames, differences))
    {
        outError = {Media::OpenErrorKind::kBadData,
                    mPath + ": its first frames can't be read, so that no pulldown can be found in them"};
        return isNamed;
    }
    const std::string doubts =
        isNamed ? DoubtsAbout(ioCadence, differences, frames) : ChooseCadence(differences, frames, ioCadence);
    if (!doubts.empty())
    {
        outError = {Media::OpenErrorKind::kBadData, mPath + ": " + doubts};
    }
    return doubts.empty();
}

// False if one of them can't be read.
bool Clip::MeasureFirstFields(std::int64_t inFrames, FieldDifferences& outDifferences) const
{
    ML::CutlistRenderParams params;
    params.mWidth = static_cast<std::uint32_t>(mStreamFacts.mWidth);
    params.mHeight = static_cast<std::uint32_t>(mStreamFacts.mHeight);
    params.mPixelAspectRatio = mStreamFacts.mPixelAspectRatio;
    params.mFrameRate = mFrameRate;
    const bool isUpperFirst =
        DominanceOfFilm(mStreamFacts, mConforming.mSwapsFields) == norviktypes::kFieldType_UpperFirst;
    try
    {
        const SourceChain stream =
            BuildSourceChain(mSource, mPath, mStreamFacts, Conforming(), norviktypes::kPulldownCadence_None);
        outDifferences = MeasureFields(stream.mTop, params, inFrames, isUpperFirst);
        return true;
    }
    catch (const ML::RenderRequestException&)
    {
        return false;
    }
}

void Clip::DescribeOutput(norviktypes::PulldownCadence inCadence)
{
    if (!mStreamFacts.mIsStill)
    {
        mFacts.mFieldType = mChain.mFieldType;
    }
    if (mConforming.ChangesTime())
    {
        DescribeTimes(inCadence);
    }
    DescribeShape();
}

// How long the frames last that come out of the chain.
TickTime Clip::ChainLength(norviktypes::PulldownCadence inCadence) const
{
    if (!HasEnd())
    {
        return norviktypes::kTime_Max;
    }
    const std::int64_t frames = mStreamFacts.mFrameCount;
    if (mConforming.mPulldown != PulldownRemoval::kNone)
    {
        // Those whose last field is there.
        const norviktypes::FrameRate filmRate = norviktypes::FilmRateOfPulldown(mFrameRate);
        std::int64_t film = frames * 4 / 5 + 2;
        bool isMerged = false;
        while (film > 0 && norviktypes::MapPulldownFrameTo2997Frame(TickTime::FromFrame(film - 1, filmRate),
                                                                    mFrameRate, inCadence, isMerged) >=
                               TickTime::FromFrame(frames, mFrameRate))
        {
            --film;
        }
        return TickTime::FromFrame(film, filmRate);
    }
    if (mConforming.mInterlacesConsecutive)
    {
        return TickTime::FromFrame(frames / 2, mFrameRate);
    }
    return mDuration;
}

void Clip::DescribeTimes(norviktypes::PulldownCadence inCadence)
{
    const TickTime length = ChainLength(inCadence);
    norviktypes::FrameRate chainRate;
    mChain.mTop->GetFrameRate(chainRate);
    norviktypes::FrameRate momentRate;
    mChain.mTop->GetFieldRate(momentRate);
    const bool isFilm = mConforming.mPulldown != PulldownRemoval::kNone;
    const Media::Ratio own = mStreamFacts.mFrameRate;
    Media::Ratio rate = isFilm ? InLowestTerms(own.mNumerator * 4, own.mDenominator * 5) : own;
    norviktypes::FrameRate outputRate = isFilm ? norviktypes::FilmRateOfPulldown(mFrameRate) : mFrameRate;
    if (mConforming.mRate.mNumerator != 0)
    {
        rate = mConforming.mRate;
        outputRate = norviktypes::FrameRate::FromRational(rate.mNumerator, rate.mDenominator);
    }
    mTimes = OutputTimes(length, chainRate, momentRate, outputRate, mConforming.mSpeed, mConforming.mBlends);
    mFrameRate = outputRate;
    // Labels count frames of the file at its speed.
    if (rate != own || mConforming.mSpeed != 1 || mConforming.mInterlacesConsecutive)
    {
        mFacts.mStartTimecode = Media::StartTimecode();
    }
    mFacts.mFrameRate = rate;
    mFacts.mHasFrameGrid = true;
    mFacts.mFrameCount = length == norviktypes::kTime_Zero ? 0 : mTimes.FrameCount();
    mDuration = HasEnd() ? TickTime::FromFrame(mFacts.mFrameCount, mFrameRate) : norviktypes::kTime_Max;
    mFacts.mDuration = mDuration;
}

// The picture keeps its shape: another pixel aspect makes another width, unless a size was given. It is an even one,
// which every encoder takes.
void Clip::DescribeShape()
{
    const norviktypes::PixelAspectRatio own = mStreamFacts.mPixelAspectRatio;
    const double shape = own.AsDouble() * mStreamFacts.mWidth / mStreamFacts.mHeight;
    if (mConforming.mPixelAspectRatio != norviktypes::kPixelAspectRatio_Any)
    {
        mFacts.mPixelAspectRatio = mConforming.mPixelAspectRatio;
        const double width = shape * mStreamFacts.mHeight / mFacts.mPixelAspectRatio.AsDouble();
        mFacts.mWidth = 2 * std::max(1, Rounded(width / 2));
    }
    if (mConforming.mWidth > 0 && mConforming.mHeight > 0)
    {
        mFacts.mWidth = mConforming.mWidth;
        mFacts.mHeight = mConforming.mHeight;
    }
    if (mConforming.mFit != Fit::kStretch)
    {
        const double frameShape = mFacts.mPixelAspectRatio.AsDouble() * mFacts.mWidth / mFacts.mHeight;
        const bool fillsWidth = (shape > frameShape) == (mConforming.mFit == Fit::kInside);
        mPictureWidth = fillsWidth ? 1 : shape / frameShape;
        mPictureHeight = fillsWidth ? frameShape / shape : 1;
    }
}

std::int64_t Clip::FrameAt(const TickTime& inTime) const
{
    if (mConforming.ChangesTime())
    {
        return inTime >= mDuration ? -1 : std::max<std::int64_t>(0, inTime.ToFrame64(mFrameRate));
    }
    const Media::IFrameNumbersRef numbers(mSource);
    return numbers ? numbers->GetFrameNumber(inTime) : -1;
}

TickTime Clip::FrameStart(std::int64_t inNumber) const
{
    if (inNumber <= 0)
    {
        return norviktypes::kTime_Zero;
    }
    if (HasEnd() && inNumber >= FrameCount())
    {
        return mDuration;
    }
    if (mFacts.mHasFrameGrid && mFrameRate.IsCountable())
    {
        return TickTime::FromFrame(inNumber, mFrameRate);
    }
    // Off the grid only the stream knows; its numbers rise with time.
    std::int64_t before = 0;
    std::int64_t after = HasEnd() ? mDuration.GetTicks() : 0;
    while (after - before > 1)
    {
        const std::int64_t middle = before + (after - before) / 2;
        const std::int64_t number = FrameAt(TickTime(middle));
        (number >= 0 && number < inNumber ? before : after) = middle;
    }
    return TickTime(after);
}

// Two different moments ask for the two fields of a frame, not for one picture made of them.
MF::FrameTime Clip::TimeInChain(const TickTime& inTime) const
{
    const TickTime frame(mFrameRate.GetTicks());
    const TickTime field(mFrameRate.GetTicks() / 2);
    switch (mFacts.mFieldType)
    {
    case norviktypes::kFieldType_UpperFirst:
        return {mTimes.ToChain(inTime, field), mTimes.ToChain(inTime + field, field)};
    case norviktypes::kFieldType_LowerFirst:
        return {mTimes.ToChain(inTime + field, field), mTimes.ToChain(inTime, field)};
    default: return MF::FrameTime(mTimes.ToChain(inTime, frame));
    }
}

bool Clip::HasMargins() const noexcept
{
    return mPictureWidth != 1 || mPictureHeight != 1;
}

// Lines of fields stay on lines of the same field.
PictureRect Clip::PictureIn(const RenderRequest& inRequest) const
{
    const auto width = static_cast<std::int32_t>(inRequest.mWidth);
    const auto height = static_cast<std::int32_t>(inRequest.mHeight);
    if (!HasMargins())
    {
        return {0, 0, width, height};
    }
    PictureRect rect;
    rect.mWidth = std::max(2, Rounded(width * mPictureWidth));
    rect.mHeight = std::max(2, Rounded(height * mPictureHeight));
    rect.mLeft = (width - rect.mWidth) / 2;
    rect.mTop = (height - rect.mHeight) / 2;
    if (norviktypes::IsInterlaced(mFacts.mFieldType))
    {
        rect.mHeight += rect.mHeight % 2;
        rect.mTop -= rect.mTop % 2;
    }
    return rect;
}

// Whether the chain works in its planes for inRequest: in light it must not, nor where more than they can hold is asked
// for of what it mixes.
bool Clip::StaysInPlanes(const RenderRequest& inRequest) const noexcept
{
    const std::uint32_t wished = inRequest.mPixelFormat.mProperties;
    const std::uint32_t planes = mChain.mPlanes.mProperties;
    const bool hasRoom = !mChain.mMixesPlanes ||
                         norviktypes::DepthOfProperties(wished) <= norviktypes::DepthOfProperties(planes);
    return mChain.mPlanes != norviktypes::kPixelFormat_Any && hasRoom && !norviktypes::IsLinear(wished) &&
           inRequest.mQuality < norviktypes::kRenderQuality_Max && !HasMargins() &&
           mFacts.mPixelAspectRatio == mStreamFacts.mPixelAspectRatio &&
           inRequest.mWidth == static_cast<std::uint32_t>(mStreamFacts.mWidth) &&
           inRequest.mHeight == static_cast<std::uint32_t>(mStreamFacts.mHeight);
}

// Film is put together of whole frames, which are made smaller afterwards.
RenderRequest Clip::ChainRequest(const RenderRequest& inRequest) const
{
    RenderRequest request = inRequest;
    const PictureRect picture = PictureIn(inRequest);
    request.mWidth = static_cast<std::uint32_t>(picture.mWidth);
    request.mHeight = static_cast<std::uint32_t>(picture.mHeight);
    if (HasMargins())
    {
        request.mPixelFormat = PackedFormatFor(inRequest.mPixelFormat);
    }
    if (mConforming.mPulldown != PulldownRemoval::kNone)
    {
        request.mWidth = static_cast<std::uint32_t>(mStreamFacts.mWidth);
        request.mHeight = static_cast<std::uint32_t>(mStreamFacts.mHeight);
        request.mPixelFormat = mChain.mFilmFormat != norviktypes::kPixelFormat_Any
                                   ? mChain.mFilmFormat
                                   : FilmFormatFor(request.mPixelFormat,
                                                   NeedsPackedFilm(mStreamFacts, mConforming.mSwapsFields));
    }
    if (StaysInPlanes(inRequest))
    {
        request.mPixelFormat = mChain.mPlanes;
    }
    return request;
}

ML::CutlistRenderParams Clip::DescribeRender(const TickTime& inTime, const RenderRequest& inRequest,
                                             Urgency inUrgency) const
{
    const RenderRequest request = ChainRequest(inRequest);
    const bool isFilm = mConforming.mPulldown != PulldownRemoval::kNone;
    const norviktypes::PixelAspectRatio own = mStreamFacts.mPixelAspectRatio;
    ML::CutlistRenderParams params;
    params.mFrameTime = TimeInChain(inTime);
    params.mWidth = request.mWidth;
    params.mHeight = request.mHeight;
    params.mPixelFormat = request.mPixelFormat;
    params.mPixelAspectRatio = isFilm ? own : mFacts.mPixelAspectRatio;
    params.mRenderQuality = inRequest.mQuality;
    params.mDeinterlaceQuality = inRequest.mQuality;
    params.mSourceWidth = static_cast<std::uint32_t>(mStreamFacts.mWidth);
    params.mSourceHeight = static_cast<std::uint32_t>(mStreamFacts.mHeight);
    params.mSourcePixelAspectRatio = own;
    params.mScaleX =
        params.mPixelAspectRatio.AsDouble() * request.mWidth / (own.AsDouble() * mStreamFacts.mWidth);
    params.mScaleY = static_cast<double>(request.mHeight) / mStreamFacts.mHeight;
    params.mFrameRate = mFrameRate;
    params.mFieldType = mFacts.mFieldType;
    params.mRenderFlags = inUrgency == Urgency::kLow ? ML::kRenderFlag_LowPriority : 0;
    // The time that the chain really delivers: what is read ahead must be what is rendered.
    MF::FrameTime conformed;
    mChain.mTop->ConformFrameTime(params.mFrameTime, params, conformed);
    params.mFrameTime = conformed;
    return params;
}

// Turned pictures, fields that are scaled and pictures that are enlarged are made as a whole frame first. A
// conformed frame is made of two or more of the stream, and goes through a whole one.
Workings Clip::WorkingsOf(const RenderRequest& inRequest) const
{
    constexpr double kMostSamples = 128; // of a blend, whatever the speed
    const std::int32_t width = mStreamFacts.mWidth;
    const std::int32_t height = mStreamFacts.mHeight;
    const auto newWidth = static_cast<std::int32_t>(inRequest.mWidth);
    const auto newHeight = static_cast<std::int32_t>(inRequest.mHeight);
    const bool isScaled = width != newWidth || height != newHeight;
    const bool isEnlarged = width < newWidth || height < newHeight;
    const bool isByWhole = mStreamFacts.mRotation != 0 || isEnlarged ||
                           (isScaled && mStreamFacts.mFieldType != norviktypes::kFieldType_Progressive);
    const auto blended = static_cast<std::uint64_t>(std::min(kMostSamples, std::ceil(mTimes.FramesForOne())));
    return {mChain.mLinks.size() > 1 ? 2 + blended : isByWhole ? 1u : 0u, width, height};
}

OrderID Clip::Order(const TickTime& inTime, const RenderRequest& inRequest, Urgency inUrgency,
                    const ReadAnswer& inAnswer) const
{
    return OrderRead(mChain.mTop, DescribeRender(inTime, inRequest, inUrgency), inAnswer);
}

MF::IVideoFrameRef Clip::Render(const TickTime& inTime, const RenderRequest& inRequest, const ReadHold&) const
{
    return Render(inTime, inRequest);
}

MF::IVideoFrameRef Clip::Render(const TickTime& inTime, const RenderRequest& inRequest) const
{
    const ML::CutlistRenderParams params = DescribeRender(inTime, inRequest, Urgency::kNormal);
    MF::IVideoFrameRef frame;
    mChain.mTop->Render(params, params, frame);
    if (!frame)
    {
        throw ML::RenderRequestException(VF::kFrameStatus_OutOfMemory);
    }
    if (!mConforming.IsEmpty() && !mStreamFacts.mIsStill && frame->GetFieldType() != mFacts.mFieldType)
    {
        frame = VF::MakeWriteableVideoFrame(frame, inRequest.mQuality);
        if (!frame)
        {
            throw ML::RenderRequestException(VF::kFrameStatus_OutOfMemory);
        }
        frame->SetFieldType(mFacts.mFieldType);
    }
    return FinishFrame(frame, inRequest);
}

// Streams never enlarge, and may deliver a format of their own.
MF::IVideoFrameRef Clip::FinishFrame(const MF::IVideoFrameRef& inFrame, const RenderRequest& inRequest) const
{
    const auto check = [](std::int32_t inStatus)
    {
        if (inStatus < 0)
        {
            throw ML::RenderRequestException(inStatus);
        }
    };
    MF::IVideoFrameRef shaped;
    if (!HasMargins())
    {
        check(ShapePicture(inFrame, inRequest, shaped));
        return shaped;
    }
    const PictureRect rect = PictureIn(inRequest);
    const RenderRequest picture{static_cast<std::uint32_t>(rect.mWidth),
                                static_cast<std::uint32_t>(rect.mHeight),
                                PackedFormatFor(inRequest.mPixelFormat), inRequest.mQuality};
    check(ShapePicture(inFrame, picture, shaped));
    MF::IVideoFrameRef whole;
    check(VF::CreateVideoFrame(whole, picture.mPixelFormat, inRequest.mWidth, inRequest.mHeight,
                               mFacts.mPixelAspectRatio, true, false));
    whole->SetFieldType(shaped->GetFieldType());
    PlacePicture(shaped, whole, rect.mLeft, rect.mTop);
    MF::IVideoFrameRef finished;
    check(ShapePicture(whole, inRequest, finished));
    return finished;
}

std::string Clip::FieldChange() const
{
    const Media::IFrameFailureRef stream(mSource);
    return stream ? stream->DescribeFieldChange() : std::string();
}

std::string Clip::FailureAt(const TickTime& inTime) const
{
    const Media::IFrameFailureRef failure(mSource);
    const norviktypes::FrameRate streamRate = RateOf(mSource);
    const MF::FrameTime chain = TimeInChain(inTime);
    const TickTime start = mConforming.mInterlacesConsecutive ? chain.Earlier() * 2 : chain.Earlier();
    // A frame may be made of several, any of which may be the one.
    const std::int64_t frames = mConforming.ChangesTime() && streamRate.IsCountable()
                                    ? static_cast<std::int64_t>(std::ceil(mTimes.FramesForOne())) + 2
                                    : 1;
    for (std::int64_t i = 0; failure && i < frames; ++i)
    {
        const std::string text = failure->DescribeFailure(start + TickTime::FromFrame(i, streamRate));
        if (!text.empty())
        {
            return text;
        }
    }
    return mPath + ": frame " + std::to_string(FrameAt(inTime)) + " could not be made";
}

} // namespace Session
