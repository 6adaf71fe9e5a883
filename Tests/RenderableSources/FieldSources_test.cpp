// What is on each line of the frames that the field decorators give, for both orders, packed and planar formats
// and heights with and without an odd line.
#include "RenderableSources.h"

#include "ReferenceHost/FrameLibrary/VideoFrame.h"
#include "Tests/RenderableSources/PaintedSource.h"
#include "Tests/Support/PixelMatchers.h"
#include "Tests/VideoRenderer/RenderParams.h"
#include "VF/VideoFrame.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace
{

using namespace norviktypes;
using TestSupport::LevelsOf;
using TestSupport::LineLevels;
using TestSupport::PaintedSource;
using TestSupport::PaintedSourceRef;

struct Case
{
    PixelFormat mFormat;
    FieldType mOrder; // of the request
    std::uint32_t mHeight;
};

std::vector<Case> AllCases()
{
    std::vector<Case> cases;
    for (const PixelFormat& format :
         {kPixelFormat_BGRA_4444_8u, kPixelFormat_UYVY_422_8u_709, kPixelFormat_YUV_420_MPEG2_Frame_8u_709,
          kPixelFormat_YUV_420_MPEG2_Field_8u_709})
    {
        for (const FieldType order : {kFieldType_UpperFirst, kFieldType_LowerFirst})
        {
            for (const std::uint32_t height : {8u, 9u})
            {
                cases.push_back({format, order, height});
            }
        }
    }
    return cases;
}

FieldType Opposite(FieldType inOrder)
{
    return inOrder == kFieldType_UpperFirst ? kFieldType_LowerFirst : kFieldType_UpperFirst;
}

std::string NameOf(const Case& inCase)
{
    std::string name;
    for (int shift = 24; shift >= 0; shift -= 8)
    {
        name += static_cast<char>(inCase.mFormat.mName >> shift & 0xFF);
    }
    return name + ", order " + std::to_string(inCase.mOrder) + ", height " + std::to_string(inCase.mHeight);
}

// The frame of inFrame's number and order as callers get it: conformed, then rendered.
MF::IVideoFrameRef RenderFrame(const ML::IRenderableSourceRef& inSource, const Case& inCase, int inFrame,
                               RenderQuality inQuality = kRenderQuality_Medium)
{
    const PixelFormat worked = inCase.mFormat == kPixelFormat_BGRA_4444_8u ? kPixelFormat_BGRA_4444_8u
                                                                           : kPixelFormat_VUYX_4444_8u_709;
    const ML::CutlistRenderParams params =
        RenderParams(TestSupport::kPaintedSourceWidth, inCase.mHeight, inQuality, worked);
    const FrameRate rate = FrameRate::FromRational(25, 1);
    const TickTime start = TickTime::FromFrame(inFrame, rate);
    const TickTime field(rate.GetTicks() / 2);
    const MF::FrameTime request = inCase.mOrder == kFieldType_UpperFirst
                                      ? MF::FrameTime(start, start + field)
                                      : MF::FrameTime(start + field, start);
    MF::FrameTime conformed;
    inSource->ConformFrameTime(request, params, conformed);
    MF::IVideoFrameRef frame;
    inSource->Render(conformed, params, frame);
    return frame;
}

PaintedSourceRef NewSource(const Case& inCase, FieldType inFieldType)
{
    PaintedSourceRef source(new PaintedSource);
    source->mFormat = inCase.mFormat;
    source->mHeight = inCase.mHeight;
    source->mFieldType = inFieldType;
    return source;
}

// The moment of a line in frame 3 of a source of fields.
std::int64_t MomentInFrame3(FieldType inOrder, std::uint32_t inLine)
{
    const bool isFirstField = (inLine % 2 == 0) == (inOrder == kFieldType_UpperFirst);
    return isFirstField ? 6 : 7;
}

void ExpectLevels(const MF::IVideoFrameRef& inFrame, const std::vector<LineLevels>& inTable)
{
    ASSERT_TRUE(inFrame);
    TVK::Rect bounds;
    inFrame->GetBounds(bounds);
    ASSERT_EQ(bounds, (TVK::Rect{0, 0, static_cast<std::int32_t>(TestSupport::kPaintedSourceWidth),
                                 static_cast<std::int32_t>(inTable.size())}));
    for (std::uint32_t line = 0; line < inTable.size(); ++line)
    {
        const LineLevels levels = TestSupport::ReadLevels(inFrame, line);
        EXPECT_NEAR(levels.mMoment, inTable[line].mMoment, 1) << "moment on line " << line;
        EXPECT_NEAR(levels.mParity, inTable[line].mParity, 1) << "parity of line " << line;
        EXPECT_NEAR(levels.mLine, inTable[line].mLine, 1) << "number of line " << line;
    }
}

TEST(FieldSources, DeinterlacedFrameHasTheFirstFieldAndMeansOfItsLines)
{
    for (const Case& each : AllCases())
    {
        SCOPED_TRACE(NameOf(each));
        const auto source = NewSource(each, each.mOrder);
        const MF::IVideoFrameRef frame = RenderFrame(ML::DeinterlaceSource(source), each, 3);
        const std::uint32_t parity = each.mOrder == kFieldType_UpperFirst ? 0 : 1;
        // The last line of the field, as an odd height has one line more in the upper field.
        const std::uint32_t last = each.mHeight - 1 - ((each.mHeight - 1) % 2 == parity ? 0 : 1);
        std::vector<LineLevels> table;
        for (std::uint32_t line = 0; line < each.mHeight; ++line)
        {
            const bool isKept = line % 2 == parity;
            const std::uint32_t above = isKept ? line : (line == 0 ? parity : line - 1);
            const std::uint32_t below = isKept ? line : std::min(line + 1, last);
            table.push_back(TestSupport::Mix(LevelsOf(6, above), 0.5, LevelsOf(6, below)));
        }
        ExpectLevels(frame, table);
        EXPECT_EQ(frame->GetFieldType(), kFieldType_Progressive);
    }
}

TEST(FieldSources, DeinterlacedFrameOfDraftQualityHasEachLineTwice)
{
    for (const Case& each : AllCases())
    {
        SCOPED_TRACE(NameOf(each));
        const auto source = NewSource(each, each.mOrder);
        const MF::IVideoFrameRef frame =
            RenderFrame(ML::DeinterlaceSource(source), each, 3, kRenderQuality_Draft);
        const std::uint32_t parity = each.mOrder == kFieldType_UpperFirst ? 0 : 1;
        std::vector<LineLevels> table;
        for (std::uint32_t line = 0; line < each.mHeight; ++line)
        {
            const bool isPaired = line / 2 * 2 + parity < each.mHeight;
            table.push_back(LevelsOf(6, isPaired ? line / 2 * 2 + parity : line - 1));
        }
        ExpectLevels(frame, table);
    }
}

TEST(FieldSources, ReversedFieldsChangePlacesInTimeAndOnTheirLines)
{
    for (const Case& each : AllCases())
    {
        SCOPED_TRACE(NameOf(each));
        const FieldType recorded = Opposite(each.mOrder);
        const auto source = NewSource(each, recorded);
        const MF::IVideoFrameRef frame = RenderFrame(ML::FieldReverseSource(source), each, 3);
        std::vector<LineLevels> table;
        for (std::uint32_t line = 0; line < each.mHeight; ++line)
        {
            const std::uint32_t from = std::min(line ^ 1u, each.mHeight - 1);
            table.push_back(LevelsOf(MomentInFrame3(recorded, from), from));
        }
        ExpectLevels(frame, table);
        EXPECT_EQ(frame->GetFieldType(), each.mOrder);
    }
}

TEST(FieldSources, ReversedDominanceLeavesTheLinesWhereTheyWere)
{
    for (const Case& each : AllCases())
    {
        SCOPED_TRACE(NameOf(each));
        const FieldType recorded = Opposite(each.mOrder);
        const auto source = NewSource(each, recorded);
        const MF::IVideoFrameRef frame = RenderFrame(ML::ReverseFieldDominanceOfSource(source), each, 3);
        std::vector<LineLevels> table;
        for (std::uint32_t line = 0; line < each.mHeight; ++line)
        {
            table.push_back(LevelsOf(MomentInFrame3(recorded, line), line));
        }
        ExpectLevels(frame, table);
    }
}

TEST(FieldSources, ConsecutiveFramesAreWovenInTheOrderOfTheRequest)
{
    for (const Case& each : AllCases())
    {
        SCOPED_TRACE(NameOf(each));
        const auto source = NewSource(each, kFieldType_Progressive);
        const MF::IVideoFrameRef frame =
            RenderFrame(ML::InterlaceConsecutiveFramesFromSource(source), each, 3);
        std::vector<LineLevels> table;
        for (std::uint32_t line = 0; line < each.mHeight; ++line)
        {
            table.push_back(LevelsOf(MomentInFrame3(each.mOrder, line), line));
        }
        ExpectLevels(frame, table);
        EXPECT_EQ(frame->GetFieldType(), each.mOrder);
    }
}

TEST(FieldSources, FlickerIsRemovedByWeightsOfOneTwoOne)
{
    for (const Case& each : AllCases())
    {
        SCOPED_TRACE(NameOf(each));
        const auto source = NewSource(each, each.mOrder);
        const MF::IVideoFrameRef frame = RenderFrame(ML::RemoveFlickerFromSource(source), each, 3);
        const auto painted = [&](std::uint32_t inLine)
        { return LevelsOf(MomentInFrame3(each.mOrder, inLine), inLine); };
        std::vector<LineLevels> table;
        for (std::uint32_t line = 0; line < each.mHeight; ++line)
        {
            const LineLevels around = TestSupport::Mix(painted(line == 0 ? 0 : line - 1), 0.5,
                                                       painted(std::min(line + 1, each.mHeight - 1)));
            table.push_back(TestSupport::Mix(painted(line), 0.5, around));
        }
        ExpectLevels(frame, table);
        EXPECT_EQ(frame->GetFieldType(), each.mOrder) << "as the source's";
    }
}

// A client that wishes for planes, of frames that are planes: nothing is converted on the way.
struct PlanarCase
{
    PixelFormat mSource;
    PixelFormat mWished;
    std::uint32_t mHeight;
};

std::vector<PlanarCase> PlanarCases()
{
    std::vector<PlanarCase> cases;
    for (const std::uint32_t height : {2u, 8u, 9u, 10u, 11u})
    {
        cases.push_back(
            {kPixelFormat_YUV_420_MPEG2_Frame_8u_709, kPixelFormat_YUV_420_MPEG2_Field_8u_709, height});
        cases.push_back(
            {kPixelFormat_YUV_420_MPEG2_Field_8u_709, kPixelFormat_YUV_420_MPEG2_Field_8u_709, height});
        cases.push_back(
            {kPixelFormat_YUV_420_MPEG2_Frame_10u_709, kPixelFormat_YUV_420_MPEG2_Field_10u_709, height});
        cases.push_back({kPixelFormat_YUV_422_Planar_8u_709, kPixelFormat_YUV_422_Planar_8u_709, height});
        cases.push_back({kPixelFormat_YUV_422_Planar_10u_709, kPixelFormat_YUV_422_Planar_10u_709, height});
    }
    return cases;
}

constexpr std::uint32_t kNoisyWidth = 23;

MF::IVideoFrameRef NoisyFrame(const PixelFormat& inFormat, std::uint32_t inHeight, std::uint64_t inSeed)
{
    MF::IVideoFrameRef frame;
    EXPECT_GE(VF::CreateVideoFrame(frame, inFormat, kNoisyWidth, inHeight, {1, 1}, false, false), 0);
    TestSupport::FillWithNoise(frame, inSeed);
    frame->Freeze();
    return frame;
}

// Rows of the planes, the first plane's first.
std::vector<std::vector<std::uint8_t>> RowsOf(const MF::IVideoFrameRef& inFrame)
{
    VF::FramePixels pixels;
    EXPECT_TRUE(VF::GetFramePixels(inFrame, pixels));
    std::vector<std::vector<std::uint8_t>> rows;
    for (std::size_t plane = 0; plane < pixels.mGeometry.mPlaneCount; ++plane)
    {
        for (std::uint32_t line = 0; line < pixels.mGeometry.mPlanes[plane].mLines; ++line)
        {
            const std::uint8_t* row = pixels.Row(plane, line);
            rows.emplace_back(row, row + pixels.mGeometry.mPlanes[plane].mUsedBytes);
        }
    }
    return rows;
}

// Which of the planes' rows, counted as above, are of the lower field.
std::vector<bool> LowerRowsOf(const MF::IVideoFrameRef& inFrame)
{
    VF::FramePixels pixels;
    EXPECT_TRUE(VF::GetFramePixels(inFrame, pixels));
    std::vector<bool> rows;
    for (std::size_t plane = 0; plane < pixels.mGeometry.mPlaneCount; ++plane)
    {
        for (std::uint32_t line = 0; line < pixels.mGeometry.mPlanes[plane].mLines; ++line)
        {
            rows.push_back(line % 2 != 0);
        }
    }
    return rows;
}

TEST(FieldSources, WishedPlanesAreWovenOfRowsAsTheyAre)
{
    const FrameRate rate = FrameRate::FromRational(25, 1);
    const TickTime start = TickTime::FromFrame(3, rate);
    const TickTime field(rate.GetTicks() / 2);
    for (const PlanarCase& each : PlanarCases())
    {
        for (const FieldType order : {kFieldType_UpperFirst, kFieldType_LowerFirst})
        {
            const MF::IVideoFrameRef first = NoisyFrame(each.mSource, each.mHeight, 1);
            const MF::IVideoFrameRef second = NoisyFrame(each.mSource, each.mHeight, 2);
            const PaintedSourceRef source(new PaintedSource);
            source->mFrameFunction = [&](const MF::FrameTime& inTime)
            { return inTime.mFirstTime == TickTime::FromFrame(6, rate) ? first : second; };
            ML::CutlistRenderParams params =
                RenderParams(kNoisyWidth, each.mHeight, kRenderQuality_High, each.mWished);
            const bool isUpperFirst = order == kFieldType_UpperFirst;
            MF::IVideoFrameRef woven;
            ML::InterlaceConsecutiveFramesFromSource(source)->Render(
                isUpperFirst ? MF::FrameTime(start, start + field) : MF::FrameTime(start + field, start),
                params, woven);
            SCOPED_TRACE(std::string(PixelFormatText(each.mSource)) + ", height " +
                         std::to_string(each.mHeight));
            PixelFormat format;
            woven->GetPixelFormat(format);
            ASSERT_EQ(format, each.mWished);
            EXPECT_EQ(woven->GetFieldType(), order);
            const auto rows = RowsOf(woven);
            const auto upper = RowsOf(isUpperFirst ? first : second);
            const auto lower = RowsOf(isUpperFirst ? second : first);
            const std::vector<bool> isLower = LowerRowsOf(woven);
            for (std::size_t row = 0; row < rows.size(); ++row)
            {
                EXPECT_TRUE(rows[row] == (isLower[row] ? lower : upper)[row]) << row;
            }
        }
    }
}

TEST(FieldSources, WishedPlanesOfReversedFieldsAreThoseOfTheSource)
{
    for (const PlanarCase& each : PlanarCases())
    {
        SCOPED_TRACE(std::string(PixelFormatText(each.mWished)) + ", height " + std::to_string(each.mHeight));
        const MF::IVideoFrameRef frame = NoisyFrame(each.mWished, each.mHeight, 3);
        const PaintedSourceRef source(new PaintedSource);
        source->mFieldType = kFieldType_UpperFirst;
        source->mFrameFunction = [&](const MF::FrameTime&) { return frame; };
        const ML::CutlistRenderParams params =
            RenderParams(kNoisyWidth, each.mHeight, kRenderQuality_High, each.mWished);
        MF::IVideoFrameRef reversed;
        ML::FieldReverseSource(source)->Render(MF::FrameTime(source->Moment(7), source->Moment(6)), params,
                                               reversed);
        PixelFormat format;
        reversed->GetPixelFormat(format);
        ASSERT_EQ(format, each.mWished);
        EXPECT_EQ(reversed->GetFieldType(), kFieldType_LowerFirst);
        const auto rows = RowsOf(reversed);
        const auto from = RowsOf(frame);
        for (std::uint32_t line = 0; line < each.mHeight; ++line)
        {
            EXPECT_TRUE(rows[line] == from[(line ^ 1) < each.mHeight ? line ^ 1 : line]) << line;
        }
    }
}

} // namespace
