#include "ReferenceHost/Media/FFmpeg/PictureFrames.h"

#include "IR/ImageRoutines.h"
#include "ReferenceHost/Foundation/WorkObserver.h"
#include "ReferenceHost/FrameLibrary/PixelMaker.h"
#include "ReferenceHost/Media/FFmpeg/FFmpegTypes.h"
#include "ReferenceHost/Media/FFmpeg/PictureTurn.h"
#include "ReferenceHost/Media/FFmpeg/PixelLayout.h"
#include "ReferenceHost/Media/FrameConversion.h"
#include "VF/VideoFrame.h"

#include <algorithm>
#include <memory>
#include <new>
#include <utility>

namespace Media
{

namespace
{

using norviktypes::PixelFormat;

// Pixels are turned, and their lines told apart, one by one: each must hold its own chroma meanwhile, and
// rows run from the top.
PixelFormat FormatOfSinglePixels(const PixelFormat& inFormat)
{
    return inFormat == norviktypes::kPixelFormat_BGRA_4444_8u_BottomUp
               ? norviktypes::kPixelFormat_BGRA_4444_8u
               : norviktypes::Select4444PixelFormat(inFormat, norviktypes::kRenderQuality_High);
}

TVK::Rect Exchanged(const TVK::Rect& inBounds, bool inSwaps)
{
    return inSwaps ? TVK::Rect{0, 0, inBounds.Height(), inBounds.Width()}
                   : TVK::Rect{0, 0, inBounds.Width(), inBounds.Height()};
}

std::int32_t NewFrame(const BE::FrameDescription& inDescription, MF::IVideoFrameRef& outFrame,
                      VF::FramePixels& outPixels)
{
    const std::int32_t status = VF::CreateVideoFrame(
        outFrame, inDescription.mPixelFormat, static_cast<std::uint32_t>(inDescription.mBounds.Width()),
        static_cast<std::uint32_t>(inDescription.mBounds.Height()), inDescription.mPixelAspectRatio, false,
        false);
    if (status < 0)
    {
        return SourceStatusOf(status);
    }
    outFrame->SetFieldType(inDescription.mFieldType);
    return VF::GetFramePixels(outFrame, outPixels) ? BE::kSourceStatus_OK : BE::kSourceStatus_BadMedia;
}

// Single progressive pictures are common in interlaced streams. Their chroma is that of the whole picture, but
// where it's only copied from plane to plane it stays as it lies.
PictureTraits TraitsFor(const PictureTraits& inTraits, const AVFrame& inPicture, const PixelFormat& inFormat)
{
    PictureTraits traits = inTraits;
    traits.isFieldChroma =
        inTraits.isFieldChroma &&
        (inPicture.interlaced_frame != 0 || !norviktypes::IsPackedFourComponent(inFormat.mProperties));
    return traits;
}

// The picture of a frame that may never be looked at as it is.
class PictureMaker final : public VF::IPixelMaker
{
public:
    explicit PictureMaker(const AVFrame& inPicture) : mPicture(av_frame_clone(&inPicture)) {}

    bool Describe(const PictureTraits& inTraits, const PixelFormat& inFormat)
    {
        mFormat = VF::BEPixelFormatToIRPixelFormat(inFormat);
        return mPicture && mSource.Describe(*mPicture, inTraits) && mSource.HasRowsFor(mFormat);
    }

    std::int32_t MakeRows(std::uint32_t inFirst, std::uint32_t inCount, std::uint8_t* outPixels,
                          std::int32_t inRowBytes) const override
    {
        Foundation::WorkSpan span(Foundation::WorkKind::kConvert);
        if (inFirst != 0)
        {
            span.Forget(); // a picture that is made part by part counts once
        }
        try
        {
            const std::int32_t status =
                mSource.ConvertRowsTo(outPixels, inRowBytes, static_cast<std::int32_t>(inFirst),
                                      static_cast<std::int32_t>(inCount), mFormat);
            if (status >= 0)
            {
                span.Succeed();
                return VF::kFrameStatus_OK;
            }
        }
        catch (const std::bad_alloc&) // the frame says that it has no pixels
        {
        }
        return VF::kFrameStatus_OutOfMemory;
    }

