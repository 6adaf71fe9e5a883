#include "RenderableSources.h"

#include "ReferenceHost/FrameLibrary/VideoFrame.h"
#include "Tests/RenderableSources/PaintedSource.h"
#include "Tests/RenderableSources/SourceCalls.h"
#include "Tests/Support/FrameTools.h"
#include "Tests/Support/PixelMatchers.h"
#include "Tests/VideoRenderer/RenderParams.h"
#include "norviktypes/Pulldown.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>

namespace
{

using namespace norviktypes;
using TestSupport::NewFilledFrame;
using TestSupport::NewFrame;
using TestSupport::PaintedSource;
using TestSupport::PaintedSourceRef;

using FrameTimes = std::vector<MF::FrameTime>;

constexpr FrameRate kVideo = FrameRate::FromRational(30000, 1001);
constexpr FrameRate kFilm = FilmRateOfPulldown(kVideo);
constexpr PixelFormat kBGRA = kPixelFormat_BGRA_4444_8u;
constexpr PixelFormat kPlanar420 = kPixelFormat_YUV_420_MPEG2_Field_8u_709;
constexpr std::uint32_t kWidth = 16;
constexpr int kFilmFrames = 16; // of a strip

MF::FrameTime VideoTime(std::int64_t inFrame)
{
    return MF::FrameTime(TickTime::FromFrame(inFrame, kVideo));
}

MF::FrameTime FilmTime(std::int64_t inFrame)
{
    return MF::FrameTime(TickTime::FromFrame(inFrame, kFilm));
}

// Of every byte on every line, and in every plane, the film frame and the line can be told.
std::uint8_t ByteOf(int inFilm, std::uint32_t inLine, std::uint32_t inPlace)
{
    return static_cast<std::uint8_t>(40 +
                                     (static_cast<std::uint32_t>(inFilm) * 53 + inLine * 7 + inPlace) % 160);
}

// A row of memory belongs to the field of its number; in chroma planes, whose rows follow those of luma, each
// plane begins anew.
void PaintRows(const MF::IVideoFrameRef& inFrame, std::uint32_t inFirstRow, std::uint32_t inRows,
               std::uint32_t inBytes, int inFilm, std::uint32_t inField)
{
    for (std::uint32_t row = inField; row < inRows; row += 2)
    {
        std::uint8_t* bytes = TestSupport::RowOf(inFrame, 0) + inFirstRow;
        const std::size_t stride = static_cast<std::size_t>(VF::IVideoFrameRasterRef(inFrame)->GetRowBytes());
        const std::size_t rowBytes = inBytes == kWidth / 2 ? stride / 2 : stride;
        std::memset(bytes + row * rowBytes, ByteOf(inFilm, row, 0), inBytes);
    }
}

std::uint32_t HeightOf(const MF::IVideoFrameRef& inFrame)
{
    TVK::Rect bounds;
    inFrame->GetBounds(bounds);
    return static_cast<std::uint32_t>(bounds.Height());
}

// One field of a film frame: 0 upper, 1 lower.
void PaintField(const MF::IVideoFrameRef& inFrame, int inFilm, std::uint32_t inField)
{
    PixelFormat format;
    inFrame->GetPixelFormat(format);
    const std::uint32_t height = HeightOf(inFrame);
    if (!IsSubsampled(format.mProperties))
    {
        PaintRows(inFrame, 0, height, kWidth * (format == kBGRA ? 4 : 2), inFilm, inField);
        return;
    }
    const auto stride = static_cast<std::uint32_t>(VF::IVideoFrameRasterRef(inFrame)->GetRowBytes());
    const std::uint32_t chromaRows = format == kPlanar420 ? (height + 1) / 2 : height;
    PaintRows(inFrame, 0, height, kWidth, inFilm, inField);
    PaintRows(inFrame, stride * height, chromaRows, kWidth / 2, inFilm + 3, inField);
    PaintRows(inFrame, stride * height + stride / 2 * chromaRows, chromaRows, kWidth / 2, inFilm + 5,
              inField);
}

MF::IVideoFrameRef FrameOfFilm(const PixelFormat& inFormat, std::uint32_t inHeight, int inUpper, int inLower)
{
    const MF::IVideoFrameRef frame = NewFrame(inFormat, kWidth, inHeight);
    PaintField(frame, inUpper, 0);
    PaintField(frame, inLower, 1);
    return frame;
}

// The rows of one field in all planes: 0 upper, 1 lower.
void CopyRowsOfField(const MF::IVideoFrameRef& inSource, const MF::IVideoFrameRef& inTarget,
                     std::uint32_t inField)
{
    VF::FramePixels source;
    VF::FramePixels target;
    ASSERT_TRUE(VF::GetFramePixels(inSource, source) && VF::GetFramePixels(inTarget, target));
    for (std::size_t plane = 0; plane < source.mGeometry.mPlaneCount; ++plane)
    {
        for (std::uint32_t row = inField; row < source.mGeometry.mPlanes[plane].mLines; row += 2)
        {
            std::memcpy(target.Row(plane, row), source.Row(plane, row),
                        source.mGeometry.mPlanes[plane].mUsedBytes);
        }
    }
}

struct Strip
{
    PulldownCadence mCadence;
    std::vector<int> mFields; // the film frame of each field, from the first video frame on
    std::vector<int> mWhole;  // film frames of which both fields are there
};

std::vector<Strip> AllStrips()
{
    std::vector<Strip> strips;
    for (int cadence = kPulldownCadence_WWSSW; cadence <= kPulldownCadence_WWWSW; ++cadence)
    {
        const bool isTwoThree = cadence <= kPulldownCadence_WWWSS;
        const std::array<int, 4> counts = isTwoThree ? std::array{2, 3, 2, 3} : std::array{2, 3, 3, 2};
        const int cutOff = 2 * (cadence - (isTwoThree ? kPulldownCadence_WWSSW : kPulldownCadence_WWSWW));
        Strip strip{static_cast<PulldownCadence>(cadence), {}, {}};
        int field = 0;
        for (int film = 0; film < kFilmFrames; ++film)
        {
            const int count = counts[static_cast<std::size_t>(film % 4)];
            // A field that is cut off leaves two where there were three.
            const int left = std::min(count, field + count - cutOff);
            strip.mFields.insert(strip.mFields.end(), static_cast<std::size_t>(std::max(left, 0)), film);
            if (left >= 2)
            {
                strip.mWhole.push_back(film);
            }
            field += count;
        }
        strips.push_back(strip);
    }
    return strips;
}

class PulldownRemoval : public testing::Test
{
protected:
    PulldownRemoval() { mInner->mRate = kVideo; }

