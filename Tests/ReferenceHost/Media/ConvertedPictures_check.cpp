#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "BE/IMediaInfo.h"
#include "MF/IVideoFrame.h"
#include "ReferenceHost/ImageRoutines/Planes.h"
#include "ReferenceHost/ImageRoutines/Reference.h"
#include "ReferenceHost/Media/FFmpeg/FFmpegMedia.h"
#include "Tests/Support/ChildProcess.h"
#include "Tests/Support/Paths.h"
#include "Tests/Support/Scale.h"
#include "VF/VideoFrame.h"
#include "norviktypes/PixelFormat.h"

// The whole way of a picture from a file to BGRA bytes, against two others who were told in this file, and
// not by the reader, what the samples mean: the double-precision reference, and zimg by FFmpeg's filter.
//
// The samples come out of the file by FFmpeg's own command line without any conversion, so that a mistake of
// ours in reading planes, sizes, ranges, matrices, siting or fields shows.

using namespace TestSupport;

namespace
{

constexpr int kFrames = 3;
constexpr int kAllowedDifference = 1; // code values of 8 bits

using Bytes = std::vector<unsigned char>;

struct Kind
{
    const char* name;
    const char* format;  // of FFmpeg
    const char* suffix;  // of the file
    const char* encoder; // and its options
    const char* tags;    // for the encoder
    const char* zscale;  // the same for zscale, as input
    int bits;
    int shiftX;
    int shiftY;
    int planes;
    ir::Matrix matrix;
    bool isFull;
    ir::ChromaSiting siting;
    bool isInterlaced;
};

void PrintTo(const Kind& inKind, std::ostream* outStream)
{
    *outStream << inKind.name;
}

constexpr auto k601 = ir::Matrix::k601;
constexpr auto k709 = ir::Matrix::k709;
constexpr auto kRGB = ir::Matrix::kRGB;
constexpr auto kLeft = ir::ChromaSiting::kLeft;
constexpr auto kCenter = ir::ChromaSiting::kCenter;

const char* const kTags709 = "-colorspace bt709 -color_primaries bt709 -color_trc bt709 -color_range tv";
const char* const kTags601 =
    "-colorspace smpte170m -color_primaries smpte170m -color_trc smpte170m -color_range tv";
const char* const kIn709 = "matrixin=709:rangein=limited:chromalin=left";
const char* const kIn601 = "matrixin=170m:rangein=limited:chromalin=left";
const char* const kInRGB = "matrixin=gbr:rangein=full";
const char* const kFFV1 = "ffv1";

const std::array<Kind, 14> kKinds = {{
    {"yuv420p_709", "yuv420p", "mkv", kFFV1, kTags709, kIn709, 8, 1, 1, 3, k709, false, kLeft, false},
    {"yuv420p_601", "yuv420p", "mkv", kFFV1, kTags601, kIn601, 8, 1, 1, 3, k601, false, kLeft, false},
    {"yuvj420p", "yuvj420p", "mov", "mjpeg -q:v 1", "", "matrixin=470bg:rangein=full:chromalin=center", 8, 1,
     1, 3, k601, true, kCenter, false},
    {"yuv422p", "yuv422p", "mkv", kFFV1, kTags709, kIn709, 8, 1, 0, 3, k709, false, kLeft, false},
    {"yuv444p", "yuv444p", "mkv", kFFV1, kTags709, kIn709, 8, 0, 0, 3, k709, false, kLeft, false},
    {"yuv444p_full", "yuv444p", "mkv", kFFV1,
     "-colorspace bt709 -color_primaries bt709 -color_trc bt709 -color_range pc", "matrixin=709:rangein=full",
     8, 0, 0, 3, k709, true, kLeft, false},
    {"yuv420p10", "yuv420p10le", "mkv", kFFV1, kTags709, kIn709, 10, 1, 1, 3, k709, false, kLeft, false},
    {"yuv422p10", "yuv422p10le", "mkv", kFFV1, kTags709, kIn709, 10, 1, 0, 3, k709, false, kLeft, false},
    {"yuv422p10_601", "yuv422p10le", "mkv", kFFV1, kTags601, kIn601, 10, 1, 0, 3, k601, false, kLeft, false},
    {"yuva444p10", "yuva444p10le", "mkv", kFFV1, kTags709, kIn709, 10, 0, 0, 4, k709, false, kLeft, false},
    {"gbrp", "gbrp", "mkv", "magicyuv", "", kInRGB, 8, 0, 0, 3, kRGB, true, kLeft, false},
    {"gbrap", "gbrap", "mkv", "magicyuv", "", kInRGB, 8, 0, 0, 4, kRGB, true, kLeft, false},
    {"gray_full", "gray", "mkv", kFFV1, "-color_range pc", "rangein=full", 8, 0, 0, 1, k709, true, kLeft,
     false},
    {"interlaced", "yuv420p", "mkv", kFFV1, kTags709, kIn709, 8, 1, 1, 3, k709, false, kLeft, true},
}};

struct Size
{
    int width;
    int height;
};

std::vector<std::string> Words(const std::string& inText)
{
    std::vector<std::string> words;
    for (std::size_t at = 0; at < inText.size();)
    {
        const std::size_t end = std::min(inText.find(' ', at), inText.size());
        if (end > at)
        {
            words.push_back(inText.substr(at, end - at));
        }
        at = end + 1;
    }
    return words;
}

Bytes FFmpeg(const std::string& inArguments)
{
    ChildRequest request;
    request.words = Words("ffmpeg -hide_banner -v error -nostdin -y " + inArguments);
    const ChildResult result = RunChild(std::move(request));
    EXPECT_EQ(result.exitCode, 0) << inArguments << "\n" << result.Describe();
    return Bytes(result.out.begin(), result.out.end());
}

Size PlaneSize(const Kind& inKind, const Size& inSize, int inPlane)
{
    const bool isChroma = inPlane == 1 || inPlane == 2;
    const auto half = [](int inLength, int inShift) { return (inLength + (1 << inShift) - 1) >> inShift; };
    return {half(inSize.width, isChroma ? inKind.shiftX : 0),
            half(inSize.height, isChroma ? inKind.shiftY : 0)};
}

std::size_t BytesOf(const Kind& inKind, const Size& inSize)
{
    std::size_t bytes = 0;
    for (int plane = 0; plane < inKind.planes; ++plane)
    {
        const Size size = PlaneSize(inKind, inSize, plane);
        bytes += static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height) *
                 (inKind.bits > 8 ? 2 : 1);
    }
    return bytes;
}

