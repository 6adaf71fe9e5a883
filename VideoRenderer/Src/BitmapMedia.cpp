#include "BitmapMedia.h"

#include "BE/Messages.h"
#include "MF/PixelFormats.h"
#include "TVK/Allocated.h"
#include "TVK/Stations.h"
#include "VF/VideoFrameManipulators.h"
#include "norvik/config/Contract.h"
#include "norvik/threads/Threads.h"

#include <string>
#include <utility>

namespace ML
{

namespace
{

constexpr const char* kFile = "Src/BitmapMedia";

// What a source asks of the media that it reads.
class IBitmapMediaPrivate : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kBitmapMediaPrivate;

    virtual std::int32_t GetFrameAtTime(const norviktypes::TickTime& inTime,
                                        MF::IVideoFrameRef& outFrame) = 0;
    virtual std::int32_t GetFrame(MF::IVideoFrameRef& outFrame) = 0;
};
using IBitmapMediaPrivateRef = TVK::InterfaceRef<IBitmapMediaPrivate>;

// The one stream of a bitmap media. It keeps no state but the media's reference and its own id, which
// is also the key of its frames: one key for all times, so that a cache holds the picture once.
class BitmapSource final : public TVK::Implements<BitmapSource, MF::ISource, BE::IVideoSource>
{
public:
    static TVK::InterfaceRef<BitmapSource> Create(const IBitmapMediaPrivateRef& inBitmapMedia)
    {
        ML_INPUT_CONTRACT(inBitmapMedia, "inBitmapMedia != NULL", kFile,
                          "ML::`anonymous-namespace'::BitmapSource::Create", __LINE__);
        TVK::InterfaceRef<BitmapSource> source(new BitmapSource());
        source->Init(inBitmapMedia);
        return source;
    }

    std::int32_t GetDuration(norviktypes::TickTime& outDuration) const override
    {
        outDuration = norviktypes::kTime_Max;
        return BE::kSourceStatus_OK;
    }
    std::int32_t GetStillKind(std::uint32_t& outKind) const override
    {
        outKind = MF::kSourceKind_Still;
        return BE::kSourceStatus_OK;
    }

    void GetFrameRate(norviktypes::FrameRate& outRate) const override
    {
        outRate = norviktypes::kFrameRate_Zero;
    }
    void GetBounds(TVK::Rect& outBounds) const override
    {
        outBounds = {};
        if (const MF::IVideoFrameRef frame = Frame())
        {
            frame->GetBounds(outBounds);
        }
    }
    std::uint32_t GetStreamCount() const override { return 1; }
    void GetMaxBounds(TVK::Rect& outBounds) const override { GetBounds(outBounds); }
    void GetPixelAspectRatio(norviktypes::PixelAspectRatio& outRatio) const override
    {
        outRatio = {};
        if (const MF::IVideoFrameRef frame = Frame())
        {
            frame->GetPixelAspectRatio(outRatio);
        }
    }
    bool IsDropFrame() const override { return false; }
    norviktypes::FieldType GetFieldType() const override
    {
        const MF::IVideoFrameRef frame = Frame();
        return frame ? frame->GetFieldType() : norviktypes::kFieldType_Progressive;
    }
    norviktypes::FieldType GetFieldTypeForTime(const norviktypes::TickTime&) const override
    {
        return GetFieldType();
    }

    std::uint32_t Query1() const override { return 0; }
    std::uint32_t Query2() const override { return 0; }
    std::uint32_t Query3() const override { return 0; }
    std::uint32_t Query4() const override { return 0; }
    std::uint32_t Query5() const override { return 0; }
    std::uint32_t Query6() const override { return 0; }
    std::uint32_t Query7() const override { return 0; }

