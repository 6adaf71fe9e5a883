#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <vector>

#include <gtest/gtest.h>

#include "BE/IMediaInfo.h"
#include "BE/IVideoSource.h"
#include "LinearDecode.h"
#include "MF/PixelFormats.h"
#include "OpenedMedia.h"
#include "ReferenceHost/FrameLibrary/VideoFrame.h"
#include "ReferenceHost/Media/FFmpeg/FFmpegVideoSource.h"
#include "ReferenceHost/Media/FFmpeg/MediaFacts.h"
#include "ReferenceHost/Media/FFmpeg/PictureTurn.h"
#include "ReferenceHost/Media/FileIdentity.h"
#include "ReferenceHost/Media/FilePart.h"
#include "ReferenceHost/Media/Media.h"
#include "ReferenceHost/Media/VideoSourceBase.h"
#include "StillFiles.h"
#include "Tests/Support/Paths.h"

// Movie files through the interfaces that the library sees.
namespace
{

using BE::FrameDescription;
using norviktypes::PixelFormat;
using norviktypes::TickTime;
using TestSupport::MediaPath;

struct OpenedClip
{
    BE::IMediaInfoRef media;
    BE::IVideoSourceRef source;
    norviktypes::FrameRate rate;

    TickTime TimeOf(std::int64_t inFrame) const { return TickTime::FromFrame(inFrame, rate); }

    PixelFormat Native() const
    {
        std::vector<PixelFormat> formats;
        source->GetNativePixelFormat(formats);
        return formats.front();
    }

    MF::IVideoFrameRef Frame(std::int64_t inFrame, const PixelFormat& inFormat, int inWidth = 0,
                             int inHeight = 0) const
    {
        MF::IVideoFrameRef frame;
        EXPECT_EQ(Ask(TimeOf(inFrame), inFormat, inWidth, inHeight, false, frame), BE::kSourceStatus_OK);
        return frame;
    }

    std::int32_t Ask(const TickTime& inTime, const PixelFormat& inFormat, int inWidth, int inHeight,
                     bool inAtOnce, MF::IVideoFrameRef& outFrame) const
    {
        FrameDescription description;
        description.mPixelFormat = inFormat;
        description.mBounds = {0, 0, inWidth, inHeight};
        return source->GetRenderedFrame(inTime, description, MF::BinaryData(), norviktypes::ColorProfile(),
                                        inAtOnce, outFrame);
    }