// Frame 0 is noise over all codes, frame 1 gentle slopes, frame 2 noise about the middle: clipping, rounding
// and ordinary pictures.
Bytes MakeSamples(const Kind& inKind, const Size& inSize)
{
    std::mt19937 random(static_cast<std::uint32_t>(Seed()));
    const int top = (1 << inKind.bits) - 1;
    Bytes samples;
    for (int frame = 0; frame < kFrames; ++frame)
    {
        for (int plane = 0; plane < inKind.planes; ++plane)
        {
            const Size size = PlaneSize(inKind, inSize, plane);
            for (int i = 0; i < size.width * size.height; ++i)
            {
                const int x = i % size.width;
                const int y = i / size.width;
                const int noise = static_cast<int>(random() % (1u << inKind.bits));
                const int slope = (x * (plane + 1) + y * 2) * top / (size.width * 4 + size.height * 2);
                const int value = frame == 0 ? noise : frame == 1 ? slope : top / 4 + noise / 2;
                samples.push_back(static_cast<unsigned char>(value & 0xFF));
                if (inKind.bits > 8)
                {
                    samples.push_back(static_cast<unsigned char>(value >> 8));
                }
            }
        }
    }
    return samples;
}

class Scene
{
public:
    Scene(const Kind& inKind, const Size& inSize) : mKind(inKind), mSize(inSize)
    {
        const Bytes samples = MakeSamples(inKind, inSize);
        std::ofstream(mFolder.File("made.raw"), std::ios::binary)
            .write(reinterpret_cast<const char*>(samples.data()),
                   static_cast<std::streamsize>(samples.size()));
        FFmpeg(fmt::format("{}{} -c:v {} {} {}", Raw("made.raw"),
                           inKind.isInterlaced ? " -vf setfield=tff" : "", inKind.encoder, inKind.tags,
                           ClipPath()));
        const Bytes decoded = FFmpeg(fmt::format("-i {} -fps_mode passthrough -f rawvideo -", ClipPath()));
        mFrameBytes = BytesOf(inKind, inSize);
        EXPECT_EQ(decoded.size(), kFrames * mFrameBytes);
        mSamples = decoded;
        std::ofstream(mFolder.File("decoded.raw"), std::ios::binary)
            .write(reinterpret_cast<const char*>(decoded.data()),
                   static_cast<std::streamsize>(decoded.size()));
    }

