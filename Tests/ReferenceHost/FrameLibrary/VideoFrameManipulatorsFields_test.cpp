#include "VF/VideoFrameManipulators.h"

#include "ReferenceHost/FrameLibrary/VideoFrame.h"
#include "ReferenceHost/ImageRoutines/Fields.h"
#include "ReferenceHost/ImageRoutines/Picture.h"
#include "Tests/Support/PixelMatchers.h"
#include "VF/VideoFrame.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

using namespace norviktypes;
using namespace VF::VideoFrameManipulators;
using MF::IVideoFrameRef;
using TestSupport::HaveEqualPixels;

namespace
{

using Line = std::vector<std::uint8_t>;

IVideoFrameRef NewFrame(const PixelFormat& inFormat, std::uint32_t inWidth = 31, std::uint32_t inHeight = 9)
{
    IVideoFrameRef frame;
    EXPECT_EQ(VF::CreateVideoFrame(frame, inFormat, inWidth, inHeight, {1, 1}, true, false), 0);
    return frame;
}

IVideoFrameRef NoisyFrame(const PixelFormat& inFormat, std::uint64_t inSeed, std::uint32_t inHeight = 9)
{
    const IVideoFrameRef frame = NewFrame(inFormat, 31, inHeight);
    TestSupport::FillWithNoise(frame, inSeed);
    return frame;
}

VF::FramePixels PixelsOf(const IVideoFrameRef& inFrame)
{
    VF::FramePixels pixels;
    EXPECT_TRUE(VF::GetFramePixels(inFrame, pixels));
    return pixels;
}

ir::Picture PictureOf(const IVideoFrameRef& inFrame)
{
    const VF::FramePixels pixels = PixelsOf(inFrame);
    ir::Picture picture;
    EXPECT_EQ(0,
              ir::PictureFromCode(pixels.mPixels, pixels.mRowBytes, static_cast<std::int32_t>(pixels.mWidth),
                                  static_cast<std::int32_t>(pixels.mHeight),
                                  VF::BEToIRPixelFormat(pixels.mFormat), picture));
    return picture;
}

// A line of the picture, from the top.
Line LineOf(const IVideoFrameRef& inFrame, std::size_t inPlane, std::uint32_t inLine)
{
    const VF::FramePixels pixels = PixelsOf(inFrame);
    const bool isBottomUp = pixels.mFormat == kPixelFormat_BGRA_4444_8u_BottomUp;
    const std::uint8_t* row = pixels.Row(inPlane, isBottomUp ? pixels.mHeight - 1 - inLine : inLine);
    return {row, row + pixels.mGeometry.mPlanes[inPlane].mUsedBytes};
}

std::size_t PlanesOf(const IVideoFrameRef& inFrame)
{
    return PixelsOf(inFrame).mGeometry.mPlaneCount;
}

std::uint32_t LinesOf(const IVideoFrameRef& inFrame, std::size_t inPlane)
{
    return PixelsOf(inFrame).mGeometry.mPlanes[inPlane].mLines;
}

// Whether the lines of a plane belong to one field each.
bool HasFields(const PixelFormat& inFormat, std::size_t inPlane)
{
    const std::uint32_t layout = inFormat.mProperties >> 14 & 15;
    return inPlane == 0 || layout == 0 || layout == 5 || (layout >= 9 && layout <= 12);
}

}

TEST(SwapFields, ExchangesTheLinesOfTheFieldsInEveryFormat)
{
    for (const PixelFormatRow& row : kPixelFormatTable)
    {
        for (const std::uint32_t height : {1u, 8u, 9u})
        {
            const IVideoFrameRef source = NoisyFrame(row.mFormat, 3, height);
            const IVideoFrameRef target = NoisyFrame(row.mFormat, 4, height);
            ASSERT_EQ(SwapFields(source, target), 0) << row.mText;
            const std::uint32_t layout = row.mFormat.mProperties >> 14 & 15;
            const bool movesChroma = layout == 9; // 4:2:0 by fields
            for (std::size_t plane = 0; plane < (movesChroma ? 1 : PlanesOf(source)); ++plane)
            {
                const std::uint32_t lines = LinesOf(source, plane);
                for (std::uint32_t line = 0; line < lines; ++line)
                {
                    const bool stays = !HasFields(row.mFormat, plane) || (line ^ 1) >= lines;
                    ASSERT_TRUE(LineOf(target, plane, line) == LineOf(source, plane, stays ? line : line ^ 1))
                        << row.mText << ", plane " << plane << ", line " << line << " of " << lines;
                }
            }
        }
    }
}

