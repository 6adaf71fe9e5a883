#include "ReferenceHost/Media/Stills/StillMedia.h"

#include "ReferenceHost/Media/FFmpeg/StillDecoder.h"
#include "ReferenceHost/Media/FileIdentity.h"
#include "ReferenceHost/Media/FrameConversion.h"
#include "ReferenceHost/Media/MediaObject.h"
#include "ReferenceHost/Media/VideoSourceBase.h"
#include "VF/SharedVideoFrameCache.h"

#include <memory>
#include <mutex>
#include <utility>

namespace Media
{

namespace
{

// A still serves every frame of its clip, so it is worth keeping longer than a frame of a movie.
constexpr std::int32_t kPicturePriority = 2;
constexpr std::int32_t kConvertedPriority = 1;

// What all sources of one still share: the decoder, and the lock under which one of them decodes for all.
struct SharedStill
{
    std::string mPath;
    std::shared_ptr<const StillDecoder> mDecoder;
    TVK::Guid mContentID;

    std::mutex mDecodeLock; // held while decoding; guards mFailure
    std::string mFailure;
};

StreamTraits TraitsOf(const SharedStill& inStill)
{
    const MediaFacts& facts = inStill.mDecoder->Facts();
    StreamTraits traits;
    traits.mFrameRate = norviktypes::kFrameRate_Zero;
    traits.mBounds = {0, 0, facts.mWidth, facts.mHeight};
    traits.mPixelAspectRatio = facts.mPixelAspectRatio;
    traits.mAlphaType =
        inStill.mDecoder->HasAlpha() ? norviktypes::kAlphaChannel_Straight : norviktypes::kAlphaChannel_None;
    traits.mHasNoFrameGrid = true;
    traits.mNativeFormats = {inStill.mDecoder->NativeFormat()};
    traits.mKind = MF::kSourceKind_Still;
    traits.mDuration = norviktypes::kTime_Max;
    traits.mContentID = inStill.mContentID;
    return traits;
}

class StillSource final : public VideoSourceBase
{
public:
    explicit StillSource(std::shared_ptr<SharedStill> inStill)
        : VideoSourceBase(TraitsOf(*inStill))
        , mStill(std::move(inStill))
    {
    }

    std::string DescribeFailure(const norviktypes::TickTime&) const override
    {
        const std::lock_guard<std::mutex> lock(mStill->mDecodeLock);
        return mStill->mFailure;
    }

    // The picture as the file has it, frozen.
    std::int32_t GetPicture(bool inAtOnce, MF::IVideoFrameRef& outFrame) const
    {
        const BE::FrameDescription native = NativeDescription();
        const TVK::Guid key = PlainKey(native);
        outFrame = VF::SharedVideoFrameCache::RetrieveFromCache(key);
        if (outFrame || inAtOnce)
        {
            return outFrame ? BE::kSourceStatus_OK : kSourceStatus_NotAtHand;
        }
        const std::lock_guard<std::mutex> lock(mStill->mDecodeLock);
        outFrame = VF::SharedVideoFrameCache::RetrieveFromCache(key);
        if (outFrame)
        {
            return BE::kSourceStatus_OK;
        }
        const std::int32_t status =
            mStill->mDecoder->Decode(mStill->mPath, native, outFrame, mStill->mFailure);
        if (status >= 0)
        {
            mStill->mFailure.clear();
            StampFrame(native, outFrame);
            VF::SharedVideoFrameCache::InsertIntoCache(outFrame, key, kPicturePriority);
        }
        return status;
    }

protected:
    std::int32_t MakeFrame(std::int64_t, const BE::FrameDescription& inFormat, bool inAtOnce,
                           MF::IVideoFrameRef& outFrame) override
    {
        if (inFormat.mPixelFormat == Traits().mNativeFormats.front() && inFormat.mBounds == Traits().mBounds)
        {
            return GetPicture(inAtOnce, outFrame);
        }
        const TVK::Guid key = PlainKey(inFormat);
        outFrame = VF::SharedVideoFrameCache::RetrieveFromCache(key);
        if (outFrame)
        {
            return BE::kSourceStatus_OK;
        }
        MF::IVideoFrameRef picture;
        std::int32_t status = GetPicture(inAtOnce, picture);
        status = status < 0 ? status : ConvertFrame(picture, inFormat, outFrame);
        if (status >= 0)
        {
            StampFrame(inFormat, outFrame);
            VF::SharedVideoFrameCache::InsertIntoCache(outFrame, key, kConvertedPriority);
        }
        return status;
    }

private:
    BE::FrameDescription NativeDescription() const
    {
        BE::FrameDescription description;
        description.mPixelFormat = Traits().mNativeFormats.front();
        description.mBounds = Traits().mBounds;
        ConformDescription(description);
        return description;
    }

    // Settings and profiles change nothing of a still, so all of them share one entry.
    TVK::Guid PlainKey(const BE::FrameDescription& inFormat) const
    {
        return KeyOfFrame(0, inFormat, MF::BinaryData(), norviktypes::ColorProfile());
    }

    const std::shared_ptr<SharedStill> mStill;
};

std::string NameOf(const std::string& inPath)
{
    const std::size_t slash = inPath.rfind('/');
    return slash == std::string::npos ? inPath : inPath.substr(slash + 1);
}

} // namespace

BE::IMediaInfoRef OpenStillMedia(const std::string& inPath, OpenError& outError)
{
    auto still = std::make_shared<SharedStill>();
    still->mPath = inPath;
    still->mContentID = ContentIDOfFile(inPath, "still");
    still->mDecoder = StillDecoder::Open(inPath, outError);
    if (!still->mDecoder)
    {
        return nullptr;
    }
    MediaDescription description;
    description.mName = NameOf(inPath);
    description.mPath = inPath;
    description.mFacts = still->mDecoder->Facts();
    description.mMakeSource = [still] { return BE::IVideoSourceRef(new StillSource(still)); };
    description.mContentID = [path = inPath] { return ContentIDOfFile(path, "still"); };
    return CreateMediaObject(std::move(description));
}

} // namespace Media
