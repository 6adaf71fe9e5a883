#include "RenderableNodeTransitionImpl.h"

#include "PropertyText.h"
#include "TVK/HashValue.h"
#include "Tests/EffectNodes/EffectNodeTests.h"
#include "Tests/Support/Fakes/FakeKeyframedParameter.h"
#include "Tests/Support/Fakes/FakeNode.h"
#include "Tests/Support/Fakes/FakeTrackItem.h"
#include "Tests/Support/Fakes/FakeVideoTransition.h"

#include <gtest/gtest.h>

#include <functional>

namespace
{

using namespace EffectNodeTests;
using TestSupport::FakeTransitionItem;
using TestSupport::FakeTransitionItemRef;
using TestSupport::FakeVideoTransition;
using TestSupport::FakeVideoTransitionRef;
using TestSupport::MakeFrozenNode;

constexpr std::uint32_t kAllFlags = 0xFF;

FakeTransitionItemRef ItemOf(const FakeVideoTransitionRef& inTransition, std::int64_t inStart = 100,
                             std::int64_t inEnd = 110)
{
    FakeTransitionItemRef item(new FakeTransitionItem(Frames(inStart), Frames(inEnd)));
    item->mTransition = ML::IVideoTransitionRef(inTransition);
    return item;
}

MF::IRenderableNodeRef NodeOf(const FakeVideoTransitionRef& inTransition,
                              const MF::IRenderableNodeRef& inA = MF::IRenderableNodeRef(),
                              const MF::IRenderableNodeRef& inB = MF::IRenderableNodeRef())
{
    return ML::CreateTransitionNode(BE::ITransitionItemRef(ItemOf(inTransition)), inA, Frames(-4), inB,
                                    Frames(3));
}

FakeVideoTransitionRef MakeTransition()
{
    return FakeVideoTransitionRef(new FakeVideoTransition());
}

std::uint32_t FlagsWith(bool inKeepsOpaque, const MF::IRenderableNodeRef& inA,
                        const MF::IRenderableNodeRef& inB)
{
    const FakeVideoTransitionRef transition = MakeTransition();
    transition->mKeepsOpaque = inKeepsOpaque;
    return NodeOf(transition, inA, inB)->GetInformativeFlags();
}

TEST(TransitionNode, SaysItsSettingsAsProperties)
{
    const FakeVideoTransitionRef transition = MakeTransition();
    ML::TransitionInfo& info = transition->mInfo;
    info.mMatchName = ImmutableString::CreateStatic("Wipe");
    info.mOpaqueData = MF::BinaryData("abc", 3);
    info.mStartPosition = {0.25, 0.5};
    info.mEndPosition = {1.0, -2.0};
    info.mCenterPosition = {0.1, 0.0};
    info.mStartPercent = 12.5;
    info.mEndPercent = 87.5;
    info.mBorderWidth = 3.5;
    info.mBorderColor = {0xFF102030u};
    info.mSwitchSources = true;
    info.mReverse = true;
    info.mDirection = 7;
    info.mAntiAliasQuality = 2;
    info.mRuntimeInstanceID = 99;
    transition->mParameters = {TestSupport::MakeNumberParameter(4.0), TestSupport::MakeNumberParameter(5.0)};
    const MF::IRenderableNodeRef node = NodeOf(transition);

    EXPECT_EQ(PropertyOf(node, "TransitionNode::TransitionMatchName"), "Wipe");
    EXPECT_EQ(PropertyOf(node, "TransitionNode::TransitionOpaqueData"), ML::PropertyText::OfBinary("abc", 3));
    EXPECT_EQ(PropertyOf(node, "TransitionNode::TransitionStartPosition"), "0.25,0.5");
    EXPECT_EQ(PropertyOf(node, "TransitionNode::TransitionEndPosition"), "1,-2");
    EXPECT_EQ(PropertyOf(node, "TransitionNode::TransitionCenterPosition"), "0.10000000000000001,0");
    EXPECT_EQ(PropertyOf(node, "TransitionNode::TransitionStartPercent"), "12.5");
    EXPECT_EQ(PropertyOf(node, "TransitionNode::TransitionEndPercent"), "87.5");
    EXPECT_EQ(PropertyOf(node, "TransitionNode::TransitionBorderWidth"), "3.5");
    EXPECT_EQ(PropertyOf(node, "TransitionNode::TransitionBorderColor"), "4279246896");
    EXPECT_EQ(PropertyOf(node, "TransitionNode::TransitionSwitchSources"), "1");
    EXPECT_EQ(PropertyOf(node, "TransitionNode::TransitionReverse"), "1");
    EXPECT_EQ(PropertyOf(node, "TransitionNode::TransitionDirection"), "7");
    EXPECT_EQ(PropertyOf(node, "TransitionNode::TransitionAntiAliasQuality"), "2");
    EXPECT_EQ(PropertyOf(node, "TransitionNode::TransitionDuration"), ML::PropertyText::OfTime(Frames(10)));
    EXPECT_EQ(PropertyOf(node, "TransitionNode::RuntimeInstanceID"), "99");
    EXPECT_EQ(PropertyOf(node, "TransitionNode::TransitionParams"),
              "2\n" + transition->mParameters[0]->GetText() + "\n" + transition->mParameters[1]->GetText() +
                  "\n");
    EXPECT_EQ(PropertiesOf(node).size(), 16u);
    EXPECT_EQ(node->GetNodeType(), ImmutableString::CreateStatic("RenderableNodeTransitionImpl"));
}

TEST(TransitionNode, HasADifferentHashForEverySetting)
{
    using Change = std::function<void(FakeVideoTransition&)>;
    const std::vector<Change> changes = {
        [](FakeVideoTransition& it) { it.mInfo.mMatchName = ImmutableString::CreateStatic("Other"); },
        [](FakeVideoTransition& it) { it.mInfo.mOpaqueData = MF::BinaryData("x", 1); },
        [](FakeVideoTransition& it) { it.mInfo.mStartPosition.y = 1.0; },
        [](FakeVideoTransition& it) { it.mInfo.mEndPosition.x = 1.0; },
        [](FakeVideoTransition& it) { it.mInfo.mCenterPosition.x = 1.0; },
        [](FakeVideoTransition& it) { it.mInfo.mStartPercent = 1.0; },
        [](FakeVideoTransition& it) { it.mInfo.mEndPercent = 1.0; },
        [](FakeVideoTransition& it) { it.mInfo.mBorderWidth = 1.0; },
        [](FakeVideoTransition& it) { it.mInfo.mBorderColor.mValue = 1; },
        [](FakeVideoTransition& it) { it.mInfo.mSwitchSources = true; },
        [](FakeVideoTransition& it) { it.mInfo.mReverse = true; },
        [](FakeVideoTransition& it) { it.mInfo.mDirection = 1; },
        [](FakeVideoTransition& it) { it.mInfo.mAntiAliasQuality = 1; },
        [](FakeVideoTransition& it) { it.mParameters = {TestSupport::MakeNumberParameter(1.0)}; },
    };
    const TVK::Guid plain = NodeOf(MakeTransition())->GetHashValue();
    for (std::size_t index = 0; index < changes.size(); ++index)
    {
        const FakeVideoTransitionRef transition = MakeTransition();
        changes[index](*transition);
        EXPECT_NE(NodeOf(transition)->GetHashValue(), plain) << "change " << index;
    }
}

TEST(TransitionNode, LeavesTheRunTimeInstanceOutOfItsHash)
{
    const FakeVideoTransitionRef transition = MakeTransition();
    transition->mInfo.mRuntimeInstanceID = 4711;
    EXPECT_EQ(NodeOf(transition)->GetHashValue(), NodeOf(MakeTransition())->GetHashValue());
}

TEST(TransitionNode, IsTheSameNodeAtAnotherPlaceOfTheTrack)
{
    const FakeVideoTransitionRef transition = MakeTransition();
    const auto nodeAt = [&](std::int64_t inStart, std::int64_t inEnd)
    {
        return ML::CreateTransitionNode(BE::ITransitionItemRef(ItemOf(transition, inStart, inEnd)),
                                        MF::IRenderableNodeRef(), Frames(0), MF::IRenderableNodeRef(),
                                        Frames(0));
    };
    EXPECT_EQ(nodeAt(100, 110)->GetHashValue(), nodeAt(700, 710)->GetHashValue());
    EXPECT_NE(nodeAt(100, 110)->GetHashValue(), nodeAt(100, 111)->GetHashValue()) << "another length";
}

TEST(TransitionNode, HoldsItsInputsInOrderAndAtTheirOffsets)
{
    const auto a = MakeFrozenNode("A");
    const auto b = MakeFrozenNode("B");
    const MF::IRenderableNodeRef node = NodeOf(MakeTransition(), MF::IRenderableNodeRef(a), nullptr);
    ASSERT_EQ(node->GetInputCount(), 2u);
    TickTime offset;
    MF::IRenderableNodeRef input;
    node->GetNthInput(0, offset, input);
    EXPECT_EQ(input, MF::IRenderableNodeRef(a));
    EXPECT_EQ(offset, Frames(-4));
    node->GetNthInput(1, offset, input);
    EXPECT_FALSE(input) << "an input of nothing counts";
    EXPECT_EQ(offset, Frames(3));
    EXPECT_NE(NodeOf(MakeTransition(), MF::IRenderableNodeRef(a), MF::IRenderableNodeRef(b))->GetHashValue(),
              NodeOf(MakeTransition(), MF::IRenderableNodeRef(b), MF::IRenderableNodeRef(a))->GetHashValue());
}

TEST(TransitionNode, HasTheFlagsThatItsInputsShareOfItsOwn)
{
    const MF::IRenderableNodeRef all(MakeFrozenNode("All", kAllFlags));
    const MF::IRenderableNodeRef clear(MakeFrozenNode("Clear", kAllFlags & ~MF::kNodeFlag_Opaque));
    const MF::IRenderableNodeRef reaching(
        MakeFrozenNode("Reaching", kAllFlags & ~MF::kNodeFlag_TimeContained));
    EXPECT_EQ(FlagsWith(false, all, all), 68u);
    EXPECT_EQ(FlagsWith(true, all, all), 69u);
    EXPECT_EQ(FlagsWith(true, clear, all), 68u);
    EXPECT_EQ(FlagsWith(true, all, clear), 68u);
    EXPECT_EQ(FlagsWith(true, reaching, all), 5u);
    EXPECT_EQ(FlagsWith(true, all, reaching), 5u);
}

TEST(TransitionNode, IsNotOpaqueWithoutBothInputs)
{
    const MF::IRenderableNodeRef all(MakeFrozenNode("All", kAllFlags));
    EXPECT_EQ(FlagsWith(true, nullptr, all), 68u);
    EXPECT_EQ(FlagsWith(true, all, nullptr), 68u);
    EXPECT_EQ(FlagsWith(true, nullptr, nullptr), 68u);
}

TEST(TransitionNode, ShowsItsParametersAsKeyframes)
{
    const FakeVideoTransitionRef transition = MakeTransition();
    transition->mParameters = {TestSupport::MakeNumberParameter(4.0)};
    const MF::IRenderableNodeRef node = NodeOf(transition);
    const ML::IRenderableKeyframeOwnerRef owner(node);
    ASSERT_TRUE(owner);
    ASSERT_EQ(owner->GetKeyframes().size(), 1u);
    EXPECT_EQ(owner->GetKeyframes()[0], transition->mParameters[0]);
}

TEST(TransitionNode, ThrowsForAnItemWithoutATransition)
{
    const FakeTransitionItemRef item(new FakeTransitionItem(Frames(0), Frames(1)));
    EXPECT_THROW(
        ML::CreateTransitionNode(BE::ITransitionItemRef(item), nullptr, Frames(0), nullptr, Frames(0)),
        TVK::NullInterfaceException);
    EXPECT_THROW(ML::CreateTransitionNode(nullptr, nullptr, Frames(0), nullptr, Frames(0)),
                 TVK::NullInterfaceException);
}

TEST(TransitionNode, AsksItsInputsForPrefetchesInTheirOwnTimes)
{
    const auto a = MakeFrozenNode("A");
    const auto b = MakeFrozenNode("B");
    const ML::IRenderableNodePrefetchProviderRef node(
        NodeOf(MakeTransition(), MF::IRenderableNodeRef(a), MF::IRenderableNodeRef(b)));
    std::vector<ML::IRenderableNodePrefetchRef> prefetches;
    node->GetPrefetchesForFrame(At(5), ParamsAt(), prefetches);
    EXPECT_EQ(a->mPrefetchedTimes, std::vector{At(9)});
    EXPECT_EQ(b->mPrefetchedTimes, std::vector{At(2)});
}

} // namespace