// Of 4:2:0 by fields: a row of the field that comes has a quarter of its next row in that field.
TEST(SwapFields, MovesTheChromaOfAFieldByALineOfThePicture)
{
    for (const std::uint32_t height : {8u, 9u, 10u, 11u, 12u})
    {
        const IVideoFrameRef source = NoisyFrame(kPixelFormat_YUV_420_MPEG2_Field_8u_709, 3, height);
        const IVideoFrameRef target = NoisyFrame(kPixelFormat_YUV_420_MPEG2_Field_8u_709, 4, height);
        ASSERT_EQ(SwapFields(source, target), 0);
        for (std::size_t plane = 1; plane < 3; ++plane)
        {
            const auto rows = static_cast<int>(LinesOf(source, plane));
            for (int row = 0; row < rows; ++row)
            {
                const bool isAlone = row % 2 == 0 && row + 1 == rows;
                const int nearest = !isAlone ? row ^ 1 : height % 2 != 0 ? row : row - 1;
                const int further = row % 2 == 0 ? nearest - 2 : nearest + 2;
                const int next = isAlone || further < 0 || further >= rows ? nearest : further;
                const Line near = LineOf(source, plane, static_cast<std::uint32_t>(nearest));
                const Line far = LineOf(source, plane, static_cast<std::uint32_t>(next));
                Line expected(near.size());
                for (std::size_t x = 0; x < near.size(); ++x)
                {
                    expected[x] = static_cast<std::uint8_t>((3 * near[x] + far[x] + 2) / 4);
                }
                EXPECT_TRUE(LineOf(target, plane, static_cast<std::uint32_t>(row)) == expected)
                    << "plane " << plane << ", row " << row << " of " << rows << ", height " << height;
            }
        }
    }
}

TEST(SwapFields, TwiceGivesTheFrameBack)
{
    const IVideoFrameRef source = NoisyFrame(kPixelFormat_V210_422_10u_709, 5);
    const IVideoFrameRef swapped = NewFrame(kPixelFormat_V210_422_10u_709);
    const IVideoFrameRef again = NewFrame(kPixelFormat_V210_422_10u_709);
    ASSERT_EQ(SwapFields(source, swapped), 0);
    ASSERT_EQ(SwapFields(swapped, again), 0);
    EXPECT_TRUE(HaveEqualPixels(source, again));
    EXPECT_FALSE(HaveEqualPixels(source, swapped));
}

TEST(VerticalConvolve, WeighsLinesOneTwoOne)
{
    const IVideoFrameRef source = NewFrame(kPixelFormat_BGRX_4444_8u, 3, 5);
    const std::uint8_t values[5] = {0, 255, 101, 40, 200};
    for (std::uint32_t line = 0; line < 5; ++line)
    {
        std::memset(PixelsOf(source).Row(0, line), values[line], 12);
    }
    const IVideoFrameRef target = NewFrame(kPixelFormat_BGRX_4444_8u, 3, 5);
    ASSERT_EQ(VerticalConvolve(source, target), 0);
    const std::uint8_t expected[5] = {64, 153, 124, 95, 160}; // (255 + 2) / 4, (510 + 101 + 2) / 4 ...
    for (std::uint32_t line = 0; line < 5; ++line)
    {
        EXPECT_EQ(LineOf(target, 0, line), Line(12, expected[line])) << line;
    }
}

TEST(VerticalConvolve, AgreesWithThePlainReferenceInEveryFormat)
{
    for (const PixelFormatRow& row : kPixelFormatTable)
    {
        for (const std::uint32_t height : {1u, 2u, 9u})
        {
            // Noise of its own would not be what samples of ten bits hold.
            const IVideoFrameRef source = NewFrame(row.mFormat, 31, height);
            ASSERT_EQ(
                CopyFrame(NoisyFrame(kPixelFormat_BGRA_4444_16u, 6, height), source, kRenderQuality_High), 0);
            const IVideoFrameRef target = NewFrame(row.mFormat, 31, height);
            const IVideoFrameRef expected = NewFrame(row.mFormat, 31, height);
            ASSERT_EQ(VerticalConvolve(source, target), 0) << row.mText;
            ir::reference::SmoothRows(PictureOf(source), PictureOf(expected));
            // Compared at 16 bits, of which floats may differ in the last.
            EXPECT_TRUE(TestSupport::HaveNearPixels(expected, target, 2e-5)) << row.mText;
        }
    }
}

TEST(VerticalConvolve, LeavesEqualLinesAlone)
{
    const IVideoFrameRef source = NewFrame(kPixelFormat_BGRA_4444_8u, 7, 6);
    for (std::uint32_t line = 0; line < 6; ++line)
    {
        for (std::uint32_t i = 0; i < 28; ++i)
        {
            PixelsOf(source).Row(0, line)[i] = static_cast<std::uint8_t>(i * 9);
        }
    }
    const IVideoFrameRef target = NewFrame(kPixelFormat_BGRA_4444_8u, 7, 6);
    ASSERT_EQ(VerticalConvolve(source, target), 0);
    EXPECT_TRUE(HaveEqualPixels(source, target));
}

