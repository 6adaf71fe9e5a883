#include "ReferenceHost/FrameLibrary/VideoFrame.h"

#include "ReferenceHost/FrameLibrary/ClearPixels.h"
#include "ReferenceHost/FrameLibrary/FramePool.h"
#include "ReferenceHost/FrameLibrary/PixelMaker.h"
#include "TVK/Allocated.h"
#include "VF/VideoFrame.h"
#include "VF/VideoFrameManipulators.h"

#include <atomic>
#include <cassert>
#include <mutex>
#include <new>
#include <utility>

namespace VF
{

namespace
{

using norviktypes::AlphaChannel;
using norviktypes::FieldType;
using norviktypes::PixelAspectRatio;
using norviktypes::PixelFormat;

// What a frame is made of. Row bytes fit 31 bits because frames are limited.
struct FrameShape
{
    PixelFormat mFormat;
    std::uint32_t mWidth = 0;
    std::uint32_t mHeight = 0;
    FrameGeometry mGeometry;
};

// Memory that somebody else keeps.
struct ForeignPixels
{
    std::uint8_t* mPixels = nullptr;
    std::shared_ptr<const void> mOwner;
};

class VideoFrame final : public TVK::Implements<VideoFrame, MF::IVideoFrame, IVideoFramePixels,
                                                IVideoFrameRaster, IVideoFrameSubstitute>
{
public:
    VideoFrame(const FrameShape& inShape, const PixelAspectRatio& inRatio, FrameBufferRef inBuffer,
               PixelMakerPtr inMaker = nullptr, ForeignPixels inForeign = {}) noexcept
        : mShape(inShape)
        , mBuffer(std::move(inBuffer))
        , mForeign(std::move(inForeign))
        , mRatio(inRatio)
        , mAlphaType(static_cast<AlphaChannel>(norviktypes::ToneOfProperties(inShape.mFormat.mProperties)))
        , mMaker(std::move(inMaker))
        , mIsPending(mMaker != nullptr)
        , mMakerHoldsPicture(!mMaker || mMaker->HoldsPicture())
        , mHasWholeAlpha(mMaker && mMaker->HasWholeAlpha())
    {
    }

    void GetBounds(TVK::Rect& outBounds) const override { outBounds = Bounds(); }
    bool SupportsTargetBounds(const TVK::Rect& inBounds) const override;
    void GetPixelAspectRatio(PixelAspectRatio& outRatio) const override { outRatio = mRatio; }
    void GetPixelFormat(PixelFormat& outFormat) const override { outFormat = mShape.mFormat; }
    bool IsFrozen() const override { return mFrozen.load(std::memory_order_acquire); }
    void Freeze() override { mFrozen.store(true, std::memory_order_release); }
    FieldType GetFieldType() const override { return mFieldType; }
    void SetFieldType(FieldType inType) override { Writeable().mFieldType = inType; }
    AlphaChannel GetAlphaType() const override { return mAlphaType; }
    bool MayHaveTransparency() const override;
    void GetOrigin(TVK::Point& outOrigin) const override { outOrigin = mOrigin; }
    bool GetContentRect(TVK::Rect& outRect) const override;
    void SetContentRect(const TVK::Rect& inRect) override;
    void ClearContentRect() override { Writeable().mHasContentRect = false; }
    void SetPixelAspectRatio(const PixelAspectRatio& inRatio) override { Writeable().mRatio = inRatio; }
    void SetAlphaType(AlphaChannel inType) override { Writeable().mAlphaType = inType; }
    void SetOrigin(const TVK::Point& inOrigin) override { Writeable().mOrigin = inOrigin; }
    std::int32_t CreateCompatibleFrame(MF::IVideoFrameRef& outFrame) const override;
    void SetRenderMilliseconds(std::uint32_t inMilliseconds) override
    {
        mRenderMilliseconds.store(inMilliseconds, std::memory_order_relaxed);
    }
    std::uint32_t GetRenderMilliseconds() const override
    {
        return mRenderMilliseconds.load(std::memory_order_relaxed);
    }
    bool IsPremultiplied() const override;

    void* GetPixels() const override
    {
        std::uint8_t* pixels = PixelsToDrawOn();
        if (!IsFrozen())
        {
            ForgetWholeAlpha(); // whoever asks may write
        }
        return pixels;
    }
    std::uint32_t GetRowBytesUnsigned() const override { return static_cast<std::uint32_t>(RowBytes()); }
    std::int32_t GetRowBytes() const override { return static_cast<std::int32_t>(RowBytes()); }
    std::int32_t GetPixelStride() const override;

    void SetSubstitute(bool inIsSubstitute) override { Writeable().mIsSubstitute = inIsSubstitute; }
    bool IsSubstitute() const override { return mIsSubstitute; }

    PixelMakerPtr PendingMaker() const;
    bool SetPendingMaker(const PixelMakerPtr& inMaker);
    std::uint8_t* PixelsToDrawOn() const
    {
        const bool areThere = !mIsPending.load(std::memory_order_acquire) || MakePixels();
        return !areThere          ? nullptr
               : mForeign.mPixels ? mForeign.mPixels
                                  : static_cast<std::uint8_t*>(mBuffer.Data());
    }
    bool HoldsPicture() const noexcept
    {
        return !mIsPending.load(std::memory_order_acquire) ||
               mMakerHoldsPicture.load(std::memory_order_relaxed);
    }
    bool HasWholeAlpha() const noexcept { return mHasWholeAlpha.load(std::memory_order_relaxed); }
    void ForgetWholeAlpha() const noexcept
    {
        if (HasWholeAlpha())
        {
            mHasWholeAlpha.store(false, std::memory_order_relaxed);
        }
    }
    void NoteWholeAlpha() noexcept { mHasWholeAlpha.store(true, std::memory_order_relaxed); }
    MF::IVideoFrameRef SharedAs(const PixelFormat& inFormat) const;

private:
    bool MakePixels() const;
    TVK::Rect Bounds() const noexcept
    {
        return {0, 0, static_cast<std::int32_t>(mShape.mWidth), static_cast<std::int32_t>(mShape.mHeight)};
    }
    std::uint64_t RowBytes() const noexcept { return mShape.mGeometry.mPlanes[0].mRowBytes; }

    // Others read a frozen frame without a lock.
    VideoFrame& Writeable() noexcept
    {
        assert(!IsFrozen() && "a frozen frame is written to");
        return *this;
    }

    const FrameShape mShape;
    mutable FrameBufferRef mBuffer; // written once, before the frame stops to be pending
    const ForeignPixels mForeign;   // instead of it
    PixelAspectRatio mRatio;
    FieldType mFieldType = norviktypes::kFieldType_Progressive;
    AlphaChannel mAlphaType;
    TVK::Point mOrigin{-1, -1};
    TVK::Rect mContentRect;
    bool mHasContentRect = false;
    bool mIsSubstitute = false;
    std::atomic<bool> mFrozen{false};
    std::atomic<std::uint32_t> mRenderMilliseconds{0};

    mutable std::mutex mMakingLock;
    mutable PixelMakerPtr mMaker; // guarded by the lock; null once there are pixels
    mutable std::atomic<bool> mIsPending;
    std::atomic<bool> mMakerHoldsPicture;
    mutable std::atomic<bool> mHasWholeAlpha; // what is known
};

// Whoever comes while the pixels are made waits for them. What is never looked at takes no memory.
bool VideoFrame::MakePixels() const
{
    const std::lock_guard<std::mutex> lock(mMakingLock);
    if (mMaker)
    {
        FrameBufferRef buffer = FramePool::Instance().Acquire(mShape.mGeometry.mTotalBytes);
        if (!buffer ||
            mMaker->MakeRows(0, mShape.mHeight, static_cast<std::uint8_t*>(buffer.Data()), GetRowBytes()) < 0)
        {
            return false;
        }
        mBuffer = std::move(buffer);
        mMaker.reset();
        mIsPending.store(false, std::memory_order_release);
    }
    return true;
}

PixelMakerPtr VideoFrame::PendingMaker() const
{
    if (!mIsPending.load(std::memory_order_acquire))
    {
        return nullptr;
    }
    const std::lock_guard<std::mutex> lock(mMakingLock);
    return mMaker;
}

bool VideoFrame::SetPendingMaker(const PixelMakerPtr& inMaker)
{
    const std::lock_guard<std::mutex> lock(mMakingLock);
    if (!mMaker || IsFrozen())
    {
        return false;
    }
    mMaker = inMaker;
    mMakerHoldsPicture.store(inMaker->HoldsPicture(), std::memory_order_relaxed);
    mHasWholeAlpha.store(inMaker->HasWholeAlpha(), std::memory_order_relaxed);
    return true;
}

MF::IVideoFrameRef VideoFrame::SharedAs(const PixelFormat& inFormat) const
{
    FrameShape shape = mShape;
    shape.mFormat = inFormat;
    return PixelsToDrawOn() ? MF::IVideoFrameRef(new VideoFrame(shape, mRatio, mBuffer, nullptr, mForeign))
                            : MF::IVideoFrameRef();
}

bool VideoFrame::SupportsTargetBounds(const TVK::Rect& inBounds) const
{
    const TVK::Rect bounds = Bounds();
    return inBounds == bounds ||
           (mIsSubstitute && inBounds.Width() <= bounds.Width() && inBounds.Height() <= bounds.Height());
}

bool VideoFrame::MayHaveTransparency() const
{
    return mAlphaType != norviktypes::kAlphaChannel_None && mAlphaType != norviktypes::kAlphaChannel_Opaque;
}

bool VideoFrame::IsPremultiplied() const
{
    return mAlphaType == norviktypes::kAlphaChannel_Premultiplied ||
           norviktypes::ToneOfProperties(mShape.mFormat.mProperties) ==
               norviktypes::kAlphaChannel_Premultiplied;
}

bool VideoFrame::GetContentRect(TVK::Rect& outRect) const
{
    if (mHasContentRect)
    {
        outRect = mContentRect;
    }
    return mHasContentRect;
}

void VideoFrame::SetContentRect(const TVK::Rect& inRect)
{
    Writeable().mContentRect = inRect;
    mHasContentRect = true;
}

std::int32_t VideoFrame::GetPixelStride() const
{
    const std::uint32_t properties = mShape.mFormat.mProperties;
    const bool hasStride =
        norviktypes::IsPackedFourComponent(properties) || norviktypes::IsPacked422(properties);
    return hasStride ? static_cast<std::int32_t>(norviktypes::BytesPerPixel(properties)) : 0;
}

bool ComputeShape(const PixelFormat& inFormat, std::uint32_t inWidth, std::uint32_t inHeight,
                  FrameShape& outShape)
{
    if (inWidth > kMaximumFrameSide || inHeight > kMaximumFrameSide)
    {
        return false;
    }
    outShape.mFormat = inFormat;
    outShape.mWidth = inWidth;
    outShape.mHeight = inHeight;
    return GetFrameGeometry(inFormat, RowBytesOfFrame(inFormat, inWidth), inWidth, inHeight,
                            outShape.mGeometry) &&
           outShape.mGeometry.mTotalBytes <= kMaximumFrameBytes;
}

// An empty buffer where a maker is given.
std::int32_t FrameOver(const FrameShape& inShape, const PixelAspectRatio& inRatio, FrameBufferRef inBuffer,
                       const PixelMakerPtr& inMaker, MF::IVideoFrameRef& outFrame)
{
    try
    {
        outFrame = MF::IVideoFrameRef(new VideoFrame(inShape, inRatio, std::move(inBuffer), inMaker));
    }
    catch (const std::bad_alloc&)
    {
        return kFrameStatus_OutOfMemory;
    }
    return kFrameStatus_OK;
}

std::int32_t NewFrame(const FrameShape& inShape, const PixelAspectRatio& inRatio,
                      MF::IVideoFrameRef& outFrame)
{
    FrameBufferRef buffer = FramePool::Instance().Acquire(inShape.mGeometry.mTotalBytes);
    return buffer ? FrameOver(inShape, inRatio, std::move(buffer), nullptr, outFrame)
                  : kFrameStatus_OutOfMemory;
}

std::int32_t VideoFrame::CreateCompatibleFrame(MF::IVideoFrameRef& outFrame) const
{
    outFrame.reset();
    // Its own: somebody else's rows may lie closer than those of a frame that is written to.
    FrameShape shape;
    if (!ComputeShape(mShape.mFormat, mShape.mWidth, mShape.mHeight, shape))
    {
        return kFrameStatus_BadArgument;
    }
    MF::IVideoFrameRef frame;
    const std::int32_t status = NewFrame(shape, mRatio, frame);
    if (status >= 0)
    {
        frame->SetFieldType(mFieldType);
        frame->SetAlphaType(mAlphaType);
        outFrame = std::move(frame);
    }
    return status;
}

} // namespace

std::int32_t CreateVideoFrame(MF::IVideoFrameRef& outFrame, const PixelFormat& inFormat,
                              std::uint32_t inWidth, std::uint32_t inHeight, const PixelAspectRatio& inRatio,
                              bool inClear, bool inClearAlpha)
{
    outFrame.reset();
    FrameShape shape;
    if (!ComputeShape(inFormat, inWidth, inHeight, shape))
    {
        return kFrameStatus_BadArgument;
    }
    MF::IVideoFrameRef frame;
    const std::int32_t status = NewFrame(shape, inRatio, frame);
    if (status < 0)
    {
        return status;
    }
    if (inClear)
    {
        FramePixels pixels;
        GetFramePixels(frame, pixels);
        ClearPixels(pixels, inClearAlpha);
    }
    outFrame = std::move(frame);
    return kFrameStatus_OK;
}

std::int32_t CreatePendingFrame(MF::IVideoFrameRef& outFrame, const PixelFormat& inFormat,
                                std::uint32_t inWidth, std::uint32_t inHeight,
                                const PixelAspectRatio& inRatio, const PixelMakerPtr& inMaker)
{
    outFrame.reset();
    FrameShape shape;
    return norviktypes::IsPackedFourComponent(inFormat.mProperties) &&
                   ComputeShape(inFormat, inWidth, inHeight, shape)
               ? FrameOver(shape, inRatio, FrameBufferRef(), inMaker, outFrame)
               : kFrameStatus_BadArgument;
}

std::int32_t CreateFrameOver(MF::IVideoFrameRef& outFrame, const PixelFormat& inFormat, std::uint32_t inWidth,
                             std::uint32_t inHeight, const PixelAspectRatio& inRatio, FieldType inFieldType,
                             const std::uint8_t* inPixels, std::uint32_t inRowBytes,
                             std::shared_ptr<const void> inOwner)
{
    FrameShape shape;
    if (!inPixels || !ComputeShape(inFormat, inWidth, inHeight, shape) ||
        !GetFrameGeometry(inFormat, inRowBytes, inWidth, inHeight, shape.mGeometry))
    {
        return kFrameStatus_BadArgument;
    }
    try
    {
        // Nobody writes to it, as it is frozen before anybody sees it.
        const ForeignPixels foreign{const_cast<std::uint8_t*>(inPixels), std::move(inOwner)};
        MF::IVideoFrameRef frame(new VideoFrame(shape, inRatio, FrameBufferRef(), nullptr, foreign));
        frame->SetFieldType(inFieldType);
        frame->Freeze();
        outFrame = std::move(frame);
    }
    catch (const std::bad_alloc&)
    {
        return kFrameStatus_OutOfMemory;
    }
    return kFrameStatus_OK;
}

PixelMakerPtr PendingMakerOf(const MF::IVideoFrameRef& inFrame)
{
    const auto* frame = dynamic_cast<const VideoFrame*>(inFrame.get());
    return frame ? frame->PendingMaker() : nullptr;
}

bool SetPendingMaker(const MF::IVideoFrameRef& ioFrame, const PixelMakerPtr& inMaker)
{
    auto* frame = dynamic_cast<VideoFrame*>(ioFrame.get());
    return frame && frame->SetPendingMaker(inMaker);
}

std::uint8_t* PixelsToDrawOn(const MF::IVideoFrameRef& inFrame)
{
    const auto* frame = dynamic_cast<const VideoFrame*>(inFrame.get());
    return frame ? frame->PixelsToDrawOn()
                 : static_cast<std::uint8_t*>(IVideoFramePixelsRef(inFrame)->GetPixels());
}

void ForgetWholeAlpha(const MF::IVideoFrameRef& ioFrame)
{
    if (const auto* frame = dynamic_cast<const VideoFrame*>(ioFrame.get()))
    {
        frame->ForgetWholeAlpha();
    }
}

bool HoldsPicture(const MF::IVideoFrameRef& inFrame)
{
    const auto* frame = dynamic_cast<const VideoFrame*>(inFrame.get());
    return !frame || frame->HoldsPicture();
}

void NoteWholeAlpha(const MF::IVideoFrameRef& ioFrame)
{
    if (auto* frame = dynamic_cast<VideoFrame*>(ioFrame.get()))
    {
        frame->NoteWholeAlpha();
    }
}

bool IsKnownToHaveWholeAlpha(const MF::IVideoFrameRef& inFrame)
{
    const auto* frame = dynamic_cast<const VideoFrame*>(inFrame.get());
    return frame && frame->HasWholeAlpha();
}

MF::IVideoFrameRef ShareWithoutAlpha(const MF::IVideoFrameRef& inFrame, const PixelFormat& inFormat)
{
    const auto* frame = dynamic_cast<const VideoFrame*>(inFrame.get());
    FramePixels pixels;
    const bool isPlain = frame && GetFrameShape(inFrame, pixels);
    pixels.mPixels = isPlain ? frame->PixelsToDrawOn() : nullptr;
    const bool isShared = pixels.mPixels && (frame->HasWholeAlpha() || HasWholeAlpha(pixels));
    const MF::IVideoFrameRef shared = isShared ? frame->SharedAs(inFormat) : MF::IVideoFrameRef();
    if (shared)
    {
        const AlphaChannel alphaOfFormat = shared->GetAlphaType();
        CopyFrameAttributes(inFrame, shared);
        shared->SetAlphaType(alphaOfFormat);
        inFrame->Freeze();
        shared->Freeze();
    }
    return shared;
}

MF::IVideoFrameRef MakeWriteableVideoFrame(const MF::IVideoFrameRef& inFrame,
                                           norviktypes::RenderQuality inQuality)
{
    if (!inFrame->IsFrozen())
    {
        return inFrame;
    }
    MF::IVideoFrameRef copy;
    const bool isCopied = inFrame->CreateCompatibleFrame(copy) >= 0 &&
                          VideoFrameManipulators::CopyFrame(inFrame, copy, inQuality) >= 0;
    if (!isCopied)
    {
        return {};
    }
    CopyFrameAttributes(inFrame, copy);
    return copy;
}

bool GetFrameShape(const MF::IVideoFrameRef& inFrame, FramePixels& outShape)
{
    TVK::Rect bounds;
    inFrame->GetBounds(bounds);
    inFrame->GetPixelFormat(outShape.mFormat);
    const IVideoFrameRasterRef raster(inFrame);
    if (!IVideoFramePixelsRef(inFrame) || !raster || bounds.IsEmpty() || raster->GetRowBytes() <= 0)
    {
        return false;
    }
    outShape.mPixels = nullptr;
    outShape.mRowBytes = raster->GetRowBytes();
    outShape.mWidth = static_cast<std::uint32_t>(bounds.Width());
    outShape.mHeight = static_cast<std::uint32_t>(bounds.Height());
    return GetFrameGeometry(outShape.mFormat, static_cast<std::uint64_t>(outShape.mRowBytes), outShape.mWidth,
                            outShape.mHeight, outShape.mGeometry);
}

bool GetFramePixels(const MF::IVideoFrameRef& inFrame, FramePixels& outPixels)
{
    if (!GetFrameShape(inFrame, outPixels))
    {
        return false;
    }
    outPixels.mPixels = static_cast<std::uint8_t*>(IVideoFramePixelsRef(inFrame)->GetPixels());
    return outPixels.mPixels != nullptr;
}

namespace
{

void CopyContentRect(const MF::IVideoFrameRef& inSource, const MF::IVideoFrameRef& inTarget)
{
    TVK::Rect content;
    if (inSource->GetContentRect(content))
    {
        inTarget->SetContentRect(content);
    }
    else
    {
        inTarget->ClearContentRect();
    }
}

void CopySubstitute(const MF::IVideoFrameRef& inSource, const MF::IVideoFrameRef& inTarget)
{
    const IVideoFrameSubstituteRef source(inSource);
    const IVideoFrameSubstituteRef target(inTarget);
    if (source && target)
    {
        target->SetSubstitute(source->IsSubstitute());
    }
}

} // namespace

void CopyFrameAttributes(const MF::IVideoFrameRef& inSource, const MF::IVideoFrameRef& inTarget)
{
    PixelAspectRatio ratio;
    inSource->GetPixelAspectRatio(ratio);
    inTarget->SetPixelAspectRatio(ratio);
    inTarget->SetFieldType(inSource->GetFieldType());
    inTarget->SetAlphaType(inSource->GetAlphaType());
    TVK::Point origin;
    inSource->GetOrigin(origin);
    inTarget->SetOrigin(origin);
    CopyContentRect(inSource, inTarget);
    CopySubstitute(inSource, inTarget);
}

} // namespace VF