    bool HasWholeAlpha() const override { return !mSource.HasAlpha(); }

private:
    FramePtr mPicture;
    SourcePicture mSource;
    std::uint32_t mFormat = 0;
};

bool HasSizeOf(const BE::FrameDescription& inFormat, const AVFrame& inPicture)
{
    return inFormat.mBounds.Width() == inPicture.width && inFormat.mBounds.Height() == inPicture.height;
}

// Of a picture that has its size. Empty where rows of it can't be made by themselves.
template <typename Maker, typename Picture>
MF::IVideoFrameRef FrameMadeBy(const Picture& inPicture, const PictureTraits& inTraits,
                               const BE::FrameDescription& inFormat)
{
    MF::IVideoFrameRef frame;
    const auto maker = std::make_shared<Maker>(inPicture);
    if (maker->Describe(inTraits, inFormat.mPixelFormat) &&
        VF::CreatePendingFrame(
            frame, inFormat.mPixelFormat, static_cast<std::uint32_t>(inFormat.mBounds.Width()),
            static_cast<std::uint32_t>(inFormat.mBounds.Height()), inFormat.mPixelAspectRatio, maker) >= 0)
    {
        frame->SetFieldType(inFormat.mFieldType);
    }
    return frame;
}

// Empty also where the picture isn't kept by whoever keeps a reference to it: it must be converted at once.
MF::IVideoFrameRef PendingFrame(const AVFrame& inPicture, const PictureTraits& inTraits,
                                const BE::FrameDescription& inFormat)
{
    return inPicture.buf[0] && HasSizeOf(inFormat, inPicture)
               ? FrameMadeBy<PictureMaker>(inPicture, TraitsFor(inTraits, inPicture, inFormat.mPixelFormat),
                                           inFormat)
               : MF::IVideoFrameRef();
}

// A picture whose rows are read when they are converted.
class BarePictureMaker final : public VF::IPixelMaker
{
public:
    explicit BarePictureMaker(BarePicturePtr inPicture) : mPicture(std::move(inPicture)) {}

    bool Describe(const PictureTraits& inTraits, const PixelFormat& inFormat)
    {
        SourcePicture shape;
        mTraits = inTraits;
        mFormat = VF::BEPixelFormatToIRPixelFormat(inFormat);
        const bool isTaken = shape.DescribeShape(mPicture->Shape(), inTraits) && shape.HasRowsFor(mFormat);
        mHasWholeAlpha = !shape.HasAlpha();
        return isTaken;
    }

    std::int32_t MakeRows(std::uint32_t inFirst, std::uint32_t inCount, std::uint8_t* outPixels,
                          std::int32_t inRowBytes) const override
    {
        Foundation::WorkSpan span(Foundation::WorkKind::kConvert);
        if (inFirst != 0)
        {
            span.Forget(); // a picture that is made part by part counts once
        }
        constexpr std::uint32_t kAtOnce = BarePicture::kMostRows;
        for (std::uint32_t done = 0; done < inCount; done += kAtOnce)
        {
            if (!MakeFewRows(static_cast<int>(inFirst + done),
                             static_cast<int>(std::min(kAtOnce, inCount - done)),
                             outPixels + static_cast<std::ptrdiff_t>(done) * inRowBytes, inRowBytes))
            {
                return VF::kFrameStatus_OutOfMemory; // the frame says that it has no pixels
            }
        }
        span.Succeed();
        return VF::kFrameStatus_OK;
    }

