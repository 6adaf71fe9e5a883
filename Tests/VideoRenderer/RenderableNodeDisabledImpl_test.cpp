#include "RenderableNodeDisabledImpl.h"

#include "CutlistRenderer.h"
#include "RenderableCutlistImpl.h"
#include "Tests/Support/Fakes/FakeNode.h"
#include "Tests/VideoRenderer/RenderParams.h"

#include <gtest/gtest.h>

#include <string>

namespace
{

using norviktypes::TickTime;
using TestSupport::MakeFrozenNode;

using DisabledNodeRef = TVK::InterfaceRef<ML::RenderableNodeDisabledImpl>;

DisabledNodeRef Disable(const MF::IRenderableNodeRef& inNode)
{
    const DisabledNodeRef node(new ML::RenderableNodeDisabledImpl());
    node->AppendInput(inNode, TickTime(0));
    node->Finalize();
    return node;
}

TEST(DisabledNode, HasTheFlagsOfItsFirstInput)
{
    for (const std::uint32_t flags : {0u, 0x54u, 0xDFu})
    {
        EXPECT_EQ(Disable(MakeFrozenNode("Input", flags))->GetInformativeFlags(), flags);
    }
    const DisabledNodeRef two(new ML::RenderableNodeDisabledImpl());
    two->AppendInput(MakeFrozenNode("First", 1), TickTime(0));
    two->AppendInput(MakeFrozenNode("Second", 2), TickTime(0));
    two->Finalize();
    EXPECT_EQ(two->GetInformativeFlags(), 1u);
}

TEST(DisabledNode, HasNoFlagsWithoutAnInput)
{
    const DisabledNodeRef node(new ML::RenderableNodeDisabledImpl());
    node->Finalize();
    EXPECT_EQ(node->GetInformativeFlags(), 0u);
}

TEST(DisabledNode, InputOfNothingThrows)
{
    EXPECT_THROW(Disable({}), TVK::NullInterfaceException);
}

TEST(DisabledNode, HashIsItsOwnAndFollowsTheInput)
{
    const auto input = MakeFrozenNode();
    EXPECT_NE(Disable(input)->GetHashValue(), input->GetHashValue());
    EXPECT_NE(Disable(input)->GetHashValue(), Disable(MakeFrozenNode("Other"))->GetHashValue());
    EXPECT_EQ(std::string(Disable(input)->GetHashValue().AsUTF8String()),
              "2868C25F-1330-0D8C-6374-44440D9CA85E");
    EXPECT_EQ(Disable(input)->GetNodeType().View(), "RenderableNodeDisabledImpl");
}

TEST(DisabledNode, IsANodeThatPrefetchesAndHasNoProducers)
{
    const DisabledNodeRef node = Disable(MakeFrozenNode());
    EXPECT_EQ(node->AsNode().get(), MF::IRenderableNodeRef(node).get());
    EXPECT_TRUE(ML::IRenderableNodePrefetchProviderRef(node));
    EXPECT_FALSE(ML::IRenderableNodeProducerProviderRef(node));
}

TEST(DisabledNode, ItsTimeIsBlackAndItsBranchIsNotRendered)
{
    const TestSupport::FakeProducerNodeRef input(new TestSupport::FakeProducerNode("Input"));
    input->Finalize();
    const ML::IMutableCutlistRef cutlist = ML::CreateMutableCutlist();
    cutlist->AddSegment(TickTime(0), TickTime(100), TickTime(0), Disable(input));
    cutlist->Finalize();
    const ML::CutlistRenderParams params = RenderParams(16, 8);
    ML::IRenderableNodeProducerRef producer;
    MF::FrameTime time;
    EXPECT_EQ(ML::ResolveProducerAtTime(cutlist, params, producer, time), 0);
    EXPECT_FALSE(producer);
    const MF::IVideoFrameRef frame = ML::RenderFrameFromCutlist(producer, params, time, {}, true);
    EXPECT_TRUE(frame);
    EXPECT_EQ(frame, ML::GetBlackVideoFrame(params));
    EXPECT_TRUE(input->mProducerTimes.empty());
}

} // namespace