    std::string ClipPath() const { return mFolder.File(std::string("clip.") + mKind.suffix); }
    bool IsWhole() const { return mSamples.size() == kFrames * mFrameBytes; }

    // Rows of BGRA without padding.
    Bytes ByReference(int inFrame) const
    {
        ir::PlanarDescription description;
        const void* planes[4] = {nullptr, nullptr, nullptr, nullptr};
        const unsigned char* at = mSamples.data() + mFrameBytes * static_cast<std::size_t>(inFrame);
        for (int plane = 0; plane < mKind.planes; ++plane)
        {
            const Size size = PlaneSize(mKind, mSize, plane);
            planes[plane] = at;
            description.strides[plane] = size.width * (mKind.bits > 8 ? 2 : 1);
            at += description.strides[plane] * size.height;
        }
        Describe(description);
        ir::Picture source;
        ir::Picture target;
        Bytes pixels(PixelBytes());
        EXPECT_EQ(ir::PictureFromPlanes(description, planes, source), 0);
        EXPECT_EQ(ir::PictureFromCode(pixels.data(), mSize.width * 4, mSize.width, mSize.height, 4, target),
                  0);
        ir::reference::ConvertPicture(source, target);
        return pixels;
    }

    // All frames, by zscale; interlaced ones as two pictures of which each has its own chroma lines.
    std::vector<Bytes> ByZscale() const
    {
        if (mKind.isInterlaced)
        {
            return Woven(FieldByZscale("top", "topleft"), FieldByZscale("bottom", "bottomleft"));
        }
        const char* const format = mKind.planes == 1 ? "gray" : mKind.planes == 4 ? "gbrap" : "gbrp";
        return Split(RunZscale("", mKind.zscale, format), mSize);
    }

    std::vector<Bytes> ByOurReader() const;

private:
    std::size_t PixelBytes() const
    {
        return static_cast<std::size_t>(mSize.width) * static_cast<std::size_t>(mSize.height) * 4;
    }

    std::string Raw(const char* inName) const
    {
        return fmt::format("-f rawvideo -framerate 25 -pixel_format {} -video_size {}x{} -i {}", mKind.format,
                           mSize.width, mSize.height, mFolder.File(inName));
    }

    void Describe(ir::PlanarDescription& outDescription) const
    {
        outDescription.width = mSize.width;
        outDescription.height = mSize.height;
        outDescription.isRGB = mKind.matrix == ir::Matrix::kRGB;
        outDescription.isGray = mKind.planes == 1;
        outDescription.bitsPerSample = mKind.bits;
        outDescription.chromaShiftX = mKind.shiftX;
        outDescription.chromaShiftY = mKind.shiftY;
        outDescription.siting = mKind.siting;
        outDescription.isInterlaced = mKind.isInterlaced;
        outDescription.isFullRange = mKind.isFull;
        outDescription.matrix = mKind.matrix;
        outDescription.alpha = mKind.planes == 4 ? ir::AlphaKind::kStraight : ir::AlphaKind::kNone;
    }

    Bytes RunZscale(const std::string& inBefore, const std::string& inInput,
                    const std::string& inFormat) const
    {
        return FFmpeg(fmt::format(
            "-filter_threads 1 {} -vf {}zscale={}{}:range=full:filter=bilinear:dither=none,format={} "
            "-f rawvideo -",
            Raw("decoded.raw"), inBefore, inInput, mKind.planes == 1 ? "" : ":matrix=gbr", inFormat));
    }

