#include "ReferenceHost/Media/Synthetic/SyntheticMedia.h"

#include "ReferenceHost/FrameLibrary/VideoFrame.h"
#include "ReferenceHost/Media/FrameConversion.h"
#include "ReferenceHost/Media/MediaObject.h"
#include "ReferenceHost/Media/Synthetic/SyntheticPainter.h"
#include "ReferenceHost/Media/VideoSourceBase.h"
#include "VF/SharedVideoFrameCache.h"
#include "VF/VideoFrame.h"

#include <utility>

namespace Media
{

namespace
{

// Constant pictures are cheap to draw again: in the shared cache anything else is worth more.
constexpr std::int32_t kConstantPicturePriority = 0;

TVK::Guid ContentIDOf(const SyntheticSettings& inSettings)
{
    const std::string text = SyntheticText(inSettings);
    TVK::HashValue hash("Media::Synthetic");
    hash.Mix(text.data(), text.size());
    return hash.AsGuid();
}

bool HasAlpha(const SyntheticSettings& inSettings)
{
    return inSettings.mKind == SyntheticKind::kColor && inSettings.mColor.Alpha() != 255;
}

norviktypes::PixelFormat NativeFormat(const SyntheticSettings& inSettings)
{
    return HasAlpha(inSettings) ? norviktypes::kPixelFormat_BGRA_4444_8u
                                : norviktypes::kPixelFormat_BGRX_4444_8u;
}

norviktypes::TickTime DurationOf(const SyntheticSettings& inSettings)
{
    return inSettings.mFrameCount == kWithoutEnd
               ? norviktypes::kTime_Max
               : norviktypes::TickTime::FromFrame(inSettings.mFrameCount, inSettings.FrameRate());
}

StreamTraits TraitsOf(const SyntheticSettings& inSettings)
{
    StreamTraits traits;
    traits.mFrameRate = inSettings.FrameRate();
    traits.mBounds = {0, 0, inSettings.mWidth, inSettings.mHeight};
    traits.mPixelAspectRatio = inSettings.mPixelAspectRatio;
    traits.mFieldType = inSettings.mFieldType;
    traits.mAlphaType =
        HasAlpha(inSettings) ? norviktypes::kAlphaChannel_Straight : norviktypes::kAlphaChannel_None;
    traits.mNativeFormats = {NativeFormat(inSettings), norviktypes::kPixelFormat_BGRA_4444_8u};
    traits.mKind = inSettings.mFrameCount == kWithoutEnd ? MF::kSourceKind_Unbounded : MF::kSourceKind_Normal;
    traits.mDuration = DurationOf(inSettings);
    traits.mContentID = ContentIDOf(inSettings);
    return traits;
}

class SyntheticSource final : public VideoSourceBase
{
public:
    explicit SyntheticSource(const SyntheticSettings& inSettings)
        : VideoSourceBase(TraitsOf(inSettings))
        , mSettings(inSettings)
    {
    }

    // Frames are counted however alike they look.
    std::int64_t GetFrameNumber(const norviktypes::TickTime& inTime) const override
    {
        return VideoSourceBase::FrameIndexAt(inTime);
    }

protected:
    // A picture that never changes is one frame for all times, and one entry of every cache.
    std::int64_t FrameIndexAt(const norviktypes::TickTime& inTime) const override
    {
        const std::int64_t index = VideoSourceBase::FrameIndexAt(inTime);
        return index == kNoFrame || IsCounter() ? index : 0;
    }

    std::int32_t MakeFrame(std::int64_t inIndex, const BE::FrameDescription& inFormat, bool,
                           MF::IVideoFrameRef& outFrame) override
    {
        return IsCounter() ? MakeCounterFrame(inIndex, inFormat, outFrame)
                           : MakeConstantFrame(inFormat, outFrame);
    }

private:
    bool IsCounter() const noexcept { return mSettings.mKind == SyntheticKind::kCounter; }

    // Drawn in full and scaled afterwards, since a counter at another size would be another picture.
    std::int32_t MakeCounterFrame(std::int64_t inIndex, const BE::FrameDescription& inFormat,
                                  MF::IVideoFrameRef& outFrame) const
    {
        return DrawAndConvert(Traits().mBounds, inFormat, outFrame,
                              [&](const BGRAPicture& inPicture)
                              { PaintCounter(inPicture, mSettings, inIndex); });
    }

