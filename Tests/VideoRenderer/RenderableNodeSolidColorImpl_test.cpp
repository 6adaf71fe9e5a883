#include "RenderableNodeSolidColorImpl.h"

#include "CutlistRenderer.h"
#include "RenderableCutlistImpl.h"
#include "Tests/Support/ContractText.h"
#include "Tests/Support/Fakes/FakeNode.h"
#include "Tests/Support/FrameTools.h"
#include "Tests/VideoRenderer/RenderParams.h"
#include "VF/VideoFrameManipulators.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace
{

using norviktypes::TickTime;

using SolidNodeRef = TVK::InterfaceRef<ML::RenderableNodeSolidColorImpl>;

SolidNodeRef MakeSolid(std::uint32_t inColor)
{
    const SolidNodeRef node(new ML::RenderableNodeSolidColorImpl());
    node->SetBGRAColor(inColor);
    node->Finalize();
    return node;
}

SolidNodeRef MakeSolidOfText(const norvik::UTF8String& inText)
{
    const SolidNodeRef node(new ML::RenderableNodeSolidColorImpl());
    node->SetCommonProperty(ML::RenderableNodeSolidColorImpl::ColorProperty(), inText, true);
    node->Finalize();
    return node;
}

MF::IVideoFrameRef FrameOf(const SolidNodeRef& inNode, const ML::CutlistRenderParams& inParams)
{
    MF::IVideoFrameRef frame;
    const ML::IRenderableNodeProducerRef producer =
        inNode->GetProducerForFrame(inParams.mFrameTime, inParams);
    EXPECT_EQ(producer->GetFrame(inParams.mFrameTime, inParams, frame), 0);
    return frame;
}

// Every pixel of a frame of BGRA bytes is the same.
void ExpectAll(const MF::IVideoFrameRef& inFrame, const std::vector<std::uint8_t>& inPixel,
               int inTolerance = 0)
{
    TVK::Rect bounds;
    inFrame->GetBounds(bounds);
    for (std::uint32_t y = 0; y < static_cast<std::uint32_t>(bounds.Height()); ++y)
    {
        for (std::uint32_t x = 0; x < static_cast<std::uint32_t>(bounds.Width()); ++x)
        {
            const std::vector<std::uint8_t> pixel = TestSupport::PixelAt(inFrame, x, y);
            for (std::size_t at = 0; at < 4; ++at)
            {
                ASSERT_LE(std::abs(pixel[at] - inPixel[at]), inTolerance) << x << ", " << y;
            }
        }
    }
}

TVK::Guid FrameHash(const SolidNodeRef& inNode, const ML::CutlistRenderParams& inParams,
                    const MF::FrameTime& inTime = {}, const TVK::Guid& inBase = {})
{
    TVK::Guid hash;
    inNode->GetFrameHash(hash, inTime, inParams, inBase);
    return hash;
}

TEST(SolidColorNode, FillsEveryPixelWithItsColour)
{
    for (const auto& [width, height] : {std::pair(1u, 1u), std::pair(17u, 9u), std::pair(64u, 5u)})
    {
        const MF::IVideoFrameRef frame = FrameOf(MakeSolid(0x80102030u), RenderParams(width, height));
        TVK::Rect bounds;
        frame->GetBounds(bounds);
        EXPECT_EQ(bounds, (TVK::Rect{0, 0, static_cast<int>(width), static_cast<int>(height)}));
        ExpectAll(frame, {0x30, 0x20, 0x10, 0x80});
    }
}

TEST(SolidColorNode, ConvertsItsColourToTheFormatOfTheRender)
{
    for (const norviktypes::PixelFormat& format :
         {norviktypes::kPixelFormat_BGRA_4444_16u, norviktypes::kPixelFormat_VUYA_4444_8u_709,
          norviktypes::kPixelFormat_BGRA_4444_32f_Linear, norviktypes::kPixelFormat_UYVY_422_8u_709,
          norviktypes::kPixelFormat_YUV_420_MPEG2_Frame_8u_709})
    {
        const auto params = RenderParams(18, 10, norviktypes::kRenderQuality_High, format);
        const MF::IVideoFrameRef frame = FrameOf(MakeSolid(0xFF2040C0u), params);
        norviktypes::PixelFormat made;
        frame->GetPixelFormat(made);
        EXPECT_EQ(made, format);
        const MF::IVideoFrameRef bytes =
            TestSupport::NewFrame(norviktypes::kPixelFormat_BGRA_4444_8u, 18, 10);
        ASSERT_EQ(VF::VideoFrameManipulators::CopyFrame(frame, bytes, norviktypes::kRenderQuality_High), 0);
        ExpectAll(bytes, {0xC0, 0x40, 0x20, 0xFF}, 3);
    }
}

TEST(SolidColorNode, TextThatIsNoNumberIsTransparentBlack)
{
    for (const char* text : {"", "red", "99999999999", " "})
    {
        ExpectAll(FrameOf(MakeSolidOfText(text), RenderParams(3, 2)), {0, 0, 0, 0});
    }
    ExpectAll(FrameOf(MakeSolidOfText("4278190335"), RenderParams(3, 2)), {0xFF, 0, 0, 0xFF});
}

TEST(SolidColorNode, RenderThatHasNoFrameGivesNone)
{
    MF::IVideoFrameRef frame = TestSupport::NewFrame(norviktypes::kPixelFormat_BGRA_4444_8u, 2, 2);
    EXPECT_EQ(MakeSolid(1)->GetFrame({}, RenderParams(0, 8), frame), 0);
    EXPECT_FALSE(frame);
    frame = TestSupport::NewFrame(norviktypes::kPixelFormat_BGRA_4444_8u, 2, 2);
    const auto params =
        RenderParams(8, 8, norviktypes::kRenderQuality_High, norviktypes::kPixelFormat_Invalid);
    EXPECT_EQ(MakeSolid(1)->GetFrame({}, params, frame), 0);
    EXPECT_FALSE(frame);
}

TEST(SolidColorNode, ColourIsAHashedPropertyInDecimal)
{
    const SolidNodeRef node = MakeSolid(4278190335u);
    norvik::UTF8String text;
    EXPECT_EQ(
        node->GetProperty(norvik::utility::ImmutableString::CreateStatic("SolidColorNode::Color"), text), 0);
    EXPECT_EQ(text, "4278190335");
    EXPECT_EQ(node->GetNodeType().View(), "RenderableNodeSolidColorImpl");
    EXPECT_EQ(node->GetInformativeFlags(), 0u);
    EXPECT_NE(MakeSolid(0)->GetHashValue(), MakeSolid(1)->GetHashValue());
    EXPECT_EQ(MakeSolid(7)->GetHashValue(), MakeSolid(7)->GetHashValue());
    EXPECT_EQ(std::string(node->GetHashValue().AsUTF8String()), "90AB52FC-1DFA-EDDC-335B-9B8E18276F89");
}

TEST(SolidColorNode, ColourCannotChangeOnceFrozen)
{
    const SolidNodeRef node = MakeSolid(7);
    EXPECT_EQ(TestSupport::ContractText([&] { node->SetBGRAColor(8); }),
              "mMutable|Src/RenderableNodeSolidColorImpl|ML::RenderableNodeSolidColor::SetBGRAColor");
    EXPECT_EQ(node->GetHashValue(), MakeSolid(7)->GetHashValue());
}

// Stored hashes may never change; this one was computed by a separate model of the arithmetic.
TEST(SolidColorNode, FrameHashesNeverChange)
{
    ML::CutlistRenderParams params = RenderParams(1920, 1080);
    params.mPixelAspectRatio = {12, 11};
    const TVK::Guid base(0x0102030405060708u, 0x090A0B0C0D0E0F10u);
    EXPECT_EQ(std::string(FrameHash(MakeSolid(4278190335u), params, {}, base).AsUTF8String()),
              "DCA69D88-6A2F-D6B3-4A40-033A2B28CD9A");
}

TEST(SolidColorNode, FrameHashFollowsWhatTheFrameDependsOnAndNoMore)
{
    const SolidNodeRef node = MakeSolid(7);
    const ML::CutlistRenderParams params = RenderParams(64, 48);
    const TVK::Guid hash = FrameHash(node, params);
    EXPECT_NE(hash, FrameHash(MakeSolid(8), params));
    EXPECT_NE(hash, FrameHash(node, params, {}, TVK::Guid(0, 1)));
    for (const auto& change : {+[](ML::CutlistRenderParams& ioParams) { ++ioParams.mWidth; },
                               +[](ML::CutlistRenderParams& ioParams) { ++ioParams.mHeight; },
                               +[](ML::CutlistRenderParams& ioParams) {
                                   ioParams.mPixelAspectRatio = {2, 1};
                               },
                               +[](ML::CutlistRenderParams& ioParams) {
                                   ioParams.mPixelAspectRatio = {1, 2};
                               },
                               +[](ML::CutlistRenderParams& ioParams)
                               { ioParams.mPixelFormat = norviktypes::kPixelFormat_BGRX_4444_8u; }})
    {
        ML::CutlistRenderParams other = params;
        change(other);
        EXPECT_NE(hash, FrameHash(node, other));
    }
    ML::CutlistRenderParams later = params;
    later.mFrameTime = {TickTime(5), TickTime(3)};
    later.mFieldToRender = 1;
    EXPECT_EQ(hash, FrameHash(node, later, later.mFrameTime));
}

TEST(SolidColorNode, PlaysFromACutlistAndIsCached)
{
    TestSupport::EmptyFrameCache();
    const ML::IMutableCutlistRef cutlist = ML::CreateMutableCutlist();
    cutlist->AddSegment(TickTime(0), TickTime(100), TickTime(0), MakeSolid(0xFFFFFFFFu));
    cutlist->Finalize();
    ML::CutlistRenderParams params = RenderParams(16, 8);
    std::vector<MF::IVideoFrameRef> frames;
    for (const std::int64_t time : {10, 20})
    {
        params.mFrameTime = MF::FrameTime(TickTime(time));
        ML::IRenderableNodeProducerRef producer;
        MF::FrameTime nodeTime;
        ASSERT_EQ(ML::ResolveProducerAtTime(cutlist, params, producer, nodeTime), 0);
        frames.push_back(ML::RenderFrameFromCutlist(producer, params, nodeTime, {}, true));
    }
    ExpectAll(frames[0], {0xFF, 0xFF, 0xFF, 0xFF});
    EXPECT_TRUE(frames[0]->IsFrozen());
    EXPECT_EQ(frames[0], frames[1]);
}

TEST(SolidColorNode, IsItsOwnProducerAndOneObject)
{
    const SolidNodeRef node = MakeSolid(7);
    EXPECT_EQ(TVK::TVKUnknownRef(node->GetProducerForFrame({}, {})).get(),
              TVK::TVKUnknownRef(node->AsNode()).get());
    EXPECT_TRUE(ML::IRenderableNodePrefetchProviderRef(node));
}

} // namespace
