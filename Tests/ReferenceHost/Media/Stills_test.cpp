#include "ReferenceHost/FrameLibrary/SharedVideoFrameCacheControl.h"
#include "ReferenceHost/Media/IMediaFacts.h"
#include "ReferenceHost/Media/VideoSourceBase.h"
#include "Tests/ReferenceHost/Media/OpenedMedia.h"
#include "Tests/ReferenceHost/Media/StillFiles.h"
#include "Tests/Support/Paths.h"
#include "Tests/Support/PixelMatchers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

using namespace Media;
using namespace MediaTests;
using namespace TestSupport;
using norviktypes::TickTime;

namespace
{

// The JPEG with an EXIF block that tells how it is to be turned.
Bytes WithOrientation(const Bytes& inJPEG, std::uint8_t inOrientation)
{
    const Bytes exif = {0xFF, 0xE1, 0, 34, 'E', 'x', 'i', 'f', 0, 0, // APP1 and its length
                        'M',  'M',  0, 42, 0,   0,   0,   8,   0, 1, // one entry at offset 8
                        0x01, 0x12, 0, 3,  0,   0,   0,   1,   0, inOrientation,
                        0,    0,    0, 0,  0,   0};
    Bytes result(inJPEG.begin(), inJPEG.begin() + 2);
    result.insert(result.end(), exif.begin(), exif.end());
    result.insert(result.end(), inJPEG.begin() + 2, inJPEG.end());
    return result;
}

} // namespace

TEST(Stills, PicturesAreTurnedAsTheirFileAsks)
{
    const ScratchFolder scratch;
    const std::string upright = scratch.File("upright.jpg");
    constexpr std::size_t kW = 40;
    constexpr std::size_t kH = 24;
    RunFFmpeg({"-f", "lavfi", "-i", "testsrc2=s=40x24", "-frames:v", "1", "-pix_fmt", "yuvj444p", "-update",
               "1", upright});
    const Bytes source = PixelBytes(NativeFrame(upright));
    ASSERT_EQ(source.size(), kW * kH * 4);
    // Where the pixel (x, y) of the shown picture lies in the stored one, for each EXIF orientation.
    struct Turn
    {
        std::uint8_t mOrientation;
        bool mSwaps;
        bool mIsMirrored;
        std::array<std::size_t, 2> (*mSource)(std::size_t, std::size_t);
    };
    using P = std::array<std::size_t, 2>;
    const Turn turns[] = {
        {1, false, false,
         [](std::size_t x, std::size_t y) {
             return P{x, y};
         }},
        {2, false, true,
         [](std::size_t x, std::size_t y) {
             return P{kW - 1 - x, y};
         }},
        {3, false, false,
         [](std::size_t x, std::size_t y) {
             return P{kW - 1 - x, kH - 1 - y};
         }},
        {4, false, true,
         [](std::size_t x, std::size_t y) {
             return P{x, kH - 1 - y};
         }},
        {5, true, true,
         [](std::size_t x, std::size_t y) {
             return P{y, x};
         }},
        {6, true, false,
         [](std::size_t x, std::size_t y) {
             return P{y, kH - 1 - x};
         }},
        {7, true, true,
         [](std::size_t x, std::size_t y) {
             return P{kW - 1 - y, kH - 1 - x};
         }},
        {8, true, false,
         [](std::size_t x, std::size_t y) {
             return P{kW - 1 - y, x};
         }},
    };
    for (const Turn& turn : turns)
    {
        const std::string path = scratch.File("turned" + std::to_string(turn.mOrientation) + ".jpg");
        WriteBytes(path, WithOrientation(ReadBytes(upright), turn.mOrientation));
        const MF::IVideoFrameRef frame = NativeFrame(path);
        ASSERT_TRUE(frame);
        const std::size_t width = turn.mSwaps ? kH : kW;
        const std::size_t height = turn.mSwaps ? kW : kH;
        TVK::Rect bounds;
        frame->GetBounds(bounds);
        ASSERT_EQ(bounds, (TVK::Rect{0, 0, static_cast<int>(width), static_cast<int>(height)}));
        Bytes expected(source.size());
        for (std::size_t y = 0; y < height; ++y)
        {
            for (std::size_t x = 0; x < width; ++x)
            {
                const P from = turn.mSource(x, y);
                std::memcpy(&expected[(y * width + x) * 4], &source[(from[1] * kW + from[0]) * 4], 4);
            }
        }
        EXPECT_EQ(PixelBytes(frame), expected) << "orientation " << int{turn.mOrientation};
        const BE::IMediaInfoRef media = OpenOrFail(path);
        const std::vector<std::string>& notes = IMediaFactsRef(media)->GetFacts().mNotes;
        const bool isNoted =
            std::find(notes.begin(), notes.end(), "the picture is mirrored, as the file asks") != notes.end();
        EXPECT_EQ(isNoted, turn.mIsMirrored) << "orientation " << int{turn.mOrientation};
    }
}