    norviktypes::AlphaChannel GetAlphaType() const override
    {
        const MF::IVideoFrameRef frame = Frame();
        return frame ? frame->GetAlphaType() : norviktypes::kAlphaChannel_None;
    }
    void GetNativePixelFormat(std::vector<norviktypes::PixelFormat>& outFormats) const override
    {
        outFormats.assign(1, MF::kPixelFormat_BGRA_4444_8u);
    }
    bool IsImageSource() const override { return false; }

    std::int32_t GetVideoFrame(const norviktypes::TickTime& inTime, const MF::BinaryData&,
                               const norviktypes::TickTime&, const norviktypes::TickTime&,
                               const MF::IVideoFrameRef& ioFrame, norviktypes::RenderQuality inQuality,
                               norviktypes::FieldType, bool, bool, bool, bool, double) override
    {
        MF::IVideoFrameRef frame;
        const std::int32_t status = mMedia->GetFrameAtTime(inTime, frame);
        if (status < 0)
        {
            return status;
        }
        const std::int32_t copied = VF::VideoFrameManipulators::CopyFrame(frame, ioFrame, inQuality);
        return copied < 0 ? copied : status;
    }
    std::int32_t GetCachedFrame(const norviktypes::TickTime&, const BE::FrameDescription&,
                                const MF::BinaryData&, const norviktypes::ColorProfile&,
                                MF::IVideoFrameRef& outFrame) override
    {
        outFrame.reset();
        return -1;
    }
    std::int32_t GetRenderedFrame(const norviktypes::TickTime& inTime, const BE::FrameDescription& inFormat,
                                  const MF::BinaryData& inSettings,
                                  const norviktypes::ColorProfile& inProfile, bool inAtOnce,
                                  MF::IVideoFrameRef& outFrame) override
    {
        return GetRenderedFrameInternal(inTime, inFormat, inSettings, inProfile, inAtOnce, outFrame);
    }
    std::int32_t GetRenderedFrameInternal(const norviktypes::TickTime& inTime, const BE::FrameDescription&,
                                          const MF::BinaryData&, const norviktypes::ColorProfile&, bool,
                                          MF::IVideoFrameRef& outFrame) override
    {
        return mMedia->GetFrameAtTime(inTime, outFrame);
    }
    void GetStartTime(norviktypes::TickTime& outTime) const override { outTime = norviktypes::kTime_Zero; }
    bool CanRenderFrames(const MF::BinaryData&) const override { return true; }

    void NormalizeFormat(norviktypes::TickTime&, BE::FrameDescription& ioFormat,
                         const MF::BinaryData&) override
    {
        GetBounds(ioFormat.mBounds);
        ioFormat.mPixelFormat = MF::kPixelFormat_BGRA_4444_8u;
        ioFormat.mAlphaType = norviktypes::kAlphaChannel_Any;
        GetPixelAspectRatio(ioFormat.mPixelAspectRatio);
        ioFormat.mFieldType = GetFieldType();
        if (const MF::IVideoFrameRef frame = Frame())
        {
            frame->GetPixelFormat(ioFormat.mPixelFormat);
        }
    }

    TVK::Guid GetFrameKey(const norviktypes::TickTime&, const BE::FrameDescription&, const MF::BinaryData&,
                          const norviktypes::ColorProfile&) const override
    {
        return mSourceID;
    }
    TVK::Guid GetFrameKeyInternal(const norviktypes::TickTime&, const BE::FrameDescription&,
                                  const MF::BinaryData&, const norviktypes::ColorProfile&) const override
    {
        return mSourceID;
    }
    // No key with options: whoever needs the frame of a time, from a callback, must not meet a cached one.
    TVK::Guid GetFrameKeyWithOptions(const norviktypes::TickTime&, const BE::FrameDescription&,
                                     const MF::BinaryData&, const norviktypes::TickTime&,
                                     const norviktypes::TickTime&, norviktypes::RenderQuality,
                                     norviktypes::FieldType, bool, bool, bool, double) const override
    {
        return {};
    }
    void GetSourceID(TVK::Guid& outID) const override { outID = mSourceID; }
    void AcquireQuietToken(std::shared_ptr<void>& outToken, bool, bool, bool& outMustUnquiet) override
    {
        outToken.reset();
        outMustUnquiet = false;
    }

private:
    void Init(const IBitmapMediaPrivateRef& inBitmapMedia)
    {
        mMedia = inBitmapMedia;
        mSourceID = TVK::Guid::CreateUnique();
    }

