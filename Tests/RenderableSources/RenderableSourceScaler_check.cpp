// Scaled frames against a resampler in double precision, and shapes of other than square pixels against
// geometry.
#include "RenderableSources.h"

#include "Tests/RenderableSources/DoubleResampler.h"
#include "Tests/RenderableSources/PaintedSource.h"
#include "Tests/RenderableSources/SourceCalls.h"
#include "Tests/Support/Fakes/FakeVideoSource.h"
#include "Tests/Support/FrameTools.h"
#include "Tests/Support/PixelMatchers.h"
#include "Tests/Support/Scale.h"
#include "Tests/VideoRenderer/RenderParams.h"
#include "VF/VideoFrame.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

namespace
{

using namespace norviktypes;
using DoubleResampler::Filter;
using DoubleResampler::Plane;
using TestSupport::PaintedSource;

constexpr PixelFormat kField420 = kPixelFormat_YUV_420_MPEG2_Field_8u_709;
constexpr PixelFormat kFrame420 = kPixelFormat_YUV_420_MPEG2_Frame_8u_709;

// Where a component lies in a row.
struct Component
{
    std::uint32_t mFirst;
    std::uint32_t mStride;
};

TVK::Rect BoundsOf(const MF::IVideoFrameRef& inFrame)
{
    TVK::Rect bounds;
    inFrame->GetBounds(bounds);
    return bounds;
}

// The luma of planar and YUV frames, the green of others.
Component ComponentOf(const MF::IVideoFrameRef& inFrame)
{
    PixelFormat format;
    inFrame->GetPixelFormat(format);
    if (IsSubsampled(format.mProperties))
    {
        return {0, 1};
    }
    return IsYUV(format.mProperties) ? Component{2, 4} : Component{1, 4};
}

Plane ReadPlane(const MF::IVideoFrameRef& inFrame)
{
    const TVK::Rect bounds = BoundsOf(inFrame);
    const Component component = ComponentOf(inFrame);
    Plane plane(static_cast<std::uint32_t>(bounds.Width()), static_cast<std::uint32_t>(bounds.Height()));
    for (std::uint32_t y = 0; y < plane.mHeight; ++y)
    {
        for (std::uint32_t x = 0; x < plane.mWidth; ++x)
        {
            plane.At(x, y) = TestSupport::RowOf(inFrame, y)[component.mFirst + x * component.mStride];
        }
    }
    return plane;
}

// Black with noise in the one component that is looked at; opaque, with grey chroma.
MF::IVideoFrameRef NoiseFrame(const PixelFormat& inFormat, std::uint32_t inWidth, std::uint32_t inHeight,
                              std::mt19937& ioRandom)
{
    MF::IVideoFrameRef frame;
    VF::CreateVideoFrame(frame, inFormat, inWidth, inHeight, {}, true, false);
    const Component component = ComponentOf(frame);
    for (std::uint32_t y = 0; y < inHeight; ++y)
    {
        for (std::uint32_t x = 0; x < inWidth; ++x)
        {
            TestSupport::RowOf(frame, y)[component.mFirst + x * component.mStride] =
                static_cast<std::uint8_t>(40 + ioRandom() % 170);
        }
    }
    return frame;
}

double LargestDifference(const Plane& inExpected, const Plane& inFound)
{
    if (inExpected.mWidth != inFound.mWidth || inExpected.mHeight != inFound.mHeight)
    {
        return 1e9;
    }
    double largest = 0;
    for (std::size_t n = 0; n < inExpected.mSamples.size(); ++n)
    {
        const double expected = std::clamp(std::round(inExpected.mSamples[n]), 0.0, 255.0);
        largest = std::max(largest, std::fabs(expected - inFound.mSamples[n]));
    }
    return largest;
}

struct Job
{
    PixelFormat mFormat;
    std::uint32_t mSourceWidth;
    std::uint32_t mSourceHeight;
    std::uint32_t mWidth;
    std::uint32_t mHeight;
    RenderQuality mQuality;
};

std::ostream& operator<<(std::ostream& ioStream, const Job& inJob)
{
    return ioStream << "format " << inJob.mFormat.mProperties << ", " << inJob.mSourceWidth << " x "
                    << inJob.mSourceHeight << " to " << inJob.mWidth << " x " << inJob.mHeight << ", quality "
                    << inJob.mQuality;
}

Filter FilterOf(RenderQuality inQuality)
{
    return inQuality <= kRenderQuality_Medium ? Filter::Triangle : Filter::Cubic;
}

// Heights are even, as those of frames with fields are.
Job RandomJob(std::mt19937& ioRandom)
{
    const PixelFormat formats[] = {kPixelFormat_BGRA_4444_8u, kPixelFormat_VUYX_4444_8u_709, kField420,
                                   kFrame420};
    const auto side = [&](std::uint32_t inLeast)
    { return inLeast + 2 * static_cast<std::uint32_t>(ioRandom() % 40); };
    // At the highest quality frames are worked on as floats, which are another test's.
    return {formats[ioRandom() % 4],
            side(16),
            side(16),
            side(9),
            side(8),
            static_cast<RenderQuality>(kRenderQuality_Low + ioRandom() % 3)};
}

// The frame of moments (0, 1) in the order inFieldType, as noise, scaled for a request of inTime's fields.
MF::IVideoFrameRef ScaledNoise(const Job& inJob, FieldType inFieldType, const MF::FrameTime& inTime,
                               std::mt19937& ioRandom, Plane& outSource)
{
    const TVK::InterfaceRef<PaintedSource> inner(new PaintedSource);
    inner->mFieldType = inFieldType;
    const MF::IVideoFrameRef noise =
        NoiseFrame(inJob.mFormat, inJob.mSourceWidth, inJob.mSourceHeight, ioRandom);
    noise->SetFieldType(inFieldType);
    noise->Freeze();
    outSource = ReadPlane(noise);
    inner->mFrameFunction = [&](const MF::FrameTime&) { return noise; };
    return RenderedFrame(ML::ScaleAndPARCorrectSource(inner), inTime,
                         RenderParams(inJob.mWidth, inJob.mHeight, inJob.mQuality));
}

MF::FrameTime TimesOfOrder(FieldType inFieldType)
{
    const TickTime field(FrameRate::FromRational(25, 1).GetTicks() / 2);
    return inFieldType == kFieldType_UpperFirst ? MF::FrameTime(TickTime(0), field)
                                                : MF::FrameTime(field, TickTime(0));
}

TEST(RenderableSourceScalerPixels, WholePicturesAgreeWithTheDoubleResampler)
{
    std::mt19937 random(static_cast<std::uint32_t>(TestSupport::Seed()));
    for (std::size_t n = 0; n < TestSupport::ScaledCount(60); ++n)
    {
        const Job job = RandomJob(random);
        SCOPED_TRACE(testing::Message() << job);
        Plane source;
        const Plane scaled =
            ReadPlane(ScaledNoise(job, kFieldType_Progressive, MF::FrameTime(), random, source));
        const Plane expected =
            DoubleResampler::Scale(source, job.mWidth, job.mHeight, FilterOf(job.mQuality));
        ASSERT_LE(LargestDifference(expected, scaled), 1.0);
    }
}

TEST(RenderableSourceScalerPixels, FieldsAgreeWithTheDoubleResamplerEachByItself)
{
    std::mt19937 random(static_cast<std::uint32_t>(TestSupport::Seed()));
    for (std::size_t n = 0; n < TestSupport::ScaledCount(60); ++n)
    {
        const Job job = RandomJob(random);
        if (job.mSourceWidth == job.mWidth && job.mSourceHeight == job.mHeight)
        {
            continue;
        }
        SCOPED_TRACE(testing::Message() << job);
        const FieldType type = n % 2 == 0 ? kFieldType_UpperFirst : kFieldType_LowerFirst;
        Plane source;
        const Plane scaled = ReadPlane(ScaledNoise(job, type, TimesOfOrder(type), random, source));
        const Plane expected =
            DoubleResampler::ScaleFields(source, job.mWidth, job.mHeight, FilterOf(job.mQuality));
        ASSERT_LE(LargestDifference(expected, scaled), 1.0);
    }
}

TEST(RenderableSourceScalerPixels, NearerFieldAgreesWithTheDoubleResamplerOfThatFieldAlone)
{
    std::mt19937 random(static_cast<std::uint32_t>(TestSupport::Seed()));
    for (std::size_t n = 0; n < TestSupport::ScaledCount(40); ++n)
    {
        Job job = RandomJob(random);
        job.mHeight = std::min(job.mHeight, job.mSourceHeight / 2); // above, lines keep their places
        SCOPED_TRACE(testing::Message() << job);
        Plane source;
        // Time 0 is that of the upper field.
        const Plane scaled =
            ReadPlane(ScaledNoise(job, kFieldType_UpperFirst, MF::FrameTime(), random, source));
        const Plane expected = DoubleResampler::Scale(DoubleResampler::FieldOf(source, 0), job.mWidth,
                                                      job.mHeight, FilterOf(job.mQuality));
        ASSERT_LE(LargestDifference(expected, scaled), 1.0);
    }
}

// A white disc on black with a soft edge, in the middle of a picture and three quarters as high, painted on
// pixels of a shape.
MF::IVideoFrameRef Disc(std::uint32_t inWidth, std::uint32_t inHeight, double inPixelAspect)
{
    const MF::IVideoFrameRef frame = TestSupport::NewFrame(kPixelFormat_BGRA_4444_8u, inWidth, inHeight);
    const double radius = inHeight * 3.0 / 8.0;
    for (std::uint32_t y = 0; y < inHeight; ++y)
    {
        for (std::uint32_t x = 0; x < inWidth; ++x)
        {
            std::uint8_t* pixel = TestSupport::RowOf(frame, y) + std::size_t{4} * x;
            const double dx = (x + 0.5 - inWidth / 2.0) * inPixelAspect;
            const double dy = y + 0.5 - inHeight / 2.0;
            const double beyond = std::sqrt(dx * dx + dy * dy) - radius;
            const auto level = static_cast<std::uint8_t>(255 * std::clamp(0.5 - beyond, 0.0, 1.0));
            pixel[0] = pixel[1] = pixel[2] = level;
            pixel[3] = 255;
        }
    }
    return frame;
}

// Extents and middle of the disc in a frame, in pixels.
struct DiscMeasures
{
    double mWidth = 0;
    double mHeight = 0;
    double mMiddleX = 0;
    double mMiddleY = 0;
};

DiscMeasures Measure(const MF::IVideoFrameRef& inFrame)
{
    const Plane plane = ReadPlane(inFrame);
    DiscMeasures measures;
    double area = 0;
    for (std::uint32_t y = 0; y < plane.mHeight; ++y)
    {
        double row = 0;
        for (std::uint32_t x = 0; x < plane.mWidth; ++x)
        {
            const double level = plane.At(x, y) / 255.0;
            row += level;
            area += level;
            measures.mMiddleX += level * (x + 0.5);
            measures.mMiddleY += level * (y + 0.5);
        }
        measures.mWidth = std::max(measures.mWidth, row);
    }
    for (std::uint32_t x = 0; x < plane.mWidth; ++x)
    {
        double column = 0;
        for (std::uint32_t y = 0; y < plane.mHeight; ++y)
        {
            column += plane.At(x, y) / 255.0;
        }
        measures.mHeight = std::max(measures.mHeight, column);
    }
    measures.mMiddleX /= area;
    measures.mMiddleY /= area;
    return measures;
}

struct Conversion
{
    const char* mName;
    std::uint32_t mSourceWidth;
    std::uint32_t mSourceHeight;
    PixelAspectRatio mSourceAspect;
    std::uint32_t mWidth;
    std::uint32_t mHeight;
    PixelAspectRatio mAspect;
    std::uint32_t mDeliveredWidth; // what the stream gives instead of its width
};

constexpr std::uint32_t Squared(std::uint32_t inWidth, std::uint32_t inNumerator, std::uint32_t inDenominator)
{
    return (inWidth * inNumerator + inDenominator / 2) / inDenominator;
}

const Conversion kConversions[] = {
    {"625 lines, wide", 720, 576, {16, 11}, Squared(720, 16, 11), 576, {1, 1}, 720},
    {"625 lines", 720, 576, {12, 11}, Squared(720, 12, 11), 576, {1, 1}, 720},
    {"525 lines, wide", 720, 480, {32, 27}, Squared(720, 32, 27), 480, {1, 1}, 720},
    {"525 lines, wide, reduced", 720, 480, {32, 27}, Squared(360, 32, 27), 240, {1, 1}, 720},
    {"anamorphic 1440 by half", 720, 540, {4, 3}, 960, 540, {1, 1}, 720},
    {"anamorphic 1280 by half", 640, 540, {3, 2}, 960, 540, {1, 1}, 640},
    {"to anamorphic 1440 by half", 960, 540, {1, 1}, 720, 540, {4, 3}, 960},
    {"to 625 lines, wide", 1024, 576, {1, 1}, 704, 576, {16, 11}, 1024},
    {"625 lines of half the width", 720, 576, {12, 11}, Squared(720, 12, 11), 576, {1, 1}, 360},
};

// The media and its interpretation, scaled to what is asked for.
MF::IVideoFrameRef RenderConversion(const Conversion& inConversion)
{
    const double shape = static_cast<double>(inConversion.mSourceAspect.GetNumerator()) /
                         inConversion.mSourceAspect.GetDenominator();
    const MF::IVideoFrameRef disc = Disc(inConversion.mDeliveredWidth, inConversion.mSourceHeight,
                                         shape * inConversion.mSourceWidth / inConversion.mDeliveredWidth);
    disc->Freeze();
    const TVK::InterfaceRef<TestSupport::FakeVideoSource> stream(new TestSupport::FakeVideoSource);
    stream->mFrameFunction = [&](const TestSupport::FakeVideoSource::Request&, MF::IVideoFrameRef& outFrame)
    {
        outFrame = disc;
        return 0;
    };
    const auto source = ML::CreateRenderableSource(
        BE::IVideoSourceRef(stream), {}, kAlphaChannel_Straight, {}, false, false,
        FrameRate::FromRational(25, 1), kFieldType_Progressive, inConversion.mSourceAspect, {}, u"disc");
    ML::CutlistRenderParams params = RenderParams(inConversion.mWidth, inConversion.mHeight);
    params.mPixelAspectRatio = inConversion.mAspect;
    return RenderedFrame(ML::ScaleAndPARCorrectSource(source), MF::FrameTime(), params);
}

TEST(RenderableSourceScalerPixels, DiscStaysADiscOnPixelsOfEveryShape)
{
    for (const Conversion& each : kConversions)
    {
        SCOPED_TRACE(each.mName);
        const MF::IVideoFrameRef frame = RenderConversion(each);
        PixelAspectRatio aspect;
        frame->GetPixelAspectRatio(aspect);
        EXPECT_EQ(aspect, each.mAspect);
        ASSERT_EQ(BoundsOf(frame), (TVK::Rect{0, 0, static_cast<std::int32_t>(each.mWidth),
                                              static_cast<std::int32_t>(each.mHeight)}));
        const DiscMeasures disc = Measure(frame);
        const double height = each.mHeight * 0.75;
        EXPECT_NEAR(disc.mHeight, height, 0.5);
        EXPECT_NEAR(disc.mWidth, height * aspect.GetDenominator() / aspect.GetNumerator(), 0.5);
        EXPECT_NEAR(disc.mMiddleX, each.mWidth / 2.0, 0.5);
        EXPECT_NEAR(disc.mMiddleY, each.mHeight / 2.0, 0.5);
    }
}

} // namespace
