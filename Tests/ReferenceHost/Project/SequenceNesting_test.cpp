#include "ReferenceHost/Project/ProjectModel.h"
#include "TVK/ContractError.h"
#include "Tests/ReferenceHost/Project/SequenceScene.h"

#include <gtest/gtest.h>

#include <vector>

namespace
{

using namespace Project;
using namespace TestSupport;
using norviktypes::TickTime;

EditStatus Nest(const SequenceRef& inOuter, const SequenceRef& inInner, std::int64_t inStart = 0)
{
    if (inOuter->GetTrackCount() == 0)
    {
        inOuter->AddTrack();
    }
    ClipItem item = ItemFrom(inStart, inStart + 10);
    item.mSequence = BE::ISequenceRef(inInner.get());
    return inOuter->AddItem(0, item);
}

TEST(SequenceNesting, ASequenceNeverShowsItself)
{
    const SequenceRef a = Sequence::Create(TenTickSettings());
    const SequenceRef b = Sequence::Create(TenTickSettings());
    const SequenceRef c = Sequence::Create(TenTickSettings());
    EXPECT_EQ(Nest(a, a), EditStatus::kCycle);
    EXPECT_EQ(Nest(a, b), EditStatus::kOK);
    EXPECT_EQ(Nest(b, c), EditStatus::kOK);
    EXPECT_EQ(Nest(b, a, 100), EditStatus::kCycle);
    EXPECT_EQ(Nest(c, a), EditStatus::kCycle);
    EXPECT_EQ(a->GetDepth(), 3u);
    EXPECT_EQ(c->GetDepth(), 1u);
}

TEST(SequenceNesting, ChangedItemsAreHeldAgainstTheRuleToo)
{
    SequenceScene outer;
    SequenceScene inner;
    const ItemID shown = outer.AddNested(inner.mSequence, 0, 10);
    const ItemID plain = inner.Add(0, 10);
    const auto show = [&](const SequenceRef& inSequence)
    { return [&inSequence](ClipItem& ioItem) { ioItem.mSequence = BE::ISequenceRef(inSequence.get()); }; };
    EXPECT_EQ(inner.mSequence->ChangeItem(plain, show(outer.mSequence)), EditStatus::kCycle);
    EXPECT_EQ(outer.mSequence->RemoveItem(shown), EditStatus::kOK);
    EXPECT_EQ(inner.mSequence->ChangeItem(plain, show(outer.mSequence)), EditStatus::kOK);
}

TEST(SequenceNesting, GoesAsDeepAsItMayAndNoDeeper)
{
    std::vector<SequenceRef> sequences;
    for (std::uint32_t level = 0; level <= kMostNestedSequences; ++level)
    {
        sequences.push_back(Sequence::Create(TenTickSettings()));
    }
    for (std::uint32_t level = 0; level + 1 < kMostNestedSequences; ++level)
    {
        ASSERT_EQ(Nest(sequences[level], sequences[level + 1]), EditStatus::kOK) << level;
    }
    EXPECT_EQ(sequences.front()->GetDepth(), kMostNestedSequences);
    EXPECT_EQ(Nest(sequences[kMostNestedSequences - 1], sequences[kMostNestedSequences]),
              EditStatus::kTooDeep);
    EXPECT_EQ(Nest(sequences[kMostNestedSequences], sequences[0]), EditStatus::kTooDeep);
    EXPECT_EQ(Nest(sequences[kMostNestedSequences], sequences[1]), EditStatus::kOK);
}

TEST(SequenceNesting, SequencesOfOtherHostsAreRefused)
{
    // A sequence that is gone can't be told from one that was never here.
    BE::ISequenceRef stale;
    {
        const SequenceRef gone = Sequence::Create(TenTickSettings());
        stale = gone->Snapshot();
    }
    SequenceScene scene;
    ClipItem item = ItemFrom(0, 10);
    item.mSequence = stale;
    EXPECT_EQ(scene.mSequence->AddItem(0, item), EditStatus::kForeign);
}

TEST(SequenceNesting, ASnapshotStandsForItsSequence)
{
    SequenceScene outer;
    SequenceScene inner;
    ClipItem item = ItemFrom(0, 10);
    item.mSequence = inner.mSequence->Snapshot();
    ItemID id = 0;
    EXPECT_EQ(outer.mSequence->AddItem(0, item, &id), EditStatus::kOK);
    EXPECT_EQ(outer.Get(id).mSequence.get(), static_cast<BE::ISequence*>(inner.mSequence.get()));
    EXPECT_EQ(Sequence::FromInterface(TVK::TVKUnknownRef(item.mSequence)).get(), inner.mSequence.get());
}

TEST(SequenceNesting, ChangesAreToldAtEveryPlaceThatShowsThem)
{
    SequenceScene outer(2);
    SequenceScene inner;
    outer.AddNested(inner.mSequence, 100, 200);
    outer.AddNested(inner.mSequence, 300, 400);
    outer.mChanges.clear();
    inner.Add(0, 10);
    EXPECT_EQ(outer.TakeChange(), Ticks(100, 400));
}

TEST(SequenceNesting, ChangesGoThroughAllSequencesAround)
{
    SequenceScene outer;
    SequenceScene middle;
    SequenceScene inner;
    middle.AddNested(inner.mSequence, 20, 30);
    outer.AddNested(middle.mSequence, 100, 200);
    outer.mChanges.clear();
    middle.mChanges.clear();
    inner.Add(0, 10);
    EXPECT_EQ(middle.TakeChange(), Ticks(20, 30));
    EXPECT_EQ(outer.TakeChange(), Ticks(100, 200));
}

TEST(SequenceNesting, NothingIsToldOnceTheLastItemIsGone)
{
    SequenceScene outer;
    SequenceScene inner;
    const ItemID first = outer.AddNested(inner.mSequence, 100, 200);
    const ItemID second = outer.AddNested(inner.mSequence, 300, 400);
    outer.mSequence->RemoveItem(first);
    outer.mChanges.clear();
    inner.Add(0, 10);
    EXPECT_EQ(outer.TakeChange(), Ticks(300, 400));
    outer.mSequence->RemoveItem(second);
    outer.mChanges.clear();
    inner.Add(10, 20);
    EXPECT_TRUE(outer.mChanges.empty());
}

TEST(SequenceNesting, SharedSequencesAreWalkedOnceNotOncePerWay)
{
    // Two sequences on every level, each showing both of the next: two to the thirtieth ways.
    constexpr std::size_t kLevels = 30;
    std::vector<SequenceRef> left;
    std::vector<SequenceRef> right;
    for (std::size_t level = 0; level < kLevels; ++level)
    {
        left.push_back(Sequence::Create(TenTickSettings()));
        right.push_back(Sequence::Create(TenTickSettings()));
    }
    for (std::size_t level = 0; level + 1 < kLevels; ++level)
    {
        for (const SequenceRef& outer : {left[level], right[level]})
        {
            ASSERT_EQ(Nest(outer, left[level + 1], 0), EditStatus::kOK);
            ASSERT_EQ(Nest(outer, right[level + 1], 100), EditStatus::kOK);
        }
    }
    EXPECT_EQ(left[0]->GetDepth(), kLevels);
    EXPECT_EQ(Nest(left[kLevels - 1], left[0]), EditStatus::kCycle);
    int calls = 0;
    left[0]->AddObserver([&](const SequenceChange&) { ++calls; });
    right[kLevels - 1]->AddTrack();
    EXPECT_GT(calls, 0);
    EXPECT_LT(calls, 5);
}

TEST(SequenceNesting, ASequenceLivesAsLongAsSomebodyShowsIt)
{
    SequenceScene outer;
    TVK::WeakRef<BE::ISequence> weak;
    ItemID id = 0;
    {
        const SequenceRef inner = Sequence::Create(TenTickSettings());
        weak = TVK::WeakRef<BE::ISequence>(BE::ISequenceRef(inner.get()));
        id = outer.AddNested(inner, 0, 10);
    }
    EXPECT_TRUE(weak.Resolve());
    outer.mSequence->RemoveItem(id);
    EXPECT_FALSE(weak.Resolve());
}

TEST(ProjectModel, FindsItsSequencesAndSharesMasterClips)
{
    ProjectModel project;
    SequenceSettings settings = TenTickSettings();
    settings.mName = "first";
    const SequenceRef first = project.AddSequence(settings);
    settings.mName = "second";
    const SequenceRef second = project.AddSequence(settings);
    EXPECT_EQ(project.GetMainSequence().get(), first.get());
    project.SetMainSequence(second);
    EXPECT_EQ(project.GetMainSequence().get(), second.get());
    EXPECT_EQ(project.FindSequence("second").get(), second.get());
    EXPECT_FALSE(project.FindSequence("third"));
    EXPECT_THROW(project.SetMainSequence(Sequence::Create(settings)), norvik::config::Error);
    const BE::IMasterClipRef master = project.GetMasterClip("clip", "/media/clip.mov");
    EXPECT_EQ(project.GetMasterClip("other name", "/media/clip.mov"), master);
    EXPECT_EQ(master->GetName(), u"clip");
    EXPECT_EQ(BE::MasterClipUtils::GetMediaInstanceString(master), u"/media/clip.mov");
    EXPECT_TRUE(BE::MasterClipUtils::GetMediaInstanceString({}).empty());
}

} // namespace