    MF::IVideoFrameRef Frame() const
    {
        MF::IVideoFrameRef frame;
        return mMedia->GetFrame(frame) < 0 ? MF::IVideoFrameRef() : frame;
    }

    IBitmapMediaPrivateRef mMedia;
    TVK::Guid mSourceID;
};

// Messages go out after the unlock; the callback runs under the lock.
class BitmapMedia final
    : public TVK::Implements<BitmapMedia, BE::IMediaInfo, IBitmapMedia, IBitmapMediaPrivate>
{
public:
    BitmapMedia(const MF::IVideoFrameRef& inFrame, BitmapFrameCallback inCallback, std::uint64_t inContext,
                const norvik::WString& inName)
        : mFrame(inFrame)
        , mCallback(inCallback)
        , mContext(inContext)
        , mMediaName(inName)
        , mMediaPath(norvik::utility::ImmutableString::CreateDynamic(
              "bitmap:" + TVK::Guid::CreateUnique().AsUTF8String()))
    {
    }

    void SetFrame(const MF::IVideoFrameRef& inFrame) override
    {
        MF::IVideoFrameRef old;
        {
            const norvik::threads::ScopedLock lock(mMutex, "BitmapMedia::SetFrame");
            old = std::exchange(mFrame, inFrame);
            ++mGeneration;
        }
        PostChanged();
    }

    void SetFrameCallback(BitmapFrameCallback inCallback, std::uint64_t inContext) override
    {
        {
            const norvik::threads::ScopedLock lock(mMutex, "BitmapMedia::SetFrameCallback");
            mCallback = inCallback;
            mContext = inContext;
        }
        if (inCallback)
        {
            PostChanged();
        }
    }

    std::int32_t GetFrameAtTime(const norviktypes::TickTime& inTime, MF::IVideoFrameRef& outFrame) override
    {
        const norvik::threads::ScopedLock lock(mMutex, "BitmapMedia::GetFrameAtTime");
        if (mCallback)
        {
            return mCallback(mContext, inTime, outFrame);
        }
        outFrame = mFrame;
        return BE::kSourceStatus_OK;
    }

    std::int32_t GetFrame(MF::IVideoFrameRef& outFrame) override
    {
        const norvik::threads::ScopedLock lock(mMutex, "BitmapMedia::GetFrame");
        outFrame = mFrame;
        return BE::kSourceStatus_OK;
    }

    BE::MediaAvailability GetAvailability() const override { return BE::MediaAvailability::kOnline; }
    bool HasMediaType(const TVK::Guid& inType) const override { return inType == MF::kMediaType_Video; }

    MF::ISourceRef GetStream(const TVK::Guid& inType, std::uint32_t inIndex) override
    {
        constexpr const char* kFunction = "ML::`anonymous-namespace'::BitmapMedia::GetStream";
        ML_INPUT_CONTRACT(inType == MF::kMediaType_Video, "inType == MF::kMediaType_Video", kFile, kFunction,
                          __LINE__);
        ML_INPUT_CONTRACT(inIndex == 0, "inIndex == 0", kFile, kFunction, __LINE__);
        return MakeSource();
    }

    MF::ISourceRef CreateSourceForStream(const TVK::Guid& inType, std::uint32_t inIndex) override
    {
        constexpr const char* kFunction = "ML::`anonymous-namespace'::BitmapMedia::CreateSourceForStream";
        ML_INPUT_CONTRACT(inType == MF::kMediaType_Video, "inType == MF::kMediaType_Video", kFile, kFunction,
                          __LINE__);
        ML_INPUT_CONTRACT(inIndex == 0, "inIndex == 0", kFile, kFunction, __LINE__);
        return MakeSource();
    }

    void GetStreamGroupIndices(std::uint32_t inGroupIndex,
                               std::vector<std::uint32_t>& outIndices) const override
    {
        ML_INPUT_CONTRACT(inGroupIndex == 0, "inGroupIndex == 0", kFile,
                          "ML::`anonymous-namespace'::BitmapMedia::GetStreamGroupIndices", __LINE__);
        outIndices.assign(1, 0);
    }

    void GetTitle(std::uint32_t inStreamGroup, norvik::WString& outTitle) const override
    {
        ML_INPUT_CONTRACT(inStreamGroup == 0, "inStreamGroup == 0", kFile,
                          "ML::`anonymous-namespace'::BitmapMedia::GetTitle", __LINE__);
        outTitle = mMediaName;
    }

    norvik::WString GetName() const override { return mMediaName; }
    norvik::utility::ImmutableString GetPath() const override { return mMediaPath; }
    bool IsFileSource() const override { return false; }
    bool IsStill() const override { return true; }
    norviktypes::TickTime GetStartTimecode() const override { return norviktypes::kTime_Zero; }
    norviktypes::ColorProfile GetColorProfile() const override { return {}; }

    // A callback may yield anything, so media with one is never equal to itself between two queries.
    norvik::UTF8String GetContentHash() override
    {
        const norvik::threads::ScopedLock lock(mMutex, "BitmapMedia::GetContentHash");
        if (mCallback)
        {
            ++mGeneration;
        }
        return mMediaPath.ToString() + std::to_string(mGeneration).c_str();
    }

    BE::IMediaInfoRef Clone() override
    {
        const norvik::threads::ScopedLock lock(mMutex, "BitmapMedia::Clone");
        return Self<BE::IMediaInfo>(new BitmapMedia(mFrame, mCallback, mContext, mMediaName));
    }

private:
    template <class Interface, class Object>
    static TVK::InterfaceRef<Interface> Self(Object* inObject)
    {
        return TVK::InterfaceRef<Interface>(static_cast<Interface*>(inObject));
    }

    MF::ISourceRef MakeSource()
    {
        return MF::ISourceRef(BitmapSource::Create(Self<IBitmapMediaPrivate>(this)));
    }

    void PostChanged()
    {
        static const norvik::utility::ImmutableString sStation =
            norvik::utility::ImmutableString::CreateStatic(BE::kMediaInfoStation);
        const TVK::MessageRef message(new BE::MediaInfoChangedMessage(Self<BE::IMediaInfo>(this)));
        TVK::StationUtils::PostMessageToUIThread(sStation, message, 0);
    }

    MF::IVideoFrameRef mFrame VR_GUARDED_BY(mMutex);
    BitmapFrameCallback mCallback VR_GUARDED_BY(mMutex);
    std::uint64_t mContext VR_GUARDED_BY(mMutex);
    const norvik::WString mMediaName;
    const norvik::utility::ImmutableString mMediaPath;
    std::uint32_t mGeneration VR_GUARDED_BY(mMutex) = 0;
    mutable norvik::threads::RecursiveMutex mMutex;
};

} // namespace

BE::IMediaInfoRef CreateBitmapMedia(const MF::IVideoFrameRef& inVideoFrame, BitmapFrameCallback inCallback,
                                    std::uint64_t inContext, const norvik::WString& inName)
{
    ML_INPUT_CONTRACT(inVideoFrame, "inVideoFrame != NULL", kFile, "ML::CreateBitmapMedia", __LINE__);
    const TVK::InterfaceRef<BitmapMedia> media(new BitmapMedia(inVideoFrame, inCallback, inContext, inName));
    return BE::IMediaInfoRef(media);
}

} // namespace ML
