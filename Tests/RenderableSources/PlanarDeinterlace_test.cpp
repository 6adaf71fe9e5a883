// Planes that a client wishes for are deinterlaced plane by plane: every sample against a model in double precision.
#include "FieldOperations.h"
#include "RenderableSources.h"

#include "ReferenceHost/FrameLibrary/VideoFrame.h"
#include "Tests/RenderableSources/PaintedSource.h"
#include "Tests/Support/PixelMatchers.h"
#include "Tests/VideoRenderer/RenderParams.h"
#include "VF/VideoFrame.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace
{

using namespace norviktypes;

constexpr std::uint32_t kWidth = 23;

struct Case
{
    PixelFormat mSource;
    PixelFormat mWished;
    std::uint32_t mHeight;
    bool mKeepsLower;
    RenderQuality mQuality;
};

struct Formats
{
    PixelFormat mSource;
    PixelFormat mWished;
};

constexpr Formats kFormats[] = {
    {kPixelFormat_YUV_420_MPEG2_Field_8u_709, kPixelFormat_YUV_420_MPEG2_Field_8u_709},
    {kPixelFormat_YUV_420_MPEG2_Field_8u_709, kPixelFormat_YUV_420_MPEG2_Frame_8u_709},
    {kPixelFormat_YUV_420_MPEG2_Field_8u_601, kPixelFormat_YUV_420_MPEG2_Frame_8u_601},
    {kPixelFormat_YUV_420_MPEG2_Field_10u_709, kPixelFormat_YUV_420_MPEG2_Frame_10u_709},
    {kPixelFormat_YUV_420_MPEG2_Frame_8u_709, kPixelFormat_YUV_420_MPEG2_Frame_8u_709},
    {kPixelFormat_YUV_420_Center_Frame_8u_601_Full, kPixelFormat_YUV_420_Center_Frame_8u_601_Full},
    {kPixelFormat_YUV_422_Planar_8u_709, kPixelFormat_YUV_422_Planar_8u_709},
    {kPixelFormat_YUV_422_Planar_10u_709, kPixelFormat_YUV_422_Planar_10u_709}};

std::vector<Case> AllCases()
{
    std::vector<Case> cases;
    for (const Formats& formats : kFormats)
    {
        for (const std::uint32_t height : {1u, 2u, 3u, 8u, 9u, 10u, 11u})
        {
            for (const bool keepsLower : {false, true})
            {
                for (const RenderQuality quality :
                     {kRenderQuality_Draft, kRenderQuality_Medium, kRenderQuality_High})
                {
                    cases.push_back({formats.mSource, formats.mWished, height, keepsLower, quality});
                }
            }
        }
    }
    return cases;
}

std::string NameOf(const Case& inCase)
{
    return std::string(PixelFormatText(inCase.mSource)) + " to " + PixelFormatText(inCase.mWished) +
           ", height " + std::to_string(inCase.mHeight) + (inCase.mKeepsLower ? ", lower" : ", upper") +
           ", quality " + std::to_string(inCase.mQuality);
}

using Rows = std::vector<std::vector<double>>;

Rows PlaneOf(const MF::IVideoFrameRef& inFrame, std::size_t inPlane)
{
    VF::FramePixels pixels;
    EXPECT_TRUE(VF::GetFramePixels(inFrame, pixels));
    const VF::FramePlane& plane = pixels.mGeometry.mPlanes[inPlane];
    const std::size_t bytes = DepthOfProperties(pixels.mFormat.mProperties) > 8 ? 2 : 1;
    Rows rows;
    for (std::uint32_t line = 0; line < plane.mLines; ++line)
    {
        std::vector<double>& row = rows.emplace_back();
        for (std::size_t at = 0; at < plane.mUsedBytes; at += bytes)
        {
            std::uint16_t sample = 0;
            std::memcpy(&sample, pixels.Row(inPlane, line) + at, bytes);
            row.push_back(sample);
        }
    }
    return rows;
}

// Four rows of a field, the one that is made lying in their middle; a step is one of eight bits.
double Filtered(const double* const (&inRows)[4], std::size_t inX, std::size_t inWidth, double inStep,
                bool inIsChroma)
{
    const auto soft = [&](std::size_t inAt)
    {
        const double sum = inRows[1][inAt] + inRows[2][inAt];
        return (16 * sum + sum - inRows[0][inAt] - inRows[3][inAt]) / 32;
    };
    const auto difference = [&](std::size_t inAt)
    { return std::abs(inRows[1][inAt] - inRows[2][inAt]) / inStep; };
    const std::size_t left = inX == 0 ? 0 : inX - 1;
    const std::size_t right = std::min(inX + 1, inWidth - 1);
    const double sum = inRows[1][inX] + inRows[2][inX];
    const double sharp = (8 * sum + sum - inRows[0][inX] - inRows[3][inX]) / 16;
    const double smooth = (soft(left) + 2 * soft(inX) + soft(right)) / 4;
    // In whole steps, whatever the depth.
    const double across = std::floor(difference(left) + difference(inX) + difference(right));
    const double share = inIsChroma ? (across - 24) / 128 : (across - 8) / 16;
    return sharp + std::clamp(share, 0.0, 1.0) * (smooth - sharp);
}

// The row of a plane that the field makes.
std::vector<double> ModelRow(const Case& inCase, const Rows& inPlane, std::size_t inRow, bool inIsChroma)
{
    const auto rows = static_cast<int>(inPlane.size());
    const int parity = inCase.mKeepsLower ? 1 : 0;
    const int last = rows - 1 - ((rows - 1) % 2 == parity ? 0 : 1);
    const auto kept = [&](int inIndex) -> const std::vector<double>&
    { return inPlane[static_cast<std::size_t>(std::clamp(inIndex, parity, last))]; };
    const int row = static_cast<int>(inRow);
    if (row % 2 == parity || last < parity)
    {
        return inPlane[inRow];
    }
    const bool isAtEdge = row - 1 < parity || row + 1 > last;
    if (isAtEdge || inCase.mQuality == kRenderQuality_Draft)
    {
        return kept(isAtEdge ? row : row / 2 * 2 + parity);
    }
    const double* const taps[4] = {kept(row - 3).data(), kept(row - 1).data(), kept(row + 1).data(),
                                   kept(row + 3).data()};
    const std::size_t width = inPlane[inRow].size();
    const std::uint32_t depth = DepthOfProperties(inCase.mSource.mProperties);
    std::vector<double> made;
    for (std::size_t x = 0; x < width; ++x)
    {
        const double sample = inCase.mQuality < kRenderQuality_High
                                  ? std::floor((taps[1][x] + taps[2][x] + 1) / 2)
                                  : Filtered(taps, x, width, std::exp2(depth - 8.0), inIsChroma);
        made.push_back(std::clamp(sample, 0.0, std::exp2(depth) - 1));
    }
    return made;
}

// Ten bits of each word.
void HoldWithinBits(const MF::IVideoFrameRef& inFrame)
{
    VF::FramePixels pixels;
    ASSERT_TRUE(VF::GetFramePixels(inFrame, pixels));
    for (std::size_t plane = 0; plane < 3; ++plane)
    {
        const VF::FramePlane& rows = pixels.mGeometry.mPlanes[plane];
        for (std::uint32_t line = 0; line < rows.mLines; ++line)
        {
            for (std::size_t at = 1; at < rows.mUsedBytes; at += 2)
            {
                pixels.Row(plane, line)[at] &= 3;
            }
        }
    }
}

MF::IVideoFrameRef NoisyFrame(const Case& inCase)
{
    MF::IVideoFrameRef frame;
    EXPECT_GE(VF::CreateVideoFrame(frame, inCase.mSource, kWidth, inCase.mHeight, {16, 11}, false, false), 0);
    TestSupport::FillWithNoise(frame, 7);
    if (DepthOfProperties(inCase.mSource.mProperties) > 8)
    {
        HoldWithinBits(frame);
    }
    frame->SetFieldType(kFieldType_UpperFirst);
    return frame;
}

bool HasChromaOfFrames(const PixelFormat& inFormat)
{
    return inFormat == kPixelFormat_YUV_420_MPEG2_Frame_8u_709 ||
           inFormat == kPixelFormat_YUV_420_Center_Frame_8u_601_Full;
}

void ExpectModel(const Case& inCase, const MF::IVideoFrameRef& inFrom, const MF::IVideoFrameRef& inMade)
{
    for (std::size_t plane = 0; plane < 3; ++plane)
    {
        const Rows from = PlaneOf(inFrom, plane);
        const Rows made = PlaneOf(inMade, plane);
        ASSERT_EQ(made.size(), from.size());
        // Chroma that both fields share can't be told apart.
        const bool isShared = plane > 0 && HasChromaOfFrames(inCase.mSource);
        const double allowed = inCase.mQuality == kRenderQuality_High ? 1 : 0;
        for (std::size_t row = 0; row < made.size(); ++row)
        {
            const bool isKept = isShared || static_cast<bool>(row % 2) == inCase.mKeepsLower;
            const std::vector<double> expected =
                isShared ? from[row] : ModelRow(inCase, from, row, plane > 0);
            for (std::size_t x = 0; x < expected.size(); ++x)
            {
                ASSERT_NEAR(made[row][x], expected[x], isKept ? 0 : allowed)
                    << "plane " << plane << ", row " << row << ", sample " << x;
            }
        }
    }
}

TEST(PlanarDeinterlace, WishedPlanesKeepTheFieldsRowsAndHaveMadeOnesBetween)
{
    for (const Case& each : AllCases())
    {
        SCOPED_TRACE(NameOf(each));
        for (const bool isFrozen : {false, true})
        {
            const MF::IVideoFrameRef frame = NoisyFrame(each);
            if (isFrozen)
            {
                frame->Freeze();
            }
            const MF::IVideoFrameRef made = ML::DeinterlaceFrame(
                frame, each.mQuality, each.mKeepsLower,
                RenderParams(kWidth, each.mHeight, kRenderQuality_High, each.mWished), false);
            ASSERT_TRUE(made);
            PixelFormat format;
            made->GetPixelFormat(format);
            ASSERT_EQ(format, each.mWished);
            EXPECT_EQ(made->GetFieldType(), kFieldType_Progressive);
            EXPECT_EQ(frame->GetFieldType(), kFieldType_UpperFirst);
            ExpectModel(each, NoisyFrame(each), made);
        }
    }
}

TEST(PlanarDeinterlace, OtherPlanesThanWishedComeOutInFourComponents)
{
    const Formats kOthers[] = {
        {kPixelFormat_YUV_420_MPEG2_Frame_8u_709, kPixelFormat_YUV_420_MPEG2_Field_8u_709},
        {kPixelFormat_YUV_420_MPEG2_Field_8u_709, kPixelFormat_YUV_420_MPEG2_Frame_8u_601},
        {kPixelFormat_YUV_420_MPEG2_Field_8u_709, kPixelFormat_YUV_420_MPEG2_Frame_10u_709},
        {kPixelFormat_YUV_420_MPEG2_Field_8u_709, kPixelFormat_YUV_422_Planar_8u_709},
        {kPixelFormat_YUV_422_Planar_8u_709, kPixelFormat_VUYX_4444_8u_709}};
    for (const Formats& formats : kOthers)
    {
        const Case each{formats.mSource, formats.mWished, 8, false, kRenderQuality_Medium};
        SCOPED_TRACE(NameOf(each));
        const MF::IVideoFrameRef made = ML::DeinterlaceFrame(
            NoisyFrame(each), each.mQuality, false,
            RenderParams(kWidth, each.mHeight, kRenderQuality_High, each.mWished), false);
        ASSERT_TRUE(made);
        PixelFormat format;
        made->GetPixelFormat(format);
        EXPECT_TRUE(IsPackedFourComponent(format.mProperties)) << PixelFormatText(format);
    }
}

TEST(PlanarDeinterlace, WorkInLightIsDoneInFourComponents)
{
    const Case each{kPixelFormat_YUV_420_MPEG2_Field_8u_709, kPixelFormat_YUV_420_MPEG2_Field_8u_709, 8,
                    false, kRenderQuality_High};
    const MF::IVideoFrameRef made =
        ML::DeinterlaceFrame(NoisyFrame(each), each.mQuality, false,
                             RenderParams(kWidth, each.mHeight, kRenderQuality_Max, each.mWished), false);
    ASSERT_TRUE(made);
    PixelFormat format;
    made->GetPixelFormat(format);
    EXPECT_TRUE(IsPackedFourComponent(format.mProperties)) << PixelFormatText(format);
}

TEST(PlanarDeinterlace, SourceGivesPlanesOfTheFieldThatIsShown)
{
    for (const bool isLaterMoment : {false, true})
    {
        const Case each{kPixelFormat_YUV_420_MPEG2_Field_8u_709, kPixelFormat_YUV_420_MPEG2_Frame_8u_709, 10,
                        isLaterMoment, kRenderQuality_High};
        const MF::IVideoFrameRef frame = NoisyFrame(each);
        frame->Freeze();
        const TestSupport::PaintedSourceRef source(new TestSupport::PaintedSource);
        source->mFieldType = kFieldType_UpperFirst;
        source->mFrameFunction = [&](const MF::FrameTime&) { return frame; };
        MF::IVideoFrameRef made;
        ML::CutlistRenderParams params = RenderParams(kWidth, 10, kRenderQuality_High, each.mWished);
        params.mDeinterlaceQuality = kRenderQuality_High;
        ML::DeinterlaceSource(source)->Render(MF::FrameTime(source->Moment(isLaterMoment ? 7 : 6)), params,
                                              made);
        ASSERT_TRUE(made);
        ExpectModel(each, frame, made);
        PixelAspectRatio ratio;
        made->GetPixelAspectRatio(ratio);
        EXPECT_EQ(ratio, (PixelAspectRatio{16, 11})) << "as the source's";
    }
}

} // namespace