    std::int32_t MakeConstantFrame(const BE::FrameDescription& inFormat, MF::IVideoFrameRef& outFrame) const
    {
        const TVK::Guid key = KeyOfFrame(0, inFormat, MF::BinaryData(), norviktypes::ColorProfile());
        outFrame = VF::SharedVideoFrameCache::RetrieveFromCache(key);
        if (outFrame)
        {
            return BE::kSourceStatus_OK;
        }
        const std::int32_t status = DrawAndConvert(inFormat.mBounds, inFormat, outFrame,
                                                   [&](const BGRAPicture& inPicture)
                                                   {
                                                       mSettings.mKind == SyntheticKind::kBars
                                                           ? PaintBars(inPicture)
                                                           : PaintColor(inPicture, mSettings.mColor);
                                                   });
        if (status >= 0)
        {
            StampFrame(inFormat, outFrame);
            VF::SharedVideoFrameCache::InsertIntoCache(outFrame, key, kConstantPicturePriority);
        }
        return status;
    }

    // inDraw draws a picture of inBounds, which then becomes a frame of inFormat.
    template <class Draw>
    std::int32_t DrawAndConvert(const TVK::Rect& inBounds, const BE::FrameDescription& inFormat,
                                MF::IVideoFrameRef& outFrame, Draw inDraw) const
    {
        const bool isDrawnInPlace = inBounds == inFormat.mBounds &&
                                    (inFormat.mPixelFormat == norviktypes::kPixelFormat_BGRA_4444_8u ||
                                     inFormat.mPixelFormat == NativeFormat(mSettings));
        MF::IVideoFrameRef drawing;
        const std::int32_t status = VF::CreateVideoFrame(
            drawing, isDrawnInPlace ? inFormat.mPixelFormat : NativeFormat(mSettings),
            static_cast<std::uint32_t>(inBounds.Width()), static_cast<std::uint32_t>(inBounds.Height()),
            Traits().mPixelAspectRatio, false, false);
        VF::FramePixels pixels;
        if (status < 0 || !VF::GetFramePixels(drawing, pixels))
        {
            return status < 0 ? SourceStatusOf(status) : BE::kSourceStatus_OutOfMemory;
        }
        inDraw(BGRAPicture{pixels.mPixels, pixels.mRowBytes, inBounds.Width(), inBounds.Height()});
        drawing->SetFieldType(Traits().mFieldType);
        if (isDrawnInPlace)
        {
            outFrame = drawing;
            return BE::kSourceStatus_OK;
        }
        return ConvertFrame(drawing, inFormat, outFrame);
    }

    const SyntheticSettings mSettings;
};

MediaFacts FactsOf(const SyntheticSettings& inSettings)
{
    MediaFacts facts;
    facts.mContainer = "synthetic";
    facts.mCodec = "synthetic";
    facts.mCodedFormat = HasAlpha(inSettings) ? "bgra" : "bgr0";
    facts.mNativeFormat = norviktypes::PixelFormatText(NativeFormat(inSettings));
    facts.mWidth = inSettings.mWidth;
    facts.mHeight = inSettings.mHeight;
    facts.mPixelAspectRatio = inSettings.mPixelAspectRatio;
    facts.mFrameRate = inSettings.mRate;
    facts.mFrameCount = inSettings.mFrameCount;
    facts.mDuration = DurationOf(inSettings);
    facts.mFieldType = inSettings.mFieldType;
    facts.mColor = {"gbr", "bt709", "bt709", "pc", "", false};
    facts.mAlpha = HasAlpha(inSettings) ? "straight" : "none";
    StreamFacts stream;
    stream.mType = "video";
    stream.mCodec = facts.mCodec;
    stream.mDescription = std::to_string(inSettings.mWidth) + "x" + std::to_string(inSettings.mHeight);
    stream.mIsDefault = true;
    facts.mStreams.push_back(std::move(stream));
    return facts;
}

} // namespace

BE::IMediaInfoRef CreateSyntheticMedia(const SyntheticSettings& inSettings)
{
    MediaDescription description;
    description.mPath = SyntheticText(inSettings);
    description.mName = description.mPath.substr(0, description.mPath.find(':'));
    description.mIsFile = false;
    description.mFacts = FactsOf(inSettings);
    description.mMakeSource = [inSettings] { return BE::IVideoSourceRef(new SyntheticSource(inSettings)); };
    description.mContentID = [inSettings] { return ContentIDOf(inSettings); };
    return CreateMediaObject(std::move(description));
}

} // namespace Media