    // Chroma of a field lies a quarter of a line of the field from the middle of a pair, towards inSiting,
    // which zscale can't be told. Halfway between two sitings, linear interpolation gives the mean of what
    // both give; in float, as codes would be clipped and rounded first.
    std::vector<Bytes> FieldByZscale(const std::string& inField, const std::string& inSiting) const
    {
        const std::string input = "matrixin=709:rangein=limited:chromalin=";
        const Bytes middle = RunZscale("field=" + inField + ",", input + "left", "gbrpf32le");
        const Bytes edge = RunZscale("field=" + inField + ",", input + inSiting, "gbrpf32le");
        EXPECT_EQ(middle.size(), edge.size());
        Bytes planes;
        for (std::size_t at = 0; at + 4 <= std::min(middle.size(), edge.size()); at += 4)
        {
            std::array<float, 2> values = {};
            std::memcpy(&values[0], middle.data() + at, 4);
            std::memcpy(&values[1], edge.data() + at, 4);
            const double code =
                std::round((static_cast<double>(values[0]) + static_cast<double>(values[1])) * 127.5);
            planes.push_back(static_cast<unsigned char>(std::clamp(code, 0.0, 255.0)));
        }
        return Split(planes, {mSize.width, mSize.height / 2});
    }

    // Planes to BGRA pixels, frame by frame.
    std::vector<Bytes> Split(const Bytes& inPlanes, const Size& inSize) const
    {
        const std::size_t count =
            static_cast<std::size_t>(inSize.width) * static_cast<std::size_t>(inSize.height);
        const std::size_t planes = static_cast<std::size_t>(mKind.planes);
        EXPECT_EQ(inPlanes.size(), kFrames * count * planes);
        std::vector<Bytes> frames;
        for (std::size_t at = 0; at + count * planes <= inPlanes.size(); at += count * planes)
        {
            const unsigned char* const g = inPlanes.data() + at;
            const unsigned char* const b = planes == 1 ? g : g + count;
            const unsigned char* const r = planes == 1 ? g : g + count * 2;
            Bytes pixels;
            for (std::size_t i = 0; i < count; ++i)
            {
                const unsigned char alpha = planes == 4 ? g[count * 3 + i] : static_cast<unsigned char>(255);
                pixels.insert(pixels.end(), {b[i], g[i], r[i], alpha});
            }
            frames.push_back(std::move(pixels));
        }
        return frames;
    }

    std::vector<Bytes> Woven(const std::vector<Bytes>& inUpper, const std::vector<Bytes>& inLower) const
    {
        std::vector<Bytes> frames;
        const auto row = static_cast<std::ptrdiff_t>(mSize.width) * 4;
        for (std::size_t frame = 0; frame < inUpper.size() && frame < inLower.size(); ++frame)
        {
            Bytes pixels;
            for (std::ptrdiff_t y = 0; y < mSize.height; ++y)
            {
                const Bytes& field = y % 2 == 0 ? inUpper[frame] : inLower[frame];
                const auto at = field.begin() + y / 2 * row;
                pixels.insert(pixels.end(), at, at + row);
            }
            frames.push_back(std::move(pixels));
        }
        return frames;
    }

    Kind mKind;
    Size mSize;
    ScratchFolder mFolder;
    Bytes mSamples;
    std::size_t mFrameBytes = 0;
};

Bytes PixelsOf(const MF::IVideoFrameRef& inFrame, const Size& inSize)
{
    const VF::IVideoFramePixelsRef pixels(inFrame);
    const VF::IVideoFrameRasterRef raster(inFrame);
    Bytes bytes;
    for (int y = 0; y < inSize.height; ++y)
    {
        const auto* const row = static_cast<const unsigned char*>(pixels->GetPixels()) +
                                static_cast<std::ptrdiff_t>(y) * raster->GetRowBytes();
        bytes.insert(bytes.end(), row, row + static_cast<std::ptrdiff_t>(inSize.width) * 4);
    }
    return bytes;
}

