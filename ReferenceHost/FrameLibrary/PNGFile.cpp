#include "ReferenceHost/FrameLibrary/PNGFile.h"

#include "ReferenceHost/FrameLibrary/PNGCodec.h"
#include "ReferenceHost/FrameLibrary/VideoFrame.h"
#include "VF/VideoFrame.h"
#include "VF/VideoFrameManipulators.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace VF
{

namespace
{

// Noisy pictures take twice the time from level 4 on and become a tenth smaller, at level 6 six times.
constexpr int kFileCompressionLevel = 2;

class FrameRows final : public IPNGRowSource
{
public:
    explicit FrameRows(const FramePixels& inPixels) : mPixels(inPixels) {}
    const std::uint8_t* GetRow(std::uint32_t inY) noexcept override { return mPixels.Row(0, inY); }

private:
    const FramePixels& mPixels;
};

// The frame in the samples that are written.
MF::IVideoFrameRef AsStraight(const MF::IVideoFrameRef& inFrame, const FramePixels& inPixels)
{
    const bool isDeep = norviktypes::DepthOfProperties(inPixels.mFormat.mProperties) > 8;
    norviktypes::PixelAspectRatio ratio;
    inFrame->GetPixelAspectRatio(ratio);
    MF::IVideoFrameRef straight;
    const norviktypes::PixelFormat format =
        isDeep ? norviktypes::kPixelFormat_BGRA_4444_16u : norviktypes::kPixelFormat_BGRA_4444_8u;
    const bool isThere =
        CreateVideoFrame(straight, format, inPixels.mWidth, inPixels.mHeight, ratio, false, false) >= 0 &&
        VideoFrameManipulators::CopyFrame(inFrame, straight, norviktypes::kRenderQuality_High) >= 0;
    return isThere ? straight : MF::IVideoFrameRef();
}

PNGHeader HeaderOf(const MF::IVideoFrameRef& inFrame, const FramePixels& inPixels, bool inHasAlpha)
{
    PNGHeader header;
    header.mWidth = inPixels.mWidth;
    header.mHeight = inPixels.mHeight;
    header.mBits = norviktypes::DepthOfProperties(inPixels.mFormat.mProperties);
    header.mSamples = inHasAlpha ? PNGSamples::RGBA : PNGSamples::RGB;
    header.mCompressionLevel = kFileCompressionLevel;
    norviktypes::PixelAspectRatio ratio;
    inFrame->GetPixelAspectRatio(ratio);
    if (ratio.GetNumerator() != ratio.GetDenominator())
    {
        header.mAspectNumerator = ratio.GetNumerator();
        header.mAspectDenominator = ratio.GetDenominator();
    }
    return header;
}

std::string ErrorText(const std::string& inPath, int inError)
{
    return fmt::format("{}: {}", inPath, std::strerror(inError));
}

bool WriteBytes(const std::vector<std::uint8_t>& inBytes, const std::string& inPath, std::string& outError)
{
    std::FILE* const file = std::fopen(inPath.c_str(), "wb");
    if (!file)
    {
        outError = ErrorText(inPath, errno);
        return false;
    }
    const bool isWritten =
        std::fwrite(inBytes.data(), 1, inBytes.size(), file) == inBytes.size() && std::fflush(file) == 0;
    const int writeError = errno;
    const bool isClosed = std::fclose(file) == 0;
    if (!isWritten || !isClosed)
    {
        outError = ErrorText(inPath, isWritten ? errno : writeError);
    }
    return isWritten && isClosed;
}

} // namespace

bool EncodeViewablePNG(const MF::IVideoFrameRef& inFrame, std::vector<std::uint8_t>& outBytes)
{
    outBytes.clear();
    FramePixels source;
    if (!GetFramePixels(inFrame, source))
    {
        return false;
    }
    const MF::IVideoFrameRef straight = AsStraight(inFrame, source);
    FramePixels pixels;
    if (!straight || !GetFramePixels(straight, pixels))
    {
        return false;
    }
    FrameRows rows(pixels);
    const bool isEncoded =
        EncodePNG(HeaderOf(straight, pixels, inFrame->MayHaveTransparency()), rows, outBytes);
    if (!isEncoded)
    {
        outBytes.clear();
    }
    return isEncoded;
}

bool WritePNGFile(const MF::IVideoFrameRef& inFrame, const std::string& inPath, std::string& outError)
{
    std::vector<std::uint8_t> bytes;
    if (!EncodeViewablePNG(inFrame, bytes))
    {
        outError = fmt::format("{}: the frame can't be made into a picture", inPath);
        return false;
    }
    return WriteBytes(bytes, inPath, outError);
}

} // namespace VF
