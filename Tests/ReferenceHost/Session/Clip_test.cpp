#include "ReferenceHost/FrameLibrary/PixelMaker.h"
#include "ReferenceHost/Session/Clip.h"
#include "ReferenceHost/Session/HostSession.h"
#include "ReferenceHost/Session/Pictures.h"
#include "Tests/Support/Paths.h"
#include "VF/VideoFrame.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

using namespace Session;
using norviktypes::TickTime;

namespace
{

std::unique_ptr<Clip> Open(const std::string& inPath)
{
    Media::OpenError error;
    std::unique_ptr<Clip> clip = Clip::Open(inPath, ClipOptions(), error);
    EXPECT_TRUE(clip) << error.mText;
    return clip;
}

RenderRequest Request(std::uint32_t inWidth, std::uint32_t inHeight, const norviktypes::PixelFormat& inFormat)
{
    return {inWidth, inHeight, inFormat, norviktypes::kRenderQuality_High};
}

std::vector<std::uint8_t> Pixels(const MF::IVideoFrameRef& inFrame)
{
    TVK::Rect bounds;
    inFrame->GetBounds(bounds);
    const auto* data = static_cast<const std::uint8_t*>(VF::IVideoFramePixelsRef(inFrame)->GetPixels());
    const std::int32_t rowBytes = VF::IVideoFrameRasterRef(inFrame)->GetRowBytes();
    std::vector<std::uint8_t> pixels;
    for (std::int32_t y = 0; y < bounds.Height(); ++y)
    {
        pixels.insert(pixels.end(), data + y * rowBytes, data + y * rowBytes + bounds.Width() * 4);
    }
    return pixels;
}

constexpr norviktypes::PixelFormat kBGRX = norviktypes::kPixelFormat_BGRX_4444_8u;

MF::IVideoFrameRef NewFrame(std::uint32_t inWidth, std::uint32_t inHeight)
{
    MF::IVideoFrameRef frame;
    VF::CreateVideoFrame(frame, kBGRX, inWidth, inHeight, norviktypes::kPixelAspectRatio_Square, true, false);
    return frame;
}

} // namespace

TEST(Clip, FramesAndTimesBelongTogetherOnAGrid)
{
    const auto clip = Open("counter:size=160x90:rate=30000/1001:duration=2s");
    ASSERT_TRUE(clip);
    ASSERT_TRUE(clip->HasEnd());
    for (std::int64_t n = 0; n < clip->FrameCount(); ++n)
    {
        EXPECT_EQ(clip->FrameStart(n), TickTime::FromFrame(n, clip->FrameRate()));
        EXPECT_EQ(clip->FrameAt(clip->FrameStart(n)), n);
        EXPECT_EQ(clip->FrameAt(clip->FrameStart(n + 1) - TickTime(1)), n);
    }
    EXPECT_EQ(clip->FrameAt(clip->Duration()), -1);
    EXPECT_EQ(clip->FrameStart(clip->FrameCount()), clip->Duration());
}

TEST(Clip, FramesAndTimesBelongTogetherOffAGrid)
{
    const auto clip = Open(TestSupport::MediaPath("vfr.mkv"));
    ASSERT_TRUE(clip);
    ASSERT_FALSE(clip->Facts().mHasFrameGrid);
    ASSERT_GT(clip->FrameCount(), 10);
    bool isUnequal = false;
    for (std::int64_t n = 0; n < clip->FrameCount(); ++n)
    {
        EXPECT_EQ(clip->FrameAt(clip->FrameStart(n)), n);
        EXPECT_EQ(clip->FrameAt(clip->FrameStart(n + 1) - TickTime(1)), n);
        isUnequal = isUnequal || clip->FrameStart(n + 1) - clip->FrameStart(n) != clip->FrameStart(1);
    }
    EXPECT_TRUE(isUnequal);
}

TEST(Clip, FramesHaveTheSizeAndFormatAskedFor)
{
    const auto clip = Open("bars:size=160x90:rate=25:duration=1s");
    ASSERT_TRUE(clip);
    // Smaller, larger than the stream delivers, of another shape, and planar.
    for (const RenderRequest& request :
         {Request(80, 45, kBGRX), Request(320, 180, kBGRX),
          Request(50, 200, norviktypes::kPixelFormat_BGRA_4444_16u),
          Request(320, 180, norviktypes::kPixelFormat_YUV_420_MPEG2_Frame_8u_709)})
    {
        const MF::IVideoFrameRef frame = clip->Render(norviktypes::kTime_Zero, request);
        TVK::Rect bounds;
        frame->GetBounds(bounds);
        norviktypes::PixelFormat format;
        frame->GetPixelFormat(format);
        EXPECT_EQ(bounds.Width(), static_cast<std::int32_t>(request.mWidth));
        EXPECT_EQ(bounds.Height(), static_cast<std::int32_t>(request.mHeight));
        EXPECT_EQ(format, request.mPixelFormat);
    }
}

