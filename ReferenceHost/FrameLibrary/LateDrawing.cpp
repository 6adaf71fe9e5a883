#include "ReferenceHost/FrameLibrary/PixelMaker.h"
#include "ReferenceHost/ImageRoutines/MotionStrips.h"
#include "VF/VideoFrame.h"
#include "VF/VideoFrameManipulators.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <utility>
#include <vector>

namespace VF::VideoFrameManipulators
{

namespace
{

// Rows that stay in the second-level cache while one picture after the other is laid over them.
constexpr std::uint32_t kRowsAtOnce = 16;

// Pixels that nobody has looked at yet, or that nobody writes to any more. They are what they were when this was made,
// whatever becomes of the frame.
class FrameRows final : public ir::IPictureRows
{
public:
    explicit FrameRows(const MF::IVideoFrameRef& inFrame)
        : mMaker(PendingMakerOf(inFrame))
        , mHasWholeAlpha(mMaker ? mMaker->HasWholeAlpha() : IsKnownToHaveWholeAlpha(inFrame))
    {
        if (!mMaker && inFrame->IsFrozen() && GetFramePixels(inFrame, mPixels))
        {
            mFrame = inFrame;
        }
    }

    bool CanBeRead() const { return mMaker || mFrame; }
    bool IsPending() const { return mMaker != nullptr; }
    bool HasWholeAlpha() const { return mHasWholeAlpha; }
    const PixelMakerPtr& Maker() const { return mMaker; }

    const std::uint8_t* Rows(std::int32_t inFirst, std::int32_t inCount, std::uint8_t* ioSpace,
                             std::ptrdiff_t& ioRowBytes) const override
    {
        if (mMaker)
        {
            const std::int32_t status =
                mMaker->MakeRows(static_cast<std::uint32_t>(inFirst), static_cast<std::uint32_t>(inCount),
                                 ioSpace, static_cast<std::int32_t>(ioRowBytes));
            return status < 0 ? nullptr : ioSpace;
        }
        ioRowBytes = mPixels.mRowBytes;
        return mPixels.Row(0, static_cast<std::uint32_t>(inFirst));
    }

    std::int32_t CopyRows(std::uint32_t inFirst, std::uint32_t inCount, std::uint8_t* outPixels,
                          std::int32_t inRowBytes) const
    {
        if (mMaker)
        {
            return mMaker->MakeRows(inFirst, inCount, outPixels, inRowBytes);
        }
        for (std::uint32_t row = 0; row < inCount; ++row)
        {
            std::memcpy(outPixels + static_cast<std::ptrdiff_t>(row) * inRowBytes,
                        mPixels.Row(0, inFirst + row), mPixels.mGeometry.mPlanes[0].mUsedBytes);
        }
        return kFrameStatus_OK;
    }

private:
    PixelMakerPtr mMaker;
    bool mHasWholeAlpha;
    MF::IVideoFrameRef mFrame;
    FramePixels mPixels;
};

struct Layer
{
    ir::MotionStrips mMotion;
    FrameRows mRows;
};

// A picture with others over it, a few rows at a time: what lies below isn't written to memory and read again for
// each of them.
class LayeredRows final : public IPixelMaker
{
public:
    explicit LayeredRows(FrameRows inBase) : mBase(std::move(inBase)) {}

    void Add(Layer inLayer) { mLayers.push_back(std::move(inLayer)); }

    std::int32_t MakeRows(std::uint32_t inFirst, std::uint32_t inCount, std::uint8_t* outPixels,
                          std::int32_t inRowBytes) const override
    {
        try
        {
            for (std::uint32_t done = 0; done < inCount; done += kRowsAtOnce)
            {
                if (!MakeStrip(inFirst + done, std::min(kRowsAtOnce, inCount - done),
                               outPixels + static_cast<std::ptrdiff_t>(done) * inRowBytes, inRowBytes))
                {
                    return kFrameStatus_OutOfMemory;
                }
            }
        }
        catch (const std::bad_alloc&)
        {
            return kFrameStatus_OutOfMemory;
        }
        return kFrameStatus_OK;
    }