    TVK::Guid Key(std::int64_t inFrame, const PixelFormat& inFormat, int inWidth = 0, int inHeight = 0) const
    {
        FrameDescription description;
        description.mPixelFormat = inFormat;
        description.mBounds = {0, 0, inWidth, inHeight};
        return source->GetFrameKey(TimeOf(inFrame), description, MF::BinaryData(),
                                   norviktypes::ColorProfile());
    }
};

OpenedClip OpenPath(const std::string& inPath, std::int32_t inStream = -1)
{
    Media::OpenOptions options;
    options.mStreamIndex = inStream;
    options.mDecoderThreads = 2;
    OpenedClip clip;
    clip.media = MediaTests::OpenOrFail(inPath, options);
    if (clip.media)
    {
        clip.source = BE::IVideoSourceRef(clip.media->GetStream(MF::kMediaType_Video, 0));
        clip.source->GetFrameRate(clip.rate);
    }
    return clip;
}

OpenedClip OpenClip(const std::string& inName, std::int32_t inStream = -1)
{
    return OpenPath(MediaPath(inName), inStream);
}

// As PictureChecksum, over the pixels of a frame.
std::uint32_t Checksum(const MF::IVideoFrameRef& inFrame)
{
    VF::FramePixels pixels;
    EXPECT_TRUE(VF::GetFramePixels(inFrame, pixels));
    std::uint32_t low = 0;
    std::uint32_t high = 0;
    for (std::uint32_t plane = 0; plane < pixels.mGeometry.mPlaneCount; ++plane)
    {
        for (std::uint32_t line = 0; line < pixels.mGeometry.mPlanes[plane].mLines; ++line)
        {
            const std::uint8_t* row = pixels.Row(plane, line);
            for (std::uint64_t byte = 0; byte < pixels.mGeometry.mPlanes[plane].mUsedBytes; ++byte)
            {
                low = (low + row[byte]) % 65521;
                high = (high + low) % 65521;
            }
        }
    }
    return (high << 16) | low;
}

struct NativeCase
{
    const char* clip;
    PixelFormat format;
};

TEST(FFmpegSource, NativeFormatLosesNeitherDepthNorAlpha)
{
    for (const NativeCase& each :
         {NativeCase{"h264_b.mp4", MF::kPixelFormat_YUV_420_MPEG2_Frame_8u_709},
          NativeCase{"h264_open.ts", MF::kPixelFormat_YUV_420_MPEG2_Frame_8u_601},
          NativeCase{"mpeg2_interlaced.mkv", MF::kPixelFormat_YUV_420_MPEG2_Field_8u_601},
          NativeCase{"mjpeg.avi", MF::kPixelFormat_YUV_420_Center_Frame_8u_601_Full},
          NativeCase{"h264_444.mp4", MF::kPixelFormat_VUYX_4444_8u},
          NativeCase{"ffv1_444_10.mkv", MF::kPixelFormat_VUYX_4444_32f},
          NativeCase{"prores_4444.mov", MF::kPixelFormat_VUYA_4444_32f},
          NativeCase{"vp9_alpha.webm", MF::kPixelFormat_VUYA_4444_8u},
          NativeCase{"qtrle_alpha.mov", MF::kPixelFormat_BGRA_4444_8u},
          NativeCase{"png.mov", MF::kPixelFormat_BGRX_4444_8u},
          NativeCase{"raw_uyvy.avi", MF::kPixelFormat_UYVY_422_8u_601},
          NativeCase{"hdr_pq.mkv", MF::kPixelFormat_BGRX_4444_32f}})
    {
        EXPECT_EQ(OpenClip(each.clip).Native(), each.format)
            << each.clip << ": " << norviktypes::PixelFormatText(OpenClip(each.clip).Native());
    }
}

TEST(FFmpegSource, NativeFramesHoldTheDecodersSamples)
{
    for (const char* name :
         {"h264_b.mp4", "h264_open.ts", "mpeg2_interlaced.ts", "mjpeg.avi", "raw_uyvy.avi"})
    {
        const OpenedClip clip = OpenClip(name);
        const std::vector<MediaTests::LinearFrame> linear = MediaTests::DecodeLinearly(MediaPath(name), 0);
        for (const std::int64_t frame : {0, 7, 19})
        {
            EXPECT_EQ(Checksum(clip.Frame(frame, clip.Native())),
                      linear[static_cast<std::size_t>(frame)].checksum)
                << name << " frame " << frame;
        }
    }
}

TEST(FFmpegSource, WildcardFormatIsTheNativeOne)
{
    const OpenedClip clip = OpenClip("h264_b.mp4");
    PixelFormat format;
    clip.Frame(0, MF::kPixelFormat_Any)->GetPixelFormat(format);
    EXPECT_EQ(format, clip.Native());
}

TEST(FFmpegSource, RequestsAreNarrowedToThePicture)
{
    const OpenedClip clip = OpenClip("h264_b.mp4");
    FrameDescription description;
    description.mPixelFormat = MF::kPixelFormat_BGRA_4444_8u;
    description.mBounds = {0, 0, 4000, 48};
    TickTime time = clip.TimeOf(3);
    clip.source->NormalizeFormat(time, description, MF::BinaryData());
    EXPECT_EQ(description.mBounds, (TVK::Rect{0, 0, 160, 48}));
    EXPECT_EQ(description.mPixelFormat, MF::kPixelFormat_BGRA_4444_8u);
    EXPECT_EQ(time, clip.TimeOf(3));
}

TEST(FFmpegSource, SmallerFramesAreScaledOnReading)
{
    for (const char* name : {"h264_b.mp4", "mpeg2_interlaced.ts", "rotated.mp4"})
    {
        const MF::IVideoFrameRef frame = OpenClip(name).Frame(5, MF::kPixelFormat_BGRA_4444_8u, 80, 40);
        TVK::Rect bounds;
        frame->GetBounds(bounds);
        EXPECT_EQ(bounds, (TVK::Rect{0, 0, 80, 40})) << name;
    }
}

TEST(FFmpegSource, TimesAtAndPastTheEndHaveNoFrame)
{
    const OpenedClip clip = OpenClip("h264_b.mp4");
    MF::IVideoFrameRef frame;
    TickTime duration;
    clip.media->GetStream(MF::kMediaType_Video, 0)->GetDuration(duration);
    EXPECT_EQ(duration, clip.TimeOf(100));
    EXPECT_EQ(clip.Ask(duration, clip.Native(), 0, 0, false, frame), BE::kSourceStatus_PastEnd);
    EXPECT_FALSE(frame);
    EXPECT_EQ(clip.Ask(TickTime(duration.GetTicks() - 1), clip.Native(), 0, 0, false, frame),
              BE::kSourceStatus_OK);
    EXPECT_EQ(clip.Ask(TickTime(-1), clip.Native(), 0, 0, false, frame), BE::kSourceStatus_OK);
    EXPECT_EQ(Checksum(frame), Checksum(clip.Frame(0, clip.Native())));
}

TEST(FFmpegSource, AtOnceRequestsNeverDecode)
{
    const OpenedClip clip = OpenClip("h264_b.mp4");
    MF::IVideoFrameRef frame;
    EXPECT_LT(clip.Ask(clip.TimeOf(60), clip.Native(), 0, 0, true, frame), 0);
    clip.Frame(60, clip.Native());
    EXPECT_EQ(clip.Ask(clip.TimeOf(60), clip.Native(), 0, 0, true, frame), BE::kSourceStatus_OK);
}

bool SystemTellsWhatItHasInMemory(const std::string& inPath)
{
    Media::OpenedPart file;
    char byte = 0;
    return file.Open(inPath) && file.Read(&byte, 1, 0) == 1 && file.ReadFromMemory(&byte, 1, 0) == 1;
}

// Once it's known how its pictures lie, none of them needs a decoder; but those of another size do.
TEST(FFmpegSource, BarePicturesAreAnsweredAtOnceOnceOneWasRead)
{
    if (!SystemTellsWhatItHasInMemory(MediaPath("raw_i420.avi")))
    {
        GTEST_SKIP() << "the system can't tell what it has of the file in its memory";
    }
    const PixelFormat bgra = norviktypes::kPixelFormat_BGRA_4444_8u;
    const OpenedClip clip = OpenClip("raw_i420.avi");
    MF::IVideoFrameRef frame;
    EXPECT_EQ(clip.Ask(clip.TimeOf(7), bgra, 0, 0, true, frame), Media::kSourceStatus_NotAtHand);
    clip.Frame(3, bgra);
    clip.Frame(7, bgra); // from here on in the system's memory
    EXPECT_EQ(clip.Ask(clip.TimeOf(7), bgra, 0, 0, true, frame), BE::kSourceStatus_OK);
    const OpenedClip other = OpenClip("raw_i420.avi");
    EXPECT_EQ(Checksum(frame), Checksum(other.Frame(7, bgra)));
    EXPECT_EQ(clip.Ask(clip.TimeOf(7), bgra, 64, 36, true, frame), Media::kSourceStatus_NotAtHand);
    EXPECT_FALSE(frame);
}

TEST(FFmpegSource, PlanesOfBareVideoAreDecodedOnce)
{
    Media::FileError error;
    const auto file = Media::MediaFile::Open(MediaPath("raw_i420.avi"), Media::FileOptions(), error);
    ASSERT_TRUE(file) << error.text;
    OpenedClip clip;
    clip.source = BE::IVideoSourceRef(new Media::FFmpegVideoSource(file, TVK::Guid(0x506c, 0x616e)));
    clip.source->GetFrameRate(clip.rate);
    ASSERT_TRUE(norviktypes::IsSubsampled(clip.Native().mProperties));
    clip.Frame(0, clip.Native());
    EXPECT_EQ(file->Statistics().framesDecoded, 1u);
}

class StreamThatReadsByItself : public testing::Test
{
protected:
    StreamThatReadsByItself()
    {
        std::filesystem::copy_file(MediaPath("raw_i420.avi"), mPath);
        mClip = OpenPath(mPath);
        mFace = BE::IAsyncVideoSourceRef(mClip.source);
    }