TEST(Clip, InterlacedFramesKeepBothFields)
{
    const auto clip = Open("counter:size=320x180:rate=25:duration=1s:fields=upper");
    ASSERT_TRUE(clip);
    const MF::IVideoFrameRef frame = clip->Render(clip->FrameStart(3), Request(320, 180, kBGRX));
    EXPECT_EQ(frame->GetFieldType(), norviktypes::kFieldType_UpperFirst);
    const std::vector<std::uint8_t> pixels = Pixels(frame);
    bool differs = false;
    for (std::size_t y = 0; y + 1 < 180; y += 2)
    {
        differs = differs || !std::equal(pixels.begin() + static_cast<std::ptrdiff_t>(y * 1280),
                                         pixels.begin() + static_cast<std::ptrdiff_t>((y + 1) * 1280),
                                         pixels.begin() + static_cast<std::ptrdiff_t>((y + 1) * 1280));
    }
    EXPECT_TRUE(differs);
}

TEST(Clip, RendersFromManyThreadsWhatItRendersFromOne)
{
    const auto clip = Open(TestSupport::MediaPath("h264_b.mp4"));
    ASSERT_TRUE(clip);
    const RenderRequest request = Request(static_cast<std::uint32_t>(clip->Facts().mWidth),
                                          static_cast<std::uint32_t>(clip->Facts().mHeight), kBGRX);
    std::vector<std::vector<std::uint8_t>> expected;
    for (std::int64_t n = 0; n < 20; ++n)
    {
        expected.push_back(Pixels(clip->Render(clip->FrameStart(n), request)));
    }
    std::atomic<int> differences{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
    {
        threads.emplace_back(
            [&, t]
            {
                for (std::int64_t i = 0; i < 20; ++i)
                {
                    const std::int64_t n = (i * (2 * t + 1) + t) % 20;
                    const auto pixels = Pixels(clip->Render(clip->FrameStart(n), request));
                    differences += pixels == expected[static_cast<std::size_t>(n)] ? 0 : 1;
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(differences, 0);
}

TEST(Clip, FailuresCarryTheNameOfTheMedia)
{
    Media::OpenError error;
    EXPECT_FALSE(Clip::Open("no/such/file.mov", ClipOptions(), error));
    EXPECT_EQ(error.mKind, Media::OpenErrorKind::kNoInput);
    EXPECT_NE(error.mText.find("no/such/file.mov"), std::string::npos);

    const auto clip = Open("bars:size=160x90:rate=25:duration=1s");
    ASSERT_TRUE(clip);
    EXPECT_THROW(clip->Render(clip->Duration(), Request(160, 90, kBGRX)), ML::RenderRequestException);
    EXPECT_NE(clip->FailureAt(clip->Duration()).find("bars:"), std::string::npos);
}

TEST(HostSession, RefusesATargetThatTheMachineHasNot)
{
    HostSettings settings;
    settings.mCpuTarget = "abacus";
    EXPECT_THROW(HostSession session(settings), std::invalid_argument);
    for (const std::string& target : HostSession::CpuTargets())
    {
        settings.mCpuTarget = target;
        EXPECT_NO_THROW(HostSession session(settings)) << target;
    }
    settings.mCpuTarget = "auto";
    const HostSession session(settings);
    EXPECT_GE(session.Threads(), 1u);
}

TEST(HostSession, SharesStayWithinTheWhole)
{
    HostSettings settings;
    settings.mMemoryBytes = std::uint64_t{300} << 20;
    settings.mThreads = 3;
    for (const AccessPattern pattern : {AccessPattern::kForward, AccessPattern::kScattered})
    {
        settings.mPattern = pattern;
        const HostSession session(settings);
        EXPECT_EQ(session.Threads(), 3u);
        const MemoryShares shares = session.Shares();
        EXPECT_EQ(shares.mTotalBytes, settings.mMemoryBytes);
        EXPECT_GT(shares.mPicturesBytes, shares.mTotalBytes / 2);
        EXPECT_GT(shares.mWindowBytes, shares.mTotalBytes / 8);
        EXPECT_LE(shares.mWindowBytes, shares.mTotalBytes / 3);
        EXPECT_GT(shares.mCacheBytes, shares.mTotalBytes / 200);
        EXPECT_LE(shares.mWindowBytes + shares.mPicturesBytes + shares.mCacheBytes, shares.mTotalBytes);
    }
}

TEST(Pictures, AreShapedOnlyWhereTheirShapeDiffers)
{
    const MF::IVideoFrameRef frame = NewFrame(16, 8);
    frame->SetFieldType(norviktypes::kFieldType_LowerFirst);
    frame->SetPixelAspectRatio({4, 3});
    MF::IVideoFrameRef shaped;
    ASSERT_EQ(ShapePicture(frame, Request(16, 8, kBGRX), shaped), VF::kFrameStatus_OK);
    EXPECT_TRUE(shaped == frame);

    for (const RenderRequest& request : {Request(15, 8, kBGRX), Request(16, 6, kBGRX),
                                         Request(16, 8, norviktypes::kPixelFormat_BGRX_4444_16u)})
    {
        ASSERT_EQ(ShapePicture(frame, request, shaped), VF::kFrameStatus_OK);
        EXPECT_FALSE(shaped == frame);
        TVK::Rect bounds;
        shaped->GetBounds(bounds);
        EXPECT_EQ(bounds, (TVK::Rect{0, 0, static_cast<std::int32_t>(request.mWidth),
                                     static_cast<std::int32_t>(request.mHeight)}));
        norviktypes::PixelFormat format;
        shaped->GetPixelFormat(format);
        EXPECT_EQ(format, request.mPixelFormat);
        norviktypes::PixelAspectRatio ratio;
        shaped->GetPixelAspectRatio(ratio);
        EXPECT_EQ(ratio, (norviktypes::PixelAspectRatio{4, 3}));
        EXPECT_EQ(shaped->GetFieldType(), norviktypes::kFieldType_LowerFirst);
    }

    const MF::IVideoFrameRef before = shaped;
    EXPECT_LT(ShapePicture(frame, Request(100000, 100000, kBGRX), shaped), 0);
    EXPECT_TRUE(shaped == before);
}

TEST(Pictures, WhosePixelsCannotBeMadeAreRefused)
{
    class NoMemory final : public VF::IPixelMaker
    {
    public:
        std::int32_t MakeRows(std::uint32_t, std::uint32_t, std::uint8_t*, std::int32_t) const override
        {
            return VF::kFrameStatus_OutOfMemory;
        }
    };
    MF::IVideoFrameRef frame;
    ASSERT_EQ(VF::CreatePendingFrame(frame, norviktypes::kPixelFormat_BGRA_4444_8u, 16, 8, {1, 1},
                                     std::make_shared<NoMemory>()),
              VF::kFrameStatus_OK);
    MF::IVideoFrameRef shaped;
    EXPECT_EQ(ShapePicture(frame, Request(16, 8, norviktypes::kPixelFormat_BGRA_4444_8u), shaped),
              VF::kFrameStatus_OutOfMemory);
    EXPECT_FALSE(shaped);
}

// The bytes of a frame's first pixel.
std::array<std::uint8_t, 4> FirstPixel(const MF::IVideoFrameRef& inFrame)
{
    std::array<std::uint8_t, 4> bytes{};
    std::memcpy(bytes.data(), VF::IVideoFramePixelsRef(inFrame)->GetPixels(), bytes.size());
    return bytes;
}

TEST(Pictures, OpaquePicturesLoseTheirAlphaWithoutACopy)
{
    MF::IVideoFrameRef frame;
    ASSERT_EQ(VF::CreateVideoFrame(frame, norviktypes::kPixelFormat_BGRA_4444_8u, 16, 8, {4, 3}, true, false),
              VF::kFrameStatus_OK);
    frame->SetFieldType(norviktypes::kFieldType_UpperFirst);
    frame->SetAlphaType(norviktypes::kAlphaChannel_Opaque);
    MF::IVideoFrameRef shaped;
    ASSERT_EQ(ShapePicture(frame, Request(16, 8, kBGRX), shaped), VF::kFrameStatus_OK);
    norviktypes::PixelFormat format;
    shaped->GetPixelFormat(format);
    EXPECT_EQ(format, kBGRX);
    EXPECT_EQ(VF::IVideoFramePixelsRef(shaped)->GetPixels(), VF::IVideoFramePixelsRef(frame)->GetPixels());
    EXPECT_EQ(shaped->GetFieldType(), norviktypes::kFieldType_UpperFirst);
    EXPECT_TRUE(frame->IsFrozen()); // as another frame shows the same pixels
    EXPECT_TRUE(shaped->IsFrozen());
    frame.reset();
    EXPECT_EQ(FirstPixel(shaped), (std::array<std::uint8_t, 4>{0, 0, 0, 255}));

    MF::IVideoFrameRef other;
    ASSERT_EQ(ShapePicture(shaped, Request(8, 4, kBGRX), other), VF::kFrameStatus_OK);
    EXPECT_NE(VF::IVideoFramePixelsRef(other)->GetPixels(), VF::IVideoFramePixelsRef(shaped)->GetPixels());
}

TEST(Pictures, OpaquePicturesOfAnotherSizeAreScaled)
{
    MF::IVideoFrameRef frame;
    ASSERT_EQ(VF::CreateVideoFrame(frame, norviktypes::kPixelFormat_BGRA_4444_8u, 16, 8, {1, 1}, true, false),
              VF::kFrameStatus_OK);
    MF::IVideoFrameRef shaped;
    ASSERT_EQ(ShapePicture(frame, Request(8, 4, kBGRX), shaped), VF::kFrameStatus_OK);
    TVK::Rect bounds;
    shaped->GetBounds(bounds);
    EXPECT_EQ(bounds, (TVK::Rect{0, 0, 8, 4}));
}

TEST(Pictures, AlphaThatIsNotWholeIsFilledInACopyWhateverItIsCalled)
{
    for (const norviktypes::AlphaChannel type :
         {norviktypes::kAlphaChannel_Straight, norviktypes::kAlphaChannel_None,
          norviktypes::kAlphaChannel_Opaque})
    {
        MF::IVideoFrameRef frame;
        ASSERT_EQ(
            VF::CreateVideoFrame(frame, norviktypes::kPixelFormat_BGRA_4444_8u, 16, 8, {1, 1}, true, false),
            VF::kFrameStatus_OK);
        frame->SetAlphaType(type);
        auto* const pixels = static_cast<std::uint8_t*>(VF::IVideoFramePixelsRef(frame)->GetPixels());
        std::uint8_t& last = pixels[7 * VF::IVideoFrameRasterRef(frame)->GetRowBytes() + 15 * 4 + 3];
        last = 254;
        MF::IVideoFrameRef shaped;
        ASSERT_EQ(ShapePicture(frame, Request(16, 8, kBGRX), shaped), VF::kFrameStatus_OK);
        EXPECT_EQ(Pixels(shaped).back(), 255);
        EXPECT_FALSE(frame->IsFrozen());

        last = 255;
        ASSERT_EQ(ShapePicture(frame, Request(16, 8, kBGRX), shaped), VF::kFrameStatus_OK);
        EXPECT_EQ(VF::IVideoFramePixelsRef(shaped)->GetPixels(), pixels);
        EXPECT_FALSE(shaped->MayHaveTransparency());
    }
}

TEST(Pictures, PlacedPicturesAreCutAtTheEdges)
{
    const MF::IVideoFrameRef white = NewFrame(4, 4);
    auto* pixels = static_cast<std::uint8_t*>(VF::IVideoFramePixelsRef(white)->GetPixels());
    const std::int32_t rowBytes = VF::IVideoFrameRasterRef(white)->GetRowBytes();
    for (std::int32_t y = 0; y < 4; ++y)
    {
        std::fill_n(pixels + y * rowBytes, 16, std::uint8_t{0xEE});
    }
    const MF::IVideoFrameRef sheet = NewFrame(8, 8);
    PlacePicture(white, sheet, -2, 6);
    PlacePicture(white, sheet, 20, 20);
    const std::vector<std::uint8_t> result = Pixels(sheet);
    for (std::size_t y = 0; y < 8; ++y)
    {
        for (std::size_t x = 0; x < 8; ++x)
        {
            EXPECT_EQ(result[(y * 8 + x) * 4], x < 2 && y >= 6 ? 0xEE : 0) << x << ", " << y;
        }
    }
}

TEST(Pictures, LabelsStayInTheirRectangle)
{
    const MF::IVideoFrameRef frame = NewFrame(100, 40);
    DrawLabel(frame, 10, 5, 2, "01:23");
    const std::int32_t right = 10 + LabelWidth("01:23", 2);
    const std::int32_t bottom = 5 + LabelHeight(2);
    const std::vector<std::uint8_t> pixels = Pixels(frame);
    int ink = 0;
    for (std::int32_t y = 0; y < 40; ++y)
    {
        for (std::int32_t x = 0; x < 100; ++x)
        {
            const bool isInside = x >= 10 && x < right && y >= 5 && y < bottom;
            const bool isInk = pixels[static_cast<std::size_t>((y * 100 + x) * 4)] != 0;
            EXPECT_TRUE(isInside || !isInk) << x << ", " << y;
            ink += isInk ? 1 : 0;
        }
    }
    EXPECT_GT(ink, 100);
}
