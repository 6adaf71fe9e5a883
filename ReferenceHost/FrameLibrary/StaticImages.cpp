#include "ML/StaticImages.h"

#include "ReferenceHost/Foundation/BitmapFont.h"
#include "VF/VideoFrame.h"
#include "VF/VideoFrameManipulators.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string_view>
#include <vector>

namespace ML
{

namespace
{

// Blue, green, red and alpha, as they lie in memory.
struct Pixel
{
    std::uint8_t mBytes[4];
};

constexpr Pixel kBlack{{0, 0, 0, 255}};
constexpr Pixel kTransparent{{0, 0, 0, 0}};
constexpr Pixel kInk{{235, 235, 235, 255}};
// Red for what is missing and blue for what is on its way: they are told apart in a small picture too.
constexpr Pixel kOfflineGround{{32, 20, 112, 255}};
constexpr Pixel kPendingGround{{96, 56, 20, 255}};

// White, yellow, cyan, green, magenta, red and blue at three quarters.
constexpr Pixel kBars[] = {{{191, 191, 191, 255}}, {{0, 191, 191, 255}}, {{191, 191, 0, 255}},
                           {{0, 191, 0, 255}},     {{191, 0, 191, 255}}, {{0, 0, 191, 255}},
                           {{191, 0, 0, 255}}};

class Canvas
{
public:
    explicit Canvas(const MF::IVideoFrameRef& inFrame)
    {
        TVK::Rect bounds;
        inFrame->GetBounds(bounds);
        mWidth = bounds.Width();
        mHeight = bounds.Height();
        const VF::IVideoFramePixelsRef pixels(inFrame);
        mBytes = static_cast<std::uint8_t*>(pixels->GetPixels());
        mRowBytes = static_cast<std::ptrdiff_t>(pixels->GetRowBytesUnsigned());
    }

    void Set(int inX, int inY, const Pixel& inPixel)
    {
        std::memcpy(mBytes + inY * mRowBytes + std::ptrdiff_t{4} * inX, inPixel.mBytes, 4);
    }

    void Fill(const Pixel& inPixel)
    {
        FillColumns([&](int) { return inPixel; });
    }

    void FillBars()
    {
        FillColumns(
            [this](int inX) {
                return kBars[static_cast<std::size_t>(inX) * std::size(kBars) /
                             static_cast<std::size_t>(mWidth)];
            });
    }

    void DrawCentred(std::string_view inText)
    {
        const int scale = std::max(1, std::min(mWidth * 6 / 10 / Foundation::TextWidth(inText, 1),
                                               mHeight / 3 / Foundation::TextHeight(inText, 1)));
        std::vector<std::uint8_t> mask(static_cast<std::size_t>(mWidth) * static_cast<std::size_t>(mHeight));
        Foundation::DrawText({mask.data(), mWidth, mHeight, mWidth},
                             (mWidth - Foundation::TextWidth(inText, scale)) / 2,
                             (mHeight - Foundation::TextHeight(inText, scale)) / 2, inText, scale);
        for (std::size_t index = 0; index < mask.size(); ++index)
        {
            if (mask[index] != 0)
            {
                const int place = static_cast<int>(index);
                Set(place % mWidth, place / mWidth, kInk);
            }
        }
    }

private:
    template <class ColourOfColumn>
    void FillColumns(ColourOfColumn inColour)
    {
        for (int x = 0; x < mWidth; ++x)
        {
            Set(x, 0, inColour(x));
        }
        for (int y = 1; y < mHeight; ++y)
        {
            std::memcpy(mBytes + y * mRowBytes, mBytes, std::size_t{4} * static_cast<std::size_t>(mWidth));
        }
    }

    std::uint8_t* mBytes = nullptr;
    std::ptrdiff_t mRowBytes = 0;
    int mWidth = 0;
    int mHeight = 0;
};

bool Draw(Canvas& ioCanvas, std::uint32_t inCode)
{
    switch (inCode)
    {
    case kStaticImage_Pending:
        ioCanvas.Fill(kPendingGround);
        ioCanvas.DrawCentred("MEDIA PENDING");
        return true;
    case kStaticImage_Offline:
        ioCanvas.Fill(kOfflineGround);
        ioCanvas.DrawCentred("MEDIA OFFLINE");
        return true;
    case kStaticImage_Bars: ioCanvas.FillBars(); return true;
    case kStaticImage_Black: ioCanvas.Fill(kBlack); return true;
    case kStaticImage_Transparent: ioCanvas.Fill(kTransparent); return true;
    default: return false;
    }
}

MF::IVideoFrameRef MakeFrame(const norviktypes::PixelFormat& inFormat, std::uint32_t inWidth,
                             std::uint32_t inHeight, const norviktypes::PixelAspectRatio& inRatio)
{
    MF::IVideoFrameRef frame;
    VF::CreateVideoFrame(frame, inFormat, inWidth, inHeight, inRatio, false, false);
    return frame;
}

} // namespace

MF::IVideoFrameRef StaticImageFactory::LoadImage(std::uint32_t inCode, std::uint32_t inWidth,
                                                 std::uint32_t inHeight,
                                                 const norviktypes::PixelFormat& inFormat,
                                                 const norviktypes::PixelAspectRatio& inRatio,
                                                 norviktypes::RenderQuality inQuality)
{
    const std::uint32_t properties = inFormat.mProperties;
    if (!norviktypes::IsPackedFourComponent(properties) || norviktypes::DepthOfProperties(properties) != 8)
    {
        return {};
    }
    const MF::IVideoFrameRef drawn =
        MakeFrame(norviktypes::kPixelFormat_BGRA_4444_8u, inWidth, inHeight, inRatio);
    if (!drawn)
    {
        return {};
    }
    Canvas canvas(drawn);
    if (!Draw(canvas, inCode))
    {
        return {};
    }
    if (inFormat == norviktypes::kPixelFormat_BGRA_4444_8u)
    {
        return drawn;
    }
    const MF::IVideoFrameRef converted = MakeFrame(inFormat, inWidth, inHeight, inRatio);
    const bool isCopied =
        converted && VF::VideoFrameManipulators::CopyFrame(drawn, converted, inQuality) >= 0;
    return isCopied ? converted : MF::IVideoFrameRef();
}

} // namespace ML