std::vector<Bytes> Scene::ByOurReader() const
{
    Media::OpenError error;
    const BE::IMediaInfoRef media = Media::OpenFFmpegMedia(ClipPath(), {}, error);
    std::vector<Bytes> frames;
    if (!media)
    {
        ADD_FAILURE() << error.mText;
        return frames;
    }
    const BE::IVideoSourceRef source(media->CreateSourceForStream(BE::kMediaType_Video, 0));
    BE::FrameDescription wanted;
    wanted.mPixelFormat = norviktypes::kPixelFormat_BGRA_4444_8u;
    wanted.mBounds = {0, 0, mSize.width, mSize.height};
    source->GetPixelAspectRatio(wanted.mPixelAspectRatio);
    wanted.mFieldType = source->GetFieldType();
    EXPECT_EQ(wanted.mFieldType != norviktypes::kFieldType_Progressive, mKind.isInterlaced);
    for (int frame = 0; frame < kFrames; ++frame)
    {
        const auto time = norviktypes::TickTime(norviktypes::kTicksPerSecond / 25 * frame);
        MF::IVideoFrameRef picture;
        EXPECT_EQ(source->GetRenderedFrame(time, wanted, {}, {}, false, picture), 0);
        if (!picture)
        {
            break;
        }
        norviktypes::PixelFormat format;
        TVK::Rect bounds;
        picture->GetPixelFormat(format);
        picture->GetBounds(bounds);
        EXPECT_EQ(format, wanted.mPixelFormat);
        EXPECT_EQ(bounds, wanted.mBounds);
        frames.push_back(PixelsOf(picture, mSize));
    }
    return frames;
}

// Where the largest difference is, and how large.
void ExpectNear(const Bytes& inOurs, const Bytes& inOther, const Size& inSize, const std::string& inWhat)
{
    ASSERT_EQ(inOurs.size(), inOther.size()) << inWhat;
    int largest = 0;
    std::size_t at = 0;
    std::size_t different = 0;
    for (std::size_t i = 0; i < inOurs.size(); ++i)
    {
        const int difference = std::abs(inOurs[i] - inOther[i]);
        different += difference != 0 ? 1 : 0;
        at = difference > largest ? i : at;
        largest = std::max(largest, difference);
    }
    const std::size_t pixel = at / 4;
    const std::size_t width = static_cast<std::size_t>(inSize.width);
    EXPECT_LE(largest, kAllowedDifference)
        << fmt::format("{}: {} bytes differ, most at x {} y {} component {}: {} against {}", inWhat,
                       different, pixel % width, pixel / width, "BGRA"[at % 4], inOurs[at], inOther[at]);
}

class ConvertedPictures : public testing::TestWithParam<Kind>
{
protected:
    static void Check(const Size& inSize, bool inWithZscale)
    {
        const Scene scene(GetParam(), inSize);
        ASSERT_TRUE(scene.IsWhole());
        const std::vector<Bytes> ours = scene.ByOurReader();
        ASSERT_EQ(ours.size(), static_cast<std::size_t>(kFrames));
        const std::vector<Bytes> zscale = inWithZscale ? scene.ByZscale() : std::vector<Bytes>();
        for (int frame = 0; frame < kFrames; ++frame)
        {
            const auto index = static_cast<std::size_t>(frame);
            ExpectNear(ours[index], scene.ByReference(frame), inSize,
                       fmt::format("frame {} and the reference", frame));
            if (inWithZscale)
            {
                ASSERT_EQ(zscale.size(), ours.size());
                ExpectNear(ours[index], zscale[index], inSize, fmt::format("frame {} and zscale", frame));
            }
        }
    }
};

}

TEST_P(ConvertedPictures, AreWithinOneCodeOfTheReferenceAndOfZscale)
{
    Check({158, 92}, true);
}

// Chroma at the last column and row of odd sizes, and vectors that don't fill; zscale doesn't take these.
TEST_P(ConvertedPictures, AreWithinOneCodeOfTheReferenceAtOddSizes)
{
    Check(GetParam().isInterlaced ? Size{131, 74} : Size{131, 73}, false);
}

INSTANTIATE_TEST_SUITE_P(Of, ConvertedPictures, testing::ValuesIn(kKinds),
                         [](const testing::TestParamInfo<Kind>& inInfo)
                         { return std::string(inInfo.param.name); });
