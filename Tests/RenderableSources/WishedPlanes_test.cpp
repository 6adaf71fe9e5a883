// When planes that a client wishes for are not taken as they lie in the frames.
#include "RenderableSources.h"

#include "ReferenceHost/FrameLibrary/VideoFrame.h"
#include "Tests/RenderableSources/PaintedSource.h"
#include "Tests/Support/FrameTools.h"
#include "Tests/Support/PixelMatchers.h"
#include "Tests/VideoRenderer/RenderParams.h"
#include "VF/VideoFrame.h"

#include <gtest/gtest.h>

namespace
{

using namespace norviktypes;
using TestSupport::PaintedSource;
using TestSupport::PaintedSourceRef;

constexpr PixelFormat kFramePlanes = kPixelFormat_YUV_420_MPEG2_Frame_8u_709;
constexpr PixelFormat kFieldPlanes = kPixelFormat_YUV_420_MPEG2_Field_8u_709;
constexpr PixelFormat kPlanes422 = kPixelFormat_YUV_422_Planar_8u_709;
constexpr FrameRate kRate = FrameRate::FromRational(25, 1);
constexpr std::uint32_t kWidth = 24;
constexpr std::uint32_t kHeight = 8;

MF::IVideoFrameRef Noise(const PixelFormat& inFormat, std::uint32_t inWidth = kWidth,
                         std::uint32_t inHeight = kHeight)
{
    const MF::IVideoFrameRef frame = TestSupport::NewFrame(inFormat, inWidth, inHeight);
    TestSupport::FillWithNoise(frame, 9);
    frame->Freeze();
    return frame;
}

ML::CutlistRenderParams Wish(const PixelFormat& inFormat, RenderQuality inQuality = kRenderQuality_High)
{
    ML::CutlistRenderParams params = RenderParams(kWidth, kHeight, inQuality, inFormat);
    params.mFrameRate = kRate;
    return params;
}

// inUpper for the frames at even numbers, of which upper fields are made.
PaintedSourceRef SourceOf(const MF::IVideoFrameRef& inUpper, const MF::IVideoFrameRef& inLower)
{
    const PaintedSourceRef source(new PaintedSource);
    source->mFrameFunction = [=](const MF::FrameTime& inTime)
    { return inTime.Earlier().ToFrame64(kRate) % 2 == 0 ? inUpper : inLower; };
    return source;
}

// Frames 6 and 7 as fields of one.
MF::IVideoFrameRef Consecutive(const PaintedSourceRef& inSource, const ML::CutlistRenderParams& inParams)
{
    const TickTime start = TickTime::FromFrame(3, kRate);
    MF::IVideoFrameRef frame;
    ML::InterlaceConsecutiveFramesFromSource(inSource)->Render(
        MF::FrameTime(start, start + TickTime(kRate.GetTicks() / 2)), inParams, frame);
    return frame;
}

MF::IVideoFrameRef Reversed(const MF::IVideoFrameRef& inFrame, const ML::CutlistRenderParams& inParams)
{
    const PaintedSourceRef source = SourceOf(inFrame, inFrame);
    source->mFieldType = kFieldType_UpperFirst;
    MF::IVideoFrameRef frame;
    ML::FieldReverseSource(source)->Render(MF::FrameTime(source->Moment(7), source->Moment(6)), inParams,
                                           frame);
    return frame;
}

bool HasPixelsOfTheirOwn(const MF::IVideoFrameRef& inFrame, std::uint32_t inWidth = kWidth,
                         std::uint32_t inHeight = kHeight)
{
    PixelFormat format;
    inFrame->GetPixelFormat(format);
    TVK::Rect bounds;
    inFrame->GetBounds(bounds);
    return IsPackedFourComponent(format.mProperties) &&
           bounds == TVK::Rect{0, 0, static_cast<std::int32_t>(inWidth), static_cast<std::int32_t>(inHeight)};
}

} // namespace

TEST(WishedPlanes, AreNotEnoughForTheBestQuality)
{
    const MF::IVideoFrameRef frame = Noise(kFieldPlanes);
    const ML::CutlistRenderParams best = Wish(kFieldPlanes, kRenderQuality_Max);
    EXPECT_FALSE(HasPixelsOfTheirOwn(Reversed(frame, Wish(kFieldPlanes))));
    EXPECT_TRUE(HasPixelsOfTheirOwn(Reversed(frame, best)));
    EXPECT_FALSE(HasPixelsOfTheirOwn(Consecutive(SourceOf(frame, frame), Wish(kFieldPlanes))));
    EXPECT_TRUE(HasPixelsOfTheirOwn(Consecutive(SourceOf(frame, frame), best)));
}

TEST(WishedPlanes, OfAnotherColourOrLayoutAreConverted)
{
    const MF::IVideoFrameRef other = Noise(kPixelFormat_YUV_420_MPEG2_Field_8u_601);
    EXPECT_TRUE(HasPixelsOfTheirOwn(Reversed(other, Wish(kFieldPlanes))));
    EXPECT_TRUE(HasPixelsOfTheirOwn(Consecutive(SourceOf(other, other), Wish(kFieldPlanes))));
    const MF::IVideoFrameRef fields = Noise(kFieldPlanes);
    EXPECT_TRUE(HasPixelsOfTheirOwn(Consecutive(SourceOf(fields, fields), Wish(kFramePlanes))));
    const MF::IVideoFrameRef planes = Noise(kPlanes422);
    EXPECT_TRUE(HasPixelsOfTheirOwn(Consecutive(SourceOf(planes, fields), Wish(kPlanes422))));
    EXPECT_TRUE(HasPixelsOfTheirOwn(Consecutive(SourceOf(fields, planes), Wish(kPlanes422))));
}

