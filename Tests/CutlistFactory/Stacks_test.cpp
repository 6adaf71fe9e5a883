#include "RenderableNodeTransitionImpl.h"
#include "Tests/CutlistFactory/Timelines.h"
#include "Tests/Support/Fakes/FakeNode.h"
#include "VideoRenderer/Src/CutlistFactory_Stacks.h"

#include <gtest/gtest.h>

namespace
{

using ML::TrackItemList;
using ML::TrackItemRecord;
using norviktypes::TickTime;
using Timelines::Frames;
using Timelines::kRate;
using Timelines::Shown;

using ShownList = std::vector<Shown>;
using Indices = std::vector<std::size_t>;

constexpr std::uint32_t kOpaque = MF::kNodeFlag_Opaque;
constexpr std::uint32_t kSeesThrough = MF::kNodeFlag_Opaque | MF::kNodeFlag_NeedsLowerTracks;

// An item that shows the node of that number, from its own start on.
TrackItemRecord Item(std::uint32_t inNumber, int inStart, int inEnd, std::uint32_t inFlags = 0)
{
    TrackItemRecord record;
    record.mStart = record.mEffectiveStart = Frames(inStart);
    record.mEnd = record.mEffectiveEnd = Frames(inEnd);
    record.mNode = TestSupport::MakeNumberedNode(inNumber, inFlags);
    return record;
}

TrackItemRecord Still(std::uint32_t inNumber, int inStart, int inEnd)
{
    TrackItemRecord record = Item(inNumber, inStart, inEnd);
    record.mStart = norviktypes::kTime_Min;
    record.mEnd = norviktypes::kTime_Max;
    return record;
}

TrackItemRecord InGroup(TrackItemRecord inRecord, std::uint32_t inGroup)
{
    inRecord.mGroupID = inGroup;
    return inRecord;
}

MF::IRenderableCutlistRef Build(const std::vector<TrackItemList>& inTracks,
                                const MF::TimeRange& inRange = ML::kAllTimes)
{
    return ML::BuildSequenceCutlist(kRate, inTracks, {}, inRange);
}

MF::IRenderableNodeRef Stack(const std::vector<TrackItemRecord>& inItems, TickTime& outOrigin)
{
    std::vector<const TrackItemRecord*> items;
    for (const TrackItemRecord& item : inItems)
    {
        items.push_back(&item);
    }
    return ML::BuildStackNode(kRate, items, outOrigin);
}

// Which of the items came into the stack, in its order.
Indices Kept(const std::vector<TrackItemRecord>& inItems)
{
    TickTime origin;
    const MF::IRenderableNodeRef stack = Stack(inItems, origin);
    Indices kept;
    for (std::uint32_t i = 0; i < stack->GetInputCount(); ++i)
    {
        for (std::size_t k = 0; k < inItems.size(); ++k)
        {
            if (Timelines::NthInput(stack, i).first == inItems[k].mNode)
            {
                kept.push_back(k);
            }
        }
    }
    return kept;
}

TEST(SequenceCutlist, StretchOfTheSameItemsIsOneSegment)
{
    const auto cutlist = Build({{Item(1, 0, 10), Item(2, 10, 30)}, {Item(3, 5, 20)}});
    EXPECT_EQ(Timelines::ShownBy(cutlist),
              (ShownList{{0, 5, 0, 1}, {5, 10, 5, 2}, {10, 20, 5, 2}, {20, 30, 10, 1}}));
}

TEST(SequenceCutlist, GapHasNoSegment)
{
    const auto cutlist = Build({{Item(1, 0, 10), Item(2, 15, 20)}});
    EXPECT_EQ(Timelines::ShownBy(cutlist), (ShownList{{0, 10, 0, 1}, {15, 20, 0, 1}}));
}

TEST(SequenceCutlist, WithoutTracksIsStillForEver)
{
    const auto cutlist = Build({});
    EXPECT_EQ(cutlist->GetSegmentCount(), 0u);
    MF::TimeRange still;
    MF::IRenderableExtendedStillInfoRef(cutlist)->GetStillRangeForTime(Frames(3), still);
    EXPECT_EQ(still, (MF::TimeRange{norviktypes::kTime_Zero, norviktypes::kTime_Max}));
}

TEST(SequenceCutlist, RangeCutsWhatReachesOverItsLimits)
{
    const std::vector<TrackItemList> tracks{{Item(1, 0, 10), Item(2, 10, 30)}, {Item(3, 5, 20)}};
    EXPECT_EQ(Timelines::ShownBy(Build(tracks, {Frames(7), Frames(12)})),
              (ShownList{{7, 10, 7, 2}, {10, 12, 5, 2}}));
    EXPECT_EQ(Build(tracks, {Frames(30), Frames(40)})->GetSegmentCount(), 0u);
}

TEST(SequenceCutlist, RangeShowsTheSameNodesAsTheWhole)
{
    const std::vector<TrackItemList> tracks{{Item(1, 0, 10), Item(2, 10, 30)}, {Item(3, 5, 20)}};
    const auto whole = Timelines::SegmentsOf(Build(tracks));
    const auto part = Timelines::SegmentsOf(Build(tracks, {Frames(5), Frames(20)}));
    ASSERT_EQ(part.size(), 2u);
    EXPECT_EQ(part[0], whole[1]);
    EXPECT_EQ(part[1], whole[2]);
}

TEST(SequenceCutlist, HiddenCutsDoNotDivideWhatIsSeen)
{
    const auto cutlist = Build({{Item(1, 0, 3), Item(2, 3, 7), Item(3, 7, 10)}, {Item(4, 0, 10, kOpaque)}});
    EXPECT_EQ(Timelines::ShownBy(cutlist), (ShownList{{0, 10, 0, 1}}));
}

TEST(SequenceCutlist, OfItemsThatShareAFrameTheEarlierOneHasIt)
{
    TrackItemRecord early = Item(1, 0, 11);
    TrackItemRecord late = Item(2, 10, 20);
    EXPECT_EQ(Timelines::ShownBy(Build({{early, late}})), (ShownList{{0, 11, 0, 1}, {11, 20, 1, 1}}));
}

TEST(SequenceCutlist, SameStackAtTwoPlacesIsOneNode)
{
    const auto cutlist = Build({{Item(1, 0, 10), Item(1, 50, 60)}, {Item(2, 3, 8), Item(2, 53, 58)}});
    const auto segments = Timelines::SegmentsOf(cutlist);
    ASSERT_EQ(segments.size(), 6u);
    for (std::size_t i = 0; i < 3; ++i)
    {
        EXPECT_EQ(segments[i].mHash, segments[i + 3].mHash) << i;
        EXPECT_EQ(segments[i].mNodeOffset, segments[i + 3].mNodeOffset) << i;
    }
    EXPECT_NE(segments[0].mHash, segments[1].mHash);
}

TEST(SequenceCutlist, KeepsTheStreamLabel)
{
    const auto label = norvik::utility::ImmutableString::CreateStatic("label");
    const auto cutlist = ML::BuildSequenceCutlist(kRate, {}, label, ML::kAllTimes);
    EXPECT_EQ(cutlist->GetStreamLabel().ToString(), "label");
}

TEST(StackNode, TimesCountFromTheEarliestStart)
{
    TickTime origin;
    const auto stack = Stack({Item(1, 7, 30), Item(2, 5, 20)}, origin);
    EXPECT_EQ(origin, Frames(5));
    EXPECT_EQ(Timelines::NthInput(stack, 0).second, Frames(2));
    EXPECT_EQ(Timelines::NthInput(stack, 1).second, Frames(0));
}

TEST(StackNode, InputOffsetMovesTheInputBack)
{
    std::vector<TrackItemRecord> items{Item(1, 7, 30), Item(2, 5, 20)};
    items[0].mInputOffset = Frames(3);
    TickTime origin;
    EXPECT_EQ(Timelines::NthInput(Stack(items, origin), 0).second, Frames(-1));
}

TEST(StackNode, PictureWithoutATimeOfItsOwnHasNoOffset)
{
    TickTime origin;
    const auto stack = Stack({Still(1, 0, 10), Item(2, 5, 20)}, origin);
    EXPECT_EQ(origin, Frames(5));
    EXPECT_EQ(Timelines::NthInput(stack, 0).second, norviktypes::kTime_Zero);
    Stack({Still(1, 0, 10)}, origin);
    EXPECT_EQ(origin, norviktypes::kTime_Zero);
}

TEST(StackNode, WhatBeginsInTheFirstFrameOfTimeHasNoTimeOfItsOwn)
{
    TrackItemRecord first = Still(1, 0, 9);
    first.mStart = norviktypes::kTime_Min + TickTime(1);
    ASSERT_EQ(first.mStart.ToFrame64(kRate), norviktypes::kTime_Min.ToFrame64(kRate));
    TickTime origin;
    const auto stack = Stack({first, Item(2, 5, 9)}, origin);
    EXPECT_EQ(origin, Frames(5));
    EXPECT_EQ(Timelines::NthInput(stack, 0).second, norviktypes::kTime_Zero);
}

TEST(StackNode, TrackLimitLeavesOutWhatLiesOnHigherTracks)
{
    const auto lower = TestSupport::FakeProducerNodeRef(new TestSupport::FakeProducerNode("Lower"));
    const auto upper = TestSupport::FakeProducerNodeRef(new TestSupport::FakeProducerNode("Upper"));
    lower->Finalize();
    upper->Finalize();
    TrackItemRecord items[] = {Item(1, 0, 9), Item(2, 0, 9)};
    items[0].mNode = lower;
    items[0].mTrackIndex = 4;
    items[1].mNode = upper;
    items[1].mTrackIndex = 6;
    TickTime origin;
    const auto stack = Stack({items[0], items[1]}, origin);
    ML::CutlistRenderParams params;
    for (const std::uint64_t limit : {3, 4, 5, 6})
    {
        params.mRenderContext = limit;
        ML::IRenderableNodeProducerProviderRef(stack)->GetProducerForFrame(MF::FrameTime(Frames(1)), params);
    }
    EXPECT_EQ(lower->mProducerTimes.size(), 3u);
    EXPECT_EQ(upper->mProducerTimes.size(), 1u);
}

TEST(StackNode, WithoutItemsIsNone)
{
    TickTime origin;
    EXPECT_FALSE(Stack({}, origin));
}

TEST(StackNode, SingleItemStandsInACompositor)
{
    TickTime origin;
    const auto stack = Stack({Item(1, 0, 10)}, origin);
    EXPECT_EQ(stack->GetNodeType().ToString(), "RenderableNodeCompositorImpl");
    EXPECT_EQ(stack->GetInputCount(), 1u);
}

TEST(StackNode, TopmostOpaqueItemHidesAllBeneath)
{
    EXPECT_EQ(Kept({Item(1, 0, 9, kOpaque), Item(2, 0, 9, kOpaque), Item(3, 0, 9)}), (Indices{1, 2}));
    EXPECT_EQ(Kept({Item(1, 0, 9), Item(2, 0, 9, kOpaque)}), (Indices{1}));
    EXPECT_EQ(Kept({Item(1, 0, 9, kOpaque), Item(2, 0, 9)}), (Indices{0, 1}));
}

TEST(StackNode, ItemThatNeedsLowerTracksHidesNone)
{
    EXPECT_EQ(Kept({Item(1, 0, 9), Item(2, 0, 9, kSeesThrough)}), (Indices{0, 1}));
}

TEST(StackNode, OriginLeavesHiddenItemsOut)
{
    TickTime origin;
    Stack({Item(1, 0, 9), Item(2, 4, 9, kOpaque)}, origin);
    EXPECT_EQ(origin, Frames(4));
}

MF::IRenderableNodeRef TransitionOf(std::uint32_t inFlagsA, std::uint32_t inFlagsB)
{
    const auto a = TestSupport::MakeNumberedNode(50, inFlagsA);
    const auto b = TestSupport::MakeNumberedNode(51, inFlagsB);
    return ML::CreateTransitionNode(Timelines::MakeTransitionItem(Frames(0), Frames(9)),
                                    MF::IRenderableNodeRef(a), {}, MF::IRenderableNodeRef(b), {});
}

TEST(StackNode, OpaqueTransitionHidesWhatBothSidesHide)
{
    TrackItemRecord transition = Item(2, 0, 9);
    transition.mNode = TransitionOf(kOpaque, kOpaque);
    EXPECT_EQ(Kept({Item(1, 0, 9), transition}), (Indices{1}));
    transition.mNode = TransitionOf(kOpaque, 0);
    EXPECT_EQ(Kept({Item(1, 0, 9), transition}), (Indices{0, 1}));
}

TEST(StackNode, TransitionWithASideThatNeedsLowerTracksHidesNone)
{
    TrackItemRecord transition = Item(2, 0, 9);
    transition.mNode = TransitionOf(kSeesThrough, kOpaque);
    EXPECT_EQ(Kept({Item(1, 0, 9), transition}), (Indices{0, 1}));
    transition.mNode = TransitionOf(kOpaque, kSeesThrough);
    EXPECT_EQ(Kept({Item(1, 0, 9), transition}), (Indices{0, 1}));
}

TEST(StackNode, OnlyOfATransitionTheInputsAreAsked)
{
    TrackItemRecord item = Item(2, 0, 9);
    const TestSupport::FakeNodeRef node(new TestSupport::FakeNode("Opaque", kOpaque));
    node->AppendInput(TestSupport::MakeNumberedNode(3, kSeesThrough), norviktypes::kTime_Zero);
    node->Finalize();
    item.mNode = node;
    EXPECT_EQ(Kept({Item(1, 0, 9), item}), (Indices{1}));
}

TEST(StackNode, MemberOfAGroupHidesNone)
{
    EXPECT_EQ(Kept({Item(1, 0, 9), InGroup(Item(2, 0, 9, kOpaque), 7), InGroup(Item(3, 0, 9), 7)}),
              (Indices{0, 1, 2}));
}

TEST(StackNode, ItemAloneInItsGroupHidesAsAnyOther)
{
    EXPECT_EQ(Kept({Item(1, 0, 9), InGroup(Item(2, 0, 9, kOpaque), 7), InGroup(Item(3, 0, 9), 8)}),
              (Indices{1, 2}));
}

TEST(StackNode, GroupIsNotTornByWhatIsOpaqueBetweenItsMembers)
{
    EXPECT_EQ(
        Kept({Item(1, 0, 9), InGroup(Item(2, 0, 9), 7), Item(3, 0, 9, kOpaque), InGroup(Item(4, 0, 9), 7)}),
        (Indices{1, 2, 3}));
}

TEST(StackNode, HiddenGroupIsLeftOut)
{
    EXPECT_EQ(Kept({InGroup(Item(1, 0, 9), 7), InGroup(Item(2, 0, 9), 7), Item(3, 0, 9, kOpaque)}),
              (Indices{2}));
}

} // namespace