    bool HasWholeAlpha() const override { return mHasWholeAlpha; }
    bool HoldsPicture() const override { return false; }

private:
    bool MakeFewRows(int inFirst, int inCount, std::uint8_t* outPixels, std::int32_t inRowBytes) const
    {
        try
        {
            int top = 0;
            SourcePicture source;
            const AVFrame* const rows = mPicture->ReadRows(inFirst, inCount, top);
            return rows && source.Describe(*rows, mTraits) &&
                   source.ConvertRowsTo(outPixels, inRowBytes, inFirst - top, inCount, mFormat) >= 0;
        }
        catch (const std::bad_alloc&)
        {
            return false;
        }
    }

    BarePicturePtr mPicture;
    PictureTraits mTraits;
    std::uint32_t mFormat = 0;
    bool mHasWholeAlpha = false;
};

// Planes in one block, each right behind the one before it and chroma with half of the row bytes, are those of a
// frame: bare video mostly comes so. Empty where the picture lies otherwise, or isn't all of the frame.
MF::IVideoFrameRef FrameOverPicture(const AVFrame& inPicture, const PictureTraits& inTraits,
                                    const BE::FrameDescription& inFormat)
{
    MF::IVideoFrameRef frame;
    const PixelFormat& format = inFormat.mPixelFormat;
    const AVPixFmtDescriptor* const planes = DescriptorOf(inPicture.format);
    const bool isWhole =
        inPicture.buf[0] && !inPicture.buf[1] && inPicture.linesize[0] > 0 && HasSizeOf(inFormat, inPicture);
    constexpr std::uint64_t kOrder = AV_PIX_FMT_FLAG_PLANAR | AV_PIX_FMT_FLAG_BE;
    const bool isPlain = planes && (planes->flags & kOrder) == AV_PIX_FMT_FLAG_PLANAR &&
                         planes->comp[0].shift == 0 && planes->comp[1].plane == 1 &&
                         planes->comp[2].plane == 2;
    if (!isPlain || !isWhole || !norviktypes::IsSubsampled(format.mProperties) ||
        format != NativeFormatOf(inPicture.format, TraitsFor(inTraits, inPicture, format)))
    {
        return frame;
    }
    const std::ptrdiff_t rowBytes = inPicture.linesize[0];
    const std::ptrdiff_t chromaBytes = rowBytes / 2 * -(-inPicture.height >> planes->log2_chroma_h);
    const bool isOneBlock = rowBytes % 2 == 0 && inPicture.linesize[1] == rowBytes / 2 &&
                            inPicture.linesize[2] == rowBytes / 2 &&
                            inPicture.data[1] == inPicture.data[0] + rowBytes * inPicture.height &&
                            inPicture.data[2] == inPicture.data[1] + chromaBytes;
    FramePtr owner(isOneBlock ? av_frame_clone(&inPicture) : nullptr);
    if (owner)
    {
        const std::uint8_t* const pixels = owner->data[0];
        VF::CreateFrameOver(frame, format, static_cast<std::uint32_t>(inPicture.width),
                            static_cast<std::uint32_t>(inPicture.height), inFormat.mPixelAspectRatio,
                            inFormat.mFieldType, pixels, static_cast<std::uint32_t>(rowBytes),
                            std::shared_ptr<AVFrame>(std::move(owner)));
    }
    return frame;
}

// The picture as it lies in the file.
std::int32_t Convert(const AVFrame& inPicture, const PictureTraits& inTraits,
                     const BE::FrameDescription& inFormat, MF::IVideoFrameRef& outFrame)
{
    VF::FramePixels pixels;
    const std::int32_t status = NewFrame(inFormat, outFrame, pixels);
    if (status < 0)
    {
        return status;
    }
    SourcePicture source;
    if (!source.Describe(inPicture, TraitsFor(inTraits, inPicture, inFormat.mPixelFormat)))
    {
        return BE::kSourceStatus_BadMedia;
    }
    const std::int32_t result = source.ConvertTo(
        pixels.mPixels, pixels.mRowBytes, inFormat.mBounds.Width(), inFormat.mBounds.Height(),
        VF::BEPixelFormatToIRPixelFormat(inFormat.mPixelFormat), inFormat.mQuality);
    return result >= 0                 ? BE::kSourceStatus_OK
           : result == kIR_OutOfMemory ? BE::kSourceStatus_OutOfMemory
                                       : BE::kSourceStatus_BadMedia;
}

std::int32_t Turn(const MF::IVideoFrameRef& inLying, const Orientation& inOrientation,
                  const BE::FrameDescription& inFormat, MF::IVideoFrameRef& outFrame)
{
    VF::FramePixels from;
    VF::FramePixels to;
    const std::int32_t status = NewFrame(inFormat, outFrame, to);
    if (status < 0 || !VF::GetFramePixels(inLying, from))
    {
        return status < 0 ? status : BE::kSourceStatus_BadMedia;
    }
    TurnPicture(from.mPixels, from.mRowBytes, static_cast<int>(from.mWidth), static_cast<int>(from.mHeight),
                static_cast<int>(norviktypes::BytesPerPixel(from.mFormat.mProperties)), inOrientation,
                to.mPixels, to.mRowBytes);
    return BE::kSourceStatus_OK;
}

} // namespace

bool MakeFrameOfBarePicture(const BarePicturePtr& inPicture, const PictureTraits& inTraits,
                            const Orientation& inOrientation, const BE::FrameDescription& inFormat,
                            MF::IVideoFrameRef& outFrame)
{
    const AVFrame& shape = inPicture->Shape();
    if (inOrientation.IsIdentity() && HasSizeOf(inFormat, shape))
    {
        outFrame = FrameMadeBy<BarePictureMaker>(inPicture, TraitsFor(inTraits, shape, inFormat.mPixelFormat),
                                                 inFormat);
    }
    return outFrame != nullptr;
}

std::int32_t MakeFrameOfPicture(const AVFrame& inPicture, const PictureTraits& inTraits,
                                const Orientation& inOrientation, const BE::FrameDescription& inFormat,
                                MF::IVideoFrameRef& outFrame)
{
    const bool swaps = inOrientation.SwapsSides();
    const TVK::Rect lying{0, 0, inPicture.width, inPicture.height};
    const bool areFieldsScaled =
        norviktypes::IsInterlaced(inFormat.mFieldType) && Exchanged(inFormat.mBounds, swaps) != lying;
    const bool isTurned = !inOrientation.IsIdentity();
    if (!isTurned && !areFieldsScaled)
    {
        MF::IVideoFrameRef frame = FrameOverPicture(inPicture, inTraits, inFormat);
        frame = frame ? frame : PendingFrame(inPicture, inTraits, inFormat);
        if (frame)
        {
            outFrame = frame;
            return BE::kSourceStatus_OK;
        }
    }
    Foundation::WorkSpan span(Foundation::WorkKind::kConvert);

    BE::FrameDescription upright = inFormat;
    if (isTurned || areFieldsScaled)
    {
        upright.mPixelFormat = FormatOfSinglePixels(inFormat.mPixelFormat);
    }
    if (areFieldsScaled)
    {
        upright.mBounds = Exchanged(lying, swaps);
    }
    BE::FrameDescription coded = upright;
    coded.mBounds = Exchanged(upright.mBounds, swaps);

    MF::IVideoFrameRef frame;
    std::int32_t status = Convert(inPicture, inTraits, coded, frame);
    if (status >= 0 && isTurned)
    {
        const MF::IVideoFrameRef asCoded = frame;
        status = Turn(asCoded, inOrientation, upright, frame);
    }
    if (status >= 0 && (upright.mPixelFormat != inFormat.mPixelFormat || areFieldsScaled))
    {
        const MF::IVideoFrameRef whole = frame;
        status = ConvertFrame(whole, inFormat, frame);
    }
    if (status >= 0)
    {
        outFrame = frame;
        span.Succeed();
    }
    return status;
}

} // namespace Media