    void SetUp() override
    {
        ASSERT_TRUE(mFace);
        if (!SystemTellsWhatItHasInMemory(mPath))
        {
            GTEST_SKIP() << "the system can't tell what it has of " << mPath << " in its memory";
        }
    }

    void Read(std::int64_t inFirst, std::int64_t inCount) const
    {
        for (std::int64_t frame = inFirst; frame < inFirst + inCount; ++frame)
        {
            mClip.Frame(frame, norviktypes::kPixelFormat_BGRA_4444_8u);
        }
    }

    std::int32_t Issue(std::int64_t inFrame, int inWidth = 0, int inHeight = 0) const
    {
        FrameDescription description;
        description.mPixelFormat = norviktypes::kPixelFormat_BGRA_4444_8u;
        description.mBounds = {0, 0, inWidth, inHeight};
        return mFace->IssueAsyncRead(mClip.TimeOf(inFrame), description, {}, {});
    }

    const TestSupport::ScratchFolder mFolder;
    const std::string mPath = mFolder.File("raw.avi");
    OpenedClip mClip;
    BE::IAsyncVideoSourceRef mFace;
};

TEST_F(StreamThatReadsByItself, DoesSoOnceItsPicturesHaveBeenInMemory)
{
    EXPECT_FALSE(mFace->IsAsyncEnabled());
    Read(0, 8); // the first one is decoded, to find out how they lie, and then looked for like the others
    EXPECT_TRUE(mFace->IsAsyncEnabled());
    EXPECT_GE(Issue(12), 0);
    MF::IVideoFrameRef frame;
    EXPECT_EQ(mClip.Ask(mClip.TimeOf(12), norviktypes::kPixelFormat_BGRA_4444_8u, 0, 0, true, frame),
              BE::kSourceStatus_OK);
    const OpenedClip other = OpenClip("raw_i420.avi");
    EXPECT_EQ(Checksum(frame), Checksum(other.Frame(12, norviktypes::kPixelFormat_BGRA_4444_8u)));
    EXPECT_TRUE(mFace->IsAsyncEnabled());
}

TEST_F(StreamThatReadsByItself, RefusesWhatIsMissingAndReadsThroughOthersUntilAllIsThereAgain)
{
    Read(0, 8);
    std::ostringstream content;
    content << std::ifstream(mPath, std::ios::binary).rdbuf();
    std::filesystem::resize_file(mPath, content.str().size() / 2);
    EXPECT_LT(Issue(19), 0);
    EXPECT_FALSE(mFace->IsAsyncEnabled());
    MF::IVideoFrameRef frame;
    EXPECT_LT(mClip.Ask(mClip.TimeOf(19), norviktypes::kPixelFormat_BGRA_4444_8u, 0, 0, true, frame), 0);
    EXPECT_EQ(mClip.Ask(mClip.TimeOf(19), norviktypes::kPixelFormat_BGRA_4444_8u, 0, 0, false, frame),
              BE::kSourceStatus_BadMedia);
    std::ofstream(mPath, std::ios::binary) << content.str();
    Read(1, 7);
    EXPECT_FALSE(mFace->IsAsyncEnabled());
    Read(8, 1);
    EXPECT_TRUE(mFace->IsAsyncEnabled());
}

TEST_F(StreamThatReadsByItself, RefusesWhatNeedsADecoder)
{
    Read(0, 8);
    EXPECT_LT(Issue(10, 64, 36), 0);
    EXPECT_FALSE(mFace->IsAsyncEnabled());
    Read(0, 8);
    EXPECT_LT(Issue(20), 0) << "there is no such frame";
    const OpenedClip compressed = OpenClip("h264_b.mp4");
    const BE::IAsyncVideoSourceRef face(compressed.source);
    for (std::int64_t frame = 0; frame < 12; ++frame)
    {
        compressed.Frame(frame, compressed.Native());
    }
    EXPECT_FALSE(face && face->IsAsyncEnabled());
}

TEST(FFmpegSource, KeysNameFileStreamFrameFormatAndSize)
{
    std::set<std::string> keys;
    std::size_t count = 0;
    const auto add = [&](const TVK::Guid& inKey)
    {
        EXPECT_NE(inKey, TVK::Guid());
        keys.insert(std::string(inKey.AsUTF8String().c_str()));
        ++count;
    };
    for (const std::int32_t stream : {0, 1})
    {
        const OpenedClip clip = OpenClip("two_videos.mkv", stream);
        for (std::int64_t frame = 0; frame < 20; ++frame)
        {
            add(clip.Key(frame, MF::kPixelFormat_BGRA_4444_8u));
            add(clip.Key(frame, MF::kPixelFormat_BGRA_4444_16u));
            add(clip.Key(frame, MF::kPixelFormat_BGRA_4444_8u, 32, 32));
        }
    }
    add(OpenClip("h264_b.mp4").Key(0, MF::kPixelFormat_BGRA_4444_8u));
    EXPECT_EQ(keys.size(), count);

    const OpenedClip again = OpenClip("two_videos.mkv", 1);
    add(again.Key(3, MF::kPixelFormat_BGRA_4444_8u));
    EXPECT_EQ(keys.size(), count - 1) << "the same frame of the same file has the same key";
}

TEST(FFmpegSource, RewrittenFileHasOtherKeys)
{
    TestSupport::ScratchFolder folder;
    const std::string path = folder.File("clip.mp4");
    MediaTests::WriteBytes(path, MediaTests::ReadBytes(MediaPath("h264_b.mp4")));
    const TVK::Guid before = OpenPath(path).Key(0, MF::kPixelFormat_BGRA_4444_8u);
    EXPECT_EQ(OpenPath(path).Key(0, MF::kPixelFormat_BGRA_4444_8u), before);
    MediaTests::WriteBytes(path, MediaTests::ReadBytes(MediaPath("h264_444.mp4")));
    EXPECT_NE(OpenPath(path).Key(0, MF::kPixelFormat_BGRA_4444_8u), before);
}

TEST(FFmpegSource, TurnedPicturesStandUpright)
{
    // FFmpeg's command line turns by itself, after its own conversion; so an exact comparison needs one that
    // both make alike: each turn of ours of the unturned frame.
    const OpenedClip lying = OpenClip("h264_b.mp4");
    const OpenedClip upright = OpenClip("rotated.mp4");
    TVK::Rect bounds;
    upright.source->GetBounds(bounds);
    EXPECT_EQ(bounds, (TVK::Rect{0, 0, 96, 160}));
    const MF::IVideoFrameRef turned = upright.Frame(10, MF::kPixelFormat_BGRA_4444_8u);
    const MF::IVideoFrameRef source = lying.Frame(10, MF::kPixelFormat_BGRA_4444_8u);
    VF::FramePixels to;
    VF::FramePixels from;
    ASSERT_TRUE(VF::GetFramePixels(turned, to) && VF::GetFramePixels(source, from));
    ASSERT_EQ(to.mWidth, from.mHeight);

    // Which way: by what FFmpeg's command line makes of the same file, in grey.
    TestSupport::ScratchFolder folder;
    const std::string raw = folder.File("turned.gray");
    MediaTests::RunFFmpeg(
        {"-i", MediaPath("rotated.mp4"), "-frames:v", "1", "-vf", "format=gray", "-f", "rawvideo", raw});
    const std::vector<std::uint8_t> expected = MediaTests::ReadBytes(raw);
    ASSERT_EQ(expected.size(), 96u * 160u);
    const MF::IVideoFrameRef first = upright.Frame(0, MF::kPixelFormat_BGRA_4444_8u);
    VF::FramePixels pixels;
    ASSERT_TRUE(VF::GetFramePixels(first, pixels));
    double difference = 0;
    for (std::uint32_t y = 0; y < 160; ++y)
    {
        for (std::uint32_t x = 0; x < 96; ++x)
        {
            const std::uint8_t* pixel = pixels.Row(0, y) + 4 * x;
            const double luma = 16 + (0.2126 * pixel[2] + 0.7152 * pixel[1] + 0.0722 * pixel[0]) * 219 / 255;
            difference += std::abs(luma - expected[y * 96 + x]);
        }
    }
    EXPECT_LT(difference / (96 * 160), 12.0); // a wrong turn differs by fifty and more
    for (std::uint32_t y = 0; y < from.mHeight; ++y)
    {
        for (std::uint32_t x = 0; x < from.mWidth; ++x)
        {
            ASSERT_EQ(std::memcmp(from.Row(0, y) + 4 * x, to.Row(0, 159 - x) + 4 * y, 4) == 0 ||
                          std::memcmp(from.Row(0, y) + 4 * x, to.Row(0, x) + 4 * (95 - y), 4) == 0,
                      true);
        }
    }
}

TEST(FFmpegSource, TurnedPicturesStandUprightInBottomUpFramesToo)
{
    const OpenedClip clip = OpenClip("rotated.mp4");
    const MF::IVideoFrameRef down = clip.Frame(10, MF::kPixelFormat_BGRA_4444_8u);
    const MF::IVideoFrameRef up = clip.Frame(10, norviktypes::kPixelFormat_BGRA_4444_8u_BottomUp);
    VF::FramePixels expected;
    VF::FramePixels pixels;
    ASSERT_TRUE(VF::GetFramePixels(down, expected) && VF::GetFramePixels(up, pixels));
    for (std::uint32_t y = 0; y < expected.mHeight; ++y)
    {
        ASSERT_EQ(std::memcmp(pixels.Row(0, expected.mHeight - 1 - y), expected.Row(0, y), 4 * 96), 0) << y;
    }
}

namespace
{

// The interlaced clip with a turn by inDegrees asked for.
OpenedClip OpenInterlacedTurnedBy(const char* inDegrees, const TestSupport::ScratchFolder& inFolder)
{
    const std::string path = inFolder.File(std::string("turned") + inDegrees + ".mov");
    MediaTests::RunFFmpeg({"-i", MediaPath("mpeg2_interlaced.ts"), "-an", "-c", "copy", "-metadata:s:v:0",
                           std::string("rotate=") + inDegrees, path});
    return OpenPath(path);
}

} // namespace

TEST(FFmpegSource, FieldsOfAPictureOnItsHeadChangePlaces)
{
    const TestSupport::ScratchFolder folder;
    const OpenedClip upright = OpenInterlacedTurnedBy("0", folder);
    const OpenedClip turned = OpenInterlacedTurnedBy("180", folder);
    EXPECT_EQ(upright.source->GetFieldType(), norviktypes::kFieldType_UpperFirst);
    EXPECT_EQ(turned.source->GetFieldType(), norviktypes::kFieldType_LowerFirst);
    EXPECT_EQ(OpenInterlacedTurnedBy("90", folder).source->GetFieldType(),
              norviktypes::kFieldType_Progressive);
}

TEST(FFmpegSource, FieldsOfTurnedPicturesAreScaledApart)
{
    const TestSupport::ScratchFolder folder;
    const MF::IVideoFrameRef upright =
        OpenInterlacedTurnedBy("0", folder).Frame(5, MF::kPixelFormat_BGRA_4444_8u, 80, 48);
    const MF::IVideoFrameRef turned =
        OpenInterlacedTurnedBy("180", folder).Frame(5, MF::kPixelFormat_BGRA_4444_8u, 80, 48);
    VF::FramePixels expected;
    VF::FramePixels pixels;
    ASSERT_TRUE(VF::GetFramePixels(upright, expected) && VF::GetFramePixels(turned, pixels));
    int largest = 0;
    for (std::uint32_t y = 0; y < 48; ++y)
    {
        for (std::uint32_t x = 0; x < 80; ++x)
        {
            const std::uint8_t* one = expected.Row(0, 47 - y) + 4 * (79 - x);
            const std::uint8_t* other = pixels.Row(0, y) + 4 * x;
            for (int c = 0; c < 4; ++c)
            {
                largest = std::max(largest, std::abs(one[c] - other[c]));
            }
        }
    }
    EXPECT_LE(largest, 1);
}

TEST(FFmpegSource, EachTurnPutsEachPixelInItsPlace)
{
    const std::uint32_t source[6] = {1, 2, 3, 4, 5, 6}; // three across, two down
    struct Turn
    {
        Media::Orientation orientation;
        std::uint32_t expected[6];
    };
    const Turn turns[] = {{{0, false}, {1, 2, 3, 4, 5, 6}},   {{90, false}, {4, 1, 5, 2, 6, 3}},
                          {{180, false}, {6, 5, 4, 3, 2, 1}}, {{270, false}, {3, 6, 2, 5, 1, 4}},
                          {{0, true}, {3, 2, 1, 6, 5, 4}},    {{90, true}, {6, 3, 5, 2, 4, 1}},
                          {{180, true}, {4, 5, 6, 1, 2, 3}},  {{270, true}, {1, 4, 2, 5, 3, 6}}};
    for (const Turn& turn : turns)
    {
        std::uint32_t target[6] = {};
        const int width = turn.orientation.SwapsSides() ? 2 : 3;
        Media::TurnPicture(source, 12, 3, 2, 4, turn.orientation, target, 4 * width);
        for (int pixel = 0; pixel < 6; ++pixel)
        {
            EXPECT_EQ(target[pixel], turn.expected[pixel])
                << turn.orientation.clockwiseDegrees << (turn.orientation.flipHorizontally ? " flipped" : "");
        }
    }
}

TEST(FFmpegSource, PicturesOfAnotherSizeAreScaledToTheFirst)
{
    const OpenedClip clip = OpenClip("size_change.ts");
    for (const std::int64_t frame : {2, 30})
    {
        TVK::Rect bounds;
        clip.Frame(frame, MF::kPixelFormat_BGRA_4444_8u)->GetBounds(bounds);
        EXPECT_EQ(bounds, (TVK::Rect{0, 0, 160, 96})) << frame;
    }
}

TEST(FFmpegSource, TraitsOfTheFileAreToldToTheLibrary)
{
    norviktypes::PixelAspectRatio aspect;
    OpenClip("anamorphic.mp4").source->GetPixelAspectRatio(aspect);
    EXPECT_EQ(aspect, norviktypes::PixelAspectRatio(16, 11));
    EXPECT_EQ(OpenClip("mpeg2_interlaced.ts").source->GetFieldType(), norviktypes::kFieldType_UpperFirst);
    EXPECT_EQ(OpenClip("mpeg2_interlaced.ts").Frame(3, MF::kPixelFormat_BGRA_4444_8u)->GetFieldType(),
              norviktypes::kFieldType_UpperFirst);
    EXPECT_TRUE(BE::IVideoStreamInfoRef(OpenClip("vfr.mp4").source)->HasNoFrameGrid());
    EXPECT_FALSE(BE::IVideoStreamInfoRef(OpenClip("h264_b.mp4").source)->HasNoFrameGrid());
    const OpenedClip timecode = OpenClip("timecode.mov");
    EXPECT_TRUE(timecode.source->IsDropFrame());
    // 59 minutes, 58 seconds and 20 frames of 30, less two labels for each of 54 minutes.
    EXPECT_EQ(timecode.media->GetStartTimecode(), timecode.TimeOf((59 * 60 + 58) * 30 + 20 - 108));
    EXPECT_EQ(OpenClip("prores_4444.mov").source->GetAlphaType(), norviktypes::kAlphaChannel_Straight);
    EXPECT_EQ(OpenClip("h264_b.mp4").source->GetAlphaType(), norviktypes::kAlphaChannel_None);
}

TEST(FFmpegSource, FailuresNameFileFrameAndCause)
{
    TestSupport::ScratchFolder folder;
    std::vector<std::uint8_t> bytes = MediaTests::ReadBytes(MediaPath("png.mov"));
    std::string text(bytes.begin(), bytes.end());
    const std::size_t second = text.find("IHDR", text.find("IHDR") + 4);
    std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(second) - 8, 40, std::uint8_t{0});
    MediaTests::WriteBytes(folder.File("damaged.mov"), bytes);
    const OpenedClip clip = OpenPath(folder.File("damaged.mov"));
    MF::IVideoFrameRef frame;
    EXPECT_EQ(clip.Ask(clip.TimeOf(1), clip.Native(), 0, 0, false, frame), BE::kSourceStatus_BadMedia);
    const std::string failure = Media::IFrameFailureRef(clip.source)->DescribeFailure(clip.TimeOf(1));
    EXPECT_NE(failure.find("damaged.mov: frame 1 "), std::string::npos) << failure;
    EXPECT_EQ(Media::IFrameFailureRef(clip.source)->DescribeFailure(clip.TimeOf(2)), "");
}

}