TEST(WishedPlanes, AreNoPackedRows)
{
    const MF::IVideoFrameRef packed = Noise(kPixelFormat_UYVY_422_8u_709);
    EXPECT_TRUE(
        HasPixelsOfTheirOwn(Consecutive(SourceOf(packed, packed), Wish(kPixelFormat_UYVY_422_8u_709))));
}

TEST(WishedPlanes, OfAnotherSizeAreScaled)
{
    ML::CutlistRenderParams half = Wish(kFieldPlanes);
    half.mSourceWidth = 2 * kWidth;
    half.mSourceHeight = 2 * kHeight;
    const MF::IVideoFrameRef whole = TestSupport::NewFrame(kFieldPlanes, 2 * kWidth, 2 * kHeight);
    VF::IVideoFrameSubstituteRef(whole)->SetSubstitute(true);
    EXPECT_TRUE(HasPixelsOfTheirOwn(Reversed(whole, half)));
    const MF::IVideoFrameRef frame = Noise(kFieldPlanes);
    const MF::IVideoFrameRef small = Noise(kFieldPlanes, kWidth, kHeight / 2);
    EXPECT_TRUE(HasPixelsOfTheirOwn(Consecutive(SourceOf(small, frame), Wish(kFieldPlanes))));
}

// The frame before has as many lines as half of this one, in video of more lines than the standard.
TEST(WishedPlanes, OfPulldownInVideoThatChangesItsSizeAreScaled)
{
    constexpr std::uint32_t kLines = 578;
    const FrameRate video = FrameRate::FromRational(30000, 1001);
    const MF::IVideoFrameRef previous = Noise(kPlanes422, kWidth, kLines / 2);
    const MF::IVideoFrameRef current = Noise(kPlanes422, kWidth, kLines);
    const PaintedSourceRef source(new PaintedSource);
    source->mRate = video;
    source->mFrameFunction = [&](const MF::FrameTime& inTime)
    { return inTime.mFirstTime.ToFrame64(video) == 2 ? previous : current; };
    ML::CutlistRenderParams params = RenderParams(kWidth, kLines, kRenderQuality_High, kPlanes422);
    MF::IVideoFrameRef merged;
    const FrameRate film = FrameRate::FromRational(24000, 1001);
    ML::RemovePulldownFromSource(source, kPulldownCadence_WWSSW)
        ->Render(MF::FrameTime(TickTime::FromFrame(2, film)), params, merged);
    EXPECT_TRUE(HasPixelsOfTheirOwn(merged, kWidth, kLines));
}

// Rows of one format are no rows of the other; either of the two may be the one that is wished for.
TEST(WishedPlanes, OfPulldownInVideoThatChangesItsFormatAreConverted)
{
    const FrameRate video = FrameRate::FromRational(30000, 1001);
    const FrameRate film = FrameRate::FromRational(24000, 1001);
    const MF::IVideoFrameRef wished = Noise(kPlanes422, kWidth, 8);
    const MF::IVideoFrameRef other = Noise(kFieldPlanes, kWidth, 8);
    for (const bool isPreviousWished : {true, false})
    {
        const PaintedSourceRef source(new PaintedSource);
        source->mRate = video;
        source->mFrameFunction = [&](const MF::FrameTime& inTime)
        { return (inTime.mFirstTime.ToFrame64(video) == 2) == isPreviousWished ? wished : other; };
        const ML::CutlistRenderParams params = RenderParams(kWidth, 8, kRenderQuality_High, kPlanes422);
        MF::IVideoFrameRef merged;
        ML::RemovePulldownFromSource(source, kPulldownCadence_WWSSW)
            ->Render(MF::FrameTime(TickTime::FromFrame(2, film)), params, merged);
        ASSERT_TRUE(merged);
        PixelFormat format;
        merged->GetPixelFormat(format);
        EXPECT_TRUE(IsPackedFourComponent(format.mProperties)) << isPreviousWished;
    }
}

// One of the two is of the moment of its other field, which comes to lie on the wrong lines.
TEST(WishedPlanes, OfTheOtherParityAreMoved)
{
    const MF::IVideoFrameRef frame = Noise(kFieldPlanes);
    for (const FieldType order : {kFieldType_UpperFirst, kFieldType_LowerFirst})
    {
        const PaintedSourceRef source = SourceOf(frame, frame);
        source->mFieldType = order;
        EXPECT_TRUE(HasPixelsOfTheirOwn(Consecutive(source, Wish(kFieldPlanes))));
    }
}

TEST(WishedPlanes, OfProgressiveFramesAreNotBlendedAsFields)
{
    for (const PixelFormat& format : {kFramePlanes, kPlanes422})
    {
        const MF::IVideoFrameRef frame = Noise(format);
        const auto blended = [&](const MF::FrameTime& inTime)
        {
            MF::IVideoFrameRef made;
            ML::TimeBlendSource(SourceOf(frame, frame), MF::ITimeTransformRef(), 0.5)
                ->Render(inTime, Wish(format), made);
            return made;
        };
        const TickTime start = TickTime::FromFrame(3, kRate);
        EXPECT_FALSE(HasPixelsOfTheirOwn(blended(MF::FrameTime(start))));
        EXPECT_TRUE(
            HasPixelsOfTheirOwn(blended(MF::FrameTime(start, start + TickTime(kRate.GetTicks() / 2)))));
    }
}
