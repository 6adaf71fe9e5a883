#include "FieldOperations.h"

#include "FrameConforming.h"
#include "TVK/Exceptions.h"
#include "Tests/Support/Fakes/FakeVideoFrame.h"
#include "Tests/Support/FramePainter.h"
#include "Tests/Support/FrameTools.h"
#include "Tests/Support/PixelMatchers.h"
#include "Tests/VideoRenderer/RenderParams.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

namespace
{

using namespace norviktypes;
using TestSupport::NewFilledFrame;
using TestSupport::NewFrame;

constexpr PixelFormat kBGRA = kPixelFormat_BGRA_4444_8u;
constexpr PixelFormat kBottomUp = kPixelFormat_BGRA_4444_8u_BottomUp;

// A frame of four-byte pixels whose lines, counted from the top of the picture, hold 10 * line + inBase.
MF::IVideoFrameRef Lines(const PixelFormat& inFormat, std::uint32_t inWidth, std::uint32_t inHeight,
                         std::uint32_t inBase)
{
    const MF::IVideoFrameRef frame = NewFrame(inFormat, inWidth, inHeight);
    for (std::uint32_t line = 0; line < inHeight; ++line)
    {
        const std::uint32_t row = inFormat == kBottomUp ? inHeight - 1 - line : line;
        const auto value = static_cast<int>(10 * line + inBase);
        std::memset(TestSupport::RowOf(frame, row), value, std::size_t{inWidth} * 4);
        for (std::uint32_t x = 0; x < inWidth; ++x)
        {
            TestSupport::RowOf(frame, row)[4 * x + 3] = 255;
        }
    }
    return frame;
}

// The first component of a line of the picture.
std::uint32_t LineOf(const MF::IVideoFrameRef& inFrame, std::uint32_t inLine)
{
    PixelFormat format;
    inFrame->GetPixelFormat(format);
    TVK::Rect bounds;
    inFrame->GetBounds(bounds);
    const auto height = static_cast<std::uint32_t>(bounds.Height());
    return TestSupport::RowOf(inFrame, format == kBottomUp ? height - 1 - inLine : inLine)[0];
}

std::vector<std::uint32_t> LinesOf(const MF::IVideoFrameRef& inFrame)
{
    TVK::Rect bounds;
    inFrame->GetBounds(bounds);
    std::vector<std::uint32_t> lines;
    for (std::uint32_t line = 0; line < static_cast<std::uint32_t>(bounds.Height()); ++line)
    {
        lines.push_back(LineOf(inFrame, line));
    }
    return lines;
}

// A planar frame whose luma lines hold these values, with grey chroma.
MF::IVideoFrameRef PlanarLines(std::uint32_t inWidth, const std::vector<std::uint32_t>& inLines)
{
    const MF::IVideoFrameRef frame =
        NewFrame(kPixelFormat_YUV_422_Planar_8u_709, inWidth, static_cast<std::uint32_t>(inLines.size()));
    const auto rows = static_cast<std::uint32_t>(inLines.size());
    for (std::uint32_t line = 0; line < rows; ++line)
    {
        std::memset(TestSupport::RowOf(frame, line), static_cast<int>(inLines[line]), inWidth);
        // Both chroma planes of this layout have the lines of luma at half its row bytes.
        std::memset(TestSupport::RowOf(frame, rows + line), 128,
                    static_cast<std::size_t>(VF::IVideoFrameRasterRef(frame)->GetRowBytes()));
    }
    return frame;
}

ML::CutlistRenderParams Params(std::uint32_t inWidth, std::uint32_t inHeight)
{
    ML::CutlistRenderParams params = RenderParams(inWidth, inHeight, kRenderQuality_Medium);
    params.mDeinterlaceQuality = kRenderQuality_Draft;
    return params;
}

using LineList = std::vector<std::uint32_t>;

TEST(FieldOperations, FieldIsCopiedToItsOwnLines)
{
    const MF::IVideoFrameRef source = Lines(kBGRA, 8, 6, 100);
    const MF::IVideoFrameRef upper = Lines(kBGRA, 8, 6, 0);
    ML::CopyField(source, upper, false, Params(8, 6));
    EXPECT_EQ((LineList{100, 10, 120, 30, 140, 50}), LinesOf(upper));
    const MF::IVideoFrameRef lower = Lines(kBGRA, 8, 6, 0);
    ML::CopyField(source, lower, true, Params(8, 6));
    EXPECT_EQ((LineList{0, 110, 20, 130, 40, 150}), LinesOf(lower));
}

TEST(FieldOperations, FieldIsOfThePictureWhereverItsFirstLineLiesInMemory)
{
    const MF::IVideoFrameRef upsideDown = Lines(kBottomUp, 8, 6, 100);
    const MF::IVideoFrameRef topDown = Lines(kBGRA, 8, 6, 0);
    ML::CopyField(upsideDown, topDown, false, Params(8, 6));
    EXPECT_EQ((LineList{100, 10, 120, 30, 140, 50}), LinesOf(topDown));
    const MF::IVideoFrameRef target = Lines(kBottomUp, 8, 6, 0);
    ML::CopyField(upsideDown, target, true, Params(8, 6));
    EXPECT_EQ((LineList{0, 110, 20, 130, 40, 150}), LinesOf(target));
    ML::CopyField(Lines(kBGRA, 8, 6, 100), target, false, Params(8, 6));
    EXPECT_EQ((LineList{100, 110, 120, 130, 140, 150}), LinesOf(target));
}

TEST(FieldOperations, UpperFieldOfAnOddHeightHasTheOddLineMore)
{
    const MF::IVideoFrameRef target = Lines(kBGRA, 8, 5, 0);
    ML::CopyField(Lines(kBGRA, 8, 5, 100), target, false, Params(8, 5));
    EXPECT_EQ((LineList{100, 10, 120, 30, 140}), LinesOf(target));
    ML::CopyField(Lines(kBGRA, 8, 5, 200), target, true, Params(8, 5));
    EXPECT_EQ((LineList{100, 210, 120, 230, 140}), LinesOf(target));
}

TEST(FieldOperations, FieldIsScaledToTheTargetsField)
{
    const MF::IVideoFrameRef source = NewFilledFrame(kBGRA, 16, 12, {7, 7, 7, 255});
    const MF::IVideoFrameRef target = Lines(kBGRA, 8, 6, 0);
    ML::CopyField(source, target, true, Params(8, 6));
    EXPECT_EQ((LineList{0, 7, 20, 7, 40, 7}), LinesOf(target));
}

TEST(FieldOperations, FieldOfAPlanarFrameIsCopied)
{
    const MF::IVideoFrameRef target = NewFilledFrame(kPixelFormat_VUYX_4444_8u_709, 8, 6, {1, 1, 1, 255});
    ML::CopyField(PlanarLines(8, {30, 50, 70, 90, 110, 130}), target, true, Params(8, 6));
    EXPECT_EQ((LineList{1, 128, 1, 128, 1, 128}), LinesOf(target));
    EXPECT_EQ(50, TestSupport::RowOf(target, 1)[2]);
    EXPECT_EQ(90, TestSupport::RowOf(target, 3)[2]);
    EXPECT_EQ(130, TestSupport::RowOf(target, 5)[2]);
}

TEST(FieldOperations, FieldGoesToTheLinesOfTheOtherParity)
{
    const MF::IVideoFrameRef source = Lines(kBGRA, 8, 6, 100);
    const MF::IVideoFrameRef target = Lines(kBGRA, 8, 6, 0);
    ML::CopyFieldToOtherParity(source, false, target, true, Params(8, 6));
    EXPECT_EQ((LineList{0, 100, 20, 120, 40, 140}), LinesOf(target)) << "doubled lines";
    ML::CutlistRenderParams interpolating = Params(8, 6);
    interpolating.mDeinterlaceQuality = kRenderQuality_Medium;
    ML::CopyFieldToOtherParity(source, true, target, false, interpolating);
    EXPECT_EQ((LineList{110, 100, 120, 120, 140, 140}), LinesOf(target)) << "means of the lines around";
}

TEST(FieldOperations, EqualParitiesAreAPlainCopy)
{
    const MF::IVideoFrameRef target = Lines(kBGRA, 8, 6, 0);
    ML::CopyFieldToOtherParity(Lines(kBGRA, 8, 6, 100), true, target, true, Params(8, 6));
    EXPECT_EQ((LineList{0, 110, 20, 130, 40, 150}), LinesOf(target));
}

TEST(FieldOperations, ParityChangesInPicturesFromTheBottomUp)
{
    const MF::IVideoFrameRef target = Lines(kBottomUp, 8, 6, 0);
    ML::CopyFieldToOtherParity(Lines(kBottomUp, 8, 6, 100), false, target, true, Params(8, 6));
    EXPECT_EQ((LineList{0, 100, 20, 120, 40, 140}), LinesOf(target));
}

TEST(FieldOperations, FieldOfAPlanarFrameChangesParity)
{
    for (const bool fromLower : {false, true})
    {
        const MF::IVideoFrameRef target = NewFilledFrame(kPixelFormat_VUYX_4444_8u_709, 8, 6, {1, 1, 1, 255});
        ML::CopyFieldToOtherParity(PlanarLines(8, {30, 50, 70, 90, 110, 130}), fromLower, target, !fromLower,
                                   Params(8, 6));
        for (std::uint32_t pair = 0; pair < 3; ++pair)
        {
            const std::uint32_t made = 2 * pair + (fromLower ? 0 : 1);
            const std::uint32_t kept = 2 * pair + (fromLower ? 1 : 0);
            EXPECT_EQ(30 + 40 * pair + (fromLower ? 20 : 0), TestSupport::RowOf(target, made)[2]);
            EXPECT_EQ(1, TestSupport::RowOf(target, kept)[2]) << "the other field's lines stay";
        }
    }
}

TEST(FieldOperations, FieldOfAnotherSizeChangesParity)
{
    for (const std::uint32_t height : {4u, 12u, 13u})
    {
        for (const bool fromLower : {false, true})
        {
            const MF::IVideoFrameRef source = NewFilledFrame(kBGRA, 5, height, {7, 7, 7, 255});
            const MF::IVideoFrameRef target = Lines(kBGRA, 8, 6, 0);
            ML::CopyFieldToOtherParity(source, fromLower, target, !fromLower, Params(8, 6));
            EXPECT_EQ(fromLower ? (LineList{7, 10, 7, 30, 7, 50}) : (LineList{0, 7, 20, 7, 40, 7}),
                      LinesOf(target))
                << height;
        }
    }
}

TEST(FieldOperations, OddHeightsChangeParityWithinBounds)
{
    for (const PixelFormat& format : {kBGRA, kBottomUp})
    {
        for (const bool fromLower : {false, true})
        {
            const MF::IVideoFrameRef target = Lines(format, 8, 7, 0);
            ML::CopyFieldToOtherParity(PlanarLines(8, {30, 50, 70, 90, 110, 130, 150}), fromLower, target,
                                       !fromLower, Params(8, 7));
            ML::CopyFieldToOtherParity(Lines(format, 8, 7, 100), fromLower, target, !fromLower, Params(8, 7));
        }
    }
}

TEST(FieldOperations, FieldFillsAFrame)
{
    const MF::IVideoFrameRef target = NewFrame(kPixelFormat_VUYX_4444_8u_709, 8, 3);
    ML::ScaleFieldToFrame(PlanarLines(8, {30, 50, 70, 90, 110, 130}), target, true, Params(8, 3));
    EXPECT_EQ(50, TestSupport::RowOf(target, 0)[2]);
    EXPECT_EQ(90, TestSupport::RowOf(target, 1)[2]);
    EXPECT_EQ(130, TestSupport::RowOf(target, 2)[2]);
}

TEST(FieldOperations, FrameIsDeinterlacedInPlaceWhereItMayBeWritten)
{
    const MF::IVideoFrameRef frame = Lines(kBGRA, 8, 6, 100);
    frame->SetFieldType(kFieldType_UpperFirst);
    EXPECT_TRUE(frame == ML::DeinterlaceFrame(frame, kRenderQuality_Draft, true, Params(8, 6), false));
    EXPECT_EQ(kFieldType_Progressive, frame->GetFieldType());
    EXPECT_EQ((LineList{110, 110, 130, 130, 150, 150}), LinesOf(frame));
}

TEST(FieldOperations, FrozenOrForcedFrameIsDeinterlacedInACopy)
{
    for (const bool isForced : {false, true})
    {
        const MF::IVideoFrameRef frame = Lines(kBGRA, 8, 6, 100);
        frame->SetFieldType(kFieldType_LowerFirst);
        if (!isForced)
        {
            frame->Freeze();
        }
        const MF::IVideoFrameRef result =
            ML::DeinterlaceFrame(frame, kRenderQuality_Medium, false, Params(8, 6), isForced);
        EXPECT_EQ((LineList{100, 110, 120, 130, 140, 140}), LinesOf(result));
        EXPECT_EQ(kFieldType_Progressive, result->GetFieldType());
        EXPECT_EQ((LineList{100, 110, 120, 130, 140, 150}), LinesOf(frame));
        EXPECT_EQ(kFieldType_LowerFirst, frame->GetFieldType());
    }
}

TEST(FieldOperations, PlanarFrameOfTwoOrFourTimesTheLinesGivesItsFieldScaled)
{
    for (const std::uint32_t height : {3u, 6u})
    {
        LineList lines;
        for (std::uint32_t i = 0; i < 2 * height; ++i)
        {
            lines.push_back(i % 2 == 0 ? 40 : 200);
        }
        const MF::IVideoFrameRef source = PlanarLines(8, lines);
        source->SetFieldType(kFieldType_UpperFirst);
        const MF::IVideoFrameRef result = ML::DeinterlaceFrame(
            source, kRenderQuality_Medium, true,
            RenderParams(4, 3, kRenderQuality_Medium, kPixelFormat_VUYA_4444_8u_709), false);
        EXPECT_EQ(kFieldType_Progressive, result->GetFieldType());
        EXPECT_TRUE(TestSupport::IsFilledWith(result, {128, 128, 200, 255})) << height;
        PixelFormat format;
        result->GetPixelFormat(format);
        EXPECT_EQ(kPixelFormat_VUYA_4444_8u_709, format) << "as asked for";
    }
}

TEST(FieldOperations, PackedFrameOfTwiceTheLinesKeepsThem)
{
    const MF::IVideoFrameRef frame = Lines(kBGRA, 8, 6, 100);
    EXPECT_TRUE(frame == ML::DeinterlaceFrame(frame, kRenderQuality_Draft, true, Params(8, 3), false));
    EXPECT_EQ((LineList{110, 110, 130, 130, 150, 150}), LinesOf(frame));
}

TEST(FieldOperations, PlanarFrameOfAnotherHeightIsDeinterlaced)
{
    const MF::IVideoFrameRef result = ML::DeinterlaceFrame(
        PlanarLines(8, {40, 200, 40, 200, 40, 200}), kRenderQuality_Medium, false, RenderParams(8, 6), false);
    PixelFormat format;
    result->GetPixelFormat(format);
    EXPECT_EQ(kPixelFormat_VUYX_4444_8u_709, format);
    EXPECT_TRUE(TestSupport::IsFilledWith(result, {128, 128, 40, 255}));
}

TEST(FieldOperations, NothingComesOutWhereNoFrameCanBeMade)
{
    EXPECT_FALSE(
        ML::DeinterlaceFrame(Lines(kBGRA, 8, 6, 0), kRenderQuality_Draft, false, Params(0, 6), true));
    EXPECT_FALSE(ML::DeinterlaceFrame(PlanarLines(8, {1, 2, 3, 4}), kRenderQuality_Draft, false,
                                      RenderParams(8, 2, kRenderQuality_Draft, kPixelFormat_Any), false));
}

TEST(FieldOperations, EmptyFramesAndFramesWithoutPixelsThrow)
{
    const MF::IVideoFrameRef frame = Lines(kBGRA, 8, 6, 0);
    EXPECT_THROW(ML::CopyField({}, frame, false, Params(8, 6)), TVK::NullInterfaceException);
    EXPECT_THROW(ML::CopyField(frame, {}, false, Params(8, 6)), TVK::NullInterfaceException);
    EXPECT_THROW(ML::ScaleFieldToFrame(frame, {}, false, Params(8, 6)), TVK::NullInterfaceException);
    EXPECT_THROW(ML::CopyFieldToOtherParity({}, false, frame, true, Params(8, 6)),
                 TVK::NullInterfaceException);
    EXPECT_THROW(ML::DeinterlaceFrame({}, kRenderQuality_Draft, false, Params(8, 6), false),
                 TVK::NullInterfaceException);
    const TestSupport::FakeVideoFrameRef fake(new TestSupport::FakeVideoFrame(frame));
    fake->mHasRaster = false;
    EXPECT_THROW(ML::CopyField(MF::IVideoFrameRef(fake.get()), frame, false, Params(8, 6)),
                 TVK::NullInterfaceException);
}

MF::FrameTime Times(std::int64_t inFirst, std::int64_t inSecond)
{
    return {TickTime(inFirst), TickTime(inSecond)};
}

TEST(FieldOperations, FirstFrameGivesTheLowerLinesAndTheSecondTheUpper)
{
    const MF::IVideoFrameRef a = Lines(kBGRA, 8, 6, 100);
    const MF::IVideoFrameRef b = Lines(kBGRA, 8, 6, 0);
    // Both frames have the times that their fields are wanted for.
    const MF::IVideoFrameRef woven =
        ML::InterleaveFrames(Times(10, 20), Params(8, 6), a, Times(15, 20), b, Times(10, 15));
    EXPECT_EQ((LineList{0, 110, 20, 130, 40, 150}), LinesOf(woven));
    EXPECT_EQ(kFieldType_UpperFirst, woven->GetFieldType());
    EXPECT_EQ(kFieldType_LowerFirst,
              ML::InterleaveFrames(Times(20, 10), Params(8, 6), a, Times(15, 10), b, Times(20, 15))
                  ->GetFieldType());
}

TEST(FieldOperations, FieldsOfTheWrongMomentAreMovedToTheOtherParity)
{
    const MF::IVideoFrameRef a = Lines(kBGRA, 8, 6, 100);
    const MF::IVideoFrameRef b = Lines(kBGRA, 8, 6, 0);
    // A's second time isn't the one that was asked for: its upper field goes to the lower lines. B's first
    // isn't either: its lower field goes to the upper lines.
    const MF::IVideoFrameRef woven =
        ML::InterleaveFrames(Times(10, 20), Params(8, 6), a, Times(20, 25), b, Times(5, 10));
    EXPECT_EQ((LineList{10, 100, 30, 120, 50, 140}), LinesOf(woven));
}

TEST(FieldOperations, WovenFrameHasTheSizeAndAspectOfTheFirst)
{
    const MF::IVideoFrameRef a = Lines(kBGRA, 10, 8, 100);
    a->SetPixelAspectRatio({16, 15});
    const MF::IVideoFrameRef b = NewFilledFrame(kBGRA, 5, 4, {7, 7, 7, 255});
    for (const MF::FrameTime& timesOfB : {Times(10, 15), Times(5, 10)})
    {
        const MF::IVideoFrameRef woven =
            ML::InterleaveFrames(Times(10, 20), Params(4, 4), a, Times(15, 20), b, timesOfB);
        TVK::Rect bounds;
        woven->GetBounds(bounds);
        EXPECT_EQ((TVK::Rect{0, 0, 10, 8}), bounds);
        PixelAspectRatio ratio;
        woven->GetPixelAspectRatio(ratio);
        EXPECT_EQ(PixelAspectRatio(16, 15), ratio);
        EXPECT_EQ((LineList{7, 110, 7, 130, 7, 150, 7, 170}), LinesOf(woven));
    }
}

TEST(FieldOperations, SubstituteIsWovenAtRenderSize)
{
    ML::CutlistRenderParams params = Params(8, 6);
    params.mSourceWidth = 16;
    params.mSourceHeight = 12;
    const MF::IVideoFrameRef a = NewFilledFrame(kBGRA, 16, 12, {9, 9, 9, 255});
    TestSupport::MakeSubstitute(a);
    const MF::IVideoFrameRef b = NewFilledFrame(kBGRA, 16, 12, {7, 7, 7, 255});
    const MF::IVideoFrameRef woven =
        ML::InterleaveFrames(Times(10, 20), params, a, Times(15, 25), b, Times(5, 15));
    EXPECT_EQ((LineList{7, 9, 7, 9, 7, 9}), LinesOf(woven));
}

TEST(FieldOperations, ProgressiveRequestOfOneFrameIsThatFrameDeinterlaced)
{
    const MF::IVideoFrameRef lower = Lines(kBGRA, 8, 6, 100);
    EXPECT_TRUE(lower ==
                ML::InterleaveFrames(Times(10, 10), Params(8, 6), lower, Times(5, 10), lower, Times(5, 10)));
    EXPECT_EQ((LineList{110, 110, 130, 130, 150, 150}), LinesOf(lower))
        << "the second time is the one asked for";
    const MF::IVideoFrameRef upper = Lines(kBGRA, 8, 6, 100);
    ML::InterleaveFrames(Times(10, 10), Params(8, 6), upper, Times(10, 15), upper, Times(10, 15));
    EXPECT_EQ((LineList{100, 100, 120, 120, 140, 140}), LinesOf(upper));
}

TEST(FieldOperations, ProgressiveRequestOfTwoFramesIsWoven)
{
    const MF::IVideoFrameRef woven =
        ML::InterleaveFrames(Times(10, 10), Params(8, 6), Lines(kBGRA, 8, 6, 100), Times(10, 10),
                             Lines(kBGRA, 8, 6, 0), Times(10, 10));
    EXPECT_EQ((LineList{0, 110, 20, 130, 40, 150}), LinesOf(woven));
    EXPECT_EQ(kFieldType_Progressive, woven->GetFieldType());
}

TEST(FieldOperations, FramesAreComparedByTheirOneAddress)
{
    const MF::IVideoFrameRef frame = Lines(kBGRA, 8, 6, 100);
    const TestSupport::FakeVideoFrameRef fake(new TestSupport::FakeVideoFrame(frame));
    fake->mHasIdentity = false;
    const MF::IVideoFrameRef nameless(fake.get());
    try
    {
        ML::InterleaveFrames(Times(10, 10), Params(8, 6), frame, Times(10, 10), nameless, Times(10, 10));
        FAIL() << "no exception";
    }
    catch (const TVK::IllegalComparisonException& error)
    {
        EXPECT_STREQ("A comparison of two refs has failed because we are unable to convert one of them to "
                     "TVKUnknown.",
                     error.what());
    }
    // Where the times differ nothing needs to be compared.
    EXPECT_TRUE(
        ML::InterleaveFrames(Times(10, 20), Params(8, 6), frame, Times(10, 20), nameless, Times(10, 20)));
}

TEST(FieldOperations, FrameThatDidNotComeLeavesBlackLines)
{
    const MF::IVideoFrameRef frame = Lines(kBGRA, 8, 6, 100);
    EXPECT_EQ(
        (LineList{0, 110, 0, 130, 0, 150}),
        LinesOf(ML::InterleaveFrames(Times(10, 20), Params(8, 6), frame, Times(10, 20), {}, Times(10, 20))));
    EXPECT_EQ(
        (LineList{100, 0, 120, 0, 140, 0}),
        LinesOf(ML::InterleaveFrames(Times(10, 20), Params(8, 6), {}, Times(10, 20), frame, Times(10, 20))));
    EXPECT_THROW(ML::InterleaveFrames(Times(10, 20), Params(8, 6), {}, Times(10, 20), {}, Times(10, 20)),
                 TVK::NullInterfaceException);
}

TEST(FieldOperations, WovenFieldsCarryTheMarksOfTheirFrames)
{
    const MF::IVideoFrameRef a = NewFrame(kPixelFormat_YUV_420_MPEG2_Field_8u_709, 256, 192);
    const MF::IVideoFrameRef b = NewFrame(kPixelFormat_YUV_420_MPEG2_Field_8u_709, 256, 192);
    TestSupport::PaintMark(a, {1, 0, TickTime(11)});
    TestSupport::PaintMark(b, {2, 0, TickTime(22)});
    const MF::IVideoFrameRef woven =
        ML::InterleaveFrames(Times(22, 11), Params(256, 192), a, Times(0, 11), b, Times(22, 0));
    TestSupport::FrameMark mark;
    ASSERT_TRUE(TestSupport::ReadMark(woven, mark, TestSupport::PaintedLines::Lower));
    EXPECT_EQ(1u, mark.mNumber);
    ASSERT_TRUE(TestSupport::ReadMark(woven, mark, TestSupport::PaintedLines::Upper));
    EXPECT_EQ(2u, mark.mNumber);
}

} // namespace