    // The inner source plays the strip.
    void Play(const Strip& inStrip, const PixelFormat& inFormat, std::uint32_t inHeight, FieldType inOrder,
              FieldType inStampedOrder)
    {
        mInner->mFrameFunction = [=](const MF::FrameTime& inTime) -> MF::IVideoFrameRef
        {
            const auto first = static_cast<std::size_t>(2 * inTime.mFirstTime.ToFrame64(kVideo));
            if (first + 1 >= inStrip.mFields.size())
            {
                throw ML::RenderRequestException(BE::kSourceStatus_PastEnd);
            }
            const int a = inStrip.mFields[first];
            const int b = inStrip.mFields[first + 1];
            const bool isUpperFirst = inOrder == kFieldType_UpperFirst;
            const MF::IVideoFrameRef frame =
                FrameOfFilm(inFormat, inHeight, isUpperFirst ? a : b, isUpperFirst ? b : a);
            frame->SetFieldType(inStampedOrder);
            frame->Freeze();
            return frame;
        };
        mParams = RenderParams(kWidth, inHeight, kRenderQuality_High, inFormat);
    }

    // The whole strip, rendered film frame by film frame, is the film again.
    void ExpectTheFilm(const Strip& inStrip, const PixelFormat& inFormat, std::uint32_t inHeight)
    {
        const ML::IRenderableSourceRef source = ML::RemovePulldownFromSource(mInner, inStrip.mCadence);
        ASSERT_GE(inStrip.mWhole.size(), static_cast<std::size_t>(kFilmFrames - 4));
        for (std::size_t n = 0; n < inStrip.mWhole.size(); ++n)
        {
            const MF::IVideoFrameRef frame =
                RenderedFrame(source, FilmTime(static_cast<std::int64_t>(n)), mParams);
            ASSERT_TRUE(frame);
            EXPECT_EQ(frame->GetFieldType(), kFieldType_Progressive);
            const int film = inStrip.mWhole[n];
            PixelFormat format;
            frame->GetPixelFormat(format);
            const MF::IVideoFrameRef original =
                TestSupport::CopyAs(FrameOfFilm(inFormat, inHeight, film, film), format);
            EXPECT_TRUE(TestSupport::HaveEqualPixels(frame, original))
                << "cadence " << inStrip.mCadence << ", film frame " << film << ", " << inHeight << " lines";
        }
    }