TEST(Stills, HaveNoTimeAxis)
{
    const ScratchFolder scratch;
    const std::string path = scratch.File("a.png");
    EncodeNoise(path);
    const BE::IMediaInfoRef media = OpenOrFail(path);
    EXPECT_TRUE(media->IsStill());
    EXPECT_TRUE(media->IsFileSource());
    EXPECT_EQ(media->GetPath().View(), path);
    EXPECT_EQ(media->GetName(), u"a.png");
    const BE::IVideoSourceRef source = SourceOf(media);
    EXPECT_TRUE(source->IsImageSource());
    EXPECT_TRUE(BE::IVideoStreamInfoRef(source)->HasNoFrameGrid());
    norviktypes::FrameRate rate(5);
    source->GetFrameRate(rate);
    EXPECT_EQ(rate, norviktypes::kFrameRate_Zero);
    TickTime duration;
    std::uint32_t kind = 0;
    MF::ISourceRef(source)->GetDuration(duration);
    MF::ISourceRef(source)->GetStillKind(kind);
    EXPECT_EQ(duration, norviktypes::kTime_Max);
    EXPECT_EQ(kind, MF::kSourceKind_Still);
    MF::IVideoFrameRef first;
    MF::IVideoFrameRef other;
    for (const TickTime& time : {norviktypes::kTime_Min, TickTime(-1), TickTime(1), norviktypes::kTime_Max})
    {
        ASSERT_EQ(FrameAt(source, TickTime(), norviktypes::kPixelFormat_Any, first), 0);
        ASSERT_EQ(FrameAt(source, time, norviktypes::kPixelFormat_Any, other), 0);
        EXPECT_TRUE(first == other);
    }
}

TEST(Stills, AreDecodedOnceAndAgainOnlyWhenTheCacheDroppedThem)
{
    VF::SharedVideoFrameCache::Clear();
    const ScratchFolder scratch;
    const std::string path = scratch.File("a.png");
    EncodeNoise(path);
    const BE::IMediaInfoRef media = OpenOrFail(path);
    const BE::IVideoSourceRef source = SourceOf(media);
    MF::IVideoFrameRef frame;
    EXPECT_EQ(FrameAt(source, TickTime(), norviktypes::kPixelFormat_Any, frame, true),
              kSourceStatus_NotAtHand);
    EXPECT_FALSE(frame);
    EXPECT_EQ(FrameAt(source, TickTime(), norviktypes::kPixelFormat_BGRA_4444_16u, frame, true),
              kSourceStatus_NotAtHand);
    MF::IVideoFrameRef picture;
    ASSERT_EQ(FrameAt(source, TickTime(), norviktypes::kPixelFormat_Any, picture), 0);
    EXPECT_TRUE(picture->IsFrozen());

    // From here on the file is not needed: every source of it shares the decoded picture.
    std::filesystem::rename(path, scratch.File("away.png"));
    MF::IVideoFrameRef again;
    EXPECT_EQ(FrameAt(SourceOf(media), TickTime(), norviktypes::kPixelFormat_Any, again, true), 0);
    EXPECT_TRUE(again == picture);
    MF::IVideoFrameRef converted;
    EXPECT_EQ(FrameAt(source, TickTime(), norviktypes::kPixelFormat_BGRA_4444_16u, converted, true), 0);
    EXPECT_TRUE(HaveNearPixels(converted, picture, 0.0));
    EXPECT_EQ(IFrameFailureRef(source)->DescribeFailure(TickTime()), "");

    VF::SharedVideoFrameCache::Clear();
    EXPECT_EQ(FrameAt(source, TickTime(), norviktypes::kPixelFormat_Any, again), BE::kSourceStatus_BadMedia);
    EXPECT_FALSE(again);
    const std::string reason = IFrameFailureRef(source)->DescribeFailure(TickTime());
    EXPECT_NE(reason.find(path), std::string::npos) << reason;
    EXPECT_NE(reason.find("No such file"), std::string::npos) << reason;

    std::filesystem::rename(scratch.File("away.png"), path);
    EXPECT_EQ(FrameAt(source, TickTime(), norviktypes::kPixelFormat_Any, again), 0);
    EXPECT_TRUE(HaveEqualPixels(again, picture));
}