TEST(MergePulldownFrames, TakesTheFieldThatEndsThePreviousFrame)
{
    struct Case
    {
        FieldType type;
        std::uint32_t height;
        std::uint32_t parityOfPrevious;
    };
    for (const PixelFormatRow& row : kPixelFormatTable)
    {
        for (const Case& one : {Case{kFieldType_LowerFirst, 9, 0}, Case{kFieldType_UpperFirst, 9, 1},
                                Case{kFieldType_Progressive, 9, 0}, Case{kFieldType_Progressive, 577, 1},
                                Case{kFieldType_LowerFirst, 577, 0}})
        {
            const IVideoFrameRef previous = NoisyFrame(row.mFormat, 7, one.height);
            const IVideoFrameRef current = NoisyFrame(row.mFormat, 8, one.height);
            const IVideoFrameRef before = NoisyFrame(row.mFormat, 8, one.height);
            current->SetFieldType(one.type);
            ASSERT_EQ(MergePulldownFrames(previous, current), 0) << row.mText;
            EXPECT_EQ(current->GetFieldType(), one.type);
            for (std::size_t plane = 0; plane < PlanesOf(current); ++plane)
            {
                for (std::uint32_t line = 0; line < LinesOf(current, plane); ++line)
                {
                    const bool isPrevious = HasFields(row.mFormat, plane) && line % 2 == one.parityOfPrevious;
                    ASSERT_TRUE(LineOf(current, plane, line) ==
                                LineOf(isPrevious ? previous : before, plane, line))
                        << row.mText << ", type " << one.type << ", plane " << plane << ", line " << line;
                }
            }
        }
    }
}

TEST(MergePulldownFrames, TellsOfWhatBothFramesHold)
{
    const IVideoFrameRef previous = NewFrame(kPixelFormat_BGRA_4444_8u);
    const IVideoFrameRef current = NewFrame(kPixelFormat_BGRA_4444_8u);
    previous->SetAlphaType(kAlphaChannel_Straight);
    current->SetAlphaType(kAlphaChannel_Opaque);
    previous->SetContentRect({0, 4, 10, 9});
    current->SetContentRect({2, 1, 20, 5});
    ASSERT_EQ(MergePulldownFrames(previous, current), 0);
    EXPECT_TRUE(current->MayHaveTransparency());
    TVK::Rect content;
    ASSERT_TRUE(current->GetContentRect(content));
    EXPECT_EQ(content.left, 0);
    EXPECT_EQ(content.top, 1);
    EXPECT_EQ(content.right, 20);
    EXPECT_EQ(content.bottom, 9);
    previous->ClearContentRect();
    ASSERT_EQ(MergePulldownFrames(previous, current), 0);
    EXPECT_FALSE(current->GetContentRect(content));
}

TEST(FieldOperations, RefuseFramesThatDoNotGoTogether)
{
    const IVideoFrameRef frame = NoisyFrame(kPixelFormat_BGRA_4444_8u, 9);
    const IVideoFrameRef copy = NoisyFrame(kPixelFormat_BGRA_4444_8u, 9);
    const IVideoFrameRef frozen = NoisyFrame(kPixelFormat_BGRA_4444_8u, 9);
    frozen->Freeze();
    using Operation = std::int32_t (*)(const IVideoFrameRef&, const IVideoFrameRef&);
    for (const Operation operation :
         {Operation{SwapFields}, Operation{VerticalConvolve}, Operation{MergePulldownFrames}})
    {
        EXPECT_LT(operation(NewFrame(kPixelFormat_BGRX_4444_8u), frame), 0);
        EXPECT_LT(operation(NewFrame(kPixelFormat_BGRA_4444_8u, 30), frame), 0);
        EXPECT_LT(operation(NewFrame(kPixelFormat_BGRA_4444_8u, 31, 8), frame), 0);
        EXPECT_LT(operation(frame, frame), 0);
        EXPECT_LT(operation(frame, frozen), 0);
        EXPECT_TRUE(HaveEqualPixels(frame, copy));
        EXPECT_TRUE(HaveEqualPixels(frozen, copy));
        EXPECT_EQ(operation(frozen, NewFrame(kPixelFormat_BGRA_4444_8u)), 0);
        EXPECT_THROW(operation({}, frame), TVK::NullInterfaceException);
        EXPECT_THROW(operation(frame, {}), TVK::NullInterfaceException);
    }
}