    PaintedSourceRef mInner{new PaintedSource};
    ML::CutlistRenderParams mParams = RenderParams(kWidth, 8);
};

TEST_F(PulldownRemoval, StandardVideoGivesTheFilmAgain)
{
    for (const Strip& strip : AllStrips())
    {
        for (const PixelFormat& format :
             {kBGRA, kPixelFormat_UYVY_422_8u_709, kPlanar420, kPixelFormat_YUV_422_Planar_8u_709})
        {
            for (const std::uint32_t height : {8u, 576u})
            {
                Play(strip, format, height, kFieldType_LowerFirst, kFieldType_LowerFirst);
                ExpectTheFilm(strip, format, height);
            }
        }
    }
}

TEST_F(PulldownRemoval, HighVideoGivesTheFilmAgain)
{
    for (const Strip& strip : AllStrips())
    {
        for (const PixelFormat& format :
             {kBGRA, kPixelFormat_UYVY_422_8u_709, kPlanar420, kPixelFormat_YUV_422_Planar_8u_709})
        {
            Play(strip, format, 580, kFieldType_UpperFirst, kFieldType_UpperFirst);
            ExpectTheFilm(strip, format, 580);
        }
    }
}

TEST_F(PulldownRemoval, OddHeightsGiveTheFilmAgain)
{
    for (const Strip& strip : AllStrips())
    {
        for (const PixelFormat& format : {kBGRA, kPixelFormat_YUV_422_Planar_8u_709})
        {
            Play(strip, format, 7, kFieldType_LowerFirst, kFieldType_LowerFirst);
            ExpectTheFilm(strip, format, 7);
            Play(strip, format, 577, kFieldType_UpperFirst, kFieldType_UpperFirst);
            ExpectTheFilm(strip, format, 577);
        }
    }
}

// A chroma row of telecined video is of one field, whichever of both 4:2:0 formats tells of it.
TEST_F(PulldownRemoval, PlanesThatAreWishedForAreMergedBitForBit)
{
    for (const PixelFormat& format :
         {kPlanar420, kPixelFormat_YUV_420_MPEG2_Frame_8u_709, kPixelFormat_YUV_420_MPEG2_Field_10u_709,
          kPixelFormat_YUV_422_Planar_10u_709})
    {
        for (const std::uint32_t height : {6u, 578u})
        {
            const MF::IVideoFrameRef previous = NewFrame(format, kWidth, height);
            const MF::IVideoFrameRef current = NewFrame(format, kWidth, height);
            TestSupport::FillWithNoise(previous, 5);
            TestSupport::FillWithNoise(current, 6);
            mInner->mFrameFunction = [&](const MF::FrameTime& inTime)
            { return inTime.mFirstTime.ToFrame64(kVideo) == 2 ? previous : current; };
            mParams = RenderParams(kWidth, height, kRenderQuality_High, format);
            const MF::IVideoFrameRef merged = RenderedFrame(
                ML::RemovePulldownFromSource(mInner, kPulldownCadence_WWSSW), FilmTime(2), mParams);
            const bool isStandard = height <= 576;
            const MF::IVideoFrameRef expected = NewFrame(format, kWidth, height);
            CopyRowsOfField(isStandard ? previous : current, expected, 0);
            CopyRowsOfField(isStandard ? current : previous, expected, 1);
            EXPECT_TRUE(TestSupport::HaveEqualPixels(merged, expected))
                << PixelFormatText(format) << ", " << height << " lines";
        }
    }
}

TEST_F(PulldownRemoval, VideoThatDoesNotTellItsFieldsGoesByItsHeight)
{
    const Strip strip = AllStrips().front();
    for (const PixelFormat& format : {kBGRA, kPixelFormat_YUV_422_Planar_8u_709})
    {
        Play(strip, format, 576, kFieldType_LowerFirst, kFieldType_Progressive);
        ExpectTheFilm(strip, format, 576);
        Play(strip, format, 578, kFieldType_UpperFirst, kFieldType_Progressive);
        ExpectTheFilm(strip, format, 578);
    }
}

TEST_F(PulldownRemoval, PlanarVideoGoesByItsHeightWhateverItTells)
{
    const Strip strip = AllStrips().front();
    const PixelFormat format = kPixelFormat_YUV_422_Planar_8u_709;
    Play(strip, format, 576, kFieldType_LowerFirst, kFieldType_UpperFirst);
    ExpectTheFilm(strip, format, 576);
    Play(strip, format, 578, kFieldType_UpperFirst, kFieldType_LowerFirst);
    ExpectTheFilm(strip, format, 578);
}

TEST_F(PulldownRemoval, PackedVideoGoesByTheFieldsThatItTells)
{
    const Strip strip = AllStrips().front();
    Play(strip, kBGRA, 8, kFieldType_UpperFirst, kFieldType_UpperFirst);
    ExpectTheFilm(strip, kBGRA, 8);
}

TEST_F(PulldownRemoval, FilmPlaysFourFramesForFive)
{
    mInner->mFieldType = kFieldType_UpperFirst;
    const ML::IRenderableSourceRef source = ML::RemovePulldownFromSource(mInner, kPulldownCadence_WWSSW);
    EXPECT_EQ(FrameRateOf(source), FrameRate::FromRational(24000, 1001));
    EXPECT_EQ(FieldRateOf(source), FrameRate::FromRational(24000, 1001));
    mInner->mRate = kFrameRate_Zero;
    EXPECT_EQ(FrameRateOf(source), kFrameRate_Zero);
}

TEST_F(PulldownRemoval, TimesAreThoseOfTheFilm)
{
    const ML::IRenderableSourceRef source = ML::RemovePulldownFromSource(mInner, kPulldownCadence_SSWWW);
    const TickTime third = FilmTime(3).mFirstTime;
    const TickTime late = third + TickTime(kFilm.GetTicks() - 1);
    const TickTime fourth = FilmTime(4).mFirstTime;
    for (const MF::FrameTime& time : {MF::FrameTime(third), MF::FrameTime(late), MF::FrameTime(late, fourth),
                                      MF::FrameTime(fourth, late)})
    {
        EXPECT_EQ(ConformedTime(source, time, mParams), FilmTime(3));
    }
}

TEST_F(PulldownRemoval, FilmFrameInOneFrameTakesNoSecondRead)
{
    const ML::IRenderableSourceRef source = ML::RemovePulldownFromSource(mInner, kPulldownCadence_WWSSW);
    EXPECT_TRUE(RenderedFrame(source, FilmTime(1), mParams));
    EXPECT_EQ(mInner->TakeRenders(), FrameTimes{VideoTime(1)});
    EXPECT_TRUE(RenderedFrame(source, FilmTime(2), mParams));
    EXPECT_EQ(mInner->TakeRenders(), (FrameTimes{VideoTime(3), VideoTime(2)}));
}

TEST_F(PulldownRemoval, TimeIsThatOfTheSecondField)
{
    const ML::IRenderableSourceRef source = ML::RemovePulldownFromSource(mInner, kPulldownCadence_WWSSW);
    RenderedFrame(source, {FilmTime(5).mFirstTime, FilmTime(1).mFirstTime}, mParams);
    EXPECT_EQ(mInner->TakeRenders(), FrameTimes{VideoTime(1)});
    RenderedFrame(source, {FilmTime(1).mFirstTime, FilmTime(5).mFirstTime}, mParams);
    EXPECT_EQ(mInner->TakeRenders(), FrameTimes{VideoTime(6)});
}

TEST_F(PulldownRemoval, PlanarFramesKeepTheirSizeAndAspect)
{
    mInner->mFrameFunction = [](const MF::FrameTime&)
    {
        const MF::IVideoFrameRef frame = NewFrame(kPixelFormat_YUV_422_Planar_8u_709, kWidth, 8);
        frame->SetPixelAspectRatio({16, 11});
        return frame;
    };
    mParams = RenderParams(8, 4);
    mParams.mSourceWidth = mParams.mSourceHeight = 0;
    const MF::IVideoFrameRef film =
        RenderedFrame(ML::RemovePulldownFromSource(mInner, kPulldownCadence_WWSSW), FilmTime(2), mParams);
    ASSERT_TRUE(film);
    TVK::Rect bounds;
    film->GetBounds(bounds);
    EXPECT_EQ(bounds, (TVK::Rect{0, 0, static_cast<std::int32_t>(kWidth), 8}));
    PixelAspectRatio ratio;
    film->GetPixelAspectRatio(ratio);
    EXPECT_EQ(ratio, PixelAspectRatio(16, 11));
}

TEST_F(PulldownRemoval, SourceIsAskedForWhatItDelivers)
{
    mInner->mFieldType = kFieldType_UpperFirst;
    const ML::IRenderableSourceRef source = ML::RemovePulldownFromSource(mInner, kPulldownCadence_WWSSW);
    const TickTime field(kVideo.GetTicks() / 2);
    RenderedFrame(source, FilmTime(2), mParams);
    const TickTime current = VideoTime(3).mFirstTime;
    const TickTime previous = VideoTime(2).mFirstTime;
    EXPECT_EQ(mInner->TakeRenders(), (FrameTimes{MF::FrameTime(current, current + field),
                                                 MF::FrameTime(previous, previous + field)}));
}

TEST_F(PulldownRemoval, BothFramesAreMadeReady)
{
    const ML::IRenderableSourceRef source = ML::RemovePulldownFromSource(mInner, kPulldownCadence_WWSSW);
    EXPECT_EQ(CollectedItems(source, FilmTime(2), mParams).size(), 2u);
    EXPECT_EQ(mInner->TakeCollects(), (FrameTimes{VideoTime(3), VideoTime(2)}));
    EXPECT_EQ(CollectedItems(source, FilmTime(1), mParams).size(), 1u);
    EXPECT_EQ(mInner->TakeCollects(), FrameTimes{VideoTime(1)});
}

TEST_F(PulldownRemoval, FrameWithoutItsPartnerIsKept)
{
    const ML::IRenderableSourceRef source = ML::RemovePulldownFromSource(mInner, kPulldownCadence_WWSSW);
    for (const PixelFormat& format : {kBGRA, kPixelFormat_YUV_422_Planar_8u_709})
    {
        const MF::IVideoFrameRef current = FrameOfFilm(format, 8, 1, 2);
        mInner->mFrameFunction = [&](const MF::FrameTime& inTime)
        { return inTime == VideoTime(3) ? current : MF::IVideoFrameRef(); };
        EXPECT_TRUE(RenderedFrame(source, FilmTime(2), mParams) == current);
    }
    mInner->mIsEmpty = true;
    mInner->TakeRenders();
    EXPECT_FALSE(RenderedFrame(source, FilmTime(2), mParams));
    EXPECT_EQ(mInner->TakeRenders(), FrameTimes{VideoTime(3)}) << "a partner of nothing";
    EXPECT_FALSE(RenderedFrame(source, FilmTime(1), mParams));
}

TEST_F(PulldownRemoval, FramesThatCannotBeMergedGiveNone)
{
    const ML::IRenderableSourceRef source = ML::RemovePulldownFromSource(mInner, kPulldownCadence_WWSSW);
    mInner->mFrameFunction = [&](const MF::FrameTime& inTime) {
        return NewFilledFrame(kBGRA, kWidth, inTime == VideoTime(3) ? 8 : 10, {1, 2, 3, 255});
    };
    EXPECT_FALSE(RenderedFrame(source, FilmTime(2), mParams));
}

TEST_F(PulldownRemoval, FrameOfACacheIsNotWritten)
{
    const ML::IRenderableSourceRef source = ML::RemovePulldownFromSource(mInner, kPulldownCadence_WWSSW);
    std::vector<MF::IVideoFrameRef> cached;
    mInner->mFrameFunction = [&](const MF::FrameTime& inTime)
    {
        const auto number = static_cast<int>(inTime.mFirstTime.ToFrame64(kVideo));
        cached.push_back(FrameOfFilm(kBGRA, 8, number, number));
        cached.back()->Freeze();
        return cached.back();
    };
    EXPECT_TRUE(RenderedFrame(source, FilmTime(2), mParams));
    ASSERT_EQ(cached.size(), 2u);
    EXPECT_TRUE(TestSupport::HaveEqualPixels(cached[0], FrameOfFilm(kBGRA, 8, 3, 3)));
    EXPECT_TRUE(TestSupport::HaveEqualPixels(cached[1], FrameOfFilm(kBGRA, 8, 2, 2)));
}

TEST_F(PulldownRemoval, ProgressiveFrameThatHoldsTheFilmFrameIsPassedOnItself)
{
    const ML::IRenderableSourceRef source = ML::RemovePulldownFromSource(mInner, kPulldownCadence_WWSSW);
    const MF::IVideoFrameRef cached = FrameOfFilm(kBGRA, 8, 1, 1);
    cached->SetFieldType(kFieldType_Progressive);
    cached->Freeze();
    mInner->mFrameFunction = [&](const MF::FrameTime&) { return cached; };
    EXPECT_EQ(RenderedFrame(source, FilmTime(1), mParams), cached);
}

// Taken for fields, every second line of the film would be made up.
TEST_F(PulldownRemoval, FilmOfVideoWithFieldsIsBlendedWhole)
{
    const auto value = [](std::int64_t inFrame, std::uint32_t inRow)
    { return static_cast<int>(40 + inFrame * 80 + inRow % 2 * 60); };
    mInner->mFrameFunction = [&](const MF::FrameTime& inTime)
    {
        const MF::IVideoFrameRef frame = NewFrame(kPixelFormat_BGRX_4444_8u, kWidth, 8);
        for (std::uint32_t row = 0; row < 8; ++row)
        {
            std::memset(TestSupport::RowOf(frame, row), value(inTime.mFirstTime.ToFrame64(kVideo), row),
                        kWidth * 4);
        }
        frame->SetFieldType(kFieldType_UpperFirst);
        frame->Freeze();
        return frame;
    };
    mParams.mFrameRate = kFilm;
    const ML::IRenderableSourceRef source =
        ML::TimeBlendSource(ML::RemovePulldownFromSource(mInner, kPulldownCadence_WWSSW), {}, 0.5);
    const MF::FrameTime between(FilmTime(0).mFirstTime + TickTime(kFilm.GetTicks() / 2));
    const MF::IVideoFrameRef frame = RenderedFrame(source, between, mParams);
    ASSERT_TRUE(frame);
    for (std::uint32_t row = 0; row < 8; ++row)
    {
        EXPECT_NEAR(*TestSupport::RowOf(frame, row), (value(0, row) + value(1, row)) / 2, 1) << "row " << row;
    }
}

TEST_F(PulldownRemoval, WithoutARhythmTheFrameOfTheTimeIsShown)
{
    const ML::IRenderableSourceRef source = ML::RemovePulldownFromSource(mInner, kPulldownCadence_None);
    EXPECT_TRUE(RenderedFrame(source, FilmTime(2), mParams));
    EXPECT_EQ(mInner->TakeRenders(), FrameTimes{VideoTime(2)});
}

TEST_F(PulldownRemoval, FailuresOfTheSourceComeOut)
{
    mInner->mStatus = -7;
    const ML::IRenderableSourceRef source = ML::RemovePulldownFromSource(mInner, kPulldownCadence_WWSSW);
    EXPECT_THROW(RenderedFrame(source, FilmTime(2), mParams), ML::RenderRequestException);
    const ML::IRenderableSourceRef empty = ML::RemovePulldownFromSource({}, kPulldownCadence_WWSSW);
    EXPECT_THROW(ConformedTime(empty, FilmTime(0), mParams), TVK::NullInterfaceException);
    EXPECT_THROW(RenderedFrame(empty, FilmTime(0), mParams), TVK::NullInterfaceException);
    EXPECT_THROW(CollectedItems(empty, FilmTime(0), mParams), TVK::NullInterfaceException);
    EXPECT_THROW(FrameRateOf(empty), TVK::NullInterfaceException);
}

} // namespace