TEST(Stills, CachedFrameIsOneThatWasMadeBefore)
{
    VF::SharedVideoFrameCache::Clear();
    const ScratchFolder scratch;
    const std::string path = scratch.File("a.png");
    EncodeNoise(path);
    const BE::IMediaInfoRef media = OpenOrFail(path);
    const BE::IVideoSourceRef source = SourceOf(media);
    BE::FrameDescription asked;
    asked.mPixelFormat = norviktypes::kPixelFormat_BGRP_4444_8u;
    MF::IVideoFrameRef frame;
    EXPECT_LT(source->GetCachedFrame(TickTime(), asked, MF::BinaryData(), norviktypes::ColorProfile(), frame),
              0);
    EXPECT_FALSE(frame);
    MF::IVideoFrameRef made;
    ASSERT_EQ(FrameAt(source, TickTime(), asked.mPixelFormat, made), 0);
    EXPECT_EQ(source->GetCachedFrame(TickTime(), asked, MF::BinaryData(), norviktypes::ColorProfile(), frame),
              0);
    EXPECT_TRUE(frame == made);
}

TEST(Stills, AreScaledToSmallerBoundsAndNeverEnlarged)
{
    const ScratchFolder scratch;
    const std::string path = scratch.File("a.png");
    EncodeStill(Bytes(kStillPixels * 3, 77), "rgb24", kStillWidth, kStillHeight, {}, path);
    const BE::IMediaInfoRef media = OpenOrFail(path);
    MF::IVideoFrameRef frame;
    ASSERT_EQ(FrameAt(SourceOf(media), TickTime(), norviktypes::kPixelFormat_BGRA_4444_8u, frame, false,
                      {0, 0, 10, 7}),
              0);
    TVK::Rect bounds;
    frame->GetBounds(bounds);
    EXPECT_EQ(bounds, (TVK::Rect{0, 0, 10, 7}));
    EXPECT_TRUE(IsFilledWith(frame, {77, 77, 77, 255}));
    ASSERT_EQ(FrameAt(SourceOf(media), TickTime(), norviktypes::kPixelFormat_BGRA_4444_8u, frame, false,
                      {0, 0, 100, 7}),
              0);
    frame->GetBounds(bounds);
    EXPECT_EQ(bounds, (TVK::Rect{0, 0, kStillWidth, 7}));
}

TEST(Stills, KeyAndContentFollowTheFile)
{
    const ScratchFolder scratch;
    const std::string path = scratch.File("a.png");
    EncodeStill(Bytes(kStillPixels * 3, 10), "rgb24", kStillWidth, kStillHeight, {}, path);
    const auto key = [&]
    {
        const BE::IMediaInfoRef media = OpenOrFail(path);
        return SourceOf(media)->GetFrameKey(TickTime(), BE::FrameDescription(), MF::BinaryData(),
                                            norviktypes::ColorProfile());
    };
    const BE::IMediaInfoRef media = OpenOrFail(path);
    const norvik::UTF8String before = media->GetContentHash();
    const TVK::Guid first = key();
    EXPECT_NE(first, TVK::Guid());
    EXPECT_EQ(key(), first);
    EXPECT_EQ(media->GetContentHash(), before);
    // Same size, other time.
    std::filesystem::last_write_time(path, std::filesystem::last_write_time(path) + std::chrono::seconds(2));
    EXPECT_NE(key(), first);
    EXPECT_NE(media->GetContentHash(), before);
    std::filesystem::copy_file(path, scratch.File("b.png"));
    const BE::IMediaInfoRef copy = OpenOrFail(scratch.File("b.png"));
    EXPECT_NE(SourceOf(copy)->GetFrameKey(TickTime(), BE::FrameDescription(), MF::BinaryData(),
                                          norviktypes::ColorProfile()),
              first);
}