    bool HasWholeAlpha() const override
    {
        return mBase.HasWholeAlpha() &&
               std::all_of(mLayers.begin(), mLayers.end(),
                           [](const Layer& inLayer) { return inLayer.mMotion.KeepsWholeAlpha(); });
    }

private:
    bool MakeStrip(std::uint32_t inFirst, std::uint32_t inCount, std::uint8_t* outPixels,
                   std::int32_t inRowBytes) const
    {
        return mBase.CopyRows(inFirst, inCount, outPixels, inRowBytes) >= 0 &&
               std::all_of(mLayers.begin(), mLayers.end(),
                           [&](const Layer& inLayer)
                           {
                               return inLayer.mMotion.Draw(inLayer.mRows, static_cast<std::int32_t>(inFirst),
                                                           static_cast<std::int32_t>(inCount), outPixels,
                                                           inRowBytes) == kIR_Success;
                           });
    }

    FrameRows mBase;
    std::vector<Layer> mLayers;
};

// Lays one more picture over those that are still to be made.
bool AddLayer(const MF::IVideoFrameRef& ioTarget, Layer inLayer)
{
    const PixelMakerPtr below = PendingMakerOf(ioTarget);
    if (!below)
    {
        return false;
    }
    const auto* layered = dynamic_cast<const LayeredRows*>(below.get());
    const auto both = layered ? std::make_shared<LayeredRows>(*layered)
                              : std::make_shared<LayeredRows>(FrameRows(ioTarget));
    both->Add(std::move(inLayer));
    return SetPendingMaker(ioTarget, both);
}

std::int32_t DrawNow(const ir::MotionStrips& inMotion, const FrameRows& inRows,
                     const MF::IVideoFrameRef& ioTarget, const FramePixels& inShape)
{
    std::uint8_t* pixels = PixelsToDrawOn(ioTarget);
    if (!pixels)
    {
        return kFrameStatus_OutOfMemory;
    }
    if (!inMotion.KeepsWholeAlpha())
    {
        ForgetWholeAlpha(ioTarget);
    }
    return inMotion.Draw(inRows, 0, static_cast<std::int32_t>(inShape.mHeight), pixels, inShape.mRowBytes) ==
                   kIR_Success
               ? kFrameStatus_OK
               : kFrameStatus_OutOfMemory;
}

} // namespace

MF::IVideoFrameRef CopyFrameLate(const MF::IVideoFrameRef& inSource, const norviktypes::PixelFormat& inFormat,
                                 std::uint32_t inWidth, std::uint32_t inHeight,
                                 const norviktypes::PixelAspectRatio& inRatio)
{
    MF::IVideoFrameRef copy;
    FramePixels shape;
    if (!GetFrameShape(inSource, shape) || shape.mFormat != inFormat || shape.mWidth != inWidth ||
        shape.mHeight != inHeight)
    {
        return copy;
    }
    try
    {
        FrameRows rows(inSource);
        if (!rows.CanBeRead())
        {
            return copy;
        }
        const PixelMakerPtr maker =
            rows.IsPending() ? rows.Maker() : std::make_shared<LayeredRows>(std::move(rows));
        if (CreatePendingFrame(copy, inFormat, inWidth, inHeight, inRatio, maker) >= 0)
        {
            copy->SetAlphaType(inSource->GetAlphaType());
        }
    }
    catch (const std::bad_alloc&) // for a copy at once there may be some
    {
        copy.reset();
    }
    return copy;
}

bool DrawFrameLate(const MF::IVideoFrameRef& inSource, const IR_MotionPicture& inFrom,
                   const MF::IVideoFrameRef& inTarget, const IR_MotionPicture& inTo,
                   const IR_MotionSettings& inSettings, std::uint32_t inBlendMode, std::int32_t& outStatus)
{
    FramePixels shape;
    if (inSource.get() == inTarget.get() || inTarget->IsFrozen() || !GetFrameShape(inTarget, shape))
    {
        return false;
    }
    try
    {
        const FrameRows rows(inSource);
        const ir::MotionStrips motion(inFrom, inTo, inSettings, inBlendMode);
        if (!rows.CanBeRead() || !motion.IsTaken())
        {
            return false;
        }
        outStatus = kFrameStatus_OK;
        if (motion.IsRowByRow() && AddLayer(inTarget, {motion, rows}))
        {
            return true;
        }
        if (rows.IsPending())
        {
            outStatus = DrawNow(motion, rows, inTarget, shape);
            return true;
        }
    }
    catch (const std::bad_alloc&)
    {
        outStatus = kFrameStatus_OutOfMemory;
        return true;
    }
    return false;
}

std::int32_t FinishFrame(const MF::IVideoFrameRef& inFrame)
{
    return PendingMakerOf(inFrame) && !PixelsToDrawOn(inFrame) ? kFrameStatus_OutOfMemory : kFrameStatus_OK;
}

} // namespace VF::VideoFrameManipulators
