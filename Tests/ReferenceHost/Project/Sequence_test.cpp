#include "ReferenceHost/Project/Sequence.h"

#include "ReferenceHost/Project/EffectItem.h"
#include "TVK/ContractError.h"
#include "Tests/ReferenceHost/Project/SequenceScene.h"

#include <gtest/gtest.h>

#include <cmath>

namespace
{

using namespace Project;
using namespace TestSupport;
using norviktypes::kTime_Max;
using norviktypes::kTime_Min;
using norviktypes::TickTime;

TEST(Sequence, ItemsAreKeptInTimeOrderWhateverTheOrderInWhichTheyCome)
{
    SequenceScene scene;
    const ItemID last = scene.Add(200, 300);
    const ItemID first = scene.Add(0, 100);
    const ItemID middle = scene.Add(100, 200);
    EXPECT_EQ(scene.mSequence->GetItems(0), (std::vector<ItemID>{first, middle, last}));
    EXPECT_EQ(scene.mSequence->FindItem(0, TickTime(99)), first);
    EXPECT_EQ(scene.mSequence->FindItem(0, TickTime(100)), middle);
    EXPECT_EQ(scene.mSequence->FindItem(0, TickTime(300)), 0u);
    EXPECT_EQ(scene.mSequence->FindItem(9, TickTime(0)), 0u);
    EXPECT_EQ(scene.mSequence->GetDuration(), TickTime(300));
}

TEST(Sequence, RefusesWhatCannotBeAndChangesNothing)
{
    SequenceScene scene;
    scene.Add(100, 200);
    scene.mChanges.clear();
    ItemID id = 77;
    const auto add = [&](const ClipItem& inItem, std::size_t inTrack = 0)
    { return scene.mSequence->AddItem(inTrack, inItem, &id); };
    EXPECT_EQ(add(ItemFrom(150, 250)), EditStatus::kOverlap);
    EXPECT_EQ(add(ItemFrom(50, 101)), EditStatus::kOverlap);
    EXPECT_EQ(add(ItemFrom(0, 10), 1), EditStatus::kNoSuchTrack);
    EXPECT_EQ(add(ItemFrom(10, 10)), EditStatus::kBadTime);
    EXPECT_EQ(add(ItemFrom(10, 5)), EditStatus::kBadTime);
    EXPECT_EQ(add(ItemFrom(10, kTime_Max.GetTicks())), EditStatus::kBadTime);
    EXPECT_EQ(add(ItemFrom(kTime_Max.GetTicks() - 1, kTime_Max.GetTicks() + 5)), EditStatus::kBadTime);
    ClipItem item = ItemFrom(0, 10);
    item.mSpeed = std::nan("");
    EXPECT_EQ(add(item), EditStatus::kBadTime);
    item.mSpeed = 1e9;
    EXPECT_EQ(add(item), EditStatus::kBadTime);
    EXPECT_EQ(scene.mSequence->RemoveItem(999), EditStatus::kNoSuchItem);
    EXPECT_EQ(scene.mSequence->RemoveTransition(999), EditStatus::kNoSuchItem);
    EXPECT_EQ(id, 77u);
    EXPECT_EQ(scene.mSequence->GetItems(0).size(), 1u);
    EXPECT_TRUE(scene.mChanges.empty());
}

TEST(Sequence, EveryEditTellsWhichTimeItChanged)
{
    SequenceScene scene(2);
    scene.mChanges.clear();
    const ItemID id = scene.Add(100, 200);
    EXPECT_EQ(scene.TakeChange(), Ticks(100, 200));
    EXPECT_EQ(scene.mSequence->MoveItem(id, 1, TickTime(300)), EditStatus::kOK);
    EXPECT_EQ(scene.TakeChange(), Ticks(100, 400));
    EXPECT_EQ(scene.mSequence->GetItemTrack(id), 1u);
    EXPECT_EQ(scene.mSequence->SetItemEnabled(id, false), EditStatus::kOK);
    EXPECT_EQ(scene.TakeChange(), Ticks(300, 400));
    EXPECT_EQ(scene.mSequence->SetTrackEnabled(1, false), EditStatus::kOK);
    EXPECT_EQ(scene.TakeChange(), (MF::TimeRange{kTime_Min, kTime_Max}));
    EXPECT_EQ(scene.mSequence->RemoveItem(id), EditStatus::kOK);
    EXPECT_EQ(scene.TakeChange(), Ticks(300, 400));
}

TEST(Sequence, ObserversThatWereRemovedHearNothing)
{
    const SequenceRef sequence = Sequence::Create(TenTickSettings());
    int calls = 0;
    const std::uint64_t number = sequence->AddObserver([&](const SequenceChange&) { ++calls; });
    sequence->AddTrack();
    EXPECT_EQ(calls, 1);
    sequence->RemoveObserver(number);
    sequence->AddTrack();
    EXPECT_EQ(calls, 1);
}

TEST(Sequence, TrimLeavesWhatIsShownWhereItWas)
{
    SequenceScene scene;
    const ItemID id = scene.Add(100, 200, 50);
    EXPECT_EQ(scene.mSequence->TrimItem(id, TickTime(130), TickTime(180)), EditStatus::kOK);
    EXPECT_EQ(scene.Get(id).mStart, TickTime(130));
    EXPECT_EQ(scene.Get(id).GetEnd(), TickTime(180));
    EXPECT_EQ(scene.Get(id).mInPoint, TickTime(80));
    EXPECT_EQ(scene.mSequence->TrimItem(id, TickTime(120), TickTime(210)), EditStatus::kOK);
    EXPECT_EQ(scene.Get(id).mInPoint, TickTime(70));
    EXPECT_EQ(scene.mSequence->TrimItem(id, TickTime(10), TickTime(10)), EditStatus::kBadTime);
}

TickTime ShownBy(const SequenceScene& inScene, ItemID inID, std::int64_t inTime)
{
    const ClipItem item = inScene.Get(inID);
    return ToMediaTime(item, TickTime(inTime) - item.mStart, norviktypes::FrameRate(10));
}

TEST(Sequence, SplitShowsTheSameOnBothSidesAtEverySpeed)
{
    for (const double speed : {1.0, 2.0, 0.5, -1.0, -2.0})
    {
        SequenceScene scene;
        const ItemID id = scene.Add(100, 200, 400);
        ASSERT_EQ(scene.mSequence->SetSpeed(id, speed), EditStatus::kOK);
        const TickTime before = ShownBy(scene, id, 110);
        const TickTime behind = ShownBy(scene, id, 170);
        ItemID second = 0;
        ASSERT_EQ(scene.mSequence->SplitItem(id, TickTime(140), &second), EditStatus::kOK);
        EXPECT_EQ(ShownBy(scene, id, 110), before) << speed;
        EXPECT_EQ(ShownBy(scene, second, 170), behind) << speed;
        EXPECT_EQ(scene.Get(id).GetEnd(), TickTime(140));
        EXPECT_EQ(scene.Get(second).mStart, TickTime(140));
        EXPECT_EQ(scene.Get(second).GetEnd(), TickTime(200));
    }
}

TEST(Sequence, SplitOfARemappedItemGoesOnAlongItsCurve)
{
    SequenceScene scene;
    const ItemID id = scene.Add(100, 200);
    ParameterKey from;
    from.mValue = 1.0;
    ParameterKey to;
    to.mTime = TickTime(100);
    to.mValue = 3.0;
    ASSERT_EQ(scene.mSequence->SetTimeRemap(id, {from, to}), EditStatus::kOK);
    ItemID second = 0;
    ASSERT_EQ(scene.mSequence->SplitItem(id, TickTime(140), &second), EditStatus::kOK);
    EXPECT_EQ(ShownBy(scene, id, 125), TickTime::FromSeconds(1.5));
    EXPECT_EQ(ShownBy(scene, second, 175), TickTime::FromSeconds(2.5));
}

TEST(Sequence, SplitOfAFrozenItemStaysFrozenAndItsEffectsGoOn)
{
    SequenceScene scene;
    const ItemID id = scene.Add(100, 200, 50);
    scene.mSequence->SetSpeed(id, 0.0);
    ItemID second = 0;
    ASSERT_EQ(scene.mSequence->SplitItem(id, TickTime(140), &second), EditStatus::kOK);
    EXPECT_EQ(scene.Get(second).mHoldTime, TickTime(50));
    EXPECT_EQ(ShownBy(scene, second, 150), TickTime(100));
}

TEST(Sequence, SplitOutsideOfTheItemIsRefused)
{
    SequenceScene scene;
    const ItemID id = scene.Add(100, 200);
    for (const std::int64_t time : {100, 200, 90, 210})
    {
        EXPECT_EQ(scene.mSequence->SplitItem(id, TickTime(time)), EditStatus::kBadTime);
    }
}

TEST(Sequence, ShiftMovesItemsBehindATimeAndTheTransitionsBetweenThem)
{
    SequenceScene scene;
    const ItemID first = scene.Add(0, 100);
    const ItemID second = scene.Add(100, 200);
    const ItemID third = scene.Add(200, 300);
    ItemID early = 0;
    ItemID late = 0;
    ASSERT_EQ(scene.Dissolve(100, 10, 10, &early), EditStatus::kOK);
    ASSERT_EQ(scene.Dissolve(200, 10, 10, &late), EditStatus::kOK);
    EXPECT_EQ(scene.mSequence->ShiftItems(0, TickTime(50), TickTime(40)), EditStatus::kOK);
    EXPECT_EQ(scene.Get(first).mStart, TickTime(0));
    EXPECT_EQ(scene.Get(second).mStart, TickTime(140));
    EXPECT_EQ(scene.Get(third).mStart, TickTime(240));
    TransitionItem transition;
    EXPECT_FALSE(scene.mSequence->GetTransition(early, transition));
    ASSERT_TRUE(scene.mSequence->GetTransition(late, transition));
    EXPECT_EQ(transition.mCut, TickTime(240));
    EXPECT_EQ(scene.Seen()[1]->GetTransition(true), scene.Seen()[2]->GetTransition(false));
    EXPECT_FALSE(scene.Seen()[0]->GetTransition(true));
    EXPECT_EQ(scene.mSequence->FindItem(0, TickTime(339)), third);
    EXPECT_EQ(scene.mSequence->ShiftItems(0, TickTime(140), TickTime(-41)), EditStatus::kOverlap);
    EXPECT_EQ(scene.mSequence->ShiftItems(0, TickTime(140), TickTime(-40)), EditStatus::kOK);
    EXPECT_EQ(scene.Get(third).mStart, TickTime(200));
}

TEST(Sequence, TransitionIsSeenFromBothSidesOfItsCut)
{
    SequenceScene scene;
    scene.Add(0, 100);
    scene.Add(100, 200);
    scene.mChanges.clear();
    ItemID id = 0;
    ASSERT_EQ(scene.Dissolve(100, 10, 20, &id), EditStatus::kOK);
    EXPECT_EQ(scene.TakeChange(), Ticks(0, 200));
    const BE::ITransitionItemRef transition = scene.Seen()[0]->GetTransition(true);
    ASSERT_TRUE(transition);
    EXPECT_EQ(transition->GetStart(), TickTime(90));
    EXPECT_EQ(transition->GetEnd(), TickTime(120));
    EXPECT_EQ(scene.Seen()[1]->GetTransition(false), transition);
    EXPECT_FALSE(scene.Seen()[0]->GetTransition(false));
    EXPECT_FALSE(scene.Seen()[1]->GetTransition(true));
    EXPECT_EQ(scene.mSequence->SetTransitionEnabled(id, false), EditStatus::kOK);
    EXPECT_FALSE(scene.Seen()[0]->GetTransition(true));
    EXPECT_EQ(scene.mSequence->SetTransitionEnabled(id, true), EditStatus::kOK);
    EXPECT_TRUE(scene.Seen()[0]->GetTransition(true));
    EXPECT_EQ(scene.mSequence->RemoveTransition(id), EditStatus::kOK);
    EXPECT_FALSE(scene.Seen()[0]->GetTransition(true));
    EXPECT_EQ(scene.mSequence->RemoveTransition(id), EditStatus::kNoSuchItem);
}

TEST(Sequence, TransitionsThatDoNotFitAreRefused)
{
    SequenceScene scene;
    scene.Add(0, 100);
    scene.Add(100, 130);
    scene.Add(130, 200);
    EXPECT_EQ(scene.Dissolve(50, 10, 10), EditStatus::kNoSuchItem);
    EXPECT_EQ(scene.Dissolve(100, 0, 0), EditStatus::kBadTime);
    EXPECT_EQ(scene.Dissolve(100, -5, 10), EditStatus::kBadTime);
    EXPECT_EQ(scene.Dissolve(100, 101, 10), EditStatus::kBadTime);
    EXPECT_EQ(scene.Dissolve(100, 10, 31), EditStatus::kBadTime);
    EXPECT_EQ(scene.Dissolve(100, 10, 20), EditStatus::kOK);
    EXPECT_EQ(scene.Dissolve(100, 5, 5), EditStatus::kOverlap);
    EXPECT_EQ(scene.Dissolve(130, 11, 5), EditStatus::kOverlap);
    EXPECT_EQ(scene.Dissolve(130, 10, 5), EditStatus::kOK);
}

TEST(Sequence, FadesStandAtTheEndsOfSingleItems)
{
    SequenceScene scene;
    scene.Add(100, 200);
    EXPECT_EQ(scene.Dissolve(100, 0, 20), EditStatus::kOK);
    EXPECT_EQ(scene.Dissolve(200, 20, 0), EditStatus::kOK);
    EXPECT_TRUE(scene.Seen()[0]->GetTransition(false));
    EXPECT_TRUE(scene.Seen()[0]->GetTransition(true));
    EXPECT_EQ(scene.Dissolve(100, 0, 10), EditStatus::kOverlap) << "there is one already";
    EXPECT_EQ(scene.Dissolve(200, 10, 0), EditStatus::kOverlap);
}

TEST(Sequence, AFadeThatGoesTellsHowFarItReached)
{
    SequenceScene scene;
    scene.Add(100, 200);
    ItemID id = 0;
    scene.Dissolve(200, 20, 15, &id);
    scene.mChanges.clear();
    scene.mSequence->RemoveTransition(id);
    EXPECT_EQ(scene.TakeChange(), Ticks(100, 215));
}

TEST(Sequence, FadesDoNotReachIntoOtherItems)
{
    SequenceScene scene;
    scene.Add(0, 90);
    scene.Add(100, 200);
    EXPECT_EQ(scene.Dissolve(100, 11, 0), EditStatus::kOverlap);
    EXPECT_EQ(scene.Dissolve(90, 0, 11), EditStatus::kOverlap);
    EXPECT_EQ(scene.Dissolve(100, 10, 0), EditStatus::kOK);
}

TEST(Sequence, AnItemThatComesToTheCutOfAFadeTakesPartInIt)
{
    SequenceScene scene;
    scene.Add(0, 100);
    ASSERT_EQ(scene.Dissolve(100, 20, 10), EditStatus::kOK);
    scene.Add(100, 200);
    EXPECT_TRUE(scene.Seen()[1]->GetTransition(false));
    EXPECT_EQ(scene.Seen()[0]->GetTransition(true), scene.Seen()[1]->GetTransition(false));
}

TEST(Sequence, FadesThatReachIntoANewItemGo)
{
    SequenceScene scene;
    scene.Add(0, 100);
    scene.Dissolve(100, 20, 10);
    scene.Add(100, 105);
    EXPECT_FALSE(scene.Seen()[0]->GetTransition(true));
    EXPECT_FALSE(scene.Seen()[1]->GetTransition(false));

    SequenceScene other;
    other.Add(100, 200);
    other.Dissolve(100, 20, 10);
    other.Add(80, 90);
    EXPECT_FALSE(other.Seen()[1]->GetTransition(false));
}

TEST(Sequence, EditsThatMoveACutTakeItsTransitionAway)
{
    SequenceScene scene;
    const ItemID left = scene.Add(0, 100);
    const ItemID right = scene.Add(100, 200);
    ItemID id = 0;
    TransitionItem transition;
    scene.Dissolve(100, 10, 10, &id);
    EXPECT_EQ(scene.mSequence->TrimItem(left, TickTime(20), TickTime(100)), EditStatus::kOK);
    EXPECT_TRUE(scene.mSequence->GetTransition(id, transition));
    EXPECT_TRUE(scene.Seen()[0]->GetTransition(true));
    EXPECT_EQ(scene.mSequence->TrimItem(left, TickTime(20), TickTime(90)), EditStatus::kOK);
    EXPECT_FALSE(scene.mSequence->GetTransition(id, transition));
    EXPECT_FALSE(scene.Seen()[1]->GetTransition(false));

    scene.mSequence->TrimItem(left, TickTime(20), TickTime(100));
    scene.Dissolve(100, 10, 10, &id);
    EXPECT_EQ(scene.mSequence->RemoveItem(right), EditStatus::kOK);
    EXPECT_FALSE(scene.mSequence->GetTransition(id, transition));
    EXPECT_FALSE(scene.Seen()[0]->GetTransition(true));
}

TEST(Sequence, ItemsTooShortForTheirTransitionsLoseThem)
{
    SequenceScene scene;
    const ItemID left = scene.Add(0, 100);
    scene.Add(100, 200);
    scene.Dissolve(0, 0, 30);
    scene.Dissolve(100, 30, 10);
    EXPECT_EQ(scene.mSequence->TrimItem(left, TickTime(75), TickTime(100)), EditStatus::kOK);
    EXPECT_FALSE(scene.Seen()[0]->GetTransition(false));
    EXPECT_FALSE(scene.Seen()[0]->GetTransition(true));
}

TEST(Sequence, SplitGivesTheTransitionAtTheEndToTheSecondPart)
{
    SequenceScene scene;
    const ItemID left = scene.Add(0, 100);
    scene.Add(100, 200);
    scene.Dissolve(0, 0, 20);
    scene.Dissolve(100, 20, 10);
    EXPECT_EQ(scene.mSequence->SplitItem(left, TickTime(10)), EditStatus::kBadTime);
    EXPECT_EQ(scene.mSequence->SplitItem(left, TickTime(90)), EditStatus::kBadTime);
    ASSERT_EQ(scene.mSequence->SplitItem(left, TickTime(50)), EditStatus::kOK);
    const std::vector<BE::ITrackItemRef> items = scene.Seen();
    EXPECT_TRUE(items[0]->GetTransition(false));
    EXPECT_FALSE(items[0]->GetTransition(true));
    EXPECT_FALSE(items[1]->GetTransition(false));
    EXPECT_TRUE(items[1]->GetTransition(true));
    EXPECT_EQ(items[1]->GetTransition(true), items[2]->GetTransition(false));
}

TEST(Sequence, ItemsThatAreOffKeepTheirPlaceAndAreNotSeen)
{
    SequenceScene scene;
    const ItemID id = scene.Add(0, 100);
    scene.mSequence->SetItemEnabled(id, false);
    EXPECT_TRUE(scene.Seen().empty());
    EXPECT_EQ(scene.mSequence->AddItem(0, ItemFrom(50, 60)), EditStatus::kOverlap);
    scene.mSequence->SetItemEnabled(id, true);
    EXPECT_EQ(scene.Seen().size(), 1u);
}

TEST(Sequence, ItemsOfASpanAreThoseThatOverlapIt)
{
    SequenceScene scene;
    for (std::int64_t index = 0; index < 10; ++index)
    {
        scene.Add(20 * index, 20 * index + 10);
    }
    std::vector<BE::ITrackItemRef> items;
    const auto count = [&](std::int64_t inStart, std::int64_t inEnd)
    {
        BE::ITrackRef(scene.mSequence->GetVideoTrack(0))
            ->GetItemsInSpan(TickTime(inStart), TickTime(inEnd), items);
        return items.size();
    };
    EXPECT_EQ(count(10, 20), 0u);
    EXPECT_EQ(count(9, 20), 1u);
    EXPECT_EQ(count(9, 21), 2u);
    EXPECT_EQ(items[1]->GetStart(), TickTime(20));
    EXPECT_EQ(count(5, 5), 0u);
    EXPECT_EQ(count(-1000, 1000), 10u);
}

TEST(Sequence, EffectsComeAndGoAndChangeTheirParameters)
{
    SequenceScene scene;
    const ItemID id = scene.Add(0, 100);
    const BE::IEffectRef opacity = CreateOpacity(CreateNumber(70.0));
    const BE::IEffectRef motion = CreateMotion({});
    EXPECT_EQ(scene.mSequence->AddEffect(id, opacity), EditStatus::kOK);
    EXPECT_EQ(scene.mSequence->AddEffect(id, motion, 99), EditStatus::kOK);
    ASSERT_EQ(scene.Get(id).mEffects.size(), 2u);
    EXPECT_EQ(scene.Get(id).mEffects[1], motion);
    EXPECT_EQ(scene.mSequence->SetEffectParameter(id, 0, 0, CreateNumber(20.0)), EditStatus::kOK);
    EXPECT_EQ(scene.mSequence->SetEffectEnabled(id, 1, false), EditStatus::kOK);
    std::vector<BE::IEffectRef> effects;
    scene.Seen()[0]->GetEffects()->GetEffects(effects);
    MF::Keyframe<double> value;
    (*effects[0]->GetParameters())[0]->GetValueAtTime(value, TickTime(), 0);
    EXPECT_EQ(value.mValue, 20.0);
    EXPECT_FALSE(effects[1]->IsActive());
    EXPECT_EQ(scene.mSequence->RemoveEffect(id, 0), EditStatus::kOK);
    EXPECT_EQ(scene.Get(id).mEffects.size(), 1u);
    EXPECT_EQ(scene.mSequence->RemoveEffect(id, 1), EditStatus::kNoSuchItem);
    EXPECT_EQ(scene.mSequence->SetEffectParameter(id, 0, 99, CreateNumber(0.0)), EditStatus::kNoSuchItem);
}

TEST(Sequence, HoldsAndRemapsAreSetAndEnded)
{
    SequenceScene scene;
    const ItemID id = scene.Add(0, 100);
    EXPECT_EQ(scene.mSequence->SetFrameHold(id, TickTime(40), true), EditStatus::kOK);
    EXPECT_EQ(scene.Get(id).mHoldTime, TickTime(40));
    EXPECT_EQ(scene.mSequence->SetFrameHold(id, std::nullopt, false), EditStatus::kOK);
    EXPECT_FALSE(scene.Get(id).mHoldTime);
    ParameterKey key;
    key.mValue = 1.0;
    EXPECT_EQ(scene.mSequence->SetTimeRemap(id, {key, key}), EditStatus::kBadTime);
    EXPECT_EQ(scene.mSequence->SetTimeRemap(id, {key}), EditStatus::kOK);
    EXPECT_EQ(scene.mSequence->SetSpeed(id, 2.0), EditStatus::kBadTime);
    EXPECT_EQ(scene.mSequence->SetTimeRemap(id, {}), EditStatus::kOK);
    EXPECT_EQ(scene.mSequence->SetSpeed(id, 2.0), EditStatus::kOK);
}

TEST(Sequence, SnapshotsNeverChange)
{
    SequenceScene scene;
    const ItemID id = scene.Add(0, 100);
    const BE::ISequenceRef before = scene.mSequence->Snapshot();
    const BE::ITrackRef track(BE::ITrackListRef(before)->GetVideoTrack(0));
    scene.Add(100, 200);
    scene.mSequence->RemoveItem(id);
    scene.mSequence->AddTrack();
    SequenceSettings settings = TenTickSettings();
    settings.mFrameRect = {0, 0, 10, 10};
    scene.mSequence->SetSettings(settings);
    EXPECT_EQ(before->GetDuration(), TickTime(100));
    EXPECT_EQ(before->GetFrameRect().Width(), 1920);
    EXPECT_EQ(BE::ITrackListRef(before)->GetVideoTrackCount(), 1u);
    std::vector<BE::ITrackItemRef> items;
    track->GetItems(items);
    ASSERT_EQ(items.size(), 1u);
    EXPECT_EQ(items[0]->GetStart(), TickTime(0));
    EXPECT_EQ(scene.mSequence->GetFrameRect().Width(), 10);
}

TEST(Sequence, WhatIsNotTouchedIsTheSameObjectInTheNextSnapshot)
{
    SequenceScene scene;
    scene.Add(0, 100);
    const ItemID id = scene.Add(100, 200);
    const std::vector<BE::ITrackItemRef> before = scene.Seen();
    scene.mSequence->SetSpeed(id, 2.0);
    const std::vector<BE::ITrackItemRef> after = scene.Seen();
    EXPECT_EQ(before[0], after[0]);
    EXPECT_FALSE(before[1] == after[1]);
}

TEST(Sequence, TracksComeAndGoWithTheirItems)
{
    SequenceScene scene(2);
    const ItemID low = scene.Add(0, 100, 0, 0);
    const ItemID high = scene.Add(0, 100, 0, 1);
    EXPECT_EQ(scene.mSequence->InsertTrack(1), EditStatus::kOK);
    EXPECT_EQ(scene.mSequence->GetItemTrack(high), 2u);
    EXPECT_TRUE(scene.Seen(1).empty());
    EXPECT_EQ(BE::ITrackRef(scene.mSequence->GetVideoTrack(2))->GetIndex(), 2u);
    EXPECT_EQ(scene.mSequence->RemoveTrack(0), EditStatus::kOK);
    ClipItem item;
    EXPECT_FALSE(scene.mSequence->GetItem(low, item));
    EXPECT_EQ(scene.mSequence->GetItemTrack(high), 1u);
    EXPECT_EQ(BE::ITrackRef(scene.mSequence->GetVideoTrack(1))->GetIndex(), 1u);
    EXPECT_EQ(scene.mSequence->SetItemEnabled(high, false), EditStatus::kOK);
    EXPECT_EQ(scene.mSequence->InsertTrack(9), EditStatus::kNoSuchTrack);
    EXPECT_EQ(scene.mSequence->RemoveTrack(9), EditStatus::kNoSuchTrack);
}

TEST(Sequence, TrackTellsThatItIsOff)
{
    SequenceScene scene;
    EXPECT_FALSE(BE::ITrackEnabledRef(scene.mSequence->GetVideoTrack(0))->IsDisabled());
    scene.mSequence->SetTrackEnabled(0, false);
    EXPECT_TRUE(BE::ITrackEnabledRef(scene.mSequence->GetVideoTrack(0))->IsDisabled());
    EXPECT_EQ(BE::ITimeBaseRef(scene.mSequence->GetVideoTrack(0))->GetFrameRate(),
              norviktypes::FrameRate(10));
}

TEST(Sequence, SettingsReachItemsThatWereThereBefore)
{
    SequenceScene scene;
    scene.Add(0, 100); // offline: as large as the sequence
    SequenceSettings settings = TenTickSettings();
    settings.mFrameRect = {0, 0, 64, 48};
    scene.mChanges.clear();
    scene.mSequence->SetSettings(settings);
    EXPECT_EQ(scene.Seen()[0]->GetClip()->GetFrameRect(), settings.mFrameRect);
    ASSERT_EQ(scene.mChanges.size(), 1u);
    EXPECT_TRUE(scene.mChanges[0].mIsOfSettings);
    EXPECT_EQ(scene.TakeChange(), (MF::TimeRange{kTime_Min, kTime_Max}));
    scene.mSequence->SetSettings(settings);
    EXPECT_TRUE(scene.mChanges.empty());
    settings.mFrameRate = norviktypes::kFrameRate_Zero;
    EXPECT_THROW(scene.mSequence->SetSettings(settings), norvik::config::Error);
}

TEST(Sequence, RefusesCallsThatMakeNoSense)
{
    const SequenceScene scene;
    ClipItem item = ItemFrom(0, 100);
    item.mEffects.emplace_back();
    EXPECT_THROW(scene.mSequence->AddItem(0, item), norvik::config::Error);
    ItemID id = 0;
    ASSERT_EQ(scene.mSequence->AddItem(0, ItemFrom(0, 100), &id), EditStatus::kOK);
    EXPECT_THROW(scene.mSequence->SetItem(id, item), norvik::config::Error);
    EXPECT_THROW(scene.mSequence->AddObserver({}), norvik::config::Error);
    EXPECT_THROW(scene.mSequence->AddPreview(TickTime(), {}), norvik::config::Error);
    EXPECT_TRUE(scene.Get(id).mEffects.empty());
}

TEST(Sequence, SplitThatWouldPutKeyframesBeyondTheAxisIsRefused)
{
    const SequenceScene scene;
    constexpr std::int64_t kMegatick = 1 << 20;
    ItemID id = 0;
    ASSERT_EQ(scene.mSequence->AddItem(0, ItemFrom(0, 16 * kMegatick), &id), EditStatus::kOK);
    ParameterKey early;
    early.mTime = kTime_Min + TickTime(3 * kMegatick);
    early.mValue = 0.0;
    ParameterKey late;
    late.mTime = TickTime(50);
    late.mValue = 1.0;
    ASSERT_EQ(scene.mSequence->SetTimeRemap(id, {early, late}), EditStatus::kOK);
    EXPECT_EQ(scene.mSequence->SplitItem(id, TickTime(8 * kMegatick)), EditStatus::kBadTime);
    EXPECT_EQ(scene.Get(id).mDuration, TickTime(16 * kMegatick));
    EXPECT_EQ(scene.mSequence->SplitItem(id, TickTime(kMegatick)), EditStatus::kOK);
}

TEST(Sequence, HasManyItemsAtLittleCost)
{
    SequenceScene scene;
    scene.mChanges.reserve(20000);
    for (std::int64_t index = 0; index < 10000; ++index)
    {
        ASSERT_NE(scene.Add(10 * index, 10 * index + 10), 0u);
    }
    EXPECT_EQ(scene.Seen().size(), 10000u);
    const std::vector<ItemID> ids = scene.mSequence->GetItems(0);
    for (std::size_t index = 0; index < ids.size(); index += 7)
    {
        ASSERT_EQ(scene.mSequence->FindItem(0, TickTime(static_cast<std::int64_t>(10 * index + 3))),
                  ids[index]);
        ASSERT_EQ(scene.mSequence->SetItemEnabled(ids[index], false), EditStatus::kOK);
    }
    EXPECT_EQ(scene.Seen().size(), 10000u - 1429u);
}

} // namespace
